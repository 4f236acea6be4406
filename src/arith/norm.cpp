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
  static V32f of(V32f x) { return abs(x); }
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
  static void merge(Qor64f& into, const Qor64f& next) { into += next; }
  // The result of a band. Float totals go through 32 bits.
  static Qor64f bandResult(Qor64s total) { return static_cast<Qor64f>(total); }
  static Qor64f bandResult(Qor64f total) { return throughFloat(total); }
};
struct Inf : Magnitudes {
  template <class T>
  using Measure = Largest<Magnitude<T>>;
  static void merge(Qor64f& into, const Qor64f& next) { into = next > into ? next : into; }
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
struct NormLanes : Norm::template Measure<T> {
  static Vec<Magnitude<T>> of(Vec<T> x) { return Norm::of(x); }
};
// The difference is formed first and masked then: what a masked-out pixel holds, NaN included, leaves no trace.
template <class Norm, class T>
struct NormDiffLanes : Norm::template Measure<T> {
  static Vec<Magnitude<T>> of(Vec<T> x, Vec<T> y) { return Norm::between(x, y); }
};
// One instruction sums the differences of bytes: of what is kept of both.
template <>
struct NormDiffLanes<L1, Qor8u> : Sum<Qor8u> {
  static Both<V8u, V8u> of(V8u x, V8u y) { return {x, y}; }
  void add(int, const Both<V8u, V8u>& kept) { addDistance(kept.a, kept.b); }
};
template <class Norm, class T>
struct NormRelLanes : SideBySide<NormDiffLanes<Norm, T>, NormLanes<Norm, T>> {
  static auto of(Vec<T> x, Vec<T> y) { return Both{NormDiffLanes<Norm, T>::of(x, y), NormLanes<Norm, T>::of(y)}; }
};

template <class Norm, class Lanes, int channels, int sources, class T>
Qor64f numberOfBand(const Operands& operands, Band band) {
  return Norm::bandResult(reduceRows<true, channels, sources, T>(Lanes{}, operands, band));
}

// Numerator and denominator of a band.
struct Ratio {
  Qor64f difference, second;
};
template <class Norm, int channels, class T>
Ratio ratioOfBand(const Operands& operands, Band band) {
  const auto total = reduceRows<true, channels, 2, T>(NormRelLanes<Norm, T>{}, operands, band);
  return {Norm::bandResult(total.a), Norm::bandResult(total.b)};
}

// ---- drivers
template <class T>
[[gnu::noinline]] QorStatus checkOne(const Operands& o, int channels, const Qor64f* pValue) {
  return firstFailure(nullCheck(o.src[0]), nullCheck(o.mask.first), nullCheck(pValue), sizeCheck(o.size),
                      stepCheck<T>(static_cast<int64_t>(o.size.width) * channels, o.srcStep[0]),
                      evenCheck<T>(o.srcStep[0]), stepCheck<Qor8u>(o.size.width, o.mask.step), coiCheck(o.coi));
}
template <class T>
[[gnu::noinline]] QorStatus checkTwo(const Operands& o, int channels, const Qor64f* pValue) {
  return firstFailure(nullCheck(o.src[0], o.src[1]), nullCheck(o.mask.first), nullCheck(pValue), sizeCheck(o.size),
                      stepCheck<T>(static_cast<int64_t>(o.size.width) * channels, o.srcStep[0], o.srcStep[1]),
                      stepCheck<Qor8u>(o.size.width, o.mask.step), evenCheck<T>(o.srcStep[0], o.srcStep[1]),
                      coiCheck(o.coi));
}

template <class Norm, int channels, class T>
QorStatus norm(const TeamRule& rule, const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize size,
               int coi, Qor64f* pValue) {
  const Operands operands{{pSrc}, {srcStep}, {pMask, maskStep}, size, coi};
  const QorStatus status = checkOne<T>(operands, channels, pValue);
  if (status != qorStsNoErr) return status;
  *pValue =
      Norm::result(reduceRegion(rule, operands, numberOfBand<Norm, NormLanes<Norm, T>, channels, 1, T>, Norm::merge));
  return qorStsNoErr;
}

template <class Norm, int channels, class T>
QorStatus normDiff(const TeamRule& rule, const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask,
                   int maskStep, QoriSize size, int coi, Qor64f* pValue) {
  const Operands operands{{pSrc1, pSrc2}, {src1Step, src2Step}, {pMask, maskStep}, size, coi};
  const QorStatus status = checkTwo<T>(operands, channels, pValue);
  if (status != qorStsNoErr) return status;
  *pValue = Norm::result(
      reduceRegion(rule, operands, numberOfBand<Norm, NormDiffLanes<Norm, T>, channels, 2, T>, Norm::merge));
  return qorStsNoErr;
}

template <class Norm>
QorStatus storeRatio(const Ratio& r, Qor64f* pValue) {
  if (r.second == 0) {
    *pValue = r.difference > 0   ? qorConstantOfINF_64f
              : r.difference < 0 ? qorConstantOfINF_NEG_64f
                                 : qorConstantOfNAN_64f;
    return qorStsDivByZero;
  }
  *pValue = Norm::result(r.difference / r.second);
  return qorStsNoErr;
}

template <class Norm, int channels, class T>
QorStatus normRel(const TeamRule& rule, const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, const Qor8u* pMask,
                  int maskStep, QoriSize size, int coi, Qor64f* pValue) {
  const Operands operands{{pSrc1, pSrc2}, {src1Step, src2Step}, {pMask, maskStep}, size, coi};
  const QorStatus status = checkTwo<T>(operands, channels, pValue);
  if (status != qorStsNoErr) return status;
  const auto merge = [](Ratio& into, const Ratio& next) {
    Norm::merge(into.difference, next.difference);
    Norm::merge(into.second, next.second);
  };
  return storeRatio<Norm>(reduceRegion<Ratio>(rule, operands, ratioOfBand<Norm, channels, T>, merge), pValue);
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
