// FastN corners: the sizes and the making of a record.
#include "feature/fastn_spec.h"

#include <math.h>

#include "frame/bodies.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorStatus formCheck(int circleRadius, int numPixels, int orientationBins, int option, QorDataType dataType,
                              int nChannels) {
  return firstFailure(fastNTypeCheck(dataType), fastNChannelCheck(nChannels), fastNOptionCheck(option, orientationBins),
                      fastNGeometryCheck(circleRadius, numPixels));
}

QorStatus reportSize(QoriSize srcSize, int circleRadius, int numPixels, int orientationBins, int option,
                     QorDataType dataType, int nChannels, int* pSpecSize) {
  const QorStatus status =
      firstFailure(nullCheck(pSpecSize), sizeCheck(srcSize),
                   formCheck(circleRadius, numPixels, orientationBins, option, dataType, nChannels));
  if (status == qorStsNoErr) *pSpecSize = fastNBytes(circleOf(circleRadius).pixels);
  return status;
}

QorStatus makeRecord(QoriSize srcSize, int circleRadius, int numPixels, int orientationBins, int option,
                     Qor32f threshold, QorDataType dataType, int nChannels, QoriFastNSpec* pSpec) {
  const QorStatus status =
      firstFailure(nullCheck(pSpec), sizeCheck(srcSize), threshold < 0 ? qorStsThresholdErr : qorStsNoErr,
                   formCheck(circleRadius, numPixels, orientationBins, option, dataType, nChannels));
  if (status != qorStsNoErr) return status;
  const auto [points, pixels] = circleOf(circleRadius);
  Qor8u* const block = reinterpret_cast<Qor8u*>(pSpec);
  const auto misaligned = reinterpret_cast<uintptr_t>(block) & (fastNAlignment - 1);
  block[0] = static_cast<Qor8u>(fastNAlignment - misaligned);
  Qor8u* const place = block + block[0];
  const FastNRecord record{fastNIdentity, dataType,        nChannels, srcSize,   circleRadius,
                           numPixels,     orientationBins, option,    threshold, truncatedSaturated<Qor32s>(threshold),
                           points};
  memcpy(place, &record, sizeof record);
  if (!record.has(qorFastNOrientation)) return qorStsNoErr;
  constexpr Qor32f wholeTurn = 6.2831855F, ofTurn = 0.15915494F;
  Qor32f tables[2 * mostCirclePixels + 1];
  const Qor32f step = wholeTurn / static_cast<Qor32f>(pixels);
  for (int i = 0; i < pixels; ++i) {
    const Qor32f angle = static_cast<Qor32f>(i) * step;
    tables[i] = static_cast<Qor32f>(sin(static_cast<Qor64f>(angle)));
    tables[pixels + i] = static_cast<Qor32f>(cos(static_cast<Qor64f>(angle)));
  }
  tables[2 * pixels] = static_cast<Qor32f>(orientationBins) * ofTurn;
  memcpy(place + sizeof record, tables, static_cast<size_t>(2 * pixels + 1) * sizeof *tables);
  return qorStsNoErr;
}

QorStatus reportScratch(const QoriFastNSpec* pSpec, QoriSize dstRoiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pSpec), nullCheck(pBufferSize), sizeCheck(dstRoiSize));
  if (status == qorStsNoErr) *pBufferSize = fastNScratch(dstRoiSize.width);
  return status;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFastNGetSize)
(QoriSize srcSize, int circleRadius, int numPixels, int orientationBins, int option, QorDataType dataType,
 int nChannels, int* pSpecSize) {
  return qor::reportSize(srcSize, circleRadius, numPixels, orientationBins, option, dataType, nChannels, pSpecSize);
}
QOR_BODY(qoriFastNInit)
(QoriSize srcSize, int circleRadius, int numPixels, int orientationBins, int option, Qor32f threshold,
 QorDataType dataType, int nChannels, QoriFastNSpec* pSpec) {
  return qor::makeRecord(srcSize, circleRadius, numPixels, orientationBins, option, threshold, dataType, nChannels,
                         pSpec);
}
QOR_BODY(qoriFastNGetBufferSize)(const QoriFastNSpec* pSpec, QoriSize dstRoiSize, int* pBufferSize) {
  return qor::reportScratch(pSpec, dstRoiSize, pBufferSize);
}
