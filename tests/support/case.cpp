#include "support/case.h"

#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "qorcore.h"

extern "C" {
[[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)(void));

// Read by the sanitizers at start: a finding then ends in SIGABRT, which the crash handler sees.
[[gnu::visibility("default")]] const char* __ubsan_default_options();
const char* __ubsan_default_options() { return "abort_on_error=1:print_stacktrace=1"; }
}

namespace qortest {
namespace {

// Plain arrays, since the crash handler reads them.
char caseText[2048];
char testText[512];
char seedText[64];
volatile sig_atomic_t reported = 0;

void print(const char* text) {
  if (write(STDERR_FILENO, text, strlen(text)) < 0) return;
}

void reportCase() {
  if (reported != 0) return;
  reported = 1;
  print("\ncrashed in test: ");
  print(testText);
  print("\ncase: ");
  print(caseText);
  print("\nseed: ");
  print(seedText);
  print("\n");
}

constexpr int crashSignals[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL};
struct sigaction former[sizeof crashSignals / sizeof *crashSignals];

// A fault repeats on return and abort() goes on, then under the former action: a sanitizer's report or death.
void onCrash(int signal) {
  reportCase();
  int i = 0;
  while (crashSignals[i] != signal) ++i;
  sigaction(signal, &former[i], nullptr);
}

class CaseListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { setCase("not named"); }
};

void append(size_t at, const char* format, va_list arguments) {
  vsnprintf(caseText + at, sizeof caseText - at, format, arguments);
}

}  // namespace

// Names the test too: the children of death tests call no listener.
void setCase(const char* format, ...) {
  const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
  if (info != nullptr) snprintf(testText, sizeof testText, "%s.%s", info->test_suite_name(), info->name());
  va_list arguments;
  va_start(arguments, format);
  append(0, format, arguments);
  va_end(arguments);
}

void appendCase(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  append(strlen(caseText), format, arguments);
  va_end(arguments);
}

const char* currentCase() { return caseText; }

uint64_t baseSeed() {
  const char* text = getenv("QORCV_TEST_SEED");
  return text != nullptr ? strtoull(text, nullptr, 0) : 1;
}

void installCrashHandler() {
  snprintf(seedText, sizeof seedText, "QORCV_TEST_SEED=%llu", static_cast<unsigned long long>(baseSeed()));
  struct sigaction action = {};
  action.sa_handler = onCrash;
  action.sa_flags = SA_ONSTACK;
  int i = 0;
  for (const int signal : crashSignals) sigaction(signal, &action, &former[i++]);
  // Findings that are no signal end in this callback.
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(reportCase);
  testing::UnitTest::GetInstance()->listeners().Append(new CaseListener);
}

ThreadCount::ThreadCount(int count) {
  qorGetNumThreads(&former_);
  EXPECT_EQ(qorSetNumThreads(count), qorStsNoErr);
}

ThreadCount::~ThreadCount() { qorSetNumThreads(former_); }

}  // namespace qortest
