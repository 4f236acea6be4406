// The test support must see the faults that it is there for: each is planted in an operation of this file.
#include <emmintrin.h>
#include <gtest/gtest-spi.h>
#include <math.h>

#include <array>
#include <set>
#include <string>

#include "qorcore.h"
#include "support/support.h"

namespace {
using namespace qortest;

// All failures reported by an action, as one text.
template <class F>
std::string failuresOf(F action) {
  testing::TestPartResultArray results;
  {
    testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
    action();
  }
  std::string text;
  for (int i = 0; i < results.size(); ++i) text += results.GetTestPartResult(i).message();
  return text;
}

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

enum class Fault {
  None,
  ReadPastEnd,
  ReadBeforeStart,
  WriteIntoGap,
  WriteBeforeStart,
  WriteToSource,
  AlignedStore,
  RedoneTail,
  BandsWithoutRemainder,
  NoLastColumn
};

// dst = 255 - src. Not instrumented, so that the canaries have to find what the address sanitizer would.
template <Fault fault>
[[gnu::no_sanitize("address", "undefined")]] void invertRow(const Qor8u* src, Qor8u* dst, int width) {
  [[maybe_unused]] volatile Qor8u sink = 0;
  if (fault == Fault::ReadPastEnd) sink = src[width];
  if (fault == Fault::ReadBeforeStart) sink = src[-1];
  if (fault == Fault::WriteIntoGap) dst[width] = sink;
  if (fault == Fault::WriteBeforeStart) dst[-1] = sink;
  if (fault == Fault::WriteToSource) const_cast<Qor8u*>(src)[width / 2] = 1;
  const auto vector = [&](int x) {
    const __m128i v = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + x)), _mm_set1_epi8(-1));
    __m128i* to = reinterpret_cast<__m128i*>(dst + x);
    if (fault == Fault::AlignedStore)
      _mm_store_si128(to, v);
    else
      _mm_storeu_si128(to, v);
  };
  int x = 0;
  for (; x + 16 <= width; x += 16) vector(x);
  if (fault == Fault::RedoneTail && width > 16 && x < width) return vector(width - 16);
  for (; x < width - (fault == Fault::NoLastColumn); ++x) dst[x] = static_cast<Qor8u>(255 - src[x]);
}

template <Fault fault>
QorStatus invert(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roi) {
  const int bands = fault == Fault::BandsWithoutRemainder && roi.height > 1 ? ownGetNumThreads() : 1;
  for (int y = 0; y < roi.height / bands * bands; ++y)
    invertRow<fault>(pSrc + ptrdiff_t{y} * srcStep, pDst + ptrdiff_t{y} * dstStep, roi.width);
  return qorStsNoErr;
}

template <Fault fault>
void invertCase(Case& c, Layout output) {
  auto src = c.image<Qor8u>();
  GuardedImage<Qor8u> fresh(c.size, output);
  auto& dst = c.variant == 0 ? fresh : src;
  Image<Qor8u> want = src.pixels();
  for (Qor8u& v : want.samples) v = static_cast<Qor8u>(255 - v);
  protectSources(dst, src);
  EXPECT_EQ(invert<fault>(src.data(), src.step(), dst.data(), dst.step(), c.size), qorStsNoErr);
  expectSame(dst, want);
}

// With room around the output, so that canaries and not pages have to find a stray write.
template <Fault fault>
void sweepInvert() {
  sweep("invert", {.widths = {16, 17, 33}, .thresholds = {{64, 64}}, .variants = 2},
        [](Case& c) { invertCase<fault>(c, {.gap = 5, .offset = 16}); });
}

TEST(Support, PassesAnOperationWithoutFault) { sweepInvert<Fault::None>(); }

TEST(SupportDeathTest, SeesAccessesBeyondTheImage) {
  EXPECT_DEATH(sweepInvert<Fault::ReadPastEnd>(), "SeesAccessesBeyond.*case: invert 16x1, .*seed: QORCV_TEST_SEED");
  EXPECT_DEATH(sweepInvert<Fault::ReadBeforeStart>(), "case: invert .*guard before");
  EXPECT_DEATH(sweepInvert<Fault::WriteToSource>(), "case: invert ");
  const auto direct = [](Guard guard, auto faulty) {
    Case c({17, 1}, 1, guard);
    faulty(c, Layout{.guard = guard});
  };
  EXPECT_DEATH(direct(Guard::After, invertCase<Fault::WriteIntoGap>), "crashed in test");
  EXPECT_DEATH(direct(Guard::Before, invertCase<Fault::WriteBeforeStart>), "crashed in test");
}

TEST(SupportDeathTest, SeesAnAlignedStoreToAnOddAddress) {
  EXPECT_DEATH(sweepInvert<Fault::AlignedStore>(), "case: invert ");
}

#ifdef __SANITIZE_ADDRESS__
TEST(SupportDeathTest, SeesReadsOfGaps) {
  GuardedImage<Qor8u> image({16, 2}, {.gap = 8});
  volatile int x = 16;
  EXPECT_DEATH(x = image.data()[x], "use-after-poison");
}
#endif

TEST(Support, SeesWritesIntoGaps) {
  const std::string gap = failuresOf([] {
    Case c({20, 3});
    invertCase<Fault::WriteIntoGap>(c, {.gap = 5, .offset = 16});
  });
  EXPECT_TRUE(contains(gap, "byte 0 behind the end of row 0 (now 0x00), 3 bytes in all")) << gap;
  const std::string before = failuresOf([] {
    Case c({20, 1});
    invertCase<Fault::WriteBeforeStart>(c, {.gap = 5, .offset = 16});
  });
  EXPECT_TRUE(contains(before, "byte 1 before the first row")) << before;
}

TEST(Support, SeesWrongResults) {
  const std::string tail = failuresOf(sweepInvert<Fault::RedoneTail>);
  EXPECT_TRUE(contains(tail, "invert 17x1, variant 1") && contains(tail, "samples differ")) << tail;
  EXPECT_FALSE(contains(tail, "variant 0") || contains(tail, "invert 16x")) << tail;

  const std::string threads = failuresOf(sweepInvert<Fault::BandsWithoutRemainder>);
  EXPECT_TRUE(contains(threads, "invert 64x64") && contains(threads, " 7 threads")) << threads;
  EXPECT_FALSE(contains(threads, " 1 threads")) << threads;

  const std::string column = failuresOf([] {
    Case c({5, 2});
    invertCase<Fault::NoLastColumn>(c, {});
  });
  EXPECT_TRUE(contains(column, "2 of 10")) << column;
  EXPECT_TRUE(contains(column, "at x 4, y 0, channel 0: got ")) << column;
}

TEST(Support, EveryVariantMeetsEveryWidthAndGuard) {
  for (const int variants : {1, 2, 3, 5, 8}) {
    std::set<std::array<int, 2>> widths, guards;
    std::set<int> threads;
    const Sweep options{.thresholds = {{7, 70}}, .variants = variants};
    sweep("coverage", options, [&](Case& c) {
      int now = 0;
      qorGetNumThreads(&now);
      EXPECT_EQ(now, c.threads);
      if (c.size.height == 70) threads.insert(now);
      if (c.size.height == 70) return;
      widths.insert({c.size.width, c.variant});
      guards.insert({static_cast<int>(c.guard), c.variant});
    });
    EXPECT_EQ(widths.size(), options.widths.size() * static_cast<size_t>(variants));
    EXPECT_EQ(guards.size(), 2U * static_cast<size_t>(variants));
    EXPECT_EQ(threads, std::set<int>({1, 2, 3, 7, 33}));
  }
}

// Guards stand at the byte, for every shape and place.
TEST(SupportDeathTest, GuardsAreExact) {
  const GuardedBytes block(100, 3, Guard::Before);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block.data()) % 64, 3U);
  [[maybe_unused]] volatile Qor8u sink = 0;
  EXPECT_DEATH(
      {
        const GuardedBytes exact(101);
        sink = exact.data()[101];
      },
      "crashed in test");
  EXPECT_DEATH(
      {
        GuardedImage<Qor16u> wide({7, 3}, {.channels = 3, .gap = 1, .margin = {1, 2, 3, 4}});
        sink = static_cast<Qor8u>(wide.at(9, 6, 2));
        sink = static_cast<Qor8u>(wide.at(10, 6, 0));
      },
      "crashed in test");
  EXPECT_DEATH(sink = *noAccess<Qor8u>(3), "crashed in test");
}

TEST(Support, MarginsAreReadableAndKept) {
  GuardedImage<Qor32f> image({4, 3}, {.gap = 2, .guard = Guard::Before, .margin = {2, 1, 1, 2}});
  image.generate([](int x, int y, int) { return static_cast<Qor32f>(10 * y + x); });
  EXPECT_EQ(&image.at(-2, -1), image.data() - image.step() / 4 - 2);
  EXPECT_EQ(image.at(-2, -1), -12.0F);
  EXPECT_EQ(image.pixels().at(3, 2), 23.0F);
  image.at(3, 2) = 0;
  image.verify();
  image.at(4, 2) = 0;
  EXPECT_TRUE(contains(failuresOf([&] { image.verify(); }), "samples of the margins changed"));
  image.keepMargins();
}

TEST(Support, OutputsStartAsJunk) {
  GuardedImage<Qor64f> image({5, 2}, {.channels = 3, .gap = 1});
  for (const Qor64f v : image.pixels().samples) EXPECT_TRUE(isnan(v));
}

TEST(Support, ComparesFloatsByValue) {
  const float nan = NAN, otherNan = -NAN, inf = INFINITY;
  EXPECT_TRUE(same(nan, otherNan) && same(inf, inf) && same(0.0F, -0.0F));
  EXPECT_FALSE(same(inf, -inf) || same(nan, inf) || same(1.0F, nan) || same(1.0F, nextafterf(1, 2)));
  EXPECT_FALSE(same(0.0F, -0.0F, Equal::SignedZeros) || same(nan, otherNan, Equal::Bits));
  Image<Qor32f> want({2, 1});
  GuardedImage<Qor32f> got({2, 1});
  got.at(0, 0) = 0.5F, got.at(1, 0) = -0.0F;
  EXPECT_TRUE(contains(failuresOf([&] { expectSame(got, want); }), "1 of 2 samples"));
  EXPECT_TRUE(contains(failuresOf([&] { expectSame(got, want, Equal::SignedZeros); }), "2 of 2 samples"));
  EXPECT_TRUE(contains(failuresOf([&] { expectNear(got, want, 0.25, "half"); }), "1 of 2 samples"));
  expectNear(got, want, 0.5, "the bound belongs to it");
}

TEST(Support, DataReachesTheEnds) {
  std::set<Qor16s> top;
  int nans = 0, infinities = 0, negativeZeros = 0;
  Maker<Qor16s> nearTop(Data::NearTop, 1);
  Maker<Qor32f> special(Data::Special, 1);
  for (int i = 0; i < 1000; ++i) {
    top.insert(nearTop(i, 0, 0));
    const Qor32f v = special(i, 0, 0);
    nans += isnan(v);
    infinities += isinf(v);
    negativeZeros += v == 0 && signbit(v);
  }
  EXPECT_EQ(top, std::set<Qor16s>({32767, 32766, 32765, 32764}));
  EXPECT_TRUE(nans > 0 && infinities > 0 && negativeZeros > 0);
}

// An operation with most kinds of arguments and its checks in one odd order, and ways to get them wrong.
enum class Wrong {
  Nothing,
  StepBeforeSize,
  EvenBehindMaskStep,
  CoiFirst,
  StepWraps,
  NoHeight,
  RefusesLeastStep,
  RefusesNullMean,
  CoiFromByte,
  WritesBeforeCoi,
  ReadsBeforeSize
};

template <Wrong wrong>
QorStatus masked(const Qor16u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roi, int coi,
                 Qor64f* pMean, QoriRect rect, Qor32f sigma) {
  const auto unsignedWidth = static_cast<uint32_t>(roi.width);
  const int64_t least = wrong == Wrong::StepWraps ? static_cast<int32_t>(unsignedWidth * 6U) : int64_t{roi.width} * 6;
  const int channel = wrong == Wrong::CoiFromByte ? coi & 255 : coi;
  const bool badStep = wrong == Wrong::RefusesLeastStep ? srcStep <= least : srcStep < least;
  const auto badCoi = [&] { return channel < 1 || channel > 3; };
  if (wrong == Wrong::CoiFirst && badCoi()) return qorStsCOIErr;
  if (pSrc == nullptr || pMask == nullptr) return qorStsNullPtrErr;
  if (wrong == Wrong::RefusesNullMean && pMean == nullptr) return qorStsNullPtrErr;
  if (wrong == Wrong::ReadsBeforeSize && *pMask == 1) return qorStsErr;
  if (wrong == Wrong::StepBeforeSize && badStep) return qorStsStepErr;
  if (roi.width < 1) return qorStsSizeErr;
  if (wrong != Wrong::NoHeight && roi.height < 1) return qorStsSizeErr;
  if (badStep) return qorStsStepErr;
  if (wrong != Wrong::EvenBehindMaskStep && srcStep % 2 != 0) return qorStsNotEvenStepErr;
  if (maskStep < roi.width) return qorStsStepErr;
  if (wrong == Wrong::EvenBehindMaskStep && srcStep % 2 != 0) return qorStsNotEvenStepErr;
  if (wrong == Wrong::WritesBeforeCoi && pMean != nullptr) *pMean = 0;
  if (badCoi()) return qorStsCOIErr;
  if (rect.x < 0 || rect.width < 1) return qorStsBadArgErr;
  if (sigma < 0) return qorStsRangeErr;
  if (pMean != nullptr) *pMean = pSrc[channel - 1];
  return qorStsNoErr;
}

void describe(const char* name,
              QorStatus (*operation)(const Qor16u*, int, const Qor8u*, int, QoriSize, int, Qor64f*, QoriRect, Qor32f),
              bool complete = true) {
  Contract c(name, operation);
  QORTEST_ARGUMENTS(c, pSrc, srcStep, pMask, maskStep, roi, coi, pMean, rect, sigma);
  c.null(pSrc, pMask);
  c.size(roi);
  c.step(3 * sizeof(Qor16u), srcStep);
  c.even(sizeof(Qor16u), srcStep);
  c.step([&] { return ptrdiff_t{c[roi].width}; }, maskStep);
  c.oneOf(coi, qorStsCOIErr, 1, 2, 3);
  c.range(rect, qorStsBadArgErr, 0, INT_MAX, &QoriRect::x);
  c.atLeast(rect, qorStsBadArgErr, 1, &QoriRect::width);
  c.set(rect, {0, 0, 2, 2});
  c.atLeast(sigma, qorStsRangeErr, 0.0F);
  if (complete) c.optional(pMean);
  if (!complete)
    c.check(
        "never", qorStsErr, [] { return false; }, [] {});
  c.run();
}

TEST(Support, ContractPassesTheRightOperation) { describe(QORTEST_NAMED(masked<Wrong::Nothing>)); }

TEST(Support, ContractSeesWrongChecks) {
  const auto expectSeen = [](auto operation, const char* part) {
    const std::string text = failuresOf([&] { describe("masked", operation); });
    EXPECT_TRUE(contains(text, part)) << text;
  };
  expectSeen(masked<Wrong::StepBeforeSize>, "status -14 instead of -6");
  expectSeen(masked<Wrong::EvenBehindMaskStep>, "status -14 instead of -108");
  expectSeen(masked<Wrong::CoiFirst>, "status -52 instead of -8");
  expectSeen(masked<Wrong::StepWraps>, "instead of -14");
  expectSeen(masked<Wrong::RefusesLeastStep>, "status -14 instead of 0 for accepted: srcStep the least");
  expectSeen(masked<Wrong::RefusesNullMean>, "status -8 instead of 0 for accepted: pMean null");
}

TEST(Support, ContractSeesItsOwnGaps) {
  const std::string text = failuresOf([] { describe("masked", masked<Wrong::Nothing>, false); });
  EXPECT_TRUE(contains(text, "nothing is said of pMean")) << text;
  EXPECT_TRUE(contains(text, "no violation reaches the check never alone")) << text;
}

TEST(SupportDeathTest, ContractSeesAccessesOnErrorPaths) {
  EXPECT_DEATH(describe("masked", masked<Wrong::WritesBeforeCoi>), "case: masked\\(.*coi");
  EXPECT_DEATH(describe("masked", masked<Wrong::ReadsBeforeSize>), "case: masked\\(.*roi");
  // Taken for legal, the operation goes on to its pixels.
  EXPECT_DEATH(describe("masked", masked<Wrong::NoHeight>), "case: masked\\(.*roi");
  EXPECT_DEATH(describe("masked", masked<Wrong::CoiFromByte>), "case: masked\\(.*coi");
}

}  // namespace
