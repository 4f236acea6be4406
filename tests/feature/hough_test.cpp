#include <limits.h>
#include <math.h>

#include <algorithm>

#include "qorcv/feature.h"
#include "support/support.h"

namespace {
using namespace qortest;

constexpr Qor32f lastTheta = 3.14159F;

struct Axes {
  double rhos, last;
  int middle;

  Axes(QoriSize size, QoriPoint_32f delta)
      : rhos(trunc(Qor32f(2.0 * size.width + 2.0 * size.height + 1) / delta.x)),
        last(trunc(double(lastTheta) / delta.y)),
        middle(rhos < 1 || rhos > INT_MAX ? 0 : (int(rhos) - 1) / 2) {}
  std::vector<std::vector<int>> cells() const {
    return std::vector<std::vector<int>>(size_t(last) + 3, std::vector<int>(size_t(rhos) + 2));
  }
};

// ---- the references: whole accumulators with a rim of zeros

struct Bounds {
  QoriPoint_32f low{-INFINITY, -INFINITY}, high{INFINITY, INFINITY};
};
struct Line {
  int votes;
  QoriPoint_32f at;
};

std::vector<Line> listLines(const Call& c, QoriPoint_32f delta, const Bounds& in) {
  const Image<Qor8u>& src = c.before<Qor8u>('s');
  const Axes axes(src.size, delta);
  auto votes = axes.cells();
  const auto cell = [&](Qor32f rho) { return trunc(rho / delta.x + Qor32f(axes.middle)); };
  const double scale = 1024.0 * (1 / delta.x), low = std::max(0.0F, cell(in.low.x)),
               high = std::min<double>(axes.rhos - 1, cell(in.high.x));
  Qor32f angle = 0;
  for (int j = 0; j <= axes.last; ++j, angle += delta.y) {
    const Qor32f theta = Qor32f(j) * delta.y;
    const int64_t cosine = int(cos(double{angle}) * scale), sine = int(sin(double{angle}) * scale);
    for (int i = 0; i < src.size.width * src.size.height && theta >= in.low.y && theta <= in.high.y; ++i) {
      const int x = i % src.size.width, y = i / src.size.width;
      const int64_t rho = ((y * sine + x * cosine + 512) >> 10) + axes.middle;
      if (src.at(x, y) != 0 && rho >= low && rho <= high) ++votes[j + 1][rho + 1];
    }
  }
  std::vector<Line> lines;
  for (size_t j = 1; j < votes.size() - 1; ++j) {
    for (size_t r = 1; r < votes[j].size() - 1; ++r) {
      const int a = votes[j][r];
      if (a <= c.number('t') || a <= votes[j][r - 1] || a < votes[j][r + 1]) continue;
      if (a <= votes[j - 1][r] || a < votes[j + 1][r]) continue;
      const int rho = int(r) - 1 - axes.middle;
      lines.push_back({a, {Qor32f(rho) * delta.x, Qor32f(j - 1) * delta.y}});
    }
  }
  std::stable_sort(lines.begin(), lines.end(), [](const Line& k, const Line& l) { return k.votes > l.votes; });
  lines.resize(std::min<size_t>(lines.size(), c.number('m')));
  return lines;
}

void expectLines(Call& c) {
  const QoriPoint_32f delta = c.at<QoriPoint_32f>('e');
  Bounds in;
  if (c.has('f')) {
    in = *std::static_pointer_cast<Bounds>(c.data);
    for (Qor32f* theta : {&in.low.y, &in.high.y}) *theta = std::clamp(*theta, 0.0F, lastTheta);
    EXPECT_EQ(memcmp(c.at<QoriPoint_32f*>('f'), &in, sizeof in), 0) << currentCase();
  }
  const auto lines = listLines(c, delta, in);
  c.expectResult(2, int(lines.size()));
  for (size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(memcmp(c.at<QoriPoint_32f*>('r') + i, &lines[i].at, sizeof lines[i].at), 0) << currentCase();
}

// One point after the other is drawn, votes, and takes out the line through it.
void expectSegments(Call& c) {
  const QoriPoint_32f delta = *std::static_pointer_cast<QoriPoint_32f>(c.data);
  const Axes axes(c.size(), delta);
  Image<Qor8u> mask = c.before<Qor8u>('s');
  const int right = c.size().width - 1, bottom = c.size().height - 1;
  std::vector<QoriPoint> points;
  for (int y = 0; y <= bottom; ++y)
    for (int x = 0; x <= right; ++x)
      if (mask.at(x, y) != 0) points.push_back({x, y});
  std::vector<QoriPoint_32f> directions;
  Qor32f angle = 0;
  for (int j = 0; j <= axes.last; ++j, angle += delta.y)
    directions.push_back({Qor32f(cos(double{angle}) / delta.x), Qor32f(sin(double{angle}) / delta.x)});
  auto votes = axes.cells();
  const auto forCells = [&](QoriPoint p, auto work) {
    for (size_t j = 0; j < directions.size(); ++j) {
      const Qor32f rho = directions[j].x * Qor32f(p.x) + directions[j].y * Qor32f(p.y);
      const int r = int(rho) + axes.middle;
      if (r >= 0 && r < axes.rhos) work(j, &votes[j][r]);
    }
  };
  std::vector<Qor32s> found;
  for (uint64_t state = ~uint64_t{0}; !points.empty();) {
    state = (state >> 32) + (state & 0xffffffffU) * 0xF83F630AU;
    QoriPoint& drawn = points[uint32_t(state) % points.size()];
    const QoriPoint p = drawn;
    drawn = points.back();
    points.pop_back();
    if (mask.at(p.x, p.y) == 0) continue;
    int best = c.number('t') - 1, theta = -1;
    forCells(p, [&](size_t j, int* cell) {
      if (++*cell > best) best = *cell, theta = int(j);
    });
    if (theta < 0) continue;
    const Qor32f a = -directions[theta].y, b = directions[theta].x;
    const bool alongX = fabsf(a) > fabsf(b);
    const int64_t dx = alongX ? copysignf(65536, a) : a * 65536.0F / fabsf(b),
                  dy = alongX ? b * 65536.0F / fabsf(a) : copysignf(65536, b);
    // Pixel k of the line, negative ones the other way.
    const auto at = [&](int k) {
      return QoriPoint{int((p.x * 65536LL + 0x8000 + k * dx) >> 16), int((p.y * 65536LL + 0x8000 + k * dy) >> 16)};
    };
    const auto isInside = [&](QoriPoint q) { return std::min({q.x, q.y, right - q.x, bottom - q.y}) >= 0; };
    int ends[2] = {0, 0};
    for (const int way : {1, -1}) {
      for (int k = 0, gap = 0; isInside(at(k)) && gap <= c.number('g'); k += way) {
        gap = mask.at(at(k).x, at(k).y) != 0 ? 0 : gap + 1;
        if (gap == 0) ends[way < 0] = k;
      }
    }
    const QoriPoint first = at(ends[0]), last = at(ends[1]);
    const bool isGood = std::max(abs(first.x - last.x), abs(first.y - last.y)) >= c.number('l');
    for (int k = ends[1]; k <= ends[0]; ++k) {
      Qor8u& pixel = mask.at(at(k).x, at(k).y);
      if (pixel != 0 && isGood) forCells(at(k), [](size_t, int* cell) { --*cell; });
      pixel = 0;
    }
    if (!isGood) continue;
    if (int(found.size()) == 4 * c.number('m')) c.wanted = qorStsListFullWarn;
    if (c.wanted != qorStsNoErr) break;
    found.insert(found.end(), {first.x, first.y, last.x, last.y});
  }
  EXPECT_TRUE(std::equal(found.begin(), found.end(), c.at<Qor32s*>('r'))) << currentCase();
  c.expectResult(2, int(found.size() / 4));
}

// ---- descriptions

// Noise, and lines with gaps.
void paint(Call& call) {
  Case& c = call.c;
  const int rarity = call.pick({1, 2, 20, 200});
  auto& src = call.image<Qor8u>('s');
  src.generate([&](int, int, int) { return Qor8u(c.random.oneIn(rarity) * c.random.bits()); });
  for (int lines = c.random.below(5); lines > 0; --lines) {
    const double x0 = c.random.below(c.size.width), y0 = c.random.below(c.size.height), turn = 7 * c.random.unit();
    for (int k = -200; k < 200; ++k) {
      const double x = x0 + k * cos(turn), y = y0 + k * sin(turn);
      if (x >= 0 && y >= 0 && x < c.size.width && y < c.size.height) src.at(int(x), int(y)) = !c.random.oneIn(7);
    }
  }
}

// Lower bounds first; sometimes all of an axis, nothing of it, or what lies beyond it.
void drawDelta(Call& c) {
  const Qor32f most = Qor32f(int64_t{c.size().width} + c.size().height), far = 0.6F * most;
  QoriPoint_32f delta{c.pick({1.0F, 0.5F, 2.0F, 0.3F, 1.7F, std::min(9.0F, most), most, 0.02F}),
                      c.pick({0.05F, 0.0174533F, 0.1F, 0.7F, 1.6F, lastTheta})};
  if (c.c.usual) delta = {1, 0.1F};
  appendCase(" delta %g %g", double{delta.x}, double{delta.y});
  if (c.has('l')) {
    // A record serves images of any size.
    if (c.c.random.oneIn(8)) delta.x = c.pick({6.0F, 30.0F, 5000.0F});
    c.data = std::make_shared<QoriPoint_32f>(delta);
    auto* const record = c.block('e', 8 * int(Axes({1, 1}, delta).last) + 24);
    EXPECT_EQ(qoriHoughProbLineInit_8u32f_C1R({1, 1}, delta, 0, reinterpret_cast<QoriHoughProbSpec*>(record)), 0);
    return;
  }
  c.at<QoriPoint_32f>('e') = delta;
  const auto rho = [&] { return c.pick({-INFINITY, -2 * far, -0.5F * delta.x, -0.3F * far, 0.0F, 5.0F, far, 1e30F}); };
  const auto theta = [&] { return c.pick({-1.0F, 0.0F, 0.2F, 1.0F, 1.57F, 3.0F, lastTheta, 7.0F}); };
  const auto [r0, r1] = std::minmax({rho(), rho()});
  const auto [t0, t1] = std::minmax({theta(), theta()});
  const Bounds bounds{{r0, t0}, {r1, t1}};
  c.data = std::make_shared<Bounds>(bounds);
  if (c.has('f')) c.array('f', std::vector<QoriPoint_32f>{bounds.low, bounds.high});
}

// Of the standard forms (1) delta has upper limits.
void refuseDelta(DescribedContract& c, int which) {
  auto* const delta = &c.now.at<QoriPoint_32f>('e');
  const auto most = [&c, which](bool ofRho) {
    const auto span = Qor32f(int64_t{c.now.size().width} + c.now.size().height);
    return which != 1 ? INFINITY : ofRho ? span : lastTheta;
  };
  for (const bool ofRho : {true, false}) {
    Qor32f* const step = ofRho ? &delta->x : &delta->y;
    const auto isBad = [=] { return !(*step > 0 && *step <= most(ofRho)); };
    const auto above = [=] { *step = which == 1 ? nextafterf(most(ofRho), INFINITY) : NAN; };
    c.check(
        "delta", qorStsBadArgErr, isBad, [=] { *step = 0; }, above);
  }
}
void shapes(const Arguments& a, char role, int which, Shape& s) {
  if (role == 'r' && which == 1 && a.has('t')) s.width = a.number('m') * (a.has('l') ? 4 : 1);
  if (role == 'q') s.width = 8 * int(Axes(a.size(), a.at<QoriPoint_32f>('e')).last) + 24;
}
double standardSize(const Arguments& a) {
  const Axes axes(a.size(), a.at<QoriPoint_32f>('e'));
  return a.size().height * (4.0 * a.size().width + 64) + 16.0 * a.number('m') + 8 * axes.last + 16 * axes.rhos + 296;
}
double scratchSize(QoriSize size, QoriPoint_32f delta) {
  const Axes axes(size, delta);
  return 9.0 * size.width * size.height + 4 * axes.rhos * (axes.last + 1);
}
int low32(double bytes) { return int(uint32_t(uint64_t(bytes))); }

const Descriptions members([](Descriptions& d) {
  Traits t{.checks = "null | positive .1 StepErr | size | positive m SizeErr | own 1 | positive t BadArgErr"};
  t.values = {
      {'t', {3, 1, 2, 8, 20, 1000}}, {'m', {4, 1, 2, 40, 1000}}, {'l', {5, 0, 1, 12}}, {'g', {1, 0, 3, INT_MAX}}};
  t.draw = drawDelta, t.shape = shapes, t.fill = paint, t.expect = expectLines, t.own = refuseDelta, t.read = "f";
  t.scratch = [](const Arguments& a) { return int(standardSize(a)); };
  t.sweep = {.widths = {1, 2, 3, 7, 8, 9, 17, 33, 63, 64, 65, 100, 129}, .heights = {1, 2, 5, 20, 66}};
  d.add(QORTEST_NAMED(qoriHoughLine_8u32f_C1R), "s.zetrmrw", t);
  d.add(QORTEST_NAMED(qoriHoughLine_Region_8u32f_C1R), "s.zrfmretw", t);
  t.checks = "null sr1we | size | positive t BadArgErr | least l BadArgErr 0 | least g BadArgErr 0";
  t.read = "", t.expect = expectSegments;
  t.scratch = [](const Arguments& a) {
    return int(scratchSize(a.size(), *std::static_pointer_cast<QoriPoint_32f>(a.data)));
  };
  d.add(QORTEST_NAMED(qoriHoughProbLine_8u32f_C1R), "s.ztlgrmrwe", t);
  t = {.checks = "null | size | own 2", .draw = drawDelta, .shape = shapes, .own = refuseDelta};
  t.values = {{'m', {10, 0, 100000000}}};
  t.sweep = {.widths = {1, 17, 641, 30000, INT_MAX}, .heights = {1, 4, 479, 30000, INT_MAX}, .repeats = 3};
  t.expect = [](Call& c) {
    c.wanted = standardSize(c) > INT_MAX ? qorStsOverflow : qorStsNoErr;
    if (standardSize(c) < 0x1p52) c.expectResult(1, low32(standardSize(c)));
  };
  d.add(QORTEST_NAMED(qoriHoughLineGetSize_8u_C1R), "zemr", t);
  t.expect = [](Call& c) {
    const QoriPoint_32f delta = c.at<QoriPoint_32f>('e');
    c.expectResult(1, low32(8 * Axes(c.size(), delta).last + 24));
    if (scratchSize(c.size(), delta) < 0x1p52) c.expectResult(2, low32(scratchSize(c.size(), delta)));
  };
  d.add(QORTEST_NAMED(qoriHoughProbLineGetSize_8u_C1R), "zerr", t);
  t.checks = "size | own 2 | null", t.sweep = {}, t.expect = {};
  d.add(QORTEST_NAMED(qoriHoughProbLineInit_8u32f_C1R), "zehq", t);
});

// ---- on paper

constexpr QoriPoint_32f fine{1, 0.0174533F};

TEST(Hough, TouchesNothing) {
  int bytes = -1, count = -1;
  Qor8u* const nowhere = noAccess<Qor8u>();
  QoriPoint_32f* const lines = noAccess<QoriPoint_32f>();
  for (QoriPoint_32f high : {QoriPoint_32f{1, 3}, QoriPoint_32f{3, 1}}) {
    QoriPoint_32f bounds[] = {{2, 2}, high};
    EXPECT_EQ(qoriHoughLine_Region_8u32f_C1R(nowhere, 9, {9, 9}, lines, bounds, 4, &count, fine, 20, nowhere), -7);
    EXPECT_EQ(count, 0);
  }
  // Sizes beyond 31 bits.
  EXPECT_EQ(qoriHoughLineGetSize_8u_C1R({9, 9}, {1, 1e-20F}, 10, &bytes), qorStsOverflow);
  EXPECT_EQ(qoriHoughLineGetSize_8u_C1R({9, 9}, {1e-20F, 1}, 10, &bytes), qorStsOverflow);
  constexpr QoriSize large{30000, 30000};
  EXPECT_EQ(qoriHoughLine_8u32f_C1R(nowhere, 1, large, fine, 1, lines, 10, &count, nowhere), qorStsSizeErr);
  const GuardedBytes record(8 * 180 + 24);
  auto* const spec = record.as<QoriHoughProbSpec>();
  EXPECT_EQ(qoriHoughProbLineInit_8u32f_C1R({9, 9}, fine, 0, spec), qorStsNoErr);
  EXPECT_EQ(qoriHoughProbLine_8u32f_C1R(nowhere, 1, large, 1, 0, 0, &bytes, 1, &count, nowhere, spec), qorStsSizeErr);
  EXPECT_EQ(qoriHoughProbLineInit_8u32f_C1R({9, 9}, {1, 1e-20F}, 0, spec), qorStsSizeErr);
}

}  // namespace
