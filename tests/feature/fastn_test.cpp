#include <limits.h>
#include <math.h>

#include <algorithm>

#include "qorcv/feature.h"
#include "support/support.h"

namespace {
using namespace qortest;

// A quarter of each circle, as digits of -x and y; the others are it, turned.
std::vector<QoriPoint> circleOf(int radius) {
  const std::string all =
      "r1 0111 r2 021221 r3 03132231 r5 05152534435251 r7 07172736465564637271 r9 09192939485867768584939291 ";
  std::vector<QoriPoint> circle;
  for (size_t i = all.find("r" + std::to_string(radius)) + 3; all[i] != ' '; i += 2)
    circle.push_back({'0' - all[i], all[i + 1] - '0'});
  const size_t n = circle.size();
  for (size_t i = n; i < 4 * n; ++i) circle.push_back({-circle[i - n].y, circle[i - n].x});
  if (radius == 9) circle[12] = {-9, -1};
  return circle;
}

struct Settings {
  QoriSize src = {17, 5};
  int radius = 3, arc = 9, bins = 36, option = 39;
  Qor32f threshold = 20;
  QoriPoint offset = {0, 0};

  bool has(int bit) const { return (option & bit) != 0; }
  int perimeter() const { return int(circleOf(radius).size()); }
  int bytes() const {
    int size = -1;
    EXPECT_EQ(qoriFastNGetSize(src, radius, arc, bins, option, qor8u, 1, &size), qorStsNoErr);
    return size;
  }
  void make(void* block) const {
    auto* const spec = static_cast<QoriFastNSpec*>(block);
    EXPECT_EQ(qoriFastNInit(src, radius, arc, bins, option, threshold, qor8u, 1, spec), qorStsNoErr);
  }
};
const Settings& settingsOf(const Arguments& a) { return *std::static_pointer_cast<Settings>(a.data); }

// ---- the reference

struct Corner {
  int kind = 0, score = 0, bin = 0;
};

int binOf(const std::vector<int>& d, int bins) {
  const Qor32f step = 6.2831855F / Qor32f(d.size());
  Qor32f A = 0, B = 0;
  for (size_t i = 0; i < d.size(); ++i) {
    const double a = double(Qor32f(i) * step);
    A += Qor32f(d[i] * double(Qor32f(cos(a))));
    B += Qor32f(d[i] * double(Qor32f(sin(a))));
  }
  const Qor32f t = atan2f(A, B), turned = t < 0 ? t + 6.2831855F : t;
  return int(turned * (Qor32f(bins) * 0.15915494F)) & 63;
}

Corner cornerAt(const Image<Qor8u>& src, const Settings& s, const std::vector<QoriPoint>& circle, int x, int y) {
  const bool isPair = s.radius == 3 && s.arc == 9;
  const int T = isPair ? int(s.threshold) & 255 : int(s.threshold);
  Corner c;
  if (std::min({x, y, s.src.width - 1 - x, s.src.height - 1 - y}) < s.radius) return c;
  std::vector<int> d;
  for (const QoriPoint& p : circle) d.push_back(src.at(x + p.x, y + p.y) - src.at(x, y));
  for (const int sign : {1, -1}) {
    for (size_t start = 0; start < d.size(); ++start) {
      int least = INT_MAX;
      for (size_t k = start; k < start + size_t(s.arc) && least > T; ++k)
        least = std::min(least, sign * d[k % d.size()]);
      if (least > T) c = {sign > 0 ? 0x40 : 0x80, std::max(c.score, least)};
    }
  }
  if (c.kind != 0 && s.has(qorFastNOrientation)) c.bin = binOf(d, s.bins);
  return c;
}

// Maps and count of a call, from what the maps held before. Columns in front of the image do not move the region.
void expectCorners(Call& c) {
  const Settings& s = settingsOf(c);
  const auto circle = circleOf(s.radius);
  const int x0 = std::max(0, s.offset.x), x1 = std::min(s.offset.x + c.size().width, s.src.width);
  const int y0 = std::max(0, s.offset.y), y1 = std::min(s.offset.y + c.size().height, s.src.height);
  if (x0 - s.offset.x + y0 - s.offset.y != 0 || x1 - s.offset.x < c.size().width || y1 - s.offset.y < c.size().height)
    c.wanted = qorStsSizeWrn;
  auto corners = c.before<Qor8u>('d'), scores = c.before<Qor8u>('d', 2);
  const auto at = [&](int x, int y) { return cornerAt(c.before<Qor8u>('s'), s, circle, x, y); };
  int count = 0;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      Corner corner = at(x, y);
      for (int k = 0; k < 9 && corner.kind != 0 && s.has(qorFastNNonMax); ++k)
        if (at(x + k % 3 - 1, y + k / 3 - 1).score > corner.score) corner = {};
      count += corner.kind != 0;
      corners.at(x - x0, y - y0) = Qor8u(corner.kind | corner.bin);
      if (s.has(qorFastNScore)) scores.at(x - x0, y - y0) = Qor8u(corner.score);
    }
  }
  if (x1 > x0 && y1 > y0) c.expectResult(1, count);
  c.expect('d', corners);
  c.expect('d', scores, Equal::Bits, 2);
}

void expectList(Call& c) {
  const Settings& s = settingsOf(c);
  int count = 0;
  for (int y = 0; y < c.size().height; ++y) {
    for (int x = 0; x < c.size().width; ++x) {
      const int corner = c.before<Qor8u>('s').at(x, y), score = c.before<Qor8u>('s', 2).at(x, y), bin = corner % 64;
      if (corner == 0 || count++ >= c.number('l')) continue;
      QoriCornerFastN want{x, y, corner / 128, -1, -1, s.has(qorFastNScore) ? Qor32f(score) : -1};
      if (s.has(qorFastNOrientation)) want.orientation = bin, want.angle = Qor32f(bin * (360.0 / s.bins));
      EXPECT_EQ(memcmp(c.at<QoriCornerFastN*>('r') + count - 1, &want, sizeof want), 0) << currentCase();
    }
  }
  c.expectResult(2, count);
}

// ---- descriptions

constexpr int radii[] = {1, 2, 3, 5, 7, 9};
bool isNoRadius(int r) { return std::count(std::begin(radii), std::end(radii), r) == 0; }

// The pair of radius 3 and arcs of 9 in half of the cases; regions inside, around and off the image's edges. The record
// of the contract stands at a word of its block.
void drawRecord(Call& call) {
  const auto s = std::make_shared<Settings>();
  Case& c = call.c;
  call.data = s;
  s->src = c.size;
  if (!c.usual) {
    if (c.random.oneIn(2)) s->radius = radii[c.random.below(6)];
    const int P = s->perimeter(), reach = s->radius + 3;
    if (s->radius != 3 || c.random.oneIn(4)) s->arc = c.random.between(P / 2 + 1, P - 1);
    s->option = call.pick({4, 36, 38, 38, 39, 39, 5, 37});
    s->bins = s->has(qorFastNOrientation) ? call.pick({1, 8, 36, 64}) : -7;
    s->threshold = call.pick({0.0F, 1.0F, 5.0F, 20.7F, 20.7F, 60.0F, 255.0F, 256.0F, 300.0F, 1e9F});
    s->offset = {c.random.between(-3, reach), c.random.between(-3, reach)};
    if (c.random.oneIn(8)) s->offset.x = -c.size.width;
    s->src.width = std::max({1, s->offset.x + 1, c.size.width + s->offset.x + c.random.between(-3, 2 * reach)});
    s->src.height = std::max({1, s->offset.y + 1, c.size.height + s->offset.y + c.random.between(-3, 2 * reach)});
    appendCase(" radius %d, arcs of %d, option %d, T %g", s->radius, s->arc, s->option, double(s->threshold));
  }
  alignas(8) uint8_t aligned[8 * 16 + 68];
  uint8_t* const block = call.block('t', s->bytes());
  s->make(c.usual ? aligned : block);
  if (c.usual) memcpy(block, aligned, sizeof aligned);
  if (call.has('f')) call.at<QoriPoint>('f') = s->offset;
}

// Squares of two grays with noise: their corners are corners, and their edges almost.
void paint(Call& c) {
  const int side = c.pick({1, 2, 3, 5, 9}), noise = c.pick({1, 2, 8, 60});
  const uint64_t seed = c.c.random.bits();
  if (c.c.random.oneIn(3)) return;
  c.image<Qor8u>('s').generate([&](int x, int y, int) {
    const bool bright = Random(seed + uint64_t(x / side + 1000 * (y / side))).oneIn(3);
    return Qor8u((bright ? 150 : 40) + c.c.random.below(noise));
  });
}
void scatter(Call& c) {
  const auto pixel = [&](int, int y, int) { return Qor8u(c.c.random.oneIn(1 + y * 9) * c.c.random.bits()); };
  c.image<Qor8u>('s').generate(pixel);
}
void leaveOutScores(Call& c) {
  if (!settingsOf(c).has(qorFastNScore)) c.at<void*>(c.has('d') ? 'd' : 's', 2) = nullptr;
}
void shapes(const Arguments& a, char role, int which, Shape& s) {
  if (role == 's' && a.has('f')) s = {settingsOf(a).src.width, settingsOf(a).src.height, 1};
  if (role == 'r' && a.has('l') && which == 1) s.width = a.number('l');
  if (role == 'q') s.width = 8 * 16 + 68;
}

// Words of an aligned record. The search (1) asks for all, the list (2) for what does not tell the geometry.
void refuseInRecord(DescribedContract& c, int which) {
  const auto isNot = [](int good) { return [=](int w) { return w != good; }; };
  const auto isOff = [](int low, int high) { return [=](int w) { return w < low || w > high; }; };
  const auto isBad = [](int w) { return (w & 4) == 0 || (w & ~39) != 0 || ((w & 2) != 0 && (w & 32) == 0); };
  if (which == 3) {
    c.refuseWord('t', 7, qorStsBadArgErr, isNoRadius, {0, 4, 10, -3});
    c.refuseWord('t', 8, qorStsOutOfRangeErr, isOff(9, 15), {8, 16, 0, -9});
    auto* const p = &c.now.at<QoriPoint>('f');
    const auto isOutside = [=] { return p->x >= 17 || p->y >= 5; };
    return c.check(
        "offset", qorStsOutOfRangeErr, isOutside, [=] { p->x = 17; }, [=] { p->y = 5; });
  }
  c.refuseWord('t', 2, qorStsContextMatchErr, isNot(0x4b617390), {0, 0x4b617391});
  c.refuseWord('t', 3, qorStsDataTypeErr, isNot(qor8u), {0, 3});
  c.refuseWord('t', 4, qorStsChannelErr, isNot(1), {0, 3});
  for (const int size : {5, 6})
    if (which == 1) c.refuseWord('t', size, qorStsSizeErr, isOff(1, INT_MAX), {0, INT_MIN});
  c.refuseWord('t', 10, qorStsBadArgErr, isBad, {0, 35, 7, 39 + 64, 12, -1});
  c.refuseWord('t', 9, qorStsOutOfRangeErr, isOff(1, 64), {0, 65, -1});
}
void refuseRadius(DescribedContract& c, int) { c.refuse('k', qorStsBadArgErr, isNoRadius, {0, 4, 6, 10, -3}); }

const Descriptions members([](Descriptions& d) {
  const Sweep sizes{.widths = {1, 2, 3, 7, 15, 16, 17, 18, 29, 30, 31, 32, 33, 34, 48, 63, 64, 65, 97},
                    .heights = {1, 2, 3, 7, 20},
                    .repeats = 2};
  Traits t{.draw = drawRecord, .shape = shapes, .arrange = leaveOutScores, .own = refuseInRecord, .read = "t"};
  t.checks = "null sd1rtw | size | own 1 | null d2 | own 3";
  t.fill = paint, t.expect = expectCorners, t.sweep = sizes;
  t.scratch = [](const Arguments& a) { return 6 * a.size().width + 636; };
  d.add(QORTEST_NAMED(qoriFastN_8u_C1R), "s.d.d.rfztw", t);
  // Bytes of any kind for corners, and fewer places than corners.
  t.checks = "null s1rt | size | least l SizeErr 0 | own 2 | null s2";
  t.fill = scatter, t.expect = expectList, t.sweep = {}, t.values = {{'l', {1000, 0, 1, 3, 20}}};
  d.add(QORTEST_NAMED(qoriFastN2DToVec_8u), "s.s.rzlrt", t);
  t = {.draw = [](Call& c) { c.block('t', 1); }};
  t.expect = [](Call& c) { c.expectResult(1, (3 * c.size().width + 6) * 2 + 624); };
  d.add(QORTEST_NAMED(qoriFastNGetBufferSize), "tzr", t);
  const std::string form =
      " | one t DataTypeErr | one c ChannelErr | one u BadArgErr | range b OutOfRangeErr 1 64 | own"
      " | range n OutOfRangeErr 9 15";
  t = {.checks = "null | size" + form, .shape = shapes, .own = refuseRadius};
  t.values = {{'t', {1}},     {'c', {1}}, {'u', {39, 4, 5, 36, 37, 38}}, {'b', {36}}, {'k', {3}},
              {'n', {9, 12}}, {'g', {7}}};
  d.add(QORTEST_NAMED(qoriFastNGetSize), "zknbutcr", t);
  t.checks = "null | size | least g ThresholdErr 0" + form;
  d.add(QORTEST_NAMED(qoriFastNInit), "zknbugtcq", t);
});

// ---- on paper

TEST(FastN, Record) {
  for (int i = 0; i < 6 * 8; ++i) {
    Settings s{{640, 480}, radii[i / 8], 0, 17, 39, 20.7F};
    s.arc = s.perimeter() / 2 + 1;
    const GuardedBytes block(8 * s.perimeter() + 68, i % 8);
    s.make(block.data());
    const uint8_t* const record = block.data() + block.data()[0];
    EXPECT_TRUE(reinterpret_cast<uintptr_t>(record) % 8 == 0 && record > block.data() && record <= block.data() + 8);
    const int head[] = {0x4b617390, 1, 1, 640, 480, s.radius, s.arc, 17, 39}, T = 20;
    EXPECT_TRUE(memcmp(record, head, sizeof head) == 0 && memcmp(record + 40, &T, sizeof T) == 0);
    const auto* const ring = *reinterpret_cast<const QoriPoint* const*>(record + 48);
    EXPECT_EQ(memcmp(ring, circleOf(s.radius).data(), s.perimeter() * sizeof *ring), 0);
  }
}

// Offsets and sizes whose sum does not fit 32 bits; nothing left; scratch whose report has wrapped.
TEST(FastN, FarRegions) {
  Settings s{{40, 40}, 3, 9, 36, 5, 20};
  GuardedImage<Qor8u> src(s.src), map(s.src);
  src.generate([](int x, int y, int) { return Qor8u(x == 20 && y == 20 ? 200 : 50); });
  std::vector<Qor8u> scratch(2000);
  int count = 7;
  const auto find = [&](QoriPoint offset, QoriSize size) {
    const GuardedBytes block(s.bytes());
    s.make(block.data());
    return qoriFastN_8u_C1R(src.data(), src.step(), map.data(), map.step(), map.data(), map.step(), &count, offset,
                            size, block.as<QoriFastNSpec>(), scratch.data());
  };
  EXPECT_TRUE(find({INT_MIN, 0}, {INT_MAX, 1}) == qorStsSizeWrn && count == 7);
  EXPECT_TRUE(find({-5, -6}, {INT_MAX, INT_MAX}) == qorStsSizeWrn && count == 1 && map.at(20, 20) >= 0x80);
  s.option = 39;
  EXPECT_EQ(find({0, 0}, {INT_MAX, 40}), qorStsSizeErr);
}

}  // namespace
