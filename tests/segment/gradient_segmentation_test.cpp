#include <algorithm>
#include <array>
#include <deque>

#include "qorcv/segment.h"
#include "support/support.h"

namespace {
using namespace qortest;

// The words of the header, one pixel at a time.
Image<Qor8u> grown(const Image<Qor8u>& picture, const Image<Qor8u>& before, int ways, int flag) {
  Image<Qor8u> plane = before;
  const int w = plane.size.width, h = plane.size.height;
  std::deque<QoriPoint> waiting[256];
  // Calls work(neighbour, its label, the step to it).
  const auto around = [&](QoriPoint c, int count, auto work) {
    constexpr QoriPoint towards[] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
    for (int d = 0; d < count; ++d) {
      const QoriPoint n{c.x + towards[d].x, c.y + towards[d].y};
      int step = 0;
      for (int k = 0; k < picture.channels; ++k)
        step = std::max(step, abs(picture.at(c.x, c.y, k) - picture.at(n.x, n.y, k)));
      work(n, plane.at(n.x, n.y), step);
    }
  };
  const auto wait = [&](QoriPoint p, int cost) {
    waiting[cost].push_back(p);
    plane.at(p.x, p.y) = 255;
  };
  for (int i = 0; i < w * h; ++i)
    if (i % w == 0 || i / w == 0 || i % w == w - 1 || i / w == h - 1) plane.at(i % w, i / w) = 255;
  bool any = false;
  for (int i = 0; i < w * h; ++i) {
    const QoriPoint p{i % w, i / w};
    if (plane.at(p.x, p.y) != 0) continue;
    int least = 256;
    around(p, ways, [&](QoriPoint, int label, int step) {
      if (label != 0 && label != 255) least = std::min(least, step);
    });
    if (least < 256) any = true, wait(p, least);
  }
  for (int active = 0; active < 256; active += waiting[active].empty() ? 1 : 0) {
    if (waiting[active].empty()) continue;
    const QoriPoint c = waiting[active].front();
    waiting[active].pop_front();
    Qor8u& own = plane.at(c.x, c.y);
    int best = 256;
    around(c, ways, [&](QoriPoint, int label, int step) {
      if (label == 0 || label == 255 || step > best || (step == best && label == 254)) return;
      best = step;
      own = Qor8u(label);
    });
    bool meets = false;
    around(c,
           (flag & 128) != 0  ? 8
           : (flag & 64) != 0 ? 4
                              : 0,
           [&](QoriPoint, int label, int) { meets |= label != 0 && label < 254 && label != own; });
    if (meets) own = 254;
    around(c, ways, [&](QoriPoint n, int label, int step) {
      if (label != 0) return;
      wait(n, step);
      active = std::min(active, step);
    });
  }
  return any ? plane : before;
}

// Seeds few or many, alone or in blobs, boundary and closed ones among them; a picture of few levels or as it comes.
void makeSeeds(Call& c) {
  GuardedImage<Qor8u>& marker = c.image<Qor8u>('i');
  Random& random = c.c.random;
  const int sparse = 1 << random.below(9), labels = random.between(1, 5), levels = 1 << random.below(8);
  appendCase(" seeds 1 in %d, levels %d", sparse, levels);
  if (levels > 1)
    c.image<Qor8u>('s').generate([&](int, int, int) { return Qor8u(random.below(levels) * 256 / levels); });
  marker.generate([&](int x, int, int) {
    if (sparse > 1 && x > 0 && random.oneIn(3)) return marker.at(x - 1, 0);
    if (!random.oneIn(sparse)) return Qor8u(0);
    return Qor8u(random.oneIn(6) ? 253 + random.below(3) : 1 + random.below(labels));
  });
}

void expectBytes(Call& c) { c.expectResult(1, int(17U * unsigned(c.size().width) * unsigned(c.size().height) + 115)); }
void expectGrown(Call& c) {
  const int ways = c.number('n') == qoriNormInf ? 8 : 4;
  c.expect('i', grown(c.before<Qor8u>('s'), c.before<Qor8u>('i'), ways, c.number('f')));
}
void oneChannel(const Arguments&, char role, int, Shape& shape) { shape.channels = role == 'i' ? 1 : shape.channels; }

const Descriptions members([](Descriptions& d) {
  const Traits grow{.checks = "null | size | step | one n BadArgErr",
                    .values = {{'n', {qoriNormInf, qoriNormL1}}, {'f', {0, 64, 128, 192, 63, -1}}},
                    .shape = oneChannel,
                    .fill = makeSeeds,
                    .scratch = reported(qoriSegmentGradientGetBufferSize_8u_C3R),
                    .expect = expectGrown,
                    .sweep = {.heights = {1, 2, 3, 4, 9}, .thresholds = {{200, 70}}, .repeats = 3}};
  const Traits query{.checks = "null | size",
                     .expect = expectBytes,
                     .sweep = {.widths = {1, 641, 40000, INT_MAX}, .heights = {1, 7, 5000}}};
  d.add(QORTEST_NAMED(qoriSegmentGradient_8u_C1IR), "s.i.znfw", grow);
  d.add(QORTEST_NAMED(qoriSegmentGradient_8u_C3IR), "s.i.znfw", grow);
  d.add(QORTEST_NAMED(qoriSegmentGradientGetBufferSize_8u_C1R), "zr", query);
  d.add(QORTEST_NAMED(qoriSegmentGradientGetBufferSize_8u_C3R), "zr", query);
});

// From both sides a step of 4 leads into the middle: the later neighbour, the right one, has it, or there is a line.
TEST(GradientSegmentation, OnPaper) {
  const Qor8u picture[] = {0, 0, 0, 0, 0, 0, 5, 9, 5, 0, 0, 0, 0, 0, 0};
  for (const auto& [first, flag, middle] : {std::array{1, 0, 2}, {1, 64, 254}, {254, 128, 2}}) {
    Qor8u marker[15] = {}, scratch[17 * 15 + 115];
    marker[6] = Qor8u(first), marker[8] = 2;
    EXPECT_EQ(qoriSegmentGradient_8u_C1IR(picture, 5, marker, 5, {5, 3}, qoriNormL1, flag, scratch), qorStsNoErr);
    EXPECT_TRUE(marker[7] == middle && std::count(marker, marker + 15, 255) == 12) << first << ' ' << flag;
  }
}

}  // namespace
