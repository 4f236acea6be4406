// Extrema over rectangles: windows down the columns first, straight from the source, then along the rows of what they
// gave. A replicated side costs nothing above and below, where rows repeat by their address, nor left and right: the
// windows down the columns beyond would be those of the edge, so windows along a row are merely cut off there.
#pragma once

#include <string.h>

#include "frame/scratch.h"
#include "morph/difference.h"
#include "morph/sides.h"
#include "morph/window.h"

namespace qor::inline QOR_LEVEL {

// Offsets from a pixel to the first and last column and row of its rectangle.
struct Rectangle {
  ptrdiff_t left, right, top, bottom;

  ptrdiff_t width() const { return right - left + 1; }
  ptrdiff_t height() const { return bottom - top + 1; }

  Rectangle folded(const Reach& reach) const {
    return {reach.columns.folded(left), reach.columns.folded(right), reach.rows.folded(top), reach.rows.folded(bottom)};
  }
};

template <class Op, class T>
class RectangleSweep {
 public:
  RectangleSweep(const SampleSource<T>& source, const Rectangle& rectangle, const Area& area, Plane<T> results,
                 const Difference<T>& difference)
      : source_(source),
        rectangle_(rectangle.folded(Reach::of(source.sides(), area))),
        area_(area),
        results_(results),
        difference_(difference) {}

  // False, with nothing written, when the memory is too small. Under replicated sides, twice as many rows as the
  // rectangle has, each of the area's width and a vector more, and as many pointers are always enough.
  bool run(const Memory& memory) {
    const ptrdiff_t height = rectangle_.height(), spread = rectangle_.width() - 1;
    const bool direct = height <= mostDirectRows;
    const ptrdiff_t slots = stepRows(height), pointers = direct ? 0 : 2 * height;
    const ptrdiff_t pixel = source_.channels * ptrdiff_t{sizeof(T)};
    const Columns all = existing(area_.left, area_.right);
    ptrdiff_t columns = stripColumns(pixel, height, spread);
    for (;; columns /= 2) {
      const ptrdiff_t wanted = columns + spread, most = all.end - all.first;
      const int64_t rowBytes = roundUpTo((wanted < most ? wanted : most) * pixel, ownRowAlignment);
      const auto lay = [&](ScratchParts& parts) {
        table_ = parts.take<const T*>(pointers);
        own_ = parts.take<T>(slots * rowBytes / ptrdiff_t{sizeof(T)} + ownRowAlignment / ptrdiff_t{sizeof(T)},
                             ownRowAlignment);
      };
      const int64_t needed = bytesOf(lay);
      if (needed <= memory.bytes) {
        ScratchParts parts(memory.block, memory.bytes, needed);
        lay(parts);
        if (direct) table_ = fewRows_;
        ownStride_ = rowBytes / ptrdiff_t{sizeof(T)};
        for (ptrdiff_t x = area_.left; x < area_.right; x += columns) {
          strip(x, x + columns < area_.right ? x + columns : area_.right);
        }
        return true;
      }
      if (columns == 1) return false;
    }
  }

 private:
  // The columns of the source under windows of results first to end - 1.
  Columns existing(ptrdiff_t first, ptrdiff_t end) const {
    return Columns::existing(source_.sides().columns, first + rectangle_.left, end + rectangle_.right);
  }

  // Rows of results that are made at a time.
  static ptrdiff_t stepRows(ptrdiff_t height) {
    return height == 1 ? 1 : height <= mostDirectRows ? directRows : height;
  }

  // Columns of a strip in pixels: sources and results of a block of rows stay in the first cache, yet the columns that
  // are made for two strips are few.
  ptrdiff_t stripColumns(ptrdiff_t pixel, ptrdiff_t height, ptrdiff_t spread) const {
    constexpr ptrdiff_t firstCache = 24 << 10, least = 512, most = 4096;
    ptrdiff_t bytes = firstCache / (3 * height) / least * least;
    bytes = bytes < least ? least : bytes > most ? most : bytes;
    const ptrdiff_t columns = (bytes + pixel - 1) / pixel, worthwhile = 4 * spread;
    const ptrdiff_t wanted = columns < worthwhile ? worthwhile : columns;
    return wanted < area_.width() ? wanted : area_.width();
  }

  void strip(ptrdiff_t left, ptrdiff_t right) {
    const Columns columns = existing(left, right);
    const ptrdiff_t n = (columns.end - columns.first) * source_.channels, height = rectangle_.height();
    const ptrdiff_t step = stepRows(height);
    const auto sourceRow = [&](ptrdiff_t y) { return source_.row(y) + columns.first * source_.channels; };
    for (ptrdiff_t i = 0; i < height - 1; ++i) table_[i] = sourceRow(area_.top + rectangle_.top + i);
    for (ptrdiff_t y = area_.top; y < area_.bottom; y += step) {
      // Of results that are not wanted the sources need not exist.
      const ptrdiff_t rows = area_.bottom - y < step ? area_.bottom - y : step;
      for (ptrdiff_t i = 0; i < rows; ++i) table_[height - 1 + i] = sourceRow(y + rectangle_.bottom + i);
      if (height <= mostDirectRows) {
        for (ptrdiff_t i = rows; i < step; ++i) table_[height - 1 + i] = table_[height - 2 + i];
      }
      combineDown(n, rows);
      for (ptrdiff_t i = 0; i < rows; ++i) combineRow(own_ + i * ownStride_, columns, left, right, y + i);
      for (ptrdiff_t i = 0; i < height - 1; ++i) table_[i] = table_[i + step];
    }
  }

  void combineDown(ptrdiff_t n, ptrdiff_t rows) {
    switch (rectangle_.height()) {
      case 1:
        memcpy(own_, table_[0], static_cast<size_t>(n) * sizeof(T));
        return;
      case 2:
        return combineDirectly<Op, 2>(table_, n, own_, ownStride_);
      case 3:
        return combineDirectly<Op, 3>(table_, n, own_, ownStride_);
      case 4:
        return combineDirectly<Op, 4>(table_, n, own_, ownStride_);
      case 5:
        return combineDirectly<Op, 5>(table_, n, own_, ownStride_);
      default:
        return combineBlock<Op>(table_, rectangle_.height(), rows, n, own_, ownStride_);
    }
  }

  // Results of a row from its windows down the columns.
  void combineRow(T* own, const Columns& columns, ptrdiff_t left, ptrdiff_t right, ptrdiff_t y) {
    const int channels = source_.channels, row = static_cast<int>(y);
    const auto within = [](ptrdiff_t x, ptrdiff_t low, ptrdiff_t high) { return x < low ? low : x > high ? high : x; };
    const ptrdiff_t first = within(columns.first - rectangle_.left, left, right);
    const ptrdiff_t end = within(columns.end - rectangle_.right, first, right);
    const ptrdiff_t pixels = columns.end - columns.first;
    T* const results = results_.row(row);
    // Windows cut off at the left end, at the right end, and whole ones, which begin with the first pixel.
    for (int c = 0; c < channels; ++c) {
      combineCut<Op>(own + c, pixels, channels, left + rectangle_.right - columns.first, results + left * channels + c,
                     first - left);
      combineCut<Op>(own + (pixels - 1) * channels + c, pixels, -ptrdiff_t{channels},
                     columns.end - right - rectangle_.left, results + (right - 1) * channels + c, right - end);
    }
    if (first < end) {
      combineAlong<Op>(own, channels, rectangle_.width(), results + first * channels, (end - first) * channels);
    }
    difference_.take(left, row, right - left, channels);
  }

  const SampleSource<T>& source_;
  Rectangle rectangle_;
  Area area_;
  Plane<T> results_;
  const Difference<T>& difference_;
  const T* fewRows_[mostDirectRows + directRows - 1];
  const T** table_ = nullptr;
  T* own_ = nullptr;
  ptrdiff_t ownStride_ = 0;
};

}  // namespace qor
