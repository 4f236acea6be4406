// Differences and products of images, with the scale factor.
#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/image_ops.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Exact results in 32-bit lanes, |d| at most 2^30, divided by 2^scaleFactor with ties to even, on their way to a sample
// of at most 16 bits that the caller saturates to.
class LaneScale {
 public:
  // Beyond these shifts nothing is left of d, or everything that is not 0 has left the sample's range.
  static constexpr int maxRight = 30, maxLeft = 17;

  explicit LaneScale(int scaleFactor, Qor32s top)
      : right(scaleFactor < 0 ? 0 : scaleFactor),
        left(scaleFactor >= 0         ? 0
             : scaleFactor < -maxLeft ? maxLeft
                                      : -scaleFactor),
        bias(right == 0 ? 0 : (1 << (right - 1)) - 1),
        limit((top >> left) + 1) {}

  V32s operator()(V32s d) const {
    if (right != 0) return (d + splat(bias) + ((d >> right) & splat(1))) >> right;
    // The limit is the smallest value whose shift lies outside the sample, so that the shift cannot wrap.
    return left == 0 ? d : max(min(d, splat(limit)), splat(-limit)) << left;
  }

 private:
  int right, left;
  Qor32s bias, limit;
};

template <class Row, class... T>
void forRows(const TeamRule& rule, QoriSize size, int channels, const Row& row, Plane<T>... planes) {
  const ptrdiff_t samples = ptrdiff_t{size.width} * channels;
  const auto one = [&](int y) __attribute__((noinline)) { row(samples, planes.row(y)...); };
  const int team = teamFor(rule, size);
  if (team > 0) {
    forRowsStatic(size.height, team, one);
  } else {
    for (int y = 0; y < size.height; ++y) one(y);
  }
}

template <class T>
QorStatus fillWithZero(T* pDst, int dstStep, int64_t samples, int height) {
  for (int y = 0; y < height; ++y) {
    __builtin_memset(rowAt(pDst, dstStep, y), 0, static_cast<size_t>(rowBytes<T>(samples)));
  }
  return qorStsNoErr;
}

// ---- src2 - src1 as the sample's type wants it: clamped below at 0 when unsigned
struct Saturated {
  template <class T>
  Block<T, 1> operator()(const T* a, const T* b) const {
    return {subSat(load(b), load(a))};
  }
};
struct Scaled {
  LaneScale scale;

  Block<Qor8u, 1> operator()(const Qor8u* a, const Qor8u* b) const {
    const V8u d = subSat(load(b), load(a));
    const Split<Qor16u> halves = split(d);
    return {joinToU(Split<Qor16s>{scaled(halves.a), scaled(halves.b)})};
  }
  Block<Qor16u, 1> operator()(const Qor16u* a, const Qor16u* b) const {
    const V16u d = subSat(load(b), load(a));
    const Split<Qor32s> halves = split(d);
    return {joinToU(Split<Qor32s>{scale(halves.a), scale(halves.b)})};
  }
  Block<Qor16s, 1> operator()(const Qor16s* a, const Qor16s* b) const {
    const Split<Qor32s> va = split(load(a)), vb = split(load(b));
    return {joinToS(Split<Qor32s>{scale(vb.a - va.a), scale(vb.b - va.b)})};
  }

 private:
  V16s scaled(V16u d) const {
    const Split<Qor32s> halves = split(d);
    return joinToS(Split<Qor32s>{scale(halves.a), scale(halves.b)});
  }
};

constexpr TeamRule always = {}, fromSides = {.widthAndHeight = 256};

template <class T>
QorStatus sub(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, QoriSize roiSize,
              int scaleFactor, int channels = 1) {
  const QorStatus status = firstFailure(nullCheck(pSrc1, pSrc2, pDst), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  // From here on every difference rounds to 0.
  if (scaleFactor > 8 * static_cast<int>(sizeof(T))) {
    return fillWithZero(pDst, dstStep, static_cast<int64_t>(roiSize.width) * channels, roiSize.height);
  }
  const auto run = [&](auto kernel) {
    const auto row = [kernel](ptrdiff_t n, T* d, const T* a, const T* b) { mapRow(d, n, kernel, a, b); };
    forRows(sizeof(T) == 1 ? always : fromSides, roiSize, channels, row, Plane{pDst, dstStep}, Plane{pSrc1, src1Step},
            Plane{pSrc2, src2Step});
  };
  if (scaleFactor == 0) {
    run(Saturated());
  } else {
    run(Scaled{LaneScale(scaleFactor, topOf<T>)});
  }
  return qorStsNoErr;
}

QorStatus subFloat(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst, int dstStep,
                   QoriSize roiSize, int channels) {
  const QorStatus status = firstFailure(nullCheck(pSrc1, pSrc2, pDst), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const Qor32f* a, const Qor32f* b) { return Block<Qor32f, 1>{load(b) - load(a)}; };
  const auto row = [kernel](ptrdiff_t n, Qor32f* d, const Qor32f* a, const Qor32f* b) { mapRow(d, n, kernel, a, b); };
  forRows(fromSides, roiSize, channels, row, Plane{pDst, dstStep}, Plane{pSrc1, src1Step}, Plane{pSrc2, src2Step});
  return qorStsNoErr;
}

}  // namespace

#define QOR_SUB(name, T, channels)                                                                                   \
  QorStatus name(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, QoriSize roiSize, \
                 int scaleFactor) {                                                                                  \
    return sub(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, scaleFactor, channels);                     \
  }
QOR_SUB(qoriSub_8u_C1RSfs, Qor8u, 1)
QOR_SUB(qoriSub_8u_C3RSfs, Qor8u, 3)
QOR_SUB(qoriSub_8u_C4RSfs, Qor8u, 4)
QOR_SUB(qoriSub_16u_C1RSfs, Qor16u, 1)
QOR_SUB(qoriSub_16s_C1RSfs, Qor16s, 1)

#define QOR_SUB_FLOAT(name, channels)                                                                             \
  QorStatus name(const Qor32f* pSrc1, int src1Step, const Qor32f* pSrc2, int src2Step, Qor32f* pDst, int dstStep, \
                 QoriSize roiSize) {                                                                              \
    return subFloat(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize, channels);                          \
  }
QOR_SUB_FLOAT(qoriSub_32f_C1R, 1)
QOR_SUB_FLOAT(qoriSub_32f_C3R, 3)
QOR_SUB_FLOAT(qoriSub_32f_C4R, 4)

QorStatus qoriMulC_16s_C1RSfs(const Qor16s* pSrc, int srcStep, Qor16s value, Qor16s* pDst, int dstStep,
                              QoriSize roiSize, int scaleFactor) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  if (value == 0 || scaleFactor > LaneScale::maxRight) {
    return fillWithZero(pDst, dstStep, roiSize.width, roiSize.height);
  }
  const auto kernel = [scale = LaneScale(scaleFactor, topOf<Qor16s>), factor = splat(value)](const Qor16s* s) {
    const V16s a = load(s);
    const Split<Qor16s> products = splitZip(a * factor, multiplyHigh(a, factor));
    return Block<Qor16s, 1>{joinToS(Split<Qor32s>{scale(as<Qor32s>(products.a)), scale(as<Qor32s>(products.b))})};
  };
  const auto row = [&kernel](ptrdiff_t n, Qor16s* d, const Qor16s* s) { mapRow(d, n, kernel, s); };
  forRows(always, roiSize, 1, row, Plane{pDst, dstStep}, Plane{pSrc, srcStep});
  return qorStsNoErr;
}

QorStatus qoriMulC_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f value, Qor32f* pDst, int dstStep, QoriSize roiSize) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const auto kernel = [factor = splat(value)](const Qor32f* s) { return Block<Qor32f, 1>{load(s) * factor}; };
  const auto row = [kernel](ptrdiff_t n, Qor32f* d, const Qor32f* s) { mapRow(d, n, kernel, s); };
  forRows(always, roiSize, 1, row, Plane{pDst, dstStep}, Plane{pSrc, srcStep});
  return qorStsNoErr;
}

}  // namespace qor
