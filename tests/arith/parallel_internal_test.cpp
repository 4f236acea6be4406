// When statistics and accumulators go parallel: on both sides of every member's threshold, at 1, 2 and 3 threads, on a
// machine of one core and of several.
#include "qorcv/arith.h"
#include "support/stand_in.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Pixels from which a call goes parallel; 0: never.
struct Rule {
  int shift;         // the thread count shifted left by this
  int shiftOnCores;  // another threshold that holds with more than one core; 0: none
};
constexpr Rule never{0, 0}, from15{15, 0}, from16{16, 0}, from17{17, 0}, from19{19, 0}, from15OnCores{0, 15},
    from17OnCores{0, 17}, from17Or15OnCores{17, 15};

int threshold(const Rule& rule, int threads, int cores) {
  const int shift = rule.shiftOnCores != 0 && cores > 1 ? rule.shiftOnCores : rule.shift;
  return shift == 0 ? 0 : threads << shift;
}

constexpr int largestArea = 3 << 19;

template <class Operation>
void expectRule(const char* name, Operation* operation, const Rule& rule) {
  for (const int cores : {1, 4}) {
    for (const int threads : {1, 3}) {
      setCase("%s, %d threads, %d cores", name, threads, cores);
      ThreadCount count(threads);
      const int area = threshold(rule, threads, cores);
      if (area == 0) {
        EXPECT_EQ(regionsOf(operation, {largestArea, 1}, cores), 0) << currentCase();
      } else {
        EXPECT_EQ(regionsOf(operation, {area - 1, 1}, cores), 0) << currentCase();
        EXPECT_EQ(regionsOf(operation, {area / 8, 8}, cores), 1) << currentCase();
      }
    }
  }
}

TEST(Parallel, MeansAndDeviations) {
#define QOR_MEAN_C1MR(name, T, rule) expectRule(QORTEST_NAMED(name), rule);
#define QOR_MEAN_C3CMR QOR_MEAN_C1MR
#define QOR_STD_DEV_C1R QOR_MEAN_C1MR
#define QOR_STD_DEV_C3CR QOR_MEAN_C1MR
#define QOR_STD_DEV_C1MR QOR_MEAN_C1MR
#define QOR_STD_DEV_C3CMR QOR_MEAN_C1MR
#include "../../src/arith/mean.def"
}

TEST(Parallel, Norms) {
#define QOR_NORM_C1MR(name, norm, T, rule) expectRule(QORTEST_NAMED(name), rule);
#define QOR_NORM_C3CMR QOR_NORM_C1MR
#define QOR_NORM_DIFF_C1MR QOR_NORM_C1MR
#define QOR_NORM_DIFF_C3CMR QOR_NORM_C1MR
#define QOR_NORM_REL_C1MR QOR_NORM_C1MR
#define QOR_NORM_REL_C3CMR QOR_NORM_C1MR
#include "../../src/arith/norm.def"
}

template <class Operation>
void expectFrom(const char* name, Operation* operation, int area) {
  setCase("%s", name);
  ThreadCount count(2);
  EXPECT_EQ(regionsOf(operation, {area - 1, 1}, 4), 0) << currentCase();
  EXPECT_EQ(regionsOf(operation, {area / 8, 8}, 4), 1) << currentCase();
}

TEST(Parallel, Extrema) {
#define QOR_MIN_MAX(name, T) expectFrom(QORTEST_NAMED(name), 0x4000);
#define QOR_MIN_MAX_CHANNEL QOR_MIN_MAX
#define QOR_MIN_MAX_MASKED QOR_MIN_MAX
#define QOR_MIN_MAX_CHANNEL_MASKED QOR_MIN_MAX
#include "../../src/arith/min_max.def"
}

TEST(Parallel, Accumulators) {
#define QOR_ACCUMULATE(name, T, Operation) expectFrom(QORTEST_NAMED(name), 0x40000);
#define QOR_ACCUMULATE_PRODUCT(name, T) expectFrom(QORTEST_NAMED(name), 0x40000);
#define QOR_ACCUMULATE_WEIGHTED(name, T) expectFrom(QORTEST_NAMED(name), 0x40000);
#define QOR_ACCUMULATE_MASKED(name, T, Operation, bytes) expectFrom(QORTEST_NAMED(name), 0x40000);
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, T, bytes) expectFrom(QORTEST_NAMED(name), 0x40000);
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, T, bytes) expectFrom(QORTEST_NAMED(name), 0x40000);
#include "../../src/arith/accumulate.def"
  ThreadCount count(2);
  EXPECT_EQ(regionsOf(qoriAddWeighted_32f_C1R, {512, 1024}, 4), 0);
}

}  // namespace
