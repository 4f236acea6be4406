// The table.
#pragma once

#include <benchmark/benchmark.h>

#include "support/best.h"

namespace qor::bench {

// Prints a line for each run, and at the end how many were slower than the best known, and how the levels compare.
class Table : public benchmark::BenchmarkReporter {
 public:
  Table(size_t nameWidth, std::vector<Bound> bounds)
      : nameWidth_(static_cast<int>(nameWidth)), bounds_(std::move(bounds)) {}
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;
  bool failed() const { return failures_ > 0; }

 private:
  int nameWidth_;
  std::vector<Bound> bounds_;
  int runs_ = 0, failures_ = 0, slower_ = 0;
};

}  // namespace qor::bench
