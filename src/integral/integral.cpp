// Summed-area tables of an image and of its squares. Every row adds its running sum to the row above, so the table is
// filled from top to bottom; several rows run at a time, since their running sums do not depend on each other.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/round.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
using Four = Block<T, 4 / Vec<T>::lanes>;

// Byte numbers for a shuffle; -1 gives a zero byte.
struct Pick {
  alignas(16) int8_t bytes[16];
};
inline __m128i picked(V8u a, const Pick& pick) {
  return _mm_shuffle_epi8(a.v, _mm_load_si128(reinterpret_cast<const __m128i*>(pick.bytes)));
}

// The samples that each of four lanes takes: in byte order for plain sums, as 16-bit values for squares. `a` is the
// first of the four among the 16 samples.
constexpr Pick upToEach(int8_t a) {
  const auto b = static_cast<int8_t>(a + 1);
  const auto c = static_cast<int8_t>(a + 2);
  const auto d = static_cast<int8_t>(a + 3);
  return {{a, -1, -1, -1, a, b, -1, -1, a, b, c, -1, a, b, c, d}};
}
constexpr Pick firstTwoOfEach(int8_t a) {
  const auto b = static_cast<int8_t>(a + 1);
  return {{a, -1, -1, -1, a, -1, b, -1, a, -1, b, -1, a, -1, b, -1}};
}
constexpr Pick lastTwoOfEach(int8_t a) {
  const auto c = static_cast<int8_t>(a + 2);
  const auto d = static_cast<int8_t>(a + 3);
  return {{-1, -1, -1, -1, -1, -1, -1, -1, c, -1, -1, -1, c, -1, d, -1}};
}

// What a table sums: the sums of one to four samples, from the first of four up to each of them.
struct Plain {
  template <int8_t first>
  static V32s sums(V8u samples) {
    static constexpr Pick all = upToEach(first);
    const __m128i pairs = _mm_maddubs_epi16(picked(samples, all), _mm_set1_epi8(1));
    return {_mm_madd_epi16(pairs, _mm_set1_epi16(1))};
  }
};
struct Squares {
  template <int8_t first>
  static V32s sums(V8u samples) {
    static constexpr Pick firstTwo = firstTwoOfEach(first);
    static constexpr Pick lastTwo = lastTwoOfEach(first);
    const V16s ab{picked(samples, firstTwo)};
    const V16s cd{picked(samples, lastTwo)};
    return multiplyAdd(ab, ab) + multiplyAdd(cd, cd);
  }
};

// Running sum of a row, in every lane, and the four table samples that it makes with those of the row above.
template <class T>
struct RowSum {
  using Sample = T;
  V32s before = zero<Qor32s>();

  Four<T> add(V32s sums, const Four<T>& above) {
    const V32s r = sums + before;
    before = {_mm_shuffle_epi32(r.v, 0xff)};
    if constexpr (std::is_same_v<T, Qor32s>) {
      return {r + above.v[0]};
    } else if constexpr (std::is_same_v<T, Qor32f>) {
      return {toFloat(r) + above.v[0]};
    } else {
      return {toDoubleLo(r) + above.v[0], toDoubleHi(r) + above.v[1]};
    }
  }
};

// Rows up to this width keep their sums of squares within 32 bits.
constexpr int widestSquares = topOf<Qor32s> / (255 * 255);

// For wider rows: in 64-bit float the sums of squares are exact at every width.
struct WideRowSum {
  using Sample = Qor64f;
  V64f before = zero<Qor64f>();

  Four<Qor64f> add(V32s sums, const Four<Qor64f>& above) {
    const V64f lo = toDoubleLo(sums) + before;
    const V64f hi = toDoubleHi(sums) + before;
    before = {_mm_unpackhi_pd(hi.v, hi.v)};
    return {lo + above.v[0], hi + above.v[1]};
  }
};

// Rows of the table below `above`, without their first column, for as many rows of the source.
template <class Count, class Sum, int rows, class T = typename Sum::Sample>
void fillRows(const Qor8u* src, int srcStep, ptrdiff_t n, const T* above, T* dst, int dstStep) {
  const Qor8u* s[rows];
  T* d[rows];
  Sum sums[rows];
  for (int i = 0; i < rows; ++i) {
    s[i] = rowAt(src, srcStep, i);
    d[i] = rowAt(dst, dstStep, i);
  }
  ptrdiff_t x = 0;
  for (; x <= n - 16; x += 16) {
    V8u samples[rows];
    for (int i = 0; i < rows; ++i) samples[i] = load(s[i] + x);
    const auto four = [&]<int8_t first>() {
      Four<T> t = loadBlock<Four<T>::samples / Vec<T>::lanes>(above + x + first);
      for (int i = 0; i < rows; ++i) {
        t = sums[i].add(Count::template sums<first>(samples[i]), t);
        store(d[i] + x + first, t);
      }
    };
    four.template operator()<0>();
    four.template operator()<4>();
    four.template operator()<8>();
    four.template operator()<12>();
  }
  for (; x <= n - 4; x += 4) {
    Four<T> t = loadBlock<Four<T>::samples / Vec<T>::lanes>(above + x);
    for (int i = 0; i < rows; ++i) {
      t = sums[i].add(Count::template sums<0>(load4(s[i] + x)), t);
      store(d[i] + x, t);
    }
  }
  if (x < n) {
    Four<T> t = loadBlock<Four<T>::samples / Vec<T>::lanes>(detail::Padded<T, 4>(above + x, n - x).samples);
    for (int i = 0; i < rows; ++i) {
      t = sums[i].add(Count::template sums<0>(load4(detail::Padded<Qor8u, 4>(s[i] + x, n - x).samples)), t);
      storeFirst(d[i] + x, n - x, t);
    }
  }
}

// A table that grows from top to bottom.
template <class Count, class T>
class Table {
 public:
  Table(T* pDst, int dstStep, int width, T val) : dst_{pDst, dstStep}, width_(width), val_(val) {
    for (ptrdiff_t x = 0; x <= width; ++x) pDst[x] = val;
  }

  // Table rows y + 1 to y + rows, from source rows y to y + rows - 1.
  template <int rows>
  void fill(const Qor8u* src, int srcStep, int y) const {
    for (int i = 1; i <= rows; ++i) *dst_.row(y + i) = val_;
    T* const above = dst_.row(y) + 1;
    T* const below = dst_.row(y + 1) + 1;
    if constexpr (std::is_same_v<T, Qor64f>) {
      if (width_ > widestSquares)
        return fillRows<Count, WideRowSum, rows>(src, srcStep, width_, above, below, dst_.step);
    }
    fillRows<Count, RowSum<T>, rows>(src, srcStep, width_, above, below, dst_.step);
  }

 private:
  Plane<T> dst_;
  int width_;
  T val_;
};

template <class... Tables>
void fillTables(const Qor8u* pSrc, int srcStep, int height, const Tables&... tables) {
  int y = 0;
  for (; y < height - 1; y += 2) (tables.template fill<2>(rowAt(pSrc, srcStep, y), srcStep, y), ...);
  if (y < height) (tables.template fill<1>(rowAt(pSrc, srcStep, y), srcStep, y), ...);
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

inline void transpose(V32f (&m)[4]) { _MM_TRANSPOSE4_PS(m[0].v, m[1].v, m[2].v, m[3].v); }

template <int chains>
void fillFloatRows(const Qor32f* src, int srcStep, ptrdiff_t n, const Qor32f* above, Qor32f* dst, int dstStep) {
  constexpr int rows = 4 * chains;
  const Qor32f* s[rows];
  Qor32f* d[rows];
  V32f before[chains];
  for (int i = 0; i < rows; ++i) {
    s[i] = rowAt(src, srcStep, i);
    d[i] = rowAt(dst, dstStep, i);
  }
  for (V32f& b : before) b = zero<Qor32f>();
  ptrdiff_t x = 0;
  for (; x <= n - 4; x += 4) {
    V32f t = load(above + x);
    for (int c = 0; c < chains; ++c) {
      V32f r[4];
      for (int i = 0; i < 4; ++i) r[i] = load(s[4 * c + i] + x);
      transpose(r);
      for (V32f& column : r) column = before[c] = before[c] + column;
      transpose(r);
      for (int i = 0; i < 4; ++i) {
        t = r[i] + t;
        store(d[4 * c + i] + x, t);
      }
    }
  }
  Qor32f last[rows];
  for (int c = 0; c < chains; ++c) store(last + 4 * c, before[c]);
  for (; x < n; ++x) {
    Qor32f t = above[x];
    for (int i = 0; i < rows; ++i) {
      last[i] += s[i][x];
      t = last[i] + t;
      d[i][x] = t;
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
  constexpr int chains = 2;
  int y = 0;
  for (; y <= roiSize.height - 4 * chains; y += 4 * chains)
    fillFloatRows<chains>(src.row(y), srcStep, roiSize.width, dst.row(y) + 1, dst.row(y + 1) + 1, dstStep);
  for (; y <= roiSize.height - 4; y += 4)
    fillFloatRows<1>(src.row(y), srcStep, roiSize.width, dst.row(y) + 1, dst.row(y + 1) + 1, dstStep);
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
