// The row kernels of the edge detector: magnitudes of a row, and which of its pixels are edges.
//
// Magnitudes stand in rows with one more sample on either side. Where they fit 16 bits unsigned they are stored less
// 2^15, so that signed comparisons order them; where not, in 32-bit float. A block is as many pixels as fill a vector
// of 16 bits; a row shorter than a block is padded to one by zero components, which have no edges.
#pragma once

#include "frame/round.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

constexpr int edgeBlock = V16s::lanes;

// What a cell of the status map says of its pixel. Thin edges that no strong one has reached have the top bit.
constexpr Qor8u noEdge = 0, strongEdge = 1, reachedEdge = 2, weakEdge = 128;

template <class M>
constexpr M noMagnitude = std::is_same_v<M, Qor16s> ? bottomOf<M> : M{0};

// tan 67.5 and tan 22.5 degrees.
constexpr Qor32f steepSlope = 2.4142137F, flatSlope = 0.41421357F;

// ---- thresholds

// Magnitudes in 16 bits are integers below 2^16: a threshold counts without its fraction, and from 65535 on nothing is
// above it.
struct WordThresholds {
  Qor16s low, high;

  WordThresholds(Qor32f lowThresh, Qor32f highThresh) : low(stored(lowThresh)), high(stored(highThresh)) {}

 private:
  static Qor16s stored(Qor32f t) {
    constexpr int top = topOf<Qor16u>;
    const int whole = t < static_cast<Qor32f>(top) ? static_cast<int>(t) : top;
    return static_cast<Qor16s>(whole + bottomOf<Qor16s>);
  }
};

// Which magnitudes a low threshold keeps: those above it, or also one that equals it and NaN.
enum class Keeps { above, notBelow };

template <Keeps keeps>
struct FloatThresholds {
  Qor32f low, high;

  V32f kept(V32f m) const {
    if constexpr (keeps == Keeps::above) {
      return m & (m > splat(low));
    } else {
      return andNot(m < splat(low), m);
    }
  }
};

// ---- magnitudes; n is at least a block

inline V16u sumOfWords(const Qor16s* dx, const Qor16s* dy) { return addSat(abs(load(dx)), abs(load(dy))); }

inline void magnitudesL1(const Qor16s* dx, const Qor16s* dy, Qor16s* m, ptrdiff_t n, const WordThresholds& t) {
  const V16s none = splat(noMagnitude<Qor16s>), low = splat(t.low);
  forBlocks<edgeBlock>(n, [=](ptrdiff_t x) {
    const V16s sum = as<Qor16s>(sumOfWords(dx + x, dy + x)) ^ none;
    store(m + x, select(sum > low, sum, none));
  });
}

template <class C, class Magnitude, class Thresholds>
void floatMagnitudes(const C* dx, const C* dy, Qor32f* m, ptrdiff_t n, const Thresholds& t, const Magnitude& of) {
  forBlocks<V32f::lanes>(
      n, [=](ptrdiff_t x) { store(m + x, t.kept(of(loadAs<Qor32f>(dx + x), loadAs<Qor32f>(dy + x)))); });
}

inline V32f normL1(V32f x, V32f y) { return abs(x) + abs(y); }
inline V32f normL2(V32f x, V32f y) { return sqrt(x * x + y * y); }

// ---- directions: masks of the lanes that are steep, flat, and on a slope that falls, which is one with a common sign.
// For the x component with its sign turned, falling and rising change places; in steep and flat lanes they mean
// nothing.

template <class V>
struct Directions {
  V steep, flat, falling;
};

// Of components below 1021 the products need no float: for every one of them the integer below the rounded product is
// that of |dx| * 27146 / 2^16, twice |dx| more for the steep.
constexpr int mostSmall = 1020, flatSlopeWord = 27146;
constexpr bool wordsDecide() {
  for (int dx = 1; dx <= mostSmall; ++dx) {
    const int word = dx * flatSlopeWord >> 16;
    const Qor32f flat = static_cast<Qor32f>(dx) * flatSlope, steep = static_cast<Qor32f>(dx) * steepSlope;
    if (!(static_cast<Qor32f>(word) < flat && flat <= static_cast<Qor32f>(word + 1))) return false;
    if (!(static_cast<Qor32f>(2 * dx + word) <= steep && steep < static_cast<Qor32f>(2 * dx + word + 1))) return false;
  }
  return true;
}
static_assert(wordsDecide());

// Components of 8-bit Sobel 3x3.
struct SmallDirections {
  static Directions<V16s> of(const Qor16s* px, const Qor16s* py) {
    const V16s x = load(px), y = load(py), ax = as<Qor16s>(abs(x)), ay = as<Qor16s>(abs(y));
    const V16s flat = as<Qor16s>(multiplyHigh(as<Qor16u>(ax), splat(Qor16u{flatSlopeWord})));
    // Where dx is 0, dy is not, or the pixel has no magnitude: it is steep.
    const V16s above = ay > flat;
    return {ay > ax + ax + flat, above ^ (above == above), ((x ^ y) >> 15) ^ (above == above)};
  }
};

struct WordDirections {
  static Directions<V16s> of(const Qor16s* px, const Qor16s* py) {
    const V16s x = load(px), y = load(py);
    const Split<Qor32s> ax = split(abs(x)), ay = split(abs(y));
    const auto compare = [](V32s dx, V32s dy, V32s& steep, V32s& flat) {
      const V32f fx = toFloat(dx), fy = toFloat(dy);
      steep = as<Qor32s>(fy > fx * splat(steepSlope));
      flat = as<Qor32s>(fy < fx * splat(flatSlope));
    };
    Split<Qor32s> steep, flat;
    compare(ax.a, ay.a, steep.a, flat.a);
    compare(ax.b, ay.b, steep.b, flat.b);
    const V16s opposite = (x ^ y) >> 15;
    return {joinToS(steep), joinToS(flat), opposite ^ (x == x)};
  }
};

template <class C>
Directions<V32f> floatDirections(const C* px, const C* py) {
  const V32f x = loadAs<Qor32f>(px), y = loadAs<Qor32f>(py), ax = abs(x), ay = abs(y);
  const V32s same = zero<Qor32s>() == (as<Qor32s>(x ^ y) >> 31);
  return {ay > ax * splat(steepSlope), ay < ax * splat(flatSlope), as<Qor32f>(same)};
}

// ---- thin edges

// The magnitudes of a row, of the one above it and of the one below.
template <class M>
struct MagnitudeRows {
  const M *above, *at, *below;

  MagnitudeRows from(ptrdiff_t x) const { return {above + x, at + x, below + x}; }
};

// Where m is above before, and above after or, along an axis, equal to it. In 16 bits after is lowered by one there: at
// the bottom, which stays, m is above it anyway.
inline V16s beats(V16s m, V16s before, V16s after, V16s alongAxis) { return m > max(before, addSat(after, alongAxis)); }
inline V32f beats(V32f m, V32f before, V32f after, V32f alongAxis) {
  return (m > before) & ((m > after) | (alongAxis & (m == after)));
}

// xTurned: the sign of the x component is turned.
template <bool xTurned, class M, class V>
QOR_FORCE_INLINE V thinEdges(const MagnitudeRows<M>& r, const Directions<V>& d) {
  const V aboveLeft = load(r.above - 1), aboveRight = load(r.above + 1);
  const V belowLeft = load(r.below - 1), belowRight = load(r.below + 1);
  const V falling = xTurned ? aboveRight : aboveLeft, rising = xTurned ? aboveLeft : aboveRight;
  const V fallen = xTurned ? belowLeft : belowRight, risen = xTurned ? belowRight : belowLeft;
  const V before = select(d.steep, load(r.above), select(d.flat, load(r.at - 1), select(d.falling, falling, rising)));
  const V after = select(d.steep, load(r.below), select(d.flat, load(r.at + 1), select(d.falling, fallen, risen)));
  return beats(load(r.at), before, after, d.steep | d.flat);
}

// Blocks of cells, in lanes of 16 bits, from magnitudes in 16 bits.
template <class DirectionsOf, bool xTurned>
struct WordEdges {
  using C = Qor16s;
  using M = Qor16s;

  static bool any(const M* m) { return signBits(load(m) > splat(noMagnitude<M>)) != 0; }
  static V16s cells(const C* dx, const C* dy, const MagnitudeRows<M>& r, const WordThresholds& t) {
    const V16s thin = thinEdges<xTurned>(r, DirectionsOf::of(dx, dy)), strong = thin & (load(r.at) > splat(t.high));
    return (thin & splat(Qor16s{weakEdge})) ^ (strong & splat(Qor16s{weakEdge ^ strongEdge}));
  }
};

// The same in float: two vectors a block.
template <class Component, bool xTurned>
struct FloatEdges {
  using C = Component;
  using M = Qor32f;
  static constexpr int half = V32f::lanes;

  // NaN counts as some.
  static bool any(const M* m) {
    const V32s both = as<Qor32s>(load(m)) | as<Qor32s>(load(m + half));
    return !allZero(both);
  }
  template <class Thresholds>
  static V16s cells(const C* dx, const C* dy, const MagnitudeRows<M>& r, const Thresholds& t) {
    const auto of = [&](ptrdiff_t i) {
      const V32f thin = thinEdges<xTurned>(r.from(i), floatDirections(dx + i, dy + i));
      const V32f strong = thin & (load(r.at + i) > splat(t.high));
      return (as<Qor32s>(thin) & splat(Qor32s{weakEdge})) ^ (as<Qor32s>(strong) & splat(Qor32s{weakEdge ^ strongEdge}));
    };
    return narrowToS(of(0), of(half));
  }
};

// The cells of a row of n pixels. Components and magnitudes of a shorter row than a block are padded to one.
template <class Edges, class Thresholds>
void thinRow(const typename Edges::C* dx, const typename Edges::C* dy, const MagnitudeRows<typename Edges::M>& rows,
             Qor8u* map, ptrdiff_t n, const Thresholds& thresholds) {
  Qor8u few[edgeBlock];
  Qor8u* const cells = n < edgeBlock ? few : map;
  forBlocks<edgeBlock>(n < edgeBlock ? edgeBlock : n, [&, thresholds](ptrdiff_t x) {
    V16s block = zero<Qor16s>();
    if (Edges::any(rows.at + x)) block = Edges::cells(dx + x, dy + x, rows.from(x), thresholds);
    storeAs(cells + x, block);
  });
  if (n < edgeBlock) __builtin_memcpy(map, few, static_cast<size_t>(n));
}

}  // namespace qor
