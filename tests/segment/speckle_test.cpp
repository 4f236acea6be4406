#include <math.h>

#include "qorcv/segment.h"
#include "segment/segments.h"

namespace {
using namespace qortest;

template <class T>
void expectCleaned(Call& c) {
  Image<T> image = c.before<T>('i');
  const T wall = c.at<T>('x'), most = c.at<T>('k');
  const auto joins = [&](int x, int y, int nx, int ny) {
    if constexpr (std::is_floating_point_v<T>)
      return fabsf(image.at(x, y) - image.at(nx, ny)) <= most;
    else
      return abs(image.at(x, y) - image.at(nx, ny)) <= most;
  };
  const Components blobs = componentsOf(
      c.size(), false, [&](int x, int y) { return image.at(x, y) != wall; }, joins);
  for (size_t i = 0; i < image.samples.size(); ++i) {
    const int number = blobs.number.samples[i];
    if (number != 0 && blobs.sizes[static_cast<size_t>(number) - 1] <= c.number('m')) image.samples[i] = wall;
  }
  c.expect('i', image);
}

// Steps of levels with walls between them, in floats also what joins with nothing.
template <class T>
void makeDisparity(Call& c) {
  Random& random = c.c.random;
  const int levels = random.between(2, 6), step = random.oneIn(4) ? 8191 : 1;
  const auto level = [&] {
    if (std::is_floating_point_v<T> && random.oneIn(20)) return static_cast<T>(random.oneIn(2) ? NAN : -0.0);
    return static_cast<T>((random.below(levels) - (std::is_signed_v<T> ? levels / 2 : 0)) * step);
  };
  if (!random.oneIn(4)) makeSegments(c.image<T>('i'), random, level);
  T& wall = c.at<T>('x');
  wall = static_cast<T>(random.oneIn(2) ? random.below(levels) * step : -1);
  T& most = c.at<T>('k');
  most = static_cast<T>(random.below(3) * step);
  if constexpr (std::is_floating_point_v<T>) {
    if (random.oneIn(8)) wall = NAN;
    if (random.oneIn(16)) most = NAN;
  }
  if (std::is_signed_v<T> && random.oneIn(8)) most = T(-1);
  if (random.oneIn(8)) most = std::numeric_limits<T>::max();
  c.set('m', random.oneIn(8) ? -1 : random.below(random.oneIn(2) ? 5 : 200));
}

template <class T>
void add(Descriptions& d, const char* name, auto* operation) {
  d.add(name, operation, "i.zxmknw",
        {.checks = "null | size | one n NormErr",
         .values = {{'n', {qoriNormL1}}},
         .fill = makeDisparity<T>,
         .scratch = [](const Arguments& a) { return 13 * a.size().width * a.size().height; },
         .expect = expectCleaned<T>,
         .sweep = {.thresholds = {{150, 30}, {257, 21}}, .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
  add<Qor8u>(d, QORTEST_NAMED(qoriMarkSpeckles_8u_C1IR));
  add<Qor16u>(d, QORTEST_NAMED(qoriMarkSpeckles_16u_C1IR));
  add<Qor16s>(d, QORTEST_NAMED(qoriMarkSpeckles_16s_C1IR));
  add<Qor32f>(d, QORTEST_NAMED(qoriMarkSpeckles_32f_C1IR));
  d.add(QORTEST_NAMED(qoriMarkSpecklesGetBufferSize), "zknr",
        {.checks = "null | size | one k DataTypeErr | one n ChannelErr",
         .values = {{'k', {qor8u, qor16u, qor16s, qor32f}}, {'n', {1}}},
         .expect =
             [](Call& c) {
               c.expectResult(1, static_cast<int>(13 * uint32_t(c.size().width) * uint32_t(c.size().height)));
             },
         .sweep = {.widths = {1, 641, INT_MAX}, .heights = {1, 7, INT_MAX}}});
});

// The rows of an image may descend in memory, and a single row may have any step.
TEST(Speckles, AnyStep) {
  const std::vector<Qor16s> image = {9, 9, 5, 9, 9, 5, 1, 9, 1}, want = {9, 9, 0, 9, 9, 0, 0, 9, 0}, cleared(9);
  const GuardedBytes scratch(13 * 9);
  const auto clean = [&](int from, int step, QoriSize size) {
    std::vector<Qor16s> got = image;
    EXPECT_EQ(qoriMarkSpeckles_16s_C1IR(&got[from], step, size, 0, 2, 0, qoriNormL1, scratch.data()), qorStsNoErr);
    return got;
  };
  EXPECT_EQ(clean(6, -6, {3, 3}), want);
  for (const int step : {0, 1, -5, INT_MIN}) EXPECT_EQ(clean(0, step, {9, 1}), cleared);
}

}  // namespace
