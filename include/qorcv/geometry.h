/**
 * @file geometry.h
 * Operations that move pixels: correction of lenses, super-resolution.
 */
#ifndef QORCV_GEOMETRY_H
#define QORCV_GEOMETRY_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup undistort Undistortion
 *
 * Straightens an image that a lens has bent. The model (D. C. Brown, Close-range camera calibration, 1971) tells for
 * every pixel (x, y) of the destination where in the source it comes from. fx, fy are the focal lengths and (cx, cy)
 * the principal point, in pixels; k1, k2 are the radial and p1, p2 the tangential coefficients, without a unit.
 *
 * @b Radial model, of qoriUndistortRadial_* and of the maps when p1 and p2 are both 0:
 *
 *     dx = x - cx,    rx = dx * (1 / (fx * fx)) * dx
 *     dy = y - cy,    ry = dy * (1 / (fy * fy)) * dy
 *     D = (k2 * rx + k1) * rx + ((2 * k2 * ry) * rx + (k2 * ry + k1) * ry)           which is k1 r2 + k2 r2^2
 *     u = dx * D + x,    v = dy * D + y
 *
 * @b Radial @b and @b tangential @b model, of the maps for any other p1, p2:
 *
 *     xn = dx * (1 / fx),    yn = dy * (1 / fy),    r2 = xn * xn + yn * yn
 *     D = (k2 * r2 + k1) * r2 + xn * (2 * p2) + yn * (2 * p1)
 *     u = D * dx + ((fx * p2) * r2 + x),    v = D * dy + ((fy * p1) * r2 + y)
 *
 * Everything is 32-bit float in the order written. The two models normalise differently, so a tiny p1 or p2 also
 * changes the last bits.
 *
 * @b Resampling: qoriUndistortRadial_* writes a pixel only if u >= 0, v >= 0, u < width - 1 and v < height - 1 (never
 * for a NaN). It does not fill: every other pixel of the destination stays as it is, the last column and the last row
 * among them even where nothing is bent, so preset it with a background. With (i, j) the whole part of (u, v) and (a,
 * b) the rest, each channel becomes
 *
 *     s = ((1 - a) * (1 - b) * p(i, j) + (1 - a) * b * p(i, j + 1)) + (a * (1 - b) * p(i + 1, j) + a * b * p(i + 1, j +
 * 1))
 *
 * and is stored as s, in 8u and 16u as the whole part of s + 0.5. All of this, from dx to the result, runs with the
 * processor rounding towards zero; only 1 / (fx * fx) and 1 / (fy * fy) are formed before, in the caller's rounding
 * mode, which is in force again on return. Weights so rounded may add up to just below 1: 8u and 16u images of one
 * value stay so, 32f ones come out up to a few units in the last place smaller. A zero weight does not hide a NaN or an
 * infinity of the source.
 *
 * @b Maps: qoriCreateMapCameraUndistort_32f_C1R() writes u to pxMap and v to pyMap for every pixel, without a range
 * test and in the caller's rounding mode (to nearest): positions may differ from those of the resampling in their last
 * bits. Maps of 131072 pixels and more are written past the caches.
 *
 * @b Region: source, destination and maps have the size of the region; of the source only the four pixels around
 * positions in range are read. @b In @b place: no. @b Scratch: pBuffer may be null; with one of
 * qoriUndistortGetSize() bytes, at any address, the terms of the columns are formed once a call in one piece. Values
 * are the same, and nothing is kept in it. @b Threads: none.
 *
 * @b Size: ((width + 3) rounded down to a multiple of 4) * 24 + 32, of which the low 32 bits for a width beyond 2^26,
 * where operations take the buffer only if it is large enough.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null image, map or pBufferSize, never for pBuffer;
 * qorStsSizeErr for a width, then a height below 1; qorStsStepErr for a step below the row; in 16u, 32f and the maps
 * qorStsNotEvenStepErr for a step that is not a multiple of the sample size; qorStsBadArgErr for fx or fy equal to 0,
 * also -0. NaN and infinite parameters pass.
 * @{
 */
QorStatus qoriUndistortGetSize(QoriSize roiSize, int* pBufferSize);
QorStatus qoriUndistortRadial_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer);
QorStatus qoriUndistortRadial_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer);
QorStatus qoriUndistortRadial_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                      Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer);
QorStatus qoriUndistortRadial_16u_C3R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                      Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer);
QorStatus qoriUndistortRadial_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer);
QorStatus qoriUndistortRadial_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer);
QorStatus qoriCreateMapCameraUndistort_32f_C1R(Qor32f* pxMap, int xStep, Qor32f* pyMap, int yStep, QoriSize roiSize,
                                               Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2,
                                               Qor32f p1, Qor32f p2, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup super_resolution Super-resolution
 *
 * The two inner loops of a solver that finds one sharp image from many coarse ones (S. C. Park, M. K. Park and M. G.
 * Kang, Super-resolution image reconstruction: a technical overview, 2003). The estimate is a 32f image. Every observed
 * sample i is tied to a place in it, pOffset[i], and to one of a set of small kernels, pKernelIndex[i], which tells how
 * the lens and the sensor spread what stands there over the sample. Lists are plain arrays of len elements that the
 * caller prepares, in any order.
 *
 * @b Record: InitAlloc copies count kernels of 2x2 or 3x3 coefficients, which lie one behind the other in pKernels, row
 * by row, and stores the record in *ppState; Free gives it back. Kernel indices have 16 bits, so kernels beyond the
 * 65536th are out of reach. The record is only read by the loops, so any number of calls may share it.
 *
 * @b Taps: h is the estimate (g the gradient) from the element pOffset[i] behind the image's first one, s = step / 4
 * the distance of its rows in elements, k the kernel. The taps are in the order of rows, for 3x3
 *
 *     h[0], h[1], h[2], h[s], h[s + 1], h[s + 2], h[2s], h[2s + 1], h[2s + 2]
 *
 * Steps may be negative: the image then grows upwards from its first element. Offsets may be negative too.
 *
 * @b CalcResidual, what the estimate says less what was seen:
 *
 *     r = h[0] * k[0] + h[1] * k[1] + ...,    pResidual[i] = r - (float)pLow[i]
 *
 * @b UpdateGradient, residuals spread back over the taps, for i = 0 to len - 1 one after the other, since samples may
 * share taps and later ones add to the sums of earlier ones:
 *
 *     e = pWeights[pWeightIndex[i]] * pError[i],    g[tap] = k[tap] * e + g[tap]    for every tap in order
 *
 * @b Rounding: 32-bit float, every product and every sum rounded once, from left to right, without fused operations; no
 * zero is left out, so 0 * infinity is NaN.
 *
 * @b Region: the taps of the samples are written, what lies between the first and the last tap of a sample may be read,
 * and len elements of every list. Offsets and indices are not checked. @b In @b place: no list may overlap another list
 * that is written, or the gradient. @b Memory: one block for the record and one for its table, count * 16 bytes (2x2)
 * or count * 48 (3x3); the loops take none.
 * @b Threads: none.
 *
 * @b Statuses, in the order of the checks. InitAlloc: qorStsNullPtrErr; qorStsSizeErr for count below 1;
 * qorStsMemAllocErr, also for a table beyond 2^31 - 1 bytes. *ppState is written with qorStsNoErr only. Free:
 * qorStsNullPtrErr. Loops: qorStsNullPtrErr for any null pointer; qorStsSizeErr for len below 1; qorStsStepErr for a
 * step from 0 up to below a row of taps (8 bytes in 2x2, 12 in 3x3), or one that is not a multiple of 4.
 * @{
 */
typedef struct QoriSRHNSpec_PSF2x2 QoriSRHNSpec_PSF2x2; /**< set of 2x2 kernels */
typedef struct QoriSRHNSpec_PSF3x3 QoriSRHNSpec_PSF3x3; /**< set of 3x3 kernels */

QorStatus qoriSRHNInitAlloc_PSF2x2(QoriSRHNSpec_PSF2x2** ppState, const Qor32f* pKernels, int count);
QorStatus qoriSRHNInitAlloc_PSF3x3(QoriSRHNSpec_PSF3x3** ppState, const Qor32f* pKernels, int count);
QorStatus qoriSRHNFree_PSF2x2(QoriSRHNSpec_PSF2x2* pState);
QorStatus qoriSRHNFree_PSF3x3(QoriSRHNSpec_PSF3x3* pState);
QorStatus qoriSRHNCalcResidual_PSF2x2_8u32f_C1R(const Qor32f* pHigh, int highStep, const Qor8u* pLow,
                                                const Qor32s* pOffset, const Qor16u* pKernelIndex, Qor32f* pResidual,
                                                int len, const QoriSRHNSpec_PSF2x2* pState);
QorStatus qoriSRHNCalcResidual_PSF2x2_16u32f_C1R(const Qor32f* pHigh, int highStep, const Qor16u* pLow,
                                                 const Qor32s* pOffset, const Qor16u* pKernelIndex, Qor32f* pResidual,
                                                 int len, const QoriSRHNSpec_PSF2x2* pState);
QorStatus qoriSRHNCalcResidual_PSF3x3_8u32f_C1R(const Qor32f* pHigh, int highStep, const Qor8u* pLow,
                                                const Qor32s* pOffset, const Qor16u* pKernelIndex, Qor32f* pResidual,
                                                int len, const QoriSRHNSpec_PSF3x3* pState);
QorStatus qoriSRHNCalcResidual_PSF3x3_16u32f_C1R(const Qor32f* pHigh, int highStep, const Qor16u* pLow,
                                                 const Qor32s* pOffset, const Qor16u* pKernelIndex, Qor32f* pResidual,
                                                 int len, const QoriSRHNSpec_PSF3x3* pState);
QorStatus qoriSRHNUpdateGradient_PSF2x2_32f_C1R(Qor32f* pGrad, int gradStep, const Qor32s* pOffset,
                                                const Qor16u* pKernelIndex, const Qor32f* pError,
                                                const Qor8u* pWeightIndex, int len, const Qor32f* pWeights,
                                                const QoriSRHNSpec_PSF2x2* pState);
QorStatus qoriSRHNUpdateGradient_PSF3x3_32f_C1R(Qor32f* pGrad, int gradStep, const Qor32s* pOffset,
                                                const Qor16u* pKernelIndex, const Qor32f* pError,
                                                const Qor8u* pWeightIndex, int len, const Qor32f* pWeights,
                                                const QoriSRHNSpec_PSF3x3* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
