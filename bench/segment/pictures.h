// Pictures of the segmentation rows.
#pragma once

#include <cmath>
#include <cstring>

#include "support/row.h"

namespace qor::bench {

// Smooth hills from about 60 to 190 under noise from 0 to `noise`.
template <class T>
Image<T> noisyHills(Setup& s, int noise, int channels = 1) {
  const auto grain = s.random<Qor8u>({.channels = channels, .low = 0, .high = static_cast<double>(noise)});
  const auto image = s.blank<T>({.channels = channels});
  image.all([&](int x, int y) {
    const double hills = 33 * std::sin(x * 0.021 / channels + 1.3 * std::sin(y * 0.013)) + 33 * std::cos(y * 0.017);
    image(x, y) = static_cast<T>(std::floor(125 + hills + grain(x, y) - noise / 2));
    return true;
  });
  return image;
}

// Regions of some 60 pixels across, with winding edges.
template <class T>
void fillCells(const Image<T>& image) {
  image.all([&](int x, int y) {
    const int column = static_cast<int>(x + 14 * std::sin(y * 0.09)) / 61;
    const int row = static_cast<int>(y + 14 * std::sin(x * 0.07)) / 53;
    image(x, y) = static_cast<T>(1 + (column * 37 + row * 101) % 250);
    return true;
  });
}

// A call that starts from a fresh copy of the picture each time.
template <class T, class Call>
auto onCopies(const Image<T>& picture, const Image<T>& image, Call call) {
  return [=]() mutable {
    std::memcpy(image.p, picture.p, static_cast<size_t>(picture.step) * static_cast<size_t>(picture.height));
    return call();
  };
}

}  // namespace qor::bench
