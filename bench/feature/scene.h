// A picture as photographs are, for operations whose time depends on what is seen: patches with slanted edges,
// softened, with the noise of a camera. Of its pixels one in twenty is an edge.
#pragma once

#include "qorcv/filter.h"
#include "support/row.h"

namespace qor::bench {

inline Image<Qor8u> scene(Setup& s) {
  const auto noise = s.random<Qor8u>({.low = 0, .high = 4});
  const auto sharp = s.blank<Qor8u>(), soft = s.blank<Qor8u>();
  constexpr int side = 40;
  sharp.all([&](int x, int y) {
    const int column = (3 * x + y + 100 * side) / (3 * side), row = (4 * y - x + 400 * side) / (4 * side);
    const unsigned level =
        (static_cast<unsigned>(column) * 2654435761U ^ static_cast<unsigned>(row) * 40503U * 65537U) >> 24;
    sharp(x, y) = static_cast<Qor8u>(20 + level * 200 / 255 + noise(x, y) + static_cast<unsigned>(y % 64) / 4);
    return true;
  });
  int bytes = 0;
  qoriFilterLowpassGetBufferSize_8u_C1R(s.roi(), qorMskSize3x3, &bytes);
  qoriFilterLowpassBorder_8u_C1R(sharp.p, sharp.step, soft.p, soft.step, s.roi(), qorMskSize3x3, qorBorderRepl, 0,
                                 s.scratch(bytes));
  return soft;
}

}  // namespace qor::bench
