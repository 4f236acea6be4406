// Means of 3x3 and 5x5 pixels.
#include "filter/fixed_filter.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr FixedSize meanSize(Qor8u) { return {sizeof(Qor16s), 1, 368}; }
constexpr FixedSize meanSize(Qor32f) { return {sizeof(Qor32f), 1, 304}; }

template <class T>
QorStatus lowpass(const FixedCall<T>& call, QoriMaskSize maskSize) {
  return filterChecked<T, Lowpass<3>, Lowpass<5>>(call, qorStsNoErr, maskSize, [&call]<class F>(F) {
    using Store = std::conditional_t<std::is_same_v<T, Qor8u>, StoreMean8u<F::taps>, StoreMean<F::taps>>;
    return filterImage<F, T>(Store(), call, meanSize(T{}));
  });
}

}  // namespace
}  // namespace qor

#define QOR_LOWPASS(name, query, T)                                                                                \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,                      \
   QoriBorderType borderType, T borderValue, Qor8u* pBuffer) {                                                     \
    return qor::lowpass<T>({{pSrc, srcStep}, pDst, dstStep, roiSize, borderType, borderValue, pBuffer}, maskSize); \
  }                                                                                                                \
  QOR_BODY(query)(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {                                     \
    return qor::fixedBufferSize(roiSize, maskSize, pBufferSize, qor::meanSize(T{}));                               \
  }
QOR_LOWPASS(qoriFilterLowpassBorder_8u_C1R, qoriFilterLowpassGetBufferSize_8u_C1R, Qor8u)
QOR_LOWPASS(qoriFilterLowpassBorder_32f_C1R, qoriFilterLowpassGetBufferSize_32f_C1R, Qor32f)
#undef QOR_LOWPASS
