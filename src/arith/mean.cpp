// Mean, and mean with standard deviation, of one channel of a region, plain or masked.
#include "arith/measures.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Sums of one band, ready to be added to those of the next.
struct Sums {
  Qor64f sum, squares;
  Qor64s count;
};

void addSums(Sums& into, const Sums& next) {
  into.sum += next.sum;
  into.squares += next.squares;
  into.count += next.count;
}

// 8-bit samples are measured as unsigned: signed ones are moved by 128, and the exact sums moved back.
template <class T>
using Measured = std::conditional_t<std::is_same_v<T, Qor8s>, Qor8u, T>;
template <class T>
Vec<T> measured(Vec<T> x) {
  return x;
}
V8u measured(V8s x) { return as<Qor8u>(x) ^ splat(Qor8u{0x80}); }

// A measure of the pixels that take part, how many were seen, and how many of those did not.
template <class Measure, class T>
struct CountedLanes {
  struct Total {
    typename Measure::Total measure;
    Qor64s seen, out;
  };
  static constexpr bool perRow = Measure::perRow;

  Measure measure;
  // A byte for every pixel of a step, or one number where a whole row comes between two drains.
  std::conditional_t<perRow, Qor64s, V8u> out = {};

  static auto of(Vec<T> x) { return measured(x); }
  void add(int i, Vec<Measured<T>> x) { measure.add(i, x); }
  void leaveOut(V8u ones) {
    if constexpr (perRow) {
      out += __builtin_popcount(signBits(ones));
    } else {
      out = out - ones;
    }
  }
  void drain(Total& total, int64_t steps) const {
    measure.drain(total.measure, steps);
    total.seen += stepPixels * steps;
    if constexpr (perRow) {
      total.out += out;
    } else {
      total.out += sum(sumOfEights(out));
    }
  }
};

// Pixels from which the sums of the plain form of 32f, one of three channels, are taken row by row.
constexpr Qor64s rowwiseFrom = 5000;

// Smaller regions keep float sums to the end: one of the even rows and one of the odd ones.
template <int channels>
Sums sumsOfSmall(Plane<const Qor32f> src, QoriSize size, int coi) {
  Qor32f sum[2] = {}, squares[2] = {};
  for (int y = 0; y < size.height; y += 2) {
    const Qor32f* const even = src.row(y) + (coi - 1);
    const Qor32f* const odd = src.row(y + 1 < size.height ? y + 1 : y) + (coi - 1);
    const bool both = y + 1 < size.height;
    for (int x = 0; x < size.width; ++x) {
      const Qor32f a = even[channels * x];
      const Qor32f b = both ? odd[channels * x] : 0;
      sum[0] += a;
      sum[1] += b;
      squares[0] += a * a;
      squares[1] += b * b;
    }
  }
  return {static_cast<Qor64f>(sum[0]) + static_cast<Qor64f>(sum[1]),
          static_cast<Qor64f>(squares[0]) + static_cast<Qor64f>(squares[1]),
          static_cast<Qor64s>(size.width) * size.height};
}

template <class Measure, bool masked, int channels, class T>
Sums sumsOfBand(const Operands& operands, Band band) {
  const auto total = reduceRows<masked, channels, 1, T>(CountedLanes<Measure, T>{}, operands, band);
  const Qor64s count = total.seen - total.out;
  if constexpr (std::is_same_v<Measure, Sum<Measured<T>>>) {
    const Qor64s moved = std::is_same_v<T, Qor8s> ? 128 * count : 0;
    return {static_cast<Qor64f>(total.measure) - static_cast<Qor64f>(moved), 0, count};
  } else {
    auto [sum, squares] = total.measure;
    if constexpr (std::is_same_v<T, Qor8s>) {
      squares += 128 * (128 * count - 2 * sum);
      sum -= 128 * count;
    }
    return {static_cast<Qor64f>(sum), static_cast<Qor64f>(squares), count};
  }
}

template <class T>
[[gnu::noinline]] QorStatus check(const Operands& operands, bool masked, int channels) {
  const int width = operands.size.width;
  return firstFailure(
      nullCheck(operands.src[0]), masked ? nullCheck(operands.mask.first) : qorStsNoErr, sizeCheck(operands.size),
      stepCheck<T>(static_cast<int64_t>(width) * channels, operands.srcStep[0]), evenCheck<T>(operands.srcStep[0]),
      masked ? stepCheck<Qor8u>(width, operands.mask.step) : qorStsNoErr, coiCheck(operands.coi));
}

// ---- mean
template <int channels, class T>
QorStatus mean(const TeamRule& rule, const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize size,
               int coi, Qor64f* pMean) {
  const Operands operands{{pSrc}, {srcStep}, {pMask, maskStep}, size, coi};
  const QorStatus status = firstFailure(nullCheck(pMean), check<T>(operands, true, channels));
  if (status != qorStsNoErr) return status;
  const Sums sums = reduceRegion(rule, operands, sumsOfBand<Sum<Measured<T>>, true, channels, T>, addSums);
  *pMean = sums.count == 0 ? 0 : sums.sum / static_cast<Qor64f>(sums.count);
  return qorStsNoErr;
}

// ---- mean and standard deviation

// Sum of (x - mean)^2.
struct SquaresAround : SumOfSquares<Qor32f> {
  V32f mean;

  explicit SquaresAround(Qor64f m) : mean(splat(static_cast<Qor32f>(m))) {}

  V32f of(V32f x) const { return x - mean; }
};

template <bool masked, int channels>
Qor64f squaresAround(const Operands& operands, Qor64f mean) {
  const Band all{0, 0, operands.size.height};
  return reduceRows<masked, channels, 1, Qor32f>(SquaresAround(mean), operands, all);
}

struct Deviation {
  Qor64f mean, stdDev;
};

// Sums of floats are taken once more around the mean where that is large beside the deviation: the difference of the
// two large numbers has lost its digits.
[[gnu::noinline]] Deviation deviationOf(const Operands& operands, const Sums& sums,
                                        Qor64f (*around)(const Operands&, Qor64f mean)) {
  if (sums.count == 0) return {};
  const Qor64f count = static_cast<Qor64f>(sums.count), mean = sums.sum / count;
  const Qor64f stdDev = __builtin_sqrt(__builtin_fabs(sums.squares / count - mean * mean));
  if (around == nullptr || !(0.05 * mean * mean > stdDev * stdDev)) return {mean, stdDev};
  return {mean, __builtin_sqrt(around(operands, mean) / count)};
}

template <int channels, bool masked, class T>
QorStatus meanStdDev(const TeamRule& rule, const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize size,
                     int coi, Qor64f* pMean, Qor64f* pStdDev) {
  const Operands operands{{pSrc}, {srcStep}, {pMask, maskStep}, size, coi};
  const QorStatus status = check<T>(operands, masked, channels);
  if (status != qorStsNoErr) return status;
  Sums (*sumsOf)(const Operands&, Band) = sumsOfBand<Moments<Measured<T>>, masked, channels, T>;
  Qor64f (*around)(const Operands&, Qor64f) = nullptr;
  if constexpr (std::is_same_v<T, Qor32f>) {
    if constexpr (channels == 3 && !masked) {
      if (static_cast<Qor64s>(size.width) * size.height < rowwiseFrom) {
        sumsOf = [](const Operands& o, Band) { return sumsOfSmall<channels>(o.plane<Qor32f>(0), o.size, o.coi); };
      }
    }
    if (pStdDev != nullptr) around = squaresAround<masked, channels>;
  }
  const Deviation deviation = deviationOf(operands, reduceRegion(rule, operands, sumsOf, addSums), around);
  if (pMean != nullptr) *pMean = deviation.mean;
  if (pStdDev != nullptr) *pStdDev = deviation.stdDev;
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_MEAN_C1MR(name, T, rule)                                                                \
  QOR_BODY(name)                                                                                    \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pMean) { \
    return qor::mean<1>(qor::rule, pSrc, srcStep, pMask, maskStep, roiSize, 1, pMean);              \
  }
#define QOR_MEAN_C3CMR(name, T, rule)                                                                        \
  QOR_BODY(name)                                                                                             \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pMean) { \
    return qor::mean<3>(qor::rule, pSrc, srcStep, pMask, maskStep, roiSize, coi, pMean);                     \
  }
#define QOR_STD_DEV_C1R(name, T, rule)                                                                  \
  QOR_BODY(name)(const T* pSrc, int srcStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev) {        \
    return qor::meanStdDev<1, false>(qor::rule, pSrc, srcStep, nullptr, 0, roiSize, 1, pMean, pStdDev); \
  }
#define QOR_STD_DEV_C3CR(name, T, rule)                                                                   \
  QOR_BODY(name)(const T* pSrc, int srcStep, QoriSize roiSize, int coi, Qor64f* pMean, Qor64f* pStdDev) { \
    return qor::meanStdDev<3, false>(qor::rule, pSrc, srcStep, nullptr, 0, roiSize, coi, pMean, pStdDev); \
  }
#define QOR_STD_DEV_C1MR(name, T, rule)                                                                              \
  QOR_BODY(name)                                                                                                     \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev) { \
    return qor::meanStdDev<1, true>(qor::rule, pSrc, srcStep, pMask, maskStep, roiSize, 1, pMean, pStdDev);          \
  }
#define QOR_STD_DEV_C3CMR(name, T, rule)                                                                      \
  QOR_BODY(name)                                                                                              \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pMean,    \
   Qor64f* pStdDev) {                                                                                         \
    return qor::meanStdDev<3, true>(qor::rule, pSrc, srcStep, pMask, maskStep, roiSize, coi, pMean, pStdDev); \
  }
#include "arith/mean.def"
