// Fixed filters whose results are the sums themselves: 16s of 8u images, exact and never beyond 16 bits, and 32f.
#include "filter/fixed_filter.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class S, class Small>
FixedSize sizePlain(int extra) {
  return {sizeof(Intermediate<S>), Small::planes, extra};
}

template <class Small, class Large, class S, class D>
QorStatus filterPlain(const FixedCall<S>& call, QoriMaskSize maskSize, int extra) {
  return filterChecked<D, Small, Large>(call, qorStsNoErr, maskSize, [=]<class F>(F) {
    return filterImage<F, D>(StorePlain(), call, sizePlain<S, Small>(extra));
  });
}

}  // namespace
}  // namespace qor

#define QOR_FIXED_PLAIN(name, query, S, D, Filter, extra)                                                  \
  QOR_BODY(name)                                                                                           \
  (const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,              \
   QoriBorderType borderType, S borderValue, Qor8u* pBuffer) {                                             \
    return qor::filterPlain<qor::Filter<3>, qor::Filter<5>, S, D>(                                         \
        {{pSrc, srcStep}, pDst, dstStep, roiSize, borderType, borderValue, pBuffer}, maskSize, extra);     \
  }                                                                                                        \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                             \
    return qor::fixedBufferSize(roiSize, maskSize, pBufferSize, qor::sizePlain<S, qor::Filter<3>>(extra)); \
  }
#define QOR_SCHARR_PLAIN(name, query, S, D, Filter, extra)                                                       \
  QOR_BODY(name)                                                                                                 \
  (const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType, S borderValue, \
   Qor8u* pBuffer) {                                                                                             \
    return qor::filterPlain<qor::Filter<3>, qor::Filter<3>, S, D>(                                               \
        {{pSrc, srcStep}, pDst, dstStep, roiSize, borderType, borderValue, pBuffer}, qorMskSize3x3, extra);      \
  }                                                                                                              \
  QOR_BODY(query)(QoriSize roiSize, int* pBufferSize) {                                                          \
    return qor::fixedBufferSize(roiSize, qorMskSize3x3, pBufferSize, qor::sizePlain<S, qor::Filter<3>>(extra));  \
  }
#define QOR_FIXED_8U16S(name, query, Filter, extra) QOR_FIXED_PLAIN(name, query, Qor8u, Qor16s, Filter, extra)
#define QOR_SCHARR_8U16S(name, query, Filter, extra) QOR_SCHARR_PLAIN(name, query, Qor8u, Qor16s, Filter, extra)
#define QOR_FIXED_32F(name, query, Filter, extra) QOR_FIXED_PLAIN(name, query, Qor32f, Qor32f, Filter, extra)
#define QOR_SCHARR_32F(name, query, Filter, extra) QOR_SCHARR_PLAIN(name, query, Qor32f, Qor32f, Filter, extra)
#include "filter/fixed_filter.def"
