#include <limits.h>
#include <math.h>

#include <algorithm>
#include <array>

#include "qorcv/feature.h"
#include "support/support.h"

namespace {
using namespace qortest;

// A quarter of each circle; the others are it, turned.
std::vector<QoriPoint> circleOf(int radius) {
  std::vector<QoriPoint> quarter;
  switch (radius) {
    case 1:
      quarter = {{0, 1}, {-1, 1}};
      break;
    case 2:
      quarter = {{0, 2}, {-1, 2}, {-2, 1}};
      break;
    case 3:
      quarter = {{0, 3}, {-1, 3}, {-2, 2}, {-3, 1}};
      break;
    case 5:
      quarter = {{0, 5}, {-1, 5}, {-2, 5}, {-3, 4}, {-4, 3}, {-5, 2}, {-5, 1}};
      break;
    case 7:
      quarter = {{0, 7}, {-1, 7}, {-2, 7}, {-3, 6}, {-4, 6}, {-5, 5}, {-6, 4}, {-6, 3}, {-7, 2}, {-7, 1}};
      break;
    default:
      quarter = {{0, 9},  {-1, 9}, {-2, 9}, {-3, 9}, {-4, 8}, {-5, 8}, {-6, 7},
                 {-7, 6}, {-8, 5}, {-8, 4}, {-9, 3}, {-9, 2}, {-9, 1}};
  }
  const size_t n = quarter.size();
  std::vector<QoriPoint> circle = quarter;
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
  int perimeter() const { return static_cast<int>(circleOf(radius).size()); }
  int bytes() const {
    int size = -1;
    EXPECT_EQ(qoriFastNGetSize(src, radius, arc, bins, option, qor8u, 1, &size), qorStsNoErr);
    return size;
  }
  void make(void* block) const {
    EXPECT_EQ(qoriFastNInit(src, radius, arc, bins, option, threshold, qor8u, 1, static_cast<QoriFastNSpec*>(block)),
              qorStsNoErr);
  }
};
const Settings& settingsOf(const Arguments& a) { return *std::static_pointer_cast<Settings>(a.data); }

// ---- the reference: one pixel after the other, as the circle is walked

struct Corner {
  int kind = 0, score = 0, bin = 0;
};

// Whether consecutive pixels of one kind are found walking once around, or on across the first pixel.
int kindOf(const std::vector<int>& d, int arc, int T) {
  const auto kindAt = [&](size_t i) { return d[i] > T ? 0x40 : d[i] < -T ? 0x80 : 0; };
  int kind = 0, run = 0;
  for (size_t i = 0; i < d.size(); ++i) {
    const int next = kindAt(i);
    run = next == 0 ? 0 : next == kind ? run + 1 : 1;
    kind = next;
    if (run == arc) return kind;
  }
  for (size_t i = 0; kind != 0 && kindAt(i) == kind; ++i)
    if (++run == arc) return kind;
  return 0;
}

int scoreOf(const std::vector<int>& d, int arc, int T, int kind) {
  int score = T;
  for (size_t s = 0; s < d.size(); ++s) {
    int least = INT_MAX;
    for (size_t k = 0; k < static_cast<size_t>(arc) && least > T; ++k) {
      const int e = d[(s + k) % d.size()];
      least = std::min(least, kind == 0x40 ? e : -e);
    }
    if (least > T) score = std::max(score, least);
  }
  return score;
}

int binOf(const std::vector<int>& d, int bins) {
  const Qor32f step = 6.2831855F / static_cast<Qor32f>(d.size());
  Qor32f A = 0, B = 0;
  for (size_t i = 0; i < d.size(); ++i) {
    const double a = static_cast<double>(static_cast<Qor32f>(i) * step);
    A += static_cast<Qor32f>(d[i] * static_cast<double>(static_cast<Qor32f>(cos(a))));
    B += static_cast<Qor32f>(d[i] * static_cast<double>(static_cast<Qor32f>(sin(a))));
  }
  Qor32f t = atan2f(A, B);
  if (t < 0) t += 6.2831855F;
  return static_cast<int>(t * (static_cast<Qor32f>(bins) * 0.15915494F)) & 63;
}

Corner cornerAt(const Image<Qor8u>& src, const Settings& s, const std::vector<QoriPoint>& circle, int x, int y) {
  const bool isPair = s.radius == 3 && s.arc == 9;
  const int T = isPair ? static_cast<int>(s.threshold) & 255 : static_cast<int>(s.threshold);
  if (std::min({x, y, s.src.width - 1 - x, s.src.height - 1 - y}) < s.radius) return {};
  std::vector<int> d;
  for (const QoriPoint& p : circle) d.push_back(src.at(x + p.x, y + p.y) - src.at(x, y));
  Corner c;
  c.kind = kindOf(d, s.arc, T);
  if (c.kind == 0) return c;
  c.score = scoreOf(d, s.arc, T, c.kind);
  if (s.has(qorFastNOrientation)) c.bin = binOf(d, s.bins);
  return c;
}

// Maps and count of a call, from what the maps held before.
void expectCorners(Call& c) {
  const Settings& s = settingsOf(c);
  const auto circle = circleOf(s.radius);
  const auto& src = c.before<Qor8u>('s');
  // Columns and rows, first and last.
  int edge[4] = {s.offset.x, s.offset.x + c.size().width, s.offset.y, s.offset.y + c.size().height};
  const int limit[4] = {std::max(0, edge[0]), std::min(edge[1], s.src.width), std::max(0, edge[2]),
                        std::min(edge[3], s.src.height)};
  for (int i = 0; i < 4; ++i) c.wanted = edge[i] != limit[i] ? qorStsSizeWrn : c.wanted;
  auto corners = c.before<Qor8u>('d'), scores = c.before<Qor8u>('d', 2);
  int count = 0;
  if (limit[1] > limit[0] && limit[3] > limit[2]) {
    const auto at = [&](int x, int y) { return cornerAt(src, s, circle, x, y); };
    for (int y = limit[2]; y < limit[3]; ++y) {
      for (int x = limit[0]; x < limit[1]; ++x) {
        Corner corner = at(x, y);
        for (int k = 0; k < 9 && corner.kind != 0 && s.has(qorFastNNonMax); ++k)
          if (at(x + k % 3 - 1, y + k / 3 - 1).score > corner.score) corner = {};
        count += corner.kind != 0;
        // Columns in front of the image do not move the region in the maps.
        const int column = x - limit[0], row = y - limit[2];
        corners.at(column, row) = static_cast<Qor8u>(corner.kind | corner.bin);
        if (s.has(qorFastNScore)) scores.at(column, row) = static_cast<Qor8u>(corner.score);
      }
    }
    c.expectResult(1, count);
  }
  c.expect('d', corners);
  c.expect('d', scores, Equal::Bits, 2);
}

// ---- descriptions

constexpr int radii[] = {1, 2, 3, 5, 7, 9};

// The pair of radius 3 and arcs of 9 in half of the cases; regions inside, around and far off the image's edges.
std::shared_ptr<Settings> drawSettings(Call& call) {
  const auto s = std::make_shared<Settings>();
  Case& c = call.c;
  s->src = c.size;
  if (c.usual) return s;
  if (c.random.oneIn(2)) {
    s->radius = radii[c.random.below(6)];
    const int P = s->perimeter();
    s->arc = c.random.between(P / 2 + 1, P - 1);
  }
  s->option = call.pick({4, 36, 38, 38, 39, 39, 5, 37});
  s->bins = s->has(qorFastNOrientation) ? call.pick({1, 8, 36, 64}) : call.pick({-7, 0, 100});
  s->threshold = call.pick({0.0F, 1.0F, 5.0F, 20.7F, 20.7F, 60.0F, 254.0F, 255.0F, 256.0F, 300.0F, 1e9F});
  const int reach = s->radius + 3;
  if (!c.random.oneIn(3)) {
    s->offset = {c.random.between(-3, reach), c.random.between(-3, reach)};
    s->src.width = std::max({1, s->offset.x + 1, c.size.width + s->offset.x + c.random.between(-3, 2 * reach)});
    s->src.height = std::max({1, s->offset.y + 1, c.size.height + s->offset.y + c.random.between(-3, 2 * reach)});
  } else {
    s->offset = {-c.random.below(2) * c.size.width, 0};
  }
  appendCase(" radius %d, arcs of %d, option %d, bins %d, threshold %g, at %d,%d of %dx%d", s->radius, s->arc,
             s->option, s->bins, static_cast<double>(s->threshold), s->offset.x, s->offset.y, s->src.width,
             s->src.height);
  return s;
}

// The record of the contract stands at a word of its block.
void drawRecord(Call& c) {
  const auto s = drawSettings(c);
  c.data = s;
  uint8_t* const block = c.block('t', s->bytes());
  s->make(block);
  if (!c.c.usual) return;
  alignas(8) uint8_t aligned[8 * 16 + 68];
  s->make(aligned);
  memcpy(block, aligned, sizeof aligned);
}

// Squares of two grays with noise: their corners are corners, and their edges almost.
void paint(Call& c) {
  if (c.c.random.oneIn(3)) return;
  const int side = c.pick({1, 2, 3, 5, 9}), noise = c.pick({1, 2, 8, 60});
  const uint64_t seed = c.c.random.bits();
  c.image<Qor8u>('s').generate([&](int x, int y, int) {
    const bool bright = Random(seed + static_cast<uint64_t>(x / side + 1000 * (y / side))).oneIn(3);
    return static_cast<Qor8u>((bright ? 150 : 40) + c.c.random.below(noise));
  });
}

// Words of an aligned record: identity, type, channels, size, radius, arc, bins, option.
void refuseHead(DescribedContract& c) {
  const auto isNot = [](int wanted) { return [=](int word) { return word != wanted; }; };
  c.refuseWord('t', 2, qorStsContextMatchErr, isNot(0x4b617390), {0, 0x4b617391});
  c.refuseWord('t', 3, qorStsDataTypeErr, isNot(qor8u), {0, 3, 13});
  c.refuseWord('t', 4, qorStsChannelErr, isNot(1), {0, 3});
}
void refuseOption(DescribedContract& c) {
  const auto isBad = [](int o) { return (o & 4) == 0 || (o & ~39) != 0 || ((o & 2) != 0 && (o & 32) == 0); };
  c.refuseWord('t', 10, qorStsBadArgErr, isBad, {0, 35, 7, 39 + 64, 12, -1});
  c.refuseWord('t', 9, qorStsOutOfRangeErr, [](int bins) { return bins < 1 || bins > 64; }, {0, 65, -1});
}
bool isNoRadius(int r) { return std::count(std::begin(radii), std::end(radii), r) == 0; }
void refuseRadius(DescribedContract& c, int) { c.refuse('k', qorStsBadArgErr, isNoRadius, {0, 4, 6, 10, -3}); }
void refuseInRecord(DescribedContract& c, int which) {
  const auto below1 = [](int n) { return n < 1; };
  if (which == 1) {
    refuseHead(c);
    c.refuseWord('t', 5, qorStsSizeErr, below1, {0, -1});
    c.refuseWord('t', 6, qorStsSizeErr, below1, {0, INT_MIN});
    refuseOption(c);
  } else if (which == 2) {
    refuseHead(c);
    refuseOption(c);
  } else {
    c.refuseWord('t', 7, qorStsBadArgErr, isNoRadius, {0, 4, 10, -3});
    c.refuseWord('t', 8, qorStsOutOfRangeErr, [](int n) { return n <= 8 || n >= 16; }, {8, 16, 0, -9});
    auto* const p = &c.now.at<QoriPoint>('f');
    c.check(
        "offset", qorStsOutOfRangeErr, [=] { return p->x >= 17 || p->y >= 5; }, [=] { p->x = 17; },
        [=] { p->y = INT_MAX; });
  }
}

// The settings as arguments, in the order of the first check that refuses them.
const char* const formChecks =
    " | one t DataTypeErr | one c ChannelErr | one u BadArgErr | range b OutOfRangeErr 1 64 | own"
    " | range n OutOfRangeErr 9 15";
const std::vector<std::pair<char, std::vector<double>>> formValues{
    {'t', {qor8u}},     {'c', {1}},   {'u', {39, 4, 5, 36, 37, 38}}, {'b', {36, 1, 64}}, {'k', {3}},
    {'n', {9, 12, 15}}, {'g', {0, 7}}};

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriFastN_8u_C1R), "s.d.d.rfztw",
        {.checks = "null sd1rtw | size | own 1 | null d2 | own 3",
         .draw =
             [](Call& c) {
               drawRecord(c);
               c.at<QoriPoint>('f') = settingsOf(c).offset;
             },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') s = {settingsOf(a).src.width, settingsOf(a).src.height, 1};
             },
         .fill = paint,
         .arrange =
             [](Call& c) {
               if (!settingsOf(c).has(qorFastNScore)) c.at<Qor8u*>('d', 2) = nullptr;
             },
         .scratch =
             [](const Arguments& a) {
               int bytes = -1;
               EXPECT_EQ(qoriFastNGetBufferSize(noAccess<QoriFastNSpec>(), a.size(), &bytes), qorStsNoErr);
               return bytes;
             },
         .expect = expectCorners,
         .own = refuseInRecord,
         .read = "t",
         .sweep = {.widths = {1, 2, 3, 7, 15, 16, 17, 18, 29, 30, 31, 32, 33, 34, 48, 63, 64, 65, 97},
                   .heights = {1, 2, 3, 7, 20},
                   .repeats = 2}});
  // Bytes of any kind for corners, and fewer places than corners.
  d.add(QORTEST_NAMED(qoriFastN2DToVec_8u), "s.s.rzlrt",
        {.checks = "null s1rt | size | least l SizeErr 0 | own 2 | null s2",
         .values = {{'l', {1000, 0, 1, 3, 20}}},
         .draw = drawRecord,
         .shape =
             [](const Arguments& a, char role, int which, Shape& s) {
               if (role == 'r' && which == 1) s.width = a.number('l');
             },
         .fill =
             [](Call& c) {
               const int rarity = c.pick({1, 5, 100});
               c.image<Qor8u>('s').generate(
                   [&](int, int, int) { return static_cast<Qor8u>(c.c.random.oneIn(rarity) ? c.c.random.bits() : 0); });
             },
         .arrange =
             [](Call& c) {
               if (!settingsOf(c).has(qorFastNScore)) c.at<const Qor8u*>('s', 2) = nullptr;
             },
         .expect =
             [](Call& c) {
               const Settings& s = settingsOf(c);
               const auto &corners = c.before<Qor8u>('s'), &scores = c.before<Qor8u>('s', 2);
               int count = 0;
               for (int y = 0; y < c.size().height; ++y) {
                 for (int x = 0; x < c.size().width; ++x) {
                   const int corner = corners.at(x, y), bin = corner % 64;
                   if (corner == 0 || count++ >= c.number('l')) continue;
                   const bool isOriented = s.has(qorFastNOrientation);
                   const QoriCornerFastN want{x,
                                              y,
                                              corner / 128,
                                              isOriented ? bin : -1,
                                              isOriented ? static_cast<Qor32f>(bin * (360.0 / s.bins)) : -1,
                                              s.has(qorFastNScore) ? static_cast<Qor32f>(scores.at(x, y)) : -1};
                   EXPECT_EQ(memcmp(c.at<QoriCornerFastN*>('r') + count - 1, &want, sizeof want), 0) << currentCase();
                 }
               }
               c.expectResult(2, count);
             },
         .own = refuseInRecord,
         .read = "t"});
  d.add(QORTEST_NAMED(qoriFastNGetBufferSize), "tzr",
        {.draw = [](Call& c) { c.block('t', 1); },
         .expect = [](Call& c) { c.expectResult(1, (3 * c.size().width + 6) * 2 + 624); }});
  d.add(QORTEST_NAMED(qoriFastNGetSize), "zknbutcr",
        {.checks = std::string("null | size") + formChecks, .values = formValues, .own = refuseRadius});
  d.add(QORTEST_NAMED(qoriFastNInit), "zknbugtcq",
        {.checks = std::string("null | size | least g ThresholdErr 0") + formChecks,
         .values = formValues,
         .shape =
             [](const Arguments&, char role, int, Shape& s) {
               if (role == 'q') s.width = 8 * 16 + 68;
             },
         .own = refuseRadius});
});

// ---- on paper

TEST(FastN, Record) {
  for (const int radius : radii) {
    Settings s{{640, 480}, radius, 0, 17, 39, 20.7F};
    const int P = s.perimeter();
    for (const int arc : {P / 2, P}) {
      int unused = -1;
      EXPECT_EQ(qoriFastNGetSize(s.src, radius, arc, 17, 39, qor8u, 1, &unused), qorStsOutOfRangeErr);
    }
    s.arc = P / 2 + 1;
    EXPECT_EQ(s.bytes(), 8 * P + 68);
    for (int offset = 0; offset < 8; ++offset) {
      const GuardedBytes block(s.bytes(), offset);
      s.make(block.data());
      const int distance = block.data()[0];
      EXPECT_EQ((reinterpret_cast<uintptr_t>(block.data()) + static_cast<uintptr_t>(distance)) % 8, 0U);
      ASSERT_TRUE(distance >= 1 && distance <= 8);
      int words[11];
      const QoriPoint* ring;
      std::vector<Qor32f> tables(static_cast<size_t>(2 * P + 1));
      memcpy(words, block.data() + distance, sizeof words);
      memcpy(&ring, block.data() + distance + 48, sizeof ring);
      memcpy(tables.data(), block.data() + distance + 56, tables.size() * sizeof(Qor32f));
      const std::vector<int> head(words, words + 9);
      EXPECT_EQ(head, (std::vector<int>{0x4b617390, 1, 1, 640, 480, radius, s.arc, 17, 39}));
      EXPECT_EQ(memcmp(words + 9, &s.threshold, 4), 0);
      EXPECT_EQ(words[10], 20);
      EXPECT_EQ(memcmp(ring, circleOf(radius).data(), static_cast<size_t>(P) * sizeof *ring), 0);
      for (int i = 0; i < P; ++i) {
        const double a = 2 * M_PI * i / P;
        EXPECT_NEAR(static_cast<double>(tables[static_cast<size_t>(i)]), sin(a), 1e-6);
        EXPECT_NEAR(static_cast<double>(tables[static_cast<size_t>(P + i)]), cos(a), 1e-6);
      }
      EXPECT_FLOAT_EQ(tables.back(), 17 * 0.15915494F);
    }
  }
}

// Offsets and sizes whose sum does not fit 32 bits; nothing left; scratch whose report has wrapped.
TEST(FastN, FarRegions) {
  Settings s{{40, 40}, 3, 9, 36, 5, 20};
  GuardedImage<Qor8u> src(s.src), corners(s.src);
  src.generate([](int x, int y, int) { return static_cast<Qor8u>(x == 20 && y == 20 ? 200 : 50); });
  std::vector<Qor8u> scratch(2000);
  const auto find = [&](QoriPoint offset, QoriSize size, int* count) {
    const GuardedBytes record(s.bytes());
    s.make(record.data());
    return qoriFastN_8u_C1R(src.data(), src.step(), corners.data(), corners.step(), corners.data(), 40, count, offset,
                            size, record.as<QoriFastNSpec>(), scratch.data());
  };
  int count = 7;
  EXPECT_EQ(find({INT_MIN, 0}, {INT_MAX, 1}, &count), qorStsSizeWrn);
  EXPECT_EQ(find({0, -5}, {1, 5}, &count), qorStsSizeWrn);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(find({-5, -6}, {INT_MAX, INT_MAX}, &count), qorStsSizeWrn);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(corners.at(20, 20) & 0xc0, 0x80);
  s.option = 39;
  EXPECT_EQ(find({0, 0}, {INT_MAX, 40}, &count), qorStsSizeErr);
}

// Tiles know their neighbours' scores.
TEST(FastN, TilesEqualTheWhole) {
  Random random(baseSeed());
  for (const int radius : radii) {
    Settings s{{90, 80}, radius, 0, 36, 39, 3};
    s.arc = s.perimeter() / 2 + 1;
    setCase("tiles, radius %d", radius);
    GuardedImage<Qor8u> src(s.src), whole[2] = {GuardedImage<Qor8u>(s.src), GuardedImage<Qor8u>(s.src)},
                                    tiled[2] = {GuardedImage<Qor8u>(s.src), GuardedImage<Qor8u>(s.src)};
    src.generate([&](int x, int y, int) { return static_cast<Qor8u>(x / 9 * 31 + y / 7 * 57 + random.below(8)); });
    const GuardedBytes record(s.bytes(), 3), scratch(6 * 90 + 636);
    s.make(record.data());
    const auto find = [&](const GuardedImage<Qor8u>(&maps)[2], QoriPoint at, QoriSize size) {
      int count = -1;
      EXPECT_EQ(
          qoriFastN_8u_C1R(src.data(), src.step(), &maps[0].at(at.x, at.y), maps[0].step(), &maps[1].at(at.x, at.y),
                           maps[1].step(), &count, at, size, record.as<QoriFastNSpec>(), scratch.data()),
          qorStsNoErr);
      return count;
    };
    int left = find(whole, {0, 0}, s.src);
    EXPECT_GT(left, 20);
    for (int y = 0; y < 80; y += 16)
      for (int x = 0; x < 90; x += 45) left -= find(tiled, {x, y}, {45, 16});
    EXPECT_EQ(left, 0);
    for (const int map : {0, 1}) expectSame(tiled[map], whole[map].pixels());
  }
}

}  // namespace
