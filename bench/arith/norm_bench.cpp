#include <cmath>

#include "qorcv/arith.h"
#include "support/row.h"

namespace qor::bench {
namespace {

enum Norm { Inf, L1, L2 };

// Numerator and denominator by the definition, in double.
template <class T, class Values>
double measured(Norm norm, const Image<T>& like, int channels, const Image<Qor8u>& mask, Values values) {
  double sum = 0, largest = 0;
  for (int y = 0; y < like.height; ++y) {
    for (int x = 0; x < like.samples / channels; ++x) {
      if (mask(x, y) == 0) continue;
      const double v = std::fabs(values(x * channels, y));
      largest = std::max(largest, v);
      sum += norm == L2 ? v * v : v;
    }
  }
  return norm == Inf ? largest : norm == L1 ? sum : std::sqrt(sum);
}

bool close(double got, double want) { return std::fabs(got - want) <= 1e-5 * want; }

template <class T, class Operation>
auto one(Norm norm, Operation* operation, int channels) {
  return [=](Setup& s) {
    const auto src = s.random<T>({.channels = channels});
    const auto mask = s.mask();
    const auto value = std::make_shared<Qor64f>();
    return checked(
        [=, roi = s.roi()] {
          if constexpr (std::is_invocable_v<Operation*, const T*, int, const Qor8u*, int, QoriSize, Qor64f*>) {
            return operation(src.p, src.step, mask.p, mask.step, roi, value.get());
          } else {
            return operation(src.p, src.step, mask.p, mask.step, roi, 1, value.get());
          }
        },
        [=] {
          return close(*value,
                       measured(norm, src, channels, mask, [&](int x, int y) { return double{1} * src(x, y); }));
        });
  };
}

template <class T, class Operation>
auto two(Norm norm, bool relative, Operation* operation, int channels) {
  return [=](Setup& s) {
    const auto a = s.random<T>({.channels = channels}), b = s.random<T>({.channels = channels});
    const auto mask = s.mask();
    const auto value = std::make_shared<Qor64f>();
    return checked(
        [=, roi = s.roi()] {
          if constexpr (std::is_invocable_v<Operation*, const T*, int, const T*, int, const Qor8u*, int, QoriSize,
                                            Qor64f*>) {
            return operation(a.p, a.step, b.p, b.step, mask.p, mask.step, roi, value.get());
          } else {
            return operation(a.p, a.step, b.p, b.step, mask.p, mask.step, roi, 1, value.get());
          }
        },
        [=] {
          const double d =
              measured(norm, a, channels, mask, [&](int x, int y) { return double{1} * a(x, y) - b(x, y); });
          const double n = measured(norm, b, channels, mask, [&](int x, int y) { return double{1} * b(x, y); });
          return close(*value, relative ? d / n : d);
        });
  };
}

const Register norms([] {
  const auto norm = [&](const char* name, Norm n, auto* operation, auto sample) {
    using T = decltype(sample);
    Row(name).run(one<T>(n, operation, 1));
  };
  norm("qoriNorm_Inf_8u_C1MR", Inf, qoriNorm_Inf_8u_C1MR, Qor8u{});
  norm("qoriNorm_Inf_8s_C1MR", Inf, qoriNorm_Inf_8s_C1MR, Qor8s{});
  norm("qoriNorm_Inf_16u_C1MR", Inf, qoriNorm_Inf_16u_C1MR, Qor16u{});
  norm("qoriNorm_Inf_32f_C1MR", Inf, qoriNorm_Inf_32f_C1MR, Qor32f{});
  norm("qoriNorm_L1_8u_C1MR", L1, qoriNorm_L1_8u_C1MR, Qor8u{});
  norm("qoriNorm_L1_8s_C1MR", L1, qoriNorm_L1_8s_C1MR, Qor8s{});
  norm("qoriNorm_L1_16u_C1MR", L1, qoriNorm_L1_16u_C1MR, Qor16u{});
  norm("qoriNorm_L1_32f_C1MR", L1, qoriNorm_L1_32f_C1MR, Qor32f{});
  norm("qoriNorm_L2_8s_C1MR", L2, qoriNorm_L2_8s_C1MR, Qor8s{});
  norm("qoriNorm_L2_16u_C1MR", L2, qoriNorm_L2_16u_C1MR, Qor16u{});
  norm("qoriNorm_L2_32f_C1MR", L2, qoriNorm_L2_32f_C1MR, Qor32f{});
  Row("qoriNorm_L2_8u_C1MR").alsoAt(ultraHd).threads(2, ultraHd).run(one<Qor8u>(L2, qoriNorm_L2_8u_C1MR, 1));
  Row("qoriNorm_L2_8u_C3CMR").run(one<Qor8u>(L2, qoriNorm_L2_8u_C3CMR, 3));

  const auto diff = [&](const char* name, Norm n, auto* operation, auto sample) {
    using T = decltype(sample);
    Row(name).run(two<T>(n, false, operation, 1));
  };
  diff("qoriNormDiff_Inf_8u_C1MR", Inf, qoriNormDiff_Inf_8u_C1MR, Qor8u{});
  diff("qoriNormDiff_Inf_8s_C1MR", Inf, qoriNormDiff_Inf_8s_C1MR, Qor8s{});
  diff("qoriNormDiff_Inf_16u_C1MR", Inf, qoriNormDiff_Inf_16u_C1MR, Qor16u{});
  diff("qoriNormDiff_Inf_32f_C1MR", Inf, qoriNormDiff_Inf_32f_C1MR, Qor32f{});
  diff("qoriNormDiff_L1_8u_C1MR", L1, qoriNormDiff_L1_8u_C1MR, Qor8u{});
  diff("qoriNormDiff_L1_8s_C1MR", L1, qoriNormDiff_L1_8s_C1MR, Qor8s{});
  diff("qoriNormDiff_L1_16u_C1MR", L1, qoriNormDiff_L1_16u_C1MR, Qor16u{});
  diff("qoriNormDiff_L1_32f_C1MR", L1, qoriNormDiff_L1_32f_C1MR, Qor32f{});
  diff("qoriNormDiff_L2_8u_C1MR", L2, qoriNormDiff_L2_8u_C1MR, Qor8u{});
  diff("qoriNormDiff_L2_8s_C1MR", L2, qoriNormDiff_L2_8s_C1MR, Qor8s{});
  diff("qoriNormDiff_L2_16u_C1MR", L2, qoriNormDiff_L2_16u_C1MR, Qor16u{});
  diff("qoriNormDiff_L2_32f_C1MR", L2, qoriNormDiff_L2_32f_C1MR, Qor32f{});
  Row("qoriNormDiff_L1_8u_C3CMR").run(two<Qor8u>(L1, false, qoriNormDiff_L1_8u_C3CMR, 3));

  const auto rel = [&](const char* name, Norm n, auto* operation, auto sample) {
    using T = decltype(sample);
    Row(name).run(two<T>(n, true, operation, 1));
  };
  rel("qoriNormRel_Inf_8u_C1MR", Inf, qoriNormRel_Inf_8u_C1MR, Qor8u{});
  rel("qoriNormRel_Inf_8s_C1MR", Inf, qoriNormRel_Inf_8s_C1MR, Qor8s{});
  rel("qoriNormRel_Inf_16u_C1MR", Inf, qoriNormRel_Inf_16u_C1MR, Qor16u{});
  rel("qoriNormRel_Inf_32f_C1MR", Inf, qoriNormRel_Inf_32f_C1MR, Qor32f{});
  rel("qoriNormRel_L1_8u_C1MR", L1, qoriNormRel_L1_8u_C1MR, Qor8u{});
  rel("qoriNormRel_L1_8s_C1MR", L1, qoriNormRel_L1_8s_C1MR, Qor8s{});
  rel("qoriNormRel_L1_16u_C1MR", L1, qoriNormRel_L1_16u_C1MR, Qor16u{});
  rel("qoriNormRel_L1_32f_C1MR", L1, qoriNormRel_L1_32f_C1MR, Qor32f{});
  rel("qoriNormRel_L2_8u_C1MR", L2, qoriNormRel_L2_8u_C1MR, Qor8u{});
  rel("qoriNormRel_L2_8s_C1MR", L2, qoriNormRel_L2_8s_C1MR, Qor8s{});
  rel("qoriNormRel_L2_16u_C1MR", L2, qoriNormRel_L2_16u_C1MR, Qor16u{});
  rel("qoriNormRel_L2_32f_C1MR", L2, qoriNormRel_L2_32f_C1MR, Qor32f{});
  Row("qoriNormRel_L2_8u_C3CMR").run(two<Qor8u>(L2, true, qoriNormRel_L2_8u_C3CMR, 3));
});

}  // namespace
}  // namespace qor::bench
