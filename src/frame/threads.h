// Threads: the library's helpers, and the only places that open a parallel region.
#pragma once

#include "frame/base.h"

namespace qor {

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

// Partial results on the caller's stack up to this many threads, allocated beyond.
constexpr int stackSlots = 32;

}  // namespace qor
