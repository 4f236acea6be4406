/**
 * @file segment.h
 * Segmentation: flood fill, labels of markers, speckles, watershed, gradient segmentation, boundaries of segments.
 */
#ifndef QORCV_SEGMENT_H
#define QORCV_SEGMENT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup flood_fill Flood fill
 *
 * Repaints, in place, the connected region of a seed pixel with newVal and tells its extent. Three families differ in
 * what joins the region; `4Con` goes on to the 4 pixels beside one that has joined, `8Con` to the diagonal ones too.
 *
 * - Plain (`_4Con`, `_8Con`): a pixel that equals the seed's former value, on every channel. A NaN equals nothing.
 * - Range (`_Range4Con`, `_Range8Con`): a pixel within seed - minDelta .. seed + maxDelta on every channel, the bounds
 *   included; they saturate in 8u and 16u and are rounded to 32-bit floats in 32f. NaN lies in no band.
 * - Gradient (`_Grad4Con`, `_Grad8Con`): a pixel p within q - minDelta .. q + maxDelta on every channel, where q is the
 *   former value of a neighbour that has joined, so that the value floats along the region. With different deltas a
 *   way may be passable in one direction only. In 32f the test is |(p + c) - q| <= h, with c = (minDelta - maxDelta) /
 * 2 and h = (minDelta + maxDelta) / 2, in 32-bit floats; where a run is followed to the left it is |(p - q) + c| <= h.
 *   In the seed's own run the test is "not above" instead of "at most", so that a NaN there is passed over.
 *
 * The seed joins in any case. Where it already equals newVal on every channel (0.0 and -0.0 are equal), the plain and
 * the range fill return at once, with pRegion as it was; the gradient fill goes on.
 *
 * @b Result: *pRegion holds the number of painted pixels, the fill value by channel (0 where there is none) and the
 * bounding rectangle in the region's coordinates. A region of more than 2^31 - 1 pixels has a wrapped area.
 *
 * The range fill has a limited memory, as a stack of spans: when width * height / 4 of them wait (the product in 32
 * bits, the quotient rounded to 0; none is 0 and drops nothing), all of them are dropped. The pixels of dropped spans
 * are painted and counted but not in the rectangle, and their neighbours may be missing. It happens in regions of many
 * narrow branches and in tiny images: of a region of 4 to 7 pixels on more than one row it leaves the seed's own run.
 * The plain and the gradient fill find the whole region in every image. Each pixel joins once, also where newVal lies
 * in the band itself.
 *
 * @b Region: only pixels of the region are read, only those that join are written. An image of three channels in 8u or
 * 32f may have a step below the bytes of a row, down to a third of them: that is for single rows. Where there are more
 * rows, they overlap, and only pixels in the seed's row are painted.
 *
 * @b Scratch: at any address, of the size that qoriFloodFillGetSize reports for the plain and the range fill, and
 * qoriFloodFillGetSize_Grad for the gradient fill, formed in 64 bits and wrapped to 32:
 *
 *     6 W H + 32;   (W + 2) (H + 2) + 16 W H + 64   for a region of W x H
 *
 * @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr, also for the pointers to values; qorStsSizeErr for a width
 * or height below 1; qorStsStepErr for a step below the bytes of a row, counted in 64 bits, those of a single channel
 * in 8u and 32f; qorStsNotEvenStepErr for a step that is not a multiple of the sample size; qorStsOutOfRangeErr for a
 * seed outside the region; the gradient fill in 32f then qorStsOutOfRangeErr for a delta below 0 (NaN passes, and then
 * nothing joins the seed's run). Queries: qorStsNullPtrErr, qorStsSizeErr.
 * @{
 */
/** What a flood fill tells of its region. */
typedef struct {
  Qor64f area;     /**< painted pixels */
  Qor64f value[3]; /**< the fill value by channel, 0 for those that the image does not have */
  QoriRect rect;   /**< bounding rectangle */
} QoriConnectedComp;

QorStatus qoriFloodFillGetSize(QoriSize roiSize, int* pSize);
QorStatus qoriFloodFillGetSize_Grad(QoriSize roiSize, int* pSize);
QorStatus qoriFloodFill_4Con_8u_C1IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor8u newVal,
                                     QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_4Con_8u_C3IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                     const Qor8u* pNewVal, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_4Con_16u_C1IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor16u newVal,
                                      QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_4Con_16u_C3IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                      const Qor16u* pNewVal, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_4Con_32s_C1IR(Qor32s* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor32s newVal,
                                      QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_4Con_32f_C1IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor32f newVal,
                                      QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_4Con_32f_C3IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                      const Qor32f* pNewVal, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_8u_C1IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor8u newVal,
                                     QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_8u_C3IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                     const Qor8u* pNewVal, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_16u_C1IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor16u newVal,
                                      QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_16u_C3IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                      const Qor16u* pNewVal, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_32s_C1IR(Qor32s* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor32s newVal,
                                      QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_32f_C1IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor32f newVal,
                                      QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_8Con_32f_C3IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                      const Qor32f* pNewVal, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range4Con_8u_C1IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor8u newVal,
                                          Qor8u minDelta, Qor8u maxDelta, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range4Con_8u_C3IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          const Qor8u* pNewVal, const Qor8u* pMinDelta, const Qor8u* pMaxDelta,
                                          QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range4Con_16u_C1IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           Qor16u newVal, Qor16u minDelta, Qor16u maxDelta, QoriConnectedComp* pRegion,
                                           Qor8u* pBuffer);
QorStatus qoriFloodFill_Range4Con_16u_C3IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           const Qor16u* pNewVal, const Qor16u* pMinDelta, const Qor16u* pMaxDelta,
                                           QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range4Con_32f_C1IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           Qor32f newVal, Qor32f minDelta, Qor32f maxDelta, QoriConnectedComp* pRegion,
                                           Qor8u* pBuffer);
QorStatus qoriFloodFill_Range4Con_32f_C3IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           const Qor32f* pNewVal, const Qor32f* pMinDelta, const Qor32f* pMaxDelta,
                                           QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range8Con_8u_C1IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor8u newVal,
                                          Qor8u minDelta, Qor8u maxDelta, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range8Con_8u_C3IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          const Qor8u* pNewVal, const Qor8u* pMinDelta, const Qor8u* pMaxDelta,
                                          QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range8Con_16u_C1IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           Qor16u newVal, Qor16u minDelta, Qor16u maxDelta, QoriConnectedComp* pRegion,
                                           Qor8u* pBuffer);
QorStatus qoriFloodFill_Range8Con_16u_C3IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           const Qor16u* pNewVal, const Qor16u* pMinDelta, const Qor16u* pMaxDelta,
                                           QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Range8Con_32f_C1IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           Qor32f newVal, Qor32f minDelta, Qor32f maxDelta, QoriConnectedComp* pRegion,
                                           Qor8u* pBuffer);
QorStatus qoriFloodFill_Range8Con_32f_C3IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                           const Qor32f* pNewVal, const Qor32f* pMinDelta, const Qor32f* pMaxDelta,
                                           QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad4Con_8u_C1IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor8u newVal,
                                         Qor8u minDelta, Qor8u maxDelta, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad4Con_8u_C3IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                         const Qor8u* pNewVal, const Qor8u* pMinDelta, const Qor8u* pMaxDelta,
                                         QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad4Con_16u_C1IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          Qor16u newVal, Qor16u minDelta, Qor16u maxDelta, QoriConnectedComp* pRegion,
                                          Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad4Con_16u_C3IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          const Qor16u* pNewVal, const Qor16u* pMinDelta, const Qor16u* pMaxDelta,
                                          QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad4Con_32f_C1IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          Qor32f newVal, Qor32f minDelta, Qor32f maxDelta, QoriConnectedComp* pRegion,
                                          Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad4Con_32f_C3IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          const Qor32f* pNewVal, const Qor32f* pMinDelta, const Qor32f* pMaxDelta,
                                          QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad8Con_8u_C1IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed, Qor8u newVal,
                                         Qor8u minDelta, Qor8u maxDelta, QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad8Con_8u_C3IR(Qor8u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                         const Qor8u* pNewVal, const Qor8u* pMinDelta, const Qor8u* pMaxDelta,
                                         QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad8Con_16u_C1IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          Qor16u newVal, Qor16u minDelta, Qor16u maxDelta, QoriConnectedComp* pRegion,
                                          Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad8Con_16u_C3IR(Qor16u* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          const Qor16u* pNewVal, const Qor16u* pMinDelta, const Qor16u* pMaxDelta,
                                          QoriConnectedComp* pRegion, Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad8Con_32f_C1IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          Qor32f newVal, Qor32f minDelta, Qor32f maxDelta, QoriConnectedComp* pRegion,
                                          Qor8u* pBuffer);
QorStatus qoriFloodFill_Grad8Con_32f_C3IR(Qor32f* pImage, int imageStep, QoriSize roiSize, QoriPoint seed,
                                          const Qor32f* pNewVal, const Qor32f* pMinDelta, const Qor32f* pMaxDelta,
                                          QoriConnectedComp* pRegion, Qor8u* pBuffer);
/** @} */

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
 * @defgroup marker_labels Marker labels
 *
 * Gives each connected set of pixels that are not zero a label of its own. The sets are numbered in raster order by
 * their first pixels, and get the labels minLabel, minLabel + 1, ... maxLabel, minLabel again, ...: with more sets than
 * labels some share one. Zeros stay zeros. *pNumber is the number of sets, not of labels. Pixels are connected with the
 * 4 pixels beside them for qoriNormL1, with the diagonal ones too for qoriNormInf.
 *
 * @b Region: only pixels of the region are read and written. @b In @b place: the 8u and the 16u form, in which any
 * value above 0 counts as a marker; the 8u32s form stores the whole destination, which must not overlap the source, and
 * leaves the source as it is. @b Scratch: at any address, of the size that the query reports, which is that of
 * qoriFloodFillGetSize. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsStepErr
 * for a step below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a step that is not a multiple of
 * the sample size; qorStsBadArgErr for a minLabel below 1, above maxLabel, or a maxLabel of the largest value of the
 * labels' type (255, 65535, 2^31 - 1) or more; qorStsBadArgErr for a norm other than qoriNormInf and qoriNormL1.
 * Queries: qorStsNullPtrErr, qorStsSizeErr.
 * @{
 */
QorStatus qoriLabelMarkersGetBufferSize_8u_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriLabelMarkersGetBufferSize_16u_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriLabelMarkersGetBufferSize_8u32s_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriLabelMarkers_8u_C1IR(Qor8u* pMarker, int markerStep, QoriSize roiSize, int minLabel, int maxLabel,
                                   QoriNorm norm, int* pNumber, Qor8u* pBuffer);
QorStatus qoriLabelMarkers_16u_C1IR(Qor16u* pMarker, int markerStep, QoriSize roiSize, int minLabel, int maxLabel,
                                    QoriNorm norm, int* pNumber, Qor8u* pBuffer);
QorStatus qoriLabelMarkers_8u32s_C1R(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, QoriSize roiSize,
                                     int minLabel, int maxLabel, QoriNorm norm, int* pNumber, Qor8u* pBuffer);
/** @} */

/**
 * @defgroup speckles Speckles
 *
 * Overwrites, in place, every blob of at most maxSpeckleSize pixels with speckleValue: a clean-up of disparities and
 * the like, where speckleValue stands for "not known". Pixels that equal speckleValue are walls. Every other pixel
 * belongs to a blob: it joins those of the 4 pixels beside it that are no walls either and differ from it by at most
 * maxDiff, |p - q| <= maxDiff, all by the values from before the call.
 *
 * Differences of integers are exact, those of 16s reach 65535; differences of 32f are rounded to 32 bits. With a
 * maxDiff below 0 or NaN no pixels join, and neither does a NaN; such a pixel is a blob of one. A speckleValue of NaN
 * makes no walls; 0.0 and -0.0 are the same wall. With a maxSpeckleSize below 1 nothing changes.
 *
 * @b Region: only pixels of the region are read and written. The step is not checked: a negative one is right for a
 * region whose first row is the last in memory, and for a single row any step will do. @b Scratch: at any address, of
 * the size that the query reports, 13 bytes a pixel, wrapped to 32 bits. @b Threads: none.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a width or height below 1; qorStsNormErr
 * for a norm other than qoriNormL1. The query: qorStsNullPtrErr; qorStsSizeErr; qorStsDataTypeErr for a type other than
 * qor8u, qor16u, qor16s and qor32f; qorStsChannelErr for numChannels other than 1.
 * @{
 */
QorStatus qoriMarkSpecklesGetBufferSize(QoriSize roiSize, QorDataType dataType, int numChannels, int* pBufferSize);
QorStatus qoriMarkSpeckles_8u_C1IR(Qor8u* pSrcDst, int step, QoriSize roiSize, Qor8u speckleValue, int maxSpeckleSize,
                                   Qor8u maxDiff, QoriNorm norm, Qor8u* pBuffer);
QorStatus qoriMarkSpeckles_16u_C1IR(Qor16u* pSrcDst, int step, QoriSize roiSize, Qor16u speckleValue,
                                    int maxSpeckleSize, Qor16u maxDiff, QoriNorm norm, Qor8u* pBuffer);
QorStatus qoriMarkSpeckles_16s_C1IR(Qor16s* pSrcDst, int step, QoriSize roiSize, Qor16s speckleValue,
                                    int maxSpeckleSize, Qor16s maxDiff, QoriNorm norm, Qor8u* pBuffer);
QorStatus qoriMarkSpeckles_32f_C1IR(Qor32f* pSrcDst, int step, QoriSize roiSize, Qor32f speckleValue,
                                    int maxSpeckleSize, Qor32f maxDiff, QoriNorm norm, Qor8u* pBuffer);
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
