// How the thread count changes the time of a call and never its result.
//
//     c++ -std=c++17 threads.cpp $(pkg-config --cflags --libs qorcv) -o threads
#include <chrono>
#include <cstdio>
#include <vector>

#include "qorcore.h"
#include "qorcv.h"

namespace {

constexpr int width = 3840, height = 2160;

std::vector<Qor8u> difference(const std::vector<Qor8u>& a, const std::vector<Qor8u>& b, double& milliseconds) {
  using Clock = std::chrono::steady_clock;
  std::vector<Qor8u> result(a.size());
  milliseconds = 1e9;
  // The first run also starts the threads; keep the best.
  for (int run = 0; run < 10; ++run) {
    const Clock::time_point start = Clock::now();
    const QorStatus status =
        qoriAbsDiff_8u_C1R(a.data(), width, b.data(), width, result.data(), width, {width, height});
    const double time = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    if (status != qorStsNoErr) return {};
    if (time < milliseconds) milliseconds = time;
  }
  return result;
}

}  // namespace

int main() {
  std::vector<Qor8u> a(static_cast<size_t>(width) * height), b(a.size());
  for (size_t i = 0; i < a.size(); ++i) {
    a[i] = static_cast<Qor8u>(i * 7);
    b[i] = static_cast<Qor8u>(i * i);
  }
  int most = 1;
  qorGetNumThreads(&most);
  std::vector<Qor8u> first;
  for (int threads = 1; threads <= most; threads *= 2) {
    qorSetNumThreads(threads);
    double milliseconds = 0;
    const std::vector<Qor8u> result = difference(a, b, milliseconds);
    if (threads == 1) first = result;
    const bool same = !result.empty() && result == first;
    std::printf("%2d threads: %.2f ms for %d x %d pixels, %s\n", threads, milliseconds, width, height,
                same ? "the same result" : "ANOTHER RESULT");
    if (!same) return 1;
  }
  return 0;
}
