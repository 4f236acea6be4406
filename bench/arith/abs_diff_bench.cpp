#include <cmath>
#include <cstdlib>

#include "qorcv/arith.h"
#include "support/row.h"

namespace qor::bench {
namespace {

template <class T>
T difference(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    return std::fabs(a - b);
  } else {
    return static_cast<T>(std::abs(int{a} - int{b}));
  }
}

template <class T, class Operation>
auto images(Operation* operation, int channels = 1) {
  return [=](Setup& s) {
    const auto a = s.random<T>({.channels = channels}), b = s.random<T>({.channels = channels});
    const auto d = s.blank<T>({.channels = channels});
    return checked([=, roi = s.roi()] { return operation(a.p, a.step, b.p, b.step, d.p, d.step, roi); },
                   [=] { return d.all([=](int x, int y) { return d(x, y) == difference(a(x, y), b(x, y)); }); });
  };
}

template <class T, class Operation, class Value>
auto constant(Operation* operation, Value value) {
  return [=](Setup& s) {
    const auto a = s.random<T>(), d = s.blank<T>();
    return checked(
        [=, roi = s.roi()] { return operation(a.p, a.step, d.p, d.step, roi, value); },
        [=] { return d.all([=](int x, int y) { return d(x, y) == difference(a(x, y), static_cast<T>(value)); }); });
  };
}

const Register absDiff([] {
  Row("qoriAbsDiff_8u_C1R").run(images<Qor8u>(qoriAbsDiff_8u_C1R));
  Row("qoriAbsDiff_8u_C3R").run(images<Qor8u>(qoriAbsDiff_8u_C3R, 3));
  Row("qoriAbsDiff_16u_C1R").run(images<Qor16u>(qoriAbsDiff_16u_C1R));
  Row("qoriAbsDiff_32f_C1R").threads(2, huge).run(images<Qor32f>(qoriAbsDiff_32f_C1R));
  Row("qoriAbsDiffC_8u_C1R").run(constant<Qor8u>(qoriAbsDiffC_8u_C1R, 100));
  Row("qoriAbsDiffC_16u_C1R").run(constant<Qor16u>(qoriAbsDiffC_16u_C1R, 30000));
  Row("qoriAbsDiffC_32f_C1R").run(constant<Qor32f>(qoriAbsDiffC_32f_C1R, 0.25F));
});

}  // namespace
}  // namespace qor::bench
