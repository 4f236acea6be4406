// Streaming stores at every width: the stand-in core answers the library's question for the cache.
#include "accumulate_cases.h"
#include "support/stand_in.h"

namespace {
using namespace accumulators;

template <class T, class Operation>
void sweepStreamed(const Member<T, Operation>& member, int bytes) {
  if (bytes == 0) return;
  StandIn core;
  // An unknown cache streams at every size.
  core.cacheSize = -1;
  sweepMember(member, {.thresholds = nextThreshold()});
  // Rows that just fill the cache, for one thread and for each of two, and rows that just do not.
  for (const int missing : {0, 1}) {
    core.cacheSize = 129 * 7 * bytes + missing;
    sweepMember(member, {.widths = {127, 128, 129}, .heights = {7}});
    core.cacheSize = 512 * 256 * bytes + missing;
    sweepMember(member, {.widths = {}, .heights = {}, .thresholds = {{512, 512}}});
  }
}

TEST(AccumulateInternal, StreamingStores) {
#define QOR_ACCUMULATE_MASKED(name, T, Operation, bytes) \
  sweepStreamed(masked<Operation, T>(QORTEST_NAMED(name)), bytes);
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, T, bytes) \
  sweepStreamed(masked<Blend, T, Qor32f>(QORTEST_NAMED(name)), bytes);
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, T, bytes) sweepStreamed(maskedProduct<T>(QORTEST_NAMED(name)), bytes);
#include "../../src/arith/accumulate.def"
}

}  // namespace
