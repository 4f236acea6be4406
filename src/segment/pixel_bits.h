// Pixels of a row as bits of a word, one behind the other from the lowest bit on: what vectors compare, scalars then
// walk through.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

constexpr int wordPixels = 64;

// One bit a sample, up to 64: whether the lanes are set that compare(i) gives for the vector V at sample i.
template <int samples, class V, class Compare>
QOR_FORCE_INLINE uint64_t bitsOf(const Compare& compare) {
  using T = typename V::Sample;
  static_assert(samples <= wordPixels && samples % V::lanes == 0);
  uint64_t bits = 0;
  if constexpr (sizeof(T) == 2) {
    static_assert(samples % (2 * V::lanes) == 0);
    for (int i = 0; i < samples; i += 2 * V::lanes) {
      const auto both = narrowToS(as<Qor16s>(compare(i)), as<Qor16s>(compare(i + V::lanes)));
      bits |= uint64_t{signBits(both)} << i;
    }
  } else {
    using Lane = std::conditional_t<sizeof(T) == 1, Qor8u, Qor32f>;
    for (int i = 0; i < samples; i += V::lanes) bits |= uint64_t{signBits(as<Lane>(compare(i)))} << i;
  }
  return bits;
}

// The same for the 64 pixels at p. kernel(const T*...) compares a vector at each of its sources.
template <class T, class Kernel, class... S>
QOR_FORCE_INLINE uint64_t bitsOfWord(const Kernel& kernel, const S*... p) {
  return bitsOf<wordPixels, Vec<T>>([&](int i) { return kernel((p + i)...); });
}

// The first n of 64 bits.
constexpr uint64_t firstBits(ptrdiff_t n) { return n >= wordPixels ? ~uint64_t{0} : (uint64_t{1} << n) - 1; }

// The bits of pixels x to x + 63 of rows of n pixels; those behind the row are zero. Of a row that ends within them its
// last 64 pixels are read, so that those before x must still be there, if not as they were.
template <class T, class Kernel, class... S>
QOR_FORCE_INLINE uint64_t bitsAt(ptrdiff_t x, ptrdiff_t n, const Kernel& kernel, const S*... rows) {
  if (x + wordPixels <= n) return bitsOfWord<T>(kernel, (rows + x)...);
  if (n >= wordPixels) return bitsOfWord<T>(kernel, (rows + (n - wordPixels))...) >> (x + wordPixels - n);
  struct Padded {
    T samples[wordPixels];
    Padded(const T* row, ptrdiff_t count) : samples{} {
      __builtin_memcpy(samples, row, static_cast<size_t>(count) * sizeof(T));
    }
  };
  return bitsOfWord<T>(kernel, Padded(rows + x, n - x).samples...) & firstBits(n - x);
}

// value where bits are set, in pixels x to x + 63 of a row of n pixels.
template <class T>
QOR_FORCE_INLINE void storeWhere(T* row, ptrdiff_t x, ptrdiff_t n, uint64_t bits, T value) {
  if (n < wordPixels) {
    for (; bits != 0; bits &= bits - 1) row[x + __builtin_ctzll(bits)] = value;
    return;
  }
  if (x + wordPixels > n) {
    bits <<= x + wordPixels - n;
    x = n - wordPixels;
  }
  const auto byteOf = firstShort(bytes(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1));
  const auto bitOf = firstShort(bytes(1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128));
  constexpr int lanes = Short<T>::lanes;
  const auto replace = [value](T* p, Short<T> mask) {
    store(p, select(mask, splat<Short<T>>(value), load<Short<T>>(p)));
  };
  for (T* p = row + x; p != row + x + wordPixels; p += Short<Qor8u>::lanes, bits >>= Short<Qor8u>::lanes) {
    const auto word = as<Qor8u>(splat<Short<Qor16u>>(static_cast<Qor16u>(bits)));
    const auto mask = (lookUp(word, byteOf) & bitOf) == bitOf;
    if constexpr (sizeof(T) == 1) {
      replace(p, mask);
    } else {
      static_assert(sizeof(T) == 2);
      replace(p, widenMaskLo(mask));
      replace(p + lanes, widenMaskHi(mask));
    }
  }
}

}  // namespace qor
