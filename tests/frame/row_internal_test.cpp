// Row drivers, bands, reductions and rounding: what every family stands on.
#include <math.h>

#include <array>

#include "frame/bands.h"
#include "frame/round.h"
#include "frame/row.h"
#include "support/support.h"

namespace {
using namespace qortest;
using qor::Block;
using qor::Stores;

// An accumulating kernel: reads what it writes, and has sources and destination of different sizes.
auto accumulate(const Qor8u* s, const Qor32f* a) {
  Block<Qor32f, 4> sum = qor::loadBlock<4>(a);
  const qor::V8u bytes = qor::load(s);
  const qor::V16u lo = qor::widenLo(bytes), hi = qor::widenHi(bytes);
  const qor::V32s widened[4] = {qor::widenLo(lo), qor::widenHi(lo), qor::widenLo(hi), qor::widenHi(hi)};
  for (int i = 0; i < 4; ++i) sum.v[i] = sum.v[i] + qor::toFloat(widened[i]);
  return sum;
}

template <Stores stores>
void testMapRow() {
  sweep("mapRow", {.heights = {1, 2}, .finite = true}, [](Case& c) {
    auto src = c.image<Qor8u>();
    auto acc = c.image<Qor32f>();
    Image<Qor32f> want = acc.pixels();
    const Image<Qor8u> s = src.pixels();
    for (size_t i = 0; i < want.samples.size(); ++i) want.samples[i] += static_cast<Qor32f>(s.samples[i]);
    src.protect();
    for (int y = 0; y < c.size.height; ++y)
      qor::mapRow<stores>(&acc.at(0, y), c.size.width, accumulate, &src.at(0, y), &acc.at(0, y));
    qor::finishStreams();
    expectSame(acc, want, Equal::SignedZeros);
  });
}

TEST(RowDrivers, MapRowReachesEverySampleOnce) { testMapRow<Stores::cached>(); }
TEST(RowDrivers, MapRowStreams) { testMapRow<Stores::streamed>(); }

TEST(Bands, CoverTheRowsInOrder) {
  for (const int threads : threadCounts) {
    for (const int height : {1, 2, 6, 7, 32, 33, 34, 100}) {
      setCase("%d rows, %d threads", height, threads);
      ThreadCount count(threads);
      std::array<qor::Band, 40> bands{};
      qor::forBands(height, threads, [&](qor::Band b) { bands[static_cast<size_t>(b.thread)] = b; });
      int next = 0;
      for (const qor::Band& b : bands) {
        if (b.rows == 0) continue;
        EXPECT_EQ(b.first, next) << currentCase();
        EXPECT_EQ(b.rows, height / threads + (b.thread == threads - 1 ? height % threads : 0)) << currentCase();
        next += b.rows;
      }
      EXPECT_EQ(next, height) << currentCase();
    }
  }
}

struct Partial {
  int64_t sum;
  int bands, lastFirst;
  bool ascending;
};

Partial reduceRows(bool parallel, int height) {
  return qor::reduceBands(
      parallel, height, Partial{0, 0, -1, true},
      [](qor::Band b) {
        Partial p{0, 1, b.first, true};
        for (int y = b.first; y < b.first + b.rows; ++y) p.sum += y;
        return p;
      },
      [](Partial& into, const Partial& from) {
        into.ascending = into.ascending && from.ascending && (from.bands == 0 || from.lastFirst > into.lastFirst);
        if (from.bands != 0) into.lastFirst = from.lastFirst;
        into.bands += from.bands;
        into.sum += from.sum;
      });
}

TEST(Bands, ReductionsMergeInAscendingOrder) {
  for (const int threads : {1, 2, 3, 7, 31, 32, 33, 70}) {
    ThreadCount count(threads);
    for (const int height : {1, 2, 50, 70, 1000}) {
      setCase("%d rows, %d threads", height, threads);
      const Partial p = reduceRows(true, height);
      EXPECT_EQ(p.sum, int64_t{height} * (height - 1) / 2) << currentCase();
      EXPECT_EQ(p.bands, height < threads ? 1 : threads) << currentCase();
      EXPECT_TRUE(p.ascending) << currentCase();
      EXPECT_EQ(reduceRows(false, height).bands, 1);
    }
  }
}

// Inside a caller's own team the runtime gives a team of one, which takes every row.
TEST(Bands, NestedRegionsRunOnTheCaller) {
  ThreadCount count(3);
  int64_t sums[2] = {};
#pragma omp parallel num_threads(2) default(none) shared(sums)
  { sums[qor::owncvGetIdThreads()] = reduceRows(true, 100).sum; }
  EXPECT_EQ(sums[0], 4950);
  EXPECT_EQ(sums[1], 4950);
}

// d / 2^scaleFactor to nearest, ties to even, by whole numbers.
template <class T>
T scaledByDefinition(int64_t d, int scaleFactor) {
  using Wide = __int128;
  Wide value = d;
  if (scaleFactor > 0) {
    const Wide divisor = Wide{1} << std::min(scaleFactor, 100);
    Wide quotient = value / divisor, rest = value % divisor;
    if (rest < 0) --quotient, rest += divisor;
    if (2 * rest > divisor || (2 * rest == divisor && quotient % 2 != 0)) ++quotient;
    value = quotient;
  } else {
    value *= Wide{1} << std::min(-int64_t{scaleFactor}, int64_t{60});
  }
  const Wide top = std::numeric_limits<T>::max(), bottom = std::numeric_limits<T>::min();
  return static_cast<T>(value > top ? top : value < bottom ? bottom : value);
}

TEST(Rounding, ScaleFactorFollowsItsDefinition) {
  EXPECT_EQ(qor::scaled<Qor8u>(1, 1), 0);
  EXPECT_EQ(qor::scaled<Qor8u>(3, 1), 2);
  EXPECT_EQ(qor::scaled<Qor8u>(2, 1), 1);
  Random random(baseSeed());
  for (int i = 0; i < 200000; ++i) {
    const int64_t d = static_cast<int64_t>(random.bits()) >> random.between(2, 63);
    const int scaleFactor = i % 100 == 0 ? INT_MIN : i % 100 == 1 ? INT_MAX : random.between(-70, 70);
    ASSERT_EQ(qor::scaled<Qor8u>(d, scaleFactor), scaledByDefinition<Qor8u>(d, scaleFactor)) << d << ' ' << scaleFactor;
    ASSERT_EQ(qor::scaled<Qor16s>(d, scaleFactor), scaledByDefinition<Qor16s>(d, scaleFactor));
    ASSERT_EQ(qor::scaled<Qor32s>(d, scaleFactor), scaledByDefinition<Qor32s>(d, scaleFactor));
  }
}

TEST(Rounding, FloatsToIntegers) {
  const struct {
    double value;
    int nearest8u, truncated8u, nearest16s, truncated16s;
  } cases[] = {{0.5, 0, 0, 0, 0},
               {1.5, 2, 1, 2, 1},
               {2.5, 2, 2, 2, 2},
               {-0.5, 0, 0, 0, 0},
               {-1.5, 0, 0, -2, -1},
               {254.5, 254, 254, 254, 254},
               {255.5, 255, 255, 256, 255},
               {32767.5, 255, 255, 32767, 32767},
               {-32768.7, 0, 0, -32768, -32768},
               {1e300, 255, 255, 32767, 32767},
               {-1e300, 0, 0, -32768, -32768},
               {INFINITY, 255, 255, 32767, 32767},
               {-INFINITY, 0, 0, -32768, -32768},
               {NAN, 0, 0, -32768, -32768}};
  for (const auto& c : cases) {
    EXPECT_EQ(qor::nearestSaturated<Qor8u>(c.value), c.nearest8u) << c.value;
    EXPECT_EQ(qor::truncatedSaturated<Qor8u>(c.value), c.truncated8u) << c.value;
    EXPECT_EQ(qor::nearestSaturated<Qor16s>(c.value), c.nearest16s) << c.value;
    EXPECT_EQ(qor::truncatedSaturated<Qor16s>(c.value), c.truncated16s) << c.value;
  }
  EXPECT_EQ(qor::nearestSaturated<Qor32s>(2147483647.4), INT_MAX);
  EXPECT_EQ(qor::truncatedSaturated<Qor32s>(-2147483648.5), INT_MIN);
}

}  // namespace
