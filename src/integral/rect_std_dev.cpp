// Standard deviation over a box beside every pixel, from four corners in a table of sums and one of sums of squares.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

struct Corner {
  int64_t row, column;
};
// The sum over the box is a - b + c - d.
struct Corners {
  Corner a, b, c, d;
};

// Geometry of a box in 64 bits: corners, pixels, and the samples that a table row must have.
struct Upright {
  int64_t x, y, width, height;

  Corners corners() const { return {{y + height, x + width}, {y, x + width}, {y, x}, {y + height, x}}; }
  int64_t pixels() const { return width * height; }
  int64_t reach(int roiWidth) const { return roiWidth + x + width; }
};
struct Tilted {
  int64_t x, y, width, height;

  Corners corners() const {
    const Corner c{x + y, x - y};
    return {{c.row + width + height, c.column + width - height},
            {c.row + height, c.column - height},
            c,
            {c.row + width, c.column + width}};
  }
  int64_t pixels() const { return 2 * width * height; }
  int64_t reach(int roiWidth) const { return width + height + x + y + roiWidth - 1; }
};

constexpr QorStatus rectCheck(QoriRect r) {
  return r.x < 0 || r.y < 0 || r.width < 1 || r.height < 1 ? qorStsBadArgErr : qorStsNoErr;
}

// The rows of a table that pass through the corners of the box of the first pixel.
template <class T>
struct CornerPlanes {
  Plane<const T> a, b, c, d;

  CornerPlanes(const T* table, int step, const Corners& at)
      : a(plane(table, step, at.a)),
        b(plane(table, step, at.b)),
        c(plane(table, step, at.c)),
        d(plane(table, step, at.d)) {}

 private:
  static Plane<const T> plane(const T* table, int step, Corner at) {
    const char* const row = reinterpret_cast<const char*>(table) + at.row * step;
    return {reinterpret_cast<const T*>(row) + at.column, step};
  }
};

template <class T>
inline Vec<T> boxSum(const T* a, const T* b, const T* c, const T* d) {
  return load(a) - load(b) + load(c) - load(d);
}
inline V32f floats(V32s a) { return toFloat(a); }
inline V32f floats(V32f a) { return a; }
inline V32f squared(V32f a) { return a * a; }
// What is below zero becomes zero; NaN is not.
inline V32f notBelowZero(V32f a) { return max(zero<Qor32f>(), a); }

template <class T>
struct FloatDeviation {
  V32f pixels;
  V64f widePixels;

  Block<Qor32f, 1> operator()(const T* a, const T* b, const T* c, const T* d, const Qor64f* qa, const Qor64f* qb,
                              const Qor64f* qc, const Qor64f* qd) const {
    const V32f m2 = squared(floats(boxSum(a, b, c, d)) / pixels);
    constexpr int half = V64f::lanes;
    const V64f lo = boxSum(qa, qb, qc, qd) / widePixels - widenLo(m2);
    const V64f hi = boxSum(qa + half, qb + half, qc + half, qd + half) / widePixels - widenHi(m2);
    return {sqrt(notBelowZero(toFloat(lo, hi)))};
  }
};

struct ScaledDeviation {
  V32f pixels;
  V64f scale;

  // The root of a value below 2^31, scaled by at most 2^512, stays finite; above the top it is cut before conversion.
  V64f scaled(V64f v) const {
    const V64f x = sqrt(v) * scale + splat(0.5);
    return min(x, splat(static_cast<Qor64f>(topOf<Qor32s>)));
  }
  Block<Qor32s, 1> operator()(const Qor32s* a, const Qor32s* b, const Qor32s* c, const Qor32s* d, const Qor32s* qa,
                              const Qor32s* qb, const Qor32s* qc, const Qor32s* qd) const {
    const V32f m2 = squared(toFloat(boxSum(a, b, c, d)) / pixels);
    const V32f v = notBelowZero(toFloat(boxSum(qa, qb, qc, qd)) / pixels - m2);
    return {truncated(scaled(widenLo(v)), scaled(widenHi(v)))};
  }
};

template <class Kernel, class T, class Q, class D>
void deviationRows(Band band, int width, const Kernel& kernel, const CornerPlanes<T>& sum, const CornerPlanes<Q>& sqr,
                   Plane<D> dst) {
  for (int y = band.first; y < band.first + band.rows; ++y) {
    mapRow(dst.row(y), width, kernel, sum.a.row(y), sum.b.row(y), sum.c.row(y), sum.d.row(y), sqr.a.row(y),
           sqr.b.row(y), sqr.c.row(y), sqr.d.row(y));
  }
}

template <class Box, class T, class Q, class D>
QorStatus checkDeviation(const T* pSum, int sumStep, const Q* pSqr, int sqrStep, const D* pDst, int dstStep,
                         QoriSize roiSize, QoriRect rect, const Box& box) {
  const int64_t samples = box.reach(roiSize.width);
  return firstFailure(nullCheck(pSum, pSqr, pDst), sizeCheck(roiSize), stepCheck<T>(samples, sumStep),
                      stepCheck<D>(roiSize.width, dstStep), stepCheck<Q>(samples, sqrStep), evenCheck<T>(sumStep),
                      evenCheck<D>(dstStep), evenCheck<Q>(sqrStep), rectCheck(rect));
}

template <class Box>
QorStatus scaledDeviation(const Qor32s* pSum, int sumStep, const Qor32s* pSqr, int sqrStep, Qor32s* pDst, int dstStep,
                          QoriSize roiSize, QoriRect rect, int scaleFactor) {
  const Box box{rect.x, rect.y, rect.width, rect.height};
  const QorStatus status = checkDeviation(pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect, box);
  if (status != qorStsNoErr) return status;
  const ScaledDeviation kernel{splat(static_cast<Qor32f>(box.pixels())), splat(scaleOf(scaleFactor))};
  const CornerPlanes<Qor32s> sum(pSum, sumStep, box.corners());
  const CornerPlanes<Qor32s> sqr(pSqr, sqrStep, box.corners());
  deviationRows({0, 0, roiSize.height}, roiSize.width, kernel, sum, sqr, Plane{pDst, dstStep});
  return qorStsNoErr;
}

constexpr TeamRule shared = {.mostThreads = 32, .pixelsAThread = 1 << 10, .leastThreads = 2};

template <class Box, class T>
QorStatus floatDeviation(const T* pSum, int sumStep, const Qor64f* pSqr, int sqrStep, Qor32f* pDst, int dstStep,
                         QoriSize roiSize, QoriRect rect, const TeamRule& rule) {
  const Box box{rect.x, rect.y, rect.width, rect.height};
  const QorStatus status = checkDeviation(pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect, box);
  if (status != qorStsNoErr) return status;
  const auto pixels = static_cast<Qor32f>(box.pixels());
  const FloatDeviation<T> kernel{splat(pixels), splat(Qor64f{pixels})};
  const CornerPlanes<T> sum(pSum, sumStep, box.corners());
  const CornerPlanes<Qor64f> sqr(pSqr, sqrStep, box.corners());
  const auto work = [&](Band band) { deviationRows(band, roiSize.width, kernel, sum, sqr, Plane{pDst, dstStep}); };
  forTeam(teamFor(rule, roiSize), roiSize.height, work);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_RECT_STD_DEV_SFS(name, Box)                                                                             \
  QOR_BODY(name)                                                                                                    \
  (const Qor32s* pSum, int sumStep, const Qor32s* pSqr, int sqrStep, Qor32s* pDst, int dstStep, QoriSize roiSize,   \
   QoriRect rect, int scaleFactor) {                                                                                \
    return qor::scaledDeviation<qor::Box>(pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect, scaleFactor); \
  }
#define QOR_RECT_STD_DEV(name, Box, T, rule)                                                                     \
  QOR_BODY(name)                                                                                                 \
  (const T* pSum, int sumStep, const Qor64f* pSqr, int sqrStep, Qor32f* pDst, int dstStep, QoriSize roiSize,     \
   QoriRect rect) {                                                                                              \
    return qor::floatDeviation<qor::Box>(pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect, qor::rule); \
  }
#include "integral/rect_std_dev.def"
