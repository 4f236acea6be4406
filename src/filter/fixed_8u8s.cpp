// Fixed filters of 8u images with divided 8s results.
#include "filter/fixed_driver.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The 5x5 Laplacian truncates in every column. Both Laplacians are shared in smaller bands.
template <class F>
void divide(const FixedCall<Qor8u, Qor8s>& call, Qor32s divisor) {
  constexpr bool isLaplacian = F::planes == 2;
  constexpr Sharing sharing = isLaplacian ? smallSharing : usualSharing;
  constexpr Quotient quotient = isLaplacian && F::taps == 5 ? Quotient::truncated : Quotient::nearest;
  if (divisor > 0 && (divisor & (divisor - 1)) == 0) {
    filterImage<F>(call, StoreShifted<quotient>(__builtin_ctz(static_cast<Qor32u>(divisor))), sharing);
  } else {
    filterImage<F>(call, StoreQuotient<quotient>(divisor), sharing);
  }
}

template <class Small, class Large>
QorStatus filter8s(const FixedCall<Qor8u, Qor8s>& call, Qor32s divisor, QoriMaskSize maskSize) {
  return filterChecked<Small, Large>(call, divisor == 0 ? qorStsBadArgErr : qorStsNoErr, maskSize,
                                     [&]<class F>(F) { divide<F>(call, divisor); });
}

template <class Small>
QorStatus size8s(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, int extra) {
  return fixedBufferSize(roiSize, maskSize, pBufferSize,
                         {2, Small::planes, extra, QOR_VARIANT_BODY(qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R),
                          QOR_VARIANT_BODY(qoriFilterColumnPipelineGetBufferSize_16s8s_C1R), Small::planes == 2});
}

}  // namespace
}  // namespace qor

#define QOR_FIXED_8U8S(name, query, Filter, extra)                                                         \
  QOR_BODY(name)                                                                                           \
  (const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,      \
   QoriBorderType borderType, Qor8u borderValue, int divisor, Qor8u* pBuffer) {                            \
    return qor::filter8s<qor::Filter<3>, qor::Filter<5>>(                                                  \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, divisor, maskSize); \
  }                                                                                                        \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                             \
    return qor::size8s<qor::Filter<3>>(roiSize, maskSize, pBufferSize, extra);                             \
  }
#define QOR_SCHARR_8U8S(name, query, Filter, extra)                                                             \
  QOR_BODY(name)                                                                                                \
  (const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,       \
   Qor8u borderValue, int divisor, Qor8u* pBuffer) {                                                            \
    return qor::filter8s<qor::Filter<3>, qor::Filter<3>>(                                                       \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, divisor, qorMskSize3x3); \
  }                                                                                                             \
  QOR_BODY(query)(QoriSize roiSize, int* pBufferSize) {                                                         \
    return qor::size8s<qor::Filter<3>>(roiSize, qorMskSize3x3, pBufferSize, extra);                             \
  }
#include "filter/fixed_filter.def"
