#include "support/sweep.h"

#include <algorithm>
#include <iterator>

namespace qortest {

// A gap of one sample alone shifts the alignment from row to row; a guarded end fixes the image's place to the byte, so
// the distance from the guard rotates on the other side, half of the time none.
Layout Case::layout(QoriSize itsSize, int channels, const Margin& margin) {
  constexpr int gaps[] = {0, 1, 3, 8, 37};
  Layout l;
  l.channels = channels;
  const int64_t row = int64_t{margin.left + itsSize.width + margin.right} * channels;
  l.gap = gaps[random.below(5)] + static_cast<int>(std::max<int64_t>(leastStep - row, 0));
  l.guard = guard;
  l.offset = guard == Guard::Before && random.oneIn(2) ? random.between(1, 31) : 0;
  l.margin = margin;
  return l;
}

GuardedImage<Qor8u> Case::mask(QoriSize itsSize, SourceLocation where) {
  const int kind = random.below(static_cast<int>(std::size(maskNames)));
  appendCase(" mask %s", maskNames[kind]);
  GuardedImage<Qor8u> made(itsSize, layout(itsSize, 1, {}), where);
  made.generate(MaskMaker(static_cast<Mask>(kind), random.bits()));
  if (bytes != nullptr && !random.oneIn(4)) repeatBytes(made);
  return made;
}

GuardedBytes Case::scratch(ptrdiff_t bytes, SourceLocation where) {
  const int offset = guard == Guard::Before ? random.between(0, 63) : 0;
  return GuardedBytes(bytes, offset, guard, where);
}

void sweep(const char* name, const Sweep& options, const std::function<void(Case&)>& body) {
  uint64_t seed = baseSeed();
  for (const char* p = name; *p != 0; ++p) seed = seed * 31 + static_cast<unsigned char>(*p);
  Random seeds(seed);
  int failing = 0;

  const auto runCase = [&](QoriSize size, Guard guard, int variant, int threads) {
    constexpr int enough = 4;
    if (failing >= enough) return;
    Case c(size, seeds.bits(), guard, options.finite);
    c.variant = variant % options.variants;
    c.threads = threads;
    setCase("%s %dx%d, variant %d, %d threads, guard %s, seed %llu, data", name, size.width, size.height, c.variant,
            threads, guard == Guard::After ? "after" : "before", static_cast<unsigned long long>(baseSeed()));
    SCOPED_TRACE(currentCase());
    const testing::TestResult* result = testing::UnitTest::GetInstance()->current_test_info()->result();
    const int before = result->total_part_count();
    {
      const ThreadCount count(threads);
      body(c);
    }
    failing += result->total_part_count() != before;
    if (failing == enough) ADD_FAILURE() << name << ": too many failing cases, the sweep ends here";
  };

  constexpr int counts = sizeof threadCounts / sizeof *threadCounts;
  // Consecutive cases take consecutive variants. With an even number of them the order of the guards turns round from
  // cycle to cycle, so that every variant meets both.
  int number = 0;
  const bool even = options.variants % 2 == 0;
  for (const int width : options.widths) {
    for (const int height : options.heights) {
      for (int i = 0; i < 2 * options.repeats; ++i) {
        const bool after = ((number + (even ? number / options.variants : 0)) & 1) == 0;
        runCase({width, height}, after ? Guard::After : Guard::Before, number, threadCounts[seeds.below(counts)]);
        ++number;
      }
    }
  }
  for (const QoriSize size : options.thresholds) {
    for (const int threads : threadCounts)
      runCase(size, seeds.oneIn(2) ? Guard::After : Guard::Before, number++, threads);
    ++number;
  }
  for (const QoriSize size : options.crowded) runCase(size, Guard::After, number++, 33);
}

}  // namespace qortest
