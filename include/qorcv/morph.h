/**
 * @file morph.h
 * Morphology: extrema over rectangles, dilation and erosion by any mask, what is composed of them.
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

#ifdef __cplusplus
}
#endif

#endif
