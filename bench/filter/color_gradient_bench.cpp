#include <algorithm>
#include <cmath>

#include "qorcv/filter.h"
#include "support/row.h"

namespace qor::bench {
namespace {

int gray(QoriNorm norm, int a, int b, int c) {
  if (norm == qoriNormInf) return std::max({a, b, c});
  if (norm == qoriNormL1) return ((a + b + c) * 1365 + 2048) >> 12;
  return static_cast<int>(std::lround(std::sqrt((a * a + b * b + c * c) / 3.0)));
}

const Register colorGradient([] {
  const struct {
    QoriNorm norm;
    const char* name;
  } norms[] = {{qoriNormInf, "Inf"}, {qoriNormL1, "L1"}, {qoriNormL2, "L2"}};
  for (const auto& n : norms) {
    const QoriNorm norm = n.norm;
    Row(std::string("qoriGradientColorToGray_8u_C3C1R/") + n.name).run([=](Setup& s) {
      const auto a = s.random<Qor8u>({.channels = 3}), d = s.blank<Qor8u>();
      return checked(
          [=, roi = s.roi()] { return qoriGradientColorToGray_8u_C3C1R(a.p, a.step, d.p, d.step, roi, norm); },
          [=] {
            return d.all(
                [=](int x, int y) { return d(x, y) == gray(norm, a(3 * x, y), a(3 * x + 1, y), a(3 * x + 2, y)); });
          });
    });
    Row(std::string("qoriGradientColorToGray_16u_C3C1R/") + n.name).run([=](Setup& s) {
      const auto a = s.random<Qor16u>({.channels = 3}), d = s.blank<Qor16u>();
      return [=, roi = s.roi()] { return qoriGradientColorToGray_16u_C3C1R(a.p, a.step, d.p, d.step, roi, norm); };
    });
    Row(std::string("qoriGradientColorToGray_32f_C3C1R/") + n.name).run([=](Setup& s) {
      const auto a = s.random<Qor32f>({.channels = 3}), d = s.blank<Qor32f>();
      return [=, roi = s.roi()] { return qoriGradientColorToGray_32f_C3C1R(a.p, a.step, d.p, d.step, roi, norm); };
    });
  }
});

}  // namespace
}  // namespace qor::bench
