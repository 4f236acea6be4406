// Features of a map that do not lie on a line of the image, by the means of its gradient's products.
#include "feature/structure_means.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

struct Suppression {
  Plane<const Qor8u> feature;
  Plane<Qor8u> dst;
  Qor32f threshold;

  void operator()(int y, ptrdiff_t x, ptrdiff_t n, const Qor32f* a, const Qor32f* b, const Qor32f* c) const {
    const V32f most = splat(threshold);
    const auto keep = [=](const Qor8u* features, const Qor32f* pa, const Qor32f* pb, const Qor32f* pc) {
      const auto onLine = [=](int vector) {
        const ptrdiff_t i = vector * ptrdiff_t{V32f::lanes};
        const V32f aa = load(pa + i), bb = load(pb + i), cc = load(pc + i), trace = aa + bb;
        return as<Qor32s>(trace * trace > (aa * bb - cc * cc) * most);
      };
      const V8s lines = narrowToS(onLine(0), onLine(1), onLine(2), onLine(3));
      return Block<Qor8u, 1>{andNot(as<Qor8u>(lines), load(features))};
    };
    mapRow<Stores::cached, 1>(dst.row(y) + x, n, keep, feature.row(y) + x, a, b, c);
  }
};

QorStatus suppress(const StructureCall<Qor8u>& call, const Suppression& suppression) {
  const Plane<const Qor8u> feature = suppression.feature;
  const Plane<Qor8u> dst = suppression.dst;
  const QorStatus status = firstFailure(
      nullCheck(call.src.first, feature.first, dst.first, call.buffer), sizeCheck(call.size), call.checkModes(),
      call.src.step < 1 || feature.step < 0 || dst.step < 0 ? qorStsStepErr : qorStsNoErr,
      feature.first == dst.first ? qorStsInPlaceErr : qorStsNoErr);
  return status != qorStsNoErr ? status : forStructure(call, suppression);
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriLineSuppression_8u_C1R)
(const Qor8u* pSrc, int srcStep, const Qor8u* pFeature, int featureStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
 QorGradientFilter filterType, QoriMaskSize filterMask, int avgWindow, Qor32f threshold, QoriBorderType borderType,
 Qor8u borderValue, Qor8u* pBuffer) {
  return qor::suppress({{pSrc, srcStep}, roiSize, filterType, filterMask, avgWindow, borderType, borderValue, pBuffer},
                       {{pFeature, featureStep}, {pDst, dstStep}, threshold});
}

QOR_BODY(qoriLineSuppressionGetBufferSize)
(QoriSize roiSize, QoriMaskSize filterMask, int avgWindow, QorDataType dataType, int numChannels, int* pBufferSize) {
  return qor::structureBufferSize(roiSize, filterMask, avgWindow, dataType, numChannels, pBufferSize);
}
