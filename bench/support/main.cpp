// The benchmark program: registers every row at its sizes and reports. Beside the options of Google Benchmark:
//   --seconds=S        time per row and size, 0.12 when not given
//   --best=FILE        tells which rows are slower than the best that stands there
//   --ratios=FILE      compares the levels with the bounds that stand there
//   --record           puts what is faster, or new, into that file
//   --count-calls      makes the counted call of every row that the filter takes, at each level, and prints name, level
//                      and pixels; for scripts/bench.sh --instructions
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>

#include "qorcore.h"
#include "support/best.h"
#include "support/machine.h"
#include "support/measure.h"
#include "support/report.h"

namespace qor::bench {
namespace {

const std::vector<RowData>& rowsOf(const char* module) {
  void* const opened = dlopen(module, RTLD_NOW | RTLD_LOCAL);
  if (opened == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(1);
  }
  return *reinterpret_cast<decltype(&qorBenchRows)>(dlsym(opened, "qorBenchRows"))();
}

// The rows of every level that the processor has.
std::vector<Levels> allRows() {
  std::vector<Levels> rows;
  for (const RowData& row : rowsOf(QORCV_BENCH_t6)) rows.push_back({&row});
#ifdef QORCV_BENCH_v3
  if (__builtin_cpu_supports("avx2")) {
    auto levels = rows.begin();
    for (const RowData& row : rowsOf(QORCV_BENCH_v3)) (levels++)->push_back(&row);
  }
#endif
  return rows;
}

struct Options {
  double seconds = 0.12;
  std::regex wanted{"."};
  std::string best, ratios;
  bool record = false, countCalls = false;
};

std::string runName(const RowData& row, QoriSize size, int threads) {
  return row.name + "/" + sizeText(size) + (threads > 1 ? "/threads:" + std::to_string(threads) : "");
}

QoriSize sizeOr(QoriSize wanted, const RowData& row) {
  const auto sized = [&](QoriSize size) { return same(size, wanted); };
  return std::any_of(row.sizes.begin(), row.sizes.end(), sized) ? wanted : row.sizes.front();
}

class Run {
 public:
  Run(const Levels& levels, QoriSize size, int threads, const Options& options, BestTable& best)
      : levels_(levels), size_(size), threads_(threads), seconds_(options.seconds), best_(best) {}

  void operator()(benchmark::State& state) const {
    // One iteration: the rounds inside measure() replace the harness's own repetition, since they must take turns.
    Result result;
    for (auto _ : state) {
      result = measure(levels_, size_, threads_, seconds_);
      if (result.error.empty()) state.SetIterationTime(result.nsPerCall.back() * 1e-9);
    }
    if (!result.error.empty()) {
      state.SkipWithError(result.error.c_str());
      return;
    }
    std::vector<double> ns = result.nsPerCall;
    for (double& t : ns) t /= static_cast<double>(pixels(size_));
    const char* const prefixes[] = {"", "wide_"};
    const auto set = [&](const char* name, size_t level, double value) {
      state.counters[std::string(prefixes[level]) + name] = value;
    };
    for (size_t level = 0; level < levels_.size(); ++level) {
      set("ns_per_pixel", level, ns[level]);
      set("copies", level, result.copies[level]);
    }
    if (ns.size() > 1) state.counters["wide_over_plain"] = ns[1] / ns[0];
    state.counters["bytes_per_second"] = static_cast<double>(result.bytes) * 1e9 / result.nsPerCall.back();
    state.counters["same_copies"] = result.sameCopies;
    state.counters["noise"] = result.noise;
    state.counters["quiet"] = result.quiet;
    if (levels_[0]->makeReference) state.counters["versus_reference"] = result.versusReference;
    if (threads_ > 1) {
      state.counters["speedup"] = result.speedup;
      state.counters["compute_scaling"] = result.computeScaling;
      state.counters["copy_scaling"] = result.copyScaling;
      return;
    }
    if (!same(size_, sizeOr(fullHd, *levels_[0]))) return;
    Best& best = best_[levels_[0]->name];
    state.SetLabel(verdict(best, ns));
    for (size_t level = 0; level < ns.size(); ++level) {
      set("instructions", level, best.instructions[level]);
      if (best.ns[level] == 0 || ns[level] < best.ns[level]) best.ns[level] = ns[level];
    }
  }

 private:
  const Levels& levels_;
  QoriSize size_;
  int threads_;
  double seconds_;
  BestTable& best_;
};

// The filter is applied here and not by the harness, which would match it against names with a suffix of its own.
// Returns the length of the longest name, 0 when no row is wanted.
size_t registerRows(const std::vector<Levels>& rows, const Options& options, BestTable& best) {
  size_t longest = 0;
  const auto add = [&](const Levels& levels, QoriSize size, int threads) {
    const std::string name = runName(*levels[0], size, threads);
    if (!std::regex_search(name, options.wanted)) return;
    if (threads > processors()) {
      std::fprintf(stderr, "%s left out: only %d processors\n", name.c_str(), processors());
      return;
    }
    longest = std::max(longest, name.size());
    benchmark::RegisterBenchmark(name.c_str(), Run(levels, size, threads, options, best))->UseManualTime();
  };
  for (const Levels& levels : rows) {
    for (const QoriSize size : levels[0]->sizes) add(levels, size, 1);
    for (const ThreadRun& run : levels[0]->threadRuns) add(levels, run.size, run.threads);
  }
  return longest;
}

int countCalls(const std::vector<Levels>& rows, const Options& options) {
  int failures = 0;
  for (const Levels& levels : rows) {
    const QoriSize size = sizeOr(odd, *levels[0]);
    if (!std::regex_search(runName(*levels[0], size, 1), options.wanted)) continue;
    for (size_t level = 0; level < levels.size(); ++level) {
      const RowData& row = *levels[level];
      const std::string error = callCounted(row, size);
      if (error.empty()) {
        std::printf("%s\t%zu\t%lld\n", row.name.c_str(), level, static_cast<long long>(pixels(size)));
      } else {
        std::fprintf(stderr, "%s FAILED: %s\n", row.name.c_str(), error.c_str());
        ++failures;
      }
    }
  }
  return failures > 0 ? 1 : 0;
}

int run(int argc, char** argv) {
  Options options;
  // Rows time themselves within one iteration, so the harness must not ask for more.
  char once[] = "--benchmark_min_time=0";
  std::vector<char*> arguments{argv[0], once};
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto valueOf = [&argument](const std::string& option) {
      return argument.compare(0, option.size(), option) == 0 ? argument.c_str() + option.size() : nullptr;
    };
    if (const char* filter = valueOf("--benchmark_filter=")) {
      options.wanted = std::regex(filter);
    } else if (const char* seconds = valueOf("--seconds=")) {
      options.seconds = std::atof(seconds);
    } else if (const char* best = valueOf("--best=")) {
      options.best = best;
    } else if (const char* ratios = valueOf("--ratios=")) {
      options.ratios = ratios;
    } else if (argument == "--record") {
      options.record = true;
    } else if (argument == "--count-calls") {
      options.countCalls = true;
    } else {
      arguments.push_back(argv[i]);
    }
  }
  if (!options.countCalls) pin(argv);
  const std::vector<Levels> rows = allRows();
  if (options.countCalls) return countCalls(rows, options);

  int left = static_cast<int>(arguments.size());
  benchmark::Initialize(&left, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(left, arguments.data())) return 1;
  for (const auto& [name, value] : machine()) benchmark::AddCustomContext(name, value);
  BestTable best = readBest(options.best);
  const size_t longest = registerRows(rows, options, best);
  if (longest == 0) {
    std::fprintf(stderr, "no row matches the filter\n");
    return 1;
  }
  Table table(longest, readBounds(options.ratios));
  benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  // What is not a row any more goes; with a filter, what was not measured stays.
  std::erase_if(best, [&](const auto& entry) {
    return std::none_of(rows.begin(), rows.end(), [&](const Levels& l) { return l[0]->name == entry.first; });
  });
  if (options.record && !writeBest(options.best, best)) {
    std::perror(options.best.c_str());
    return 1;
  }
  return table.failed() ? 1 : 0;
}

}  // namespace
}  // namespace qor::bench

int main(int argc, char** argv) { return qor::bench::run(argc, argv); }
