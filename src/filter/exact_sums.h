// Filters whose sums are exact integers, for divisors and taps that let them: the same bits as the plain rules of
// tap_sums.h with fewer instructions. They serve the inside of rows alone.
#pragma once

#include "filter/tap_sums.h"

namespace qor::inline QOR_LEVEL {

// The sums that taps can make of samples from low to high.
struct SumRange {
  Qor64s least = 0, most = 0;

  template <class Tap>
  SumRange(const Tap* taps, int count, Qor64s low, Qor64s high) {
    for (int i = 0; i < count; ++i) {
      least += taps[i] * (taps[i] < 0 ? high : low);
      most += taps[i] * (taps[i] < 0 ? low : high);
    }
  }
  bool within(Qor64s low, Qor64s high) const { return least >= low && most <= high; }
  // Rounded quotients fit 16 bits: the tie above the top would go to 2^15, the one below the bottom goes to the bottom.
  bool quotientsFit(Qor64s divisor) const { return 2 * most < 65535 * divisor && 2 * least >= -65537 * divisor; }
};

// The exponent of a divisor that is a power of two, else -1.
constexpr int exponentOf(int divisor) {
  return divisor > 0 && (divisor & (divisor - 1)) == 0 ? __builtin_ctz(static_cast<unsigned>(divisor)) : -1;
}

// Rounds sum / 2^n to nearest, ties to even, by one float addition. A sum that starts from the bits of 2^23 (or 1.5 *
// 2^23, where it may be negative) is, read as a float, that number plus the sum, exactly, as long as it stays between
// 2^23 and 2^24. Moved up to 1.5 * 2^(23 + n), where floats are 2^n apart, it is rounded as the quotient would be, and
// its bits are those of 1.5 * 2^(23 + n) plus the rounded quotient.
//
// The rule that it stands for, sum times the reciprocal in floats, has the same value: sums below 2^24 and their
// products with a power of two are exact.
class QuotientByAddition {
 public:
  static bool serves(int divisor, const SumRange& range) {
    return exponentOf(divisor) >= 0 && exponentOf(divisor) <= 22 &&
           (range.within(0, (1 << 23) - 1) || range.within(-(1 << 22), (1 << 22) - 1));
  }

  QuotientByAddition(int divisor, const SumRange& range) {
    const bool negative = range.least < 0;
    const Qor32f start = negative ? 0x1.8p23F : 0x1p23F;
    const Qor32f end = 0x1.8p23F * static_cast<Qor32f>(divisor);
    start_ = splat(__builtin_bit_cast(Qor32s, start));
    up_ = splat(end - start);
    end_ = splat(__builtin_bit_cast(Qor32s, end));
  }

  // What sums start from.
  V32s start() const { return start_; }
  // The low 16 bits of a lane are those of the quotient.
  V32s low(V32s sum) const { return as<Qor32s>(as<Qor32f>(sum) + up_); }
  V32s operator()(V32s sum) const { return low(sum) - end_; }

 private:
  V32s start_, end_;
  V32f up_;
};

// The sum times the reciprocal, as it is written.
template <bool cuts>  // where wrapped sums may come near 2^31, which floats round up to
struct QuotientByProduct {
  V32f inverse;

  static V32s start() { return zero<Qor32s>(); }
  V32s operator()(V32s sum) const {
    const V32f quotient = toFloat(sum) * inverse;
    return nearest(cuts ? min(quotient, splat(static_cast<Qor32f>(topOf<Qor16s>))) : quotient);
  }
};

// ---- rows of one channel. The products of a vector of neighbouring samples with a pair of taps, added in pairs, are
// the sums of every second output: no samples are interleaved, and the results of even and odd outputs are, once.

template <int K>
struct NeighbourTaps {
  V16s pair[(K + 1) / 2], last;

  NeighbourTaps(const Qor16s* taps, int, void*) {
    for (int i = 0; i < K; i += 2) pair[i / 2] = as<Qor16s>(splat(tapPair(taps, i, K)));
    last = as<Qor16s>(as<Qor32s>(pair[K / 2]) << 16);
  }
  static constexpr ptrdiff_t count() { return K; }
  V16s operator[](ptrdiff_t i) const { return pair[i]; }
};
template <>
struct NeighbourTaps<0> {
  const Qor16s* pairs;
  ptrdiff_t taps;
  V16s last;

  // room: 16 aligned bytes for every pair.
  NeighbourTaps(const Qor16s* first, int kernelSize, void* room) : pairs(static_cast<Qor16s*>(room)), taps(kernelSize) {
    auto* to = static_cast<Qor16s*>(room);
    for (ptrdiff_t i = 0; i < taps; i += 2, to += 8) {
      last = as<Qor16s>(splat(tapPair(first, i, taps)));
      store(to, last);
    }
    last = as<Qor16s>(as<Qor32s>(last) << 16);
  }
  ptrdiff_t count() const { return taps; }
  V16s operator[](ptrdiff_t i) const { return {_mm_load_si128(reinterpret_cast<const __m128i*>(pairs + 8 * i))}; }
};

// Calls add(g, even, odd) with the products of a pair of taps for the even and the odd ones of 8 outputs.
template <int groups, class Taps, class Span, class Add>
QOR_FORCE_INLINE void forEachNeighbours(const Taps& taps, const Span& span, const Add& add) {
  const ptrdiff_t whole = taps.count() / 2;
  for (ptrdiff_t i = 0; i < whole; ++i) {
    const V16s pair = taps[i];
    for (int g = 0; g < groups; ++g) {
      add(g, multiplyAdd(span.words(2 * i, g), pair), multiplyAdd(span.words(2 * i + 1, g), pair));
    }
  }
  // The last of an odd number: one vector serves both, so that nothing behind the span is read.
  if (taps.count() % 2 != 0) {
    const V16s pair = taps[whole];
    for (int g = 0; g < groups; ++g) {
      const V16s words = span.words(2 * whole, g);
      add(g, multiplyAdd(words, pair), multiplyAdd(words, taps.last));
    }
  }
}

// Even and odd results, saturated, in their order.
inline V16s interleaved(V32s even, V32s odd) {
  const V16s packed = narrowToS(even, odd);
  return {_mm_shuffle_epi8(packed.v, _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15))};
}
// The same of lanes whose low 16 bits are the results.
inline V16s interleavedLow(V32s even, V32s odd) { return {_mm_blend_epi16(even.v, _mm_slli_epi32(odd.v, 16), 0xaa)}; }

// 32-bit sums. Quotients by addition have to fit 16 bits, those by product saturate.
template <class Taps, class Quotient>
struct NeighbourSum {
  using Result = Qor16s;
  Taps taps;
  Quotient quotient;

  template <Section, int groups, class Span>
  QOR_FORCE_INLINE void run(Qor16s* dst, const Span& span) const {
    constexpr int blocks = groups / 2;
    V32s even[blocks], odd[blocks];
    for (int g = 0; g < blocks; ++g) even[g] = odd[g] = quotient.start();
    forEachNeighbours<blocks>(taps, span, [&](int g, V32s e, V32s o) {
      even[g] = even[g] + e;
      odd[g] = odd[g] + o;
    });
    for (int g = 0; g < blocks; ++g) {
      if constexpr (std::is_same_v<Quotient, QuotientByAddition>) {
        store(dst + 8 * g, interleavedLow(quotient.low(even[g]), quotient.low(odd[g])));
      } else {
        store(dst + 8 * g, interleaved(quotient(even[g]), quotient(odd[g])));
      }
    }
  }
};

// PairSum times the reciprocal.
template <class Taps>
struct NeighbourPairSum {
  using Result = Qor16s;
  Taps taps;
  V32f inverse;

  template <Section, int groups, class Span>
  QOR_FORCE_INLINE void run(Qor16s* dst, const Span& span) const {
    constexpr int blocks = groups / 2;
    V32f even[blocks], odd[blocks];
    for (int g = 0; g < blocks; ++g) even[g] = odd[g] = zero<Qor32f>();
    forEachNeighbours<blocks>(taps, span, [&](int g, V32s e, V32s o) {
      even[g] = even[g] + toFloat(e);
      odd[g] = odd[g] + toFloat(o);
    });
    const V32f top = splat(static_cast<Qor32f>(topOf<Qor16s>));
    for (int g = 0; g < blocks; ++g) {
      store(dst + 8 * g, interleaved(nearest(min(even[g] * inverse, top)), nearest(min(odd[g] * inverse, top))));
    }
  }
};

// 3 or 5 small taps over bytes: the sums fit 16 bits, and so do the sums of two products, which the instruction
// saturates. A quotient is rounded with ties to even by adding half less one and the quotient's lowest bit.
template <int K>
struct SmallTaps {
  using Result = Qor16s;
  V8s pair[(K + 1) / 2], last;
  V16s lessThanHalf;
  int exponent;

  static bool serves(const Qor16s* taps, int divisor) {
    const int exponent = exponentOf(divisor);
    const SumRange range(taps, K, 0, topOf<Qor8u>);
    bool small = exponent >= 0 && exponent < 14 && range.within(bottomOf<Qor16s>, topOf<Qor16s> - (1 << exponent));
    for (int i = 0; i < K; ++i) {
      const int next = i + 1 < K ? taps[i + 1] : 0;
      small = small && taps[i] >= -64 && taps[i] <= 64 && next >= -64 && next <= 64;
    }
    return small;
  }

  SmallTaps(const Qor16s* taps, int divisor)
      : lessThanHalf(splat(static_cast<Qor16s>(divisor / 2 - 1))), exponent(exponentOf(divisor)) {
    for (int i = 0; i < K; i += 2) {
      const int next = i + 1 < K ? taps[i + 1] : 0;
      pair[i / 2] = as<Qor8s>(splat(static_cast<Qor16s>((taps[i] & 0xff) | next * 256)));
    }
    last = V8s{_mm_slli_epi16(pair[K / 2].v, 8)};
  }

  template <Section, int groups, class Span>
  QOR_FORCE_INLINE void run(Qor16s* dst, const Span& span) const {
    static_assert(groups % 4 == 0);
    for (int g = 0; g < groups / 4; ++g) {
      const auto products = [&](ptrdiff_t tap, V8s taps) {
        return V16s{_mm_maddubs_epi16(load(span.p + tap + 16 * g).v, taps.v)};
      };
      V16s even = products(0, pair[0]), odd = products(1, pair[0]);
      if constexpr (K == 5) {
        even = even + products(2, pair[1]);
        odd = odd + products(3, pair[1]);
      }
      even = even + products(K - 1, pair[K / 2]);
      odd = odd + products(K - 1, last);
      if (exponent > 0) {
        even = quotient(even);
        odd = quotient(odd);
      }
      store(dst + 16 * g, V16s{_mm_unpacklo_epi16(even.v, odd.v)});
      store(dst + 16 * g + 8, V16s{_mm_unpackhi_epi16(even.v, odd.v)});
    }
  }

 private:
  V16s quotient(V16s sum) const {
    const __m128i count = _mm_cvtsi32_si128(exponent);
    const __m128i lowest = _mm_and_si128(_mm_sra_epi16(sum.v, count), _mm_set1_epi16(1));
    return {_mm_sra_epi16(_mm_add_epi16(_mm_add_epi16(sum.v, lessThanHalf.v), lowest), count)};
  }
};

// ---- columns, and rows of several channels: what stands under two taps is interleaved.

// Adds the products of two taps.
template <int groups, class First, class Second>
QOR_FORCE_INLINE void addPair(V32s (&sum)[groups], V16s pair, const First& first, const Second& second) {
  for (int g = 0; g < groups; g += 2) {
    const V16s a = first(g / 2), b = second(g / 2);
    sum[g] = sum[g] + multiplyAdd(V16s{_mm_unpacklo_epi16(a.v, b.v)}, pair);
    sum[g + 1] = sum[g + 1] + multiplyAdd(V16s{_mm_unpackhi_epi16(a.v, b.v)}, pair);
  }
}

// The sums of a kernel that is the same on both sides, over samples of which two add up to less than 2^15: rows at one
// distance from the middle are added first.
template <int K, int groups, class Span>
QOR_FORCE_INLINE void addFolded(V32s (&sum)[groups], const PairTaps<(K + 1) / 2>& taps, const Span& span,
                                ptrdiff_t kernelSize) {
  const ptrdiff_t last = (K == 0 ? kernelSize : K) - 1, half = (last + 1) / 2;
  const auto folded = [&](ptrdiff_t tap) {
    return [=](int g) { return span.words(tap, g) + span.words(last - tap, g); };
  };
  const auto middle = [&](int g) { return span.words(half, g); };
  ptrdiff_t i = 0;
  for (; i + 1 < half; i += 2) addPair(sum, taps[i], folded(i), folded(i + 1));
  if (last % 2 == 0) {
    if (i < half) {
      addPair(sum, taps[i], folded(i), middle);
    } else {
      addPair(sum, taps[i], middle, middle);
    }
  } else if (i < half) {
    addPair(sum, taps[i], folded(i), folded(i));
  }
}

template <class D, int K, bool folds>
struct ExactSum {
  using Result = D;
  PairTaps<folds ? (K + 1) / 2 : K> taps;
  QuotientByAddition quotient;
  int kernelSize;

  ExactSum(const Qor16s* first, int count, int divisor, const SumRange& range)
      : taps(first, folds ? (count + 1) / 2 : count), quotient(divisor, range), kernelSize(count) {}

  template <Section, int groups, class Span>
  QOR_FORCE_INLINE void run(D* dst, const Span& span) const {
    V32s sum[groups];
    for (int g = 0; g < groups; ++g) sum[g] = quotient.start();
    if constexpr (folds) {
      addFolded<K>(sum, taps, span, kernelSize);
    } else {
      forEachPair<groups>(taps, span, [&](int g, V32s products) { sum[g] = sum[g] + products; });
    }
    for (int g = 0; g < groups; ++g) sum[g] = quotient(sum[g]);
    storeIntegers(dst, sum);
  }
};

}  // namespace qor
