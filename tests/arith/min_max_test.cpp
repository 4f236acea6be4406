#include <float.h>
#include <math.h>

#include <algorithm>
#include <type_traits>
#include <vector>

#include "qorcv/arith.h"
#include "support/support.h"

namespace {
using namespace qortest;

struct Results {
  Qor32f min, max;
  QoriPoint minAt, maxAt;
};

// The four results behind each other, the last one against a guard page.
class Output {
 public:
  Qor32f* min() const { return bytes_.as<Qor32f>(); }
  Qor32f* max() const { return min() + 1; }
  QoriPoint* minAt() const { return reinterpret_cast<QoriPoint*>(min() + 2); }
  QoriPoint* maxAt() const { return minAt() + 1; }
  Results results() const { return {*min(), *max(), *minAt(), *maxAt()}; }

 private:
  GuardedBytes bytes_{sizeof(Results)};
};

void expectResults(const Results& got, const Results& want) {
  EXPECT_TRUE(same(got.min, want.min, Equal::SignedZeros)) << got.min << ", want " << want.min << currentCase();
  EXPECT_TRUE(same(got.max, want.max, Equal::SignedZeros)) << got.max << ", want " << want.max << currentCase();
  EXPECT_TRUE(got.minAt.x == want.minAt.x && got.minAt.y == want.minAt.y)
      << "minimum at " << got.minAt.x << ", " << got.minAt.y << ", want " << want.minAt.x << ", " << want.minAt.y
      << currentCase();
  EXPECT_TRUE(got.maxAt.x == want.maxAt.x && got.maxAt.y == want.maxAt.y)
      << "maximum at " << got.maxAt.x << ", " << got.maxAt.y << ", want " << want.maxAt.x << ", " << want.maxAt.y
      << currentCase();
}

// Pixel by pixel in raster order: the first that is below (sign 1) or above (sign -1) all before it.
template <class T>
void find(const Image<T>& image, int channel, const Image<Qor8u>* mask, double sign, Qor32f& value, QoriPoint& at) {
  bool found = false;
  for (int y = 0; y < image.size.height; ++y)
    for (int x = 0; x < image.size.width; ++x) {
      const T sample = image.at(x, y, channel);
      if ((mask != nullptr && mask->at(x, y) == 0) || sample != sample) continue;
      if (found && !(sign * static_cast<double>(sample) < sign * static_cast<double>(value))) continue;
      found = true;
      value = static_cast<Qor32f>(sample);
      at = {x, y};
    }
  if (!found) value = 0, at = {0, 0};
  // Without a mask the search starts from a finite float, which then has its place in the first row.
  const double start = sign * static_cast<double>(FLT_MAX);
  if (!std::is_same_v<T, Qor32f> || mask != nullptr || (found && sign * static_cast<double>(value) < FLT_MAX)) return;
  value = static_cast<Qor32f>(start);
  at = {0, 0};
  for (int x = image.size.width - 1; x >= 0; --x)
    if (static_cast<double>(image.at(x, 0, channel)) == start) at.x = x;
}

template <class T>
Results reference(const Image<T>& image, int channel, const Image<Qor8u>* mask) {
  Results want{};
  find(image, channel, mask, 1, want.min, want.minAt);
  find(image, channel, mask, -1, want.max, want.maxAt);
  return want;
}

// The samples of one image are drawn from a few of these: nothing but infinities, nothing but NaNs, zeros of both
// signs.
void drawSpecials(Random& random, GuardedImage<Qor32f>& image) {
  constexpr Qor32f all[] = {NAN, -NAN, INFINITY, -INFINITY, FLT_MAX, -FLT_MAX, 0.0F, -0.0F};
  Qor32f some[3];
  for (Qor32f& s : some) s = all[random.below(8)];
  const int count = random.between(1, 3);
  image.generate([&](int, int, int) { return some[random.below(count)]; });
}

template <class T>
using Plain = QorStatus (*)(const T*, int, QoriSize, Qor32f*, Qor32f*, QoriPoint*, QoriPoint*);
template <class T>
using Channel = QorStatus (*)(const T*, int, QoriSize, int, Qor32f*, Qor32f*, QoriPoint*, QoriPoint*);
template <class T>
using Masked = QorStatus (*)(const T*, int, const Qor8u*, int, QoriSize, Qor32f*, Qor32f*, QoriPoint*, QoriPoint*);
template <class T>
using ChannelMasked = QorStatus (*)(const T*, int, const Qor8u*, int, QoriSize, int, Qor32f*, Qor32f*, QoriPoint*,
                                    QoriPoint*);

// call(src, mask, size, coi, output)
template <class T, class Call>
void sweepMember(const char* name, int channels, bool masked, Call call) {
  const Sweep options{.thresholds = {{127, 129}, {128, 128}, {8192, 2}, {1, 16384}, {3, 5462}},
                      .variants = std::is_same_v<T, Qor32f> ? 2 : 1};
  sweep(name, options, [&](Case& c) {
    auto src = c.image<T>(channels);
    auto mask = c.mask();
    if constexpr (std::is_same_v<T, Qor32f>)
      if (c.variant == 1) drawSpecials(c.random, src);
    const int coi = c.random.between(1, channels);
    appendCase(", coi %d", coi);
    src.protect(), mask.protect();
    const Output output;
    EXPECT_EQ(call(src, mask, c.size, coi, output), qorStsNoErr);
    const Image<Qor8u> maskPixels = mask.pixels();
    expectResults(output.results(), reference(src.pixels(), coi - 1, masked ? &maskPixels : nullptr));
  });
}

template <class T>
void test(const char* name, Plain<T> operation) {
  sweepMember<T>(name, 1, false, [=](auto& src, auto&, QoriSize size, int, const Output& o) {
    return operation(src.data(), src.step(), size, o.min(), o.max(), o.minAt(), o.maxAt());
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, roi, pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.null(pSrc);
  contract.size(roi);
  contract.step(sizeof(T), srcStep);
  contract.even(sizeof(T), srcStep);
  contract.optional(pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.run();
}

template <class T>
void test(const char* name, Channel<T> operation) {
  sweepMember<T>(name, 3, false, [=](auto& src, auto&, QoriSize size, int coi, const Output& o) {
    return operation(src.data(), src.step(), size, coi, o.min(), o.max(), o.minAt(), o.maxAt());
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, roi, coi, pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.null(pSrc);
  contract.size(roi);
  contract.step(3 * sizeof(T), srcStep);
  contract.even(sizeof(T), srcStep);
  contract.oneOf(coi, qorStsCOIErr, 1, 2, 3);
  contract.optional(pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.run();
}

template <class T>
void test(const char* name, Masked<T> operation) {
  sweepMember<T>(name, 1, true, [=](auto& src, auto& mask, QoriSize size, int, const Output& o) {
    return operation(src.data(), src.step(), mask.data(), mask.step(), size, o.min(), o.max(), o.minAt(), o.maxAt());
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pMask, maskStep, roi, pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.null(pSrc, pMask);
  contract.size(roi);
  contract.step(sizeof(T), srcStep);
  contract.even(sizeof(T), srcStep);
  contract.step(sizeof(Qor8u), maskStep);
  contract.optional(pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.run();
}

template <class T>
void test(const char* name, ChannelMasked<T> operation) {
  sweepMember<T>(name, 3, true, [=](auto& src, auto& mask, QoriSize size, int coi, const Output& o) {
    return operation(src.data(), src.step(), mask.data(), mask.step(), size, coi, o.min(), o.max(), o.minAt(),
                     o.maxAt());
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pMask, maskStep, roi, coi, pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.null(pSrc, pMask);
  contract.size(roi);
  contract.step(3 * sizeof(T), srcStep);
  contract.even(sizeof(T), srcStep);
  contract.step(sizeof(Qor8u), maskStep);
  contract.oneOf(coi, qorStsCOIErr, 1, 2, 3);
  contract.optional(pMinVal, pMaxVal, pMinIndex, pMaxIndex);
  contract.run();
}

TEST(MinMaxIndx, OneChannel) {
#define QOR_MIN_MAX(name, T) test<T>(#name, name);
#include "../../src/arith/min_max.def"
#undef QOR_MIN_MAX
}

TEST(MinMaxIndx, ChannelOfInterest) {
#define QOR_MIN_MAX_CHANNEL(name, T) test<T>(#name, name);
#include "../../src/arith/min_max.def"
#undef QOR_MIN_MAX_CHANNEL
}

TEST(MinMaxIndx, UnderMask) {
#define QOR_MIN_MAX_MASKED(name, T) test<T>(#name, name);
#include "../../src/arith/min_max.def"
#undef QOR_MIN_MAX_MASKED
}

TEST(MinMaxIndx, ChannelOfInterestUnderMask) {
#define QOR_MIN_MAX_CHANNEL_MASKED(name, T) test<T>(#name, name);
#include "../../src/arith/min_max.def"
#undef QOR_MIN_MAX_CHANNEL_MASKED
}

// Equal extremes in every pair of bands: the upper one wins, and in one row the left one, whatever the team.
TEST(MinMaxIndx, TiesAcrossBands) {
  constexpr QoriSize size{128, 140};
  for (const int threads : threadCounts) {
    const ThreadCount count(threads);
    Random random(baseSeed());
    for (int i = 0; i < 40; ++i) {
      GuardedImage<Qor8u> src(size);
      src.generate([](int, int, int) { return Qor8u{100}; });
      const int x = random.between(0, 126), y = random.between(1, 138);
      const QoriPoint later{random.below(128), random.between(y + 1, 139)}, right{random.between(x + 1, 127), y};
      for (const QoriPoint p : {QoriPoint{x, y}, later, right}) src.at(p.x, p.y) = i % 2 == 0 ? 7 : 200;
      setCase("%d threads, first at %d, %d, again at %d, %d and %d, %d", threads, x, y, later.x, later.y, right.x,
              right.y);
      const Output o;
      EXPECT_EQ(qoriMinMaxIndx_8u_C1R(src.data(), src.step(), size, o.min(), o.max(), o.minAt(), o.maxAt()), 0);
      const QoriPoint first{x, y}, corner{0, 0};
      expectResults(o.results(), i % 2 == 0 ? Results{7, 100, first, corner} : Results{100, 200, corner, first});
    }
  }
}

// Every set of null results: the others are stored.
TEST(MinMaxIndx, OptionalResults) {
  GuardedImage<Qor16u> src({40, 9});
  src.generate(Maker<Qor16u>(Data::Random, baseSeed()));
  GuardedImage<Qor8u> mask({40, 9}), nothing({40, 9});
  mask.generate(MaskMaker(Mask::Half, baseSeed()));
  nothing.generate(MaskMaker(Mask::Zero, 0));
  const Image<Qor8u> maskPixels = mask.pixels(), nothingPixels = nothing.pixels();
  for (int kept = 0; kept < 16; ++kept) {
    for (const auto& [m, pixels] : {std::pair(&mask, &maskPixels), std::pair(&nothing, &nothingPixels)}) {
      setCase("results %d, %s mask", kept, m == &mask ? "half" : "empty");
      const Results want = reference(src.pixels(), 0, pixels), untouched{-1, -2, {-3, -4}, {-5, -6}};
      Results got = untouched;
      EXPECT_EQ(qoriMinMaxIndx_16u_C1MR(src.data(), src.step(), m->data(), m->step(), src.size(),
                                        kept & 1 ? &got.min : nullptr, kept & 2 ? &got.max : nullptr,
                                        kept & 4 ? &got.minAt : nullptr, kept & 8 ? &got.maxAt : nullptr),
                0);
      expectResults(got, {kept & 1 ? want.min : untouched.min, kept & 2 ? want.max : untouched.max,
                          kept & 4 ? want.minAt : untouched.minAt, kept & 8 ? want.maxAt : untouched.maxAt});
    }
  }
}

}  // namespace
