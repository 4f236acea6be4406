#include <memory>

#include "qorcv/motion.h"
#include "support/row.h"

namespace qor::bench {
namespace {

struct Operations {
  decltype(&qoriForegroundHistogramInitAlloc_8u_C1R) init;
  decltype(&qoriForegroundHistogram_8u_C1R) foreground;
  decltype(&qoriForegroundHistogramUpdate_8u_C1R) update;
  decltype(&qoriForegroundHistogramFree_8u_C1R) release;
};

// A scene that stands still, or with noise on it; as many frames as settle what settles.
class Video {
 public:
  Video(Setup& s, const Operations& operations, int channels, int noise)
      : operations_(operations),
        roi_(s.roi()),
        mask(s.blank<Qor8u>()),
        background(s.blank<Qor8u>({.channels = channels})) {
    const auto scene = s.random<Qor8u>({.channels = channels, .low = 20, .high = 200});
    for (int i = 0; i < (noise != 0 ? 4 : 1); ++i) {
      const auto frame = noise == 0 ? scene : s.random<Qor8u>({.channels = channels, .low = 0, .high = double(noise)});
      frame.all([&](int x, int y) {
        if (noise != 0) frame(x, y) = static_cast<Qor8u>(frame(x, y) + scene(x, y));
        return true;
      });
      frames_.push_back(frame);
    }
    operations_.init(frames_[0].p, frames_[0].step, roi_, this, &state_);
    for (int i = 0; i < 26; ++i) {
      foreground(i);
      update(i);
    }
  }
  Video(const Video&) = delete;
  ~Video() { operations_.release(state_); }

  QorStatus foreground(int i) {
    const Image<Qor8u>& f = frame(i);
    return operations_.foreground(f.p, f.step, mask.p, mask.step, roi_, state_);
  }
  QorStatus update(int i) {
    const Image<Qor8u>& f = frame(i);
    return operations_.update(f.p, f.step, mask.p, mask.step, background.p, background.step, roi_, state_);
  }
  bool isBackground() const {
    return mask.all([&](int x, int y) { return mask(x, y) == 0; });
  }
  bool isLearned() const {
    return background.all([&](int x, int y) {
      const int apart = background(x, y) - frames_[0](x, y);
      return apart > -30 && apart < 30;
    });
  }

 private:
  const Image<Qor8u>& frame(int i) const { return frames_[static_cast<size_t>(i) % frames_.size()]; }

  Operations operations_;
  QoriSize roi_;
  std::vector<Image<Qor8u>> frames_;
  QoriFgHistogramState* state_ = nullptr;

 public:
  const Image<Qor8u> mask, background;
};

void add(const Operations& operations, int channels, const char* foregroundName, const char* updateName) {
  for (const int noise : {0, 3}) {
    const std::string scene = noise != 0 ? ":noise" : ":still";
    Row(foregroundName + scene).run([=](Setup& s) {
      const auto video = std::make_shared<Video>(s, operations, channels, noise);
      return checked([video, i = 0]() mutable { return video->foreground(i++); },
                     [video, noise] { return noise != 0 || video->isBackground(); });
    });
    Row(updateName + scene).run([=](Setup& s) {
      const auto video = std::make_shared<Video>(s, operations, channels, noise);
      return checked([video, i = 0]() mutable { return video->update(i++); }, [video] { return video->isLearned(); });
    });
  }
}

const Register rows([] {
#define QOR_FOREGROUND_HISTOGRAM(init, foreground, update, release, channels) \
  add({init, foreground, update, release}, channels, #foreground, #update);
#include "../../src/motion/foreground_histogram.def"
});

}  // namespace
}  // namespace qor::bench
