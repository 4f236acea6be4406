// Internal operations on images.
#include "frame/image_ops.h"

#include <math.h>

#include <algorithm>

#include "support/support.h"

namespace {
using namespace qortest;

// Every result by a function of the sample, or of the two samples, at its place.
template <class S, class D, class F>
void expectEach(Call& c, F f) {
  const Image<S>& a = c.before<S>('s');
  Image<D> want(a.size, a.channels);
  for (size_t i = 0; i < want.samples.size(); ++i) {
    if constexpr (std::is_invocable_v<F, S>)
      want.samples[i] = f(a.samples[i]);
    else
      want.samples[i] = f(a.samples[i], c.before<S>('s', 2).samples[i]);
  }
  c.expect('d', want);
}

const char* const noSteps = "null | size";  // an image may be read from its last row upwards
const char* const positiveSteps = "null | size | positive . StepErr";

// By a region of such a width and height, or of any.
auto fromSum(int least) {
  return [=](const Arguments& a, int threads, int) { return a.size().width + a.size().height >= least ? threads : 0; };
}
const std::vector<QoriSize> aroundSum{{250, 5}, {251, 5}, {5, 250}, {5, 251}, {254, 1}, {255, 1}};
const Sweep sizes{.thresholds = {{250, 5}, {251, 5}, {300, 2}}};

#define NAMED(name) QORTEST_NAMED(qor::name)

const Descriptions copies([](Descriptions& d) {
#define COPY(name, T) \
  d.add(NAMED(name), "S.d.z", {.checks = noSteps, .expect = [](Call& c) { c.expect('d', c.before<T>('s')); }});
  COPY(qoriCopy_8u_C1R, Qor8u)
  COPY(qoriCopy_8u_C3R, Qor8u)
  COPY(qoriCopy_8u_C4R, Qor8u)
  COPY(qoriCopy_16s_C1R, Qor16s)
  COPY(qoriCopy_16u_C1R, Qor16u)
  COPY(qoriCopy_32f_C1R, Qor32f)
  COPY(qoriCopy_32f_C3R, Qor32f)
  COPY(qoriCopy_32f_C4R, Qor32f)
#define SET(name, T)                                                                               \
  d.add(NAMED(name), "vd.z", {.checks = noSteps, .expect = [](Call& c) {                           \
                                Image<T> want(c.size());                                           \
                                std::fill(want.samples.begin(), want.samples.end(), c.at<T>('v')); \
                                c.expect('d', want);                                               \
                              }});
  SET(qoriSet_8u_C1R, Qor8u)
  SET(qoriSet_16s_C1R, Qor16s)
  d.add(NAMED(qoriConvert_16u32f_C1R), "s.d.z",
        {.checks = positiveSteps,
         .expect = [](Call& c) { expectEach<Qor16u, Qor32f>(c, [](Qor16u v) { return static_cast<Qor32f>(v); }); }});
});

// ---- differences and products
template <class T>
T scaledByDefinition(int64_t d, int scaleFactor) {
  const double value = rint(ldexp(static_cast<double>(d), -std::clamp(scaleFactor, -200, 200)));
  return static_cast<T>(std::clamp<double>(value, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

const std::vector<double> factors{1,  0,  2,  3,  7,  8,  9,   14,  15,  16,  17,      18,
                                  30, 31, -1, -2, -7, -8, -14, -15, -16, -17, INT_MAX, INT_MIN};

template <class T>
T difference(T a, T b, int factor) {
  const int64_t d = int64_t{b} - a;
  return scaledByDefinition<T>(std::numeric_limits<T>::min() == 0 ? std::max<int64_t>(d, 0) : d, factor);
}

const Descriptions arithmetic([](Descriptions& d) {
#define SUB(name, T, least)                                                                                         \
  d.add(NAMED(name), "S.S.d.zn",                                                                                    \
        {.checks = noSteps,                                                                                         \
         .values = {{'n', factors}},                                                                                \
         .expect = [](Call& c) { expectEach<T, T>(c, [&](T a, T b) { return difference(a, b, c.number('n')); }); }, \
         .teamOf = fromSum(least),                                                                                  \
         .teamSizes = aroundSum,                                                                                    \
         .sweep = sizes});
  SUB(qoriSub_8u_C1RSfs, Qor8u, 0)
  SUB(qoriSub_8u_C3RSfs, Qor8u, 0)
  SUB(qoriSub_8u_C4RSfs, Qor8u, 0)
  SUB(qoriSub_16u_C1RSfs, Qor16u, 256)
  SUB(qoriSub_16s_C1RSfs, Qor16s, 256)
#define SUB_FLOATS(name)                                                                                     \
  d.add(NAMED(name), "S.S.d.z",                                                                              \
        {.checks = noSteps,                                                                                  \
         .expect = [](Call& c) { expectEach<Qor32f, Qor32f>(c, [](Qor32f a, Qor32f b) { return b - a; }); }, \
         .teamOf = fromSum(256),                                                                             \
         .teamSizes = aroundSum,                                                                             \
         .sweep = sizes});
  SUB_FLOATS(qoriSub_32f_C1R)
  SUB_FLOATS(qoriSub_32f_C3R)
  SUB_FLOATS(qoriSub_32f_C4R)
  const auto product = [](Call& c) {
    expectEach<Qor16s, Qor16s>(
        c, [&](Qor16s v) { return scaledByDefinition<Qor16s>(int64_t{v} * c.number('e'), c.number('n')); });
  };
  const auto lowest = [](Call& c) {
    if (c.c.random.oneIn(2)) c.image<Qor16s>('s').at(0, 0) = -32768;
  };
  d.add(NAMED(qoriMulC_16s_C1RSfs), "S.ed.zn",
        {.checks = noSteps,
         .values = {{'e', {3, -32768, -3, 0, 1, 7, 300, 32767}}, {'n', factors}},
         .fill = lowest,
         .expect = product,
         .teamOf = fromSum(0),
         .teamSizes = aroundSum,
         .sweep = {.thresholds = {{300, 2}}, .repeats = 3}});
  d.add(NAMED(qoriMulC_32f_C1R), "S.ed.z",
        {.checks = noSteps,
         .values = {{'e', {0.3, -2, 1e30, NAN}}},
         .expect = [](Call& c) { expectEach<Qor32f, Qor32f>(c, [&](Qor32f v) { return v * c.at<Qor32f>('e'); }); },
         .teamOf = fromSum(0),
         .teamSizes = aroundSum});
});

// All differences of bytes at every factor: the paths of the rule meet here.
TEST(ImageOps, EveryDifferenceOfBytesAtEveryFactor) {
  for (const double factor : factors) {
    const auto draw = [=](Call& c) { c.set('n', factor); };
    const auto fill = [](Call& c) {
      c.image<Qor8u>('s').generate([](int, int, int) { return Qor8u{0}; });
      c.image<Qor8u>('s', 2).generate([](int x, int, int) { return static_cast<Qor8u>(x); });
    };
    runOwn("qor::qoriSub_8u_C1RSfs", {256, 1}, {draw, fill});
  }
}

TEST(ImageOps, AcceptAnyStep) {
  GuardedImage<Qor8u> src({20, 6}, {.gap = 4}), dst({20, 6});
  src.generate([](int x, int y, int) { return static_cast<Qor8u>(x + 30 * y); });
  Image<Qor8u> want({20, 6});
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 20; ++x) want.at(x, y) = src.at(x, 5 - y);
  EXPECT_EQ(qor::qoriCopy_8u_C1R(&src.at(0, 5), -src.step(), dst.data(), dst.step(), src.size()), qorStsNoErr);
  expectSame(dst, want);
  EXPECT_EQ(
      qor::qoriSub_8u_C1RSfs(dst.data(), dst.step(), &src.at(0, 5), -src.step(), dst.data(), dst.step(), src.size(), 0),
      0);
  expectSame(dst, Image<Qor8u>({20, 6}));
}

// ---- thresholds
const Descriptions thresholds([](Descriptions& d) {
  const std::vector<std::pair<char, std::vector<double>>> values{{'k', {qorCmpLess, qorCmpGreater}},
                                                                 {'t', {3.5, 0, -0.0, -INFINITY, NAN}}};
  const auto bounded = [](Call& c) {
    const Qor32f t = c.at<Qor32f>('t');
    const bool greater = c.has('k') && c.number('k') == qorCmpGreater;
    expectEach<Qor32f, Qor32f>(c, [=](Qor32f v) { return (greater ? v > t : v < t) ? t : v; });
  };
  d.add(
      NAMED(qoriThreshold_32f_C1R), "S.d.zkt",
      {.checks = "null | size | positive . StepErr | one k NotSupportedModeErr", .values = values, .expect = bounded});
  d.add(NAMED(qoriThreshold_LT_32f_C1R), "S.d.zt", {.checks = positiveSteps, .values = values, .expect = bounded});
#define VAL(name, T, roles, checks_)                                                                                 \
  d.add(NAMED(name), roles,                                                                                          \
        {.checks = checks_,                                                                                          \
         .values = {{'k', {qorCmpLess, qorCmpGreater}},                                                              \
                    {'t',                                                                                            \
                     {1, 0, 2, std::numeric_limits<T>::max() / 2 + 1, std::numeric_limits<T>::max() - 1,             \
                      std::numeric_limits<T>::max()}},                                                               \
                    {'e', {7}}},                                                                                     \
         .expect =                                                                                                   \
             [](Call& c) {                                                                                           \
               const T t = c.at<T>('t'), value = c.at<T>('e');                                                       \
               const bool less = c.has('k') && c.number('k') == qorCmpLess;                                          \
               expectEach<T, T>(c, [=](T v) { return (less ? v < t : v > t) ? value : v; });                         \
             },                                                                                                      \
         .teamOf =                                                                                                   \
             [](const Arguments& a, int threads, int) {                                                              \
               return sizeof(T) > 1 && threads > 1 && a.size().width >= 192 && a.size().height >= 192 ? threads : 0; \
             },                                                                                                      \
         .teamSizes = {{191, 192}, {192, 192}, {192, 191}},                                                          \
         .sweep = {.thresholds = {{191, 192}, {192, 192}, {20000, 2}}, .repeats = 2}});
  VAL(qoriThreshold_Val_8u_C1R, Qor8u, "S.d.ztek", "one k NotSupportedModeErr | null | size | positive . StepErr")
  VAL(qoriThreshold_Val_16u_C1R, Qor16u, "S.d.ztek", "one k NotSupportedModeErr | null | size | positive . StepErr")
  VAL(qoriThreshold_GTVal_8u_C1R, Qor8u, "S.d.zte", positiveSteps)
  VAL(qoriThreshold_GTVal_16u_C1R, Qor16u, "S.d.zte", positiveSteps)
});

}  // namespace
