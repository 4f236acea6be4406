#include "support/stand_in.h"

#include <stdlib.h>

#include "qorcore.h"

namespace qortest {
namespace {

StandIn* current = nullptr;

// Counts come from threads of a team too.
void increment(int& count) { __atomic_fetch_add(&count, 1, __ATOMIC_RELAXED); }

}  // namespace

StandIn::StandIn() : outer_(current) { current = this; }
StandIn::~StandIn() { current = outer_; }

void* RegionCounter::memory(int index) const {
  // Zeros for the largest region that the tests ask for, made once.
  static void* blocks[8] = {};
  constexpr size_t bytes = size_t{largestPixel} * 0x40000 * 8;
  void*& block = blocks[index];
  if (block == nullptr) block = calloc(bytes, 1);
  EXPECT_LE(static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height) * largestPixel, bytes);
  return block;
}

}  // namespace qortest

using qortest::current;
using qortest::increment;

extern "C" {

int ownGetNumThreads(void) {
  int count = 1;
  qorGetNumThreads(&count);
  return count;
}

int qorGetNumCoresOnDie(void) { return current != nullptr ? current->cores : 4; }

QorStatus qorGetMaxCacheSizeB(int* pSizeByte) {
  if (current == nullptr) {
    *pSizeByte = 1 << 25;
    return qorStsNoErr;
  }
  increment(current->cacheQueries);
  if (current->cacheSize < 0) return qorStsErr;
  *pSizeByte = current->cacheSize;
  return qorStsNoErr;
}

uint64_t qorGetEnabledCpuFeatures(void) { return current != nullptr ? current->features : ~uint64_t{0}; }
uint64_t qorGetCpuFeatures(uint64_t*, uint32_t*) { return qorGetEnabledCpuFeatures(); }
int ownGetFeature(uint64_t mask) { return (qorGetEnabledCpuFeatures() & mask) != 0; }

void* qorMalloc(int size) {
  if (current != nullptr) {
    if (current->allocations >= current->allocationsAllowed) return nullptr;
    increment(current->allocations);
  }
  void* p = nullptr;
  return posix_memalign(&p, 64, static_cast<size_t>(size)) == 0 ? p : nullptr;
}

void qorFree(void* p) {
  if (current != nullptr && p != nullptr) increment(current->frees);
  free(p);
}

void __real_GOMP_parallel(void (*work)(void*), void* data, unsigned team, unsigned flags);
void __wrap_GOMP_parallel(void (*work)(void*), void* data, unsigned team, unsigned flags);
void __wrap_GOMP_parallel(void (*work)(void*), void* data, unsigned team, unsigned flags) {
  if (current != nullptr) {
    increment(current->regions);
    current->lastTeam = team;
  }
  __real_GOMP_parallel(work, data, team, flags);
}

}  // extern "C"
