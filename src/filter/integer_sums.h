// Sums of integer products, and filters whose quotients are exact for divisors and taps that let them: the same bits as
// by the rules of float_sums.h, with fewer instructions.
#pragma once

#include "filter/float_sums.h"

namespace qor::inline QOR_LEVEL {

// ---- taps

// Two neighbouring taps as the multiply-and-add of pairs takes them; the last of an odd number stands beside a zero.
inline V16s tapPair(const Qor16s* tap, ptrdiff_t i, ptrdiff_t count) {
  Qor16s pair[2] = {tap[i], i + 1 < count ? tap[i + 1] : Qor16s{0}};
  return as<Qor16s>(splat(__builtin_bit_cast(Qor32s, pair)));
}

template <int K>
struct PairTaps {
  static constexpr int size = K;
  V16s pair[(K + 1) / 2];

  explicit PairTaps(const Qor16s* taps, int = K) {
    for (int i = 0; i < K; i += 2) pair[i / 2] = tapPair(taps, i, K);
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
    if (i + 1 == taps) return tapPair(tap, i, taps);
    Qor32s pair;
    __builtin_memcpy(&pair, tap + i, sizeof pair);
    return as<Qor16s>(splat(pair));
  }
};

// ---- sums of what is interleaved from two vectors, in the order of Split

template <int groups>
QOR_FORCE_INLINE void addProducts(V32s (&sum)[groups], int g, V16s a, V16s b, V16s pair) {
  sum[g] = sum[g] + multiplyAdd(zipFirst(a, b), pair);
  sum[g + 1] = sum[g + 1] + multiplyAdd(zipLast(a, b), pair);
}
template <int groups>
QOR_FORCE_INLINE void addProducts(V32f (&sum)[groups], int g, V16s a, V16s b, V16s pair) {
  const Split<Qor16s> zipped = splitZip(a, b);
  sum[g] = sum[g] + toFloat(multiplyAdd(zipped.a, pair));
  sum[g + 1] = sum[g + 1] + toFloat(multiplyAdd(zipped.b, pair));
}

// Adds the products of taps 0 and 1, 2 and 3, ... to sums in 32-bit integers, which wrap; or as floats, pair by pair.
template <class Sample, int groups, class Taps, class Span>
QOR_FORCE_INLINE void addPairs(VecOf<Sample, V32s::bytes> (&sum)[groups], const Taps& taps, const Span& span) {
  const auto pairOf = [&](ptrdiff_t i, ptrdiff_t second) __attribute__((always_inline)) {
    const V16s pair = taps[i];
    for (int g = 0; g < groups; g += 2) {
      addProducts(sum, g, span.template at<Qor16s>(i, g / 2), span.template at<Qor16s>(second, g / 2), pair);
    }
  };
  ptrdiff_t i = 0;
  for (; i + 1 < taps.count(); i += 2) pairOf(i, i + 1);
  if (i < taps.count()) pairOf(i, i);
}

// The sum in integers.
template <class TapsOf>
struct IntegerSum {
  using Taps = TapsOf;
  static constexpr Order order = Order::split;
  template <class>
  static constexpr Blocks blocks{2, 4};
  Taps taps;

  template <int groups, class Span>
  QOR_FORCE_INLINE void operator()(const Span& span, V32f (&sum)[groups]) const {
    V32s exact[groups]{};
    addPairs(exact, taps, span);
    for (int g = 0; g < groups; ++g) sum[g] = toFloat(exact[g]);
  }
};

// Pairs in integers, their sum in floats.
template <class TapsOf>
struct PairSum {
  using Taps = TapsOf;
  static constexpr Order order = Order::split;
  template <class>
  static constexpr Blocks blocks{2, 4};
  Taps taps;

  template <int groups, class Span>
  QOR_FORCE_INLINE void operator()(const Span& span, V32f (&sum)[groups]) const {
    for (int g = 0; g < groups; ++g) sum[g] = zero<Qor32f>();
    addPairs(sum, taps, span);
  }
};

// ---- exact quotients

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
struct QuotientByProduct {
  V32f inverse;

  static V32s start() { return zero<Qor32s>(); }
  V32s operator()(V32s sum) const { return nearest(toFloat(sum) * inverse); }
};

// ---- rows of one channel. The products of a vector of neighbouring samples with a pair of taps, added in pairs, are
// the sums of every second output: no samples are interleaved, and the results of even and odd outputs are, once.

template <int K>
struct NeighbourTaps {
  static constexpr int size = K;
  V16s pair[(K + 1) / 2], last;

  NeighbourTaps(const Qor16s* taps, int, Qor16s*) {
    for (int i = 0; i < K; i += 2) pair[i / 2] = tapPair(taps, i, K);
    last = as<Qor16s>(as<Qor32s>(pair[K / 2]) << 16);
  }
  static constexpr ptrdiff_t count() { return K; }
  V16s operator[](ptrdiff_t i) const { return pair[i]; }
};
template <>
struct NeighbourTaps<0> {
  static constexpr int size = 0;
  const Qor16s* pairs;
  ptrdiff_t taps;
  V16s last;

  // Samples of the room: an aligned vector for every pair.
  static constexpr int64_t room(int kernelSize) { return (int64_t{kernelSize} + 1) / 2 * V16s::lanes; }

  NeighbourTaps(const Qor16s* first, int kernelSize, Qor16s* room) : pairs(room), taps(kernelSize) {
    for (ptrdiff_t i = 0; i < taps; i += 2, room += V16s::lanes) {
      last = tapPair(first, i, taps);
      store(room, last);
    }
    last = as<Qor16s>(as<Qor32s>(last) << 16);
  }
  ptrdiff_t count() const { return taps; }
  V16s operator[](ptrdiff_t i) const { return loadAligned(pairs + i * V16s::lanes); }
};

// Calls add(v, even, odd) with the products of a pair of taps for the even and the odd outputs of vector v.
template <int vectors, class Taps, class Span, class Add>
QOR_FORCE_INLINE void forEachNeighbours(const Taps& taps, const Span& span, const Add& add) {
  const ptrdiff_t whole = taps.count() / 2;
  for (ptrdiff_t i = 0; i < whole; ++i) {
    const V16s pair = taps[i];
    for (int v = 0; v < vectors; ++v) {
      add(v, multiplyAdd(span.template at<Qor16s>(2 * i, v), pair),
          multiplyAdd(span.template at<Qor16s>(2 * i + 1, v), pair));
    }
  }
  // The last of an odd number: one vector serves both, so that nothing behind the span is read.
  if (taps.count() % 2 != 0) {
    const V16s pair = taps[whole];
    for (int v = 0; v < vectors; ++v) {
      const V16s words = span.template at<Qor16s>(2 * whole, v);
      add(v, multiplyAdd(words, pair), multiplyAdd(words, taps.last));
    }
  }
}

// Even and odd results, saturated, in their order.
QOR_FORCE_INLINE V16s interleaved(V32s even, V32s odd) {
  return as<Qor16s>(lookUp(as<Qor8u>(packToS(even, odd)), bytes(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15)));
}
// The same of lanes whose low 16 bits are the results.
QOR_FORCE_INLINE V16s interleavedLow(V32s even, V32s odd) {
  return blend<0xaa>(as<Qor16s>(even), as<Qor16s>(odd << 16));
}

// 32-bit sums. Quotients by addition have to fit 16 bits, those by product saturate.
template <class Taps, class Quotient>
struct NeighbourSum {
  using Result = Qor16s;
  static constexpr int kernelSize = Taps::size;
  static constexpr Blocks blocks{2, kernelSize == 0 ? 8 : 4};
  Taps taps;
  Quotient quotient;

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(Qor16s* dst, const Span& span) const {
    constexpr int vectors = groups / 2;
    V32s even[vectors], odd[vectors];
    for (int v = 0; v < vectors; ++v) even[v] = odd[v] = quotient.start();
    forEachNeighbours<vectors>(
        taps, span, [&](int v, V32s e, V32s o) __attribute__((always_inline)) {
          even[v] = even[v] + e;
          odd[v] = odd[v] + o;
        });
    for (int v = 0; v < vectors; ++v) {
      if constexpr (std::is_same_v<Quotient, QuotientByAddition>) {
        const V32s first = quotient.low(even[v]), second = quotient.low(odd[v]);
        store(dst + v * V16s::lanes, interleavedLow(first, second));
      } else {
        const V32s first = quotient(even[v]), second = quotient(odd[v]);
        store(dst + v * V16s::lanes, interleaved(first, second));
      }
    }
  }
};

// PairSum times the reciprocal.
template <class Taps>
struct NeighbourPairSum {
  using Result = Qor16s;
  static constexpr int kernelSize = Taps::size;
  static constexpr Blocks blocks{2, 8};
  Taps taps;
  V32f inverse;

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(Qor16s* dst, const Span& span) const {
    constexpr int vectors = groups / 2;
    V32f even[vectors]{}, odd[vectors]{};
    forEachNeighbours<vectors>(
        taps, span, [&](int v, V32s e, V32s o) __attribute__((always_inline)) {
          even[v] = even[v] + toFloat(e);
          odd[v] = odd[v] + toFloat(o);
        });
    const V32f top = splat(static_cast<Qor32f>(topOf<Qor16s>));
    const auto quotient = [&](V32f sum) { return nearest(min(sum * inverse, top)); };
    for (int v = 0; v < vectors; ++v) {
      store(dst + v * V16s::lanes, interleaved(quotient(even[v]), quotient(odd[v])));
    }
  }
};

// 3 or 5 small taps over bytes: the sums fit 16 bits, and so do the sums of two products, which the instruction
// saturates. A quotient is rounded with ties to even by adding half less one and the quotient's lowest bit.
template <int K>
struct SmallTaps {
  using Result = Qor16s;
  static constexpr int kernelSize = K;
  static constexpr Blocks blocks{4, 4};
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
    last = as<Qor8s>(as<Qor16s>(pair[K / 2]) << 8);
  }

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(Qor16s* dst, const Span& span) const {
    static_assert(groups == 4);
    const auto products = [&](ptrdiff_t tap, V8s taps) { return multiplyAdd(span.template at<Qor8u>(tap, 0), taps); };
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
    store(dst, zip(even, odd));
  }

 private:
  V16s quotient(V16s sum) const {
    const V16s lowest = (sum >> exponent) & splat(Qor16s{1});
    return (sum + lessThanHalf + lowest) >> exponent;
  }
};

// ---- columns, and rows of several channels

// The sums of a kernel that is the same on both sides, over samples of which two add up to less than 2^15: rows at one
// distance from the middle are added first.
template <int K, int groups, class Span>
QOR_FORCE_INLINE void addFolded(V32s (&sum)[groups], const PairTaps<(K + 1) / 2>& taps, const Span& span,
                                ptrdiff_t kernelSize) {
  const ptrdiff_t last = (K == 0 ? kernelSize : K) - 1, half = (last + 1) / 2;
  const auto folded = [&](ptrdiff_t tap) {
    return [=](int v) { return span.template at<Qor16s>(tap, v) + span.template at<Qor16s>(last - tap, v); };
  };
  const auto middle = [&](int v) { return span.template at<Qor16s>(half, v); };
  const auto add = [&](V16s pair, const auto& first, const auto& second) __attribute__((always_inline)) {
    for (int g = 0; g < groups; g += 2) addProducts(sum, g, first(g / 2), second(g / 2), pair);
  };
  ptrdiff_t i = 0;
  for (; i + 1 < half; i += 2) add(taps[i], folded(i), folded(i + 1));
  if (last % 2 == 0) {
    if (i < half) {
      add(taps[i], folded(i), middle);
    } else {
      add(taps[i], middle, middle);
    }
  } else if (i < half) {
    add(taps[i], folded(i), folded(i));
  }
}

template <class Tap>
bool isSymmetric(const Tap* taps, int kernelSize) {
  for (int i = 0; i < kernelSize / 2; ++i) {
    if (taps[i] != taps[kernelSize - 1 - i]) return false;
  }
  return true;
}

template <class D, int K, bool folds>
struct ExactSum {
  using Result = D;
  static constexpr int kernelSize = K;
  static constexpr Blocks blocks{2, K == 0 ? 8 : 4};
  PairTaps<folds ? (K + 1) / 2 : K> taps;
  QuotientByAddition quotient;
  int length;

  ExactSum(const Qor16s* first, int count, int divisor, const SumRange& range)
      : taps(first, folds ? (count + 1) / 2 : count), quotient(divisor, range), length(count) {}

  template <int groups, class Span>
  QOR_FORCE_INLINE void write(D* dst, const Span& span) const {
    V32s sum[groups];
    for (int g = 0; g < groups; ++g) sum[g] = quotient.start();
    if constexpr (folds) {
      addFolded<K>(sum, taps, span, length);
    } else {
      addPairs<Qor32s>(sum, taps, span);
    }
    for (int g = 0; g < groups; ++g) sum[g] = quotient(sum[g]);
    storeIntegers<Order::split>(dst, sum);
  }
};

}  // namespace qor
