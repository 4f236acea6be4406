#include "feature/scene.h"
#include "qorcv/feature.h"

namespace qor::bench {
namespace {

constexpr Qor32f low = 60, high = 150;

// Thresholds that leave one pixel in twenty an edge, within a factor of two.
bool isUsual(const Image<Qor8u>& edges) {
  int64_t count = 0;
  edges.all([&](int x, int y) {
    count += edges(x, y) != 0;
    return true;
  });
  const int64_t all = int64_t{edges.samples} * edges.height;
  return count > all / 40 && count < all / 10;
}

auto fromImage(QorGradientFilter filter, QoriMaskSize mask, QorNormType norm, Qor32f scale) {
  return [=](Setup& s) {
    const auto src = scene(s), dst = s.blank<Qor8u>();
    const QoriSize roi = s.roi();
    int bytes = 0;
    qoriCannyBorderGetSize(roi, filter, mask, qor8u, &bytes);
    Qor8u* const buffer = s.scratch(bytes);
    return checked(
        [=] {
          return qoriCannyBorder_8u_C1R(src.p, src.step, dst.p, dst.step, roi, filter, mask, qorBorderRepl, 0,
                                        low * scale, high * scale, norm, buffer);
        },
        [=] { return isUsual(dst); });
  };
}

template <class C, class Operation>
auto fromDerivatives(Operation* operation) {
  return [=](Setup& s) {
    const auto src = scene(s), dst = s.blank<Qor8u>();
    const auto dx = s.blank<C>(), dy = s.blank<C>();
    dx.all([&](int x, int y) {
      const auto at = [&](int i, int j) {
        const auto inside = [](int k, int n) { return k < 0 ? 0 : k >= n ? n - 1 : k; };
        return int{src(inside(x + i, src.samples), inside(y + j, src.height))};
      };
      const int right = at(1, -1) + 2 * at(1, 0) + at(1, 1), left = at(-1, -1) + 2 * at(-1, 0) + at(-1, 1);
      const int below = at(-1, 1) + 2 * at(0, 1) + at(1, 1), above = at(-1, -1) + 2 * at(0, -1) + at(1, -1);
      dx(x, y) = static_cast<C>(right - left), dy(x, y) = static_cast<C>(below - above);
      return true;
    });
    const QoriSize roi = s.roi();
    int bytes = 0;
    qoriCannyGetSize(roi, &bytes);
    Qor8u* const buffer = s.scratch(bytes);
    return checked([=] { return operation(dx.p, dx.step, dy.p, dy.step, dst.p, dst.step, roi, low, high, buffer); },
                   [=] { return isUsual(dst); });
  };
}

const Register canny([] {
  Row("qoriCanny_16s8u_C1R").run(fromDerivatives<Qor16s>(qoriCanny_16s8u_C1R));
  Row("qoriCanny_32f8u_C1R").run(fromDerivatives<Qor32f>(qoriCanny_32f8u_C1R));
  Row("qoriCannyBorder_8u_C1R/L1").run(fromImage(qorFilterSobel, qorMskSize3x3, qorNormL1, 1));
  Row("qoriCannyBorder_8u_C1R/L2").run(fromImage(qorFilterSobel, qorMskSize3x3, qorNormL2, 0.8F));
  Row("qoriCannyBorder_8u_C1R/5x5").run(fromImage(qorFilterSobel, qorMskSize5x5, qorNormL1, 10));
  Row("qoriCannyBorder_8u_C1R/Scharr").run(fromImage(qorFilterScharr, qorMskSize3x3, qorNormL1, 4));
});

}  // namespace
}  // namespace qor::bench
