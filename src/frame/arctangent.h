// Arctangent on vectors.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// (atan(t) / t - 1) / t^2 in powers of t^2 on [0, 1], by interpolation at the nodes of Chebyshev. The relative error of
// the angle is 2.5e-8; with the rounding of the steps it stays below 2^-22.
inline constexpr Qor32f arctanCoefficients[] = {-0x1.555554p-2F, 0x1.99983cp-3F,  -0x1.246cd2p-3F,
                                                0x1.c3f168p-4F,  -0x1.6295f8p-4F, 0x1.0001c6p-4F,
                                                -0x1.25dc12p-5F, 0x1.ba9f66p-7F,  -0x1.38de56p-9F};

// atan(t) for t in [0, 1].
inline V32f arctanOfFraction(V32f t) {
  const V32f z = t * t;
  V32f p = splat(arctanCoefficients[8]);
  for (int i = 7; i >= 0; --i) p = p * z + splat(arctanCoefficients[i]);
  return t + t * (z * p);
}

}  // namespace qor
