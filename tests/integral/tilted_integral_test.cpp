#include <limits.h>
#include <math.h>

#include <type_traits>
#include <vector>

#include "qorcv/integral.h"
#include "support/support.h"

namespace {
using namespace qortest;

constexpr int identity(int s) { return s; }
constexpr int square(int s) { return s * s; }

// The recurrence of the header on a table that holds what the caller's buffer held: 32-bit integers wrap, floats are
// evaluated in double from left to right, and column w of a 32f table is added to.
template <class T>
void tilt(Image<T>& t, const Image<Qor8u>& src, T val, int (*count)(int)) {
  using Wide = std::conditional_t<std::is_integral_v<T>, int64_t, double>;
  const int w = src.size.width;
  for (int x = 0; x < w + 2; ++x) t.at(x, 0) = t.at(x, 1) = val;
  for (int y = 0; y < src.size.height; ++y) {
    const auto s = [&](int x) { return static_cast<Wide>(count(src.at(x, y))); };
    const auto r0 = [&](int x) { return static_cast<Wide>(t.at(x, y)); };
    const auto r1 = [&](int x) { return static_cast<Wide>(t.at(x, y + 1)); };
    const auto set = [&](int x, Wide value) { t.at(x, y + 2) = static_cast<T>(value); };
    set(0, r1(1));
    for (int x = 1; x < w; ++x) set(x, r1(x - 1) - r0(x) + r1(x + 1) + s(x - 1) + s(x));
    const T before = t.at(w, y + 2);
    set(w, s(w - 1) + r1(w - 1) + r1(w + 1) - r0(w));
    if constexpr (std::is_same_v<T, Qor32f>) t.at(w, y + 2) = before + t.at(w, y + 2);
    set(w + 1, r1(w));
  }
}

template <class T>
std::vector<double> startValues() {
  if constexpr (std::is_integral_v<T>) return {0, 1, -5, INT_MAX, INT_MIN};
  return {0, 0.1, -3e8, 1e-40, INFINITY};
}

template <class T>
void expectTable(Call& c, int which, T val, int (*count)(int)) {
  Image<T> want = c.before<T>('i', which);
  tilt(want, c.before<Qor8u>('s'), val, count);
  c.expect('i', want, Equal::SignedZeros, which);
}

// What the caller left in a table shows in the accumulating column.
template <class T, class Q>
void add(Descriptions& d, const char* name, auto* operation, const char* roles) {
  d.add(name, operation, roles,
        {.checks = "null | size | step | even",
         .values = {{'n', startValues<T>()}, {'e', startValues<Q>()}},
         .shape =
             [](const Arguments&, char role, int, Shape& s) {
               if (role == 'i') s.width += 2, s.height += 2;
             },
         .expect =
             [](Call& c) {
               expectTable(c, 1, c.at<T>('n'), identity);
               if (c.has('i', 2)) expectTable(c, 2, c.at<Q>('e'), square);
             },
         .sweep = {.heights = {1, 2, 3, 9}, .repeats = 2}});
}

const Descriptions members([](Descriptions& d) {
  add<Qor32s, Qor32s>(d, QORTEST_NAMED(qoriTiltedIntegral_8u32s_C1R), "s.i.zn");
  add<Qor32f, Qor32f>(d, QORTEST_NAMED(qoriTiltedIntegral_8u32f_C1R), "s.i.zn");
  add<Qor32s, Qor32s>(d, QORTEST_NAMED(qoriTiltedSqrIntegral_8u32s_C1R), "s.i.i.zne");
  add<Qor32s, Qor64f>(d, QORTEST_NAMED(qoriTiltedSqrIntegral_8u32s64f_C1R), "s.i.i.zne");
  add<Qor32f, Qor64f>(d, QORTEST_NAMED(qoriTiltedSqrIntegral_8u32f64f_C1R), "s.i.i.zne");
});

// A picture of ones, by hand: entries count the pixels of the wedge above, but for the two at the left edge.
TEST(TiltedIntegral, OnPaper) {
  const Qor8u src[3][3] = {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}};
  const Qor32s want[5][5] = {{0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 2, 2, 1, 0}, {2, 4, 5, 3, 1}, {4, 7, 7, 6, 3}};
  Qor32s table[5][5];
  EXPECT_EQ(qoriTiltedIntegral_8u32s_C1R(src[0], 3, table[0], sizeof(table[0]), {3, 3}, 0), qorStsNoErr);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(table[y][x], want[y][x]) << x << ", " << y;
}

// A wedge with its tip at a table entry holds 2, 4, 6, ... pixels in the rows above. The pixels of a tilted box are
// those of two wedges without those of the two others.
int countInWedge(int row, int column, int y, int x) {
  const int rise = row - 2 - y;
  return rise >= 0 && x >= column - 1 - rise && x <= column + rise ? 1 : 0;
}

TEST(TiltedIntegral, BoxesInsideTheTableAreExactSums) {
  const QoriSize roi{9, 8};
  GuardedImage<Qor8u> src(roi);
  src.generate(Maker<Qor8u>(Data::Random, baseSeed()));
  GuardedImage<Qor32s> t({roi.width + 2, roi.height + 2});
  EXPECT_EQ(qoriTiltedIntegral_8u32s_C1R(src.data(), src.step(), t.data(), t.step(), roi, -17), qorStsNoErr);
  int boxes = 0;
  for (int row = 0; row < roi.height; ++row) {
    for (int column = 0; column < roi.width + 2; ++column) {
      for (int bw = 1; column + bw < roi.width + 2; ++bw) {
        for (int bh = 1; column - bh >= 0 && row + bw + bh < roi.height + 2; ++bh) {
          const auto sum = [&](auto corner) {
            return corner(row + bw + bh, column + bw - bh) - corner(row + bh, column - bh) + corner(row, column) -
                   corner(row + bw, column + bw);
          };
          int want = 0;
          for (int y = 0; y < roi.height; ++y)
            for (int x = 0; x < roi.width; ++x)
              want += src.at(x, y) * sum([&](int r, int c) { return countInWedge(r, c, y, x); });
          ++boxes;
          ASSERT_EQ(sum([&](int r, int c) { return t.at(c, r); }), want)
              << "box " << bw << " by " << bh << " at row " << row << ", column " << column;
        }
      }
    }
  }
  EXPECT_GT(boxes, 300);
}

}  // namespace
