#include "qorcv/integral.h"

#include <algorithm>
#include <type_traits>
#include <vector>

#include "support/support.h"

namespace {
using namespace qortest;

template <class S, class T, class... Val>
using OfSum = QorStatus (*)(const S*, int, T*, int, QoriSize, Val...);
template <class T, class Q>
using OfSquares = QorStatus (*)(const Qor8u*, int, T*, int, Q*, int, QoriSize, T, Q);

constexpr int64_t identity(int64_t s) { return s; }
constexpr int64_t square(int64_t s) { return s * s; }

// Both recurrences in the words of the header. Integer tables are formed without bound and cut to 32 bits at the end;
// the exact sum r of a row enters float tables by one addition.
template <class T>
Image<T> integralOf(const Image<Qor8u>& src, T val, int64_t (*count)(int64_t)) {
  using Wide = std::conditional_t<std::is_integral_v<T>, int64_t, T>;
  Image<T> t({src.size.width + 1, src.size.height + 1});
  std::vector<Wide> above(static_cast<size_t>(t.size.width), Wide{val});
  std::fill(t.samples.begin(), t.samples.end(), val);
  for (int y = 0; y < src.size.height; ++y) {
    int64_t r = 0;
    for (int x = 0; x < src.size.width; ++x) {
      Wide& sum = above[static_cast<size_t>(x) + 1];
      r += count(src.at(x, y));
      sum = static_cast<Wide>(r) + sum;
      t.at(x + 1, y + 1) = static_cast<T>(sum);
    }
  }
  return t;
}

Image<Qor32f> integralOf(const Image<Qor32f>& src) {
  Image<Qor32f> t({src.size.width + 1, src.size.height + 1});
  for (int y = 0; y < src.size.height; ++y) {
    Qor32f r = 0;
    for (int x = 0; x < src.size.width; ++x) {
      r += src.at(x, y);
      t.at(x + 1, y + 1) = r + t.at(x + 1, y);
    }
  }
  return t;
}

QoriSize tableSize(QoriSize roi) { return {roi.width + 1, roi.height + 1}; }

template <class T>
std::vector<T> startValues() {
  if constexpr (std::is_integral_v<T>) return {0, 1, -5, INT_MAX, INT_MIN};
  return {0, T(0.1), T(-3e8), T(1e-40), std::numeric_limits<T>::infinity()};
}

template <class T>
T startValue(Case& c) {
  const std::vector<T> values = startValues<T>();
  const T val = values[static_cast<size_t>(c.random.below(static_cast<int>(values.size())))];
  appendCase(" val %g", static_cast<double>(val));
  return val;
}

// Pairs, fours and eights of rows and what remains of them.
const Sweep sizes{.heights = {1, 2, 3, 4, 5, 8, 9, 15}};

template <class T>
auto minimumOf(auto& contract, auto roi) {
  return [&contract, roi] { return static_cast<ptrdiff_t>(sizeof(T)) * (ptrdiff_t{contract[roi].width} + 1); };
}

template <class T>
void testSum(const char* name, OfSum<Qor8u, T, T> operation) {
  sweep(name, sizes, [&](Case& c) {
    auto src = c.image<Qor8u>();
    auto dst = c.output<T>(tableSize(c.size));
    const T val = startValue<T>(c);
    const Image<T> want = integralOf(src.pixels(), val, identity);
    src.protect();
    EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), c.size, val), qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
  });

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roiSize, val);
  contract.null(pSrc, pDst);
  contract.size(roiSize);
  contract.step(sizeof(Qor8u), srcStep);
  contract.step(minimumOf<T>(contract, roiSize), dstStep);
  contract.even(sizeof(T), dstStep);
  for (const T v : startValues<T>()) contract.any(val, v);
  contract.run();
}

template <class T, class Q>
void expectTables(OfSquares<T, Q> operation, GuardedImage<Qor8u>& src, GuardedImage<T>& dst, GuardedImage<Q>& sqr,
                  T val, Q valSqr) {
  const Image<T> want = integralOf(src.pixels(), val, identity);
  const Image<Q> wantSqr = integralOf(src.pixels(), valSqr, square);
  src.protect();
  EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), sqr.data(), sqr.step(), src.size(), val, valSqr),
            qorStsNoErr);
  expectSame(dst, want, Equal::SignedZeros, "sums");
  expectSame(sqr, wantSqr, Equal::SignedZeros, "sums of squares");
}

template <class T, class Q>
void testSquares(const char* name, OfSquares<T, Q> operation) {
  sweep(name, sizes, [&](Case& c) {
    auto src = c.image<Qor8u>();
    auto dst = c.output<T>(tableSize(c.size));
    auto sqr = c.output<Q>(tableSize(c.size));
    const T val = startValue<T>(c);
    expectTables(operation, src, dst, sqr, val, startValue<Q>(c));
  });

  // Sums of squares of one row that pass 2^31 and 2^32, around the width where they may begin to.
  for (const int width : {33024, 33025, 33026, 66052}) {
    setCase("%s %dx3", name, width);
    Case c({width, 3});
    auto src = GuardedImage<Qor8u>(c.size);
    src.generate([](int x, int, int) { return static_cast<Qor8u>(x == 7 ? 254 : 255); });
    auto dst = c.output<T>(tableSize(c.size));
    auto sqr = c.output<Q>(tableSize(c.size));
    expectTables(operation, src, dst, sqr, T{3}, Q{5});
  }

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);
  contract.null(pSrc, pDst, pSqr);
  contract.size(roiSize);
  contract.step(sizeof(Qor8u), srcStep);
  contract.step(minimumOf<T>(contract, roiSize), dstStep);
  contract.step(minimumOf<Q>(contract, roiSize), sqrStep);
  contract.even(sizeof(T), dstStep);
  contract.even(sizeof(Q), sqrStep);
  for (const T v : startValues<T>()) contract.any(val, v);
  for (const Q v : startValues<Q>()) contract.any(valSqr, v);
  contract.run();
}

TEST(Integral, OfBytes) {
  testSum(QORTEST_NAMED(qoriIntegral_8u32s_C1R));
  testSum(QORTEST_NAMED(qoriIntegral_8u32f_C1R));
}

TEST(Integral, OfFloats) {
  const char* const name = "qoriIntegral_32f_C1R";
  sweep(name, sizes, [&](Case& c) {
    auto src = c.image<Qor32f>();
    auto dst = c.output<Qor32f>(tableSize(c.size));
    const Image<Qor32f> want = integralOf(src.pixels());
    src.protect();
    EXPECT_EQ(qoriIntegral_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), c.size), qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
  });

  Contract contract(name, qoriIntegral_32f_C1R);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roiSize);
  contract.null(pSrc, pDst);
  contract.size(roiSize);
  contract.step(sizeof(Qor32f), srcStep);
  contract.step(minimumOf<Qor32f>(contract, roiSize), dstStep);
  contract.even(sizeof(Qor32f), srcStep, dstStep);
  contract.run();
}

TEST(Integral, WithSquares) {
  testSquares(QORTEST_NAMED(qoriSqrIntegral_8u32s_C1R));
  testSquares(QORTEST_NAMED(qoriSqrIntegral_8u32s64f_C1R));
  testSquares(QORTEST_NAMED(qoriSqrIntegral_8u32f64f_C1R));
}

}  // namespace
