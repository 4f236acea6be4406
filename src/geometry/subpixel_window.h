// Windows that are centred on a point between pixels and may stick out of the image: where they lie, which part of them
// is inside, and their samples.
#pragma once

#include "geometry/subpixel_blend.h"

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

namespace detail {

template <class D>
void fillSamples(D* dst, ptrdiff_t n, D value) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = value;
}

// Rows of the window, from the first of the source above them on; edge(top, bottom) is what stands outside.
template <class Blend, class S, class D, class Edge>
void copyWindowRows(const Blend& blend, const WindowAxis& x, Plane<const S> src, int srcWidth, Plane<D> dst, int width,
                    int rows, const Edge& edge) {
  const ptrdiff_t left = x.first + x.low;
  const int behind = x.high + 1;
  if (x.low < behind) {
    blendRows(blend, Plane{src.first + left, src.step}, Plane{dst.first + x.low, dst.step}, x.samples(), rows);
  }
  for (int j = 0; j < rows && x.low > 0; ++j) fillSamples(dst.row(j), x.low, edge(src.row(j)[0], src.row(j + 1)[0]));
  for (int j = 0; j < rows && behind < width; ++j) {
    const S *const top = src.row(j) + srcWidth - 1, *const bottom = src.row(j + 1) + srcWidth - 1;
    fillSamples(dst.row(j) + behind, width - behind, edge(*top, *bottom));
  }
}

}  // namespace detail

// The window with these axes. The samples outside are blended along the nearest edge of the source.
template <class Blend, class S, class D>
void copyWindow(const Blend& blend, Plane<const S> src, QoriSize srcSize, Plane<D> dst, QoriSize dstSize,
                const WindowAxis& x, const WindowAxis& y) {
  const auto rows = [&](const auto& kernel, int first, int last, const S* top, int step, const auto& edge) {
    if (first > last) return;
    detail::copyWindowRows(kernel, x, Plane{top, step}, srcSize.width, Plane{dst.row(first), dst.step}, dstSize.width,
                           last - first + 1, edge);
  };
  // Beyond its first and last row the source has the same row again and again.
  const auto outside = [&](int first, int last, int nearest) {
    rows(blend.along(), first, last, src.row(nearest), 0, [&](S sample, S) { return blend.whole(sample); });
  };
  if (y.low > 0) outside(0, y.low - 1, 0);
  if (y.low <= y.high) {
    rows(blend, y.low, y.high, src.row(static_cast<int>(y.first + y.low)), src.step,
         [&](S top, S bottom) { return blend.down(top, bottom); });
  }
  if (y.high + 1 < dstSize.height) outside(y.high + 1, dstSize.height - 1, srcSize.height - 1);
}

}  // namespace qor
