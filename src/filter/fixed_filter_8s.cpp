// Fixed filters of 8u images with divided 8s results.
#include "filter/fixed_filter.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Both Laplacians are shared in smaller bands.
template <class Small>
FixedSize size8s(int extra) {
  constexpr bool isLaplacian = Small::planes == 2;
  return {sizeof(Qor16s), Small::planes, extra, isLaplacian, isLaplacian ? fixedSmallTeam : fixedTeam};
}

// The 5x5 Laplacian truncates in every column.
template <class F>
QorStatus divide(const FixedCall<Qor8u>& call, Qor32s divisor, const FixedSize& size) {
  constexpr Quotient quotient = F::planes == 2 && F::taps == 5 ? Quotient::truncated : Quotient::nearest;
  if (divisor > 0 && (divisor & (divisor - 1)) == 0) {
    const ByShift division(__builtin_ctz(static_cast<Qor32u>(divisor)));
    return filterImage<F, Qor8s>(StoreQuotient<quotient, ByShift>{division}, call, size);
  }
  return filterImage<F, Qor8s>(StoreQuotient<quotient, ByReciprocal>{ByReciprocal(divisor)}, call, size);
}

template <class Small, class Large>
QorStatus filter8s(const FixedCall<Qor8u>& call, Qor32s divisor, QoriMaskSize maskSize, int extra) {
  return filterChecked<Qor8s, Small, Large>(call, divisor == 0 ? qorStsBadArgErr : qorStsNoErr, maskSize,
                                            [=]<class F>(F) { return divide<F>(call, divisor, size8s<Small>(extra)); });
}

}  // namespace
}  // namespace qor

#define QOR_FIXED_8U8S(name, query, Filter, extra)                                                              \
  QOR_BODY(name)                                                                                                \
  (const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,           \
   QoriBorderType borderType, Qor8u borderValue, int divisor, Qor8u* pBuffer) {                                 \
    return qor::filter8s<qor::Filter<3>, qor::Filter<5>>(                                                       \
        {{pSrc, srcStep}, pDst, dstStep, roiSize, borderType, borderValue, pBuffer}, divisor, maskSize, extra); \
  }                                                                                                             \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                                  \
    return qor::fixedBufferSize(roiSize, maskSize, pBufferSize, qor::size8s<qor::Filter<3>>(extra));            \
  }
#define QOR_SCHARR_8U8S(name, query, Filter, extra)                                                                  \
  QOR_BODY(name)                                                                                                     \
  (const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,            \
   Qor8u borderValue, int divisor, Qor8u* pBuffer) {                                                                 \
    return qor::filter8s<qor::Filter<3>, qor::Filter<3>>(                                                            \
        {{pSrc, srcStep}, pDst, dstStep, roiSize, borderType, borderValue, pBuffer}, divisor, qorMskSize3x3, extra); \
  }                                                                                                                  \
  QOR_BODY(query)(QoriSize roiSize, int* pBufferSize) {                                                              \
    return qor::fixedBufferSize(roiSize, qorMskSize3x3, pBufferSize, qor::size8s<qor::Filter<3>>(extra));            \
  }
#include "filter/fixed_filter.def"
