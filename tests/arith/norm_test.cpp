#include "arith/reductions.h"
#include "qorcv/arith.h"

namespace {
using namespace qortest;

float magnitude(float v) { return fabsf(v); }
int64_t magnitude(int64_t v) { return v < 0 ? -v : v; }

// A norm before its root: the bands' maxima or sums, merged in their order.
template <class T, class F>
double measured(Kind kind, const Call& c, const Taking& taking, F value) {
  using V = Wide<T>;
  double merged = 0;
  for (const Rows band : bandsOf(taking.size, c.c.threads, c.description.traits.team)) {
    if (kind == Inf) {
      for (int y = band.first; y < band.end; ++y)
        for (int x = 0; x < taking.size.width; ++x)
          if (taking(x, y) && static_cast<double>(magnitude(value(x, y))) > merged)
            merged = static_cast<double>(magnitude(value(x, y)));
      continue;
    }
    double sum = sumOfRows<V>(band, taking, [&](int x, int y) {
      const V v = value(x, y);
      return kind == L1 ? magnitude(v) : v * v;
    });
    if (std::is_same_v<T, float>) sum = static_cast<double>(static_cast<float>(sum));
    merged += sum;
  }
  return merged;
}

template <class T>
void expectNorm(Call& c, Family family, Kind kind) {
  using V = Wide<T>;
  const Taking taking(c);
  const int channel = channelOf(c);
  const auto sample = [&](int which) {
    return [&, which](int x, int y) { return static_cast<V>(c.before<T>('s', which).at(x, y, channel)); };
  };
  const auto difference = [&](int x, int y) { return static_cast<V>(sample(1)(x, y) - sample(2)(x, y)); };
  double value = family == Norm ? measured<T>(kind, c, taking, sample(1)) : measured<T>(kind, c, taking, difference);
  if (family == NormRel) {
    const double n = measured<T>(kind, c, taking, sample(2));
    if (n == 0) c.wanted = qorStsDivByZero;
    value = n != 0 ? value / n : value > 0 ? INFINITY : NAN;
  }
  c.expectResult(1, kind == L2 ? sqrt(value) : value);
}

// Differences check the steps of both sources and the mask before they ask for even ones.
const char* const ofTwo = "null | size | step | step m | even | coi";

const Descriptions members([](Descriptions& d) {
#define MEMBER(name, roles_, family, kind, T, checks_, ofThree)     \
  d.add(QORTEST_NAMED(name), roles_,                                \
        {.checks = checks_,                                         \
         .expect = [](Call& c) { expectNorm<T>(c, family, kind); }, \
         .team = normRule<T>(family, kind, ofThree),                \
         .threadsShow = true,                                       \
         .onZeros = (family) == NormRel ? qorStsDivByZero : qorStsNoErr});
#define QOR_NORM_C1MR(name, kind, T, rule) MEMBER(name, "s.m.zr", Norm, kind, T, Traits().checks, false)
#define QOR_NORM_C3CMR(name, kind, T, rule) MEMBER(name, "s.m.zcr", Norm, kind, T, Traits().checks, true)
#define QOR_NORM_DIFF_C1MR(name, kind, T, rule) MEMBER(name, "s.s.m.zr", NormDiff, kind, T, ofTwo, false)
#define QOR_NORM_DIFF_C3CMR(name, kind, T, rule) MEMBER(name, "s.s.m.zcr", NormDiff, kind, T, ofTwo, true)
#define QOR_NORM_REL_C1MR(name, kind, T, rule) MEMBER(name, "s.s.m.zr", NormRel, kind, T, ofTwo, false)
#define QOR_NORM_REL_C3CMR(name, kind, T, rule) MEMBER(name, "s.s.m.zcr", NormRel, kind, T, ofTwo, true)
#include "../../src/arith/norm.def"
});

// One pixel under the mask among others that are masked out.
template <class T>
void single(const char* name, T a, T b, double value, QorStatus status = qorStsNoErr, Qor8u taken = 1) {
  const auto one = [](auto v, auto others) {
    return [=](int x, int, int) { return static_cast<decltype(v)>(x == 20 ? v : others); };
  };
  Case c({37, 1});
  const auto fill = [&](Call& filled) {
    filled.image<T>('s').generate(one(a, 77));
    if (filled.has('s', 2)) filled.image<T>('s', 2).generate(one(b, 3));
    filled.image<Qor8u>('m').generate(one(taken, 0));
  };
  Call call(Descriptions::of(name), c, Call::Pixels::Drawn, {.fill = fill});
  call.run(call.description.operation.function);
  EXPECT_EQ(call.status, status) << name;
  call.expectResult(1, value);
}

TEST(Norms, OnPaper) {
  single<Qor8s>("qoriNorm_Inf_8s_C1MR", -128, 0, 128);
  single<Qor8s>("qoriNorm_L2_8s_C1MR", -128, 0, 128);
  single<Qor8s>("qoriNormDiff_Inf_8s_C1MR", -128, 127, 255);
  single<Qor16u>("qoriNormDiff_Inf_16u_C1MR", 0, 65535, 65535);
  single<Qor16u>("qoriNormDiff_L2_16u_C1MR", 65535, 0, 65535);
  single<Qor32f>("qoriNorm_Inf_32f_C1MR", NAN, 0, 0);
  single<Qor32f>("qoriNorm_L1_32f_C1MR", NAN, 0, NAN);
  single<Qor32f>("qoriNorm_L1_32f_C1MR", -INFINITY, 0, INFINITY);
  single<Qor8u>("qoriNorm_L2_8u_C1MR", 9, 0, 0, qorStsNoErr, 0);
  single<Qor32f>("qoriNormDiff_L1_32f_C1MR", NAN, NAN, 0, qorStsNoErr, 0);
  // Zero denominators.
  single<Qor8u>("qoriNormRel_L1_8u_C1MR", 0, 0, NAN, qorStsDivByZero);
  single<Qor8u>("qoriNormRel_L1_8u_C1MR", 5, 0, INFINITY, qorStsDivByZero);
  single<Qor8u>("qoriNormRel_Inf_8u_C1MR", 5, 9, NAN, qorStsDivByZero, 0);
  single<Qor16u>("qoriNormRel_L2_16u_C1MR", 5, 0, INFINITY, qorStsDivByZero);
  single<Qor32f>("qoriNormRel_L2_32f_C1MR", NAN, 0, NAN, qorStsDivByZero);
  // The square is below the least 32-bit float.
  single<Qor32f>("qoriNormRel_L2_32f_C1MR", 1, 1e-30F, INFINITY, qorStsDivByZero);
  single<Qor32f>("qoriNormRel_L1_32f_C1MR", 1, NAN, NAN);
  single<Qor32f>("qoriNormRel_L1_32f_C1MR", 1, INFINITY, NAN);
}

// Samples at their top everywhere: pairs of squares, rows and bands all leave 32 bits.
TEST(Norms, LargeSumsAreExact) {
  for (const int threads : {1, 7, 33}) {
    const auto run = [=]<class T>(const char* name, T src1, T src2) {
      runOwn(name, {4100, 1100},
             {.fill =
                  [=](Call& c) {
                    const auto all = [](T v) {
                      return [=](int x, int y, int) { return static_cast<T>(x + y == 5 ? v - (v > 0) : v); };
                    };
                    c.image<T>('s').generate(all(src1));
                    if (c.has('s', 2)) c.image<T>('s', 2).generate(all(src2));
                    c.image<Qor8u>('m').generate([](int, int, int) { return Qor8u{1}; });
                  }},
             threads);
    };
    run("qoriNorm_L1_16u_C1MR", Qor16u{65535}, Qor16u{0});
    run("qoriNorm_L2_16u_C1MR", Qor16u{65535}, Qor16u{0});
    run("qoriNormDiff_L2_16u_C1MR", Qor16u{0}, Qor16u{65535});
    run("qoriNormRel_L2_16u_C1MR", Qor16u{0}, Qor16u{65535});
    run("qoriNorm_L2_8u_C1MR", Qor8u{255}, Qor8u{0});
  }
}

// More bands than results kept on the stack, each rounded to 32 bits before they are added.
TEST(Norms, ManyBandsOfFloats) {
  for (const int threads : {1, 2, 3, 7, 32, 33}) runOwn("qoriNorm_L2_32f_C3CMR", {1090, 1000}, {}, threads);
}

// 16-bit differences that are equal in one half and not in the other.
TEST(Norms, HalvesOfWords) {
  for (const int threads : {1, 3})
    runOwn(
        "qoriNormDiff_L1_16u_C1MR", {4096, 64},
        {.fill =
             [](Call& c) {
               c.image<Qor16u>('s').generate(
                   [](int x, int y, int) { return static_cast<Qor16u>(8192 + 16384 * ((x + y) & 3)); });
               c.image<Qor16u>('s', 2).generate([](int x, int, int) { return static_cast<Qor16u>(16384 * (x & 1)); });
               c.image<Qor8u>('m').generate([](int, int, int) { return Qor8u{1}; });
             }},
        threads);
}

}  // namespace
