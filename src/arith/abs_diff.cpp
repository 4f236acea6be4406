// Absolute difference of two images, or of an image and a constant.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// When a call is shared among the team: its pixels are the samples.
constexpr TeamRule shared = {.pixels = 0x40000};

template <class T, class... Planes, class Kernel>
void mapPlanes(int64_t samples, int height, const Kernel& kernel, Plane<T> dst, Planes... sources) {
  const auto row = [&kernel](ptrdiff_t n, T* d, const auto*... s) { mapRow(d, n, kernel, s...); };
  forTeam(teamFor(shared, {static_cast<int>(samples), height}), height,
          [&](Band band) { forEachRow(samples, band.first, band.rows, row, dst, sources...); });
}

template <class T>
QorStatus absDiffImages(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep,
                        QoriSize roiSize, int channels) {
  const int64_t samples = static_cast<int64_t>(roiSize.width) * channels;
  const QorStatus status =
      firstFailure(nullCheck(pSrc1, pSrc2, pDst), sizeCheck(roiSize),
                   stepCheck<T>(samples, src1Step, src2Step, dstStep), evenCheck<T>(src1Step, src2Step, dstStep));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const T* a, const T* b) { return Block<T, 1>{absDiff(load(a), load(b))}; };
  mapPlanes(samples, roiSize.height, kernel, Plane{pDst, dstStep}, Plane{pSrc1, src1Step}, Plane{pSrc2, src2Step});
  return qorStsNoErr;
}

constexpr Qor32f clampToSample(Qor32f value, Qor32f) { return value; }
template <class T>
constexpr T clampToSample(int value, T) {
  return saturate<T>(value);
}

template <class T, class Value>
QorStatus absDiffConstant(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Value value) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize),
                                        stepCheck<T>(roiSize.width, srcStep, dstStep), evenCheck<T>(srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  const Vec<T> constant = splat(clampToSample(value, T{}));
  const auto kernel = [constant](const T* a) { return Block<T, 1>{absDiff(load(a), constant)}; };
  mapPlanes(roiSize.width, roiSize.height, kernel, Plane{pDst, dstStep}, Plane{pSrc, srcStep});
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_ABS_DIFF(name, T, channels)                                                                  \
  QOR_BODY(name)                                                                                         \
  (const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, QoriSize roiSize) { \
    return qor::absDiffImages(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, channels);       \
  }
#define QOR_ABS_DIFF_C(name, T, Value)                                                              \
  QOR_BODY(name)(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Value value) { \
    return qor::absDiffConstant(pSrc, srcStep, pDst, dstStep, roiSize, value);                      \
  }
#include "arith/abs_diff.def"
