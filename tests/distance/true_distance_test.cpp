#include <float.h>
#include <math.h>

#include <algorithm>

#include "distance/zeros.h"
#include "qorcv/distance.h"

namespace {
using namespace qortest;

// Squares of the distances, over all zeros of the column, then over all columns.
Image<double> reference(const Image<Qor8u>& src) {
  const auto [w, h] = src.size;
  Image<double> columns(src.size), squares(src.size);
  for (int pass = 0; pass < 2; ++pass) {
    for (int i = 0; i < w * h; ++i) {
      const int x = i % w, y = i / w;
      double nearest = pass == 0 ? INFINITY : FLT_MAX;
      for (int j = 0; j < h && pass == 0; ++j)
        if (src.at(x, j) == 0) nearest = std::min(nearest, double(y - j) * (y - j));
      for (int k = 0; k < w && pass == 1; ++k) nearest = std::min(nearest, columns.at(k, y) + double(x - k) * (x - k));
      (pass == 0 ? columns : squares).at(x, y) = nearest;
    }
  }
  return squares;
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriTrueDistanceTransform_8u32f_C1R), "s.d.zw",
        {.fill = [](Call& c) { drawZeros(c, 's'); },
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
         .expect =
             [](Call& c) {
               const int longer = (std::max(c.size().width, c.size().height) + 3) / 4 * 4;
               c.expectResult(1, (24 * longer + 56) * c.c.threads);
             },
         .sweep = {.widths = {1, 4, 5, 641, 2000000}, .heights = {1, 4, 7, 1000000}}});
});

// Columns whose squares leave 24 bits.
TEST(TrueDistance, LongRow) {
  const auto fill = [](Call& c) {
    c.image<Qor8u>('s').generate([&](int, int, int) { return static_cast<Qor8u>(c.c.random.below(9)); });
  };
  runOwn("qoriTrueDistanceTransform_8u32f_C1R", {9000, 1}, {.fill = fill});
}

}  // namespace
