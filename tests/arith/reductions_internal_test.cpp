// From which size on means and norms are shared among a team, on a machine of one core and of several.
#include "arith/reductions.h"
#include "qorcv/arith.h"
#include "support/stand_in.h"

namespace {
using namespace qortest;

template <class... A>
void expectRule(const char* name, QorStatus (*operation)(A...), TeamRule rule) {
  for (const int threads : {1, 3}) {
    const ThreadCount count(threads);
    for (const int cores : {1, 4}) {
      setCase("%s, %d threads, %d cores", name, threads, cores);
      const bool sooner = cores > 1 && rule.withCores != 0;
      const int shift = sooner ? rule.withCores : rule.alone;
      if (shift == 0) {
        EXPECT_EQ(regionsOf(operation, {2048, 1024}, cores), 0) << currentCase();
        continue;
      }
      const int pixels = threads << shift;
      EXPECT_EQ(regionsOf(operation, {pixels - 1, 1}, cores), 0) << currentCase();
      EXPECT_EQ(regionsOf(operation, {pixels / 64, 64}, cores), 1) << currentCase();
    }
  }
}

TEST(Reductions, Means) {
#define QOR_MEAN_C1MR(name, T, rule) expectRule(QORTEST_NAMED(name), meanRule<T>(false, true, false));
#define QOR_MEAN_C3CMR(name, T, rule) expectRule(QORTEST_NAMED(name), meanRule<T>(false, true, true));
#define QOR_STD_DEV_C1R(name, T, rule) expectRule(QORTEST_NAMED(name), meanRule<T>(true, false, false));
#define QOR_STD_DEV_C3CR(name, T, rule) expectRule(QORTEST_NAMED(name), meanRule<T>(true, false, true));
#define QOR_STD_DEV_C1MR(name, T, rule) expectRule(QORTEST_NAMED(name), meanRule<T>(true, true, false));
#define QOR_STD_DEV_C3CMR(name, T, rule) expectRule(QORTEST_NAMED(name), meanRule<T>(true, true, true));
#include "../../src/arith/mean.def"
}

TEST(Reductions, Norms) {
#define QOR_NORM_C1MR(name, kind, T, rule) expectRule(QORTEST_NAMED(name), normRule<T>(Norm, kind, false));
#define QOR_NORM_C3CMR(name, kind, T, rule) expectRule(QORTEST_NAMED(name), normRule<T>(Norm, kind, true));
#define QOR_NORM_DIFF_C1MR(name, kind, T, rule) expectRule(QORTEST_NAMED(name), normRule<T>(NormDiff, kind, false));
#define QOR_NORM_DIFF_C3CMR(name, kind, T, rule) expectRule(QORTEST_NAMED(name), normRule<T>(NormDiff, kind, true));
#define QOR_NORM_REL_C1MR(name, kind, T, rule) expectRule(QORTEST_NAMED(name), normRule<T>(NormRel, kind, false));
#define QOR_NORM_REL_C3CMR(name, kind, T, rule) expectRule(QORTEST_NAMED(name), normRule<T>(NormRel, kind, true));
#include "../../src/arith/norm.def"
}

}  // namespace
