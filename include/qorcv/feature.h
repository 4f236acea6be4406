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
