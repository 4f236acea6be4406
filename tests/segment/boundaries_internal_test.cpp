#include "segment/boundaries.h"

#include "segment/segments.h"

namespace {
using namespace qortest;

// Pixel by pixel, in place.
template <class T>
struct Lines {
  Image<T> image;
  const Image<Qor32s>& cost;
  T value;

  // Draws on one of a pair; whether on the second.
  bool draw(int x1, int y1, int x2, int y2) {
    const bool isSecond = cost.at(x1, y1) <= cost.at(x2, y2);
    (isSecond ? image.at(x2, y2) : image.at(x1, y1)) = value;
    return isSecond;
  }
  bool isPairAbove(int x, int y, int dx) const {
    if (x + dx < 0 || x + dx >= image.size.width || image.at(x + dx, y - 1) == value) return false;
    return image.at(x + dx, y - 1) != image.at(x, y);
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

template <class T>
void check(Case& c) {
  Random& random = c.random;
  auto marker = c.image<T>();
  auto cost = c.image<Qor32s>();
  const int labels = random.between(1, 4);
  makeSegments(marker, random, [&] { return random.below(labels); });
  if (random.oneIn(2)) cost.generate([&](int, int, int) { return random.below(3); });
  cost.protect();
  const Image<Qor32s> costs = cost.pixels();
  Lines<T> want{marker.pixels(), costs, static_cast<T>(random.below(labels + 1))};
  for (int y = 0; y < c.size.height; ++y) want.row(y, c.variant == qoriNormInf);
  qor::ownBoundSegments(marker.data(), marker.step(), cost.data(), cost.step(), c.size, want.value, c.variant);
  expectSame(marker, want.image);
}

TEST(Boundaries, FromCosts) {
  const Sweep sizes{.thresholds = {{66, 20}, {67, 20}, {130, 9}, {131, 9}, {300, 12}}, .variants = 2};
  sweep("ownBoundSegments, 8u", sizes, check<Qor8u>);
  sweep("ownBoundSegments, 16u", sizes, check<Qor16u>);
}

}  // namespace
