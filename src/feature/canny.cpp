// Canny edges: magnitudes of gradients, thinned to lines one pixel wide, of which those stay that a strong pixel is on.
//
// One sweep over the rows makes a map of a byte a pixel, with a rim of zeros around it: three rows of magnitudes are
// alive at a time. Then strong pixels reach for the weak ones beside them, in the map alone, by a stack of offsets; and
// in the end the map becomes the destination, which nothing has touched before.
#include "feature/thin_edges.h"
#include "filter/gradient_rows.h"
#include "frame/bodies.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorStatus thresholdCheck(Qor32f low, Qor32f high) {
  return low < 0 || low > high ? qorStsBadArgErr : qorStsNoErr;
}

// ---- scratch

struct StatusMap {
  Qor8u* cells;
  ptrdiff_t stride;
  QoriSize size;

  // The map of size has a rim on every side. Behind it stands one byte more, since neighbours are read by fours.
  static int64_t bytes(QoriSize size) { return (int64_t{size.width} + 2) * (int64_t{size.height} + 2) + 1; }

  Qor8u* row(int y) const { return cells + (y + ptrdiff_t{1}) * stride + 1; }
  void clearRim() const {
    __builtin_memset(cells, 0, static_cast<size_t>(stride));
    __builtin_memset(row(size.height) - 1, 0, static_cast<size_t>(stride));
    for (int y = 0; y < size.height; ++y) row(y)[-1] = row(y)[size.width] = 0;
  }
};

// Three rows of magnitudes, and two rows of each component where the caller has none that can be read.
template <class C, class M>
struct EdgeRows {
  M* magnitude[3];
  C *dx[2], *dy[2];

  static EdgeRows lay(ScratchParts& parts, ptrdiff_t n, bool components) {
    EdgeRows rows{};
    for (M*& m : rows.magnitude) {
      m = parts.take<M>(n + 2);
      if (m != nullptr) ++m;
    }
    for (int i = 0; components && i < 2; ++i) rows.dx[i] = parts.take<C>(n), rows.dy[i] = parts.take<C>(n);
    return rows;
  }
};

// ---- the map

// Components of a row as the caller has them.
template <class Component>
struct GivenRows {
  using C = Component;
  static constexpr bool needsRows = false;
  Plane<const C> dx, dy;

  void copyRow(int y, ptrdiff_t n, C* toDx, C* toDy) const {
    __builtin_memcpy(toDx, dx.row(y), static_cast<size_t>(n) * sizeof(C));
    __builtin_memcpy(toDy, dy.row(y), static_cast<size_t>(n) * sizeof(C));
  }
};

template <class Kernel>
struct DerivedRows {
  using C = Qor16s;
  static constexpr bool needsRows = true;
  GradientRows<Kernel, Qor8u> rows;

  void copyRow(int y, ptrdiff_t, C* dx, C* dy) const { rows.row(y, GradientOut<true, true, C>{dx, dy}); }
};

template <class Edges, class Source, class Magnitudes, class Thresholds>
void fillMap(const StatusMap& map, const EdgeRows<typename Edges::C, typename Edges::M>& rows, const Source& source,
             const Magnitudes& magnitudes, const Thresholds& thresholds) {
  using C = typename Edges::C;
  using M = typename Edges::M;
  const ptrdiff_t width = map.size.width, n = width < edgeBlock ? edgeBlock : width;
  for (int i = 0; i < 2; ++i) {
    for (ptrdiff_t x = 0; n != width && x < n; ++x) rows.dx[i][x] = rows.dy[i][x] = 0;
  }
  for (M* m : rows.magnitude) {
    for (ptrdiff_t x = -1; x <= n; ++x) m[x] = noMagnitude<M>;
  }
  const C *dx[2], *dy[2];
  const auto readRow = [&](int y) {
    const int slot = y & 1;
    if (Source::needsRows || n != width) {
      source.copyRow(y, width, rows.dx[slot], rows.dy[slot]);
      dx[slot] = rows.dx[slot], dy[slot] = rows.dy[slot];
    } else if constexpr (!Source::needsRows) {
      dx[slot] = source.dx.row(y), dy[slot] = source.dy.row(y);
    }
    magnitudes(dx[slot], dy[slot], rows.magnitude[(y + 1) % 3], n);
  };
  map.clearRim();
  readRow(0);
  for (int y = 0; y < map.size.height; ++y) {
    M* const below = rows.magnitude[(y + 2) % 3];
    if (y + 1 < map.size.height) {
      readRow(y + 1);
    } else {
      for (ptrdiff_t x = 0; x < n; ++x) below[x] = noMagnitude<M>;
    }
    thinRow<Edges>(dx[y & 1], dy[y & 1], {rows.magnitude[y % 3], rows.magnitude[(y + 1) % 3], below}, map.row(y), width,
                   thresholds);
  }
}

// ---- hysteresis

// The weak pixels that chains of neighbours join to the strong one at the offset. The stack has room for every pixel,
// and holds none twice.
void reach(const StatusMap& map, Qor32s strong, Qor32s* stack) {
  Qor8u* const cells = map.cells;
  const auto stride = static_cast<Qor32s>(map.stride);
  constexpr Qor32u three = 0x00808080;
  Qor32s* top = stack;
  for (Qor32s at = strong;; at = *--top) {
    for (Qor32s row = -1; row <= 1; ++row) {
      const Qor32s first = at + row * stride - 1;
      Qor32u weak;
      __builtin_memcpy(&weak, cells + first, sizeof weak);
      for (weak &= three; weak != 0; weak &= weak - 1) {
        const Qor32s neighbour = first + __builtin_ctz(weak) / 8;
        cells[neighbour] = reachedEdge;
        *top++ = neighbour;
      }
    }
    if (top == stack) return;
  }
}

void reachAll(const StatusMap& map, Qor32s* stack) {
  const ptrdiff_t width = map.size.width;
  for (int y = 0; y < map.size.height; ++y) {
    const Qor8u* const row = map.row(y);
    const auto reachIn = [&](ptrdiff_t x, V8u cells) {
      const V8u strong = cells == splat(strongEdge);
      for (Qor32u bits = signBits(strong); bits != 0; bits &= bits - 1) {
        reach(map, static_cast<Qor32s>(row - map.cells + x + __builtin_ctz(bits)), stack);
      }
    };
    ptrdiff_t x = 0;
    for (; x <= width - V8u::lanes; x += V8u::lanes) reachIn(x, load(row + x));
    if (x < width) reachIn(x, loadFirst<V8u>(row + x, width - x));
  }
}

void writeEdges(const StatusMap& map, Plane<Qor8u> dst) {
  // Strong and reached cells are positive as signed bytes, weak ones negative.
  const auto isEdge = [](const Qor8u* cells) {
    return Block<Qor8u, 1>{as<Qor8u>(as<Qor8s>(load(cells)) > zero<Qor8s>())};
  };
  for (int y = 0; y < map.size.height; ++y) mapRow(dst.row(y), map.size.width, isEdge, map.row(y));
}

// ---- the whole

struct Detection {
  QoriSize size;
  Plane<Qor8u> dst;
  Qor32f low, high;
  Qor8u* buffer;
  int reported;
};

// layMore takes what the source needs of the scratch, and sourceOf makes the source of it.
template <class Edges, class LayMore, class SourceOf, class Magnitudes, class Thresholds>
QorStatus detect(const Detection& d, const LayMore& layMore, const SourceOf& sourceOf, const Magnitudes& magnitudes,
                 const Thresholds& thresholds) {
  using Rows = EdgeRows<typename Edges::C, typename Edges::M>;
  using Source = decltype(sourceOf(nullptr));
  struct Parts {
    StatusMap map;
    Rows rows;
    Qor8u* more;
    Qor32s* stack;
  };
  const bool few = d.size.width < edgeBlock;
  const auto lay = [&](ScratchParts& parts) {
    Parts p{};
    p.map = {parts.take<Qor8u>(StatusMap::bytes(d.size)), d.size.width + ptrdiff_t{2}, d.size};
    if (!few) p.rows = Rows::lay(parts, d.size.width, Source::needsRows);
    p.more = layMore(parts);
    p.stack = parts.take<Qor32s>(int64_t{d.size.width} * d.size.height);
    return p;
  };
  const int64_t needed = bytesOf(lay);
  if (needed > d.reported) return qorStsSizeErr;
  ScratchParts parts(d.buffer, d.reported, needed);
  Parts p = lay(parts);
  // Rows of a few pixels are padded, which the scratch has no room for.
  Qor8u local[1024];
  const auto layRows = [](ScratchParts& rows) { return Rows::lay(rows, edgeBlock, true); };
  ScratchParts localParts(local, sizeof local, bytesOf(layRows));
  if (few) p.rows = layRows(localParts);
  fillMap<Edges>(p.map, p.rows, sourceOf(p.more), magnitudes, thresholds);
  reachAll(p.map, p.stack);
  writeEdges(p.map, d.dst);
  return qorStsNoErr;
}

// ---- from derivatives

// Wrapping arithmetic, as it is reported.
int givenSize(QoriSize size) {
  const auto w = static_cast<Qor32u>(size.width), h = static_cast<Qor32u>(size.height);
  constexpr int longSide = 65533;
  const Qor32u bytesOfPixel = size.width < longSide && size.height < longSide ? 5 : 9;
  return static_cast<int>(bytesOfPixel * (w + 2) * (h + 2) + 16 * w + 160);
}

// Columns in which sums of 16s components saturate in 16 bits; the sums of those behind them do not.
constexpr int saturatedColumns(int width) { return width & ~7; }

// Whether some sum does not fit 16 bits.
bool sumsExceedWords(const GivenRows<Qor16s>& given, QoriSize size) {
  for (int y = 0; y < size.height; ++y) {
    const Qor16s *const dx = given.dx.row(y), *const dy = given.dy.row(y);
    for (int x = saturatedColumns(size.width); x < size.width; ++x) {
      if (dx[x] == bottomOf<Qor16s> && dy[x] == bottomOf<Qor16s>) return true;
    }
  }
  return false;
}

QorStatus edgesOf(const GivenRows<Qor16s>& given, const Detection& d) {
  const auto layNothing = [](ScratchParts&) -> Qor8u* { return nullptr; };
  const auto source = [&](const Qor8u*) { return given; };
  if (!sumsExceedWords(given, d.size)) {
    const WordThresholds t(d.low, d.high);
    const auto magnitudes = [=](const Qor16s* dx, const Qor16s* dy, Qor16s* m, ptrdiff_t n) {
      magnitudesL1(dx, dy, m, n, t);
    };
    return detect<WordEdges<WordDirections, false>>(d, layNothing, source, magnitudes, t);
  }
  const FloatThresholds<Keeps::above> t{d.low, d.high};
  const int width = d.size.width;
  const auto magnitudes = [=](const Qor16s* dx, const Qor16s* dy, Qor32f* m, ptrdiff_t n) {
    constexpr Qor32f top = topOf<Qor16u>;
    floatMagnitudes(dx, dy, m, n, t, [=](V32f x, V32f y) { return min(normL1(x, y), splat(top)); });
    for (int x = saturatedColumns(width); x < width; ++x) {
      const int sum = __builtin_abs(dx[x]) + __builtin_abs(dy[x]);
      const auto exact = static_cast<Qor32f>(sum);
      m[x] = exact > t.low ? exact : 0;
    }
  };
  return detect<FloatEdges<Qor16s, false>>(d, layNothing, source, magnitudes, t);
}

QorStatus edgesOf(const GivenRows<Qor32f>& given, const Detection& d) {
  const FloatThresholds<Keeps::notBelow> t{d.low, d.high};
  const auto magnitudes = [=](const Qor32f* dx, const Qor32f* dy, Qor32f* m, ptrdiff_t n) {
    floatMagnitudes(dx, dy, m, n, t, normL1);
  };
  return detect<FloatEdges<Qor32f, false>>(
      d, [](ScratchParts&) -> Qor8u* { return nullptr; }, [&](const Qor8u*) { return given; }, magnitudes, t);
}

template <class C>
QorStatus canny(Plane<const C> dx, Plane<const C> dy, Plane<Qor8u> dst, QoriSize size, Qor32f low, Qor32f high,
                Qor8u* pBuffer) {
  const QorStatus status = firstFailure(
      nullCheck(dx.first, dy.first, dst.first, pBuffer), sizeCheck(size), stepCheck<C>(size.width, dx.step, dy.step),
      stepCheck<Qor8u>(size.width, dst.step), evenCheck<C>(dx.step, dy.step), thresholdCheck(low, high));
  if (status != qorStsNoErr) return status;
  return edgesOf(GivenRows<C>{dx, dy}, {size, dst, low, high, pBuffer, givenSize(size)});
}

QorStatus cannySize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status == qorStsNoErr) *pBufferSize = givenSize(roiSize);
  return status;
}

// ---- from an image

constexpr Borders borders = {.rules = ruleBits(qorBorderConst, qorBorderRepl, qorBorderInMem),
                             .refusal = qorStsBorderErr};

int derivedSize(QoriSize size, QoriMaskSize mask) {
  const Qor32u around = mask == qorMskSize3x3 ? 2 : 4;
  const Qor32u w = static_cast<Qor32u>(size.width) + around, h = static_cast<Qor32u>(size.height) + around;
  return static_cast<int>(w * (h + 16) + 4 * w * h + 64);
}

struct CannyBorder {
  Plane<const Qor8u> src;
  Plane<Qor8u> dst;
  QoriSize size;
  QorGradientFilter filter;
  QoriMaskSize mask;
  QoriBorderType border;
  Qor8u value;
  Qor32f low, high;
  QorNormType norm;
  Qor8u* buffer;

  QorStatus check() const {
    const bool isFilter = filter == qorFilterSobel || filter == qorFilterScharr;
    const bool isNorm = norm == qorNormL1 || norm == qorNormL2;
    return firstFailure(filter == qorFilterScharr && mask == qorMskSize5x5 ? qorStsMaskSizeErr : maskCheck(mask),
                        nullCheck(src.first, dst.first, buffer), sizeCheck(size),
                        isFilter && isNorm ? qorStsNoErr : qorStsBadArgErr, thresholdCheck(low, high),
                        borders.check(border));
  }

  // Rule 6 is the constant here, but for the sides that have flags.
  Sides sides() const {
    return borders.sides(ruleOf(border) == qorBorderInMem ? border & allInMemFlags : border, size);
  }

  // The x component of the Sobel kernels is that of the left column less the right one.
  template <class Kernel, class DirectionsOf, bool xTurned>
  QorStatus run() const {
    using Gradients = GradientRows<Kernel, Qor8u>;
    const Detection d{size, dst, low, high, buffer, derivedSize(size, mask)};
    const auto lay = [&](ScratchParts& parts) { return Gradients::layConstants(parts, size); };
    const auto source = [&](Qor8u* constants) {
      return DerivedRows<Kernel>{Gradients(src, size, sides(), value, constants)};
    };
    if (norm == qorNormL1) {
      const WordThresholds t(low, high);
      const auto magnitudes = [=](const Qor16s* dx, const Qor16s* dy, Qor16s* m, ptrdiff_t n) {
        magnitudesL1(dx, dy, m, n, t);
      };
      return detect<WordEdges<DirectionsOf, xTurned>>(d, lay, source, magnitudes, t);
    }
    const FloatThresholds<Keeps::above> t{low, high};
    const auto magnitudes = [=](const Qor16s* dx, const Qor16s* dy, Qor32f* m, ptrdiff_t n) {
      floatMagnitudes(dx, dy, m, n, t, normL2);
    };
    return detect<FloatEdges<Qor16s, xTurned>>(d, lay, source, magnitudes, t);
  }
};

QorStatus cannyBorder(const CannyBorder& c) {
  const QorStatus status = c.check();
  if (status != qorStsNoErr) return status;
  if (c.filter == qorFilterScharr) return c.run<Scharr3, WordDirections, false>();
  if (c.mask == qorMskSize5x5) return c.run<Sobel5, WordDirections, true>();
  return c.run<Sobel3, SmallDirections, true>();
}

QorStatus cannyBorderSize(QoriSize roiSize, QoriMaskSize mask, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(mask));
  if (status == qorStsNoErr) *pBufferSize = derivedSize(roiSize, mask);
  return status;
}

}  // namespace
}  // namespace qor

#define QOR_CANNY(name, C)                                                                                       \
  QOR_BODY(name)                                                                                                 \
  (const C* pSrcDx, int srcDxStep, const C* pSrcDy, int srcDyStep, Qor8u* pDstEdges, int dstEdgeStep,            \
   QoriSize roiSize, Qor32f lowThresh, Qor32f highThresh, Qor8u* pBuffer) {                                      \
    return qor::canny<C>({pSrcDx, srcDxStep}, {pSrcDy, srcDyStep}, {pDstEdges, dstEdgeStep}, roiSize, lowThresh, \
                         highThresh, pBuffer);                                                                   \
  }
QOR_CANNY(qoriCanny_16s8u_C1R, Qor16s)
QOR_CANNY(qoriCanny_32f8u_C1R, Qor32f)
#undef QOR_CANNY

QOR_BODY(qoriCannyGetSize)(QoriSize roiSize, int* pBufferSize) { return qor::cannySize(roiSize, pBufferSize); }

QOR_BODY(qoriCannyBorder_8u_C1R)
(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, QorGradientFilter filterType,
 QoriMaskSize mask, QoriBorderType borderType, Qor8u borderValue, Qor32f lowThresh, Qor32f highThresh, QorNormType norm,
 Qor8u* pBuffer) {
  return qor::cannyBorder({{pSrc, srcStep},
                           {pDst, dstStep},
                           roiSize,
                           filterType,
                           mask,
                           borderType,
                           borderValue,
                           lowThresh,
                           highThresh,
                           norm,
                           pBuffer});
}

QOR_BODY(qoriCannyBorderGetSize)
(QoriSize roiSize, QorGradientFilter, QoriMaskSize mask, QorDataType, int* pBufferSize) {
  return qor::cannyBorderSize(roiSize, mask, pBufferSize);
}
