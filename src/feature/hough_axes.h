// The axes of the Hough accumulators, and the checks of their steps.
#pragma once

#include <math.h>

#include "frame/checks.h"
#include "frame/round.h"
#include "frame/vec.h"
#include "qorcv/feature.h"

namespace qor::inline QOR_LEVEL {

// The end of the axis of theta, a little below half a turn.
constexpr Qor32f houghLastTheta = 3.14159F;

// Cells of rho, and the number of the last theta. As they are in 64f; in integers, which saturate.
struct HoughAxes {
  Qor64f exactRhos, exactLast;
  Qor32s rhos, last, middle;

  HoughAxes(QoriSize size, QoriPoint_32f delta) {
    const int64_t span = 2 * (int64_t{size.width} + size.height) + 1;
    exactRhos = trunc(static_cast<Qor64f>(static_cast<Qor32f>(span) / delta.x));
    exactLast = trunc(static_cast<Qor64f>(houghLastTheta) / static_cast<Qor64f>(delta.y));
    rhos = truncatedSaturated<Qor32s>(exactRhos);
    last = truncatedSaturated<Qor32s>(exactLast);
    middle = rhos < 1 ? 0 : (rhos - 1) >> 1;
  }
};

// The low 32 bits of a count, for sizes that wrap.
constexpr Qor32u houghWrapped(Qor64f count) {
  return static_cast<Qor32u>(static_cast<uint64_t>(count < 0x1p63 ? count : 0));
}

// A step of NaN is not above 0.
constexpr QorStatus houghStepsCheck(QoriPoint_32f delta) {
  return delta.x > 0 && delta.y > 0 ? qorStsNoErr : qorStsBadArgErr;
}

// Calls work(lane) for all lanes in their order. They leave the vector by twos, which costs half of what each alone
// would.
template <class Work>
QOR_FORCE_INLINE void forLanes(V32s lanes, const Work& work) {
  Qor64s pairs[V32s::lanes / 2];
  __builtin_memcpy(pairs, &lanes, sizeof pairs);
  for (const Qor64s pair : pairs) {
    work(ptrdiff_t{static_cast<Qor32s>(pair)});
    work(ptrdiff_t{pair >> 32});
  }
}

}  // namespace qor
