#include <float.h>
#include <math.h>

#include <algorithm>

#include "distance/zeros.h"
#include "qorcv/distance.h"

namespace {
using namespace qortest;

// What a pixel should be, from the smaller of its neighbours on either axis; infinite outside.
template <class At>
double offered(const Image<Qor32f>& d, int x, int y, At at) {
  const auto value = [&](int i, int j) {
    return i < 0 || j < 0 || i >= d.size.width || j >= d.size.height ? INFINITY : at(i, j);
  };
  const double q = std::min(value(x - 1, y), value(x + 1, y)), p = std::min(value(x, y - 1), value(x, y + 1));
  return fabs(p - q) < 1 ? (p + q + sqrt(2 - (p - q) * (p - q))) / 2 : std::min(p, q) + 1;
}

void expectSolution(Call& c) {
  const Image<Qor32f> d = c.after<Qor32f>('d');
  const Image<Qor8u> src = c.before<Qor8u>('s');
  const auto [w, h] = d.size;
  const float radius = c.at<Qor32f>('k'), limit = radius + 1e-5F;
  const bool hasZero = std::count(src.samples.begin(), src.samples.end(), 0) > 0;
  const auto outside = [&](int x, int y) { return src.at(x, y) == 0 ? 0.0 : double{d.at(x, y)}; };
  // What is not in the band has not come.
  const auto band = [&](int x, int y) { return d.at(x, y) < 0 ? -double{d.at(x, y)} : INFINITY; };
  const auto aside = [&](int x, int y) { return src.at(x, y) == 0 ? INFINITY : 1.0; };
  Image<double> want(d.size);
  for (int i = 0; i < w * h; ++i) {
    const int x = i % w, y = i / w;
    double& v = want.at(x, y);
    if (src.at(x, y) != 0) {
      v = !hasZero && i == 0 ? 999999 : offered(d, x, y, outside);
    } else if (radius > 0) {
      v = offered(d, x, y, aside) < 3 ? -1e-10F : -offered(d, x, y, band);
      // One more that would be at the limit itself may have come or not.
      if (v < -limit && !(v >= -limit * (1 + 1e-6) && d.at(x, y) < 0)) v = 0;
    }
  }
  // Some roundings of the last bit.
  expectAgreement(
      d, want,
      [](Qor32f got, double v) {
        return v == 0 || v == -1e-10F ? same(got, Qor32f(v), Equal::SignedZeros) : fabs(got - v) <= 6e-7 * fabs(v);
      },
      "fixed point");
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriFastMarching_8u32f_C1R), "s.d.zkw",
        {.checks = "null | size | step | even | least k BadArgErr 0",
         .draw =
             [](Call& c) {
               c.set('k', c.c.usual ? 0 : c.pick({0.0, -0.0, 1e-30, 1.0, 1.999995, 5.0, 40.0, HUGE_VAL}));
               appendCase(" radius %g", c.real('k'));
             },
         .fill = [](Call& c) { drawZeros(c, 's'); },
         .scratch = reported(qoriFastMarchingGetBufferSize_8u32f_C1R),
         .expect = expectSolution,
         .teamOf = [](const Arguments& a, int threads, int) { return threads > 1 && a.size().height > 5 ? 2 : 0; },
         .teamSizes = {{40, 5}, {1, 6}, {40, 6}},
         .sweep = {.heights = {1, 2, 5, 6, 7, 33}, .thresholds = {{200, 90}, {90, 200}}, .repeats = 2}});
  d.add(QORTEST_NAMED(qoriFastMarchingGetBufferSize_8u32f_C1R), "zr",
        {.checks = "null | size",
         .expect =
             [](Call& c) {
               const int64_t padded = (c.size().width + int64_t{31}) / 32 * 32;
               c.expectResult(1, static_cast<int>((c.size().height + int64_t{34}) * (padded + 5) + 40));
             },
         .sweep = {.widths = {1, 32, 33, 641, 30000}, .heights = {1, 4, 7, 60000}}});
});

TEST(FastMarching, OnPaper) {
  const Qor8u src[] = {1, 1, 0, 0, 0, 0};
  Qor32f dst[6];
  std::vector<Qor8u> scratch(2000);
  EXPECT_EQ(qoriFastMarching_8u32f_C1R(src, 6, dst, 24, {6, 1}, 1.999995F, scratch.data()), qorStsNoErr);
  const Qor32f want[] = {2, 1, -1e-10F, -1, -2, 0};
  EXPECT_EQ(memcmp(dst, want, sizeof want), 0);
  EXPECT_EQ(qoriFastMarching_8u32f_C1R(src, 6, dst, 24, {6, 1}, NAN, scratch.data()), qorStsNoErr);
  const Qor32f plain[] = {2, 1, 0, 0, 0, 0};
  EXPECT_EQ(memcmp(dst, plain, sizeof plain), 0);
}

}  // namespace
