#include <cmath>

#include "distance/scenes.h"
#include "qorcv/distance.h"

namespace qor::bench {
namespace {

template <class Scene>
auto transform(Scene scene) {
  return [=](Setup& s) {
    const auto src = scene(s);
    const auto dst = s.blank<Qor32f>();
    int size = 0;
    qoriTrueDistanceTransformGetBufferSize_8u32f_C1R(s.roi(), &size);
    Qor8u* const scratch = s.scratch(2 * size);
    return checked(
        [=, roi = s.roi()] {
          return qoriTrueDistanceTransform_8u32f_C1R(src.p, src.step, dst.p, dst.step, roi, scratch);
        },
        // Zero at zeros, at least 1 elsewhere, and no more than 1 further than the pixel before.
        [=] {
          return dst.all([&](int x, int y) {
            const float d = dst(x, y);
            return (src(x, y) == 0 ? d == 0 : d >= 1) && (x == 0 || std::abs(d - dst(x - 1, y)) < 1.00001F);
          });
        });
  };
}

const Register trueDistance([] {
  Row("qoriTrueDistanceTransform_8u32f_C1R/blobs").threads(2, fullHd).run(transform(blobs));
  Row("qoriTrueDistanceTransform_8u32f_C1R/scattered").threads(2, fullHd).run(transform(scattered));
});

}  // namespace
}  // namespace qor::bench
