/**
 * @file pyramid.h
 * Pyramids: an image at many sizes, each level a constant rate coarser than the one below it.
 */
#ifndef QORCV_PYRAMID_H
#define QORCV_PYRAMID_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup gauss_steps Gaussian pyramid steps
 *
 * One step of a pyramid of rate 2 (P. J. Burt and E. H. Adelson, The Laplacian pyramid as a compact image code, 1983).
 * roiSize is the size of the source, W by H pixels, on both roads; of three channels each is filtered alone.
 *
 * @b PyrDown smooths by 1, 4, 6, 4, 1 along both axes and keeps the even pixels of the even rows, (W + 1) / 2 by
 * (H + 1) / 2 of them. p(x) is a pixel of the source row in question, h a filtered row:
 *
 *     h(x) = 6 p(2x) + 4 (p(2x - 1) + p(2x + 1)) + p(2x - 2) + p(2x + 2)
 *     v(y) = 6 h(2y) + 4 (h(2y - 1) + h(2y + 1)) + h(2y - 2) + h(2y + 2)
 *     8u, 8s:  (v + 128) >> 8        32f:  v * 0.00390625
 *
 * Outside the image stand its pixels reflected about the edge pixel, again and again in an image of two; a single pixel
 * repeats.
 *
 * @b PyrUp doubles both sides, to 2W by 2H. Even and odd pixels and rows have weights of their own:
 *
 *     h(2x) = 6 p(x) + p(x - 1) + p(x + 1)        h(2x + 1) = 4 (p(x) + p(x + 1))
 *     v(2y) = 6 h(y) + h(y - 1) + h(y + 1)        v(2y + 1) = 4 (h(y) + h(y + 1))
 *     8u, 8s:  (v + 32) >> 6
 *     32f:     v(2y) * 0.015625, and (h(y) + h(y + 1)) * 0.0625 in odd rows
 *
 * The ends of a line differ: p(-1) is p(1), a reflection (p(0) if there is only one), but p(W) is p(W - 1), the edge
 * repeated; and so for rows.
 *
 * @b Rounding: 8u and 8s are exact up to the rounding shift, which is arithmetic, and need no saturation. 32f rounds
 * every step to 32-bit float, in the order written and from left to right. Its small images go another way. PyrDown:
 * of a height below 3 the two rows (or the one with itself) are added first, then h is formed of the sum, times
 * 0.03125; else of a width below 3 the two columns are added first, then the rows of that column are weighted as in v,
 * times 0.03125. PyrUp: of a single row both rows of the result are h * 0.125; else of a single column both columns are
 * (6 p(y) + p(y - 1) + p(y + 1)) * 0.125 and 4 (p(y) + p(y + 1)) * 0.125.
 *
 * @b Region: only the pixels of the region are read, and all pixels of the result written. @b In @b place: no; overlap
 * of source and destination is undefined. @b Scratch: any address; the sizes do not depend on the data type:
 *
 *     qoriPyrDownGetBufSize_Gauss5x5():  6 * roundUp16(4 * roiWidth * numChannels) + 64
 *     qoriPyrUpGetBufSize_Gauss5x5():    3 * roundUp16(8 * roiWidth * numChannels) + 64
 *
 * Beyond 2^31 - 1 bytes the size reported is what the rows need, if that is less; else the one stated, wrapped in 32
 * bits. Scratch of a width serves all heights. @b Threads: none.
 *
 * @b Statuses, in the order of the checks. Sizes: qorStsNullPtrErr; qorStsSizeErr for a width below 1; qorStsChannelErr
 * for channels other than 1 and 3; qorStsDataTypeErr for a type other than qor8u, qor8s and qor32f. Steps:
 * qorStsNullPtrErr, the scratch among the pointers; qorStsSizeErr for a width or height below 1; qorStsStepErr for
 * srcStep, then dstStep, below the row of its image in bytes; qorStsNotEvenStepErr (32f) for a step that is not a
 * multiple of 4; qorStsSizeErr where the reported size has wrapped and has no room for the rows.
 * @{
 */
QorStatus qoriPyrDownGetBufSize_Gauss5x5(int roiWidth, QorDataType dataType, int numChannels, int* pBufSize);
QorStatus qoriPyrUpGetBufSize_Gauss5x5(int roiWidth, QorDataType dataType, int numChannels, int* pBufSize);
QorStatus qoriPyrDown_Gauss5x5_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                      Qor8u* pBuffer);
QorStatus qoriPyrDown_Gauss5x5_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                      Qor8u* pBuffer);
QorStatus qoriPyrDown_Gauss5x5_8s_C1R(const Qor8s* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                      Qor8u* pBuffer);
QorStatus qoriPyrDown_Gauss5x5_8s_C3R(const Qor8s* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                      Qor8u* pBuffer);
QorStatus qoriPyrDown_Gauss5x5_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       Qor8u* pBuffer);
QorStatus qoriPyrDown_Gauss5x5_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                       Qor8u* pBuffer);
QorStatus qoriPyrUp_Gauss5x5_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                    Qor8u* pBuffer);
QorStatus qoriPyrUp_Gauss5x5_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                    Qor8u* pBuffer);
QorStatus qoriPyrUp_Gauss5x5_8s_C1R(const Qor8s* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                    Qor8u* pBuffer);
QorStatus qoriPyrUp_Gauss5x5_8s_C3R(const Qor8s* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                    Qor8u* pBuffer);
QorStatus qoriPyrUp_Gauss5x5_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                     Qor8u* pBuffer);
QorStatus qoriPyrUp_Gauss5x5_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                     Qor8u* pBuffer);
/** @} */

/**
 * @defgroup pyramid Pyramid records
 *
 * A record that lists the levels of a pyramid (P. J. Burt and E. H. Adelson, The Laplacian pyramid as a compact image
 * code, 1983), and the arithmetic of their sizes. The rate, above 1 and at most 10, is how much coarser a level is than
 * the one below it. Level 0 is the image itself.
 *
 * @b Sizes: each axis is for itself. Sources of n samples are what the sizes from min(n) to max(n) reduce to:
 *
 *     max(n) = max(n + 1, truncate(n * rate))
 *     min(1) = 1,    min(n) = max(n - 1) + 1
 *
 * with the product in 32-bit float, and 2^31 - 1 for whatever lies above it. These ranges follow each other without a
 * gap, so that every size reduces to exactly one other, which is about size / rate and, from 2 on, smaller by at least
 * 1; 1 reduces to 1. qoriGetPyramidUpROI() stores both ends of the range of srcRoi, the sizes that reduce to it;
 * qoriGetPyramidDownROI() the size that srcRoi reduces to.
 *
 * @b Record: qoriPyramidInitAlloc() counts how often roiSize can be reduced until both of its sides are 1. The
 * record's `level`, the index of the coarsest level, is that count or the argument, whichever is smaller; 0 for an
 * image of one pixel. Arrays have level + 1 entries. Init fills the sizes and the rates; images, steps and the state
 * are null or 0, for the caller to fill and to release. The rate of a level leads from coordinates of level 0 to its
 * own; it is the rate of the level before times 1.0 / rate, in 64-bit float.
 *
 * @b Memory: one block of 52 * level + 152 bytes, with that of the record for `level`; qoriPyramidFree() gives back
 * nothing else. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1;
 * qorStsBadArgErr for a rate that is not above 1 and at most 10, or a level below 1; qorStsMemAllocErr when memory is
 * short, also for a record beyond 2^31 - 1 bytes. *ppPyr is written with qorStsNoErr only. qoriPyramidFree():
 * qorStsNullPtrErr.
 * @{
 */
/** Levels of a pyramid. Images may have any sample, known to those who fill and read them. */
typedef struct {
  Qor8u** pImage; /**< first pixel of each level */
  QoriSize* pRoi; /**< size of each level */
  Qor64f* pRate;  /**< factor from coordinates of level 0 to those of each level: 1, 1 / rate, 1 / rate^2, ... */
  int* pStep;     /**< bytes from row to row in each level */
  void* pState;   /**< of the caller's, such as a layer */
  int32_t level;  /**< index of the coarsest level */
} QoriPyramid;

QorStatus qoriGetPyramidDownROI(QoriSize srcRoi, QoriSize* pDstRoi, Qor32f rate);
QorStatus qoriGetPyramidUpROI(QoriSize srcRoi, QoriSize* pDstRoiMin, QoriSize* pDstRoiMax, Qor32f rate);
QorStatus qoriPyramidInitAlloc(QoriPyramid** ppPyr, int level, QoriSize roiSize, Qor32f rate);
QorStatus qoriPyramidFree(QoriPyramid* pPyr);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
