#include "frame/threads.h"

#include <omp.h>

#include "frame/checks.h"
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

int teamFor(const TeamRule& rule, QoriSize size) {
  const int most = owncvGetMaxNumThreads(), n = rule.ofCallersTeam ? owncvGetNumThreads() : most;
  const Qor32s pixels = area(size.width, size.height);
  const auto enough = [](int64_t have, int64_t wanted) { return wanted == 0 || have >= wanted; };
  const bool onCores = rule.pixelsOfThreadOnCores != 0 && pixels >= int64_t{n} * rule.pixelsOfThreadOnCores;
  const bool worthIt = enough(pixels, rule.pixels) && enough(size.width, rule.width) &&
                       enough(size.height, rule.height) &&
                       enough(int64_t{size.width} + size.height, rule.widthAndHeight) &&
                       enough(size.height, int64_t{n} * rule.rowsOfThread) &&
                       (enough(pixels, int64_t{n} * rule.pixelsOfThread) || (onCores && runomp() != 0)) &&
                       (!rule.cores || runomp() != 0);
  if (!worthIt) return 0;
  int team = n;
  const auto atMost = [&team](int limit) { team = team < limit ? team : limit; };
  atMost(most);
  if (rule.upToCores) atMost(qorGetNumCoresOnDie());
  if (rule.mostThreads != 0) atMost(rule.mostThreads);
  if (rule.pixelsAThread != 0) atMost(pixels / rule.pixelsAThread);
  if (rule.rowsAThread != 0) atMost(size.height / rule.rowsAThread);
  return team < rule.leastThreads ? 0 : team;
}

}  // namespace qor
