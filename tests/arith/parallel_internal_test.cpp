// When extrema and accumulators go parallel: on both sides of every member's threshold.
#include "qorcv/arith.h"
#include "support/stand_in.h"
#include "support/support.h"

namespace {
using namespace qortest;

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
