// Fuzzes every operation that is described: region, threads and data come from the input, all else from a seed in it.
// Results are compared with the family's reference, or with those of one thread; guard pages watch every buffer.
#include <fuzzer/FuzzedDataProvider.h>

#include "support/described.h"

namespace {
using namespace qortest;

// Small sizes mostly: one that goes parallel takes a thousand times as long.
QoriSize anySize(FuzzedDataProvider& in) {
  if (in.ConsumeIntegralInRange(0, 4095) == 4095) return {in.ConsumeIntegralInRange(510, 520), 514};
  return {in.ConsumeIntegralInRange(1, 150), in.ConsumeIntegralInRange(1, 12)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t count) {
  // A failure ends the run; the fuzzer keeps its input.
  GTEST_FLAG_SET(break_on_failure, true);
  FuzzedDataProvider in(data, count);
  const auto& all = Descriptions::all();
  const Description& d = *all[in.ConsumeIntegralInRange<size_t>(0, all.size() - 1)];
  const QoriSize size = anySize(in);
  const int threads = in.ConsumeIntegralInRange(1, 5), variant = in.ConsumeIntegralInRange(0, 2);
  const Guard guard = in.ConsumeBool() ? Guard::After : Guard::Before;
  Case c(size, in.ConsumeIntegral<uint64_t>(), guard, d.traits.sweep.finite);
  std::vector<uint8_t> bytes = in.ConsumeRemainingBytes<uint8_t>();
  bytes.resize(bytes.size() + 1);
  c.bytes = &bytes;
  c.variant = variant;
  c.threads = threads;
  const ThreadCount set(threads);
  setCase("%s %dx%d, variant %d, %d threads, data", d.operation.name, size.width, size.height, variant, threads);
  runCase(d, c);
  return 0;
}
