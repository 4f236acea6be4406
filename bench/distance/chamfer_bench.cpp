#include <algorithm>
#include <cstdlib>
#include <limits>

#include "distance/scenes.h"
#include "qorcv/distance.h"

namespace qor::bench {
namespace {

// Every pixel is as far as the best of its neighbours and the move from there.
template <class D, class M>
bool stable(const Image<Qor8u>& src, const Image<D>& dst, const M* metrics, int reach) {
  return dst.all([&](int x, int y) {
    double nearest = src(x, y) == 0 ? 0 : static_cast<double>(std::numeric_limits<D>::max());
    for (int dy = -reach; dy <= reach; ++dy) {
      for (int dx = -reach; dx <= reach; ++dx) {
        const int moves = std::abs(dx) + std::abs(dy), nx = x + dx, ny = y + dy;
        const bool isMove = std::max(std::abs(dx), std::abs(dy)) == 1 || moves == 3;
        if (!isMove || nx < 0 || ny < 0 || nx >= dst.samples || ny >= dst.height) continue;
        nearest = std::min(nearest, static_cast<double>(dst(nx, ny)) + static_cast<double>(metrics[moves - 1]));
      }
    }
    return std::abs(nearest - static_cast<double>(dst(x, y))) <= nearest * 1e-6;
  });
}

template <class D, class M, class Operation>
auto transform(Operation* operation, int reach) {
  return [=](Setup& s) {
    const auto src = blobs(s);
    const auto dst = s.blank<D>();
    const auto metrics = s.blankVector<M>(3);
    if constexpr (std::is_floating_point_v<M>) {
      qoriGetDistanceTransformMask_32f(2 * reach + 1, qoriNormL2, metrics);
    } else {
      qoriGetDistanceTransformMask_32s(2 * reach + 1, qoriNormL2, metrics);
    }
    return checked([=, roi = s.roi()] { return operation(src.p, src.step, dst.p, dst.step, roi, metrics); },
                   [=] { return stable(src, dst, metrics, reach); });
  };
}

template <class Operation>
auto inPlace(Operation* operation) {
  return [=](Setup& s) {
    const auto image = blobs(s);
    const auto metrics = s.blankVector<Qor32s>(3);
    metrics[0] = 5, metrics[1] = 7, metrics[2] = 11;
    return [=, roi = s.roi()] { return operation(image.p, image.step, roi, metrics); };
  };
}

const Register chamfer([] {
#define QOR_CHAMFER(name, D, M, side) Row(#name).run(transform<D, M>(name, side / 2));
#define QOR_CHAMFER_IN_PLACE(name, side) Row(#name).run(inPlace(name));
#include "../../src/distance/chamfer.def"
});

}  // namespace
}  // namespace qor::bench
