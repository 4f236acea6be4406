#include <utility>

#include "feature/gradient.h"

namespace {
using namespace qortest;

// Directions, thin edges and hysteresis as the header tells them. The magnitudes have a margin of zeros.
template <class C>
Image<Qor8u> edgesOf(const Image<C>& gx, const Image<C>& gy, const Image<Qor32f>& m, Qor32f high) {
  const QoriSize size = gx.size;
  Image<Qor8u> thin(size, 1, {1, 1, 1, 1}), edges(size);
  std::vector<QoriPoint> strong;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const auto dx = static_cast<Qor32f>(gx.at(x, y)), dy = static_cast<Qor32f>(gy.at(x, y));
      const Qor32f steep = fabsf(dx) * 2.4142137F, flat = fabsf(dx) * 0.41421357F, here = m.at(x, y);
      const bool isSteep = fabsf(dy) > steep, isFlat = !isSteep && fabsf(dy) < flat, isAxis = isSteep || isFlat;
      const int stepX = isSteep ? 0 : isFlat || signbit(dx) == signbit(dy) ? 1 : -1, stepY = isFlat ? 0 : 1;
      const Qor32f before = m.at(x - stepX, y - stepY), after = m.at(x + stepX, y + stepY);
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

// magnitude(x, y) before the low threshold, by which isLow(m) leaves it out.
template <class C>
void expectEdges(Call& c, const Image<C>& dx, const Image<C>& dy, auto magnitude, auto isLow) {
  Image<Qor32f> m(dx.size, 1, {1, 1, 1, 1});
  for (int y = 0; y < dx.size.height; ++y) {
    for (int x = 0; x < dx.size.width; ++x) {
      const Qor32f all = magnitude(x, static_cast<Qor32f>(dx.at(x, y)), static_cast<Qor32f>(dy.at(x, y)));
      m.at(x, y) = isLow(all, c.at<Qor32f>('L')) ? 0 : all;
    }
  }
  c.expect('d', edgesOf(dx, dy, m, c.at<Qor32f>('H')));
}

const auto isNotAbove = [](Qor32f m, Qor32f low) { return !(m > low); };

template <class C>
void expectFromDerivatives(Call& c) {
  const Image<C>&dx = c.before<C>('s', 1), &dy = c.before<C>('s', 2);
  const auto sum = [&](int x, Qor32f gx, Qor32f gy) {
    const Qor32f m = fabsf(gx) + fabsf(gy);
    return sizeof(C) == 2 && x < dx.size.width / 8 * 8 ? std::min(m, 65535.0F) : m;
  };
  if (sizeof(C) == 2) return expectEdges(c, dx, dy, sum, isNotAbove);
  expectEdges(c, dx, dy, sum, [](Qor32f m, Qor32f low) { return m < low; });
}

// Rule 6 is the constant, but for the sides with flags.
int readBorder(const Arguments& a) { return (a.number('b') & 15) == 6 ? a.number('b') & 240 : a.number('b'); }

void expectFromImage(Call& c) {
  const Gradient g = gradientOf<Qor8u>(c, readBorder(c));
  const auto norm = [&](int, Qor32f x, Qor32f y) {
    const Qor32f xx = x * x, yy = y * y;
    return c.number('n') == qorNormL1 ? fabsf(x) + fabsf(y) : sqrtf(xx + yy);
  };
  expectEdges(c, g.dx, g.dy, norm, isNotAbove);
}

void drawThresholds(Call& c) {
  const auto draw = [&] { return c.pick({-0.0F, 0.0F, 1.0F, 2.5F, 6.0F, 40.0F, 300.0F, 1500.0F, 65535.0F, 1e10F}); };
  const Qor32f first = c.c.usual ? 0 : draw(), second = c.c.usual ? 1 : draw();
  c.set('L', double{std::min(first, second)}), c.set('H', double{std::max(first, second)});
  appendCase(" %g %g", double{first}, double{second});
}

void ownChecks(DescribedContract& c, int which) {
  Qor32f &low = c.now.at<Qor32f>('L'), &high = c.now.at<Qor32f>('H');
  if (which == 1)
    return c.check(
        "thresholds", qorStsBadArgErr, [&] { return low < 0 || low > high; }, [&] { low = -1e-30F; },
        [&] { high = -1; }, [&] { low = INFINITY; });
  int &filter = c.now.at<int>('f'), &mask = c.now.at<int>('k');
  c.check(
      "mask", qorStsMaskSizeErr, [&] { return (mask != 33 && mask != 55) || (filter == 5 && mask == 55); },
      [&] { mask = 53; }, [&] { filter = 5, mask = 55; });
}

const Descriptions members([](Descriptions& d) {
  const auto add = [&](const char* name, auto* canny, auto* expect) {
    d.add(name, canny, "s.s.d.zLHw",
          {.checks = "null | size | step | even | own 1",
           .draw = drawThresholds,
           .scratch = reported(qoriCannyGetSize),
           .expect = expect,
           .own = ownChecks});
  };
  add(QORTEST_NAMED(qoriCanny_16s8u_C1R), expectFromDerivatives<Qor16s>);
  add(QORTEST_NAMED(qoriCanny_32f8u_C1R), expectFromDerivatives<Qor32f>);
  d.add(QORTEST_NAMED(qoriCannyBorder_8u_C1R), "S.d.zfkbvLHnw",
        {.checks = "own 2 | null | size | one f BadArgErr | one n BadArgErr | own 1 | border b BorderErr 240 0 1 6",
         .values = {{'f', {2, 5}}, {'n', {2, 4}}, {'b', borders({0, 1, 6}, 240)}, {'t', {0}}},
         .draw =
             [](Call& c) {
               c.set('k', !c.c.usual && c.number('f') == 2 ? c.pick({33, 55}) : 33);
               drawThresholds(c);
             },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') s.margin = marginOf(memorySides(readBorder(a)), reachOf(a));
             },
         .scratch = reported(qoriCannyBorderGetSize, 'f', 'k', 'n'),
         .expect = expectFromImage,
         .own = ownChecks,
         .sweep = {.repeats = 3}});
  d.add(QORTEST_NAMED(qoriCannyGetSize), "zr", {.checks = "null | size"});
  d.add(QORTEST_NAMED(qoriCannyBorderGetSize), "zfktr",
        {.checks = "null | size | one k MaskSizeErr", .values = {{'k', {33, 55}}, {'f', {2, -7}}, {'t', {1, 0}}}});
});

// Derivatives near the bounds of the directions, with magnitudes that hardly differ: what is an edge depends on them.
template <class C>
void expectNearBounds(const char* name) {
  for (const int around : {0, 1018, 5740, 6148, 13500}) {
    for (const Qor32f slope : {2.4142137F, 0.41421357F}) {
      const auto fill = [=](Call& c) {
        auto &dx = c.image<C>('s', 1), &dy = c.image<C>('s', 2);
        dx.generate([&](int, int, int) { return static_cast<C>(around + c.c.random.below(4)); });
        dy.generate([&](int x, int y, int) {
          const int bound = static_cast<int>(static_cast<Qor32f>(dx.at(x, y)) * slope) + c.c.random.below(3) - 1;
          return static_cast<C>(c.c.random.oneIn(2) ? -bound : bound);
        });
      };
      runOwn(name, {67, 41}, {[](Call& c) { c.set('L', 0), c.set('H', 3); }, fill});
    }
  }
}

TEST(Canny, DirectionsNearTheirBounds) {
  expectNearBounds<Qor16s>("qoriCanny_16s8u_C1R");
  expectNearBounds<Qor32f>("qoriCanny_32f8u_C1R");
}

// Sums of 65536 behind the columns that saturate.
TEST(Canny, SumsBeyondSixteenBits) {
  const auto fill = [](Call& c) {
    for (const int which : {1, 2})
      c.image<Qor16s>('s', which).generate([&](int, int, int) { return Qor16s(INT16_MIN + c.c.random.oneIn(3)); });
  };
  for (const double low : {0, 65535})
    runOwn("qoriCanny_16s8u_C1R", {45, 9}, {[=](Call& c) { c.set('L', low), c.set('H', 65535); }, fill});
}

// Long chains; and offsets in rows beyond 16 bits, where the scratch is another one.
TEST(Canny, LargeImages) {
  for (const QoriSize size : {QoriSize{300, 200}, {70000, 5}, {3, 66000}}) {
    runOwn("qoriCanny_16s8u_C1R", size, {[](Call& c) { c.set('L', 0), c.set('H', 60000); }, {}});
    runOwn("qoriCannyBorder_8u_C1R", size, {[](Call& c) { c.set('L', 0), c.set('H', 1600); }, {}});
  }
}

}  // namespace
