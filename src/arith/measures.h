// What reductions measure: lanes over the magnitudes of a step. Samples of 8 bits are unsigned here; masked-out ones
// are zero and count as such.
#pragma once

#include "arith/reduce.h"

namespace qor::inline QOR_LEVEL {

inline Qor64s sumOfUnsigned(V32s a) { return sum(widenLo(as<Qor32u>(a)) + widenHi(as<Qor32u>(a))); }
inline Qor64s sumOfSigned(V32s a) { return sum(widenLo(a) + widenHi(a)); }

// ---- two measures of the same pixels
template <class A, class B>
struct SideBySide {
  struct Total {
    typename A::Total a;
    typename B::Total b;
  };
  static constexpr bool perRow = A::perRow;

  A a;
  B b;

  template <class P, class Q>
  void add(int i, const Both<P, Q>& x) {
    a.add(i, x.a);
    b.add(i, x.b);
  }
  void drain(Total& total, int64_t steps) const {
    a.drain(total.a, steps);
    b.drain(total.b, steps);
  }
};

// ---- maximum. NaN never wins: maxps returns its second operand then.
template <class T>
struct Largest {
  using Total = Qor32f;  // holds all 16-bit values
  static constexpr bool perRow = false;

  Vec<T> top[vectorsOfStep<T>] = {};

  void add(int i, Vec<T> x) { top[i] = max(x, top[i]); }
  void drain(Total& total, int64_t) const {
    Vec<T> all = top[0];
    for (const Vec<T>& v : top) all = max(v, all);
    const Qor32f highest = static_cast<Qor32f>(largest(all));
    total = highest > total ? highest : total;
  }
};

// ---- sum and sum of squares
template <class T>
struct Sum;
template <class T>
struct SumOfSquares;

// Both.
template <class T>
struct Moments {
  struct Total {
    typename Sum<T>::Total sum, squares;
  };
  static constexpr bool perRow = Sum<T>::perRow;

  Sum<T> first;
  SumOfSquares<T> second;

  void add(int i, Vec<T> x) {
    first.add(i, x);
    second.add(i, x);
  }
  void drain(Total& total, int64_t steps) const {
    first.drain(total.sum, steps);
    second.drain(total.squares, steps);
  }
};

template <>
struct Sum<Qor8u> {
  using Total = Qor64s;
  static constexpr bool perRow = false;

  V64s sums = zero<Qor64s>();

  void add(int, V8u x) { sums = sums + sumOfEights(x); }
  void addDistance(V8u x, V8u y) { sums = sums + distanceOfEights(x, y); }
  void drain(Total& total, int64_t) const { total += sum(sums); }
};

template <>
struct SumOfSquares<Qor8u> {
  using Total = Qor64s;
  static constexpr bool perRow = false;

  V32s even = zero<Qor32s>(), odd = zero<Qor32s>();

  void add(int, V8u x) {
    const V16s e = as<Qor16s>(x) & splat(Qor16s{0xff});
    const V16s o = as<Qor16s>(as<Qor16u>(x) >> 8);
    even = even + multiplyAdd(e, e);
    odd = odd + multiplyAdd(o, o);
  }
  void drain(Total& total, int64_t) const { total += sumOfUnsigned(even) + sumOfUnsigned(odd); }
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

  V32s sums[vectorsOfStep<Qor16u>] = {};

  void add(int i, V16u x) { sums[i] = sums[i] + multiplyAdd(Biased16u::of(x), splat(Qor16s{1})); }
  // sum of y
  Qor64s biased() const { return sumOfSigned(sums[0]) + sumOfSigned(sums[1]); }
  void drain(Total& total, int64_t steps) const { total += biased() + Biased16u::bias * stepPixels * steps; }
};

template <>
struct Moments<Qor16u> {
  struct Total {
    Qor64s sum, squares;
  };
  static constexpr bool perRow = false;

  // A pair of squares reaches 2^31, so the sums of a lane leave 32 bits at once. Two sums tell them nonetheless: that
  // of the upper halves, and the whole modulo 2^32. Their difference, the sum of the lower halves, is below 2^32 for as
  // long as lanes are not drained.
  Sum<Qor16u> first;
  V32u whole = zero<Qor32u>(), upper = zero<Qor32u>();

  void add(int i, V16u x) {
    first.add(i, x);
    const V16s y = Biased16u::of(x);
    const V32u squares = as<Qor32u>(multiplyAdd(y, y));
    whole = whole + squares;
    upper = upper + (squares >> 16);
  }
  void drain(Total& total, int64_t steps) const {
    const V32u lower = whole - (upper << 16);
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

  void add(int i, V16u x) { both.add(i, x); }
  void drain(Total& total, int64_t steps) const {
    Moments<Qor16u>::Total now{};
    both.drain(now, steps);
    total += now.squares;
  }
};

// The sum of a row of floats has an order of its own: pixel x counts to partial sum x mod 16, and those are added four
// apart, then two, then one.
constexpr int partialSums = 16;

template <>
struct Sum<Qor32f> {
  using Total = Qor64f;
  static constexpr bool perRow = true;

  Block<Qor32f, partialSums / V32f::lanes> sums = {};

  void add(int i, V32f x) {
    V32f& partial = sums.v[i % (partialSums / V32f::lanes)];
    partial = partial + x;
  }
  void drain(Total& total, int64_t) const {
    constexpr int lanes = Short<Qor32f>::lanes;
    Qor32f all[partialSums];
    store(all, sums);
    const auto four = [&all](int i) { return load<Short<Qor32f>>(all + i * lanes); };
    total += static_cast<Qor64f>(sum((four(0) + four(1)) + (four(2) + four(3))));
  }
};

template <>
struct SumOfSquares<Qor32f> : Sum<Qor32f> {
  void add(int i, V32f x) { Sum<Qor32f>::add(i, x * x); }
};

}  // namespace qor
