// Boundaries from costs, pixel by pixel, in place.
#pragma once

#include "support/support.h"

namespace qortest {

template <class T>
struct CostLines {
  Image<T> image;
  const Image<Qor32s>& cost;
  T value;

  void draw(bool diagonals) {
    for (int y = 0; y < image.size.height; ++y) row(y, diagonals);
  }

 private:
  // Draws on one of a pair; whether on the second.
  bool draw(int x1, int y1, int x2, int y2) {
    const int64_t first = cost.at(x1, y1), second = cost.at(x2, y2);
    const bool isSecond = first <= second;
    (isSecond ? image.at(x2, y2) : image.at(x1, y1)) = value;
    return isSecond;
  }
  bool isPairAbove(int x, int y, int dx) const {
    const int at = x + dx;
    if (at < 0 || at >= image.size.width || image.at(at, y - 1) == value) return false;
    return image.at(at, y - 1) != image.at(x, y);
  }
  void row(int y, bool diagonals) {
    const int w = image.size.width;
    for (int x = 0; x < w; ++x) {
      if (y > 0 && isPairAbove(x, y, 0) && draw(x, y - 1, x, y)) continue;
      if (x + 1 < w && image.at(x, y) != image.at(x + 1, y) && draw(x, y, x + 1, y)) ++x;
    }
    for (int x = 0; x < w && y > 0 && diagonals; ++x)
      for (const int dx : {-1, 1})
        if (image.at(x, y) != value && isPairAbove(x, y, dx)) draw(x + dx, y - 1, x, y);
  }
};

}  // namespace qortest
