// Lines between the segments of a label image, drawn in place: every decision sees the results of the earlier ones, in
// raster order. Vectors compare pixels with their neighbours; what follows from one decision for the next is worked out
// on the bits of 64 pixels.
//
// Bands of rows would meet the rows above them drawn or not yet drawn, as it happens, so all rows are one thread's.
#include "segment/boundaries.h"

#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "segment/pixel_bits.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- from the labels alone

// Which neighbours in the row above may decide: the one at the same column, and those beside it.
enum class Above { none, one, three };

// What becomes value in 64 pixels. In a pixel that is `decided`, value stood before or comes from above. In one that is
// not and that differs from its left neighbour, value comes just where that neighbour's result is another one: along a
// run of such pixels it alternates. before: the result is value left of the first pixel.
inline uint64_t drawn(uint64_t decided, uint64_t differs, bool before) {
  constexpr uint64_t even = 0x5555555555555555;
  const uint64_t runs = differs & ~decided, starts = runs & ~(runs << 1);
  // Runs that have value in the even columns: they begin in one, unless value stands before them.
  const uint64_t afterValue = decided << 1 | uint64_t{before};
  const uint64_t startsEven = starts & (even ^ afterValue);
  // A carry enters these runs at their start and leaves them cleared.
  const uint64_t runsEven = runs & ~(runs + startsEven);
  return decided | (runsEven & even) | (runs & ~runsEven & ~even);
}

template <Above above, class T>
class LineRow {
 public:
  LineRow(T* row, const T* up, ptrdiff_t width, T value) : row_(row), up_(up), width_(width), value_(value) {}

  void draw() const {
    bool before = endBecomesValue(0), joined = width_ > 1 && row_[0] == row_[1];
    if (before) row_[0] = value_;
    if (width_ == 1) return;
    // The columns between the two ends have all their neighbours.
    const ptrdiff_t inner = width_ - 2;
    T* const first = row_ + 1;
    const Vec<T> value = splat(value_);
    const auto undecided = [value](const T* p, const auto*... up) {
      const Vec<T> here = load(p);
      return andNot(here == value, (leaves(here, load(up), value) & ... & (zero<T>() == zero<T>())));
    };
    const auto same = [](const T* p, const T* right) { return load(p) == load(right); };
    for (ptrdiff_t x = 0; x < inner; x += wordPixels) {
      uint64_t open;
      if constexpr (above == Above::none) open = bitsAt<T>(x, inner, undecided, first);
      if constexpr (above == Above::one) open = bitsAt<T>(x, inner, undecided, first, up_ + 1);
      if constexpr (above == Above::three) open = bitsAt<T>(x, inner, undecided, first, up_, up_ + 1, up_ + 2);
      // Compared towards the right, where nothing has been drawn yet.
      const uint64_t onward = bitsAt<T>(x, inner, same, first, first + 1);
      const uint64_t row = firstBits(inner - x), differs = row & ~shiftIn(onward, joined);
      const uint64_t result = drawn(row & ~open, differs, before);
      if (result != 0) storeWhere(first, x, inner, result, value_);
      before = lastBit(result), joined = lastBit(onward);
    }
    const ptrdiff_t last = width_ - 1;
    before = row_[last - 1] == value_;
    if (endBecomesValue(last) || (!before && row_[last] != row_[last - 1])) row_[last] = value_;
  }

 private:
  // Lanes of ones where a neighbour does not decide.
  static Vec<T> leaves(Vec<T> here, Vec<T> neighbour, Vec<T> value) {
    return (neighbour == value) | (neighbour == here);
  }

  // Column 0 or the last one, without regard to the left neighbour.
  bool endBecomesValue(ptrdiff_t x) const {
    const T here = row_[x];
    const auto decides = [&](ptrdiff_t at) { return at >= 0 && at < width_ && up_[at] != value_ && up_[at] != here; };
    if (here == value_) return true;
    if constexpr (above == Above::none) return false;
    if constexpr (above == Above::one) return decides(x);
    return decides(x - 1) || decides(x) || decides(x + 1);
  }

  T* row_;
  const T* up_;
  ptrdiff_t width_;
  T value_;
};

template <Above above, class T>
void drawRows(Plane<T> image, QoriSize size, T value) {
  LineRow<Above::none, T>(image.row(0), nullptr, size.width, value).draw();
  for (int y = 1; y < size.height; ++y) {
    LineRow<above, T>(image.row(y), image.row(y - 1), size.width, value).draw();
  }
}

template <class T>
QorStatus boundSegments(T* pMarker, int markerStep, QoriSize roiSize, T value, QoriNorm norm) {
  const QorStatus status =
      firstFailure(nullCheck(pMarker), sizeCheck(roiSize), stepCheck<T>(roiSize.width, markerStep),
                   evenCheck<T>(markerStep), norm == qoriNormInf || norm == qoriNormL1 ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const Plane image{pMarker, markerStep};
  if (norm == qoriNormInf) {
    drawRows<Above::three>(image, roiSize, value);
  } else {
    drawRows<Above::one>(image, roiSize, value);
  }
  return qorStsNoErr;
}

// ---- from the costs

// A row of labels with its costs, and the row above it. Whether pixels make a pair does not depend on what the same
// pass has drawn: where it draws on the right it passes over, and above it draws only at its own column.
template <class T>
struct CostRow {
  T *row, *up;  // up and upCost: null in the first row
  const Qor32s *cost, *upCost;
  ptrdiff_t width;
  T value;

  void drawPairs() const {
    const ptrdiff_t beforeLast = width - 1;
    ptrdiff_t next = 0;
    const Vec<T> line = splat(value);
    const auto joined = [](const T* p, const T* right) { return load(p) == load(right); };
    const auto leaves = [line](const T* p, const T* u) { return (load(u) == line) | (load(u) == load(p)); };
    for (ptrdiff_t x = 0; x < beforeLast; x += wordPixels) {
      const uint64_t in = firstBits(beforeLast - x);
      const uint64_t along = in & ~bitsAt<T>(x, beforeLast, joined, row, row + 1);
      const uint64_t down = up == nullptr ? 0 : in & ~bitsAt<T>(x, beforeLast, leaves, row, up);
      for (uint64_t pairs = from(next - x, along | down); pairs != 0; pairs = from(next - x, pairs)) {
        const int i = __builtin_ctzll(pairs);
        const ptrdiff_t at = x + i;
        next = at + 1;
        if ((down >> i & 1) != 0 && takesLineFromAbove(at)) continue;
        if ((along >> i & 1) == 0) continue;
        if (cost[at] <= cost[at + 1]) {
          row[at + 1] = value;
          next = at + 2;
        } else {
          row[at] = value;
        }
      }
    }
    if (next < width && up != nullptr && up[beforeLast] != value && up[beforeLast] != row[beforeLast]) {
      takesLineFromAbove(beforeLast);
    }
  }

  void drawDiagonals() const {
    if (width == 1) return;
    drawDiagonal(0);
    const ptrdiff_t inner = width - 2;
    const Vec<T> line = splat(value);
    const auto leaves = [line](const T* p, const T* left, const T* right) {
      const Vec<T> here = load(p), l = load(left), r = load(right);
      return (here == line) | (((l == line) | (l == here)) & ((r == line) | (r == here)));
    };
    // Lines drawn on the way only undo pairs.
    for (ptrdiff_t x = 0; x < inner; x += wordPixels) {
      uint64_t pairs = firstBits(inner - x) & ~bitsAt<T>(x, inner, leaves, row + 1, up, up + 2);
      for (; pairs != 0; pairs &= pairs - 1) drawDiagonal(1 + x + __builtin_ctzll(pairs));
    }
    drawDiagonal(width - 1);
  }

 private:
  // Bits from i on.
  static uint64_t from(ptrdiff_t i, uint64_t bits) { return bits & ~firstBits(i > 0 ? i : 0); }

  bool takesLineFromAbove(ptrdiff_t x) const {
    const bool here = upCost[x] <= cost[x];
    (here ? row : up)[x] = value;
    return here;
  }

  void drawDiagonal(ptrdiff_t x) const {
    for (ptrdiff_t at = x - 1; at <= x + 1; at += 2) {
      if (at < 0 || at >= width || row[x] == value || up[at] == value || up[at] == row[x]) continue;
      if (upCost[at] > cost[x]) {
        up[at] = value;
      } else {
        row[x] = value;
      }
    }
  }
};

}  // namespace

template <class T>
void ownBoundSegments(T* pMarker, int markerStep, const Qor32s* pCost, int costStep, QoriSize roiSize, T value,
                      QoriNorm norm) {
  const Plane marker{pMarker, markerStep};
  const Plane cost{pCost, costStep};
  CostRow<T> rows{marker.row(0), nullptr, cost.row(0), nullptr, roiSize.width, value};
  rows.drawPairs();
  for (int y = 1; y < roiSize.height; ++y) {
    rows = {marker.row(y), marker.row(y - 1), cost.row(y), cost.row(y - 1), roiSize.width, value};
    rows.drawPairs();
    if (norm == qoriNormInf) rows.drawDiagonals();
  }
}
template void ownBoundSegments(Qor8u*, int, const Qor32s*, int, QoriSize, Qor8u, QoriNorm);
template void ownBoundSegments(Qor16u*, int, const Qor32s*, int, QoriSize, Qor16u, QoriNorm);

}  // namespace qor

QOR_BODY(qoriBoundSegments_8u_C1IR)
(Qor8u* pMarker, int markerStep, QoriSize roiSize, Qor8u val, QoriNorm norm) {
  return qor::boundSegments(pMarker, markerStep, roiSize, val, norm);
}
QOR_BODY(qoriBoundSegments_16u_C1IR)
(Qor16u* pMarker, int markerStep, QoriSize roiSize, Qor16u val, QoriNorm norm) {
  return qor::boundSegments(pMarker, markerStep, roiSize, val, norm);
}
