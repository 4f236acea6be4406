// Argument checks: one helper per shape of argument. A driver writes its checks as one list in the order of its
// contract, and the first that fails decides the status. Nothing is read or written before the list has passed.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// The first status of the list that is not success.
template <class... Status>
constexpr QorStatus firstFailure(Status... statuses) {
  QorStatus first = qorStsNoErr;
  ((first = first == qorStsNoErr ? statuses : first), ...);
  return first;
}

template <class... T>
constexpr QorStatus nullCheck(const T*... pointers) {
  return ((pointers == nullptr) || ...) ? qorStsNullPtrErr : qorStsNoErr;
}

constexpr QorStatus sizeCheck(QoriSize size) { return size.width < 1 || size.height < 1 ? qorStsSizeErr : qorStsNoErr; }
constexpr QorStatus lengthCheck(int64_t len) { return len < 1 ? qorStsSizeErr : qorStsNoErr; }

// Bytes of a row of that many samples, in 64 bits: huge widths must fail the step check, not wrap past it.
template <class T>
constexpr int64_t rowBytes(int64_t samples) {
  return samples * static_cast<int64_t>(sizeof(T));
}

// A step against its minimum for rows of that many samples.
template <class T, class... Step>
constexpr QorStatus stepCheck(int64_t samples, Step... steps) {
  return ((steps < rowBytes<T>(samples)) || ...) ? qorStsStepErr : qorStsNoErr;
}

// The lighter check of internal operations.
template <class... Step>
constexpr QorStatus positiveStepCheck(Step... steps) {
  return ((steps < 1) || ...) ? qorStsStepErr : qorStsNoErr;
}

// Steps against the sample size, which is a power of two.
template <class T, class... Step>
constexpr QorStatus evenCheck(Step... steps) {
  return ((static_cast<Qor32u>(steps) | ...) & (sizeof(T) - 1)) != 0 ? qorStsNotEvenStepErr : qorStsNoErr;
}

constexpr QorStatus coiCheck(int coi) { return coi < 1 || coi > 3 ? qorStsCOIErr : qorStsNoErr; }

constexpr QorStatus maskCheck(QoriMaskSize mask) {
  return mask == qorMskSize3x3 || mask == qorMskSize5x5 ? qorStsNoErr : qorStsMaskSizeErr;
}

// Pixels of a region as thresholds count them: the product wraps in 32 bits.
constexpr Qor32s area(int64_t width, int height) {
  return static_cast<Qor32s>(static_cast<Qor32u>(width) * static_cast<Qor32u>(height));
}

}  // namespace qor
