// What the row and the column pipelines share: the scratch, the threads, the arithmetic that divisor and taps decide.
#pragma once

#include "frame/base.h"
#include "frame/checks.h"
#include "frame/threads.h"

namespace qor::inline QOR_LEVEL {

// A reported number of bytes wraps in 32 bits: fixed bytes, bytes a thread, and 8 * (height + kernelSize) + 32 more for
// each thread. Members that never go parallel report the fixed ones alone.
struct ScratchSize {
  Qor32u fixed;
  Qor32u perThread;
  bool threads = true;

  Qor32s total(int height, int kernelSize) const {
    if (!threads) return static_cast<Qor32s>(fixed);
    const auto team = static_cast<Qor32u>(owncvGetMaxNumThreads());
    const Qor32u lists = 32 + 8 * (static_cast<Qor32u>(height) + static_cast<Qor32u>(kernelSize));
    return static_cast<Qor32s>(fixed + team * (lists + perThread));
  }
};

template <class Size>
QorStatus reportScratch(QoriSize roiSize, int kernelSize, int* pBufferSize, const Size& sizeFor) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), lengthCheck(kernelSize));
  if (status == qorStsNoErr) *pBufferSize = sizeFor(roiSize, kernelSize).total(roiSize.height, kernelSize);
  return status;
}

// The first count pointers of the array, which may lie beyond 32 bits.
template <class T>
QorStatus rowsCheck(const T* const* rows, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    if (rows[i] == nullptr) return qorStsNullPtrErr;
  }
  return qorStsNoErr;
}

// Pixels from which a call is shared among the team.
inline bool pipelineGoesParallel(QoriSize roiSize) {
  return area(roiSize.width, roiSize.height) >= static_cast<Qor32s>(static_cast<Qor32u>(owncvGetMaxNumThreads()) << 15);
}

inline void* aligned16(Qor8u* scratch) { return scratch + (-reinterpret_cast<uintptr_t>(scratch) & 15); }

// 32-bit sums of 16s samples hold as long as the absolute taps, added as floats, stay below this.
constexpr Qor32f exactTapLimit = 65535.0F;

inline Qor32f absoluteSum(const Qor16s* taps, int count) {
  Qor32f sum = 0;
  for (int i = 0; i < count; ++i) sum += static_cast<Qor32f>(taps[i] < 0 ? -taps[i] : int{taps[i]});
  return sum;
}

inline Qor32f inverseOf(int divisor) { return 1.0F / static_cast<Qor32f>(divisor); }

// Factor of the members of low precision, in 16 bits: 16384 / divisor, truncated.
inline Qor32s lowScale(int divisor) {
  return static_cast<Qor16s>(static_cast<Qor32s>(16384.0F / static_cast<Qor32f>(divisor)));
}

// Floats of the taps, each times factor.
template <class Tap>
inline void floatTaps(Qor32f* to, const Tap* taps, int count, Qor32f factor) {
  for (int i = 0; i < count; ++i) to[i] = static_cast<Qor32f>(taps[i]) * factor;
}

}  // namespace qor
