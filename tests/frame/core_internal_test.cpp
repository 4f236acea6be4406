// What the library asks of the core, and when it goes parallel or past the caches: against a core that the test makes.
#include <utility>

#include "frame/bands.h"
#include "frame/image_ops.h"
#include "frame/vector_ops.h"
#include "qorcv/arith.h"
#include "qorcv/version.h"
#include "support/stand_in.h"
#include "support/support.h"

extern "C" int32_t qorJumpIndexForMergedDLL;

namespace {
using namespace qortest;

TEST(Core, HelpersFollowTheMachine) {
  StandIn core;
  core.cores = 1;
  EXPECT_EQ(qor::runomp(), 0);
  for (const int shortKernel : {3, 5}) EXPECT_EQ(qor::runsepomp(shortKernel), 0);
  for (const int longKernel : {1, 4, 7, 31}) EXPECT_EQ(qor::runsepomp(longKernel), 1);
  core.cores = 4;
  EXPECT_EQ(qor::runomp(), 4);
  EXPECT_EQ(qor::runsepomp(3), 4);
  EXPECT_EQ(qor::runsepomp(7), 5);
  core.cacheSize = 12345;
  EXPECT_EQ(qor::owncvGetCacheSize(), 12345);
  core.cacheSize = -1;
  EXPECT_EQ(qor::owncvGetCacheSize(), 0);
  ThreadCount threads(6);
  EXPECT_EQ(qor::owncvGetMaxNumThreads(), 6);
  EXPECT_EQ(qor::owncvGetNumThreads(), 1);
  EXPECT_EQ(qor::owncvGetIdThreads(), 0);
}

// Both bits selected at load: the stand-in has every feature until a test takes some away.
TEST(Core, FeaturesSelectTheVersionRecord) {
  EXPECT_EQ(qorJumpIndexForMergedDLL, 1);
  StandIn core;
  const QorLibraryVersion* plus = qorcvGetLibVersion();
  EXPECT_STREQ(plus->name, QOR_VARIANT_NAME "+");
  core.features = ~uint64_t{128};
  const QorLibraryVersion* plain = qorcvGetLibVersion();
  EXPECT_STREQ(plain->name, QOR_VARIANT_NAME);
  EXPECT_STREQ(plain->version, plus->version);
}

TEST(Core, ReductionsAllocateBeyondTheStack) {
  const auto countRows = [](qor::Band b) { return Qor32s{b.rows}; };
  const auto add = [](Qor32s& into, Qor32s from) { into += from; };
  for (const int threads : {32, 33, 70}) {
    ThreadCount count(threads);
    StandIn core;
    EXPECT_EQ(qor::reduceBands(true, 1000, Qor32s{0}, countRows, add), 1000);
    EXPECT_EQ(core.allocations, threads > 32 ? 1 : 0);
    EXPECT_EQ(core.frees, core.allocations);
  }
  ThreadCount count(40);
  StandIn core;
  core.allocationsAllowed = 0;
  int bands = 0;
  EXPECT_EQ(
      qor::reduceBands(true, 1000, Qor32s{0}, countRows, [&](Qor32s& into, Qor32s from) { into += from, ++bands; }),
      1000);
  EXPECT_EQ(bands, 31) << "the stack's 32 slots serve when there is no memory";
  EXPECT_EQ(core.frees, 0);
}

TEST(Parallel, TeamsAreAsLargeAsTheThreadCount) {
  ThreadCount count(5);
  StandIn core;
  qor::forBands(100, qor::owncvGetMaxNumThreads(), [](qor::Band) {});
  EXPECT_EQ(core.lastTeam, 5U);
}

// A product that is all zeros is filled at once.
TEST(Parallel, ZeroProductsOpenNoRegion) {
  GuardedImage<Qor16s> image({20, 3});
  image.generate([](int x, int, int) { return static_cast<Qor16s>(x - 9); });
  for (const auto& [value, factor] : {std::pair{Qor16s{0}, 0}, std::pair{Qor16s{5}, 31}}) {
    StandIn core;
    EXPECT_EQ(
        qor::qoriMulC_16s_C1RSfs(image.data(), image.step(), value, image.data(), image.step(), image.size(), factor),
        qorStsNoErr);
    EXPECT_EQ(core.regions, 0);
    expectSame(image, Image<Qor16s>({20, 3}));
  }
}

// The question for the cache is asked above the stated sizes only, and an unknown cache streams: the values stay.
TEST(Streaming, AsksForTheCacheAboveItsThresholds) {
  for (const int cacheSize : {1 << 25, 1, -1}) {
    for (const int more : {0, 1}) {
      setCase("cache %d, %d more", cacheSize, more);
      StandIn core;
      core.cacheSize = cacheSize;
      const auto queries = [&core] { return std::exchange(core.cacheQueries, 0); };
      const Layout layout{.offset = 1, .guard = Guard::Before};
      GuardedImage<Qor8u> bytes({0x80000 + more, 1}, layout);
      EXPECT_EQ(qor::qoriSet_8u_C1R(77, bytes.data(), bytes.step(), bytes.size()), qorStsNoErr);
      EXPECT_EQ(queries(), more) << currentCase();
      GuardedImage<Qor16s> shorts({0x40000 + more, 1}, layout);
      EXPECT_EQ(qor::qoriSet_16s_C1R(-777, shorts.data(), shorts.step(), shorts.size()), qorStsNoErr);
      EXPECT_EQ(queries(), more) << currentCase();
      GuardedImage<Qor16u> src({0x20000 + more, 1}, layout), kept({0x20000 + more, 1}, layout);
      GuardedImage<Qor32f> floats({0x20000 + more, 1}, layout);
      src.generate([](int x, int, int) { return static_cast<Qor16u>(x * 31); });
      EXPECT_EQ(qor::qoriConvert_16u32f_C1R(src.data(), src.step(), floats.data(), floats.step(), src.size()), 0);
      EXPECT_EQ(queries(), more) << currentCase();
      // From 0x40000 bytes on, and never in place.
      QoriSize part = {0x20000 - 1 + more, 1};
      EXPECT_EQ(qor::qoriThreshold_GTVal_16u_C1R(src.data(), src.step(), kept.data(), kept.step(), part, 30000, 9), 0);
      EXPECT_EQ(queries(), more) << currentCase();
      part.width = 0x20000;
      size_t wrong = 0;
      for (int x = 0; x < 0x20000 - 1 + more; ++x) {
        const Qor16u s = src.at(x, 0);
        wrong += floats.at(x, 0) != s || kept.at(x, 0) != (s > 30000 ? 9 : s) || bytes.at(x, 0) != 77 ||
                 shorts.at(x, 0) != -777;
      }
      EXPECT_EQ(wrong, 0U) << currentCase();
      EXPECT_EQ(qor::qoriThreshold_GTVal_16u_C1R(src.data(), src.step(), src.data(), src.step(), part, 30000, 9), 0);
      EXPECT_EQ(queries(), 0) << "in place, " << currentCase();
    }
  }
}

}  // namespace
