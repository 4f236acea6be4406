#include "filter/gradient_vector.h"

#include "filter/gradient_rows.h"
#include "frame/arctangent.h"
#include "frame/checks.h"
#include "frame/vector_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr Borders borders = {.rules = ruleBits(qorBorderConst, qorBorderRepl, qorBorderInMem),
                             .refusal = qorStsBadArgErr};

// ---- magnitude
template <class T>
Vec<T> sumOfSizes(Vec<T> x, Vec<T> y) {
  return as<T>(abs(x)) + as<T>(abs(y));
}

template <class T>
void magnitudeL1(const T* gx, const T* gy, T* dst, ptrdiff_t n) {
  // At most 24480 from bytes, so nothing saturates.
  const auto kernel = [](const T* x, const T* y) { return Block<T, 1>{sumOfSizes(load(x), load(y))}; };
  mapRow(dst, n, kernel, gx, gy);
}

// Root of a sum of squares S, to nearest: the k with k (k - 1) < S <= k (k + 1).
//
// Below 2^24, S is exact in 32-bit float. For Sobel 3x3 it is below 2^21 and the root below 2^10.5, half a unit of
// whose last place is 2^-14 at most; k + 1/2 lies 1 / (8 k + 4) or more away from every root, which is more. So the
// rounded root stays on the right side, and rounding it to an integer gives k.
//
// Otherwise, up to 2^29, that integer is off by one at most, and d = S - k * k tells: too small where d > k, too large
// where d <= -k. S = 0 alone would give -1, which the unsigned saturation of the narrowing mends.
template <bool corrected>
inline V32s rootOf(V32s sum) {
  const V32s k = nearest(sqrt(toFloat(sum)));
  if constexpr (!corrected) return k;
  const V16s halves = as<Qor16s>(k);
  const V32s d = sum - multiplyAdd(halves, halves);
  return k - (d > k) + (splat(Qor32s{1}) > d + k);
}

template <bool corrected>
void magnitudeL2(const Qor16s* gx, const Qor16s* gy, Qor16s* dst, ptrdiff_t n) {
  const auto kernel = [](const Qor16s* px, const Qor16s* py) {
    const Split<Qor16s> pairs = splitZip(load(px), load(py));
    const auto root = [](V16s xy) { return rootOf<corrected>(multiplyAdd(xy, xy)); };
    return Block<Qor16s, 1>{as<Qor16s>(joinToU(Split<Qor32s>{root(pairs.a), root(pairs.b)}))};
  };
  mapRow<Stores::cached, 1>(dst, n, kernel, gx, gy);
}

template <bool corrected>
void magnitudeL2(const Qor32f* gx, const Qor32f* gy, Qor32f* dst, int n) {
  qorsMagnitude_32f(gx, gy, dst, n);
}

// ---- angle
// In 16 bits the smaller of |x| and |y|, the larger, and what becomes of their angle a: pi / 2 - a where |y| > |x|, pi
// - a where x < 0, both signs turned where y < 0. The three offsets 0, pi / 2 and pi are put together from halves:
// those of pi / 2 and pi have their low half in common.
struct Angle {
  Block<Qor32f, 2> operator()(const Qor16s* px, const Qor16s* py) const {
    const V16s x = load(px), y = load(py), ax = as<Qor16s>(abs(x)), ay = as<Qor16s>(abs(y));
    const V16s small = min(ax, ay), large = max(max(ax, ay), splat(Qor16s{1}));
    const V16s steep = ay > ax, back = zero<Qor16s>() > x;
    const V16s topBit = splat(Qor16s{-0x8000});
    const V16s low = (steep | back) & splat(Qor16s{0x0fdb});
    const V16s high = (steep & splat(Qor16s{0x3fc9})) | (andNot(steep, back) & splat(Qor16s{0x4049}));
    const V16s turned = (steep ^ back) & topBit, below = y & topBit;
    const Split<Qor32s> opposite = split(small), adjacent = split(large);
    const Split<Qor16s> offset = splitZip(low, high), turn = splitZip(zero<Qor16s>(), turned),
                        flip = splitZip(zero<Qor16s>(), below);
    return inOrder(
        Split<Qor32f>{angles(opposite.a, adjacent.a, as<Qor32f>(offset.a), as<Qor32f>(turn.a), as<Qor32f>(flip.a)),
                      angles(opposite.b, adjacent.b, as<Qor32f>(offset.b), as<Qor32f>(turn.b), as<Qor32f>(flip.b))});
  }

 private:
  static V32f angles(V32s small, V32s large, V32f offset, V32f turned, V32f below) {
    const V32f a = arctanOfFraction(toFloat(small) / toFloat(large));
    return (offset + (a ^ turned)) ^ below;
  }
};

void angle(const Qor16s* gx, const Qor16s* gy, Qor32f* dst, int n) {
  mapRow<Stores::cached, 1>(dst, n, Angle(), gx, gy);
}
void angle(const Qor32f* gx, const Qor32f* gy, Qor32f* dst, int n) { qorsAtan2_32f_A21(gy, gx, dst, n); }

// ---- the sweep
template <class S>
struct Arguments {
  using D = Component<S>;
  Plane<const S> src;
  Plane<D> gx, gy, magnitude;
  Plane<Qor32f> angle;
  QoriSize roiSize;
  QoriMaskSize mask;
  QorNormType norm;
  QoriBorderType border;
  S borderValue;
  Qor8u* buffer;

  QorStatus check(QoriMaskSize largestMask) const {
    const QorStatus first = firstFailure(nullCheck(src.first), positiveStepCheck(src.step), evenCheck<S>(src.step),
                                         nullCheck(buffer), stepChecks(gx), stepChecks(gy), stepChecks(magnitude));
    const bool badNorm = magnitude.first != nullptr && norm != qorNormL1 && norm != qorNormL2;
    return firstFailure(first, badNorm ? qorStsBadArgErr : qorStsNoErr, stepChecks(angle), sizeCheck(roiSize),
                        borders.check(border), maskCheck(mask), mask > largestMask ? qorStsMaskSizeErr : qorStsNoErr);
  }

 private:
  template <class T>
  static QorStatus stepChecks(Plane<T> plane) {
    if (plane.first == nullptr) return qorStsNoErr;
    return firstFailure(positiveStepCheck(plane.step), evenCheck<T>(plane.step));
  }
};

// ---- scratch: a row of the constant, and a row of each component
template <class S>
struct Parts {
  S* constants;
  Component<S>*x, *y;
};
template <class Kernel, class S>
Parts<S> lay(ScratchParts& parts, QoriSize size) {
  S* const constants = GradientRows<Kernel, S>::layConstants(parts, size);
  auto* const x = parts.take<Component<S>>(size.width);
  return {constants, x, parts.take<Component<S>>(size.width)};
}

int reported(QoriSize size, QoriMaskSize mask, QorDataType dataType, int numChannels) {
  const bool small = mask == qorMskSize3x3;
  const int64_t w = size.width, h = size.height, side = small ? 3 : 5;
  const int64_t least = w < h ? w : h, most = w < h ? h : w;
  const int64_t rows = side + (least < (small ? 4 : 8) ? least : side / 2) - 1;
  const int64_t sample = dataType == qor8u ? 1 : dataType == qor32f ? 4 : 2;
  const int64_t frame = (most + side - 1) * rows * numChannels * sample;
  const auto stated = static_cast<uint64_t>(frame + 2 * w * (dataType == qor8u ? 2 : 4) + 64);
  const int64_t needed = dataType == qor8u ? bytesOf([=](ScratchParts& parts) { lay<Sobel5, Qor8u>(parts, size); })
                                           : bytesOf([=](ScratchParts& parts) { lay<Sobel5, Qor32f>(parts, size); });
  return reportedSize(stated, 1, needed);
}

// Row by row, so that magnitude and angle find the components in the cache: in their destination or, if that is not
// wanted, in scratch.
template <class Kernel, bool x, bool y, class S>
QorStatus sweep(const Arguments<S>& a) {
  using D = Component<S>;
  const auto layOf = [&](ScratchParts& parts) { return lay<Kernel, S>(parts, a.roiSize); };
  const int bytes = reported(a.roiSize, a.mask, sizeof(S) == 1 ? qor8u : qor32f, 1);
  const int64_t needed = bytesOf(layOf);
  if (needed > bytes) return qorStsSizeErr;
  ScratchParts parts(a.buffer, bytes, needed);
  const Parts<S> scratch = layOf(parts);
  const GradientRows<Kernel, S> rows(a.src, a.roiSize, borders.sides(a.border, a.roiSize), a.borderValue,
                                     scratch.constants);
  const int n = a.roiSize.width;
  for (int i = 0; i < a.roiSize.height; ++i) {
    D* const gx = a.gx.first != nullptr ? a.gx.row(i) : scratch.x;
    D* const gy = a.gy.first != nullptr ? a.gy.row(i) : scratch.y;
    rows.row(i, GradientOut<x, y, D>{gx, gy});
    if constexpr (x && y) {
      if (a.magnitude.first != nullptr) {
        if (a.norm == qorNormL1) {
          magnitudeL1(gx, gy, a.magnitude.row(i), n);
        } else {
          magnitudeL2<!std::is_same_v<Kernel, Sobel3>>(gx, gy, a.magnitude.row(i), n);
        }
      }
      if (a.angle.first != nullptr) angle(gx, gy, a.angle.row(i), n);
    }
  }
  return qorStsNoErr;
}

template <class Kernel, class S>
QorStatus gradient(const Arguments<S>& a) {
  const bool both = a.magnitude.first != nullptr || a.angle.first != nullptr;
  const bool x = both || a.gx.first != nullptr, y = both || a.gy.first != nullptr;
  if (x && y) return sweep<Kernel, true, true>(a);
  if (x) return sweep<Kernel, true, false>(a);
  return y ? sweep<Kernel, false, true>(a) : qorStsNoErr;
}

template <class S>
QorStatus sobel(const Arguments<S>& a) {
  const QorStatus status = a.check(qorMskSize5x5);
  if (status != qorStsNoErr) return status;
  return a.mask == qorMskSize3x3 ? gradient<Sobel3>(a) : gradient<Sobel5>(a);
}

template <class S>
QorStatus scharr(const Arguments<S>& a) {
  const QorStatus status = a.check(qorMskSize3x3);
  return status == qorStsNoErr ? gradient<Scharr3>(a) : status;
}

}  // namespace

QorStatus qoriGradientVectorGetBufferSize(QoriSize roiSize, QoriMaskSize mask, QorDataType dataType, int numChannels,
                                          int* pBufferSize) {
  const bool isType = dataType == qor8u || dataType == qor16u || dataType == qor16s || dataType == qor32f;
  const bool isCount = numChannels == 1 || numChannels == 3;
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(mask),
                   isType ? qorStsNoErr : qorStsDataTypeErr, isCount ? qorStsNoErr : qorStsChannelErr);
  if (status != qorStsNoErr) return status;
  *pBufferSize = reported(roiSize, mask, dataType, numChannels);
  return qorStsNoErr;
}

#define QOR_GRADIENT_VECTOR(name, operation, S, D)                                                         \
  QorStatus name(const S* pSrc, int srcStep, D* pGx, int gxStep, D* pGy, int gyStep, D* pMag, int magStep, \
                 Qor32f* pAngle, int angleStep, QoriSize roiSize, QoriMaskSize mask, QorNormType norm,     \
                 QoriBorderType borderType, S borderValue, Qor8u* pBuffer) {                               \
    return operation<S>({{pSrc, srcStep},                                                                  \
                         {pGx, gxStep},                                                                    \
                         {pGy, gyStep},                                                                    \
                         {pMag, magStep},                                                                  \
                         {pAngle, angleStep},                                                              \
                         roiSize,                                                                          \
                         mask,                                                                             \
                         norm,                                                                             \
                         borderType,                                                                       \
                         borderValue,                                                                      \
                         pBuffer});                                                                        \
  }
QOR_GRADIENT_VECTOR(qoriGradientVectorSobel_8u16s_C1R, sobel, Qor8u, Qor16s)
QOR_GRADIENT_VECTOR(qoriGradientVectorSobel_32f_C1R, sobel, Qor32f, Qor32f)
QOR_GRADIENT_VECTOR(qoriGradientVectorScharr_8u16s_C1R, scharr, Qor8u, Qor16s)
QOR_GRADIENT_VECTOR(qoriGradientVectorScharr_32f_C1R, scharr, Qor32f, Qor32f)

}  // namespace qor
