#include <memory>
#include <string>

#include "distance/scenes.h"
#include "qorcv/distance.h"

namespace qor::bench {
namespace {

// Thirty discs that cover between one and two pixels in a hundred of any image.
bool isInHole(QoriSize roi, int x, int y) {
  const int cellX = roi.width / 6, cellY = roi.height / 5, radius = (cellX < cellY ? cellX : cellY) / 14 + 1;
  const int dx = x % cellX - cellX / 2, dy = y % cellY - cellY / 2;
  return x < 6 * cellX && y < 5 * cellY && dx * dx + dy * dy <= radius * radius;
}

template <class InitAlloc, class Inpaint>
auto fill(InitAlloc* initAlloc, Inpaint* inpaint, int channels, float radius, int method) {
  return [=](Setup& s) {
    const QoriSize roi = s.roi();
    const auto mask = s.blank<Qor8u>();
    const auto distance = s.blank<Qor32f>();
    const auto src = s.random<Qor8u>({.channels = channels}), dst = s.blank<Qor8u>({.channels = channels});
    mask.all([&](int x, int y) {
      mask(x, y) = isInHole(roi, x, y) ? 255 : 0;
      return true;
    });
    int size = 0;
    qoriFastMarchingGetBufferSize_8u32f_C1R(roi, &size);
    qoriFastMarching_8u32f_C1R(mask.p, mask.step, distance.p, distance.step, roi, 0, s.scratch(size));
    QoriInpaintState* made = nullptr;
    initAlloc(&made, distance.p, distance.step, mask.p, mask.step, roi, radius, method);
    const std::shared_ptr<QoriInpaintState> state(made, qoriInpaintFree_8u_C1R);
    return checked(
        [=] { return inpaint(src.p, src.step, dst.p, dst.step, roi, state.get()); },
        [=] {
          return dst.all([&](int x, int y) { return isInHole(roi, x / channels, y) || dst(x, y) == src(x, y); });
        });
  };
}

const Register inpaint([] {
  for (const float radius : {3.0F, 5.0F, 10.0F}) {
    const std::string text = "/r=" + std::to_string(static_cast<int>(radius));
    Row("qoriInpaint_8u_C1R" + text)
        .run(fill(qoriInpaintInitAlloc_8u_C1R, qoriInpaint_8u_C1R, 1, radius, qorInpaintGradient));
    Row("qoriInpaint_8u_C1R" + text + ",isophote")
        .run(fill(qoriInpaintInitAlloc_8u_C1R, qoriInpaint_8u_C1R, 1, radius, qorInpaintIsophote));
  }
  Row("qoriInpaint_8u_C3R/r=5").run(fill(qoriInpaintInitAlloc_8u_C3R, qoriInpaint_8u_C3R, 3, 5, qorInpaintGradient));
});

}  // namespace
}  // namespace qor::bench
