// Rows of an image with its border, for filters that read around a pixel: a pointer a row, and the columns beside it.
//
// A border argument is a rule in its low four bits and a flag for every side whose pixels stand in memory; rule 6, or
// all four flags, is memory on every side. Where the rules cross, rows count first and columns second: a pixel above
// the image is that of the repeated row, or the constant, in its column.
#pragma once

#include "frame/base.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

struct BorderSides {
  bool top, bottom, left, right;  // whether the pixels beyond stand in memory

  static constexpr BorderSides of(QoriBorderType border) {
    const bool all = (border & 15) == qorBorderInMem;
    return {all || (border & qorBorderInMemTop) != 0, all || (border & qorBorderInMemBottom) != 0,
            all || (border & qorBorderInMemLeft) != 0, all || (border & qorBorderInMemRight) != 0};
  }
  constexpr bool all() const { return top && bottom && left && right; }
};

// A border argument above 8 bits, negative ones included, or with a rule that is not among the given.
constexpr bool isBorder(QoriBorderType border, Qor32u rules) {
  return static_cast<Qor32u>(border) <= 255 && (rules >> (border & 15) & 1) != 0;
}
constexpr Qor32u ruleBit(QoriBorderType rule) { return Qor32u{1} << rule; }

// The position that stands for position i of n, or `outside` for the constant. Reflections go back and forth between
// the ends, but a far end with pixels in memory is read beyond.
constexpr int outside = -0x7fffffff - 1;
constexpr int borderPosition(int i, int n, QoriBorderType rule, bool lowInMemory, bool highInMemory) {
  if (rule == qorBorderMirror && n == 1 && !lowInMemory && !highInMemory) return 0;
  while ((i < 0 && !lowInMemory) || (i >= n && !highInMemory)) {
    const bool low = i < 0;
    switch (rule) {
      case qorBorderConst:
        return outside;
      case qorBorderMirror:
        i = low ? -i : n - 1 - (i - (n - 1));
        break;
      case qorBorderMirrorR:
        i = low ? -1 - i : n - 1 - (i - n);
        break;
      default:
        return low ? 0 : n - 1;
    }
  }
  return i;
}

// An image whose rows may be asked for beyond its top and bottom. Where the rule is the constant, constantRow is a row
// of it, as long as the reader reads.
template <class T>
struct BorderedImage {
  Plane<const T> image;
  QoriSize size;
  QoriBorderType rule;
  BorderSides sides;
  const T* constantRow;

  const T* row(int y) const {
    const int at = borderPosition(y, size.height, rule, sides.top, sides.bottom);
    return at == outside ? constantRow : image.row(at);
  }
  // Column x of a row by row(), inside or outside.
  T pixel(const T* rowPointer, int x) const {
    const int at = borderPosition(x, size.width, rule, sides.left, sides.right);
    return at == outside ? constantRow[0] : rowPointer[at];
  }
};

// First sample of an address range of scratch, which may start at any byte.
template <class T>
T* alignUp(Qor8u* p, uintptr_t alignment) {
  return reinterpret_cast<T*>(p + (-reinterpret_cast<uintptr_t>(p) & (alignment - 1)));
}

}  // namespace qor
