// Copies at a fraction of a pixel: of whole images, and of windows that may stick out of the image.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "geometry/subpixel_blend.h"
#include "geometry/subpixel_window.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Calls run(blend) with the blend of a fraction. The scale factor of flow patches has a kernel of its own.
template <class S, class D, class Run>
void withBlend(Qor32f a, Qor32f b, int scaleFactor, const Run& run) {
  if constexpr (std::is_same_v<D, Qor8u>) {
    run(ByteBlend<ToBytes>(a, b));
  } else if constexpr (std::is_same_v<S, Qor8u> && std::is_same_v<D, Qor16u>) {
    if (scaleFactor == -7) {
      run(ByteBlend<ToSevenBits>(a, b));
    } else {
      run(ByteBlend<ToWords>(a, b, ToWords(scaleFactor)));
    }
  } else {
    run(FloatBlend<S, D>(a, b));
  }
}

template <class S, class D>
QorStatus copySubpixel(const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, int scaleFactor, Qor32f dx,
                       Qor32f dy) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc), nullCheck(pDst), sizeCheck(roiSize), stepCheck<S>(roiSize.width, srcStep),
                   stepCheck<D>(roiSize.width, dstStep), evenCheck<S>(srcStep), evenCheck<D>(dstStep));
  if (status != qorStsNoErr) return status;
  const Plane src{pSrc, srcStep};
  const Plane dst{pDst, dstStep};
  withBlend<S, D>(fractionOf(dx), fractionOf(dy), scaleFactor, [=](const auto& given) {
    const auto blend = given;
    for (int y = 0; y < roiSize.height; ++y) blendRow(blend, src.row(y), src.row(y + 1), dst.row(y), roiSize.width);
  });
  return qorStsNoErr;
}

template <class D>
void fillSamples(D* dst, ptrdiff_t n, D value) {
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = value;
}

// Rows first to last - 1 of the window, which all lie between rows of the source, or all beyond the same one.
template <class Blend, class S, class D>
void copyWindowRows(const Blend& blend, const WindowAxis& x, int width, int srcWidth, int first, int last, Plane<D> dst,
                    const auto& topOf, const auto& bottomOf, const auto& edge) {
  const ptrdiff_t inside = x.samples();
  for (int y = first; y < last; ++y) {
    const S *const top = topOf(y), *const bottom = bottomOf(y);
    D* const row = dst.row(y);
    if (x.low > 0) fillSamples(row, x.low, edge(top[0], bottom[0]));
    if (inside > 0) blendRow(blend, top + x.first + x.low, bottom + x.first + x.low, row + x.low, inside);
    const ptrdiff_t right = width - 1 - x.high;
    if (right > 0) fillSamples(row + x.high + 1, right, edge(top[srcWidth - 1], bottom[srcWidth - 1]));
  }
}

template <class S, class D>
QorStatus copyWindow(const S* pSrc, int srcStep, QoriSize srcSize, D* pDst, int dstStep, QoriSize dstSize,
                     QoriPoint_32f point, QoriPoint* pMin, QoriPoint* pMax, int scaleFactor) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc), nullCheck(pDst), nullCheck(pMin, pMax), sizeCheck(srcSize), sizeCheck(dstSize),
                   stepCheck<S>(srcSize.width, srcStep), stepCheck<D>(dstSize.width, dstStep), evenCheck<S>(srcStep),
                   evenCheck<D>(dstStep));
  if (status != qorStsNoErr) return status;
  const WindowAxis x(point.x, dstSize.width, srcSize.width), y(point.y, dstSize.height, srcSize.height);
  *pMin = {x.low, y.low};
  *pMax = {x.high, y.high};
  const Plane src{pSrc, srcStep};
  const Plane dst{pDst, dstStep};
  withBlend<S, D>(x.fraction, y.fraction, scaleFactor, [&](const auto& given) {
    const auto blend = given;
    const auto rows = [&](const auto& kernel, int first, int last, const auto& topOf, const auto& bottomOf,
                          const auto& edge) {
      copyWindowRows<std::remove_cvref_t<decltype(kernel)>, S>(kernel, x, dstSize.width, srcSize.width, first, last,
                                                               dst, topOf, bottomOf, edge);
    };
    const auto outside = [&](int first, int last, const S* nearest) {
      if (first >= last) return;
      const auto row = [nearest](int) { return nearest; };
      rows(blend.along(), first, last, row, row, [&](S sample, S) { return blend.whole(sample); });
    };
    outside(0, y.low, pSrc);
    rows(
        blend, y.low, y.high + 1, [&](int j) { return src.row(static_cast<int>(y.first + j)); },
        [&](int j) { return src.row(static_cast<int>(y.first + j + 1)); },
        [&](S top, S bottom) { return blend.down(top, bottom); });
    outside(y.high + 1, dstSize.height, src.row(srcSize.height - 1));
  });
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_COPY_SUBPIX(name, S, D)                                                                          \
  QOR_BODY(name)(const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, Qor32f dx, Qor32f dy) { \
    return qor::copySubpixel(pSrc, srcStep, pDst, dstStep, roiSize, 0, dx, dy);                              \
  }
#define QOR_COPY_SUBPIX_INTERSECT(name, S, D)                                                                       \
  QOR_BODY(name)                                                                                                    \
  (const S* pSrc, int srcStep, QoriSize srcRoiSize, D* pDst, int dstStep, QoriSize dstRoiSize, QoriPoint_32f point, \
   QoriPoint* pMin, QoriPoint* pMax) {                                                                              \
    return qor::copyWindow(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, point, pMin, pMax, 0);             \
  }
#include "geometry/copy_subpixel.def"

QOR_BODY(qoriCopySubpix_8u16u_C1R_Sfs)
(const Qor8u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize, int scaleFactor, Qor32f dx, Qor32f dy) {
  return qor::copySubpixel(pSrc, srcStep, pDst, dstStep, roiSize, scaleFactor, dx, dy);
}
QOR_BODY(qoriCopySubpixIntersect_8u16u_C1R_Sfs)
(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep, QoriSize dstRoiSize,
 QoriPoint_32f point, QoriPoint* pMin, QoriPoint* pMax, int scaleFactor) {
  return qor::copyWindow(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, point, pMin, pMax, scaleFactor);
}
