#include <algorithm>
#include <cmath>

#include "distance/scenes.h"
#include "qorcv/distance.h"

namespace qor::bench {
namespace {

// Every pixel that is not 0 has the value that its neighbours give it.
bool solved(const Image<Qor8u>& src, const Image<Qor32f>& dst) {
  const auto at = [&](int x, int y) {
    if (x < 0 || y < 0 || x >= dst.samples || y >= dst.height) return 1e30F;
    return std::max(dst(x, y), 0.0F);
  };
  return dst.all([&](int x, int y) {
    if (src(x, y) == 0) return dst(x, y) <= 0;
    const float p = std::min(at(x, y - 1), at(x, y + 1)), q = std::min(at(x - 1, y), at(x + 1, y)), d = p - q;
    const float wanted = std::abs(d) < 1 ? (p + q + std::sqrt(2 - d * d)) / 2 : std::min(p, q) + 1;
    return std::abs(wanted - dst(x, y)) <= wanted * 1e-6F;
  });
}

template <class Scene>
auto march(Scene scene, float radius) {
  return [=](Setup& s) {
    const auto src = scene(s);
    const auto dst = s.blank<Qor32f>();
    int size = 0;
    qoriFastMarchingGetBufferSize_8u32f_C1R(s.roi(), &size);
    Qor8u* const scratch = s.scratch(size);
    return checked(
        [=, roi = s.roi()] {
          return qoriFastMarching_8u32f_C1R(src.p, src.step, dst.p, dst.step, roi, radius, scratch);
        },
        [=] { return solved(src, dst); });
  };
}

const Register fastMarching([] {
  Row("qoriFastMarching_8u32f_C1R/blobs").threads(2, fullHd).run(march(blobs, 0));
  Row("qoriFastMarching_8u32f_C1R/blobs,5").run(march(blobs, 5));
  Row("qoriFastMarching_8u32f_C1R/scattered").threads(2, fullHd).run(march(scattered, 0));
});

}  // namespace
}  // namespace qor::bench
