// Fixed filters of 32f images.
#include "filter/fixed_driver.h"
#include "frame/bodies.h"

namespace qor {
namespace {

template <class Small, class Large>
QorStatus filter32f(const FixedCall<Qor32f, Qor32f>& call, QoriMaskSize maskSize) {
  return filterChecked<Small, Large>(call, qorStsNoErr, maskSize,
                                     [&call]<class F>(F) { filterImage<F>(call, StorePlain()); });
}

template <class Small>
QorStatus size32f(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, int extra) {
  return fixedBufferSize(roiSize, maskSize, pBufferSize,
                         {4, Small::planes, extra, QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_32f_C1R),
                          QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_32f_C1R)});
}

}  // namespace
}  // namespace qor

#define QOR_FIXED_32F(name, query, Filter, extra)                                                       \
  QOR_BODY(name)                                                                                        \
  (const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize, \
   QoriBorderType borderType, Qor32f borderValue, Qor8u* pBuffer) {                                     \
    return qor::filter32f<qor::Filter<3>, qor::Filter<5>>(                                              \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, maskSize);       \
  }                                                                                                     \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                          \
    return qor::size32f<qor::Filter<3>>(roiSize, maskSize, pBufferSize, extra);                         \
  }
#define QOR_SCHARR_32F(name, query, Filter, extra)                                                          \
  QOR_BODY(name)                                                                                            \
  (const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType, \
   Qor32f borderValue, Qor8u* pBuffer) {                                                                    \
    return qor::filter32f<qor::Filter<3>, qor::Filter<3>>(                                                  \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, qorMskSize3x3);      \
  }                                                                                                         \
  QOR_BODY(query)(QoriSize roiSize, int* pBufferSize) {                                                     \
    return qor::size32f<qor::Filter<3>>(roiSize, qorMskSize3x3, pBufferSize, extra);                        \
  }
#include "filter/fixed_filter.def"
