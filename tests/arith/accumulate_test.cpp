#include <math.h>
#include <stdint.h>
#include <string.h>

#include "qorcv/arith.h"
#include "support/support.h"

namespace {
using namespace qortest;

// Sums, differences and products of floats in 64 bits and then rounded are those of 32-bit arithmetic.
double rounded(double x) { return static_cast<double>(static_cast<Qor32f>(x)); }

using Rule = double (*)(double a, double s1, double s2, double alpha);
double Sum(double a, double s, double, double) { return rounded(a + s); }
double SumOfSquares(double a, double s, double, double) { return rounded(a + rounded(s * s)); }
double SumOfProducts(double a, double s1, double s2, double) { return rounded(a + rounded(s1 * s2)); }
double Blend(double a, double s, double, double alpha) { return rounded(rounded(rounded(s - a) * alpha) + a); }
// Of two images into a third.
double BlendOfTwo(double, double s1, double s2, double alpha) { return Blend(s2, s1, 0, alpha); }

template <class T>
void expectAccumulated(Call& c, Rule rule, char accumulator) {
  const Image<T>& src1 = c.before<T>('s');
  const Image<T>& src2 = c.has('s', 2) ? c.before<T>('s', 2) : src1;
  const Image<Qor8u>* mask = c.has('m') ? &c.before<Qor8u>('m') : nullptr;
  const double alpha = c.has('n') ? c.real('n') : 0;
  Image<Qor32f> want = c.before<Qor32f>(accumulator);
  for (size_t i = 0; i < want.samples.size(); ++i)
    if (mask == nullptr || mask->samples[i] != 0)
      want.samples[i] =
          static_cast<Qor32f>(rule(static_cast<double>(want.samples[i]), static_cast<double>(src1.samples[i]),
                                   static_cast<double>(src2.samples[i]), alpha));
  c.expect(accumulator, want);
  if (mask == nullptr) return;
  // Where nothing is taken in all bits stay, those of NaNs too.
  const Image<Qor32f> got = c.after<Qor32f>(accumulator);
  size_t changed = 0;
  for (size_t i = 0; i < want.samples.size(); ++i)
    changed += mask->samples[i] == 0 && memcmp(&got.samples[i], &want.samples[i], sizeof(Qor32f)) != 0;
  EXPECT_EQ(changed, 0U) << "bits outside the mask, case: " << currentCase();
}

// Any bits at all: NaNs of every payload, quiet and signalling.
void fillWithBits(Call& c) {
  if (c.isInPlace() || !c.c.random.oneIn(3)) return;
  c.image<Qor32f>('i').generate([&](int, int, int) {
    const auto bits = static_cast<uint32_t>(c.c.random.bits());
    Qor32f value;
    memcpy(&value, &bits, sizeof value);
    return value;
  });
}

// Around the size that goes parallel, and once with fewer rows than threads: one a member, in turns. All go through one
// driver, and the larger images are most of the time.
Sweep nextThreshold() {
  static int turn = 0;
  constexpr QoriSize sizes[] = {{512, 512}, {131072, 2}, {511, 512}};
  return {.thresholds = {sizes[turn++ % 3]}};
}

const std::vector<double> alphas{0, 1, 0.05, -0.5, 2.5, 1e-30, INFINITY, NAN};

// Sources of 16 bits are checked one after the other.
template <class T>
Traits traits(Rule rule, char accumulator = 'i') {
  const char* const checks = sizeof(T) == 2
                                 ? "null | size | step s1 | even s1 | step s2 | even s2 | step m | step i | even i"
                                 : "null | size | step s | step m | step id | even s | even id";
  return {.checks = checks,
          .values = {{'n', alphas}},
          .fill = accumulator == 'i' ? fillWithBits : nullptr,
          .expect = [=](Call& c) { expectAccumulated<T>(c, rule, accumulator); },
          .team = accumulator == 'i' ? from(0x40000) : Team{},
          .sweep = nextThreshold()};
}

// A float source may be the accumulator.
template <class T>
const char* roles(const char* ofFloats, const char* others) {
  return std::is_same_v<T, Qor32f> ? ofFloats : others;
}

const Descriptions members([](Descriptions& d) {
#define QOR_ACCUMULATE(name, T, Rule) d.add(QORTEST_NAMED(name), roles<T>("S.i.z", "s.i.z"), traits<T>(Rule));
#define QOR_ACCUMULATE_WEIGHTED(name, T) d.add(QORTEST_NAMED(name), roles<T>("S.i.zn", "s.i.zn"), traits<T>(Blend));
#define QOR_ACCUMULATE_PRODUCT(name, T) \
  d.add(QORTEST_NAMED(name), roles<T>("S.S.i.z", "s.s.i.z"), traits<T>(SumOfProducts));
#define QOR_ACCUMULATE_MASKED(name, T, Rule, bytes) \
  d.add(QORTEST_NAMED(name), roles<T>("S.m.i.z", "s.m.i.z"), traits<T>(Rule));
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, T, bytes) \
  d.add(QORTEST_NAMED(name), roles<T>("S.m.i.zn", "s.m.i.zn"), traits<T>(Blend));
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, T, bytes) \
  d.add(QORTEST_NAMED(name), roles<T>("S.S.m.i.z", "s.s.m.i.z"), traits<T>(SumOfProducts));
#include "../../src/arith/accumulate.def"
  d.add(QORTEST_NAMED(qoriAddWeighted_32f_C1R), "S.S.d.zn", traits<Qor32f>(BlendOfTwo, 'd'));
});

// Every value of a type against an accumulator that makes the rounding show.
template <class T>
void testEverySample(const char* name) {
  runOwn(name, {256, 256}, {.fill = [](Call& c) {
           c.image<T>('s').generate([](int x, int y, int) { return static_cast<T>(sizeof(T) == 1 ? x : 256 * y + x); });
           if (c.has('s', 2)) c.image<T>('s', 2).generate([](int, int y, int) { return static_cast<T>(y); });
           c.image<Qor32f>('i').generate([](int x, int y, int) { return static_cast<Qor32f>(x - y) / 3; });
         }});
}

TEST(Accumulate, EverySample) {
  testEverySample<Qor16u>("qoriAddSquare_16u32f_C1IR");
  testEverySample<Qor8u>("qoriAddSquare_8u32f_C1IR");
  testEverySample<Qor8s>("qoriAddProduct_8s32f_C1IR");
}

TEST(Accumulate, CasesOnPaper) {
  const QoriSize one{1, 1};
  const Qor8s lowest = -128, zero = 0, minusFive = -5;
  Qor32f a = 1;
  EXPECT_EQ(qoriAddSquare_8s32f_C1IR(&lowest, 1, &a, 4, one), 0);
  EXPECT_EQ(a, 16385.0F);
  // 0 * -5 is -0, and -0 + -0 keeps the sign, which an integer product would lose.
  a = -0.0F;
  EXPECT_EQ(qoriAddProduct_8s32f_C1IR(&zero, 1, &minusFive, 1, &a, 4, one), 0);
  EXPECT_TRUE(same(a, -0.0F, Equal::Bits));
  // (1 - 1e8) + 1e8 is 0 in float: the blend with alpha 1 is no copy.
  const Qor8u s = 1;
  a = 1e8F;
  EXPECT_EQ(qoriAddWeighted_8u32f_C1IR(&s, 1, &a, 4, one, 1.0F), 0);
  EXPECT_EQ(a, 0.0F);
  // 65535^2 = 4294836225 is rounded to 24 bits ahead of the addition: 4294836224, and the 1 is lost with it.
  const Qor16u top = 65535;
  a = -4294836224.0F;
  EXPECT_EQ(qoriAddSquare_16u32f_C1IR(&top, 2, &a, 4, one), 0);
  EXPECT_EQ(a, 0.0F);
}

}  // namespace
