#include <math.h>

#include "qorcv/arith.h"
#include "support/support.h"

namespace {
using namespace qortest;

double degrees(Qor32f y, Qor32f x) {
  if (x == 0 && y == 0) return 0;
  const double angle = atan2(double{y}, double{x}) * (180 / M_PI);
  return angle < 0 ? angle + 360 : angle;
}

// Around the circle, so that 359.999 and 0 are neighbours.
double distanceOf(double a, double b) { return fabs(remainder(a - b, 360)); }

void expectAngle(Qor32f got, Qor32f y, Qor32f x) {
  const double want = degrees(y, x);
  if (isnan(x) || isnan(y)) {
    ASSERT_TRUE(isnan(got)) << currentCase();
  } else {
    ASSERT_LE(distanceOf(double{got}, want), 0.01) << "y " << y << " x " << x << " got " << got << ' ' << currentCase();
    ASSERT_TRUE(got >= 0 && got < 360 && !signbit(got)) << "y " << y << " x " << x << " got " << got;
  }
}

const Descriptions member([](Descriptions& d) {
  const auto expectAngles = [](Call& c) {
    const Image<Qor32f> got = c.after<Qor32f>('d');
    for (int i = 0; i < c.size().width; ++i)
      expectAngle(got.at(i, 0), c.before<Qor32f>('s').at(i, 0), c.before<Qor32f>('s', 2).at(i, 0));
  };
  d.add(QORTEST_NAMED(qoribFastArctan_32f), "SSdz", {.expect = expectAngles, .sweep = {.heights = {1}}});
});

TEST(FastArctan, AroundTheCircleAndOnItsAxes) {
  constexpr int steps = 1 << 16;
  GuardedImage<Qor32f> y({steps, 1}), x({steps, 1}), dst({steps, 1});
  for (const double radius : {1e-30, 1.0, 1e30}) {
    y.generate([=](int i, int, int) { return static_cast<Qor32f>(radius * sin(i * (2 * M_PI / steps))); });
    x.generate([=](int i, int, int) { return static_cast<Qor32f>(radius * cos(i * (2 * M_PI / steps))); });
    EXPECT_EQ(qoribFastArctan_32f(y.data(), x.data(), dst.data(), steps), qorStsNoErr);
    for (int i = 0; i < steps; ++i) expectAngle(dst.at(i, 0), y.at(i, 0), x.at(i, 0));
  }
  const struct {
    Qor32f y, x, angle;
  } exact[] = {{0, 0, 0},        {-0.0F, -0.0F, 0},   {0, 5, 0},          {-0.0F, 5, 0},       {5, 0, 90},
               {5, -0.0F, 90},   {0, -5, 180},        {-5, 0, 270},       {-1e-30F, 1e30F, 0}, {INFINITY, 1, 90},
               {1, INFINITY, 0}, {1, -INFINITY, 180}, {-INFINITY, 1, 270}};
  for (const auto& e : exact) {
    Qor32f got = -1;
    EXPECT_EQ(qoribFastArctan_32f(&e.y, &e.x, &got, 1), qorStsNoErr);
    EXPECT_EQ(got, e.angle) << e.y << ' ' << e.x;
  }
  for (const Qor32f endlessY : {INFINITY, -INFINITY}) {
    for (const Qor32f endlessX : {INFINITY, -INFINITY}) {
      Qor32f got = -1;
      EXPECT_EQ(qoribFastArctan_32f(&endlessY, &endlessX, &got, 1), qorStsNoErr);
      expectAngle(got, endlessY, endlessX);
    }
  }
}

}  // namespace
