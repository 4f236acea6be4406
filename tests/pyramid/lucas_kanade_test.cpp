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
template <>
struct Flow<Qor8u> {
  static constexpr auto init = qoriOpticalFlowPyrLKInitAlloc_8u_C1R;
  static constexpr auto run = qoriOpticalFlowPyrLK_8u_C1R;
  static constexpr auto release = qoriOpticalFlowPyrLKFree_8u_C1R;
};
template <>
struct Flow<Qor16u> {
  static constexpr auto init = qoriOpticalFlowPyrLKInitAlloc_16u_C1R;
  static constexpr auto run = qoriOpticalFlowPyrLK_16u_C1R;
  static constexpr auto release = qoriOpticalFlowPyrLKFree_16u_C1R;
};
template <>
struct Flow<Qor32f> {
  static constexpr auto init = qoriOpticalFlowPyrLKInitAlloc_32f_C1R;
  static constexpr auto run = qoriOpticalFlowPyrLK_32f_C1R;
  static constexpr auto release = qoriOpticalFlowPyrLKFree_32f_C1R;
};

// Two pyramids whose levels are samples of a picture, with guards, and a record.
enum class Kind { Moved, Equal, Flat, Stripes, Special };
struct Scene {
  Kind kind = Kind::Moved;
  double dx = 0, dy = 0, rate = 2;
  int levels = 1, window = 9;
  QoriSize record{};
  std::vector<Point> from = {}, estimate = {};
  // Of both: images, and what the record of the pyramid points at.
  std::vector<std::shared_ptr<void>> images = {};
  std::vector<Qor8u*> pixels[2] = {};
  std::vector<QoriSize> sizes = {};
  std::vector<int> steps[2] = {};
  std::vector<Qor64f> rates = {};
  std::shared_ptr<QoriOptFlowPyrLKState> state = nullptr;

  double at(double x, double y) const {
    if (kind == Kind::Flat) return 77;
    const double along = kind == Kind::Stripes ? 0 : y;
    return 128 + 40 * sin(0.21 * x + 0.3 * sin(0.11 * along)) + 35 * sin(0.26 * along - 0.07 * x * (along != 0)) +
           25 * sin(0.12 * (x + along) + 1);
  }

  template <class T>
  void make(Case& c, QoriSize size) {
    double s = 1;
    for (int level = 0; level < levels; ++level, s /= rate) {
      sizes.push_back({std::max(1, static_cast<int>(size.width * s)), std::max(1, static_cast<int>(size.height * s))});
      rates.push_back(s);
      for (int frame = 0; frame < 2; ++frame) {
        auto image = std::make_shared<GuardedImage<T>>(c.image<T>(sizes.back()));
        const bool isMoved = frame == 1 && kind != Kind::Equal;
        const double range = std::is_same_v<T, Qor16u> ? 256 : 1;
        if (kind != Kind::Special)
          image->generate([&](int x, int y, int) {
            const double value = range * at(x / s - (isMoved ? dx : 0), y / s - (isMoved ? dy : 0));
            return static_cast<T>(std::is_integral_v<T> ? nearbyint(value) : value);
          });
        image->protect();
        pixels[frame].push_back(reinterpret_cast<Qor8u*>(image->data()));
        steps[frame].push_back(image->step());
        images.push_back(image);
      }
    }
    QoriOptFlowPyrLKState* made = nullptr;
    EXPECT_EQ(Flow<T>::init(&made, record, window, qorHintNone), qorStsNoErr);
    state = {made, [](auto* p) { EXPECT_EQ(Flow<T>::release(p), qorStsNoErr); }};
  }
  QoriPyramid pyramid(int frame) {
    return {pixels[frame].data(), sizes.data(), rates.data(), steps[frame].data(), nullptr, levels - 1};
  }
  template <class T>
  T pixel(int frame, int level, int x, int y) const {
    const auto l = static_cast<size_t>(level);
    x = std::clamp(x, 0, sizes[l].width - 1), y = std::clamp(y, 0, sizes[l].height - 1);
    return reinterpret_cast<const T*>(pixels[frame][l] + ptrdiff_t{steps[frame][l]} * y)[x];
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
  template <class At>
  static double blend(const Window& w, int i, int j, const At& at) {
    const int x = w.x + i, y = w.y + j;
    return (1 - w.a) * (1 - w.b) * at(x, y) + w.a * (1 - w.b) * at(x + 1, y) + (1 - w.a) * w.b * at(x, y + 1) +
           w.a * w.b * at(x + 1, y + 1);
  }
  double pixel(int frame, int x, int y) const { return static_cast<double>(scene.pixel<T>(frame, level, x, y)); }
  double sample(int frame, const Window& w, int i, int j) const {
    return blend(w, i, j, [&](int x, int y) { return pixel(frame, x, y); });
  }
  bool isInside(const Window& w, int i, int j) const {
    const QoriSize size = scene.sizes[static_cast<size_t>(level)];
    return w.x + i >= 0 && w.y + j >= 0 && w.x + i + 1 < size.width && w.y + j + 1 < size.height;
  }
  // To the right, or down.
  template <class At>
  static double scharr(bool isX, const At& at) {
    double sum = 0;
    for (int k = -1; k <= 1; ++k)
      sum += (k == 0 ? 0.3125 : 0.09375) * (isX ? at(1, k) - at(-1, k) : at(k, 1) - at(k, -1));
    return sum;
  }
  double gradient(const Window& w, int i, int j, bool ofLevel, bool isX) const {
    if (!ofLevel) return scharr(isX, [&](int x, int y) { return sample(0, w, i + x, j + y); });
    return blend(w, i, j,
                 [&](int x, int y) { return scharr(isX, [&](int u, int v) { return pixel(0, x + u, y + v); }); });
  }

  Outcome follow(Point prev, bool ofLevel, Point& pos, double& error) {
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
          const double gx = gradient(w, i, j, ofLevel, true), gy = gradient(w, i, j, ofLevel, false);
          const double d = sample(0, w, i, j) - sample(1, v, i, j);
          xx += gx * gx, xy += gx * gy, yy += gy * gy, bx += gx * d, by += gy * d, e += d * d, n += 1;
        }
      }
      if (inside == 0) return Outside;
      error = e > 0 ? sqrt(e / n) : 0;
      if (isDone || step == most) return Found;
      if (n == 0) return Outside;
      const double det = xx * yy - xy * xy, least = det == 0 ? 0 : det / (xx + yy) / n;
      // Few samples, an eigenvalue of less than four grey levels squared, rows that a trifle more would bring in. What
      // is 0 is exactly so, but beside edges, where samples are sums of fewer products.
      const auto isTrifle = [](double fraction) { return fabs(fraction - 0.5) > 0.48; };
      if (n < scene.window * scene.window && (n < 12 || isTrifle(v.a) || isTrifle(v.b))) isDoubtful = true;
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
    bool ofLevel = true;
    for (level = scene.levels - 1; level >= 0; --level) {
      const auto l = static_cast<size_t>(level);
      ofLevel = ofLevel && scene.sizes[l].width < scene.record.width && scene.sizes[l].height < scene.record.height;
      const auto times = [](Point p, double by) { return Point{Qor32f(p.x * by), Qor32f(p.y * by)}; };
      Point at = times(pos, scene.rates[l]);
      const Outcome outcome = follow(times(from, scene.rates[l]), ofLevel, at, error);
      if (outcome != Flat) pos = times(at, 1 / scene.rates[l]);
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
  s.kind = isUsual
               ? Kind::Moved
               : c.pick({Kind::Moved, Kind::Moved, Kind::Moved, Kind::Equal, Kind::Flat, Kind::Stripes, Kind::Special});
  s.dx = 2.5 * random.unit() - 1.25, s.dy = 2.5 * random.unit() - 1.25;
  s.rate = c.pick({2.0, 1.5}), s.levels = isUsual ? 1 : c.pick({1, 1, 2, 3});
  s.window = isUsual ? 1 : c.pick({1, 2, 5, 6, 7, 8, 9, 10, 11, 13, 15, 16, 17, 21, 34});
  const QoriSize size = isUsual ? QoriSize{40, 30} : c.c.size;
  s.record = {1 + random.below(2 * size.width), 1 + random.below(2 * size.height)};
  const int count = isUsual ? 3 : 1 + random.below(6);
  for (int i = 0; i < count; ++i) {
    const auto place = [&](int n) {
      if (random.oneIn(15)) return c.pick({NAN, INFINITY, -3e9F, 1e20F});
      const double at = random.oneIn(5) ? 2.0 * n * random.unit() - n / 2.0 : n * (0.2 + 0.6 * random.unit());
      return static_cast<Qor32f>(random.oneIn(4) ? nearbyint(at) : at);
    };
    s.from.push_back({place(size.width), place(size.height)});
    Point estimate = s.from.back();
    if (s.kind == Kind::Moved && random.oneIn(3)) estimate.x += static_cast<Qor32f>(s.dx);
    if (random.oneIn(20)) estimate = {place(size.width), place(size.height)};
    s.estimate.push_back(estimate);
  }
  s.make<T>(c.c, size);
  appendCase(" kind %d window %d levels %d record %dx%d", static_cast<int>(s.kind), s.window, s.levels, s.record.width,
             s.record.height);
  c.data = scene;
  c.array('u', std::vector{s.pyramid(0)}), c.array('v', std::vector{s.pyramid(1)});
  c.array('x', s.from), c.array('n', s.estimate);
  c.array('t', std::vector{*reinterpret_cast<const std::array<int64_t, 5>*>(s.state.get())});
  c.set('f', count), c.set('k', s.window), c.set('g', s.levels - 1);
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
    ASSERT_TRUE(status >= 0 && status <= s.levels && (status == 0 || error == 0)) << status << currentCase();
    if (s.kind == Kind::Special) continue;
    Reference<T> reference{s, c.number('j'), c.real('e')};
    Point want = s.estimate[i];
    double wantError = 0;
    const int wantStatus = reference.track(s.from[i], want, wantError);
    if (reference.isDoubtful) continue;
    const auto text = [&] {
      std::ostringstream t;
      t << "point " << i << " (" << s.from[i].x << ", " << s.from[i].y << "): (" << got.x << ", " << got.y
        << ") status " << status << " error " << error << ", not (" << want.x << ", " << want.y << ") " << wantStatus
        << ' ' << wantError << currentCase();
      return t.str();
    };
    const auto near = [](double a, double b, double by) { return fabs(a - b) <= by || same(a, b); };
    ASSERT_EQ(status, wantStatus) << text();
    ASSERT_TRUE(near(got.x, want.x, tolerance) && near(got.y, want.y, tolerance)) << text();
    const double range = std::is_same_v<T, Qor16u> ? 256 : 1;
    ASSERT_TRUE(near(error, wantError, 10 * range * tolerance)) << text();
    if (s.kind == Kind::Equal && s.rate == 2 && wantStatus == 0 && same(s.from[i].x, s.estimate[i].x) &&
        same(s.from[i].y, s.estimate[i].y)) {
      ASSERT_TRUE(same(got.x, s.from[i].x) && same(got.y, s.from[i].y) && error == 0) << text();
    }
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

template <class T>
QorStatus run(Scene& s, std::vector<Point>& pos, std::vector<Qor8s>& status, int most, Qor32f threshold) {
  const QoriPyramid first = s.pyramid(0), second = s.pyramid(1);
  const auto count = s.from.size();
  std::vector<Qor32f> error(count);
  pos = s.estimate, status.assign(count, -1);
  return Flow<T>::run(&first, &second, s.from.data(), pos.data(), status.data(), error.data(), static_cast<int>(count),
                      s.window, s.levels - 1, most, threshold, s.state.get());
}

// A motion of several pixels, with gradients of all levels, of some and of none from patches.
template <class T>
void expectMotion() {
  for (const int record : {1, 60, 1000}) {
    Scene s{.dx = 5.3, .dy = -3.7, .levels = 3, .window = 21, .record = {record, record}};
    for (int i = 0; i < 40; ++i) s.from.push_back({25 + 3.7F * i, 25 + static_cast<Qor32f>(i * 29 % 90)});
    s.estimate = s.from;
    Case c({200, 140});
    s.make<T>(c, c.size);
    std::vector<Point> pos;
    std::vector<Qor8s> status;
    ASSERT_EQ(run<T>(s, pos, status, 20, 0.01F), qorStsNoErr);
    for (size_t i = 0; i < pos.size(); ++i) {
      EXPECT_EQ(status[i], 0);
      EXPECT_NEAR(pos[i].x, s.from[i].x + s.dx, 0.05) << i << " record " << record;
      EXPECT_NEAR(pos[i].y, s.from[i].y + s.dy, 0.05) << i << " record " << record;
    }
  }
}
TEST(OpticalFlow, KnownMotion) {
  expectMotion<Qor8u>();
  expectMotion<Qor16u>();
  expectMotion<Qor32f>();
}

// On waves of four pixels half a difference over two is the slope: from an offset o the steps go to -o and back, and
// end in the middle between them.
TEST(OpticalFlow, Reversal) {
  Scene s{.window = 8, .record = {1, 1}, .from = {{20, 20}}, .estimate = {{20.25F, 19.875F}}};
  Case c({40, 40});
  s.make<Qor32f>(c, c.size);
  GuardedImage<Qor32f> wave({40, 40});
  wave.generate([](int x, int y, int) {
    const auto cosine = [](int i) { return i % 2 != 0 ? 0.0F : i % 4 == 0 ? 64.0F : -64.0F; };
    return cosine(x) + cosine(y);
  });
  for (int frame = 0; frame < 2; ++frame)
    s.pixels[frame][0] = reinterpret_cast<Qor8u*>(wave.data()), s.steps[frame][0] = wave.step();
  std::vector<Point> pos;
  std::vector<Qor8s> status;
  const Qor32f want[][2] = {{19.75F, 20.125F}, {20, 20}, {20, 20}};
  for (int most = 1; most <= 3; ++most) {
    ASSERT_EQ(run<Qor32f>(s, pos, status, most, 0), qorStsNoErr);
    EXPECT_NEAR(pos[0].x, want[most - 1][0], 1e-3) << most;
    EXPECT_NEAR(pos[0].y, want[most - 1][1], 1e-3) << most;
  }
  s.pixels[1][0] = nullptr;
  EXPECT_EQ(run<Qor32f>(s, pos, status, 1, 0), qorStsNullPtrErr);
}

TEST(OpticalFlow, Memory) {
  EXPECT_EQ(qoriOpticalFlowPyrLKFree_8u_C1R(nullptr), qorStsNullPtrErr);
  auto* state = noAccess<QoriOptFlowPyrLKState>();
  for (const QoriSize size : {QoriSize{INT_MAX, INT_MAX}, {1 << 16, 1 << 16}, {1, 1}})
    EXPECT_EQ(qoriOpticalFlowPyrLKInitAlloc_32f_C1R(&state, size, size.width == 1 ? INT_MAX : 5, 0), qorStsMemAllocErr);
  EXPECT_EQ(state, noAccess<QoriOptFlowPyrLKState>());
}

}  // namespace
