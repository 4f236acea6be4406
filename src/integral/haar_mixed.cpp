// One stage of a Haar cascade on an upright and a tilted table.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "integral/haar_apply.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class Form, class T, class N, class V>
QorStatus applyMixed(Form form, bool scaleAccepted, const T* pSrc, int srcStep, const T* pTilt, int tiltStep,
                     const N* pNorm, int normStep, Qor8u* pMask, int maskStep, QoriSize roiSize, int* pPositive,
                     V threshold, const HaarRecord<V>* record) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pTilt, pNorm, pMask, pPositive, record), sizeCheck(roiSize),
                   stepCheck<T>(roiSize.width, srcStep, tiltStep, normStep), stepCheck<Qor8u>(roiSize.width, maskStep),
                   evenCheck<T>(srcStep, tiltStep, normStep), scaleAccepted ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  // A tilted table stands for its pixels from row 1, column 1 on.
  const HaarTablePair<T> tables{{pSrc, rowAt(pTilt, tiltStep, 1) + 1}, {srcStep, tiltStep}};
  HaarRegion<Form, HaarTablePair<T>> region(form, tables, pNorm, normStep, *record, threshold);
  *pPositive = region.run(pMask, maskStep, roiSize, HaarWalk::groups4);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriApplyMixedHaarClassifier_32f_C1R)
(const Qor32f* pSrc, int srcStep, const Qor32f* pTilt, int tiltStep, const Qor32f* pNorm, int normStep, Qor8u* pMask,
 int maskStep, QoriSize roiSize, int* pPositive, Qor32f threshold, const QoriHaarClassifier_32f* pState) {
  return qor::applyMixed(qor::HaarFloat<Qor32f>{}, true, pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask,
                         maskStep, roiSize, pPositive, threshold, pState);
}
QOR_BODY(qoriApplyMixedHaarClassifier_32s32f_C1R)
(const Qor32s* pSrc, int srcStep, const Qor32s* pTilt, int tiltStep, const Qor32f* pNorm, int normStep, Qor8u* pMask,
 int maskStep, QoriSize roiSize, int* pPositive, Qor32f threshold, const QoriHaarClassifier_32f* pState) {
  return qor::applyMixed(qor::HaarFloat<Qor32s>{}, true, pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask,
                         maskStep, roiSize, pPositive, threshold, pState);
}
QOR_BODY(qoriApplyMixedHaarClassifier_32s_C1RSfs)
(const Qor32s* pSrc, int srcStep, const Qor32s* pTilt, int tiltStep, const Qor32s* pNorm, int normStep, Qor8u* pMask,
 int maskStep, QoriSize roiSize, int* pPositive, Qor32s threshold, const QoriHaarClassifier_32s* pState,
 int scaleFactor) {
  // The low six bits of -scaleFactor: longer shifts wrap.
  const int shift = static_cast<int>(-static_cast<qor::Qor32u>(scaleFactor) & 63);
  return qor::applyMixed(qor::HaarWide{shift}, scaleFactor <= 0, pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask,
                         maskStep, roiSize, pPositive, threshold, pState);
}
