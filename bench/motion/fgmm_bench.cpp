#include <memory>

#include "qorcv/motion.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr int modes = 5, learned = 30;

// A scene with noise on it. Every so many pixels one shows a second colour in every third frame, and there are areas
// through which something passes.
struct Video {
  std::vector<Image<Qor8u>> frames;
  Image<Qor8u> mask, background;
  Qor8u* state = nullptr;
  QoriSize roi;

  Video(Setup& s, int ofTwo, bool shadows) : roi(s.roi()) {
    const auto scene = s.random<Qor8u>({.channels = 3, .low = 20, .high = 150});
    for (int i = 0; i < 6; ++i) {
      const auto frame = s.random<Qor8u>({.channels = 3, .low = -2, .high = 2});
      frame.all([=](int x, int y) {
        const int pixel = x / 3, second = (pixel * 7 + y * 13) % ofTwo == 0 && i % 3 == 0 ? 45 : 0;
        const int passing = i > 0 && (pixel / 31 + y / 31) % 67 == i ? 50 : 0;
        frame(x, y) = static_cast<Qor8u>(scene(x, y) + static_cast<signed char>(frame(x, y)) + second + passing);
        return true;
      });
      frames.push_back(frame);
    }
    mask = s.blank<Qor8u>();
    background = s.blank<Qor8u>({.channels = 3});
    int bytes = 0;
    qoriFGMMGetBufferSize_8u_C3R(roi, modes, &bytes);
    state = s.scratch(bytes);
    const QoriFGMMModel model = {200, modes, 15, 4, 75, 16, 0.8F, 9, 0.05F, 127, Qor8u(shadows), 0.5F};
    qoriFGMMInit_8u_C3R(roi, modes, &model, state);
    for (int i = 0; i < learned; ++i) (*this)(i, -1);
  }
  QorStatus operator()(int i, Qor64f rate) const {
    const Image<Qor8u>& frame = frames[static_cast<size_t>(i) % frames.size()];
    return qoriFGMMForeground_8u_C3R(frame.p, frame.step, mask.p, mask.step, roi, state, nullptr, rate);
  }
};

auto foreground(int ofTwo, bool shadows) {
  return [=](Setup& s) {
    const auto video = std::make_shared<Video>(s, ofTwo, shadows);
    return checked([video, i = 1]() mutable { return (*video)(i++, 0.01); },
                   [video] {
                     int marked = 0;
                     video->mask.all([&](int x, int y) {
                       marked += video->mask(x, y) != 0;
                       return true;
                     });
                     return marked > 0 && marked < pixels(video->roi) / 8;
                   });
  };
}

const Register rows([] {
  Row("qoriFGMMForeground_8u_C3R").run(foreground(6, false));
  Row("qoriFGMMForeground_8u_C3R:one mode").run(foreground(1 << 30, false));
  Row("qoriFGMMForeground_8u_C3R:shadows").run(foreground(6, true));
  Row("qoriFGMMBackground_8u_C3R").run([](Setup& s) {
    const auto video = std::make_shared<Video>(s, 6, false);
    return checked(
        [video] {
          const Image<Qor8u>& d = video->background;
          return qoriFGMMBackground_8u_C3R(d.p, d.step, video->roi, video->state);
        },
        [video] {
          return video->background.all([&](int x, int y) {
            const int apart = video->background(x, y) - video->frames[1](x, y);
            return apart > -60 && apart < 60;
          });
        });
  });
});

}  // namespace
}  // namespace qor::bench
