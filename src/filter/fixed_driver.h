// Drivers of the fixed filters: checks, sizes of scratch, bands, rows outside the image.
#pragma once

#include "filter/fixed_sweep.h"
#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/core.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// One call, its arguments accepted.
template <class S, class D>
struct FixedCall {
  Plane<const S> source;
  Plane<D> result;
  QoriSize size;
  QoriBorderType border;
  S value;
  Qor8u* scratch;
};

// A border that is in memory on every side, however that was said, is the constant rule with all flags.
constexpr QoriBorderType withAllInMemory(QoriBorderType border) {
  constexpr int flags = qorBorderInMemTop | qorBorderInMemBottom | qorBorderInMemLeft | qorBorderInMemRight;
  return (border & 15) == qorBorderInMem || (border & flags) == flags ? qorBorderConst | flags : border;
}

// The rows above and below the image.
class OutsideRows {
 public:
  OutsideRows(QoriBorderType border, int height)
      : height_(height),
        rule_(border & 15),
        edge_(edgeOf(rule_, 0, height)),
        above_((border & qorBorderInMemTop) != 0),
        below_((border & qorBorderInMemBottom) != 0) {}

  // Neither in memory nor a repetition: the constant.
  bool isValue(ptrdiff_t y) const { return edge_ == Edge::value && !isReadable(y); }

  // The row that row y repeats. A reflection turns back at the other end of the image, unless that side is in memory;
  // an image of one row repeats that row.
  ptrdiff_t rowFor(ptrdiff_t y) const {
    if (isReadable(y)) return y;
    if (height_ > 1 && (y < 0 ? below_ : above_)) {
      const ptrdiff_t mirror = y < 0 ? 0 : 2 * (ptrdiff_t{height_} - 1);
      if (rule_ == qorBorderMirror) return mirror - y;
      if (rule_ == qorBorderMirrorR) return y < 0 ? -1 - y : mirror + 1 - y;
    }
    return columnOutside(edge_, y, height_);
  }

  // First row below that is the constant or once more the last row, and so needs no filtering along; when there is
  // none, the end of all rows.
  ptrdiff_t firstStored() const {
    return !below_ && (edge_ == Edge::value || edge_ == Edge::nearest) ? height_ : PTRDIFF_MAX;
  }
  bool lastRowRepeats() const { return edge_ == Edge::nearest; }

 private:
  bool isReadable(ptrdiff_t y) const { return y < 0 ? above_ : y < height_ || below_; }

  int height_;
  QoriBorderType rule_;
  Edge edge_;
  bool above_, below_;
};

// Samples of a padded intermediate row: whole blocks.
constexpr ptrdiff_t paddedWidth(int width) { return (ptrdiff_t{width} + 15) & ~ptrdiff_t{15}; }

// Scratch of one thread: the state, one row of the constant, and the slack that aligns them. All together are at most
// 12 padded rows, a fraction of what the queries report for each thread.
template <class F, class S>
constexpr ptrdiff_t threadScratch(int width) {
  return F::taps * F::planes * paddedWidth(width) * static_cast<ptrdiff_t>(sizeof(Intermediate<S>)) + 15;
}

// Rows of the result in one sweep: as many as share sums and loads of intermediate rows without running out of
// registers. Sums that go on from row to row need few of them.
template <class F, class S>
constexpr int rowsAtOnce = F::taps == 3 ? 4 : 2;
template <class Along>
inline constexpr int rowsAtOnce<Separable<Along, Sobel, 5>, Qor8u> = 4;
template <class S>
inline constexpr int rowsAtOnce<Lowpass<5>, S> = 4;
template <>
inline constexpr int rowsAtOnce<Laplacian<5>, Qor32f> = 1;

template <class F, class S, class D, class Store>
void filterBand(const FixedCall<S, D>& call, const Store& store, Band band) {
  using M = Intermediate<S>;
  constexpr int reach = F::taps / 2, rows = F::taps - 1;
  const int width = call.size.width;
  const QoriBorderType border = withAllInMemory(call.border);
  const SideColumns<S> sides(border & ~(qorBorderInMemTop | qorBorderInMemBottom), width, call.value);
  const OutsideRows outside(border, call.size.height);
  const auto sourceRow = [&](ptrdiff_t y) {
    return reinterpret_cast<const S*>(reinterpret_cast<const char*>(call.source.first) +
                                      outside.rowFor(y) * call.source.step);
  };

  const uintptr_t scratch = reinterpret_cast<uintptr_t>(call.scratch + band.thread * threadScratch<F, S>(width));
  M* const aligned = reinterpret_cast<M*>((scratch + 15) & ~uintptr_t{15});
  State<F, M> state{{}, paddedWidth(width)};
  const ptrdiff_t stride = F::planes * state.plane;
  for (int i = 0; i < rows; ++i) state.row[i] = aligned + i * stride;
  M* constantRow = aligned + rows * stride;
  const auto fillConstant = [&](M* row) {
    for (int p = 0; p < F::planes; ++p) {
      const M value = static_cast<M>(static_cast<M>(call.value) * static_cast<M>(F::template constant<M>(p)));
      for (ptrdiff_t x = 0; x < state.plane; ++x) row[p * state.plane + x] = value;
    }
  };

  ptrdiff_t y = band.first;
  for (int i = 0; i < rows; ++i) {
    if (outside.isValue(y - reach + i)) {
      fillConstant(state.row[i]);
    } else {
      filterAlong<F, S>(sourceRow(y - reach + i), sides, state.row[i], state.plane, width);
    }
  }

  const ptrdiff_t end = y + band.rows;
  const ptrdiff_t filtered = end < outside.firstStored() - reach ? end : outside.firstStored() - reach;
  const auto sweepRows = [&]<int count>(std::integral_constant<int, count>) {
    for (; y <= filtered - count; y += count) {
      const S* source[count];
      D* dst[count];
      for (int j = 0; j < count; ++j) {
        source[j] = sourceRow(y + j + reach);
        dst[j] = call.result.row(static_cast<int>(y) + j);
      }
      Sweep<F, S, count>::run(source, sides, state, dst, width, store);
    }
  };
  // In place a row must be filtered along before it is overwritten, so rows go one by one.
  if (static_cast<const void*>(call.source.first) != call.result.first) {
    sweepRows(std::integral_constant<int, rowsAtOnce<F, S>>());
  }
  sweepRows(std::integral_constant<int, 1>());

  if (y < end && !outside.lastRowRepeats()) fillConstant(constantRow);
  for (; y < end; ++y) {
    M* const newest = outside.lastRowRepeats() ? state.row[rows - 1] : constantRow;
    filterDown<F, S>(state, newest, call.result.row(static_cast<int>(y)), width, store);
    for (int i = 0; i < rows - 1; ++i) state.row[i] = state.row[i + 1];
    state.row[rows - 1] = newest;
  }
}

// From which height on a call is shared, and how many rows a thread takes at least.
struct Sharing {
  int leastHeight, rowsOfThread;
};
constexpr Sharing usualSharing{256, 128}, smallSharing{64, 32};

template <class F, class S, class D, class Store>
void filterImage(const FixedCall<S, D>& call, const Store& store, Sharing sharing = usualSharing) {
  const auto work = [&](Band band) { filterBand<F>(call, store, band); };
  const int height = call.size.height, threads = owncvGetMaxNumThreads();
  const bool parallel = height >= 5 * int64_t{threads} && call.size.width >= 256 && threads >= 2 &&
                        height >= sharing.leastHeight && runomp() != 0;
  if (!parallel) return work(Band{0, 0, height});
  const auto smaller = [](int a, int b) { return a < b ? a : b; };
  forBands(height, smaller(smaller(height / sharing.rowsOfThread, qorGetNumCoresOnDie()), threads), work);
}

constexpr QorStatus ruleCheck(QoriBorderType border) {
  const int rule = border & 15;
  const bool known = rule <= qorBorderMirrorR || rule == qorBorderInMem;
  return known && static_cast<Qor32u>(border) <= 255 ? qorStsNoErr : qorStsBadArgErr;
}

// The checks that all members make, in their order; a divisor and a mask come behind them.
template <class S, class D>
QorStatus fixedCheck(const FixedCall<S, D>& call) {
  const int width = call.size.width;
  return firstFailure(nullCheck(call.source.first), nullCheck(call.result.first), nullCheck(call.scratch),
                      sizeCheck(call.size), stepCheck<S>(width, call.source.step),
                      stepCheck<D>(width, call.result.step), evenCheck<S>(call.source.step),
                      evenCheck<D>(call.result.step), ruleCheck(call.border));
}

// Calls filter(Small()) or filter(Large()) by the mask, once all checks have passed.
template <class Small, class Large, class S, class D, class Filter>
QorStatus filterChecked(const FixedCall<S, D>& call, QorStatus further, QoriMaskSize maskSize, const Filter& filter) {
  const QorStatus status = firstFailure(fixedCheck(call), further, maskCheck(maskSize));
  if (status != qorStsNoErr) return status;
  if constexpr (!std::is_same_v<Small, Large>) {
    if (maskSize == qorMskSize5x5) {
      filter(Large());
      return status;
    }
  }
  filter(Small());
  return status;
}

// ---- what the size queries report, in 32 bits that wrap

using PipelineQuery = QorStatus(QoriSize, int, int*);

// What a member's query is made of.
struct FixedSize {
  int sampleBytes, planes;  // of the intermediate rows
  int extra;                // bytes beside them
  PipelineQuery *along, *down;
  bool imageOf5x5 = false;  // whether the larger mask gets room for a whole image
};

QorStatus fixedBufferSize(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, const FixedSize& size);

}  // namespace qor
