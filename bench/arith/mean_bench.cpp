#include <cmath>

#include "qorcv/arith.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// What a call stores, kept with the call.
struct Results {
  Qor64f mean = 0, stdDev = 0;
};

// Mean and deviation in double by the definition, within what float row sums lose on random data.
template <class T>
bool plausible(const Image<T>& src, int channels, const Image<Qor8u>* mask, const Results& got, bool deviation) {
  double sum = 0, squares = 0, count = 0;
  for (int y = 0; y < src.height; ++y) {
    for (int x = 0; x < src.samples / channels; ++x) {
      if (mask != nullptr && (*mask)(x, y) == 0) continue;
      const double v = static_cast<double>(src(x * channels, y));
      sum += v;
      squares += v * v;
      count += 1;
    }
  }
  const double mean = sum / count, stdDev = std::sqrt(squares / count - mean * mean);
  return std::fabs(got.mean - mean) <= 1e-5 * stdDev && (!deviation || std::fabs(got.stdDev - stdDev) <= 1e-5 * stdDev);
}

template <class T, class Operation>
auto masked(Operation* operation, int channels = 1) {
  return [=](Setup& s) {
    const auto src = s.random<T>({.channels = channels});
    const auto mask = s.mask();
    const auto r = std::make_shared<Results>();
    const auto call = [=, roi = s.roi()] {
      if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*>) {
        return operation(src.p, src.step, mask.p, mask.step, roi, &r->mean);
      } else if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, int, Qor64f*>) {
        return operation(src.p, src.step, mask.p, mask.step, roi, 1, &r->mean);
      } else if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*,
                                               Qor64f*>) {
        return operation(src.p, src.step, mask.p, mask.step, roi, &r->mean, &r->stdDev);
      } else {
        return operation(src.p, src.step, mask.p, mask.step, roi, 1, &r->mean, &r->stdDev);
      }
    };
    return checked(call, [=] { return plausible(src, channels, &mask, *r, r->stdDev != 0); });
  };
}

template <class T, class Operation>
auto plain(Operation* operation, int channels = 1) {
  return [=](Setup& s) {
    const auto src = s.random<T>({.channels = channels});
    const auto r = std::make_shared<Results>();
    const auto call = [=, roi = s.roi()] {
      if constexpr (std::is_invocable_v<Operation*, const T*, int, QoriSize, Qor64f*, Qor64f*>) {
        return operation(src.p, src.step, roi, &r->mean, &r->stdDev);
      } else {
        return operation(src.p, src.step, roi, 1, &r->mean, &r->stdDev);
      }
    };
    return checked(call, [=] { return plausible(src, channels, nullptr, *r, true); });
  };
}

const Register mean([] {
  Row("qoriMean_8u_C1MR").alsoAt(ultraHd).run(masked<Qor8u>(qoriMean_8u_C1MR));
  Row("qoriMean_8s_C1MR").run(masked<Qor8s>(qoriMean_8s_C1MR));
  Row("qoriMean_16u_C1MR").run(masked<Qor16u>(qoriMean_16u_C1MR));
  Row("qoriMean_32f_C1MR").threads(2, ultraHd).run(masked<Qor32f>(qoriMean_32f_C1MR));
  Row("qoriMean_8u_C3CMR").run(masked<Qor8u>(qoriMean_8u_C3CMR, 3));
  Row("qoriMean_StdDev_8u_C1R").alsoAt(ultraHd).threads(2, ultraHd).run(plain<Qor8u>(qoriMean_StdDev_8u_C1R));
  Row("qoriMean_StdDev_8s_C1R").run(plain<Qor8s>(qoriMean_StdDev_8s_C1R));
  Row("qoriMean_StdDev_16u_C1R").run(plain<Qor16u>(qoriMean_StdDev_16u_C1R));
  Row("qoriMean_StdDev_32f_C1R").run(plain<Qor32f>(qoriMean_StdDev_32f_C1R));
  Row("qoriMean_StdDev_8u_C3CR").run(plain<Qor8u>(qoriMean_StdDev_8u_C3CR, 3));
  Row("qoriMean_StdDev_8u_C1MR").run(masked<Qor8u>(qoriMean_StdDev_8u_C1MR));
  Row("qoriMean_StdDev_8s_C1MR").run(masked<Qor8s>(qoriMean_StdDev_8s_C1MR));
  Row("qoriMean_StdDev_16u_C1MR").run(masked<Qor16u>(qoriMean_StdDev_16u_C1MR));
  Row("qoriMean_StdDev_32f_C1MR").run(masked<Qor32f>(qoriMean_StdDev_32f_C1MR));
  Row("qoriMean_StdDev_8u_C3CMR").run(masked<Qor8u>(qoriMean_StdDev_8u_C3CMR, 3));
});

}  // namespace
}  // namespace qor::bench
