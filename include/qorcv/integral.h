/**
 * @file integral.h
 * Integral images and what is evaluated on them.
 */
#ifndef QORCV_INTEGRAL_H
#define QORCV_INTEGRAL_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup integral Integral images
 *
 * Summed-area table T of a region of width w and height h, and in the Sqr forms a second one of the squares (F. C.
 * Crow, Summed-area tables for texture mapping, 1984). Both are w + 1 by h + 1 samples. Row 0 and column 0 hold the
 * start value val (valSqr), and
 *
 *     T[y + 1][x + 1] = val + sum of src[j][i] over j <= y, i <= x
 *
 * so that the sum over a box of pixels is read from four samples. In exact terms every row adds its running sum r to
 * the row above:
 *
 *     r = src[y][0] + ... + src[y][x],    T[y + 1][x + 1] = r + T[y][x + 1]
 *
 * @b Rounding: 32s tables wrap in 32 bits, without a report, when the sums outgrow them (8421504 pixels of 255);
 * differences of wrapped entries are still exact as long as the box itself fits. In the 32f tables of 8u images r is an
 * exact 32-bit integer (it wraps beyond 8421504 pixels of 255 in one row), converted to float before the addition; in
 * 64f tables r, a sum of squares, is exact at every width. In qoriIntegral_32f_C1R r is a 32-bit float sum from left to
 * right and the start value is 0. A plain table has the same values beside a squared one as alone.
 *
 * @b Region: only the region of the source is read; all w + 1 by h + 1 samples of the tables are written, nothing else.
 * @b In @b place: no; no table may overlap the source or the other table. @b Scratch: none. @b Threads: none, every row
 * depends on the one above.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep below w samples, dstStep or sqrStep below w + 1 samples, counted in 64
 * bits; qorStsNotEvenStepErr for a step that is not a multiple of the sample size.
 * @{
 */
QorStatus qoriIntegral_8u32s_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, QoriSize roiSize,
                                 Qor32s val);
QorStatus qoriIntegral_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                 Qor32f val);
QorStatus qoriIntegral_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize);
QorStatus qoriSqrIntegral_8u32s_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, Qor32s* pSqr,
                                    int sqrStep, QoriSize roiSize, Qor32s val, Qor32s valSqr);
QorStatus qoriSqrIntegral_8u32s64f_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, Qor64f* pSqr,
                                       int sqrStep, QoriSize roiSize, Qor32s val, Qor64f valSqr);
QorStatus qoriSqrIntegral_8u32f64f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, Qor64f* pSqr,
                                       int sqrStep, QoriSize roiSize, Qor32f val, Qor64f valSqr);
/** @} */

/**
 * @defgroup tilted_integral Tilted integral images
 *
 * Table of the sums over wedges of 45 degrees above each pixel, and in the Sqr forms a second one of the squares (R.
 * Lienhart and J. Maydt, An extended set of Haar-like features for rapid object detection, 2002). Both are w + 2 by
 * h + 2 samples. Rows 0 and 1 hold the start value val (valSqr); row y + 2 follows from the two above it, with s the
 * source sample or its square:
 *
 *     T[y + 2][0]     = T[y + 1][1]
 *     T[y + 2][x]     = T[y + 1][x - 1] - T[y][x] + T[y + 1][x + 1] + s(y, x - 1) + s(y, x)       for 1 <= x < w
 *     T[y + 2][w]     = s(y, w - 1) + T[y + 1][w - 1] + T[y + 1][w + 1] - T[y][w]
 *     T[y + 2][w + 1] = T[y + 1][w]
 *
 * The recurrence holds as it stands: at the left edge it is not a sum over a clipped wedge. Boxes whose four corners
 * lie inside the table still read exact sums of pixels.
 *
 * @b Rounding: 32s tables wrap in 32 bits. In float tables each element is evaluated in 64-bit float in the order
 * written and rounded once to the table's type.
 *
 * @b The @b accumulating @b column: in the 32f table of qoriTiltedIntegral_8u32f_C1R and
 * qoriTiltedSqrIntegral_8u32f64f_C1R the element of column w is added, in 32-bit float, to what the buffer held there:
 *
 *     T[y + 2][w] = T[y + 2][w] + (float)(s(y, w - 1) + T[y + 1][w - 1] + T[y + 1][w + 1] - T[y][w])
 *
 * Clear the table before the call to get the plain value. Every other table, the squared ones among them, is only
 * written.
 *
 * @b Region: only the region of the source is read; all w + 2 by h + 2 samples of the tables are written, nothing else.
 * @b In @b place: no; no table may overlap the source or the other table. @b Scratch: none. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep below w samples, dstStep or sqrStep below w + 2 samples, counted in 64
 * bits; qorStsNotEvenStepErr for a step that is not a multiple of the sample size.
 * @{
 */
QorStatus qoriTiltedIntegral_8u32s_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, QoriSize roiSize,
                                       Qor32s val);
QorStatus qoriTiltedIntegral_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       Qor32f val);
QorStatus qoriTiltedSqrIntegral_8u32s_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, Qor32s* pSqr,
                                          int sqrStep, QoriSize roiSize, Qor32s val, Qor32s valSqr);
QorStatus qoriTiltedSqrIntegral_8u32s64f_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, Qor64f* pSqr,
                                             int sqrStep, QoriSize roiSize, Qor32s val, Qor64f valSqr);
QorStatus qoriTiltedSqrIntegral_8u32f64f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, Qor64f* pSqr,
                                             int sqrStep, QoriSize roiSize, Qor32f val, Qor64f valSqr);
/** @} */

/**
 * @defgroup rect_std_dev Standard deviation of a box
 *
 * For every pixel of the region the standard deviation of the source over the box rect beside it, read from a table of
 * sums S and a table of sums of squares Q. The tables are addressed from the pixel: the sample of row 0 and column 0 is
 * the one at the pointer for the first pixel, and moves with the pixel.
 *
 *     sum = S(a) - S(b) + S(c) - S(d),    sqr = Q(a) - Q(b) + Q(c) - Q(d)
 *     m = sum / N,    v = max(sqr / N - m * m, 0),    dst = sqrt(v)
 *
 * With the rect (x, y, bw, bh) the corners, as (row, column), and the number N of pixels in the box are
 *
 *     upright:  a = (y + bh, x + bw)    b = (y, x + bw)    c = (y, x)    d = (y + bh, x)     N = bw * bh
 *     tilted:   c = (r0, c0) with r0 = x + y and c0 = x - y                                 N = 2 * bw * bh
 *               a = (r0 + bw + bh, c0 + bw - bh)    b = (r0 + bh, c0 - bh)    d = (r0 + bw, c0 + bw)
 *
 * @b Rounding: sums and products are formed in the order written. 32s tables are differenced in wrapping 32-bit
 * arithmetic, 32f and 64f tables in their own type. N is bw * bh counted in 64 bits and rounded to 32-bit float; m is a
 * 32-bit quotient and m * m is rounded to 32-bit float. In the 32s forms sqr / N - m * m is all 32-bit float, and
 *
 *     dst = truncate(sqrt(v) * 2^-scaleFactor + 0.5)
 *
 * in 64-bit float, saturated at the top of the type. In the float forms sqr / N and the difference are 64-bit float,
 * the difference is rounded to 32-bit float, and its root is a 32-bit float; a NaN stays a NaN.
 *
 * @b Region: for every pixel the four corners in each table are read, nothing else; all pixels of the region of the
 * destination are written. A tilted box whose c0 - bh is negative reads in front of the pointer in its row, so the
 * pointer must be far enough inside the table. @b In @b place: no. @b Scratch: none. @b Threads:
 * qoriRectStdDev_32f_C1R is shared among min(team, pixels / 1024, 32) threads when that is above 1; the others are
 * serial. The result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for sumStep or sqrStep below the reach t in samples, or dstStep below width samples,
 * where t, counted in 64 bits, is width + x + bw (upright) or bw + bh + x + y + width - 1 (tilted);
 * qorStsNotEvenStepErr for a step that is not a multiple of the sample size; qorStsBadArgErr for x or y below 0 or bw
 * or bh below 1.
 * @{
 */
QorStatus qoriRectStdDev_32s_C1RSfs(const Qor32s* pSum, int sumStep, const Qor32s* pSqr, int sqrStep, Qor32s* pDst,
                                    int dstStep, QoriSize roiSize, QoriRect rect, int scaleFactor);
QorStatus qoriRectStdDev_32s32f_C1R(const Qor32s* pSum, int sumStep, const Qor64f* pSqr, int sqrStep, Qor32f* pDst,
                                    int dstStep, QoriSize roiSize, QoriRect rect);
QorStatus qoriRectStdDev_32f_C1R(const Qor32f* pSum, int sumStep, const Qor64f* pSqr, int sqrStep, Qor32f* pDst,
                                 int dstStep, QoriSize roiSize, QoriRect rect);
QorStatus qoriTiltedRectStdDev_32s_C1RSfs(const Qor32s* pSum, int sumStep, const Qor32s* pSqr, int sqrStep,
                                          Qor32s* pDst, int dstStep, QoriSize roiSize, QoriRect rect, int scaleFactor);
QorStatus qoriTiltedRectStdDev_32s32f_C1R(const Qor32s* pSum, int sumStep, const Qor64f* pSqr, int sqrStep,
                                          Qor32f* pDst, int dstStep, QoriSize roiSize, QoriRect rect);
QorStatus qoriTiltedRectStdDev_32f_C1R(const Qor32f* pSum, int sumStep, const Qor64f* pSqr, int sqrStep, Qor32f* pDst,
                                       int dstStep, QoriSize roiSize, QoriRect rect);
/** @} */

/**
 * @defgroup haar Haar cascades
 *
 * One stage of a cascade of boosted Haar features (P. Viola and M. Jones, Rapid object detection using a boosted
 * cascade of simple features, 2001; tilted features: R. Lienhart and J. Maydt, An extended set of Haar-like features
 * for rapid object detection, 2002), applied to all candidate pixels of a region at once. A cascade is a series of
 * apply calls on one mask: every stage clears the mask where it rejects, so that the next has less to do.
 *
 * For every pixel whose mask byte is not 0:
 *
 *     s(f)  = sum over the rectangles r of feature f of  weight(r) * (I[first] - I[second] - I[third] + I[fourth])
 *     stage = sum over the features of  s(f) < threshold(f) * norm(pixel) ? val1(f) : val2(f)
 *     mask  = stage < threshold ? 0 : as it was
 *
 * where I is the table of qoriIntegral_*() at the pixel's position, and the corners of a rectangle (x, y, w, h),
 * relative to the pixel, are
 *
 *                  first                   second            third             fourth
 *     upright      (x + w, y + h)          (x, y + h)        (x + w, y)        (x, y)
 *     tilted       (x + w - h, y + w + h)  (x - h, y + h)    (x + w, y + w)    (x, y)
 *
 * A tilted rectangle stands on its upper corner (x, y): w runs down to the right, h down to the left. It is read from
 * the table of qoriTiltedIntegral_*(), whose position (0, 0) is row 1, column 1. These are coordinates of the table,
 * not the rotated ones of qoriTiltedRectStdDev_*(). norm is what thresholds are scaled by, mostly the deviation of the
 * pixels under the window: qoriRectStdDev_*().
 *
 * @b Rounding: 32f: float operations in the order written; s and stage are float sums. 32s32f: the rectangle is summed
 * in wrapping 32-bit integers, converted to float, then multiplied. 32s: wrapping 32-bit integers throughout, and the
 * scale factor is not used. Mixed 32s: products of 32 bits, wrapped, are summed in 64 bits, and s * 2^-scaleFactor is
 * compared with the 64-bit product of threshold and norm; the scale factor is at most 0, and a shift of 64 bits or more
 * counts modulo 64. Comparisons are as written for NaN too: a sum or a product that is NaN takes val2, and a NaN as
 * stage or stage threshold passes.
 *
 * @b Building: the InitAlloc operations take one rectangle and weight after the other over all features (pFeature,
 * pWeight), and for each of the `length` features its number of rectangles (pNum), threshold and two values. Upright
 * stages keep the features of 2 rectangles first, then those of 3, then the others; a float sum of a stage is formed in
 * this order. The block is the library's: release it with Free. A stage without features (length 0) has the sum 0.
 * qoriGetHaarClassifierSize_*() reports how many columns and rows of the table a window reaches to the right of and
 * below its pixel, (0, 0) without features.
 *
 * qoriTiltHaarFeatures_*() turns the features whose byte in pMask (by input index) is not 0 into tilted ones, for the
 * mixed forms: with flag not 0 a rectangle (x, y, w, h) becomes the tilted (x, y, w, h), with flag 0 the tilted one
 * whose lowest corner is (x, y + h). The 32s form takes h = w for this, except that the second corner of a flag not 0
 * keeps its row y + h. A stage is tilted once.
 *
 * @b Region: the mask, norm and table pixels of the region are read, in the table also what the window reaches around
 * them; that all of this exists is not checked. Pixels of a candidate's row may be read together with it.
 * Only mask bytes that become 0 are written, and *pPositive, which receives the number of candidates left.
 * qoriApplyHaarClassifier_32f_C1R() also reads it on entry, as the expected number of candidates: that decides how the
 * mask is walked, never the result. @b Mixed forms: a feature reads pTilt when it is tilted, else pSrc; the others read
 * pSrc for all. @b Memory: one block for the distances of the corners for the time of a call; the mixed forms take
 * none. @b Threads: none; a record is only read by apply, so any number of calls may share it.
 *
 * @b Statuses, in the order of the checks. InitAlloc: qorStsNullPtrErr; qorStsSizeErr for length below 0, then for a
 * count below 1; qorStsMemAllocErr; qorStsBadArgErr for a rectangle with x or y below 0, width or height below 1, or,
 * in the tilted forms, height above x + 1. qoriHaarClassifierInitAlloc_32f() tests the rectangles before it allocates
 * and leaves *ppState as it is; the others store a null pointer with qorStsBadArgErr. A record beyond 2^31 - 1 bytes is
 * refused before rectangles are read. Free, GetSize: qorStsNullPtrErr. Tilt: qorStsNullPtrErr, then qorStsBadArgErr for
 * a stage that is tilted already. Apply: qorStsNullPtrErr; qorStsSizeErr for a height, then a width below 1;
 * qorStsStepErr for a table or norm step below 4 * width, then a mask step below width; qorStsNotEvenStepErr for a
 * table or norm step that is not a multiple of 4; qorStsBadArgErr in the mixed 32s form for scaleFactor above 0;
 * qorStsMemAllocErr in the forms of one table, with the mask untouched, when memory is short and for a tilted 32f
 * record of at least one feature.
 * @{
 */
typedef struct QoriHaarClassifier_32f QoriHaarClassifier_32f; /**< stage of 32f weights, thresholds and values */
typedef struct QoriHaarClassifier_32s QoriHaarClassifier_32s; /**< stage of 32s weights, thresholds and values */

QorStatus qoriHaarClassifierInitAlloc_32f(QoriHaarClassifier_32f** ppState, const QoriRect* pFeature,
                                          const Qor32f* pWeight, const Qor32f* pThreshold, const Qor32f* pVal1,
                                          const Qor32f* pVal2, const int* pNum, int length);
QorStatus qoriHaarClassifierInitAlloc_32s(QoriHaarClassifier_32s** ppState, const QoriRect* pFeature,
                                          const Qor32s* pWeight, const Qor32s* pThreshold, const Qor32s* pVal1,
                                          const Qor32s* pVal2, const int* pNum, int length);
QorStatus qoriTiltedHaarClassifierInitAlloc_32f(QoriHaarClassifier_32f** ppState, const QoriRect* pFeature,
                                                const Qor32f* pWeight, const Qor32f* pThreshold, const Qor32f* pVal1,
                                                const Qor32f* pVal2, const int* pNum, int length);
QorStatus qoriTiltedHaarClassifierInitAlloc_32s(QoriHaarClassifier_32s** ppState, const QoriRect* pFeature,
                                                const Qor32s* pWeight, const Qor32s* pThreshold, const Qor32s* pVal1,
                                                const Qor32s* pVal2, const int* pNum, int length);
QorStatus qoriHaarClassifierFree_32f(QoriHaarClassifier_32f* pState);
QorStatus qoriHaarClassifierFree_32s(QoriHaarClassifier_32s* pState);
QorStatus qoriGetHaarClassifierSize_32f(const QoriHaarClassifier_32f* pState, QoriSize* pSize);
QorStatus qoriGetHaarClassifierSize_32s(const QoriHaarClassifier_32s* pState, QoriSize* pSize);
QorStatus qoriTiltHaarFeatures_32f(const Qor8u* pMask, int flag, QoriHaarClassifier_32f* pState);
QorStatus qoriTiltHaarFeatures_32s(const Qor8u* pMask, int flag, QoriHaarClassifier_32s* pState);
QorStatus qoriApplyHaarClassifier_32f_C1R(const Qor32f* pSrc, int srcStep, const Qor32f* pNorm, int normStep,
                                          Qor8u* pMask, int maskStep, QoriSize roiSize, int* pPositive,
                                          Qor32f threshold, const QoriHaarClassifier_32f* pState);
QorStatus qoriApplyHaarClassifier_32s32f_C1R(const Qor32s* pSrc, int srcStep, const Qor32f* pNorm, int normStep,
                                             Qor8u* pMask, int maskStep, QoriSize roiSize, int* pPositive,
                                             Qor32f threshold, const QoriHaarClassifier_32f* pState);
QorStatus qoriApplyHaarClassifier_32s_C1RSfs(const Qor32s* pSrc, int srcStep, const Qor32s* pNorm, int normStep,
                                             Qor8u* pMask, int maskStep, QoriSize roiSize, int* pPositive,
                                             Qor32s threshold, const QoriHaarClassifier_32s* pState, int scaleFactor);
QorStatus qoriApplyMixedHaarClassifier_32f_C1R(const Qor32f* pSrc, int srcStep, const Qor32f* pTilt, int tiltStep,
                                               const Qor32f* pNorm, int normStep, Qor8u* pMask, int maskStep,
                                               QoriSize roiSize, int* pPositive, Qor32f threshold,
                                               const QoriHaarClassifier_32f* pState);
QorStatus qoriApplyMixedHaarClassifier_32s32f_C1R(const Qor32s* pSrc, int srcStep, const Qor32s* pTilt, int tiltStep,
                                                  const Qor32f* pNorm, int normStep, Qor8u* pMask, int maskStep,
                                                  QoriSize roiSize, int* pPositive, Qor32f threshold,
                                                  const QoriHaarClassifier_32f* pState);
QorStatus qoriApplyMixedHaarClassifier_32s_C1RSfs(const Qor32s* pSrc, int srcStep, const Qor32s* pTilt, int tiltStep,
                                                  const Qor32s* pNorm, int normStep, Qor8u* pMask, int maskStep,
                                                  QoriSize roiSize, int* pPositive, Qor32s threshold,
                                                  const QoriHaarClassifier_32s* pState, int scaleFactor);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
