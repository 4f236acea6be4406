// Summed-area tables of an image and of its squares. Every row adds its running sum to the row above, so the table is
// filled from top to bottom; several rows run at a time, since their running sums do not depend on each other.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/round.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Sums run along the rows in steps of 16 samples, and in vectors of four columns for each row. A wide vector holds two
// rows side by side.
constexpr int stepColumns = Short<Qor8u>::lanes, fourColumns = Short<Qor32s>::lanes;

// The samples of a step that each of four columns takes, by their numbers: in byte order for plain sums, as 16-bit
// values for squares. `a` is the first of the four; numbers with the top bit give a zero byte.
struct Pick {
  Qor8u numbers[stepColumns];
};
constexpr Qor8u no = 0x80;
constexpr Pick upToEach(Qor8u a) {
  const Qor8u b = a + 1, c = a + 2, d = a + 3;
  return {{a, no, no, no, a, b, no, no, a, b, c, no, a, b, c, d}};
}
constexpr Pick firstTwoOfEach(Qor8u a) {
  const Qor8u b = a + 1;
  return {{a, no, no, no, a, no, b, no, a, no, b, no, a, no, b, no}};
}
constexpr Pick lastTwoOfEach(Qor8u a) {
  const Qor8u c = a + 2, d = a + 3;
  return {{no, no, no, no, no, no, no, no, c, no, no, no, c, no, d, no}};
}
template <class V>
V picked(V samples, const Pick& pick) {
  return lookUp(samples, loadRepeated<V>(pick.numbers));
}

// What a table sums: the sums of one to four samples, from the first of four up to each of them.
struct Plain {
  static constexpr Pick all[] = {upToEach(0), upToEach(4), upToEach(8), upToEach(12)};

  template <int size>
  static VecOf<Qor32s, size> sums(VecOf<Qor8u, size> samples, int four) {
    const auto pairs = multiplyAdd(picked(samples, all[four]), splat<VecOf<Qor8s, size>>(1));
    return multiplyAdd(pairs, splat<VecOf<Qor16s, size>>(1));
  }
};
struct Squares {
  static constexpr Pick firstTwo[] = {firstTwoOfEach(0), firstTwoOfEach(4), firstTwoOfEach(8), firstTwoOfEach(12)};
  static constexpr Pick lastTwo[] = {lastTwoOfEach(0), lastTwoOfEach(4), lastTwoOfEach(8), lastTwoOfEach(12)};

  template <int size>
  static VecOf<Qor32s, size> sums(VecOf<Qor8u, size> samples, int four) {
    const auto ab = as<Qor16s>(picked(samples, firstTwo[four])), cd = as<Qor16s>(picked(samples, lastTwo[four]));
    return multiplyAdd(ab, ab) + multiplyAdd(cd, cd);
  }
};

// Rows with sums of squares beyond 32 bits move them to `left` after so many columns.
constexpr int widestSquares = topOf<Qor32s> / (255 * 255), segmentColumns = 1 << 15;
static_assert(segmentColumns <= widestSquares && segmentColumns % stepColumns == 0);

// Rows of a table, as many vectors of rows as are filled together.
template <class Count, class T, bool segmented, int size, int vectors>
struct RowSums {
  using Sums = VecOf<Qor32s, size>;
  using Samples = BlockOf<VecOf<T, size>, VecOf<Qor32s, size>::lanes / VecOf<T, size>::lanes>;
  static constexpr int inVector = size / Short<Qor32s>::bytes, rows = vectors * inVector;

  // The sum of every row so far, in each of its four lanes.
  Sums before[vectors] = {};
  // In 64-bit float it is exact at every width.
  Qor64f left[rows] = {};

  // A step of every row, at x of its pointers.
  QOR_FORCE_INLINE void add(const Qor8u* const (&src)[rows], const T* above, T* const (&dst)[rows], ptrdiff_t x) {
    VecOf<Qor8u, size> samples[vectors];
    for (int v = 0; v < vectors; ++v) samples[v] = loadShorts<VecOf<Qor8u, size>>(src + v * inVector, x);
    for (int four = 0; four < stepColumns / fourColumns; four += inVector) {
      const ptrdiff_t at = x + four * fourColumns;
      Samples t = loadBlock<Samples>(above + at);
      for (int v = 0; v < vectors; ++v) {
        BlockOf<Sums, inVector> sums;
        for (int i = 0; i < inVector; ++i) {
          sums.v[i] = Count::sums(samples[v], four + i) + before[v];
          before[v] = reordered<3, 3, 3, 3>(sums.v[i]);
        }
        sums = transposeShorts(sums);
        for (int i = 0; i < inVector; ++i) {
          const int row = v * inVector + i;
          t = table(sums.v[i], row, t);
          store(dst[row] + at, t);
        }
      }
    }
  }

  void startSegment() {
    for (int v = 0; v < vectors; ++v) {
      Qor32s sums[Sums::lanes];
      store(sums, before[v]);
      for (int i = 0; i < inVector; ++i) left[v * inVector + i] += sums[i * fourColumns];
      before[v] = Sums{};
    }
  }

 private:
  QOR_FORCE_INLINE Samples table(Sums sums, int row, const Samples& above) const {
    if constexpr (std::is_same_v<T, Qor32s>) {
      return {{sums + above.v[0]}};
    } else if constexpr (std::is_same_v<T, Qor32f>) {
      return {{toFloat(sums) + above.v[0]}};
    } else {
      auto lo = toDoubleLo(sums), hi = toDoubleHi(sums);
      if constexpr (segmented) {
        const auto base = splat<VecOf<Qor64f, size>>(left[row]);
        lo = lo + base, hi = hi + base;
      }
      return {{lo + above.v[0], hi + above.v[1]}};
    }
  }
};

// Rows of the table below `above`, without their first column, for as many rows of the source.
template <class Count, class T, bool segmented, int size, int vectors>
void fillRows(const Qor8u* src, int srcStep, ptrdiff_t n, const T* above, T* dst, int dstStep) {
  using Running = RowSums<Count, T, segmented, size, vectors>;
  constexpr int rows = Running::rows;
  const Qor8u* s[rows];
  T* d[rows];
  for (int i = 0; i < rows; ++i) {
    s[i] = rowAt(src, srcStep, i);
    d[i] = rowAt(dst, dstStep, i);
  }
  Running sums;
  ptrdiff_t x = 0;
  for (; x <= n - stepColumns; x += stepColumns) {
    if constexpr (segmented) {
      if (x % segmentColumns == 0) sums.startSegment();
    }
    sums.add(s, above, d, x);
  }
  if (x == n) return;
  const auto rest = static_cast<size_t>(n - x);
  Qor8u samples[rows][stepColumns] = {};
  T aboveRest[stepColumns] = {}, table[rows][stepColumns];
  const Qor8u* restOf[rows];
  T* tableOf[rows];
  for (int i = 0; i < rows; ++i) {
    __builtin_memcpy(samples[i], s[i] + x, rest);
    restOf[i] = samples[i];
    tableOf[i] = table[i];
  }
  __builtin_memcpy(aboveRest, above + x, rest * sizeof(T));
  sums.add(restOf, aboveRest, tableOf, 0);
  for (int i = 0; i < rows; ++i) __builtin_memcpy(d[i] + x, table[i], rest * sizeof(T));
}

// A table that grows from top to bottom.
template <class Count, class T>
class Table {
 public:
  Table(T* pDst, int dstStep, int width, T val) : dst_{pDst, dstStep}, width_(width), val_(val) {
    for (ptrdiff_t x = 0; x <= width; ++x) pDst[x] = val;
  }

  // The rows of the table behind row y, from as many source rows.
  template <int size, int vectors>
  void fill(const Qor8u* src, int srcStep, int y) const {
    constexpr int rows = RowSums<Count, T, false, size, vectors>::rows;
    for (int i = 1; i <= rows; ++i) *dst_.row(y + i) = val_;
    T* const above = dst_.row(y) + 1;
    T* const below = dst_.row(y + 1) + 1;
    if constexpr (std::is_same_v<T, Qor64f>) {
      if (width_ > widestSquares)
        return fillRows<Count, T, true, size, vectors>(src, srcStep, width_, above, below, dst_.step);
    }
    fillRows<Count, T, false, size, vectors>(src, srcStep, width_, above, below, dst_.step);
  }

 private:
  Plane<T> dst_;
  int width_;
  T val_;
};

template <class... Tables>
void fillTables(const Qor8u* pSrc, int srcStep, int height, const Tables&... tables) {
  constexpr int vectors = 2, rows = vectors * V8u::bytes / Short<Qor8u>::bytes;
  int y = 0;
  for (; y <= height - rows; y += rows)
    (tables.template fill<V8u::bytes, vectors>(rowAt(pSrc, srcStep, y), srcStep, y), ...);
  for (; y < height; ++y) (tables.template fill<Short<Qor8u>::bytes, 1>(rowAt(pSrc, srcStep, y), srcStep, y), ...);
}

template <class T>
QorStatus integral(const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T val) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, srcStep),
                   stepCheck<T>(int64_t{roiSize.width} + 1, dstStep), evenCheck<T>(dstStep));
  if (status != qorStsNoErr) return status;
  fillTables(pSrc, srcStep, roiSize.height, Table<Plain, T>(pDst, dstStep, roiSize.width, val));
  return qorStsNoErr;
}

template <class T, class Q>
QorStatus sqrIntegral(const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, Q* pSqr, int sqrStep, QoriSize roiSize,
                      T val, Q valSqr) {
  const int64_t samples = int64_t{roiSize.width} + 1;
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst, pSqr), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(roiSize.width, srcStep), stepCheck<T>(samples, dstStep),
                                        stepCheck<Q>(samples, sqrStep), evenCheck<T>(dstStep), evenCheck<Q>(sqrStep));
  if (status != qorStsNoErr) return status;
  fillTables(pSrc, srcStep, roiSize.height, Table<Plain, T>(pDst, dstStep, roiSize.width, val),
             Table<Squares, Q>(pSqr, sqrStep, roiSize.width, valSqr));
  return qorStsNoErr;
}

// ---- 32f images: the sum of a row is rounded at every sample, so its order is fixed; four rows run as four lanes.

// A vector of `size` bytes is four rows, or two times four side by side.
template <int size, int vectors>
constexpr int floatRows = vectors* size / static_cast<int>(sizeof(Qor32f));

template <int size, int vectors>
void fillFloatRows(const Qor32f* src, int srcStep, ptrdiff_t n, const Qor32f* above, Qor32f* dst, int dstStep) {
  using V = VecOf<Qor32f, size>;
  constexpr int four = Short<Qor32f>::lanes, inVector = V::lanes / four;
  const Qor32f* s[vectors][four][inVector];
  Qor32f* d[vectors][inVector][four];
  V before[vectors] = {};
  for (int v = 0; v < vectors; ++v) {
    for (int i = 0; i < V::lanes; ++i) {
      s[v][i % four][i / four] = rowAt(src, srcStep, v * V::lanes + i);
      d[v][i / four][i % four] = rowAt(dst, dstStep, v * V::lanes + i);
    }
  }
  ptrdiff_t x = 0;
  for (; x <= n - four; x += four) {
    auto t = load<Short<Qor32f>>(above + x);
    for (int v = 0; v < vectors; ++v) {
      V r[four];
      for (int i = 0; i < four; ++i) r[i] = loadShorts<V>(s[v][i], x);
      transposeFours(r);
      for (V& column : r) column = before[v] = before[v] + column;
      transposeFours(r);
      for (int i = 0; i < four; ++i) store(d[v][0][i] + x, t = firstShort(r[i]) + t);
      if constexpr (inVector == 2) {
        for (int i = 0; i < four; ++i) store(d[v][1][i] + x, t = lastShort(r[i]) + t);
      }
    }
  }
  for (; x < n; ++x) {
    Qor32f t = above[x];
    for (int v = 0; v < vectors; ++v) {
      before[v] = before[v] + laneByLane<V>([&](int i) { return s[v][i % four][i / four][x]; });
      Qor32f sums[V::lanes];
      store(sums, before[v]);
      for (int i = 0; i < V::lanes; ++i) d[v][i / four][i % four][x] = t = sums[i] + t;
    }
  }
}

QorStatus integralFloat(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize), stepCheck<Qor32f>(roiSize.width, srcStep),
                   stepCheck<Qor32f>(int64_t{roiSize.width} + 1, dstStep), evenCheck<Qor32f>(srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  const Plane dst{pDst, dstStep};
  const Plane src{pSrc, srcStep};
  for (ptrdiff_t x = 0; x <= roiSize.width; ++x) pDst[x] = 0;
  for (int y = 0; y < roiSize.height; ++y) *dst.row(y + 1) = 0;
  int y = 0;
  const auto fill = [&]<int size, int vectors>() {
    for (; y <= roiSize.height - floatRows<size, vectors>; y += floatRows<size, vectors>) {
      fillFloatRows<size, vectors>(src.row(y), srcStep, roiSize.width, dst.row(y) + 1, dst.row(y + 1) + 1, dstStep);
    }
  };
  fill.template operator()<V32f::bytes, V32f::bytes == 16 ? 2 : 1>();
  fill.template operator()<Short<Qor32f>::bytes, 1>();
  for (; y < roiSize.height; ++y) {
    const Qor32f* const s = src.row(y);
    const Qor32f* const above = dst.row(y) + 1;
    Qor32f* const d = dst.row(y + 1) + 1;
    Qor32f r = 0;
    for (ptrdiff_t x = 0; x < roiSize.width; ++x) {
      r += s[x];
      d[x] = r + above[x];
    }
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_INTEGRAL(name, T)                                                                     \
  QOR_BODY(name)(const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T val) { \
    return qor::integral(pSrc, srcStep, pDst, dstStep, roiSize, val);                             \
  }
#define QOR_SQR_INTEGRAL(name, T, Q)                                                                                \
  QOR_BODY(name)                                                                                                    \
  (const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, Q* pSqr, int sqrStep, QoriSize roiSize, T val, Q valSqr) { \
    return qor::sqrIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);                     \
  }
#include "integral/integral.def"

QOR_BODY(qoriIntegral_32f_C1R)(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize) {
  return qor::integralFloat(pSrc, srcStep, pDst, dstStep, roiSize);
}
