// The test support must see the faults that it is there for: each is planted in an operation of this file.
#ifdef __SANITIZE_ADDRESS__
  #include <sanitizer/lsan_interface.h>
#endif

#include <emmintrin.h>
#include <gtest/gtest-spi.h>
#include <math.h>

#include <array>
#include <set>
#include <string>

#include "qorcore.h"
#include "support/stand_in.h"
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

void expectInverted(Call& c) {
  Image<Qor8u> want = c.before<Qor8u>('s');
  for (Qor8u& v : want.samples) v = static_cast<Qor8u>(255 - v);
  c.expect('d', want);
}

template <Fault fault>
void sweepInvert() {
  runSweep({operation("invert", invert<fault>),
            "S.d.z",
            {.expect = expectInverted, .sweep = {.widths = {16, 17, 33}, .thresholds = {{64, 64}}}}});
}

TEST(Support, PassesAnOperationWithoutFault) { sweepInvert<Fault::None>(); }

TEST(SupportDeathTest, SeesAccessesBeyondTheImage) {
  EXPECT_DEATH(sweepInvert<Fault::ReadPastEnd>(), "SeesAccessesBeyond.*case: invert 16x1, .*seed: QORCV_TEST_SEED");
  EXPECT_DEATH(sweepInvert<Fault::ReadBeforeStart>(), "case: invert .*guard before");
  EXPECT_DEATH(sweepInvert<Fault::WriteToSource>(), "case: invert ");
  EXPECT_DEATH(sweepInvert<Fault::WriteIntoGap>(), "case: invert ");
  EXPECT_DEATH(sweepInvert<Fault::WriteBeforeStart>(), "case: invert ");
  EXPECT_DEATH(sweepInvert<Fault::AlignedStore>(), "case: invert ");
}

#ifdef __SANITIZE_ADDRESS__
TEST(SupportDeathTest, SeesReadsOfGaps) {
  GuardedImage<Qor8u> image({16, 2}, {.gap = 8});
  volatile int x = 16;
  EXPECT_DEATH(x = image.data()[x], "use-after-poison");
}
#else
TEST(Support, SeesWritesIntoGaps) {
  const auto stray = [](ptrdiff_t at) {
    return failuresOf([=] {
      const GuardedImage<Qor8u> image({20, 3}, {.gap = 5, .offset = 16});
      image.data()[at] ^= 1;
    });
  };
  EXPECT_TRUE(contains(stray(20), "byte 0 behind the end of row 0")) << stray(20);
  EXPECT_TRUE(contains(stray(-1), "byte 1 before the first row, 1 bytes") || contains(stray(-1), "byte 1 before"));
}
#endif

TEST(Support, SeesWrongResults) {
  const std::string tail = failuresOf(sweepInvert<Fault::RedoneTail>);
  EXPECT_TRUE(contains(tail, "invert 17x1, variant 1") && contains(tail, "samples differ")) << tail;
  EXPECT_FALSE(contains(tail, "variant 0") || contains(tail, "invert 16x")) << tail;

  const std::string threads = failuresOf(sweepInvert<Fault::BandsWithoutRemainder>);
  EXPECT_TRUE(contains(threads, "invert 64x64") && contains(threads, " 7 threads")) << threads;
  EXPECT_FALSE(contains(threads, " 1 threads")) << threads;

  const std::string column = failuresOf(sweepInvert<Fault::NoLastColumn>);
  EXPECT_TRUE(contains(column, "2 of 34")) << column;
  EXPECT_TRUE(contains(column, "at x 16, y 0, channel 0: got ")) << column;
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

void ownCheck(DescribedContract& c, int which) {
  QoriRect& rect = c.now.at<QoriRect>('x');
  if (which == 1)
    c.check(
        "rect", qorStsBadArgErr, [&] { return rect.x < 0 || rect.width < 1; }, [&] { rect.x = -1; },
        [&] { rect.width = 0; });
  else
    c.check(
        "never", qorStsErr, [] { return false; }, [] {});
}

template <Wrong wrong>
void describe(const char* more = "") {
  const auto draw = [](Call& c) { c.at<QoriRect>('x') = {0, 0, 2, 2}; };
  runContract(
      {operation("masked_C3", masked<wrong>),
       "s.m.zcRxf",
       {.checks = std::string("null | size | step s | even s | step m | coi | own 1 | least f RangeErr 0") + more,
        .draw = draw,
        .own = ownCheck}});
}

TEST(Support, ContractPassesTheRightOperation) { describe<Wrong::Nothing>(); }

TEST(Support, ContractSeesWrongChecks) {
  const auto expectSeen = [](void (*run)(const char*), const char* part) {
    const std::string text = failuresOf([=] { run(""); });
    EXPECT_TRUE(contains(text, part)) << text;
  };
  expectSeen(describe<Wrong::StepBeforeSize>, "status -14 instead of -6");
  expectSeen(describe<Wrong::EvenBehindMaskStep>, "status -14 instead of -108");
  expectSeen(describe<Wrong::CoiFirst>, "status -52 instead of -8");
  expectSeen(describe<Wrong::StepWraps>, "instead of -14");
  expectSeen(describe<Wrong::RefusesLeastStep>, "status -14 instead of 0 for accepted: step of s the least");
  expectSeen(describe<Wrong::RefusesNullMean>, "status -8 instead of 0 for accepted: r null");
}

TEST(Support, ContractSeesItsOwnGaps) {
  const std::string text = failuresOf([] { describe<Wrong::Nothing>(" | own 2"); });
  EXPECT_TRUE(contains(text, "no violation reaches the check never alone")) << text;
  EXPECT_TRUE(contains(failuresOf([] { describe<Wrong::Nothing>(" | nul s"); }), "no check \" nul s\""));
}

TEST(SupportDeathTest, ContractSeesAccessesOnErrorPaths) {
  EXPECT_DEATH(describe<Wrong::WritesBeforeCoi>(), "case: masked_C3\\(.* c");
  EXPECT_DEATH(describe<Wrong::ReadsBeforeSize>(), "case: masked_C3\\(.*z");
  // Taken for legal, the operation goes on to its pixels.
  EXPECT_DEATH(describe<Wrong::NoHeight>(), "case: masked_C3\\(.*z");
  EXPECT_DEATH(describe<Wrong::CoiFromByte>(), "case: masked_C3\\(.* c");
}

// ---- what a description is for: scratch, threads, memory, teams

// Fills the destination with the number of rows that its band begins at; two bytes of scratch a column.
enum class Misuse { None, ScratchBehind, BandsShow, Leaks, TeamSooner };

QorStatus scratchSize(QoriSize roi, int* bytes) {
  *bytes = 2 * roi.width;
  return qorStsNoErr;
}

template <Misuse misuse>
[[gnu::no_sanitize("address")]] QorStatus paint(Qor8u* pDst, int dstStep, QoriSize roi, Qor8u* pBuffer) {
  if (pDst == nullptr || pBuffer == nullptr) return qorStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return qorStsSizeErr;
  void* const block = qorMalloc(100);
  if (block == nullptr) return qorStsMemAllocErr;
  if (misuse != Misuse::Leaks) qorFree(block);
#ifdef __SANITIZE_ADDRESS__
  if (misuse == Misuse::Leaks) __lsan_ignore_object(block);
#endif
  for (int i = 0; i < 2 * roi.width + (misuse == Misuse::ScratchBehind); ++i) pBuffer[i] = 1;
  const int value = misuse == Misuse::BandsShow ? ownGetNumThreads() : 1;
  const bool isShared = int64_t{roi.width} * roi.height >= (misuse == Misuse::TeamSooner ? 999 : 1000);
  const auto rows = [=](int first, int end) {
    for (int y = first; y < end; ++y)
      for (int x = 0; x < roi.width; ++x) pDst[ptrdiff_t{y} * dstStep + x] = static_cast<Qor8u>(value);
  };
  if (isShared) openRegion(ownGetNumThreads());
  rows(0, roi.height);
  return qorStsNoErr;
}

template <Misuse misuse>
std::string failuresOfPaint(void (*run)(const Description&)) {
  return failuresOf([=] {
    run({operation("paint", paint<misuse>),
         "d.zw",
         {.checks = "null | size",
          .scratch = reported(scratchSize),
          .team = from(1000),
          .sweep = {.widths = {3, 40}}}});
  });
}

TEST(Support, DescriptionsSeeMisuse) {
  for (const auto run : {runSweep, runTeam, runMemory, runContract}) EXPECT_EQ(failuresOfPaint<Misuse::None>(run), "");
  EXPECT_TRUE(contains(failuresOfPaint<Misuse::BandsShow>(runSweep), "with one thread"));
  EXPECT_TRUE(contains(failuresOfPaint<Misuse::Leaks>(runMemory), "not given back"));
  EXPECT_TRUE(contains(failuresOfPaint<Misuse::TeamSooner>(runTeam), "paint 999x1"));
}

TEST(SupportDeathTest, DescriptionsSeeMisuse) {
  EXPECT_DEATH(failuresOfPaint<Misuse::ScratchBehind>(runSweep), "case: paint 3x");
}

}  // namespace
