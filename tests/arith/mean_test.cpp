#include "arith/reductions.h"
#include "qorcv/arith.h"

namespace {
using namespace qortest;

struct Result {
  Qor64f mean = -1, stdDev = -1;
};

// What a member is called with beyond the images: coi where it takes one.
template <class T, class Operation>
QorStatus call(Operation* operation, const GuardedImage<T>& src, const GuardedImage<Qor8u>& mask, int coi, Result& r) {
  const T* p = src.data();
  const Qor8u* m = mask.data();
  const int step = src.step(), maskStep = mask.step();
  const QoriSize size = src.size();
  if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*>) {
    return operation(p, step, m, maskStep, size, &r.mean);
  } else if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, int, Qor64f*>) {
    return operation(p, step, m, maskStep, size, coi, &r.mean);
  } else if constexpr (std::is_invocable_v<Operation*, const T*, int, QoriSize, Qor64f*, Qor64f*>) {
    return operation(p, step, size, &r.mean, &r.stdDev);
  } else if constexpr (std::is_invocable_v<Operation*, const T*, int, QoriSize, int, Qor64f*, Qor64f*>) {
    return operation(p, step, size, coi, &r.mean, &r.stdDev);
  } else if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*, Qor64f*>) {
    return operation(p, step, m, maskStep, size, &r.mean, &r.stdDev);
  } else {
    return operation(p, step, m, maskStep, size, coi, &r.mean, &r.stdDev);
  }
}

struct Form {
  bool masked, deviation, ofThree;
  TeamRule rule;
  bool floatToTheEnd = false;  // below 5000 pixels
};

// Sums of the even and of the odd rows, in float from the first pixel to the last.
template <class F>
double sumOfHalves(QoriSize size, F value) {
  float halves[2] = {};
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) halves[y % 2] += value(x, y);
  return static_cast<double>(halves[0]) + static_cast<double>(halves[1]);
}

template <class T>
Result reference(const Image<T>& src, const Taking& taking, int coi, const Form& form, int threads) {
  using V = Wide<T>;
  const auto sample = [&](int x, int y) { return static_cast<V>(src.at(x, y, coi - 1)); };
  const auto square = [&](int x, int y) { return sample(x, y) * sample(x, y); };
  const double n = count(taking);
  double sum = 0, squares = 0;
  if constexpr (std::is_same_v<V, float>) {
    if (form.floatToTheEnd && n < 5000) {
      sum = sumOfHalves(src.size, sample);
      squares = sumOfHalves(src.size, square);
    }
  }
  if (!form.floatToTheEnd || n >= 5000) {
    for (const Rows band : bandsOf(src.size, threads, form.rule)) {
      sum += sumOfRows<V>(band, taking, sample);
      squares += sumOfRows<V>(band, taking, square);
    }
  }
  if (n == 0) return {0, 0};
  Result r;
  r.mean = sum / n;
  r.stdDev = sqrt(fabs(squares / n - r.mean * r.mean));
  if (std::is_same_v<T, float> && 0.05 * r.mean * r.mean > r.stdDev * r.stdDev) {
    const auto m = static_cast<float>(r.mean);
    const auto away = [&](int x, int y) {
      const float d = static_cast<float>(sample(x, y)) - m;
      return d * d;
    };
    r.stdDev = sqrt(sumOfRows<float>({0, src.size.height}, taking, away) / n);
  }
  return r;
}

template <class T, class Operation>
void test(const char* name, Operation* operation, const Form& form) {
  const int channels = form.ofThree ? 3 : 1;
  // Around the area that goes parallel with two threads and, for members of half that threshold, with three; the last
  // has fewer rows than threads. Then around 5000 pixels.
  Sweep options{.thresholds = {{512, 511}, {512, 512}, {4000, 49}, {65537, 4}}};
  if (form.floatToTheEnd) options.thresholds = {{1249, 4}, {1250, 4}, {4999, 1}, {5001, 1}, {512, 512}};
  sweep(name, options, [&](Case& c) {
    auto src = c.image<T>(channels);
    auto mask = c.mask();
    const int coi = form.ofThree ? c.random.between(1, 3) : 1;
    appendCase(", coi %d", coi);
    const Image<Qor8u> maskPixels = mask.pixels();
    const Taking taking{c.size, form.masked ? &maskPixels : nullptr};
    Result want = reference(src.pixels(), taking, coi, form, c.threads);
    if (!form.deviation) want.stdDev = -1;
    src.protect();
    mask.protect();
    Result got;
    EXPECT_EQ(call(operation, src, mask, coi, got), qorStsNoErr);
    EXPECT_TRUE(same(got.mean, want.mean)) << got.mean << " for " << want.mean << ", case: " << currentCase();
    EXPECT_TRUE(same(got.stdDev, want.stdDev)) << got.stdDev << " for " << want.stdDev << ", case: " << currentCase();
  });
}

template <class T, class Operation>
void contractPlain(const char* name, Operation* operation) {
  Contract contract(name, operation);
  const auto lines = [&](auto pSrc, auto srcStep, auto roiSize, auto pMean, auto pStdDev, int channels) {
    contract.null(pSrc);
    contract.size(roiSize);
    contract.step(channels * sizeof(T), srcStep);
    contract.even(sizeof(T), srcStep);
    contract.optional(pMean, pStdDev);
  };
  if constexpr (std::is_invocable_v<Operation*, const T*, int, QoriSize, Qor64f*, Qor64f*>) {
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, roiSize, pMean, pStdDev);
    lines(pSrc, srcStep, roiSize, pMean, pStdDev, 1);
    contract.run();
  } else {
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, roiSize, coi, pMean, pStdDev);
    lines(pSrc, srcStep, roiSize, pMean, pStdDev, 3);
    contract.oneOf(coi, qorStsCOIErr, 1, 2, 3);
    contract.run();
  }
}

template <class T, class Operation>
void contractMasked(const char* name, Operation* operation) {
  Contract contract(name, operation);
  const auto lines = [&](auto pSrc, auto srcStep, auto pMask, auto maskStep, auto roiSize, auto pMean, auto pStdDev,
                         int channels) {
    contract.null(pSrc, pMask);
    contract.size(roiSize);
    contract.step(channels * sizeof(T), srcStep);
    contract.even(sizeof(T), srcStep);
    contract.step(sizeof(Qor8u), maskStep);
    contract.optional(pMean, pStdDev);
  };
  if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*, Qor64f*>) {
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, pMask, maskStep, roiSize, pMean, pStdDev);
    lines(pSrc, srcStep, pMask, maskStep, roiSize, pMean, pStdDev, 1);
    contract.run();
  } else {
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, pMask, maskStep, roiSize, coi, pMean, pStdDev);
    lines(pSrc, srcStep, pMask, maskStep, roiSize, pMean, pStdDev, 3);
    contract.oneOf(coi, qorStsCOIErr, 1, 2, 3);
    contract.run();
  }
}

template <class T>
constexpr bool isFloat = std::is_same_v<T, Qor32f>;

// The members, as the library lists them; their rules are those of the header.
TEST(Mean, OfOneChannel) {
#define QOR_MEAN_C1MR(name, T, rule)                                           \
  test<T>(#name, name, {true, false, false, meanRule<T>(false, true, false)}); \
  checkContract<T>(#name, name);
#include "../../src/arith/mean.def"
#undef QOR_MEAN_C1MR
}

TEST(Mean, OfAChannelOfThree) {
#define QOR_MEAN_C3CMR(name, T, rule)                                        \
  test<T>(#name, name, {true, false, true, meanRule<T>(false, true, true)}); \
  checkContract<T>(#name, name);
#include "../../src/arith/mean.def"
#undef QOR_MEAN_C3CMR
}

TEST(MeanStdDev, Plain) {
#define QOR_STD_DEV_C1R(name, T, rule)                                         \
  test<T>(#name, name, {false, true, false, meanRule<T>(true, false, false)}); \
  contractPlain<T>(#name, name);
#define QOR_STD_DEV_C3CR(name, T, rule)                                                  \
  test<T>(#name, name, {false, true, true, meanRule<T>(true, false, true), isFloat<T>}); \
  contractPlain<T>(#name, name);
#include "../../src/arith/mean.def"
#undef QOR_STD_DEV_C1R
#undef QOR_STD_DEV_C3CR
}

TEST(MeanStdDev, Masked) {
#define QOR_STD_DEV_C1MR(name, T, rule)                                      \
  test<T>(#name, name, {true, true, false, meanRule<T>(true, true, false)}); \
  contractMasked<T>(#name, name);
#define QOR_STD_DEV_C3CMR(name, T, rule)                                   \
  test<T>(#name, name, {true, true, true, meanRule<T>(true, true, true)}); \
  contractMasked<T>(#name, name);
#include "../../src/arith/mean.def"
#undef QOR_STD_DEV_C1MR
#undef QOR_STD_DEV_C3CMR
}

// Sums beyond 32 bits, in one long row: samples at the ends of their types, at more than 2^23 pixels.
TEST(Mean, LargeSumsAreExact) {
  const QoriSize size{4100, 2050};
  const double n = 4100.0 * 2050;
  GuardedImage<Qor8u> mask(size), bytes(size);
  GuardedImage<Qor8s> signedBytes(size);
  // The sums of squares stay below 2^53 in fewer rows.
  const QoriSize wordSize{4100, 500};
  const double words16 = 4100.0 * 500, zeros = 500;
  GuardedImage<Qor16u> words(wordSize);
  mask.generate([](int, int, int) { return Qor8u{7}; });
  bytes.generate([](int x, int y, int) { return static_cast<Qor8u>(x + y == 5 ? 254 : 255); });
  signedBytes.generate([](int x, int y, int) { return static_cast<Qor8s>(x + y == 5 ? 127 : -128); });
  words.generate([](int x, int y, int) { return static_cast<Qor16u>(x + y == 5 ? 65534 : x == 9 ? 0 : 65535); });
  for (const int threads : {1, 7, 33}) {
    setCase("%d threads", threads);
    const ThreadCount set(threads);
    Result r;
    EXPECT_EQ(qoriMean_8u_C1MR(bytes.data(), bytes.step(), mask.data(), mask.step(), size, &r.mean), 0);
    EXPECT_EQ(r.mean, (255 * n - 6) / n);
    EXPECT_EQ(qoriMean_StdDev_8u_C1R(bytes.data(), bytes.step(), size, &r.mean, &r.stdDev), 0);
    EXPECT_EQ(r.mean, (255 * n - 6) / n);
    EXPECT_EQ(r.stdDev, sqrt(fabs((65025 * n - 6 * 509) / n - r.mean * r.mean)));
    EXPECT_EQ(qoriMean_StdDev_8s_C1MR(signedBytes.data(), signedBytes.step(), mask.data(), mask.step(), size, &r.mean,
                                      &r.stdDev),
              0);
    EXPECT_EQ(r.mean, (-128 * n + 6 * 255) / n);
    EXPECT_EQ(r.stdDev, sqrt(fabs((16384 * n - 6 * 255) / n - r.mean * r.mean)));
    EXPECT_EQ(
        qoriMean_StdDev_16u_C1MR(words.data(), words.step(), mask.data(), mask.step(), wordSize, &r.mean, &r.stdDev),
        0);
    const double squares = 65535.0 * 65535 * (words16 - zeros) - 6.0 * 131069;
    EXPECT_EQ(r.mean, (65535 * (words16 - zeros) - 6) / words16);
    EXPECT_EQ(r.stdDev, sqrt(fabs(squares / words16 - r.mean * r.mean)));
  }
}

TEST(MeanStdDev, RepairAndNothingToMeasure) {
  const QoriSize size{64, 64};
  GuardedImage<Qor32f> src(size);
  GuardedImage<Qor8u> mask(size), constant(size);
  // Half below and half above: the deviation is exactly 1.
  src.generate([](int x, int y, int) { return (x + y) % 2 == 0 ? 999999.0F : 1000001.0F; });
  mask.generate([](int x, int, int) { return static_cast<Qor8u>(x < 32); });
  constant.generate([](int, int, int) { return Qor8u{200}; });
  Result r;
  EXPECT_EQ(qoriMean_StdDev_32f_C1R(src.data(), src.step(), size, &r.mean, &r.stdDev), 0);
  EXPECT_NEAR(r.mean, 1e6, 0.1);
  EXPECT_NEAR(r.stdDev, 1, 0.01);
  // What is masked out may be anything.
  for (int y = 0; y < 64; ++y)
    for (int x = 32; x < 64; ++x) src.at(x, y) = x % 2 != 0 ? NAN : INFINITY;
  EXPECT_EQ(qoriMean_StdDev_32f_C1MR(src.data(), src.step(), mask.data(), mask.step(), size, nullptr, &r.stdDev), 0);
  EXPECT_NEAR(r.stdDev, 1, 0.01);
  EXPECT_EQ(qoriMean_StdDev_8u_C1R(constant.data(), constant.step(), size, &r.mean, &r.stdDev), 0);
  EXPECT_EQ(r.mean, 200);
  EXPECT_EQ(r.stdDev, 0);
  mask.generate([](int, int, int) { return Qor8u{0}; });
  r = {};
  EXPECT_EQ(qoriMean_StdDev_32f_C1MR(src.data(), src.step(), mask.data(), mask.step(), size, &r.mean, &r.stdDev), 0);
  EXPECT_EQ(r.mean, 0);
  EXPECT_EQ(r.stdDev, 0);
}

}  // namespace
