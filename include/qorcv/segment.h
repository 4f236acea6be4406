/**
 * @file segment.h
 * Segmentation: boundaries of segments.
 */
#ifndef QORCV_SEGMENT_H
#define QORCV_SEGMENT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup segment_boundaries Boundaries of segments
 *
 * Draws, in place, lines of val between the segments of an image of labels. Pixels are looked at in raster order, each
 * with the results of those before it: a pixel becomes val if one of its earlier neighbours is not val and differs from
 * it. The earlier neighbours are the left and the upper one for qoriNormL1, for qoriNormInf also the upper left and the
 * upper right one, as far as they lie in the region. So of two segments side by side the right or lower one gives its
 * first pixels, the line is one pixel wide, pixels that are val from the start are no segment, and an image of a single
 * label stays as it is.
 *
 * @b Region: only pixels of the region are read and written. @b Scratch: none. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1;
 * qorStsStepErr for a step below the bytes of a row, counted in 64 bits; in 16u qorStsNotEvenStepErr for an odd step;
 * qorStsBadArgErr for a norm other than qoriNormInf and qoriNormL1.
 * @{
 */
QorStatus qoriBoundSegments_8u_C1IR(Qor8u* pMarker, int markerStep, QoriSize roiSize, Qor8u val, QoriNorm norm);
QorStatus qoriBoundSegments_16u_C1IR(Qor16u* pMarker, int markerStep, QoriSize roiSize, Qor16u val, QoriNorm norm);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
