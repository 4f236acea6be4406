// What a one-dimensional filter computes for a few neighbouring samples: spans say where the samples under each tap
// stand, sums multiply and add them, a filter turns sums into results. Rows and columns differ in their spans alone.
#pragma once

#include "frame/round.h"
#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// The inside of a row rounds to nearest, ties to even. What a vector block of the contract does not reach, the first
// and last columns of a row and the remainder columns behind the last block of a column pass, truncates.
enum class Section { inside, edge };

// ---- spans

inline V32f floatsAt(const Qor8u* p) { return toFloat(widenFour(load4(p))); }
inline V32f floatsAt(const Qor16s* p) { return toFloat(widenLo(load8(p))); }
inline V32f floatsAt(const Qor16u* p) { return toFloat(widenLo(load8(p))); }
inline V32f floatsAt(const Qor32f* p) { return load(p); }
inline V16s wordsAt(const Qor8u* p) { return as<Qor16s>(widenLo(load8(p))); }
inline V16s wordsAt(const Qor16s* p) { return load(p); }

// Along a row: the same channel of consecutive pixels.
template <int channels, class T>
struct RowSpan {
  const T* p;

  V32f floats(ptrdiff_t tap, int group) const { return floatsAt(p + tap * channels + 4 * group); }
  V16s words(ptrdiff_t tap, int group) const { return wordsAt(p + tap * channels + 8 * group); }
};

// Down the columns: the same column of consecutive rows.
template <class T>
struct ColumnSpan {
  const T* const* rows;
  ptrdiff_t x;

  V32f floats(ptrdiff_t tap, int group) const { return floatsAt(rows[tap] + x + 4 * group); }
  V16s words(ptrdiff_t tap, int group) const { return wordsAt(rows[tap] + x + 8 * group); }
};

// The last columns, fewer than a group has lanes; the other lanes are zero.
template <class T>
struct LastColumns {
  const T* const* rows;
  ptrdiff_t x;
  int count;

  V32f floats(ptrdiff_t tap, int) const { return floatsAt(copied<4>(tap).samples); }
  V16s words(ptrdiff_t tap, int) const { return wordsAt(copied<8>(tap).samples); }

 private:
  template <int lanes>
  struct Lanes {
    T samples[lanes];
  };
  template <int lanes>
  Lanes<lanes> copied(ptrdiff_t tap) const {
    Lanes<lanes> copy{};
    for (int i = 0; i < count; ++i) copy.samples[i] = rows[tap][x + i];
    return copy;
  }
};

// Calls f(std::integral_constant): 3 and 5 taps have kernels of their own, 0 stands for any number.
template <class F>
void withKernelSize(int kernelSize, const F& f) {
  if (kernelSize == 3) return f(std::integral_constant<int, 3>());
  if (kernelSize == 5) return f(std::integral_constant<int, 5>());
  f(std::integral_constant<int, 0>());
}

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

// Converted where they are used, for members whose scratch does not hold them.
struct WordTaps {
  static constexpr int size = 0;
  const Qor16u* tap;
  ptrdiff_t taps;

  ptrdiff_t count() const { return taps; }
  V32f operator[](ptrdiff_t i) const { return splat(static_cast<Qor32f>(tap[i])); }
};

// Two neighbouring taps as the multiply-and-add of pairs takes them; the last of an odd number stands beside a zero.
inline Qor32s tapPair(const Qor16s* tap, ptrdiff_t i, ptrdiff_t count) {
  const auto low = static_cast<Qor16u>(tap[i]);
  const auto high = static_cast<Qor16u>(i + 1 < count ? tap[i + 1] : 0);
  return static_cast<Qor32s>(low | static_cast<Qor32u>(high) << 16);
}

template <int K>
struct PairTaps {
  static constexpr int size = K;
  V16s pair[(K + 1) / 2];

  explicit PairTaps(const Qor16s* taps, int = K) {
    for (int i = 0; i < (K + 1) / 2; ++i) pair[i] = as<Qor16s>(splat(tapPair(taps, 2 * i, K)));
  }
  static constexpr ptrdiff_t count() { return K; }
  V16s operator[](ptrdiff_t i) const { return pair[i / 2]; }
};
template <>
struct PairTaps<0> {
  static constexpr int size = 0;
  const Qor16s* tap;
  ptrdiff_t taps;

  PairTaps(const Qor16s* first, int kernelSize) : tap(first), taps(kernelSize) {}
  ptrdiff_t count() const { return taps; }
  V16s operator[](ptrdiff_t i) const {
    if (i + 1 == taps) return as<Qor16s>(splat(tapPair(tap, i, taps)));
    return as<Qor16s>(splat(static_cast<Qor32s>(_mm_cvtsi128_si32(_mm_loadu_si32(tap + i)))));
  }
};

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

// ---- sums of 4 * groups neighbouring samples

// Float products added in the order of the taps.
template <class Taps>
struct FloatSum {
  Taps taps;

  template <int groups, class Span>
  QOR_FORCE_INLINE void operator()(const Span& span, V32f (&sum)[groups]) const {
    if constexpr (requires { typename std::integral_constant<ptrdiff_t, Taps::count()>; }) {
      // One group after the other: the compiler spills what it may load early.
      for (int g = 0; g < groups; ++g) {
        sum[g] = span.floats(0, g) * taps[0];
        for (ptrdiff_t i = 1; i < taps.count(); ++i) sum[g] = sum[g] + span.floats(i, g) * taps[i];
      }
    } else {
      const V32f first = taps[0];
      for (int g = 0; g < groups; ++g) sum[g] = span.floats(0, g) * first;
      for (ptrdiff_t i = 1; i < taps.count(); ++i) {
        const V32f tap = taps[i];
        for (int g = 0; g < groups; ++g) sum[g] = sum[g] + span.floats(i, g) * tap;
      }
    }
  }
};

// Calls add(group of four, the 32-bit products of two neighbouring taps, added) for pair after pair.
template <int groups, class Taps, class Span, class Add>
QOR_FORCE_INLINE void forEachPair(const Taps& taps, const Span& span, const Add& add) {
  static_assert(groups % 2 == 0);
  const auto pairOf = [&](ptrdiff_t i, ptrdiff_t second) {
    const V16s pair = taps[i];
    for (int g = 0; g < groups; g += 2) {
      const V16s a = span.words(i, g / 2), b = span.words(second, g / 2);
      add(g, multiplyAdd(V16s{_mm_unpacklo_epi16(a.v, b.v)}, pair));
      add(g + 1, multiplyAdd(V16s{_mm_unpackhi_epi16(a.v, b.v)}, pair));
    }
  };
  ptrdiff_t i = 0;
  for (; i + 1 < taps.count(); i += 2) pairOf(i, i + 1);
  if (i < taps.count()) pairOf(i, i);
}

// The sum in 32-bit integers, which wrap.
template <class Taps>
struct IntegerSum {
  Taps taps;

  template <int groups, class Span>
  QOR_FORCE_INLINE void integers(const Span& span, V32s (&sum)[groups]) const {
    for (int g = 0; g < groups; ++g) sum[g] = zero<Qor32s>();
    forEachPair<groups>(taps, span, [&](int g, V32s products) { sum[g] = sum[g] + products; });
  }
  template <int groups, class Span>
  QOR_FORCE_INLINE void operator()(const Span& span, V32f (&sum)[groups]) const {
    V32s exact[groups];
    integers(span, exact);
    for (int g = 0; g < groups; ++g) sum[g] = toFloat(exact[g]);
  }
};

// The products of two neighbouring taps are added in 32-bit integers, which wrap, the pairs as floats in their order.
template <class Taps>
struct PairSum {
  Taps taps;

  template <int groups, class Span>
  QOR_FORCE_INLINE void operator()(const Span& span, V32f (&sum)[groups]) const {
    for (int g = 0; g < groups; ++g) sum[g] = zero<Qor32f>();
    forEachPair<groups>(taps, span, [&](int g, V32s products) { sum[g] = sum[g] + toFloat(products); });
  }
};

// ---- results

// The first count of the results, fewer than there are: by halves, since copies of a few samples are what the edges of
// every row end with.
template <int most, class D>
QOR_FORCE_INLINE void copyFirst(D* dst, const D* from, ptrdiff_t count) {
  if constexpr (most > 1) {
    constexpr int half = most / 2;
    if ((count & half) != 0) {
      __builtin_memcpy(dst, from, half * sizeof(D));
      dst += half;
      from += half;
    }
    copyFirst<half>(dst, from, count);
  }
}

// 32-bit integers to samples, saturated.
template <class D, int groups>
QOR_FORCE_INLINE void storeIntegers(D* dst, const V32s (&sum)[groups]) {
  // Four lanes go twice through the packs, and one half is stored.
  constexpr int last = groups - 1;
  for (int g = 0; g < groups; g += sizeof(D) == 1 ? 4 : 2) {
    const V32s a = sum[g], b = g + 1 > last ? a : sum[g + 1];
    __m128i packed;
    if constexpr (sizeof(D) == 2) {
      packed = std::is_signed_v<D> ? narrowToS(a, b).v : narrowToU(a, b).v;
    } else {
      const V16s low = narrowToS(a, b);
      const V16s high = g + 2 > last ? low : narrowToS(sum[g + 2], g + 3 > last ? a : sum[g + 3]);
      packed = std::is_signed_v<D> ? narrowToS(low, high).v : narrowToU(low, high).v;
    }
    constexpr int bytes = groups * 4 * static_cast<int>(sizeof(D));
    D* const to = dst + 4 * g;
    if constexpr (bytes == 4) {
      _mm_storeu_si32(to, packed);
    } else if constexpr (bytes == 8) {
      _mm_storeu_si64(to, packed);
    } else {
      static_assert(bytes % 16 == 0);
      store(to, Vec<D>{packed});
    }
  }
}

// Floats to samples. Sums above the top are cut before the conversion, which turns what lies outside 32 bits into the
// lowest integer; below the bottom that is right, and the saturating packs do the rest.
template <Section section, class D, int groups>
QOR_FORCE_INLINE void storeSums(D* dst, const V32f (&sum)[groups]) {
  if constexpr (std::is_same_v<D, Qor32f>) {
    for (int g = 0; g < groups; ++g) store(dst + 4 * g, sum[g]);
  } else {
    const V32f top = splat(static_cast<Qor32f>(topOf<D>));
    V32s integers[groups];
    for (int g = 0; g < groups; ++g) {
      const V32f cut = min(sum[g], top);
      integers[g] = section == Section::inside ? nearest(cut) : truncated(cut);
    }
    storeIntegers(dst, integers);
  }
}

// A sum as it stands.
template <class D, class Sum>
struct Plain {
  using Result = D;
  static constexpr int kernelSize = decltype(Sum::taps)::size;
  Sum sum;

  template <Section section, int groups, class Span>
  QOR_FORCE_INLINE void run(D* dst, const Span& span) const {
    V32f sums[groups];
    sum(span, sums);
    storeSums<section>(dst, sums);
  }
};

// A sum times the reciprocal of the divisor.
template <class D, class Sum>
struct Scaled {
  using Result = D;
  static constexpr int kernelSize = decltype(Sum::taps)::size;
  Sum sum;
  V32f inverse;

  template <Section section, int groups, class Span>
  QOR_FORCE_INLINE void run(D* dst, const Span& span) const {
    V32f sums[groups];
    sum(span, sums);
    for (int g = 0; g < groups; ++g) sums[g] = sums[g] * inverse;
    storeSums<section>(dst, sums);
  }
};

// How a 16-bit sum becomes sum * scale >> 14, saturated. A scale of 16384, for a divisor of 1, leaves the sum as it is;
// one whose fourfold has 16 bits needs no more than the high half of the product with that, which cannot saturate.
enum class LowScale { none, highHalf, any };

constexpr LowScale lowScaleKind(Qor32s scale) {
  return scale == 16384 ? LowScale::none : scale >= -8192 && scale < 8192 ? LowScale::highHalf : LowScale::any;
}

// The members of low precision. Inside, products and sums wrap in 16 bits and are scaled as above. At the edges the sum
// has 32 bits, its product with scale wraps, and the low 16 bits of the product >> 14 are stored; wrapsEverywhere makes
// the edges wrap as the inside does. folds: the taps are the same on both sides, and samples are added before they are
// multiplied, which changes nothing in arithmetic that wraps.
template <int K, LowScale kind, bool folds, bool wrapsEverywhere>
struct Low {
  using Result = Qor16s;
  static constexpr int kernelSize = K;
  LowTaps<K> taps;
  PairTaps<K> pairs;
  V32s scale;

  template <Section section, int groups, class Span>
  QOR_FORCE_INLINE void run(Qor16s* dst, const Span& span) const {
    if constexpr (section == Section::inside || wrapsEverywhere) {
      for (int g = 0; g < groups / 2; ++g) store(dst + 8 * g, scaled(wrapped(span, g)));
    } else {
      V32s sums[groups];
      IntegerSum<PairTaps<K>>{pairs}.integers(span, sums);
      for (int g = 0; g < groups; g += 2) {
        // Bits 14 to 29, with a sign that lets them pass the saturating pack.
        const V32s lo = ((sums[g] * scale) << 2) >> 16, hi = ((sums[g + 1] * scale) << 2) >> 16;
        store(dst + 4 * g, narrowToS(lo, hi));
      }
    }
  }

 private:
  template <class Span>
  QOR_FORCE_INLINE V16s wrapped(const Span& span, int group) const {
    if constexpr (folds) {
      V16s sum = span.words(K / 2, group) * taps[K / 2];
      for (int i = 0; i < K / 2; ++i) {
        sum = sum + (span.words(i, group) + span.words(K - 1 - i, group)) * taps[i];
      }
      return sum;
    } else {
      V16s sum = span.words(0, group) * taps[0];
      for (ptrdiff_t i = 1; i < taps.count(); ++i) sum = sum + span.words(i, group) * taps[i];
      return sum;
    }
  }

  QOR_FORCE_INLINE V16s scaled(V16s sum) const {
    if constexpr (kind == LowScale::none) {
      return sum;
    } else if constexpr (kind == LowScale::highHalf) {
      // The low halves of the lanes of scale, in every 16 bits: (sum * 4 * scale) >> 16.
      return {_mm_mulhi_epi16(sum.v, _mm_packs_epi32((scale << 2).v, (scale << 2).v))};
    } else {
      // Beside a zero, for the multiply-and-add of pairs. |sum * scale| is at most 2^29.
      const V16s factor = as<Qor16s>(scale & splat(Qor32s{0xffff}));
      return narrowToS(multiplyAdd(V16s{_mm_unpacklo_epi16(sum.v, sum.v)}, factor) >> 14,
                       multiplyAdd(V16s{_mm_unpackhi_epi16(sum.v, sum.v)}, factor) >> 14);
    }
  }
};

template <class Tap>
bool isSymmetric(const Tap* taps, int kernelSize) {
  for (int i = 0; i < kernelSize / 2; ++i) {
    if (taps[i] != taps[kernelSize - 1 - i]) return false;
  }
  return true;
}

// Calls f(filter) for the taps and the divisor.
template <class F>
void withLowFilter(const Qor16s* taps, int kernelSize, Qor32s scale, bool wrapsEverywhere, const F& f) {
  const auto of = [&](auto K, auto kind, auto folds, auto wraps) {
    f(Low<K, kind, folds, wraps>{LowTaps<K>(taps, kernelSize), PairTaps<K>(taps, kernelSize), splat(scale)});
  };
  const auto scaledBy = [&](auto kind) {
    withKernelSize(kernelSize, [&](auto K) {
      if constexpr (K != 0) {
        if (isSymmetric(taps, K)) {
          // The shape that wraps everywhere has a divisor of 16.
          constexpr bool shape = K == 5 && kind == LowScale::highHalf;
          if (shape && wrapsEverywhere) return of(K, kind, std::true_type(), std::bool_constant<shape>());
          return of(K, kind, std::true_type(), std::false_type());
        }
      }
      of(K, kind, std::false_type(), std::false_type());
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
