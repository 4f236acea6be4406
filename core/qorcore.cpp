// The layer under the library. Its only state is the thread count; everything else is read from the processor on
// demand.
#include "qorcore.h"

#include <cpuid.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

struct Registers {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// All zero for a leaf that the processor does not have.
Registers cpuid(unsigned leaf, unsigned subleaf = 0) {
  Registers r;
  const auto highest = static_cast<unsigned>(__get_cpuid_max(leaf & 0x80000000U, nullptr));
  if (highest >= leaf) __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
  return r;
}

constexpr bool hasBit(unsigned word, int bit) { return (word >> bit & 1) != 0; }

// Register state that the system saves on a task switch: without it the wide vector units must not be used.
unsigned savedState(const Registers& leaf1) {
  if (!hasBit(leaf1.ecx, 27)) return 0;
  unsigned low = 0, high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

uint64_t readFeatures() {
  const Registers leaf1 = cpuid(1);
  const Registers leaf7 = cpuid(7);
  const unsigned saved = savedState(leaf1);
  const bool ymm = (saved & 0x6) == 0x6;
  const bool zmm = (saved & 0xe6) == 0xe6;
  uint64_t mask = 0;
  const auto add = [&mask](bool has, uint64_t bit) { mask |= has ? bit : 0; };
  add(hasBit(leaf1.edx, 23), qorFeatureMmx);
  add(hasBit(leaf1.edx, 25), qorFeatureSse);
  add(hasBit(leaf1.edx, 26), qorFeatureSse2);
  add(hasBit(leaf1.ecx, 0), qorFeatureSse3);
  add(hasBit(leaf1.ecx, 9), qorFeatureSsse3);
  add(hasBit(leaf1.ecx, 19), qorFeatureSse41);
  add(hasBit(leaf1.ecx, 20) && hasBit(leaf1.ecx, 23), qorFeatureSse42);
  add(ymm && hasBit(leaf1.ecx, 28), qorFeatureAvx);
  add(ymm && hasBit(leaf7.ebx, 5), qorFeatureAvx2);
  add(ymm && hasBit(leaf1.ecx, 12), qorFeatureFma);
  add(zmm && hasBit(leaf7.ebx, 16), qorFeatureAvx512);
  return mask;
}

int allowedProcessors() {
  // A kernel with more processors than the set holds refuses the call; then count those on line.
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return CPU_COUNT(&set);
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online > 0 ? static_cast<int>(online) : 1;
}

// The leaf that enumerates the caches: the two makers' processors agree on its layout but not on its number.
unsigned cacheLeaf() {
  const bool topologyExtensions = hasBit(cpuid(0x80000001U).ecx, 22);
  return topologyExtensions ? 0x8000001dU : 4U;
}

int coresOnDie() {
  // Logical processors that share a package, over those that share a core: from the topology leaf, whose first level is
  // the core and whose second the package, or from the leaves of processors that do not fill it.
  unsigned perCore = cpuid(0xb, 0).ebx & 0xffff;
  unsigned logical = cpuid(0xb, 1).ebx & 0xffff;
  if (perCore == 0 || logical == 0) {
    if (cacheLeaf() == 4U) return static_cast<int>(cpuid(4).eax >> 26) + 1;
    logical = (cpuid(0x80000008U).ecx & 0xff) + 1;
    perCore = (cpuid(0x8000001eU).ebx >> 8 & 0xff) + 1;
  }
  return logical > perCore ? static_cast<int>(logical / perCore) : 1;
}

// 0 when the processor does not tell.
int largestDataCache() {
  int64_t largest = 0;
  const unsigned leaf = cacheLeaf();
  for (unsigned i = 0; i < 16; ++i) {
    const Registers r = cpuid(leaf, i);
    constexpr unsigned noCache = 0, instructionCache = 2;
    const unsigned type = r.eax & 31;
    if (type == noCache) break;
    if (type == instructionCache) continue;
    const int64_t ways = (r.ebx >> 22) + 1, partitions = (r.ebx >> 12 & 0x3ff) + 1, line = (r.ebx & 0xfff) + 1;
    const int64_t size = ways * partitions * line * (static_cast<int64_t>(r.ecx) + 1);
    if (size > largest) largest = size;
  }
  return largest < INT32_MAX ? static_cast<int>(largest) : INT32_MAX;
}

// Read once at load: the cpuid instruction costs microseconds on a virtual machine, and operations ask on every call.
struct Processor {
  uint64_t features;
  uint32_t signature;
  int coresOnDie;
  int largestDataCache;
};
Processor processor;
int threadCount = 1;

// The runtime ends the process when it cannot start a team, so there is an end to what it is asked for.
constexpr int maxThreads = 1024;

void storeThreadCount(int count) {
  __atomic_store_n(&threadCount, count < maxThreads ? count : maxThreads, __ATOMIC_RELAXED);
}

[[gnu::constructor]] void readProcessor() {
  processor = {readFeatures(), cpuid(1).eax, coresOnDie(), largestDataCache()};
  storeThreadCount(allowedProcessors());
}

}  // namespace

extern "C" {

QorStatus qorSetNumThreads(int numThreads) {
  if (numThreads < 1) return qorStsSizeErr;
  storeThreadCount(numThreads);
  return qorStsNoErr;
}

QorStatus qorGetNumThreads(int* pNumThreads) {
  if (pNumThreads == nullptr) return qorStsNullPtrErr;
  *pNumThreads = ownGetNumThreads();
  return qorStsNoErr;
}

int ownGetNumThreads(void) { return __atomic_load_n(&threadCount, __ATOMIC_RELAXED); }

int qorGetNumCoresOnDie(void) { return processor.coresOnDie; }

QorStatus qorGetMaxCacheSizeB(int* pSizeByte) {
  if (pSizeByte == nullptr) return qorStsNullPtrErr;
  if (processor.largestDataCache == 0) return qorStsNotSupportedModeErr;
  *pSizeByte = processor.largestDataCache;
  return qorStsNoErr;
}

uint64_t qorGetCpuFeatures(uint64_t* pFeatures, uint32_t* pWord) {
  if (pFeatures != nullptr) *pFeatures = processor.features;
  if (pWord != nullptr) *pWord = processor.signature;
  return processor.features;
}

uint64_t qorGetEnabledCpuFeatures(void) { return processor.features; }

int ownGetFeature(uint64_t mask) { return (processor.features & mask) != 0 ? 1 : 0; }

void* qorMalloc(int size) {
  if (size < 1) return nullptr;
  void* p = nullptr;
  return posix_memalign(&p, 64, static_cast<size_t>(size)) == 0 ? p : nullptr;
}

void qorFree(void* p) { free(p); }

}  // extern "C"
