// Local extrema of a response above a threshold, as a list of points in the order of the rows.
//
// Most pixels are below the threshold, and a block of such is left at once. So the neighbourhoods of the others are
// gathered where they are met, and the caller's scratch stays unused.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/round.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- what differs between samples

// Pixels whose absolute value is above the threshold; in 32s those beyond the threshold or beyond its opposite, which
// are all when it is negative.
inline V32f isAbove(V32f v, Qor32f threshold) { return abs(v) > splat(threshold); }
inline V32s isAbove(V32s v, Qor32s threshold) {
  const Qor32s opposite = threshold == bottomOf<Qor32s> ? topOf<Qor32s> : -threshold;
  return (v > splat(threshold)) | (splat(opposite) > v);
}

// As good as equal. Infinities are not.
inline V32f ties(V32f v, V32f extremum) { return abs(v - extremum) <= splat(1.1754944e-38F); }
inline V32s ties(V32s v, V32s extremum) { return v == extremum; }

// ---- a block of pixels

// A row with its neighbours, at the same column.
template <class T>
struct ThreeRows {
  const T *above, *at, *below;

  ThreeRows from(ptrdiff_t x) const { return {above + x, at + x, below + x}; }
};

template <bool square, class T, class Op>
QOR_FORCE_INLINE Vec<T> extremum(const ThreeRows<T>& r, const Op& op) {
  const auto ofRow = [&](const T* p) { return op(op(load(p - 1), load(p)), load(p + 1)); };
  if constexpr (square) {
    return op(op(ofRow(r.above), ofRow(r.at)), ofRow(r.below));
  } else {
    return op(op(ofRow(r.at), load(r.above)), load(r.below));
  }
}

// One bit a pixel; above tells which are.
template <bool square, class T>
[[gnu::noinline]] Qor32u peaksOf(const ThreeRows<T>& r, Vec<T> above) {
  const Vec<T> v = load(r.at);
  const Vec<T> highest = extremum<square>(r, [](Vec<T> a, Vec<T> b) { return max(a, b); });
  const Vec<T> lowest = extremum<square>(r, [](Vec<T> a, Vec<T> b) { return min(a, b); });
  const Vec<T> peaks = select(v > zero<T>(), ties(v, highest), ties(v, lowest));
  return signBits(as<Qor32f>(peaks & above));
}

// ---- rows

struct PeakList {
  QoriPoint* peaks;
  int room, count;

  bool full() const { return count == room; }
  void add(Qor32u bits, ptrdiff_t x, int y) {
    for (; bits != 0 && !full(); bits &= bits - 1) peaks[count++] = {static_cast<int>(x) + __builtin_ctz(bits), y};
  }
};

// Columns first to end - 1 of row y, which have neighbours on all sides.
template <bool square, class T>
void findInRow(const ThreeRows<T>& rows, ptrdiff_t first, ptrdiff_t end, int y, T threshold, PeakList& list) {
  constexpr int lanes = Vec<T>::lanes, vectors = 4;
  const auto aboveAt = [=](const T* p) { return isAbove(load(p), threshold); };
  const auto some = [](Vec<T> above) { return signBits(as<Qor32f>(above)) != 0; };
  ptrdiff_t x = first;
  for (; x <= end - vectors * lanes; x += vectors * lanes) {
    Vec<T> above[vectors];
    for (int i = 0; i < vectors; ++i) above[i] = aboveAt(rows.at + x + i * lanes);
    if (!some((above[0] | above[1]) | (above[2] | above[3]))) continue;
    for (int i = 0; i < vectors; ++i) {
      const ptrdiff_t at = x + i * lanes;
      if (some(above[i])) list.add(peaksOf<square>(rows.from(at), above[i]), at, y);
    }
  }
  // The last pixels in copies, in front of zeros.
  for (; x < end; x += lanes) {
    const ptrdiff_t left = end - x < lanes ? end - x : lanes;
    T copy[3][lanes + 2] = {};
    const T* const sources[3] = {rows.above, rows.at, rows.below};
    for (int i = 0; i < 3; ++i) {
      __builtin_memcpy(copy[i], sources[i] + x - 1, static_cast<size_t>(left + 2) * sizeof(T));
    }
    const Vec<T> above = aboveAt(copy[1] + 1);
    const Qor32u bits = peaksOf<square>(ThreeRows<T>{copy[0] + 1, copy[1] + 1, copy[2] + 1}, above);
    list.add(bits & ((Qor32u{1} << left) - 1), x, y);
  }
}

template <bool square, class T>
void find(Plane<const T> src, QoriSize size, T threshold, int border, PeakList& list) {
  for (int y = border; y < size.height - border && !list.full(); ++y) {
    findInRow<square>(ThreeRows<T>{src.row(y - 1), src.row(y), src.row(y + 1)}, border, size.width - border, y,
                      threshold, list);
  }
}

constexpr QorStatus borderCheck(int border, QoriSize size) {
  const auto isBeyondHalf = [=](int side) { return static_cast<Qor32f>(border) > 0.5F * static_cast<Qor32f>(side); };
  return isBeyondHalf(size.width) || isBeyondHalf(size.height) ? qorStsSizeErr : qorStsNoErr;
}

template <class T>
QorStatus findPeaks(Plane<const T> src, QoriSize size, T threshold, QoriPoint* pPeak, int maxPeakCount, int* pPeakCount,
                    QoriNorm norm, int border, const Qor8u* pBuffer) {
  const bool isNorm = norm == qoriNormInf || norm == qoriNormL1;
  const QorStatus status = firstFailure(nullCheck(src.first, pPeak, pPeakCount, pBuffer), sizeCheck(size),
                                        lengthCheck(maxPeakCount), lengthCheck(border), borderCheck(border, size),
                                        src.step / int{sizeof(T)} < size.width ? qorStsStepErr : qorStsNoErr,
                                        evenCheck<T>(src.step), isNorm ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  PeakList list{pPeak, maxPeakCount, 0};
  norm == qoriNormInf ? find<true>(src, size, threshold, border, list)
                      : find<false>(src, size, threshold, border, list);
  *pPeakCount = list.count;
  return qorStsNoErr;
}

QorStatus peaksSize(int roiWidth, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), lengthCheck(roiWidth));
  if (status != qorStsNoErr) return status;
  const Qor32u groups = (static_cast<Qor32u>(roiWidth) + 5) >> 2;
  *pBufferSize = static_cast<int>(groups * 128 | 32);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_FIND_PEAKS(name, query, T)                                                                             \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, QoriSize roiSize, T threshold, QoriPoint* pPeak, int maxPeakCount, int* pPeakCount, \
   QoriNorm norm, int border, Qor8u* pBuffer) {                                                                    \
    return qor::findPeaks<T>({pSrc, srcStep}, roiSize, threshold, pPeak, maxPeakCount, pPeakCount, norm, border,   \
                             pBuffer);                                                                             \
  }                                                                                                                \
  QOR_BODY(query)(int roiWidth, int* pBufferSize) { return qor::peaksSize(roiWidth, pBufferSize); }
QOR_FIND_PEAKS(qoriFindPeaks3x3_32f_C1R, qoriFindPeaks3x3GetBufferSize_32f_C1R, Qor32f)
QOR_FIND_PEAKS(qoriFindPeaks3x3_32s_C1R, qoriFindPeaks3x3GetBufferSize_32s_C1R, Qor32s)
#undef QOR_FIND_PEAKS
