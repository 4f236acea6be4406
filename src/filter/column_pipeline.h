// The column pipelines inside the library.
#pragma once

#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// Arguments of an exported member that pass its checks, and the bytes of its scratch. A row has `samples`: width *
// channels.
template <class T, class D>
struct ColumnCall {
  const T* const* rows;
  Plane<D> dst;
  ptrdiff_t samples;
  int height;
  const T* taps;
  int kernelSize;
  int divisor;
  Qor8u* scratch;
  int scratchBytes;
};

// Instantiated for 16s (into 16s and 8u), 16u, 32f: the members whose kernels are not of low precision. They run on the
// calling thread. qorStsSizeErr, and nothing written, where the scratch has not the bytes needed.
template <class T, class D>
QorStatus filterColumns(const ColumnCall<T, D>& call);
template <class T>
int64_t columnBytesNeeded(int kernelSize);

// The same to the last bit for rows whose samples lie between 0 and 255: sums are then exact, and integer kernels take
// half the time. Divisors that are no power of two, and sums that may leave 0 .. 2^23 - 1 and -2^22 .. 2^22 - 1, go the
// general way.
QorStatus filterByteColumns(const ColumnCall<Qor16s, Qor8u>& call);

// What the size query of a member reports.
template <class T, int channels>
int columnScratch(QoriSize size, int kernelSize);

}  // namespace qor
