/**
 * @file feature.h
 * Features of images: edges, corner measures, peaks.
 */
#ifndef QORCV_FEATURE_H
#define QORCV_FEATURE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup canny Canny edges
 *
 * Edges one pixel wide: 255 on an edge, 0 elsewhere. Canny takes the two derivatives of an image, made by any filter;
 * CannyBorder takes the image and derives it. With the components dx and dy of a pixel's gradient:
 *
 * 1. @b Magnitude m: |dx| + |dy|, with qorNormL2 (CannyBorder alone) sqrt(dx * dx + dy * dy), each product, the sum and
 *    the root rounded to 32f. It counts as 0 where it does not reach the low threshold: 16s8u and CannyBorder keep
 *    m > lowThresh, 32f8u keeps all but m < lowThresh. In 16s8u the sum saturates at 65535 in the first
 *    width / 8 * 8 columns, but not behind them. Outside the region every magnitude is 0.
 * 2. @b Thin edges: a pixel stays if its magnitude beats those of two neighbours, which its direction selects, and is
 *    not 0. The direction is the first of these that holds; the products are rounded to 32f:
 *    | Direction | Condition | m above | m at least |
 *    |---|---|---|---|
 *    | vertical | abs(dy) > 2.4142137 * abs(dx) | (x, y - 1) | (x, y + 1) |
 *    | horizontal | abs(dy) < 0.41421357 * abs(dx) | (x - 1, y) | (x + 1, y) |
 *    | falling | dx and dy have the same sign | (x - 1, y - 1), (x + 1, y + 1) | |
 *    | rising | otherwise | (x + 1, y - 1), (x - 1, y + 1) | |
 *
 *    So of a plateau along an axis its first pixel stays, of one on a diagonal none.
 * 3. @b Hysteresis: what stays is an edge if m > highThresh, or if a chain of neighbours that stay, of eight each,
 * leads to such a pixel. A magnitude equal to highThresh is not above it.
 *
 * Thresholds that are equal are legal. In 32f8u a NaN magnitude is no edge and lets no neighbour be one along that
 * one's direction; NaN thresholds pass the checks, and what becomes of the image then is not defined.
 *
 * @b Derivatives of CannyBorder: mask 3x3 smooths by 1 2 1 with qorFilterSobel, 3 10 3 with qorFilterScharr, and takes
 * dx as the right column minus the left one, dy as the row below minus the row above. Mask 5x5, of qorFilterSobel
 * alone, smooths by 1 4 6 4 1 and derives by -1 -2 0 2 1. All are exact. Pixels outside the region come from memory on
 * a side whose flag is set, else by the rule: the constant borderValue (0) or the nearest pixel (1). Rule 6 alone
 * stands for the constant here: the flags of all four sides (240, with any rule) say that all is in memory. Where sides
 * meet, rows count first: above the image stands the constant, or the row that is there or stands in, of which the
 * columns are taken. Rows beyond the region have magnitude 0 even where their pixels are read.
 *
 * @b Region: of the derivatives the region is read; of the image the region and, on sides in memory, one pixel more for
 * 3x3, two for 5x5. Every pixel of the destination's region is written. Steps of CannyBorder are taken as they are, be
 * they 0, negative or small. @b In @b place: CannyBorder may write onto its source, at the same address and step. Canny
 * may not.
 *
 * @b Scratch: pBuffer, any alignment. The queries report, with a = 2 for mask 3x3 and 4 for 5x5, in wrapping 32-bit
 * arithmetic:
 *
 *     qoriCannyGetSize        5 * (width + 2) * (height + 2) + 16 * width + 160
 *                             9 in place of 5 when width or height is at least 65533
 *     qoriCannyBorderGetSize  (width + a) * (height + a + 16) + 4 * (width + a) * (height + a) + 64
 *
 * filterType and dataType of the query are not read. @b Threads: none.
 *
 * @b Statuses of Canny in the order of the checks: qorStsNullPtrErr; qorStsSizeErr; qorStsStepErr for any of the three
 * steps below the bytes of a row; qorStsNotEvenStepErr for a derivative's; qorStsBadArgErr for lowThresh below 0 or
 * above highThresh; qorStsSizeErr where the report has wrapped and has no room.
 *
 * Of CannyBorder: qorStsMaskSizeErr for a mask other than 3x3 and 5x5, or 5x5 with Scharr; qorStsNullPtrErr;
 * qorStsSizeErr; qorStsBadArgErr for another filter, for a norm other than qorNormL1 and qorNormL2, and for thresholds
 * as above; qorStsBorderErr for a rule other than 0, 1, 6 or an argument that is negative or above 255; qorStsSizeErr
 * as above.
 *
 * Of the queries: qorStsNullPtrErr; qorStsSizeErr; of CannyBorder's also qorStsMaskSizeErr.
 *
 * Source: J. Canny, A Computational Approach to Edge Detection, IEEE Transactions on Pattern Analysis and Machine
 * Intelligence 8, 1986.
 * @{
 */
QorStatus qoriCanny_16s8u_C1R(const Qor16s* pSrcDx, int srcDxStep, const Qor16s* pSrcDy, int srcDyStep,
                              Qor8u* pDstEdges, int dstEdgeStep, QoriSize roiSize, Qor32f lowThresh, Qor32f highThresh,
                              Qor8u* pBuffer);
QorStatus qoriCanny_32f8u_C1R(const Qor32f* pSrcDx, int srcDxStep, const Qor32f* pSrcDy, int srcDyStep,
                              Qor8u* pDstEdges, int dstEdgeStep, QoriSize roiSize, Qor32f lowThresh, Qor32f highThresh,
                              Qor8u* pBuffer);
QorStatus qoriCannyGetSize(QoriSize roiSize, int* pBufferSize);
QorStatus qoriCannyBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                 QorGradientFilter filterType, QoriMaskSize mask, QoriBorderType borderType,
                                 Qor8u borderValue, Qor32f lowThresh, Qor32f highThresh, QorNormType norm,
                                 Qor8u* pBuffer);
QorStatus qoriCannyBorderGetSize(QoriSize roiSize, QorGradientFilter filterType, QoriMaskSize mask,
                                 QorDataType dataType, int* pBufferSize);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
