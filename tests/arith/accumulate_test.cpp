#include "accumulate_cases.h"

namespace {
using namespace accumulators;

// Positions of the arguments follow from the number of sources and from the mask.
template <class T, int sources, bool masked, class... A>
void testContract(const char* name, QorStatus (*operation)(A...)) {
  constexpr size_t maskAt = 2 * sources, dstAt = 2 * (sources + masked), sizeAt = dstAt + 2;
  constexpr bool stepByStep = sizeof(T) == 2;
  const At<1> src1Step;
  const At<3> src2Step;
  const At<dstAt + 1> dstStep;
  Contract contract(name, operation);
  contract.null(At<0>());
  if constexpr (sources == 2) contract.null(At<2>());
  if constexpr (masked) contract.null(At<maskAt>());
  contract.null(At<dstAt>());
  contract.size(At<sizeAt>());
  contract.step(sizeof(T), src1Step);
  if (stepByStep) contract.even(sizeof(T), src1Step);
  if constexpr (sources == 2) {
    contract.step(sizeof(T), src2Step);
    if (stepByStep) contract.even(sizeof(T), src2Step);
  }
  if constexpr (masked) contract.step(sizeof(Qor8u), At<maskAt + 1>());
  contract.step(sizeof(Qor32f), dstStep);
  if (!stepByStep) contract.even(sizeof(T), src1Step);
  if constexpr (sources == 2)
    if (!stepByStep) contract.even(sizeof(T), src2Step);
  contract.even(sizeof(Qor32f), dstStep);
  if constexpr (sizeof...(A) > sizeAt + 1) contract.any(At<sizeAt + 1>(), 0.5F, 0.0F, -3.0F, NAN);
  contract.run();
}

TEST(Accumulate, AgainstReference) {
#define QOR_ACCUMULATE(name, T, Operation) \
  sweepMember(plain<Operation, T>(QORTEST_NAMED(name)), {.thresholds = nextThreshold()});
#define QOR_ACCUMULATE_WEIGHTED(name, T) \
  sweepMember(plain<Blend, T, Qor32f>(QORTEST_NAMED(name)), {.thresholds = nextThreshold()});
#define QOR_ACCUMULATE_PRODUCT(name, T) sweepMember(product<T>(QORTEST_NAMED(name)), {.thresholds = nextThreshold()});
#define QOR_ACCUMULATE_MASKED(name, T, Operation, bytes) \
  sweepMember(masked<Operation, T>(QORTEST_NAMED(name)), {.thresholds = nextThreshold()});
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, T, bytes) \
  sweepMember(masked<Blend, T, Qor32f>(QORTEST_NAMED(name)), {.thresholds = nextThreshold()});
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, T, bytes) \
  sweepMember(maskedProduct<T>(QORTEST_NAMED(name)), {.thresholds = nextThreshold()});
#include "../../src/arith/accumulate.def"
#undef QOR_ACCUMULATE
#undef QOR_ACCUMULATE_WEIGHTED
#undef QOR_ACCUMULATE_PRODUCT
#undef QOR_ACCUMULATE_MASKED
#undef QOR_ACCUMULATE_WEIGHTED_MASKED
#undef QOR_ACCUMULATE_PRODUCT_MASKED
}

TEST(Accumulate, Contract) {
#define QOR_ACCUMULATE(name, T, Operation) testContract<T, 1, false>(QORTEST_NAMED(name));
#define QOR_ACCUMULATE_WEIGHTED(name, T) testContract<T, 1, false>(QORTEST_NAMED(name));
#define QOR_ACCUMULATE_PRODUCT(name, T) testContract<T, 2, false>(QORTEST_NAMED(name));
#define QOR_ACCUMULATE_MASKED(name, T, Operation, bytes) testContract<T, 1, true>(QORTEST_NAMED(name));
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, T, bytes) testContract<T, 1, true>(QORTEST_NAMED(name));
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, T, bytes) testContract<T, 2, true>(QORTEST_NAMED(name));
#include "../../src/arith/accumulate.def"
  testContract<Qor32f, 2, false>(QORTEST_NAMED(qoriAddWeighted_32f_C1R));
}

TEST(Accumulate, BlendOfTwoImages) {
  sweep("qoriAddWeighted_32f_C1R", {.thresholds = {{512, 512}}, .variants = 3}, [](Case& c) {
    auto src1 = c.image<Qor32f>(), src2 = c.image<Qor32f>(), fresh = c.output<Qor32f>();
    auto& dst = c.variant == 0 ? fresh : c.variant == 1 ? src1 : src2;
    const Qor32f alpha = alphas[c.random.below(sizeof alphas / sizeof alphas[0])];
    const Image<Qor32f> first = src1.pixels();
    const auto want = reference<Qor32f, Blend>(src2.pixels(), first, first, nullptr, alpha);
    protectSources(dst, src1, src2);
    EXPECT_EQ(qoriAddWeighted_32f_C1R(src1.data(), src1.step(), src2.data(), src2.step(), dst.data(), dst.step(),
                                      c.size, alpha),
              qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
  });
}

// Every value of a type against an accumulator that makes the rounding show.
TEST(Accumulate, EverySample) {
  GuardedImage<Qor16u> words({256, 256});
  GuardedImage<Qor8u> bytes({256, 256});
  GuardedImage<Qor8s> signedBytes({256, 256}), otherBytes({256, 256});
  words.generate([](int x, int y, int) { return static_cast<Qor16u>(256 * y + x); });
  bytes.generate([](int x, int, int) { return static_cast<Qor8u>(x); });
  signedBytes.generate([](int x, int, int) { return static_cast<Qor8s>(x); });
  otherBytes.generate([](int, int y, int) { return static_cast<Qor8s>(y); });
  const auto run = [](const auto& member, const auto& src1, const auto& src2) {
    using T = std::remove_reference_t<decltype(src1.at(0, 0))>;
    GuardedImage<Qor32f> a({256, 256});
    a.generate([](int x, int y, int) { return static_cast<Qor32f>(x - y) / 3; });
    const auto want = reference<T, SumOfProducts>(a.pixels(), src1.pixels(), src2.pixels(), nullptr, 0);
    EXPECT_EQ(
        member.call({src1.data(), src1.step(), src2.data(), src2.step(), nullptr, 0, a.data(), a.step(), a.size(), 0}),
        qorStsNoErr);
    expectSame(a, want, Equal::SignedZeros, member.name);
  };
  run(plain<SumOfSquares, Qor16u>(QORTEST_NAMED(qoriAddSquare_16u32f_C1IR)), words, words);
  run(plain<SumOfSquares, Qor8u>(QORTEST_NAMED(qoriAddSquare_8u32f_C1IR)), bytes, bytes);
  run(product<Qor8s>(QORTEST_NAMED(qoriAddProduct_8s32f_C1IR)), signedBytes, otherBytes);
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
