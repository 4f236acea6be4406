// Fast arctangent: angles of vectors in degrees, for gradient directions.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// atan(t) / t in degrees in powers of t^2 on [0, 1], by interpolation at the nodes of Chebyshev: the angle is within
// 0.0012 degrees, which leaves room for the rounding of the steps under the promised 0.01.
constexpr Qor32f coefficients[] = {0x1.ca59ap+5F, -0x1.2ff00ep+4F, 0x1.52351cp+3F, -0x1.4cc802p+2F, 0x1.558d7ap+0F};

QOR_FORCE_INLINE Block<Qor32f, 1> angleOf(const Qor32f* pY, const Qor32f* pX) {
  const V32f y = load(pY), x = load(pX), ay = abs(y), ax = abs(x);
  // The floor makes the quotient of two zeros 0; the ceiling makes that of two infinities 1.
  const V32f t = min(min(ay, ax) / max(splat(0x1p-149F), max(ay, ax)), splat(1.0F));
  // The angle t * p is reflected at the diagonal and at the axes, by the signs. A zero is positive in x, so that the
  // angle of two zeros is 0, and may be negative in y, where 360 follows and is 0 in the end. What does not need the
  // quotient is computed beside it.
  const V32f steep = ay > ax, signX = x + zero<Qor32f>();
  V32f base = steep & splat(90.0F);
  base = select(signX, splat(180.0F) - base, base);
  base = select(y, splat(360.0F) - base, base);
  const V32f sign = (steep ^ signX ^ y) & splat(-0.0F);
  const V32f z = t * t, zz = z * z, lower = splat(coefficients[0]) + splat(coefficients[1]) * z,
             upper = splat(coefficients[2]) + splat(coefficients[3]) * z + splat(coefficients[4]) * zz;
  const V32f angle = base + (t * (lower + upper * zz) ^ sign);
  return {andNot(angle >= splat(360.0F), angle) | unordered(x, y)};
}

}  // namespace
}  // namespace qor

QOR_BODY(qoribFastArctan_32f)(const Qor32f* pSrcY, const Qor32f* pSrcX, Qor32f* pDst, int len) {
  const QorStatus status = qor::firstFailure(qor::nullCheck(pSrcY, pSrcX, pDst), qor::lengthCheck(len));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const Qor32f* y, const Qor32f* x) { return qor::angleOf(y, x); };
  qor::mapRow<qor::Stores::cached, 1>(pDst, len, kernel, pSrcY, pSrcX);
  return qorStsNoErr;
}
