#include "segment/boundaries.h"

#include "segment/cost_lines.h"
#include "segment/segments.h"

namespace {
using namespace qortest;

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
  const QoriNorm norm = c.variant;
  CostLines<T> want{marker.pixels(), costs, static_cast<T>(random.below(labels + 1))};
  want.draw(norm == qoriNormInf);
  qor::ownBoundSegments(marker.data(), marker.step(), cost.data(), cost.step(), c.size, want.value, norm);
  expectSame(marker, want.image);
}

TEST(Boundaries, FromCosts) {
  const Sweep sizes{.thresholds = {{66, 20}, {67, 20}, {130, 9}, {131, 9}, {300, 12}}, .variants = 2};
  sweep("ownBoundSegments, 8u", sizes, check<Qor8u>);
  sweep("ownBoundSegments, 16u", sizes, check<Qor16u>);
}

}  // namespace
