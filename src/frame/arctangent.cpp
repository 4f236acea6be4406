// Four-quadrant arctangent in radians.
#include <math.h>

#include "frame/arctangent.h"
#include "frame/row.h"
#include "frame/vector_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

QOR_FORCE_INLINE Block<Qor32f, 1> arctan2(const Qor32f* pY, const Qor32f* pX) {
  const V32f y = load(pY), x = load(pX), sign = splat(-0.0F);
  const V32f ay = abs(y), ax = abs(x), small = min(ay, ax), large = max(ay, ax), t = small / large;
  V32f angle = arctanOfFraction(t);
  angle = select(ay > ax, splat(0x1.921fb6p+0F) - angle, angle);
  angle = select(x, splat(0x1.921fb6p+1F) - angle, angle);
  angle = angle | (y & sign);
  // Regular: both ordered, not both zero, the quotient neither denormal nor NaN; infinities beside numbers give
  // quotients of zero, which are regular only for true zeros.
  const V32f quotientIsExact = (t >= splat(0x1p-126F)) | (small == zero<Qor32f>());
  const V32f regular = andNot(unordered(x, y), quotientIsExact & (large > zero<Qor32f>()));
  const Qor32u rare = signBits(regular) ^ allSignBits<V32f>;
  if (rare != 0) {
    Qor32f angles[V32f::lanes];
    store(angles, angle);
    for (int i = 0; i < V32f::lanes; ++i) {
      if ((rare >> i & 1) != 0) angles[i] = atan2f(pY[i], pX[i]);
    }
    angle = load(angles);
  }
  return {angle};
}

}  // namespace

QorStatus qorsAtan2_32f_A21(const Qor32f* pY, const Qor32f* pX, Qor32f* pDst, int len) {
  if (len < 1) return qorStsNoErr;
  const auto kernel = [](const Qor32f* y, const Qor32f* x) { return arctan2(y, x); };
  mapRow<Stores::cached, 1>(pDst, len, kernel, pY, pX);
  return qorStsNoErr;
}

}  // namespace qor
