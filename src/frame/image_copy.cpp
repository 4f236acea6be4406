// Copies, fills and the widening of images.
#include <string.h>

#include "frame/checks.h"
#include "frame/image_ops.h"
#include "frame/row.h"
#include "frame/threads.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
QorStatus copy(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, int channels = 1) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const auto row = [](ptrdiff_t n, T* d, const T* s) { memmove(d, s, static_cast<size_t>(n) * sizeof(T)); };
  forEachRow(static_cast<int64_t>(roiSize.width) * channels, 0, roiSize.height, row, Plane{pDst, dstStep},
             Plane{pSrc, srcStep});
  return qorStsNoErr;
}

// Smaller images stay in a cache whatever its size, and the question is saved.
constexpr int64_t smallestStreamed = 0x80000;

bool shouldStream(int64_t bytes) { return bytes > smallestStreamed && bytes >= owncvGetCacheSize(); }

template <class T>
QorStatus fill(T value, T* pDst, int dstStep, QoriSize roiSize) {
  const QorStatus status = firstFailure(nullCheck(pDst), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const int64_t bytes = rowBytes<T>(roiSize.width) * roiSize.height;
  withStores(shouldStream(bytes), [=](auto stores) {
    const auto row = [value, stores](ptrdiff_t n, T* d) {
      if constexpr (sizeof(T) == 1 && stores() == Stores::cached) {
        memset(d, value, static_cast<size_t>(n));
      } else {
        mapRow<stores()>(d, n, [v = splat(value)] { return Block<T, 1>{v}; });
      }
    };
    forEachRow(roiSize.width, 0, roiSize.height, row, Plane{pDst, dstStep});
  });
  return qorStsNoErr;
}

}  // namespace

#define QOR_COPY(name, T, channels)                                                    \
  QorStatus name(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize) { \
    return copy(pSrc, srcStep, pDst, dstStep, roiSize, channels);                      \
  }
QOR_COPY(qoriCopy_8u_C1R, Qor8u, 1)
QOR_COPY(qoriCopy_8u_C3R, Qor8u, 3)
QOR_COPY(qoriCopy_8u_C4R, Qor8u, 4)
QOR_COPY(qoriCopy_16s_C1R, Qor16s, 1)
QOR_COPY(qoriCopy_16u_C1R, Qor16u, 1)
QOR_COPY(qoriCopy_32f_C1R, Qor32f, 1)
QOR_COPY(qoriCopy_32f_C3R, Qor32f, 3)
QOR_COPY(qoriCopy_32f_C4R, Qor32f, 4)

QorStatus qoriSet_8u_C1R(Qor8u value, Qor8u* pDst, int dstStep, QoriSize roiSize) {
  return fill(value, pDst, dstStep, roiSize);
}
QorStatus qoriSet_16s_C1R(Qor16s value, Qor16s* pDst, int dstStep, QoriSize roiSize) {
  return fill(value, pDst, dstStep, roiSize);
}

QorStatus qoriConvert_16u32f_C1R(const Qor16u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize), positiveStepCheck(srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const Qor16u* s) {
    return Block<Qor32f, 2>{loadAs<Qor32f>(s), loadAs<Qor32f>(s + V32f::lanes)};
  };
  withStores(shouldStream(rowBytes<Qor32f>(roiSize.width) * roiSize.height), [=](auto stores) {
    const auto row = [=](ptrdiff_t n, Qor32f* d, const Qor16u* s) { mapRow<stores()>(d, n, kernel, s); };
    forEachRow(roiSize.width, 0, roiSize.height, row, Plane{pDst, dstStep}, Plane{pSrc, srcStep});
  });
  return qorStsNoErr;
}

}  // namespace qor
