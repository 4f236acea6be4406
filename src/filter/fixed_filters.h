// What a fixed filter makes of rows and columns, and how its results are stored.
#pragma once

#include <string.h>

#include "filter/fixed_taps.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {

// A filter takes `planes` intermediate samples from every pixel of a row and its result from those of K rows:
//
//   rows(at, out)             out[p] is plane p of a row; at(i) is the sample under tap i along the row
//   columns<count>(r, out)    the results of count rows; r[p][i] is plane p of row i of count + K - 1
//   constant<M>(p)            plane p of an image of ones, in intermediate samples of type M
template <class Along, class Down, int K>
struct Separable {
  static constexpr int taps = K, planes = 1;
  template <class>
  static constexpr int constant(int) {
    return Along::template total<K>;
  }

  template <class V, class At>
  static void rows(At at, V (&out)[1]) {
    out[0] = Along::template sum<K>(at);
  }
  template <int count, class V>
  static void columns(const V (&r)[1][count + K - 1], V (&out)[count]) {
    slide<Down, K, count>(r[0], out);
  }
};

// 3x3:  2  0  2     5x5: Sobel along the row with D2x down the columns, plus D2x with Sobel. In 16 bits that is the
//       0 -8  0          3x3 one smoothed by 1 2 1 in both directions, since Sobel of 5 taps is 1 2 1 twice and D2x of
//       2  0  2          5 taps is 1 2 1 after 1 -2 1. Half of the sum is formed, which stays below 28 times 255.
template <int K>
struct Laplacian {
  static constexpr int taps = K, planes = 2;
  template <class M>
  static constexpr int constant(int plane) {
    if constexpr (K == 3) {
      return plane == 0 ? 2 : 8;
    } else if constexpr (std::is_same_v<M, Qor16s>) {
      return plane == 0 ? 8 : 16;
    } else {
      return plane == 0 ? Sobel::total<5> : 0;
    }
  }

  template <class V, class At>
  static void rows(At at, V (&out)[2]) {
    if constexpr (K == 3) {
      out[0] = at(0) + at(2);
      out[1] = times<8>(at(1));
    } else if constexpr (std::is_same_v<V, V16s>) {
      // 1 2 2 2 1 and 4 times 1 2 1: the two outer rows and the middle row of the 3x3 one, smoothed along and halved.
      const V beside = at(1) + at(3), middle = at(2);
      out[0] = at(0) + at(4) + times<2>(beside + middle);
      out[1] = times<4>(beside + times<2>(middle));
    } else {
      out[0] = Sobel::sum<5>(at);
      out[1] = D2x::sum<5>(at);
    }
  }
  template <int count, class V>
  static void columns(const V (&r)[2][count + K - 1], V (&out)[count]) {
    if constexpr (K == 3) {
      for (int j = 0; j < count; ++j) out[j] = times<2>(r[0][j] + r[0][j + 2]) - r[1][j + 1];
    } else if constexpr (std::is_same_v<V, V16s>) {
      V half[count + 2];
      for (int j = 0; j < count + 2; ++j) half[j] = r[0][j] + r[0][j + 2] - r[1][j + 1];
      slide<Sobel, 3, count>(half, out);
      for (int j = 0; j < count; ++j) out[j] = times<2>(out[j]);
    } else {
      V other[count];
      slide<D2x, 5, count>(r[0], out);
      slide<Sobel, 5, count>(r[1], other);
      for (int j = 0; j < count; ++j) out[j] = out[j] + other[j];
    }
  }
};

template <int K>
using SobelHoriz = Separable<Sobel, Dx, K>;
template <int K>
using SobelVert = Separable<DxNeg, Sobel, K>;
template <int K>
using SobelNegVert = Separable<Dx, Sobel, K>;
template <int K>
using SobelHorizSecond = Separable<Sobel, D2x, K>;
template <int K>
using SobelVertSecond = Separable<D2x, Sobel, K>;
template <int K>
using SobelCross = Separable<DxNeg, Dx, K>;
template <int K>
using ScharrHoriz = Separable<Scharr, Dx, K>;
template <int K>
using ScharrVert = Separable<Dx, Scharr, K>;
template <int K>
using Lowpass = Separable<Avr, Avr, K>;

// How results are stored: a block is two vectors of intermediate samples. The last columns of a row may be fewer.
struct StorePlain {
  template <class T>
  void operator()(T* dst, Vec<T> lo, Vec<T> hi) const {
    store(dst, lo);
    store(dst + Vec<T>::lanes, hi);
  }
  template <class T>
  void first(T* dst, ptrdiff_t n, Vec<T> lo, Vec<T> hi) const {
    T all[2 * Vec<T>::lanes];
    (*this)(all, lo, hi);
    memcpy(dst, all, static_cast<size_t>(n) * sizeof(T));
  }
};

// 32f: the sum of K * K samples times the 32-bit float nearest to 0.11111111 or 0.04.
template <int K>
struct StoreMean {
  void operator()(Qor32f* dst, V32f lo, V32f hi) const { StorePlain()(dst, scaled(lo), scaled(hi)); }
  void first(Qor32f* dst, ptrdiff_t n, V32f lo, V32f hi) const { StorePlain().first(dst, n, scaled(lo), scaled(hi)); }

 private:
  static V32f scaled(V32f sum) { return sum * splat(K == 3 ? 0.11111111F : 0.04F); }
};

// 8u: ((sum + 5) * 7280) >> 16 of 9 samples, (sum * 2621) >> 16 of 25.
template <int K>
struct StoreMean8u {
  void operator()(Qor8u* dst, V16s lo, V16s hi) const { store(dst, mean(lo, hi)); }
  void first(Qor8u* dst, ptrdiff_t n, V16s lo, V16s hi) const {
    Qor8u all[16];
    store(all, mean(lo, hi));
    memcpy(dst, all, static_cast<size_t>(n));
  }

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

// The first n columns: those of full fours as the first 16 samples of all have them, the others from the next 16.
inline void storeColumns(Qor8s* dst, ptrdiff_t n, const Qor8s* all) {
  const size_t fours = static_cast<size_t>(n) & ~size_t{3};
  memcpy(dst, all, fours);
  memcpy(dst + fours, all + 16 + fours, static_cast<size_t>(n) - fours);
}

// 8s: the sum times the 32-bit float 1 / divisor, clamped.
template <Quotient quotient>
class StoreQuotient {
 public:
  explicit StoreQuotient(Qor32s divisor) : reciprocal_(1.0F / static_cast<Qor32f>(divisor)) {}

  void operator()(Qor8s* dst, V16s lo, V16s hi) const {
    store(dst, quotient == Quotient::nearest ? rounded(lo, hi) : cut(lo, hi));
  }
  void first(Qor8s* dst, ptrdiff_t n, V16s lo, V16s hi) const {
    Qor8s all[32];
    (*this)(all, lo, hi);
    store(all + 16, cut(lo, hi));
    storeColumns(dst, n, all);
  }

 private:
  // Sums are below 2^15 and the reciprocal is at most 1, so the quotients fit 16 bits; saturation is the clamp, since
  // its limits are integers.
  V8s rounded(V16s lo, V16s hi) const {
    const auto half = [this](V16s a) { return narrowToS(nearest(product(widenLo(a))), nearest(product(widenHi(a)))); };
    return narrowToS(half(lo), half(hi));
  }
  V8s cut(V16s lo, V16s hi) const {
    const auto half = [this](V16s a) {
      return narrowToS(truncated(product(widenLo(a))), truncated(product(widenHi(a))));
    };
    return narrowToS(half(lo), half(hi));
  }
  V32f product(V32s a) const { return toFloat(a) * splat(reciprocal_); }

  Qor32f reciprocal_;
};

// The same for a divisor of 2^shift, in 16 bits: the product is exact then.
template <Quotient quotient>
class StoreShifted {
 public:
  // A shift of 15 takes every sum to 0, as the larger ones do.
  explicit StoreShifted(int shift)
      : shift_(shift < 15 ? shift : 15),
        belowHalf_(static_cast<Qor16s>(shift_ == 0 ? 0 : (1 << (shift_ - 1)) - 1)),
        belowOne_(static_cast<Qor16s>((1 << shift_) - 1)) {}

  void operator()(Qor8s* dst, V16s lo, V16s hi) const {
    if constexpr (quotient == Quotient::nearest) {
      store(dst, narrowToS(rounded(lo), rounded(hi)));
    } else {
      store(dst, narrowToS(cut(lo), cut(hi)));
    }
  }
  void first(Qor8s* dst, ptrdiff_t n, V16s lo, V16s hi) const {
    Qor8s all[32];
    (*this)(all, lo, hi);
    store(all + 16, narrowToS(cut(lo), cut(hi)));
    storeColumns(dst, n, all);
  }

 private:
  // A tie gets one more when that makes an odd quotient even. Nothing overflows: a sum is below 2^14, the bias at most
  // that.
  V16s rounded(V16s sum) const {
    const V16s odd = (sum >> shift_) & splat(static_cast<Qor16s>(shift_ != 0));
    return (sum + splat(belowHalf_) + odd) >> shift_;
  }
  // A negative sum is lifted to the next multiple.
  V16s cut(V16s sum) const { return (sum + ((sum >> 15) & splat(belowOne_))) >> shift_; }

  int shift_;
  Qor16s belowHalf_, belowOne_;
};

}  // namespace qor
