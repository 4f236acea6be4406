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
  withBlend<S, D>(fractionOf(dx), fractionOf(dy), scaleFactor,
                  [=](const auto& blend) { blendRows(blend, src, dst, roiSize.width, roiSize.height); });
  return qorStsNoErr;
}

template <class S, class D>
QorStatus copyIntersection(const S* pSrc, int srcStep, QoriSize srcSize, D* pDst, int dstStep, QoriSize dstSize,
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
  withBlend<S, D>(x.fraction, y.fraction, scaleFactor,
                  [&](const auto& blend) { copyWindow(blend, src, srcSize, dst, dstSize, x, y); });
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
    return qor::copyIntersection(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, point, pMin, pMax, 0);       \
  }
#include "geometry/copy_subpixel.def"

QOR_BODY(qoriCopySubpix_8u16u_C1R_Sfs)
(const Qor8u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize, int scaleFactor, Qor32f dx, Qor32f dy) {
  return qor::copySubpixel(pSrc, srcStep, pDst, dstStep, roiSize, scaleFactor, dx, dy);
}
QOR_BODY(qoriCopySubpixIntersect_8u16u_C1R_Sfs)
(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep, QoriSize dstRoiSize,
 QoriPoint_32f point, QoriPoint* pMin, QoriPoint* pMax, int scaleFactor) {
  return qor::copyIntersection(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, point, pMin, pMax, scaleFactor);
}
