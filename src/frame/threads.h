// Threads: the library's helpers, and the only places that open a parallel region.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

int owncvGetMaxNumThreads();      // the thread count set for the whole library
int owncvGetNumThreads();         // size of the current team; 1 outside a parallel region
int owncvGetIdThreads();          // number within the current team, 0 for the master
int runomp();                     // number of cores, but 0 when there is only one
int runsepomp(int kernelLength);  // as runomp for kernels of 3 and 5; never 0 for others
int owncvGetCacheSize();          // bytes of the largest cache, 0 when unknown

// Contiguous rows of one thread.
struct Band {
  int thread;
  int first;
  int rows;
};

// Thread t of count takes height / count rows; the last one takes the remainder too.
constexpr Band bandOf(int thread, int count, int height) {
  const int rows = height / count;
  return {thread, thread * rows, thread == count - 1 ? height - thread * rows : rows};
}

// Thread t of count begins at the row nearest to t * height / count, a quotient of 32-bit floats. The quotient of the
// last bound may lie beside the height, which stands for it.
constexpr Band roundedBandOf(int thread, int count, int height) {
  const auto begin = [=](int t) {
    if (t == count) return height;
    const Qor32f quotient = static_cast<Qor32f>(int64_t{t} * height) / static_cast<Qor32f>(count);
    const Qor32f raised = quotient + 0.5F;
    const int row = static_cast<int>(raised);
    return row < height ? row : height;
  };
  const int first = begin(thread);
  return {thread, first, begin(thread + 1) - first};
}

// Partial results on the caller's stack up to this many threads, allocated beyond.
constexpr int stackSlots = 32;

}  // namespace qor
