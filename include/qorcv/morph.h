/**
 * @file morph.h
 * Morphology: extrema over rectangles, dilation and erosion by any mask or gray structuring element, what is composed
 * of them, reconstruction.
 */
#ifndef QORCV_MORPH_H
#define QORCV_MORPH_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup window_extrema Extrema over rectangles
 *
 * With a mask of mw x mh pixels and its anchor (ax, ay), for every pixel of the region
 *
 *     max(x, y) = the largest  of ext(x - ax + j, y - ay + i) over i = 0 .. mh - 1, j = 0 .. mw - 1
 *     min(x, y) = the smallest of the same
 *
 * where ext is the source, with coordinates outside the region moved to its nearest row and column. Channels are alone,
 * the fourth like the others. The time hardly grows with the mask: maxima down the columns are shared between the rows
 * (M. van Herk, A fast algorithm for local minimum and maximum filters, 1992; J. Gil, M. Werman, 1993), maxima along a
 * row come by doubling.
 *
 * @b Values are exact. 32f: of a window with a NaN the result is a NaN or one of the window's values; which zero stands
 * for two of both signs is not said.
 *
 * @b Region: nothing outside it is read, however large the mask. @b In @b place: no; source and destination must not
 * overlap. Images of 32f may stand at any address and have any step. @b Scratch: pBuffer, any alignment, of
 * 2 * mh * (roiWidth * channels * sample size + 32) + 32 * mh + 32 bytes as the query of the same ending reports, in
 * wrapping 32-bit arithmetic. What is reported for a width serves smaller ones. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a height, then a width of the region
 * below 1; qorStsMaskSizeErr for a height, then a width of the mask below 1; qorStsAnchorErr for an anchor outside the
 * mask; qorStsStepErr for srcStep, then dstStep below the bytes of a row, counted in 64 bits. Of the queries:
 * qorStsNullPtrErr; qorStsSizeErr for roiWidth below 1; qorStsMaskSizeErr.
 * @{
 */
QorStatus qoriFilterMaxGetBufferSize_8u_C1R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMinGetBufferSize_8u_C1R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMaxGetBufferSize_8u_C3R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMinGetBufferSize_8u_C3R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMaxGetBufferSize_8u_C4R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMinGetBufferSize_8u_C4R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMaxGetBufferSize_32f_C1R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMinGetBufferSize_32f_C1R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMaxGetBufferSize_32f_C3R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMinGetBufferSize_32f_C3R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMaxGetBufferSize_32f_C4R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMinGetBufferSize_32f_C4R(int roiWidth, QoriSize maskSize, int* pBufferSize);
QorStatus qoriFilterMaxBorderReplicate_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep,
                                              QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMinBorderReplicate_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep,
                                              QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMaxBorderReplicate_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep,
                                              QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMinBorderReplicate_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep,
                                              QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMaxBorderReplicate_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep,
                                              QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMinBorderReplicate_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep,
                                              QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMaxBorderReplicate_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMinBorderReplicate_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMaxBorderReplicate_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMinBorderReplicate_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMaxBorderReplicate_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
QorStatus qoriFilterMinBorderReplicate_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriSize maskSize, QoriPoint anchor, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup dilation_erosion Dilation and erosion
 *
 * With a mask of mw x mh bytes, row by row, of which those that are not 0 are active, and its anchor (ax, ay),
 *
 *     dilate(x, y) = the largest  of ext(x + j - ax, y + i - ay) over all active (i, j)
 *     erode(x, y)  = the smallest of the same
 *
 * (J. Serra, Image analysis and mathematical morphology, 1982.) Dilation does not reflect the mask: the picture of a
 * single bright pixel is the mask turned by 180 degrees. Channels are alone, the fourth like the others. With a mask
 * without active elements both operations copy the region, whatever the border.
 *
 * @b Values are exact. 32f: of a window with a NaN the result is a NaN or one of the window's values; which zero stands
 * for two of both signs is not said.
 *
 * @b 1u: pixel x of a row with bit offset o is bit (o + x) & 7, counted from the lowest, of byte (o + x) >> 3 of the
 * row. Offsets of 8 and more are legal. Bits that are not the region's keep their values, also in bytes that hold some
 * of both; two rows may share a byte. Dilation sets a bit where any active element meets a set bit, erosion clears it
 * where any meets a clear one.
 *
 * @b Records hold a copy of the mask, what is known of its shape, and the largest width of a region that they serve.
 * The time depends on the shape alone: a solid rectangle costs the same whatever its size, any other mask grows with
 * its height, the runs of active elements in its rows, and how many lengths these have. A call may take 32 KB of the
 * stack. There are two generations:
 *  - The Border operations take a record that qoriMorphologyBorderInit made in memory of the caller's, at any address,
 * of the size that qoriMorphologyBorderGetSize reports as pSpecSize. Its anchor is ((mw - 1) / 2, (mh - 1) / 2).
 *    pBuffer, here and there, has the bytes reported as pBufferSize, at any address, and keeps nothing. These records
 *    are only read, by as many calls at once as one likes.
 *  - The BorderReplicate operations take a record with an anchor of choice inside the mask, from qoriMorphologyInit in
 *    memory of the caller's (qoriMorphologyGetSize) or from qoriMorphologyInitAlloc, which allocates one block, to be
 *    released by qoriMorphologyFree. They have no scratch: a call may use memory inside the record, so such a record
 *    serves one call at a time. Only those of masks without active elements, or with more than one run of them in some
 *    row, with two runs of one length that begin in different columns, or with a run that misses the anchor's column,
 *    other than solid rectangles, may be shared.
 *
 * @b Sizes, in wrapping 32-bit arithmetic, with A = mw * mh rounded up to 16, e the bytes of a sample (1u: 1) and
 * c channels: F = 2 * mh * (roiWidth * c * e + 32) + 32 * mh + 32, in 16u and 16s twice that;
 * E = (mh * mh + 1) * (roiWidth * e + 32) + 40 * mh + 40; pBufferSize = B = max(F, E), compared as signed, + 24 * mh
 * rounded up to 16 + A + 16 * mh + 79 rounded down to 16; pSpecSize and pSize = 33 * A + 16 * mh + 160 + B in 8u and
 * 32f, without B in 16u and 16s, 3 * A + 96 in 1u.
 *
 * @b Border: qorBorderRepl or qorBorderInMem, and flags with either. Sides without a flag repeat the nearest pixel of
 * the region, sides with one are read from memory, as far as the active elements reach. Where the two meet a coordinate
 * beyond a repeated side moves to the edge and the other stays: with the left side alone in memory, pixel (-1, -1) is
 * the one in memory at (-1, 0). borderValue is one sample in every form and not read. The BorderReplicate operations
 * take qorBorderRepl without flags.
 *
 * @b In @b place: refused in the 16u, 16s and 1u forms, undefined in the others; so is any other overlap. @b Threads:
 * none.
 *
 * @b Statuses, in the order of the checks. Border operations: qorStsNullPtrErr; qorStsSizeErr for a width or height
 * below 1, in 1u also for a negative bit offset; qorStsStepErr for a step below the bytes of a row, counted in 64 bits,
 * in 1u below (width + 7) / 8 whatever the offset; qorStsNotEvenStepErr (16u, 16s, 32f) for a step that is not a
 * multiple of the sample size; qorStsBorderErr for another border; qorStsSizeErr for a width above the record's;
 * qorStsInPlaceErr (16u, 16s, 1u) for source and destination at the same address. BorderReplicate operations: the same
 * without pBuffer up to the steps, then qorStsBadArgErr for any border but 1, and qorStsSizeErr as above.
 *
 * GetSize operations: qorStsNullPtrErr (pMask included, which is not read); qorStsSizeErr for a width or a side of the
 * mask below 1. Init operations: qorStsNullPtrErr; qorStsSizeErr as before; qorStsAnchorErr for an anchor outside the
 * mask; InitAlloc qorStsMemAllocErr when there is no memory, *ppState staying as it was. Free: qorStsNullPtrErr.
 * @{
 */
typedef struct QoriMorphState QoriMorphState; /**< mask, with its anchor and what is known of its shape */

QorStatus qoriMorphologyBorderGetSize_8u_C1R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_8u_C3R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_8u_C4R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_16u_C1R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_16s_C1R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_32f_C1R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_32f_C3R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_32f_C4R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderGetSize_1u_C1R(int roiWidth, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphologyBorderInit_8u_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                          QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_8u_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                          QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_8u_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                          QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_16u_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                           QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_16s_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                           QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_32f_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                           QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_32f_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                           QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_32f_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                           QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyBorderInit_1u_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize,
                                          QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriDilateBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor8u borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriDilateBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor8u borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriDilateBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor8u borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriDilateBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                   QoriBorderType borderType, Qor16u borderValue, const QoriMorphState* pMorphSpec,
                                   Qor8u* pBuffer);
QorStatus qoriDilateBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                   QoriBorderType borderType, Qor16s borderValue, const QoriMorphState* pMorphSpec,
                                   Qor8u* pBuffer);
QorStatus qoriDilateBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                   QoriBorderType borderType, Qor32f borderValue, const QoriMorphState* pMorphSpec,
                                   Qor8u* pBuffer);
QorStatus qoriDilateBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                   QoriBorderType borderType, Qor32f borderValue, const QoriMorphState* pMorphSpec,
                                   Qor8u* pBuffer);
QorStatus qoriDilateBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                   QoriBorderType borderType, Qor32f borderValue, const QoriMorphState* pMorphSpec,
                                   Qor8u* pBuffer);
QorStatus qoriDilateBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                  int dstBitOffset, QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                  const QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriErodeBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                 QoriBorderType borderType, Qor8u borderValue, const QoriMorphState* pMorphSpec,
                                 Qor8u* pBuffer);
QorStatus qoriErodeBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                 QoriBorderType borderType, Qor8u borderValue, const QoriMorphState* pMorphSpec,
                                 Qor8u* pBuffer);
QorStatus qoriErodeBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                 QoriBorderType borderType, Qor8u borderValue, const QoriMorphState* pMorphSpec,
                                 Qor8u* pBuffer);
QorStatus qoriErodeBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor16u borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriErodeBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor16s borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriErodeBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor32f borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriErodeBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor32f borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriErodeBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                  QoriBorderType borderType, Qor32f borderValue, const QoriMorphState* pMorphSpec,
                                  Qor8u* pBuffer);
QorStatus qoriErodeBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                 int dstBitOffset, QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                 const QoriMorphState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphologyGetSize_8u_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphologyGetSize_8u_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphologyGetSize_8u_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphologyGetSize_32f_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphologyGetSize_32f_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphologyGetSize_32f_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphologyInit_8u_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                    QoriMorphState* pState);
QorStatus qoriMorphologyInit_8u_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                    QoriMorphState* pState);
QorStatus qoriMorphologyInit_8u_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                    QoriMorphState* pState);
QorStatus qoriMorphologyInit_32f_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                     QoriMorphState* pState);
QorStatus qoriMorphologyInit_32f_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                     QoriMorphState* pState);
QorStatus qoriMorphologyInit_32f_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                     QoriMorphState* pState);
QorStatus qoriMorphologyInitAlloc_8u_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                         QoriMorphState** ppState);
QorStatus qoriMorphologyInitAlloc_8u_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                         QoriMorphState** ppState);
QorStatus qoriMorphologyInitAlloc_8u_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                         QoriMorphState** ppState);
QorStatus qoriMorphologyInitAlloc_32f_C1R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                          QoriMorphState** ppState);
QorStatus qoriMorphologyInitAlloc_32f_C3R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                          QoriMorphState** ppState);
QorStatus qoriMorphologyInitAlloc_32f_C4R(int roiWidth, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor,
                                          QoriMorphState** ppState);
QorStatus qoriMorphologyFree(QoriMorphState* pState);
QorStatus qoriDilateBorderReplicate_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriDilateBorderReplicate_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriDilateBorderReplicate_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriDilateBorderReplicate_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriDilateBorderReplicate_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriDilateBorderReplicate_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriErodeBorderReplicate_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriErodeBorderReplicate_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriErodeBorderReplicate_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriErodeBorderReplicate_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriErodeBorderReplicate_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           QoriBorderType borderType, const QoriMorphState* pState);
QorStatus qoriErodeBorderReplicate_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           QoriBorderType borderType, const QoriMorphState* pState);
/** @} */

/**
 * @defgroup compound_morphology Opening, closing, hats and gradient
 *
 * With m the mask as given and m' the mask turned by 180 degrees, its anchor (mw - 1 - ax, mh - 1 - ay),
 *
 *     open     = dilate by m' of (erode by m of src)     tophat   = src - open
 *     close    = erode by m' of (dilate by m of src)     blackhat = close - src
 *     gradient = dilate by m of src - erode by m of src
 *
 * (J. Serra, Image analysis and mathematical morphology, 1982; F. Meyer, 1978, for the hats; S. Beucher for the
 * gradient.) Dilation and erosion are those of the group above, with its forms, bits, masks and borders; of a mask
 * without active elements open and close are copies, the others 0.
 *
 * @b Saturation: differences of integers saturate, so unsigned ones are never below 0 (1u: a and not b); in 16s
 * negative ones stay and both ends clip. In 32f what is below 0 becomes 0, and NaN stays: also of two infinities.
 *
 * @b Border: qorBorderRepl or qorBorderInMem, and flags with either. On sides with a flag the first stage is computed
 * as far beyond the region as the second stage reads, from source pixels up to mw - 1 columns and mh - 1 rows away; no
 * margin of the destination is needed or written. On sides without one the second stage repeats the edge of what the
 * first has made. So an opening can be above its source near such a side, and the top-hat saturates there. The gradient
 * reads as far as its mask reaches.
 *
 * @b Records: qoriMorphAdvInit makes one in memory of the caller's, at any address, with the anchor
 * ((mw - 1) / 2, (mh - 1) / 2); qoriMorphAdvInitAlloc one with an anchor of choice in library memory, to be released by
 * qoriMorphAdvFree. They hold copies of the mask, are only read, and serve regions up to their width, higher ones too
 * as long as the first stage, grown by what the border asks for, fits the space meant for it: with rows rounded up to
 * 32 bytes (1u: a byte a pixel), H + mh - 1 rows of W + mw - 1 pixels for the size W x H of the Init.
 *
 * @b Sizes, in wrapping 32-bit arithmetic: with S and B what qoriMorphologyBorderGetSize reports for the region's width
 * and the mask, pSpecSize = 2 * S + 32 and pBufferSize = 2 * B + (H + mh - 1) * (the bytes of W + mw - 1 pixels,
 * rounded up to 32). pBuffer stands at any address and keeps nothing; that of an operation need not be that of the
 * Init, and is needed with records of qoriMorphAdvInitAlloc too.
 *
 * @b In @b place: open and close, with one step; the others not. Any other overlap is undefined. @b Threads: none.
 *
 * @b Statuses, in the order of the checks. Operations: as for the Border operations of the group above, up to
 * qorStsSizeErr for a width above the record's; then, in place of qorStsInPlaceErr, qorStsSizeErr where the first stage
 * does not fit (gradient: the region). GetSize operations: qorStsNullPtrErr; qorStsSizeErr for a width or height of
 * region or mask below 1. Init operations: qorStsNullPtrErr; qorStsSizeErr as before; InitAlloc qorStsAnchorErr for an
 * anchor outside the mask, then qorStsMemAllocErr, *ppState staying as it was. Free: qorStsNullPtrErr.
 * @{
 */
typedef struct QoriMorphAdvState QoriMorphAdvState; /**< mask of a compound operation, as given and turned */

QorStatus qoriMorphAdvGetSize_8u_C1R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_8u_C3R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_8u_C4R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_16u_C1R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_16s_C1R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_32f_C1R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_32f_C3R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_32f_C4R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvGetSize_1u_C1R(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize);
QorStatus qoriMorphAdvInit_8u_C1R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                  QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_8u_C3R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                  QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_8u_C4R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                  QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_16u_C1R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                   QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_16s_C1R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                   QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_32f_C1R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                   QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_32f_C3R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                   QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_32f_C4R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                   QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInit_1u_C1R(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                                  QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphAdvInitAlloc_8u_C1R(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask,
                                       QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphAdvInitAlloc_8u_C3R(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask,
                                       QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphAdvInitAlloc_8u_C4R(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask,
                                       QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphAdvInitAlloc_32f_C1R(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask,
                                        QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphAdvInitAlloc_32f_C3R(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask,
                                        QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphAdvInitAlloc_32f_C4R(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask,
                                        QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphAdvFree(QoriMorphAdvState* pState);
QorStatus qoriMorphOpenBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     QoriBorderType borderType, Qor8u borderValue, const QoriMorphAdvState* pMorphSpec,
                                     Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     QoriBorderType borderType, Qor8u borderValue, const QoriMorphAdvState* pMorphSpec,
                                     Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     QoriBorderType borderType, Qor8u borderValue, const QoriMorphAdvState* pMorphSpec,
                                     Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor16u borderValue,
                                      const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor16s borderValue,
                                      const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor32f borderValue,
                                      const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor32f borderValue,
                                      const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor32f borderValue,
                                      const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphOpenBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                     int dstBitOffset, QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                     const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor8u borderValue, const QoriMorphAdvState* pMorphSpec,
                                      Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor8u borderValue, const QoriMorphAdvState* pMorphSpec,
                                      Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, Qor8u borderValue, const QoriMorphAdvState* pMorphSpec,
                                      Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor16u borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor16s borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor32f borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor32f borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor32f borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphCloseBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                      int dstBitOffset, QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                      const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor8u borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor8u borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, Qor8u borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                        QoriBorderType borderType, Qor16u borderValue,
                                        const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                        QoriBorderType borderType, Qor16s borderValue,
                                        const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                        QoriBorderType borderType, Qor32f borderValue,
                                        const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                        QoriBorderType borderType, Qor32f borderValue,
                                        const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                        QoriBorderType borderType, Qor32f borderValue,
                                        const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphTophatBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                       int dstBitOffset, QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                       const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriBorderType borderType, Qor8u borderValue,
                                         const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriBorderType borderType, Qor8u borderValue,
                                         const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriBorderType borderType, Qor8u borderValue,
                                         const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor16u borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor16s borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor32f borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor32f borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor32f borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphBlackhatBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                         int dstBitOffset, QoriSize roiSize, QoriBorderType borderType,
                                         Qor8u borderValue, const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriBorderType borderType, Qor8u borderValue,
                                         const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriBorderType borderType, Qor8u borderValue,
                                         const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_8u_C4R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriBorderType borderType, Qor8u borderValue,
                                         const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor16u borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor16s borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor32f borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor32f borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_32f_C4R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriBorderType borderType, Qor32f borderValue,
                                          const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
QorStatus qoriMorphGradientBorder_1u_C1R(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep,
                                         int dstBitOffset, QoriSize roiSize, QoriBorderType borderType,
                                         Qor8u borderValue, const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup gray_morphology Gray morphology
 *
 * Dilation and erosion by a gray structuring element (S. Sternberg, Grayscale morphology, 1986): every element m of a
 * mask of w x h, row by row, is added to the pixel that it meets. With (ax, ay) the anchor and S the source whose edge
 * pixels repeat outside the region,
 *
 *     dilate(x, y) = largest  of S(x + j - ax, y + i - ay) + m(i, j) over i = 0 .. h - 1, j = 0 .. w - 1
 *     erode(x, y)  = smallest of the same sums
 *
 * Erosion adds the element too, and nothing is turned or reflected: the usual dual of a dilation by m(i, j) is the
 * erosion by -m(h - 1 - i, w - 1 - j) with the anchor (w - 1 - ax, h - 1 - ay). Every element takes part, also 0: a
 * mask of zeros makes the flat operation over the whole rectangle. What shall not take part is so low (in an erosion so
 * high) that its sum never counts: -255 and less in 8u, minus infinity in 32f; such elements cost nothing.
 *
 * @b Rounding: 8u: exact sums, whatever the elements, then clamped to 0 .. 255; elements beyond -255 and 255 act like
 * these. 32f: each sum is one addition, rounded to 32 bits, and may be an infinity. The largest starts at
 * -3.4028235e+38, the smallest at +3.4028235e+38, so that a window of minus infinities dilates to -3.4028235e+38. A sum
 * that is NaN takes no part. Of equal sums, that of the first element is stored; it decides the sign of a zero.
 *
 * @b Record: an Init operation copies the mask, which may go afterwards, into memory of the caller's, of the size that
 * its GetSize reports, 32 + 4 * w * h bytes (in 32 bits, wrapping), at any address; an InitAlloc operation into a block
 * of the library's, to be released by Free. A record stays where it was made: a copy of its bytes is none. It
 * serves every region up to its roiSize in width and height, and dilation and erosion alike; operations only read it,
 * so any number of calls may share it.
 *
 * @b Region: only pixels of the region are read, all of the destination's are written. @b In @b place: no; source and
 * destination must not overlap. @b Scratch: none. @b Threads: none. The time grows with the number of elements that
 * take part; when all are equal, with the logarithm of the width alone.
 *
 * @b Statuses, in the order of the checks. GetSize: qorStsNullPtrErr, also for pMask, which is not read; qorStsSizeErr
 * for a width or height of region or mask below 1. Init and InitAlloc: qorStsNullPtrErr; qorStsSizeErr as before;
 * qorStsAnchorErr for an anchor outside the mask; InitAlloc then qorStsMemAllocErr, also for a record beyond 2^31 - 1
 * bytes, with *ppState as it was. Free: qorStsNullPtrErr. Dilate and erode: qorStsNullPtrErr; qorStsSizeErr for a width
 * or height below 1; qorStsStepErr for a step below the bytes of a row, counted in 64 bits; in 32f qorStsNotEvenStepErr
 * for a step that is not a multiple of 4; qorStsBadArgErr for a border other than qorBorderRepl, flags included;
 * qorStsSizeErr for a region wider or higher than the record's.
 * @{
 */
typedef struct QoriMorphGrayState QoriMorphGrayState; /**< gray structuring element with its anchor */

QorStatus qoriMorphGrayGetSize_8u_C1R(QoriSize roiSize, const Qor32s* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphGrayGetSize_32f_C1R(QoriSize roiSize, const Qor32f* pMask, QoriSize maskSize, int* pSize);
QorStatus qoriMorphGrayInit_8u_C1R(QoriMorphGrayState* pState, QoriSize roiSize, const Qor32s* pMask, QoriSize maskSize,
                                   QoriPoint anchor);
QorStatus qoriMorphGrayInit_32f_C1R(QoriMorphGrayState* pState, QoriSize roiSize, const Qor32f* pMask,
                                    QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphGrayInitAlloc_8u_C1R(QoriMorphGrayState** ppState, QoriSize roiSize, const Qor32s* pMask,
                                        QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphGrayInitAlloc_32f_C1R(QoriMorphGrayState** ppState, QoriSize roiSize, const Qor32f* pMask,
                                         QoriSize maskSize, QoriPoint anchor);
QorStatus qoriMorphGrayFree_8u_C1R(QoriMorphGrayState* pState);
QorStatus qoriMorphGrayFree_32f_C1R(QoriMorphGrayState* pState);
QorStatus qoriGrayDilateBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, const QoriMorphGrayState* pState);
QorStatus qoriGrayDilateBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       QoriBorderType borderType, const QoriMorphGrayState* pState);
QorStatus qoriGrayErodeBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                     QoriBorderType borderType, const QoriMorphGrayState* pState);
QorStatus qoriGrayErodeBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriBorderType borderType, const QoriMorphGrayState* pState);
/** @} */

/**
 * @defgroup reconstruction Morphological reconstruction
 *
 * Geodesic reconstruction in place (L. Vincent, Morphological grayscale reconstruction in image analysis, 1993): the
 * marker in pSrcDst grows under the mask in pSrc until nothing changes (Dilate), or shrinks above it (Erode). With N(p)
 * the neighbours of p inside the region, 4 for the norm qoriNormL1 and 8 for qoriNormInf,
 *
 *     Dilate:  first  d(p) = min(d(p), mask(p));  then  d(p) = min(max(d(p), d over N(p)), mask(p))  until stable
 *     Erode:   first  d(p) = max(d(p), mask(p));  then  d(p) = max(min(d(p), d over N(p)), mask(p))  until stable
 *
 * So a marker beyond the mask is brought to the mask before any neighbour reads it. The result is unique: it does not
 * depend on the order of steps or on the number of threads. Results are copies of input samples; infinities and
 * denormals are ordinary values. Which of two zeros of different sign is stored is not defined, and neither are the
 * values of an image that holds a NaN, but the call ends and stays within its memory.
 *
 * What it is for: an opening that keeps outlines (marker: the opened picture, mask: the picture), bright spots that
 * stand out by h (marker: picture - h, and the result subtracted from the picture), holes (Erode, marker: the frame of
 * the picture and its highest value inside), and all that is connected with chosen pixels.
 *
 * @b Region: only pixels of the region are read and written; the mask is never written. @b In @b place: the marker is
 * the result; it may also be the mask itself, which then stays as it is. Partial overlap is undefined. @b Scratch: at
 * any address, of the size that the query for the sample type reports, in 32 bits, wrapping:
 *
 *     8u 4 W + H + 161;  16u 2 (4 W + H) + 322;  32f 16 W + H + 164;  64f 32 W + H + 168   for a region of W x H
 *
 * @b Threads: two, the upper and the lower half, when width and height are at least 11 and the library has two or more.
 * The time depends on how winding the ways are along which the marker spreads.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a step that is not a multiple of
 * the sample size; qorStsBadArgErr for a norm other than qoriNormInf and qoriNormL1. Queries: qorStsNullPtrErr;
 * qorStsSizeErr; the general one then qorStsDataTypeErr for a type other than qor8u, qor16u, qor32f, qor64f, and
 * qorStsChannelErr for numChannels other than 1.
 * @{
 */
QorStatus qoriMorphReconstructDilate_8u_C1IR(const Qor8u* pSrc, int srcStep, Qor8u* pSrcDst, int srcDstStep,
                                             QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructDilate_16u_C1IR(const Qor16u* pSrc, int srcStep, Qor16u* pSrcDst, int srcDstStep,
                                              QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructDilate_32f_C1IR(const Qor32f* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep,
                                              QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructDilate_64f_C1IR(const Qor64f* pSrc, int srcStep, Qor64f* pSrcDst, int srcDstStep,
                                              QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructErode_8u_C1IR(const Qor8u* pSrc, int srcStep, Qor8u* pSrcDst, int srcDstStep,
                                            QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructErode_16u_C1IR(const Qor16u* pSrc, int srcStep, Qor16u* pSrcDst, int srcDstStep,
                                             QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructErode_32f_C1IR(const Qor32f* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep,
                                             QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructErode_64f_C1IR(const Qor64f* pSrc, int srcStep, Qor64f* pSrcDst, int srcDstStep,
                                             QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm);
QorStatus qoriMorphReconstructGetBufferSize_8u_C1(QoriSize roiSize, int* pBufferSize);
QorStatus qoriMorphReconstructGetBufferSize_16u_C1(QoriSize roiSize, int* pBufferSize);
QorStatus qoriMorphReconstructGetBufferSize_32f_C1(QoriSize roiSize, int* pBufferSize);
QorStatus qoriMorphReconstructGetBufferSize_64f_C1(QoriSize roiSize, int* pBufferSize);
QorStatus qoriMorphReconstructGetBufferSize(QoriSize roiSize, QorDataType dataType, int numChannels, int* pBufferSize);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
