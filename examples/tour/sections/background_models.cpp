#include <algorithm>
#include <cmath>
#include <memory>

#include "noise.h"
#include "picture.h"
#include "tour.h"

namespace tour {
namespace {

// A film of the picture: on the right a part of it sways like a tree in the wind, and after a while somebody walks
// through from the left, throwing a shadow.
class Film {
 public:
  static constexpr int frames = 60, arrival = 24;

  explicit Film(const Picture& picture) : still_(shrink(picture, fit(picture.size(), 480))) {}

  QoriSize size() const { return still_.size(); }

  Picture frame(int index) const {
    Picture out = still_;
    const int width = out.width(), height = out.height();
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const bool sways = x > 11 * width / 16 && x < 15 * width / 16 && y > height / 6 && y < 2 * height / 3;
        const int from = std::clamp(x + (sways ? sway(index) : 0), 0, width - 1);
        for (int c = 0; c < 3; ++c) {
          const float light = shade(x, y, index) * static_cast<float>(still_.at(from, y)[c]);
          const float shown = isWalker(x, y, index) ? walker(c) : light;
          const float noise = 1.2F * bellNoise(3 * x + c, y, static_cast<uint32_t>(index));
          out.at(x, y)[c] = static_cast<Qor8u>(std::clamp(shown + noise + 0.5F, 0.0F, 255.0F));
        }
      }
    }
    return out;
  }

 private:
  static int sway(int index) {
    constexpr int shifts[] = {0, 2, 3, 2, 0, -2, -3, -2};
    return shifts[index % 8];
  }
  static float walker(int channel) { return channel == 0 ? 196.0F : channel == 1 ? 62.0F : 40.0F; }

  // Where a point lies in an ellipse that stands as high as a third of the picture: below 1 inside.
  float ellipse(int x, int y, int index, float right, float down, float flat) const {
    const float height = static_cast<float>(still_.height()), width = static_cast<float>(still_.width());
    const float center = width * (static_cast<float>(index - arrival) / (frames - arrival) * 0.6F + 0.05F);
    const float u = (static_cast<float>(x) - center - right * height) / (0.06F * height / flat);
    const float v = (static_cast<float>(y) - (0.62F + down) * height) / (0.17F * height * flat);
    return u * u + v * v;
  }
  bool isWalker(int x, int y, int index) const { return index >= arrival && ellipse(x, y, index, 0, 0, 1) < 1; }
  float shade(int x, int y, int index) const {
    return index >= arrival && ellipse(x, y, index, 0.1F, 0.18F, 0.35F) < 1 ? 0.62F : 1.0F;
  }

  Picture still_;
};

struct FreeHistogram {
  void operator()(QoriFgHistogramState* state) const { qoriForegroundHistogramFree_8u_C3R(state); }
};
struct FreeGaussian {
  void operator()(QoriFgGaussianState* state) const { qoriForegroundGaussianFree_8u_C3R(state); }
};

// 255 where most of what is around is white.
Picture keepMost(const Picture& share) {
  Picture out = share;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) *out.at(x, y) = *out.at(x, y) > 150 ? 255 : 0;
  }
  return out;
}

// Pictures beside each other.
Picture beside(std::initializer_list<const Picture*> pictures) {
  const Picture& first = **pictures.begin();
  constexpr int gap = 4;
  Picture out((first.width() + gap) * static_cast<int>(pictures.size()) - gap, first.height(), 3);
  int left = 0;
  for (const Picture* picture : pictures) {
    const Picture color = picture->channels() == 3 ? *picture : toColor(*picture);
    for (int y = 0; y < color.height(); ++y) std::copy_n(color.row(y), 3 * color.width(), out.at(left, y));
    left += first.width() + gap;
  }
  return out;
}

}  // namespace

void backgroundModels(const Input& in, Output& out) {
  out.text(
      "What does not belong to the scene? Where the camera stands still, every pixel can learn what it shows when "
      "nothing is in front of it. Three models do so. Five Gaussians a pixel take whatever lasts for background. A "
      "mixture of as many Gaussians as a pixel needs also tells shadows, which are the background but darker, from "
      "what "
      "throws them. The third counts which colours are frequent, and which pairs of colours follow each other in time; "
      "what is thin in its mask is not learned as foreground. The film is the picture with a part that sways on the "
      "right; somebody walks in later.");
  const Film film(in.frames[0]);
  const QoriSize size = film.size();
  const Picture first = film.frame(0);
  Picture gaussianMask(size.width, size.height), mixtureMask = gaussianMask, histogramMask = gaussianMask;
  Picture gaussianScene(size.width, size.height, 3), mixtureScene = gaussianScene, histogramScene = gaussianScene;

  // Two models live in memory of the library, the other in ours. A parameter that is not read must still point
  // somewhere.
  const int unused = 0, mostModes = 4;
  QoriFgGaussianState* made = nullptr;
  TOUR_CALL(out, qoriForegroundGaussianInitAlloc_8u_C3R(first.data(), first.step(), size, &unused, &made));
  const std::unique_ptr<QoriFgGaussianState, FreeGaussian> gaussian(made);
  QoriFgHistogramState* counted = nullptr;
  TOUR_CALL(out, qoriForegroundHistogramInitAlloc_8u_C3R(first.data(), first.step(), size, &unused, &counted));
  const std::unique_ptr<QoriFgHistogramState, FreeHistogram> histogram(counted);
  const QoriFGMMModel model = {200, mostModes, 15, 4, 75, 16, 0.9F, 9, 0.05F, 127, 1, 0.4F};
  int bytes = 0;
  TOUR_CALL(out, qoriFGMMGetBufferSize_8u_C3R(size, mostModes, &bytes));
  std::vector<Qor8u> mixture(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriFGMMInit_8u_C3R(size, mostModes, &model, mixture.data()));

  TOUR_CALL(out, qoriFilterLowpassGetBufferSize_8u_C1R(size, qorMskSize5x5, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  Picture share(size.width, size.height);
  for (int i = 1; i < Film::frames; ++i) {
    const Picture frame = film.frame(i);
    TOUR_CALL(out, qoriForegroundGaussian_8u_C3R(frame.data(), frame.step(), gaussianScene.data(), gaussianScene.step(),
                                                 gaussianMask.data(), gaussianMask.step(), size, gaussian.get()));
    TOUR_CALL(out, qoriFGMMForeground_8u_C3R(frame.data(), frame.step(), mixtureMask.data(), mixtureMask.step(), size,
                                             mixture.data(), nullptr, -1));
    TOUR_CALL(out, qoriForegroundHistogram_8u_C3R(frame.data(), frame.step(), histogramMask.data(),
                                                  histogramMask.step(), size, histogram.get()));
    TOUR_CALL(out, qoriFilterLowpassBorder_8u_C1R(histogramMask.data(), histogramMask.step(), share.data(),
                                                  share.step(), size, qorMskSize5x5, qorBorderRepl, 0, scratch.data()));
    const Picture solid = keepMost(share);
    TOUR_CALL(
        out, qoriForegroundHistogramUpdate_8u_C3R(frame.data(), frame.step(), solid.data(), solid.step(),
                                                  histogramScene.data(), histogramScene.step(), size, histogram.get()));
    if (i != 5 && i != 44 && i != Film::frames - 1) continue;
    TOUR_CALL(out, qoriFGMMBackground_8u_C3R(mixtureScene.data(), mixtureScene.step(), size, mixture.data()));
    const std::string when = "Frame " + std::to_string(i + 1) + " and the masks of ";
    out.figure(when + "five Gaussians, of the mixture (shadows in gray), and of frequent colours",
               beside({&frame, &gaussianMask, &mixtureMask, &histogramMask}));
  }
  out.figure("What the three have learned of the background by then",
             beside({&gaussianScene, &mixtureScene, &histogramScene}));
}

}  // namespace tour
