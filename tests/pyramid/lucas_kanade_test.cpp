#include <float.h>
#include <math.h>

#include <algorithm>
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
  std::vector<Point> from, estimate;
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
      // An eigenvalue of less than a grey level squared.
      if (least < (std::is_same_v<T, Qor16u> ? 65536 : 1)) {
        isDoubtful = least != 0;
        return Flat;
      }
      const double dx = (yy * bx - xy * by) / det, dy = (xx * by - xy * bx) / det, length = sqrt(dx * dx + dy * dy);
      if (fabs(length - threshold) < 0.01 || length > 4) isDoubtful = threshold > 0 || length > 4;
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
  s.window = isUsual ? 7 : c.pick({1, 2, 5, 7, 9, 11, 15, 16, 21, 31, 34});
  const QoriSize size = isUsual ? QoriSize{40, 30} : c.c.size;
  s.record = {1 + random.below(2 * size.width), 1 + random.below(2 * size.height)};
  const int count = isUsual ? 3 : 1 + random.below(6);
  for (int i = 0; i < count; ++i) {
    const auto place = [&](int n) {
      if (random.oneIn(15)) return c.pick({NAN, INFINITY, -3e9F, 1e20F});
      const double at = random.oneIn(5) ? 2.0 * n * random.unit() - n / 2.0 : n * random.unit();
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
  for (int frame = 0; frame < 2; ++frame) {
    const QoriPyramid pyramid = s.pyramid(frame);
    memcpy(c.block(frame == 0 ? 'u' : 'v', sizeof pyramid), &pyramid, sizeof pyramid);
  }
  c.array('x', s.from), c.array('n', s.estimate);
  memcpy(c.block('t', 40), s.state.get(), 40);
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
    if (s.kind == Kind::Equal && wantStatus == 0 && same(s.from[i].x, s.estimate[i].x) &&
        same(s.from[i].y, s.estimate[i].y))
      ASSERT_TRUE(same(got.x, s.from[i].x) && same(got.y, s.from[i].y) && error == 0) << text();
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
         .read = "t",
         .own =
             [](DescribedContract& c, int) {
               c.refuseWord('t', 6, qorStsSizeErr,
                            [&c](int k) { return c.now.number('k') > 0 && k != c.now.number('k'); }, {6, 8, 0, -7});
             },
         .sweep = {.widths = {1, 2, 3, 9, 17, 30, 31, 33, 47, 64, 65, 90}, .heights = {1, 2, 20, 50}, .repeats = 6}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_LUCAS_KANADE(initAllocName, name, freeName, T, type) \
  add<T>(d, QORTEST_NAMED(initAllocName), QORTEST_NAMED(name));
#include "../../src/pyramid/lucas_kanade.def"
});

}  // namespace
