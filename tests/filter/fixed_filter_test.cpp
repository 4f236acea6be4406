#include "filter/fixed_filters.h"

namespace {
using namespace qortest;

// Members without a mask argument are those of 3 by 3.
int maskOf(const Arguments& a) { return a.has('k') ? a.number('k') : int{qorMskSize3x3}; }

template <class S, class D>
void expectFiltered(Call& c, const Filter& filter) {
  const Image<S>& src = c.before<S>('s');
  const int K = maskOf(c) / 11, width = src.size.width;
  const auto sums = FilterSums<S>(src, K, c.number('b'), c.at<S>('v')).of(filter);
  Image<D> want(src.size);
  for (size_t i = 0; i < sums.size(); ++i) {
    const auto sum = sums[i];
    if constexpr (std::is_same_v<D, Qor8s>) {
      const bool cut = (filter.isLaplacian && K == 5) || static_cast<int>(i) % width >= width / 4 * 4;
      const float quotient =
          std::clamp(static_cast<float>(sum) * (1.0F / static_cast<float>(c.number('n'))), -128.F, 127.F);
      want.samples[i] = static_cast<D>(cut ? truncf(quotient) : nearbyintf(quotient));
    } else if constexpr (std::is_same_v<D, Qor8u>) {
      want.samples[i] = static_cast<D>(K == 3 ? ((sum + 5) * 7280) >> 16 : (sum * 2621) >> 16);
    } else if (std::is_same_v<D, Qor32f> && &filter == &filters::Lowpass) {
      want.samples[i] = static_cast<D>(sum * static_cast<decltype(sum)>(K == 3 ? 0.11111111F : 0.04F));
    } else {
      want.samples[i] = static_cast<D>(sum);
    }
  }
  c.expect('d', want, Equal::Values);
}

// The stated size, which may be beyond 64 bits, where that fits 31 bits, and modulo 2^32 where a few rows are beyond
// them too; in between what a few rows for each thread need.
template <class S, class D>
void expectReported(Call& c, const Filter& filter) {
  using Wide = unsigned __int128;
  constexpr bool ofFloats = std::is_same_v<S, Qor32f>;
  const auto K = static_cast<Wide>(maskOf(c) / 11), T = static_cast<Wide>(c.c.threads);
  const auto W = static_cast<Wide>(c.size().width), H = static_cast<Wide>(c.size().height);
  const Wide wide = (W + 15) / 16 * 16, planes = filter.isLaplacian ? 2 : 1, R = K == 3 ? 21 : 25;
  const bool small = std::is_same_v<D, Qor8s> || (ofFloats && &filter == &filters::Lowpass) ||
                     (std::is_same_v<D, Qor16s> && &filter == &filters::ScharrHoriz);
  const Wide extra = filter.isLaplacian ? 576 : small ? 304 : 368;
  Wide B = (ofFloats ? 4 : 2) * wide * R * planes + (K == 3 ? 72 : 120) * planes + extra;
  if (std::is_same_v<D, Qor8s> && filter.isLaplacian && K == 5) B += 2 * wide * H + 32;
  const Wide lists = 32 * T + 8 * T * (H + K);
  const Wide along = lists + T * (ofFloats ? 64 * K + 64 : 36 * K + 112) + (ofFloats ? 16 * T : 0);
  const Wide down = ofFloats ? 16 * K + 32 : lists + T * (12 * ((W + 3) / 4 * 4) + 32);
  const Wide stated = T * (B + along + down + 32);
  if (stated <= INT_MAX || W == INT_MAX) return c.expectResult(1, static_cast<int>(static_cast<uint32_t>(stated)));
  const int bytes = *c.at<int*>('r');
  EXPECT_TRUE(bytes >= 3 * c.size().width && bytes < 1 << 28) << bytes << "\n  case: " << currentCase();
}

// Powers of two, and all signs and sizes.
const std::vector<double> divisors{1, 2,  4,  8,   16,   64,  256,     1 << 20, 1 << 30, 3,  5, 6,
                                   7, 10, 12, 100, 1000, 128, INT_MAX, INT_MIN, -1,      -2, -8};
// Every width to 40, and around four and eight blocks; sizes that are shared, with all thread counts.
Sweep sizes(int sharedRows, bool crowded) {
  Sweep s{.widths = {63, 64, 65, 79, 127, 130},
          .heights = {1, 2, 3, 4, 5, 9, 26},
          .thresholds = {{259, sharedRows}},
          .crowded = crowded ? std::vector<QoriSize>{{257, 33 * sharedRows / 2 + 5}} : std::vector<QoriSize>{},
          .repeats = 2};
  for (int width = 1; width <= 40; ++width) s.widths.push_back(width);
  return s;
}

template <class S, class D, class Operation, class Query>
void add(Descriptions& d, const char* name, Operation* operation, const char* queryName, Query* query,
         const Filter& filter, bool isSmall = false) {
  constexpr bool isDivided = std::is_same_v<D, Qor8s>;
  const int rows = isDivided && filter.isLaplacian ? 32 : 128;
  const std::string k = isSmall ? "" : "k", masks = isSmall ? "" : " | one k MaskSizeErr";
  Traits t{
      .checks = std::string("null | size | step | even | border b BadArgErr 240 0 1 2 3 4 6") +
                (isDivided ? " | not n BadArgErr 0" : "") + masks,
      .values = {{'k', {33, 55}}, {'b', borders({0, 1, 2, 3, 4, 6}, 240)}, {'n', divisors}},
      .shape =
          [](const Arguments& a, char role, int, Shape& s) {
            if (role == 's') s.margin = marginOf(fixedSides(a.number('b')), maskOf(a) / 22);
          },
      .expect = [&filter](Call& c) { expectFiltered<S, D>(c, filter); },
      .teamOf = [rows](const Arguments& a, int threads,
                       int cores) { return fixedTeam(a.size(), rows, threads, cores); },
      .teamSizes = {{256, 2 * rows}, {255, 2 * rows}, {256, 2 * rows - 1}, {256, 260}, {256, 259}, {256, 5 * rows}},
      .sweep = sizes(2 * rows + 2, filter.isLaplacian || &filter == &filters::SobelVertSecond)};
  if constexpr (std::is_invocable_v<Query*, QoriSize, int*>) t.scratch = reported(query);
  if constexpr (std::is_invocable_v<Query*, QoriSize, int, int*>) t.scratch = reported(query, 'k');
  d.add(name, operation, ("s.d.z" + k + "bv" + (isDivided ? "nw" : "w")).c_str(), t);
  d.add(queryName, query, ("z" + k + "r").c_str(),
        {.checks = "null | size" + masks,
         .values = {{'k', {33, 55}}},
         .expect = [&filter](Call& c) { expectReported<S, D>(c, filter); },
         .sweep = {.widths = {1, 16, 641, 50000, INT_MAX}, .heights = {1, 3, 479, 200000, INT_MAX}, .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
#define ADD(S, D, name, size, ...) add<S, D>(d, QORTEST_NAMED(name), QORTEST_NAMED(size), __VA_ARGS__);
#define QOR_FIXED_8U8S(name, size, F, extra) ADD(Qor8u, Qor8s, name, size, filters::F)
#define QOR_FIXED_8U16S(name, size, F, extra) ADD(Qor8u, Qor16s, name, size, filters::F)
#define QOR_FIXED_32F(name, size, F, extra) ADD(Qor32f, Qor32f, name, size, filters::F)
#define QOR_SCHARR_8U8S(name, size, F, extra) ADD(Qor8u, Qor8s, name, size, filters::F, true)
#define QOR_SCHARR_8U16S(name, size, F, extra) ADD(Qor8u, Qor16s, name, size, filters::F, true)
#define QOR_SCHARR_32F(name, size, F, extra) ADD(Qor32f, Qor32f, name, size, filters::F, true)
#include "../../src/filter/fixed_filter.def"
  ADD(Qor8u, Qor8u, qoriFilterLowpassBorder_8u_C1R, qoriFilterLowpassGetBufferSize_8u_C1R, filters::Lowpass)
  ADD(Qor32f, Qor32f, qoriFilterLowpassBorder_32f_C1R, qoriFilterLowpassGetBufferSize_32f_C1R, filters::Lowpass)
});

// Teams whose stated scratch is beyond 31 bits keep to what is reported, against a guard page; and where no thread has
// room, nothing is touched.
TEST(FixedFilter, StaysWithinTheReport) {
  const auto expectWithin = [](auto* filter, auto* query, QoriSize size, int threads) {
    Case c(size);
    setCase("%dx%d, %d threads", size.width, size.height, threads);
    auto src = c.image<Qor8u>();
    auto want = c.output<Qor8s>(), got = c.output<Qor8s>();
    const auto run = [&](int count, const GuardedImage<Qor8s>& dst) {
      const ThreadCount set(count);
      int bytes = 0;
      EXPECT_EQ(query(size, 55, &bytes), qorStsNoErr);
      const auto buffer = c.scratch(bytes);
      EXPECT_EQ(filter(src.data(), src.step(), dst.data(), dst.step(), size, 55, 1, 0, 4, buffer.data()), qorStsNoErr);
    };
    run(1, want);
    run(threads, got);
    expectSame(got, want.pixels());
  };
  expectWithin(qoriFilterLaplacianBorder_8u8s_C1R, qoriFilterLaplacianGetBufferSize_8u8s_C1R, {8137, 4096}, 56);
  expectWithin(qoriFilterSobelHorizBorder_8u8s_C1R, qoriFilterSobelHorizGetBufferSize_8u8s_C1R, {4545, 600}, 256);
  EXPECT_EQ(qoriFilterSobelCrossBorder_8u16s_C1R(noAccess<Qor8u>(), INT_MAX, noAccess<Qor16s>(), INT_MAX - 1,
                                                 {INT_MAX / 2, 1}, 33, 1, 0, noAccess<Qor8u>()),
            qorStsSizeErr);
}

// In place, over images of which one part is made from rows that are still to be written.
TEST(FixedFilter, MeansInPlace) {
  for (const int mask : {33, 55}) {
    for (const QoriSize size : {QoriSize{1, 1}, {5, 2}, {17, 3}, {33, 9}, {70, 41}}) {
      for (uint64_t seed = 1; seed < 9; ++seed) {
        setCase("in place %dx%d, mask %d, seed %d", size.width, size.height, mask, static_cast<int>(seed));
        Case c(size, seed);
        const auto draw = [=](Call& call) { call.set('k', mask), call.set('b', qorBorderRepl); };
        const auto fill = [=](Call& call) {
          call.image<Qor32f>('s').generate(Maker<Qor32f>(Data::Random, seed));
          call.shareImage();
        };
        runCase(Descriptions::of("qoriFilterLowpassBorder_32f_C1R"), c, {draw, fill});
      }
    }
  }
}

// Figures that can be checked on paper.
TEST(FixedFilter, KnownValues) {
  GuardedImage<Qor8u> image({4, 3}), mean({4, 3});
  GuardedImage<Qor8s> edges({4, 3});
  const GuardedBytes buffer(1 << 16);
  image.generate([](int, int, int) { return Qor8u{255}; });
  const auto meanOf = [&](int maskSize) {
    EXPECT_EQ(qoriFilterLowpassBorder_8u_C1R(image.data(), image.step(), mean.data(), mean.step(), image.size(),
                                             maskSize, qorBorderRepl, 0, buffer.data()),
              qorStsNoErr);
    return int{mean.at(1, 1)};
  };
  EXPECT_EQ(meanOf(33), 255);
  EXPECT_EQ(meanOf(55), 254);
  // Above a black image the constant 200 makes 4 * 200 of every column. Beside it, the row below gathers one 200 in the
  // first column and in the last. By -10 that is 80 inside and (200 - 800) / -10 at the ends.
  image.generate([](int, int, int) { return Qor8u{0}; });
  EXPECT_EQ(qoriFilterSobelHorizBorder_8u8s_C1R(image.data(), image.step(), edges.data(), edges.step(), image.size(),
                                                33, qorBorderConst, 200, -10, buffer.data()),
            qorStsNoErr);
  for (int x = 0; x < 4; ++x) EXPECT_EQ(edges.at(x, 0), x == 1 || x == 2 ? 80 : 60);
}

// The product of dx polynomials -1 + z and K - 1 - dx of 1 + z, coefficient by coefficient.
template <class T>
void expectTaps(Call& c) {
  std::vector<int64_t> want{1};
  for (int factor = 0; factor < c.number('K') - 1; ++factor) {
    std::vector<int64_t> product(want.size() + 1);
    for (size_t i = 0; i < want.size(); ++i) {
      product[i] += factor < c.number('x') ? -want[i] : want[i];
      product[i + 1] += want[i];
    }
    want = product;
  }
  for (size_t i = 0; i < want.size(); ++i)
    EXPECT_EQ(c.at<T*>('r')[i], static_cast<T>(c.number('n') < 0 ? -want[i] : want[i])) << currentCase();
}

// 16s taps wrap beyond 17 taps; floats are exact up to 25.
const Descriptions kernels([](Descriptions& d) {
  const auto add = [&]<class T>(const char* name, QorStatus (*generate)(T*, int, int, int), int longest) {
    d.add(name, generate, "rKxn",
          {.checks = "null | own",
           .values = {{'n', {1, 0, -1, INT_MIN}}},
           .draw =
               [=](Call& c) {
                 const int K = 2 * c.c.random.below((longest + 1) / 2) + 1;
                 c.set('K', K), c.set('x', c.c.random.below(K));
                 appendCase(" K %d dx %d", K, c.number('x'));
               },
           .shape = [](const Arguments& a, char, int, Shape& s) { s.width = a.number('K'); },
           .expect = expectTaps<T>,
           .own =
               [](DescribedContract& c, int) {
                 c.start('K', 5), c.start('x', 4);
                 int &K = c.now.at<int>('K'), &dx = c.now.at<int>('x');
                 c.check(
                     "sizes", qorStsSizeErr, [&] { return K < 1 || K % 2 == 0 || dx < 0 || dx >= K; }, [&] { K = 0; },
                     [&] { K = -3; }, [&] { K = 4; }, [&] { dx = -1; }, [&] { dx = 5; });
               },
           .sweep = {.repeats = 4}});
  };
  add(QORTEST_NAMED(qoriGenSobelKernel_16s), 31);
  add(QORTEST_NAMED(qoriGenSobelKernel_32f), 25);
});

}  // namespace
