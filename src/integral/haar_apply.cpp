// One stage of a Haar cascade on one table.
#include "integral/haar_apply.h"
#include "frame/alloc.h"
#include "frame/bodies.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The walk that suits the expected number of candidates.
HaarWalk walkFor(Qor32s expected, QoriSize size) {
  const int64_t pixels = static_cast<int64_t>(size.width) * size.height;
  if (expected >= pixels / 4) return HaarWalk::dense;
  if (expected >= pixels / 8) return HaarWalk::groups1;
  if (expected >= pixels / 16) return HaarWalk::groups2;
  return HaarWalk::groups4;
}

template <class V>
void allOffsets(const HaarRecord<V>& record, int step, ptrdiff_t* offsets) {
  for (int f = 0; f < record.featureCount; ++f) {
    const HaarFeature<V>& feature = record.features[f];
    for (int k = 0; k < feature.rectCount; ++k, offsets += 4) cornerOffsets(feature.rects[k], step, 4, offsets);
  }
}

template <class Form, bool readsExpected, class T, class N, class V>
QorStatus applyUpright(const T* pSrc, int srcStep, const N* pNorm, int normStep, Qor8u* pMask, int maskStep,
                       QoriSize roiSize, int* pPositive, V threshold, const HaarRecord<V>* record) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pNorm, pMask, pPositive, record), sizeCheck(roiSize),
                                        stepCheck<T>(roiSize.width, srcStep, normStep),
                                        stepCheck<Qor8u>(roiSize.width, maskStep), evenCheck<T>(srcStep, normStep));
  if (status != qorStsNoErr) return status;
  HaarTable<T> table{{pSrc}, {srcStep}, nullptr};
  ptrdiff_t* offsets = nullptr;
  if (record->featureCount > 0) {
    // Distances of 64 bits, so that no step is too large for them. A block holds fewer than 2^26 rectangles.
    offsets = reinterpret_cast<ptrdiff_t*>(qorsMalloc_32s(record->counts[uprightTotal<V>] * 8));
    if (offsets == nullptr) return qorStsMemAllocErr;
    allOffsets(*record, srcStep, offsets);
    table.offsets = offsets;
  }
  const HaarWalk walk = readsExpected ? walkFor(*pPositive, roiSize) : HaarWalk::groups4;
  HaarRegion<Form, HaarTable<T>> region(Form{}, table, pNorm, normStep, *record, threshold);
  *pPositive = region.run(pMask, maskStep, roiSize, walk);
  qorsFree(offsets);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriApplyHaarClassifier_32f_C1R)
(const Qor32f* pSrc, int srcStep, const Qor32f* pNorm, int normStep, Qor8u* pMask, int maskStep, QoriSize roiSize,
 int* pPositive, Qor32f threshold, const QoriHaarClassifier_32f* pState) {
  return qor::applyUpright<qor::HaarFloat<Qor32f>, true>(pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize,
                                                         pPositive, threshold, pState);
}
QOR_BODY(qoriApplyHaarClassifier_32s32f_C1R)
(const Qor32s* pSrc, int srcStep, const Qor32f* pNorm, int normStep, Qor8u* pMask, int maskStep, QoriSize roiSize,
 int* pPositive, Qor32f threshold, const QoriHaarClassifier_32f* pState) {
  return qor::applyUpright<qor::HaarFloat<Qor32s>, false>(pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize,
                                                          pPositive, threshold, pState);
}
QOR_BODY(qoriApplyHaarClassifier_32s_C1RSfs)
(const Qor32s* pSrc, int srcStep, const Qor32s* pNorm, int normStep, Qor8u* pMask, int maskStep, QoriSize roiSize,
 int* pPositive, Qor32s threshold, const QoriHaarClassifier_32s* pState, int) {
  return qor::applyUpright<qor::HaarInteger, false>(pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive,
                                                    threshold, pState);
}
