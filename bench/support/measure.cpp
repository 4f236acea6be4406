#include "support/measure.h"

#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

#include "qorcore.h"

namespace qor::bench {
namespace {

double now() {
  const auto t = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(t).count());
}

// A sample is long against the clock's own cost, a slice long against the refill of the caches behind the slice of
// another series, and short against the moods of the machine.
constexpr double sampleNs = 30e3, sliceNs = 1e6, slowCallNs = 5e6;
constexpr int minRounds = 5, maxRounds = 101;

// One thing that is timed in turns with others.
class Series {
 public:
  Series(Batch batch, int threads) : batch_(std::move(batch)), threads_(threads) {
    qorSetNumThreads(threads_);
    batch_(1);
    for (;;) {
      const double t = time(calls_);
      if (t >= sampleNs) break;
      calls_ =
          std::max(calls_ + 1, static_cast<int64_t>(static_cast<double>(calls_) * std::min(sampleNs / t * 1.2, 10.0)));
    }
  }

  // The smallest time of a call within one slice.
  void slice() {
    qorSetNumThreads(threads_);
    double best = HUGE_VAL, total = 0;
    if (rounds_.empty() || rounds_.back() < slowCallNs) batch_(1);
    while (total < sliceNs) {
      const double t = time(calls_);
      total += t;
      best = std::min(best, t / static_cast<double>(calls_));
    }
    rounds_.push_back(best);
  }

  double best() const { return *std::min_element(rounds_.begin(), rounds_.end()); }
  const std::vector<double>& rounds() const { return rounds_; }

 private:
  double time(int64_t calls) {
    const double start = now();
    batch_(calls);
    return now() - start;
  }

  Batch batch_;
  int threads_;
  int64_t calls_ = 1;
  std::vector<double> rounds_;
};

double quantile(std::vector<double> values, double q) {
  const size_t at = static_cast<size_t>(q * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
  return values[at];
}

std::vector<double> ratios(const Series& a, const Series& b) {
  std::vector<double> r;
  for (size_t i = 0; i < a.rounds().size(); ++i) r.push_back(a.rounds()[i] / b.rounds()[i]);
  return r;
}

double ratio(const Series& a, const Series& b) { return quantile(ratios(a, b), 0.5); }

Batch copyRows(Setup& setup, QoriSize size, double pixelBytes, int threads) {
  const int bytes = static_cast<int>(std::ceil(size.width * pixelBytes));
  const auto from = setup.random<Qor8u>({.size = {bytes, size.height}});
  const auto to = setup.blank<Qor8u>({.size = {bytes, size.height}});
  const auto band = [=](int first, int last) {
    for (int y = first; y < last; ++y) std::memcpy(&to(0, y), &from(0, y), static_cast<size_t>(bytes));
  };
  if (threads == 1) return repeat([=] { band(0, size.height); });
  return repeat([=] {
#pragma omp parallel num_threads(threads)
    {
      const int t = omp_get_thread_num(), n = omp_get_num_threads();
      band(size.height * t / n, size.height * (t + 1) / n);
    }
  });
}

// The same arithmetic on every thread, out of registers.
Batch compute(int threads) {
  const auto work = [] {
    uint64_t x = 1;
    for (int i = 0; i < 2000000; ++i) {
      x ^= x << 13;
      x ^= x >> 7;
      benchmark::DoNotOptimize(x);
    }
  };
  if (threads == 1) return repeat(work);
  return repeat([=] {
#pragma omp parallel num_threads(threads)
    work();
  });
}

std::string firstCall(const Case& made) {
  const QorStatus status = made.batch(1);
  if (status != qorStsNoErr) return "the first call gave status " + std::to_string(status);
  if (made.check && !made.check()) return "the first call gave a wrong result";
  return {};
}

}  // namespace

Result measure(const RowData& row, QoriSize size, int threads, double seconds) {
  Result result;
  Setup setup(size, row.contiguous), other(size, row.contiguous), images(size, row.contiguous);
  const double pixelBytes = row.sampleBytes * row.channels;

  qorSetNumThreads(threads);
  const Case made = row.make(setup);
  result.error = firstCall(made);
  if (!result.error.empty()) return result;
  result.bytes = setup.bytes();

  std::vector<Series> series;
  const auto add = [&](Batch batch, int n) {
    series.emplace_back(std::move(batch), n);
    return series.size() - 1;
  };
  const size_t main = add(made.batch, threads);
  const size_t copy = add(copyRows(images, size, 1, 1), 1);
  const size_t sameCopy = pixelBytes == 1 ? copy : add(copyRows(images, size, pixelBytes, 1), 1);
  size_t reference = 0, single = 0, computeOne = 0, computeAll = 0, copyAll = 0;
  if (row.makeReference) {
    const Case referenceMade = row.makeReference(other);
    result.error = firstCall(referenceMade);
    if (!result.error.empty()) {
      result.error = row.referenceName + ": " + result.error;
      return result;
    }
    reference = add(referenceMade.batch, threads);
  }
  if (threads > 1) {
    single = add(made.batch, 1);
    computeOne = add(compute(1), 1);
    computeAll = add(compute(threads), 1);
    copyAll = add(copyRows(images, size, pixelBytes, threads), 1);
  }

  const double start = now();
  for (int round = 0; round < maxRounds; ++round) {
    if (round >= minRounds && now() - start > seconds * 1e9) break;
    for (Series& s : series) s.slice();
  }
  qorSetNumThreads(1);

  result.nsPerCall = series[main].best();
  const std::vector<double> copies = ratios(series[main], series[copy]);
  result.copies = quantile(copies, 0.5);
  result.noise = (quantile(copies, 0.75) - quantile(copies, 0.25)) / 2 / result.copies;
  result.sameCopies = ratio(series[main], series[sameCopy]);
  if (row.makeReference) result.versusReference = ratio(series[main], series[reference]);
  if (threads > 1) {
    result.speedup = ratio(series[single], series[main]);
    result.computeScaling = threads * ratio(series[computeOne], series[computeAll]);
    result.copyScaling = ratio(series[sameCopy], series[copyAll]);
  }
  return result;
}

std::string callCounted(const RowData& row, QoriSize size) {
  Setup setup(size, row.contiguous);
  qorSetNumThreads(1);
  const Case made = row.make(setup);
  std::string error = firstCall(made);
  if (error.empty()) qorBenchCounted(made.batch);
  return error;
}

}  // namespace qor::bench

// Kept whole and under its own name, by which the counter is switched on and off.
extern "C" [[gnu::noipa]] void qorBenchCounted(const qor::bench::Batch& batch) { batch(1); }
