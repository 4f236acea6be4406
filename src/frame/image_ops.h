// Internal operations on images. Their callers have checked the arguments, so the checks are lighter: null pointers,
// then size; a step is tested only where a comment says so. Destinations may be a source with the same step.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// ---- copy
QorStatus qoriCopy_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriCopy_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize);

// ---- fill; past the caches when the image is not smaller than the largest
QorStatus qoriSet_8u_C1R(Qor8u value, Qor8u* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriSet_16s_C1R(Qor16s value, Qor16s* pDst, int dstStep, QoriSize roiSize);

// ---- exact widening; past the caches like the fill. Steps below 1: qorStsStepErr.
QorStatus qoriConvert_16u32f_C1R(const Qor16u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize);

// ---- dst = src2 - src1, the second source being the minuend, scaled by 2^-scaleFactor with ties to even, saturated.
// Parallel: 8u always, the others from width + height of 256.
QorStatus qoriSub_8u_C1RSfs(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                            int dstStep, QoriSize roiSize, int scaleFactor);
QorStatus qoriSub_8u_C3RSfs(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                            int dstStep, QoriSize roiSize, int scaleFactor);
QorStatus qoriSub_8u_C4RSfs(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                            int dstStep, QoriSize roiSize, int scaleFactor);
QorStatus qoriSub_16u_C1RSfs(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step, Qor16u* pDst,
                             int dstStep, QoriSize roiSize, int scaleFactor);
QorStatus qoriSub_16s_C1RSfs(const Qor16s* pSrc1, int src1Step, const Qor16s* pSrc2, int src2Step, Qor16s* pDst,
                             int dstStep, QoriSize roiSize, int scaleFactor);
QorStatus qoriSub_32f_C1R(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst,
                          int dstStep, QoriSize roiSize);
QorStatus qoriSub_32f_C3R(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst,
                          int dstStep, QoriSize roiSize);
QorStatus qoriSub_32f_C4R(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst,
                          int dstStep, QoriSize roiSize);

// ---- dst = src * value; the 16s product is scaled and saturated as above. Always parallel.
QorStatus qoriMulC_16s_C1RSfs(const Qor16s* pSrc, int srcStep, Qor16s value, Qor16s* pDst, int dstStep,
                              QoriSize roiSize, int scaleFactor);
QorStatus qoriMulC_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f value, Qor32f* pDst, int dstStep, QoriSize roiSize);

// ---- thresholds. The first two bound the image by the threshold, from below (qorCmpLess) or above (qorCmpGreater),
// and keep NaN. Checks: null, size, steps below 1 (qorStsStepErr), then the comparison (qorStsNotSupportedModeErr).
QorStatus qoriThreshold_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                QorCmpOp cmp, Qor32f threshold);
QorStatus qoriThreshold_LT_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                   Qor32f threshold);
// Pixels that compare true take value, the others keep their own. Checks: the comparison first, then as above.
QorStatus qoriThreshold_Val_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                   Qor8u threshold, Qor8u value, QorCmpOp cmp);
QorStatus qoriThreshold_Val_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                    Qor16u threshold, Qor16u value, QorCmpOp cmp);
QorStatus qoriThreshold_GTVal_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     Qor8u threshold, Qor8u value);
QorStatus qoriThreshold_GTVal_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                      Qor16u threshold, Qor16u value);

}  // namespace qor
