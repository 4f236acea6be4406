// Internal operations on vectors.
#include "frame/vector_ops.h"

#include <math.h>

#include <algorithm>

#include "frame/alloc.h"
#include "qorcore.h"
#include "support/support.h"

namespace {
using namespace qortest;
using qor::Qor32u;

// Around the lengths that go parallel, and more threads than elements.
const Sweep vectors{.heights = {1}, .thresholds = {{4095, 1}, {4096, 1}, {5, 1}}};

template <class T>
void testFill(QorStatus (*set)(T, T*, int), QorStatus (*clear)(T*, int)) {
  sweep("fill", vectors, [=](Case& c) {
    auto dst = c.output<T>();
    Image<T> want(c.size);
    const T value = Maker<T>(Data::Random, c.random.bits())(0, 0, 0);
    std::fill(want.samples.begin(), want.samples.end(), value);
    EXPECT_EQ(set(value, dst.data(), c.size.width), qorStsNoErr);
    expectSame(dst, want);
    EXPECT_EQ(clear(dst.data(), c.size.width), qorStsNoErr);
    expectSame(dst, Image<T>(c.size), Equal::Bits);
  });
  EXPECT_EQ(set(T(1), nullptr, 0), qorStsNullPtrErr);
  EXPECT_EQ(set(T(1), noAccess<T>(), 0), qorStsSizeErr);
  EXPECT_EQ(clear(nullptr, 0), qorStsNullPtrErr);
  EXPECT_EQ(clear(noAccess<T>(), -1), qorStsSizeErr);
}

TEST(VectorOps, Fill) {
  testFill(qor::qorsSet_8u, qor::qorsZero_8u);
  testFill(qor::qorsSet_16s, qor::qorsZero_16s);
  testFill(qor::qorsSet_32s, qor::qorsZero_32s);
  testFill(qor::qorsSet_32f, qor::qorsZero_32f);
}

// An operation of one or two sources against a function of a sample, out of place and onto the last source.
template <class T, class Operation, class Reference>
void testElements(const char* name, Operation* operation, Reference reference) {
  constexpr bool two = std::is_invocable_v<Operation, const T*, const T*, T*, int>;
  Sweep options = vectors;
  options.variants = 2;
  sweep(name, options, [&](Case& c) {
    auto a = c.image<T>(), b = c.image<T>(), fresh = c.output<T>();
    auto& dst = c.variant == 0 ? fresh : b;
    Image<T> want(c.size);
    for (int x = 0; x < c.size.width; ++x) {
      if constexpr (two)
        want.at(x, 0) = reference(a.at(x, 0), b.at(x, 0));
      else
        want.at(x, 0) = reference(b.at(x, 0));
    }
    protectSources(dst, a, b);
    if constexpr (two)
      EXPECT_EQ(operation(a.data(), b.data(), dst.data(), c.size.width), qorStsNoErr);
    else
      EXPECT_EQ(operation(b.data(), dst.data(), c.size.width), qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
  });
  Contract contract(name, operation);
  if constexpr (two) {
    QORTEST_ARGUMENTS(contract, pSrc1, pSrc2, pDst, len);
    contract.null(pSrc1, pSrc2, pDst);
    contract.atLeast(len, qorStsSizeErr, 1);
  } else {
    QORTEST_ARGUMENTS(contract, pSrc, pDst, len);
    contract.null(pSrc, pDst);
    contract.atLeast(len, qorStsSizeErr, 1);
  }
  contract.run();
}

TEST(VectorOps, Copy) {
  const auto copy = [](auto v) { return v; };
  testElements<Qor8u>(QORTEST_NAMED(qor::qorsCopy_8u), copy);
  testElements<Qor16s>(QORTEST_NAMED(qor::qorsCopy_16s), copy);
  testElements<Qor32f>(QORTEST_NAMED(qor::qorsCopy_32f), copy);
}

TEST(VectorOps, RootAndMagnitude) {
  testElements<Qor32f>(QORTEST_NAMED(qor::qorsSqrt_32f), [](Qor32f v) { return sqrtf(v); });
  testElements<Qor32f>(QORTEST_NAMED(qor::qorsMagnitude_32f), [](Qor32f x, Qor32f y) {
    const Qor32f xx = x * x, yy = y * y;
    return sqrtf(xx + yy);
  });
}

template <class T>
using Every = QorStatus (*)(const T*, const T*, T*, Qor32u);
template <class T>
using EveryInPlace = QorStatus (*)(const T*, T*, Qor32u);

template <class T>
void testEvery(Every<T> operation, EveryInPlace<T> inPlace, bool greater) {
  Sweep options = vectors;
  options.variants = 2;
  sweep("every", options, [=](Case& c) {
    auto a = c.image<T>(), b = c.image<T>();
    auto dst = c.output<T>();
    Image<T> want(c.size);
    for (int x = 0; x < c.size.width; ++x) {
      const T va = a.at(x, 0), vb = b.at(x, 0);
      want.at(x, 0) = (greater ? va > vb : va < vb) ? va : vb;
    }
    const Qor32u len = static_cast<Qor32u>(c.size.width);
    EXPECT_EQ(operation(a.data(), b.data(), dst.data(), len), qorStsNoErr);
    EXPECT_EQ(inPlace(a.data(), b.data(), len), qorStsNoErr);
    expectSame(dst, want, Equal::Bits);
    expectSame(b, want, Equal::Bits);
  });
  const T* null = nullptr;
  EXPECT_EQ(operation(null, noAccess<T>(0), noAccess<T>(1), 0), qorStsNullPtrErr);
  EXPECT_EQ(operation(noAccess<T>(0), null, noAccess<T>(1), 0), qorStsNullPtrErr);
  EXPECT_EQ(operation(noAccess<T>(0), noAccess<T>(1), nullptr, 0), qorStsNullPtrErr);
  EXPECT_EQ(operation(noAccess<T>(0), noAccess<T>(1), noAccess<T>(2), 0), qorStsSizeErr);
  EXPECT_EQ(inPlace(null, noAccess<T>(1), 0), qorStsNullPtrErr);
  EXPECT_EQ(inPlace(noAccess<T>(0), noAccess<T>(1), 0), qorStsSizeErr);
}

TEST(VectorOps, MinimumAndMaximum) {
  testEvery(qor::qorsMinEvery_8u, qor::qorsMinEvery_8u_I, false);
  testEvery(qor::qorsMinEvery_16u, qor::qorsMinEvery_16u_I, false);
  testEvery(qor::qorsMinEvery_32f, qor::qorsMinEvery_32f_I, false);
  testEvery(qor::qorsMinEvery_64f, qor::qorsMinEvery_64f_I, false);
  testEvery(qor::qorsMaxEvery_8u, qor::qorsMaxEvery_8u_I, true);
  testEvery(qor::qorsMaxEvery_16u, qor::qorsMaxEvery_16u_I, true);
  testEvery(qor::qorsMaxEvery_32f, qor::qorsMaxEvery_32f_I, true);
  testEvery(qor::qorsMaxEvery_64f, qor::qorsMaxEvery_64f_I, true);
}

TEST(VectorOps, ScaledMagnitude) {
  Sweep options = vectors;
  options.variants = 8;
  sweep("qorsMagnitude_16s_Sfs", options, [](Case& c) {
    constexpr int factors[] = {0, 1, 5, 16, -1, -14, INT_MAX, INT_MIN};
    const int factor = factors[c.variant];
    auto x = c.image<Qor16s>(), y = c.image<Qor16s>();
    if (c.random.oneIn(3)) x.at(0, 0) = y.at(0, 0) = -32768;
    if (c.random.oneIn(3)) x.at(0, 0) = y.at(0, 0) = 0;
    auto dst = c.output<Qor16s>();
    Image<Qor16s> want(c.size);
    for (int i = 0; i < c.size.width; ++i) {
      const double xx = x.at(i, 0), yy = y.at(i, 0), root = sqrt(xx * xx + yy * yy);
      want.at(i, 0) = static_cast<Qor16s>(std::min(rint(ldexp(root, -std::clamp(factor, -500, 500))), 32767.0));
    }
    EXPECT_EQ(qor::qorsMagnitude_16s_Sfs(x.data(), y.data(), dst.data(), c.size.width, factor), qorStsNoErr);
    expectSame(dst, want);
  });
  Contract contract(QORTEST_NAMED(qor::qorsMagnitude_16s_Sfs));
  QORTEST_ARGUMENTS(contract, pX, pY, pDst, len, scaleFactor);
  contract.null(pX, pY, pDst);
  contract.atLeast(len, qorStsSizeErr, 1);
  contract.any(scaleFactor, 0, INT_MIN, INT_MAX);
  contract.run();
}

void expectArctangent(Qor32f result, Qor32f y, Qor32f x) {
  const double want = atan2(double{y}, double{x}), got = double{result};
  // 21 correct mantissa bits; angles that are no normal numbers lose bits to their own format only.
  const double bound = std::max(fabs(want) * 0x1p-21, 0x1p-149);
  ASSERT_TRUE(isnan(want) ? isnan(got) : fabs(got - want) <= bound && signbit(got) == signbit(want))
      << "y " << y << " x " << x << " got " << got << " want " << want << ' ' << currentCase();
}

TEST(VectorOps, Arctangent) {
  Sweep options = vectors;
  options.variants = 3;
  sweep("qorsAtan2_32f_A21", options, [](Case& c) {
    auto y = c.image<Qor32f>(), x = c.image<Qor32f>();
    auto fresh = c.output<Qor32f>();
    auto& dst = c.variant == 0 ? fresh : c.variant == 1 ? y : x;
    const Image<Qor32f> ys = y.pixels(), xs = x.pixels();
    protectSources(dst, y, x);
    EXPECT_EQ(qor::qorsAtan2_32f_A21(y.data(), x.data(), dst.data(), c.size.width), qorStsNoErr);
    for (int i = 0; i < c.size.width; ++i) expectArctangent(dst.at(i, 0), ys.at(i, 0), xs.at(i, 0));
  });
  for (const Qor32f y : {0.0F, -0.0F, 1.0F, -1.0F, 1e-40F, INFINITY, -INFINITY, NAN}) {
    for (const Qor32f x : {0.0F, -0.0F, 1.0F, -1.0F, 1e-40F, 1e30F, INFINITY, -INFINITY, NAN}) {
      Qor32f got = 7;
      EXPECT_EQ(qor::qorsAtan2_32f_A21(&y, &x, &got, 1), qorStsNoErr);
      expectArctangent(got, y, x);
    }
  }
  EXPECT_EQ(qor::qorsAtan2_32f_A21(nullptr, nullptr, nullptr, 0), qorStsNoErr);
}

TEST(VectorOps, Sort) {
  sweep("qorsSortAscend_64f_I", {.heights = {1}, .thresholds = {{4095, 1}, {100000, 1}, {5, 1}}, .finite = true},
        [](Case& c) {
          auto values = c.image<Qor64f>();
          Image<Qor64f> want = values.pixels();
          std::sort(want.samples.begin(), want.samples.end());
          EXPECT_EQ(qor::qorsSortAscend_64f_I(values.data(), c.size.width), qorStsNoErr);
          expectSame(values, want);
        });
  EXPECT_EQ(qor::qorsSortAscend_64f_I(nullptr, 0), qorStsNullPtrErr);
  EXPECT_EQ(qor::qorsSortAscend_64f_I(noAccess<Qor64f>(), 0), qorStsSizeErr);
  EXPECT_EQ(qor::qorsSortAscend_64f_I(noAccess<Qor64f>(), 1), qorStsNoErr);
}

// The order of NaN is open, but the values stay the same ones and the ends are never passed.
TEST(VectorOps, SortKeepsUnorderedValues) {
  for (int share = 1; share < 20; ++share) {
    setCase("every %d.", share);
    GuardedImage<Qor64f> values({1000, 1});
    Random random(baseSeed() + static_cast<uint64_t>(share));
    values.generate([&](int, int, int) { return random.oneIn(share) ? NAN : random.unit(); });
    const auto bits = [&] {
      std::vector<uint64_t> b(1000);
      memcpy(b.data(), values.data(), 8000);
      std::sort(b.begin(), b.end());
      return b;
    };
    const auto before = bits();
    EXPECT_EQ(qor::qorsSortAscend_64f_I(values.data(), 1000), qorStsNoErr);
    EXPECT_EQ(bits(), before) << currentCase();
  }
}

TEST(Allocation, RefusesWhatItCannotCount) {
  EXPECT_EQ(qor::qorsMalloc_32f(0), nullptr);
  EXPECT_EQ(qor::qorsMalloc_8u(-1), nullptr);
  EXPECT_EQ(qor::qorsMalloc_16u(0x40000000), nullptr);
  EXPECT_EQ(qor::qorsMalloc_32s(0x20000000), nullptr);
  EXPECT_EQ(qor::qorsMalloc_64f(0x10000000), nullptr);
  EXPECT_EQ(qor::qorsMalloc_64f(0x20000001), nullptr);
  void* const blocks[] = {qor::qorsMalloc_8u(1), qor::qorsMalloc_16u(3), qor::qorsMalloc_32s(5), qor::qorsMalloc_32f(7),
                          qor::qorsMalloc_64f(1000)};
  for (void* const b : blocks) {
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 64, 0U);
    qor::qorsFree(b);
  }
  qor::qorsFree(nullptr);
}

}  // namespace
