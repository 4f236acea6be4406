// Dilation and erosion: records, checks, and the images handed to the filters.
#include <string.h>

#include "frame/bodies.h"
#include "frame/checks.h"
#include "morph/mask_filter.h"
#include "morph/morph_state.h"
#include "morph/packed.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- records

QorStatus recordCheck(int roiWidth, QoriSize maskSize) {
  return firstFailure(lengthCheck(roiWidth), sizeCheck(maskSize));
}

QorStatus reportSizes(const MorphForm& form, int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pSpecSize, pBufferSize), recordCheck(roiWidth, maskSize));
  if (status != qorStsNoErr) return status;
  const MorphSizes sizes = morphSizes(form, roiWidth, maskSize);
  *pSpecSize = sizes.record;
  *pBufferSize = sizes.buffer;
  return qorStsNoErr;
}

QorStatus reportReplicateSize(const MorphForm& form, int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize) {
  const QorStatus status = firstFailure(nullCheck(pMask, pSize), recordCheck(roiWidth, maskSize));
  if (status != qorStsNoErr) return status;
  *pSize = morphSizes(form, roiWidth, maskSize).record;
  return qorStsNoErr;
}

QorStatus initBorder(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriMorphState* pMorphSpec,
                     const Qor8u* pBuffer) {
  const QorStatus status = firstFailure(nullCheck(pMask, pMorphSpec, pBuffer), recordCheck(roiWidth, maskSize));
  if (status != qorStsNoErr) return status;
  makeRecord(pMorphSpec, roiWidth, pMask, maskSize, centreOf(maskSize));
  return qorStsNoErr;
}

QorStatus initReplicate(const MorphForm& form, int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                        QoriMorphState* pState) {
  const QorStatus status =
      firstFailure(nullCheck(pMask, pState), recordCheck(roiWidth, maskSize), anchorCheck(anchor, maskSize));
  if (status != qorStsNoErr) return status;
  makeRecord(pState, roiWidth, pMask, maskSize, anchor, morphSizes(form, roiWidth, maskSize).record);
  return qorStsNoErr;
}

QorStatus allocateReplicate(const MorphForm& form, int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                            QoriPoint anchor, QoriMorphState** ppState) {
  const QorStatus status =
      firstFailure(nullCheck(pMask, ppState), recordCheck(roiWidth, maskSize), anchorCheck(anchor, maskSize));
  if (status != qorStsNoErr) return status;
  // Of a mask of row runs, whose memory may be of any size, more hardly makes a difference.
  constexpr int64_t enoughForRuns = 256 << 10;
  const int64_t forStarts = (int64_t{maskSize.width} + 1) * int64_t{sizeof(Qor32s)};
  int64_t bytes = rectangleMemory<int64_t>(form, roiWidth, maskSize);
  if (bytes < enoughForRuns) bytes = enoughForRuns;
  if (bytes < forStarts) bytes = forStarts;
  bytes += maskRecordBytes(maskSize);
  void* const block = bytes <= topOf<Qor32s> ? qorsMalloc_8u(static_cast<int>(bytes)) : nullptr;
  if (block == nullptr) return qorStsMemAllocErr;
  *ppState = static_cast<QoriMorphState*>(block);
  makeRecord(block, roiWidth, pMask, maskSize, anchor, bytes);
  return qorStsNoErr;
}

QorStatus freeRecord(QoriMorphState* pState) {
  if (pState == nullptr) return qorStsNullPtrErr;
  qorsFree(pState);
  return qorStsNoErr;
}

// ---- images

constexpr Area areaOf(QoriSize size) { return {0, 0, size.width, size.height}; }

template <class Op, int channels, class T>
QorStatus filterBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,
                       const QoriMorphState* pMorphSpec, Qor8u* pBuffer) {
  QorStatus status =
      borderCallCheck<T, channels>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, pMorphSpec, pBuffer);
  if (status != qorStsNoErr) return status;
  const MorphRecord record = recordAt(pMorphSpec);
  // In 16 bits a destination that is the source is refused.
  status = firstFailure(widthCheck(roiSize.width, record.roiWidth),
                        sizeof(T) == 2 && pSrc == pDst ? qorStsInPlaceErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const MorphSizes sizes = morphSizes(sampleForm<T, channels>, record.roiWidth, record.mask.size);
  const SampleSource<T> source = {{{pSrc, srcStep}, morphologyBorders.sides(borderType, roiSize), nullptr}, channels};
  filterMask<Op, T>(source, record.mask, record.shape, areaOf(roiSize), {pDst, dstStep}, {},
                    memoryOf(pBuffer, sizes.buffer));
  return qorStsNoErr;
}

template <class Op>
QorStatus filterPacked(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep, int dstBitOffset,
                       QoriSize roiSize, QoriBorderType borderType, const QoriMorphState* pMorphSpec, Qor8u* pBuffer) {
  QorStatus status = packedCallCheck(pSrc, srcStep, srcBitOffset, pDst, dstStep, dstBitOffset, roiSize, borderType,
                                     pMorphSpec, pBuffer);
  if (status != qorStsNoErr) return status;
  const MorphRecord record = recordAt(pMorphSpec);
  status = firstFailure(widthCheck(roiSize.width, record.roiWidth), pSrc == pDst ? qorStsInPlaceErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const MorphSizes sizes = morphSizes(packedForm, record.roiWidth, record.mask.size);
  const BitSource source = {{pSrc, srcStep, srcBitOffset}, morphologyBorders.sides(borderType, roiSize)};
  filterMask<Op>(source, record.mask, record.shape, areaOf(roiSize), {pDst, dstStep, dstBitOffset}, {},
                 memoryOf(pBuffer, sizes.buffer));
  return qorStsNoErr;
}

template <class Op, int channels, class T>
QorStatus filterReplicated(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize,
                           QoriBorderType borderType, const QoriMorphState* pState) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pState), sizeCheck(roiSize),
                   stepCheck<T>(int64_t{roiSize.width} * channels, srcStep, dstStep), evenCheck<T>(srcStep, dstStep),
                   borderType != qorBorderRepl ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const MorphRecord record = recordAt(pState);
  if (roiSize.width > record.roiWidth) return qorStsSizeErr;
  const SampleSource<T> source = {{{pSrc, srcStep}, morphologyBorders.sides(borderType, roiSize), nullptr}, channels};
  filterMask<Op, T>(source, record.mask, record.shape, areaOf(roiSize), {pDst, dstStep}, {}, record.memory);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

// ---- bodies

#define QOR_MORPH_RECORD(form, description)                                                           \
  QOR_BODY(qoriMorphologyBorderGetSize_##form)                                                        \
  (int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize) {                               \
    return qor::reportSizes(description, roiWidth, maskSize, pSpecSize, pBufferSize);                 \
  }                                                                                                   \
  QOR_BODY(qoriMorphologyBorderInit_##form)                                                           \
  (int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriMorphState* pMorphSpec, Qor8u* pBuffer) { \
    return qor::initBorder(roiWidth, pMask, maskSize, pMorphSpec, pBuffer);                           \
  }
#define QOR_MORPH_BORDER_BODY(name, Op, T, channels)                                                           \
  QOR_BODY(name)                                                                                               \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType, T,           \
   const QoriMorphState* pMorphSpec, Qor8u* pBuffer) {                                                         \
    return qor::filterBorder<qor::Op, channels>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, pMorphSpec, \
                                                pBuffer);                                                      \
  }
#define QOR_MORPH_PACKED_BODY(name, Op)                                                                              \
  QOR_BODY(name)                                                                                                     \
  (const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep, int dstBitOffset, QoriSize roiSize,   \
   QoriBorderType borderType, Qor8u, const QoriMorphState* pMorphSpec, Qor8u* pBuffer) {                             \
    return qor::filterPacked<qor::Op>(pSrc, srcStep, srcBitOffset, pDst, dstStep, dstBitOffset, roiSize, borderType, \
                                      pMorphSpec, pBuffer);                                                          \
  }
#define QOR_MORPH_REPLICATE_BODY(name, Op, T, channels)                                                         \
  QOR_BODY(name)                                                                                                \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,               \
   const QoriMorphState* pState) {                                                                              \
    return qor::filterReplicated<qor::Op, channels>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, pState); \
  }

#define QOR_MORPH_BORDER(form, T, channels)                            \
  QOR_MORPH_RECORD(form, (qor::sampleForm<T, channels>))               \
  QOR_MORPH_BORDER_BODY(qoriDilateBorder_##form, Highest, T, channels) \
  QOR_MORPH_BORDER_BODY(qoriErodeBorder_##form, Lowest, T, channels)
#define QOR_MORPH_PACKED(form)                            \
  QOR_MORPH_RECORD(form, qor::packedForm)                 \
  QOR_MORPH_PACKED_BODY(qoriDilateBorder_##form, Highest) \
  QOR_MORPH_PACKED_BODY(qoriErodeBorder_##form, Lowest)
#define QOR_MORPH_REPLICATE(form, T, channels)                                                               \
  QOR_MORPH_RECORD(form, (qor::sampleForm<T, channels>))                                                     \
  QOR_MORPH_BORDER_BODY(qoriDilateBorder_##form, Highest, T, channels)                                       \
  QOR_MORPH_BORDER_BODY(qoriErodeBorder_##form, Lowest, T, channels)                                         \
  QOR_BODY(qoriMorphologyGetSize_##form)(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize) {  \
    return qor::reportReplicateSize(qor::sampleForm<T, channels>, roiWidth, pMask, maskSize, pSize);         \
  }                                                                                                          \
  QOR_BODY(qoriMorphologyInit_##form)                                                                        \
  (int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor, QoriMorphState* pState) {          \
    return qor::initReplicate(qor::sampleForm<T, channels>, roiWidth, pMask, maskSize, anchor, pState);      \
  }                                                                                                          \
  QOR_BODY(qoriMorphologyInitAlloc_##form)                                                                   \
  (int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor, QoriMorphState** ppState) {        \
    return qor::allocateReplicate(qor::sampleForm<T, channels>, roiWidth, pMask, maskSize, anchor, ppState); \
  }                                                                                                          \
  QOR_MORPH_REPLICATE_BODY(qoriDilateBorderReplicate_##form, Highest, T, channels)                           \
  QOR_MORPH_REPLICATE_BODY(qoriErodeBorderReplicate_##form, Lowest, T, channels)
#include "morph/forms.def"

QOR_BODY(qoriMorphologyFree)(QoriMorphState* pState) { return qor::freeRecord(pState); }
