/**
 * @file segment.h
 * Segmentation: watershed, gradient segmentation, boundaries of segments.
 */
#ifndef QORCV_SEGMENT_H
#define QORCV_SEGMENT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Flags of the segmentations below, to be ORed. */
enum {
  qorSegmentQueue = 1,    /**< watershed by a flood */
  qorSegmentRaster = 2,   /**< watershed by relaxation; not looked at beside qorSegmentQueue */
  qorSegmentBorder4 = 64, /**< boundaries between 4 neighbours */
  qorSegmentBorder8 = 128 /**< boundaries between 8 neighbours */
};

/**
 * @defgroup watershed Watershed
 *
 * Labels in pMarker grow over the relief in pSrc until they meet: every pixel whose marker is 0 gets the label of the
 * seed that reaches it first, as if water rose from the seeds (F. Meyer, Color image segmentation, 1992). The relief is
 * often the strength of a gradient, so that labels meet where edges are; the seeds are pixels of any label from 1 on.
 * With qorSegmentBorder4 or qorSegmentBorder8 a line of the boundary label is drawn where labels meet, 255 for 8u and
 * 65535 for 16u markers. Other bits of flag are ignored.
 *
 * qorSegmentQueue, the @b flood. Neighbours are 8 for qoriNormInf and 4 for qoriNormL1. Seeds beside a pixel of marker
 * 0 wait, in raster order, in a queue for their height. Of the lowest height at which one waits, the pixel c that waits
 * longest is next: each neighbour p of marker 0, in the order left, right, above, below, upper left, upper right, lower
 * left, lower right, gets its label and waits in the queue of max(relief(p), height of c). The label is that of c; with
 * boundaries it is the only label among the pixel's neighbours, 4 for qorSegmentBorder4 (which holds over the other
 * flag) and 8 for qorSegmentBorder8, whatever the norm, where neither 0 nor the boundary label counts; the boundary
 * label if there are several. With boundaries seeds that touch are parted first: in raster order, a seed with another
 * label among its neighbours becomes boundary, though it spreads nevertheless. Seeds may be boundary from the start;
 * what is reached from them alone is boundary without boundaries being asked for, and else as above.
 *
 * qorSegmentRaster, the @b relaxation. Every pixel has a cost, a height in units of 2^23 and below that the length of a
 * way: relief * 2^23 at seeds and max(relief * 2^23, c + s + 1) at other pixels, with the cost c of a neighbour and the
 * cost s of a step. The least c + s + 1 wins, and its label with it:
 *
 *     qoriNormL1    4 neighbours, s = 0: fronts on level ground are diamonds
 *     qoriNormInf   8 neighbours, s = 0: squares
 *     qoriNormL2    8 neighbours, s = 10 to the side and 14 to a corner: octagons, nearly round
 *     qoriNormFM    4 neighbours, s = 63, less round(64 - (d + sqrt(2 * 64^2 - d^2)) / 2) when a vertical and a
 *                   horizontal neighbour differ by d of 0 to 63: circles (the eikonal equation, at first order)
 *
 * Rows are swept downwards and upwards in turns, along themselves in both directions, until a sweep changes nothing;
 * pixels whose origin changes its label follow. Among equal costs the pixel beside holds over the row swept before. A
 * region of width 1 is treated as for qoriNormL1. Labels of ways that differ in nothing but their turns depend on that
 * order, and where costs tie the last label to arrive need not have reached all pixels behind it. Boundaries are drawn
 * last, of each pair of pixels at the one of higher cost. A boundary label at the start is a label like others. The
 * length of a way is not guarded against outgrowing its 23 bits (from about 65000 pixels on for qoriNormFM).
 *
 * @b Region: only pixels of the region are read and written; the relief is never written. @b In @b place: the marker is
 * the result; it must not overlap the relief. @b Scratch: of the size that the query for the sample types reports, at
 * any address. With S = W for 8u and 2 W for 16u markers, rounded up to a multiple of 32, the size for a region of W x
 * H is, in 32 bits that wrap, the larger of
 *
 *     6 S H + 2 S + H + 66    and    16 W H + b (W + 2) (H + 2) + 48     for markers of b bytes
 *
 * @b Threads: the flood has none. The relaxation has none in ordinary calls. In a call from inside an OpenMP team of T
 * threads it sweeps min(T, 32, H / 8, W H / 256) bands of rows on their own, by a team if nested teams are enabled. The
 * bands are then part of the result: labels may differ where costs tie, and if their number is odd and not 1, seeds in
 * the last row are lost. Call it outside of teams, or with one thread, for results that depend on nothing but the
 * images.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; for 16u markers qorStsNotEvenStepErr for an odd markerStep;
 * qorStsBadArgErr for a flag with neither qorSegmentQueue nor qorSegmentRaster, or a norm other than qoriNormInf and
 * qoriNormL1 (with qorSegmentQueue) or than the four above; qorStsSizeErr for a region of so many pixels that what is
 * reported has wrapped and does not suffice. Queries: qorStsNullPtrErr; qorStsSizeErr.
 * @{
 */
QorStatus qoriSegmentWatershedGetBufferSize_8u_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriSegmentWatershedGetBufferSize_8u16u_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriSegmentWatershed_8u_C1IR(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize,
                                       QoriNorm norm, int flag, Qor8u* pBuffer);
QorStatus qoriSegmentWatershed_8u16u_C1IR(const Qor8u* pSrc, int srcStep, Qor16u* pMarker, int markerStep,
                                          QoriSize roiSize, QoriNorm norm, int flag, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup gradient_segmentation Gradient segmentation
 *
 * Labels in pMarker grow over the picture in pSrc, the cheapest step first: a watershed of the differences between
 * neighbours, without an image of them. A step from a pixel to its neighbour costs the absolute difference of the two,
 * in C3 the largest of the three channels. Neighbours are 4 for qoriNormL1 and 8 for qoriNormInf, in the order left,
 * right, above, below, upper left, upper right, lower left, lower right. Markers:
 *
 *     0           no label yet          1 to 253   labels
 *     254         boundary; also a label that a pixel takes when it is nearer than any other
 *     255         never takes part, and stays
 *
 * The outermost pixels of the region are treated as 255 whatever they hold. In raster order each pixel of marker 0 that
 * has a label from 1 to 254 beside it starts to wait, for its cheapest step to one. Of the pixels that wait for the
 * least cost the one that waits longest is next: it takes the label of the neighbour with the cheapest step, the later
 * one of equals, but 254 only if no other is as near; with qorSegmentBorder4 or qorSegmentBorder8 (which holds over the
 * other; other bits are ignored) it becomes 254 instead if one of its 4 or 8 neighbours, whatever the norm, has another
 * label from 1 to 253; then its neighbours of marker 0 start to wait for their steps from it.
 *
 * If no pixel is ever reached the marker stays as it is. Otherwise its outermost rows and columns come back as 255.
 *
 * @b Region: only pixels of the region are read and written; the picture is never written. @b In @b place: the marker
 * is the result; it must not overlap the picture. @b Scratch: 17 W H + 115 bytes for a region of W x H, in 32 bits that
 * wrap, at any address. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; qorStsBadArgErr for a norm other than qoriNormInf and
 * qoriNormL1; qorStsSizeErr for a region of so many pixels that what is reported has wrapped and does not suffice.
 * Queries: qorStsNullPtrErr; qorStsSizeErr.
 * @{
 */
QorStatus qoriSegmentGradientGetBufferSize_8u_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriSegmentGradientGetBufferSize_8u_C3R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriSegmentGradient_8u_C1IR(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize,
                                      QoriNorm norm, int flag, Qor8u* pBuffer);
QorStatus qoriSegmentGradient_8u_C3IR(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize,
                                      QoriNorm norm, int flag, Qor8u* pBuffer);
/** @} */

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
