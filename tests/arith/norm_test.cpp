#include "arith/reductions.h"
#include "qorcv/arith.h"

namespace {
using namespace qortest;

struct Member {
  Family family;
  Kind kind;
  bool ofThree;
  TeamRule rule;
};

float magnitude(float v) { return fabsf(v); }
int64_t magnitude(int64_t v) { return v < 0 ? -v : v; }

// A norm before its root: the bands' maxima or sums, merged in their order.
template <class T, class F>
double measured(const Member& m, const Taking& taking, int threads, F value) {
  using V = Wide<T>;
  double merged = 0;
  for (const Rows band : bandsOf(taking.size, threads, m.rule)) {
    if (m.kind == Inf) {
      for (int y = band.first; y < band.end; ++y)
        for (int x = 0; x < taking.size.width; ++x)
          if (taking(x, y) && static_cast<double>(magnitude(value(x, y))) > merged)
            merged = static_cast<double>(magnitude(value(x, y)));
      continue;
    }
    double sum = sumOfRows<V>(band, taking, [&](int x, int y) {
      const V v = value(x, y);
      return m.kind == L1 ? magnitude(v) : v * v;
    });
    if (std::is_same_v<T, float>) sum = static_cast<double>(static_cast<float>(sum));
    merged += sum;
  }
  return merged;
}

struct Result {
  QorStatus status;
  double value;
};

template <class T>
Result reference(const Member& m, const Image<T>& src1, const Image<T>& src2, const Taking& taking, int coi,
                 int threads) {
  using V = Wide<T>;
  const auto first = [&](int x, int y) { return static_cast<V>(src1.at(x, y, coi - 1)); };
  const auto second = [&](int x, int y) { return static_cast<V>(src2.at(x, y, coi - 1)); };
  const auto difference = [&](int x, int y) { return static_cast<V>(first(x, y) - second(x, y)); };
  const auto result = [&](double v) { return m.kind == L2 ? sqrt(v) : v; };
  if (m.family == Norm) return {qorStsNoErr, result(measured<T>(m, taking, threads, first))};
  const double d = measured<T>(m, taking, threads, difference);
  if (m.family == NormDiff) return {qorStsNoErr, result(d)};
  const double n = measured<T>(m, taking, threads, second);
  if (n == 0) return {qorStsDivByZero, d > 0 ? INFINITY : NAN};
  return {qorStsNoErr, result(d / n)};
}

template <class T, class Operation>
QorStatus call(Operation* operation, const GuardedImage<T>& a, const GuardedImage<T>& b, const GuardedImage<Qor8u>& m,
               int coi, Qor64f* value) {
  const T *p = a.data(), *q = b.data();
  if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*>) {
    return operation(p, a.step(), m.data(), m.step(), a.size(), value);
  } else if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, int, Qor64f*>) {
    return operation(p, a.step(), m.data(), m.step(), a.size(), coi, value);
  } else if constexpr (std::is_invocable_v<Operation*, const T*, int, const T*, int, const Qor8u*, int, QoriSize,
                                           Qor64f*>) {
    return operation(p, a.step(), q, b.step(), m.data(), m.step(), a.size(), value);
  } else {
    return operation(p, a.step(), q, b.step(), m.data(), m.step(), a.size(), coi, value);
  }
}

template <class T, class Operation>
void contractTwo(const char* name, Operation* operation, bool relative) {
  Contract contract(name, operation);
  // The images of the accepted calls are zero.
  if (relative) contract.succeedsWith(qorStsDivByZero);
  const auto lines = [&](auto pSrc1, auto src1Step, auto pSrc2, auto src2Step, auto pMask, auto maskStep, auto roiSize,
                         auto pValue, int channels) {
    contract.null(pSrc1, pSrc2, pMask, pValue);
    contract.size(roiSize);
    contract.step(channels * sizeof(T), src1Step, src2Step);
    contract.step(sizeof(Qor8u), maskStep);
    contract.even(sizeof(T), src1Step, src2Step);
  };
  if constexpr (std::is_invocable_v<Operation*, const T*, int, const T*, int, const Qor8u*, int, QoriSize, Qor64f*>) {
    QORTEST_ARGUMENTS(contract, pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, roiSize, pValue);
    lines(pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, roiSize, pValue, 1);
    contract.run();
  } else {
    QORTEST_ARGUMENTS(contract, pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, roiSize, coi, pValue);
    lines(pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, roiSize, pValue, 3);
    contract.oneOf(coi, qorStsCOIErr, 1, 2, 3);
    contract.run();
  }
}

template <class T, class Operation>
void test(const char* name, Operation* operation, Family family, Kind kind, bool ofThree) {
  const Member member{family, kind, ofThree, normRule<T>(family, kind, ofThree)};
  // Parallel with two threads, serial with three, by the most frequent rule; and seven with fewer rows.
  sweep(name, {.thresholds = {{512, 512}, {76500, 3}}}, [&](Case& c) {
    const int channels = ofThree ? 3 : 1;
    auto src1 = c.image<T>(channels), src2 = c.image<T>(family == Norm ? QoriSize{1, 1} : c.size, channels);
    auto mask = c.mask();
    const int coi = ofThree ? c.random.between(1, 3) : 1;
    appendCase(", coi %d", coi);
    const Image<Qor8u> maskPixels = mask.pixels();
    const Result want = reference(member, src1.pixels(), src2.pixels(), {c.size, &maskPixels}, coi, c.threads);
    src1.protect();
    src2.protect();
    mask.protect();
    Qor64f got = -1;
    EXPECT_EQ(call(operation, src1, src2, mask, coi, &got), want.status) << currentCase();
    EXPECT_TRUE(same(got, want.value)) << got << " for " << want.value << ", case: " << currentCase();
  });
  if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*> ||
                std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, int, Qor64f*>) {
    checkContract<T>(name, operation);
  } else {
    contractTwo<T>(name, operation, family == NormRel);
  }
}

// The members, as the library lists them.
TEST(Norms, OfAnImage) {
#define QOR_NORM_C1MR(name, kind, T, rule) test<T>(#name, name, Norm, kind, false);
#define QOR_NORM_C3CMR(name, kind, T, rule) test<T>(#name, name, Norm, kind, true);
#include "../../src/arith/norm.def"
#undef QOR_NORM_C1MR
#undef QOR_NORM_C3CMR
}

TEST(Norms, OfADifference) {
#define QOR_NORM_DIFF_C1MR(name, kind, T, rule) test<T>(#name, name, NormDiff, kind, false);
#define QOR_NORM_DIFF_C3CMR(name, kind, T, rule) test<T>(#name, name, NormDiff, kind, true);
#include "../../src/arith/norm.def"
#undef QOR_NORM_DIFF_C1MR
#undef QOR_NORM_DIFF_C3CMR
}

TEST(Norms, Relative) {
#define QOR_NORM_REL_C1MR(name, kind, T, rule) test<T>(#name, name, NormRel, kind, false);
#define QOR_NORM_REL_C3CMR(name, kind, T, rule) test<T>(#name, name, NormRel, kind, true);
#include "../../src/arith/norm.def"
#undef QOR_NORM_REL_C1MR
#undef QOR_NORM_REL_C3CMR
}

// One pixel under the mask among others that are masked out.
template <class T, class Operation>
Result single(Operation* operation, T a, T b, Qor8u taken = 1) {
  const QoriSize size{37, 1};
  GuardedImage<T> src1(size), src2(size);
  GuardedImage<Qor8u> mask(size);
  src1.generate([&](int x, int, int) { return x == 20 ? a : static_cast<T>(77); });
  src2.generate([&](int x, int, int) { return x == 20 ? b : static_cast<T>(3); });
  mask.generate([&](int x, int, int) { return static_cast<Qor8u>(x == 20 ? taken : 0); });
  Result r{0, -1};
  r.status = call(operation, src1, src2, mask, 1, &r.value);
  return r;
}

void expectResult(const Result& got, double value, QorStatus status = qorStsNoErr) {
  EXPECT_EQ(got.status, status);
  EXPECT_TRUE(same(got.value, value)) << got.value << " for " << value;
}

TEST(Norms, OnPaper) {
  expectResult(single<Qor8s>(qoriNorm_Inf_8s_C1MR, -128, 0), 128);
  expectResult(single<Qor8s>(qoriNorm_L2_8s_C1MR, -128, 0), 128);
  expectResult(single<Qor8s>(qoriNormDiff_Inf_8s_C1MR, -128, 127), 255);
  expectResult(single<Qor16u>(qoriNormDiff_Inf_16u_C1MR, 0, 65535), 65535);
  expectResult(single<Qor16u>(qoriNormDiff_L2_16u_C1MR, 65535, 0), 65535);
  expectResult(single<Qor32f>(qoriNorm_Inf_32f_C1MR, NAN, 0), 0);
  expectResult(single<Qor32f>(qoriNorm_L1_32f_C1MR, NAN, 0), NAN);
  expectResult(single<Qor32f>(qoriNorm_L1_32f_C1MR, -INFINITY, 0), INFINITY);
  expectResult(single<Qor8u>(qoriNorm_L2_8u_C1MR, 9, 0, 0), 0);
  expectResult(single<Qor32f>(qoriNormDiff_L1_32f_C1MR, NAN, NAN, 0), 0);
}

TEST(Norms, ZeroDenominator) {
  expectResult(single<Qor8u>(qoriNormRel_L1_8u_C1MR, 0, 0), NAN, qorStsDivByZero);
  expectResult(single<Qor8u>(qoriNormRel_L1_8u_C1MR, 5, 0), INFINITY, qorStsDivByZero);
  expectResult(single<Qor8u>(qoriNormRel_Inf_8u_C1MR, 5, 9, 0), NAN, qorStsDivByZero);
  expectResult(single<Qor16u>(qoriNormRel_L2_16u_C1MR, 5, 0), INFINITY, qorStsDivByZero);
  expectResult(single<Qor32f>(qoriNormRel_L2_32f_C1MR, NAN, 0), NAN, qorStsDivByZero);
  // The square is below the least 32-bit float.
  expectResult(single<Qor32f>(qoriNormRel_L2_32f_C1MR, 1, 1e-30F), INFINITY, qorStsDivByZero);
  expectResult(single<Qor32f>(qoriNormRel_L1_32f_C1MR, 1, NAN), NAN);
  expectResult(single<Qor32f>(qoriNormRel_L1_32f_C1MR, 1, INFINITY), NAN);
}

// 65535 everywhere: pairs of squares, rows and bands all leave 32 bits.
TEST(Norms, LargeSumsAreExact) {
  const QoriSize size{4100, 1100};
  const double n = 4100.0 * 1100;
  GuardedImage<Qor16u> words(size), zeros(size);
  GuardedImage<Qor8u> bytes(size), mask(size);
  words.generate([](int x, int y, int) { return static_cast<Qor16u>(x + y == 5 ? 65534 : 65535); });
  zeros.generate([](int, int, int) { return Qor16u{0}; });
  bytes.generate([](int x, int y, int) { return static_cast<Qor8u>(x + y == 5 ? 254 : 255); });
  mask.generate([](int, int, int) { return Qor8u{1}; });
  const double squares = 65535.0 * 65535 * n - 6 * 131069.0;
  for (const int threads : {1, 7, 33}) {
    setCase("%d threads", threads);
    const ThreadCount set(threads);
    Result r{0, -1};
    EXPECT_EQ(call(qoriNorm_L1_16u_C1MR, words, words, mask, 1, &r.value), 0);
    EXPECT_EQ(r.value, 65535 * n - 6);
    EXPECT_EQ(call(qoriNorm_L2_16u_C1MR, words, words, mask, 1, &r.value), 0);
    EXPECT_EQ(r.value, sqrt(squares));
    EXPECT_EQ(call(qoriNormDiff_L2_16u_C1MR, zeros, words, mask, 1, &r.value), 0);
    EXPECT_EQ(r.value, sqrt(squares));
    EXPECT_EQ(call(qoriNormRel_L2_16u_C1MR, zeros, words, mask, 1, &r.value), 0);
    EXPECT_EQ(r.value, 1);
    EXPECT_EQ(call(qoriNorm_L2_8u_C1MR, bytes, bytes, mask, 1, &r.value), 0);
    EXPECT_EQ(r.value, sqrt(65025 * n - 6 * 509));
  }
}

// More bands than results kept on the stack, each rounded to 32 bits before they are added.
TEST(Norms, ManyBandsOfFloats) {
  const QoriSize size{1090, 1000};
  GuardedImage<Qor32f> src(size, {.channels = 3});
  GuardedImage<Qor8u> mask(size);
  src.generate(Maker<Qor32f>(Data::Random, baseSeed()));
  mask.generate(MaskMaker(Mask::Half, baseSeed()));
  const Image<Qor8u> maskPixels = mask.pixels();
  const Member member{Norm, L2, true, either};
  for (const int threads : {1, 2, 3, 7, 32, 33}) {
    setCase("%d threads", threads);
    const ThreadCount set(threads);
    Result r{0, -1};
    EXPECT_EQ(call(qoriNorm_L2_32f_C3CMR, src, src, mask, 2, &r.value), 0);
    EXPECT_EQ(r.value, reference(member, src.pixels(), src.pixels(), {size, &maskPixels}, 2, threads).value);
    if (threads > 1) continue;
    EXPECT_EQ(r.value, sqrt(static_cast<double>(static_cast<float>(r.value * r.value))));
  }
}

}  // namespace
