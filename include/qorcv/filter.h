/**
 * @file filter.h
 * Linear filters: row and column pipelines, fixed kernels with borders, Gaussians, colour gradients.
 */
#ifndef QORCV_FILTER_H
#define QORCV_FILTER_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup color_gradient Colour gradient to gray
 *
 * Gradient strength of a colour picture: every pixel of the source holds the derivatives a, b and c of its channels,
 * and the destination gets their norm.
 *
 *                  8u, 16u                              32f
 *     qoriNormInf  max(a, b, c)                         max(|a|, |b|, |c|)
 *     qoriNormL1   (a + b + c) / 3                      |a| + |b| + |c|
 *     qoriNormL2   sqrt((a * a + b * b + c * c) / 3)    sqrt(a * a + b * b + c * c)
 *
 * The integer forms are means over the channels, so that they fit the sample; the float forms are not divided. L1
 * divides in fixed point: ((a + b + c) * 1365 + 2048) >> 12 in 8u, ((a + b + c) * 5461 + 8192) >> 14 in 16u, so in 16u
 * the largest samples give 65532. L2 of integers is exact, rounded to nearest; ties do not occur. In 32f every step is
 * rounded to 32-bit float, from left to right, and the root is correctly rounded. There max is (x > y ? x : y) from
 * left to right, so of NaNs only one in the last channel is sure to be kept; L1 and L2 keep all.
 *
 * @b Region: only the pixels of the region are read and written. @b In @b place: no; overlap of source and destination
 * is undefined. @b Scratch: none. @b Threads: a call from inside a parallel region runs on a team of its own where
 * nested regions are allowed: as large as the caller's and the library's thread count allow, with 1024 pixels and 16
 * rows or more a thread. Any other call stays on the calling thread. The result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep below 3 * width * sample size, then dstStep below width * sample size;
 * qorStsNotEvenStepErr (16u, 32f) for a step that is not a multiple of the sample size; qorStsBadArgErr for another
 * norm.
 * @{
 */
QorStatus qoriGradientColorToGray_8u_C3C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           QoriNorm norm);
QorStatus qoriGradientColorToGray_16u_C3C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep,
                                            QoriSize roiSize, QoriNorm norm);
QorStatus qoriGradientColorToGray_32f_C3C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriNorm norm);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
