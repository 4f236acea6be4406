// The fill by a rule on the pixel's own value: spans on a stack, each of which looks for runs in the rows beside it.
#pragma once

#include "frame/round.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "segment/flood_window.h"

namespace qor::inline QOR_LEVEL {

// Painted pixels do not join again: the paint is not admitted by the rule or, where it is, they are kept in mind.
enum class Known { byPaint, byMark };

// Bytes of the stack: as many spans as the capacity if that drops them, else as many as can wait. A span of L pixels
// finds at most L + 1 runs, or L + 2 with diagonals, and behind every run there is a pixel that belongs to none, so
// that at most ((width + 1) * height + 2) / 3 spans wait at once. For one column, and where a capacity of 0 drops
// nothing, these are at most two.
//
// Together with a byte a pixel for the marks this stays below 6 * width * height + 29: the reported size, aligned. The
// marks come with a capacity alone, of a quarter of the pixels.
template <class T, int channels, class Rule, Known known, bool diagonal>
class SpanFill {
 public:
  SpanFill(Plane<T> image, QoriSize size, const Rule& rule, const T* paint, Qor8u* pBuffer, Qor32s capacity)
      : image_(image),
        width_(size.width),
        height_(size.height),
        capacity_(capacity),
        rule_(rule),
        paint_(paint),
        visited_(pBuffer, known == Known::byMark ? size : QoriSize{0, 0}),
        stack_(alignUp<FloodSpan>(visited_.end(), alignof(FloodSpan))) {}

  // alone: the run of the seed is all.
  FloodExtent fill(QoriPoint seed, bool alone) {
    T* const row = image_.row(seed.y);
    // The seed joins whatever the rule says of it.
    const int left = runBegin(row, seed.y, seed.x), right = runEnd(row, seed.y, seed.x + 1) - 1;
    FloodExtent extent(seed.y, left, right);
    join(extent, row, seed.y, left, right);
    if (alone || height_ == 1 || capacity_ == 1) return extent;
    depth_ = 0;
    push(seed.y, left, right, seed.y == height_ - 1 ? -1 : 1);
    while (depth_ > 0) {
      const FloodSpan span = stack_[--depth_];
      const int y = static_cast<int>(span.rowAndSide >> 1), side = (span.rowAndSide & 1) != 0 ? 1 : -1;
      extent.widen(y, span.left, span.right);
      const int from = diagonal && span.left > 0 ? span.left - 1 : span.left;
      const int to = diagonal && span.right < width_ - 1 ? span.right + 2 : span.right + 1;
      if (y - side >= 0 && y - side < height_) scan(extent, y - side, from, to, side);
      // The row that the span came from, or of the first one a row that exists.
      scan(extent, y + side, from, to, -side);
    }
    return extent;
  }

 private:
  using Window = FloodWindow<T, channels>;
  static constexpr int pixels = Window::pixels;

  // Where the window begins that is to begin at x, as the row allows.
  int windowAt(int x) const {
    const int last = width_ - pixels;
    return x > last ? (last > 0 ? last : 0) : x > 0 ? x : 0;
  }

  // Bits of the admitted pixels of a window.
  QOR_FORCE_INLINE uint64_t admitted(const T* row, int y, int base) const {
    if (width_ < pixels) return admittedInRow(row, y);
    uint64_t bits = admittedAt(row + ptrdiff_t{base} * channels);
    if constexpr (known == Known::byMark) bits &= ~visited_.template bits<pixels>(y, base);
    return bits;
  }
  QOR_FORCE_INLINE uint64_t admittedAt(const T* p) const {
    using V = typename Window::V;
    return Window::bits([&](int i, int phase) { return rule_.admits(load<V>(p + i), phase); });
  }
  [[gnu::noinline]] uint64_t admittedInRow(const T* row, int y) const {
    T copy[Window::samples] = {};
    __builtin_memcpy(copy, row, static_cast<size_t>(width_ * channels) * sizeof(T));
    uint64_t bits = admittedAt(copy) & firstBits(width_);
    if constexpr (known == Known::byMark) bits &= ~visited_.bitsOfRow(y);
    return bits;
  }

  // The end of the admitted pixels from x on, and the begin of those before x.
  int runEnd(const T* row, int y, int x) const {
    while (x < width_) {
      const int base = windowAt(x);
      x += onesFromLow(admitted(row, y, base) >> (x - base));
      if (x < base + pixels) break;
    }
    return x;
  }
  int runBegin(const T* row, int y, int x) const {
    while (x > 0) {
      const int base = windowAt(x - pixels);
      x -= onesFromHigh(admitted(row, y, base) << (wordPixels - (x - base)));
      if (x > base) break;
    }
    return x;
  }

  // Finds the runs that begin in or reach into columns from .. to - 1 of row y.
  void scan(FloodExtent& extent, int y, int from, int to, int side) {
    T* const row = image_.row(y);
    int x = from, base = windowAt(x - Window::lead);
    uint64_t word = admitted(row, y, base);
    for (;;) {
      const uint64_t hits = word >> (x - base);
      if (hits != 0) {
        x += __builtin_ctzll(hits);
        if (x >= to) return;
        const int i = x - base;
        int left = x + 1 - onesFromHigh(word << (wordPixels - 1 - i)), right = x - 1 + onesFromLow(word >> i);
        if (left == base && base > 0) left = runBegin(row, y, base);
        if (right == base + pixels - 1) right = runEnd(row, y, right + 1) - 1;
        join(extent, row, y, left, right);
        push(y, left, right, side);
        // The pixel behind the run is not admitted.
        x = right + 2;
      } else {
        x = base + pixels;
      }
      if (x >= to) return;
      if (x < base + pixels) continue;
      base = windowAt(x);
      word = admitted(row, y, base);
    }
  }

  void join(FloodExtent& extent, T* row, int y, int left, int right) {
    paint_(row + ptrdiff_t{left} * channels, right - left + 1);
    if constexpr (known == Known::byMark) visited_.mark(y, left, right - left + 1);
    extent.count(left, right);
  }

  // With the capacity reached, all that waits is dropped.
  void push(int y, int left, int right, int side) {
    stack_[depth_++] = {2 * static_cast<Qor32u>(y) + (side > 0 ? 1U : 0U), left, right};
    if (depth_ == capacity_) depth_ = 0;
  }

  Plane<T> image_;
  int width_, height_;
  Qor32s capacity_, depth_ = 0;
  Rule rule_;
  Paint<T, channels> paint_;
  Visited visited_;
  FloodSpan* stack_;
};

}  // namespace qor
