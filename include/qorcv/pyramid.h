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
