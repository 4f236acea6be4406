// The sweep of a separable filter over an image: bands of rows are filtered along themselves into a ring, and from the
// ring down the columns into the destination. The ring stays in the cache, the image is read and written once.
#pragma once

#include "frame/outside.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

// Samples from one row of a ring to the next.
constexpr int64_t gaussianStride(int width, int kernelSize, int channels) {
  return roundUpTo((int64_t{width} + kernelSize) * channels, 8);
}

// M is the sample of the filtered rows. Fields are set by the driver.
template <class T, class M>
struct GaussianSweep {
  Plane<const T> src;
  Plane<T> dst;
  QoriSize size;
  int channels;
  int kernelSize;
  Axis rows;

  M* ring;     // ringRows(): those of a window, and one of the border value
  M** window;  // as many pointers

  // Rows of a band, and the most that are filtered along themselves in one call.
  int bandRows() const { return size.height < kernelSize ? size.height : kernelSize; }
  int64_t ringRows() const { return int64_t{bandRows()} + kernelSize; }
  int64_t ringStride() const { return gaussianStride(size.width, kernelSize, channels); }

  // A row outside the image that is made from source rows, not from filtered ones.
  static constexpr bool fromSource(Edge edge) { return edge == Edge::memory || edge == Edge::periodic; }

  M* ringRow(int64_t number) const { return ring + number * ringStride(); }
  // The row of the ring that belongs to an image row or one outside; no two of a window are the same.
  M* slot(int64_t y) const { return ringRow((y + kernelSize / 2) % (ringRows() - 1)); }
  M* valueRow() const { return ringRow(ringRows() - 1); }

  // What column filters read as row y. What a reflection names stands in the window of every band that asks for it.
  M* filteredRow(int64_t y) const {
    if ((y < 0 && fromSource(rows.low)) || (y >= size.height && fromSource(rows.high))) return slot(y);
    const int64_t at = rows.standIn(y);
    return at == constantPosition ? valueRow() : slot(at);
  }

  const T* sourceRow(int64_t y) const {
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(src.first) + src.step * rows.standIn(y));
  }

  // Rows from y on, before end, that are equally far apart in memory: all that exist there; repeated ones stand alone.
  int64_t runFrom(int64_t y, int64_t end) const {
    if (y < 0) return rows.low == Edge::periodic ? 1 : end - y;
    if (y >= size.height) return rows.high == Edge::periodic ? 1 : end - y;
    return (rows.high == Edge::periodic && end > size.height ? size.height : end) - y;
  }

  // Columns of a strip in pixels: those that the window of a band holds in the first cache, in whole blocks of a column
  // pass, so that only the last strip has remainder columns; in as many as kernels take at a time, where so many fit.
  int64_t stripColumns() const {
    constexpr int64_t firstCache = 24 << 10, block = 16, most = 64;
    const int64_t columns = firstCache / ((ringRows() - 1) * channels * int64_t{sizeof(M)});
    return columns >= most ? columns / most * most : columns >= block ? columns / block * block : block;
  }

  // filterRows(first source row, pointers to the filtered rows, rows) makes a band, filterColumns(pointers, first
  // result, size) a strip of the results.
  template <class FilterRows, class FilterColumns>
  void run(const M* value, const FilterRows& filterRows, const FilterColumns& filterColumns) const {
    const int64_t reach = kernelSize / 2, height = size.height, most = bandRows();
    if (rows.has(Edge::value)) {
      M* const row = valueRow();
      for (int64_t i = 0; i < int64_t{size.width} * channels; ++i) row[i] = value[i % channels];
    }
    const int64_t end = fromSource(rows.high) ? height + reach : height;
    const int64_t strip = stripColumns();
    int64_t next = fromSource(rows.low) ? -reach : 0;
    for (int64_t y = 0; y < height; y += most) {
      const int64_t count = height - y < most ? height - y : most, first = y - reach, last = y + count + reach;
      for (int64_t i = first; i < last; ++i) window[i - first] = filteredRow(i);
      const int64_t wanted = last < end ? last : end;
      while (next < wanted) {
        const int64_t run = runFrom(next, wanted), together = run < most ? run : most;
        filterRows(sourceRow(next), window + (next - first), static_cast<int>(together));
        next += together;
      }
      for (int64_t x = 0; x < size.width; x += strip) {
        const int64_t columns = size.width - x < strip ? size.width - x : strip;
        filterColumns(window, dst.row(static_cast<int>(y)) + x * channels,
                      QoriSize{static_cast<int>(columns), static_cast<int>(count)});
        for (int64_t i = first; i < last; ++i) window[i - first] += columns * channels;
      }
    }
  }
};

}  // namespace qor
