#include "support/report.h"

#include <cstdio>

#include "support/machine.h"

namespace qor::bench {
namespace {

// A miss below this cannot be told from noise and gets a verdict of its own.
constexpr double tolerance = 0.05;
// A team whose plain arithmetic gains less than this share of its size had no processors of its own.
constexpr double freeProcessors = 0.85;

struct Tally {
  int met = 0, near = 0, missed = 0, unjudged = 0;
};
Tally tally;

std::string format(const char* form, auto... values) {
  char text[256];
  std::snprintf(text, sizeof text, form, values...);
  return text;
}

// Of a budget, by which share the measured value is worse than it.
std::string judge(const Budget& budget, double value, const Result& result) {
  if (budget.metric == Metric::speedup && result.computeScaling < freeProcessors * budget.threads) {
    ++tally.unjudged;
    return format("not judged: pure arithmetic gains only %.2f from these threads", result.computeScaling);
  }
  if (budget.metric == Metric::speedup && !result.quiet) {
    ++tally.unjudged;
    return "not judged: the machine was busy";
  }
  const double worse = budget.atMost ? value / budget.value - 1 : budget.value / value - 1;
  if (worse <= 0) {
    ++tally.met;
    return "met";
  }
  if (worse <= tolerance) {
    ++tally.near;
    return format("within 5%% (%.1f%%)", 100 * worse);
  }
  ++tally.missed;
  return format("misses by %.0f%%", 100 * worse);
}

}  // namespace

double metricValue(const RowData& row, QoriSize size, Metric metric, const Result& result) {
  const double count = static_cast<double>(pixels(size));
  switch (metric) {
    case Metric::copies:
      return result.copies;
    case Metric::sameCopies:
      return result.sameCopies;
    case Metric::nsPerPixel:
      return result.nsPerCall / count / row.items;
    case Metric::samplesPerNs:
      return count * row.channels / result.nsPerCall;
    case Metric::versusReference:
      return result.versusReference;
    case Metric::speedup:
      return result.speedup;
  }
  return 0;
}

std::string metricUnit(const RowData& row, int threads, Metric metric) {
  switch (metric) {
    case Metric::copies:
      return "copies";
    case Metric::sameCopies:
      return "same copies";
    case Metric::nsPerPixel:
      return row.itemName.empty() ? "ns/px" : "ns/px/" + row.itemName;
    case Metric::samplesPerNs:
      return "samples/ns";
    case Metric::versusReference:
      return "x " + row.referenceName;
    case Metric::speedup:
      return threads > 1 ? "x one thread" : "";
  }
  return "";
}

std::string verdicts(const RowData& row, QoriSize size, int threads, const Result& result) {
  std::string text;
  for (const Budget& budget : row.budgets) {
    if (!same(budget.size, size) || budget.threads != threads) continue;
    const double value = metricValue(row, size, budget.metric, result);
    if (!text.empty()) text += "; ";
    text += format("%.3g of %s %.4g ", value, budget.atMost ? "at most" : "at least", budget.value) +
            metricUnit(row, threads, budget.metric) + ": " + judge(budget, value, result);
  }
  return text;
}

bool Table::ReportContext(const Context&) {
  std::FILE* out = stdout;
  for (const auto& [name, value] : machine()) std::fprintf(out, "%-12s %s\n", name.c_str(), value.c_str());
  std::fprintf(out,
               "One thread where the row names none. copies: time over that of copying the 8-bit image of the size row "
               "by row; same: over that\nof copying the row's own image; noise: spread of copies in the run, "
               "marked ! when the core was never quiet for long.\nDifferences under 10%% are noise.\n\n");
  std::fprintf(out, "%-*s %9s %9s %8s %8s %8s %6s  %s\n", nameWidth_, "row", "ns/px", "Mpx/s", "GB/s", "same", "copies",
               "noise", "budget");
  return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const std::string name = run.run_name.function_name + (run.aggregate_name.empty() ? "" : " " + run.aggregate_name);
    if (run.error_occurred) {
      std::printf("%-*s FAILED: %s\n", nameWidth_, name.c_str(), run.error_message.c_str());
      ++failures_;
      continue;
    }
    const auto value = [&run](const char* key) {
      const auto found = run.counters.find(key);
      return found != run.counters.end() ? static_cast<double>(found->second) : 0.0;
    };
    std::printf("%-*s %9.4f %9.1f %8.2f %8.2f %8.2f %5.0f%%%s %s", nameWidth_, name.c_str(), value("ns_per_pixel"),
                value("pixels_per_second") * 1e-6, value("bytes_per_second") * 1e-9, value("same_copies"),
                value("copies"), 100 * value("noise"), value("quiet") > 0 ? " " : "!", run.report_label.c_str());
    if (value("versus_reference") > 0) std::printf(" [reference: %.3f]", value("versus_reference"));
    if (value("speedup") > 0)
      std::printf(" [speed-up %.2f; plain copy %.2f, arithmetic %.2f]", value("speedup"), value("copy_scaling"),
                  value("compute_scaling"));
    std::printf("\n");
    ++runs_;
  }
  std::fflush(stdout);
}

void Table::Finalize() {
  std::printf("\n%d runs, %d failed; budgets: %d met, %d within 5%%, %d missed", runs_ + failures_, failures_,
              tally.met, tally.near, tally.missed);
  if (tally.unjudged > 0) std::printf(", %d not judged", tally.unjudged);
  std::printf("\n");
}

}  // namespace qor::bench
