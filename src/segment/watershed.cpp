// The watershed: labels grow over a relief, in the order of its heights, by a flood or by relaxation of costs.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "segment/boundaries.h"
#include "segment/labels.h"
#include "segment/watershed_queue.h"
#include "segment/watershed_raster.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- scratch

// Counted in 32 bits that wrap; the larger as signed numbers.
template <class T>
int reportedBytes(QoriSize size) {
  constexpr Qor32u sample = sizeof(T), row = 32;
  const Qor32u width = static_cast<Qor32u>(size.width), height = static_cast<Qor32u>(size.height);
  const Qor32u stride = (sample * width + row - 1) / row * row;
  const int raster = static_cast<int>(6 * stride * height + 2 * stride + height + 66);
  const int queue = static_cast<int>(16 * width * height + sample * (width + 2) * (height + 2) + 48);
  return raster > queue ? raster : queue;
}

template <class T>
QorStatus reportSize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status == qorStsNoErr) *pBufferSize = reportedBytes<T>(roiSize);
  return status;
}

// Calls run(planes) with the planes of a form, if there is room for them in what is reported.
template <class Planes, class T, class Run>
QorStatus inScratch(const Terrain<T>& terrain, Qor8u* pBuffer, const Run& run) {
  const auto layout = Planes::layout(terrain.size);
  const int64_t needed = bytesOf(layout);
  const int reported = reportedBytes<T>(terrain.size);
  if (needed > reported) return qorStsSizeErr;
  ScratchParts parts(pBuffer, reported, needed);
  run(layout(parts));
  return qorStsNoErr;
}

// ---- the flood

template <bool eight, class T>
QorStatus floodFrom(const Terrain<T>& terrain, Lines lines, Qor8u* pBuffer) {
  return inScratch<FloodPlanes<T>>(terrain, pBuffer, [&](const FloodPlanes<T>& planes) {
    switch (lines) {
      case Lines::none:
        return WatershedFlood<T, eight, Lines::none>(terrain, planes).run();
      case Lines::four:
        return WatershedFlood<T, eight, Lines::four>(terrain, planes).run();
      case Lines::eight:
        return WatershedFlood<T, eight, Lines::eight>(terrain, planes).run();
    }
  });
}

// ---- the relaxation

template <Moves moves, class T>
QorStatus relax(const Terrain<T>& terrain, WayCosts costs, Lines lines, Qor8u* pBuffer) {
  return inScratch<RasterPlanes<T>>(terrain, pBuffer, [&](const RasterPlanes<T>& planes) {
    using Relaxation = WatershedRelaxation<T, moves>;
    Relaxation(terrain, planes, costs).run(Relaxation::bandsFor(owncvGetNumThreads(), terrain.size));
    if (lines == Lines::none) return;
    ownBoundSegments(terrain.labels.first, terrain.labels.step, planes.cost,
                     terrain.size.width * static_cast<int>(sizeof *planes.cost), terrain.size, boundaryOf<T>,
                     lines == Lines::four ? qoriNormL1 : qoriNormInf);
  });
}

template <class T>
QorStatus relaxByNorm(const Terrain<T>& terrain, QoriNorm norm, Lines lines, Qor8u* pBuffer) {
  if (terrain.size.width == 1 || norm == qoriNormL1) return relax<Moves::four>(terrain, {0, 0}, lines, pBuffer);
  if (norm == qoriNormInf) return relax<Moves::eight>(terrain, {0, 0}, lines, pBuffer);
  if (norm == qoriNormL2) return relax<Moves::eight>(terrain, {10, 14}, lines, pBuffer);
  return relax<Moves::eikonal>(terrain, {63, 0}, lines, pBuffer);
}

// ---- the operation

constexpr QorStatus modeCheck(QoriNorm norm, int flag) {
  const bool queue = (flag & qorSegmentQueue) != 0, raster = (flag & qorSegmentRaster) != 0;
  const QoriNorm last = queue ? qoriNormL1 : qoriNormFM;
  return (queue || raster) && norm >= qoriNormInf && norm <= last ? qorStsNoErr : qorStsBadArgErr;
}

template <class T>
QorStatus watershed(const Qor8u* pSrc, int srcStep, T* pMarker, int markerStep, QoriSize roiSize, QoriNorm norm,
                    int flag, Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pMarker, pBuffer), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, srcStep),
                   stepCheck<T>(roiSize.width, markerStep), evenCheck<T>(markerStep), modeCheck(norm, flag));
  if (status != qorStsNoErr) return status;
  const Terrain<T> terrain{{pSrc, srcStep}, {pMarker, markerStep}, roiSize};
  const Lines lines = linesOf(flag);
  if ((flag & qorSegmentQueue) == 0) return relaxByNorm(terrain, norm, lines, pBuffer);
  return norm == qoriNormInf ? floodFrom<true>(terrain, lines, pBuffer) : floodFrom<false>(terrain, lines, pBuffer);
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriSegmentWatershed_8u_C1IR)
(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize, QoriNorm norm, int flag,
 Qor8u* pBuffer) {
  return qor::watershed(pSrc, srcStep, pMarker, markerStep, roiSize, norm, flag, pBuffer);
}
QOR_BODY(qoriSegmentWatershed_8u16u_C1IR)
(const Qor8u* pSrc, int srcStep, Qor16u* pMarker, int markerStep, QoriSize roiSize, QoriNorm norm, int flag,
 Qor8u* pBuffer) {
  return qor::watershed(pSrc, srcStep, pMarker, markerStep, roiSize, norm, flag, pBuffer);
}
QOR_BODY(qoriSegmentWatershedGetBufferSize_8u_C1R)(QoriSize roiSize, int* pBufferSize) {
  return qor::reportSize<Qor8u>(roiSize, pBufferSize);
}
QOR_BODY(qoriSegmentWatershedGetBufferSize_8u16u_C1R)(QoriSize roiSize, int* pBufferSize) {
  return qor::reportSize<Qor16u>(roiSize, pBufferSize);
}
