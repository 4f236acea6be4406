// The row pipelines inside the library.
#pragma once

#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// Results and taps of a row.
template <class T>
using RowSample = std::conditional_t<std::is_same_v<T, Qor8u>, Qor16s, T>;

// Arguments of an exported member that pass its checks, and the bytes of its scratch.
template <class T, int channels>
struct RowCall {
  Plane<const T> src;
  RowSample<T>* const* rows;
  QoriSize size;
  const RowSample<T>* taps;
  int kernelSize, anchor;
  QoriBorderType border;
  const T* value;
  int divisor;
  Qor8u* scratch;
  int scratchBytes;
};

// Instantiated for 8u, 16s, 16u, 32f and 1 and 3 channels: the members whose kernels are not of low precision.

// On as many threads as the scratch has room for; qorStsSizeErr, and nothing written, where not even one has.
template <class T, int channels>
QorStatus filterRows(const RowCall<T, channels>& call);

// Bytes that so many threads need, and the team that a call would like: 0 for none.
template <class T, int channels>
int64_t rowBytesNeeded(int kernelSize, int threads);
template <class T, int channels>
int rowTeam(QoriSize size, int kernelSize);

// What the size query reports.
template <class T, int channels>
int rowScratch(QoriSize size, int kernelSize);

}  // namespace qor
