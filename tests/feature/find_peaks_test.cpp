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
        {.checks = "own 1",
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
         .sweep = {.widths = {2, 3, 4, 5, 6, 9, 10, 11, 17, 18, 19, 34, 66, 130},
                   .heights = {2, 3, 4, 9},
                   .repeats = 6}});
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

}  // namespace
