// Images with zeros to measure the distance from.
#pragma once

#include <cmath>

#include "support/row.h"

namespace qor::bench {

// Round shapes of some ten to a hundred pixels that cover a third of the image; the rest is zero.
inline Image<Qor8u> blobs(Setup& s) {
  const auto image = s.blank<Qor8u>();
  image.all([&](int x, int y) {
    const double waves = std::sin(x * 0.043 + 2 * std::sin(y * 0.011)) + std::sin(y * 0.037 + 2 * std::cos(x * 0.013));
    image(x, y) = waves > 0.55 ? 255 : 0;
    return true;
  });
  return image;
}

// One pixel in a hundred is zero.
inline Image<Qor8u> scattered(Setup& s) {
  const auto image = s.random<Qor8u>({.low = 0, .high = 99});
  image.all([&](int x, int y) {
    image(x, y) = image(x, y) == 0 ? 0 : 255;
    return true;
  });
  return image;
}

}  // namespace qor::bench
