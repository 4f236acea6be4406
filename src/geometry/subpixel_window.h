// Where a window lies that is centred on a point between pixels, and which part of it is inside the image.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Columns, or rows.
struct WindowAxis {
  int64_t first;    // the pixel at or before the window's first sample; outside the image perhaps
  Qor32f fraction;  // from there to the sample
  int low, high;    // the window's samples that lie between pixels of the image: low to high, none where high < low

  // `length` samples about `centre` in an image of `size` pixels.
  //
  // No pixel beyond the bounds matters: a window whose first sample is a whole length before the image, or nowhere, is
  // outside on the left like any further one, and 2^33 is behind every image for every length.
  WindowAxis(Qor32f centre, int length, int size) {
    const Qor32f begin = centre - static_cast<Qor32f>(length - 1) * 0.5F;
    const Qor32f beyond = static_cast<Qor32f>(length) + begin;
    constexpr Qor32f far = 8589934592.0F;
    first = (beyond > 0 ? static_cast<int64_t>(beyond < far ? beyond : far) : 0) - length;
    fraction = begin - static_cast<Qor32f>(first);
    const bool isBehind = first >= size;
    low = isBehind || first > 0 ? 0 : static_cast<int>(-first);
    high = isBehind ? -1 : static_cast<int>(size - first - 2 < length - 1 ? size - first - 2 : length - 1);
  }

  int samples() const { return high - low + 1; }
};

}  // namespace qor
