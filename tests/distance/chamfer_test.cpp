#include <float.h>
#include <math.h>

#include <algorithm>
#include <bit>

#include "distance/zeros.h"
#include "qorcv/distance.h"

namespace {
using namespace qortest;

struct Move {
  int dx, dy;
  double length;
};

// Takes the least of what lies `moves` away, in both directions in turns, until nothing falls or for two passes.
void relax(Image<double>& d, const std::vector<Move>& moves, bool untilStable) {
  const auto [w, h] = d.size;
  for (bool fell = true; fell;) {
    fell = false;
    for (int sign : {1, -1}) {
      for (int i = 0; i < w * h; ++i) {
        const int at = sign > 0 ? i : w * h - 1 - i, x = at % w, y = at / w;
        for (const Move& m : moves) {
          const int fromX = x + sign * m.dx, fromY = y + sign * m.dy;
          if (fromX < 0 || fromY < 0 || fromX >= w || fromY >= h) continue;
          const double offer = d.at(fromX, fromY) + m.length;
          fell |= offer < d.at(x, y);
          d.at(x, y) = std::min(d.at(x, y), offer);
        }
      }
    }
    if (!untilStable) return;
  }
}

Image<double> reference(const Image<Qor8u>& src, std::vector<double> metrics, double slack, double top) {
  Image<double> d(src.size);
  std::transform(src.samples.begin(), src.samples.end(), d.samples.begin(),
                 [](Qor8u s) { return s == 0 ? 0 : INFINITY; });
  double a = metrics[0], b = metrics[1];
  bool untilStable = true;
  std::vector<Move> knights;
  if (metrics.size() == 3) {
    const double c = metrics[2], diagonal = std::min(2 * a, b);
    const auto below = [=](double x, double y, double of) { return x < y && !(y - x < slack * of); };
    if (below(c, a + diagonal, a + diagonal)) {
      const bool isRegular = below(a, diagonal, diagonal) && below(2 * a, c, c) && below(1.5 * diagonal, c, c);
      b = diagonal;
      untilStable = isRegular || std::min(src.size.width, src.size.height) < 4;
      if (!untilStable) a = std::min(a, 3 * c), b = std::min(b, 2 * c);
      knights = {{-1, -2, c}, {1, -2, c}, {-2, -1, c}, {2, -1, c}};
    }
  }
  std::vector<Move> moves = {{-1, 0, a}, {0, -1, a}, {-1, -1, b}, {1, -1, b}};
  moves.insert(moves.end(), knights.begin(), knights.end());
  relax(d, moves, untilStable);
  for (double& x : d.samples) x = std::min(x, top);
  return d;
}

// The usual lengths, any, and those at which the rules change.
template <class M>
void drawMetrics(Call& c, int count) {
  const int kind = c.c.usual ? 0 : c.c.random.below(7);
  const double a = c.c.random.between(1, 60), huge = std::is_floating_point_v<M> ? HUGE_VAL : double{INT_MAX};
  const auto around = [&](double x) { return std::max(1.0, x + c.c.random.between(-1, 1)); };
  const auto any = [&] { return c.c.random.between(1, 40); };
  const std::vector<double> kinds[] = {{5, 7, 11},
                                       {1, around(1), 2},
                                       {a, around(2 * a), around(3 * a)},
                                       {a, around(a), around(2 * a)},
                                       {any() + 0.0, any() + 0.0, any() + 0.0},
                                       {65541, 261, huge},
                                       {c.pick({huge, 3.0}), c.pick({huge, 1e9}), c.pick({1.0, 4.0, 2e9})}};
  std::vector<M> m(kinds[kind].begin(), kinds[kind].end());
  appendCase(" metrics %g %g %g", double(m[0]), double(m[1]), double(m[2]));
  m.resize(size_t(count));
  c.array('k', m);
}

template <class D, class M>
Traits traitsOf(int side, char src, char dst) {
  const int count = side == 5 ? 3 : 2;
  return {.checks = "null | size | step | even | own",
          .draw = [=](Call& c) { drawMetrics<M>(c, count); },
          .fill = [=](Call& c) { drawZeros(c, src); },
          .expect =
              [=](Call& c) {
                const M* m = c.at<const M*>('k');
                constexpr bool isFloat = std::is_floating_point_v<D>;
                const auto want = reference(c.before<Qor8u>(src), {m, m + count}, isFloat ? 1e-7 : 0,
                                            double(std::numeric_limits<D>::max()));
                // Every move along the way rounds once.
                const double error = isFloat ? (c.size().width + c.size().height) * 0x1p-23 : 0;
                expectAgreement(
                    c.after<D>(dst), want, [=](D got, double x) { return fabs(got - x) <= error * x; }, "distance");
              },
          .own =
              [=](DescribedContract& c, int) {
                const auto fails = [](int bits) { return !(std::bit_cast<M>(bits) > 0); };
                for (int i = 0; i < count; ++i)
                  c.refuseWord('k', i, qorStsMetricErr, fails, {0, INT_MIN, -1, INT_MIN + 1});
              },
          .read = "k",
          .sweep = {.heights = {1, 2, 3, 4, 17}, .thresholds = {{2, 70}, {3, 40}, {4, 40}, {300, 5}}, .repeats = 2}};
}

const Descriptions members([](Descriptions& d) {
#define QOR_CHAMFER(name, D, M, side) \
  d.add(QORTEST_NAMED(name), sizeof(D) == 1 ? "S.d.zk" : "s.d.zk", traitsOf<D, M>(side, 's', 'd'));
#define QOR_CHAMFER_IN_PLACE(name, side) d.add(QORTEST_NAMED(name), "i.zk", traitsOf<Qor8u, Qor32s>(side, 'i', 'i'));
#include "../../src/distance/chamfer.def"
});

TEST(Chamfer, UsualLengths) {
  const Qor32s whole[] = {1, 1, 0, 1, 2, 0, 2, 3, 0, 1, 1, 2, 1, 2, 3, 5, 7, 11};
  const Qor32f real[] = {1, 1, 0, 1, 2, 0, 0.955F, 1.3693F, 0, 1, 1, 2, 1, 2, 3, 1, 1.4F, 2.1969F};
  for (int type = -40; type < 60; ++type) {
    const int side = type / 10, norm = type % 10, at = side / 5 * 9 + norm * 3;
    const bool isNorm = norm >= 0 && norm <= 2;
    const QorStatus status = side != 3 && side != 5 ? qorStsSizeErr : isNorm ? qorStsNoErr : qorStsBadArgErr;
    Qor32s gotWhole[3] = {};
    Qor32f got[3] = {}, gotByType[3] = {};
    EXPECT_EQ(qoriGetDistanceTransformMask_32s(side, norm, gotWhole), status) << type;
    EXPECT_EQ(qoriGetDistanceTransformMask_32f(side, norm, got), status) << type;
    EXPECT_EQ(qoriGetDistanceTransformMask(type, gotByType), isNorm ? status : qorStsBadArgErr) << type;
    if (status != qorStsNoErr) continue;
    EXPECT_EQ(memcmp(gotWhole, whole + at, sizeof gotWhole), 0) << type;
    EXPECT_EQ(memcmp(got, real + at, sizeof got) | memcmp(gotByType, got, sizeof got), 0) << type;
  }
  EXPECT_EQ(qoriGetDistanceTransformMask(33, nullptr), qorStsBadArgErr);
  EXPECT_EQ(qoriGetDistanceTransformMask_32s(4, 9, nullptr), qorStsNullPtrErr);
  EXPECT_EQ(qoriGetDistanceTransformMask_32f(4, 9, nullptr), qorStsNullPtrErr);
}

}  // namespace
