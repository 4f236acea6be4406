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
Pixels<T> measured(const Pixels<T>& x) {
  return x;
}
Pixels<Qor8u> measured(const Pixels<Qor8s>& x) { return {{as<Qor8u>(x.v[0]) ^ splat(Qor8u{0x80})}}; }

template <class T>
struct MeanLanes {
  using Measure = Sum<Measured<T>>;
  using Measurement = typename Measure::Total;
  static constexpr auto sumOf = [](const Measurement& m) { return m; };
  static constexpr auto squaresOf = [](const Measurement&) { return Measurement{}; };
};
template <class T>
struct DeviationLanes {
  using Measure = Moments<Measured<T>>;
  using Measurement = typename Measure::Total;
  static constexpr auto sumOf = [](const Measurement& m) { return m.sum; };
  static constexpr auto squaresOf = [](const Measurement& m) { return m.squares; };
};

// The measure of the pixels that take part, and how many those are.
template <class Wanted, bool masked>
struct CountedLanes {
  using Measure = typename Wanted::Measure;
  struct Total {
    typename Wanted::Measurement measurement;
    Qor64s seen, out;
  };
  static constexpr bool perRow = Measure::perRow;

  Measure measure;
  // Pixels masked out: a byte each, or 255 a pixel in wide lanes where a whole row comes between two drains.
  std::conditional_t<perRow, V64s, V8u> out = {};

  template <class Kept, class P>
  void add(const Kept& kept, const P& x) {
    measure.add(kept(measured(x)));
    if constexpr (masked && perRow) out = out + sumOfEights(kept.out);
    if constexpr (masked && !perRow) out = out - kept.out;
  }
  void drain(Total& total, int64_t steps) const {
    measure.drain(total.measurement, steps);
    total.seen += stepPixels * steps;
    if constexpr (perRow) {
      total.out += sum(out) / 255;
    } else {
      total.out += sum(sumOfEights(out));
    }
  }
};

template <class Wanted, int channels, class T, class Masking>
Sums sumsOfBand(Band band, Plane<const T> src, Masking mask, int width, int channel) {
  using Lanes = CountedLanes<Wanted, Masking::present>;
  const auto total = reduceRows<channels>(Lanes{}, width, band, mask, channel, src);
  const Qor64s count = Masking::present ? total.seen - total.out : static_cast<Qor64s>(width) * band.rows;
  auto sum = Wanted::sumOf(total.measurement);
  auto squares = Wanted::squaresOf(total.measurement);
  if constexpr (std::is_same_v<T, Qor8s>) {
    squares += 128 * (128 * count - 2 * sum);
    sum -= 128 * count;
  }
  return {static_cast<Qor64f>(sum), static_cast<Qor64f>(squares), count};
}

template <class Wanted, int channels, class T, class Masking>
Sums sumsOf(const TeamRule& rule, Plane<const T> src, Masking mask, QoriSize size, int channel) {
  return reduceBands(
      teamFor(rule, size) > 0, size.height, Sums{},
      [&](Band band) { return sumsOfBand<Wanted, channels>(band, src, mask, size.width, channel); }, addSums);
}

template <int channels, class T, class Masking>
QorStatus check(Plane<const T> src, Masking mask, QoriSize size, int coi) {
  return firstFailure(nullCheck(src.first), mask.nullCheck(), sizeCheck(size),
                      stepCheck<T>(static_cast<int64_t>(size.width) * channels, src.step), evenCheck<T>(src.step),
                      mask.stepCheck(size.width), coiCheck(coi));
}

// ---- mean
template <int channels, class T>
QorStatus mean(const TeamRule& rule, const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize size,
               int coi, Qor64f* pMean) {
  const Plane src{pSrc, srcStep};
  const Mask mask{{pMask, maskStep}};
  const QorStatus status = firstFailure(nullCheck(pMean), check<channels>(src, mask, size, coi));
  if (status != qorStsNoErr) return status;
  const Sums sums = sumsOf<MeanLanes<T>, channels>(rule, src, mask, size, coi - 1);
  *pMean = sums.count == 0 ? 0 : sums.sum / static_cast<Qor64f>(sums.count);
  return qorStsNoErr;
}

// ---- mean and standard deviation

// Pixels from which the sums of the plain form of 32f, one of three channels, are taken row by row.
constexpr Qor64s rowwiseFrom = 5000;

// Smaller regions keep float sums to the end: one of the even rows and one of the odd ones.
template <int channels>
Sums sumsOfSmall(Plane<const Qor32f> src, QoriSize size, int channel) {
  Qor32f sum[2] = {}, squares[2] = {};
  for (int y = 0; y < size.height; y += 2) {
    const Qor32f* const even = src.row(y) + channel;
    const Qor32f* const odd = src.row(y + 1 < size.height ? y + 1 : y) + channel;
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

// Sum of (x - mean)^2.
struct SquaresAround {
  using Total = Qor64f;
  static constexpr bool perRow = true;

  V32f mean;
  SumOfSquares<Qor32f> squares = {};

  template <class Kept>
  void add(const Kept& kept, const Pixels<Qor32f>& x) {
    squares.add(kept(mapVectors<Qor32f>([m = mean](V32f v) { return v - m; }, x)));
  }
  void drain(Total& total, int64_t steps) const { squares.drain(total, steps); }
};

template <int channels, class T, class Masking>
QorStatus meanStdDev(const TeamRule& rule, const T* pSrc, int srcStep, Masking mask, QoriSize size, int coi,
                     Qor64f* pMean, Qor64f* pStdDev) {
  constexpr bool isFloat = std::is_same_v<T, Qor32f>;
  const Plane src{pSrc, srcStep};
  const QorStatus status = check<channels>(src, mask, size, coi);
  if (status != qorStsNoErr) return status;

  Sums sums{};
  bool summed = false;
  if constexpr (isFloat && channels == 3 && !Masking::present) {
    summed = static_cast<Qor64s>(size.width) * size.height < rowwiseFrom;
    if (summed) sums = sumsOfSmall<channels>(src, size, coi - 1);
  }
  if (!summed) sums = sumsOf<DeviationLanes<T>, channels>(rule, src, mask, size, coi - 1);

  Qor64f mean = 0, stdDev = 0;
  if (sums.count != 0) {
    const Qor64f count = static_cast<Qor64f>(sums.count);
    mean = sums.sum / count;
    stdDev = __builtin_sqrt(__builtin_fabs(sums.squares / count - mean * mean));
    if constexpr (isFloat) {
      // The difference has lost its digits where the mean is large beside the deviation.
      if (pStdDev != nullptr && 0.05 * mean * mean > stdDev * stdDev) {
        const SquaresAround around{splat(static_cast<Qor32f>(mean))};
        const Band all{0, 0, size.height};
        stdDev = __builtin_sqrt(reduceRows<channels>(around, size.width, all, mask, coi - 1, src) / count);
      }
    }
  }
  if (pMean != nullptr) *pMean = mean;
  if (pStdDev != nullptr) *pStdDev = stdDev;
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
#define QOR_STD_DEV_C1R(name, T, rule)                                                              \
  QOR_BODY(name)(const T* pSrc, int srcStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev) {    \
    return qor::meanStdDev<1>(qor::rule, pSrc, srcStep, qor::NoMask{}, roiSize, 1, pMean, pStdDev); \
  }
#define QOR_STD_DEV_C3CR(name, T, rule)                                                                   \
  QOR_BODY(name)(const T* pSrc, int srcStep, QoriSize roiSize, int coi, Qor64f* pMean, Qor64f* pStdDev) { \
    return qor::meanStdDev<3>(qor::rule, pSrc, srcStep, qor::NoMask{}, roiSize, coi, pMean, pStdDev);     \
  }
#define QOR_STD_DEV_C1MR(name, T, rule)                                                                              \
  QOR_BODY(name)                                                                                                     \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pMean, Qor64f* pStdDev) { \
    return qor::meanStdDev<1>(qor::rule, pSrc, srcStep, qor::Mask{{pMask, maskStep}}, roiSize, 1, pMean, pStdDev);   \
  }
#define QOR_STD_DEV_C3CMR(name, T, rule)                                                                             \
  QOR_BODY(name)                                                                                                     \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pMean,           \
   Qor64f* pStdDev) {                                                                                                \
    return qor::meanStdDev<3>(qor::rule, pSrc, srcStep, qor::Mask{{pMask, maskStep}}, roiSize, coi, pMean, pStdDev); \
  }
#include "arith/mean.def"
