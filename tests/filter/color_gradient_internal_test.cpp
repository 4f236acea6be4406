// Teams of the colour gradient: formed only inside a region of the caller.
#include <omp.h>

#include "qorcv/filter.h"
#include "support/stand_in.h"
#include "support/support.h"

namespace {
using namespace qortest;

struct Result {
  int regions;
  unsigned team;
};

// One call from the master of a region of that many threads, which may have nested ones.
Result callInside(int outer, QoriSize size, int threads) {
  GuardedImage<Qor8u> src(size, {.channels = 3}), dst(size), want(size);
  src.generate(Maker<Qor8u>(Data::Random, baseSeed()));
  const auto call = [&](GuardedImage<Qor8u>& to) {
    return qoriGradientColorToGray_8u_C3C1R(src.data(), src.step(), to.data(), to.step(), size, qoriNormL2);
  };
  EXPECT_EQ(call(want), qorStsNoErr);
  ThreadCount count(threads);
  StandIn core;
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(2);
#pragma omp parallel num_threads(outer)
  {
#pragma omp master
    EXPECT_EQ(call(dst), qorStsNoErr);
  }
  omp_set_max_active_levels(levels);
  expectSame(dst, want.pixels());
  return {core.regions - 1, core.regions > 1 ? core.lastTeam : 1};
}

TEST(ColorGradient, Teams) {
  const struct {
    int outer;
    QoriSize size;
    int threads, team;
  } cases[] = {
      {1, {200, 100}, 4, 1}, {3, {200, 100}, 4, 3}, {7, {200, 100}, 4, 4}, {7, {200, 100}, 7, 6},
      {3, {100, 31}, 4, 1},  {3, {63, 32}, 4, 1},   {3, {64, 32}, 4, 2},   {2, {64, 47}, 1, 1},
  };
  for (const auto& c : cases) {
    setCase("%d outside, %dx%d, %d threads", c.outer, c.size.width, c.size.height, c.threads);
    const Result r = callInside(c.outer, c.size, c.threads);
    EXPECT_EQ(static_cast<int>(r.team), c.team) << currentCase();
    EXPECT_EQ(r.regions, c.team > 1 ? 1 : 0) << currentCase();
  }
}

}  // namespace
