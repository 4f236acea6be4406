/**
 * @file segment.h
 * Segmentation: flood fill, labels of markers, speckles, boundaries of segments.
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
