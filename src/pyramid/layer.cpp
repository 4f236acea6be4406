// Pyramid layers: one level of a pyramid made from its neighbour by a kernel of the caller's, at any rate.
#include "pyramid/layer.h"

#include <math.h>

#include <limits>
#include <new>

#include "frame/bodies.h"
#include "pyramid/layer_bytes.h"
#include "pyramid/layer_floats.h"
#include "pyramid/level_size.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- kernels: taps divided by their sum

int64_t sumOf(const Qor16s* taps, int size) {
  int64_t sum = 0;
  for (int i = 0; i < size; ++i) sum += taps[i];
  return sum;
}
// From the middle outwards.
Qor32f sumOf(const Qor32f* taps, int size) {
  Qor32f sum = taps[size / 2];
  for (int i = 1; i <= size / 2; ++i) sum += taps[size / 2 - i] + taps[size / 2 + i];
  return sum;
}

bool vanishes(int64_t sum) { return sum == 0; }
bool vanishes(Qor32f sum) { return fabsf(sum) < std::numeric_limits<Qor32f>::min(); }

// In units of 2^-13, rounded towards zero and then down.
Qor64f share(Qor16s tap, int64_t sum) {
  const Qor64f fixed = 2.0 * tap / static_cast<Qor64f>(sum) * 8192.0 + 0.5;
  return static_cast<Qor64f>(static_cast<int64_t>(fixed) >> 1) / 8192.0;
}
Qor64f share(Qor32f tap, Qor32f sum) { return static_cast<Qor64f>(tap / sum); }

// The largest sum of the absolute weights of a position, and the largest weight that is a tap.
int fractionOf(const LayerKernel& kernel) {
  Qor64f sums[2] = {0, 0}, largest = 0;
  for (int i = 0; i < kernel.size; ++i) {
    const Qor64f tap = fabs(kernel.taps[i]);
    sums[i % 2] += tap;
    if (tap > largest) largest = tap;
  }
  const bool phases = kernel.byTwo && kernel.step == LayerStep::up;
  if (!phases) return layerFraction(sums[0] + sums[1], largest, kernel.size);
  return layerFraction(2 * (sums[0] > sums[1] ? sums[0] : sums[1]), 2 * largest, kernel.size);
}

// ---- layers

template <class State, class T, int channels>
auto layoutOf(const LayerKernel& kernel, QoriSize source, QoriSize destination) {
  return [=](ScratchParts& parts) {
    using Floats = LayerFloats<T, channels>;
    const int window = kernel.window();
    State* const state = parts.take<State>(1);
    Layer layer{};
    layer.taps = parts.take<Qor64f>(kernel.size);
    layer.weights = parts.take<Qor64f>(window);
    layer.window = parts.take<const void*>(window);
    layer.rowWeights = parts.take<Qor32f>(window);
    const int64_t beside = int64_t{2} * Layer::beside(kernel.size);
    layer.source =
        reinterpret_cast<Qor8u*>(parts.take<Qor32f>((source.width + beside) * channels + layerSlack, wideVectorBytes));
    layer.ring = parts.take<Qor8u>(Layer::ringRows(kernel.size, source.height) * Floats::ringStep(destination.width),
                                   wideVectorBytes);
    int64_t table = Floats::tableBytes(destination.width, window);
    if constexpr (sizeof(T) == 1) {
      const int64_t other = LayerBytes<channels>::tableBytes(destination.width, window);
      if (other > table) table = other;
    }
    layer.table = parts.take<Qor8u>(table, wideVectorBytes);
    if (state != nullptr) new (state) State{layer};
    return state;
  };
}

template <class State>
constexpr LayerStep stepOf = std::is_same_v<State, QoriPyramidDownState> ? LayerStep::down : LayerStep::up;

// The finer of the two sizes is given.
template <class T, int channels, class State, class Tap>
QorStatus initAlloc(State** ppState, QoriSize roiSize, Qor32f rate, const Tap* pKernel, int kernelSize, int mode) {
  constexpr LayerStep step = stepOf<State>;
  const bool known = mode == 2 && rateCheck(rate) == qorStsNoErr && kernelSize >= 3 && kernelSize % 2 == 1;
  const QorStatus status =
      firstFailure(nullCheck(ppState, pKernel), sizeCheck(roiSize), known ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const auto sum = sumOf(pKernel, kernelSize);
  if (vanishes(sum)) return qorStsBadArgErr;
  // Two arrays of 64-bit taps alone leave 31 bits; below, no product of sizes leaves 63.
  if (kernelSize >= 1 << 27) return qorStsMemAllocErr;
  const QoriSize coarser = coarserSize(roiSize, rate);
  const QoriSize source = step == LayerStep::down ? roiSize : coarser;
  LayerKernel kernel{nullptr, kernelSize, step, rate == 2.0F};
  const auto layout = layoutOf<State, T, channels>(kernel, source, step == LayerStep::down ? coarser : roiSize);
  Qor8u* const block = allocateFor(layout);
  if (block == nullptr) return qorStsMemAllocErr;
  State* state;
  {
    ScratchParts parts(block, bytesOf(layout), bytesOf(layout));
    state = layout(parts);
  }
  for (int i = 0; i < kernelSize; ++i) state->taps[i] = share(pKernel[i], sum);
  kernel.taps = state->taps;
  state->kernel = kernel;
  state->rate = rate;
  state->most = roiSize;
  if constexpr (sizeof(T) == 1) state->fraction = fractionOf(kernel);
  *ppState = state;
  return qorStsNoErr;
}

template <class State>
QorStatus freeLayer(State* pState) {
  if (const QorStatus status = nullCheck(pState); status != qorStsNoErr) return status;
  qorsFree(pState);
  return qorStsNoErr;
}

// ---- steps

constexpr bool areSame(QoriSize a, QoriSize b) { return a.width == b.width && a.height == b.height; }

// A size that the layer has room for, and what it reduces to.
QorStatus matchCheck(const Layer& layer, QoriSize finer, QoriSize coarser) {
  if (const QorStatus status = rateCheck(layer.rate); status != qorStsNoErr) return status;
  if (sizeCheck(finer) != qorStsNoErr || !areSame(coarserSize(finer, layer.rate), coarser)) return qorStsSizeErr;
  return finer.width > layer.most.width || finer.height > layer.most.height ? qorStsSizeErr : qorStsNoErr;
}

// Makes the table of the columns, unless it is that of the call before; false where it has to be one for floats.
template <int channels>
bool planIntegers(Layer& layer, LayerBytes<channels>& filter, int from, int to) {
  LayerColumns& columns = layer.columns;
  if (layer.fraction == 0) return false;
  if (columns.from == from && columns.to == to) return columns.integers;
  columns = {from, to, filter.plan()};
  // What is left of it is no table yet.
  if (!columns.integers) columns.from = 0;
  return columns.integers;
}

template <int channels, class T, class State>
QorStatus runLayer(const T* pSrc, int srcStep, QoriSize srcRoiSize, T* pDst, int dstStep, QoriSize dstRoiSize,
                   State* pState) {
  QorStatus status = firstFailure(
      nullCheck(pSrc, pDst, pState), sizeCheck(srcRoiSize), stepCheck<T>(int64_t{srcRoiSize.width} * channels, srcStep),
      stepCheck<T>(int64_t{dstRoiSize.width} * channels, dstStep), evenCheck<T>(srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  Layer& layer = *pState;
  status = stepOf<State> == LayerStep::down ? matchCheck(layer, srcRoiSize, dstRoiSize)
                                            : matchCheck(layer, dstRoiSize, srcRoiSize);
  if (status != qorStsNoErr) return status;
  const Plane src{pSrc, srcStep};
  const Plane dst{pDst, dstStep};
  const int from = srcRoiSize.width, to = dstRoiSize.width;
  if constexpr (sizeof(T) == 1) {
    LayerBytes<channels> filter(layer, from, to);
    if (planIntegers(layer, filter, from, to)) {
      sweepLayer(layer, filter, src, srcRoiSize.height, dst, dstRoiSize.height);
      return qorStsNoErr;
    }
  }
  LayerFloats<T, channels> filter(layer, from, to);
  if (layer.columns.from != from || layer.columns.to != to) {
    filter.plan();
    layer.columns = {from, to, false};
  }
  sweepLayer(layer, filter, src, srcRoiSize.height, dst, dstRoiSize.height);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_LAYER_STEP(step, ending, State, T, Tap, channels)                                                   \
  QOR_BODY(qoriPyramidLayer##step##InitAlloc_##ending)                                                          \
  (State * *ppState, QoriSize roiSize, Qor32f rate, const Tap* pKernel, int kernelSize, int mode) {             \
    return qor::initAlloc<T, channels>(ppState, roiSize, rate, pKernel, kernelSize, mode);                      \
  }                                                                                                             \
  QOR_BODY(qoriPyramidLayer##step##_##ending)                                                                   \
  (const T* pSrc, int srcStep, QoriSize srcRoiSize, T* pDst, int dstStep, QoriSize dstRoiSize, State* pState) { \
    return qor::runLayer<channels>(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize, pState);               \
  }                                                                                                             \
  QOR_BODY(qoriPyramidLayer##step##Free_##ending)(State * pState) { return qor::freeLayer(pState); }
#define QOR_LAYER(ending, T, Tap, channels)                            \
  QOR_LAYER_STEP(Down, ending, QoriPyramidDownState, T, Tap, channels) \
  QOR_LAYER_STEP(Up, ending, QoriPyramidUpState, T, Tap, channels)
#include "pyramid/layer.def"
