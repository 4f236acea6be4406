// The benchmark program: registers every row at its sizes and reports. Beside the options of Google Benchmark:
//   --seconds=S        time per row and size, 0.12 when not given
//   --count-calls      makes the counted call of every row that the filter takes at one size, and prints name and
//                      pixels; for scripts/bench.sh --instructions
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>

#include "qorcore.h"
#include "support/machine.h"
#include "support/measure.h"
#include "support/report.h"

namespace qor::bench {
namespace {

std::string runName(const RowData& row, QoriSize size, int threads) {
  return row.name + "/" + sizeText(size) + (threads > 1 ? "/threads:" + std::to_string(threads) : "");
}

void runRow(benchmark::State& state, const RowData& row, QoriSize size, int threads, double seconds) {
  // One iteration: the rounds inside measure() replace the harness's own repetition, since they must take turns with
  // the copies.
  Result result;
  for (auto _ : state) {
    result = measure(row, size, threads, seconds);
    state.SetIterationTime(result.nsPerCall * 1e-9);
  }
  if (!result.error.empty()) {
    state.SkipWithError(result.error.c_str());
    return;
  }
  const double count = static_cast<double>(pixels(size)), perSecond = 1e9 / result.nsPerCall;
  state.counters["ns_per_pixel"] = result.nsPerCall / count;
  state.counters["pixels_per_second"] = count * perSecond;
  state.counters["bytes_per_second"] = static_cast<double>(result.bytes) * perSecond;
  state.counters["copies"] = result.copies;
  state.counters["same_copies"] = result.sameCopies;
  state.counters["noise"] = result.noise;
  state.counters["quiet"] = result.quiet;
  state.counters["team"] = threads;
  if (row.makeReference) state.counters["versus_reference"] = result.versusReference;
  if (threads > 1) {
    state.counters["speedup"] = result.speedup;
    state.counters["compute_scaling"] = result.computeScaling;
    state.counters["copy_scaling"] = result.copyScaling;
  }
  state.SetLabel(verdicts(row, size, threads, result));
}

// The filter is applied here and not by the harness, which would match it against names with a suffix of its own.
// Returns the length of the longest name, 0 when no row is wanted.
size_t registerRows(const std::regex& wanted, double seconds) {
  size_t longest = 0;
  const auto add = [&](const RowData& row, QoriSize size, int threads) {
    const std::string name = runName(row, size, threads);
    if (!std::regex_search(name, wanted)) return;
    if (threads > processors()) {
      std::fprintf(stderr, "%s left out: only %d processors\n", name.c_str(), processors());
      return;
    }
    longest = std::max(longest, name.size());
    benchmark::RegisterBenchmark(name.c_str(), [&row, size, threads, seconds](benchmark::State& state) {
      runRow(state, row, size, threads, seconds);
    })->UseManualTime();
  };
  for (const RowData& row : allRows()) {
    for (const QoriSize size : row.sizes) add(row, size, 1);
    for (const ThreadRun& run : row.threadRuns) add(row, run.size, run.threads);
  }
  return longest;
}

int countCalls(const std::regex& wanted) {
  int failures = 0;
  for (const RowData& row : allRows()) {
    const auto sized = [](QoriSize size) { return same(size, odd); };
    const QoriSize size = std::any_of(row.sizes.begin(), row.sizes.end(), sized) ? odd : row.sizes.front();
    const std::string name = runName(row, size, 1);
    if (!std::regex_search(name, wanted)) continue;
    const std::string error = callCounted(row, size);
    if (error.empty()) {
      std::printf("%s %lld\n", name.c_str(), static_cast<long long>(pixels(size)));
    } else {
      std::fprintf(stderr, "%s FAILED: %s\n", name.c_str(), error.c_str());
      ++failures;
    }
  }
  return failures > 0 ? 1 : 0;
}

int run(int argc, char** argv) {
  double seconds = 0.12;
  bool count = false;
  std::regex wanted(".");
  // Rows time themselves within one iteration, so the harness must not ask for more.
  char once[] = "--benchmark_min_time=0";
  std::vector<char*> arguments{argv[0], once};
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::string secondsOption = "--seconds=", filterOption = "--benchmark_filter=";
    if (argument.compare(0, filterOption.size(), filterOption) == 0) {
      wanted = std::regex(argument.substr(filterOption.size()));
    } else if (argument.compare(0, secondsOption.size(), secondsOption) == 0) {
      seconds = std::atof(argument.c_str() + secondsOption.size());
    } else if (argument == "--count-calls") {
      count = true;
    } else {
      arguments.push_back(argv[i]);
    }
  }
  if (count) return countCalls(wanted);

  pin(argv);
  int left = static_cast<int>(arguments.size());
  benchmark::Initialize(&left, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(left, arguments.data())) return 1;
  for (const auto& [name, value] : machine()) benchmark::AddCustomContext(name, value);
  const size_t longest = registerRows(wanted, seconds);
  if (longest == 0) {
    std::fprintf(stderr, "no row matches the filter\n");
    return 1;
  }
  Table table(longest);
  benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  return table.failed() ? 1 : 0;
}

}  // namespace
}  // namespace qor::bench

int main(int argc, char** argv) { return qor::bench::run(argc, argv); }
