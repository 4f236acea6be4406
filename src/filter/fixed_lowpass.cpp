// Means of 3x3 and 5x5 pixels.
#include "filter/fixed_driver.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <int K>
void mean(const FixedCall<Qor8u, Qor8u>& call) {
  filterImage<Lowpass<K>>(call, StoreMean8u<K>());
}
template <int K>
void mean(const FixedCall<Qor32f, Qor32f>& call) {
  filterImage<Lowpass<K>>(call, StoreMean<K>());
}

template <class T>
QorStatus lowpass(const FixedCall<T, T>& call, QoriMaskSize maskSize) {
  return filterChecked<Lowpass<3>, Lowpass<5>>(call, qorStsNoErr, maskSize,
                                               [&call]<class F>(F) { mean<F::taps>(call); });
}

}  // namespace
}  // namespace qor

#define QOR_LOWPASS(name, T)                                                                                         \
  QOR_BODY(name)                                                                                                     \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,                        \
   QoriBorderType borderType, T borderValue, Qor8u* pBuffer) {                                                       \
    return qor::lowpass<T>({{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, maskSize); \
  }
QOR_LOWPASS(qoriFilterLowpassBorder_8u_C1R, Qor8u)
QOR_LOWPASS(qoriFilterLowpassBorder_32f_C1R, Qor32f)
#undef QOR_LOWPASS

QOR_BODY(qoriFilterLowpassGetBufferSize_8u_C1R)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return qor::fixedBufferSize(roiSize, maskSize, pBufferSize,
                              {2, 1, 368, QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R),
                               QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_16s8u_C1R)});
}
QOR_BODY(qoriFilterLowpassGetBufferSize_32f_C1R)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return qor::fixedBufferSize(roiSize, maskSize, pBufferSize,
                              {4, 1, 304, QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_32f_C1R),
                               QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_32f_C1R)});
}
