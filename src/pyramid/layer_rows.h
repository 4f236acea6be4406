// The sweep of a layer step: rows of the source are filtered along themselves when a row of the destination asks for
// them, into a ring, and from there down the columns.
#pragma once

#include "frame/row.h"
#include "pyramid/layer.h"

namespace qor::inline QOR_LEVEL {

// A source row with its ends repeated on both sides. convert(to, from, samples) copies what is inside.
template <int channels, class S, class T, class Convert>
void copyExtended(S* to, const T* row, int width, int beside, const Convert& convert) {
  S* const inside = to + ptrdiff_t{beside} * channels;
  S* const behind = inside + ptrdiff_t{width} * channels;
  convert(inside, row, ptrdiff_t{width} * channels);
  for (ptrdiff_t i = ptrdiff_t{beside} * channels; i-- > 0;) to[i] = to[i + channels];
  for (ptrdiff_t i = 0; i < ptrdiff_t{beside} * channels; ++i) behind[i] = behind[i - channels];
}

// Filter has filterRow(filtered row, source row), weighRows(weights, how many of the window's count) and storeRow(row,
// rows of the window), and tells the bytes from one filtered row to the next.
template <class Filter, class T>
void sweepLayer(const Layer& layer, Filter& filter, Plane<const T> src, int sourceHeight, Plane<T> dst, int height) {
  const LayerAxis rows = layer.axis(sourceHeight, height);
  const int window = layer.kernel.window();
  const int64_t ringRows = Layer::ringRows(layer.kernel.size, sourceHeight);
  const auto inside = [=](int64_t y) { return y < 0 ? 0 : y < sourceHeight ? y : int64_t{sourceHeight} - 1; };
  const auto slot = [&](int64_t y) {
    return reinterpret_cast<typename Filter::Filtered*>(layer.ring + y % ringRows * filter.ringStep());
  };
  int64_t next = 0;
  for (int y = 0; y < height; ++y) {
    const int64_t first = rows.weigh(y, layer.weights), last = inside(first + window - 1);
    if (next < inside(first)) next = inside(first);
    for (; next <= last; ++next) filter.filterRow(slot(next), src.row(static_cast<int>(next)));
    for (int i = 0; i < window; ++i) layer.window[i] = slot(inside(first + i));
    filter.weighRows(layer.weights, rows.count(y));
    filter.storeRow(dst.row(y), reinterpret_cast<const typename Filter::Filtered* const*>(layer.window));
  }
}

}  // namespace qor
