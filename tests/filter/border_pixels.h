// Pixels of an image and its border as references see them: rows count first, columns second.
#pragma once

#include "support/outside.h"
#include "support/support.h"

namespace qortest {

template <class T>
T borderPixel(const GuardedImage<T>& image, int x, int y, int border, T value) {
  const Sides in = memorySides(border);
  const auto row = place(border, y, image.size().height, in.top, in.bottom);
  const auto column = place(border, x, image.size().width, in.left, in.right);
  return row && column ? image.at(*column, *row) : value;
}

}  // namespace qortest
