/**
 * @file arith.h
 * Pixel arithmetic and statistics.
 */
#ifndef QORCV_ARITH_H
#define QORCV_ARITH_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup abs_diff Absolute difference
 *
 * Per-pixel absolute difference of two images, or of an image and a constant:
 *
 *     dst(x, y) = |src1(x, y) - src2(x, y)|        dst(x, y) = |src(x, y) - value|
 *
 * Integer results are exact and always fit. In 32f the difference is formed in 32-bit float and its sign bit cleared,
 * so a NaN gives a NaN without a sign, and infinities of one sign give NaN. The constant of the integer forms is first
 * clamped to the range of the sample; that of the 32f form is used unchanged.
 *
 * @b Region: only the pixels of the region are read and written. @b In place: the destination may be either source
 * with the same step; partial overlap is undefined. @b Scratch: none. @b Threads: regions of 262144 pixels or more
 * (samples, in the three-channel form) are shared among the team; the result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for a step below width * channels * sample size, in the order of the arguments;
 * qorStsNotEvenStepErr (16u, 32f) for a step that is not a multiple of the sample size.
 * @{
 */
QorStatus qoriAbsDiff_8u_C1R(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                             int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiff_8u_C3R(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor8u* pDst,
                             int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiff_16u_C1R(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step, Qor16u* pDst,
                              int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiff_32f_C1R(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst,
                              int dstStep, QoriSize roiSize);
QorStatus qoriAbsDiffC_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, int value);
QorStatus qoriAbsDiffC_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize, int value);
QorStatus qoriAbsDiffC_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                               Qor32f value);
/** @} */

/**
 * @defgroup fast_arctan Fast arctangent
 *
 * Angle of the vectors (x, y) in degrees, four quadrants, counted from the x axis towards the y axis:
 *
 *     dst[i] = atan2(srcY[i], srcX[i]) * 180 / pi,  0 <= dst[i] < 360
 *
 * The absolute error around the circle is at most 0.01 degrees; what rounds to 360 is stored as 0. The angle of (0, 0)
 * is 0, that of two infinities the diagonal between them, and NaN in either coordinate gives NaN.
 *
 * @b In @b place: pDst may be either source. @b Threads: none. @b Statuses, in order: qorStsNullPtrErr for a null
 * pointer; qorStsSizeErr for len below 1.
 * @{
 */
QorStatus qoribFastArctan_32f(const Qor32f* pSrcY, const Qor32f* pSrcX, Qor32f* pDst, int len);
/** @} */

/**
 * @defgroup accumulators Accumulators
 *
 * Running 32f images for means, variances and background models: a source s is taken into an accumulator a in place,
 * everywhere or, in the C1IMR forms, where the mask sample is not 0:
 *
 *     Add             a = a + s
 *     AddSquare       a = a + s * s
 *     AddProduct      a = a + s1 * s2
 *     AddWeighted     a = (s - a) * alpha + a
 *     qoriAddWeighted_32f_C1R    dst = (src1 - src2) * alpha + src2
 *
 * Samples of every source type are exact in 32-bit float, and every step of a formula, in the order written, is rounded
 * to it: the product of two 16u samples to 24 bits ahead of the addition, and AddWeighted with alpha 1 may differ from
 * s in the last bit. Products are float products, so 0 * -5 is -0. Overflow gives infinity and NaN spreads. Where the
 * mask is 0 the accumulator keeps its bits, those of NaNs and zeros too.
 *
 * @b Region: only the pixels of the region are read and written; those that are masked out may be written with the
 * bits that they hold, so no other thread may change them meanwhile. @b In place: a 32f source may be the accumulator
 * itself with the same step, and pDst of qoriAddWeighted_32f_C1R may be either source; any other overlap is undefined.
 * @b Scratch: none. @b Threads: regions of 262144 pixels or more are shared among the team, with the same result;
 * qoriAddWeighted_32f_C1R runs on the calling thread alone. The masked forms of AddProduct and AddWeighted and
 * qoriAddSquare_32f_C1IMR store past the caches when the data of a thread's rows fill the largest cache.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for a step below width * sample size, in the order of the arguments;
 * qorStsNotEvenStepErr for a step of a 32f image that is not a multiple of 4. In the 16u forms an odd source step gives
 * qorStsNotEvenStepErr directly behind the test of that step's minimum, ahead of the next argument.
 * @{
 */
QorStatus qoriAdd_8u32f_C1IR(const Qor8u* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAdd_8s32f_C1IR(const Qor8s* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAdd_16u32f_C1IR(const Qor16u* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAdd_8u32f_C1IMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                              int srcDstStep, QoriSize roiSize);
QorStatus qoriAdd_8s32f_C1IMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                              int srcDstStep, QoriSize roiSize);
QorStatus qoriAdd_16u32f_C1IMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                               int srcDstStep, QoriSize roiSize);
QorStatus qoriAdd_32f_C1IMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                            int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_8u32f_C1IR(const Qor8u* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_8u32f_C1IMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                    int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_8s32f_C1IR(const Qor8s* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_8s32f_C1IMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                    int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_16u32f_C1IR(const Qor16u* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_16u32f_C1IMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                     int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_32f_C1IR(const Qor32f* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAddSquare_32f_C1IMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                  int srcDstStep, QoriSize roiSize);
QorStatus qoriAddProduct_8u32f_C1IR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, Qor32f* pSrcDst,
                                    int srcDstStep, QoriSize roiSize);
QorStatus qoriAddProduct_8u32f_C1IMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                     const Qor8u* pMask, int maskStep, Qor32f* pSrcDst, int srcDstStep,
                                     QoriSize roiSize);
QorStatus qoriAddProduct_8s32f_C1IR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step, Qor32f* pSrcDst,
                                    int srcDstStep, QoriSize roiSize);
QorStatus qoriAddProduct_8s32f_C1IMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                     const Qor8u* pMask, int maskStep, Qor32f* pSrcDst, int srcDstStep,
                                     QoriSize roiSize);
QorStatus qoriAddProduct_16u32f_C1IR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                     Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAddProduct_16u32f_C1IMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                      const Qor8u* pMask, int maskStep, Qor32f* pSrcDst, int srcDstStep,
                                      QoriSize roiSize);
QorStatus qoriAddProduct_32f_C1IR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pSrcDst,
                                  int srcDstStep, QoriSize roiSize);
QorStatus qoriAddProduct_32f_C1IMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize);
QorStatus qoriAddWeighted_8u32f_C1IR(const Qor8u* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize,
                                     Qor32f alpha);
QorStatus qoriAddWeighted_8u32f_C1IMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                      int srcDstStep, QoriSize roiSize, Qor32f alpha);
QorStatus qoriAddWeighted_8s32f_C1IR(const Qor8s* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize,
                                     Qor32f alpha);
QorStatus qoriAddWeighted_8s32f_C1IMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                      int srcDstStep, QoriSize roiSize, Qor32f alpha);
QorStatus qoriAddWeighted_16u32f_C1IR(const Qor16u* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep,
                                      QoriSize roiSize, Qor32f alpha);
QorStatus qoriAddWeighted_16u32f_C1IMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep,
                                       Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize, Qor32f alpha);
QorStatus qoriAddWeighted_32f_C1IR(const Qor32f* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize,
                                   Qor32f alpha);
QorStatus qoriAddWeighted_32f_C1IMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                    int srcDstStep, QoriSize roiSize, Qor32f alpha);
QorStatus qoriAddWeighted_32f_C1R(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst,
                                  int dstStep, QoriSize roiSize, Qor32f alpha);
/** @} */

/**
 * @defgroup mean Mean and standard deviation
 *
 * Mean, and standard deviation around it, of one channel of a region:
 *
 *     mean = S / N        stdDev = sqrt(|Q / N - mean * mean|)
 *
 * with S the sum and Q the sum of the squares of the samples and N their number. The C1 forms take one channel; the C3C
 * forms take channel coi (1, 2 or 3) of three interleaved ones. The masked forms (M) take the pixels whose mask sample
 * is not 0; what stands in the others, NaN included, has no influence. Where no pixel takes part both results are 0.
 *
 * @b Precision: sums of integer samples are exact up to 2^31 pixels. In 32f each row is summed in 32-bit float, the
 * squares formed in float, and the rows are added in 64 bits. Within a row, sample x goes to lane x mod 16; at the
 * row's end lanes that differ by 4 or 8 are added, ((0 + 4) + (8 + 12)), then those that differ by 2, then by 1. In
 * qoriMean_StdDev_32f_C3CR regions of less than 5000 pixels keep two float sums throughout, of the even and of the odd
 * rows, added in 64 bits at the end.
 *
 * Where 0.05 * mean * mean is above stdDev * stdDev, the 32f forms take the deviation anew in a second pass, since the
 * formula has then lost its digits: stdDev = sqrt(D / N), D being the sum of (x - m) * (x - m) in the same row sums and
 * m the mean rounded to 32 bits. The mean stays as it was.
 *
 * @b Region: only the pixels of the region are read. @b Scratch: none. @b Threads: with T threads set, regions of T *
 * 2^17 pixels or more are shared among the team (T * 2^16 in qoriMean_StdDev_32f_C1R; in qoriMean_StdDev_8u_C1R only
 * where there are several cores), the sums of the bands being added in 64-bit float; qoriMean_8u_C1MR and
 * qoriMean_StdDev_32f_C3CR stay on the calling thread. Sums of integers below 2^53 do not depend on the team; the last
 * bits of others may. @b Memory: a team of more than 32 threads allocates room for the results of its bands while the
 * call lasts; where there is none, 32 of its threads take all rows.
 *
 * @b Results: pMean of the qoriMean forms is required; pMean and pStdDev of the qoriMean_StdDev forms may each be null.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null image, mask or required result; qorStsSizeErr
 * for a width, then a height below 1; qorStsStepErr for srcStep below width * channels * sample size;
 * qorStsNotEvenStepErr (16u, 32f) for srcStep not a multiple of the sample size; qorStsStepErr for maskStep below
 * width; qorStsCOIErr for coi outside 1 to 3.
 * @{
 */
QorStatus qoriMean_8u_C1MR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                           Qor64f* pMean);
QorStatus qoriMean_8u_C3CMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi,
                            Qor64f* pMean);
QorStatus qoriMean_8s_C1MR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                           Qor64f* pMean);
QorStatus qoriMean_8s_C3CMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi,
                            Qor64f* pMean);
QorStatus qoriMean_16u_C1MR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                            Qor64f* pMean);
QorStatus qoriMean_16u_C3CMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                             int coi, Qor64f* pMean);
QorStatus qoriMean_32f_C1MR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                            Qor64f* pMean);
QorStatus qoriMean_32f_C3CMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                             int coi, Qor64f* pMean);
QorStatus qoriMean_StdDev_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8u_C3CR(const Qor8u* pSrc, int srcStep, QoriSize roiSize, int coi, Qor64f* pMean,
                                  Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8u_C1MR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                  Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8u_C3CMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                   int coi, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8s_C1R(const Qor8s* pSrc, int srcStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8s_C3CR(const Qor8s* pSrc, int srcStep, QoriSize roiSize, int coi, Qor64f* pMean,
                                  Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8s_C1MR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                  Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_8s_C3CMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                   int coi, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_16u_C1R(const Qor16u* pSrc, int srcStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_16u_C3CR(const Qor16u* pSrc, int srcStep, QoriSize roiSize, int coi, Qor64f* pMean,
                                   Qor64f* pStdDev);
QorStatus qoriMean_StdDev_16u_C1MR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                   Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_16u_C3CMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                    int coi, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_32f_C1R(const Qor32f* pSrc, int srcStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_32f_C3CR(const Qor32f* pSrc, int srcStep, QoriSize roiSize, int coi, Qor64f* pMean,
                                   Qor64f* pStdDev);
QorStatus qoriMean_StdDev_32f_C1MR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                   Qor64f* pMean, Qor64f* pStdDev);
QorStatus qoriMean_StdDev_32f_C3CMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                    int coi, Qor64f* pMean, Qor64f* pStdDev);
/** @} */

/**
 * @defgroup extrema Extrema with their positions
 *
 * Minimum and maximum of a region, of one channel of three in the C3CR and C3CMR forms (coi counts from 1), of the
 * pixels whose mask sample is not 0 in the C1MR and C3CMR forms. Values are stored as 32f, which holds every sample
 * exactly; positions are pixels counted from the region's corner. Of equal extremes the one in the uppermost row is
 * reported, and in that row the leftmost. Each of the four result pointers may be null on its own.
 *
 * When the mask is 0 everywhere both values are 0 and both positions (0, 0), with qorStsNoErr.
 *
 * In 32f a NaN is passed over as if it were masked out, infinities take part, and zeros of both signs are equal: the
 * value stored is the sample at the position, with its sign. Without a mask the search starts from the largest finite
 * float and its negative, so a region that holds nothing below (above) that start reports the start itself, in row 0:
 * at the first sample there that equals it, else at (0, 0). A constant image of infinities or NaNs is an example.
 *
 * @b Region: only its pixels are read, in three channels all channels of a pixel. @b Scratch: none. @b Threads: regions
 * of 16384 pixels or more are shared among the team; the result does not depend on it. @b Memory: a team of more than
 * 32 threads allocates room for the results of its bands while the call lasts; where there is none, 32 of its threads
 * take all rows.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pSrc or pMask; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep below width * channels * sample size; qorStsNotEvenStepErr (16u, 32f) for a
 * srcStep that is not a multiple of the sample size; qorStsStepErr for maskStep below width; qorStsCOIErr for coi
 * outside 1 to 3.
 * @{
 */
QorStatus qoriMinMaxIndx_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, Qor32f* pMinVal, Qor32f* pMaxVal,
                                QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8u_C3CR(const Qor8u* pSrc, int srcStep, QoriSize roiSize, int coi, Qor32f* pMinVal,
                                 Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8u_C1MR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                 Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8u_C3CMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                  int coi, Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex,
                                  QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8s_C1R(const Qor8s* pSrc, int srcStep, QoriSize roiSize, Qor32f* pMinVal, Qor32f* pMaxVal,
                                QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8s_C3CR(const Qor8s* pSrc, int srcStep, QoriSize roiSize, int coi, Qor32f* pMinVal,
                                 Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8s_C1MR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                 Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_8s_C3CMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                  int coi, Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex,
                                  QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_16u_C1R(const Qor16u* pSrc, int srcStep, QoriSize roiSize, Qor32f* pMinVal, Qor32f* pMaxVal,
                                 QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_16u_C3CR(const Qor16u* pSrc, int srcStep, QoriSize roiSize, int coi, Qor32f* pMinVal,
                                  Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_16u_C1MR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                  Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_16u_C3CMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                   int coi, Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex,
                                   QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_32f_C1R(const Qor32f* pSrc, int srcStep, QoriSize roiSize, Qor32f* pMinVal, Qor32f* pMaxVal,
                                 QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_32f_C3CR(const Qor32f* pSrc, int srcStep, QoriSize roiSize, int coi, Qor32f* pMinVal,
                                  Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_32f_C1MR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                  Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex);
QorStatus qoriMinMaxIndx_32f_C3CMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                   int coi, Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex,
                                   QoriPoint* pMaxIndex);
/** @} */

/**
 * @defgroup norm Norms
 *
 * Norms over the pixels whose mask sample is not 0: of an image, of the difference of two images, and of the difference
 * relative to the second image. With x a sample of the image and d = src1 - src2:
 *
 *                Inf                   L1                    L2
 *     Norm       max |x|               sum |x|               sqrt(sum x^2)
 *     NormDiff   max |d|               sum |d|               sqrt(sum d^2)
 *     NormRel    max |d| / max |src2|  sum |d| / sum |src2|  sqrt(sum d^2 / sum src2^2)
 *
 * The C3CMR forms take channel coi (1, 2 or 3) of three interleaved ones. What masked-out pixels hold, NaN included,
 * has no influence. Without a pixel that takes part, Norm and NormDiff are 0.
 *
 * @b Zero @b denominator: where the denominator of NormRel is exactly 0, the value is NaN for a numerator of 0 or NaN,
 * infinity for one above 0, and the status is the warning qorStsDivByZero. A NaN in the denominator gives NaN and
 * qorStsNoErr.
 *
 * @b Precision: integer sums are exact up to 2^31 pixels and converted to 64-bit float once a band. In 32f differences,
 * magnitudes and squares are formed in 32-bit float; L1 and L2 sum each row in 32-bit float (lanes as in
 * qoriMean_StdDev_32f_C1R), add the rows in 64 bits and round the total of the region, or of each band of rows, to 32
 * bits before the bands are added and before the root or the quotient is taken. Inf ignores NaN, also that of the
 * difference of two infinities; the sums hand it on.
 *
 * @b Region: only the pixels of the region are read. @b Scratch: none. @b Threads: with T threads set, regions of T *
 * 2^k pixels or more are shared among the team. Norms marked * go parallel only where there are several cores; a second
 * value behind / holds there instead. Bands are merged in the order of the rows. @b Memory: a team of more than 32
 * threads allocates room for the results of its bands while the call lasts; where there is none, 32 of its threads take
 * all rows.
 *
 *     k          8u C1MR   8s C1MR   16u C1MR  32f C1MR  8u C3CMR  8s C3CMR  16u C3CMR  32f C3CMR
 *     Norm Inf   19        19        19        17        17        17        17         15
 *     Norm L1    17*       17*       17        17        17        17        17         17
 *     Norm L2    17*       17*       17        17        17/15     17/15     17/15      17/15
 *     Diff Inf   never     never     never     never     never     never     never      never
 *     Diff L1    17*       17*       17        never     17        15*       15*        never
 *     Diff L2    17*       17*       17        never     17        17        17/15      never
 *     Rel Inf    17*       17*       17*       15        17/15     17/15     15         15
 *     Rel L1     never     17*       17/15     never     17/15     17/15     15         never
 *     Rel L2     17        17        17/15     never     17/15     17/15     15         never
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1. Then in the Norm forms: qorStsStepErr for srcStep below width * channels * sample size;
 * qorStsNotEvenStepErr (16u, 32f) for srcStep not a multiple of the sample size; qorStsStepErr for maskStep below
 * width. In the other forms: qorStsStepErr for a step below its minimum, in the order of the arguments;
 * qorStsNotEvenStepErr (16u, 32f) for either image step not a multiple of the sample size. Last, qorStsCOIErr for coi
 * outside 1 to 3.
 * @{
 */
QorStatus qoriNorm_Inf_8u_C1MR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               Qor64f* pValue);
QorStatus qoriNorm_Inf_8u_C3CMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                int coi, Qor64f* pValue);
QorStatus qoriNorm_Inf_8s_C1MR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               Qor64f* pValue);
QorStatus qoriNorm_Inf_8s_C3CMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                int coi, Qor64f* pValue);
QorStatus qoriNorm_Inf_16u_C1MR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                Qor64f* pValue);
QorStatus qoriNorm_Inf_16u_C3CMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                 int coi, Qor64f* pValue);
QorStatus qoriNorm_Inf_32f_C1MR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                Qor64f* pValue);
QorStatus qoriNorm_Inf_32f_C3CMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                 int coi, Qor64f* pValue);
QorStatus qoriNorm_L1_8u_C1MR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                              Qor64f* pValue);
QorStatus qoriNorm_L1_8u_C3CMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               int coi, Qor64f* pValue);
QorStatus qoriNorm_L1_8s_C1MR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                              Qor64f* pValue);
QorStatus qoriNorm_L1_8s_C3CMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               int coi, Qor64f* pValue);
QorStatus qoriNorm_L1_16u_C1MR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               Qor64f* pValue);
QorStatus qoriNorm_L1_16u_C3CMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                int coi, Qor64f* pValue);
QorStatus qoriNorm_L1_32f_C1MR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               Qor64f* pValue);
QorStatus qoriNorm_L1_32f_C3CMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                int coi, Qor64f* pValue);
QorStatus qoriNorm_L2_8u_C1MR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                              Qor64f* pValue);
QorStatus qoriNorm_L2_8u_C3CMR(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               int coi, Qor64f* pValue);
QorStatus qoriNorm_L2_8s_C1MR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                              Qor64f* pValue);
QorStatus qoriNorm_L2_8s_C3CMR(const Qor8s* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               int coi, Qor64f* pValue);
QorStatus qoriNorm_L2_16u_C1MR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               Qor64f* pValue);
QorStatus qoriNorm_L2_16u_C3CMR(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                int coi, Qor64f* pValue);
QorStatus qoriNorm_L2_32f_C1MR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                               Qor64f* pValue);
QorStatus qoriNorm_L2_32f_C3CMR(const Qor32f* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                                int coi, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_8u_C1MR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_8u_C3CMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_8s_C1MR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_8s_C3CMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_16u_C1MR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_16u_C3CMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                     const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_32f_C1MR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_Inf_32f_C3CMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                     const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L1_8u_C1MR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L1_8u_C3CMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L1_8s_C1MR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L1_8s_C3CMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L1_16u_C1MR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L1_16u_C3CMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L1_32f_C1MR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L1_32f_C3CMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L2_8u_C1MR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L2_8u_C3CMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L2_8s_C1MR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L2_8s_C3CMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L2_16u_C1MR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L2_16u_C3CMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormDiff_L2_32f_C1MR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormDiff_L2_32f_C3CMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_Inf_8u_C1MR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_Inf_8u_C3CMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_Inf_8s_C1MR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_Inf_8s_C3CMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_Inf_16u_C1MR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_Inf_16u_C3CMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_Inf_32f_C1MR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_Inf_32f_C3CMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                    const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L1_8u_C1MR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, const Qor8u* pMask,
                                 int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L1_8u_C3CMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L1_8s_C1MR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step, const Qor8u* pMask,
                                 int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L1_8s_C3CMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L1_16u_C1MR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L1_16u_C3CMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L1_32f_C1MR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L1_32f_C3CMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L2_8u_C1MR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step, const Qor8u* pMask,
                                 int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L2_8u_C3CMR(const Qor8u* pSrc1, int src1Step, const Qor8u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L2_8s_C1MR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step, const Qor8u* pMask,
                                 int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L2_8s_C3CMR(const Qor8s* pSrc1, int src1Step, const Qor8s* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L2_16u_C1MR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L2_16u_C3CMR(const Qor16u* pSrc1, int src1Step, const Qor16u* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
QorStatus qoriNormRel_L2_32f_C1MR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                  const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue);
QorStatus qoriNormRel_L2_32f_C3CMR(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step,
                                   const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
