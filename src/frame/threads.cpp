#include "frame/threads.h"

#include <omp.h>

#include "frame/core.h"

namespace qor::inline QOR_LEVEL {

int owncvGetMaxNumThreads() { return ownGetNumThreads(); }
int owncvGetNumThreads() { return omp_get_num_threads(); }
int owncvGetIdThreads() { return omp_get_thread_num(); }

int runomp() {
  const int cores = qorGetNumCoresOnDie();
  return cores == 1 ? 0 : cores;
}

int runsepomp(int kernelLength) { return kernelLength == 3 || kernelLength == 5 ? runomp() : runomp() | 1; }

int owncvGetCacheSize() {
  int size = 0;
  qorGetMaxCacheSizeB(&size);
  return size;
}

}  // namespace qor
