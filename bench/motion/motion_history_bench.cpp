#include "qorcv/motion.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr Qor32f now = 600, duration = 200;

// Motion in a few areas, as a silhouette has it; histories of all ages.
template <class S>
auto history(QorStatus (*update)(const S*, int, Qor32f*, int, QoriSize, Qor32f, Qor32f)) {
  return [=](Setup& s) {
    const auto silhouette = s.blank<S>();
    const auto mhi = s.random<Qor32f>({.low = 0, .high = now});
    const auto moves = [](int x, int y) { return (x / 97 + y / 53) % 9 == 0; };
    silhouette.all([=](int x, int y) {
      silhouette(x, y) = moves(x, y) ? S{1} : S{0};
      return true;
    });
    return checked(
        [=, roi = s.roi()] { return update(silhouette.p, silhouette.step, mhi.p, mhi.step, roi, now, duration); },
        [=] {
          return mhi.all([=](int x, int y) {
            const Qor32f h = mhi(x, y);
            return moves(x, y) ? h == now : h == 0 || (h >= now - duration && h <= now);
          });
        });
  };
}

const Register rows([] {
#define QOR_MOTION_HISTORY(name, S) Row(#name).run(history<S>(name));
#include "../../src/motion/motion_history.def"
});

}  // namespace
}  // namespace qor::bench
