// Interleaved timing: on a machine that others share, figures compare only when they were taken in turns.
#pragma once

#include <string>
#include <vector>

#include "support/row.h"

namespace qor::bench {

struct Result {
  std::string error;              // empty when the first call was right
  std::vector<double> nsPerCall;  // of each level, the quietest sample; what follows is of the last level
  std::vector<double> copies;     // of each level, relative to a copy of the 8-bit image
  double sameCopies = 0;
  double versusReference = 0;  // 0 without a reference
  double noise = 0;            // spread of copies over the rounds: half the distance of the quartiles, relative
  bool quiet = false;          // whether enough rounds ran while the thread had its core to itself
  double speedup = 0;          // these only with more than one thread
  double computeScaling = 0;   // what pure arithmetic gains from the same threads
  double copyScaling = 0;      // what a plain copy gains
  int64_t bytes = 0;
};

// One row as it stands in the module of each level, plain first.
using Levels = std::vector<const RowData*>;

// Measures for about so many seconds, at least some rounds, and longer while the machine is busy.
Result measure(const Levels& levels, QoriSize size, int threads, double seconds);

// One checked call, then one between entering and leaving qorBenchCounted, for an instruction counter to watch.
std::string callCounted(const RowData& row, QoriSize size);

}  // namespace qor::bench

extern "C" void qorBenchCounted(const qor::bench::Batch& batch);
