// Fast arctangent: angles of vectors in degrees, for gradient directions.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor {
namespace {

// atan(t) / t in degrees in powers of t^2 on [0, 1], by interpolation at the nodes of Chebyshev: the angle is within
// 0.0012 degrees, which leaves room for the rounding of the steps under the promised 0.01.
constexpr Qor32f coefficients[] = {0x1.ca59ap+5F, -0x1.2ff00ep+4F, 0x1.52351cp+3F, -0x1.4cc802p+2F, 0x1.558d7ap+0F};

// limit - angle in the lanes of mask, angle in the others.
inline V32f reflect(V32f mask, Qor32f limit, V32f angle) {
  return (angle ^ (mask & splat(-0.0F))) + (mask & splat(limit));
}

QOR_FORCE_INLINE Block<Qor32f, 1> angleOf(const Qor32f* pY, const Qor32f* pX) {
  const V32f y = load(pY), x = load(pX), ay = abs(y), ax = abs(x);
  // The floor makes the quotient of two zeros 0; the ceiling makes that of two infinities 1.
  const V32f t = min(min(ay, ax) / max(splat(0x1p-149F), max(ay, ax)), splat(1.0F));
  const V32f z = t * t;
  V32f p = splat(coefficients[4]);
  for (int i = 3; i >= 0; --i) p = p * z + splat(coefficients[i]);
  V32f angle = reflect(ay > ax, 90.0F, t * p);
  angle = reflect(x < zero<Qor32f>(), 180.0F, angle);
  angle = reflect(y < zero<Qor32f>(), 360.0F, angle);
  return {andNot(angle >= splat(360.0F), angle) | unordered(x, y)};
}

}  // namespace
}  // namespace qor

QOR_BODY(qoribFastArctan_32f)(const Qor32f* pSrcY, const Qor32f* pSrcX, Qor32f* pDst, int len) {
  const QorStatus status = qor::firstFailure(qor::nullCheck(pSrcY, pSrcX, pDst), qor::lengthCheck(len));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const Qor32f* y, const Qor32f* x) { return qor::angleOf(y, x); };
  qor::mapRow<4, qor::Stores::cached, 1>(pDst, len, kernel, pSrcY, pSrcX);
  return qorStsNoErr;
}
