// Masked norms of one channel of a region, of the difference of two, and of that difference relative to the second.
#include "arith/measures.h"
#include "frame/bodies.h"
#include "frame/constants.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- what is measured: a magnitude, or a plain float where it will be squared
struct Magnitudes {
  static V8u of(V8u x) { return x; }
  static V8u of(V8s x) { return abs(x); }
  static V16u of(V16u x) { return x; }
  static V32f of(V32f x) { return x & as<Qor32f>(splat(0x7fffffff)); }
  template <class V>
  static auto between(V a, V b) {
    return absDiff(a, b);
  }
  static V32f between(V32f a, V32f b) { return of(a - b); }
};
struct Values : Magnitudes {
  using Magnitudes::between;
  using Magnitudes::of;
  static V32f of(V32f x) { return x; }
  static V32f between(V32f a, V32f b) { return a - b; }
};

template <class T>
using Magnitude = std::conditional_t<std::is_same_v<T, Qor8s>, Qor8u, T>;

// ---- the three norms
struct Sums {
  static void merge(Qor64f& into, Qor64f next) { into += next; }
  // The result of a band. Float totals go through 32 bits.
  static Qor64f bandResult(Qor64s total) { return static_cast<Qor64f>(total); }
  static Qor64f bandResult(Qor64f total) { return throughFloat(total); }
};
struct Inf : Magnitudes {
  template <class T>
  using Measure = Largest<Magnitude<T>>;
  static void merge(Qor64f& into, Qor64f next) { into = next > into ? next : into; }
  static Qor64f bandResult(Qor32f total) { return static_cast<Qor64f>(total); }
  static Qor64f result(Qor64f merged) { return merged; }
};
struct L1 : Magnitudes, Sums {
  template <class T>
  using Measure = Sum<Magnitude<T>>;
  static Qor64f result(Qor64f merged) { return merged; }
};
struct L2 : Values, Sums {
  template <class T>
  using Measure = SumOfSquares<Magnitude<T>>;
  static Qor64f result(Qor64f merged) { return __builtin_sqrt(merged); }
};

// ---- lanes over samples of type T
template <class Norm, class T>
struct NormLanes {
  using Measure = typename Norm::template Measure<T>;
  using Total = typename Measure::Total;
  static constexpr bool perRow = Measure::perRow;

  Measure measure = {};

  template <class Kept>
  void add(const Kept& kept, const Pixels<T>& x) {
    measure.add(kept(mapVectors<Magnitude<T>>([](Vec<T> a) { return Norm::of(a); }, x)));
  }
  void drain(Total& total, int64_t steps) const { measure.drain(total, steps); }
};

// The difference is formed first and masked then: what a masked-out pixel holds, NaN included, leaves no trace. For the
// sum of bytes one instruction takes the difference of what is kept of both.
template <class Norm, class T>
struct NormDiffLanes {
  using Measure = typename Norm::template Measure<T>;
  using Total = typename Measure::Total;
  static constexpr bool perRow = Measure::perRow;

  Measure measure = {};

  template <class Kept>
  void add(const Kept& kept, const Pixels<T>& x, const Pixels<T>& y) {
    if constexpr (std::is_same_v<Norm, L1> && std::is_same_v<T, Qor8u>) {
      measure.addDistance(kept(x), kept(y));
    } else {
      measure.add(kept(mapVectors<Magnitude<T>>([](Vec<T> a, Vec<T> b) { return Norm::between(a, b); }, x, y)));
    }
  }
  void drain(Total& total, int64_t steps) const { measure.drain(total, steps); }
};

template <class Norm, class T>
struct NormRelLanes {
  NormDiffLanes<Norm, T> difference = {};
  NormLanes<Norm, T> second = {};

  struct Total {
    typename NormLanes<Norm, T>::Total difference, second;
  };
  static constexpr bool perRow = NormLanes<Norm, T>::perRow;

  template <class Kept>
  void add(const Kept& kept, const Pixels<T>& x, const Pixels<T>& y) {
    difference.add(kept, x, y);
    second.add(kept, y);
  }
  void drain(Total& total, int64_t steps) const {
    difference.drain(total.difference, steps);
    second.drain(total.second, steps);
  }
};

// ---- drivers

// Total of one number a band.
template <class Norm, int channels, class Lanes, class... T>
Qor64f measured(const TeamRule& rule, QoriSize size, Mask mask, int channel, Plane<const T>... src) {
  const auto band = [&](Band b) {
    return Norm::bandResult(reduceRows<channels>(Lanes{}, size.width, b, mask, channel, src...));
  };
  return reduceBands(teamFor(rule, size) > 0, size.height, Qor64f{0}, band, Norm::merge);
}

template <class Norm, int channels, class T>
QorStatus norm(const TeamRule& rule, const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize size,
               int coi, Qor64f* pValue) {
  const QorStatus status = firstFailure(nullCheck(pSrc), nullCheck(pMask), nullCheck(pValue), sizeCheck(size),
                                        stepCheck<T>(static_cast<int64_t>(size.width) * channels, srcStep),
                                        evenCheck<T>(srcStep), stepCheck<Qor8u>(size.width, maskStep), coiCheck(coi));
  if (status != qorStsNoErr) return status;
  *pValue = Norm::result(
      measured<Norm, channels, NormLanes<Norm, T>>(rule, size, Mask{{pMask, maskStep}}, coi - 1, Plane{pSrc, srcStep}));
  return qorStsNoErr;
}

template <int channels, class T>
QorStatus checkTwo(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask, int maskStep,
                   QoriSize size, int coi, const Qor64f* pValue) {
  return firstFailure(nullCheck(pSrc1, pSrc2), nullCheck(pMask), nullCheck(pValue), sizeCheck(size),
                      stepCheck<T>(static_cast<int64_t>(size.width) * channels, src1Step, src2Step),
                      stepCheck<Qor8u>(size.width, maskStep), evenCheck<T>(src1Step, src2Step), coiCheck(coi));
}

template <class Norm, int channels, class T>
QorStatus normDiff(const TeamRule& rule, const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask,
                   int maskStep, QoriSize size, int coi, Qor64f* pValue) {
  const QorStatus status = checkTwo<channels>(pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, size, coi, pValue);
  if (status != qorStsNoErr) return status;
  *pValue = Norm::result(measured<Norm, channels, NormDiffLanes<Norm, T>>(
      rule, size, Mask{{pMask, maskStep}}, coi - 1, Plane{pSrc1, src1Step}, Plane{pSrc2, src2Step}));
  return qorStsNoErr;
}

// Numerator and denominator of a band.
struct Ratio {
  Qor64f difference, second;
};

template <class Norm, int channels, class T>
QorStatus normRel(const TeamRule& rule, const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask,
                  int maskStep, QoriSize size, int coi, Qor64f* pValue) {
  const QorStatus status = checkTwo<channels>(pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, size, coi, pValue);
  if (status != qorStsNoErr) return status;
  const Mask mask{{pMask, maskStep}};
  const auto band = [&](Band b) {
    const auto total = reduceRows<channels>(NormRelLanes<Norm, T>{}, size.width, b, mask, coi - 1,
                                            Plane{pSrc1, src1Step}, Plane{pSrc2, src2Step});
    return Ratio{Norm::bandResult(total.difference), Norm::bandResult(total.second)};
  };
  const auto merge = [](Ratio& into, const Ratio& next) {
    Norm::merge(into.difference, next.difference);
    Norm::merge(into.second, next.second);
  };
  const Ratio r = reduceBands(teamFor(rule, size) > 0, size.height, Ratio{}, band, merge);
  if (r.second == 0) {
    *pValue = r.difference > 0   ? qorConstantOfINF_64f
              : r.difference < 0 ? qorConstantOfINF_NEG_64f
                                 : qorConstantOfNAN_64f;
    return qorStsDivByZero;
  }
  *pValue = Norm::result(r.difference / r.second);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_NORM_C1MR(name, Norm, T, rule)                                                           \
  QOR_BODY(name)                                                                                     \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor64f* pValue) { \
    return qor::norm<qor::Norm, 1>(qor::rule, pSrc, srcStep, pMask, maskStep, roiSize, 1, pValue);   \
  }
#define QOR_NORM_C3CMR(name, Norm, T, rule)                                                                   \
  QOR_BODY(name)                                                                                              \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor64f* pValue) { \
    return qor::norm<qor::Norm, 3>(qor::rule, pSrc, srcStep, pMask, maskStep, roiSize, coi, pValue);          \
  }
// Two sources: function, channels.
#define QOR_NORM_TWO_C1MR(name, function, Norm, T, rule)                                                           \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask, int maskStep, QoriSize roiSize, \
   Qor64f* pValue) {                                                                                               \
    return qor::function<qor::Norm, 1>(qor::rule, pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, roiSize, 1,   \
                                       pValue);                                                                    \
  }
#define QOR_NORM_TWO_C3CMR(name, function, Norm, T, rule)                                                          \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask, int maskStep, QoriSize roiSize, \
   int coi, Qor64f* pValue) {                                                                                      \
    return qor::function<qor::Norm, 3>(qor::rule, pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, roiSize, coi, \
                                       pValue);                                                                    \
  }
#define QOR_NORM_DIFF_C1MR(name, Norm, T, rule) QOR_NORM_TWO_C1MR(name, normDiff, Norm, T, rule)
#define QOR_NORM_DIFF_C3CMR(name, Norm, T, rule) QOR_NORM_TWO_C3CMR(name, normDiff, Norm, T, rule)
#define QOR_NORM_REL_C1MR(name, Norm, T, rule) QOR_NORM_TWO_C1MR(name, normRel, Norm, T, rule)
#define QOR_NORM_REL_C3CMR(name, Norm, T, rule) QOR_NORM_TWO_C3CMR(name, normRel, Norm, T, rule)
#include "arith/norm.def"
