// Thresholds of images.
#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/image_ops.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorStatus comparisonCheck(QorCmpOp cmp) {
  return cmp == qorCmpLess || cmp == qorCmpGreater ? qorStsNoErr : qorStsNotSupportedModeErr;
}

// Lanes of ones where a is above b, without a signed comparison: what saturates away is not above.
template <class T>
Vec<T> notAbove(Vec<T> a, Vec<T> b) {
  return subSat(a, b) == zero<T>();
}

template <class T>
struct ReplaceBy {
  Vec<T> threshold, value;
  bool above;

  Block<T, 1> operator()(const T* s) const {
    const Vec<T> a = load(s);
    return {select(above ? notAbove(a, threshold) : notAbove(threshold, a), a, value)};
  }
};

template <class T>
QorStatus thresholdVal(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T threshold, T value,
                       QorCmpOp cmp, const TeamRule& shared, bool streamed) {
  const ReplaceBy<T> kernel{splat(threshold), splat(value), cmp == qorCmpGreater};
  forTeam(teamFor(shared, roiSize), roiSize.height, [=](Band band) {
    withStores(streamed, [=](auto stores) {
      const auto row = [=](ptrdiff_t n, T* d, const T* s) { mapRow<stores()>(d, n, kernel, s); };
      forEachRow(roiSize.width, band.first, band.rows, row, Plane{pDst, dstStep}, Plane{pSrc, srcStep});
    });
  });
  return qorStsNoErr;
}

template <class T>
QorStatus checkVal(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QorCmpOp cmp) {
  return firstFailure(comparisonCheck(cmp), nullCheck(pSrc, pDst), sizeCheck(roiSize),
                      positiveStepCheck(srcStep, dstStep));
}

}  // namespace

QorStatus qoriThreshold_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                QorCmpOp cmp, Qor32f threshold) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize), positiveStepCheck(srcStep, dstStep),
                                        comparisonCheck(cmp));
  if (status != qorStsNoErr) return status;
  const V32f bound = splat(threshold);
  const auto run = [&](auto kernel) {
    const auto row = [kernel](ptrdiff_t n, Qor32f* d, const Qor32f* s) { mapRow(d, n, kernel, s); };
    forEachRow(roiSize.width, 0, roiSize.height, row, Plane{pDst, dstStep}, Plane{pSrc, srcStep});
  };
  // The pixel is the second operand, which min and max return when the comparison is false.
  if (cmp == qorCmpLess) {
    run([bound](const Qor32f* s) { return Block<Qor32f, 1>{max(bound, load(s))}; });
  } else {
    run([bound](const Qor32f* s) { return Block<Qor32f, 1>{min(bound, load(s))}; });
  }
  return qorStsNoErr;
}

QorStatus qoriThreshold_LT_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                   Qor32f threshold) {
  return qoriThreshold_32f_C1R(pSrc, srcStep, pDst, dstStep, roiSize, qorCmpLess, threshold);
}

QorStatus qoriThreshold_Val_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                   Qor8u threshold, Qor8u value, QorCmpOp cmp) {
  const QorStatus status = checkVal(pSrc, srcStep, pDst, dstStep, roiSize, cmp);
  if (status != qorStsNoErr) return status;
  return thresholdVal(pSrc, srcStep, pDst, dstStep, roiSize, threshold, value, cmp, never, false);
}

QorStatus qoriThreshold_Val_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                    Qor16u threshold, Qor16u value, QorCmpOp cmp) {
  const QorStatus status = checkVal(pSrc, srcStep, pDst, dstStep, roiSize, cmp);
  if (status != qorStsNoErr) return status;
  constexpr TeamRule shared = {.width = 192, .height = 192, .leastThreads = 2};
  constexpr int64_t smallestStreamed = 0x40000;
  const int64_t bytes = rowBytes<Qor16u>(roiSize.width) * roiSize.height;
  const bool streamed = pSrc != pDst && bytes >= smallestStreamed && bytes >= owncvGetCacheSize() / 2;
  return thresholdVal(pSrc, srcStep, pDst, dstStep, roiSize, threshold, value, cmp, shared, streamed);
}

QorStatus qoriThreshold_GTVal_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     Qor8u threshold, Qor8u value) {
  return qoriThreshold_Val_8u_C1R(pSrc, srcStep, pDst, dstStep, roiSize, threshold, value, qorCmpGreater);
}

QorStatus qoriThreshold_GTVal_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                      Qor16u threshold, Qor16u value) {
  return qoriThreshold_Val_16u_C1R(pSrc, srcStep, pDst, dstStep, roiSize, threshold, value, qorCmpGreater);
}

}  // namespace qor
