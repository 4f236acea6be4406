// Extrema over rectangles, with replicated borders.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/image_ops.h"
#include "morph/mask_filter.h"
#include "morph/morph_state.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorStatus maskSizeCheck(QoriSize maskSize) {
  return sizeCheck(maskSize) == qorStsNoErr ? qorStsNoErr : qorStsMaskSizeErr;
}

QorStatus reportSize(const MorphForm& form, int roiWidth, QoriSize maskSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), lengthCheck(roiWidth), maskSizeCheck(maskSize));
  if (status != qorStsNoErr) return status;
  *pBufferSize = static_cast<int>(rectangleMemory<Qor32u>(form, roiWidth, maskSize));
  return qorStsNoErr;
}

template <class Op, int channels, class T>
QorStatus filterReplicated(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriSize maskSize,
                           QoriPoint anchor, Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pBuffer), sizeCheck(roiSize), maskSizeCheck(maskSize),
                   anchorCheck(anchor, maskSize), stepCheck<T>(int64_t{roiSize.width} * channels, srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  const SampleSource<T> source = {{{pSrc, srcStep}, morphologyBorders.sides(qorBorderRepl, roiSize), nullptr},
                                  channels};
  const Rectangle rectangle = {-ptrdiff_t{anchor.x}, ptrdiff_t{maskSize.width} - 1 - anchor.x, -ptrdiff_t{anchor.y},
                               ptrdiff_t{maskSize.height} - 1 - anchor.y};
  const Memory memory =
      memoryOf(pBuffer, static_cast<int>(rectangleMemory<Qor32u>(sampleForm<T, channels>, roiSize.width, maskSize)));
  const bool fits =
      filterRectangle<Op, T>(source, rectangle, {0, 0, roiSize.width, roiSize.height}, {pDst, dstStep}, {}, memory);
  return fits ? qorStsNoErr : qorStsSizeErr;
}

}  // namespace
}  // namespace qor

#define QOR_RECTANGLE(name, Op, form, T, channels)                                                                     \
  QOR_BODY(qoriFilter##name##GetBufferSize_##form)(int roiWidth, QoriSize maskSize, int* pBufferSize) {                \
    return qor::reportSize(qor::sampleForm<T, channels>, roiWidth, maskSize, pBufferSize);                             \
  }                                                                                                                    \
  QOR_BODY(qoriFilter##name##BorderReplicate_##form)                                                                   \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriSize maskSize, QoriPoint anchor,            \
   Qor8u* pBuffer) {                                                                                                   \
    return qor::filterReplicated<qor::Op, channels>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, anchor, pBuffer); \
  }
#define QOR_MORPH_REPLICATE(form, T, channels)   \
  QOR_RECTANGLE(Max, Highest, form, T, channels) \
  QOR_RECTANGLE(Min, Lowest, form, T, channels)
#include "morph/forms.def"
