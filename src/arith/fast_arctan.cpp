#include "frame/bodies.h"
QOR_BODY(qoribFastArctan_32f)(const Qor32f* y, const Qor32f* x, Qor32f* d, int n) {
  if (!y || !x || !d) return qorStsNullPtrErr;
  if (n < 1) return qorStsSizeErr;
  for (int i = 0; i < n; ++i) { float a = __builtin_atan2f(y[i], x[i]) * 57.29578f; d[i] = a < 0 ? (a + 360 == 360 ? 0 : a + 360) : a; }
  return 0;
}
