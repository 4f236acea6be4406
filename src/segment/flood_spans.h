// The fill by a rule on the pixel's own value: spans on a stack, each of which looks for runs in the rows beside it.
#pragma once

#include "frame/round.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "segment/flood_window.h"

namespace qor::inline QOR_LEVEL {

// Painted pixels do not join again: the paint is not admitted by the rule or, where it is, they are kept in mind.
enum class Known { byPaint, byMark };

// Which spans the stack can hold.
enum class Stack {
  whole,  // as many as can wait
  drops,  // a capacity: when it is reached, all that wait are dropped
};

// A span of a stack that drops; with the columns that it was found from, which have joined and need no second look.
struct FloodSpanOfParent : FloodSpan {
  Qor32s parentLeft, parentRight;
};
static_assert(sizeof(FloodSpanOfParent) == 20);

// What the stack takes of the reported 6 * width * height + 32 bytes, of which the alignment leaves 29. A whole stack:
// a span of L pixels finds at most L + 1 runs, or L + 2 with diagonals, and behind every run there is a pixel that
// belongs to none, so that at most ((width + 1) * height + 2) / 3 spans wait at once, and of one column at most two. A
// stack that drops, by a quarter of the pixels: five bytes a pixel, beside one for the marks. Where the capacity is 0,
// with less than four pixels, nothing is dropped, but of one column at most two wait, and of two pixels one.
template <class T, int channels, class Rule, Known known, Stack stack, bool diagonal>
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
        stack_(alignUp<Span>(visited_.end(), alignof(Span))) {}

  // alone: the run of the seed is all.
  FloodExtent fill(QoriPoint seed, bool alone) {
    T* const row = image_.row(seed.y);
    // The seed joins whatever the rule says of it.
    const int left = runBegin(row, seed.y, seed.x), right = runEnd(row, seed.y, seed.x + 1) - 1;
    FloodExtent extent(seed.y, left, right);
    join(extent, row, seed.y, left, right);
    if (alone || height_ == 1 || capacity_ == 1) return extent;
    depth_ = 0;
    push(seed.y, left, right, seed.y == height_ - 1 ? -1 : 1, right + 1, right);
    while (depth_ > 0) {
      const Span span = stack_[--depth_];
      const int y = span.row(), side = span.side();
      extent.widen(y, span.left, span.right);
      const int from = diagonal && span.left > 0 ? span.left - 1 : span.left;
      const int to = diagonal && span.right < width_ - 1 ? span.right + 2 : span.right + 1;
      // Rows of a large image are far from each other in memory, and the spans on top of the stack lead straight on.
      if (const int ahead = y - rowsAhead * side; ahead >= 0 && ahead < height_) {
        __builtin_prefetch(image_.row(ahead) + ptrdiff_t{span.left} * channels);
      }
      if (y - side >= 0 && y - side < height_) scan(extent, span, y - side, from, to, side);
      // The row that the span came from, or of the first one a row that exists.
      int first = from, end = to;
      if constexpr (stack == Stack::drops) {
        const int behindParent = span.parentRight + 1;
        if (from >= span.parentLeft && from < behindParent) first = behindParent;
        if (to <= behindParent && to > span.parentLeft) end = span.parentLeft;
      }
      if (first < end) scan(extent, span, y + side, first, end, -side);
    }
    return extent;
  }

 private:
  using Span = std::conditional_t<stack == Stack::drops, FloodSpanOfParent, FloodSpan>;
  using Window = FloodWindow<T, channels>;
  static constexpr int pixels = Window::pixels;
  static constexpr int rowsAhead = 3;

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
  void scan(FloodExtent& extent, const Span& span, int y, int from, int to, int side) {
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
        push(y, left, right, side, span.left, span.right);
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

  void push(int y, int left, int right, int side, int parentLeft, int parentRight) {
    if constexpr (stack == Stack::drops) {
      stack_[depth_++] = {floodSpan(y, side, left, right), parentLeft, parentRight};
      if (depth_ == capacity_) depth_ = 0;
    } else {
      stack_[depth_++] = floodSpan(y, side, left, right);
    }
  }

  Plane<T> image_;
  int width_, height_;
  Qor32s capacity_, depth_ = 0;
  Rule rule_;
  Paint<T, channels> paint_;
  Visited visited_;
  Span* stack_;
};

}  // namespace qor
