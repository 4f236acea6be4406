// Float to integer, saturation and the scale factor.
#pragma once

#include <emmintrin.h>

#include <limits>

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

template <class T>
constexpr T bottomOf = std::numeric_limits<T>::lowest();
template <class T>
constexpr T topOf = std::numeric_limits<T>::max();

// Integer results are saturated, never wrapped.
template <class T>
constexpr T saturate(Qor64s d) {
  return d < bottomOf<T> ? bottomOf<T> : d > topOf<T> ? topOf<T> : static_cast<T>(d);
}

// Nearest, ties to even. NaN and what lies outside 32 bits give the lowest integer, as in the vector forms.
inline Qor32s nearestInt(Qor32f x) { return _mm_cvtss_si32(_mm_set_ss(x)); }
inline Qor32s nearestInt(Qor64f x) { return _mm_cvtsd_si32(_mm_set_sd(x)); }

// A result that passes through 32-bit float. By an instruction of its own: of two conversions there and back that stand
// side by side, GCC 12 makes none at all.
inline Qor64f throughFloat(Qor64f x) {
  return static_cast<Qor64f>(_mm_cvtss_f32(_mm_cvtsd_ss(_mm_setzero_ps(), _mm_set_sd(x))));
}

// Nearest, ties to even, saturated to a type that a signed integer of 32 bits covers. NaN goes to the bottom.
template <class T>
inline T nearestSaturated(Qor64f x) {
  static_assert(topOf<T> <= topOf<Qor32s>);
  if (x >= static_cast<Qor64f>(topOf<T>)) return topOf<T>;
  return saturate<T>(nearestInt(x));
}

// Towards zero, saturated. NaN goes to the bottom.
template <class T>
inline T truncatedSaturated(Qor64f x) {
  if (x >= static_cast<Qor64f>(topOf<T>)) return topOf<T>;
  if (!(x > static_cast<Qor64f>(bottomOf<T>))) return bottomOf<T>;
  return static_cast<T>(x);
}

// An exact result d divided by 2^scaleFactor, to nearest with ties to even, saturated. |d| is below 2^62.
template <class T>
constexpr T scaled(Qor64s d, int scaleFactor) {
  static_assert(topOf<T> <= topOf<Qor32s>);
  if (scaleFactor > 62) return 0;
  if (scaleFactor > 0) {
    return saturate<T>((d + (Qor64s{1} << (scaleFactor - 1)) - 1 + ((d >> scaleFactor) & 1)) >> scaleFactor);
  }
  if (scaleFactor == 0 || d == 0) return saturate<T>(d);
  // A shift of 32 lifts every d that is not 0 out of 32 bits, and so does the least shift from 2^30
  // on: with both capped nothing overflows, and the cap makes the negation safe.
  const int shift = scaleFactor < -32 ? 32 : -scaleFactor;
  constexpr Qor64s limit = Qor64s{1} << 30;
  return saturate<T>((d > limit ? limit : d < -limit ? -limit : d) * (Qor64s{1} << shift));
}

// 2^-scaleFactor. Beyond the cap every result is 0 or saturated anyway, and the power stays a normal number.
inline Qor64f scaleOf(int scaleFactor) {
  const int exponent = scaleFactor > 512 ? -512 : scaleFactor < -512 ? 512 : -scaleFactor;
  return __builtin_bit_cast(Qor64f, static_cast<uint64_t>(1023 + exponent) << 52);
}

}  // namespace qor
