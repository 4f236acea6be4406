// Means and norms for the arithmetic fuzzer: any member, compared with sums from the definition. Results of integers
// are exact; those of floats lie within what row sums in 32 bits may lose.
#pragma once

#include <cmath>
#include <type_traits>

#include "fuzz.h"

namespace fuzz::reductions {

struct Sums {
  long double sum = 0, magnitudes = 0, squares = 0, largest = 0, count = 0;
  bool tame = true;  // nothing that makes a 32-bit sum or square overflow, vanish or be no number

  void add(long double v) {
    const long double magnitude = std::fabs(v);
    tame = tame && (v == 0 || (magnitude < 1e12L && magnitude > 1e-12L));
    sum += v;
    magnitudes += magnitude;
    squares += v * v;
    if (magnitude > largest) largest = magnitude;
    count += 1;
  }
};

template <class T>
struct Data {
  Data(Input& in, QoriSize size_, int channels_, bool masked_)
      : size(size_),
        channels(channels_),
        masked(masked_),
        coi(in.ConsumeIntegralInRange(1, channels)),
        a(in, size, channels),
        b(in, size, channels),
        mask(in, size) {}

  // Sums over value(a, b) of the pixels that take part.
  template <class Value>
  Sums over(Value value) {
    Sums s;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        if (masked && mask.row(y)[x] == 0) continue;
        const int i = x * channels + coi - 1;
        s.add(static_cast<long double>(value(a.row(y)[i], b.row(y)[i])));
      }
    }
    return s;
  }

  QoriSize size;
  int channels;
  bool masked;
  int coi;
  Image<T> a, b;
  Image<Qor8u> mask;
};

inline bool near(long double got, long double want, long double scale) {
  return std::fabs(got - want) <= 1e-4L * scale + 1e-30L;
}

template <class T>
void checkMean(const Sums& s, const double* mean, const double* stdDev) {
  if (!s.tame && std::is_floating_point_v<T>) return;
  const long double n = s.count == 0 ? 1 : s.count, m = s.sum / n;
  const long double variance = s.squares / n - m * m;
  // 64-bit steps on exact sums, in which a small deviation beside a large mean loses digits too.
  const long double exact = std::is_floating_point_v<T> ? 1e-4L : 1e-14L;
  FUZZ_CHECK(std::fabs(*mean - m) <= exact * s.magnitudes / n);
  if (stdDev == nullptr) return;
  FUZZ_CHECK(*stdDev >= 0);
  FUZZ_CHECK(std::fabs(static_cast<long double>(*stdDev) * *stdDev - variance) <= 4 * exact * s.squares / n + 1e-30L);
}

enum Norm { Inf, L1, L2 };

inline long double valueOf(Norm norm, const Sums& s) {
  return norm == Inf ? s.largest : norm == L1 ? s.magnitudes : std::sqrt(s.squares);
}

template <class T>
void checkNorm(Norm norm, const Sums& s, double got) {
  if constexpr (std::is_floating_point_v<T>) {
    if (norm == Inf) {
      FUZZ_CHECK(got == s.largest);
    } else if (s.tame) {
      FUZZ_CHECK(near(got, valueOf(norm, s), valueOf(norm, s)));
    }
  } else {
    FUZZ_CHECK(got == static_cast<double>(norm == L2 ? std::sqrt(static_cast<double>(s.squares)) : valueOf(norm, s)));
  }
}

template <class T>
void checkNormRel(Norm norm, const Sums& d, const Sums& s, QorStatus status, double got) {
  if (!(d.tame && s.tame) && std::is_floating_point_v<T>) return;
  if (s.largest == 0) {
    FUZZ_CHECK(status == qorStsDivByZero && (d.largest == 0 ? got != got : got > 1e308));
  } else {
    const long double want = valueOf(norm, d) / valueOf(norm, s);
    FUZZ_CHECK(status == qorStsNoErr && near(got, want, want));
  }
}

template <class T>
T first(T a, T) {
  return a;
}
template <class T>
T second(T, T b) {
  return b;
}
template <class T>
auto between(T a, T b) {
  return a - b;
}

using Run = void (*)(Input& in, QoriSize size);

// Every member of the families.
inline constexpr Run members[] = {
#define QOR_MEAN_C1MR(name, T, rule)                                                                    \
  [](Input& in, QoriSize size) {                                                                        \
    Data<T> d(in, size, 1, true);                                                                       \
    double mean = -1;                                                                                   \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.mask.data(), d.mask.step(), size, &mean) == qorStsNoErr); \
    checkMean<T>(d.over(first<T>), &mean, nullptr);                                                     \
  },
#define QOR_MEAN_C3CMR(name, T, rule)                                                                          \
  [](Input& in, QoriSize size) {                                                                               \
    Data<T> d(in, size, 3, true);                                                                              \
    double mean = -1;                                                                                          \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.mask.data(), d.mask.step(), size, d.coi, &mean) == qorStsNoErr); \
    checkMean<T>(d.over(first<T>), &mean, nullptr);                                                            \
  },
#define QOR_STD_DEV_C1R(name, T, rule)                                             \
  [](Input& in, QoriSize size) {                                                   \
    Data<T> d(in, size, 1, false);                                                 \
    double mean = -1, stdDev = -1;                                                 \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), size, &mean, &stdDev) == qorStsNoErr); \
    checkMean<T>(d.over(first<T>), &mean, &stdDev);                                \
  },
#define QOR_STD_DEV_C3CR(name, T, rule)                                                   \
  [](Input& in, QoriSize size) {                                                          \
    Data<T> d(in, size, 3, false);                                                        \
    double mean = -1, stdDev = -1;                                                        \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), size, d.coi, &mean, &stdDev) == qorStsNoErr); \
    checkMean<T>(d.over(first<T>), &mean, &stdDev);                                       \
  },
#define QOR_STD_DEV_C1MR(name, T, rule)                                                                          \
  [](Input& in, QoriSize size) {                                                                                 \
    Data<T> d(in, size, 1, true);                                                                                \
    double mean = -1, stdDev = -1;                                                                               \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.mask.data(), d.mask.step(), size, &mean, &stdDev) == qorStsNoErr); \
    checkMean<T>(d.over(first<T>), &mean, &stdDev);                                                              \
  },
#define QOR_STD_DEV_C3CMR(name, T, rule)                                                                  \
  [](Input& in, QoriSize size) {                                                                          \
    Data<T> d(in, size, 3, true);                                                                         \
    double mean = -1, stdDev = -1;                                                                        \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.mask.data(), d.mask.step(), size, d.coi, &mean, &stdDev) == \
               qorStsNoErr);                                                                              \
    checkMean<T>(d.over(first<T>), &mean, &stdDev);                                                       \
  },
#define QOR_NORM_C1MR(name, norm, T, rule)                                                               \
  [](Input& in, QoriSize size) {                                                                         \
    Data<T> d(in, size, 1, true);                                                                        \
    double value = -1;                                                                                   \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.mask.data(), d.mask.step(), size, &value) == qorStsNoErr); \
    checkNorm<T>(norm, d.over(first<T>), value);                                                         \
  },
#define QOR_NORM_C3CMR(name, norm, T, rule)                                                                     \
  [](Input& in, QoriSize size) {                                                                                \
    Data<T> d(in, size, 3, true);                                                                               \
    double value = -1;                                                                                          \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.mask.data(), d.mask.step(), size, d.coi, &value) == qorStsNoErr); \
    checkNorm<T>(norm, d.over(first<T>), value);                                                                \
  },
#define QOR_NORM_DIFF_C1MR(name, norm, T, rule)                                                                    \
  [](Input& in, QoriSize size) {                                                                                   \
    Data<T> d(in, size, 1, true);                                                                                  \
    double value = -1;                                                                                             \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.b.data(), d.b.step(), d.mask.data(), d.mask.step(), size, &value) == \
               qorStsNoErr);                                                                                       \
    checkNorm<T>(norm, d.over(between<T>), value);                                                                 \
  },
#define QOR_NORM_DIFF_C3CMR(name, norm, T, rule)                                                               \
  [](Input& in, QoriSize size) {                                                                               \
    Data<T> d(in, size, 3, true);                                                                              \
    double value = -1;                                                                                         \
    FUZZ_CHECK(name(d.a.data(), d.a.step(), d.b.data(), d.b.step(), d.mask.data(), d.mask.step(), size, d.coi, \
                    &value) == qorStsNoErr);                                                                   \
    checkNorm<T>(norm, d.over(between<T>), value);                                                             \
  },
#define QOR_NORM_REL_C1MR(name, norm, T, rule)                                                            \
  [](Input& in, QoriSize size) {                                                                          \
    Data<T> d(in, size, 1, true);                                                                         \
    double value = -1;                                                                                    \
    const QorStatus status =                                                                              \
        name(d.a.data(), d.a.step(), d.b.data(), d.b.step(), d.mask.data(), d.mask.step(), size, &value); \
    checkNormRel<T>(norm, d.over(between<T>), d.over(second<T>), status, value);                          \
  },
#define QOR_NORM_REL_C3CMR(name, norm, T, rule)                                                                  \
  [](Input& in, QoriSize size) {                                                                                 \
    Data<T> d(in, size, 3, true);                                                                                \
    double value = -1;                                                                                           \
    const QorStatus status =                                                                                     \
        name(d.a.data(), d.a.step(), d.b.data(), d.b.step(), d.mask.data(), d.mask.step(), size, d.coi, &value); \
    checkNormRel<T>(norm, d.over(between<T>), d.over(second<T>), status, value);                                 \
  },
#include "../../src/arith/mean.def"
#include "../../src/arith/norm.def"
};

inline void anyMember(Input& in, QoriSize size) { in.PickValueInArray(members)(in, size); }

}  // namespace fuzz::reductions
