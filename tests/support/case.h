// Names the case that runs, for failure messages and for the crash handler.
//
//   setCase("%s %dx%d", name, width, height);     // at the start of a case
//   appendCase(" data=%s", kind);                 // what is decided later
//   ThreadCount threads(3);                       // three threads until the end of the scope
//
// When a test crashes (an access behind a guard page, an aligned store to an odd address, a sanitizer finding), the
// handler prints the running test, the case and the seed, and hands the signal on. The seed is 1 or QORCV_TEST_SEED.
#pragma once

#include <stdint.h>

#include <gtest/gtest.h>

namespace qortest {

[[gnu::format(printf, 1, 2)]] void setCase(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void appendCase(const char* format, ...);
const char* currentCase();

// Start of every random sequence of this process.
uint64_t baseSeed();

// Called by the tests' main.
void installCrashHandler();

// Sets the library's thread count and restores the former one.
class ThreadCount {
 public:
  explicit ThreadCount(int count);
  ~ThreadCount();
  ThreadCount(const ThreadCount&) = delete;
  ThreadCount& operator=(const ThreadCount&) = delete;

 private:
  int former_ = 1;
};

// Small fast generator with a good distribution of every bit: splitmix64.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t bits() {
    state_ += 0x9e3779b97f4a7c15U;
    uint64_t z = state_;
    z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9U;
    z = (z ^ z >> 27) * 0x94d049bb133111ebU;
    return z ^ z >> 31;
  }

  // 0 .. count - 1.
  int below(int count) { return static_cast<int>((bits() >> 32) * static_cast<uint64_t>(count) >> 32); }

  // lowest .. highest, both included.
  int between(int lowest, int highest) { return lowest + below(highest - lowest + 1); }

  bool oneIn(int count) { return below(count) == 0; }

  // 0 <= value < 1, 24 bits, so exact in float too.
  double unit() { return static_cast<double>(bits() >> 40) / (1 << 24); }

 private:
  uint64_t state_;
};

}  // namespace qortest
