/**
 * @file arith.h
 * Pixel arithmetic and statistics.
 */
#ifndef QORCV_ARITH_H
#define QORCV_ARITH_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup abs_diff Absolute difference
 *
 * Per-pixel absolute difference of two images, or of an image and a constant:
 *
 *     dst(x, y) = |src1(x, y) - src2(x, y)|        dst(x, y) = |src(x, y) - value|
 *
 * Integer results are exact and always fit. In 32f the difference is formed in 32-bit float and its sign bit cleared,
 * so a NaN gives a NaN without a sign, and infinities of one sign give NaN. The constant of the integer forms is first
 * clamped to the range of the sample; that of the 32f form is used unchanged.
 *
 * @b Region: only the pixels of the region are read and written. @b In place: the destination may be either source
 * with the same step; partial overlap is undefined. @b Scratch: none. @b Threads: regions of 262144 pixels or more
 * (samples, in the three-channel form) are shared among the team; the result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for a step below width * channels * sample size, in the order of the arguments;
 * qorStsNotEvenStepErr (16u, 32f) for a step that is not a multiple of the sample size.
 * @{
 */
QorStatus qoriAbsDiff_8u_C1R(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                             int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiff_8u_C3R(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                             int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiff_16u_C1R(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step, Qor16u* pDst,
                              int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiff_32f_C1R(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst,
                              int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiffC_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, int value);
QorStatus qoriAbsDiffC_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize, int value);
QorStatus qoriAbsDiffC_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                               Qor32f value);
/** @} */

/**
 * @defgroup fast_arctan Fast arctangent
 *
 * Angle of the vectors (x, y) in degrees, four quadrants, counted from the x axis towards the y axis:
 *
 *     dst[i] = atan2(srcY[i], srcX[i]) * 180 / pi,  0 <= dst[i] < 360
 *
 * The absolute error around the circle is at most 0.01 degrees; what rounds to 360 is stored as 0. The angle of (0, 0)
 * is 0, that of two infinities the diagonal between them, and NaN in either coordinate gives NaN.
 *
 * @b In @b place: pDst may be either source. @b Threads: none. @b Statuses, in order: qorStsNullPtrErr for a null
 * pointer; qorStsSizeErr for len below 1.
 * @{
 */
QorStatus qoribFastArctan_32f(const Qor32f* pSrcY, const Qor32f* pSrcX, Qor32f* pDst, int len);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
