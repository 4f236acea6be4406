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
  Row("qoriMean_8u_C1MR").budget(0.8).alsoAt(ultraHd).run(masked<Qor8u>(qoriMean_8u_C1MR));
  Row("qoriMean_8s_C1MR").budget(0.8).run(masked<Qor8s>(qoriMean_8s_C1MR));
  Row("qoriMean_16u_C1MR").budget(1.4).run(masked<Qor16u>(qoriMean_16u_C1MR));
  Row("qoriMean_32f_C1MR").budget(2.4).threads(2, ultraHd, 1.6).run(masked<Qor32f>(qoriMean_32f_C1MR));
  Row("qoriMean_8u_C3CMR").budget(3.0).run(masked<Qor8u>(qoriMean_8u_C3CMR, 3));
  Row("qoriMean_StdDev_8u_C1R")
      .budget(0.6)
      .alsoAt(ultraHd)
      .threads(2, ultraHd, 1.6)
      .run(plain<Qor8u>(qoriMean_StdDev_8u_C1R));
  Row("qoriMean_StdDev_8s_C1R").budget(0.6).run(plain<Qor8s>(qoriMean_StdDev_8s_C1R));
  Row("qoriMean_StdDev_16u_C1R").budget(1.2).run(plain<Qor16u>(qoriMean_StdDev_16u_C1R));
  Row("qoriMean_StdDev_32f_C1R").budget(2.4).run(plain<Qor32f>(qoriMean_StdDev_32f_C1R));
  Row("qoriMean_StdDev_8u_C3CR").budget(3.0).run(plain<Qor8u>(qoriMean_StdDev_8u_C3CR, 3));
  Row("qoriMean_StdDev_8u_C1MR").budget(1.2).run(masked<Qor8u>(qoriMean_StdDev_8u_C1MR));
  Row("qoriMean_StdDev_8s_C1MR").budget(1.2).run(masked<Qor8s>(qoriMean_StdDev_8s_C1MR));
  Row("qoriMean_StdDev_16u_C1MR").budget(2.0).run(masked<Qor16u>(qoriMean_StdDev_16u_C1MR));
  Row("qoriMean_StdDev_32f_C1MR").budget(3.0).run(masked<Qor32f>(qoriMean_StdDev_32f_C1MR));
  Row("qoriMean_StdDev_8u_C3CMR").budget(3.0).run(masked<Qor8u>(qoriMean_StdDev_8u_C3CMR, 3));
});

}  // namespace
}  // namespace qor::bench
