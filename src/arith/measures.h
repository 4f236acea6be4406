// What reductions measure: lanes over sixteen magnitudes a step. Samples of 8 bits are unsigned here; masked-out ones
// are zero and count as such.
#pragma once

#include "arith/reduce.h"

namespace qor::inline QOR_LEVEL {

inline Qor64s sumOfUnsigned(V32s a) { return sum(widenLo(as<Qor32u>(a)) + widenHi(as<Qor32u>(a))); }
inline Qor64s sumOfSigned(V32s a) { return sum(widenLo(a) + widenHi(a)); }

// Lanes of one row in a fixed order: pixel x stands in lane x mod 16, lanes are added four apart, then two, then one.
inline Qor32f sum(const Pixels<Qor32f>& a) { return sum((a.v[0] + a.v[1]) + (a.v[2] + a.v[3])); }

inline void accumulate(Pixels<Qor32f>& a, const Pixels<Qor32f>& x) {
  a = mapVectors<Qor32f>([](V32f p, V32f q) { return p + q; }, a, x);
}
inline Pixels<Qor32f> squared(const Pixels<Qor32f>& x) {
  return mapVectors<Qor32f>([](V32f p) { return p * p; }, x);
}

// ---- maximum. NaN never wins: maxps returns its second operand then.
template <class T>
struct Largest {
  using Total = Qor32f;  // holds all 16-bit values
  static constexpr bool perRow = false;

  Pixels<T> top = mapVectors<T>([](Vec<T>) { return zero<T>(); }, Pixels<T>{});

  void add(const Pixels<T>& x) {
    top = mapVectors<T>([](Vec<T> a, Vec<T> b) { return max(a, b); }, x, top);
  }
  void drain(Total& total, int64_t) const {
    T lanes[stepPixels];
    store(lanes, top);
    for (const T lane : lanes) total = static_cast<Qor32f>(lane) > total ? static_cast<Qor32f>(lane) : total;
  }
};

// ---- sum and sum of squares
template <class T>
struct Sum;
template <class T>
struct SumOfSquares;

struct MomentsTotal {
  Qor64s sum, squares;
};
template <class T>
struct Moments;

template <>
struct Sum<Qor8u> {
  using Total = Qor64s;
  static constexpr bool perRow = false;

  V64s sums = zero<Qor64s>();

  void add(const Pixels<Qor8u>& x) { sums = sums + sumOfEights(x.v[0]); }
  void addDistance(const Pixels<Qor8u>& x, const Pixels<Qor8u>& y) { sums = sums + distanceOfEights(x.v[0], y.v[0]); }
  void drain(Total& total, int64_t) const { total += sum(sums); }
};

template <>
struct SumOfSquares<Qor8u> {
  using Total = Qor64s;
  static constexpr bool perRow = false;

  V32s even = zero<Qor32s>(), odd = zero<Qor32s>();

  void add(const Pixels<Qor8u>& x) {
    const V16s e = as<Qor16s>(x.v[0]) & splat(Qor16s{0xff});
    const V16s o = {_mm_srli_epi16(x.v[0].v, 8)};
    even = even + multiplyAdd(e, e);
    odd = odd + multiplyAdd(o, o);
  }
  void drain(Total& total, int64_t) const { total += sumOfUnsigned(even) + sumOfUnsigned(odd); }
};

template <>
struct Moments<Qor8u> {
  using Total = MomentsTotal;
  static constexpr bool perRow = false;

  Sum<Qor8u> first;
  SumOfSquares<Qor8u> second;

  void add(const Pixels<Qor8u>& x) {
    first.add(x);
    second.add(x);
  }
  void drain(Total& total, int64_t steps) const {
    first.drain(total.sum, steps);
    second.drain(total.squares, steps);
  }
};

// y = x - 2^15 fits the signed products of multiplyAdd. Sums of x and x^2 follow from those of y and y^2 and the number
// of samples, masked-out ones and padding included.
struct Biased16u {
  static constexpr Qor64s bias = 0x8000;

  static V16s of(V16u x) { return as<Qor16s>(x ^ splat(Qor16u{0x8000})); }
};

template <>
struct Sum<Qor16u> {
  using Total = Qor64s;
  static constexpr bool perRow = false;

  V32s sums[2] = {zero<Qor32s>(), zero<Qor32s>()};

  void add(const Pixels<Qor16u>& x) {
    for (int i = 0; i < 2; ++i) sums[i] = sums[i] + multiplyAdd(Biased16u::of(x.v[i]), splat(Qor16s{1}));
  }
  // sum of y
  Qor64s biased() const { return sumOfSigned(sums[0]) + sumOfSigned(sums[1]); }
  void drain(Total& total, int64_t steps) const { total += biased() + Biased16u::bias * stepPixels * steps; }
};

template <>
struct Moments<Qor16u> {
  using Total = MomentsTotal;
  static constexpr bool perRow = false;

  // A pair of squares reaches 2^31, so the sums of a lane leave 32 bits at once. Two sums tell them nonetheless: that
  // of the upper halves, and the whole modulo 2^32. Their difference, the sum of the lower halves, is below 2^32 for as
  // long as lanes are not drained.
  Sum<Qor16u> first;
  V32u whole = zero<Qor32u>(), upper = zero<Qor32u>();

  void add(const Pixels<Qor16u>& x) {
    first.add(x);
    for (const Vec<Qor16u>& v : x.v) {
      const V16s y = Biased16u::of(v);
      const V32u squares = as<Qor32u>(multiplyAdd(y, y));
      whole = whole + squares;
      upper = upper + V32u{_mm_srli_epi32(squares.v, 16)};
    }
  }
  void drain(Total& total, int64_t steps) const {
    const V32u lower = whole - V32u{_mm_slli_epi32(upper.v, 16)};
    const Qor64s y = first.biased();
    const Qor64s yy = sumOfUnsigned(as<Qor32s>(upper)) * 0x10000 + sumOfUnsigned(as<Qor32s>(lower));
    const Qor64s samples = stepPixels * steps;
    total.sum += y + Biased16u::bias * samples;
    total.squares += yy + 2 * Biased16u::bias * y + Biased16u::bias * Biased16u::bias * samples;
  }
};

template <>
struct SumOfSquares<Qor16u> {
  using Total = Qor64s;
  static constexpr bool perRow = false;

  Moments<Qor16u> both;

  void add(const Pixels<Qor16u>& x) { both.add(x); }
  void drain(Total& total, int64_t steps) const {
    MomentsTotal now{};
    both.drain(now, steps);
    total += now.squares;
  }
};

template <>
struct Sum<Qor32f> {
  using Total = Qor64f;
  static constexpr bool perRow = true;

  Pixels<Qor32f> sums = {{zero<Qor32f>(), zero<Qor32f>(), zero<Qor32f>(), zero<Qor32f>()}};

  void add(const Pixels<Qor32f>& x) { accumulate(sums, x); }
  void drain(Total& total, int64_t) const { total += static_cast<Qor64f>(sum(sums)); }
};

template <>
struct SumOfSquares<Qor32f> : Sum<Qor32f> {
  void add(const Pixels<Qor32f>& x) { accumulate(sums, squared(x)); }
};

template <>
struct Moments<Qor32f> {
  struct Total {
    Qor64f sum, squares;
  };
  static constexpr bool perRow = true;

  Sum<Qor32f> first;
  SumOfSquares<Qor32f> second;

  void add(const Pixels<Qor32f>& x) {
    first.add(x);
    second.add(x);
  }
  void drain(Total& total, int64_t steps) const {
    first.drain(total.sum, steps);
    second.drain(total.squares, steps);
  }
};

}  // namespace qor
