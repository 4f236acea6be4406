// The Harris response of every pixel, from the means of its gradient's products.
#include "feature/structure_means.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The means' determinant less k times their squared trace, as sums of the window.
struct Response {
  Plane<Qor32f> dst;
  Qor32f k, factor;

  void operator()(int y, ptrdiff_t x, ptrdiff_t n, const Qor32f* a, const Qor32f* b, const Qor32f* c) const {
    const V32f weight = splat(k), sums = splat(factor);
    const auto respond = [=](const Qor32f* pa, const Qor32f* pb, const Qor32f* pc) {
      const V32f aa = load(pa), bb = load(pb), cc = load(pc), trace = aa + bb;
      return Block<Qor32f, 1>{(aa * bb - cc * cc - trace * (weight * trace)) * sums};
    };
    mapRow(dst.row(y) + x, n, respond, a, b, c);
  }
};

// The product of four wraps in 32 bits.
Qor32f factorOf(int window, Qor32f scale) {
  const auto n = static_cast<Qor32u>(window);
  const auto fourth = static_cast<Qor32s>(n * n * n * n);
  const Qor64f product = static_cast<Qor64f>(fourth) * static_cast<Qor64f>(scale);
  return static_cast<Qor32f>(product);
}

template <class S>
QorStatus harris(const StructureCall<S>& call, Plane<Qor32f> dst, Qor32f k, Qor32f scale) {
  const bool isInPlace = static_cast<const void*>(call.src.first) == dst.first;
  const QorStatus status = firstFailure(nullCheck(call.src.first, dst.first, call.buffer), sizeCheck(call.size),
                                        evenCheck<S>(call.src.step), evenCheck<Qor32f>(dst.step), call.checkModes(),
                                        call.src.step < 1 || dst.step < 0 ? qorStsStepErr : qorStsNoErr,
                                        std::is_same_v<S, Qor32f> && isInPlace ? qorStsInPlaceErr : qorStsNoErr);
  return status != qorStsNoErr ? status : forStructure(call, Response{dst, k, factorOf(call.window, scale)});
}

}  // namespace
}  // namespace qor

#define QOR_HARRIS(name, S)                                                                                  \
  QOR_BODY(name)                                                                                             \
  (const S* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, QorGradientFilter filterType,    \
   QoriMaskSize filterMask, int avgWindow, Qor32f k, Qor32f scale, QoriBorderType borderType, S borderValue, \
   Qor8u* pBuffer) {                                                                                         \
    return qor::harris<S>(                                                                                   \
        {{pSrc, srcStep}, roiSize, filterType, filterMask, avgWindow, borderType, borderValue, pBuffer},     \
        {pDst, dstStep}, k, scale);                                                                          \
  }
QOR_HARRIS(qoriHarrisCorner_8u32f_C1R, Qor8u)
QOR_HARRIS(qoriHarrisCorner_32f_C1R, Qor32f)
#undef QOR_HARRIS

QOR_BODY(qoriHarrisCornerGetBufferSize)
(QoriSize roiSize, QoriMaskSize filterMask, int avgWindow, QorDataType dataType, int numChannels, int* pBufferSize) {
  return qor::structureBufferSize(roiSize, filterMask, avgWindow, dataType, numChannels, pBufferSize);
}
