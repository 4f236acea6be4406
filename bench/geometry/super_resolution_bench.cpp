#include <memory>
#include <utility>
#include <vector>

#include "qorcv/geometry.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// One sample for every four pixels of the region, in the order of rows or in none, of 64 kernels of ones.
template <class Spec>
struct Samples {
  int count;
  Qor32s* offset;
  Qor16u* index;
  std::shared_ptr<Spec> spec;
};

template <int side, class Spec>
Samples<Spec> samples(Setup& s, int step, bool shuffled, auto* init, auto* release) {
  constexpr int kernels = 64;
  const int columns = (s.roi().width - 1) / 2, rows = (s.roi().height - 1) / 2, count = columns * rows;
  const Samples<Spec> made{count, s.blankVector<Qor32s>(count), s.blankVector<Qor16u>(count), nullptr};
  auto* const numbers = s.randomVector<Qor32s>(count, 0, 1 << 30);
  for (int i = 0; i < count; ++i) {
    made.offset[i] = 2 * (i / columns) * (step / 4) + 2 * (i % columns);
    made.index[i] = static_cast<Qor16u>(numbers[i] % kernels);
  }
  for (int i = count - 1; shuffled && i > 0; --i) std::swap(made.offset[i], made.offset[numbers[i] % (i + 1)]);
  const std::vector<Qor32f> ones(static_cast<size_t>(kernels * side * side), 1.0F);
  Spec* spec = nullptr;
  init(&spec, ones.data(), kernels);
  return {made.count, made.offset, made.index, {spec, [release](Spec* p) { release(p); }}};
}

template <int side, class Spec, class Low>
auto residual(auto* operation, auto* init, auto* release, bool shuffled = false) {
  return [=](Setup& s) {
    const auto high = s.blank<Qor32f>();
    high.all([=](int x, int y) {
      high(x, y) = 2;
      return true;
    });
    const auto list = samples<side, Spec>(s, high.step, shuffled, init, release);
    const auto* low = s.randomVector<Low>(list.count);
    auto* residuals = s.blankVector<Qor32f>(list.count);
    return checked(
        [=] {
          return operation(high.p, high.step, low, list.offset, list.index, residuals, list.count, list.spec.get());
        },
        [=] {
          for (int i = 0; i < list.count; ++i)
            if (residuals[i] != 2.0F * side * side - static_cast<Qor32f>(low[i])) return false;
          return true;
        });
  };
}

template <int side, class Spec>
auto gradient(auto* operation, auto* init, auto* release, bool shuffled = false) {
  return [=](Setup& s) {
    const auto g = s.blank<Qor32f>();
    const auto list = samples<side, Spec>(s, g.step, shuffled, init, release);
    const auto* weight = s.randomVector<Qor8u>(list.count);
    auto *weights = s.blankVector<Qor32f>(256), *error = s.blankVector<Qor32f>(list.count);
    for (int i = 0; i < 256; ++i) weights[i] = 1;
    for (int i = 0; i < list.count; ++i) error[i] = 1;
    return checked(
        [=] {
          return operation(g.p, g.step, list.offset, list.index, error, weight, list.count, weights, list.spec.get());
        },
        // Every second column and row of 3x3 kernels belongs to two of them, but for the first.
        [=, roi = s.roi()] {
          const auto shared = [](int i, int end) {
            return i > end ? 0 : side == 3 && i % 2 == 0 && i > 0 && i < end ? 2 : 1;
          };
          const int lastX = (roi.width - 1) / 2 * 2 + side - 3, lastY = (roi.height - 1) / 2 * 2 + side - 3;
          return g.all(
              [=](int x, int y) { return g(x, y) == static_cast<Qor32f>(shared(x, lastX) * shared(y, lastY)); });
        });
  };
}

using Two = QoriSRHNSpec_PSF2x2;
using Three = QoriSRHNSpec_PSF3x3;

const Register rows([] {
  const auto init2 = qoriSRHNInitAlloc_PSF2x2;
  const auto init3 = qoriSRHNInitAlloc_PSF3x3;
  const auto free2 = qoriSRHNFree_PSF2x2;
  const auto free3 = qoriSRHNFree_PSF3x3;
  Row("qoriSRHNCalcResidual_PSF2x2_8u32f_C1R")
      .run(residual<2, Two, Qor8u>(qoriSRHNCalcResidual_PSF2x2_8u32f_C1R, init2, free2));
  Row("qoriSRHNCalcResidual_PSF2x2_16u32f_C1R")
      .run(residual<2, Two, Qor16u>(qoriSRHNCalcResidual_PSF2x2_16u32f_C1R, init2, free2));
  Row("qoriSRHNCalcResidual_PSF3x3_8u32f_C1R")
      .run(residual<3, Three, Qor8u>(qoriSRHNCalcResidual_PSF3x3_8u32f_C1R, init3, free3));
  Row("qoriSRHNCalcResidual_PSF3x3_16u32f_C1R")
      .run(residual<3, Three, Qor16u>(qoriSRHNCalcResidual_PSF3x3_16u32f_C1R, init3, free3));
  Row("qoriSRHNCalcResidual_PSF3x3_8u32f_C1R/shuffled")
      .run(residual<3, Three, Qor8u>(qoriSRHNCalcResidual_PSF3x3_8u32f_C1R, init3, free3, true));
  Row("qoriSRHNUpdateGradient_PSF2x2_32f_C1R")
      .run(gradient<2, Two>(qoriSRHNUpdateGradient_PSF2x2_32f_C1R, init2, free2));
  Row("qoriSRHNUpdateGradient_PSF3x3_32f_C1R")
      .run(gradient<3, Three>(qoriSRHNUpdateGradient_PSF3x3_32f_C1R, init3, free3));
  Row("qoriSRHNUpdateGradient_PSF3x3_32f_C1R/shuffled")
      .run(gradient<3, Three>(qoriSRHNUpdateGradient_PSF3x3_32f_C1R, init3, free3, true));
});

}  // namespace
}  // namespace qor::bench
