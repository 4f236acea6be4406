#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/feature.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Differences in a wide type: exact for integers, of floats to the denormals that the bound is made of.
template <class T>
std::vector<QoriPoint> peaksOf(const Image<T>& src, T threshold, QoriNorm norm, int border) {
  std::vector<QoriPoint> peaks;
  for (int y = border; y < src.size.height - border; ++y) {
    for (int x = border; x < src.size.width - border; ++x) {
      const T v = src.at(x, y);
      bool isPeak =
          fabs(static_cast<double>(v)) > static_cast<double>(threshold) && fabs(static_cast<double>(v)) < 1e39;
      for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i) {
          if (norm == qoriNormL1 && i != 0 && j != 0) continue;
          const double over = static_cast<double>(src.at(x + i, y + j)) - static_cast<double>(v);
          isPeak = isPeak && (v > 0 ? over : -over) <= double{1.1754944e-38F};
        }
      }
      if (isPeak) peaks.push_back({x, y});
    }
  }
  return peaks;
}

template <class T>
void expectPeaks(Call& c) {
  std::vector<QoriPoint> want = peaksOf(c.before<T>('s'), c.at<T>('t'), c.number('n'), c.number('b'));
  const size_t room = static_cast<size_t>(c.number('x'));
  if (want.size() > room) want.resize(room);
  ASSERT_EQ(*c.at<int*>('r', 2), static_cast<int>(want.size())) << currentCase();
  EXPECT_EQ(memcmp(c.at<QoriPoint*>('r', 1), want.data(), want.size() * sizeof(QoriPoint)), 0) << currentCase();
}

template <class T>
void add(Descriptions& d, const char* name, auto* find, const char* queryName, auto* query) {
  d.add(name, find, "s.ztrxrnbw",
        {.checks = "null | own 1 | step | even | one n BadArgErr",
         .values = {{'n', {0, 1}}, {'t', {0, -1, 3, 900, 1e-40, 2e9, -2147483648.0}}},
         .draw =
             [](Call& c) {
               const int least = std::min(c.c.size.width, c.c.size.height);
               c.set('b', c.c.usual ? 1 : 1 + c.c.random.below(std::max(least / 2, 1)));
               c.set('x', c.c.random.oneIn(2) ? 5000 : 1 + c.c.random.below(20));
             },
         .shape =
             [](const Arguments& a, char role, int which, Shape& s) {
               if (role == 'r' && which == 1) s.width = a.number('x');
             },
         .scratch =
             [=](const Arguments& a) {
               int bytes = 0;
               EXPECT_EQ(query(a.size().width, &bytes), qorStsNoErr);
               return bytes;
             },
         .expect = expectPeaks<T>,
         .own =
             [](DescribedContract& c, int) {
               c.start('x', 5), c.start('b', 1);
               int &border = c.now.at<int>('b'), &room = c.now.at<int>('x');
               QoriSize& size = c.now.at<QoriSize>('z');
               const auto isOutside = [&] {
                 const float twice = 2 * static_cast<float>(border);
                 return size.width < 1 || size.height < 1 || room < 1 || border < 1 ||
                        twice > static_cast<float>(size.width) || twice > static_cast<float>(size.height);
               };
               c.check(
                   "sizes", qorStsSizeErr, isOutside, [&] { border = size.height / 2 + 1; }, [&] { border = INT_MAX; },
                   [&] { border = 0; }, [&] { room = 0; }, [&] { room = INT_MIN; }, [&] { size.width = 1; },
                   [&] { size.height = 1; },
                   [&] {
                     size = {0, 0};
                   },
                   [&] { size.height = -1; }, [&] { border = -1; });
             },
         .teamOf = [](const Arguments&, int, int) { return 0; },
         .teamSizes = {{1024, 600}},
         .sweep = {.widths = {2, 3, 4, 5, 6, 9, 10, 11, 17, 18, 19, 34, 66, 130},
                   .heights = {2, 3, 4, 9},
                   .repeats = 6,
                   .finite = true}});
  d.add(queryName, query, "zr",
        {.checks = "null | size",
         .expect =
             [](Call& c) {
               c.expectResult(1, static_cast<int>((static_cast<uint32_t>(c.size().width) + 5) / 4 * 128 | 32));
             },
         .sweep = {.widths = {1, 2, 3, 4, 7, 8, 641, INT_MAX}}});
}

const Descriptions members([](Descriptions& d) {
  add<Qor32f>(d, QORTEST_NAMED(qoriFindPeaks3x3_32f_C1R), QORTEST_NAMED(qoriFindPeaks3x3GetBufferSize_32f_C1R));
  add<Qor32s>(d, QORTEST_NAMED(qoriFindPeaks3x3_32s_C1R), QORTEST_NAMED(qoriFindPeaks3x3GetBufferSize_32s_C1R));
});

// Infinities are none, and differences as small as the least normal number are ties.
TEST(FindPeaks, OnPaper) {
  const Qor32f src[4][6] = {{0, 0, 0, 0, 0, 0}, {0, 2.1e-38F, 1e-38F, 0, INFINITY, 0}, {0, 0, -3, 0, 0, 0}, {}};
  QoriPoint peaks[4];
  int count = -1;
  Qor8u buffer;
  EXPECT_EQ(qoriFindPeaks3x3_32f_C1R(src[0], 24, {6, 4}, 0, peaks, 4, &count, qoriNormInf, 1, &buffer), qorStsNoErr);
  ASSERT_EQ(count, 3);
  EXPECT_TRUE(peaks[0].x == 1 && peaks[1].x == 2 && peaks[2].x == 2 && peaks[2].y == 2);
  // Half of 2^25 - 1 is 2^24 in 32-bit float, so the border passes, and nothing is read.
  constexpr int side = (1 << 25) - 1;
  EXPECT_EQ(qoriFindPeaks3x3_32f_C1R(noAccess<Qor32f>(), 4 * side, {side, side}, 0, peaks, 4, &count, qoriNormL1,
                                     1 << 24, &buffer),
            qorStsNoErr);
  EXPECT_EQ(count, 0);
  const Qor32s numbers[3][3] = {{16777216, 0, 0}, {0, 16777217, 0}, {0, 0, 0}},
               lowest[3][3] = {{}, {0, INT_MIN, 0}, {}};
  for (const auto* image : {&numbers, &lowest}) {
    EXPECT_EQ(qoriFindPeaks3x3_32s_C1R((*image)[0], 12, {3, 3}, 16777216, peaks, 4, &count, qoriNormInf, 1, &buffer),
              qorStsNoErr);
    EXPECT_EQ(count, 1);
  }
}

}  // namespace
