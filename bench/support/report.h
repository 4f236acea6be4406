// Budgets against measurements, and the table.
#pragma once

#include <benchmark/benchmark.h>

#include "support/measure.h"

namespace qor::bench {

double metricValue(const RowData& row, QoriSize size, Metric metric, const Result& result);
std::string metricUnit(const RowData& row, int threads, Metric metric);

// One line for every budget of the row at this size: the measured value where the table does not show it, the budget,
// and whether it is met.
std::string verdicts(const RowData& row, QoriSize size, int threads, const Result& result);

// Prints a line for each run, and at the end how the budgets stand.
class Table : public benchmark::BenchmarkReporter {
 public:
  explicit Table(size_t nameWidth) : nameWidth_(static_cast<int>(nameWidth)) {}
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;
  bool failed() const { return failures_ > 0; }

 private:
  int nameWidth_;
  int runs_ = 0, failures_ = 0;
};

}  // namespace qor::bench
