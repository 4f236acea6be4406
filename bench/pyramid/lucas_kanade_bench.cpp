#include <cmath>
#include <memory>
#include <vector>

#include "qorcv/pyramid.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr int points = 500, window = 21, levels = 4;
constexpr double dx = 3.3, dy = -2.6;

double picture(double x, double y) {
  return 128 + 40 * std::sin(0.21 * x + 0.3 * std::sin(0.11 * y)) + 35 * std::sin(0.26 * y - 0.07 * x) +
         25 * std::sin(0.12 * (x + y));
}

// Two pyramids with samples of a picture that moved, the points, and the record.
template <class T>
struct Flow {
  std::vector<Qor8u*> images[2];
  std::vector<QoriSize> sizes;
  std::vector<int> steps[2];
  std::vector<Qor64f> rates;
  std::vector<QoriPoint_32f> from, to;
  std::vector<Qor8s> status;
  std::vector<Qor32f> error;
  std::shared_ptr<QoriOptFlowPyrLKState> state;

  Flow(Setup& s, bool wholeLevels, auto* init, auto* release) : to(points), status(points), error(points) {
    const QoriSize roi = odd;
    double rate = 1;
    for (int level = 0; level < levels; ++level, rate /= 2) {
      sizes.push_back({static_cast<int>(roi.width * rate), static_cast<int>(roi.height * rate)});
      rates.push_back(rate);
      for (int frame = 0; frame < 2; ++frame) {
        const auto image = s.blank<T>({.size = sizes.back()});
        image.all([=](int x, int y) {
          image(x, y) = static_cast<T>(std::lround(picture(x / rate - frame * dx, y / rate - frame * dy)));
          return true;
        });
        images[frame].push_back(reinterpret_cast<Qor8u*>(image.p));
        steps[frame].push_back(image.step);
      }
    }
    for (int i = 0; i < points; ++i) {
      const double x = 0.1 + 0.8 * i / points, y = 0.1 + 0.8 * (i * 37 % points) / points;
      from.push_back({static_cast<Qor32f>(x * roi.width), static_cast<Qor32f>(y * roi.height)});
    }
    QoriOptFlowPyrLKState* made = nullptr;
    const int side = wholeLevels ? 1 << 12 : 1;
    init(&made, {side, side}, window, qorHintNone);
    state = {made, release};
  }
  QoriPyramid pyramid(int frame) {
    return {images[frame].data(), sizes.data(), rates.data(), steps[frame].data(), nullptr, levels - 1};
  }
};

// A pixel of the row is a point.
template <class T>
auto tracked(auto* init, auto* run, auto* release, bool wholeLevels) {
  return [=](Setup& s) {
    const auto flow = std::make_shared<Flow<T>>(s, wholeLevels, init, release);
    return checked(
        [=] {
          Flow<T>& f = *flow;
          const QoriPyramid first = f.pyramid(0), second = f.pyramid(1);
          f.to = f.from;
          return run(&first, &second, f.from.data(), f.to.data(), f.status.data(), f.error.data(), points, window,
                     levels - 1, 20, 0.03F, f.state.get());
        },
        [=] {
          for (size_t i = 0; i < points; ++i) {
            const double x = flow->to[i].x - flow->from[i].x, y = flow->to[i].y - flow->from[i].y;
            if (flow->status[i] != 0 || std::fabs(x - dx) > 0.2 || std::fabs(y - dy) > 0.2) return false;
          }
          return true;
        });
  };
}

const Register rows([] {
#define QOR_LUCAS_KANADE(init, name, release, T, type)                         \
  Row(#name).sizes({{points, 1}}).run(tracked<T>(init, name, release, false)); \
  Row(#name "/gradients of levels").sizes({{points, 1}}).run(tracked<T>(init, name, release, true));
#include "../../src/pyramid/lucas_kanade.def"
});

}  // namespace
}  // namespace qor::bench
