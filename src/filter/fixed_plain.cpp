// Fixed filters whose results are the sums themselves: 16s of 8u images, exact and never beyond 16 bits, and 32f.
#include "filter/fixed_driver.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class Small, class Large, class S, class D>
QorStatus filterPlain(const FixedCall<S, D>& call, QoriMaskSize maskSize) {
  return filterChecked<Small, Large>(call, qorStsNoErr, maskSize,
                                     [&call]<class F>(F) { filterImage<F>(call, StorePlain()); });
}

template <class Small, class S>
QorStatus sizePlain(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, int extra) {
  constexpr bool floats = std::is_same_v<S, Qor32f>;
  return fixedBufferSize(roiSize, maskSize, pBufferSize,
                         {floats ? 4 : 2, Small::planes, extra,
                          floats ? QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_32f_C1R)
                                 : QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R),
                          floats ? QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_32f_C1R)
                                 : QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_16s_C1R)});
}

}  // namespace
}  // namespace qor

#define QOR_FIXED_PLAIN(name, query, S, D, Filter, extra)                                         \
  QOR_BODY(name)                                                                                  \
  (const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,     \
   QoriBorderType borderType, S borderValue, Qor8u* pBuffer) {                                    \
    return qor::filterPlain<qor::Filter<3>, qor::Filter<5>, S, D>(                                \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, maskSize); \
  }                                                                                               \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                    \
    return qor::sizePlain<qor::Filter<3>, S>(roiSize, maskSize, pBufferSize, extra);              \
  }
#define QOR_SCHARR_PLAIN(name, query, S, D, Filter, extra)                                                       \
  QOR_BODY(name)                                                                                                 \
  (const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType, S borderValue, \
   Qor8u* pBuffer) {                                                                                             \
    return qor::filterPlain<qor::Filter<3>, qor::Filter<3>, S, D>(                                               \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, qorMskSize3x3);           \
  }                                                                                                              \
  QOR_BODY(query)(QoriSize roiSize, int* pBufferSize) {                                                          \
    return qor::sizePlain<qor::Filter<3>, S>(roiSize, qorMskSize3x3, pBufferSize, extra);                        \
  }
#define QOR_FIXED_8U16S(name, query, Filter, extra) QOR_FIXED_PLAIN(name, query, Qor8u, Qor16s, Filter, extra)
#define QOR_SCHARR_8U16S(name, query, Filter, extra) QOR_SCHARR_PLAIN(name, query, Qor8u, Qor16s, Filter, extra)
#define QOR_FIXED_32F(name, query, Filter, extra) QOR_FIXED_PLAIN(name, query, Qor32f, Qor32f, Filter, extra)
#define QOR_SCHARR_32F(name, query, Filter, extra) QOR_SCHARR_PLAIN(name, query, Qor32f, Qor32f, Filter, extra)
#include "filter/fixed_filter.def"
