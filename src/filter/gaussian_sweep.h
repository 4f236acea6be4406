// The sweep of a separable filter over an image: bands of rows are filtered along themselves into a ring, and from the
// ring down the columns into the destination. The ring stays in the cache, the image is read and written once.
#pragma once

#include "filter/border_row.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

constexpr int64_t roundUpTo(int64_t n, int64_t multiple) { return (n + multiple - 1) / multiple * multiple; }

// Samples from one row of the ring to the next.
constexpr int64_t ringStride(int width, int kernelSize, int channels) {
  return roundUpTo((int64_t{width} + kernelSize) * channels, 8);
}

// Hands out the parts of a scratch block of any alignment, one behind the other.
class ScratchParts {
 public:
  explicit ScratchParts(Qor8u* scratch) : next_(scratch) {}

  template <class T>
  T* take(int64_t count, uintptr_t alignment = alignof(T)) {
    Qor8u* const first = next_ + (-reinterpret_cast<uintptr_t>(next_) & (alignment - 1));
    next_ = first + count * static_cast<int64_t>(sizeof(T));
    return reinterpret_cast<T*>(first);
  }
  Qor8u* rest() const { return next_; }

 private:
  Qor8u* next_;
};

// M is the sample of the filtered rows. Fields are set by the driver.
template <class T, class M>
struct GaussianSweep {
  Plane<const T> src;
  Plane<T> dst;
  QoriSize size;
  int channels;
  int kernelSize;
  Edge top, bottom;

  M* ring;         // bandRows() + kernelSize rows: those of a window, and one of the border value
  int64_t stride;  // samples between them
  M** window;      // as many pointers

  // Rows of a band, and the most that are filtered along themselves in one call.
  int bandRows() const { return size.height < kernelSize ? size.height : kernelSize; }

  // A row outside the image that is made from source rows, not from filtered ones.
  static constexpr bool fromSource(Edge edge) { return edge == Edge::memory || edge == Edge::periodic; }

  // The row of the ring that belongs to an image row or one outside; no two of a window are the same.
  M* slot(int64_t y) const {
    const int64_t rows = int64_t{bandRows()} + kernelSize - 1;
    return ring + (y + kernelSize / 2) % rows * stride;
  }
  M* valueRow() const { return ring + (int64_t{bandRows()} + kernelSize - 1) * stride; }

  // What column filters read as row y. What a reflection names stands in the window of every band that asks for it.
  M* filteredRow(int64_t y) const {
    if (y >= 0 && y < size.height) return slot(y);
    const Edge edge = y < 0 ? top : bottom;
    if (edge == Edge::value) return valueRow();
    return fromSource(edge) ? slot(y) : slot(columnOutside(edge, y, size.height));
  }

  const T* sourceRow(int64_t y) const {
    const bool outside = y < 0 || y >= size.height;
    if (outside && (y < 0 ? top : bottom) == Edge::periodic) y = columnOutside(Edge::periodic, y, size.height);
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(src.first) + src.step * y);
  }

  // Rows from y on, before end, that are equally far apart in memory: all that exist there; repeated ones stand alone.
  int64_t runFrom(int64_t y, int64_t end) const {
    if (y < 0) return top == Edge::periodic ? 1 : end - y;
    if (y >= size.height) return bottom == Edge::periodic ? 1 : end - y;
    return (bottom == Edge::periodic && end > size.height ? size.height : end) - y;
  }

  // Columns of a strip in pixels: those that the window of a band holds in the first cache, in whole blocks of a column
  // pass, so that only the last strip has remainder columns.
  int64_t stripColumns() const {
    constexpr int64_t firstCache = 24 << 10, block = 16;
    const int64_t columnBytes = (int64_t{bandRows()} + kernelSize - 1) * channels * int64_t{sizeof(M)};
    const int64_t columns = firstCache / columnBytes / block * block;
    return columns < block ? block : columns;
  }

  // Rows of a strip: too few, however long the kernel, for the column pass to go parallel.
  static constexpr int64_t stripRows = 1024;

  // filterRows(first source row, pointers to the filtered rows, rows) makes a band, filterColumns(pointers, first
  // result, size) a strip of the results.
  template <class FilterRows, class FilterColumns>
  void run(const M* value, const FilterRows& filterRows, const FilterColumns& filterColumns) const {
    const int64_t reach = kernelSize / 2, height = size.height, most = bandRows();
    if (top == Edge::value || bottom == Edge::value) {
      M* const row = valueRow();
      for (int64_t i = 0; i < int64_t{size.width} * channels; ++i) row[i] = value[i % channels];
    }
    const int64_t end = fromSource(bottom) ? height + reach : height;
    const int64_t strip = stripColumns();
    int64_t next = fromSource(top) ? -reach : 0;
    for (int64_t y = 0; y < height; y += most) {
      const int64_t rows = height - y < most ? height - y : most, first = y - reach, last = y + rows + reach;
      for (int64_t i = first; i < last; ++i) window[i - first] = filteredRow(i);
      const int64_t wanted = last < end ? last : end;
      while (next < wanted) {
        const int64_t run = runFrom(next, wanted), count = run < most ? run : most;
        filterRows(sourceRow(next), window + (next - first), static_cast<int>(count));
        next += count;
      }
      for (int64_t x = 0; x < size.width; x += strip) {
        const int64_t columns = size.width - x < strip ? size.width - x : strip;
        for (int64_t r = 0; r < rows; r += stripRows) {
          const int64_t count = rows - r < stripRows ? rows - r : stripRows;
          filterColumns(window + r, dst.row(static_cast<int>(y + r)) + x * channels,
                        QoriSize{static_cast<int>(columns), static_cast<int>(count)});
        }
        for (int64_t i = first; i < last; ++i) window[i - first] += columns * channels;
      }
    }
  }
};

}  // namespace qor
