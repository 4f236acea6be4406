// Rates of pyramids, for the descriptions of what takes one by the letter f.
#pragma once

#include <math.h>

#include "support/support.h"

namespace qortest {

inline void drawRate(Call& c) {
  c.at<Qor32f>('f') = c.c.usual ? 2 : c.pick({2.0F, 2.0F, 1.3F, 1.5F, 1.01F, 2.7F, 3.2F, 5.0F, 10.0F, 1.0000001F});
}

inline void refuseRates(DescribedContract& c, int) {
  Qor32f& rate = c.now.at<Qor32f>('f');
  c.check(
      "rate", qorStsBadArgErr, [&rate] { return !(rate > 1 && rate <= 10); }, [&rate] { rate = 1; },
      [&rate] { rate = 10.000001F; }, [&rate] { rate = NAN; }, [&rate] { rate = -2; }, [&rate] { rate = INFINITY; });
}

}  // namespace qortest
