// Internal operations on images.
#include "frame/image_ops.h"

#include <math.h>

#include <algorithm>

#include "support/support.h"

namespace {
using namespace qortest;

// Where the arithmetic goes parallel (width + height of 256, or always), and fewer rows than threads.
const std::vector<QoriSize> thresholds = {{250, 5}, {251, 5}, {300, 2}};

// Unary operations: op(pSrc, srcStep, pDst, dstStep, roi, more...) against a function of the sample, out of place and,
// when the types allow, in place.
template <class S, class D, class Run, class Reference>
void sweepUnary(const char* name, const Run& operation, Reference reference, int channels = 1,
                const std::vector<QoriSize>& sizes = thresholds) {
  sweep(name, {.thresholds = sizes, .variants = std::is_same_v<S, D> ? 2 : 1}, [&](Case& c) {
    auto src = c.image<S>(channels);
    auto fresh = c.output<D>(channels);
    Image<D> want(c.size, channels);
    const Image<S> s = src.pixels();
    for (size_t i = 0; i < s.samples.size(); ++i) want.samples[i] = reference(s.samples[i]);
    const auto run = [&](GuardedImage<D>& dst) {
      protectSources(dst, src);
      EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), c.size), qorStsNoErr);
      expectSame(dst, want, Equal::SignedZeros);
    };
    if constexpr (std::is_same_v<S, D>) {
      run(c.variant == 1 ? src : fresh);
    } else {
      run(fresh);
    }
  });
}

template <class T>
using Unary = QorStatus (*)(const T*, int, T*, int, QoriSize);

template <class T>
void testCopy(const char* name, Unary<T> operation, int channels) {
  sweepUnary<T, T>(
      name, operation, [](T v) { return v; }, channels);
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roi);
  contract.null(pSrc, pDst);
  contract.size(roi);
  contract.set(srcStep, 1024);
  contract.set(dstStep, 1024);
  contract.errorsOnly();
  contract.run();
}

TEST(ImageOps, Copy) {
  testCopy<Qor8u>(QORTEST_NAMED(qor::qoriCopy_8u_C1R), 1);
  testCopy<Qor8u>(QORTEST_NAMED(qor::qoriCopy_8u_C3R), 3);
  testCopy<Qor8u>(QORTEST_NAMED(qor::qoriCopy_8u_C4R), 4);
  testCopy<Qor16s>(QORTEST_NAMED(qor::qoriCopy_16s_C1R), 1);
  testCopy<Qor16u>(QORTEST_NAMED(qor::qoriCopy_16u_C1R), 1);
  testCopy<Qor32f>(QORTEST_NAMED(qor::qoriCopy_32f_C1R), 1);
  testCopy<Qor32f>(QORTEST_NAMED(qor::qoriCopy_32f_C3R), 3);
  testCopy<Qor32f>(QORTEST_NAMED(qor::qoriCopy_32f_C4R), 4);
}

template <class T>
void testSet(const char* name, QorStatus (*operation)(T, T*, int, QoriSize)) {
  sweep(name, {}, [&](Case& c) {
    auto dst = c.output<T>();
    const T value = static_cast<T>(c.random.bits());
    Image<T> want(c.size);
    std::fill(want.samples.begin(), want.samples.end(), value);
    EXPECT_EQ(operation(value, dst.data(), dst.step(), c.size), qorStsNoErr);
    expectSame(dst, want);
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, value, pDst, dstStep, roi);
  contract.null(pDst);
  contract.size(roi);
  contract.any(value, 7);
  contract.set(dstStep, 1024);
  contract.errorsOnly();
  contract.run();
}

TEST(ImageOps, Set) {
  testSet(QORTEST_NAMED(qor::qoriSet_8u_C1R));
  testSet(QORTEST_NAMED(qor::qoriSet_16s_C1R));
}

TEST(ImageOps, Convert) {
  sweepUnary<Qor16u, Qor32f>("qoriConvert_16u32f_C1R", qor::qoriConvert_16u32f_C1R,
                             [](Qor16u v) { return static_cast<Qor32f>(v); });
  Contract contract(QORTEST_NAMED(qor::qoriConvert_16u32f_C1R));
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roi);
  contract.null(pSrc, pDst);
  contract.size(roi);
  contract.atLeast(srcStep, qorStsStepErr, 1);
  contract.atLeast(dstStep, qorStsStepErr, 1);
  contract.errorsOnly();
  contract.run();
}

// ---- differences and products
int64_t scaledByDefinition(int64_t d, int scaleFactor, int64_t bottom, int64_t top) {
  double value = ldexp(static_cast<double>(d), -std::clamp(scaleFactor, -200, 200));
  return static_cast<int64_t>(std::clamp(rint(value), static_cast<double>(bottom), static_cast<double>(top)));
}

constexpr int factors[] = {0,  1,  2,  3,  7,  8,  9,   14,  15,  16,  17,      18,
                           30, 31, -1, -2, -7, -8, -14, -15, -16, -17, INT_MAX, INT_MIN};
constexpr int factorCount = static_cast<int>(std::size(factors));

template <class T>
using Scaled = QorStatus (*)(const T*, int, const T*, int, T*, int, QoriSize, int);

template <class T>
void testSub(const char* name, Scaled<T> operation, int channels = 1) {
  sweep(name, {.thresholds = thresholds, .variants = 3}, [&](Case& c) {
    auto a = c.image<T>(channels), b = c.image<T>(channels), fresh = c.output<T>(channels);
    auto& dst = c.variant == 0 ? fresh : c.variant == 1 ? a : b;
    const int factor = factors[c.random.below(factorCount)];
    appendCase(" scale factor %d", factor);
    Image<T> want(c.size, channels);
    const Image<T> pa = a.pixels(), pb = b.pixels();
    constexpr int64_t bottom = std::numeric_limits<T>::min(), top = std::numeric_limits<T>::max();
    for (size_t i = 0; i < want.samples.size(); ++i) {
      int64_t d = int64_t{pb.samples[i]} - pa.samples[i];
      if (bottom == 0) d = std::max<int64_t>(d, 0);
      want.samples[i] = static_cast<T>(scaledByDefinition(d, factor, bottom, top));
    }
    protectSources(dst, a, b);
    EXPECT_EQ(operation(a.data(), a.step(), b.data(), b.step(), dst.data(), dst.step(), c.size, factor), qorStsNoErr);
    expectSame(dst, want);
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi, scaleFactor);
  contract.null(pSrc1, pSrc2, pDst);
  contract.size(roi);
  contract.set(src1Step, 1024);
  contract.set(src2Step, 1024);
  contract.set(dstStep, 1024);
  contract.any(scaleFactor, 0);
  contract.errorsOnly();
  contract.run();
}

TEST(ImageOps, ScaledSubtraction) {
  testSub<Qor8u>(QORTEST_NAMED(qor::qoriSub_8u_C1RSfs));
  testSub<Qor8u>(QORTEST_NAMED(qor::qoriSub_8u_C3RSfs), 3);
  testSub<Qor8u>(QORTEST_NAMED(qor::qoriSub_8u_C4RSfs), 4);
  testSub<Qor16u>(QORTEST_NAMED(qor::qoriSub_16u_C1RSfs));
  testSub<Qor16s>(QORTEST_NAMED(qor::qoriSub_16s_C1RSfs));
}

// All differences of bytes at every factor: the paths of the rule meet here.
TEST(ImageOps, EveryDifferenceOfBytesAtEveryFactor) {
  GuardedImage<Qor8u> zero({256, 1}), all({256, 1}), dst({256, 1});
  zero.generate([](int, int, int) { return Qor8u{0}; });
  all.generate([](int x, int, int) { return static_cast<Qor8u>(x); });
  for (const int factor : factors) {
    setCase("scale factor %d", factor);
    EXPECT_EQ(qor::qoriSub_8u_C1RSfs(zero.data(), 256, all.data(), 256, dst.data(), 256, {256, 1}, factor),
              qorStsNoErr);
    Image<Qor8u> want({256, 1});
    for (int d = 0; d < 256; ++d) want.at(d, 0) = static_cast<Qor8u>(scaledByDefinition(d, factor, 0, 255));
    expectSame(dst, want);
  }
}

void testSubFloat(const char* name,
                  QorStatus (*operation)(const Qor32f*, int, const Qor32f*, int, Qor32f*, int, QoriSize),
                  int channels) {
  sweep(name, {.thresholds = thresholds, .variants = 3}, [&](Case& c) {
    auto a = c.image<Qor32f>(channels), b = c.image<Qor32f>(channels), fresh = c.output<Qor32f>(channels);
    auto& dst = c.variant == 0 ? fresh : c.variant == 1 ? a : b;
    Image<Qor32f> want(c.size, channels);
    const Image<Qor32f> pa = a.pixels(), pb = b.pixels();
    for (size_t i = 0; i < want.samples.size(); ++i) want.samples[i] = pb.samples[i] - pa.samples[i];
    protectSources(dst, a, b);
    EXPECT_EQ(operation(a.data(), a.step(), b.data(), b.step(), dst.data(), dst.step(), c.size), qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi);
  contract.null(pSrc1, pSrc2, pDst);
  contract.size(roi);
  contract.set(src1Step, 1024);
  contract.set(src2Step, 1024);
  contract.set(dstStep, 1024);
  contract.errorsOnly();
  contract.run();
}

// Steps are not checked: an image may be read from its last row upwards.
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
  EXPECT_EQ(qor::qoriSet_8u_C1R(7, &dst.at(0, 5), -dst.step(), {20, 6}), qorStsNoErr);
  std::fill(want.samples.begin(), want.samples.end(), Qor8u{7});
  expectSame(dst, want);
}

TEST(ImageOps, FloatSubtraction) {
  testSubFloat(QORTEST_NAMED(qor::qoriSub_32f_C1R), 1);
  testSubFloat(QORTEST_NAMED(qor::qoriSub_32f_C3R), 3);
  testSubFloat(QORTEST_NAMED(qor::qoriSub_32f_C4R), 4);
}

TEST(ImageOps, ProductWithAConstant) {
  for (const int factor : factors) {
    for (const Qor16s value : {Qor16s{-32768}, Qor16s{-3}, Qor16s{0}, Qor16s{1}, Qor16s{7}, Qor16s{32767}}) {
      Case c({37, 3}, baseSeed() + static_cast<uint64_t>(int64_t{factor} + value));
      setCase("value %d scale factor %d", value, factor);
      auto src = c.image<Qor16s>();
      src.at(0, 0) = -32768;
      Image<Qor16s> want = src.pixels();
      for (Qor16s& v : want.samples)
        v = static_cast<Qor16s>(scaledByDefinition(int64_t{v} * value, factor, -32768, 32767));
      EXPECT_EQ(qor::qoriMulC_16s_C1RSfs(src.data(), src.step(), value, src.data(), src.step(), c.size, factor), 0);
      expectSame(src, want);
    }
  }
  for (const Qor16s value : {Qor16s{-3}, Qor16s{300}}) {
    const auto shorts = [value](auto s, int ss, auto d, int ds, QoriSize r) {
      return qor::qoriMulC_16s_C1RSfs(s, ss, value, d, ds, r, 2);
    };
    sweepUnary<Qor16s, Qor16s>("qoriMulC_16s_C1RSfs", shorts, [value](Qor16s v) {
      return static_cast<Qor16s>(scaledByDefinition(int64_t{v} * value, 2, -32768, 32767));
    });
  }
  const auto floats = [](auto s, int ss, auto d, int ds, QoriSize r) {
    return qor::qoriMulC_32f_C1R(s, ss, 0.3F, d, ds, r);
  };
  sweepUnary<Qor32f, Qor32f>("qoriMulC_32f_C1R", floats, [](Qor32f v) { return v * 0.3F; });
  Contract contract(QORTEST_NAMED(qor::qoriMulC_16s_C1RSfs));
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, value, pDst, dstStep, roi, scaleFactor);
  contract.null(pSrc, pDst);
  contract.size(roi);
  contract.set(srcStep, 1024);
  contract.set(dstStep, 1024);
  contract.any(value, 3, 0);
  contract.any(scaleFactor, 0, 40);
  contract.errorsOnly();
  contract.run();
  EXPECT_EQ(qor::qoriMulC_32f_C1R(nullptr, 0, 1, nullptr, 0, {0, 0}), qorStsNullPtrErr);
  EXPECT_EQ(qor::qoriMulC_32f_C1R(noAccess<Qor32f>(0), 9, 1, noAccess<Qor32f>(1), 9, {4, 0}), qorStsSizeErr);
}

// ---- thresholds
TEST(ImageOps, FloatThreshold) {
  for (const Qor32f t : {0.0F, -0.0F, 3.5F, -INFINITY, NAN}) {
    const auto less = [t](auto s, int ss, auto d, int ds, QoriSize r) {
      return qor::qoriThreshold_32f_C1R(s, ss, d, ds, r, qorCmpLess, t);
    };
    const auto greater = [t](auto s, int ss, auto d, int ds, QoriSize r) {
      return qor::qoriThreshold_32f_C1R(s, ss, d, ds, r, qorCmpGreater, t);
    };
    const auto forwarded = [t](auto s, int ss, auto d, int ds, QoriSize r) {
      return qor::qoriThreshold_LT_32f_C1R(s, ss, d, ds, r, t);
    };
    const auto bounded = [t](Qor32f v) { return v < t ? t : v; };
    sweepUnary<Qor32f, Qor32f>("less", less, bounded, 1, {});
    sweepUnary<Qor32f, Qor32f>("forwarded", forwarded, bounded, 1, {});
    sweepUnary<Qor32f, Qor32f>("greater", greater, [t](Qor32f v) { return v > t ? t : v; }, 1, {});
  }
  Contract contract(QORTEST_NAMED(qor::qoriThreshold_32f_C1R));
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roi, cmp, threshold);
  contract.null(pSrc, pDst);
  contract.size(roi);
  contract.atLeast(srcStep, qorStsStepErr, 1);
  contract.atLeast(dstStep, qorStsStepErr, 1);
  contract.oneOf(cmp, qorStsNotSupportedModeErr, qorCmpLess, qorCmpGreater);
  contract.any(threshold, 1.0F);
  contract.errorsOnly();
  contract.run();
}

template <class T>
using Val = QorStatus (*)(const T*, int, T*, int, QoriSize, T, T, QorCmpOp);
template <class T>
using GreaterVal = QorStatus (*)(const T*, int, T*, int, QoriSize, T, T);

template <class T>
void testThresholdVal(const char* name, Val<T> operation, GreaterVal<T> greater) {
  constexpr int top = std::numeric_limits<T>::max();
  for (const int threshold : {0, 1, 2, top / 2 + 1, top - 1, top}) {
    const T t = static_cast<T>(threshold), value = 7;
    const std::vector<QoriSize> sizes = {{191, 192}, {192, 192}, {300, 5}};
    const auto less = [=](auto s, int ss, auto d, int ds, QoriSize r) {
      return operation(s, ss, d, ds, r, t, value, qorCmpLess);
    };
    const auto above = [=](auto s, int ss, auto d, int ds, QoriSize r) {
      return operation(s, ss, d, ds, r, t, value, qorCmpGreater);
    };
    const auto forwarded = [=](auto s, int ss, auto d, int ds, QoriSize r) {
      return greater(s, ss, d, ds, r, t, value);
    };
    sweepUnary<T, T>(
        name, less, [=](T v) { return v < t ? value : v; }, 1, sizes);
    sweepUnary<T, T>(
        name, above, [=](T v) { return v > t ? value : v; }, 1, sizes);
    sweepUnary<T, T>(name, forwarded, [=](T v) { return v > t ? value : v; }, 1, {});
  }
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roi, threshold, value, cmp);
  contract.oneOf(cmp, qorStsNotSupportedModeErr, qorCmpLess, qorCmpGreater);
  contract.null(pSrc, pDst);
  contract.size(roi);
  contract.atLeast(srcStep, qorStsStepErr, 1);
  contract.atLeast(dstStep, qorStsStepErr, 1);
  contract.any(threshold, 1);
  contract.any(value, 2);
  contract.errorsOnly();
  contract.run();
}

TEST(ImageOps, ThresholdToAValue) {
  testThresholdVal<Qor8u>("qoriThreshold_Val_8u_C1R", qor::qoriThreshold_Val_8u_C1R, qor::qoriThreshold_GTVal_8u_C1R);
  testThresholdVal<Qor16u>("qoriThreshold_Val_16u_C1R", qor::qoriThreshold_Val_16u_C1R,
                           qor::qoriThreshold_GTVal_16u_C1R);
}

}  // namespace
