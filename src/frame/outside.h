// What stands around an image: the rules of borders, one vocabulary for all families.
//
// A border argument is a rule in its low four bits and a flag for every side whose pixels stand in memory; rule 6, or
// all four flags, is memory on every side. Where the rules cross, rows count first and columns second: a pixel above
// the image is that of the row that stands in for its own, in its column, or the constant.
//
// A family says once, in a Borders, which arguments it takes and how it reads them. From an argument and a size that
// makes the Sides of an image, and from a side's Axis comes the position that stands in for one outside.
#pragma once

#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// What stands outside on one side.
enum class Edge {
  value,           // the constant
  nearest,         // the last position inside
  periodic,        // the image once more
  mirror,          // the image back from its edge, which is not repeated
  mirrorRepeated,  // the image back from its edge, which is
  memory,          // what is there
};

// In place of a position: none, it is the constant.
constexpr ptrdiff_t constantPosition = PTRDIFF_MIN;

// The position that stands in for i, which is outside 0 to n - 1. A reflection goes back and forth between the ends,
// unless the far one is open: then it goes on behind it. Mirrors need an n above 1.
constexpr ptrdiff_t standIn(Edge edge, ptrdiff_t i, ptrdiff_t n, bool farOpen = false) {
  const bool low = i < 0;
  switch (edge) {
    case Edge::value:
      return constantPosition;
    case Edge::nearest:
      return low ? 0 : n - 1;
    case Edge::periodic:
      return low ? n - 1 - (-1 - i) % n : i % n;
    case Edge::mirror:
    case Edge::mirrorRepeated: {
      // Counted from the near end inwards.
      const ptrdiff_t repeated = edge == Edge::mirrorRepeated, period = 2 * (n - 1 + repeated);
      const ptrdiff_t all = (low ? -i : i - (n - 1)) - repeated, at = farOpen ? all : all % period;
      const ptrdiff_t inwards = at < n || farOpen ? at : period - repeated - at;
      return low ? inwards : n - 1 - inwards;
    }
    default:
      return i;
  }
}

// An axis along which an image has positions 0 to n - 1, and its two sides.
struct Axis {
  ptrdiff_t n;
  Edge low, high;
  bool turns;  // reflections turn back at a far end also where pixels in memory lie behind it

  // Any position, inside or outside.
  constexpr ptrdiff_t standIn(ptrdiff_t i) const {
    if (i >= 0 && i < n) return i;
    return qor::standIn(i < 0 ? low : high, i, n, !turns && (i < 0 ? high : low) == Edge::memory);
  }
  constexpr bool has(Edge edge) const { return low == edge || high == edge; }
  constexpr bool inMemory() const { return low == Edge::memory && high == Edge::memory; }
};

struct Sides {
  Axis rows, columns;

  constexpr bool inMemory() const { return rows.inMemory() && columns.inMemory(); }
  // Whether the constant stands anywhere.
  constexpr bool needValue() const { return rows.has(Edge::value) || columns.has(Edge::value); }
};

template <class... Rule>
constexpr Qor32u ruleBits(Rule... rules) {
  return ((Qor32u{1} << rules) | ...);
}
constexpr QoriBorderType ruleOf(QoriBorderType border) { return border & 15; }

constexpr QoriBorderType inMemColumns = qorBorderInMemLeft | qorBorderInMemRight;
constexpr QoriBorderType allInMemFlags = qorBorderInMemTop | qorBorderInMemBottom | inMemColumns;

// How a family reads border arguments.
struct Borders {
  Qor32u rules;                          // ruleBits of those that it takes
  QorStatus refusal;                     // what it returns for another argument
  QoriBorderType flags = allInMemFlags;  // those that it takes
  // Left and right, flags count beside the constant and the nearest pixel alone; the other rules ignore them, but a
  // mirror repeats the edge then.
  bool plainColumns = false;
  bool turns = false;  // as in Axis

  constexpr QorStatus check(QoriBorderType border) const {
    const bool taken = (border & ~(15 | flags)) == 0 && (rules >> ruleOf(border) & 1) != 0;
    return taken ? qorStsNoErr : refusal;
  }

  constexpr Sides sides(QoriBorderType border, QoriSize size) const {
    return {axis(border, qorBorderInMemTop, qorBorderInMemBottom, size.height, false),
            axis(border, qorBorderInMemLeft, qorBorderInMemRight, size.width, plainColumns)};
  }

 private:
  constexpr Axis axis(QoriBorderType border, QoriBorderType lowFlag, QoriBorderType highFlag, int n, bool plain) const {
    const QoriBorderType rule = ruleOf(border);
    const bool flagged = (border & (lowFlag | highFlag)) != 0, all = (border & allInMemFlags) == allInMemFlags;
    const bool flagsCount = !plain || rule == qorBorderConst || rule == qorBorderRepl;
    const Edge closed = edgeOf(rule, n, plain && flagged);
    const auto edge = [=](QoriBorderType flag) {
      return all || (flagsCount && (border & flag) != 0) ? Edge::memory : closed;
    };
    return {n, edge(lowFlag), edge(highFlag), turns};
  }

  // A single position repeats under every reflection.
  static constexpr Edge edgeOf(QoriBorderType rule, int n, bool repeats) {
    switch (rule) {
      case qorBorderConst:
        return Edge::value;
      case qorBorderRepl:
        return Edge::nearest;
      case qorBorderWrap:
        return Edge::periodic;
      case qorBorderMirror:
        return n == 1 ? Edge::nearest : repeats ? Edge::mirrorRepeated : Edge::mirror;
      case qorBorderMirrorR:
        return n == 1 ? Edge::nearest : Edge::mirrorRepeated;
      default:
        return Edge::memory;
    }
  }
};

// Rows and pixels of an image with its border. Where the constant stands in for rows, constantRow is a row of it as
// long as the reader reads; where it stands in for columns, one pixel will do.
template <class T>
struct BorderedImage {
  Plane<const T> image;
  Sides sides;
  const T* constantRow;

  const T* row(ptrdiff_t y) const {
    const ptrdiff_t at = sides.rows.standIn(y);
    if (at == constantPosition) return constantRow;
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(image.first) + at * image.step);
  }
  // Column x of a row by row(), inside or outside.
  T pixel(const T* rowPointer, ptrdiff_t x) const {
    const ptrdiff_t at = sides.columns.standIn(x);
    return at == constantPosition ? constantRow[0] : rowPointer[at];
  }
};

}  // namespace qor
