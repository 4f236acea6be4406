#include "arith/reductions.h"
#include "qorcv/arith.h"

namespace {
using namespace qortest;

// Sums of the even and of the odd rows, in float from the first pixel to the last.
template <class F>
double sumOfHalves(QoriSize size, F value) {
  float halves[2] = {};
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) halves[y % 2] += value(x, y);
  return static_cast<double>(halves[0]) + static_cast<double>(halves[1]);
}

// With a second result it is the deviation. `halves`: the float sums of a region of less than 5000 pixels.
template <class T, bool halves = false>
void expectMean(Call& c) {
  using V = Wide<T>;
  const Image<T>& src = c.before<T>('s');
  const Taking taking(c);
  const int channel = channelOf(c);
  const auto sample = [&](int x, int y) { return static_cast<V>(src.at(x, y, channel)); };
  const auto square = [&](int x, int y) { return sample(x, y) * sample(x, y); };
  const double n = count(taking);
  double sum = 0, squares = 0;
  if (halves && n < 5000) {
    sum = sumOfHalves(src.size, sample);
    squares = sumOfHalves(src.size, square);
  } else {
    for (const Rows band : bandsOf(src.size, c.c.threads, c.description.traits.team)) {
      sum += sumOfRows<V>(band, taking, sample);
      squares += sumOfRows<V>(band, taking, square);
    }
  }
  const double mean = n == 0 ? 0 : sum / n;
  c.expectResult(1, mean);
  if (!c.has('r', 2)) return;
  double deviation = n == 0 ? 0 : sqrt(fabs(squares / n - mean * mean));
  if (std::is_same_v<T, float> && 0.05 * mean * mean > deviation * deviation) {
    const auto m = static_cast<float>(mean);
    const auto away = [&](int x, int y) {
      const float d = static_cast<float>(sample(x, y)) - m;
      return d * d;
    };
    deviation = sqrt(sumOfRows<float>({0, src.size.height}, taking, away) / n);
  }
  c.expectResult(2, deviation);
}

template <class T>
constexpr bool isFloat = std::is_same_v<T, Qor32f>;

// The members, as the library lists them; their rules of going parallel are those of the header.
const Descriptions members([](Descriptions& d) {
#define MEMBER(name, roles, T, team_) \
  d.add(QORTEST_NAMED(name), roles, {.expect = expectMean<T>, .team = team_, .threadsShow = true});
#define QOR_MEAN_C1MR(name, T, rule) MEMBER(name, "s.m.zr", T, meanRule<T>(false, true, false))
#define QOR_MEAN_C3CMR(name, T, rule) MEMBER(name, "s.m.zcr", T, meanRule<T>(false, true, true))
#define QOR_STD_DEV_C1R(name, T, rule) MEMBER(name, "s.zRR", T, meanRule<T>(true, false, false))
#define QOR_STD_DEV_C3CR(name, T, rule)          \
  d.add(QORTEST_NAMED(name), "s.zcRR",           \
        {.expect = expectMean<T, isFloat<T>>,    \
         .team = meanRule<T>(true, false, true), \
         .threadsShow = true,                    \
         .sweep = {.thresholds = {{1249, 4}, {1250, 4}, {4999, 1}, {5001, 1}, {512, 512}}}});
#define QOR_STD_DEV_C1MR(name, T, rule) MEMBER(name, "s.m.zRR", T, meanRule<T>(true, true, false))
#define QOR_STD_DEV_C3CMR(name, T, rule) MEMBER(name, "s.m.zcRR", T, meanRule<T>(true, true, true))
#include "../../src/arith/mean.def"
});

// Sums beyond 32 bits: samples at the ends of their types, at more than 2^23 pixels, those of squares below 2^53.
template <class T>
void testLargeSums(const char* name, QoriSize size, T end, T other) {
  for (const int threads : {1, 7, 33}) {
    runOwn(name, size,
           {.fill =
                [=](Call& c) {
                  c.image<T>('s').generate([=](int x, int y, int) { return x + y == 5 ? other : x == 9 ? T{0} : end; });
                  if (c.has('m')) c.image<Qor8u>('m').generate([](int, int, int) { return Qor8u{7}; });
                }},
           threads);
  }
}

TEST(Mean, LargeSumsAreExact) {
  testLargeSums<Qor8u>("qoriMean_8u_C1MR", {4100, 2050}, 255, 254);
  testLargeSums<Qor8u>("qoriMean_StdDev_8u_C1R", {4100, 2050}, 255, 254);
  testLargeSums<Qor8s>("qoriMean_StdDev_8s_C1MR", {4100, 2050}, -128, 127);
  testLargeSums<Qor16u>("qoriMean_StdDev_16u_C1MR", {4100, 500}, 65535, 65534);
}

// One pixel kept, in rows on both sides of what the counts of pixels that are out can hold.
TEST(Mean, OneOfManyPixels) {
  for (const char* name :
       {"qoriMean_16u_C1MR", "qoriMean_8u_C1MR", "qoriMean_StdDev_16u_C1MR", "qoriMean_StdDev_8s_C3CMR"}) {
    for (const int width : {4064, 4080, 4085, 4096, 4112, 8200}) {
      const auto last = [=](int x, int, int) { return static_cast<Qor8u>(x == width - 1); };
      runOwn(name, {width, 1}, {.fill = [=](Call& c) { c.image<Qor8u>('m').generate(last); }});
    }
  }
}

// Half below and half above: the deviation is exactly 1. What is masked out may be anything.
TEST(MeanStdDev, IsRepaired) {
  const QoriSize size{64, 64};
  GuardedImage<Qor32f> src(size);
  GuardedImage<Qor8u> mask(size);
  src.generate([](int x, int y, int) {
    return x >= 32 ? x % 2 != 0 ? NAN : INFINITY : (x + y) % 2 == 0 ? 999999.0F : 1000001.0F;
  });
  mask.generate([](int x, int, int) { return static_cast<Qor8u>(x < 32); });
  Qor64f mean = -1, stdDev = -1;
  EXPECT_EQ(qoriMean_StdDev_32f_C1MR(src.data(), src.step(), mask.data(), mask.step(), size, &mean, &stdDev), 0);
  EXPECT_NEAR(mean, 1e6, 0.1);
  EXPECT_NEAR(stdDev, 1, 0.01);
}

}  // namespace
