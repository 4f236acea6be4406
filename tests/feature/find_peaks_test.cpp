#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/feature.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Differences in double: exact for integers, and for floats that are near each other.
template <class T>
bool isPeak(const Image<T>& src, int x, int y, double threshold, QoriNorm norm) {
  const auto v = static_cast<double>(src.at(x, y));
  for (int j = -1; j <= 1; ++j) {
    for (int i = -1; i <= 1; ++i) {
      const double over = static_cast<double>(src.at(x + i, y + j)) - v;
      if ((norm == qoriNormInf || i == 0 || j == 0) && (v > 0 ? over : -over) > double{1.1754944e-38F}) return false;
    }
  }
  return fabs(v) > threshold;
}

template <class T>
void expectPeaks(Call& c) {
  if (c.wanted != qorStsNoErr) return;
  const Image<T>& src = c.before<T>('s');
  const int border = c.number('b'), room = c.number('x');
  std::vector<QoriPoint> want;
  for (int y = border; y < src.size.height - border; ++y)
    for (int x = border; x < src.size.width - border; ++x)
      if (static_cast<int>(want.size()) < room && isPeak(src, x, y, c.real('t'), c.number('n'))) want.push_back({x, y});
  ASSERT_EQ(*c.at<int*>('r', 2), static_cast<int>(want.size())) << currentCase();
  EXPECT_EQ(memcmp(c.at<QoriPoint*>('r', 1), want.data(), want.size() * sizeof(QoriPoint)), 0) << currentCase();
}

void sizesCheck(DescribedContract& c, int) {
  c.start('x', 5), c.start('b', 1);
  int &border = c.now.at<int>('b'), &room = c.now.at<int>('x');
  QoriSize& size = c.now.at<QoriSize>('z');
  const auto isOutside = [&] {
    const float twice = 2 * static_cast<float>(border), least = static_cast<float>(std::min(size.width, size.height));
    return least < 1 || room < 1 || border < 1 || twice > least;
  };
  c.check(
      "sizes", qorStsSizeErr, isOutside, [&] { border = size.height / 2 + 1; }, [&] { border = 0; }, [&] { room = 0; },
      [&] { size.width = 1; },
      [&] {
        size = {0, 9};
      },
      [&] { size.height = -1; });
}

template <class T>
void add(Descriptions& d, const char* name, auto* find, const char* queryName, auto* query) {
  const auto draw = [](Call& c) {
    const int least = std::min(c.c.size.width, c.c.size.height);
    // A single row or column has no border that is allowed.
    if (least < 2) c.wanted = qorStsSizeErr;
    c.set('b', c.c.usual ? 1 : 1 + c.c.random.below(std::max(least / 2, 1)));
    c.set('x', c.c.random.oneIn(2) ? 5000 : 1 + c.c.random.below(20));
  };
  const auto scratch = [=](const Arguments& a) {
    int bytes = 0;
    EXPECT_EQ(query(a.size().width, &bytes), qorStsNoErr);
    EXPECT_EQ(bytes, (a.size().width + 5) / 4 * 128 | 32);
    return bytes;
  };
  d.add(name, find, "s.ztrxrnbw",
        {.checks = "null | own | step | even | one n BadArgErr",
         .values = {{'n', {0, 1}}, {'t', {0, -1, 3, 900, 1e-40, 2e9, -2147483648.0}}},
         .draw = draw,
         .shape =
             [](const Arguments& a, char role, int which, Shape& s) {
               if (role == 'r' && which == 1) s.width = a.number('x');
             },
         .scratch = scratch,
         .expect = expectPeaks<T>,
         .own = sizesCheck,
         .teamOf = [](const Arguments&, int, int) { return 0; },
         .teamSizes = {{1024, 600}},
         .sweep = {.widths = {2, 3, 4, 5, 6, 9, 10, 11, 17, 18, 19, 34, 66, 130},
                   .heights = {2, 3, 4, 9},
                   .repeats = 6,
                   .finite = true}});
  d.add(queryName, query, "zr", {.checks = "null | size"});
}

const Descriptions members([](Descriptions& d) {
  add<Qor32f>(d, QORTEST_NAMED(qoriFindPeaks3x3_32f_C1R), QORTEST_NAMED(qoriFindPeaks3x3GetBufferSize_32f_C1R));
  add<Qor32s>(d, QORTEST_NAMED(qoriFindPeaks3x3_32s_C1R), QORTEST_NAMED(qoriFindPeaks3x3GetBufferSize_32s_C1R));
});

// Infinities are none, and differences as small as the least normal number are ties.
TEST(FindPeaks, OnPaper) {
  const Qor32f src[4][6] = {{}, {0, 2.1e-38F, 1e-38F, 0, INFINITY, 0}, {0, 0, -3, 0, 0, 0}, {}};
  const Qor32s large[3][3] = {{1 << 24, 0, 0}, {0, (1 << 24) + 1, 0}, {}}, lowest[3][3] = {{}, {0, INT_MIN, 0}, {}};
  QoriPoint peaks[4];
  int count = -1;
  Qor8u buffer;
  EXPECT_EQ(qoriFindPeaks3x3_32f_C1R(src[0], 24, {6, 4}, 0, peaks, 4, &count, qoriNormInf, 1, &buffer), qorStsNoErr);
  EXPECT_TRUE(count == 3 && peaks[0].x == 1 && peaks[1].x == 2 && peaks[2].x == 2 && peaks[2].y == 2);
  for (const auto* image : {large[0], lowest[0]}) {
    EXPECT_EQ(qoriFindPeaks3x3_32s_C1R(image, 12, {3, 3}, 1 << 24, peaks, 4, &count, qoriNormInf, 1, &buffer), 0);
    EXPECT_EQ(count, 1);
  }
  // Half of 2^25 - 1 is 2^24 in 32-bit float, so the border passes, and nothing is read.
  constexpr int side = (1 << 25) - 1;
  const Qor32f* const nothing = noAccess<Qor32f>();
  EXPECT_EQ(qoriFindPeaks3x3_32f_C1R(nothing, 4 * side, {side, side}, 0, peaks, 4, &count, 1, 1 << 24, &buffer), 0);
  EXPECT_EQ(count, 0);
}

}  // namespace
