// The matrix of an image's gradient: means of the components' products over a window around every pixel, by strips of
// columns. What reads the means is a functor of its own:
//
//     finish(y, x, n, a, b, c)    n pixels of row y from column x on: means of Dx * Dx, of Dy * Dy, of Dx * Dy
//
// The sign of a component means nothing here, as long as it is the same everywhere.
#pragma once

#include "filter/gradient_rows.h"
#include "filter/window_sums.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {

constexpr Borders structureBorders = {.rules = ruleBits(qorBorderConst, qorBorderRepl, qorBorderInMem),
                                      .refusal = qorStsBorderErr};

// ---- sizes

// How far windows reach: left and up, right and down.
struct WindowReach {
  int before, after;
  explicit constexpr WindowReach(int window) : before((window - 1) / 2), after(window / 2) {}
};

// Sums of these windows are formed anew at every pixel of a row; those of wider ones slide.
constexpr int widestDirect = 5;

// Columns of a strip; sliding sums of a row go no further.
constexpr int64_t stripColumns(int width, int window) {
  const int64_t sliding = 8 * int64_t{window} < 96 ? 96 : 8 * int64_t{window};
  const int64_t columns = window <= widestDirect ? 512 : sliding;
  return columns < width ? columns : width;
}
// Rows after which the sums of the columns start afresh.
constexpr int64_t restartRows(int window) { return 4 * int64_t{window} + 32; }

template <class S>
struct StructureRows {
  using C = Component<S>;
  S* constants;
  C *components, *zeros;  // rows of both components in turns; a row of products that are 0
  Qor32f *sums, *means;   // three of each
  int64_t ring;           // rows of components
  ptrdiff_t componentStride, sumStride, meanStride;

  // Strides are whole blocks of the wide level. In front of the sums stands a 0, and behind them a block may be
  // written.
  static StructureRows lay(ScratchParts& parts, QoriSize size, int window, int radius) {
    constexpr int64_t floats = wideVectorBytes / int64_t{sizeof(Qor32f)};
    const int64_t strip = stripColumns(size.width, window), span = strip + window - 1 + radius - 1;
    const int64_t existing = int64_t{size.height} + window - 1, kept = window == 1 ? 1 : int64_t{window} + 1;
    StructureRows r{};
    r.ring = kept < existing ? kept : existing;
    r.componentStride = roundUpTo(span, wideVectorBytes / int64_t{sizeof(C)});
    r.sumStride = window == 1 ? 0 : roundUpTo(1 + span + floats, floats);
    r.meanStride = roundUpTo(strip, floats);
    r.constants = parts.take<S>(span + 2 * radius);
    r.components = parts.take<C>(2 * r.ring * r.componentStride);
    r.zeros = parts.take<C>(r.componentStride);
    r.sums = parts.take<Qor32f>(3 * r.sumStride);
    r.means = parts.take<Qor32f>(3 * r.meanStride);
    return r;
  }
};

// Windows beyond 16 bits take more than 31 bits for their rows, and would overflow 64.
template <class S>
int64_t structureBytes(QoriSize size, int window, int radius) {
  if (window > topOf<Qor16u>) return int64_t{1} << 60;
  return bytesOf([=](ScratchParts& parts) { StructureRows<S>::lay(parts, size, window, radius); });
}

// Bytes that the queries report. Also refuses what the queries of the filters refuse.
QorStatus structureSize(QoriSize size, QoriMaskSize mask, int window, QorDataType type, int& bytes);
QorStatus structureBufferSize(QoriSize roiSize, QoriMaskSize filterMask, int avgWindow, QorDataType dataType,
                              int numChannels, int* pBufferSize);

// ---- one call

template <class S>
struct StructureCall {
  Plane<const S> src;
  QoriSize size;
  QorGradientFilter filter;
  QoriMaskSize mask;
  int window;
  QoriBorderType border;
  S value;
  Qor8u* buffer;

  QorStatus checkModes() const {
    const bool isFilter = filter == qorFilterSobel || filter == qorFilterScharr || filter == qorFilterCentralDiff;
    const bool isMask = mask == qorMskSize3x3 || (mask == qorMskSize5x5 && filter == qorFilterSobel);
    return firstFailure(isFilter ? qorStsNoErr : qorStsFilterTypeErr, isMask ? qorStsNoErr : qorStsMaskSizeErr,
                        structureBorders.check(border), window < 1 ? qorStsSizeErr : qorStsNoErr);
  }
};

// Pixels right minus left and below minus above.
struct CentralDifferences {
  static constexpr int radius = 1;

  template <class S, class Out>
  static void run(const S* const* rows, ptrdiff_t n, const Out& out) {
    const S *above = rows[0], *at = rows[1], *below = rows[2];
    forBlocks<gradientBlock<S>>(n, [=](ptrdiff_t i) {
      out.put(i, pixels(at + i + 1) - pixels(at + i - 1), pixels(below + i) - pixels(above + i));
    });
  }
};

// ---- sums

// Both components of a row, from the first column that a strip has of it.
template <class C>
struct ComponentRow {
  const C *dx, *dy;
};

template <class C>
struct Products {
  V32f xx, yy, xy;
  Products(const ComponentRow<C>& r, ptrdiff_t i) {
    const V32f x = loadAs<Qor32f>(r.dx + i), y = loadAs<Qor32f>(r.dy + i);
    xx = x * x, yy = y * y, xy = x * y;
  }
};

// One strip: columns first to first + count - 1 of the region.
template <class Kernel, class S>
class StructureStrip {
  using C = Component<S>;

 public:
  StructureStrip(const StructureCall<S>& call, const Sides& sides, const StructureRows<S>& rows, int first, int count)
      : rows_(rows),
        sides_(sides),
        window_(call.window),
        reach_(call.window),
        columns_(sides.columns, reach_, first, count, Kernel::radius),
        gradients_({call.src.first + columns_.first, call.src.step},
                   {static_cast<int>(columns_.span), call.size.height}, columns_.sides(sides), call.value,
                   rows.constants),
        made_(sides.rows.low == Edge::memory ? -reach_.before : 0),
        last_(sides.rows.n - 1 + (sides.rows.high == Edge::memory ? reach_.after : 0)),
        count_(count) {}

  // Means of row y, one call for every row from 0 on. Those of one pixel are its products.
  void row(int y, Qor32f* const (&means)[3]) {
    if (window_ == 1) {
      const ComponentRow<C> own = components(y);
      return forVectors(count_, [&](ptrdiff_t x) { put(means, x, Products<C>(own, x)); });
    }
    Qor32f* const sums[3] = {sumsOf(0), sumsOf(1), sumsOf(2)};
    slideDown(y, sums);
    for (int i = 0; i < 3; ++i) {
      fillBeside(sums[i]);
      alongRow(sums[i], means[i]);
    }
  }

 private:
  // The columns that a strip derives, and those of its windows beside them. A strip that ends nearer to the end of what
  // there is than its kernel reaches goes on to there.
  struct Columns {
    ptrdiff_t first, span, left, right;
    bool isFirst, isLast;

    Columns(const Axis& all, const WindowReach& reach, ptrdiff_t x, ptrdiff_t count, ptrdiff_t radius) {
      const ptrdiff_t low = all.low == Edge::memory ? -reach.before : 0;
      const ptrdiff_t high = all.n + (all.high == Edge::memory ? reach.after : 0);
      const ptrdiff_t from = x - reach.before, to = x + count + reach.after;
      first = from > low ? from : low;
      span = (to <= high - radius ? to : high) - first;
      left = first - from, right = to - first - span;
      isFirst = first == low, isLast = first + span == high;
    }
    Sides sides(const Sides& all) const {
      return {all.rows,
              {span, isFirst ? all.columns.low : Edge::memory, isLast ? all.columns.high : Edge::memory, false}};
    }
  };

  template <class Work>
  static void forVectors(ptrdiff_t n, const Work& work) {
    for (ptrdiff_t x = 0; x < n; x += V32f::lanes) work(x);
  }
  static void put(Qor32f* const (&to)[3], ptrdiff_t x, const Products<C>& p) {
    store(to[0] + x, p.xx), store(to[1] + x, p.yy), store(to[2] + x, p.xy);
  }

  Qor32f* sumsOf(int i) const { return rows_.sums + i * rows_.sumStride + 1; }

  // Products of row y, outside: those of the edge's row, or none.
  ComponentRow<C> components(ptrdiff_t y) {
    const bool isAbove = y < 0 && sides_.rows.low != Edge::memory, isBelow = y > last_;
    if (isAbove || isBelow) {
      if ((isAbove ? sides_.rows.low : sides_.rows.high) != Edge::nearest) return {rows_.zeros, rows_.zeros};
      y = isAbove ? 0 : last_;
    }
    for (; made_ <= y; ++made_) {
      const ComponentRow<C> next = slot(made_);
      gradients_.row(static_cast<int>(made_),
                     GradientOut<true, true, C>{const_cast<C*>(next.dx), const_cast<C*>(next.dy)});
    }
    return slot(y);
  }
  ComponentRow<C> slot(ptrdiff_t y) const {
    const C* const dx = rows_.components + (y + reach_.before) % rows_.ring * 2 * rows_.componentStride;
    return {dx, dx + rows_.componentStride};
  }

  // The sums of the columns of row y's windows. Behind the columns vectors go on into what is not read.
  void slideDown(ptrdiff_t y, Qor32f* const (&sums)[3]) {
    Qor32f *const xx = sums[0] + columns_.left, *const yy = sums[1] + columns_.left,
                  *const xy = sums[2] + columns_.left;
    const ptrdiff_t n = columns_.span;
    if (y % restartRows(window_) != 0) {
      const ComponentRow<C> out = components(y - 1 - reach_.before), in = components(y + reach_.after);
      return forVectors(n, [&](ptrdiff_t i) {
        const Products<C> leaving(out, i), entering(in, i);
        store(xx + i, load(xx + i) - leaving.xx + entering.xx);
        store(yy + i, load(yy + i) - leaving.yy + entering.yy);
        store(xy + i, load(xy + i) - leaving.xy + entering.xy);
      });
    }
    for (ptrdiff_t j = y - reach_.before; j <= y + reach_.after; ++j) {
      const ComponentRow<C> in = components(j);
      const bool begins = j == y - reach_.before;
      forVectors(n, [&](ptrdiff_t i) {
        const Products<C> entering(in, i);
        store(xx + i, begins ? entering.xx : load(xx + i) + entering.xx);
        store(yy + i, begins ? entering.yy : load(yy + i) + entering.yy);
        store(xy + i, begins ? entering.xy : load(xy + i) + entering.xy);
      });
    }
  }

  // Columns outside have the sum of the edge's column, or 0.
  void fillBeside(Qor32f* sums) const {
    Qor32f* const inner = sums + columns_.left;
    const auto valueOf = [](Edge edge, Qor32f nearest) { return edge == Edge::nearest ? nearest : 0; };
    const Qor32f ofLeft = valueOf(sides_.columns.low, inner[0]);
    const Qor32f ofRight = valueOf(sides_.columns.high, inner[columns_.span - 1]);
    sums[-1] = 0;
    for (ptrdiff_t i = 0; i < columns_.left; ++i) sums[i] = ofLeft;
    for (ptrdiff_t i = 0; i < columns_.right; ++i) inner[columns_.span + i] = ofRight;
  }

  void alongRow(const Qor32f* sums, Qor32f* means) const {
    const Qor32f scale = 1.0F / static_cast<Qor32f>(int64_t{window_} * window_);
    if (window_ > widestDirect) return Window{window_, scale}.row(sums, means, count_);
    forVectors(count_, [&](ptrdiff_t x) {
      V32f sum = load(sums + x);
      for (int i = 1; i < window_; ++i) sum = sum + load(sums + x + i);
      store(means + x, sum * splat(scale));
    });
  }

  const StructureRows<S>& rows_;
  Sides sides_;
  int window_;
  WindowReach reach_;
  Columns columns_;
  GradientRows<Kernel, S> gradients_;
  ptrdiff_t made_, last_;  // the next row to be derived, and the last there is
  int count_;
};

// ---- the image

template <class Kernel, class S, class Finish>
QorStatus forStructureBy(const StructureCall<S>& call, const Finish& finish) {
  int bytes = 0;
  const QorStatus status =
      structureSize(call.size, call.mask, call.window, std::is_same_v<S, Qor8u> ? qor8u : qor32f, bytes);
  if (status != qorStsNoErr) return status;
  const int64_t needed = structureBytes<S>(call.size, call.window, Kernel::radius);
  if (needed > bytes) return qorStsSizeErr;
  ScratchParts parts(call.buffer, bytes, needed);
  const auto rows = StructureRows<S>::lay(parts, call.size, call.window, Kernel::radius);
  for (ptrdiff_t i = 0; i < rows.componentStride; ++i) rows.zeros[i] = 0;
  const Sides sides = structureBorders.sides(call.border, call.size);
  Qor32f* const means[3] = {rows.means, rows.means + rows.meanStride, rows.means + 2 * rows.meanStride};
  const int64_t columns = stripColumns(call.size.width, call.window);
  for (int64_t x = 0; x < call.size.width; x += columns) {
    const int64_t left = call.size.width - x;
    const int count = static_cast<int>(left < columns ? left : columns);
    StructureStrip<Kernel, S> strip(call, sides, rows, static_cast<int>(x), count);
    for (int y = 0; y < call.size.height; ++y) {
      strip.row(y, means);
      finish(y, static_cast<ptrdiff_t>(x), ptrdiff_t{count}, means[0], means[1], means[2]);
    }
  }
  return qorStsNoErr;
}

// By the filter and mask of a call that has been checked.
template <class S, class Finish>
QorStatus forStructure(const StructureCall<S>& call, const Finish& finish) {
  if (call.filter == qorFilterScharr) return forStructureBy<Scharr3>(call, finish);
  if (call.filter == qorFilterCentralDiff) return forStructureBy<CentralDifferences>(call, finish);
  return call.mask == qorMskSize3x3 ? forStructureBy<Sobel3>(call, finish) : forStructureBy<Sobel5>(call, finish);
}

}  // namespace qor
