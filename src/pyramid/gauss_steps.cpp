// Gaussian pyramid steps: an image halved or doubled by fixed kernels of five taps a direction.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "pyramid/gauss_down.h"
#include "pyramid/gauss_up.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- sizes: the stated ones, of rows of 32-bit sums

int64_t roundUp16(int64_t bytes) { return roundUpTo(bytes, 16); }
template <class Lay>
int reportedFor(int64_t stated, const Lay& lay) {
  return reportedSize(static_cast<uint64_t>(stated), 1, bytesOf(lay));
}
template <int channels>
int reportedDown(int width) {
  return reportedFor(6 * roundUp16(int64_t{4} * width * channels) + 64, GaussDown<Qor32f, channels>::layout(width));
}
template <int channels>
int reportedUp(int width) {
  return reportedFor(3 * roundUp16(int64_t{8} * width * channels) + 64, GaussUp<Qor32f, channels>::layout(width));
}

QorStatus reportSize(int roiWidth, QorDataType dataType, int numChannels, int* pBufSize, int ofOne(int width),
                     int ofThree(int width)) {
  const bool channels = numChannels == 1 || numChannels == 3;
  const bool type = dataType == qor8u || dataType == qor8s || dataType == qor32f;
  const QorStatus status =
      firstFailure(nullCheck(pBufSize), lengthCheck(roiWidth), channels ? qorStsNoErr : qorStsChannelErr,
                   type ? qorStsNoErr : qorStsDataTypeErr);
  if (status == qorStsNoErr) *pBufSize = numChannels == 1 ? ofOne(roiWidth) : ofThree(roiWidth);
  return status;
}

// ---- steps

template <class T>
QorStatus imageCheck(const T* pSrc, int srcStep, int64_t srcSamples, T* pDst, int dstStep, int64_t dstSamples,
                     QoriSize roiSize, const Qor8u* pBuffer) {
  return firstFailure(nullCheck(pSrc, pDst, pBuffer), sizeCheck(roiSize), stepCheck<T>(srcSamples, srcStep),
                      stepCheck<T>(dstSamples, dstStep), evenCheck<T>(srcStep, dstStep));
}

// Runs work(ring) where the scratch has room for it: sizes that have wrapped may be too small.
template <class Lay, class Work>
QorStatus inScratch(Qor8u* pBuffer, int reported, const Lay& lay, const Work& work) {
  if (bytesOf(lay) > reported) return qorStsSizeErr;
  ScratchParts parts(pBuffer, reported, bytesOf(lay));
  work(lay(parts));
  return qorStsNoErr;
}

template <int channels, class T>
QorStatus pyrDown(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Qor8u* pBuffer) {
  using Step = GaussDown<T, channels>;
  const QorStatus status = imageCheck<T>(pSrc, srcStep, int64_t{roiSize.width} * channels, pDst, dstStep,
                                         Step::samplesOf(roiSize.width), roiSize, pBuffer);
  if (status != qorStsNoErr) return status;
  const Step step{{pSrc, srcStep}, {pDst, dstStep}, roiSize};
  return inScratch(pBuffer, reportedDown<channels>(roiSize.width), Step::layout(roiSize.width), [&](auto* ring) {
    if constexpr (std::is_same_v<T, Qor32f>) {
      if (roiSize.height < 3) return gaussDownTwoRows(step, ring);
      if (roiSize.width < 3) return gaussDownTwoColumns(step);
    }
    step.run(ring);
  });
}

template <int channels, class T>
QorStatus pyrUp(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Qor8u* pBuffer) {
  using Step = GaussUp<T, channels>;
  const int64_t samples = int64_t{roiSize.width} * channels;
  const QorStatus status = imageCheck<T>(pSrc, srcStep, samples, pDst, dstStep, 2 * samples, roiSize, pBuffer);
  if (status != qorStsNoErr) return status;
  const Step step{{pSrc, srcStep}, {pDst, dstStep}, roiSize};
  return inScratch(pBuffer, reportedUp<channels>(roiSize.width), Step::layout(roiSize.width), [&](auto* ring) {
    if constexpr (std::is_same_v<T, Qor32f>) {
      if (roiSize.height > 1 && roiSize.width == 1) return gaussUpOneColumn(step);
    }
    step.run(ring);
  });
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriPyrDownGetBufSize_Gauss5x5)(int roiWidth, QorDataType dataType, int numChannels, int* pBufSize) {
  return qor::reportSize(roiWidth, dataType, numChannels, pBufSize, qor::reportedDown<1>, qor::reportedDown<3>);
}
QOR_BODY(qoriPyrUpGetBufSize_Gauss5x5)(int roiWidth, QorDataType dataType, int numChannels, int* pBufSize) {
  return qor::reportSize(roiWidth, dataType, numChannels, pBufSize, qor::reportedUp<1>, qor::reportedUp<3>);
}

#define QOR_GAUSS_STEP(name, operation, T, channels)                                                   \
  QOR_BODY(name)(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Qor8u* pBuffer) { \
    return qor::operation<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pBuffer);                   \
  }
#define QOR_GAUSS_STEPS(down, up, T, channels) \
  QOR_GAUSS_STEP(down, pyrDown, T, channels)   \
  QOR_GAUSS_STEP(up, pyrUp, T, channels)
#include "pyramid/gauss_steps.def"
