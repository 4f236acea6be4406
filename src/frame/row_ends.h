// The ends of a row, copied together with what stands beside them, so that kernels find every span contiguous.
#pragma once

#include "frame/outside.h"

namespace qor::inline QOR_LEVEL {

// ---- any reach, in memory of the caller

template <int channels, class T>
inline T* copyPixels(T* to, const T* from, ptrdiff_t pixels) {
  __builtin_memcpy(to, from, static_cast<size_t>(pixels * channels) * sizeof(T));
  return to + pixels * channels;
}

// Columns first to last - 1, all outside the row on the same side. value points at a pixel of the constant.
template <int channels, class T>
[[gnu::noinline]] T* copyOutside(T* to, const T* row, const Axis& columns, ptrdiff_t first, ptrdiff_t last,
                                 const T* value) {
  if ((first < 0 ? columns.low : columns.high) == Edge::memory) {
    return copyPixels<channels>(to, row + first * channels, last - first);
  }
  for (ptrdiff_t x = first; x < last; ++x) {
    const ptrdiff_t at = columns.standIn(x);
    to = copyPixels<channels>(to, at == constantPosition ? value : row + at * channels, 1);
  }
  return to;
}

// For a kernel that reads anchor pixels before and kernelSize - 1 - anchor behind an output: the pixels left of the
// row, its first ones, its last ones, the pixels right of it, each run as long as a kernel can reach. The span of
// output x < anchor begins at staged pixel x. Returns the sample at which the span of the first output behind the
// interior begins; the others follow it pixel by pixel. A row shorter than the kernel has no interior and is copied
// once, whole.
//
// At most 3 * (kernelSize - 1) pixels are written.
template <int channels, class T>
[[gnu::noinline]] ptrdiff_t copyEnds(T* staged, const T* row, const Axis& columns, int kernelSize, int anchor,
                                     const T* value) {
  const ptrdiff_t width = columns.n, reach = kernelSize - 1, left = anchor, right = reach - left;
  const auto isPlain = [](Edge edge) { return edge == Edge::value || edge == Edge::nearest || edge == Edge::memory; };
  if (width < kernelSize || !isPlain(columns.low) || !isPlain(columns.high)) {
    T* end = copyOutside<channels>(staged, row, columns, -left, 0, value);
    const T* spans = end;
    end = copyPixels<channels>(end, row, width < reach ? width : reach);
    if (width >= kernelSize) {
      spans = end;
      end = copyPixels<channels>(end, row + (width - reach) * channels, reach);
    }
    copyOutside<channels>(end, row, columns, width, width + right, value);
    return spans - staged;
  }
  // Pixels one behind the other, or one again and again: one by one, since most rows have few.
  T* to = staged;
  const auto append = [&to](const T* from, ptrdiff_t pixels, ptrdiff_t step) {
    for (; pixels > 0; --pixels, from += step) to = copyPixels<channels>(to, from, 1);
  };
  const auto appendOutside = [&](Edge edge, const T* nearest, const T* memory, ptrdiff_t pixels) {
    append(edge == Edge::memory  ? memory
           : edge == Edge::value ? value
                                 : nearest,
           pixels, edge == Edge::memory ? channels : 0);
  };
  const T* const last = row + (width - 1) * channels;
  appendOutside(columns.low, row, row - left * channels, left);
  append(row, reach, channels);
  append(last - (reach - 1) * channels, reach, channels);
  appendOutside(columns.high, last, last + channels, right);
  return (left + reach) * channels;
}

// ---- a short reach, on the stack

// The columns that stand in for the first `reach` on either side: the same in every row.
template <class T, int reach>
class Beside {
 public:
  Beside(const Axis& columns, T value) : value_(value) {
    for (int i = 0; i < reach; ++i) {
      left_[i] = columns.standIn(-1 - i);
      right_[i] = columns.standIn(columns.n + i);
    }
  }
  T left(const T* row, int i) const { return at(row, left_[i]); }
  T right(const T* row, int i) const { return at(row, right_[i]); }

 private:
  T at(const T* row, ptrdiff_t x) const { return x == constantPosition ? value_ : row[x]; }

  ptrdiff_t left_[reach], right_[reach];  // columns -1 - i, and n + i
  T value_;
};

// A row's first block of samples and its last ones, with `reach` more on either side.
template <class T, int block, int reach>
class RowEnds {
 public:
  // Wide rows have blocks that lie inside with all that their kernels read.
  static constexpr bool isWide(ptrdiff_t width) { return width >= 2 * block; }

  // beside may know of more columns; those within reach are read.
  template <int known>
  [[gnu::noinline]] void copy(const T* row, ptrdiff_t width, const Beside<T, known>& beside) {
    static_assert(known >= reach);
    T* right = tail_ + reach;
    if (isWide(width)) {
      for (int i = 0; i < reach; ++i) head_[reach - 1 - i] = beside.left(row, i);
      __builtin_memcpy(head_ + reach, row, (block + reach) * sizeof(T));
      tailColumn_ = width - 2 * block;
      const int before = tailColumn_ < reach ? 0 : reach;
      __builtin_memcpy(right - before, row + tailColumn_ - before, 2 * block * sizeof(T));
      __builtin_memcpy(right + 2 * block - reach, row + width - reach, reach * sizeof(T));
      right += 2 * block;
    } else {
      for (int i = 0; i < reach; ++i) tail_[reach - 1 - i] = beside.left(row, i);
      tailColumn_ = 0;
      __builtin_memcpy(right, row, static_cast<size_t>(width) * sizeof(T));
      right += width;
    }
    for (int i = 0; i < reach; ++i) right[i] = beside.right(row, i);
  }

  // Column 0 of a wide row, for one block.
  const T* head() const { return head_ + reach; }
  // Column x of a row that is not wide, or one whose span ends among the last two blocks and what precedes them, if
  // there is as much. A whole block may be read from there: what lies behind the border has no meaning.
  const T* tail(ptrdiff_t x) const { return tail_ + reach + (x - tailColumn_); }

 private:
  static_assert(block >= 2 * reach);
  T head_[block + 2 * reach];
  ptrdiff_t tailColumn_;
  T tail_[3 * block + 2 * reach] = {};
};

}  // namespace qor
