// When the pipelines go parallel, on both sides of every member's threshold; and the borders of rows under all six
// rules.
#include "filter/border_row.h"
#include "filter/column_pipeline.h"
#include "qorcv/filter.h"
#include "support/stand_in.h"
#include "support/support.h"

namespace {
using namespace qortest;

enum class Rule { Always, OnManyCores, Never };

// Regions of one call: call(size, kernelSize) makes it.
template <class Call>
void expectRegions(const char* name, Rule rule, Call call) {
  ThreadCount count(2);
  constexpr int area = 2 << 15;
  struct Trial {
    QoriSize size;
    int kernelSize, cores;
  };
  for (const Trial& t : {Trial{{area - 1, 1}, 3, 4}, {{area, 1}, 3, 4}, {{area / 8, 8}, 5, 1}, {{area / 8, 8}, 7, 1}}) {
    setCase("%s %dx%d K %d cores %d", name, t.size.width, t.size.height, t.kernelSize, t.cores);
    const bool large = t.size.width * t.size.height >= area;
    const bool cores = t.cores > 1 || t.kernelSize == 7;
    StandIn core;
    core.cores = t.cores;
    EXPECT_EQ(call(t.size, t.kernelSize), qorStsNoErr);
    EXPECT_EQ(core.regions, large && (rule == Rule::Always || (rule == Rule::OnManyCores && cores)) ? 1 : 0)
        << currentCase();
  }
}

// Room for every row, tap and scratch of the trials, all zeros but for the rows' addresses.
struct Memory {
  std::vector<Qor32f> samples = std::vector<Qor32f>(3 * 65536);
  std::vector<Qor8u> scratch = std::vector<Qor8u>(4 << 20);
  std::vector<void*> rows = std::vector<void*>(64, samples.data());
};

TEST(Pipeline, RowsGoParallel) {
  Memory m;
  constexpr Rule RowOfBytes = Rule::Always, RowOfSigned = Rule::Always, RowOfUnsigned = Rule::Never,
                 RowOfLow = Rule::Always;
#define CALL_ROWS(name, T, Tap, D, rule, ...)                                                                        \
  expectRegions(#name, rule, [&](QoriSize size, int K) {                                                             \
    return name(reinterpret_cast<const T*>(m.samples.data()), 12 * size.width,                                       \
                reinterpret_cast<D* const*>(m.rows.data()), size, reinterpret_cast<const Tap*>(m.samples.data()), K, \
                0, qorBorderRepl, __VA_ARGS__, m.scratch.data());                                                    \
  });
#define QOR_ROW_PIPELINE_C1(name, sizeName, T, Tap, D, Arithmetic) CALL_ROWS(name, T, Tap, D, Arithmetic, 0, 1)
#define QOR_ROW_PIPELINE_C3(name, sizeName, T, Tap, D, Arithmetic) \
  CALL_ROWS(name, T, Tap, D, Arithmetic, reinterpret_cast<const T*>(m.samples.data()), 1)
#define QOR_ROW_PIPELINE_32F_C1(name, sizeName) CALL_ROWS(name, Qor32f, Qor32f, Qor32f, Rule::OnManyCores, 0)
#define QOR_ROW_PIPELINE_32F_C3(name, sizeName) CALL_ROWS(name, Qor32f, Qor32f, Qor32f, Rule::Always, m.samples.data())
#include "../../src/filter/row_pipeline.def"
}

TEST(Pipeline, ColumnsGoParallel) {
  Memory m;
  std::vector<Qor32f> dst(3 * 65536);
  constexpr Rule ColumnOfSigned = Rule::OnManyCores, ColumnOfUnsigned = Rule::Never, ColumnOfLow = Rule::OnManyCores;
#define CALL_COLUMNS(name, T, Tap, D, rule, ...)                                                                     \
  expectRegions(#name, rule, [&](QoriSize size, int K) {                                                             \
    return name(reinterpret_cast<const T* const*>(m.rows.data()), reinterpret_cast<D*>(dst.data()), 12 * size.width, \
                size, reinterpret_cast<const Tap*>(m.samples.data()), K, __VA_ARGS__);                               \
  });
#define QOR_COLUMN_PIPELINE(name, sizeName, T, Tap, D, channels, Arithmetic) \
  CALL_COLUMNS(name, T, Tap, D, Arithmetic, 1, m.scratch.data())
#define QOR_COLUMN_PIPELINE_32F(name, sizeName, channels) \
  CALL_COLUMNS(name, Qor32f, Qor32f, Qor32f, Rule::Never, m.scratch.data())
#include "../../src/filter/column_pipeline.def"
}

// The one member that accepts steps below the bytes of its rows: the later row stands.
TEST(Pipeline, OverlappingRowsAreMadeInOrder) {
  Memory m;
  std::vector<Qor16s> dst(3 * 65536);
  const ThreadCount count(2);
  StandIn core;
  core.cores = 4;
  constexpr QoriSize size{1 << 13, 8};
  EXPECT_EQ(qoriFilterColumnPipeline_Low_16s_C3R(
                reinterpret_cast<const Qor16s* const*>(m.rows.data()), dst.data(), 2 * size.width, size,
                reinterpret_cast<const Qor16s*>(m.samples.data()), 3, 1, m.scratch.data()),
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
    const auto scratch = c.scratch(4 * K + 16);
    qor::filterByteColumns(rows.data(), got.data(), got.step(), c.size.width, c.size.height, kernel.data(), K, divisor,
                           scratch.data());
    std::vector<Qor8u> room(1 << 16);
    EXPECT_EQ(qoriFilterColumnPipeline_16s8u_C1R(rows.data(), want.data(), want.step(), c.size, kernel.data(), K,
                                                 divisor, room.data()),
              qorStsNoErr);
    expectSame(got, want.pixels());
  });
}

// The column that stands for one outside the row: walked there step by step, turning at the ends.
int walked(QoriBorderType border, int x, int width) {
  const bool repeats = border != qorBorderMirror || width == 1;
  int at = x < 0 ? 0 : width - 1, direction = x < 0 ? 1 : -1;
  for (int steps = (x < 0 ? -1 - x : x - width) + (repeats ? 0 : 1); steps > 0; --steps) {
    if (at + direction < 0 || at + direction >= width) {
      direction = -direction;
      if (repeats) continue;
    }
    at += direction;
  }
  return at;
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
    const bool flagged = rule == qorBorderConst || rule == qorBorderRepl;
    const bool left = rule == qorBorderInMem || (flagged && (border & qorBorderInMemLeft) != 0);
    const bool right = rule == qorBorderInMem || (flagged && (border & qorBorderInMemRight) != 0);
    GuardedImage<Qor16s> row({width, 1}, {.channels = channels,
                                          .guard = random.oneIn(2) ? Guard::After : Guard::Before,
                                          .margin = {left ? anchor : 0, 0, right ? K - 1 - anchor : 0, 0}});
    row.generate(Maker<Qor16s>(Data::Random, random.bits()));
    const Qor16s value[3] = {-7, 9, 1000};
    const auto wanted = [&](int x, int c) {
      if (x >= 0 && x < width) return row.at(x, 0, c);
      if (x < 0 ? left : right) return row.at(x, 0, c);
      if (rule == qorBorderConst) return value[c];
      if (rule == qorBorderRepl) return row.at(x < 0 ? 0 : width - 1, 0, c);
      if (rule == qorBorderWrap) return row.at(((x % width) + width) % width, 0, c);
      return row.at(walked(border, x, width), 0, c);
    };
    const GuardedBytes block(3 * (K - 1) * channels * 2);
    const auto* const staged = block.as<Qor16s>();
    const ptrdiff_t spans = qor::fillBorder<channels>(block.as<Qor16s>(), row.data(), width, K, anchor, border, value);
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

TEST(BorderRow, SixRulesAndFlags) {
  testBorders<1>();
  testBorders<3>();
}

}  // namespace
