#include <fenv.h>
#include <float.h>
#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/arith.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Pixel by pixel in raster order: the first that is below (sign 1) or above (sign -1) all before it.
template <class T>
void find(const Image<T>& image, int channel, const Image<Qor8u>* mask, double sign, Qor32f& value, QoriPoint& at) {
  bool found = false;
  for (int y = 0; y < image.size.height; ++y)
    for (int x = 0; x < image.size.width; ++x) {
      const T sample = image.at(x, y, channel);
      if ((mask != nullptr && mask->at(x, y) == 0) || sample != sample) continue;
      if (found && !(sign * static_cast<double>(sample) < sign * static_cast<double>(value))) continue;
      found = true;
      value = static_cast<Qor32f>(sample);
      at = {x, y};
    }
  if (!found) value = 0, at = {0, 0};
  // Without a mask the search starts from a finite float, which then has its place in the first row.
  const double start = sign * static_cast<double>(FLT_MAX);
  if (!std::is_same_v<T, Qor32f> || mask != nullptr || (found && sign * static_cast<double>(value) < FLT_MAX)) return;
  value = static_cast<Qor32f>(start);
  at = {0, 0};
  for (int x = image.size.width - 1; x >= 0; --x)
    if (static_cast<double>(image.at(x, 0, channel)) == start) at.x = x;
}

void expectPosition(const Call& c, int which, QoriPoint want) {
  const QoriPoint* const got = c.at<const QoriPoint*>('r', which);
  EXPECT_TRUE(got == nullptr || (got->x == want.x && got->y == want.y))
      << "position " << which << ": " << got->x << ", " << got->y << ", want " << want.x << ", " << want.y << ' '
      << currentCase();
}

template <class T>
void expectExtrema(Call& c) {
  if constexpr (std::is_same_v<T, Qor32f>) {
    const std::vector<Qor32f>& samples = c.before<Qor32f>('s').samples;
    const bool finite = std::all_of(samples.begin(), samples.end(), [](Qor32f s) { return isfinite(s); });
    EXPECT_TRUE(!finite || fetestexcept(FE_INVALID) == 0) << "of numbers alone, " << currentCase();
  }
  const int channel = c.has('c') ? c.number('c') - 1 : 0;
  const Image<Qor8u>* mask = c.has('m') ? &c.before<Qor8u>('m') : nullptr;
  for (const int k : {0, 1}) {
    Qor32f value = 0;
    QoriPoint at{};
    find(c.before<T>('s'), channel, mask, k == 0 ? 1 : -1, value, at);
    c.expectResult(1 + k, value);
    expectPosition(c, 3 + k, at);
  }
}

// The samples of one image are drawn from a few of these: nothing but infinities, nothing but NaNs, zeros of both
// signs.
void fillWithSpecials(Call& c) {
  Random& random = c.c.random;
  if (random.oneIn(2)) return;
  constexpr Qor32f all[] = {NAN, -NAN, INFINITY, -INFINITY, FLT_MAX, -FLT_MAX, 0.0F, -0.0F};
  Qor32f some[3];
  for (Qor32f& s : some) s = all[random.below(8)];
  const int count = random.between(1, 3);
  c.image<Qor32f>('s').generate([&](int, int, int) { return some[random.below(count)]; });
}

// Columns of NaNs and of numbers: a running extreme meets a NaN behind a number in every lane.
void fillFloats(Call& c) {
  fillWithSpecials(c);
  Random& random = c.c.random;
  if (random.oneIn(4)) {
    c.image<Qor32f>('s').generate([&](int, int y, int) {
      return (y & 1) != 0 && random.oneIn(2) ? NAN : static_cast<Qor32f>(random.between(-9, 9));
    });
  }
  feclearexcept(FE_INVALID);
}

const Descriptions members([](Descriptions& d) {
#define MEMBER(name, roles, T)                                     \
  d.add(QORTEST_NAMED(name), roles,                                \
        {.fill = std::is_same_v<T, Qor32f> ? fillFloats : nullptr, \
         .expect = expectExtrema<T>,                               \
         .team = from(0x4000),                                     \
         .sweep = {.thresholds = {{127, 129}, {128, 128}, {8192, 2}, {1, 16384}, {3, 5462}}}});
#define QOR_MIN_MAX(name, T) MEMBER(name, "s.zRRRR", T)
#define QOR_MIN_MAX_CHANNEL(name, T) MEMBER(name, "s.zcRRRR", T)
#define QOR_MIN_MAX_MASKED(name, T) MEMBER(name, "s.m.zRRRR", T)
#define QOR_MIN_MAX_CHANNEL_MASKED(name, T) MEMBER(name, "s.m.zcRRRR", T)
#include "../../src/arith/min_max.def"
});

// Equal extremes in every pair of bands: the upper one wins, and in one row the left one, whatever the team.
TEST(MinMaxIndx, TiesAcrossBands) {
  for (const int threads : threadCounts) {
    Random random(baseSeed());
    for (int i = 0; i < 40; ++i) {
      const int x = random.between(0, 126), y = random.between(1, 138);
      const QoriPoint later{random.below(128), random.between(y + 1, 139)}, right{random.between(x + 1, 127), y};
      runOwn("qoriMinMaxIndx_8u_C1R", {128, 140},
             {.fill =
                  [=](Call& c) {
                    auto& src = c.image<Qor8u>('s');
                    src.generate([](int, int, int) { return Qor8u{100}; });
                    for (const QoriPoint p : {QoriPoint{x, y}, later, right}) src.at(p.x, p.y) = i % 2 == 0 ? 7 : 200;
                  }},
             threads);
    }
  }
}

}  // namespace
