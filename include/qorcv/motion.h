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

#ifdef __cplusplus
}
#endif

#endif
