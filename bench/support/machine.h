// Where the benchmark runs: processors, affinity, OpenMP settings.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace qor::bench {

// Binds the calling thread to one processor and the OpenMP threads to one each. The OpenMP runtime reads its settings
// before main, so without OMP_PLACES in the environment the program is started anew with them.
void pin(char** argv);

// Processors that the runtime may use.
int processors();

// What the figures depend on, as pairs of name and value.
std::vector<std::pair<std::string, std::string>> machine();

}  // namespace qor::bench
