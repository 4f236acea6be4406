#include <cmath>
#include <memory>
#include <string>
#include <type_traits>

#include "qorcv/pyramid.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// A layer by 1, 4, 6, 4, 1 between the row's size and the next coarser one, on a picture that rises by so little that
// neither filtering nor sampling leaves it by more than a unit or two. Time is told for a pixel of the finer image.
template <class T, class State, class Tap>
auto stepped(QorStatus step(const T*, int, QoriSize, T*, int, QoriSize, State*),
             QorStatus init(State**, QoriSize, Qor32f, const Tap*, int, int), QorStatus release(State*), Qor32f rate,
             int channels = 1) {
  return [=](Setup& s) {
    constexpr bool isUp = std::is_same_v<State, QoriPyramidUpState>;
    static const Tap taps[] = {1, 4, 6, 4, 1};
    const QoriSize finer = s.roi();
    QoriSize coarser{};
    qoriGetPyramidDownROI(finer, &coarser, rate);
    const QoriSize from = isUp ? coarser : finer, to = isUp ? finer : coarser;
    const auto src = s.blank<T>({.channels = channels, .size = from});
    const auto dst = s.blank<T>({.channels = channels, .size = to});
    const auto at = [=](int sample, int y, QoriSize size) {
      return 100.0 * (sample / channels) / size.width + 100.0 * y / size.height + 20;
    };
    src.all([=](int x, int y) {
      src(x, y) = static_cast<T>(at(x, y, from));
      return true;
    });
    State* made = nullptr;
    init(&made, finer, rate, taps, 5, 2);
    const std::shared_ptr<State> state(made, release);
    return checked(
        [=] { return step(src.p, src.step, from, dst.p, dst.step, to, state.get()); },
        [=] {
          return dst.all([=](int x, int y) { return std::fabs(static_cast<double>(dst(x, y)) - at(x, y, to)) <= 6; });
        });
  };
}

#define QOR_DOWN(ending) \
  qoriPyramidLayerDown_##ending, qoriPyramidLayerDownInitAlloc_##ending, qoriPyramidLayerDownFree_##ending
#define QOR_UP(ending) \
  qoriPyramidLayerUp_##ending, qoriPyramidLayerUpInitAlloc_##ending, qoriPyramidLayerUpFree_##ending

const Register layers([] {
  Row("qoriPyramidLayerDown_8u_C1R/rate=2").run(stepped(QOR_DOWN(8u_C1R), 2));
  Row("qoriPyramidLayerDown_8u_C1R/rate=1.5").run(stepped(QOR_DOWN(8u_C1R), 1.5F));
  Row("qoriPyramidLayerDown_8u_C3R/rate=2").run(stepped(QOR_DOWN(8u_C3R), 2, 3));
  Row("qoriPyramidLayerDown_8u_C3R/rate=1.5").run(stepped(QOR_DOWN(8u_C3R), 1.5F, 3));
  Row("qoriPyramidLayerDown_16u_C1R/rate=2").run(stepped(QOR_DOWN(16u_C1R), 2));
  Row("qoriPyramidLayerDown_16u_C1R/rate=1.5").run(stepped(QOR_DOWN(16u_C1R), 1.5F));
  Row("qoriPyramidLayerDown_32f_C1R/rate=2").run(stepped(QOR_DOWN(32f_C1R), 2));
  Row("qoriPyramidLayerDown_32f_C1R/rate=1.5").run(stepped(QOR_DOWN(32f_C1R), 1.5F));
  Row("qoriPyramidLayerDown_32f_C3R/rate=2").run(stepped(QOR_DOWN(32f_C3R), 2, 3));
  Row("qoriPyramidLayerUp_8u_C1R/rate=2").run(stepped(QOR_UP(8u_C1R), 2));
  Row("qoriPyramidLayerUp_8u_C1R/rate=1.5").run(stepped(QOR_UP(8u_C1R), 1.5F));
  Row("qoriPyramidLayerUp_16u_C1R/rate=2").run(stepped(QOR_UP(16u_C1R), 2));
  Row("qoriPyramidLayerUp_32f_C1R/rate=2").run(stepped(QOR_UP(32f_C1R), 2));
});

}  // namespace
}  // namespace qor::bench
