#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/integral.h"
#include "support/support.h"

namespace {
using namespace qortest;

using Scaled = QorStatus (*)(const Qor32s*, int, const Qor32s*, int, Qor32s*, int, QoriSize, QoriRect, int);
template <class T>
using Unscaled = QorStatus (*)(const T*, int, const Qor64f*, int, Qor32f*, int, QoriSize, QoriRect);

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
int reachOf(Box box, QoriSize roi, QoriRect r) {
  return box == Box::Upright ? roi.width + r.x + r.width : r.width + r.height + r.x + r.y + roi.width - 1;
}

// In the words of the header, in the type of the table; 32-bit integers wrap.
template <class T>
T boxSum(const GuardedImage<T>& table, const Corners& k, int x, int y) {
  const auto at = [&](int i) { return table.at(x + k.column[i], y + k.row[i]); };
  if constexpr (std::is_integral_v<T>) return static_cast<T>(int64_t{at(0)} - at(1) + at(2) - at(3));
  return at(0) - at(1) + at(2) - at(3);
}

template <class T>
Image<Qor32f> reference(const GuardedImage<T>& sum, const GuardedImage<Qor64f>& sqr, QoriSize roi, QoriRect rect,
                        Box box) {
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

Image<Qor32s> reference(const GuardedImage<Qor32s>& sum, const GuardedImage<Qor32s>& sqr, QoriSize roi, QoriRect rect,
                        Box box, int scaleFactor) {
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
template <class T>
GuardedImage<T> tableFor(Case& c, QoriRect rect, Box box) {
  const Corners k = cornersOf(box, rect);
  const auto [least, most] = std::minmax_element(k.column, k.column + 4);
  const int left = std::max(-*least, 0), right = std::max(*most + c.size.width, 1);
  Layout layout{.gap = c.random.below(3), .offset = c.random.below(4), .guard = c.guard, .margin = {.left = left}};
  layout.gap += std::max(reachOf(box, c.size, rect) - left - right, 0);
  GuardedImage<T> table({right, *std::max_element(k.row, k.row + 4) + c.size.height}, layout);
  const int kind = c.random.below(dataKinds<T>(false));
  appendCase(" %s", dataNames[kind]);
  table.generate(Maker<T>(static_cast<Data>(kind), c.random.bits()));
  table.protect();
  return table;
}

// From single pixels to boxes larger than the region; a tilted one may lie on either side of its pixel.
QoriRect randomRect(Case& c) {
  const int most = c.random.oneIn(4) ? 40 : 6;
  const QoriRect r{c.random.below(most), c.random.below(most), c.random.between(1, most), c.random.between(1, most)};
  appendCase(" rect %d, %d, %d x %d", r.x, r.y, r.width, r.height);
  return r;
}

// Around two threads for 1024 pixels each, more than 32 of those, fewer rows than threads.
const Sweep sizes{.thresholds = {{32, 63}, {32, 64}, {33, 63}, {223, 149}, {12345, 3}}};

// What the two shapes of call have in common: the last arguments differ.
template <class T, class Q, class D, class... Last>
void checkContract(const char* name,
                   QorStatus (*operation)(const T*, int, const Q*, int, D*, int, QoriSize, QoriRect, Last...), Box box,
                   Last... last) {
  const auto describe = [&](auto& contract, auto pSum, auto sumStep, auto pSqr, auto sqrStep, auto pDst, auto dstStep,
                            auto roiSize, auto rect) {
    const auto reach = [&contract, roiSize, rect, box](size_t bytes) {
      const QoriRect r = contract[rect];
      const int64_t width = contract[roiSize].width;
      const int64_t beside = int64_t{r.x} + r.width;
      return static_cast<ptrdiff_t>(static_cast<int64_t>(bytes) *
                                    (box == Box::Upright ? width + beside : beside + r.height + r.y + width - 1));
    };
    contract.set(rect, {3, 2, 5, 4});
    contract.null(pSum, pSqr, pDst);
    contract.size(roiSize);
    contract.step([=] { return reach(sizeof(T)); }, sumStep);
    contract.step(sizeof(D), dstStep);
    contract.step([=] { return reach(sizeof(Q)); }, sqrStep);
    contract.even(sizeof(T), sumStep, dstStep);
    contract.even(sizeof(Q), sqrStep);
    contract.atLeast(rect, qorStsBadArgErr, 0, &QoriRect::x);
    contract.atLeast(rect, qorStsBadArgErr, 0, &QoriRect::y);
    contract.atLeast(rect, qorStsBadArgErr, 1, &QoriRect::width);
    contract.atLeast(rect, qorStsBadArgErr, 1, &QoriRect::height);
  };
  Contract contract(name, operation);
  if constexpr (sizeof...(Last) == 0) {
    QORTEST_ARGUMENTS(contract, pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect);
    describe(contract, pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect);
  } else {
    QORTEST_ARGUMENTS(contract, pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect, scaleFactor);
    describe(contract, pSum, sumStep, pSqr, sqrStep, pDst, dstStep, roiSize, rect);
    contract.any(scaleFactor, last...);
  }
  contract.run();

  // A reach beyond 31 bits is a step too small, whatever its low bits say; an empty box is found behind the steps.
  const auto withRect = [&](QoriRect r) {
    return operation(noAccess<T>(0), 4096, noAccess<Q>(1), 4096, noAccess<D>(2), 4096, {8, 8}, r, last...);
  };
  for (const QoriRect r : {QoriRect{INT_MAX, 0, 1, 1}, {INT_MAX, 0, INT_MAX, 1}, {0x40000000, 0, 0x40000000, 1}})
    EXPECT_EQ(withRect(r), qorStsStepErr) << r.x << ' ' << r.width;
  EXPECT_EQ(withRect({0, 0, 0, 1}), qorStsBadArgErr);
}

template <class T>
void testUnscaled(const char* name, Unscaled<T> operation, Box box) {
  sweep(name, sizes, [&](Case& c) {
    const QoriRect rect = randomRect(c);
    const auto sum = tableFor<T>(c, rect, box);
    const auto sqr = tableFor<Qor64f>(c, rect, box);
    auto dst = c.output<Qor32f>();
    EXPECT_EQ(operation(sum.data(), sum.step(), sqr.data(), sqr.step(), dst.data(), dst.step(), c.size, rect),
              qorStsNoErr);
    expectSame(dst, reference(sum, sqr, c.size, rect, box), Equal::SignedZeros);
  });
  checkContract(name, operation, box);
}

void testScaled(const char* name, Scaled operation, Box box) {
  sweep(name, sizes, [&](Case& c) {
    constexpr int factors[] = {0, 1, 5, 17, 31, 60, 1100, INT_MAX, -1, -7, -31, -60, -1100, INT_MIN + 1, INT_MIN};
    const int scaleFactor = factors[c.random.below(static_cast<int>(std::size(factors)))];
    const QoriRect rect = randomRect(c);
    appendCase(" scale factor %d", scaleFactor);
    const auto sum = tableFor<Qor32s>(c, rect, box);
    const auto sqr = tableFor<Qor32s>(c, rect, box);
    auto dst = c.output<Qor32s>();
    EXPECT_EQ(
        operation(sum.data(), sum.step(), sqr.data(), sqr.step(), dst.data(), dst.step(), c.size, rect, scaleFactor),
        qorStsNoErr);
    expectSame(dst, reference(sum, sqr, c.size, rect, box, scaleFactor));
  });
  checkContract(name, operation, box, 0);
}

TEST(RectStdDev, Upright) {
  testScaled(QORTEST_NAMED(qoriRectStdDev_32s_C1RSfs), Box::Upright);
  testUnscaled(QORTEST_NAMED(qoriRectStdDev_32s32f_C1R), Box::Upright);
  testUnscaled(QORTEST_NAMED(qoriRectStdDev_32f_C1R), Box::Upright);
}

TEST(RectStdDev, Tilted) {
  testScaled(QORTEST_NAMED(qoriTiltedRectStdDev_32s_C1RSfs), Box::Tilted);
  testUnscaled(QORTEST_NAMED(qoriTiltedRectStdDev_32s32f_C1R), Box::Tilted);
  testUnscaled(QORTEST_NAMED(qoriTiltedRectStdDev_32f_C1R), Box::Tilted);
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
