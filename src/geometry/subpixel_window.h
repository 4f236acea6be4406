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

// A row of the window, from the rows of the source above and below it; edge(top, bottom) is what stands outside.
template <class Blend, class S, class D, class Edge>
QOR_FORCE_INLINE void copyWindowRow(const Blend& blend, const WindowAxis& x, int width, const S* top, const S* bottom,
                                    int srcWidth, D* dst, const Edge& edge) {
  if (x.low > 0) fillSamples(dst, x.low, edge(top[0], bottom[0]));
  const ptrdiff_t left = x.first + x.low;
  if (x.low <= x.high) blendRow(blend, top + left, bottom + left, dst + x.low, x.samples());
  const int behind = x.high + 1;
  if (behind < width) fillSamples(dst + behind, width - behind, edge(top[srcWidth - 1], bottom[srcWidth - 1]));
}

}  // namespace detail

// The window with these axes. The samples outside are blended along the nearest edge of the source.
template <class Blend, class S, class D>
void copyWindow(const Blend& given, Plane<const S> src, QoriSize srcSize, Plane<D> dst, QoriSize dstSize,
                const WindowAxis& x, const WindowAxis& y) {
  const auto blend = given;
  const auto outside = [&](int first, int last, int nearest) {
    if (first > last) return;
    const auto along = blend.along();
    for (int j = first; j <= last; ++j) {
      detail::copyWindowRow(along, x, dstSize.width, src.row(nearest), src.row(nearest), srcSize.width, dst.row(j),
                            [&](S sample, S) { return blend.whole(sample); });
    }
  };
  outside(0, y.low - 1, 0);
  for (int j = y.low; j <= y.high; ++j) {
    const int at = static_cast<int>(y.first + j);
    detail::copyWindowRow(blend, x, dstSize.width, src.row(at), src.row(at + 1), srcSize.width, dst.row(j),
                          [&](S top, S bottom) { return blend.down(top, bottom); });
  }
  outside(y.high + 1, dstSize.height - 1, srcSize.height - 1);
}

}  // namespace qor
