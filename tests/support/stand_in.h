// A core library in the place of the real one while an object of it lives: it answers what a test wants the machine to
// be, and counts what it was asked. Parallel regions are counted too, with the size of the team that was asked for.
//
//   StandIn core;                     // restored at the end of the scope
//   core.cores = 1;                   // a machine of one core
//   core.cacheSize = -1;              // a processor that does not tell
//   EXPECT_EQ(core.regions, 1);      // after a call
#pragma once

#include <limits.h>
#include <stdint.h>

#include <functional>

namespace qortest {

struct StandIn {
  StandIn();
  ~StandIn();
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

  // Answers.
  int cores = 4;
  int cacheSize = 1 << 25;  // below 0: the query fails
  uint64_t features = ~uint64_t{0};
  int allocationsAllowed = INT_MAX;

  // Counts.
  int cacheQueries = 0;
  int allocations = 0;
  int refused = 0;
  int frees = 0;
  int regions = 0;
  unsigned lastTeam = 0;

 private:
  StandIn* const outer_;
};

// Opens a parallel region of that many threads, with nested ones allowed. The calling thread does work in it, the
// others nothing.
void openRegion(
    int threads, const std::function<void()>& work = [] {});

}  // namespace qortest
