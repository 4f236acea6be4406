#include <math.h>

#include <algorithm>

#include "qorcv/geometry.h"
#include "support/support.h"

namespace {
using namespace qortest;

// The words of the header for one place, at fractions (a, b).
template <class S, class D>
struct Blend {
  Qor32f a, b;
  int scaleFactor = 0;

  static constexpr bool isFixed = std::is_same_v<S, Qor8u> && !std::is_same_v<D, Qor32f>;
  static int units(Qor32f x) { return std::clamp(static_cast<int>(x * 16384 + 0.5F), 0, 16384); }

  D fixed(int sum) const {
    if (std::is_same_v<D, Qor8u>) return static_cast<D>((sum + 8192) >> 14);
    return static_cast<D>(fmin(floor(ldexp(sum, -14 - scaleFactor) + 0.5), 65535));
  }
  static D real(Qor32f x) { return static_cast<D>(std::is_integral_v<D> ? nearbyintf(x) : x); }

  D four(S p00, S p10, S p01, S p11) const {
    if (!isFixed) return real((1 - a) * (1 - b) * p00 + (1 - b) * a * p10 + (1 - a) * b * p01 + a * b * p11);
    const int A = units(a), B = units(b);
    // In the order of ties.
    int w[4] = {(16384 - A) * (16384 - B), (16384 - A) * B, (16384 - B) * A, A * B}, excess = -16384;
    for (int& one : w) one = (one + 16384) >> 14, excess += one;
    *std::max_element(w, w + 4) -= excess;
    return fixed(w[0] * static_cast<int>(p00) + w[1] * static_cast<int>(p01) + w[2] * static_cast<int>(p10) +
                 w[3] * static_cast<int>(p11));
  }
  D one(S p) const { return isFixed ? fixed(16384 * static_cast<int>(p)) : static_cast<D>(p); }
  D two(Qor32f x, S p, S q) const {
    if (!isFixed) return real((1 - x) * p + x * q);
    return fixed((16384 - units(x)) * static_cast<int>(p) + units(x) * static_cast<int>(q));
  }
};

const auto fractions = {0.25, 0.0, 0.5, -0.25, 1.5, -1e-10, 0.9999, -3.0, 1e9};

template <class S, class D>
void addWhole(Descriptions& d, const char* name, auto* operation, const char* roles = "s.d.zxy") {
  d.add(
      name, operation, roles,
      {.values = {{'x', fractions}, {'y', fractions}, {'f', {-7, 0, 3, 8, 9, 60, -13, -14, -21, -29, -40}}},
       .draw =
           [](Call& c) {
             if (!c.c.random.oneIn(3)) c.set('x', 4 * c.c.random.unit() - 2), c.set('y', 4 * c.c.random.unit() - 2);
           },
       .shape =
           [](const Arguments&, char role, int, Shape& s) {
             if (role == 's') s.margin = {.right = 1, .bottom = 1};
           },
       .expect =
           [](Call& c) {
             const auto part = [](Qor32f x) { return x - truncf(x) < 0 ? x - truncf(x) + 1 : x - truncf(x); };
             const Blend<S, D> blend{part(c.at<Qor32f>('x')), part(c.at<Qor32f>('y')), c.has('f') ? c.number('f') : 0};
             const auto& s = c.before<S>('s');
             Image<D> want(c.size());
             for (int y = 0; y < c.size().height; ++y)
               for (int x = 0; x < c.size().width; ++x)
                 want.at(x, y) = blend.four(s.at(x, y), s.at(x + 1, y), s.at(x, y + 1), s.at(x + 1, y + 1));
             c.expect('d', want);
           },
       .sweep = {.heights = {1, 2, 5}, .repeats = 2}});
}

// One axis of a window.
struct Axis {
  int first, low, high;
  Qor32f fraction;

  Axis(Qor32f centre, int length, int size) {
    const Qor32f begin = centre - static_cast<Qor32f>(length - 1) * 0.5F, last = truncf(length + begin) - length;
    first = isnan(last) ? -1 << 30 : static_cast<int>(std::clamp(last, -0x1p30F, 0x1p30F));
    fraction = begin - static_cast<Qor32f>(first);
    low = first >= size ? 0 : std::min(std::max(-first, 0), length);
    high = first >= size ? -1 : std::min(size - first - 2, length - 1);
  }
  // Both samples of the source; the same one outside.
  std::pair<int, int> at(int i, int size) const {
    if (i < low) return {0, 0};
    if (i > high) return {size - 1, size - 1};
    return {first + i, first + i + 1};
  }
};

// Windows inside, across every edge, larger than the image and far from it, with centres at and between pixels.
void drawWindow(Call& c) {
  Random& random = c.c.random;
  QoriSize &src = c.at<QoriSize>('z'), &window = c.at<QoriSize>('z', 2);
  QoriPoint_32f& point = c.at<QoriPoint_32f>('p');
  window = c.c.usual ? QoriSize{9, 3} : c.c.size;
  point = {6.5F, 2};
  if (c.c.usual) return;
  src = {1 + random.below(random.oneIn(3) ? 5 : 150), 1 + random.below(random.oneIn(3) ? 3 : 20)};
  const auto place = [&](int length, int size) {
    if (random.oneIn(12)) return c.pick({NAN, INFINITY, -INFINITY, 3e9F, -3e9F, 1e20F, -1e-9F});
    const double from = -length - 1, to = size + length + 1, inside = random.oneIn(2) ? 0.5 : 1;
    const double at = (from + to) / 2 + (to - from) * inside * (random.unit() - 0.5);
    return static_cast<Qor32f>(random.oneIn(3) ? floor(2 * at) / 2 : at);
  };
  point = {place(window.width, src.width), place(window.height, src.height)};
}

template <class S, class D>
void expectWindow(Call& c) {
  const QoriSize src = c.size(), window = c.at<QoriSize>('z', 2);
  const auto point = c.at<QoriPoint_32f>('p');
  const Axis h(point.x, window.width, src.width), v(point.y, window.height, src.height);
  const Blend<S, D> blend{h.fraction, v.fraction, c.has('f') ? c.number('f') : 0};
  const auto& s = c.before<S>('s');
  Image<D> want(window);
  for (int y = 0; y < window.height; ++y) {
    for (int x = 0; x < window.width; ++x) {
      const auto [x0, x1] = h.at(x, src.width);
      const auto [y0, y1] = v.at(y, src.height);
      want.at(x, y) = x0 != x1 && y0 != y1 ? blend.four(s.at(x0, y0), s.at(x1, y0), s.at(x0, y1), s.at(x1, y1))
                      : x0 != x1           ? blend.two(h.fraction, s.at(x0, y0), s.at(x1, y0))
                      : y0 != y1           ? blend.two(v.fraction, s.at(x0, y0), s.at(x0, y1))
                                           : blend.one(s.at(x0, y0));
    }
  }
  c.expect('d', want);
  const auto* low = c.at<QoriPoint*>('r', 1);
  const auto* high = c.at<QoriPoint*>('r', 2);
  EXPECT_TRUE(low->x == h.low && low->y == v.low && high->x == h.high && high->y == v.high) << currentCase();
}

template <class S, class D>
void addWindow(Descriptions& d, const char* name, auto* operation, const char* roles = "s.zd.zprr") {
  d.add(name, operation, roles,
        {.checks = "null | size | step | even",
         .values = {{'f', {-7, 0, 3, 8, 9, -13, -14, -29, -40}}},
         .draw = drawWindow,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 'd') s.width = a.at<QoriSize>('z', 2).width, s.height = a.at<QoriSize>('z', 2).height;
             },
         .expect = expectWindow<S, D>,
         .sweep = {.repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_COPY_SUBPIX(name, S, D) addWhole<S, D>(d, QORTEST_NAMED(name));
#define QOR_COPY_SUBPIX_INTERSECT(name, S, D) addWindow<S, D>(d, QORTEST_NAMED(name));
#include "../../src/geometry/copy_subpixel.def"
  addWhole<Qor8u, Qor16u>(d, QORTEST_NAMED(qoriCopySubpix_8u16u_C1R_Sfs), "s.d.zfxy");
  addWindow<Qor8u, Qor16u>(d, QORTEST_NAMED(qoriCopySubpixIntersect_8u16u_C1R_Sfs), "s.zd.zprrf");
});

// Black and white in every order, at fractions of every kind: the largest sums, of every part of the weights.
TEST(CopySubpixel, EveryWeight) {
  Qor8u src[36], got[17];
  for (int i = 0; i < 16384; i += 3) {
    const Qor32f dx = static_cast<Qor32f>(i) / 16384, dy = static_cast<Qor32f>(i * 37 % 16384) / 16384;
    for (int k = 0; k < 36; ++k) src[k] = (i * 0x9e3779b97f4a7c15U >> k & 1) != 0 ? 255 : 0;
    ASSERT_EQ(qoriCopySubpix_8u_C1R(src, 18, got, 17, {17, 1}, dx, dy), qorStsNoErr);
    for (int k = 0; k < 17; ++k)
      ASSERT_EQ(got[k], (Blend<Qor8u, Qor8u>{dx, dy}.four(src[k], src[k + 1], src[k + 18], src[k + 19]))) << i;
  }
}

}  // namespace
