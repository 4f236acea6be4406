#include <fenv.h>
#include <float.h>
#include <math.h>

#include <vector>

#include "qorcv/geometry.h"
#include "support/support.h"

namespace {
using namespace qortest;

// A 32-bit float that rounds towards zero, whatever the processor's mode: what the exact result is beside the nearest
// 64-bit one is known exactly.
struct Cut {
  Qor32f value;

  static Cut of(double nearest, double beside) {
    const auto f = static_cast<Qor32f>(nearest);
    const double over = (f - nearest) * (nearest < 0 ? -1 : 1);
    const bool isOver = over > 0 || (over == 0 && beside * nearest < 0);
    return {isfinite(nearest) && isOver ? nextafterf(f, 0) : f};
  }
  friend Cut operator*(Cut a, Cut b) { return of(double{a.value} * b.value, 0); }
  friend Cut operator+(Cut a, Cut b) {
    const double x = a.value, y = b.value, sum = x + y, added = sum - x;
    return of(sum, (x - (sum - added)) + (y - added));
  }
  friend Cut operator-(Cut a, Cut b) { return a + Cut{-b.value}; }
};

struct Lens {
  Qor32f fx, fy, cx, cy, k1, k2, p1 = 0, p2 = 0;
};

template <class F>
struct Position {
  F u, v;
};

// The words of the header, in a kind of float.
template <class F>
Position<F> radial(const Lens& l, int column, int row) {
  const Qor32f perX = 1 / (l.fx * l.fx), perY = 1 / (l.fy * l.fy);
  const F x{static_cast<Qor32f>(column)}, y{static_cast<Qor32f>(row)}, k1{l.k1}, k2{l.k2};
  const F dx = x - F{l.cx}, rx = dx * F{perX} * dx, dy = y - F{l.cy}, ry = dy * F{perY} * dy;
  const F d = (k2 * rx + k1) * rx + (F{2} * k2 * ry * rx + (k2 * ry + k1) * ry);
  return {dx * d + x, dy * d + y};
}

Position<Qor32f> tangential(const Lens& l, int column, int row) {
  const auto x = static_cast<Qor32f>(column), y = static_cast<Qor32f>(row);
  const Qor32f dx = x - l.cx, dy = y - l.cy, xn = dx * (1 / l.fx), yn = dy * (1 / l.fy), r2 = xn * xn + yn * yn;
  const Qor32f d = (l.k2 * r2 + l.k1) * r2 + xn * (2 * l.p2) + yn * (2 * l.p1);
  return {d * dx + ((l.fx * l.p2) * r2 + x), d * dy + ((l.fy * l.p1) * r2 + y)};
}

template <class T>
Image<T> reference(const Image<T>& src, Image<T> dst, const Lens& l) {
  for (int y = 0; y < src.size.height; ++y) {
    for (int x = 0; x < src.size.width; ++x) {
      const auto [u, v] = radial<Cut>(l, x, y);
      if (!(u.value >= 0 && v.value >= 0 && u.value < src.size.width - 1 && v.value < src.size.height - 1)) continue;
      const int i = static_cast<int>(u.value), j = static_cast<int>(v.value);
      const Cut one{1}, a = u - Cut{static_cast<Qor32f>(i)}, b = v - Cut{static_cast<Qor32f>(j)};
      for (int c = 0; c < src.channels; ++c) {
        const auto p = [&](int right, int below) { return Cut{static_cast<Qor32f>(src.at(i + right, j + below, c))}; };
        const Cut s =
            ((one - a) * (one - b) * p(0, 0) + (one - a) * b * p(0, 1)) + (a * (one - b) * p(1, 0) + a * b * p(1, 1));
        dst.at(x, y, c) = static_cast<T>(std::is_integral_v<T> ? (s + Cut{0.5F}).value : s.value);
      }
    }
  }
  return dst;
}

// Lenses that bend this way and that, about points inside and outside; now and then numbers that lead nowhere.
void drawLens(Call& c) {
  const auto between = [&](double low, double high) {
    if (c.c.random.oneIn(40)) return double{c.pick({NAN, INFINITY, 1e-30F, 1e30F, FLT_MIN, -0.5F})};
    return low + (high - low) * c.c.random.unit();
  };
  const QoriSize size = c.size();
  c.set('f', between(0.3, 1.5) * size.width), c.set('g', between(0.3, 1.5) * size.height);
  c.set('x', between(-0.2, 1.2) * size.width), c.set('y', between(-0.2, 1.2) * size.height);
  const bool isBent = !c.c.random.oneIn(5);
  c.set('k', isBent ? between(-0.4, 0.4) : 0), c.set('j', isBent ? between(-0.1, 0.1) : 0);
  if (!c.has('e')) return;
  // The smallest number still counts, a negative zero does not.
  c.set('e', c.pick({0.0F, -0.0F, 0.01F, 1e-45F})), c.set('n', c.pick({0.0F, -0.0F, -0.02F}));
}

Lens lensOf(const Call& c) {
  const auto at = [&](char role) { return c.has(role) ? c.at<Qor32f>(role) : 0; };
  return {at('f'), at('g'), at('x'), at('y'), at('k'), at('j'), at('e'), at('n')};
}

void focalChecks(DescribedContract& c, int) {
  for (const char role : {'f', 'g'})
    c.check(
        std::string(1, role) + " is 0", qorStsBadArgErr, [&c, role] { return c.now.at<Qor32f>(role) == 0; },
        [&c, role] { c.now.at<Qor32f>(role) = 0; }, [&c, role] { c.now.at<Qor32f>(role) = -0.0F; });
}

template <class T>
void addResampling(Descriptions& d, const char* name, auto* operation) {
  d.add(name, operation, "s.i.zfgxykjw",
        {.checks = "null si | size | step | even | own",
         .draw = drawLens,
         .scratch = reported(qoriUndistortGetSize),
         .expect = [](Call& c) { c.expect('i', reference(c.before<T>('s'), c.before<T>('i'), lensOf(c))); },
         .own = focalChecks,
         .sweep = {.heights = {1, 2, 3, 17}, .thresholds = {{700, 40}}, .repeats = 2}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_UNDISTORT(name, T, channels) addResampling<T>(d, QORTEST_NAMED(name));
#include "../../src/geometry/undistort.def"
  // From 131072 pixels on, past the caches.
  d.add(QORTEST_NAMED(qoriCreateMapCameraUndistort_32f_C1R), "d.d.zfgxykjenw",
        {.checks = "null d | size | step | even | own",
         .draw = drawLens,
         .scratch = reported(qoriUndistortGetSize),
         .expect =
             [](Call& c) {
               const Lens l = lensOf(c);
               Image<Qor32f> u(c.size()), v(c.size());
               for (int y = 0; y < c.size().height; ++y) {
                 for (int x = 0; x < c.size().width; ++x) {
                   const auto p = l.p1 == 0 && l.p2 == 0 ? radial<Qor32f>(l, x, y) : tangential(l, x, y);
                   u.at(x, y) = p.u, v.at(x, y) = p.v;
                 }
               }
               c.expect('d', u);
               c.expect('d', v, Equal::SignedZeros, 2);
             },
         .own = focalChecks,
         .sweep = {.thresholds = {{655, 200}, {655, 201}, {5, 26215}}, .repeats = 2}});
  d.add(QORTEST_NAMED(qoriUndistortGetSize), "zr",
        {.checks = "null | size",
         .expect =
             [](Call& c) {
               const int64_t columns = (int64_t{c.size().width} + 3) / 4 * 4;
               c.expectResult(1, static_cast<int>(static_cast<uint32_t>(columns * 24 + 32)));
             },
         .sweep = {.widths = {1, 4, 5, 8, 1 << 26, 1 << 27, INT_MAX}}});
});

// Straight lens: the inside is copied, also where it is white; the last column and row stay.
TEST(Undistort, OnPaper) {
  const Qor8u src[9] = {255, 2, 3, 4, 255, 6, 7, 8, 9}, want[9] = {255, 2, 0, 4, 255, 0, 0, 0, 0};
  Qor8u dst[9] = {};
  EXPECT_EQ(qoriUndistortRadial_8u_C1R(src, 3, dst, 3, {3, 3}, 5, 5, 1, 1, 0, 0, nullptr), qorStsNoErr);
  EXPECT_EQ(memcmp(dst, want, sizeof dst), 0);
  int size = 0;
  EXPECT_EQ(qoriUndistortGetSize({5, 1}, &size), qorStsNoErr);
  EXPECT_EQ(size, 224);
}

// Without a buffer columns are treated in strips; with one of any address all at once. The caller's rounding mode is
// that of the reciprocals alone (1 / 9 here, which both directions round apart), and comes back.
TEST(Undistort, WithoutABufferAndInEveryRoundingMode) {
  for (const int width : {511, 512, 513, 1030}) {
    const QoriSize size{width, 9};
    int bytes = 0;
    EXPECT_EQ(qoriUndistortGetSize(size, &bytes), qorStsNoErr);
    GuardedImage<Qor32f> src(size);
    src.generate(Maker<Qor32f>(Data::Random, baseSeed()));
    const auto undistorted = [&](Qor8u* buffer, int mode) {
      GuardedImage<Qor32f> dst(size);
      dst.generate([](int, int, int) { return -1.0F; });
      fesetround(mode);
      EXPECT_EQ(qoriUndistortRadial_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), size, 3, 3, 2, 2, -0.001F,
                                            1e-9F, buffer),
                qorStsNoErr);
      EXPECT_EQ(fegetround(), mode);
      fesetround(FE_TONEAREST);
      return dst.pixels();
    };
    const GuardedBytes buffer(bytes, 1);
    const auto want = undistorted(buffer.data(), FE_TONEAREST);
    expectSame(undistorted(nullptr, FE_TONEAREST), want);
    expectSame(undistorted(nullptr, FE_DOWNWARD), undistorted(buffer.data(), FE_TOWARDZERO));
    EXPECT_NE(undistorted(nullptr, FE_UPWARD).samples, undistorted(nullptr, FE_DOWNWARD).samples);
  }
}

}  // namespace
