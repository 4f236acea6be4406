// Turns chosen upright features of a Haar stage into tilted ones.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "integral/haar.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The corner that lies dx to the right of and dy below another.
HaarCorner moved(HaarCorner c, Qor32s dx, Qor32s dy) { return {wrappedSum(c.x, dx), wrappedSum(c.y, dy)}; }

// Clockwise about the upper left corner: the width runs down to the right from it, the height down to the left.
template <class V>
void tiltDown(HaarRectangle<V>& r, Qor32s d, Qor32s e) {
  const HaarRectangle<V> old = r;
  r.first = moved(old.fourth, wrappedDifference(d, e), wrappedSum(d, e));
  r.second = {wrappedDifference(old.fourth.x, e), old.first.y};
  r.third = {old.first.x, wrappedSum(old.fourth.y, d)};
}

// Counter-clockwise about the lower left corner, which becomes the lowest one.
template <class V>
void tiltUp(HaarRectangle<V>& r, Qor32s d, Qor32s e) {
  const HaarCorner pivot = r.second;
  const Qor32s minusD = wrappedDifference(0, d), minusE = wrappedDifference(0, e);
  r.first = pivot;
  r.second = moved(pivot, minusE, minusE);
  r.third = moved(pivot, d, minusD);
  r.fourth = moved(pivot, wrappedDifference(d, e), wrappedSum(minusD, minusE));
}

template <class V>
QorStatus tiltFeatures(const Qor8u* pMask, int flag, HaarRecord<V>* record) {
  if (const QorStatus status = nullCheck(pMask, record); status != qorStsNoErr) return status;
  if ((record->tiltFlag & 1) != 0) return qorStsBadArgErr;
  for (int f = 0; f < record->featureCount; ++f) {
    HaarFeature<V>& feature = record->features[f];
    if (pMask[feature.id >> 8] == 0) continue;
    feature.id = 1;
    for (int k = 0; k < feature.rectCount; ++k) {
      HaarRectangle<V>& r = feature.rects[k];
      const Qor32s width = wrappedDifference(r.first.x, r.fourth.x);
      // The integer form takes every rectangle for a square.
      const Qor32s height = std::is_same_v<V, Qor32f> ? wrappedDifference(r.first.y, r.fourth.y) : width;
      if (flag != 0) {
        tiltDown(r, width, height);
      } else {
        tiltUp(r, width, height);
      }
    }
    record->tiltFlag |= 1;
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriTiltHaarFeatures_32f)(const Qor8u* pMask, int flag, QoriHaarClassifier_32f* pState) {
  return qor::tiltFeatures<Qor32f>(pMask, flag, pState);
}
QOR_BODY(qoriTiltHaarFeatures_32s)(const Qor8u* pMask, int flag, QoriHaarClassifier_32s* pState) {
  return qor::tiltFeatures<Qor32s>(pMask, flag, pState);
}
