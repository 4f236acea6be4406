// FastN corners: the list of a map's corners.
#include "feature/fastn_spec.h"
#include "feature/nonzero.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

QorStatus listCorners(const Qor8u* pSrcCorner, int srcCornerStep, const Qor8u* pSrcScore, int srcScoreStep,
                      QoriCornerFastN* pDst, QoriSize srcRoiSize, int maxLen, int* pNumCorners,
                      const QoriFastNSpec* pSpec) {
  QorStatus status = firstFailure(nullCheck(pSrcCorner), nullCheck(pDst), nullCheck(pNumCorners), nullCheck(pSpec),
                                  sizeCheck(srcRoiSize), maxLen < 0 ? qorStsSizeErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const FastNRecord record = recordOf(pSpec);
  const bool isOriented = record.has(qorFastNOrientation), isScored = record.has(qorFastNScore);
  status = firstFailure(fastNIdentityCheck(record), fastNTypeCheck(record.dataType),
                        fastNChannelCheck(record.nChannels), fastNOptionCheck(record.option, record.orientationBins),
                        isScored ? nullCheck(pSrcScore) : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  // Without an orientation its bins may be any number.
  const Qor64f binDegrees = isOriented ? 360.0 / record.orientationBins : 0;
  int count = 0;
  for (int y = 0; y < srcRoiSize.height; ++y) {
    const Qor8u *const corners = rowAt(pSrcCorner, srcCornerStep, y), *const scores =
                                                                          isScored ? rowAt(pSrcScore, srcScoreStep, y)
                                                                                   : nullptr;
    forNonZero(corners, srcRoiSize.width, [&](ptrdiff_t first, uint64_t bits) {
      if (count >= maxLen) {
        count += __builtin_popcountll(bits);
        return;
      }
      forBits(bits, [&](int i) {
        if (count++ >= maxLen) return;
        const ptrdiff_t x = first + i;
        const int bin = corners[x] & 63;
        *pDst++ = {static_cast<int>(x),
                   y,
                   corners[x] >> 7,
                   isOriented ? bin : -1,
                   isOriented ? static_cast<Qor32f>(bin * binDegrees) : -1.0F,
                   isScored ? static_cast<Qor32f>(scores[x]) : -1.0F};
      });
    });
  }
  *pNumCorners = count;
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFastN2DToVec_8u)
(const Qor8u* pSrcCorner, int srcCornerStep, const Qor8u* pSrcScore, int srcScoreStep, QoriCornerFastN* pDst,
 QoriSize srcRoiSize, int maxLen, int* pNumCorners, const QoriFastNSpec* pSpec) {
  return qor::listCorners(pSrcCorner, srcCornerStep, pSrcScore, srcScoreStep, pDst, srcRoiSize, maxLen, pNumCorners,
                          pSpec);
}
