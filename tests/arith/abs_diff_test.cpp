#include <math.h>

#include <algorithm>
#include <type_traits>

#include "qorcv/arith.h"
#include "support/support.h"

namespace {
using namespace qortest;

template <class T>
using OfImages = QorStatus (*)(const T*, int, const T*, int, T*, int, QoriSize);
template <class T, class V>
using OfConstant = QorStatus (*)(const T*, int, T*, int, QoriSize, V);

template <class T>
T absDiff(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) return fabsf(a - b);
  return static_cast<T>(std::max(a, b) - std::min(a, b));
}

template <class T>
Image<T> reference(const Image<T>& a, const Image<T>& b) {
  Image<T> d(a.size, a.channels);
  for (size_t i = 0; i < d.samples.size(); ++i) d.samples[i] = absDiff(a.samples[i], b.samples[i]);
  return d;
}

template <class T, class V>
Image<T> reference(const Image<T>& a, V value) {
  Image<T> b(a.size, a.channels);
  if constexpr (std::is_integral_v<V>) value = std::clamp<V>(value, 0, std::numeric_limits<T>::max());
  std::fill(b.samples.begin(), b.samples.end(), static_cast<T>(value));
  return reference(a, b);
}

// A NaN of a 32f result has no sign, which the comparison with the reference does not see.
template <class T>
void expectNoSign(const Image<T>& image) {
  for (const T v : image.samples) ASSERT_FALSE(signbit(static_cast<double>(v))) << currentCase();
}

// Around the size that goes parallel, and once with fewer rows than threads.
const std::vector<QoriSize> thresholds = {{511, 512}, {512, 512}, {131072, 2}};

template <class T>
void testImages(const char* name, OfImages<T> operation, int channels = 1) {
  Sweep options{.thresholds = thresholds, .variants = 3};
  if (channels == 3) options.thresholds = {{170, 512}, {300, 300}, {43691, 2}};
  sweep(name, options, [&](Case& c) {
    auto src1 = c.image<T>(channels), src2 = c.image<T>(channels), fresh = c.output<T>(channels);
    auto& dst = c.variant == 0 ? fresh : c.variant == 1 ? src1 : src2;
    const Image<T> want = reference(src1.pixels(), src2.pixels());
    protectSources(dst, src1, src2);
    EXPECT_EQ(operation(src1.data(), src1.step(), src2.data(), src2.step(), dst.data(), dst.step(), c.size),
              qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
    expectNoSign(dst.pixels());
  });

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize);
  contract.null(pSrc1, pSrc2, pDst);
  contract.size(roiSize);
  contract.step(channels * sizeof(T), src1Step, src2Step, dstStep);
  contract.even(sizeof(T), src1Step, src2Step, dstStep);
  contract.run();
}

template <class T, class V>
void testConstant(const char* name, OfConstant<T, V> operation, std::vector<V> values) {
  sweep(name, {.thresholds = thresholds, .variants = 2}, [&](Case& c) {
    auto src = c.image<T>(), fresh = c.output<T>();
    auto& dst = c.variant == 0 ? fresh : src;
    const V value = values[static_cast<size_t>(c.random.below(static_cast<int>(values.size())))];
    appendCase(", value %g", static_cast<double>(value));
    const Image<T> want = reference(src.pixels(), value);
    protectSources(dst, src);
    EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), c.size, value), qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
    expectNoSign(dst.pixels());
  });

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roiSize, constant);
  contract.null(pSrc, pDst);
  contract.size(roiSize);
  contract.step(sizeof(T), srcStep, dstStep);
  contract.even(sizeof(T), srcStep, dstStep);
  for (const V v : values) contract.any(constant, v);
  contract.run();
}

TEST(AbsDiff, OfImages) {
  testImages(QORTEST_NAMED(qoriAbsDiff_8u_C1R));
  testImages(QORTEST_NAMED(qoriAbsDiff_8u_C3R), 3);
  testImages(QORTEST_NAMED(qoriAbsDiff_16u_C1R));
  testImages(QORTEST_NAMED(qoriAbsDiff_32f_C1R));
}

TEST(AbsDiff, OfConstant) {
  testConstant<Qor8u, int>(QORTEST_NAMED(qoriAbsDiffC_8u_C1R), {300, -5, 0, 1, 100, 255, 256, INT_MIN, INT_MAX});
  testConstant<Qor16u, int>(QORTEST_NAMED(qoriAbsDiffC_16u_C1R),
                            {70000, -5, 0, 1, 30000, 65535, 65536, INT_MIN, INT_MAX});
  testConstant<Qor32f, Qor32f>(QORTEST_NAMED(qoriAbsDiffC_32f_C1R),
                               {-5.5F, 0, 1e-40F, 3e38F, INFINITY, -INFINITY, NAN});
}

TEST(AbsDiff, EveryPairOfBytes) {
  GuardedImage<Qor8u> a({256, 256}), b({256, 256}), dst({256, 256});
  a.generate([](int x, int, int) { return static_cast<Qor8u>(x); });
  b.generate([](int, int y, int) { return static_cast<Qor8u>(y); });
  EXPECT_EQ(qoriAbsDiff_8u_C1R(a.data(), a.step(), b.data(), b.step(), dst.data(), dst.step(), dst.size()), 0);
  expectSame(dst, reference(a.pixels(), b.pixels()));
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(qoriAbsDiffC_8u_C1R(a.data(), a.step(), dst.data(), dst.step(), dst.size(), value), 0);
    expectSame(dst, reference(a.pixels(), value));
  }
}

}  // namespace
