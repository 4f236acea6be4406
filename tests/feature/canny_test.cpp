#include <math.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "qorcv/feature.h"
#include "support/outside.h"
#include "support/support.h"

namespace {
using namespace qortest;

using Floats = Image<Qor32f>;

// Directions, thin edges and hysteresis as the header tells them. The magnitudes have a margin of zeros.
Image<Qor8u> edgesOf(const Floats& dx, const Floats& dy, const Floats& m, Qor32f high) {
  const QoriSize size = dx.size;
  Image<Qor8u> thin(size, 1, {1, 1, 1, 1}), edges(size);
  std::vector<QoriPoint> strong;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Qor32f ax = fabsf(dx.at(x, y)), ay = fabsf(dy.at(x, y)), here = m.at(x, y);
      const Qor32f steep = ax * 2.4142137F, flat = ax * 0.41421357F;
      const bool isSteep = ay > steep, isFlat = !isSteep && ay < flat;
      const bool isFalling = signbit(dx.at(x, y)) == signbit(dy.at(x, y));
      const int stepX = isSteep ? 0 : isFlat || isFalling ? 1 : -1, stepY = isFlat ? 0 : 1;
      const Qor32f before = m.at(x - stepX, y - stepY), after = m.at(x + stepX, y + stepY);
      const bool isAxis = isSteep || isFlat;
      thin.at(x, y) = here != 0 && here > before && (isAxis ? here >= after : here > after);
      if (thin.at(x, y) != 0 && here > high) strong.push_back({x, y});
    }
  }
  while (!strong.empty()) {
    const QoriPoint p = strong.back();
    strong.pop_back();
    edges.at(p.x, p.y) = 255;
    for (int y = p.y - 1; y <= p.y + 1; ++y)
      for (int x = p.x - 1; x <= p.x + 1; ++x)
        if (std::exchange(thin.at(x, y), Qor8u{0}) != 0) strong.push_back({x, y});
  }
  return edges;
}

template <class C>
void expectFromDerivatives(Call& c) {
  const Image<C>&first = c.before<C>('s', 1), &second = c.before<C>('s', 2);
  const QoriSize size = first.size;
  const Qor32f low = c.at<Qor32f>('L');
  Floats dx(size), dy(size), m(size, 1, {1, 1, 1, 1});
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      dx.at(x, y) = static_cast<Qor32f>(first.at(x, y)), dy.at(x, y) = static_cast<Qor32f>(second.at(x, y));
      Qor32f sum = fabsf(dx.at(x, y)) + fabsf(dy.at(x, y));
      if (sizeof(C) == 2 && x < size.width / 8 * 8) sum = std::min(sum, 65535.0F);
      const bool isLow = sizeof(C) == 2 ? !(sum > low) : sum < low;
      m.at(x, y) = isLow ? 0 : sum;
    }
  }
  c.expect('d', edgesOf(dx, dy, m, c.at<Qor32f>('H')));
}

// Rule 6 is the constant, but for the sides with flags.
int readBorder(const Arguments& a) { return (a.number('b') & 15) == 6 ? a.number('b') & 240 : a.number('b'); }

void expectFromImage(Call& c) {
  const Image<Qor8u>& src = c.before<Qor8u>('s');
  const QoriSize size = src.size;
  const int border = readBorder(c), reach = c.number('k') / 22;
  const Sides in = memorySides(border);
  const auto pixel = [&](int x, int y) -> int {
    const auto row = place(border, y, size.height, in.top, in.bottom);
    const auto column = place(border, x, size.width, in.left, in.right);
    return row && column ? src.at(*column, *row) : c.at<Qor8u>('v');
  };
  const std::vector<int> smooth = reach == 2           ? std::vector<int>{1, 4, 6, 4, 1}
                                  : c.number('f') == 2 ? std::vector<int>{1, 2, 1}
                                                       : std::vector<int>{3, 10, 3};
  const std::vector<int> derive = reach == 2 ? std::vector<int>{-1, -2, 0, 2, 1} : std::vector<int>{-1, 0, 1};
  Floats dx(size), dy(size), m(size, 1, {1, 1, 1, 1});
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      int gx = 0, gy = 0;
      for (int j = 0; j <= 2 * reach; ++j) {
        for (int i = 0; i <= 2 * reach; ++i) {
          const int p = pixel(x + i - reach, y + j - reach);
          gx += smooth[static_cast<size_t>(j)] * derive[static_cast<size_t>(i)] * p;
          gy += derive[static_cast<size_t>(j)] * smooth[static_cast<size_t>(i)] * p;
        }
      }
      const Qor32f fx = static_cast<Qor32f>(gx), fy = static_cast<Qor32f>(gy), xx = fx * fx, yy = fy * fy;
      const Qor32f sum = c.number('n') == qorNormL1 ? fabsf(fx) + fabsf(fy) : sqrtf(xx + yy);
      dx.at(x, y) = fx, dy.at(x, y) = fy, m.at(x, y) = sum > c.at<Qor32f>('L') ? sum : 0;
    }
  }
  c.expect('d', edgesOf(dx, dy, m, c.at<Qor32f>('H')));
}

void drawThresholds(Call& c) {
  Qor32f t[2] = {-0.0F, 1};
  for (Qor32f& each : t)
    if (!c.c.usual)
      each = c.pick({-0.0F, 0.0F, 1.0F, 2.5F, 6.0F, 40.0F, 300.0F, 1500.0F, 2e4F, 65535.0F, 65536.0F, 1e10F});
  c.set('L', double{std::min(t[0], t[1])}), c.set('H', double{std::max(t[0], t[1])});
  appendCase(" %g %g", double{c.at<Qor32f>('L')}, double{c.at<Qor32f>('H')});
}

void ownChecks(DescribedContract& c, int which) {
  Qor32f &low = c.now.at<Qor32f>('L'), &high = c.now.at<Qor32f>('H');
  if (which == 1) {
    c.check(
        "thresholds", qorStsBadArgErr, [&] { return low < 0 || low > high; }, [&] { low = -1e-30F; },
        [&] { high = nextafterf(low, -1); }, [&] { low = INFINITY; });
    return;
  }
  int &filter = c.now.at<int>('f'), &mask = c.now.at<int>('k');
  c.check(
      "mask", qorStsMaskSizeErr, [&] { return (mask != 33 && mask != 55) || (filter == 5 && mask == 55); },
      [&] { mask = 53; }, [&] { mask = 0; }, [&] { filter = 5, mask = 55; });
}

template <class C>
void addFromDerivatives(Descriptions& d, const char* name, auto* canny) {
  d.add(name, canny, "s.s.d.zLHw",
        {.checks = "null | size | step | even | own 1",
         .draw = drawThresholds,
         .scratch = reported(qoriCannyGetSize),
         .expect = expectFromDerivatives<C>,
         .own = ownChecks});
}

const Descriptions members([](Descriptions& d) {
  addFromDerivatives<Qor16s>(d, QORTEST_NAMED(qoriCanny_16s8u_C1R));
  addFromDerivatives<Qor32f>(d, QORTEST_NAMED(qoriCanny_32f8u_C1R));
  d.add(QORTEST_NAMED(qoriCannyBorder_8u_C1R), "S.d.zfkbvLHnw",
        {.checks = "own 2 | null | size | one f BadArgErr | one n BadArgErr | own 1 | border b BorderErr 240 0 1 6",
         .values = {{'f', {2, 5}}, {'n', {2, 4}}, {'b', borders({0, 1, 6}, 240)}},
         .draw =
             [](Call& c) {
               c.set('k', !c.c.usual && c.number('f') == 2 ? c.pick({33, 55}) : 33);
               drawThresholds(c);
             },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') s.margin = marginOf(memorySides(readBorder(a)), a.number('k') / 22);
             },
         .scratch =
             [](const Arguments& a) {
               int bytes = -1;
               EXPECT_EQ(qoriCannyBorderGetSize(a.size(), -1, a.number('k'), -1, &bytes), qorStsNoErr);
               return bytes;
             },
         .expect = expectFromImage,
         .own = ownChecks,
         .sweep = {.variants = 2, .repeats = 3}});
  const Sweep sizes{.widths = {1, 641, 9999, 65532, 65533, INT_MAX}, .heights = {1, 479, 65532, 65533, INT_MAX}};
  d.add(QORTEST_NAMED(qoriCannyGetSize), "zr",
        {.checks = "null | size",
         .expect =
             [](Call& c) {
               const uint32_t w = static_cast<uint32_t>(c.size().width), h = static_cast<uint32_t>(c.size().height);
               const uint32_t each = w < 65533 && h < 65533 ? 5 : 9;
               c.expectResult(1, static_cast<int>(each * (w + 2) * (h + 2) + 16 * w + 160));
             },
         .sweep = sizes});
  d.add(QORTEST_NAMED(qoriCannyBorderGetSize), "zfktr",
        {.checks = "null | size | one k MaskSizeErr",
         .values = {{'k', {33, 55}}, {'f', {2, -7}}, {'t', {1, 0}}},
         .expect =
             [](Call& c) {
               const uint32_t a = c.number('k') == 33 ? 2 : 4;
               const uint32_t w = static_cast<uint32_t>(c.size().width) + a;
               const uint32_t h = static_cast<uint32_t>(c.size().height) + a;
               c.expectResult(1, static_cast<int>(w * (h + 16) + 4 * w * h + 64));
             },
         .sweep = sizes});
});

// Derivatives near the bounds of the directions, with magnitudes that hardly differ: what is an edge depends on them.
template <class C>
void expectNearBounds(const char* name) {
  for (const int around : {0, 1018, 5740, 6148, 13500}) {
    for (const Qor32f slope : {2.4142137F, 0.41421357F}) {
      runOwn(name, {67, 41},
             {[](Call& c) { c.set('L', 0), c.set('H', 3); },
              [=](Call& c) {
                auto &dx = c.image<C>('s', 1), &dy = c.image<C>('s', 2);
                dx.generate([&](int, int, int) { return static_cast<C>(around + c.c.random.below(4)); });
                dy.generate([&](int x, int y, int) {
                  const int sign = c.c.random.oneIn(2) ? -1 : 1;
                  const Qor32f bound = static_cast<Qor32f>(dx.at(x, y)) * slope;
                  return static_cast<C>(sign * (static_cast<int>(bound) + c.c.random.below(3) - 1));
                });
              }});
    }
  }
}

TEST(Canny, DirectionsNearTheirBounds) {
  expectNearBounds<Qor16s>("qoriCanny_16s8u_C1R");
  expectNearBounds<Qor32f>("qoriCanny_32f8u_C1R");
}

// Sums of 65536 behind the columns that saturate.
TEST(Canny, SumsBeyondSixteenBits) {
  for (const Qor32f low : {0.0F, 65535.0F}) {
    runOwn("qoriCanny_16s8u_C1R", {45, 9},
           {[=](Call& c) { c.set('L', double{low}), c.set('H', 65535); },
            [](Call& c) {
              for (const int which : {1, 2})
                c.image<Qor16s>('s', which).generate([&](int, int, int) {
                  return static_cast<Qor16s>(INT16_MIN + c.c.random.oneIn(3));
                });
            }});
  }
}

// Long chains; and offsets in rows beyond 16 bits, where the scratch is another one.
TEST(Canny, LargeImages) {
  for (const QoriSize size : {QoriSize{300, 200}, {70000, 5}, {3, 66000}}) {
    runOwn("qoriCanny_16s8u_C1R", size, {[](Call& c) { c.set('L', 0), c.set('H', 60000); }, {}});
    runOwn("qoriCannyBorder_8u_C1R", size, {[](Call& c) { c.set('L', 0), c.set('H', 1600); }, {}});
  }
}

// A picture read and written from its last row on is the picture upside down.
TEST(Canny, StepsAreTakenAsTheyAre) {
  const QoriSize size{37, 11};
  Case c(size);
  const auto src = c.image<Qor8u>();
  GuardedImage<Qor8u> turned(size), edges(size), ofTurned(size);
  turned.generate([&](int x, int y, int) { return src.at(x, size.height - 1 - y); });
  int bytes = 0;
  ASSERT_EQ(qoriCannyBorderGetSize(size, qorFilterSobel, 33, qor8u, &bytes), qorStsNoErr);
  const GuardedBytes buffer(bytes);
  const auto detect = [&](const Qor8u* from, int step, Qor8u* to, int toStep) {
    EXPECT_EQ(qoriCannyBorder_8u_C1R(from, step, to, toStep, size, qorFilterSobel, 33, qorBorderRepl, 0, 9, 400,
                                     qorNormL1, buffer.data()),
              qorStsNoErr);
  };
  detect(turned.data(), turned.step(), ofTurned.data(), ofTurned.step());
  detect(&src.at(0, size.height - 1), -src.step(), &edges.at(0, size.height - 1), -edges.step());
  edges.generate([&, copy = edges.pixels()](int x, int y, int) { return copy.at(x, size.height - 1 - y); });
  expectSame(edges, ofTurned.pixels());
}

}  // namespace
