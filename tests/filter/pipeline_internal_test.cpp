// What the pipelines keep to themselves: overlapping rows, columns of bytes; and the ends of rows under all six rules.
#include "filter/column_pipeline.h"
#include "frame/row_ends.h"
#include "qorcv/filter.h"
#include "support/outside.h"
#include "support/stand_in.h"
#include "support/support.h"

namespace {
using namespace qortest;

// The one member that accepts steps below the bytes of its rows: the later row stands.
TEST(Pipeline, OverlappingRowsAreMadeInOrder) {
  constexpr QoriSize size{1 << 13, 8};
  const std::vector<Qor16s> samples(3 * size.width);
  const std::vector<const Qor16s*> rows(10, samples.data());
  std::vector<Qor16s> dst(10 * size.width);
  const Qor16s taps[3] = {};
  const ThreadCount count(2);
  StandIn core;
  core.cores = 4;
  std::vector<Qor8u> scratch(4 << 20);
  EXPECT_EQ(
      qoriFilterColumnPipeline_Low_16s_C3R(rows.data(), dst.data(), 2 * size.width, size, taps, 3, 1, scratch.data()),
      qorStsNoErr);
  EXPECT_EQ(core.regions, 0);
}

// Columns of rows of bytes by integers, against the floats of the exported operation.
TEST(Pipeline, ColumnsOfBytes) {
  sweep("filterByteColumns", {.heights = {1, 3}}, [](Case& c) {
    constexpr int lengths[] = {1, 2, 3, 3, 4, 5, 5, 6, 7, 8, 9, 11, 13, 15, 31};
    const int K = lengths[c.random.below(15)];
    constexpr int divisors[] = {1, 16, 256, 4096, 4096, 32768, 32768, 1000};
    const int divisor = divisors[c.random.below(8)];
    std::vector<Qor16s> kernel(static_cast<size_t>(K));
    for (Qor16s& tap : kernel)
      tap = static_cast<Qor16s>(c.random.below(2 * divisor / K + 2) - (c.random.oneIn(3) ? divisor / K : 0));
    if (c.random.oneIn(2)) std::copy(kernel.begin(), kernel.begin() + K / 2, kernel.rbegin());
    appendCase(" K %d divisor %d", K, divisor);
    GuardedImage<Qor16s> src({c.size.width, c.size.height + K - 1}, {.gap = 3, .guard = c.guard});
    src.generate([&](int, int, int) { return static_cast<Qor16s>(c.random.oneIn(4) ? 255 : c.random.below(256)); });
    src.protect();
    std::vector<const Qor16s*> rows;
    for (int y = 0; y < src.size().height; ++y) rows.push_back(&src.at(0, y));
    const auto got = c.output<Qor8u>(), want = c.output<Qor8u>();
    const int bytes = static_cast<int>(qor::columnBytesNeeded<Qor16s>(K));
    const auto scratch = c.scratch(bytes);
    EXPECT_EQ(qor::filterByteColumns({rows.data(),
                                      {got.data(), got.step()},
                                      c.size.width,
                                      c.size.height,
                                      kernel.data(),
                                      K,
                                      divisor,
                                      scratch.data(),
                                      bytes}),
              qorStsNoErr);
    std::vector<Qor8u> room(1 << 16);
    EXPECT_EQ(qoriFilterColumnPipeline_16s8u_C1R(rows.data(), want.data(), want.step(), c.size, kernel.data(), K,
                                                 divisor, room.data()),
              qorStsNoErr);
    expectSame(got, want.pixels());
  });
}

template <int channels>
void testBorders() {
  Random random(baseSeed());
  const QoriBorderType rules[] = {qorBorderConst,  qorBorderRepl,    qorBorderWrap,
                                  qorBorderMirror, qorBorderMirrorR, qorBorderInMem};
  for (int number = 0; number < 6000; ++number) {
    const QoriBorderType rule = rules[number % 6];
    const int flags = random.oneIn(2) ? 0 : random.below(4) << 6 | random.below(4) << 4;
    const QoriBorderType border = rule | flags;
    const int K = random.between(1, 12), anchor = random.below(K), width = random.between(1, 20);
    setCase("border %d, width %d, K %d, anchor %d", border, width, K, anchor);
    const bool all = (border & 240) == 240, flagged = all || rule == qorBorderConst || rule == qorBorderRepl;
    const bool left = rule == qorBorderInMem || (flagged && (border & qorBorderInMemLeft) != 0);
    const bool right = rule == qorBorderInMem || (flagged && (border & qorBorderInMemRight) != 0);
    // A mirror beside flags repeats the edge.
    const int rereads = rule == qorBorderMirror && (border & 192) != 0 && !all ? qorBorderMirrorR : rule;
    GuardedImage<Qor16s> row({width, 1}, {.channels = channels,
                                          .guard = random.oneIn(2) ? Guard::After : Guard::Before,
                                          .margin = {left ? anchor : 0, 0, right ? K - 1 - anchor : 0, 0}});
    row.generate(Maker<Qor16s>(Data::Random, random.bits()));
    const Qor16s value[3] = {-7, 9, 1000};
    const auto wanted = [&](int x, int c) {
      if ((x >= 0 && x < width) || (x < 0 ? left : right)) return row.at(x, 0, c);
      const auto at = standIn(rereads, x, width);
      return at ? row.at(*at, 0, c) : value[c];
    };
    const GuardedBytes block(3 * (K - 1) * channels * 2);
    const auto* const staged = block.as<Qor16s>();
    const qor::Borders borders{.rules = 127, .refusal = qorStsBorderErr, .plainColumns = true, .turns = true};
    const ptrdiff_t spans = qor::copyEnds<channels>(block.as<Qor16s>(), row.data(),
                                                    borders.sides(border, {width, 1}).columns, K, anchor, value);
    int wrong = 0;
    for (int x = 0; x < width; ++x) {
      const int behind = x - std::max(anchor, width - (K - 1 - anchor));
      if (x >= anchor && behind < 0) continue;  // inside: read from the row itself
      const Qor16s* const span = x < anchor ? staged + x * channels : staged + spans + behind * channels;
      for (int i = 0; i < K * channels; ++i) wrong += span[i] != wanted(x - anchor + i / channels, i % channels);
    }
    ASSERT_EQ(wrong, 0) << currentCase();
  }
}

TEST(RowEnds, SixRulesAndFlags) {
  testBorders<1>();
  testBorders<3>();
}

}  // namespace
