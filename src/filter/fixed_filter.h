// The driver of the fixed filters: checks, sizes of scratch, bands, rows outside the image. Kernels come as functions,
// so that it stands here once for a sample type.
#pragma once

#include "filter/fixed_filter_sweep.h"
#include "frame/checks.h"
#include "frame/threads.h"

namespace qor::inline QOR_LEVEL {

// When a call is shared: usually, and the Laplacian of 8s results.
inline constexpr TeamRule fixedTeam = {.width = 256,
                                       .height = 256,
                                       .rowsOfThread = 5,
                                       .cores = true,
                                       .upToCores = true,
                                       .rowsAThread = 128,
                                       .leastThreads = 2};
inline constexpr TeamRule fixedSmallTeam = {.width = 256,
                                            .height = 64,
                                            .rowsOfThread = 5,
                                            .cores = true,
                                            .upToCores = true,
                                            .rowsAThread = 32,
                                            .leastThreads = 2};

// What a member's size query is made of.
struct FixedSize {
  int sampleBytes, planes;  // of the intermediate rows
  int extra;                // bytes beside them
  bool imageOf5x5 = false;  // whether the larger mask gets room for a whole image
  const TeamRule& rule = fixedTeam;
};

QorStatus fixedBufferSize(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, const FixedSize& size);

// One call of a filter of S samples, whatever its results.
template <class S>
struct FixedCall {
  Plane<const S> source;
  void* result;
  int resultStep;
  QoriSize size;
  QoriBorderType border;
  S value;
  Qor8u* scratch;
};

// Filters an image, the arguments accepted; qorStsSizeErr, and nothing is written, when no thread has room in the
// scratch that the query reports. `store` is what the kernel's stores take.
template <class S>
QorStatus filterImage(const FixedKernel<S>& kernel, const void* store, const FixedCall<S>& call, const FixedSize& size);
template <class F, class D, class Store, class S>
QorStatus filterImage(const Store& store, const FixedCall<S>& call, const FixedSize& size) {
  static constexpr FixedKernel<S> kernel = fixedKernel<F, S, D, Store>();
  return filterImage(kernel, &store, call, size);
}
inline constexpr Borders fixedBorders = {
    .rules = ruleBits(qorBorderConst, qorBorderRepl, qorBorderWrap, qorBorderMirror, qorBorderMirrorR, qorBorderInMem),
    .refusal = qorStsBadArgErr,
    .plainColumns = true};

// The checks that all members make, in their order; a divisor and a mask come behind them.
template <class D, class S>
QorStatus fixedCheck(const FixedCall<S>& call) {
  const int width = call.size.width;
  return firstFailure(nullCheck(call.source.first), nullCheck(call.result), nullCheck(call.scratch),
                      sizeCheck(call.size), stepCheck<S>(width, call.source.step), stepCheck<D>(width, call.resultStep),
                      evenCheck<S>(call.source.step), evenCheck<D>(call.resultStep), fixedBorders.check(call.border));
}

// Calls filter(F) for the filter of the mask once the arguments are accepted.
template <class D, class Small, class Large, class S, class Filter>
QorStatus filterChecked(const FixedCall<S>& call, QorStatus more, QoriMaskSize maskSize, const Filter& filter) {
  const QorStatus status = firstFailure(fixedCheck<D>(call), more, maskCheck(maskSize));
  if (status != qorStsNoErr) return status;
  if constexpr (!std::is_same_v<Small, Large>) {
    if (maskSize == qorMskSize5x5) return filter(Large());
  }
  return filter(Small());
}

}  // namespace qor
