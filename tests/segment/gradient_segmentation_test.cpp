#include <algorithm>
#include <deque>

#include "qorcv/segment.h"
#include "support/support.h"

namespace {
using namespace qortest;

// The words of the header, one pixel at a time.
struct Growth {
  const Image<Qor8u>& picture;
  Image<Qor8u> plane;
  int ways, flag;
  std::deque<QoriPoint> waiting[256] = {};
  static constexpr QoriPoint towards[] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};

  int step(QoriPoint a, QoriPoint b) const {
    int most = 0;
    for (int k = 0; k < picture.channels; ++k)
      most = std::max(most, abs(picture.at(a.x, a.y, k) - picture.at(b.x, b.y, k)));
    return most;
  }
  template <class Work>
  void around(QoriPoint c, int count, Work work) {
    for (int d = 0; d < count; ++d) {
      const QoriPoint n{c.x + towards[d].x, c.y + towards[d].y};
      work(n, plane.at(n.x, n.y));
    }
  }
  void wait(QoriPoint p, int cost) {
    waiting[cost].push_back(p);
    plane.at(p.x, p.y) = 255;
  }
  void take(QoriPoint c) {
    int best = 256;
    Qor8u& own = plane.at(c.x, c.y);
    around(c, ways, [&](QoriPoint n, int label) {
      const int d = step(c, n);
      if (label == 0 || label == 255 || d > best || (d == best && label == 254)) return;
      best = d;
      own = static_cast<Qor8u>(label);
    });
    bool meets = false;
    around(c,
           (flag & 128) != 0  ? 8
           : (flag & 64) != 0 ? 4
                              : 0,
           [&](QoriPoint, int label) { meets |= label != 0 && label < 254 && label != own; });
    if (meets) own = 254;
  }

  Image<Qor8u> run() {
    const Image<Qor8u> before = plane;
    const int w = plane.size.width, h = plane.size.height;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        if (x == 0 || y == 0 || x == w - 1 || y == h - 1) plane.at(x, y) = 255;
    bool any = false;
    for (int y = 1; y < h - 1; ++y) {
      for (int x = 1; x < w - 1; ++x) {
        if (plane.at(x, y) != 0) continue;
        int least = 256;
        around({x, y}, ways, [&](QoriPoint n, int label) {
          if (label != 0 && label != 255) least = std::min(least, step({x, y}, n));
        });
        if (least < 256) any = true, wait({x, y}, least);
      }
    }
    for (int active = 0; active < 256;) {
      if (waiting[active].empty()) {
        ++active;
        continue;
      }
      const QoriPoint c = waiting[active].front();
      waiting[active].pop_front();
      take(c);
      around(c, ways, [&](QoriPoint n, int label) {
        if (label != 0) return;
        const int d = step(c, n);
        wait(n, d);
        active = std::min(active, d);
      });
    }
    return any ? plane : before;
  }
};

// Seeds few or many, alone or in blobs, boundary and closed ones among them; a picture of few levels or as it comes.
void makeSeeds(Call& c) {
  GuardedImage<Qor8u>&marker = c.image<Qor8u>('i'), &picture = c.image<Qor8u>('s');
  Random& random = c.c.random;
  const int sparse = 1 << random.below(9), labels = random.between(1, 5), levels = 1 << random.below(8);
  appendCase(" seeds 1 in %d, levels %d", sparse, levels);
  if (levels > 1) picture.generate([&](int, int, int) { return Qor8u(random.below(levels) * (256 / levels)); });
  marker.generate([&](int x, int, int) {
    if (sparse > 1 && x > 0 && random.oneIn(3)) return marker.at(x - 1, 0);
    if (!random.oneIn(sparse)) return Qor8u(0);
    return Qor8u(random.oneIn(6) ? 253 + random.below(3) : 1 + random.below(labels));
  });
}

const Descriptions members([](Descriptions& d) {
#define QOR_SEGMENT_GRADIENT(form)                                                                                    \
  d.add(                                                                                                              \
      QORTEST_NAMED(qoriSegmentGradientGetBufferSize_8u_##form##R), "zr",                                             \
      {.checks = "null | size",                                                                                       \
       .expect =                                                                                                      \
           [](Call& c) { c.expectResult(1, int(17U * unsigned(c.size().width) * unsigned(c.size().height) + 115)); }, \
       .sweep = {.widths = {1, 641, 40000, INT_MAX}, .heights = {1, 7, 5000}}});                                      \
  d.add(QORTEST_NAMED(qoriSegmentGradient_8u_##form##IR), "s.i.znfw",                                                 \
        {.checks = "null | size | step | one n BadArgErr",                                                            \
         .values = {{'n', {qoriNormInf, qoriNormL1}}, {'f', {0, 64, 128, 192, 63, -1}}},                              \
         .shape =                                                                                                     \
             [](const Arguments&, char role, int, Shape& shape) {                                                     \
               if (role == 'i') shape.channels = 1;                                                                   \
             },                                                                                                       \
         .fill = makeSeeds,                                                                                           \
         .scratch = reported(qoriSegmentGradientGetBufferSize_8u_##form##R),                                          \
         .expect =                                                                                                    \
             [](Call& c) {                                                                                            \
               const int ways = c.number('n') == qoriNormInf ? 8 : 4;                                                 \
               c.expect('i', Growth{c.before<Qor8u>('s'), c.before<Qor8u>('i'), ways, c.number('f')}.run());          \
             },                                                                                                       \
         .sweep = {.heights = {1, 2, 3, 4, 9}, .thresholds = {{200, 70}}, .repeats = 3}})
  QOR_SEGMENT_GRADIENT(C1);
  QOR_SEGMENT_GRADIENT(C3);
});

TEST(GradientSegmentation, OnPaper) {
  // From both sides a step of 4 leads into the middle: the later neighbour, the right one, has it.
  const Qor8u picture[] = {0, 0, 0, 0, 0, 0, 5, 9, 5, 0, 0, 0, 0, 0, 0};
  const auto run = [&](int first, int flag) {
    Qor8u marker[15] = {}, scratch[17 * 15 + 115];
    marker[6] = static_cast<Qor8u>(first), marker[8] = 2;
    EXPECT_EQ(qoriSegmentGradient_8u_C1IR(picture, 5, marker, 5, {5, 3}, qoriNormL1, flag, scratch), 0);
    EXPECT_TRUE(std::count(marker, marker + 15, 255) == 12) << "the frame";
    return marker[7];
  };
  EXPECT_EQ(run(1, 0), 2);
  EXPECT_EQ(run(1, qorSegmentBorder4), 254);
  EXPECT_EQ(run(254, qorSegmentBorder8), 2);
}

}  // namespace
