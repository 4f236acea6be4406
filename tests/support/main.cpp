// Main of every test executable.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "qorcv/version.h"
#include "support/case.h"
#include "support/described.h"

namespace {

const char* expectedLevel() { return getenv("QORCV_TEST_LEVEL"); }

// Before the constructors of the tests: a program at the wide level has its instructions in them too.
[[gnu::constructor(101)]] void skipWhatCannotRun() {
  constexpr int skipped = 77;
  __builtin_cpu_init();
  if (expectedLevel() == nullptr || strcmp(expectedLevel(), "v3") != 0 || __builtin_cpu_supports("avx2")) return;
  puts("skipped: no AVX2");
  fflush(stdout);
  _exit(skipped);
}

}  // namespace

int main(int argc, char** argv) {
  // The OpenMP runtime reads its settings before main. Spinning idle threads make a small parallel region a thousand
  // times slower on a busy machine, so a start by hand gets the setting too.
  if (setenv("OMP_WAIT_POLICY", "passive", 0) == 0 && getenv("QORCV_TEST_RESTARTED") == nullptr) {
    setenv("QORCV_TEST_RESTARTED", "1", 1);
    execv("/proc/self/exe", argv);
  }
  const char* level = qorcvGetLibVersion()->cpuCode;
  if (expectedLevel() != nullptr && strcmp(expectedLevel(), level) != 0) {
    fprintf(stderr, "the library is at level %s, not %s\n", level, expectedLevel());
    return EXIT_FAILURE;
  }
  testing::InitGoogleTest(&argc, argv);
  // A child forked after a parallel region would hang in its next one: start death tests anew.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  qortest::installCrashHandler();
  qortest::registerDescriptions();
  return RUN_ALL_TESTS();
}
