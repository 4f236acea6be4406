#include "support/report.h"

#include <cstdio>

#include "support/machine.h"

namespace qor::bench {

bool Table::ReportContext(const Context&) {
  for (const auto& [name, value] : machine()) std::printf("%-12s %s\n", name.c_str(), value.c_str());
  std::printf(
      "ns per pixel of the plain and the wide level, one thread where the row names none; w/p: wide over plain. Then "
      "of "
      "the wide\nlevel, where there is one: GB/s; same: time over that of copying the row's own image; copies: over "
      "that "
      "of copying the 8-bit\nimage of the size; noise: spread of copies in the run, marked ! when the core was never "
      "quiet for long. Last, recorded\ninstructions per pixel of both levels, at 641x479. Differences under 10%% are "
      "noise.\n\n");
  std::printf("%-*s %8s %8s %5s %7s %7s %7s %6s %8s %8s\n", nameWidth_, "row", "plain", "wide", "w/p", "GB/s", "same",
              "copies", "noise", "i plain", "i wide");
  return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const std::string& name = run.run_name.function_name;
    if (run.error_occurred) {
      std::printf("%-*s FAILED: %s\n", nameWidth_, name.c_str(), run.error_message.c_str());
      ++failures_;
      continue;
    }
    const auto value = [&run](const char* key) {
      const auto found = run.counters.find(key);
      return found != run.counters.end() ? static_cast<double>(found->second) : 0.0;
    };
    std::printf("%-*s %8.4f ", nameWidth_, name.c_str(), value("ns_per_pixel"));
    if (value("wide_ns_per_pixel") > 0) {
      std::printf("%8.4f %5.2f", value("wide_ns_per_pixel"), value("wide_over_plain"));
      count(bounds_, name, value("wide_over_plain"));
    } else {
      std::printf("%8s %5s", "", "");
    }
    std::printf(" %7.2f %7.2f %7.2f %5.0f%%%s", value("bytes_per_second") * 1e-9, value("same_copies"),
                value(value("wide_copies") > 0 ? "wide_copies" : "copies"), 100 * value("noise"),
                value("quiet") > 0 ? " " : "!");
    if (value("instructions") > 0) std::printf(" %7.3f %8.3f", value("instructions"), value("wide_instructions"));
    if (value("versus_reference") > 0) std::printf(" [reference: %.3f]", value("versus_reference"));
    if (value("speedup") > 0)
      std::printf(" [speed-up %.2f; plain copy %.2f, arithmetic %.2f]", value("speedup"), value("copy_scaling"),
                  value("compute_scaling"));
    std::printf(" %s\n", run.report_label.c_str());
    if (!run.report_label.empty()) ++slower_;
    ++runs_;
  }
  std::fflush(stdout);
}

void Table::Finalize() {
  std::printf("\n%d runs, %d failed, %d slower than their best\n", runs_ + failures_, failures_, slower_);
  std::printf("\n%-44s %5s %8s %6s  %s\n", "wide over plain", "rows", "at most", "above", "the largest");
  for (const Bound& b : bounds_)
    if (b.rows > 0)
      std::printf("%-44s %5d %8.2f %6d  %.2f %s\n", b.group.c_str(), b.rows, b.atMost, b.above, b.worst,
                  b.worstRow.c_str());
}

}  // namespace qor::bench
