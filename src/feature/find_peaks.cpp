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

// One bit a pixel; above tells which are. Where a response is large it has mostly one sign.
template <bool square, class T>
[[gnu::noinline]] Qor32u peaksOf(const ThreeRows<T>& rows, Vec<T> above) {
  const ThreeRows<T> r = rows;
  const Vec<T> v = load(r.at), positive = above & (v > zero<T>()), others = above ^ positive;
  Qor32u peaks = 0;
  if (signBits(as<Qor32f>(positive)) != 0) {
    const Vec<T> highest = extremum<square>(r, [](Vec<T> a, Vec<T> b) { return max(a, b); });
    peaks = signBits(as<Qor32f>(positive & ties(v, highest)));
  }
  if (signBits(as<Qor32f>(others)) != 0) {
    const Vec<T> lowest = extremum<square>(r, [](Vec<T> a, Vec<T> b) { return min(a, b); });
    peaks |= signBits(as<Qor32f>(others & ties(v, lowest)));
  }
  return peaks;
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

template <class T>
QOR_FORCE_INLINE bool some(Vec<T> above) {
  return signBits(as<Qor32f>(above)) != 0;
}

// Blocks that are looked at together, as long as none of their pixels is above the threshold.
constexpr int blocksAtOnce = 4;

template <bool square, class T>
[[gnu::noinline]] void findInBlocks(const ThreeRows<T>& rows, ptrdiff_t x, int y, T threshold, PeakList& list) {
  for (int i = 0; i < blocksAtOnce; ++i, x += Vec<T>::lanes) {
    const Vec<T> above = isAbove(load(rows.at + x), threshold);
    if (some<T>(above)) list.add(peaksOf<square>(rows.from(x), above), x, y);
  }
}

// Columns first to end - 1 of row y, which have neighbours on all sides.
template <bool square, class T>
void findInRow(const ThreeRows<T>& rows, ptrdiff_t first, ptrdiff_t end, int y, T threshold, PeakList& list) {
  constexpr int lanes = Vec<T>::lanes;
  const T* const at = rows.at;
  const auto aboveAt = [=](ptrdiff_t x, int i) { return isAbove(load(at + x + i * lanes), threshold); };
  ptrdiff_t x = first;
  for (; x <= end - blocksAtOnce * lanes; x += blocksAtOnce * lanes) {
    Vec<T> above = aboveAt(x, 0);
    for (int i = 1; i < blocksAtOnce; ++i) above = above | aboveAt(x, i);
    if (some<T>(above)) findInBlocks<square>(rows, x, y, threshold, list);
  }
  // The last pixels in copies, in front of zeros.
  for (; x < end; x += lanes) {
    const ptrdiff_t left = end - x < lanes ? end - x : lanes;
    T copy[3][lanes + 2] = {};
    const T* const sources[3] = {rows.above, rows.at, rows.below};
    for (int i = 0; i < 3; ++i) {
      __builtin_memcpy(copy[i], sources[i] + x - 1, static_cast<size_t>(left + 2) * sizeof(T));
    }
    const Vec<T> above = isAbove(load(copy[1] + 1), threshold);
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
