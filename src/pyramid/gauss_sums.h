// What both Gaussian steps are made of: samples as their sums take them, and the sums themselves, of numbers and of
// vectors alike.
#pragma once

#include "frame/outside.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

template <class V, class T>
QOR_FORCE_INLINE V constant(T value) {
  if constexpr (std::is_arithmetic_v<V>) {
    return static_cast<V>(value);
  } else {
    return splat<V>(static_cast<typename V::Sample>(value));
  }
}
template <class V>
QOR_FORCE_INLINE V times(int factor, V a) {
  return constant<V>(factor) * a;
}

// Five neighbours weighted 1, 4, 6, 4, 1; c in the middle, l and r beside it. Sums go from left to right.
template <class V>
QOR_FORCE_INLINE V sumOfFive(V ll, V l, V c, V r, V rr) {
  return times(6, c) + times(4, l + r) + ll + rr;
}
// On the way up, at a sample and half way to the next one.
template <class V>
QOR_FORCE_INLINE V sumOfThree(V l, V c, V r) {
  return times(6, c) + l + r;
}
template <class V>
QOR_FORCE_INLINE V sumOfTwo(V c, V r) {
  return times(4, c + r);
}

// Bytes count from the lowest one: a signed byte is its distance from -128, which is the byte with its top bit turned.
// The weights of a step add up to a power of two, so that the result comes out by the same turn, with the same
// rounding. Sums of rows stay below 2^12, those of the columns over them below 2^16 with the half that rounds.
template <class T>
struct GaussSums {
  using Sum = Qor16u;
  using Number = int;
  static constexpr bool turned = std::is_signed_v<T>;

  static Number number(T p) { return static_cast<Qor8u>(p) ^ (turned ? 0x80 : 0); }
  static T sample(Number n) { return static_cast<T>(static_cast<Qor8u>(n ^ (turned ? 0x80 : 0))); }
  template <class V>
  QOR_FORCE_INLINE static V turn(V a) {
    if constexpr (turned) {
      constexpr auto bits = static_cast<typename V::Sample>(0x80);
      return a ^ splat<V>(bits);
    } else {
      return a;
    }
  }

  // Divided by 2^shift.
  template <int shift>
  static T rounded(Number v) {
    return sample((v + (1 << (shift - 1))) >> shift);
  }
  template <int shift>
  QOR_FORCE_INLINE static V16u rounded(V16u v) {
    return (v + splat(static_cast<Qor16u>(1 << (shift - 1)))) >> shift;
  }
};
template <>
struct GaussSums<Qor32f> {
  using Sum = Qor32f;
  using Number = Qor32f;

  static Number number(Qor32f p) { return p; }
};

// Pixels of a row on the way down.
constexpr int halfOf(int length) { return length / 2 + length % 2; }

// An axis that reflects about its ends without repeating them.
constexpr Axis mirroredAxis(int n) {
  const Edge edge = n > 1 ? Edge::mirror : Edge::nearest;
  return {n, edge, edge, false};
}

// Vectors of three channels, of which every 16 bytes begin with a pixel, `apart` samples behind where those before do.
template <class T>
QOR_FORCE_INLINE Vec<T> loadApart(const T* p, ptrdiff_t apart) {
  return shortsOf<Vec<T>>([=](int i) { return load<Short<T>>(p + i * apart); });
}
template <class T, class V>
QOR_FORCE_INLINE void storeApart(T* p, ptrdiff_t apart, V a) {
  store(p, firstShort(a));
  if constexpr (V::bytes > Short<T>::bytes) store(p + apart, lastShort(a));
}

}  // namespace qor
