#include <limits.h>
#include <math.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "qorcv/pyramid.h"
#include "support/support.h"

namespace {
using namespace qortest;
using Point = QoriPoint_32f;

template <class T>
struct Flow;
#define QOR_LUCAS_KANADE(initName, name, freeName, T, type) \
  template <>                                               \
  struct Flow<T> {                                          \
    static constexpr auto init = initName;                  \
    static constexpr auto run = name;                       \
    static constexpr auto release = freeName;               \
  };
#include "../../src/pyramid/lucas_kanade.def"
#undef QOR_LUCAS_KANADE

// Two pyramids whose levels are samples of a picture, with guards, and a record.
enum class Kind { Moved, Equal, Flat, Stripes, Special };
struct Scene {
  Kind kind = Kind::Moved;
  double dx = 0, dy = 0, rate = 2;
  int levels = 1, window = 9;  // levels above the finest
  QoriSize record{};
  std::vector<Point> from = {}, estimate = {};
  std::vector<std::shared_ptr<void>> images = {};
  std::shared_ptr<QoriPyramid> pyramids[2] = {};
  std::shared_ptr<QoriOptFlowPyrLKState> state = nullptr;

  double at(double x, double y) const {
    if (kind == Kind::Flat) return 77;
    const double along = kind == Kind::Stripes ? 0 : y;
    return 128 + 40 * sin(0.21 * x + 0.3 * sin(0.11 * along)) + 35 * sin(0.26 * along - 0.07 * x * (along != 0)) +
           25 * sin(0.12 * (x + along) + 1);
  }

  template <class T>
  void make(Case& c, QoriSize size) {
    for (int frame = 0; frame < 2; ++frame) {
      QoriPyramid* p = nullptr;
      EXPECT_EQ(qoriPyramidInitAlloc(&p, levels, size, static_cast<Qor32f>(rate)), qorStsNoErr);
      pyramids[frame] = {p, qoriPyramidFree};
      const double x0 = frame == 1 && kind != Kind::Equal ? dx : 0, y0 = frame == 1 && kind != Kind::Equal ? dy : 0;
      for (int level = 0; level <= p->level; ++level) {
        auto image = std::make_shared<GuardedImage<T>>(c.image<T>(p->pRoi[level]));
        const double range = std::is_same_v<T, Qor16u> ? 256 : 1, s = p->pRate[level];
        if (kind != Kind::Special)
          image->generate([&](int x, int y, int) {
            const double value = range * at(x / s - x0, y / s - y0);
            return static_cast<T>(std::is_integral_v<T> ? nearbyint(value) : value);
          });
        image->protect();
        p->pImage[level] = reinterpret_cast<Qor8u*>(image->data()), p->pStep[level] = image->step();
        images.push_back(image);
      }
    }
    QoriOptFlowPyrLKState* made = nullptr;
    EXPECT_EQ(Flow<T>::init(&made, record, window, qorHintNone), qorStsNoErr);
    state = {made, [](auto* p) { EXPECT_EQ(Flow<T>::release(p), qorStsNoErr); }};
  }
  int top() const { return pyramids[0]->level; }
  template <class T>
  T pixel(int frame, int level, int x, int y) const {
    const QoriPyramid& p = *pyramids[frame];
    x = std::clamp(x, 0, p.pRoi[level].width - 1), y = std::clamp(y, 0, p.pRoi[level].height - 1);
    return reinterpret_cast<const T*>(p.pImage[level] + ptrdiff_t{p.pStep[level]} * y)[x];
  }
};

// The words of the header in 64-bit floats, for one point. What is decided by little is not compared.
template <class T>
struct Reference {
  enum Outcome { Found, Outside, Flat };
  const Scene& scene;
  int most;
  double threshold;
  bool isDoubtful = false;
  int level = 0;

  struct Window {
    int x, y;
    double a, b;
  };
  Window window(Point p) const {
    const Qor32f half = static_cast<Qor32f>(scene.window - 1) / 2, x = p.x - half, y = p.y - half;
    if (!(fabsf(x) < 1e6F && fabsf(y) < 1e6F)) return {-1 << 20, -1 << 20, 0, 0};
    return {static_cast<int>(floorf(x)), static_cast<int>(floorf(y)), x - floorf(x), y - floorf(y)};
  }
  double sample(int frame, const Window& w, int i, int j) const {
    const auto at = [&](int x, int y) { return static_cast<double>(scene.pixel<T>(frame, level, w.x + x, w.y + y)); };
    return (1 - w.a) * (1 - w.b) * at(i, j) + w.a * (1 - w.b) * at(i + 1, j) + (1 - w.a) * w.b * at(i, j + 1) +
           w.a * w.b * at(i + 1, j + 1);
  }
  bool isInside(const Window& w, int i, int j) const {
    const QoriSize size = scene.pyramids[0]->pRoi[level];
    return w.x + i >= 0 && w.y + j >= 0 && w.x + i + 1 < size.width && w.y + j + 1 < size.height;
  }
  double gradient(const Window& w, int i, int j, bool isX) const {
    const auto at = [&](int x, int y) { return isX ? sample(0, w, i + x, j + y) : sample(0, w, i + y, j + x); };
    const auto difference = [&](int k) { return at(1, k) - at(-1, k); };
    return 0.09375 * (difference(-1) + difference(1)) + 0.3125 * difference(0);
  }

  Outcome follow(Point prev, Point& pos, double& error) {
    double beforeX = 1e9, beforeY = 1e9;
    const Window w = window(prev);
    bool isDone = false;
    for (int step = 0;; ++step) {
      const Window v = window(pos);
      double xx = 0, xy = 0, yy = 0, bx = 0, by = 0, e = 0, n = 0, inside = 0;
      for (int j = 0; j < scene.window; ++j) {
        for (int i = 0; i < scene.window; ++i) {
          if (!isInside(w, i, j)) continue;
          inside += 1;
          if (!isInside(v, i, j)) continue;
          const double gx = gradient(w, i, j, true), gy = gradient(w, i, j, false);
          const double d = sample(0, w, i, j) - sample(1, v, i, j);
          xx += gx * gx, xy += gx * gy, yy += gy * gy, bx += gx * d, by += gy * d, e += d * d, n += 1;
        }
      }
      if (inside == 0) return Outside;
      error = e > 0 ? sqrt(e / n) : 0;
      if (isDone || step == most) return Found;
      if (n == 0) return Outside;
      const double det = xx * yy - xy * xy, least = det == 0 ? 0 : det / (xx + yy) / n;
      // Few samples, an eigenvalue of less than four grey levels squared, rows that a trifle more would bring in, edges
      // where gradients of levels differ. What is 0 is exactly so, but beside edges, where there are fewer products.
      const auto isTrifle = [](double fraction) { return fabs(fraction - 0.5) > 0.48; };
      if (n < scene.window * scene.window)
        isDoubtful |= n < 12 || isTrifle(v.a) || isTrifle(v.b) || scene.record.width > 1;
      if (least < (std::is_same_v<T, Qor16u> ? 4 * 65536 : 4)) {
        isDoubtful = least != 0 || !isInside(w, -1, -1) || !isInside(w, scene.window, scene.window);
        return Flat;
      }
      const double dx = (yy * bx - xy * by) / det, dy = (xx * by - xy * bx) / det, length = sqrt(dx * dx + dy * dy);
      if (length > 2 || (threshold > 0 && fabs(length - threshold) < 0.01)) isDoubtful = true;
      pos = {static_cast<Qor32f>(pos.x + dx), static_cast<Qor32f>(pos.y + dy)};
      isDone = length < threshold;
      if (!isDone && fabs(dx + beforeX) < 0.00034526 && fabs(dy + beforeY) < 0.00034526) {
        isDone = true;
        pos = {static_cast<Qor32f>(pos.x - dx / 2), static_cast<Qor32f>(pos.y - dy / 2)};
      }
      beforeX = dx, beforeY = dy;
    }
  }

  int track(Point from, Point& pos, double& error) {
    for (level = scene.top(); level >= 0; --level) {
      const double s = scene.pyramids[0]->pRate[level];
      const auto times = [](Point p, double by) { return Point{Qor32f(p.x * by), Qor32f(p.y * by)}; };
      Point at = times(pos, s);
      const Outcome outcome = follow(times(from, s), at, error);
      if (outcome != Flat) pos = times(at, 1 / s);
      if (outcome != Found) error = 0;
      if (outcome != Found || isDoubtful) return level + 1;
    }
    return 0;
  }
};

// Pictures that moved by less than windows bear, points anywhere, also where there is nothing.
template <class T>
void drawScene(Call& c) {
  Random& random = c.c.random;
  const bool isUsual = c.c.usual;
  auto scene = std::make_shared<Scene>();
  Scene& s = *scene;
  constexpr Kind kinds[] = {Kind::Moved, Kind::Moved,   Kind::Moved,  Kind::Equal,
                            Kind::Flat,  Kind::Stripes, Kind::Special};
  s.kind = kinds[isUsual ? 0 : random.below(7)];
  s.dx = 2.5 * random.unit() - 1.25, s.dy = 2.5 * random.unit() - 1.25;
  s.rate = c.pick({2.0, 1.5}), s.levels = isUsual ? 1 : c.pick({1, 1, 2, 3});
  s.window = isUsual ? 1 : c.pick({1, 2, 5, 6, 7, 8, 9, 10, 11, 13, 15, 16, 17, 21, 34});
  const QoriSize size = isUsual ? QoriSize{40, 30} : c.c.size;
  s.record = random.oneIn(2) ? QoriSize{1, 1} : QoriSize{random.between(2, 2 * size.width), 2 * size.height};
  const int count = isUsual ? 3 : 1 + random.below(6);
  for (int i = 0; i < count; ++i) {
    const auto place = [&](int n) {
      if (random.oneIn(15)) return c.pick({NAN, INFINITY, -3e9F, 1e20F});
      const double at = random.oneIn(5) ? 2.0 * n * random.unit() - n / 2.0 : n * (0.2 + 0.6 * random.unit());
      return static_cast<Qor32f>(random.oneIn(4) ? nearbyint(at) : at);
    };
    s.from.push_back({place(size.width), place(size.height)});
    s.estimate.push_back(random.oneIn(20) ? Point{place(size.width), place(size.height)} : s.from.back());
  }
  s.make<T>(c.c, size);
  appendCase(" kind %d window %d levels %d record %d", static_cast<int>(s.kind), s.window, s.levels, s.record.width);
  c.data = scene;
  c.array('u', std::vector{*s.pyramids[0]}), c.array('v', std::vector{*s.pyramids[1]});
  c.array('x', s.from), c.array('n', s.estimate);
  c.array('t', std::vector{*reinterpret_cast<const std::array<int64_t, 5>*>(s.state.get())});
  c.set('f', count), c.set('k', s.window), c.set('g', s.top());
  c.set('j', isUsual ? 10 : c.pick({1, 3, 10, 30})), c.set('e', isUsual ? 0.01 : c.pick({0.0, 0.01, 0.03, 0.2}));
}

template <class T>
void expectPoints(Call& c) {
  const Scene& s = *static_cast<const Scene*>(c.data.get());
  const double tolerance = std::is_same_v<T, Qor8u> ? 0.03 : 0.003;
  for (size_t i = 0; i < s.from.size(); ++i) {
    const Point got = c.at<Point*>('n')[i];
    const int status = c.at<Qor8s*>('r', 1)[i];
    const Qor32f error = c.at<Qor32f*>('r', 2)[i];
    ASSERT_TRUE(status >= 0 && status <= s.top() + 1 && (status == 0 || error == 0)) << status << currentCase();
    if (s.kind == Kind::Special) continue;
    Reference<T> reference{s, c.number('j'), c.real('e')};
    Point want = s.estimate[i];
    double wantError = 0;
    const int wantStatus = reference.track(s.from[i], want, wantError);
    if (reference.isDoubtful) continue;
    const double range = std::is_same_v<T, Qor16u> ? 256 : 1;
    const auto near = [](double a, double b, double by) { return fabs(a - b) <= by || same(a, b); };
    const auto isNear = [&](double x, double y, double by) { return near(got.x, x, by) && near(got.y, y, by); };
    ASSERT_EQ(status, wantStatus) << i << currentCase();
    ASSERT_TRUE(isNear(want.x, want.y, tolerance) && near(error, wantError, 10 * range * tolerance))
        << i << ": " << got.x << ", " << got.y << ", not " << want.x << ", " << want.y << currentCase();
    if (status != 0) continue;
    const Point from = s.from[i];
    const bool isStill = s.kind == Kind::Equal && s.rate == 2 && from.x == s.estimate[i].x && from.y == s.estimate[i].y;
    ASSERT_TRUE(!isStill || (got.x == from.x && got.y == from.y && error == 0)) << i << currentCase();
    // Where windows are whole and steps enough, the truth.
    const bool isWell = s.window >= 9 && c.number('j') >= 10 && c.real('e') < 0.1 && error < 2 * range;
    ASSERT_TRUE(s.kind != Kind::Moved || !isWell || isNear(from.x + s.dx, from.y + s.dy, 0.1)) << i << currentCase();
  }
}

template <class T>
void add(Descriptions& d, const char* initName, auto* init, const char* name, auto* run) {
  d.add(initName, init, "azkh",
        {.checks = "null | least k SizeErr 1 | size",
         .values = {{'k', {1, 5, 21}}, {'h', {qorHintNone, qorHintFast, qorHintAccurate, 77}}},
         .expect = [](Call&) {},
         .release = [](Arguments& a) { EXPECT_EQ(Flow<T>::release(*a.at<QoriOptFlowPyrLKState**>('a')), qorStsNoErr); },
         .sweep = {.widths = {1, 7, 640}, .heights = {1, 480}}});
  d.add(name, run, "uvxnrrfkgjet",
        {.checks = "null | least f SizeErr 1 | least k SizeErr 1 | own | least g BadArgErr 0 | least j BadArgErr 1 | "
                   "least e BadArgErr 0",
         .draw = drawScene<T>,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 'r') s.width = a.number('f');
             },
         .expect = expectPoints<T>,
         .own =
             [](DescribedContract& c, int) {
               c.refuseWord('t', 6, qorStsSizeErr,
                            [&c](int k) { return c.now.number('k') > 0 && k != c.now.number('k'); }, {2, 0, -1});
             },
         .read = "t",
         .sweep = {.widths = {1, 9, 24, 33, 47, 64, 65, 90}, .heights = {1, 30, 50, 70}, .repeats = 6}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_LUCAS_KANADE(initAllocName, name, freeName, T, type) \
  add<T>(d, QORTEST_NAMED(initAllocName), QORTEST_NAMED(name));
#include "../../src/pyramid/lucas_kanade.def"
});

// On waves of four pixels half a difference over two is the slope: from an offset o the steps go to -o and back, and
// end in the middle between them.
TEST(OpticalFlow, Reversal) {
  Scene s{.window = 8, .record = {1, 1}};
  Case c({40, 40});
  s.make<Qor32f>(c, c.size);
  GuardedImage<Qor32f> wave(c.size);
  const auto cosine = [](int i) { return i % 2 != 0 ? 0.0F : i % 4 == 0 ? 64.0F : -64.0F; };
  wave.generate([&](int x, int y, int) { return cosine(x) + cosine(y); });
  for (auto& p : s.pyramids) p->pImage[0] = reinterpret_cast<Qor8u*>(wave.data()), p->pStep[0] = wave.step();
  const Point from{20, 20}, want[] = {{19.75F, 20.125F}, {20, 20}, {20, 20}};
  Qor8s status = 0;
  Qor32f error = 0;
  for (int most = 1; most <= 4; ++most) {
    Point pos{20.25F, 19.875F};
    if (most == 4) s.pyramids[1]->pImage[0] = nullptr;
    const QorStatus got = qoriOpticalFlowPyrLK_32f_C1R(s.pyramids[0].get(), s.pyramids[1].get(), &from, &pos, &status,
                                                       &error, 1, 8, 0, most, 0, s.state.get());
    ASSERT_EQ(got, most == 4 ? qorStsNullPtrErr : qorStsNoErr);
    if (most == 4) break;
    EXPECT_NEAR(pos.x, want[most - 1].x, 1e-3) << most;
    EXPECT_NEAR(pos.y, want[most - 1].y, 1e-3) << most;
  }
}

TEST(OpticalFlow, Memory) {
  EXPECT_EQ(qoriOpticalFlowPyrLKFree_8u_C1R(nullptr), qorStsNullPtrErr);
  auto* state = noAccess<QoriOptFlowPyrLKState>();
  for (const QoriSize size : {QoriSize{INT_MAX, INT_MAX}, {1 << 16, 1 << 16}, {1, 1}})
    EXPECT_EQ(qoriOpticalFlowPyrLKInitAlloc_32f_C1R(&state, size, size.width == 1 ? INT_MAX : 5, 0), qorStsMemAllocErr);
  EXPECT_EQ(state, noAccess<QoriOptFlowPyrLKState>());
}

}  // namespace
