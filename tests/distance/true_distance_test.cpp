#include <float.h>
#include <math.h>

#include <algorithm>

#include "qorcv/distance.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Squares of the distances, over all zeros of the column, then over all columns.
Image<double> reference(const Image<Qor8u>& src) {
  const auto [w, h] = src.size;
  Image<double> columns(src.size), squares(src.size);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      double nearest = INFINITY;
      for (int j = 0; j < h; ++j)
        if (src.at(x, j) == 0) nearest = std::min(nearest, double{abs(y - j) * 1.0 * abs(y - j)});
      columns.at(x, y) = nearest;
    }
  }
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      double nearest = FLT_MAX;
      for (int i = 0; i < w; ++i) nearest = std::min(nearest, columns.at(i, y) + (x - i) * 1.0 * (x - i));
      squares.at(x, y) = nearest;
    }
  }
  return squares;
}

// Zeros as they come, scattered ones, blobs, few, one; and some columns without any.
void fill(Call& c) {
  Random& random = c.c.random;
  const int kind = random.below(5), x0 = random.below(c.size().width), y0 = random.below(c.size().height);
  const int apart = random.between(2, 90);
  if (kind == 0) return;
  c.image<Qor8u>('s').generate([&](int x, int y, int) {
    const bool isZero = kind == 1   ? random.oneIn(apart)
                        : kind == 2 ? sin(x * 3.0 / apart) + cos(y * 5.0 / apart) < 0.3
                        : kind == 3 ? x % 3 == 0 && random.oneIn(apart)
                                    : x == x0 && y == y0;
    return static_cast<Qor8u>(isZero ? 0 : random.between(1, 255));
  });
}

int bytesFor(QoriSize size, int threads) {
  const int64_t longer = (std::max(size.width, size.height) + int64_t{3}) / 4 * 4;
  const int64_t stated = (24 * longer + 56) * threads;
  return static_cast<int>(static_cast<uint32_t>(stated));
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriTrueDistanceTransform_8u32f_C1R), "s.d.zw",
        {.fill = fill,
         .scratch = reported(qoriTrueDistanceTransformGetBufferSize_8u32f_C1R),
         .expect =
             [](Call& c) {
               Image<Qor32f> want(c.size());
               const auto squares = reference(c.before<Qor8u>('s'));
               std::transform(squares.samples.begin(), squares.samples.end(), want.samples.begin(),
                              [](double s) { return static_cast<Qor32f>(sqrt(s)); });
               c.expect('d', want);
             },
         .teamOf = [](const Arguments&, int threads, int) { return threads > 1 ? threads : 0; },
         .teamSizes = {{1, 1}, {70, 3}},
         .sweep = {.heights = {1, 2, 3, 40}, .thresholds = {{1, 200}, {300, 90}}, .repeats = 2}});
  d.add(QORTEST_NAMED(qoriTrueDistanceTransformGetBufferSize_8u32f_C1R), "zr",
        {.checks = "null | size",
         .expect = [](Call& c) { c.expectResult(1, bytesFor(c.size(), c.c.threads)); },
         .sweep = {.widths = {1, 4, 5, 641, 2000000}, .heights = {1, 4, 7, 1000000}}});
});

// Far beyond what squares of 24 bits hold: zeros are exact, and the error stays relative.
TEST(TrueDistance, LongRows) {
  const int width = 20000, height = 2;
  Case c({width, height});
  auto src = c.image<Qor8u>();
  auto dst = c.output<Qor32f>();
  int bytes = 0;
  EXPECT_EQ(qoriTrueDistanceTransformGetBufferSize_8u32f_C1R(c.size, &bytes), qorStsNoErr);
  auto scratch = c.scratch(bytes);
  for (const int apart : {2, 100, 7000}) {
    src.generate([&](int x, int, int) { return static_cast<Qor8u>(x == 0 || c.random.oneIn(apart) ? 0 : 1); });
    EXPECT_EQ(
        qoriTrueDistanceTransform_8u32f_C1R(src.data(), src.step(), dst.data(), dst.step(), c.size, scratch.data()),
        qorStsNoErr);
    int zero = 0;
    for (int x = 0; x < width; ++x) {
      if (src.at(x, 0) == 0) zero = x;
      EXPECT_LE(dst.at(x, 0), x - zero) << x;
      if (x > 0) {
        EXPECT_LE(dst.at(x - 1, 0), (dst.at(x, 0) + 1) * (1 + 1e-6)) << x;
      }
    }
  }
}

}  // namespace
