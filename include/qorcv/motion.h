/**
 * @file motion.h
 * Motion over time, and models of the background that tell what moves in front of it.
 */
#ifndef QORCV_MOTION_H
#define QORCV_MOTION_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup motion_history Motion history
 *
 * The time at which every pixel last moved, in a float image that is kept from call to call (J. W. Davis and A. F.
 * Bobick, The representation and recognition of human movement using temporal templates, 1997). The silhouette is not 0
 * where there is motion now; what has not moved for mhiDuration falls back to 0:
 *
 *     limit   = timestamp - mhiDuration
 *     history = silhouette != 0 ? timestamp : history < limit ? 0 : history
 *
 * @b Rounding: limit is rounded to 32-bit float once. A history that equals it stays, and so does one that is NaN. What
 * stays keeps its bits. A NaN in the silhouette is motion, -0 is none. The timestamp is stored as it is, also NaN and
 * infinite; where limit is NaN, nothing is reset. Times are in units of the caller's and may be negative.
 *
 * @b Region: only pixels of the region are read and written. @b In @b place: the history is; the silhouette must not
 * overlap it. @b Scratch: none. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for silhStep, then mhiStep below width samples, counted in 64 bits;
 * qorStsNotEvenStepErr for a step that is not a multiple of its sample size, which concerns mhiStep in all forms;
 * qorStsOutOfRangeErr for a duration below 0 (a NaN is not).
 * @{
 */
QorStatus qoriUpdateMotionHistory_8u32f_C1IR(const Qor8u* pSilhouette, int silhStep, Qor32f* pMHI, int mhiStep,
                                             QoriSize roiSize, Qor32f timestamp, Qor32f mhiDuration);
QorStatus qoriUpdateMotionHistory_16u32f_C1IR(const Qor16u* pSilhouette, int silhStep, Qor32f* pMHI, int mhiStep,
                                              QoriSize roiSize, Qor32f timestamp, Qor32f mhiDuration);
QorStatus qoriUpdateMotionHistory_32f_C1IR(const Qor32f* pSilhouette, int silhStep, Qor32f* pMHI, int mhiStep,
                                           QoriSize roiSize, Qor32f timestamp, Qor32f mhiDuration);
/** @} */

/**
 * @defgroup mixture_background Background of mixed Gaussians
 *
 * Every pixel of a colour video is modelled by a few Gaussians, each with one variance for its three channels, and
 * every frame is told apart by them into background, foreground and shadow (Z. Zivkovic, Improved adaptive Gaussian
 * mixture model for background subtraction, 2004; shadows after A. Prati, I. Mikic, M. M. Trivedi and R. Cucchiara,
 * Detecting moving shadows, 2003). qoriFGMMGetBufferSize_8u_C3R() reports the bytes of a state for at most maxNumModes
 * modes a pixel, qoriFGMMInit_8u_C3R() lays it out in a block of the caller's, at any address, clears the block and
 * copies the model, whose numModes it replaces by maxNumModes. Every call of qoriFGMMForeground_8u_C3R() then learns
 * from one frame and classifies it; a model passed to it replaces the one before, numModes included.
 * qoriFGMMBackground_8u_C3R() writes what the background looks like now, at any time after the first frame.
 *
 * @b Rate: a call with learningRate below 0, and the first call, whatever its rate, learn at 1 / min(2 * n + 2,
 * history), where n is the number of calls before; the others at learningRate, also at 0. The quotient is one of 64-bit
 * floats; a is it rounded to 32 bits, a1 = 1 - a, and prune = complexity * -rate in 64 bits, rounded. The rate of the
 * first frame has no effect.
 *
 * @b Learning: a pixel c has a count of modes in ranks 0, 1, ..., each with a weight w, means m and a variance v. With
 * nothing fitted yet, total = 0 and bound = count, for rank k = 0, 1, ... while k < bound:
 *
 *     w = weight[k] * a1 + prune
 *     unless a mode was fitted:
 *         d2 = (m0 - c0)^2 + (m1 - c1)^2 + (m2 - c2)^2
 *         if total < backgroundRatio and v * varThreshold > d2, the pixel is background
 *         if v * varThresholdGen > d2, mode k is fitted:
 *             w = w + a,   r = a / w,   m = m - (m - c) * r,   v = min(max(v + r * (d2 - v), varMin), varMax)
 *             and it changes places with rank k - 1, k - 2, ... as long as w >= the weight there
 *     if w < -prune the mode is pruned: it weighs 0, unless it was just fitted and moved, and bound = bound - 1
 *     else total = total + w
 *
 * Then the weights of ranks below bound are divided by total. A pruned mode keeps its rank until a new one takes it,
 * and hides the last rank from this frame. Where no mode was fitted a new one is made from the pixel, of variance
 * varInit: in the last rank in use when there are numModes, maxNumModes or 255, else in one more. It weighs 1 as the
 * only one, else a; the weights of the ranks in front of it are multiplied by a1, and for j from its rank down to 1,
 * ranks j and j - 1 change places where the weight of j - 1 is not above a.
 *
 * @b Mask: 0 for background. Else 255, or with shadowDetect not 0 what the first of these rules tells that applies to a
 * rank, in their order, the new mode's rank included; 255 behind the last one:
 *
 *     dot = c . m,   mm = m . m,   p = dot / mm,   e2 = |p * m - c|^2
 *     mm = 0: 255
 *     mm >= dot and dot >= tau * mm and (v * varThreshold) * (p * p) > e2: shadowValue
 *     the weights up to this rank exceed backgroundRatio: 255
 *
 * So with shadowDetect every pixel of the first frame that is not black is a shadow of itself.
 *
 * @b Background: the mean over the ranks, weighted, up to the first at which the weights exceed backgroundRatio; the
 * sum is multiplied by the reciprocal of the weight, rounded to nearest, ties to even, and saturated. Before the first
 * frame it is arbitrary.
 *
 * @b Rounding: 32-bit float, sums over channels from left to right, nothing fused. Results with NaN (a history of 0, a
 * rate of 0 for a mode that weighs 0) are arbitrary.
 *
 * @b State: 3 * R(8 * M) + R(N) + 2 * R(4 * N * M) + R(16 * N * M) + 416 bytes for N pixels and M modes, R rounding up
 * to a multiple of 32; where that leaves 32 bits its low 32 bits are reported, which is too little, so keep 44 * N * M
 * below 2^32. The state must not be moved. The size of a frame is not compared with that of the state and has to be the
 * same.
 *
 * @b Region: only the pixels of the frame are read, all of the mask or image are written. Steps may be less than a row:
 * then rows overlap. @b In @b place: no. @b Scratch: none. @b Threads: none; one call at a time for a state.
 *
 * @b Statuses, in the order of the checks. GetBufferSize, Init: qorStsNullPtrErr; qorStsSizeErr for a width, then a
 * height below 1; qorStsBadArgErr for maxNumModes below 1. Foreground, Background: qorStsNullPtrErr for a null pointer,
 * pModel excepted; qorStsStepErr for a step below 1; qorStsSizeErr for a width, then a height below 1; qorStsBadArgErr
 * for a model whose numModes, as unsigned, is 0 or above maxNumModes. A call that fails neither counts nor takes its
 * model.
 * @{
 */
typedef struct {
  int history;            /**< frames that the automatic rate looks back */
  int numModes;           /**< modes in use */
  Qor32f varInit;         /**< variance of a new mode */
  Qor32f varMin;          /**< least variance of a fitted mode */
  Qor32f varMax;          /**< largest variance of a fitted mode; it holds where varMin is above it */
  Qor32f varThreshold;    /**< squared distance, in variances, within which a pixel is background or shadow */
  Qor32f backgroundRatio; /**< share of the weight that makes up the background */
  Qor32f varThresholdGen; /**< squared distance, in variances, within which a mode is fitted */
  Qor32f complexity;      /**< what weak modes lose, in shares of the rate */
  Qor8u shadowValue;      /**< mask value of a shadow */
  Qor8u shadowDetect;     /**< not 0: shadows are told from the foreground */
  Qor32f tau;             /**< least brightness of a shadow, relative to the background */
} QoriFGMMModel;

QorStatus qoriFGMMGetBufferSize_8u_C3R(QoriSize roiSize, int maxNumModes, int* pSize);
QorStatus qoriFGMMInit_8u_C3R(QoriSize roiSize, int maxNumModes, const QoriFGMMModel* pModel, Qor8u* pState);
QorStatus qoriFGMMForeground_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                    Qor8u* pState, const QoriFGMMModel* pModel, Qor64f learningRate);
QorStatus qoriFGMMBackground_8u_C3R(Qor8u* pDst, int dstStep, QoriSize roiSize, Qor8u* pState);
/** @} */

/**
 * @defgroup foreground_histogram Background of frequent colours
 *
 * Every pixel learns which values it has when it stands still, and which pairs of values it has in successive frames
 * when it changes: a swaying tree or a flickering screen is background by the pairs that repeat (L. Li, W. Huang, I. Y.
 * H. Gu and Q. Tian, Foreground object detection from videos containing complex background, 2003). InitAlloc makes a
 * record from the first frame. Every frame then takes one call of qoriForegroundHistogram_*(), which finds the
 * foreground, and one of the Update, which learns, mostly with that mask as pMask. Frames have the size of the first
 * one; that is not checked. pParam must not be null and is not read.
 *
 * The record holds the previous frame, a background image, and for every pixel a value table of 25 entries, of which 15
 * count, a pair table of 40, of which 25 count, a prior and a flag `settled` for each, all 0 in the beginning. An entry
 * has samples of the frame, a frequency p and the share pb of it that was background. Samples fit an entry that is at
 * most 4 (values) or 8 (pairs) away in every sample.
 *
 * @b Foreground: a pixel has changed when in any channel |frame - previous| is above the channel's threshold, and
 * differs when |frame - background| is above its own. A threshold is the largest deviation among the tails d .. 255 of
 * the histogram of these differences, for d from 0 to 254: with n pixels in the tail (1 if none), S1 the sum and S2 the
 * sum of squares of their differences, sqrt(S2 / n - m * m) with m = S1 / n in 64-bit floats. The mask is 0, and 255
 *
 *     for a changed pixel    unless its pair table is settled and 2 * Sb * (its prior) > Sp
 *     for one that differs   if its value table is settled and 2 * Sb * (its prior) <= Sp
 *
 * where Sp and Sb are the sums of p and pb over the entries that count, from the first one while p is above 0.005f,
 * whose first three samples the frame's pixel fits: its three channels. In the one-channel form these are the pixel and
 * the two samples behind it in memory, across the row's end, while an entry has the samples that it was given and 0 for
 * the rest.
 *
 * @b Update, for every pixel with its mask byte f, not 0 for foreground. Tables learn at the rate a = 0.1f until they
 * are settled; then the pair table learns at 0.005f, from changed pixels only, the value table at 0.005f. The value
 * table learns from pixels that have not changed. Learning of a table with the samples s of the pixel (for pairs those
 * of the previous frame, then those of the frame):
 *
 *  -# prior = prior * (1 - a), plus a if f is 0.
 *  -# Unless the first p is 0: every entry, for pairs up to the first p of 0, decays: p and pb are multiplied by 1 - a,
 *     and become 0 when p falls below 1e-10. What is left is compared with s; the entry whose differences have the
 *     least sum, the first one of equals, matches if s fits it.
 *  -# The matching p grows by a, its pb by a if f is 0. Without a match the last entry becomes (a, a, s).
 *  -# The entry that grew or is new moves ahead of the first one whose p is not above its own.
 *  -# With Sp and Sb the sums of p and pb over the entries that count, up to the first p of 0: if Sp is above 0.9f the
 *     table is settled. If Sp - Sb * prior is above 0.9f and the first p is not 0, each of these entries gets
 *     pb = (p - pb * prior) / (1 - prior), and in the value table prior = 1 - prior.
 *
 * In the one-channel form no entry ever matches: the walk of step 2 ends behind the first living entry that s does not
 * fit, and a new entry always takes the last place. A value entry keeps one sample, a pair entry two.
 *
 * Where f is 0 the background becomes the frame, but for a pixel that neither changed nor differs each sample becomes
 * truncate(frame * 0.1f + background * (1 - 0.1f)). At last the frame becomes the previous one, and the background is
 * copied to pRef.
 *
 * @b Rounding: 32-bit float in the order written, entries from the first on, but for the thresholds, and the comparison
 * with 1e-10, in 64 bits.
 *
 * @b Region: only the region is read, but for two bytes behind the last pixel of every row in
 * qoriForegroundHistogram_8u_C1R(), which must be readable behind the last row also. All pixels of pDst and pRef are
 * written. dstStep is not tested and may be negative. @b In @b place: no. @b Memory: the record is some 600 bytes a
 * pixel, from the library; release it with Free. Its parts are blocks of at most 2^31 - 1 bytes, which bounds a frame
 * to 8.9 million pixels in three channels and 13.4 million in one. @b Threads: none; one call at a time for a record.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep, in the Update then maskStep and refStep, below the bytes of a row;
 * qorStsMemAllocErr from InitAlloc, which leaves *ppState as it is unless it succeeds.
 * @{
 */
typedef struct QoriFgHistogramState QoriFgHistogramState; /**< what the pixels have learned */

QorStatus qoriForegroundHistogramInitAlloc_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pParam,
                                                  QoriFgHistogramState** ppState);
QorStatus qoriForegroundHistogramInitAlloc_8u_C3R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pParam,
                                                  QoriFgHistogramState** ppState);
QorStatus qoriForegroundHistogramFree_8u_C1R(QoriFgHistogramState* pState);
QorStatus qoriForegroundHistogramFree_8u_C3R(QoriFgHistogramState* pState);
QorStatus qoriForegroundHistogram_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriFgHistogramState* pState);
QorStatus qoriForegroundHistogram_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriFgHistogramState* pState);
QorStatus qoriForegroundHistogramUpdate_8u_C1R(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep,
                                               Qor8u* pRef, int refStep, QoriSize roiSize,
                                               QoriFgHistogramState* pState);
QorStatus qoriForegroundHistogramUpdate_8u_C3R(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep,
                                               Qor8u* pRef, int refStep, QoriSize roiSize,
                                               QoriFgHistogramState* pState);
/** @} */

/**
 * @defgroup foreground_gaussian Background of five Gaussians
 *
 * Every pixel is modelled by five Gaussians ("modes"), each with a count, a weight and for every channel a mean and a
 * variance (C. Stauffer and W. E. L. Grimson, Adaptive background mixture models for real-time tracking, 1999, with the
 * update of P. KaewTraKulPong and R. Bowden, 2001). InitAlloc makes a record from the first frame: mode 0 has count 1,
 * weight 1, the pixel as mean and the variance 12.5, the others count 0, weight 0, mean 0 and that variance. Each call
 * of qoriForegroundGaussian_*() learns from a frame and writes the foreground to pDst (255, else 0) and an image of the
 * background to pRef. pModel must not be null and is not read.
 *
 * For a pixel x, with d2 the sum of (mean - x)^2 and V that of the variances over the channels:
 *
 *  -# Match: the first mode, by its rank, with V * 6.25 > d2, also if its count is 0. Its rank is the hit h; h stays
 *     with the rank for what follows.
 *  -# Learn, with hit = 1 for the mode that matches, else 0, and e = x - mean taken once:
 *
 *         a = 1 / (the sum of all counts + 1),   count = count + hit,   weight = weight + (hit - weight) * a
 *         if it is hit: rho = 1 / count,   mean = mean + e * rho,   variance = variance + rho * (e * e - variance)
 *
 *     In call 200 of the record, and in no other, counts stay, a = 1 / 200 and rho = 1 / (200 * weight).
 *  -# Without a match the mode of the last rank becomes count 1, variance 900, mean x. With N the new sum of counts,
 *     every weight becomes count / N; in call 200 its own becomes 1 / N and the others shrink by 1 - 1 / 200.
 *  -# Sort by weight / sqrt(V), 0 for a count of 0: the largest in rank 0, equals in their order.
 *  -# The background is truncate(mean + 0.5) of rank 0. The mask is 0 if h is among the first ranks whose weights,
 *     summed from rank 0 on, reach above 0.7, the one that does it included.
 *
 * @b Rounding: 64-bit floats in the order written, channels summed from left to right, nothing fused.
 *
 * @b Region: only the region is read, all pixels of pRef and pDst are written; they must not overlap pSrc or each
 * other. Pixel (x, y) is the record's pixel y * width + x: a frame may have fewer rows than the first one, but not
 * another width, which is not checked. Only srcStep is tested; refStep and dstStep may be anything, also negative.
 * @b Memory: the record takes 160 bytes a pixel in one channel, 320 in three, from the library,
 * in blocks of a fifth of that and at most 2^31 - 1 bytes each; release it with Free. @b Scratch: none. @b Threads:
 * none; one call at a time for a record.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep below the bytes of a row; qorStsMemAllocErr from InitAlloc, which leaves
 * *ppState as it is unless it succeeds. A call that fails does not count.
 * @{
 */
typedef struct QoriFgGaussianState QoriFgGaussianState; /**< the modes of all pixels */

QorStatus qoriForegroundGaussianInitAlloc_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pModel,
                                                 QoriFgGaussianState** ppState);
QorStatus qoriForegroundGaussianInitAlloc_8u_C3R(const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pModel,
                                                 QoriFgGaussianState** ppState);
QorStatus qoriForegroundGaussianFree_8u_C1R(QoriFgGaussianState* pState);
QorStatus qoriForegroundGaussianFree_8u_C3R(QoriFgGaussianState* pState);
QorStatus qoriForegroundGaussian_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pRef, int refStep, Qor8u* pDst,
                                        int dstStep, QoriSize roiSize, QoriFgGaussianState* pState);
QorStatus qoriForegroundGaussian_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pRef, int refStep, Qor8u* pDst,
                                        int dstStep, QoriSize roiSize, QoriFgGaussianState* pState);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
