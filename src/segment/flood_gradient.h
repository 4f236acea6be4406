// The fill by a rule on a pixel and its neighbour, so that the admitted value floats along the region: spans as in the
// fill by value, but painted only when both rows beside them have been looked at, so that all comparisons see the
// values from before.
#pragma once

#include "frame/row.h"
#include "frame/scratch.h"
#include "segment/flood_window.h"

namespace qor::inline QOR_LEVEL {

// The block holds a byte a pixel, and the stack: every pixel lies in one span, so there are at most as many. That stays
// below (width + 2) * (height + 2) + 16 * width * height + 64, the reported size.
template <class T, int channels, bool diagonal>
class GradientFill {
 public:
  GradientFill(Plane<T> image, QoriSize size, const Fit<T, channels>& fit, const T* paint, Qor8u* pBuffer)
      : image_(image),
        width_(size.width),
        height_(size.height),
        fit_(fit),
        paint_(paint),
        visited_(pBuffer, size),
        stack_(alignUp<FloodSpan>(visited_.end(), alignof(FloodSpan))) {}

  // alone: the run of the seed is all.
  FloodExtent fill(QoriPoint seed, bool alone) {
    FloodExtent extent(seed.y, seed.x, seed.x);
    visited_.mark(seed.y, seed.x, 1);
    const auto besideSeed = [this](V value, V reference, int phase) {
      return fit_.admitsBesideSeed(value, reference, phase);
    };
    const int right = runEnd(seed.y, seed.x + 1, besideSeed) - 1, left = runBegin(seed.y, seed.x, besideSeed);
    visited_.mark(seed.y, left, right - left + 1);
    push(seed.y, left, right, 1);
    while (depth_ > 0) {
      const FloodSpan span = stack_[--depth_];
      const int y = static_cast<int>(span.rowAndSide >> 1), side = (span.rowAndSide & 1) != 0 ? 1 : -1;
      extent.widen(y, span.left, span.right);
      if (!alone) {
        scan(span, y, y - side, side);
        scan(span, y, y + side, -side);
      }
      paint_(image_.row(y) + ptrdiff_t{span.left} * channels, span.right - span.left + 1);
      extent.count(span.left, span.right);
    }
    return extent;
  }

 private:
  using Window = FloodWindow<T, channels>;
  using V = typename Window::V;
  static constexpr int pixels = Window::pixels;

  // Pixels of a row with one more on either side: in the row where there are such, else copied beside nothing. What is
  // compared with nothing has no meaning and is not asked for.
  class Strip {
   public:
    QOR_FORCE_INLINE const T* at(const T* row, int base, int width) {
      if (base > 0 && base < width - pixels) return row + ptrdiff_t{base} * channels;
      return copied(row, base, width);
    }

   private:
    [[gnu::noinline]] const T* copied(const T* row, int base, int width) {
      const int first = base > 0 ? base - 1 : 0, end = base < width - pixels ? base + pixels + 1 : width;
      T* const to = copy_ + (base > 0 ? 0 : channels);
      __builtin_memset(copy_, 0, sizeof copy_);
      __builtin_memcpy(to, row + ptrdiff_t{first} * channels,
                       static_cast<size_t>((end - first) * channels) * sizeof(T));
      return copy_ + channels;
    }
    T copy_[Window::samples + 2 * channels];
  };

  int windowAt(int x) const {
    const int last = width_ - pixels;
    return x > last ? (last > 0 ? last : 0) : x > 0 ? x : 0;
  }
  // What is not in the window counts as visited.
  QOR_FORCE_INLINE uint64_t visitedAt(int y, int base) const {
    if (width_ < pixels) return visited_.bitsOfRow(y) | ~firstBits(width_);
    return visited_.template bits<pixels>(y, base) | ~firstBits(pixels);
  }
  // Bits of the pixels at `values` that a rule admits beside those at `references`.
  template <class Admits>
  QOR_FORCE_INLINE static uint64_t fitting(const T* values, const T* references, const Admits& admits) {
    return Window::bits([&](int i, int phase) { return admits(load<V>(values + i), load<V>(references + i), phase); });
  }

  // The end of the run that goes on with x, and the begin of the one that ends before x, by neighbours of the same row
  // alone.
  template <class Admits>
  int runEnd(int y, int x, const Admits& admits) const {
    Strip strip;
    while (x < width_) {
      const int base = windowAt(x);
      const T* const p = strip.at(image_.row(y), base, width_);
      const uint64_t joins = ~visitedAt(y, base) & fitting(p, p - channels, admits);
      x += onesFromLow(joins >> (x - base));
      if (x < base + pixels) break;
    }
    return x;
  }
  template <class Admits>
  int runBegin(int y, int x, const Admits& admits) const {
    Strip strip;
    while (x > 0) {
      const int base = windowAt(x - pixels);
      const T* const p = strip.at(image_.row(y), base, width_);
      const uint64_t joins = ~visitedAt(y, base) & fitting(p, p + channels, admits);
      x -= onesFromHigh(joins << (wordPixels - (x - base)));
      if (x > base) break;
    }
    return x;
  }

  // A window of the row that is scanned, beside the span that has been popped. What it takes more time to compare is
  // worked out when it is asked for.
  class View {
   public:
    View(const GradientFill& fill, const FloodSpan& span, int parentRow, int row)
        : fill_(fill), span_(span), parentRow_(fill.image_.row(parentRow)), row_(fill.image_.row(row)), y_(row) {}

    int base() const { return base_; }
    int end() const { return base_ + pixels; }

    void moveTo(int x) {
      base_ = fill_.windowAt(x);
      open_ = ~fill_.visitedAt(y_, base_);
      strip_ = nullptr;
      hasBeside_ = false;
    }
    // Whether a pixel of columns x to `to` - 1 has not joined.
    bool isOpen(int x, int to) const { return (open_ >> (x - base_) & firstBits(to - x)) != 0; }
    // Those that the span admits.
    uint64_t admitted() {
      if (!hasBeside_) beside_ = fill_.besideSpan(span_, strip(), parentRow_, base_);
      hasBeside_ = true;
      return open_ & beside_;
    }
    // Those that a run from the left or the span admits.
    uint64_t onward() {
      const T* const p = strip();
      const uint64_t along = fitting(p, p - channels, [this](V value, V reference, int phase) {
        return fill_.fit_.admits(value, reference, phase);
      });
      return (open_ & ~along) == 0 ? open_ : (open_ & along) | admitted();
    }

   private:
    const T* strip() {
      if (strip_ == nullptr) strip_ = copied_.at(row_, base_, fill_.width_);
      return strip_;
    }

    const GradientFill& fill_;
    const FloodSpan& span_;
    const T *parentRow_, *row_;
    int y_, base_ = 0;
    uint64_t open_ = 0, beside_ = 0;
    bool hasBeside_ = false;
    const T* strip_ = nullptr;
    Strip copied_;
  };

  // Bits of the pixels at `values` that the span's pixels admit: those at the same column, or the three next to it.
  uint64_t besideSpan(const FloodSpan& span, const T* values, const T* parentRow, int base) const {
    const auto admits = [this](V value, V reference, int phase) { return fit_.admits(value, reference, phase); };
    // The columns that a reference in the span has its value at.
    const auto columns = [&](int shift) {
      const int first = span.left - base - shift, end = span.right + 1 - base - shift;
      return (end > 0 ? firstBits(end) : 0) & ~(first > 0 ? firstBits(first) : 0);
    };
    if constexpr (diagonal) {
      const uint64_t left = columns(-1), same = columns(0), right = columns(1);
      const uint64_t any = left | same | right;
      if (any == 0) return 0;
      Strip strip;
      const T* const p = strip.at(parentRow, base, width_);
      uint64_t bits = fitting(values, p, admits) & same;
      if ((any & ~bits) != 0) {
        bits |= (fitting(values, p - channels, admits) & left) | (fitting(values, p + channels, admits) & right);
      }
      return bits;
    } else {
      const uint64_t same = columns(0);
      if (same == 0) return 0;
      Strip strip;
      return fitting(values, strip.at(parentRow, base, width_), admits) & same;
    }
  }

  // Finds the runs in a row beside a span that its pixels admit.
  void scan(const FloodSpan& span, int spanRow, int y, int side) {
    if (y < 0 || y >= height_) return;
    const int from = diagonal && span.left > 0 ? span.left - 1 : span.left;
    const int to = diagonal && span.right < width_ - 1 ? span.right + 2 : span.right + 1;
    const auto toLeft = [this](V value, V reference, int phase) { return fit_.admitsToLeft(value, reference, phase); };
    View view(*this, span, spanRow, y);
    view.moveTo(from - Window::lead);
    for (int x = from;;) {
      const uint64_t hits = view.isOpen(x, to) ? view.admitted() >> (x - view.base()) : 0;
      if (hits != 0) {
        x += __builtin_ctzll(hits);
        if (x >= to) return;
        const int left = runBegin(y, x, toLeft);
        for (++x; x < width_;) {
          if (x >= view.end()) view.moveTo(x);
          x += onesFromLow(view.onward() >> (x - view.base()));
          if (x < view.end()) break;
        }
        visited_.mark(y, left, x - left);
        push(y, left, x - 1, side);
        // The pixel behind the run has been refused.
        ++x;
      } else {
        x = view.end();
      }
      if (x >= to) return;
      if (x >= view.end()) view.moveTo(x);
    }
  }

  void push(int y, int left, int right, int side) {
    stack_[depth_++] = {2 * static_cast<Qor32u>(y) + (side > 0 ? 1U : 0U), left, right};
  }

  Plane<T> image_;
  int width_, height_;
  Qor32s depth_ = 0;
  Fit<T, channels> fit_;
  Paint<T, channels> paint_;
  Visited visited_;
  FloodSpan* stack_;
};

}  // namespace qor
