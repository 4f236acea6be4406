// The members of low precision: products and sums wrap in 16 bits.
#pragma once

#include "filter/integer_sums.h"

namespace qor::inline QOR_LEVEL {

// Single taps in 16 bits.
template <int K>
struct LowTaps {
  V16s tap[K];

  explicit LowTaps(const Qor16s* taps, int = K) {
    for (int i = 0; i < K; ++i) tap[i] = splat(taps[i]);
  }
  static constexpr ptrdiff_t count() { return K; }
  V16s operator[](ptrdiff_t i) const { return tap[i]; }
};
template <>
struct LowTaps<0> {
  const Qor16s* tap;
  ptrdiff_t taps;

  LowTaps(const Qor16s* first, int kernelSize) : tap(first), taps(kernelSize) {}
  ptrdiff_t count() const { return taps; }
  V16s operator[](ptrdiff_t i) const { return splat(tap[i]); }
};

// 16384 / divisor, truncated, in 16 bits.
inline Qor32s lowScale(int divisor) {
  return static_cast<Qor16s>(static_cast<Qor32s>(16384.0F / static_cast<Qor32f>(divisor)));
}

// How a 16-bit sum becomes sum * scale >> 14, saturated. A scale of 16384, for a divisor of 1, leaves the sum as it is;
// one whose fourfold has 16 bits needs no more than the high half of the product with that, which cannot saturate.
enum class LowScale { none, highHalf, any };

constexpr LowScale lowScaleKind(Qor32s scale) {
  return scale == 16384 ? LowScale::none : scale >= -8192 && scale < 8192 ? LowScale::highHalf : LowScale::any;
}

// The inside. folds: the taps are the same on both sides, and samples are added before they are multiplied, which
// changes nothing in arithmetic that wraps.
template <int K, LowScale kind, bool folds>
struct Low {
  using Result = Qor16s;
  static constexpr int kernelSize = K;
  static constexpr Blocks blocks{2, K == 0 ? 8 : 4};
  LowTaps<K> taps;
  V16s factor;

  Low(const Qor16s* first, int count, Qor32s scale) : taps(first, count), factor(factorOf(scale)) {}

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(Qor16s* dst, const Span& span) const {
    constexpr int vectors = groups / 2;
    V16s sum[vectors];
    if constexpr (folds) {
      const auto at = [&](ptrdiff_t tap, int v) { return span.template at<Qor16s>(tap, v); };
      for (int v = 0; v < vectors; ++v) {
        sum[v] = at(K / 2, v) * taps[K / 2];
        for (int i = 0; i < K / 2; ++i) sum[v] = sum[v] + (at(i, v) + at(K - 1 - i, v)) * taps[i];
      }
    } else {
      for (int v = 0; v < vectors; ++v) sum[v] = span.template at<Qor16s>(0, v) * taps[0];
      for (ptrdiff_t i = 1; i < taps.count(); ++i) {
        const V16s tap = taps[i];
        for (int v = 0; v < vectors; ++v) sum[v] = sum[v] + span.template at<Qor16s>(i, v) * tap;
      }
    }
    for (int v = 0; v < vectors; ++v) store(dst + v * V16s::lanes, scaled(sum[v]));
  }

 private:
  // What scaled() multiplies by: four times the scale, or the scale beside a zero for the multiply-and-add of pairs.
  static V16s factorOf(Qor32s scale) {
    return kind == LowScale::highHalf ? splat(static_cast<Qor16s>(scale * 4)) : as<Qor16s>(splat(scale & 0xffff));
  }
  QOR_FORCE_INLINE V16s scaled(V16s sum) const {
    if constexpr (kind == LowScale::none) {
      return sum;
    } else if constexpr (kind == LowScale::highHalf) {
      return multiplyHigh(sum, factor);
    } else {
      // |sum * scale| is at most 2^29.
      const Split<Qor16s> twice = splitZip(sum, sum);
      return packToS(multiplyAdd(twice.a, factor) >> 14, multiplyAdd(twice.b, factor) >> 14);
    }
  }
};

// The ends: a sum of 32 bits, its product with scale wraps, and the low 16 bits of the product >> 14 are stored.
template <int K>
struct LowAtEnds {
  using Result = Qor16s;
  static constexpr int kernelSize = K;
  static constexpr Blocks blocks{2, 2};
  PairTaps<K> taps;
  V32s scale;

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(Qor16s* dst, const Span& span) const {
    V32s sums[groups]{};
    addPairs<Qor32s>(sums, taps, span);
    // Bits 14 to 29, with a sign that lets them pass the saturating pack.
    for (V32s& sum : sums) sum = ((sum * scale) << 2) >> 16;
    storeIntegers<Order::split>(dst, sums);
  }
};

// Calls f(filter of the inside, filter of the ends) for the taps and the divisor. wrapsEverywhere: one filter for both,
// which the shape of 5 taps has that is the same on both sides with a divisor of 16.
template <class F>
void withLowFilters(const Qor16s* taps, int kernelSize, int divisor, bool wrapsEverywhere, const F& f) {
  const Qor32s scale = lowScale(divisor);
  const auto scaledBy = [&](auto kind) {
    withKernelSize(kernelSize, [&](auto K) {
      const LowAtEnds<K> ends{PairTaps<K>(taps, kernelSize), splat(scale)};
      if constexpr (K != 0) {
        if (isSymmetric(taps, K)) {
          const Low<K, kind, true> inside(taps, kernelSize, scale);
          if constexpr (K == 5 && kind == LowScale::highHalf) {
            if (wrapsEverywhere) return f(inside, inside);
          }
          return f(inside, ends);
        }
      }
      f(Low<K, kind, false>(taps, kernelSize, scale), ends);
    });
  };
  switch (lowScaleKind(scale)) {
    case LowScale::none:
      return scaledBy(std::integral_constant<LowScale, LowScale::none>());
    case LowScale::highHalf:
      return scaledBy(std::integral_constant<LowScale, LowScale::highHalf>());
    default:
      return scaledBy(std::integral_constant<LowScale, LowScale::any>());
  }
}

}  // namespace qor
