#include "qorcv/integral.h"

#include <math.h>

#include <algorithm>
#include <type_traits>
#include <vector>

#include "support/support.h"

namespace {
using namespace qortest;

constexpr int64_t identity(int64_t s) { return s; }
constexpr int64_t square(int64_t s) { return s * s; }

// Both recurrences in the words of the header. Integer tables are formed without bound and cut to 32 bits at the end;
// the exact sum r of a row enters float tables by one addition.
template <class T>
Image<T> integralOf(const Image<Qor8u>& src, T val, int64_t (*count)(int64_t)) {
  using Wide = std::conditional_t<std::is_integral_v<T>, int64_t, T>;
  Image<T> t({src.size.width + 1, src.size.height + 1});
  std::vector<Wide> above(static_cast<size_t>(t.size.width), Wide{val});
  std::fill(t.samples.begin(), t.samples.end(), val);
  for (int y = 0; y < src.size.height; ++y) {
    int64_t r = 0;
    for (int x = 0; x < src.size.width; ++x) {
      Wide& sum = above[static_cast<size_t>(x) + 1];
      r += count(src.at(x, y));
      sum = static_cast<Wide>(r) + sum;
      t.at(x + 1, y + 1) = static_cast<T>(sum);
    }
  }
  return t;
}

Image<Qor32f> integralOf(const Image<Qor32f>& src) {
  Image<Qor32f> t({src.size.width + 1, src.size.height + 1});
  for (int y = 0; y < src.size.height; ++y) {
    Qor32f r = 0;
    for (int x = 0; x < src.size.width; ++x) {
      r += src.at(x, y);
      t.at(x + 1, y + 1) = r + t.at(x + 1, y);
    }
  }
  return t;
}

template <class T>
void expectTables(Call& c) {
  c.expect('d', integralOf(c.before<Qor8u>('s'), c.at<T>('n'), identity));
}

template <class T, class Q>
void expectBothTables(Call& c) {
  expectTables<T>(c);
  c.expect('d', integralOf(c.before<Qor8u>('s'), c.at<Q>('e'), square), Equal::SignedZeros, 2);
}

template <class T>
std::vector<double> startValues() {
  if constexpr (std::is_integral_v<T>) return {0, 1, -5, INT_MAX, INT_MIN};
  return {0, 0.1, -3e8, 1e-40, INFINITY};
}

// Pairs, fours and eights of rows and what remains of them.
template <class T, class Q = T>
Traits traits(void (*expect)(Call&)) {
  return {.checks = "null | size | step | even",
          .values = {{'n', startValues<T>()}, {'e', startValues<Q>()}},
          .shape =
              [](const Arguments&, char role, int, Shape& s) {
                if (role == 'd') ++s.width, ++s.height;
              },
          .expect = expect,
          .sweep = {.heights = {1, 2, 3, 4, 5, 8, 9, 15}}};
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriIntegral_8u32s_C1R), "s.d.zn", traits<Qor32s>(expectTables<Qor32s>));
  d.add(QORTEST_NAMED(qoriIntegral_8u32f_C1R), "s.d.zn", traits<Qor32f>(expectTables<Qor32f>));
  d.add(QORTEST_NAMED(qoriIntegral_32f_C1R), "s.d.z",
        traits<Qor32f>([](Call& c) { c.expect('d', integralOf(c.before<Qor32f>('s'))); }));
#define WITH_SQUARES(name, T, Q) d.add(QORTEST_NAMED(name), "s.d.d.zne", traits<T, Q>(expectBothTables<T, Q>));
  WITH_SQUARES(qoriSqrIntegral_8u32s_C1R, Qor32s, Qor32s)
  WITH_SQUARES(qoriSqrIntegral_8u32s64f_C1R, Qor32s, Qor64f)
  WITH_SQUARES(qoriSqrIntegral_8u32f64f_C1R, Qor32f, Qor64f)
});

// Sums of squares of one row that pass 2^31 and 2^32, around the width where they may begin to.
TEST(Integral, LongRows) {
  for (const char* name : {"qoriSqrIntegral_8u32s_C1R", "qoriSqrIntegral_8u32s64f_C1R", "qoriSqrIntegral_8u32f64f_C1R"})
    for (const int width : {33024, 33025, 33026, 66052})
      runOwn(name, {width, 3}, {.fill = [](Call& c) {
               c.image<Qor8u>('s').generate([](int x, int, int) { return static_cast<Qor8u>(x == 7 ? 254 : 255); });
             }});
}

}  // namespace
