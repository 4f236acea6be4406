// Images as the filters of morphology see them: a source through its border, the pixels that are wanted, and how far
// from a pixel a mask makes a difference.
#pragma once

#include "frame/outside.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// Which arguments dilation, erosion and what is made of them take. Where replicated and real sides meet, a coordinate
// beyond a replicated side moves to the edge and the other one stays.
constexpr Borders morphologyBorders{ruleBits(qorBorderRepl, qorBorderInMem), qorStsBorderErr};

// Pixels of a region, in its coordinates; those of a region that was grown may be negative. The last ones are not part.
struct Area {
  ptrdiff_t left, top, right, bottom;

  constexpr ptrdiff_t width() const { return right - left; }
};

// A range of offsets from a pixel along one axis. Whatever a mask holds beyond it meets the edge that the range's end
// meets already, for every pixel of an area.
struct Offsets {
  ptrdiff_t low, high;

  static constexpr Offsets that(const Axis& axis, ptrdiff_t first, ptrdiff_t end) {
    constexpr ptrdiff_t any = PTRDIFF_MAX / 4;
    return {axis.low == Edge::memory ? -any : 1 - end, axis.high == Edge::memory ? any : axis.n - 1 - first};
  }
  constexpr ptrdiff_t folded(ptrdiff_t offset) const { return offset < low ? low : offset > high ? high : offset; }
};

struct Reach {
  Offsets columns, rows;

  static constexpr Reach of(const Sides& sides, const Area& area) {
    return {Offsets::that(sides.columns, area.left, area.right), Offsets::that(sides.rows, area.top, area.bottom)};
  }
};

// The columns of an axis that exist, of the columns first to end - 1 that are wanted: those, or the one that stands in
// for all of them.
struct Columns {
  ptrdiff_t first, end;

  static constexpr Columns existing(const Axis& axis, ptrdiff_t first, ptrdiff_t end) {
    return {axis.standIn(first), axis.standIn(end - 1) + 1};
  }
};

// A source of samples, with its channels side by side.
template <class T>
struct SampleSource {
  BorderedImage<T> image;
  int channels;

  const T* row(ptrdiff_t y) const { return image.row(y); }
  const Sides& sides() const { return image.sides; }
};

// A block of working memory.
struct Memory {
  Qor8u* block;
  int64_t bytes;
};

}  // namespace qor
