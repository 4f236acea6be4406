#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/integral.h"
#include "support/support.h"

namespace {
using namespace qortest;

enum class Box { Upright, Tilted };

// Offsets of the four corners from a pixel, added and taken away in turns.
struct Corners {
  int row[4], column[4];
};
Corners cornersOf(Box box, QoriRect r) {
  if (box == Box::Upright)
    return {{r.y + r.height, r.y, r.y, r.y + r.height}, {r.x + r.width, r.x + r.width, r.x, r.x}};
  const int row = r.x + r.y, column = r.x - r.y;
  return {{row + r.width + r.height, row + r.height, row, row + r.width},
          {column + r.width - r.height, column - r.height, column, column + r.width}};
}
double pixelsOf(Box box, QoriRect r) { return (box == Box::Upright ? 1.0 : 2.0) * r.width * r.height; }
int64_t reachOf(Box box, int64_t width, QoriRect r) {
  const int64_t beside = int64_t{r.x} + r.width;
  return box == Box::Upright ? width + beside : beside + r.height + r.y + width - 1;
}

// In the words of the header, in the type of the table; 32-bit integers wrap.
template <class T>
T boxSum(const Image<T>& table, const Corners& k, int x, int y) {
  const auto at = [&](int i) { return table.at(x + k.column[i], y + k.row[i]); };
  if constexpr (std::is_integral_v<T>) return static_cast<T>(int64_t{at(0)} - at(1) + at(2) - at(3));
  return at(0) - at(1) + at(2) - at(3);
}

template <class T>
Image<Qor32f> reference(const Image<T>& sum, const Image<Qor64f>& sqr, QoriSize roi, QoriRect rect, Box box) {
  const Corners k = cornersOf(box, rect);
  const auto n = static_cast<Qor32f>(pixelsOf(box, rect));
  Image<Qor32f> dst(roi);
  for (int y = 0; y < roi.height; ++y) {
    for (int x = 0; x < roi.width; ++x) {
      const Qor32f mean = static_cast<Qor32f>(boxSum(sum, k, x, y)) / n;
      const Qor32f square = mean * mean;
      const auto v = static_cast<Qor32f>(boxSum(sqr, k, x, y) / double{n} - double{square});
      dst.at(x, y) = sqrtf(v < 0 ? 0 : v);
    }
  }
  return dst;
}

Image<Qor32s> reference(const Image<Qor32s>& sum, const Image<Qor32s>& sqr, QoriSize roi, QoriRect rect, Box box,
                        int scaleFactor) {
  const Corners k = cornersOf(box, rect);
  const auto n = static_cast<Qor32f>(pixelsOf(box, rect));
  Image<Qor32s> dst(roi);
  for (int y = 0; y < roi.height; ++y) {
    for (int x = 0; x < roi.width; ++x) {
      const Qor32f mean = static_cast<Qor32f>(boxSum(sum, k, x, y)) / n;
      const Qor32f square = mean * mean;
      const Qor32f v = static_cast<Qor32f>(boxSum(sqr, k, x, y)) / n - square;
      const double root = ldexp(sqrt(v < 0 ? 0.0 : double{v}), -std::clamp(scaleFactor, -2000, 2000)) + 0.5;
      dst.at(x, y) = root >= INT_MAX ? INT_MAX : static_cast<Qor32s>(root);
    }
  }
  return dst;
}

// A table of just the samples that the call may read, in front of the pointer too, with the step that it asks for.
void shapeTable(const Arguments& a, Box box, Shape& s) {
  const QoriRect r = a.at<QoriRect>('x');
  const Corners k = cornersOf(box, r);
  const auto [least, most] = std::minmax_element(k.column, k.column + 4);
  s.leastStep = reachOf(box, s.width, r);
  s.width = std::max<int64_t>(*most + s.width, 1);
  s.height += *std::max_element(k.row, k.row + 4);
  s.margin.left = std::max(-*least, 0);
}

// From single pixels to boxes larger than the region; a tilted one may lie on either side of its pixel.
void drawRect(Call& call) {
  Case& c = call.c;
  const int most = c.random.oneIn(4) ? 40 : 6;
  const QoriRect r{c.random.below(most), c.random.below(most), c.random.between(1, most), c.random.between(1, most)};
  appendCase(" rect %d, %d, %d x %d", r.x, r.y, r.width, r.height);
  call.at<QoriRect>('x') = r;
}

// An empty box, or one in front of the table, is found behind the steps; a reach beyond 31 bits is a step too small.
void rectCheck(DescribedContract& c, int) {
  QoriRect& r = c.now.at<QoriRect>('x');
  c.check(
      "rect", qorStsBadArgErr, [&r] { return r.x < 0 || r.y < 0 || r.width < 1 || r.height < 1; }, [&r] { r.x = -1; },
      [&r] { r.y = -1; }, [&r] { r.width = 0; }, [&r] { r.height = 0; }, [&r] { r.width = INT_MIN / 2; });
}

template <class T, class Q, class D>
void add(Descriptions& d, const char* name, auto* operation, Box box, bool isShared = false) {
  const bool isScaled = std::is_same_v<D, Qor32s>;
  d.add(name, operation, isScaled ? "s.s.d.zxn" : "s.s.d.zx",
        {.checks = "null | size | step | even | own",
         .values = {{'n', {0, 1, 5, 17, 31, 60, 1100, INT_MAX, -1, -7, -31, -60, -1100, INT_MIN + 1.0, INT_MIN}}},
         .draw = drawRect,
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') shapeTable(a, box, s);
             },
         .expect =
             [=](Call& c) {
               const auto& sum = c.before<T>('s');
               const auto& sqr = c.before<Q>('s', 2);
               const QoriRect rect = c.at<QoriRect>('x');
               if constexpr (std::is_same_v<D, Qor32s>)
                 c.expect('d', reference(sum, sqr, c.size(), rect, box, c.number('n')));
               else
                 c.expect('d', reference(sum, sqr, c.size(), rect, box));
             },
         .own = rectCheck,
         // 1024 pixels a thread, at most 32.
         .teamOf =
             [=](const Arguments& a, int threads, int) {
               const int team = std::min({threads, a.size().width * a.size().height / 1024, 32});
               return isShared && team > 1 ? team : 0;
             },
         .teamSizes = {{32, 63}, {32, 64}, {33, 63}, {223, 149}, {1024, 40}},
         .sweep = {.thresholds = {{32, 63}, {32, 64}, {33, 63}, {223, 149}, {12345, 3}}}});
}

const Descriptions members([](Descriptions& d) {
  add<Qor32s, Qor32s, Qor32s>(d, QORTEST_NAMED(qoriRectStdDev_32s_C1RSfs), Box::Upright);
  add<Qor32s, Qor64f, Qor32f>(d, QORTEST_NAMED(qoriRectStdDev_32s32f_C1R), Box::Upright);
  add<Qor32f, Qor64f, Qor32f>(d, QORTEST_NAMED(qoriRectStdDev_32f_C1R), Box::Upright, true);
  add<Qor32s, Qor32s, Qor32s>(d, QORTEST_NAMED(qoriTiltedRectStdDev_32s_C1RSfs), Box::Tilted);
  add<Qor32s, Qor64f, Qor32f>(d, QORTEST_NAMED(qoriTiltedRectStdDev_32s32f_C1R), Box::Tilted);
  add<Qor32f, Qor64f, Qor32f>(d, QORTEST_NAMED(qoriTiltedRectStdDev_32f_C1R), Box::Tilted);
});

TEST(RectStdDev, ReachBeyond31Bits) {
  for (const QoriRect r : {QoriRect{INT_MAX, 0, 1, 1}, {INT_MAX, 0, INT_MAX, 1}, {0x40000000, 0, 0x40000000, 1}})
    for (const auto operation : {qoriRectStdDev_32f_C1R, qoriTiltedRectStdDev_32f_C1R})
      EXPECT_EQ(operation(noAccess<Qor32f>(0), 4096, noAccess<Qor64f>(1), 4096, noAccess<Qor32f>(2), 4096, {8, 8}, r),
                qorStsStepErr)
          << r.x << ' ' << r.width;
}

// From a picture through its tables to the deviation of the pixels themselves: the pixels of an upright box are those
// at its offsets, the first row of a tilted one is the pair of pixels under its tip.
TEST(RectStdDev, OfThePixelsOfAPicture) {
  const QoriSize picture{64, 60}, roi{24, 20};
  const QoriRect rect{9, 6, 5, 3};
  GuardedImage<Qor8u> src(picture);
  src.generate(Maker<Qor8u>(Data::Random, baseSeed()));
  for (const Box box : {Box::Upright, Box::Tilted}) {
    const bool tilted = box == Box::Tilted;
    setCase("deviation of pixels, %s box", tilted ? "tilted" : "upright");
    const QoriSize size{picture.width + (tilted ? 2 : 1), picture.height + (tilted ? 2 : 1)};
    GuardedImage<Qor32s> sum(size);
    GuardedImage<Qor64f> sqr(size);
    const auto integrals = tilted ? qoriTiltedSqrIntegral_8u32s64f_C1R : qoriSqrIntegral_8u32s64f_C1R;
    ASSERT_EQ(integrals(src.data(), src.step(), sum.data(), sum.step(), sqr.data(), sqr.step(), picture, 11, 0.5), 0);
    GuardedImage<Qor32f> dst(roi);
    const auto deviation = tilted ? qoriTiltedRectStdDev_32s32f_C1R : qoriRectStdDev_32s32f_C1R;
    ASSERT_EQ(deviation(sum.data(), sum.step(), sqr.data(), sqr.step(), dst.data(), dst.step(), roi, rect), 0);

    Image<double> want(roi);
    for (int y = 0; y < roi.height; ++y) {
      for (int x = 0; x < roi.width; ++x) {
        std::vector<int> pixels;
        for (int v = 0; v < rect.height; ++v) {
          for (int u = 0; u < rect.width; ++u) {
            if (tilted) {
              // One step of the width goes down and right, one of the height down and left.
              const int tipX = x + rect.x - rect.y + u - v, tipY = y + rect.x + rect.y + u + v;
              pixels.push_back(src.at(tipX - 1, tipY));
              pixels.push_back(src.at(tipX, tipY));
            } else {
              pixels.push_back(src.at(x + rect.x + u, y + rect.y + v));
            }
          }
        }
        double mean = 0, squares = 0;
        for (const int p : pixels) mean += p;
        mean /= static_cast<double>(pixels.size());
        for (const int p : pixels) squares += (p - mean) * (p - mean);
        want.at(x, y) = sqrt(squares / static_cast<double>(pixels.size()));
      }
    }
    expectNear(dst, want, 1e-3, "the square of the mean is rounded to 32-bit float");
  }
}

// A variance that comes out negative is taken as none; NaN stays, also beside it.
TEST(RectStdDev, BelowZeroAndNotANumber) {
  const Qor32s sum[2][2] = {{0, 0}, {0, 10}}, sqr[2][2] = {{0, 0}, {0, 99}};
  Qor32s rounded = -1;
  EXPECT_EQ(qoriRectStdDev_32s_C1RSfs(sum[0], 8, sqr[0], 8, &rounded, 4, {1, 1}, {0, 0, 1, 1}, 0), qorStsNoErr);
  EXPECT_EQ(rounded, 0);
  const Qor64f wide[2][2] = {{0, 0}, {0, 99}}, nan[2][2] = {{0, NAN}, {0, 99}};
  Qor32f deviation = -1;
  EXPECT_EQ(qoriRectStdDev_32s32f_C1R(sum[0], 8, wide[0], 16, &deviation, 4, {1, 1}, {0, 0, 1, 1}), qorStsNoErr);
  EXPECT_EQ(deviation, 0);
  EXPECT_EQ(qoriRectStdDev_32s32f_C1R(sum[0], 8, nan[0], 16, &deviation, 4, {1, 1}, {0, 0, 1, 1}), qorStsNoErr);
  EXPECT_TRUE(isnan(deviation));
}

}  // namespace
