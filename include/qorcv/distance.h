/**
 * @file distance.h
 * Distance transforms, fast marching, inpainting.
 */
#ifndef QORCV_DISTANCE_H
#define QORCV_DISTANCE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup chamfer_distance Chamfer distance
 *
 * The length of the shortest way from each pixel to the nearest pixel that is 0 in the source, over pixels of the
 * region, by moves of given lengths (G. Borgefors, Distance transformations in digital images, 1986): pMetrics holds a
 * for a step along a row or column, b for a diagonal one and, for a mask of 5x5, c for the knight's move of two pixels
 * and one. It is found in two passes over the rows, down and up. Where no pixel is 0, and where a length does not fit,
 * the result is the largest value of the output: 255, 65535 or 3.4028235e+38.
 *
 * Any positive lengths will do. 3x3: also those with a > b, where two diagonals replace two steps along a row. 5x5:
 * with c at least a + min(2 a, b) the knight's move is of no use, and the result is the 3x3 one of a and b. With a <
 * min(2 a, b), 2 a < c and 3 min(2 a, b) < 2 c, which all usual masks fulfil, or with a width or height below 4, the
 * result is the shortest way. Otherwise (irregular masks, in which knight's moves serve as substitutes for the others)
 * it is what two passes find with the lengths min(a, 3 c), min(2 a, b, 2 c) and c: in the corners and in the last rows,
 * where the substitutes have no room, that may differ a little. In 32f both comparisons count as equal what differs by
 * less than 1e-7 of the larger side.
 *
 * Distances of length 1 for a step: divide by a. Usual lengths, which the getters hand out by mask and norm:
 *
 *     mask norm            32s        32f
 *     3    qoriNormInf     1, 1       1, 1
 *     3    qoriNormL1      1, 2       1, 2
 *     3    qoriNormL2      2, 3       0.955, 1.3693
 *     5    qoriNormInf     1, 1, 2    1, 1, 2
 *     5    qoriNormL1      1, 2, 3    1, 2, 3
 *     5    qoriNormL2      5, 7, 11   1, 1.4, 2.1969
 *
 * qoriGetDistanceTransformMask takes mask * 10 + norm: 30, 31, 32, 50, 51 or 52.
 *
 * @b Rounding: 8u and 16u: sums saturate. 32f: a way's length is a sum of 32-bit floats, of which several steps along a
 * row may be one term; within groups of 16 columns, counted from column 0, their number and order are fixed, so that
 * the result depends on image and lengths alone. Infinite lengths are moves that are never taken.
 *
 * @b Region: only pixels of the region are read. Of pMetrics two numbers are read for 3x3, three for 5x5. @b In
 * @b place: the IR forms, and 8u C1R with the same pointer and step twice. @b Scratch: none. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a dstStep that is not a multiple of
 * the sample size; qorStsMetricErr for a length below 1 (32s) or not above 0, a NaN included (32f). Getters by mask and
 * norm: qorStsNullPtrErr; qorStsSizeErr for a mask other than 3 and 5; qorStsBadArgErr for a norm that the table lacks.
 * qoriGetDistanceTransformMask: qorStsBadArgErr for a last digit (maskType % 10) other than 0, 1 and 2; then as the
 * others.
 * @{
 */
QorStatus qoriGetDistanceTransformMask_32s(int kerSize, QoriNorm norm, Qor32s* pMetrics);
QorStatus qoriGetDistanceTransformMask_32f(int kerSize, QoriNorm norm, Qor32f* pMetrics);
QorStatus qoriGetDistanceTransformMask(int maskType, Qor32f* pMetrics);
QorStatus qoriDistanceTransform_3x3_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           const Qor32s* pMetrics);
QorStatus qoriDistanceTransform_3x3_8u16u_C1R(const Qor8u* pSrc, int srcStep, Qor16u* pDst, int dstStep,
                                              QoriSize roiSize, const Qor32s* pMetrics);
QorStatus qoriDistanceTransform_3x3_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                              QoriSize roiSize, const Qor32f* pMetrics);
QorStatus qoriDistanceTransform_5x5_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           const Qor32s* pMetrics);
QorStatus qoriDistanceTransform_5x5_8u16u_C1R(const Qor8u* pSrc, int srcStep, Qor16u* pDst, int dstStep,
                                              QoriSize roiSize, const Qor32s* pMetrics);
QorStatus qoriDistanceTransform_5x5_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                              QoriSize roiSize, const Qor32f* pMetrics);
QorStatus qoriDistanceTransform_3x3_8u_C1IR(Qor8u* pSrcDst, int step, QoriSize roiSize, const Qor32s* pMetrics);
QorStatus qoriDistanceTransform_5x5_8u_C1IR(Qor8u* pSrcDst, int step, QoriSize roiSize, const Qor32s* pMetrics);
/** @} */

/**
 * @defgroup true_distance True distance
 *
 * The Euclidean distance from each pixel to the nearest pixel that is 0 in the source:
 *
 *     dst(x, y) = sqrt(least of (x - i)^2 + (y - j)^2 over the pixels (i, j) of the region that are 0)
 *
 * found in two passes, by columns and by rows, in a time that is linear in the pixels (P. Felzenszwalb, D.
 * Huttenlocher, Distance transforms of sampled functions, 2012). A region without a zero has 1.8446743e+19 everywhere,
 * the root of 3.4028235e+38.
 *
 * @b Rounding: zeros give exactly 0. As long as the squares stay below 2^24 (always up to 2896 x 2896 pixels) results
 * are the correctly rounded roots; beyond, squares are rounded to 32-bit float, and of pixels nearly equally far
 * another than the nearest may be measured.
 *
 * @b Region: only pixels of the region are read. @b In @b place: no. @b Scratch: at any address, of the size that the
 * query reports, T (24 L + 56) bytes for T threads, with L the larger side rounded up to a multiple of 4; where that
 * leaves 31 bits, what the operation needs, if that does not, else the product in 32 bits, wrapped, for which the
 * operation returns qorStsSizeErr where not even one thread has room. The size depends on the number of threads, which
 * must not be raised between query and use. @b Threads: from two on, bands of rows in the second pass; results do not
 * depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a dstStep that is not a multiple of
 * 4. Query: qorStsNullPtrErr; qorStsSizeErr.
 * @{
 */
QorStatus qoriTrueDistanceTransformGetBufferSize_8u32f_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriTrueDistanceTransform_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                              QoriSize roiSize, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup fast_marching Fast marching
 *
 * The distance u from the pixels that are 0 in the source as the solution of the eikonal equation |grad u| = 1 on the
 * grid (J. Sethian, A fast marching level set method for monotonically advancing fronts, 1996), found by sweeps over
 * the rows until nothing falls (H. Zhao, A fast sweeping method for eikonal equations, 2005). Of the smaller of the
 * values above and below, p, and the smaller of those left and right, q, a pixel that is not 0 has
 *
 *     u = min(p, q) + 1                          if |p - q| >= 1 or one of them is outside the region
 *     u = ((p + q) + sqrt(2 - (p - q)^2)) * 0.5  else
 *
 * and zeros have 0. With a radius above 0 there is a band of negative values inside the zeros: a zero with a pixel that
 * is not 0 above, below, left or right has -1e-10, those behind it have, by the same equation, minus their distance
 * from there, as far as that is at most radius + 1e-5; all other zeros have 0. Positive values are the same for every
 * radius, which may be infinite.
 *
 * In a region without a zero the first pixel has 999999, and the others follow from it.
 *
 * @b Rounding: 32-bit float in the order written. The equation holds to the last bits: in which order neighbours came
 * to their values may show in the last one. The result is the same on one thread and two.
 *
 * @b Region: only pixels of the region are read. @b In @b place: no. @b Scratch: at any address, of the size that the
 * query reports, (height + 34) (S + 5) + 40 bytes with S the width rounded up to a multiple of 32; where that leaves 31
 * bits, what the operation needs, if that does not, else the sum in 32 bits, wrapped, for which the operation returns
 * qorStsSizeErr where it is too small. @b Threads: two from a height of 6 on, where there are zeros and the library has
 * two or more.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a dstStep that is not a multiple of
 * 4; qorStsBadArgErr for a radius below 0 (NaN counts as 0). Query: qorStsNullPtrErr; qorStsSizeErr.
 * @{
 */
QorStatus qoriFastMarchingGetBufferSize_8u32f_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFastMarching_8u32f_C1R(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                     Qor32f radius, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup inpainting Inpainting
 *
 * Fills the hole of an image from the known pixels around it, pixel by pixel in the order of a distance from its edge
 * that the caller gives, such as that of fast marching or the true distance. InitAlloc makes a record of the hole,
 * which serves any number of images of its size; neither mask nor distances are needed any more then. Two methods:
 *
 * qorInpaintGradient (A. Telea, An image inpainting technique based on the fast marching method, 2004): of the known
 * pixels q at most `radius` from the pixel p, D the distance and N its gradient at p, I the image and G its gradient,
 *
 *     w(q) = |q - p|^-3 / (|D(q) - D(p)| + 1) * |N . (q - p)|     in units of 1 / 4096 for N and for the middle term
 *     I(p) = sum of w I / sum of w + 0.5 + (Jx + Jy) / |J|        with J = - sum of (w Gx dx, w Gy dy)
 *
 * cut to a whole number and to 0 .. 255. Where the sum of w is below 0.0001 it is the mean of the known pixels left,
 * right, above and below, and J is 0. In three channels w is the same for all.
 *
 * qorInpaintIsophote (F. Bornemann, T. Maerz, Fast image inpainting based on coherence transport, 2007, simplified):
 * d = |q - p|^2,
 *
 *     w(q) = 1 / ((d^2 + 1) sqrt(d)) * |(q - p) x G(q)| / |G(q)|   or 1e-6 times the first factor for a product of 0
 *     I(p) = sum of w I / sum of w + 0.5                            cut to a whole number
 *
 * for each channel by itself; where the sum of w is below 0.0001 the four nearest pixels that are known count with 1
 * each besides. With no known pixel near, 0.
 *
 * @b Order: mask pixels are those that are not 0. The window is their box, larger by floor(radius) + 1 on every side,
 * as far as the image goes; nothing outside it counts. Pixels of the window whose distance is above 0 are listed row by
 * row, up to the number of mask pixels, and filled from the smallest distance up, equal ones in the order of the list.
 * A listed pixel outside the mask is repainted (with N = 0); a mask pixel that is not listed keeps its value and stays
 * unknown. A filled pixel is known from then on. Infinite distances come last; the values that they give are not
 * defined.
 *
 * @b Gradients: known pixels at most floor(radius) from the hole in both directions have one, formed of known pixels
 * alone, and it is formed anew where a pixel beside them is filled. With both neighbours along a row known it is 2
 * (right
 * - left), with one of them the difference over one pixel, else 0; for isophotes |right - own| + |own - left|, and
 * twice the difference over one pixel; columns likewise. N is formed in the same way from D, halved, in steps of 1 /
 * 4096 cut towards 0 and within 16 bits. Results do not depend on what the hole contained.
 *
 * @b Rounding: 32-bit float in the order of rows, last terms of the first method in 64 bits; roots and quotients are
 * those of IEEE.
 *
 * @b Record: in library memory, given back by Free. One call at a time may use it; a call begins anew, so the same
 * image gives the same result. A mask without a pixel gives a record by which images are copied.
 *
 * @b Region: only pixels of the region are read, and all of it is written: outside the hole as a copy. @b In @b place:
 * no. @b Scratch: none, all in the record. @b Threads: none.
 *
 * @b Statuses, in the order of the checks. InitAlloc: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1;
 * qorStsStepErr for a step below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a distStep that is
 * not a multiple of 4; qorStsBadArgErr for another method, and for a radius not at least 1; qorStsMemAllocErr, also for
 * a record beyond 2^31 - 1 bytes, with *ppState as it was. Every finite radius and infinity will do: what is larger
 * than the image acts as its larger side. Inpaint: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1 or
 * other than those of the record; qorStsStepErr. Free: qorStsNullPtrErr.
 * @{
 */
typedef struct QoriInpaintState QoriInpaintState; /**< a hole, ready to be filled */
enum {
  qorInpaintGradient = 0, /**< by direction, distance and level, with what gradients add */
  qorInpaintIsophote = 1  /**< along lines of equal brightness */
};

QorStatus qoriInpaintInitAlloc_8u_C1R(QoriInpaintState** ppState, const Qor32f* pDist, int distStep, const Qor8u* pMask,
                                      int maskStep, QoriSize roiSize, Qor32f radius, int method);
QorStatus qoriInpaintInitAlloc_8u_C3R(QoriInpaintState** ppState, const Qor32f* pDist, int distStep, const Qor8u* pMask,
                                      int maskStep, QoriSize roiSize, Qor32f radius, int method);
QorStatus qoriInpaint_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                             QoriInpaintState* pState);
QorStatus qoriInpaint_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                             QoriInpaintState* pState);
QorStatus qoriInpaintFree_8u_C1R(QoriInpaintState* pState);
QorStatus qoriInpaintFree_8u_C3R(QoriInpaintState* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
