// How the sums of the fixed filters are stored, a block of two vectors at a time: store(dst, lo, hi). Where the columns
// behind the last full four of a row differ, store.cut(lo, hi) is what a block would be of such.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

template <class M>
constexpr int sweepBlock = 2 * Vec<M>::lanes;

struct StorePlain {
  template <class T>
  void operator()(T* dst, Vec<T> lo, Vec<T> hi) const {
    store(dst, Block<T, 2>{lo, hi});
  }
};

// Sums into a row of the result. There is at least a block of them, whatever the width.
template <class Store, class M, class D>
void storeRow(const M* sums, D* dst, ptrdiff_t width, const Store& store) {
  constexpr ptrdiff_t block = sweepBlock<M>;
  const auto blockAt = [&](ptrdiff_t x, D* to) { store(to, load(sums + x), load(sums + x + block / 2)); };
  const ptrdiff_t last = width < block ? 0 : width - block;
  if (width < block) {
    D all[block];
    blockAt(0, all);
    __builtin_memcpy(dst, all, static_cast<size_t>(width) * sizeof(D));
  } else {
    for (ptrdiff_t x = 0; x < last; x += block) blockAt(x, dst + x);
    blockAt(last, dst + last);
  }
  if constexpr (requires { store.cut(load(sums), load(sums)); }) {
    if (width % 4 == 0) return;
    D all[block];
    qor::store(all, store.cut(load(sums + last), load(sums + last + block / 2)));
    for (ptrdiff_t x = width / 4 * 4; x < width; ++x) dst[x] = all[x - last];
  }
}

// 32f: the sum of K * K samples times the 32-bit float nearest to 0.11111111 or 0.04.
template <int K>
struct StoreMean {
  void operator()(Qor32f* dst, V32f lo, V32f hi) const { StorePlain()(dst, scaled(lo), scaled(hi)); }

 private:
  static V32f scaled(V32f sum) { return sum * splat(K == 3 ? 0.11111111F : 0.04F); }
};

// 8u: ((sum + 5) * 7280) >> 16 of 9 samples, (sum * 2621) >> 16 of 25.
template <int K>
struct StoreMean8u {
  void operator()(Qor8u* dst, V16s lo, V16s hi) const { store(dst, mean(lo, hi)); }

 private:
  // One rounded product gives the same mean of 9: both are the ninth rounded to nearest, for every sum there is.
  static constexpr bool productIsMean() {
    for (int sum = 0; sum <= 9 * 255; ++sum) {
      if ((sum * 3641 + 0x4000) >> 15 != ((sum + 5) * 7280) >> 16) return false;
    }
    return true;
  }
  static_assert(productIsMean());

  static V16s mean(V16s sum) {
    if constexpr (K == 3) {
      return multiplyHighRounded(sum, splat(Qor16s{3641}));
    } else {
      return as<Qor16s>(multiplyHigh(as<Qor16u>(sum), splat(Qor16u{2621})));
    }
  }
  static V8u mean(V16s lo, V16s hi) { return narrowToU(mean(lo), mean(hi)); }
};

// How a quotient becomes an integer.
enum class Quotient {
  nearest,    // ties to even; towards zero in the columns behind the last full four
  truncated,  // towards zero everywhere
};

// 8s: a division gives the quotients of a block, rounded or cut. Clamped to 8 bits by the narrowing: the limits are
// integers, and the quotients fit 16 bits, since sums are below 2^15 and no divisor is below 1 in size.
template <Quotient quotient, class Division>
struct StoreQuotient {
  Division division;

  void operator()(Qor8s* dst, V16s lo, V16s hi) const {
    if constexpr (quotient == Quotient::nearest) {
      store(dst, narrowToS(division.rounded(lo), division.rounded(hi)));
    } else {
      store(dst, narrowToS(division.cut(lo), division.cut(hi)));
    }
  }
  V8s cut(V16s lo, V16s hi) const requires(quotient == Quotient::nearest) {
    return narrowToS(division.cut(lo), division.cut(hi));
  }
};

// The sum times the 32-bit float 1 / divisor.
struct ByReciprocal {
  explicit ByReciprocal(Qor32s divisor) : reciprocal(1.0F / static_cast<Qor32f>(divisor)) {}

  V16s rounded(V16s a) const { return narrowToS(nearest(product(widenLo(a))), nearest(product(widenHi(a)))); }
  V16s cut(V16s a) const { return narrowToS(truncated(product(widenLo(a))), truncated(product(widenHi(a)))); }
  V32f product(V32s a) const { return toFloat(a) * splat(reciprocal); }

  Qor32f reciprocal;
};

// The same for a divisor of 2^shift, in 16 bits: the product is exact then.
struct ByShift {
  // A shift of 15 takes every sum to 0, as the larger ones do.
  explicit ByShift(int log2)
      : shift(log2 < 15 ? log2 : 15),
        belowHalf(static_cast<Qor16s>(shift == 0 ? 0 : (1 << (shift - 1)) - 1)),
        belowOne(static_cast<Qor16s>((1 << shift) - 1)) {}

  // A tie gets one more when that makes an odd quotient even. Nothing overflows: a sum is below 2^14, the bias at most
  // that.
  V16s rounded(V16s sum) const {
    const V16s odd = (sum >> shift) & splat(static_cast<Qor16s>(shift != 0));
    return (sum + splat(belowHalf) + odd) >> shift;
  }
  // A negative sum is lifted to the next multiple.
  V16s cut(V16s sum) const { return (sum + ((sum >> 15) & splat(belowOne))) >> shift; }

  int shift;
  Qor16s belowHalf, belowOne;
};

}  // namespace qor
