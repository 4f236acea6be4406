#include <limits.h>
#include <math.h>

#include <algorithm>

#include "qorcv/feature.h"
#include "support/support.h"

namespace {
using namespace qortest;

constexpr Qor32f lastTheta = 3.14159F;

struct Axes {
  int rhos, last, middle;

  Axes(QoriSize size, QoriPoint_32f delta)
      : rhos(static_cast<int>(static_cast<Qor32f>((size.width + size.height) * 2 + 1) / delta.x)),
        last(static_cast<int>(static_cast<double>(lastTheta) / static_cast<double>(delta.y))),
        middle(rhos < 1 ? 0 : (rhos - 1) / 2) {}
};

const QoriPoint_32f& deltaOf(const Arguments& a) { return a.at<QoriPoint_32f>('e'); }

std::vector<Qor32f> thetas(const Axes& axes, Qor32f step) {
  std::vector<Qor32f> all(static_cast<size_t>(axes.last) + 1);
  for (size_t j = 1; j < all.size(); ++j) all[j] = all[j - 1] + step;
  return all;
}

// ---- the reference of the standard forms: the whole accumulator, and the list grown entry by entry

struct Line {
  int rho, theta, votes;
};

struct Bounds {
  Qor32f rho0, rho1, theta0, theta1;
};

std::vector<Line> listLines(const Image<Qor8u>& src, QoriPoint_32f delta, int threshold, int most, const Bounds* in) {
  const Axes axes(src.size, delta);
  const int R = axes.rhos;
  std::vector<std::vector<int>> votes(static_cast<size_t>(axes.last) + 3, std::vector<int>(static_cast<size_t>(R) + 2));
  const auto listed = [&](int j) {
    const Qor32f t = static_cast<Qor32f>(j) * delta.y;
    return j >= 0 && j <= axes.last && (in == nullptr || !(t < in->theta0 || t > in->theta1));
  };
  double low = 0, high = R - 1;
  if (in != nullptr) {
    low = std::max(low, trunc(static_cast<double>(in->rho0 / delta.x + static_cast<Qor32f>(axes.middle))));
    high = std::min(high, trunc(static_cast<double>(in->rho1 / delta.x + static_cast<Qor32f>(axes.middle))));
  }
  const auto angles = thetas(axes, delta.y);
  const double scale = static_cast<double>(1 / delta.x) * 1024;
  for (int j = 0; j <= axes.last; ++j) {
    if (!listed(j)) continue;
    const double angle = static_cast<double>(angles[static_cast<size_t>(j)]);
    const auto c = static_cast<int>(cos(angle) * scale), s = static_cast<int>(sin(angle) * scale);
    for (int y = 0; y < src.size.height; ++y) {
      for (int x = 0; x < src.size.width; ++x) {
        const int64_t r = ((int64_t{y} * s + int64_t{x} * c + 512) >> 10) + axes.middle;
        const double at = static_cast<double>(r);
        if (src.at(x, y) != 0 && at >= low && at <= high)
          ++votes[static_cast<size_t>(j) + 1][static_cast<size_t>(r) + 1];
      }
    }
  }
  std::vector<Line> lines;
  for (size_t j = 1; j < votes.size() - 1; ++j) {
    for (size_t r = 1; r <= static_cast<size_t>(R); ++r) {
      const int a = votes[j][r];
      const bool isPeak =
          a > threshold && a > votes[j][r - 1] && a >= votes[j][r + 1] && a > votes[j - 1][r] && a >= votes[j + 1][r];
      if (!isPeak) continue;
      const auto place = std::find_if(lines.begin(), lines.end(), [=](const Line& l) { return l.votes < a; });
      lines.insert(place, {static_cast<int>(r) - 1, static_cast<int>(j) - 1, a});
      if (lines.size() > static_cast<size_t>(most)) lines.pop_back();
    }
  }
  return lines;
}

void expectLines(Call& c) {
  const auto delta = deltaOf(c);
  const Axes axes(c.size(), delta);
  Bounds bounds{};
  if (c.has('f')) {
    const auto* const q = std::static_pointer_cast<Bounds>(c.data).get();
    const auto clamped = [](Qor32f t) { return std::clamp(t, 0.0F, lastTheta); };
    bounds = {q->rho0, q->rho1, clamped(q->theta0), clamped(q->theta1)};
    const auto* const after = c.at<const QoriPoint_32f*>('f');
    EXPECT_EQ(memcmp(&after[0].x, &bounds.rho0, 4) | memcmp(&after[1].x, &bounds.rho1, 4), 0) << currentCase();
    EXPECT_TRUE(after[0].y == bounds.theta0 && after[1].y == bounds.theta1) << currentCase();
  }
  const auto lines =
      listLines(c.before<Qor8u>('s'), delta, c.number('t'), c.number('m'), c.has('f') ? &bounds : nullptr);
  c.expectResult(2, static_cast<int>(lines.size()));
  for (size_t i = 0; i < lines.size(); ++i) {
    const QoriPoint_32f got = c.at<const QoriPoint_32f*>('r')[i];
    EXPECT_EQ(got.x, static_cast<Qor32f>(lines[i].rho - axes.middle) * delta.x) << "line " << i << currentCase();
    EXPECT_EQ(got.y, static_cast<Qor32f>(lines[i].theta) * delta.y) << "line " << i << currentCase();
  }
}

// ---- the reference of the probabilistic form

struct Segments {
  std::vector<Qor32s> ends;
  QorStatus status = qorStsNoErr;
};

Segments listSegments(const Image<Qor8u>& src, QoriPoint_32f delta, int threshold, int length, int gap, int most) {
  const int W = src.size.width, H = src.size.height;
  const Axes axes(src.size, delta);
  std::vector<Qor32f> c, s;
  for (const Qor32f t : thetas(axes, delta.y)) {
    c.push_back(static_cast<Qor32f>(cos(static_cast<double>(t)) / static_cast<double>(delta.x)));
    s.push_back(static_cast<Qor32f>(sin(static_cast<double>(t)) / static_cast<double>(delta.x)));
  }
  std::vector<QoriPoint> points;
  Image<Qor8u> mask(src.size);
  for (int y = 0; y < H; ++y) {
    for (int x = 0; x < W; ++x) {
      mask.at(x, y) = src.at(x, y) != 0;
      if (src.at(x, y) != 0) points.push_back({x, y});
    }
  }
  std::vector<std::vector<int>> votes(c.size(), std::vector<int>(static_cast<size_t>(axes.rhos)));
  const auto forCells = [&](int x, int y, auto work) {
    for (size_t j = 0; j < c.size(); ++j) {
      const int r = static_cast<int>(c[j] * static_cast<Qor32f>(x) + s[j] * static_cast<Qor32f>(y)) + axes.middle;
      if (r >= 0 && r < axes.rhos) work(j, &votes[j][static_cast<size_t>(r)]);
    }
  };
  Segments found;
  uint64_t state = ~uint64_t{0};
  while (!points.empty()) {
    state = (state >> 32) + (state & 0xffffffffU) * 0xF83F630AU;
    QoriPoint& drawn = points[static_cast<uint32_t>(state) % points.size()];
    const QoriPoint p = drawn;
    drawn = points.back();
    points.pop_back();
    if (mask.at(p.x, p.y) == 0) continue;
    int best = threshold - 1;
    size_t theta = 0;
    forCells(p.x, p.y, [&](size_t j, int* cell) {
      if (++*cell > best) best = *cell, theta = j;
    });
    if (best < threshold) continue;
    const Qor32f a = -s[theta], b = c[theta];
    const bool alongX = fabsf(a) > fabsf(b);
    const Qor32f major = alongX ? a : b, minor = alongX ? b : a;
    const auto slope = static_cast<int64_t>(minor * 65536.0F / fabsf(major));
    // Pixel k of the way, negative ones the other way.
    const auto at = [&](int k, QoriPoint* q) {
      const int steps = major > 0 ? k : -k;
      const auto along = [&](int from) { return static_cast<int>((from * 65536LL + 0x8000 + slope * k) >> 16); };
      *q = alongX ? QoriPoint{p.x + steps, along(p.y)} : QoriPoint{along(p.x), p.y + steps};
      return q->x >= 0 && q->y >= 0 && q->x < W && q->y < H;
    };
    int ends[2] = {0, 0};
    for (int way = 0; way < 2; ++way) {
      QoriPoint q;
      for (int k = 0, missing = 0; at(way == 0 ? k : -k, &q); ++k) {
        missing = mask.at(q.x, q.y) != 0 ? 0 : missing + 1;
        if (missing > gap) break;
        if (missing == 0) ends[way] = k;
      }
    }
    QoriPoint first, last;
    at(ends[0], &first), at(-ends[1], &last);
    const bool isGood = std::max(abs(first.x - last.x), abs(first.y - last.y)) >= length;
    for (int k = -ends[1]; k <= ends[0]; ++k) {
      QoriPoint q;
      at(k, &q);
      if (mask.at(q.x, q.y) != 0 && isGood) forCells(q.x, q.y, [](size_t, int* cell) { --*cell; });
      mask.at(q.x, q.y) = 0;
    }
    if (!isGood) continue;
    if (found.ends.size() == static_cast<size_t>(4 * most)) {
      found.status = qorStsListFullWarn;
      break;
    }
    found.ends.insert(found.ends.end(), {first.x, first.y, last.x, last.y});
  }
  return found;
}

// ---- descriptions

// Few points, many, or lines with gaps and noise between.
void paintLines(Call& call) {
  Case& c = call.c;
  if (c.random.oneIn(8)) return;
  const int lines = c.random.below(5), rarity = call.pick({2, 20, 200});
  std::vector<QoriPoint> through;
  for (int i = 0; i < 2 * lines; ++i) through.push_back({c.random.below(c.size.width), c.random.below(c.size.height)});
  call.image<Qor8u>('s').generate([&](int x, int y, int) {
    bool isPoint = c.random.oneIn(rarity);
    for (size_t i = 0; i < through.size(); i += 2) {
      const QoriPoint p = through[i], d = {through[i + 1].x - p.x, through[i + 1].y - p.y};
      const double off = d.x * double(y - p.y) - d.y * double(x - p.x);
      isPoint |= fabs(off) <= 0.5 * std::max({1, abs(d.x), abs(d.y)}) && !c.random.oneIn(7);
    }
    return static_cast<Qor8u>(isPoint ? 1 + c.random.below(255) : 0);
  });
}

QoriPoint_32f anyDelta(Call& c) {
  const Qor32f most = static_cast<Qor32f>(int64_t{c.size().width} + c.size().height);
  QoriPoint_32f delta{c.pick({1.0F, 0.5F, 2.0F, 0.3F, 1.7F, std::min(9.0F, most), most, 0.02F}),
                      c.pick({0.05F, 0.0174533F, 0.1F, 0.7F, 1.6F, lastTheta})};
  if (c.c.usual) delta = {1, 0.1F};
  appendCase(" delta %g %g", static_cast<double>(delta.x), static_cast<double>(delta.y));
  return delta;
}
void drawDelta(Call& c) { c.at<QoriPoint_32f>('e') = anyDelta(c); }

struct ProbSizes {
  int spec = -1, scratch = -1;

  ProbSizes(QoriSize size, QoriPoint_32f delta) {
    EXPECT_EQ(qoriHoughProbLineGetSize_8u_C1R(size, delta, &spec, &scratch), qorStsNoErr);
  }
};
// The step of a record, which serves images of any size.
QoriPoint_32f recordDelta(const Arguments& a) { return *std::static_pointer_cast<QoriPoint_32f>(a.data); }
void drawRecord(Call& c) {
  QoriPoint_32f delta = anyDelta(c);
  if (c.c.random.oneIn(8)) delta.x = c.pick({6.0F, 30.0F, 5000.0F});
  c.data = std::make_shared<QoriPoint_32f>(delta);
  auto* const record = c.block('e', ProbSizes({1, 1}, delta).spec);
  EXPECT_EQ(qoriHoughProbLineInit_8u32f_C1R({1, 1}, delta, 0, reinterpret_cast<QoriHoughProbSpec*>(record)), 0);
}

void expectSegments(Call& c) {
  const Segments want =
      listSegments(c.before<Qor8u>('s'), recordDelta(c), c.number('t'), c.number('l'), c.number('g'), c.number('m'));
  c.wanted = want.status;
  const auto* const got = c.at<const Qor32s*>('r');
  EXPECT_EQ(std::vector<Qor32s>(got, got + want.ends.size()), want.ends) << currentCase();
  c.expectResult(2, static_cast<int>(want.ends.size() / 4));
}

void refuseDelta(DescribedContract& c, int which) {
  auto* const delta = &c.now.at<QoriPoint_32f>('e');
  const auto refuse = [&](const char* what, Qor32f* step, std::function<Qor32f()> most) {
    c.check(
        what, qorStsBadArgErr, [=] { return !(*step > 0 && *step <= most()); }, [=] { *step = 0; }, [=] { *step = -1; },
        [=] { *step = NAN; }, [=] { *step = which == 1 ? nextafterf(most(), INFINITY) : -1e-30F; });
  };
  const auto span = [&c] { return static_cast<Qor32f>(int64_t{c.now.size().width} + c.now.size().height); };
  const auto any = [] { return INFINITY; };
  refuse("delta.x", &delta->x, which == 1 ? std::function<Qor32f()>(span) : any);
  refuse("delta.y", &delta->y, which == 1 ? std::function<Qor32f()>([] { return lastTheta; }) : any);
}

int standardSize(const Arguments& a) {
  int bytes = -1;
  EXPECT_EQ(qoriHoughLineGetSize_8u_C1R(a.size(), deltaOf(a), a.number('m'), &bytes), qorStsNoErr);
  return bytes;
}
void shapeLines(const Arguments& a, char role, int which, Shape& s) {
  if (role == 'r' && which == 1) s.width = a.number('m');
}

// Lower bounds first; sometimes all of an axis, nothing of it, or what lies beyond it.
void drawBounds(Call& call) {
  drawDelta(call);
  const auto far = static_cast<Qor32f>(2 * (call.size().width + call.size().height));
  const auto rho = [&] {
    return call.pick({-INFINITY, -far, -0.3F * far, -2.0F, 0.0F, 1.5F, 5.0F, 0.3F * far, 1e30F});
  };
  const auto theta = [&] { return call.pick({-1.0F, 0.0F, 0.2F, 1.0F, 1.57F, 3.0F, lastTheta, 7.0F}); };
  Qor32f r[] = {rho(), rho()}, t[] = {theta(), theta()};
  std::sort(r, r + 2), std::sort(t, t + 2);
  if (call.c.usual) r[0] = t[0] = 0, r[1] = t[1] = 1;
  const auto bounds = std::make_shared<Bounds>(Bounds{r[0], r[1], t[0], t[1]});
  call.data = bounds;
  auto* const q = reinterpret_cast<QoriPoint_32f*>(call.block('f', 16));
  q[0] = {r[0], t[0]}, q[1] = {r[1], t[1]};
}

// Sizes in double, as far as it is exact.
double rhosOf(QoriSize size, QoriPoint_32f delta) {
  return trunc(static_cast<double>(static_cast<Qor32f>(2.0 * size.width + 2.0 * size.height + 1) / delta.x));
}
double lastOf(QoriPoint_32f delta) { return trunc(static_cast<double>(lastTheta) / static_cast<double>(delta.y)); }
double standardSum(QoriSize size, QoriPoint_32f delta, double most) {
  const double R = rhosOf(size, delta), N = lastOf(delta);
  return size.height * (4.0 * size.width + 64) + 16 * most + 32 + 2 * (4 * N + 4) + 12 * R + 176 + 4 * R + 80;
}
int low32(double n) { return static_cast<int>(static_cast<uint32_t>(static_cast<uint64_t>(n))); }

const Sweep sizes{.widths = {1, 2, 3, 7, 8, 9, 17, 33, 63, 64, 65, 100, 129}, .heights = {1, 2, 5, 20, 66}};
const Sweep ofSizes{.widths = {1, 17, 641, 30000, INT_MAX}, .heights = {1, 4, 479, 30000, INT_MAX}, .repeats = 3};

const Descriptions members([](Descriptions& d) {
  const std::vector<std::pair<char, std::vector<double>>> values{{'t', {3, 1, 2, 8, 20, 1000}},
                                                                 {'m', {4, 1, 2, 40, 1000}},
                                                                 {'l', {5, 0, 1, 12}},
                                                                 {'g', {1, 0, 3, INT_MAX}},
                                                                 {'h', {0, 1, 2, 99}}};
  const std::string standard = "null | positive .1 StepErr | size | positive m SizeErr | own 1 | positive t BadArgErr";
  d.add(QORTEST_NAMED(qoriHoughLine_8u32f_C1R), "s.zetrmrw",
        {.checks = standard,
         .values = values,
         .draw = drawDelta,
         .shape = shapeLines,
         .fill = paintLines,
         .scratch = standardSize,
         .expect = expectLines,
         .own = refuseDelta,
         .sweep = sizes});
  d.add(QORTEST_NAMED(qoriHoughLine_Region_8u32f_C1R), "s.zrfmretw",
        {.checks = standard,
         .values = values,
         .draw = drawBounds,
         .shape = shapeLines,
         .fill = paintLines,
         .scratch = standardSize,
         .expect = expectLines,
         .own = refuseDelta,
         .read = "f",
         .sweep = sizes});
  d.add(QORTEST_NAMED(qoriHoughLineGetSize_8u_C1R), "zemr",
        {.checks = "null | size | own 2",
         .values = {{'m', {10, 0, 100000000}}},
         .draw = drawDelta,
         .expect =
             [](Call& c) {
               const double sum = standardSum(c.size(), deltaOf(c), c.number('m'));
               c.wanted = sum > INT_MAX ? qorStsOverflow : qorStsNoErr;
               if (sum < 0x1p52) c.expectResult(1, low32(sum));
             },
         .own = refuseDelta,
         .sweep = ofSizes});
  d.add(QORTEST_NAMED(qoriHoughProbLineGetSize_8u_C1R), "zerr",
        {.checks = "null | size | own 2",
         .draw = drawDelta,
         .expect =
             [](Call& c) {
               const double area = double(c.size().width) * c.size().height;
               if (area > 0x1p45) return;
               c.expectResult(1, 4 * (2 * static_cast<int>(lastOf(deltaOf(c))) + 2) + 16);
               c.expectResult(2, low32(9 * area + 4.0 * rhosOf(c.size(), deltaOf(c)) * (lastOf(deltaOf(c)) + 1)));
             },
         .own = refuseDelta,
         .sweep = ofSizes});
  d.add(QORTEST_NAMED(qoriHoughProbLineInit_8u32f_C1R), "zehq",
        {.checks = "size | own 2 | null",
         .values = values,
         .draw = drawDelta,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 'q') s.width = 8 * Axes(a.size(), deltaOf(a)).last + 24;
             },
         .expect =
             [](Call& c) {
               const auto* const record = c.at<const char*>('q');
               Qor32f delta[2], pair[2];
               int hint;
               memcpy(delta, record, sizeof delta), memcpy(&hint, record + 8, sizeof hint);
               EXPECT_TRUE(delta[0] == deltaOf(c).x && delta[1] == deltaOf(c).y && hint == c.number('h'));
               const auto all = thetas(Axes(c.size(), deltaOf(c)), deltaOf(c).y);
               for (size_t j = 0; j < all.size(); ++j) {
                 memcpy(pair, record + 12 + 8 * j, sizeof pair);
                 const double t = static_cast<double>(all[j]), x = static_cast<double>(delta[0]);
                 EXPECT_TRUE(pair[0] == static_cast<Qor32f>(cos(t) / x) && pair[1] == static_cast<Qor32f>(sin(t) / x));
               }
             },
         .own = refuseDelta});
  d.add(QORTEST_NAMED(qoriHoughProbLine_8u32f_C1R), "s.ztlgrmrwe",
        {.checks = "null sr1we | size | positive t BadArgErr | least l BadArgErr 0 | least g BadArgErr 0",
         .values = values,
         .draw = drawRecord,
         .shape =
             [](const Arguments& a, char role, int which, Shape& s) {
               if (role == 'r' && which == 1) s.width = 4 * a.number('m');
             },
         .fill = paintLines,
         .scratch = [](const Arguments& a) { return ProbSizes(a.size(), recordDelta(a)).scratch; },
         .expect = expectSegments,
         .sweep = sizes});
});

// ---- on paper

constexpr QoriPoint_32f fine{1, 0.0174533F};

struct Standard {
  GuardedImage<Qor8u> src{QoriSize{40, 30}};
  std::vector<Qor8u> scratch = std::vector<Qor8u>(1 << 20);
  QoriPoint_32f lines[4] = {};
  int count = -1;

  // A row and a column of points.
  Standard() {
    src.generate([](int x, int y, int) { return static_cast<Qor8u>(x == 12 || y == 20); });
  }
  QorStatus find(QoriPoint_32f delta, int threshold, QoriPoint_32f* bounds = nullptr) {
    count = -1;
    if (bounds == nullptr)
      return qoriHoughLine_8u32f_C1R(src.data(), src.step(), src.size(), delta, threshold, lines, 4, &count,
                                     scratch.data());
    return qoriHoughLine_Region_8u32f_C1R(src.data(), src.step(), src.size(), lines, bounds, 4, &count, delta,
                                          threshold, scratch.data());
  }
};

TEST(Hough, StandardLines) {
  Standard s;
  EXPECT_EQ(s.find(fine, 20), qorStsNoErr);
  EXPECT_TRUE(s.lines[0].x == 20 && s.lines[0].y == 90 * fine.y);
  EXPECT_TRUE(s.lines[1].x == 12 && s.lines[1].y == 0);
  // The column again, seen from the other side.
  EXPECT_TRUE(s.lines[2].x == -12 && s.lines[2].y == 179 * fine.y);
  // Two directions, the second of them almost half a turn.
  EXPECT_EQ(s.find({1, lastTheta}, 20), qorStsNoErr);
  ASSERT_EQ(s.count, 2);
  EXPECT_TRUE(s.lines[1].y == lastTheta && s.lines[1].x < 0);
  EXPECT_EQ(s.find({1, nextafterf(lastTheta, 4)}, 20), qorStsBadArgErr);
}

TEST(Hough, Bounds) {
  Standard s;
  QoriPoint_32f bounds[] = {{-100, 1}, {100, 9}};
  EXPECT_EQ(s.find(fine, 35, bounds), qorStsNoErr);
  EXPECT_EQ(s.count, 1);
  EXPECT_EQ(bounds[1].y, lastTheta);
  // A bound half a cell below the axis is truncated to its first cell, one and a half below leave none.
  QoriPoint_32f coarse[] = {{-1000, 0}, {-25, 3}};
  EXPECT_EQ(s.find({50, 0.5F}, 20, coarse), qorStsNoErr);
  EXPECT_GT(s.count, 0);
  coarse[1].x = -75;
  EXPECT_EQ(s.find({50, 0.5F}, 20, coarse), qorStsNoErr);
  EXPECT_EQ(s.count, 0);
  for (const bool ofRho : {false, true}) {
    QoriPoint_32f turned[] = {{2, -5}, {2, -5}};
    (ofRho ? turned[1].x : turned[1].y) -= 1;
    EXPECT_EQ(s.find(fine, 20, turned), qorStsRangeErr);
    EXPECT_EQ(s.count, 0);
    EXPECT_EQ(turned[0].y, -5);
  }
}

// Sizes beyond 31 bits: the queries tell, and nothing is touched.
TEST(Hough, SizesThatWrap) {
  const QoriSize large{30000, 30000};
  int bytes = -1, more = -1;
  EXPECT_EQ(qoriHoughLineGetSize_8u_C1R(large, fine, 10, &bytes), qorStsOverflow);
  for (const QoriPoint_32f tiny : {QoriPoint_32f{1, 1e-20F}, QoriPoint_32f{1e-20F, 1}})
    EXPECT_EQ(qoriHoughLineGetSize_8u_C1R({9, 9}, tiny, 10, &bytes), qorStsOverflow);
  int count = -1;
  EXPECT_EQ(qoriHoughLine_8u32f_C1R(noAccess<Qor8u>(), 1, large, fine, 1, noAccess<QoriPoint_32f>(), 10, &count,
                                    noAccess<Qor8u>()),
            qorStsSizeErr);
  EXPECT_EQ(qoriHoughProbLineGetSize_8u_C1R(large, fine, &bytes, &more), qorStsNoErr);
  const GuardedBytes record(bytes);
  auto* const spec = record.as<QoriHoughProbSpec>();
  EXPECT_EQ(qoriHoughProbLineInit_8u32f_C1R(large, fine, 0, spec), qorStsNoErr);
  EXPECT_EQ(qoriHoughProbLine_8u32f_C1R(noAccess<Qor8u>(), 1, large, 1, 0, 0, noAccess<Qor32s>(), 1, &count,
                                        noAccess<Qor8u>(), spec),
            qorStsSizeErr);
  EXPECT_EQ(qoriHoughProbLineInit_8u32f_C1R(large, {1, 1e-20F}, 0, noAccess<QoriHoughProbSpec>()), qorStsSizeErr);
}

// A longer image than 16 bits count.
TEST(Hough, WideImages) {
  const QoriSize size{40000, 2};
  GuardedImage<Qor8u> src(size);
  src.generate([](int, int y, int) { return static_cast<Qor8u>(y); });
  int bytes = -1, count = -1;
  EXPECT_EQ(qoriHoughLineGetSize_8u_C1R(size, {1, 0.1F}, 1, &bytes), qorStsNoErr);
  const GuardedBytes scratch(bytes, 3);
  QoriPoint_32f line{};
  EXPECT_EQ(qoriHoughLine_8u32f_C1R(src.data(), src.step(), size, {1, lastTheta / 2}, 20000, &line, 1, &count,
                                    scratch.data()),
            qorStsNoErr);
  EXPECT_TRUE(count == 1 && line.x == 1 && line.y == lastTheta / 2);
}

}  // namespace
