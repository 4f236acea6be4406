// Sums of float products, in the order of the taps, and what becomes of them.
#pragma once

#include "filter/spans.h"

namespace qor::inline QOR_LEVEL {

// ---- taps. A kernel size known to the compiler keeps them in registers; 0 stands for any other.

template <int K>
struct FloatTaps {
  static constexpr int size = K;
  V32f tap[K];

  explicit FloatTaps(const Qor32f* taps, int = K) {
    for (int i = 0; i < K; ++i) tap[i] = splat(taps[i]);
  }
  static constexpr ptrdiff_t count() { return K; }
  V32f operator[](ptrdiff_t i) const { return tap[i]; }
};
template <>
struct FloatTaps<0> {
  static constexpr int size = 0;
  const Qor32f* tap;
  ptrdiff_t taps;

  FloatTaps(const Qor32f* first, int kernelSize) : tap(first), taps(kernelSize) {}
  ptrdiff_t count() const { return taps; }
  V32f operator[](ptrdiff_t i) const { return splat(tap[i]); }
};

// Floats of other taps, each times factor. room: for all of them where K is 0.
template <int K, class Tap>
FloatTaps<K> floatTaps(const Tap* taps, int kernelSize, Qor32f factor, Qor32f* room) {
  Qor32f local[K == 0 ? 1 : K];
  Qor32f* const to = K == 0 ? room : local;
  const int count = K == 0 ? kernelSize : K;
  for (int i = 0; i < count; ++i) to[i] = static_cast<Qor32f>(taps[i]) * factor;
  return FloatTaps<K>(to, count);
}

// Converted where they are used, for members whose scratch does not hold them.
struct WordTaps {
  static constexpr int size = 0;
  const Qor16u* tap;
  ptrdiff_t taps;

  ptrdiff_t count() const { return taps; }
  V32f operator[](ptrdiff_t i) const { return splat(static_cast<Qor32f>(tap[i])); }
};

// ---- sums

// Float products added in the order of the taps.
template <class TapsOf>
struct FloatSum {
  using Taps = TapsOf;
  static constexpr Order order = Order::consecutive;
  // 5 taps over converted samples would spill with four groups.
  template <class D>
  static constexpr Blocks blocks{2, Taps::size == 0                                 ? 8
                                    : Taps::size == 5 && !std::is_same_v<D, Qor32f> ? 2
                                                                                    : 4};
  Taps taps;

  template <int groups, class Span>
  QOR_FORCE_INLINE void operator()(const Span& span, V32f (&sum)[groups]) const {
    if constexpr (Taps::size != 0) {
      // One group after the other: the compiler spills what it may load early.
      for (int g = 0; g < groups; ++g) {
        sum[g] = span.template at<Qor32f>(0, g) * taps[0];
        for (ptrdiff_t i = 1; i < taps.count(); ++i) sum[g] = sum[g] + span.template at<Qor32f>(i, g) * taps[i];
      }
    } else {
      const V32f first = taps[0];
      for (int g = 0; g < groups; ++g) sum[g] = span.template at<Qor32f>(0, g) * first;
      for (ptrdiff_t i = 1; i < taps.count(); ++i) {
        const V32f tap = taps[i];
        for (int g = 0; g < groups; ++g) sum[g] = sum[g] + span.template at<Qor32f>(i, g) * tap;
      }
    }
  }
};

// ---- results

// Floats to samples. Sums above the top are cut before the conversion, which turns what lies outside 32 bits into the
// lowest integer; below the bottom that is right, and the saturating packs do the rest.
template <Rounding rounding, Order order, class D, int groups>
QOR_FORCE_INLINE void storeSums(D* dst, const V32f (&sum)[groups]) {
  if constexpr (std::is_same_v<D, Qor32f>) {
    for (int g = 0; g < groups; ++g) store(dst + g * group, sum[g]);
  } else {
    const V32f top = splat(static_cast<Qor32f>(topOf<D>));
    V32s integers[groups];
    for (int g = 0; g < groups; ++g) {
      const V32f cut = min(sum[g], top);
      integers[g] = rounding == Rounding::nearest ? nearest(cut) : truncated(cut);
    }
    storeIntegers<order>(dst, integers);
  }
}

// A sum as it stands.
template <class D, class Sum, Rounding rounding = Rounding::nearest>
struct Plain {
  using Result = D;
  static constexpr int kernelSize = Sum::Taps::size;
  static constexpr Blocks blocks = Sum::template blocks<D>;
  Sum sum;

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(D* dst, const Span& span) const {
    V32f sums[groups];
    sum(span, sums);
    storeSums<rounding, Sum::order>(dst, sums);
  }
};

// A sum times the reciprocal of the divisor.
template <class D, class Sum, Rounding rounding = Rounding::nearest>
struct Scaled {
  using Result = D;
  static constexpr int kernelSize = Sum::Taps::size;
  static constexpr Blocks blocks = Sum::template blocks<D>;
  Sum sum;
  V32f inverse;

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(D* dst, const Span& span) const {
    V32f sums[groups];
    sum(span, sums);
    for (int g = 0; g < groups; ++g) sums[g] = sums[g] * inverse;
    storeSums<rounding, Sum::order>(dst, sums);
  }
};

}  // namespace qor
