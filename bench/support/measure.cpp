#include "support/measure.h"

#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <deque>

#include "qorcore.h"

namespace qor::bench {
namespace {

double now() {
  const auto t = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(t).count());
}

// A sample is long against the clock's own cost, and a slice short against the moods of the machine. The caches need
// several calls to settle behind the slice of another series when all series together exceed the last level: fewer than
// these made full-size float images look half as fast as they are. Calls beyond slowCallNs settle within themselves.
constexpr double sampleNs = 30e3, sliceNs = 1e6, slowCallNs = 5e6;
constexpr int settlingCalls = 4, minSamples = 12, minRounds = 7;
// Images beyond the middle caches share the last level with all that runs on the machine, so their quiet moments are
// rarer: such rows take so many times longer.
constexpr int64_t outerCache = 8 << 20;
constexpr double outerCacheSeconds = 4;
// On a busy machine a row may take so many times its seconds.
constexpr double patience = 8;

// Vector arithmetic that fills the processor's units out of registers: eight chains of adds of one cycle each. A busy
// sibling thread on the same core, which a chain of dependent operations would not notice, costs it up to half.
void fillUnits(int iterations) {
  using Lanes [[gnu::vector_size(16)]] = int;
  Lanes a{}, b{}, c{}, d{}, e{}, f{}, g{}, h{};
  for (int i = 0; i < iterations; ++i) {
    asm volatile(
        "paddd %0,%0\n paddd %1,%1\n paddd %2,%2\n paddd %3,%3\n"
        "paddd %4,%4\n paddd %5,%5\n paddd %6,%6\n paddd %7,%7"
        : "+x"(a), "+x"(b), "+x"(c), "+x"(d), "+x"(e), "+x"(f), "+x"(g), "+x"(h));
  }
}

// Tells whether this thread has its core to itself, by the speed of fillUnits() against the best seen so far.
class Probe {
 public:
  Probe() {
    const double start = now();
    while (now() - start < 0.3e9) quiet();
  }

  bool quiet() {
    const double start = now();
    fillUnits(5000);
    const double t = now() - start;
    best_ = std::min(best_, t);
    return t < best_ * 1.1;
  }

 private:
  double best_ = HUGE_VAL;
};

Probe& probe() {
  static Probe p;
  return p;
}

// One thing that is timed in turns with others.
class Series {
 public:
  Series(Batch batch, int threads) : batch_(std::move(batch)), threads_(threads) {
    qorSetNumThreads(threads_);
    batch_(1);
    for (;;) {
      const double t = time(calls_);
      if (t >= sampleNs) break;
      const double more = static_cast<double>(calls_) * std::min(sampleNs / t * 1.2, 10.0);
      calls_ = std::max(calls_ + 1, static_cast<int64_t>(more));
    }
  }

  // Times calls for a while and keeps the quickest.
  void slice() {
    qorSetNumThreads(threads_);
    double best = HUGE_VAL, total = 0;
    const bool slow = !rounds_.empty() && rounds_.back() > slowCallNs;
    if (!slow) batch_(settlingCalls);
    const bool before = probe().quiet();
    for (int sample = 0; total < sliceNs || (sample < minSamples && !slow); ++sample) {
      const double t = time(calls_);
      total += t;
      best = std::min(best, t / static_cast<double>(calls_));
    }
    if (before && probe().quiet()) ++quiet_;
    rounds_.push_back(best);
  }

  double best() const { return *std::min_element(rounds_.begin(), rounds_.end()); }
  int quietSlices() const { return quiet_; }
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
  int quiet_ = 0;
  std::vector<double> rounds_;
};

double quantile(std::vector<double> values, double q) {
  const size_t at = static_cast<size_t>(q * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
  return values[at];
}

// Half the distance of the quartiles of the ratio of neighbours in time, relative to its median.
double spread(const Series& a, const Series& b) {
  std::vector<double> r;
  for (size_t i = 0; i < a.rounds().size(); ++i) r.push_back(a.rounds()[i] / b.rounds()[i]);
  return (quantile(r, 0.75) - quantile(r, 0.25)) / 2 / quantile(r, 0.5);
}

double ratio(const Series& a, const Series& b) { return a.best() / b.best(); }

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

// The same arithmetic on every thread, long against the wake-up of a team.
Batch compute(int threads) {
  constexpr int iterations = 1000000;
  if (threads == 1) return repeat([] { fillUnits(iterations); });
  return repeat([=] {
#pragma omp parallel num_threads(threads)
    fillUnits(iterations);
  });
}

std::string firstCall(const Case& made) {
  const QorStatus status = made.batch(1);
  if (status != qorStsNoErr) return "the first call gave status " + std::to_string(status);
  if (made.check && !made.check()) return "the first call gave a wrong result";
  return {};
}

}  // namespace

Result measure(const Levels& levels, QoriSize size, int threads, double seconds) {
  Result result;
  const RowData& row = *levels.back();
  std::deque<Setup> setups;
  std::vector<Series> series;
  const auto add = [&](Batch batch, int n) {
    series.emplace_back(std::move(batch), n);
    return series.size() - 1;
  };
  // Makes the call of a row or of its reference; null when it goes wrong.
  const auto make = [&](const Maker& maker) {
    Case made = maker(setups.emplace_back(size, row.contiguous));
    result.error = firstCall(made);
    return result.error.empty() ? made.batch : nullptr;
  };

  qorSetNumThreads(threads);
  Batch batch;
  for (const RowData* level : levels) {
    batch = make(level->make);
    if (batch == nullptr) return result;
    add(batch, threads);
  }
  const size_t main = series.size() - 1;
  result.bytes = setups.back().bytes();
  if (result.bytes > outerCache) seconds *= outerCacheSeconds;

  Setup& images = setups.emplace_back(size, row.contiguous);
  const double pixelBytes = row.sampleBytes * row.channels;
  const size_t copy = add(copyRows(images, size, 1, 1), 1);
  const size_t sameCopy = pixelBytes == 1 ? copy : add(copyRows(images, size, pixelBytes, 1), 1);
  size_t reference = 0, single = 0, computeOne = 0, computeAll = 0, copyAll = 0;
  if (row.makeReference) {
    const Batch other = make(row.makeReference);
    if (other == nullptr) return result;
    reference = add(other, threads);
  }
  if (threads > 1) {
    single = add(batch, 1);
    computeOne = add(compute(1), 1);
    computeAll = add(compute(threads), 1);
    copyAll = add(copyRows(images, size, pixelBytes, threads), 1);
  }

  const auto done = [&](const Series& s) { return s.quietSlices() >= minRounds; };
  const double start = now(), enough = start + seconds * 1e9, tooLong = start + patience * seconds * 1e9;
  for (int round = 0;; ++round) {
    result.quiet = std::all_of(series.begin(), series.end(), done);
    if (round >= minRounds && now() > (result.quiet ? enough : tooLong)) break;
    for (Series& s : series) s.slice();
  }
  qorSetNumThreads(1);

  for (size_t level = 0; level < levels.size(); ++level) {
    result.nsPerCall.push_back(series[level].best());
    result.copies.push_back(ratio(series[level], series[copy]));
  }
  result.noise = spread(series[main], series[copy]);
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
