// Main of every test executable.
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/case.h"

int main(int argc, char** argv) {
  // The OpenMP runtime reads its settings before main. Spinning idle threads make a small parallel region a thousand
  // times slower on a busy machine, so a start by hand gets the setting too.
  if (setenv("OMP_WAIT_POLICY", "passive", 0) == 0 && getenv("QORCV_TEST_RESTARTED") == nullptr) {
    setenv("QORCV_TEST_RESTARTED", "1", 1);
    execv("/proc/self/exe", argv);
  }
  testing::InitGoogleTest(&argc, argv);
  // A child forked after a parallel region would hang in its next one: start death tests anew.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  qortest::installCrashHandler();
  return RUN_ALL_TESTS();
}
