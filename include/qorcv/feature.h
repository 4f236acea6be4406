/**
 * @file feature.h
 * Features of images: edges, corner measures, FastN corners, Hough lines, peaks.
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

/**
 * @defgroup corners Corner measures
 *
 * How corner-like the neighbourhood of every pixel is, by the matrix of its gradient. With the components Dx and Dy of
 * the gradient in 32f, of every pixel:
 *
 *     a = mean of Dx * Dx,  b = mean of Dy * Dy,  c = mean of Dx * Dy    over a window around the pixel
 *
 * @b MinEigenVal is the smaller eigenvalue of [a c; c b], @b EigenValsVecs both with their vectors: six floats a pixel,
 * the larger value, the smaller one, x1 and y1 of the larger one's vector, x2 and y2 of the smaller one's. All steps
 * are rounded to 32f, in this order, the products and sums from the left:
 *
 *     s             1 / 4080 for apertureSize 3, 1 / 65280 for 5; with qorKernelScharr times 0.6125
 *     MinEigenVal   (a + b - sqrt((a - b) * (a - b) + 4 * (c * c))) * (0.5 * s)
 *     EigenValsVecs a, b, c times s;  r = sqrt(4 * (c * c) + (a - b) * (a - b))
 *                   l1 = (a + b + r) * 0.5,  l2 = (a + b - r) * 0.5,  t = 0.01 * max(a, b)
 *       t > min(a, b) or t > a * b - c * c:  0 0 0 0 0 0
 *       else t >= abs(c):                    l1 l2 1 0 0 1
 *       else, with e = c * g:                l1 l2 e/r1 p/r1 e/r2 q/r2
 *                   p = l1 - a,  q = l2 - a,  r1 = sqrt(p * p + e * e),  r2 = sqrt(e * e + q * q)
 *
 * where the divisions are multiplications by 1 / max(r, 1.1920929e-7), and g is 1 for qorKernelScharr, -1 for
 * qorKernelSobel. The smaller value may lie slightly below 0 by rounding. A flat pixel gives 0 0 1 0 0 1.
 *
 * The components are what qoriFilterSobelVertBorder and qoriFilterSobelHorizBorder stand for with qorKernelSobel, left
 * minus right and below minus above, 3x3 or 5x5; with qorKernelScharr those of qoriFilterScharrVertBorder and
 * qoriFilterScharrHorizBorder, right minus left. The mean is that of qoriFilterLowpassBorder_32f_C1R, over avgWindow
 * (3 or 5) pixels squared. All with qorBorderRepl: at the edge pixels repeat, then products.
 *
 * @b Harris is the response
 *
 *     R = (a * b - c * c - (a + b) * (k * (a + b))) * q,   q = scale * avgWindow^4, in 64f, rounded once
 *
 * from components by Sobel 3x3 or 5x5, Scharr 3x3 or central differences (right minus left and above minus below, not
 * scaled, with mask 3x3), over windows of any size n = avgWindow: (n - 1) / 2 pixels to the left and above, n / 2 to
 * the right and below. q makes window sums of the means; n^4 wraps in 32 bits, from n = 216 on. Sums of a window slide,
 * as a box filter's do, starting afresh at least every max(96, 8 * n) columns and 4 * n + 32 rows: they are exact where
 * all of them are integers below 2^24, and NaN and infinities reach so far. With n = 1 the products are taken as they
 * stand.
 *
 * @b Border of Harris: on a side in memory, by its flag, or by rule 6 on all sides, pixels and products are the true
 * ones: window reach and one pixel more (two for 5x5) are read there. On the others, pixels for the gradient come from
 * the rule, the constant borderValue (0) or the nearest pixel (1); products beyond the edge are those of the edge with
 * rule 1, and 0 with rule 0, whatever borderValue is.
 *
 * @b Region: the source's region is read, and what the border says; the destination's region is written. Where
 * EigenValsVecs_32f accepts a step below 24 * width, its rows lie over each other, and the later one stands. @b In
 * @b place: no.
 *
 * @b Scratch: pBuffer, any alignment, of the size that the query of the same name reports for the same arguments and
 * the thread count at the time, which must not be raised between query and call. The eigenvalue queries report, with S
 * the width rounded up to a multiple of 16, n(f) what the query of a filter reports:
 *
 *     32f    max of n(Sobel), for avgWindow 3 also n(Scharr), n(Lowpass_32f) + 20 * S * height + 224
 *     8u32f  max of threads * (n(Sobel) + 32), n(Scharr), n(Lowpass_32f)     + 16 * S * height + 224
 *
 * and all report what is needed where that fits 31 bits and the formula does not. @b Threads: MinEigenVal and
 * EigenValsVecs as the fixed filters of filter.h; Harris never. Results do not depend on it.
 *
 * @b Statuses of MinEigenVal and EigenValsVecs in the order of the checks: qorStsNullPtrErr; qorStsSizeErr;
 * qorStsStepErr for srcStep below the bytes of a row, or the destination's below 4 * width, in EigenValsVecs_8u32f
 * 24 * width; qorStsNotEvenStepErr for a step of floats that is not a multiple of 4; qorStsBadArgErr for an unknown
 * kernType; qorStsSizeErr for an apertureSize other than 3, and 5 with Sobel, or an avgWindow other than 3 and 5;
 * qorStsSizeErr where the report has no room. Of their queries: qorStsNullPtrErr; qorStsSizeErr for a size below 1, an
 * apertureSize or avgWindow other than 3 and 5.
 *
 * Of Harris: qorStsNullPtrErr; qorStsSizeErr; qorStsNotEvenStepErr; qorStsFilterTypeErr; qorStsMaskSizeErr for a mask
 * other than 3x3, and 5x5 with Sobel; qorStsBorderErr for a rule other than 0, 1, 6 or an argument above 255;
 * qorStsSizeErr for avgWindow below 1; qorStsStepErr for srcStep below 1 or dstStep below 0 (steps below the bytes of a
 * row are taken as they are); in 32f qorStsInPlaceErr for pSrc equal to pDst; qorStsSizeErr as above. Of its query:
 * qorStsNullPtrErr; qorStsSizeErr; qorStsMaskSizeErr; qorStsDataTypeErr for dataType other than qor8u and qor32f;
 * qorStsChannelErr for numChannels other than 1; qorStsSizeErr for avgWindow 0; qorStsMaskSizeErr or qorStsSizeErr for
 * one below 0.
 *
 * Sources: C. Harris and M. Stephens, A Combined Corner and Edge Detector, Alvey Vision Conference 1988; J. Shi and
 * C. Tomasi, Good Features to Track, CVPR 1994.
 * @{
 */
QorStatus qoriHarrisCorner_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                     QorGradientFilter filterType, QoriMaskSize filterMask, int avgWindow, Qor32f k,
                                     Qor32f scale, QoriBorderType borderType, Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriHarrisCorner_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                   QorGradientFilter filterType, QoriMaskSize filterMask, int avgWindow, Qor32f k,
                                   Qor32f scale, QoriBorderType borderType, Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriHarrisCornerGetBufferSize(QoriSize roiSize, QoriMaskSize filterMask, int avgWindow, QorDataType dataType,
                                        int numChannels, int* pBufferSize);
QorStatus qoriMinEigenVal_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pMinEigenVal, int minValStep,
                                    QoriSize roiSize, QoriKernelType kernType, int apertureSize, int avgWindow,
                                    Qor8u* pBuffer);
QorStatus qoriMinEigenVal_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pMinEigenVal, int minValStep,
                                  QoriSize roiSize, QoriKernelType kernType, int apertureSize, int avgWindow,
                                  Qor8u* pBuffer);
QorStatus qoriEigenValsVecs_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pEigenVV, int eigStep, QoriSize roiSize,
                                      QoriKernelType kernType, int apertureSize, int avgWindow, Qor8u* pBuffer);
QorStatus qoriEigenValsVecs_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pEigenVV, int eigStep, QoriSize roiSize,
                                    QoriKernelType kernType, int apertureSize, int avgWindow, Qor8u* pBuffer);
QorStatus qoriMinEigenValGetBufferSize_8u32f_C1R(QoriSize roiSize, int apertureSize, int avgWindow, int* pBufferSize);
QorStatus qoriMinEigenValGetBufferSize_32f_C1R(QoriSize roiSize, int apertureSize, int avgWindow, int* pBufferSize);
QorStatus qoriEigenValsVecsGetBufferSize_8u32f_C1R(QoriSize roiSize, int apertureSize, int avgWindow, int* pBufferSize);
QorStatus qoriEigenValsVecsGetBufferSize_32f_C1R(QoriSize roiSize, int apertureSize, int avgWindow, int* pBufferSize);
/** @} */

/**
 * @defgroup peaks Peaks and line suppression
 *
 * @b FindPeaks3x3 lists the local extrema of a response above a threshold. A pixel v is a peak if |v| > threshold and
 *
 *     v > 0:   |v - largest of the neighbourhood|  <= 1.1754944e-38
 *     v <= 0:  |v - smallest of the neighbourhood| <= 1.1754944e-38
 *
 * so that positive peaks are maxima, the others minima, and ties are peaks: a flat area above the threshold lists every
 * pixel. The neighbourhood, with the pixel itself, is the 3x3 square for qoriNormInf, the pixel with its four
 * neighbours along the axes for qoriNormL1. In 32s the numbers are exact, |-2^31| = 2^31 included. An infinite pixel is
 * no peak, since the difference of infinities is none; a NaN pixel is none either, and what a NaN does to its
 * neighbours is not defined.
 *
 * Pixels from column border to width - border - 1 and from row border to height - border - 1 are looked at, row by row
 * from the left, and their positions stored in pPeak, at most maxPeakCount of them; their number goes to pPeakCount.
 * A full list ends the search, with qorStsNoErr. Nothing is written behind the last peak.
 *
 * @b LineSuppression copies a map of features but for those that lie on a line: with a, b, c of Harris for the image
 * (the same filters, window and borders), in 32f,
 *
 *     dst = (a + b) * (a + b) > (a * b - c * c) * threshold ? 0 : feature
 *
 * A threshold of (r + 1)^2 / r keeps pixels whose eigenvalues differ by less than the factor r. In a flat area both
 * sides are 0 and the feature stays; a NaN threshold keeps all.
 *
 * @b Region: FindPeaks3x3 reads the region alone; LineSuppression reads of the image what Harris does, of the feature
 * map the region, and writes the destination's region. @b In @b place: LineSuppression's destination may be neither of
 * its sources; that it is not the image is not tested.
 *
 * @b Scratch: pBuffer, any alignment. The queries of FindPeaks3x3 report ((roiWidth + 5) >> 2) * 128 with the bit of 32
 * set, in wrapping 32-bit arithmetic; qoriLineSuppressionGetBufferSize is qoriHarrisCornerGetBufferSize. @b Threads:
 * none.
 *
 * @b Statuses of FindPeaks3x3 in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a height, width,
 * maxPeakCount or border below 1; qorStsSizeErr for a border above half of the width or of the height, compared in 32f;
 * qorStsStepErr for srcStep / 4 below the width; qorStsNotEvenStepErr; qorStsBadArgErr for a norm other than
 * qoriNormInf and qoriNormL1. On a failure pPeakCount is left alone. Of its queries: qorStsNullPtrErr; qorStsSizeErr.
 *
 * Of LineSuppression: qorStsNullPtrErr; qorStsSizeErr; qorStsFilterTypeErr; qorStsMaskSizeErr; qorStsBorderErr;
 * qorStsSizeErr for avgWindow below 1; qorStsStepErr for srcStep below 1, the others' below 0; qorStsInPlaceErr for
 * pFeature equal to pDst; qorStsSizeErr as in Harris.
 * @{
 */
QorStatus qoriFindPeaks3x3GetBufferSize_32f_C1R(int roiWidth, int* pBufferSize);
QorStatus qoriFindPeaks3x3GetBufferSize_32s_C1R(int roiWidth, int* pBufferSize);
QorStatus qoriFindPeaks3x3_32f_C1R(const Qor32f* pSrc, int srcStep, QoriSize roiSize, Qor32f threshold,
                                   QoriPoint* pPeak, int maxPeakCount, int* pPeakCount, QoriNorm norm, int border,
                                   Qor8u* pBuffer);
QorStatus qoriFindPeaks3x3_32s_C1R(const Qor32s* pSrc, int srcStep, QoriSize roiSize, Qor32s threshold,
                                   QoriPoint* pPeak, int maxPeakCount, int* pPeakCount, QoriNorm norm, int border,
                                   Qor8u* pBuffer);
QorStatus qoriLineSuppression_8u_C1R(const Qor8u* pSrc, int srcStep, const Qor8u* pFeature, int featureStep,
                                     Qor8u* pDst, int dstStep, QoriSize roiSize, QorGradientFilter filterType,
                                     QoriMaskSize filterMask, int avgWindow, Qor32f threshold,
                                     QoriBorderType borderType, Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriLineSuppressionGetBufferSize(QoriSize roiSize, QoriMaskSize filterMask, int avgWindow,
                                           QorDataType dataType, int numChannels, int* pBufferSize);
/** @} */

/**
 * @defgroup fastn FastN corners
 *
 * Corners by the segment test (E. Rosten and T. Drummond, Machine learning for high-speed corner detection, 2006): a
 * pixel of value c is a corner when N consecutive pixels of the circle around it, all brighter than c + T or all darker
 * than c - T, are found anywhere along the circle.
 *
 * The circle has a radius r of 1, 2, 3, 5, 7 or 9 and P = 8, 12, 16, 28, 40 or 52 pixels p(i), counted from the one
 * below the centre on through the left, the top and the right. N lies above P / 2 and below P, so a pixel is never both
 * kinds of corner. Of radius 9 entry 12 is the pixel at (-9, -1) once more, in place of the one at (-9, 1).
 *
 *     T     = threshold, truncated
 *     score = the largest, over the P arcs of N pixels, of the least |p - c| in the arc,
 *             of those arcs whose pixels are all of the corner's kind
 *
 * T is compared in 32 bits, and from 256 on nothing is a corner; but for radius 3 with N = 9, the pair that is fastest,
 * T is the low byte of the truncated threshold.
 *
 * The option tells what is made. The corner map, qorFastNCorner, is always asked for: 0, or 0x40 for a brighter and
 * 0x80 for a darker arc, and in the low six bits with qorFastNOrientation the direction of the surroundings in
 * orientationBins steps around the circle. All of it is 32-bit float, sums from i = 0 on:
 *
 *     a(i) = i * (6.2831855 / P),   A = sum of (p(i) - c) * cos a(i),   B = sum of (p(i) - c) * sin a(i)
 *     t = atan2(A, B), plus 6.2831855 if negative,    bin = truncate(t * (orientationBins * 0.15915494)), low six bits
 *
 * With qorFastNScore the score map gets the scores and 0 elsewhere; with qorFastNNonMax, which needs it, a corner stays
 * only if none of its eight neighbours has a higher score. Equal neighbours both stay.
 *
 * @b Record: qoriFastNInit() fills memory of the caller's, of the size 8 P + 68 that qoriFastNGetSize() reports, at any
 * address, once for a geometry. Its first byte tells how far behind it, 1 to 8 bytes, the record proper begins: at the
 * next multiple of 8. It holds the 32-bit identity 0x4b617390, dataType, nChannels, srcSize, circleRadius, numPixels,
 * orientationBins, option, threshold as passed, T; at byte 48 the address of the circle's table, which is the
 * library's; from byte 56 on, with qorFastNOrientation, P sines and P cosines of the a(i), and the scale of the bins. A
 * threshold beyond 32 bits counts as the largest T.
 *
 * @b Region: pSrc is the first pixel of the image of srcSize that the record was made for; the region of dstRoiSize
 * begins at srcRoiOffset in it, and pDstCorner and pDstScore are its first pixel in the maps. A region that reaches
 * beyond the image is cut: columns and rows in front of the image take away from the region's size but do not move it
 * in the maps. The status is then the warning qorStsSizeWrn, and when nothing is left the maps and *pNumCorner stay as
 * they are. Within what is left every pixel of the maps is written; pixels within r of the image's edge are no corners.
 * Pixels are read up to r around those that are tested, which with qorFastNNonMax reach one further than the region,
 * never beyond the image. So the tiles of an image hold together what the whole one holds. Steps are taken as they are,
 * without a check. *pNumCorner receives the number of corners. pDstScore is not touched without qorFastNScore and may
 * then be null. @b In @b place: no. @b Scratch: 6 * width + 636 bytes, at any address. @b Threads: none; a record is
 * only read by the operation, so any number of calls may share it.
 *
 * qoriFastN2DToVec_8u() lists the corners of a pair of maps, row by row, as records of type QoriCornerFastN. It writes
 * at most maxLen of them, but *pNumCorners receives the number of all; the status stays qorStsNoErr. pSrcScore is read
 * at corners only, and only when the record has qorFastNScore. Any byte that is not 0 counts as a corner.
 *
 * @b Statuses, in the order of the checks. qoriFastNGetSize(): qorStsNullPtrErr; qorStsSizeErr for a width or height
 * below 1; qorStsDataTypeErr for a type other than qor8u; qorStsChannelErr for channels other than 1; qorStsBadArgErr
 * for an option without qorFastNCorner, with an unknown bit, or with qorFastNNonMax and not qorFastNScore;
 * qorStsOutOfRangeErr for orientationBins outside 1 to 64 with qorFastNOrientation; qorStsBadArgErr for the radius;
 * qorStsOutOfRangeErr for numPixels. qoriFastNInit(): qorStsNullPtrErr; qorStsSizeErr; qorStsThresholdErr for a
 * threshold below 0; then the same from the type on. qoriFastNGetBufferSize(): qorStsNullPtrErr, qorStsSizeErr; it does
 * not look into the record. qoriFastN_8u_C1R(): qorStsNullPtrErr, for pDstScore not yet; qorStsSizeErr;
 * qorStsContextMatchErr for memory that holds no such record; in the record type, channels, qorStsSizeErr for the size,
 * option and bins as above; qorStsNullPtrErr for pDstScore with qorFastNScore; radius and numPixels;
 * qorStsOutOfRangeErr for an offset at or behind the image's width or height; qorStsSizeErr where the reported scratch
 * has wrapped and has no room. qoriFastN2DToVec_8u(): qorStsNullPtrErr, for pSrcScore not yet; qorStsSizeErr for a
 * width or height below 1 or maxLen below 0; qorStsContextMatchErr; type, channels, option and bins; qorStsNullPtrErr
 * for pSrcScore with qorFastNScore.
 * @{
 */
enum {
  qorFastNOrientation = 1, /**< orientation in the low six bits of the corner map */
  qorFastNNonMax = 2,      /**< only corners whose neighbours have no higher score */
  qorFastNCorner = 4,      /**< the corner map; mandatory */
  qorFastNScore = 32       /**< the score map */
};

typedef struct QoriFastNSpec QoriFastNSpec; /**< geometry, threshold and options of a search for corners */

/** A corner of the list. */
typedef struct {
  int32_t x;           /**< column in the map */
  int32_t y;           /**< row in the map */
  int32_t cornerType;  /**< 0 for a brighter arc, 1 for a darker one */
  int32_t orientation; /**< bin, or -1 without qorFastNOrientation */
  Qor32f angle;        /**< bin * (360 / orientationBins) in degrees, or -1 without qorFastNOrientation */
  Qor32f score;        /**< score, or -1 without qorFastNScore */
} QoriCornerFastN;

QorStatus qoriFastNGetSize(QoriSize srcSize, int circleRadius, int numPixels, int orientationBins, int option,
                           QorDataType dataType, int nChannels, int* pSpecSize);
QorStatus qoriFastNInit(QoriSize srcSize, int circleRadius, int numPixels, int orientationBins, int option,
                        Qor32f threshold, QorDataType dataType, int nChannels, QoriFastNSpec* pSpec);
QorStatus qoriFastNGetBufferSize(const QoriFastNSpec* pSpec, QoriSize dstRoiSize, int* pBufferSize);
QorStatus qoriFastN_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDstCorner, int dstCornerStep, Qor8u* pDstScore,
                           int dstScoreStep, int* pNumCorner, QoriPoint srcRoiOffset, QoriSize dstRoiSize,
                           const QoriFastNSpec* pSpec, Qor8u* pBuffer);
QorStatus qoriFastN2DToVec_8u(const Qor8u* pSrcCorner, int srcCornerStep, const Qor8u* pSrcScore, int srcScoreStep,
                              QoriCornerFastN* pDst, QoriSize srcRoiSize, int maxLen, int* pNumCorners,
                              const QoriFastNSpec* pSpec);
/** @} */

/**
 * @defgroup hough Hough lines
 *
 * Straight lines through the pixels of an image that are not 0, its points, mostly edges (R. O. Duda and P. E. Hart,
 * Use of the Hough transformation to detect lines and curves in pictures, 1972). A line is the set of the points with
 * x * cos(theta) + y * sin(theta) = rho. Every point votes for one rho at every theta. With delta.x the step of rho in
 * pixels and delta.y that of theta in radians, of a region of W by H pixels:
 *
 *     theta(j) = 0 + delta.y + delta.y ..., a 32-bit sum, for j = 0 to N,   N = truncate(3.14159f / delta.y), in 64f
 *     R        = truncate((2 * (W + H) + 1) / delta.x), in 32f: cells of rho
 *     M        = (R - 1) >> 1, the cell of rho 0; 0 for R below 1
 *
 * The standard forms list the lines that get more than threshold votes and are peaks: above the cells before, at least
 * the cells behind, in rho as in theta; outside the axes cells count 0. Of equal neighbours so the one with the lower
 * rho and theta is listed. The list has the most votes first, equals in the order of theta, then rho; at most
 * maxLineCount lines, the strongest. *pLineCount receives how many there are, and of pLine only these are written:
 *
 *     cell     = ((y * sinTab(j) + x * cosTab(j) + 512) >> 10) + M, in 32-bit integers; off the axis it is dropped
 *     sinTab(j) = truncate(sin(theta(j)) * 1024 * (1 / delta.x)), the quotient in 32f, the rest in 64f; cosTab likewise
 *     line     = {(cell - M) * delta.x, j * delta.y}, in 32f
 *
 * The Region form votes and lists only where dstRoi[0].y <= j * delta.y <= dstRoi[1].y and where the cell lies between
 * truncate(dstRoi[0].x / delta.x + M) and truncate(dstRoi[1].x / delta.x + M), in 32f; other cells count 0. The thetas
 * of dstRoi are brought into 0 to 3.14159f, there too. dstRoi[0] holds the lower bounds {rho, theta}, dstRoi[1] the
 * upper.
 *
 * The probabilistic form (J. Matas, C. Galambos and J. Kittler, Robust detection of lines using the progressive
 * probabilistic Hough transform, 2000) lists segments by their end points, x0, y0, x1, y1, four Qor32s a line. It draws
 * points at random, but from the same start on every call, and lets one after the other vote:
 *
 *     cell = truncate(c(j) * x + s(j) * y) + M, in 32f,   c(j) = cos(theta(j)) / delta.x, s(j) alike, 64f rounded to
 * 32f
 *
 * A cell off the axis is dropped. When the fullest cell of the point, the first such, has threshold votes or more, the
 * line is followed through the image from the point, first towards (-sin, cos) of its theta, then the other way, a
 * pixel a step in x or y and the other coordinate in 1/65536 of a pixel, until the image ends or more than lineGap
 * pixels in a row are no points. The last points before that are the ends. All points on the way are taken out of the
 * image, and if the ends are lineLength apart or more in x or in y, their votes are taken back and the segment is
 * listed, the end of the first way first. *pLineCount is the number of segments listed; a null pointer there is not
 * checked. One good segment more than maxLineCount, which may be 0, ends the search with the warning
 * qorStsListFullWarn.
 *
 * @b Record: qoriHoughProbLineInit_8u32f_C1R() fills memory of the caller's, at any address: delta.x, delta.y and hint,
 * which is not used, then the pairs c(j), s(j). It serves images of any size and may be copied.
 *
 * @b Region: only the region of the source is read. srcStep may be below W: rows may overlap. @b In @b place: no.
 * @b Scratch: at any address. Sizes are reported in wrapping 32-bit arithmetic:
 *
 *     standard:       H * (4 * W + 64) + 16 * maxLineCount + 8 * N + 16 * R + 296
 *     probabilistic:  record 8 * N + 24,   scratch 9 * W * H + 4 * R * (N + 1)
 *
 * @b Threads: none. A probabilistic record is only read by the operation, so any number of calls may share it.
 *
 * @b Statuses, in the order of the checks. The size queries: qorStsNullPtrErr; qorStsSizeErr for a width or height
 * below 1; qorStsBadArgErr for a delta.x or delta.y that is not above 0; the standard one then gives the warning
 * qorStsOverflow when the size is beyond 2^31 - 1 and what it reports has wrapped.
 * qoriHoughLine_8u32f_C1R(), qoriHoughLine_Region_8u32f_C1R(): qorStsNullPtrErr; qorStsStepErr for srcStep below 1;
 * qorStsSizeErr for a width, height or maxLineCount below 1; qorStsBadArgErr for a delta.x not above 0 or above W + H,
 * a delta.y not above 0 or above 3.14159f, a threshold below 1; in the Region form qorStsRangeErr, with *pLineCount set
 * to 0, for a lower bound above the upper; qorStsSizeErr when the reported size has wrapped and has no room.
 * qoriHoughProbLineInit_8u32f_C1R(): qorStsSizeErr; qorStsBadArgErr for delta; qorStsNullPtrErr; qorStsSizeErr for a
 * record beyond 2^31 - 1 bytes. qoriHoughProbLine_8u32f_C1R(): qorStsNullPtrErr, but for pLineCount; qorStsSizeErr for
 * a width or height below 1; qorStsBadArgErr for a threshold below 1, a lineLength or lineGap below 0; qorStsSizeErr
 * for scratch beyond 2^31 - 1 bytes.
 * @{
 */
typedef struct QoriHoughProbSpec QoriHoughProbSpec; /**< directions of the probabilistic form */

QorStatus qoriHoughLineGetSize_8u_C1R(QoriSize roiSize, QoriPoint_32f delta, int maxLineCount, int* pBufSize);
QorStatus qoriHoughLine_8u32f_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, QoriPoint_32f delta, int threshold,
                                  QoriPoint_32f* pLine, int maxLineCount, int* pLineCount, Qor8u* pBuffer);
QorStatus qoriHoughLine_Region_8u32f_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, QoriPoint_32f* pLine,
                                         QoriPoint_32f* dstRoi, int maxLineCount, int* pLineCount, QoriPoint_32f delta,
                                         int threshold, Qor8u* pBuffer);
QorStatus qoriHoughProbLineGetSize_8u_C1R(QoriSize roiSize, QoriPoint_32f delta, int* pSpecSize, int* pBufSize);
QorStatus qoriHoughProbLineInit_8u32f_C1R(QoriSize roiSize, QoriPoint_32f delta, QorHintAlgorithm hint,
                                          QoriHoughProbSpec* pSpec);
QorStatus qoriHoughProbLine_8u32f_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, int threshold, int lineLength,
                                      int lineGap, Qor32s* pLine, int maxLineCount, int* pLineCount, Qor8u* pBuffer,
                                      const QoriHoughProbSpec* pSpec);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
