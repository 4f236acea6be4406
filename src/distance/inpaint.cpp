// Inpainting: pixels of a hole, in the order of their distance from its edge, each as a weighted mean of the known ones
// around it. Where a pixel has been filled it is known, and the gradients beside it are formed anew.
#include <string.h>

#include "distance/inpaint_state.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/image_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Below this sum of weights the four nearest pixels decide.
constexpr Qor32f leastWeight = 0.0001F;
constexpr Qor32f firstWeight = 1e-30F;

// ---- gradients: from the known ones of two pixels on either side of one

struct Gradient {
  static constexpr InpaintMethod method = InpaintMethod::gradient;

  static int difference(int before, int here, int after, bool knowsBefore, bool knowsAfter) {
    if (knowsBefore && knowsAfter) return 2 * (after - before);
    return knowsBefore ? here - before : knowsAfter ? after - here : 0;
  }
};

struct Isophote {
  static constexpr InpaintMethod method = InpaintMethod::isophote;

  static int difference(int before, int here, int after, bool knowsBefore, bool knowsAfter) {
    const int toBefore = before > here ? before - here : here - before;
    const int toAfter = after > here ? after - here : here - after;
    if (knowsBefore && knowsAfter) return toBefore + toAfter;
    return knowsBefore ? 2 * toBefore : knowsAfter ? 2 * toAfter : 0;
  }
};

template <class Method, int channels>
class Fill {
 public:
  explicit Fill(const QoriInpaintState& state) : s_(state), p_(state.planes) {}

  // Copies the window of dst, which holds the source, fills the hole and writes it to dst.
  void run(Plane<Qor8u> dst) const {
    const QoriRect& w = s_.window;
    const auto pixels = static_cast<size_t>(s_.stride * (w.height + 2 * s_.frameY));
    memcpy(p_.unknown, p_.hole, pixels);
    memset(p_.gradient, 0, pixels * 2 * channels * sizeof(Qor16s));
    if constexpr (isIsophote) memset(p_.inverseLengths, 0, pixels * channels * sizeof(Qor32f));
    for (int y = 0; y < w.height; ++y) {
      memcpy(p_.image + ((y + s_.frameY) * s_.stride + s_.frameX) * channels,
             dst.row(w.y + y) + w.x * ptrdiff_t{channels}, static_cast<size_t>(w.width) * channels);
    }
    for (int64_t i = 0; i < s_.ringCount; ++i) formGradient(s_.ring[i], true, true);
    for (int64_t i = 0; i < s_.pixelCount; ++i) {
      const InpaintPixel& pixel = s_.pixels[i];
      if constexpr (isIsophote) {
        byIsophotes(pixel.at);
      } else {
        byGradients(pixel);
      }
      const ptrdiff_t y = pixel.at / s_.stride - s_.frameY, x = pixel.at % s_.stride - s_.frameX;
      memcpy(dst.row(static_cast<int>(w.y + y)) + (w.x + x) * channels, p_.image + pixel.at * channels, channels);
      p_.unknown[pixel.at] = 0;
      formGradient(pixel.at, true, true);
      for (int side = -1; side <= 1; side += 2) {
        formGradient(pixel.at + side, true, false);
        formGradient(pixel.at + side * s_.stride, false, true);
      }
    }
  }

 private:
  static constexpr bool isIsophote = Method::method == InpaintMethod::isophote;

  bool knows(ptrdiff_t at) const { return p_.unknown[at] == 0; }

  int differenceAlong(ptrdiff_t at, ptrdiff_t step, int c) const {
    const auto value = [&](ptrdiff_t i) { return int{p_.image[i * channels + c]}; };
    return Method::difference(value(at - step), value(at), value(at + step), knows(at - step), knows(at + step));
  }

  // Of a known pixel, along the row and along the column or one of them.
  void formGradient(ptrdiff_t at, bool alongRow, bool alongColumn) const {
    if (!knows(at)) return;
    for (int c = 0; c < channels; ++c) {
      Qor16s* const g = p_.gradient + (at * channels + c) * 2;
      if (alongRow) g[0] = static_cast<Qor16s>(differenceAlong(at, 1, c));
      if (alongColumn) g[1] = static_cast<Qor16s>(differenceAlong(at, s_.stride, c));
      if constexpr (isIsophote) {
        const auto square = static_cast<Qor32f>(g[0] * g[0] + g[1] * g[1]);
        p_.inverseLengths[at * channels + c] = square > 0 ? 1 / __builtin_sqrtf(square) : 0;
      }
    }
  }

  // The four nearest pixels: how many are known, and the sum of their values.
  int fourAround(ptrdiff_t at, Qor32f (&sums)[channels]) const {
    int count = 0;
    for (Qor32f& sum : sums) sum = 0;
    const ptrdiff_t four[] = {at - 1, at + 1, at - s_.stride, at + s_.stride};
    for (const ptrdiff_t q : four) {
      if (!knows(q)) continue;
      ++count;
      for (int c = 0; c < channels; ++c) sums[c] += static_cast<Qor32f>(p_.image[q * channels + c]);
    }
    return count;
  }

  void byGradients(const InpaintPixel& pixel) const {
    Qor32f weights = firstWeight, sums[channels] = {}, jx[channels] = {}, jy[channels] = {};
    const Qor32f distance = p_.distance[pixel.at];
    for (int64_t i = 0; i < s_.neighbourCount; ++i) {
      const InpaintNeighbour& n = s_.neighbours[i];
      const ptrdiff_t q = pixel.at + n.offset;
      if (!knows(q)) continue;
      const Qor64s along = Qor64s{pixel.nx} * n.dx + Qor64s{pixel.ny} * n.dy;
      const Qor32f direction = along == 0 ? 2.5e-25F : static_cast<Qor32f>(along);
      const Qor32f level = 0.000244140625F / (__builtin_fabsf(p_.distance[q] - distance) + 1);
      const Qor32f weight = __builtin_fabsf(level * n.weight * direction);
      weights += weight;
      for (int c = 0; c < channels; ++c) {
        const Qor16s* const g = p_.gradient + (q * channels + c) * 2;
        sums[c] += weight * static_cast<Qor32f>(p_.image[q * channels + c]);
        jx[c] -= weight * static_cast<Qor32f>(g[0]) * static_cast<Qor32f>(n.dx);
        jy[c] -= weight * static_cast<Qor32f>(g[1]) * static_cast<Qor32f>(n.dy);
      }
    }
    if (weights < leastWeight) {
      weights += 255 * static_cast<Qor32f>(fourAround(pixel.at, sums));
      for (int c = 0; c < channels; ++c) sums[c] *= 255, jx[c] = jy[c] = 0;
    }
    for (int c = 0; c < channels; ++c) {
      const Qor32f mean = sums[c] / weights;
      const Qor64f x = jx[c], y = jy[c];
      p_.image[pixel.at * channels + c] =
          truncatedSaturated<Qor8u>(mean + 0.5 + (x + y) / (__builtin_sqrt(x * x + y * y) + 1e-20));
    }
  }

  void byIsophotes(ptrdiff_t at) const {
    Qor32f weights[channels], sums[channels] = {};
    for (Qor32f& w : weights) w = firstWeight;
    for (int64_t i = 0; i < s_.neighbourCount; ++i) {
      const InpaintNeighbour& n = s_.neighbours[i];
      const ptrdiff_t q = at + n.offset;
      if (!knows(q)) continue;
      for (int c = 0; c < channels; ++c) {
        const ptrdiff_t sample = q * channels + c;
        const Qor16s* const g = p_.gradient + sample * 2;
        const Qor64s dot = Qor64s{n.dx} * g[1] - Qor64s{n.dy} * g[0];
        const Qor32f alignment =
            dot == 0 ? 1e-6F : static_cast<Qor32f>(dot < 0 ? -dot : dot) * p_.inverseLengths[sample];
        const Qor32f weight = n.weight * alignment;
        sums[c] += weight * static_cast<Qor32f>(p_.image[sample]);
        weights[c] += weight;
      }
    }
    Qor32f nearest[channels];
    const int count = fourAround(at, nearest);
    for (int c = 0; c < channels; ++c) {
      if (weights[c] < leastWeight) {
        sums[c] += nearest[c];
        weights[c] += static_cast<Qor32f>(count);
      }
      p_.image[at * channels + c] = truncatedSaturated<Qor8u>(sums[c] / weights[c] + 0.5F);
    }
  }

  const QoriInpaintState& s_;
  const InpaintPlanes& p_;
};

// ---- calls

QorStatus initAlloc(QoriInpaintState** ppState, const Qor32f* pDist, int distStep, const Qor8u* pMask, int maskStep,
                    QoriSize roiSize, Qor32f radius, int method, int channels) {
  const QorStatus status =
      firstFailure(nullCheck(pMask, pDist, ppState), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, maskStep),
                   stepCheck<Qor32f>(roiSize.width, distStep), evenCheck<Qor32f>(distStep),
                   method == qorInpaintGradient || method == qorInpaintIsophote ? qorStsNoErr : qorStsBadArgErr,
                   radius >= 1 ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  QoriInpaintState* const state = makeInpaintState(
      {{pDist, distStep}, {pMask, maskStep}, roiSize, radius, static_cast<InpaintMethod>(method), channels});
  if (state == nullptr) return qorStsMemAllocErr;
  *ppState = state;
  return qorStsNoErr;
}

template <int channels>
QorStatus inpaint(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                  const QoriInpaintState* pState) {
  QorStatus status = firstFailure(nullCheck(pSrc, pDst, pState), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const QoriSize size = pState->fullSize;
  status = firstFailure(roiSize.width == size.width && roiSize.height == size.height ? qorStsNoErr : qorStsSizeErr,
                        stepCheck<Qor8u>(int64_t{roiSize.width} * channels, srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  if constexpr (channels == 1) {
    qoriCopy_8u_C1R(pSrc, srcStep, pDst, dstStep, roiSize);
  } else {
    qoriCopy_8u_C3R(pSrc, srcStep, pDst, dstStep, roiSize);
  }
  if (pState->pixelCount == 0) return qorStsNoErr;
  const Plane dst{pDst, dstStep};
  if (pState->method == InpaintMethod::gradient) {
    Fill<Gradient, channels>(*pState).run(dst);
  } else {
    Fill<Isophote, channels>(*pState).run(dst);
  }
  return qorStsNoErr;
}

QorStatus release(QoriInpaintState* pState) {
  if (pState == nullptr) return qorStsNullPtrErr;
  qorsFree(pState);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriInpaintInitAlloc_8u_C1R)
(QoriInpaintState** ppState, const Qor32f* pDist, int distStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
 Qor32f radius, int method) {
  return qor::initAlloc(ppState, pDist, distStep, pMask, maskStep, roiSize, radius, method, 1);
}
QOR_BODY(qoriInpaintInitAlloc_8u_C3R)
(QoriInpaintState** ppState, const Qor32f* pDist, int distStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
 Qor32f radius, int method) {
  return qor::initAlloc(ppState, pDist, distStep, pMask, maskStep, roiSize, radius, method, 3);
}
QOR_BODY(qoriInpaint_8u_C1R)
(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, QoriInpaintState* pState) {
  return qor::inpaint<1>(pSrc, srcStep, pDst, dstStep, roiSize, pState);
}
QOR_BODY(qoriInpaint_8u_C3R)
(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, QoriInpaintState* pState) {
  return qor::inpaint<3>(pSrc, srcStep, pDst, dstStep, roiSize, pState);
}
QOR_BODY(qoriInpaintFree_8u_C1R)(QoriInpaintState* pState) { return qor::release(pState); }
QOR_BODY(qoriInpaintFree_8u_C3R)(QoriInpaintState* pState) { return qor::release(pState); }
