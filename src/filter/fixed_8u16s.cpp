// Fixed filters of 8u images with 16s results: exact, and nothing saturates.
#include "filter/fixed_driver.h"
#include "frame/bodies.h"

namespace qor {
namespace {

template <class Small, class Large>
QorStatus filter16s(const FixedCall<Qor8u, Qor16s>& call, QoriMaskSize maskSize) {
  return filterChecked<Small, Large>(call, qorStsNoErr, maskSize,
                                     [&call]<class F>(F) { filterImage<F>(call, StorePlain()); });
}

template <class Small>
QorStatus size16s(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, int extra) {
  return fixedBufferSize(roiSize, maskSize, pBufferSize,
                         {2, Small::planes, extra, QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R),
                          QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_16s_C1R)});
}

}  // namespace
}  // namespace qor

#define QOR_FIXED_8U16S(name, query, Filter, extra)                                                    \
  QOR_BODY(name)                                                                                       \
  (const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize, \
   QoriBorderType borderType, Qor8u borderValue, Qor8u* pBuffer) {                                     \
    return qor::filter16s<qor::Filter<3>, qor::Filter<5>>(                                             \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, maskSize);      \
  }                                                                                                    \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                         \
    return qor::size16s<qor::Filter<3>>(roiSize, maskSize, pBufferSize, extra);                        \
  }
#define QOR_SCHARR_8U16S(name, query, Filter, extra)                                                       \
  QOR_BODY(name)                                                                                           \
  (const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType, \
   Qor8u borderValue, Qor8u* pBuffer) {                                                                    \
    return qor::filter16s<qor::Filter<3>, qor::Filter<3>>(                                                 \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, qorMskSize3x3);     \
  }                                                                                                        \
  QOR_BODY(query)(QoriSize roiSize, int* pBufferSize) {                                                    \
    return qor::size16s<qor::Filter<3>>(roiSize, qorMskSize3x3, pBufferSize, extra);                       \
  }
#include "filter/fixed_filter.def"
