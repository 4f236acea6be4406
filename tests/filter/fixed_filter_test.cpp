#include <functional>

#include "filter/fixed_filters.h"

namespace {
using namespace qortest;

// A call in one form for all members, whatever arguments they lack.
template <class S, class D>
struct Call {
  const S* src;
  int srcStep;
  D* dst;
  int dstStep;
  QoriSize size;
  int maskSize, border;
  S borderValue;
  int divisor;
  Qor8u* buffer;
};

// Members without a mask argument are small, those with 8s results have a divisor.
template <bool isSmall, class F, class S, class D>
QorStatus invoke(F* f, const Call<S, D>& c) {
  const auto with = [&](auto... mask) {
    if constexpr (std::is_same_v<D, Qor8s>) {
      return f(c.src, c.srcStep, c.dst, c.dstStep, c.size, mask..., c.border, c.borderValue, c.divisor, c.buffer);
    } else {
      return f(c.src, c.srcStep, c.dst, c.dstStep, c.size, mask..., c.border, c.borderValue, c.buffer);
    }
  };
  if constexpr (isSmall) {
    return with();
  } else {
    return with(c.maskSize);
  }
}
template <bool isSmall, class F>
QorStatus ask(F* f, QoriSize size, [[maybe_unused]] int maskSize, int* bytes) {
  if constexpr (isSmall) {
    return f(size, bytes);
  } else {
    return f(size, maskSize, bytes);
  }
}

template <class S, class D>
struct Member {
  const char *name, *stem;
  const Filter& filter;
  std::function<QorStatus(const Call<S, D>&)> call;
  std::function<QorStatus(QoriSize, int, int*)> query;
  bool threeByThreeOnly;

  int bufferSize(QoriSize size, int maskSize) const {
    int bytes = 0;
    EXPECT_EQ(query(size, maskSize, &bytes), qorStsNoErr) << currentCase();
    return bytes;
  }
};

#define MEMBER(S, D, name, size, F, small)                                          \
  Member<S, D>{#name,                                                               \
               "qoriFilter" #F "Border_",                                           \
               filters::F,                                                          \
               [](const Call<S, D>& c) { return invoke<small>(name, c); },          \
               [](QoriSize s, int m, int* b) { return ask<small>(size, s, m, b); }, \
               small},
const Member<Qor8u, Qor16s> to16s[] = {
#define QOR_FIXED_8U16S(name, size, F, extra) MEMBER(Qor8u, Qor16s, name, size, F, false)
#define QOR_SCHARR_8U16S(name, size, F, extra) MEMBER(Qor8u, Qor16s, name, size, F, true)
#include "../../src/filter/fixed_filter.def"
};
#undef QOR_FIXED_8U16S
#undef QOR_SCHARR_8U16S
const Member<Qor8u, Qor8s> to8s[] = {
#define QOR_FIXED_8U8S(name, size, F, extra) MEMBER(Qor8u, Qor8s, name, size, F, false)
#define QOR_SCHARR_8U8S(name, size, F, extra) MEMBER(Qor8u, Qor8s, name, size, F, true)
#include "../../src/filter/fixed_filter.def"
};
#undef QOR_FIXED_8U8S
#undef QOR_SCHARR_8U8S
const Member<Qor32f, Qor32f> to32f[] = {
#define QOR_FIXED_32F(name, size, F, extra) MEMBER(Qor32f, Qor32f, name, size, F, false)
#define QOR_SCHARR_32F(name, size, F, extra) MEMBER(Qor32f, Qor32f, name, size, F, true)
#include "../../src/filter/fixed_filter.def"
    MEMBER(Qor32f, Qor32f, qoriFilterLowpassBorder_32f_C1R, qoriFilterLowpassGetBufferSize_32f_C1R, Lowpass, false)};
#undef QOR_FIXED_32F
#undef QOR_SCHARR_32F
const Member<Qor8u, Qor8u> to8u[] = {
    MEMBER(Qor8u, Qor8u, qoriFilterLowpassBorder_8u_C1R, qoriFilterLowpassGetBufferSize_8u_C1R, Lowpass, false)};

template <class Test>
void forAllMembers(Test test) {
  for (const auto& m : to16s) test(m);
  for (const auto& m : to8s) test(m);
  for (const auto& m : to32f) test(m);
  for (const auto& m : to8u) test(m);
}

template <class S, class D>
Image<D> reference(const Member<S, D>& m, const GuardedImage<S>& src, const Call<S, D>& c) {
  const int K = c.maskSize / 11, width = c.size.width;
  const auto sums = FilterSums<S>(src, K, c.border, c.borderValue).of(m.filter);
  Image<D> want(c.size);
  for (size_t i = 0; i < sums.size(); ++i) {
    const auto sum = sums[i];
    const int column = static_cast<int>(i) % width;
    if constexpr (std::is_same_v<D, Qor8s>) {
      const bool cut = (m.filter.isLaplacian && K == 5) || column >= width / 4 * 4;
      const float quotient =
          std::clamp(static_cast<float>(sum) * (1.0F / static_cast<float>(c.divisor)), -128.F, 127.F);
      want.samples[i] = static_cast<D>(cut ? truncf(quotient) : nearbyintf(quotient));
    } else if constexpr (std::is_same_v<D, Qor8u>) {
      want.samples[i] = static_cast<D>(K == 3 ? ((sum + 5) * 7280) >> 16 : (sum * 2621) >> 16);
    } else if (std::is_same_v<D, Qor32f> && &m.filter == &filters::Lowpass) {
      want.samples[i] = static_cast<D>(sum * static_cast<decltype(sum)>(K == 3 ? 0.11111111F : 0.04F));
    } else {
      want.samples[i] = static_cast<D>(sum);
    }
  }
  return want;
}

// Powers of two in half of the cases, and all signs and sizes.
int drawDivisor(Random& random) {
  constexpr int others[] = {3, 5, 6, 7, 10, 12, 100, 1000, INT_MAX, INT_MIN, -1, -2, -8};
  return random.oneIn(2) ? 1 << random.below(random.oneIn(4) ? 31 : 9) : others[random.below(13)];
}

// Margins exactly where memory around the region is read.
Margin marginOf(int border, int reach) {
  const Sides in = memorySides(border);
  return {in.left ? reach : 0, in.top ? reach : 0, in.right ? reach : 0, in.bottom ? reach : 0};
}

template <class S, class D>
void testMember(const Member<S, D>& m, int maskSize) {
  static const std::vector<int> borders = allBorders();
  // Every width to 40, and around four and eight blocks; a size that is shared, with all thread counts.
  Sweep options{.widths = {63, 64, 65, 79, 127, 130}, .heights = {1, 2, 3, 4, 5, 9, 26}};
  for (int width = 1; width <= 40; ++width) options.widths.push_back(width);
  options.thresholds = {{259, std::is_same_v<D, Qor8s> && m.filter.isLaplacian ? 70 : 258}};
  sweep(m.name, options, [&](Case& c) {
    // Scratch grows with the square of the count; only large sizes are shared.
    const ThreadCount count(c.size.width < 256 ? std::min(c.threads, 3) : c.threads);
    const int border = borders[static_cast<size_t>(c.random.below(static_cast<int>(borders.size())))];
    const int divisor = drawDivisor(c.random);
    appendCase(", mask %d, border %d, divisor %d", maskSize, border, divisor);
    auto src = c.image<S>(1, marginOf(border, maskSize / 22));
    auto dst = c.output<D>();
    const auto buffer = c.scratch(m.bufferSize(c.size, maskSize));
    const Call<S, D> call{src.data(), src.step(),   dst.data(), dst.step(),
                          c.size,     maskSize,     border,     static_cast<S>(c.random.below(256)),
                          divisor,    buffer.data()};
    const Image<D> want = reference(m, src, call);
    src.protect();
    EXPECT_EQ(m.call(call), qorStsNoErr);
    expectSame(dst, want);
  });
}

// The reported size in 32 bits, written from its formula.
template <class S, class D>
int reportedSize(const Member<S, D>& m, QoriSize size, int maskSize, int T) {
  constexpr bool ofFloats = std::is_same_v<S, Qor32f>;
  const uint32_t K = static_cast<uint32_t>(maskSize / 11), t = static_cast<uint32_t>(T);
  const uint32_t W = static_cast<uint32_t>(size.width), H = static_cast<uint32_t>(size.height);
  const uint32_t wide = (W + 15) & ~15U, planes = m.filter.isLaplacian ? 2 : 1, R = K == 3 ? 21 : 25;
  const bool small = std::is_same_v<D, Qor8s> || (ofFloats && &m.filter == &filters::Lowpass) ||
                     (std::is_same_v<D, Qor16s> && &m.filter == &filters::ScharrHoriz);
  const uint32_t extra = m.filter.isLaplacian ? 576 : small ? 304 : 368;
  uint32_t B = (ofFloats ? 4 : 2) * wide * R * planes + (K == 3 ? 72 : 120) * planes + extra;
  if (std::is_same_v<D, Qor8s> && m.filter.isLaplacian && K == 5) B += 2 * wide * H + 32;
  const uint32_t lists = 32 * t + 8 * t * (H + K);
  const uint32_t along = lists + t * (ofFloats ? 64 * K + 64 : 36 * K + 112) + (ofFloats ? 16 * t : 0);
  const uint32_t down = ofFloats ? 16 * K + 32 : lists + t * (12 * ((W + 3) & ~3U) + 32);
  return static_cast<int>(t * (B + along + down + 32));
}

TEST(FixedFilter, ReportsItsScratch) {
  forAllMembers([](const auto& m) {
    EXPECT_EQ(std::string(m.name).find(m.stem), 0U) << m.name;
    for (const int threads : threadCounts) {
      const ThreadCount count(threads);
      for (const QoriSize size : {QoriSize{1, 1}, {16, 3}, {641, 479}, {50000, 3}, {3, 200000}, {INT_MAX, INT_MAX}}) {
        for (const int maskSize : {33, 55}) {
          setCase("%s %dx%d, mask %d, %d threads", m.name, size.width, size.height, maskSize, threads);
          const int mask = m.threeByThreeOnly ? 33 : maskSize;
          EXPECT_EQ(m.bufferSize(size, mask), reportedSize(m, size, mask, threads)) << currentCase();
        }
      }
    }
  });
}

template <class S, class D, bool isSmall, class F>
void testContract(const char* name, F* operation) {
  constexpr bool isDivided = std::is_same_v<D, Qor8s>;
  constexpr At<0> src;
  constexpr At<1> srcStep;
  constexpr At<2> dst;
  constexpr At<3> dstStep;
  constexpr At<4> roi;
  constexpr At<6 - isSmall> border;
  constexpr At<7 - isSmall> value;
  constexpr At<8 - isSmall + isDivided> buffer;
  Contract c(name, operation);
  c.null(src, dst, buffer);
  c.size(roi);
  c.step(sizeof(S), srcStep);
  c.step(sizeof(D), dstStep);
  c.even(sizeof(S), srcStep);
  c.even(sizeof(D), dstStep);
  const auto isRefused = [&] {
    const int rule = c[border] & 15;
    return rule == 5 || rule > 6 || c[border] < 0 || c[border] > 255;
  };
  const auto of = [&](int refused) { return [&c, border, refused] { c[border] = refused; }; };
  c.check("border", qorStsBadArgErr, isRefused, of(5), of(7), of(240 | 15), of(256), of(0x10001), of(-1));
  for (const int border_ : {0, 1, 2, 3, 4, 6 | 240, 16 | 1, 128 | 3}) c.any(border, border_);
  c.any(value, 0, 255);
  if constexpr (isDivided) {
    constexpr At<8 - isSmall> divisor;
    c.check(
        "divisor", qorStsBadArgErr, [&] { return c[divisor] == 0; }, [&] { c[divisor] = 0; });
    c.any(divisor, 1, -1, INT_MIN);
  }
  if constexpr (!isSmall) c.oneOf(At<5>(), qorStsMaskSizeErr, 33, 55);
  c.run();
}

template <bool isSmall, class F>
void testQueryContract(const char* name, F* query) {
  Contract c(name, query);
  c.null(At<2 - isSmall>());
  c.size(At<0>());
  if constexpr (!isSmall) c.oneOf(At<1>(), qorStsMaskSizeErr, 33, 55);
  c.run();
}

TEST(FixedFilter, RefusesBadArguments) {
#define CONTRACTS(S, D, small, name, size)   \
  testContract<S, D, small>(#name, &(name)); \
  testQueryContract<small>(#size, &(size));
#define QOR_FIXED_8U8S(name, size, F, extra) CONTRACTS(Qor8u, Qor8s, false, name, size)
#define QOR_FIXED_8U16S(name, size, F, extra) CONTRACTS(Qor8u, Qor16s, false, name, size)
#define QOR_FIXED_32F(name, size, F, extra) CONTRACTS(Qor32f, Qor32f, false, name, size)
#define QOR_SCHARR_8U8S(name, size, F, extra) CONTRACTS(Qor8u, Qor8s, true, name, size)
#define QOR_SCHARR_8U16S(name, size, F, extra) CONTRACTS(Qor8u, Qor16s, true, name, size)
#define QOR_SCHARR_32F(name, size, F, extra) CONTRACTS(Qor32f, Qor32f, true, name, size)
#include "../../src/filter/fixed_filter.def"
  CONTRACTS(Qor8u, Qor8u, false, qoriFilterLowpassBorder_8u_C1R, qoriFilterLowpassGetBufferSize_8u_C1R)
  CONTRACTS(Qor32f, Qor32f, false, qoriFilterLowpassBorder_32f_C1R, qoriFilterLowpassGetBufferSize_32f_C1R)
}

// Cut into tiles whose inner sides are in memory, an image gives the same result as at once. Quotients know where a
// tile ends, so 8s is left out.
template <class S, class D>
void testTiles(const Member<S, D>& m, int maskSize, int border) {
  const QoriSize size{70, 41};
  Case c(size);
  setCase("%s, mask %d, border %d", m.name, maskSize, border);
  auto src = c.image<S>();
  auto whole = c.output<D>(), tiled = c.output<D>();
  const auto buffer = c.scratch(m.bufferSize(size, maskSize));
  Call<S, D> call{src.data(), src.step(), whole.data(), whole.step(), size, maskSize, border, 99, 1, buffer.data()};
  EXPECT_EQ(m.call(call), qorStsNoErr);
  const int columns[] = {0, 2, 19, 51, 70}, rows[] = {0, 3, 20, 39, 41};
  for (int j = 0; j < 4; ++j) {
    for (int i = 0; i < 4; ++i) {
      call.src = &src.at(columns[i], rows[j]);
      call.dst = &tiled.at(columns[i], rows[j]);
      call.dstStep = tiled.step();
      call.size = {columns[i + 1] - columns[i], rows[j + 1] - rows[j]};
      call.border = border | (i > 0 ? qorBorderInMemLeft : 0) | (i < 3 ? qorBorderInMemRight : 0) |
                    (j > 0 ? qorBorderInMemTop : 0) | (j < 3 ? qorBorderInMemBottom : 0);
      EXPECT_EQ(m.call(call), qorStsNoErr);
    }
  }
  expectSame(tiled, whole.pixels());
}

TEST(FixedFilter, TilesMakeTheWhole) {
  forAllMembers([]<class S, class D>(const Member<S, D>& m) {
    if (std::is_same_v<D, Qor8s>) return;
    for (const int border : {qorBorderConst, qorBorderRepl}) {
      testTiles(m, 33, border);
      if (!m.threeByThreeOnly) testTiles(m, 55, border);
    }
  });
}

TEST(FixedFilter, MeansInPlace) {
  const auto& m = to32f[7];
  ASSERT_EQ(&m.filter, &filters::Lowpass);
  const ThreadCount one(1);
  for (const int maskSize : {33, 55}) {
    for (const QoriSize size : {QoriSize{1, 1}, {5, 2}, {17, 3}, {70, 41}}) {
      setCase("%s %dx%d, mask %d", m.name, size.width, size.height, maskSize);
      Case c(size);
      auto image = c.image<Qor32f>();
      const auto buffer = c.scratch(m.bufferSize(size, maskSize));
      const Call<Qor32f, Qor32f> call{
          image.data(), image.step(), image.data(), image.step(), size, maskSize, qorBorderRepl, 0, 1, buffer.data()};
      const Image<Qor32f> want = reference(m, image, call);
      EXPECT_EQ(m.call(call), qorStsNoErr);
      expectSame(image, want);
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

template <class T>
void testKernels(const char* name, QorStatus (*generate)(T*, int, int, int), int longest) {
  for (int K = 1; K <= longest; K += 2) {
    for (int dx = 0; dx < K; ++dx) {
      setCase("%s %d taps, dx %d", name, K, dx);
      // The product of the polynomials 1 + z and -1 + z, coefficient by coefficient.
      std::vector<int64_t> want{1};
      for (int factor = 0; factor < K - 1; ++factor) {
        std::vector<int64_t> product(want.size() + 1);
        for (size_t i = 0; i < want.size(); ++i) {
          product[i] += factor < dx ? -want[i] : want[i];
          product[i + 1] += want[i];
        }
        want = product;
      }
      for (const int sign : {1, 0, -1, INT_MIN}) {
        const GuardedBytes taps(K * static_cast<int>(sizeof(T)));
        EXPECT_EQ(generate(taps.as<T>(), K, dx, sign), qorStsNoErr);
        for (int i = 0; i < K; ++i) {
          const int64_t tap = sign < 0 ? -want[static_cast<size_t>(i)] : want[static_cast<size_t>(i)];
          EXPECT_EQ(taps.as<T>()[i], static_cast<T>(tap)) << currentCase();
        }
      }
    }
  }
  Contract c(name, generate);
  QORTEST_ARGUMENTS(c, pDst, kernelSize, dx, sign);
  c.null(pDst);
  c.check(
      "sizes", qorStsSizeErr,
      [&] { return c[kernelSize] < 1 || c[kernelSize] % 2 == 0 || c[dx] < 0 || c[dx] >= c[kernelSize]; },
      [&] { c[kernelSize] = 0; }, [&] { c[kernelSize] = -3; }, [&] { c[kernelSize] = 4; }, [&] { c[dx] = -1; },
      [&] { c[dx] = 5; });
  c.set(kernelSize, 5);
  c.set(dx, 4);
  c.any(sign, -1, 0, 1);
  c.run();
}

// 16s taps wrap beyond 17 taps; floats are exact up to 25.
TEST(GenSobelKernel, FoldsPairs) {
  testKernels(QORTEST_NAMED(qoriGenSobelKernel_16s), 31);
  testKernels(QORTEST_NAMED(qoriGenSobelKernel_32f), 25);
}

TEST(FixedFilter, EqualsItsDefinition) {
  forAllMembers([](const auto& m) {
    testMember(m, qorMskSize3x3);
    if (!m.threeByThreeOnly) testMember(m, qorMskSize5x5);
  });
}

}  // namespace
