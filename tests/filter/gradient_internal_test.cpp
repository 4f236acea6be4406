// Gradient vectors and the Sobel derivatives of one direction.
#include <math.h>

#include "border_pixels.h"
#include "filter/gradient_vector.h"
#include "filter/sobel.h"
#include "support/stand_in.h"

namespace {
using namespace qortest;

struct Taps {
  int mask;
  std::vector<int> smooth, alongX, alongY;

  int radius() const { return static_cast<int>(smooth.size()) / 2; }
};
const Taps sobel3{33, {1, 2, 1}, {1, 0, -1}, {-1, 0, 1}};
const Taps sobel5{55, {1, 4, 6, 4, 1}, {1, 2, 0, -2, -1}, {-1, -2, 0, 2, 1}};
const Taps scharr3{33, {3, 10, 3}, {-1, 0, 1}, {-1, 0, 1}};

// A component, and what the rounding of its sum in 32-bit float may come to: every term passes fewer than ten
// roundings.
struct Sum {
  double value = 0, bound = 0;
};

template <class S>
Sum component(const GuardedImage<S>& src, int x, int y, const Taps& taps, bool alongX, int border, S outside) {
  Sum sum;
  const auto& across = alongX ? taps.alongX : taps.smooth;
  const auto& down = alongX ? taps.smooth : taps.alongY;
  const int r = taps.radius();
  for (int j = -r; j <= r; ++j) {
    for (int i = -r; i <= r; ++i) {
      const double term = double{1} * across[static_cast<size_t>(i + r)] * down[static_cast<size_t>(j + r)] *
                          borderPixel(src, x + i, y + j, border, outside);
      sum.value += term;
      sum.bound += fabs(term) * 10 * 0x1p-24;
    }
  }
  if (sizeof(S) == 1) sum.bound = 0;
  return sum;
}

template <class S, class D>
void expectComponent(const GuardedImage<D>& got, const GuardedImage<S>& src, const Taps& taps, bool alongX, int border,
                     S outside) {
  int failures = 0;
  for (int y = 0; y < src.size().height && failures < 3; ++y) {
    for (int x = 0; x < src.size().width && failures < 3; ++x) {
      const Sum want = component(src, x, y, taps, alongX, border, outside);
      const double value = got.at(x, y);
      if (fabs(value - want.value) <= want.bound) continue;
      ++failures;
      ADD_FAILURE() << (alongX ? "gx" : "gy") << " at x " << x << ", y " << y << ": got " << value << ", want "
                    << want.value << "\n  case: " << currentCase();
    }
  }
}

template <class S, class D>
using Vector = QorStatus (*)(const S*, int, D*, int, D*, int, D*, int, Qor32f*, int, QoriSize, QoriMaskSize,
                             QorNormType, QoriBorderType, S, Qor8u*);

// The four outputs of a call, of which some are wanted.
template <class D>
struct Outputs {
  GuardedImage<D> gx, gy, magnitude;
  GuardedImage<Qor32f> angle;

  explicit Outputs(Case& c)
      : gx(c.output<D>()), gy(c.output<D>()), magnitude(c.output<D>()), angle(c.output<Qor32f>()) {}

  template <class S>
  void call(Vector<S, D> operation, const GuardedImage<S>& src, int wanted, const Taps& taps, int norm, int border,
            S outside, const GuardedBytes& scratch) {
    const auto pick = [wanted](int bit, auto& image) { return (wanted & bit) != 0 ? image.data() : nullptr; };
    const auto step = [wanted](int bit, auto& image) { return (wanted & bit) != 0 ? image.step() : -1; };
    EXPECT_EQ(operation(src.data(), src.step(), pick(1, gx), step(1, gx), pick(2, gy), step(2, gy), pick(4, magnitude),
                        step(4, magnitude), pick(8, angle), step(8, angle), src.size(), taps.mask, norm, border,
                        outside, scratch.data()),
              qorStsNoErr)
        << currentCase();
  }
};

template <class D>
D magnitude(D gx, D gy, int norm) {
  if constexpr (std::is_integral_v<D>) {
    if (norm == qorNormL1) return static_cast<D>(abs(gx) + abs(gy));
    return static_cast<D>(lrint(sqrt(double{1} * gx * gx + double{1} * gy * gy)));
  } else {
    return norm == qorNormL1 ? fabsf(gx) + fabsf(gy) : sqrtf(gx * gx + gy * gy);
  }
}

template <class D>
void expectPolar(const Outputs<D>& all, int norm) {
  Image<D> magnitudes(all.gx.size());
  Image<double> angles(all.gx.size());
  for (int y = 0; y < magnitudes.size.height; ++y) {
    for (int x = 0; x < magnitudes.size.width; ++x) {
      magnitudes.at(x, y) = magnitude(all.gx.at(x, y), all.gy.at(x, y), norm);
      angles.at(x, y) = atan2(double{1} * all.gy.at(x, y), double{1} * all.gx.at(x, y));
    }
  }
  expectSame(all.magnitude, magnitudes, Equal::Values, "magnitude");
  const auto near = [](Qor32f got, double want) { return fabs(got - want) <= 0x1p-21 * fabs(want) + 0x1p-149; };
  expectAgreement(all.angle.pixels(), angles, near, "angle, to 21 bits of a normal number");
}

template <class S, class D>
void testVector(const char* name, Vector<S, D> operation, const std::vector<Taps>& kernels) {
  const Sweep options{.thresholds = {{4096, 2}}, .variants = 4 * static_cast<int>(kernels.size()), .finite = true};
  sweep(name, options, [&](Case& c) {
    const Taps& taps = kernels[static_cast<size_t>(c.variant) % kernels.size()];
    const int border = anyBorder(c.random, {qorBorderConst, qorBorderRepl, qorBorderInMem}), r = taps.radius();
    const int norm = c.random.oneIn(2) ? qorNormL1 : qorNormL2, some = c.random.below(16);
    const S outside = Maker<S>(Data::Random, c.random.bits())(0, 0, 0);
    appendCase(" mask %d border %d norm %d outputs %d", taps.mask, border, norm, some);
    auto src = c.image<S>(1, marginOf(memorySides(border), r));
    src.protect();
    int bytes = 0;
    ASSERT_EQ(qor::qoriGradientVectorGetBufferSize(c.size, taps.mask, sizeof(S) == 1 ? qor8u : qor32f, 1, &bytes), 0);
    const auto scratch = c.scratch(bytes);
    Outputs<D> all(c), few(c);
    all.call(operation, src, 15, taps, norm, border, outside, scratch);
    expectComponent(all.gx, src, taps, true, border, outside);
    expectComponent(all.gy, src, taps, false, border, outside);
    expectPolar(all, norm);
    few.call(operation, src, some, taps, norm, border, outside, scratch);
    if ((some & 1) != 0) expectSame(few.gx, all.gx.pixels(), Equal::SignedZeros, "gx among others");
    if ((some & 2) != 0) expectSame(few.gy, all.gy.pixels(), Equal::SignedZeros, "gy among others");
    if ((some & 4) != 0) expectSame(few.magnitude, all.magnitude.pixels(), Equal::SignedZeros, "magnitude alone");
    if ((some & 8) != 0) expectSame(few.angle, all.angle.pixels(), Equal::SignedZeros, "angle alone");
  });

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pGx, gxStep, pGy, gyStep, pMag, magStep, pAngle, angleStep, roiSize, mask,
                    norm, border, value, pBuffer);
  const auto one = [] { return ptrdiff_t{1}; };
  const auto step = [&](auto at, size_t sample) {
    contract.step(one, at);
    contract.even(sample, at);
  };
  contract.null(pSrc);
  step(srcStep, sizeof(S));
  contract.null(pBuffer);
  step(gxStep, sizeof(D));
  step(gyStep, sizeof(D));
  step(magStep, sizeof(D));
  contract.oneOf(norm, qorStsBadArgErr, qorNormL1, qorNormL2);
  step(angleStep, sizeof(Qor32f));
  contract.size(roiSize);
  const auto borderFails = [&] {
    const int b = contract[border];
    return b < 0 || b > 255 || ((b & 15) != 0 && (b & 15) != 1 && (b & 15) != 6);
  };
  contract.set(border, 1);
  contract.check(
      "border", qorStsBadArgErr, borderFails, [&] { contract[border] = 2; }, [&] { contract[border] = 3 | 240; },
      [&] { contract[border] = 256; }, [&] { contract[border] = -10; });
  if (kernels.size() == 1) {
    contract.oneOf(mask, qorStsMaskSizeErr, 33);
  } else {
    contract.oneOf(mask, qorStsMaskSizeErr, 33, 55);
  }
  contract.any(value, 0);
  contract.optional(pGx, pGy, pMag, pAngle);
  contract.errorsOnly();
  contract.run();
}

TEST(GradientVector, FromBytes) {
  testVector<Qor8u, Qor16s>(QORTEST_NAMED(qor::qoriGradientVectorSobel_8u16s_C1R), {sobel3, sobel5});
  testVector<Qor8u, Qor16s>(QORTEST_NAMED(qor::qoriGradientVectorScharr_8u16s_C1R), {scharr3});
}

TEST(GradientVector, FromFloats) {
  testVector<Qor32f, Qor32f>(QORTEST_NAMED(qor::qoriGradientVectorSobel_32f_C1R), {sobel3, sobel5});
  testVector<Qor32f, Qor32f>(QORTEST_NAMED(qor::qoriGradientVectorScharr_32f_C1R), {scharr3});
}

// Nothing is written without outputs, whose steps and norm do not count then.
TEST(GradientVector, NoOutputs) {
  GuardedImage<Qor8u> src({40, 9});
  src.generate(Maker<Qor8u>(Data::Random, baseSeed()));
  EXPECT_EQ(qor::qoriGradientVectorSobel_8u16s_C1R(src.data(), src.step(), nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
                                                   0, src.size(), 33, 0, 0, 0, noAccess<Qor8u>()),
            qorStsNoErr);
}

// Tiles that read their neighbours join without a seam, in floats too.
TEST(GradientVector, Tiles) {
  const QoriSize size{150, 40};
  GuardedImage<Qor32f> src(size, {.margin = {2, 2, 2, 2}}), gx(size), gy(size), tileX(size), tileY(size);
  src.generate(Maker<Qor32f>(Data::Random, baseSeed()));
  GuardedBytes scratch(1 << 14);
  const auto call = [&](GuardedImage<Qor32f>& x, GuardedImage<Qor32f>& y, QoriRect r, int mask) {
    EXPECT_EQ(qor::qoriGradientVectorSobel_32f_C1R(&src.at(r.x, r.y), src.step(), &x.at(r.x, r.y), x.step(),
                                                   &y.at(r.x, r.y), y.step(), nullptr, 0, nullptr, 0,
                                                   {r.width, r.height}, mask, qorNormL1, 246, 0, scratch.data()),
              0);
  };
  for (const int mask : {33, 55}) {
    call(gx, gy, {0, 0, size.width, size.height}, mask);
    for (int y = 0; y < size.height; y += 7) {
      for (int x = 0; x < size.width; x += 41) {
        call(tileX, tileY, {x, y, std::min(41, size.width - x), std::min(7, size.height - y)}, mask);
      }
    }
    expectSame(tileX, gx.pixels(), Equal::Bits);
    expectSame(tileY, gy.pixels(), Equal::Bits);
  }
}

// Sums of squares right beside k (k + 1), where the rounded root steps, from a picture of one bright pixel of any
// value.
TEST(GradientVector, MagnitudesOfSinglePixels) {
  for (int value = 0; value < 256; ++value) {
    GuardedImage<Qor8u> src({5, 5});
    src.generate([=](int x, int y, int) { return static_cast<Qor8u>(x == 2 && y == 2 ? value : 255 - value); });
    GuardedImage<Qor16s> gx({5, 5}), gy({5, 5}), got({5, 5});
    GuardedBytes scratch(1 << 10);
    for (const bool sobel : {false, true}) {
      const auto operation = sobel ? qor::qoriGradientVectorSobel_8u16s_C1R : qor::qoriGradientVectorScharr_8u16s_C1R;
      EXPECT_EQ(operation(src.data(), src.step(), gx.data(), gx.step(), gy.data(), gy.step(), got.data(), got.step(),
                          nullptr, 0, src.size(), sobel ? 55 : 33, qorNormL2, 0, 255, scratch.data()),
                0);
      for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(got.at(x, y), magnitude(gx.at(x, y), gy.at(x, y), qorNormL2));
    }
  }
}

int vectorBytes(QoriSize size, int mask, int type, int channels) {
  int bytes = -1;
  EXPECT_EQ(qor::qoriGradientVectorGetBufferSize(size, mask, type, channels, &bytes), 0);
  return bytes;
}

TEST(GradientVector, BufferSize) {
  EXPECT_EQ(vectorBytes({100, 3}, 33, qor8u, 1), 102 * 5 + 400 + 64);
  EXPECT_EQ(vectorBytes({100, 4}, 33, qor8u, 1), 102 * 3 + 400 + 64);
  EXPECT_EQ(vectorBytes({7, 100}, 55, qor16s, 3), 104 * 11 * 3 * 2 + 56 + 64);
  EXPECT_EQ(vectorBytes({8, 100}, 55, qor32f, 1), 104 * 6 * 4 + 64 + 64);
  Contract contract(QORTEST_NAMED(qor::qoriGradientVectorGetBufferSize));
  QORTEST_ARGUMENTS(contract, roiSize, mask, dataType, numChannels, pBufferSize);
  contract.null(pBufferSize);
  contract.size(roiSize);
  contract.oneOf(mask, qorStsMaskSizeErr, 33, 55);
  contract.oneOf(dataType, qorStsDataTypeErr, 1, 5, 7, 13);
  contract.oneOf(numChannels, qorStsChannelErr, 1, 3);
  contract.run();
}

// ---- one direction

template <class S, class D, class Operation, class SizeQuery>
void testSobel(const char* name, Operation* operation, SizeQuery* sizeQuery, bool alongX) {
  constexpr bool bytes = sizeof(S) == 1;
  const auto call = [&](const S* src, int srcStep, D* dst, int dstStep, QoriSize size, int mask, int border, S value,
                        Qor8u* scratch) {
    if constexpr (bytes) return operation(src, srcStep, dst, dstStep, size, mask, border, value, scratch);
    if constexpr (!bytes) return operation(src, srcStep, dst, dstStep, size, mask, border, scratch);
  };
  sweep(name, {.variants = 8, .finite = true}, [&](Case& c) {
    const Taps& taps = c.variant % 2 == 0 ? sobel3 : sobel5;
    const int border =
        anyBorder(c.random, {qorBorderConst, qorBorderRepl, qorBorderMirror, qorBorderMirrorR, qorBorderInMem});
    const S outside = bytes ? static_cast<S>(c.random.below(256)) : S(0);
    const int r = taps.radius();
    appendCase(" mask %d border %d", taps.mask, border);
    auto src = c.image<S>(1, marginOf(memorySides(border), r));
    auto dst = c.output<D>();
    src.protect();
    int size = 0;
    ASSERT_EQ(sizeQuery(c.size, taps.mask, &size), 0);
    const auto scratch = c.scratch(size);
    EXPECT_EQ(call(src.data(), src.step(), dst.data(), dst.step(), c.size, taps.mask, border, outside, scratch.data()),
              qorStsNoErr);
    expectComponent(dst, src, taps, alongX, border, outside);
  });
}

TEST(SobelForms, Derivatives) {
  testSobel<Qor8u, Qor16s>(QORTEST_NAMED(qor::qoriFilterSobelVertBorder_8u16s_C1R),
                           qor::qoriFilterSobelVertGetBufferSize_8u16s_C1R, true);
  testSobel<Qor8u, Qor16s>(QORTEST_NAMED(qor::qoriFilterSobelHorizBorder_8u16s_C1R),
                           qor::qoriFilterSobelHorizGetBufferSize_8u16s_C1R, false);
  testSobel<Qor32f, Qor32f>(QORTEST_NAMED(qor::qoriFilterSobelVertBorder_32f_C1R),
                            qor::qoriFilterSobelVertGetBufferSize_32f_C1R, true);
  testSobel<Qor32f, Qor32f>(QORTEST_NAMED(qor::qoriFilterSobelHorizBorder_32f_C1R),
                            qor::qoriFilterSobelHorizGetBufferSize_32f_C1R, false);
}

// The checks behind the pointers, which the forms with a constant and those without have in common.
template <class C, class Mask, class Border>
void checkModes(C& contract, Mask mask, Border border) {
  contract.oneOf(mask, qorStsMaskSizeErr, 33, 55);
  contract.set(border, 1);
  const auto fails = [&contract, border] {
    const int b = contract[border], rule = b & 15;
    return b < 0 || b > 255 || !(rule == 0 || rule == 1 || rule == 3 || rule == 4 || rule == 6);
  };
  contract.check(
      "border", qorStsBadArgErr, fails, [&contract, border] { contract[border] = 2 | 16; },
      [&contract, border] { contract[border] = 5; }, [&contract, border] { contract[border] = 257; },
      [&contract, border] { contract[border] = -10; });
  contract.errorsOnly();
  contract.run();
}

TEST(SobelForms, ContractOfBytes) {
  for (const auto operation : {qor::qoriFilterSobelVertBorder_8u16s_C1R, qor::qoriFilterSobelHorizBorder_8u16s_C1R}) {
    Contract c("Sobel 8u16s", operation);
    QORTEST_ARGUMENTS(c, pSrc, srcStep, pDst, dstStep, roiSize, mask, border, value, pBuffer);
    c.null(pSrc, pDst, pBuffer);
    c.size(roiSize);
    c.even(sizeof(Qor16s), dstStep);
    c.any(srcStep, 5, 0, -3);
    c.any(value, 0);
    checkModes(c, mask, border);
  }
}

TEST(SobelForms, ContractOfFloats) {
  for (const auto operation : {qor::qoriFilterSobelVertBorder_32f_C1R, qor::qoriFilterSobelHorizBorder_32f_C1R}) {
    Contract c("Sobel 32f", operation);
    QORTEST_ARGUMENTS(c, pSrc, srcStep, pDst, dstStep, roiSize, mask, border, pBuffer);
    c.null(pSrc, pDst, pBuffer);
    c.size(roiSize);
    c.even(sizeof(Qor32f), srcStep, dstStep);
    checkModes(c, mask, border);
  }
}

TEST(SobelForms, BufferSize) {
  int bytes = 0;
  EXPECT_EQ(qor::qoriFilterSobelVertGetBufferSize_8u16s_C1R({100, 30}, 33, &bytes), 0);
  EXPECT_EQ(bytes, 320 + 32);
  EXPECT_EQ(qor::qoriFilterSobelHorizGetBufferSize_8u16s_C1R({30, 100}, 55, &bytes), 0);
  EXPECT_EQ(bytes, 736 + 32);
  // 102 * 12 to 1248, 2 * 416, 131 * 8 to 1056; 104 * 28 to 2912, 4 * 416, 131 * 16 to 2112.
  EXPECT_EQ(qor::qoriFilterSobelVertBorderGetBufferSize({100, 31}, 33, 13, 13, 1, &bytes), 0);
  EXPECT_EQ(bytes, 1248 + 832 + 1056 + 32);
  EXPECT_EQ(qor::qoriFilterSobelHorizBorderGetBufferSize({100, 31}, 55, 13, 13, 1, &bytes), 0);
  EXPECT_EQ(bytes, 2912 + 1664 + 2112 + 32);
  Contract contract(QORTEST_NAMED(qor::qoriFilterSobelVertBorderGetBufferSize));
  QORTEST_ARGUMENTS(contract, roiSize, mask, srcType, dstType, numChannels, pBufferSize);
  contract.null(pBufferSize);
  contract.size(roiSize);
  contract.oneOf(mask, qorStsMaskSizeErr, 33, 55);
  contract.oneOf(srcType, qorStsDataTypeErr, 13);
  contract.oneOf(dstType, qorStsDataTypeErr, 13);
  contract.oneOf(numChannels, qorStsChannelErr, 1);
  contract.run();
}

}  // namespace
