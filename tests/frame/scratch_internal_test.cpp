// Layouts of scratch: what is counted is what the worst address takes.
#include "frame/scratch.h"

#include <algorithm>

#include "support/support.h"

namespace {
using namespace qortest;

TEST(ScratchParts, CountWhatTheWorstAddressTakes) {
  Random random(baseSeed());
  for (int i = 0; i < 500; ++i) {
    struct Part {
      int64_t bytes;
      uintptr_t alignment;
    } parts[5];
    for (Part& p : parts) p = {random.between(0, 70), uintptr_t{1} << random.below(7)};
    const auto lay = [&](qor::ScratchParts& taken) {
      Qor8u* end = nullptr;
      for (const Part& p : parts) end = taken.take<Qor8u>(p.bytes, p.alignment) + p.bytes;
      return end;
    };
    const int64_t counted = qor::bytesOf([&](qor::ScratchParts& taken) {
      for (const Part& p : parts) taken.take<Qor8u>(p.bytes, p.alignment);
    });
    const GuardedBytes block(1024);
    int64_t most = 0;
    for (int at = 0; at < 64; ++at) {
      Qor8u* const first = qor::alignUp<Qor8u>(block.data(), 64) + at;
      qor::ScratchParts taken(first, counted, counted);
      most = std::max<int64_t>(most, lay(taken) - first);
    }
    EXPECT_EQ(most, counted);
  }
}

TEST(ReportedSize, IsStatedNeededOrWrapped) {
  EXPECT_EQ(qor::reportedSize(1000, 3, 7), 3000);
  EXPECT_EQ(qor::reportedSize(0x40000000, 2, 7), 7);
  EXPECT_EQ(qor::reportedSize(0x40000000, 2, 0x80000000), INT_MIN);
  EXPECT_EQ(qor::reportedSize(~uint64_t{0}, 2, 0x80000000), -2);
  const auto bytes = [](int team) { return 10 + int64_t{100} * team; };
  EXPECT_EQ(qor::teamWithin(310, 8, bytes), 3);
  EXPECT_EQ(qor::teamWithin(310, 2, bytes), 2);
  EXPECT_EQ(qor::teamWithin(109, 8, bytes), 0);
}

}  // namespace
