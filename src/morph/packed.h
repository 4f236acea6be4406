// Images of bits: planes, rows read and written at any bit, and the sweep over runs on them.
//
// Pixel x of a row with bit offset o is bit (o + x) & 7 of byte (o + x) >> 3, both also where o + x is negative. Rows
// of our own begin at bit 0.
#pragma once

#include "morph/mask_shape.h"
#include "morph/sides.h"

namespace qor::inline QOR_LEVEL {

template <class Byte>
struct BitPlane {
  Byte* first;
  int step;
  ptrdiff_t bit;  // of the pixel (0, 0)

  Byte* row(int y) const { return rowAt(first, step, y); }
};

struct BitSource {
  BitPlane<const Qor8u> plane;
  Sides borders;

  const Qor8u* row(ptrdiff_t y) const { return plane.row(static_cast<int>(borders.rows.standIn(y))); }
  const Sides& sides() const { return borders; }
};

// The result and another plane's pixels, one and not the other: taken before a row of results is stored.
struct BitDifference {
  bool wanted = false;
  BitPlane<const Qor8u> other = {};
  bool otherFirst = false;  // the other, and not the result
};

// Extrema of the source under a mask at every pixel of an area, as filterMask of samples.
template <class Op>
void filterMask(const BitSource& source, const Mask& mask, const MaskShape& shape, const Area& area,
                const BitPlane<Qor8u>& results, const BitDifference& difference, const Memory& memory);

}  // namespace qor
