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

// Columns of a strip: long rows, since memory is read ahead along them, as long as the rows of components that a window
// keeps stay in the cache; and so many that those which two strips derive both are few.
constexpr int64_t stripColumns(int width, int window) {
  const int64_t cached = 32768 / (int64_t{window} + 1), least = 4 * int64_t{window} < 512 ? 512 : 4 * int64_t{window};
  const int64_t columns = cached > 2048 ? 2048 : cached < least ? least : cached;
  return columns < width ? columns : width;
}
// Columns after which sliding sums of a row start afresh, and rows after which those of the columns do.
constexpr int64_t restartColumns(int window) { return 8 * int64_t{window} < 96 ? 96 : 8 * int64_t{window}; }
constexpr int64_t restartRows(int window) { return 4 * int64_t{window} + 32; }

template <class S>
struct StructureRows {
  using C = Component<S>;
  S* constants;
  C *components, *zeros;  // rows of both components in turns; a row of products that are 0
  Qor32f *sums, *means;   // three of each
  int64_t ring;           // rows of components
  ptrdiff_t componentStride, sumStride, meanStride;

  // Strides are whole blocks of the wide level. In front of the sums stands a 0, and behind them a
  // vector may be written.
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

// Their products, or how those of one row differ from those of another.
struct Products {
  V32f xx, yy, xy;
};

template <class C>
QOR_FORCE_INLINE Products productsAt(const ComponentRow<C>& r, ptrdiff_t i) {
  const V32f x = loadAs<Qor32f>(r.dx + i), y = loadAs<Qor32f>(r.dy + i);
  return {x * x, y * y, x * y};
}

// Three rows of sums, one for each product.
struct SumRows {
  Qor32f *xx, *yy, *xy;

  SumRows from(ptrdiff_t i) const { return {xx + i, yy + i, xy + i}; }
  QOR_FORCE_INLINE void put(ptrdiff_t i, const Products& p) const {
    store(xx + i, p.xx), store(yy + i, p.yy), store(xy + i, p.xy);
  }
};

// Rows are read and written in whole vectors, and so go on behind their last sample. What a loop works with is its own:
// of what others might know too, every store would make the compiler read it anew.
template <class C>
void addRow(const SumRows sums, const ComponentRow<C> in, ptrdiff_t n, bool isFirst) {
  if (isFirst) {
    for (ptrdiff_t i = 0; i < n; i += V32f::lanes) sums.put(i, productsAt(in, i));
    return;
  }
  for (ptrdiff_t i = 0; i < n; i += V32f::lanes) {
    const Products p = productsAt(in, i);
    sums.put(i, {load(sums.xx + i) + p.xx, load(sums.yy + i) + p.yy, load(sums.xy + i) + p.xy});
  }
}

inline void slideRow(const SumRows sums, const ComponentRow<Qor32f> out, const ComponentRow<Qor32f> in, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; i += V32f::lanes) {
    const Products p = productsAt(out, i), q = productsAt(in, i);
    sums.put(i, {load(sums.xx + i) - p.xx + q.xx, load(sums.yy + i) - p.yy + q.yy, load(sums.xy + i) - p.xy + q.xy});
  }
}

// Of components in 16 bits, at most 12240 in size, the difference of two products is exact before it is rounded.
inline void slideRow(const SumRows sums, const ComponentRow<Qor16s> out, const ComponentRow<Qor16s> in, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; i += V16s::lanes) {
    const V16s none = zero<Qor16s>(), xOut = load(out.dx + i), yOut = load(out.dy + i);
    const V16s xIn = load(in.dx + i), yIn = load(in.dy + i);
    const Split<Qor16s> x = splitZip(xIn, xOut), y = splitZip(yIn, yOut);
    const Split<Qor16s> xLess = splitZip(xIn, none - xOut), yLess = splitZip(yIn, none - yOut);
    const auto change = [](const Split<Qor16s>& a, const Split<Qor16s>& b) {
      return inOrder(Split<Qor32s>{multiplyAdd(a.a, b.a), multiplyAdd(a.b, b.b)});
    };
    const Block<Qor32s, 2> xx = change(x, xLess), yy = change(y, yLess), xy = change(x, yLess);
    for (int k = 0; k < 2; ++k) {
      const ptrdiff_t at = i + k * V32f::lanes;
      if (at >= n) break;
      sums.put(at, {load(sums.xx + at) + toFloat(xx.v[k]), load(sums.yy + at) + toFloat(yy.v[k]),
                    load(sums.xy + at) + toFloat(xy.v[k])});
    }
  }
}

template <int window>
void sumDirectly(const Qor32f* sums, Qor32f* means, ptrdiff_t n, Qor32f scale) {
  for (ptrdiff_t x = 0; x < n; x += V32f::lanes) {
    V32f sum = load(sums + x);
    for (int i = 1; i < window; ++i) sum = sum + load(sums + x + i);
    store(means + x, sum * splat(scale));
  }
}

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
  void row(int y, const SumRows& means) {
    if (window_ == 1) return addRow(means, components(y), count_, true);
    const SumRows sums{rows_.sums + 1, rows_.sums + 1 + rows_.sumStride, rows_.sums + 1 + 2 * rows_.sumStride};
    slideDown(y, sums);
    alongRow(sums.xx, means.xx), alongRow(sums.yy, means.yy), alongRow(sums.xy, means.xy);
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

  // The sums of the columns of row y's windows.
  void slideDown(ptrdiff_t y, const SumRows& sums) {
    const SumRows inner = sums.from(columns_.left);
    const ptrdiff_t n = columns_.span, first = y - reach_.before, last = y + reach_.after;
    if (y % restartRows(window_) != 0) {
      const ComponentRow<C> out = components(first - 1), in = components(last);
      return slideRow(inner, out, in, n);
    }
    for (ptrdiff_t j = first; j <= last; ++j) addRow(inner, components(j), n, j == first);
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

  void alongRow(Qor32f* sums, Qor32f* means) const {
    fillBeside(sums);
    const Qor32f scale = 1.0F / static_cast<Qor32f>(int64_t{window_} * window_);
    switch (window_) {
      case 2:
        return sumDirectly<2>(sums, means, count_, scale);
      case 3:
        return sumDirectly<3>(sums, means, count_, scale);
      case 4:
        return sumDirectly<4>(sums, means, count_, scale);
      case widestDirect:
        return sumDirectly<widestDirect>(sums, means, count_, scale);
      default:
        break;
    }
    const Window window{window_, scale};
    for (int64_t x = 0; x < count_; x += restartColumns(window_)) {
      const int64_t left = count_ - x, n = left < restartColumns(window_) ? left : restartColumns(window_);
      window.row(sums + x, means + x, static_cast<int>(n), x == 0);
    }
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
  const SumRows means{rows.means, rows.means + rows.meanStride, rows.means + 2 * rows.meanStride};
  const int64_t columns = stripColumns(call.size.width, call.window);
  for (int64_t x = 0; x < call.size.width; x += columns) {
    const int64_t left = call.size.width - x;
    const int count = static_cast<int>(left < columns ? left : columns);
    StructureStrip<Kernel, S> strip(call, sides, rows, static_cast<int>(x), count);
    for (int y = 0; y < call.size.height; ++y) {
      strip.row(y, means);
      finish(y, static_cast<ptrdiff_t>(x), ptrdiff_t{count}, means.xx, means.yy, means.xy);
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
