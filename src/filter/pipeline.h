// What the row and the column pipelines share: reported scratch, teams, checks.
#pragma once

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
  if (status == qorStsNoErr) *pBufferSize = sizeFor(roiSize, kernelSize);
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

// When members are shared among the library's team.
inline constexpr TeamRule neverShared = {.leastThreads = topOf<int>};
inline constexpr TeamRule sharedPixels = {.pixelsOfThread = 1 << 15};

inline Qor32f inverseOf(int divisor) { return 1.0F / static_cast<Qor32f>(divisor); }

}  // namespace qor
