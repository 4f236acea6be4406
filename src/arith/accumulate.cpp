// Float accumulators: a source image is added, squared, multiplied or blended into a 32f image in place, everywhere or
// where a mask is not 0.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// When a call is shared among the team.
constexpr TeamRule shared = {.pixels = 0x40000};

// A kernel call takes as many pixels as a vector has bytes: one vector of a mask, and so many of floats.
constexpr int vectors = V8u::lanes / V32f::lanes;
using Accumulators = Block<Qor32f, vectors>;

// The operations, rounded after every step. Products are products of floats also where integers would be exact: the
// zero of 0 * -5 has a sign.
struct Sum {
  V32f operator()(V32f a, V32f s) const { return a + s; }
};
struct SumOfSquares {
  V32f operator()(V32f a, V32f s) const { return a + s * s; }
};
struct SumOfProducts {
  V32f operator()(V32f a, V32f s1, V32f s2) const { return a + s1 * s2; }
};
// a * (1 - alpha) + s * alpha would round differently.
struct Blend {
  V32f alpha;
  V32f operator()(V32f a, V32f s) const { return (s - a) * alpha + a; }
};

template <class Operation>
struct Everywhere {
  Operation operation;
  template <class... S>
  QOR_FORCE_INLINE Accumulators operator()(const Qor32f* a, const S*... s) const {
    Accumulators result;
    for (int i = 0; i < vectors; ++i) {
      const int x = i * V32f::lanes;
      result.v[i] = operation(load(a + x), loadAs<Qor32f>(s + x)...);
    }
    return result;
  }
};

// What is masked out is stored back with the bits that were loaded. Masks are mostly made of areas: blocks that lie in
// one need no look at the single pixels.
template <class Operation>
struct WhereMasked {
  Everywhere<Operation> everywhere;

  template <class... S>
  QOR_FORCE_INLINE bool leaves(const Qor32f*, const Qor8u* mask, const S*...) const {
    return signBits(maskedOut<Qor8u>(mask)) == allSignBits<V8u>;
  }
  template <class... S>
  QOR_FORCE_INLINE Accumulators operator()(const Qor32f* a, const Qor8u* mask, const S*... s) const {
    Accumulators result = everywhere(a, s...);
    const V8u out = maskedOut<Qor8u>(mask);
    if (signBits(out) == 0) return result;
    for (int i = 0; i < vectors; ++i)
      result.v[i] = select(spreadMask<Qor32f>(out, i), load(a + i * V32f::lanes), result.v[i]);
    return result;
  }
};

template <Stores stores, class Kernel, class... Planes>
[[gnu::noinline]] void accumulateRows(int width, int first, int rows, const Kernel& kernel, Plane<Qor32f> dst,
                                      Planes... sources) {
  const auto row = [&kernel](ptrdiff_t n, Qor32f* d, const auto*... s) { mapRow<stores, 1>(d, n, kernel, s...); };
  forEachRow(width, first, rows, row, dst, sources...);
}

// Bands whose data, at so many bytes a pixel, fill the cache are stored past it; 0 bytes never are.
template <int streamedBytes, class Kernel, class... Planes>
void accumulate(QoriSize size, const Kernel& kernel, Plane<Qor32f> accumulator, Planes... sources) {
  const Plane<const Qor32f> old{accumulator.first, accumulator.step};
  forTeam(teamFor(shared, size), size.height, [&](Band band) {
    const auto rows = [&](auto stores) {
      accumulateRows<stores()>(size.width, band.first, band.rows, kernel, accumulator, old, sources...);
    };
    if constexpr (streamedBytes == 0) {
      rows(std::integral_constant<Stores, Stores::cached>());
    } else {
      withStores(static_cast<int64_t>(band.rows) * size.width * streamedBytes >= owncvGetCacheSize(), rows);
    }
  });
}

// Steps of the sources, each against its minimum. In 16u the evenness of a step comes directly behind, otherwise after
// all the minima, with that of the accumulator.
template <class S, class... Step>
QorStatus sourceStepsCheck(int width, Step... steps) {
  if constexpr (sizeof(S) == 2) return firstFailure(firstFailure(stepCheck<S>(width, steps), evenCheck<S>(steps))...);
  return stepCheck<S>(width, steps...);
}
template <class S, class... Step>
QorStatus accumulatorStepCheck(int width, int step, Step... sourceSteps) {
  const QorStatus sourcesEven = sizeof(S) == 4 ? evenCheck<S>(sourceSteps...) : qorStsNoErr;
  return firstFailure(stepCheck<Qor32f>(width, step), sourcesEven, evenCheck<Qor32f>(step));
}

template <class S, class Operation>
QorStatus accumulateImage(const S* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize,
                          Operation operation) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pSrcDst), sizeCheck(roiSize), sourceStepsCheck<S>(roiSize.width, srcStep),
                   accumulatorStepCheck<S>(roiSize.width, srcDstStep, srcStep));
  if (status != qorStsNoErr) return status;
  accumulate<0>(roiSize, Everywhere<Operation>{operation}, Plane{pSrcDst, srcDstStep}, Plane{pSrc, srcStep});
  return qorStsNoErr;
}

template <class S>
QorStatus accumulateProduct(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, Qor32f* pSrcDst, int srcDstStep,
                            QoriSize roiSize) {
  const QorStatus status = firstFailure(nullCheck(pSrc1, pSrc2, pSrcDst), sizeCheck(roiSize),
                                        sourceStepsCheck<S>(roiSize.width, src1Step, src2Step),
                                        accumulatorStepCheck<S>(roiSize.width, srcDstStep, src1Step, src2Step));
  if (status != qorStsNoErr) return status;
  accumulate<0>(roiSize, Everywhere<SumOfProducts>{}, Plane{pSrcDst, srcDstStep}, Plane{pSrc1, src1Step},
                Plane{pSrc2, src2Step});
  return qorStsNoErr;
}

template <int streamedBytes, class S, class Operation>
QorStatus accumulateImageMasked(const S* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,
                                int srcDstStep, QoriSize roiSize, Operation operation) {
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pMask, pSrcDst), sizeCheck(roiSize), sourceStepsCheck<S>(roiSize.width, srcStep),
      stepCheck<Qor8u>(roiSize.width, maskStep), accumulatorStepCheck<S>(roiSize.width, srcDstStep, srcStep));
  if (status != qorStsNoErr) return status;
  accumulate<streamedBytes>(roiSize, WhereMasked<Operation>{{operation}}, Plane{pSrcDst, srcDstStep},
                            Plane{pMask, maskStep}, Plane{pSrc, srcStep});
  return qorStsNoErr;
}

template <int streamedBytes, class S>
QorStatus accumulateProductMasked(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, const Qor8u* pMask,
                                  int maskStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc1, pSrc2, pMask, pSrcDst), sizeCheck(roiSize),
                   sourceStepsCheck<S>(roiSize.width, src1Step, src2Step), stepCheck<Qor8u>(roiSize.width, maskStep),
                   accumulatorStepCheck<S>(roiSize.width, srcDstStep, src1Step, src2Step));
  if (status != qorStsNoErr) return status;
  accumulate<streamedBytes>(roiSize, WhereMasked<SumOfProducts>{}, Plane{pSrcDst, srcDstStep}, Plane{pMask, maskStep},
                            Plane{pSrc1, src1Step}, Plane{pSrc2, src2Step});
  return qorStsNoErr;
}

// The blend of two images into a third; the second one plays the accumulator.
QorStatus blendImages(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst, int dstStep,
                      QoriSize roiSize, Qor32f alpha) {
  const QorStatus status = firstFailure(nullCheck(pSrc1, pSrc2, pDst), sizeCheck(roiSize),
                                        stepCheck<Qor32f>(roiSize.width, src1Step, src2Step, dstStep),
                                        evenCheck<Qor32f>(src1Step, src2Step, dstStep));
  if (status != qorStsNoErr) return status;
  accumulateRows<Stores::cached>(roiSize.width, 0, roiSize.height, Everywhere<Blend>{{splat(alpha)}},
                                 Plane{pDst, dstStep}, Plane{pSrc2, src2Step}, Plane{pSrc1, src1Step});
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_ACCUMULATE(name, S, Operation)                                                        \
  QOR_BODY(name)(const S* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize) { \
    return qor::accumulateImage(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, qor::Operation{});   \
  }
#define QOR_ACCUMULATE_PRODUCT(name, S)                                                                             \
  QOR_BODY(name)                                                                                                    \
  (const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize) { \
    return qor::accumulateProduct(pSrc1, src1Step, pSrc2, src2Step, pSrcDst, srcDstStep, roiSize);                  \
  }
#define QOR_ACCUMULATE_WEIGHTED(name, S)                                                                     \
  QOR_BODY(name)                                                                                             \
  (const S* pSrc, int srcStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize, Qor32f alpha) {            \
    return qor::accumulateImage(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, qor::Blend{qor::splat(alpha)}); \
  }
#define QOR_ACCUMULATE_MASKED(name, S, Operation, bytes)                                                              \
  QOR_BODY(name)                                                                                                      \
  (const S* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize) { \
    return qor::accumulateImageMasked<bytes>(pSrc, srcStep, pMask, maskStep, pSrcDst, srcDstStep, roiSize,            \
                                             qor::Operation{});                                                       \
  }
#define QOR_ACCUMULATE_PRODUCT_MASKED(name, S, bytes)                                                                  \
  QOR_BODY(name)                                                                                                       \
  (const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst,      \
   int srcDstStep, QoriSize roiSize) {                                                                                 \
    return qor::accumulateProductMasked<bytes>(pSrc1, src1Step, pSrc2, src2Step, pMask, maskStep, pSrcDst, srcDstStep, \
                                               roiSize);                                                               \
  }
#define QOR_ACCUMULATE_WEIGHTED_MASKED(name, S, bytes)                                                              \
  QOR_BODY(name)                                                                                                    \
  (const S* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor32f* pSrcDst, int srcDstStep, QoriSize roiSize, \
   Qor32f alpha) {                                                                                                  \
    return qor::accumulateImageMasked<bytes>(pSrc, srcStep, pMask, maskStep, pSrcDst, srcDstStep, roiSize,          \
                                             qor::Blend{qor::splat(alpha)});                                        \
  }
#include "arith/accumulate.def"

QOR_BODY(qoriAddWeighted_32f_C1R)
(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst, int dstStep, QoriSize roiSize,
 Qor32f alpha) {
  return qor::blendImages(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, alpha);
}
