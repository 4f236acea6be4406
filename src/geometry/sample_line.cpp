// The pixels of a digital line, by the walk of Bresenham.
#include "frame/bodies.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorStatus insideCheck(QoriPoint p, QoriSize size) {
  return p.x < 0 || p.y < 0 || p.x >= size.width || p.y >= size.height ? qorStsOutOfRangeErr : qorStsNoErr;
}

// From one end to the other along an axis: how many pixels, and how many bytes each is from the last.
struct LineAxis {
  int64_t pixels;
  ptrdiff_t bytes;

  LineAxis(int from, int to, ptrdiff_t forwards)
      : pixels(to < from ? int64_t{from} - to : int64_t{to} - from), bytes(to < from ? -forwards : forwards) {}
};

template <class T, int channels>
QorStatus sampleLine(const T* pSrc, int srcStep, QoriSize roiSize, T* pDst, QoriPoint pt1, QoriPoint pt2) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize), stepCheck<T>(int64_t{roiSize.width} * channels, srcStep),
                   evenCheck<T>(srcStep), insideCheck(pt1, roiSize), insideCheck(pt2, roiSize));
  if (status != qorStsNoErr) return status;
  constexpr ptrdiff_t pixelBytes = channels * static_cast<ptrdiff_t>(sizeof(T));
  const LineAxis x(pt1.x, pt2.x, pixelBytes), y(pt1.y, pt2.y, srcStep);
  const LineAxis &major = x.pixels > y.pixels ? x : y, &minor = x.pixels > y.pixels ? y : x;
  const char* src = reinterpret_cast<const char*>(rowAt(pSrc, srcStep, pt1.y) + ptrdiff_t{pt1.x} * channels);
  int64_t error = major.pixels;
  for (int64_t left = major.pixels;; --left) {
    __builtin_memcpy(pDst, src, static_cast<size_t>(pixelBytes));
    if (left == 0) break;
    pDst += channels;
    error -= 2 * minor.pixels;
    // All ones where the line steps aside.
    const int64_t aside = error >> 63;
    error += aside & (2 * major.pixels);
    src += major.bytes + (aside & minor.bytes);
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_SAMPLE_LINE(name, T, channels)                                                              \
  QOR_BODY(name)(const T* pSrc, int srcStep, QoriSize roiSize, T* pDst, QoriPoint pt1, QoriPoint pt2) { \
    return qor::sampleLine<T, channels>(pSrc, srcStep, roiSize, pDst, pt1, pt2);                        \
  }
#include "geometry/sample_line.def"
