// A core library for the internal tests, which link the library's objects: it answers what a test wants the machine to
// be, and counts what it was asked. Parallel regions are counted too, with the size of the team that was asked for.
//
//   StandIn core;                     // restored at the end of the scope
//   core.cores = 1;                   // a machine of one core
//   core.cacheSize = -1;              // a processor that does not tell
//   EXPECT_EQ(regionsOf(qoriAbsDiff_8u_C1R, {512, 512}), 1);
#pragma once

#include <limits.h>
#include <stdint.h>

#include <tuple>
#include <type_traits>

#include "qorcv/types.h"
#include "support/guarded.h"

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

// Calls an operation on zeros: pointers get memory of their own, what stands behind a pointer is its step, other
// numbers are 1. The status must be success or a warning. Returns how many parallel regions the call opened.
class RegionCounter {
 public:
  template <class... A>
  static int count(QorStatus (*operation)(A...), QoriSize size, int cores) {
    RegionCounter arguments(size);
    StandIn core;
    core.cores = cores;
    return arguments.run(core, [&] {
      // A braced list is evaluated in order.
      std::tuple<std::remove_cv_t<A>...> values{arguments.next<A>()...};
      return std::apply(operation, values);
    });
  }

 private:
  explicit RegionCounter(QoriSize size) : size_(size) {}

  template <class A>
  A next() {
    const bool step = behindPointer_;
    behindPointer_ = std::is_pointer_v<A>;
    if constexpr (std::is_pointer_v<A>) {
      return static_cast<A>(memory(pointers_++));
    } else if constexpr (std::is_same_v<A, QoriSize>) {
      return size_;
    } else {
      return static_cast<A>(step ? size_.width * largestPixel : 1);
    }
  }

  template <class Call>
  int run(StandIn& core, Call call) {
    EXPECT_GE(call(), qorStsNoErr);
    return core.regions;
  }

  static constexpr int largestPixel = 12;
  void* memory(int index) const;

  QoriSize size_;
  bool behindPointer_ = false;
  int pointers_ = 0;
};

template <class... A>
int regionsOf(QorStatus (*operation)(A...), QoriSize size, int cores = 4) {
  return RegionCounter::count(operation, size, cores);
}

}  // namespace qortest
