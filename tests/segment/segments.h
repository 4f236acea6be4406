// What the segmentation tests share: pictures of segments, and connected sets of pixels, found one by one.
#pragma once

#include <vector>

#include "support/support.h"

namespace qortest {

// Segments of every size, from points to more than a word of pixels; value() is that of the next one.
template <class T, class Value>
void makeSegments(GuardedImage<T>& image, Random& random, Value value) {
  const int across = 1 << random.below(8);
  image.generate([&](int x, int y, int c) {
    if (x > 0 && !random.oneIn(across)) return image.at(x - 1, y, c);
    return y > 0 && random.oneIn(2) ? image.at(x, y - 1, c) : static_cast<T>(value());
  });
}

struct Components {
  Image<int> number;       // 1, 2, ... in raster order of the first pixels; 0 for those that are no members
  std::vector<int> sizes;  // by number - 1
};

// isMember(x, y), and joins(x, y, nx, ny) between two members.
template <class IsMember, class Joins>
Components componentsOf(QoriSize size, bool diagonal, IsMember isMember, Joins joins) {
  Components all{Image<int>(size), {}};
  for (int start = 0; start < size.width * size.height; ++start) {
    const int startX = start % size.width, startY = start / size.width;
    if (all.number.at(startX, startY) != 0 || !isMember(startX, startY)) continue;
    const int number = static_cast<int>(all.sizes.size()) + 1;
    all.number.at(startX, startY) = number;
    std::vector<QoriPoint> found = {{startX, startY}};
    for (size_t i = 0; i < found.size(); ++i) {
      for (int d = 0; d < 9; ++d) {
        const auto [x, y] = found[i];
        const int nx = x + d % 3 - 1, ny = y + d / 3 - 1;
        if (nx < 0 || ny < 0 || nx >= size.width || ny >= size.height || (!diagonal && nx != x && ny != y)) continue;
        if (all.number.at(nx, ny) != 0 || !isMember(nx, ny) || !joins(x, y, nx, ny)) continue;
        all.number.at(nx, ny) = number;
        found.push_back({nx, ny});
      }
    }
    all.sizes.push_back(static_cast<int>(found.size()));
  }
  return all;
}

}  // namespace qortest
