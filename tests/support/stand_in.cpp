#include "support/stand_in.h"

#include <dlfcn.h>
#include <pthread.h>
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

}  // namespace qortest

using qortest::current;
using qortest::increment;

namespace {

// The function that this program's own hides.
template <class F>
F* hidden(F*, const char* name) {
  return reinterpret_cast<F*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define QORTEST_HIDDEN(name) (*hidden(&(name), #name))

// Seen by the library, which then calls these instead.
#pragma GCC visibility push(default)
extern "C" {

int qorGetNumCoresOnDie(void) { return current != nullptr ? current->cores : QORTEST_HIDDEN(qorGetNumCoresOnDie)(); }

QorStatus qorGetMaxCacheSizeB(int* pSizeByte) {
  if (current == nullptr) return QORTEST_HIDDEN(qorGetMaxCacheSizeB)(pSizeByte);
  increment(current->cacheQueries);
  if (current->cacheSize < 0) return qorStsErr;
  *pSizeByte = current->cacheSize;
  return qorStsNoErr;
}

uint64_t qorGetEnabledCpuFeatures(void) {
  return current != nullptr ? current->features : QORTEST_HIDDEN(qorGetEnabledCpuFeatures)();
}

uint64_t qorGetCpuFeatures(uint64_t* pFeatures, uint32_t* pWord) {
  return current != nullptr ? current->features : QORTEST_HIDDEN(qorGetCpuFeatures)(pFeatures, pWord);
}

int ownGetFeature(uint64_t mask) { return (qorGetEnabledCpuFeatures() & mask) != 0; }

void* qorMalloc(int size) {
  if (current != nullptr) {
    if (current->allocations >= current->allocationsAllowed) return increment(current->refused), nullptr;
    increment(current->allocations);
  }
  return QORTEST_HIDDEN(qorMalloc)(size);
}

void qorFree(void* p) {
  if (current != nullptr && p != nullptr) increment(current->frees);
  QORTEST_HIDDEN(qorFree)(p);
}

void GOMP_parallel(void (*work)(void*), void* data, unsigned team, unsigned flags);
void GOMP_parallel(void (*work)(void*), void* data, unsigned team, unsigned flags) {
  if (current != nullptr) {
    increment(current->regions);
    current->lastTeam = team;
  }
  QORTEST_HIDDEN(GOMP_parallel)(work, data, team, flags);
}

}  // extern "C"
#pragma GCC visibility pop

namespace qortest {

void openRegion(int threads, const std::function<void()>& work) {
  const auto allowLevels = reinterpret_cast<void (*)(int)>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"));
  const auto workOfMaster = [&work, master = pthread_self()] {
    if (pthread_equal(pthread_self(), master) != 0) work();
  };
  const auto run = [](void* region) { (*static_cast<decltype(workOfMaster)*>(region))(); };
  allowLevels(2);
  GOMP_parallel(run, const_cast<void*>(static_cast<const void*>(&workOfMaster)), static_cast<unsigned>(threads), 0);
  allowLevels(1);
}

}  // namespace qortest
