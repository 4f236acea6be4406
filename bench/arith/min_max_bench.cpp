#include "qorcv/arith.h"
#include "support/row.h"

namespace qor::bench {
namespace {

struct Found {
  Qor32f value[2];
  QoriPoint at[2];
};

// Whether the results are the first extremes in raster order. Sample (x, y) is the channel's pixel.
template <class Sample, class Takes>
bool first(const Found& found, QoriSize roi, Sample sample, Takes takes) {
  for (int which = 0; which < 2; ++which) {
    QoriPoint best{-1, -1};
    for (int y = 0; y < roi.height; ++y)
      for (int x = 0; x < roi.width; ++x) {
        if (!takes(x, y)) continue;
        if (best.x < 0 || (which == 0 ? sample(x, y) < sample(best.x, best.y) : sample(x, y) > sample(best.x, best.y)))
          best = {x, y};
      }
    if (found.at[which].x != best.x || found.at[which].y != best.y) return false;
    if (found.value[which] != static_cast<Qor32f>(sample(best.x, best.y))) return false;
  }
  return true;
}

template <class T, class Call, class... Coi>
auto plain(int channels, Call* call, Coi... coi) {
  return [=](Setup& s) {
    const auto a = s.random<T>({.channels = channels});
    const auto found = std::make_shared<Found>();
    const QoriSize roi = s.roi();
    return checked(
        [=, f = found.get()] {
          return call(a.p, a.step, roi, coi..., &f->value[0], &f->value[1], &f->at[0], &f->at[1]);
        },
        [=] {
          return first(
              *found, roi, [=](int x, int y) { return a(channels * x + channels / 2, y); },
              [](int, int) { return true; });
        });
  };
}
template <class T, class Call, class... Coi>
auto masked(int channels, Call* call, Coi... coi) {
  return [=](Setup& s) {
    const auto a = s.random<T>({.channels = channels});
    const auto mask = s.mask();
    const auto found = std::make_shared<Found>();
    const QoriSize roi = s.roi();
    return checked(
        [=, f = found.get()] {
          return call(a.p, a.step, mask.p, mask.step, roi, coi..., &f->value[0], &f->value[1], &f->at[0], &f->at[1]);
        },
        [=] {
          return first(
              *found, roi, [=](int x, int y) { return a(channels * x + channels / 2, y); },
              [=](int x, int y) { return mask(x, y) != 0; });
        });
  };
}

const Register extrema([] {
  Row("qoriMinMaxIndx_8u_C1R").alsoAt(ultraHd).threads(2, ultraHd).run(plain<Qor8u>(1, qoriMinMaxIndx_8u_C1R));
  Row("qoriMinMaxIndx_8s_C1R").run(plain<Qor8s>(1, qoriMinMaxIndx_8s_C1R));
  Row("qoriMinMaxIndx_16u_C1R").run(plain<Qor16u>(1, qoriMinMaxIndx_16u_C1R));
  Row("qoriMinMaxIndx_32f_C1R").run(plain<Qor32f>(1, qoriMinMaxIndx_32f_C1R));
  Row("qoriMinMaxIndx_8u_C1MR").run(masked<Qor8u>(1, qoriMinMaxIndx_8u_C1MR));
  Row("qoriMinMaxIndx_8s_C1MR").run(masked<Qor8s>(1, qoriMinMaxIndx_8s_C1MR));
  Row("qoriMinMaxIndx_16u_C1MR").run(masked<Qor16u>(1, qoriMinMaxIndx_16u_C1MR));
  Row("qoriMinMaxIndx_32f_C1MR").run(masked<Qor32f>(1, qoriMinMaxIndx_32f_C1MR));
  Row("qoriMinMaxIndx_8u_C3CR").run(plain<Qor8u>(3, qoriMinMaxIndx_8u_C3CR, 2));
  Row("qoriMinMaxIndx_8u_C3CMR").run(masked<Qor8u>(3, qoriMinMaxIndx_8u_C3CMR, 2));
});

}  // namespace
}  // namespace qor::bench
