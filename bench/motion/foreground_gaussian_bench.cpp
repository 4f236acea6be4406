#include <memory>

#include "qorcv/motion.h"
#include "support/row.h"

namespace qor::bench {
namespace {

struct Operations {
  decltype(&qoriForegroundGaussianInitAlloc_8u_C1R) init;
  decltype(&qoriForegroundGaussian_8u_C1R) foreground;
  decltype(&qoriForegroundGaussianFree_8u_C1R) release;
};

// Noise on a scene, of which every pixel, or every sixth, shows so many colours in turns.
class Video {
 public:
  Video(Setup& s, const Operations& operations, int channels, int colors)
      : operations_(operations),
        roi_(s.roi()),
        mask_(s.blank<Qor8u>()),
        background_(s.blank<Qor8u>({.channels = channels})) {
    const auto scene = s.random<Qor8u>({.channels = channels, .low = 30, .high = 100});
    for (int i = 0; i < 5; ++i) {
      const auto frame = s.random<Qor8u>({.channels = channels, .low = 0, .high = 3});
      frame.all([&](int x, int y) {
        const int shown = (x / channels * 7 + y * 13) % 6 == 0 ? i % colors : 0;
        frame(x, y) = static_cast<Qor8u>(frame(x, y) + scene(x, y) + 30 * shown);
        return true;
      });
      frames_.push_back(frame);
    }
    operations_.init(frames_[0].p, frames_[0].step, roi_, this, &state_);
    for (int i = 0; i < 30; ++i) (*this)(i);
  }
  Video(const Video&) = delete;
  ~Video() { operations_.release(state_); }

  QorStatus operator()(int i) {
    const Image<Qor8u>& f = frames_[static_cast<size_t>(i) % frames_.size()];
    return operations_.foreground(f.p, f.step, background_.p, background_.step, mask_.p, mask_.step, roi_, state_);
  }
  bool isRight() const {
    return background_.all([&](int x, int y) {
      const int apart = background_(x, y) - frames_[0](x, y);
      return apart > -5 && apart < 130;
    });
  }

 private:
  Operations operations_;
  QoriSize roi_;
  std::vector<Image<Qor8u>> frames_;
  const Image<Qor8u> mask_, background_;
  QoriFgGaussianState* state_ = nullptr;
};

void add(const Operations& operations, int channels, const std::string& name) {
  const std::pair<int, const char*> cases[] = {{1, ""}, {2, ":2 modes"}, {5, ":5 modes"}};
  for (const auto& [colors, suffix] : cases) {
    Row(name + suffix).run([=, colors = colors](Setup& s) {
      const auto video = std::make_shared<Video>(s, operations, channels, colors);
      return checked([video, i = 0]() mutable { return (*video)(i++); }, [video] { return video->isRight(); });
    });
  }
}

const Register rows([] {
#define QOR_FOREGROUND_GAUSSIAN(init, foreground, release, channels) \
  add({init, foreground, release}, channels, #foreground);
#include "../../src/motion/foreground_gaussian.def"
});

}  // namespace
}  // namespace qor::bench
