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

/**
 * @defgroup pyramid_layers Pyramid layers
 *
 * A layer makes one level of a pyramid from its neighbour by a kernel of the caller's, along both axes alike and for
 * any rate above 1 and at most 10. The sizes of a step are those of qoriGetPyramidDownROI(): that of the finer image
 * has to reduce to that of the coarser one. A layer serves the size that it is made for, which is the source on the way
 * down and the destination on the way up, and every one within it, so that it makes all levels of a pyramid. Of three
 * channels each is filtered alone.
 *
 * @b Kernel: an odd number of taps, kernelSize, which are copied. They need not be symmetric: the kernel is a
 * correlation, tap 0 meets the leftmost or topmost sample. They are divided by their sum, which may be negative; for
 * 8u and 16u in fixed point,
 *
 *     tap = (truncate(2 * tap / sum * 8192.0 + 0.5) >> 1) / 8192
 *
 * so that such a kernel may weigh a little less than 1: 1, 1, 1 becomes three times 2730 / 8192, which darkens an image
 * by 2 in 8192 for each axis. In 32f the sum is formed from the middle outwards, in 32-bit float. mode is 2.
 *
 * @b LayerDown: the source is filtered, and the filtered image f sampled. At a rate of exactly 2 that is f(2x), at all
 * sizes. At any other rate it is sampled at x * W / W', W and W' being the widths of source and destination, between
 * the two samples there:
 *
 *     i = truncate(x * W / W'),    r = x * W / W' - i,    d(x) = (1 - r) * f(i) + r * f(i + 1)
 *
 * but the last column of the destination is the last one of f; and so for rows.
 *
 * @b LayerUp: at a rate of exactly 2 zeros are put between the samples of the source, behind each, and the result is
 * filtered and doubled for each axis, so that even pixels are made by every second tap and odd ones by the others: a
 * kernel whose even and odd taps have different sums, such as 1, 1, 1, ripples. At any other rate the source is sampled
 * at x * W / W' as above, to the size of the destination, and the result is filtered.
 *
 * @b Border: outside of what is filtered stands its nearest pixel; with zeros between pixels, outside of the source.
 *
 * @b Rounding: filtering and sampling are done in one, along the rows and then down the columns, and rounded to the
 * sample, to nearest, at the end. Integers saturate. They are within 1 unit of the exact result of the taps above, a
 * little more where taps are negative. 8u is summed in integers, with weights of 14 bits and filtered rows of up to 7
 * bits behind the point; or, for kernels of more than 31 taps or with large negative ones and for rates from about 2.5
 * on, in 32-bit float like 16u and 32f. Sums of floats go from left to right and down; only along the rows of one
 * channel, at rates other than 2, is the sum of every fourth product formed first, and of these four (0 + 1) + (2 + 3).
 * A NaN or an infinity spreads over the results whose window holds it, of up to kernelSize + 1 source pixels an axis.
 *
 * @b Region: only the pixels of the source are read, and all pixels of the destination written. @b In @b place: no;
 * overlap of source and destination is undefined. @b Memory: InitAlloc takes one block, for the layer and all that its
 * steps need; Free gives it back. Steps take none. @b Threads: none. A layer is used by one call at a time.
 *
 * @b Statuses, in the order of the checks. InitAlloc: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1;
 * qorStsBadArgErr for a mode other than 2, a rate that is not above 1 and at most 10, a kernelSize below 3 or even, or
 * taps whose sum is 0 (32f: less than 1.1754944e-38 in magnitude); qorStsMemAllocErr, also for a layer beyond 2^31 - 1
 * bytes. *ppState is written with qorStsNoErr only. Steps: qorStsNullPtrErr; qorStsSizeErr for a width or height of the
 * source below 1; qorStsStepErr for srcStep, then dstStep, below the row of its image in bytes; qorStsNotEvenStepErr
 * (16u, 32f) for a step that is not a multiple of the sample; qorStsBadArgErr for the layer's rate; qorStsSizeErr for
 * sizes of which the finer does not reduce to the coarser, and for one beyond what the layer is made for. Free:
 * qorStsNullPtrErr.
 * @{
 */
typedef struct QoriPyramidDownState QoriPyramidDownState; /**< layer that makes coarser levels */
typedef struct QoriPyramidUpState QoriPyramidUpState;     /**< layer that makes finer levels */

QorStatus qoriPyramidLayerDownInitAlloc_8u_C1R(QoriPyramidDownState** ppState, QoriSize roiSize, Qor32f rate,
                                               const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerDownInitAlloc_8u_C3R(QoriPyramidDownState** ppState, QoriSize roiSize, Qor32f rate,
                                               const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerDownInitAlloc_16u_C1R(QoriPyramidDownState** ppState, QoriSize roiSize, Qor32f rate,
                                                const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerDownInitAlloc_16u_C3R(QoriPyramidDownState** ppState, QoriSize roiSize, Qor32f rate,
                                                const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerDownInitAlloc_32f_C1R(QoriPyramidDownState** ppState, QoriSize roiSize, Qor32f rate,
                                                const Qor32f* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerDownInitAlloc_32f_C3R(QoriPyramidDownState** ppState, QoriSize roiSize, Qor32f rate,
                                                const Qor32f* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerUpInitAlloc_8u_C1R(QoriPyramidUpState** ppState, QoriSize dstRoiSize, Qor32f rate,
                                             const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerUpInitAlloc_8u_C3R(QoriPyramidUpState** ppState, QoriSize dstRoiSize, Qor32f rate,
                                             const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerUpInitAlloc_16u_C1R(QoriPyramidUpState** ppState, QoriSize dstRoiSize, Qor32f rate,
                                              const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerUpInitAlloc_16u_C3R(QoriPyramidUpState** ppState, QoriSize dstRoiSize, Qor32f rate,
                                              const Qor16s* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerUpInitAlloc_32f_C1R(QoriPyramidUpState** ppState, QoriSize dstRoiSize, Qor32f rate,
                                              const Qor32f* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerUpInitAlloc_32f_C3R(QoriPyramidUpState** ppState, QoriSize dstRoiSize, Qor32f rate,
                                              const Qor32f* pKernel, int kernelSize, int mode);
QorStatus qoriPyramidLayerDown_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor8u* pDst, int dstStep,
                                      QoriSize dstRoiSize, QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDown_8u_C3R(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor8u* pDst, int dstStep,
                                      QoriSize dstRoiSize, QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDown_16u_C1R(const Qor16u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep,
                                       QoriSize dstRoiSize, QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDown_16u_C3R(const Qor16u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep,
                                       QoriSize dstRoiSize, QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDown_32f_C1R(const Qor32f* pSrc, int srcStep, QoriSize srcRoiSize, Qor32f* pDst, int dstStep,
                                       QoriSize dstRoiSize, QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDown_32f_C3R(const Qor32f* pSrc, int srcStep, QoriSize srcRoiSize, Qor32f* pDst, int dstStep,
                                       QoriSize dstRoiSize, QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerUp_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor8u* pDst, int dstStep,
                                    QoriSize dstRoiSize, QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUp_8u_C3R(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor8u* pDst, int dstStep,
                                    QoriSize dstRoiSize, QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUp_16u_C1R(const Qor16u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep,
                                     QoriSize dstRoiSize, QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUp_16u_C3R(const Qor16u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep,
                                     QoriSize dstRoiSize, QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUp_32f_C1R(const Qor32f* pSrc, int srcStep, QoriSize srcRoiSize, Qor32f* pDst, int dstStep,
                                     QoriSize dstRoiSize, QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUp_32f_C3R(const Qor32f* pSrc, int srcStep, QoriSize srcRoiSize, Qor32f* pDst, int dstStep,
                                     QoriSize dstRoiSize, QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerDownFree_8u_C1R(QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDownFree_8u_C3R(QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDownFree_16u_C1R(QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDownFree_16u_C3R(QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDownFree_32f_C1R(QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerDownFree_32f_C3R(QoriPyramidDownState* pState);
QorStatus qoriPyramidLayerUpFree_8u_C1R(QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUpFree_8u_C3R(QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUpFree_16u_C1R(QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUpFree_16u_C3R(QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUpFree_32f_C1R(QoriPyramidUpState* pState);
QorStatus qoriPyramidLayerUpFree_32f_C3R(QoriPyramidUpState* pState);
/** @} */

/**
 * @defgroup lucas_kanade Optical flow
 *
 * Tracks points from one image to the next (B. D. Lucas and T. Kanade, An iterative image registration technique with
 * an application to stereo vision, 1981; pyramidal form: J.-Y. Bouguet, 2000). For every point a window of the previous
 * image is looked for in the next one by steps that use the gradient, from the coarsest level of two pyramids to level
 * 0, to a small fraction of a pixel.
 *
 * @b Use: fill two pyramids of the same levels; make a record with qoriOpticalFlowPyrLKInitAlloc_*, once; put the
 * points into pPrev and what is known of where they went into pNext, mostly the same points; call; give the record back
 * with qoriOpticalFlowPyrLKFree_*. Coordinates are those of level 0.
 *
 * @b Results, of numFeat entries each: pNext, the points in the next image; pStatus, 0 for a point that was tracked
 * down to level 0, L + 1 for one that was lost in level L, where its window lies outside of both images' common part or
 * is flat along some direction; pError, the root of the mean squared difference of the two windows in grey levels, 0
 * for a lost point. pStatus has 8 bits, and larger numbers wrap.
 *
 * @b Points: level L, from maxLev to 0, takes the points that were found in all coarser ones. With s the level's rate
 * in pPyr1 (64-bit float; positions are kept in 32) it starts from prev = pPrev * s and pos = pNext * s.
 * - The previous image's patch, (winSize + 2) x (winSize + 2) samples about prev, is taken as
 *   qoriCopySubpixIntersect_* takes it: 8u as 8u16u with scale factor -7, 16u as 16u32f, 32f. The window is the patch
 *   without its frame, less the rows and columns of the window that do not lie between pixels of the image.
 * - Its gradients Ix (right less left) and Iy (below less above) are Scharr's, 3, 10, 3, over 32. Levels whose width
 *   and height are both below the roiSize of the record, and that have only such levels above them, have them computed
 *   for the whole level with repeated edges, and blended like the image; they are faster where there are many points.
 *   For the others they come from the patch. The two differ by rounding, and in the outermost pixels. In 8u all is in
 *   units of 1/128 and rounded to integers, gradients as (sum + 16) >> 5 or (sum + 8192) >> 14.
 * - At each step the next image's window about pos is blended likewise. Over the samples that lie inside both images,
 *   with d the previous less the next, in 64-bit float: Gxx = sum Ix * Ix, Gxy = sum Ix * Iy, Gyy = sum Iy * Iy,
 *   bx = sum Ix * d, by = sum Iy * d, det = Gxx * Gyy - Gxy * Gxy, and
 *
 *       dx = (Gyy * bx - Gxy * by) / det,    dy = (Gxx * by - Gxy * bx) / det,    pos = pos + (dx, dy)
 *
 *   8u sums are exact. In the others column x of the common part goes to partial sum x modulo 4, and these are added as
 *   (0 + 2) + (1 + 3).
 * - Where no sample is common the point is lost, and its pNext is pos / s. Where det is below 2.220446049250313e-16 (in
 *   8u of sums in units of 1/128 squared) it is lost and pNext stays.
 * - Steps end when dx * dx + dy * dy is below threshold * threshold; when the step takes back the one before, both
 *   components within 2^-11.5, and then at the middle between the two; or after maxIter of them, which is no loss. With
 *   a threshold of 0 a step of length 0 does not end them, but the one behind it does.
 * - pNext = pos / s. In level 0 the error is that of the samples common at pos, 0 if there are none.
 *
 * Of equal images and equal points the points come back bit by bit, with errors of 0, where rates are powers of 2.
 *
 * @b Region: of the levels nothing but their pixels is read. @b Memory: InitAlloc takes a block for the record and one
 * for its patches and the gradients of a level, of 4 bytes a pixel of roiSize in 8u and 8 in the others. A record
 * serves one call at a time. winSize is the side of the window; hint is kept and has no effect. @b Threads: none.
 *
 * @b Statuses, in the order of the checks. InitAlloc: qorStsNullPtrErr; qorStsSizeErr for a winSize or a side of
 * roiSize below 1; qorStsMemAllocErr, also for a block beyond 2^31 - 1 bytes. *ppState is written with qorStsNoErr
 * only. Free: qorStsNullPtrErr. Tracking: qorStsNullPtrErr for any null pointer; qorStsSizeErr for a numFeat or winSize
 * below 1, or a winSize that is not the record's; qorStsBadArgErr for a maxLev below 0, a maxIter below 1, a threshold
 * below 0. pPyr1 and pPyr2 need levels up to maxLev; one whose image is null or has a step too small or uneven ends the
 * call when it is reached, with that check's status, and the points as they are then. Lost points are not an error.
 * @{
 */
typedef struct QoriOptFlowPyrLKState QoriOptFlowPyrLKState; /**< window, patches and gradients of a level */

QorStatus qoriOpticalFlowPyrLKInitAlloc_8u_C1R(QoriOptFlowPyrLKState** ppState, QoriSize roiSize, int winSize,
                                               QorHintAlgorithm hint);
QorStatus qoriOpticalFlowPyrLKInitAlloc_16u_C1R(QoriOptFlowPyrLKState** ppState, QoriSize roiSize, int winSize,
                                                QorHintAlgorithm hint);
QorStatus qoriOpticalFlowPyrLKInitAlloc_32f_C1R(QoriOptFlowPyrLKState** ppState, QoriSize roiSize, int winSize,
                                                QorHintAlgorithm hint);
QorStatus qoriOpticalFlowPyrLK_8u_C1R(const QoriPyramid* pPyr1, const QoriPyramid* pPyr2, const QoriPoint_32f* pPrev,
                                      QoriPoint_32f* pNext, Qor8s* pStatus, Qor32f* pError, int numFeat, int winSize,
                                      int maxLev, int maxIter, Qor32f threshold, QoriOptFlowPyrLKState* pState);
QorStatus qoriOpticalFlowPyrLK_16u_C1R(const QoriPyramid* pPyr1, const QoriPyramid* pPyr2, const QoriPoint_32f* pPrev,
                                       QoriPoint_32f* pNext, Qor8s* pStatus, Qor32f* pError, int numFeat, int winSize,
                                       int maxLev, int maxIter, Qor32f threshold, QoriOptFlowPyrLKState* pState);
QorStatus qoriOpticalFlowPyrLK_32f_C1R(const QoriPyramid* pPyr1, const QoriPyramid* pPyr2, const QoriPoint_32f* pPrev,
                                       QoriPoint_32f* pNext, Qor8s* pStatus, Qor32f* pError, int numFeat, int winSize,
                                       int maxLev, int maxIter, Qor32f threshold, QoriOptFlowPyrLKState* pState);
QorStatus qoriOpticalFlowPyrLKFree_8u_C1R(QoriOptFlowPyrLKState* pState);
QorStatus qoriOpticalFlowPyrLKFree_16u_C1R(QoriOptFlowPyrLKState* pState);
QorStatus qoriOpticalFlowPyrLKFree_32f_C1R(QoriOptFlowPyrLKState* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
