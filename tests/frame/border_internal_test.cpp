// Internal operations that put a border around an image.
#include "frame/border.h"

#include <algorithm>

#include "support/support.h"

namespace {
using namespace qortest;

struct Around {
  int top, left, bottom, right;
};

Around aroundOf(Case& c) {
  const auto some = [&] { return c.random.oneIn(3) ? 0 : c.random.between(1, 9); };
  return {some(), some(), some(), some()};
}

QoriSize enlarged(QoriSize s, const Around& a) { return {s.width + a.left + a.right, s.height + a.top + a.bottom}; }

template <class T>
Image<T> replicated(const Image<T>& src, const Around& a) {
  Image<T> dst(enlarged(src.size, a), src.channels);
  for (int y = 0; y < dst.size.height; ++y)
    for (int x = 0; x < dst.size.width; ++x)
      for (int c = 0; c < src.channels; ++c)
        dst.at(x, y, c) =
            src.at(std::clamp(x - a.left, 0, src.size.width - 1), std::clamp(y - a.top, 0, src.size.height - 1), c);
  return dst;
}

// Puts an image into the inside of a larger one, whose border stays junk.
template <class T>
void putInside(const GuardedImage<T>& outer, const Image<T>& inner, const Around& a) {
  for (int y = 0; y < inner.size.height; ++y)
    for (int x = 0; x < inner.size.width; ++x)
      for (int c = 0; c < inner.channels; ++c) outer.at(x + a.left, y + a.top, c) = inner.at(x, y, c);
}

template <class T>
using Replicate = QorStatus (*)(const T*, int, QoriSize, T*, int, QoriSize, int, int);
template <class T>
using ReplicateInPlace = QorStatus (*)(T*, int, QoriSize, QoriSize, int, int);
template <class T>
using Constant = QorStatus (*)(const T*, int, QoriSize, T*, int, QoriSize, int, int, T);

// The checks behind the pointers and steps: sizes, borders, and what does not fit.
template <class C, class Src, class Dst, class Top, class Left>
void checkSizes(C& contract, Src srcSize, Dst dstSize, Top top, Left left) {
  contract.set(dstSize, {60, 50});
  contract.set(top, 3);
  contract.set(left, 5);
  contract.check(
      "sizes", qorStsSizeErr,
      [&contract, srcSize, dstSize, top, left] {
        const QoriSize s = contract[srcSize], d = contract[dstSize];
        const int64_t t = contract[top], l = contract[left];
        return s.width < 1 || s.height < 1 || d.width < 1 || d.height < 1 || t < 0 || l < 0 || d.width < s.width + l ||
               d.height < s.height + t;
      },
      [&contract, srcSize] { contract[srcSize].width = 0; }, [&contract, srcSize] { contract[srcSize].height = -1; },
      [&contract, dstSize] { contract[dstSize].width = INT_MIN; },
      [&contract, dstSize] { contract[dstSize].height = 0; }, [&contract, top] { contract[top] = -1; },
      [&contract, left] { contract[left] = INT_MIN; }, [&contract, left] { contract[left] = INT_MAX; },
      [&contract, top] { contract[top] = INT_MAX; },
      [&contract, srcSize, dstSize, left] { contract[left] = contract[dstSize].width - contract[srcSize].width + 1; },
      [&contract, srcSize, dstSize, top] { contract[top] = contract[dstSize].height - contract[srcSize].height + 1; });
}

template <class T>
void testReplicate(const char* name, Replicate<T> operation, int channels) {
  sweep(name, {.variants = 3}, [&](Case& c) {
    const Around a = aroundOf(c);
    auto src = c.image<T>(channels);
    auto dst = c.output<T>(enlarged(c.size, a), channels);
    const Image<T> inner = src.pixels(), want = replicated(inner, a);
    if (c.variant != 0) {
      // The same pointer twice: the image stands inside already.
      putInside(dst, inner, a);
      T* const p = &dst.at(a.left, a.top);
      EXPECT_EQ(operation(p, dst.step(), c.size, p, -1, dst.size(), a.top, a.left), qorStsNoErr);
    } else {
      src.protect();
      EXPECT_EQ(operation(src.data(), src.step(), c.size, dst.data(), dst.step(), dst.size(), a.top, a.left),
                qorStsNoErr);
    }
    expectSame(dst, want, Equal::Bits);
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, srcSize, pDst, dstStep, dstSize, top, left);
  contract.null(pSrc, pDst);
  contract.atLeast(srcStep, qorStsStepErr, 1);
  contract.atLeast(dstStep, qorStsStepErr, 1);
  contract.set(srcSize, {17, 5});
  checkSizes(contract, srcSize, dstSize, top, left);
  contract.errorsOnly();
  contract.run();
  EXPECT_EQ(operation(nullptr, 0, {0, 0}, nullptr, 0, {0, 0}, -1, -1), qorStsNullPtrErr);
}

TEST(Border, Replicate) {
  testReplicate<Qor8u>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_8u_C1R), 1);
  testReplicate<Qor8u>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_8u_C3R), 3);
  testReplicate<Qor8u>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_8u_C4R), 4);
  testReplicate<Qor16s>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_16s_C1R), 1);
  testReplicate<Qor16u>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_16u_C1R), 1);
  testReplicate<Qor32s>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32s_C1R), 1);
  testReplicate<Qor32s>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32s_C3R), 3);
  testReplicate<Qor32s>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32s_C4R), 4);
  testReplicate<Qor32f>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32f_C1R), 1);
  testReplicate<Qor32f>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32f_C3R), 3);
  testReplicate<Qor32f>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32f_C4R), 4);
}

template <class T>
void testReplicateInPlace(const char* name, ReplicateInPlace<T> operation) {
  sweep(name, {}, [&](Case& c) {
    const Around a = aroundOf(c);
    const Image<T> inner = c.image<T>().pixels();
    auto dst = c.output<T>(enlarged(c.size, a));
    putInside(dst, inner, a);
    EXPECT_EQ(operation(&dst.at(a.left, a.top), dst.step(), c.size, dst.size(), a.top, a.left), qorStsNoErr);
    expectSame(dst, replicated(inner, a), Equal::Bits);
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, step, srcSize, dstSize, top, left);
  contract.null(pSrc);
  contract.atLeast(step, qorStsStepErr, 1);
  contract.set(srcSize, {17, 5});
  checkSizes(contract, srcSize, dstSize, top, left);
  contract.errorsOnly();
  contract.run();
}

TEST(Border, ReplicateInPlace) {
  testReplicateInPlace<Qor8u>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_8u_C1IR));
  testReplicateInPlace<Qor16s>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_16s_C1IR));
  testReplicateInPlace<Qor32s>(QORTEST_NAMED(qor::qoriCopyReplicateBorder_32s_C1IR));
}

template <class T>
void testConstant(const char* name, Constant<T> operation) {
  sweep(name, {.variants = 2}, [&](Case& c) {
    const Around a = aroundOf(c);
    auto src = c.image<T>();
    auto dst = c.output<T>(enlarged(c.size, a));
    const Image<T> inner = src.pixels();
    const T value = Maker<T>(Data::Random, c.random.bits())(0, 0, 0);
    Image<T> want(dst.size());
    std::fill(want.samples.begin(), want.samples.end(), value);
    for (int y = 0; y < c.size.height; ++y)
      for (int x = 0; x < c.size.width; ++x) want.at(x + a.left, y + a.top) = inner.at(x, y);
    const T* pSrc = src.data();
    int srcStep = src.step();
    if (c.variant == 1) {
      putInside(dst, inner, a);
      pSrc = &dst.at(a.left, a.top);
      srcStep = dst.step();
    }
    src.protect();
    EXPECT_EQ(operation(pSrc, srcStep, c.size, dst.data(), dst.step(), dst.size(), a.top, a.left, value), qorStsNoErr);
    expectSame(dst, want, Equal::Bits);
  });
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, srcSize, pDst, dstStep, dstSize, top, left, value);
  contract.null(pSrc, pDst);
  contract.atLeast(srcStep, qorStsStepErr, 1);
  contract.atLeast(dstStep, qorStsStepErr, 1);
  contract.set(srcSize, {17, 5});
  contract.any(value, 3);
  checkSizes(contract, srcSize, dstSize, top, left);
  contract.errorsOnly();
  contract.run();
}

TEST(Border, Constant) {
  testConstant<Qor8u>(QORTEST_NAMED(qor::qoriCopyConstBorder_8u_C1R));
  testConstant<Qor16s>(QORTEST_NAMED(qor::qoriCopyConstBorder_16s_C1R));
  testConstant<Qor16u>(QORTEST_NAMED(qor::qoriCopyConstBorder_16u_C1R));
  testConstant<Qor32s>(QORTEST_NAMED(qor::qoriCopyConstBorder_32s_C1R));
  testConstant<Qor32f>(QORTEST_NAMED(qor::qoriCopyConstBorder_32f_C1R));
}

}  // namespace
