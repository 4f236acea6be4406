// Flood fill: repaints the connected region of a seed, by the pixels' equality, by a band of values or by the gradient,
// and tells its area and bounding rectangle. One engine serves the first two, one the third.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "segment/flood_gradient.h"
#include "segment/flood_spans.h"

namespace qor::inline QOR_LEVEL {
namespace {

// What all members take, and what they check first.
template <class T>
struct Target {
  T* pImage;
  int imageStep;
  QoriSize roiSize;
  QoriPoint seed;
  QoriConnectedComp* pRegion;
  Qor8u* pBuffer;

  // The step of three channels is tested as that of one, but in 16u.
  template <int channels, class... Values>
  QorStatus check(const Values*... values) const {
    int tested = channels;
    if (sizeof(T) != 2) tested = 1;
    const bool isInside = seed.x >= 0 && seed.x < roiSize.width && seed.y >= 0 && seed.y < roiSize.height;
    return firstFailure(nullCheck(pImage, pRegion, pBuffer, values...), sizeCheck(roiSize),
                        stepCheck<T>(int64_t{roiSize.width} * tested, imageStep), evenCheck<T>(imageStep),
                        isInside ? qorStsNoErr : qorStsOutOfRangeErr);
  }

  // With a step below the bytes of a row, the rows overlap, and painting changes what has been looked at: then the run
  // of the seed is all.
  template <int channels>
  bool isAlone() const {
    return roiSize.height > 1 && imageStep < rowBytes<T>(int64_t{roiSize.width} * channels);
  }

  const T* at(int channels) const { return rowAt(pImage, imageStep, seed.y) + ptrdiff_t{seed.x} * channels; }

  void tell(const FloodExtent& extent, const T* value, int channels) const {
    pRegion->area = static_cast<Qor32s>(extent.area);
    for (int c = 0; c < 3; ++c) pRegion->value[c] = c < channels ? static_cast<Qor64f>(value[c]) : 0;
    pRegion->rect = {extent.minX, extent.minY, extent.maxX - extent.minX + 1, extent.maxY - extent.minY + 1};
  }
};

template <class T>
bool allEqual(const T* a, const T* b, int channels) {
  bool equal = true;
  for (int c = 0; c < channels; ++c) equal &= a[c] == b[c];
  return equal;
}

template <Known known, Stack stack, bool diagonal, int channels, class T, class Rule>
void spread(const Target<T>& target, const Rule& rule, const T* newVal, Qor32s capacity) {
  SpanFill<T, channels, Rule, known, stack, diagonal> fill({target.pImage, target.imageStep}, target.roiSize, rule,
                                                           newVal, target.pBuffer, capacity);
  target.tell(fill.fill(target.seed, target.template isAlone<channels>()), newVal, channels);
}

// ---- equality

template <int channels, bool diagonal, class T>
QorStatus floodEqual(const Target<T>& target, const T* newVal) {
  const QorStatus status = target.template check<channels>(newVal);
  if (status != qorStsNoErr) return status;
  const T* const seed = target.at(channels);
  if (allEqual(seed, newVal, channels)) return qorStsNoErr;
  spread<Known::byPaint, Stack::whole, diagonal, channels>(target, Equal<T, channels>(seed), newVal, 0);
  return qorStsNoErr;
}

// ---- a band

// value - down and value + up, saturated but in floats.
template <class T>
void bounds(T value, T down, T up, T& low, T& high) {
  if constexpr (std::is_floating_point_v<T>) {
    low = value - down;
    high = up + value;
  } else {
    low = saturate<T>(Qor64s{value} - down);
    high = saturate<T>(Qor64s{value} + up);
  }
}

template <int channels, bool diagonal, class T>
QorStatus floodBand(const Target<T>& target, const T* newVal, const T* minDelta, const T* maxDelta) {
  const QorStatus status = target.template check<channels>(newVal, minDelta, maxDelta);
  if (status != qorStsNoErr) return status;
  const T* const seed = target.at(channels);
  if (allEqual(seed, newVal, channels)) return qorStsNoErr;
  T low[channels], high[channels];
  bool admitsPaint = true;
  for (int c = 0; c < channels; ++c) {
    bounds(seed[c], minDelta[c], maxDelta[c], low[c], high[c]);
    admitsPaint &= newVal[c] >= low[c] && newVal[c] <= high[c];
  }
  const Band<T, channels> band(low, high);
  const Qor32s capacity = area(target.roiSize.width, target.roiSize.height) / 4;
  if (admitsPaint) {
    spread<Known::byMark, Stack::drops, diagonal, channels>(target, band, newVal, capacity);
  } else {
    spread<Known::byPaint, Stack::drops, diagonal, channels>(target, band, newVal, capacity);
  }
  return qorStsNoErr;
}

// ---- the gradient

template <class T, int channels>
Fit<T, channels> fitOf(const T* minDelta, const T* maxDelta) {
  if constexpr (std::is_floating_point_v<T>) {
    T centre[channels], half[channels];
    for (int c = 0; c < channels; ++c) {
      centre[c] = (minDelta[c] - maxDelta[c]) * 0.5F;
      half[c] = 0.5F * (minDelta[c] + maxDelta[c]);
    }
    return {centre, half};
  } else {
    return {minDelta, maxDelta};
  }
}

template <int channels, bool diagonal, class T>
QorStatus floodGradient(const Target<T>& target, const T* newVal, const T* minDelta, const T* maxDelta) {
  const QorStatus status = target.template check<channels>(newVal, minDelta, maxDelta);
  if (status != qorStsNoErr) return status;
  for (int c = 0; c < channels; ++c)
    if (minDelta[c] < T(0) || maxDelta[c] < T(0)) return qorStsOutOfRangeErr;
  GradientFill<T, channels, diagonal> fill({target.pImage, target.imageStep}, target.roiSize,
                                           fitOf<T, channels>(minDelta, maxDelta), newVal, target.pBuffer);
  target.tell(fill.fill(target.seed, target.template isAlone<channels>()), newVal, channels);
  return qorStsNoErr;
}

// ---- sizes: 32-bit results of 64-bit sums, which wrap

QorStatus floodSize(QoriSize roiSize, int* pSize, bool gradient) {
  const QorStatus status = firstFailure(nullCheck(pSize), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const auto w = static_cast<uint64_t>(roiSize.width), h = static_cast<uint64_t>(roiSize.height);
  *pSize = static_cast<int>(gradient ? (w + 2) * (h + 2) + 16 * w * h + 64 : 6 * w * h + 32);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFloodFillGetSize)(QoriSize roiSize, int* pSize) { return qor::floodSize(roiSize, pSize, false); }
QOR_BODY(qoriFloodFillGetSize_Grad)(QoriSize roiSize, int* pSize) { return qor::floodSize(roiSize, pSize, true); }

#define QOR_FLOOD(name, T, channels, diagonal)                                                                     \
  QOR_BODY(name)                                                                                                   \
  (T * pImage, int imageStep, QoriSize roiSize, QoriPoint seed, T newVal, QoriConnectedComp* pRegion,              \
   Qor8u* pBuffer) {                                                                                               \
    return qor::floodEqual<channels, diagonal>(qor::Target<T>{pImage, imageStep, roiSize, seed, pRegion, pBuffer}, \
                                               &newVal);                                                           \
  }
#define QOR_FLOOD_C3(name, T, channels, diagonal)                                                                  \
  QOR_BODY(name)                                                                                                   \
  (T * pImage, int imageStep, QoriSize roiSize, QoriPoint seed, const T* pNewVal, QoriConnectedComp* pRegion,      \
   Qor8u* pBuffer) {                                                                                               \
    return qor::floodEqual<channels, diagonal>(qor::Target<T>{pImage, imageStep, roiSize, seed, pRegion, pBuffer}, \
                                               pNewVal);                                                           \
  }
#define QOR_FLOOD_DELTAS(name, T, channels, diagonal, flood)                                                           \
  QOR_BODY(name)                                                                                                       \
  (T * pImage, int imageStep, QoriSize roiSize, QoriPoint seed, T newVal, T minDelta, T maxDelta,                      \
   QoriConnectedComp* pRegion, Qor8u* pBuffer) {                                                                       \
    return qor::flood<channels, diagonal>(qor::Target<T>{pImage, imageStep, roiSize, seed, pRegion, pBuffer}, &newVal, \
                                          &minDelta, &maxDelta);                                                       \
  }
#define QOR_FLOOD_DELTAS_C3(name, T, channels, diagonal, flood)                                                        \
  QOR_BODY(name)                                                                                                       \
  (T * pImage, int imageStep, QoriSize roiSize, QoriPoint seed, const T* pNewVal, const T* pMinDelta,                  \
   const T* pMaxDelta, QoriConnectedComp* pRegion, Qor8u* pBuffer) {                                                   \
    return qor::flood<channels, diagonal>(qor::Target<T>{pImage, imageStep, roiSize, seed, pRegion, pBuffer}, pNewVal, \
                                          pMinDelta, pMaxDelta);                                                       \
  }
#define QOR_FLOOD_RANGE(name, T, channels, diagonal) QOR_FLOOD_DELTAS(name, T, channels, diagonal, floodBand)
#define QOR_FLOOD_RANGE_C3(name, T, channels, diagonal) QOR_FLOOD_DELTAS_C3(name, T, channels, diagonal, floodBand)
#define QOR_FLOOD_GRAD(name, T, channels, diagonal) QOR_FLOOD_DELTAS(name, T, channels, diagonal, floodGradient)
#define QOR_FLOOD_GRAD_C3(name, T, channels, diagonal) QOR_FLOOD_DELTAS_C3(name, T, channels, diagonal, floodGradient)
#include "segment/flood.def"
