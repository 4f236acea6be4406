#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <vector>

#include "qorcv/geometry.h"
#include "support/support.h"

namespace {
using namespace qortest;

int64_t longer(QoriPoint p, QoriPoint q) {
  return std::max(std::abs(int64_t{p.x} - q.x), std::abs(int64_t{p.y} - q.y));
}

// Pixel k of a line: k steps along the longer axis, and as many aside as the error has fallen below 0. It has when
// 2 * k * minor exceeds (2 * aside + 1) * major.
QoriPoint pixelOf(QoriPoint p, QoriPoint q, int64_t k) {
  const int64_t dx = int64_t{q.x} - p.x, dy = int64_t{q.y} - p.y, major = longer(p, q);
  const auto along = [=](int64_t d) {
    int64_t aside = 0;
    while (2 * k * std::abs(d) > (2 * aside + 1) * major) ++aside;
    return static_cast<int>(d < 0 ? -aside : aside);
  };
  return {p.x + along(dx), p.y + along(dy)};
}

template <class T>
void add(Descriptions& d, const char* name, auto* operation) {
  d.add(name, operation, "s.zrpe",
        {.checks = "null | size | step | even | own",
         .draw =
             [](Call& c) {
               Random& random = c.c.random;
               QoriPoint &p = c.at<QoriPoint>('p'), &e = c.at<QoriPoint>('e');
               if (c.c.usual) p = {0, 0};
               e = c.c.usual ? p : QoriPoint{random.below(c.size().width), random.below(c.size().height)};
               if (random.oneIn(4)) e.x = p.x;
               if (random.oneIn(4)) e.y = p.y;
             },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               const int64_t pixels = longer(a.at<QoriPoint>('p'), a.at<QoriPoint>('e')) + 1;
               if (role == 'r') s.width = pixels * a.description.channels;
             },
         .expect =
             [](Call& c) {
               const QoriPoint p = c.at<QoriPoint>('p'), e = c.at<QoriPoint>('e');
               const T* got = c.at<T*>('r');
               for (int64_t k = 0; k <= longer(p, e); ++k) {
                 const QoriPoint at = pixelOf(p, e, k);
                 for (int i = 0; i < c.description.channels; ++i, ++got)
                   ASSERT_TRUE(same(*got, c.before<T>('s').at(at.x, at.y, i), Equal::Bits)) << k << currentCase();
               }
             },
         .own =
             [](DescribedContract& c, int) {
               for (const char role : {'p', 'e'}) {
                 const auto outside = [&c, role] {
                   const QoriPoint at = c.now.at<QoriPoint>(role);
                   const QoriSize size = c.now.size();
                   const bool isEmpty = size.width < 1 || size.height < 1;  // which is found first
                   return !isEmpty && (at.x < 0 || at.y < 0 || at.x >= size.width || at.y >= size.height);
                 };
                 const auto put = [&c, role](QoriPoint at) {
                   return [&c, role, at] { c.now.at<QoriPoint>(role) = at; };
                 };
                 c.check("outside", qorStsOutOfRangeErr, outside, put({-1, 0}), put({0, INT_MIN}), put({INT_MAX, 0}),
                         [&c, role] { c.now.at<QoriPoint>(role).y = c.now.size().height; });
               }
             },
         .sweep = {.heights = {1, 2, 3, 7, 40}, .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_SAMPLE_LINE(name, T, channels) add<T>(d, QORTEST_NAMED(name));
#include "../../src/geometry/sample_line.def"
});

}  // namespace
