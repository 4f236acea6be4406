#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "qorcv/morph.h"
#include "support/row.h"

namespace qor::bench {
namespace {

template <class T>
struct Forms {
  using Element = Qor32s;
  static constexpr auto getSize = qoriMorphGrayGetSize_8u_C1R;
  static constexpr auto init = qoriMorphGrayInit_8u_C1R;
};
template <>
struct Forms<Qor32f> {
  using Element = Qor32f;
  static constexpr auto getSize = qoriMorphGrayGetSize_32f_C1R;
  static constexpr auto init = qoriMorphGrayInit_32f_C1R;
};

// A hill of elements of both signs, or one element throughout; a pixel in the middle is checked.
template <class T, class Operation>
auto withMask(Operation* operation, int side, bool flat) {
  return [=](Setup& s) {
    using Element = typename Forms<T>::Element;
    const auto src = s.random<T>(), dst = s.blank<T>();
    const QoriSize roi = s.roi(), maskSize{side, side};
    const int centre = side / 2;
    std::vector<Element> mask;
    for (int i = 0; i < side * side; ++i) {
      const int dx = i % side - centre, dy = i / side - centre;
      mask.push_back(static_cast<Element>(flat ? 5 : 20 - 5 * (dx * dx + dy * dy)));
    }
    int size = 0;
    Forms<T>::getSize(roi, mask.data(), maskSize, &size);
    auto* const record = reinterpret_cast<QoriMorphGrayState*>(s.scratch(size));
    Forms<T>::init(record, roi, mask.data(), maskSize, {centre, centre});
    return checked([=] { return operation(src.p, src.step, dst.p, dst.step, roi, qorBorderRepl, record); },
                   [=] {
                     const int x = roi.width / 2, y = roi.height / 2;
                     double best = -1e38;
                     for (int i = 0; i < side * side; ++i) {
                       best = std::max(best, static_cast<double>(src(x + i % side - centre, y + i / side - centre)) +
                                                 static_cast<double>(mask[static_cast<size_t>(i)]));
                     }
                     if (std::is_integral_v<T>) best = std::clamp(best, 0.0, 255.0);
                     return static_cast<double>(dst(x, y)) == best;
                   });
  };
}

template <class T, class Operation>
void rowsOf(const std::string& name, Operation* operation) {
  for (const int side : {3, 5, 9, 15}) {
    Row(name + "/" + std::to_string(side) + "x" + std::to_string(side)).run(withMask<T>(operation, side, false));
  }
  for (const int side : {15, 31}) {
    Row(name + "/flat" + std::to_string(side) + "x" + std::to_string(side)).run(withMask<T>(operation, side, true));
  }
}

const Register gray([] {
  rowsOf<Qor8u>("qoriGrayDilateBorder_8u_C1R", qoriGrayDilateBorder_8u_C1R);
  rowsOf<Qor32f>("qoriGrayDilateBorder_32f_C1R", qoriGrayDilateBorder_32f_C1R);
});

}  // namespace
}  // namespace qor::bench
