#include <array>

#include "filter/pipeline_reference.h"
#include "qorcv/filter.h"

namespace {
using namespace qortest;

// Small sizes around the blocks of 4, 8 and 16, and around the row whose inside has 15 columns more than none; sizes
// that go parallel for two threads, on two rows for three, and for 33.
const Sweep sizes{.widths = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 15, 16,  17,
                             18, 19, 20, 21, 22, 23, 24, 31, 33, 40, 47, 64, 65, 97, 131, 337},
                  .heights = {1, 2, 3, 4},
                  .thresholds = {{256, 256}, {49160, 2}},
                  .crowded = {{2049, 530}}};

// Kernels of every path: 3 and 5 taps, longer ones, the same on both sides or not, small or of the whole range, with
// lowest taps in any place, so many that 32-bit sums wrap, with absolute sums on both sides of 65535; divisors with
// exact and inexact reciprocals.
template <class Tap>
void drawKernel(Call& call) {
  Case& c = call.c;
  constexpr int lengths[] = {1, 2, 3, 3, 3, 4, 5, 5, 5, 6, 7, 8, 9, 11, 15, 23, 31, 300};
  const bool large = c.size.width * c.size.height > 0x4000;
  const int K = lengths[c.random.below(large ? 9 : 18)];
  PipelineKernel<Tap> kernel;
  kernel.anchor = c.random.oneIn(2) ? K / 2 : c.random.below(K);
  constexpr int divisors[] = {1, 1, 2, 3, 4, 7, 16, 16, 16, 100, 255, 4096, 32768, 65535, 100000, INT_MAX};
  kernel.divisor = divisors[c.random.below(16)];
  if (std::is_signed_v<Tap> && c.random.oneIn(4)) kernel.divisor = c.random.oneIn(8) ? INT_MIN : -kernel.divisor;
  const int kind = c.random.below(8), marked = call.pick({0, K - 1, c.random.below(K)});
  for (int i = 0; i < K; ++i) {
    if constexpr (std::is_floating_point_v<Tap>) {
      kernel.taps.push_back(static_cast<Tap>(c.random.unit() - 0.25));
    } else {
      const int wide = static_cast<int>(c.random.bits() & 0xffff), small = c.random.between(0, 12);
      const int below = std::is_signed_v<Tap> && c.random.oneIn(2) ? -small : small;
      const int sum = K > 1 ? (65534 + c.random.below(2)) / K : 32767;  // near the limit of exact sums
      const int lowest = (kind == 5) == (i == marked) ? 0x8000 : below;
      const int tap = kind == 0 ? wide : kind == 1 ? sum : kind == 5 || kind == 6 ? lowest : below;
      kernel.taps.push_back(static_cast<Tap>(tap));
    }
  }
  if (kind == 1) kernel.taps.back() = static_cast<Tap>(kernel.taps.back() + c.random.below(5));
  if (kind == 4) {
    std::copy(kernel.taps.begin(), kernel.taps.begin() + K / 2, kernel.taps.rbegin());
    if (c.random.oneIn(2)) kernel.divisor = 16;
  }
  appendCase(" K %d anchor %d divisor %d kind %d", K, kernel.anchor, kernel.divisor, kind);
  call.array('k', kernel.taps);
  call.set('K', K);
  if (call.has('a')) call.set('a', kernel.anchor);
  if (call.has('n')) call.set('n', kernel.divisor);
}

// 32768 pixels a thread; with 3 and 5 taps some members go parallel on several cores alone.
enum class Shared { Never, OnCores, Always };
auto teamRule(Shared shared) {
  return [=](const Arguments& a, int threads, int cores) {
    const bool isShort = a.number('K') == 3 || a.number('K') == 5;
    const bool isWorth = shared == Shared::Always || (shared == Shared::OnCores && (cores > 1 || !isShort));
    return isWorth && int64_t{a.size().width} * a.size().height >= threads << 15 ? threads : 0;
  };
}
const std::vector<QoriSize> teamSizes{{32767, 1}, {4096, 8}, {65535, 1}, {65536, 1}, {98303, 1}, {12288, 8}};

void anchorCheck(DescribedContract& c, int) {
  c.start('a', 0);
  const int K = c.now.number('K');
  c.refuse('a', qorStsAnchorErr, [&c](int a) { return a < 0 || (c.now.number('K') > 0 && a >= c.now.number('K')); },
           {-1, K, INT_MIN, INT_MAX});
}

template <class T, class Tap, class D>
void addRows(Descriptions& d, const char* name, auto* operation, auto* query, Pipeline member, Shared shared) {
  const bool isFloat = member == Pipeline::Floats;
  const std::string divisor = isFloat                        ? ""
                              : member == Pipeline::Unsigned ? " | least n BadArgErr 1"
                                                             : " | not n BadArgErr 0";
  d.add(name, operation, isFloat ? "s.lzkKabvw" : "s.lzkKabvnw",
        {.checks =
             "null slkw | size | rows l | null v | least K SizeErr 1 | own | step | even | border b BadArgErr 0 0 1 6" +
             divisor,
         .values = {{'b', {qorBorderConst, qorBorderRepl, qorBorderRepl, qorBorderInMem}}},
         .draw = drawKernel<Tap>,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's' && a.number('b') == qorBorderInMem)
                 s.margin = {a.number('a'), 0, a.number('K') - 1 - a.number('a'), 0};
             },
         .scratch = reported(query, 'K'),
         .expect =
             [=](Call& c) {
               c.expect('l',
                        referenceRows<D>(member, c.before<T>('s'), kernelOf<Tap>(c), c.number('b'), c.borderValue<T>()),
                        Equal::Values);
             },
         .own = anchorCheck,
         .teamOf = teamRule(shared),
         .teamSizes = teamSizes,
         .sweep = sizes});
}

template <class T, class Tap, class D>
void addColumns(Descriptions& d, const char* name, auto* operation, auto* query, Pipeline member, Shared shared) {
  const bool isFloat = member == Pipeline::Floats;
  const int channels = strstr(name, "_C3") != nullptr ? 3 : 1;
  // Three channels of low precision ask for one channel's bytes.
  const std::string step = member == Pipeline::Low ? " | step d:2" : " | step d";
  d.add(name, operation, isFloat ? "ld.zkKw" : "ld.zkKnw",
        {.checks = "null ldk | size | rows l | least K SizeErr 1" + step + " | even | null w" +
                   (isFloat ? "" : " | not n BadArgErr 0"),
         .values = {},
         .draw = drawKernel<Tap>,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 'l') s.height += int64_t{a.number('K')} - 1;
             },
         .scratch = reported(query, 'K'),
         .expect =
             [=](Call& c) {
               c.expect('d', referenceColumns<D>(member, c.rows<T>(), c.size(), channels, kernelOf<Tap>(c)),
                        Equal::Values);
             },
         .teamOf = teamRule(shared),
         .teamSizes = teamSizes,
         .sweep = sizes});
}

const Descriptions members([](Descriptions& d) {
  using enum Shared;
  struct Kind {
    Pipeline member;
    Shared shared;
  };
  constexpr Kind RowOfBytes{Pipeline::Bytes, Always}, RowOfSigned{Pipeline::Signed, Always},
      RowOfUnsigned{Pipeline::Unsigned, Never}, RowOfLow{Pipeline::Low, Always},
      ColumnOfSigned{Pipeline::Signed, OnCores}, ColumnOfUnsigned{Pipeline::Unsigned, Never},
      ColumnOfLow{Pipeline::Low, OnCores};
#define QOR_ROW_PIPELINE_C1(name, query, T, Tap, D, kind) \
  addRows<T, Tap, D>(d, QORTEST_NAMED(name), query, kind.member, kind.shared);
#define QOR_ROW_PIPELINE_C3 QOR_ROW_PIPELINE_C1
#define QOR_ROW_PIPELINE_32F_C1(name, query) \
  addRows<Qor32f, Qor32f, Qor32f>(d, QORTEST_NAMED(name), query, Pipeline::Floats, OnCores);
#define QOR_ROW_PIPELINE_32F_C3(name, query) \
  addRows<Qor32f, Qor32f, Qor32f>(d, QORTEST_NAMED(name), query, Pipeline::Floats, Always);
#include "../../src/filter/row_pipeline.def"
#define QOR_COLUMN_PIPELINE(name, query, T, Tap, D, channels, kind) \
  addColumns<T, Tap, D>(d, QORTEST_NAMED(name), query, kind.member, kind.shared);
#define QOR_COLUMN_PIPELINE_32F(name, query, channels) \
  addColumns<Qor32f, Qor32f, Qor32f>(d, QORTEST_NAMED(name), query, Pipeline::Floats, Never);
#include "../../src/filter/column_pipeline.def"
});

// ---- sizes of the scratch, from their formulas: T threads, W columns, K taps
using Formula = std::function<int64_t(int64_t T, int64_t W, int64_t K)>;

Formula linear(int64_t perTap, int64_t fixed) {
  return [=](int64_t T, int64_t, int64_t K) { return T * (perTap * K + fixed); };
}
Formula columns(int64_t perColumn, int64_t multiple) {
  return
      [=](int64_t T, int64_t W, int64_t) { return T * (perColumn * ((W + multiple - 1) / multiple * multiple) + 32); };
}

const Descriptions queries([](Descriptions& d) {
  const auto add = [&](const char* name, auto* query, const Formula& piece, bool threads = true, int64_t extra = 0) {
    d.add(name, query, "zKr",
          {.checks = "null | size | least K SizeErr 1",
           .values = {{'K', {1, 5, 31, INT_MAX}}},
           .expect =
               [=](Call& c) {
                 const int64_t T = c.c.threads, W = c.size().width, H = c.size().height, K = c.number('K');
                 const int64_t lists = threads ? T * (32 + 8 * (H + K) + extra) : 0;
                 c.expectResult(1, static_cast<int>(lists + piece(T, W, K)));
               },
           .sweep = {.widths = {1, 641, 0x10003, INT_MAX}, .heights = {1, 3, 479, 0x7fff}}});
  };
#define ROW(tag) QORTEST_NAMED(qoriFilterRowBorderPipelineGetBufferSize_##tag)
  add(ROW(8u16s_C1R), linear(36, 112));
  add(ROW(8u16s_C3R), linear(60, 112));
  add(ROW(16s_C1R), linear(48, 80));
  add(ROW(16s_C3R), linear(40, 64));
  add(ROW(32f_C1R), linear(64, 64), true, 16);
  add(ROW(32f_C3R), linear(192, 64));
  add(ROW(Low_16s_C1R), linear(24, 64));
  add(ROW(Low_16s_C3R), linear(208, 64));
  add(
      ROW(16u_C1R), [](int64_t, int64_t, int64_t K) { return 48 * K + 80; }, false);
  add(
      ROW(16u_C3R), [](int64_t, int64_t, int64_t K) { return 112 * K + 80; }, false);

  const auto taps = [](int64_t, int64_t, int64_t K) { return 16 * K + 32; };
#define COLUMN(tag) QORTEST_NAMED(qoriFilterColumnPipelineGetBufferSize_##tag)
  add(COLUMN(16s_C1R), columns(12, 4));
  add(COLUMN(16s8u_C1R), columns(12, 4));
  add(COLUMN(16s8s_C1R), columns(12, 4));
  add(COLUMN(16s_C3R), columns(36, 4));
  add(COLUMN(16s8u_C3R), columns(36, 4));
  add(COLUMN(16s8s_C3R), columns(36, 4));
  add(COLUMN(Low_16s_C1R), columns(12, 8));
  add(COLUMN(Low_16s_C3R), columns(36, 8));
  add(COLUMN(16u_C1R), taps, false);
  add(COLUMN(32f_C1R), taps, false);
  add(COLUMN(32f_C3R), taps, false);
  add(
      COLUMN(16u_C3R), [](int64_t, int64_t W, int64_t) { return 36 * ((3 * W + 3) / 4 * 4) + 32; }, false);
});

// Reports that have wrapped: as many threads as have room, against a guard page; and where none has, nothing is
// touched.
TEST(Pipeline, StaysWithinTheReport) {
  const ThreadCount most(1024);
  const auto reported = [](auto* query, QoriSize size, int K) {
    int bytes = -1;
    EXPECT_EQ(query(size, K, &bytes), qorStsNoErr);
    return bytes;
  };
  {
    constexpr QoriSize size{65, 524232};
    const std::vector<Qor16s> taps{1, -2, 3, 4, 3, 2, 1};
    GuardedImage<Qor8u> src(size);
    src.generate(Maker<Qor8u>(Data::Random, baseSeed()));
    const auto run = [&](int bytes) {
      GuardedImage<Qor16s> dst(size);
      std::vector<Qor16s*> rows;
      for (int y = 0; y < size.height; ++y) rows.push_back(&dst.at(0, y));
      const GuardedBytes scratch(bytes, 1);
      EXPECT_EQ(qoriFilterRowBorderPipeline_8u16s_C1R(src.data(), src.step(), rows.data(), size, taps.data(), 7, 3,
                                                      qorBorderRepl, 0, 16, scratch.data()),
                qorStsNoErr);
      return dst;
    };
    const int bytes = reported(qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R, size, 7);
    EXPECT_EQ(bytes, 4096);
    const auto got = run(bytes);
    const ThreadCount one(1);
    expectSame(got, run(4096).pixels());
  }
  const std::vector<Qor16s> taps(95322), samples(349512);
  Qor16s row[40];
  Qor16s* const rows[] = {row};
  EXPECT_EQ(reported(qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R, {40, 1}, 95322), 16384);
  EXPECT_EQ(qoriFilterRowBorderPipeline_8u16s_C1R(noAccess<Qor8u>(), 40, rows, {40, 1}, taps.data(), 95322, 5, 1, 0, 1,
                                                  noAccess<Qor8u>()),
            qorStsSizeErr);
  const std::vector<const Qor16s*> eleven(11, samples.data());
  EXPECT_EQ(reported(qoriFilterColumnPipelineGetBufferSize_16s_C1R, {349512, 1}, 11), 0);
  EXPECT_EQ(qoriFilterColumnPipeline_16s_C1R(eleven.data(), noAccess<Qor16s>(), INT_MAX - 1, {349512, 1}, taps.data(),
                                             11, 1, noAccess<Qor8u>()),
            qorStsSizeErr);
}

// Sums that are a tie when they have been divided.
TEST(Pipeline, RoundTiesToEven) {
  for (const char* name : {"qoriFilterRowBorderPipeline_8u16s_C1R", "qoriFilterColumnPipeline_16s8u_C1R"}) {
    const auto draw = [](Call& c) {
      c.array('k', std::vector<Qor16s>{64, 64, 0});
      c.set('K', 3), c.set('n', 256);
      if (c.has('a')) c.set('a', 1), c.set('b', qorBorderRepl);
    };
    const auto fill = [](Call& c) {
      if (c.has('s')) c.image<Qor8u>('s').generate([](int, int, int) { return Qor8u{255}; });
      if (c.has('d')) c.image<Qor16s>('l').generate([](int, int, int) { return Qor16s{255}; });
    };
    runOwn(name, {70, 3}, {draw, fill});
  }
}

// Results that can be checked on paper.
TEST(Pipeline, RoundsInsideAndTruncatesAtTheEdges) {
  const Qor8u src[] = {1, 1, 1, 1, 1};
  Qor16s dst[5], *rows[] = {dst};
  Qor16s taps[] = {1, 1, 1};
  std::vector<Qor8u> scratch(8192);
  EXPECT_EQ(
      qoriFilterRowBorderPipeline_8u16s_C1R(src, 5, rows, {5, 1}, taps, 3, 1, qorBorderRepl, 0, 2, scratch.data()), 0);
  EXPECT_EQ(std::vector<Qor16s>(dst, dst + 5), (std::vector<Qor16s>{1, 2, 2, 2, 1}));
  // 131070 / 4 lies half a step above the top of 16 bits.
  const Qor16s peaks[] = {-32768, 32767, -32768, 32767, -32768};
  const Qor16s edge[] = {-1, 2, -1};
  EXPECT_EQ(
      qoriFilterRowBorderPipeline_16s_C1R(peaks, 10, rows, {5, 1}, edge, 3, 1, qorBorderRepl, 0, 4, scratch.data()), 0);
  EXPECT_EQ(std::vector<Qor16s>(dst + 1, dst + 4), (std::vector<Qor16s>{32767, -32768, 32767}));
  // A sum of 60000 wraps inside and has 32 bits at the edge.
  const Qor16s words[] = {200, 200, 200};
  for (Qor16s& tap : taps) tap = 100;
  EXPECT_EQ(
      qoriFilterRowBorderPipeline_Low_16s_C1R(words, 6, rows, {3, 1}, taps, 3, 1, qorBorderRepl, 0, 2, scratch.data()),
      0);
  EXPECT_EQ(std::vector<Qor16s>(dst, dst + 3), (std::vector<Qor16s>{30000, -2768, 30000}));
}

}  // namespace
