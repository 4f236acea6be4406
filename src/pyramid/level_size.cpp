#include "pyramid/level_size.h"

#include "frame/bodies.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The longest axis that reduces to one of this length. It grows with the length, for a float product does.
int longestFiner(int length, Qor32f rate) {
  const int64_t next = int64_t{length} + 1;
  const Qor32f product = static_cast<Qor32f>(length) * rate;
  const int64_t scaled = static_cast<int64_t>(product);
  return saturate<Qor32s>(next > scaled ? next : scaled);
}

}  // namespace

LengthRange finerLengths(int length, Qor32f rate) {
  return {length == 1 ? 1 : saturate<Qor32s>(int64_t{longestFiner(length - 1, rate)} + 1), longestFiner(length, rate)};
}

// The least length whose range reaches this one. The quotient lies beside it by what float products are rounded by: a
// few hundred for the longest axes, 1 for usual ones.
int coarserLength(int length, Qor32f rate) {
  int coarser = static_cast<int>(length / static_cast<Qor64f>(rate));
  if (coarser < 1) coarser = 1;
  while (longestFiner(coarser, rate) < length) ++coarser;
  while (coarser > 1 && longestFiner(coarser - 1, rate) >= length) --coarser;
  return coarser;
}

namespace {

QorStatus coarserRoi(QoriSize srcRoi, QoriSize* pDstRoi, Qor32f rate) {
  const QorStatus status = firstFailure(nullCheck(pDstRoi), sizeCheck(srcRoi), rateCheck(rate));
  if (status == qorStsNoErr) *pDstRoi = coarserSize(srcRoi, rate);
  return status;
}

QorStatus finerRois(QoriSize srcRoi, QoriSize* pDstRoiMin, QoriSize* pDstRoiMax, Qor32f rate) {
  const QorStatus status = firstFailure(nullCheck(pDstRoiMin, pDstRoiMax), sizeCheck(srcRoi), rateCheck(rate));
  if (status != qorStsNoErr) return status;
  const LengthRange widths = finerLengths(srcRoi.width, rate), heights = finerLengths(srcRoi.height, rate);
  *pDstRoiMin = {widths.least, heights.least};
  *pDstRoiMax = {widths.most, heights.most};
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriGetPyramidDownROI)(QoriSize srcRoi, QoriSize* pDstRoi, Qor32f rate) {
  return qor::coarserRoi(srcRoi, pDstRoi, rate);
}
QOR_BODY(qoriGetPyramidUpROI)(QoriSize srcRoi, QoriSize* pDstRoiMin, QoriSize* pDstRoiMax, Qor32f rate) {
  return qor::finerRois(srcRoi, pDstRoiMin, pDstRoiMax, rate);
}
