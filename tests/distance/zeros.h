// Sources to measure the distance in.
#pragma once

#include <math.h>

#include "support/support.h"

namespace qortest {

// Zeros as they come, scattered ones, blobs, corridors that turn back, one, in some columns, none.
inline void drawZeros(Call& c, char role) {
  Random& random = c.c.random;
  const int kind = random.below(7), x0 = random.below(c.size().width), y0 = random.below(c.size().height);
  const int apart = random.between(2, 90);
  appendCase(" zeros %d", kind);
  if (kind == 0) return;
  c.image<Qor8u>(role).generate([&](int x, int y, int) {
    const bool isOne = x == x0 && y == y0;
    const bool isZero[] = {isOne,
                           random.oneIn(apart),
                           sin(x * 3.0 / apart) + cos(y * 5.0 / apart) < 0.3,
                           (y % 4 == 3 && x % 31 > 1) || isOne,
                           isOne,
                           x % 3 == 0 && random.oneIn(apart),
                           false};
    return static_cast<Qor8u>(isZero[kind] ? 0 : random.between(1, 255));
  });
}

}  // namespace qortest
