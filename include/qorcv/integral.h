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

#ifdef __cplusplus
}
#endif

#endif
