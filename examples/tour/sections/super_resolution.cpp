#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

#include "tour.h"

namespace tour {
namespace {

constexpr int factor = 4, frames = factor * factor, taps = 3, spoiled = 5;

// What a camera makes of a scene: small frames, each shifted by another part of their pixels, blurred, noisy, and one
// of them spoiled. Every sample is listed with its place in the large picture and its frame's kernel.
struct Observations {
  std::vector<Qor8u> low;
  std::vector<Qor32s> offset;
  std::vector<Qor16u> kernel;
  std::vector<Qor32f> kernels;
  int width, height;  // of a frame

  Observations(const Picture& scene, int step)
      : width((scene.width() - taps) / factor), height((scene.height() - taps) / factor) {
    std::minstd_rand random(1);
    std::normal_distribution<float> noise(0, 3);
    for (int frame = 0; frame < frames; ++frame) {
      const float dx = static_cast<float>(random() % 100) / 100 - 0.5F,
                  dy = static_cast<float>(random() % 100) / 100 - 0.5F;
      float coefficients[taps * taps], sum = 0;
      for (int i = 0; i < taps * taps; ++i) {
        const float x = static_cast<float>(i % taps - 1) - dx, y = static_cast<float>(i / taps - 1) - dy;
        sum += coefficients[i] = std::exp(-(x * x + y * y) / 1.3F);
      }
      for (const float c : coefficients) kernels.push_back(c / sum);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          const int left = factor * x + frame % factor, top = factor * y + frame / factor;
          float seen = noise(random);
          for (int i = 0; i < taps * taps; ++i)
            seen += coefficients[i] / sum * static_cast<float>(*scene.at(left + i % taps, top + i / taps));
          if (frame == spoiled && (x + y) % 9 < 3) seen = 255;
          low.push_back(static_cast<Qor8u>(std::clamp(seen, 0.0F, 255.0F)));
          offset.push_back(top * step / static_cast<int>(sizeof(Qor32f)) + left);
          kernel.push_back(static_cast<Qor16u>(frame));
        }
      }
    }
  }
  int count() const { return static_cast<int>(low.size()); }

  Picture enlarged(int frame, QoriSize size) const {
    Picture out(size.width, size.height);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const int i = std::min(x / factor, width - 1), j = std::min(y / factor, height - 1);
        *out.at(x, y) = low[static_cast<size_t>((frame * height + j) * width + i)];
      }
    }
    return out;
  }
};

Picture toPicture(const FloatImage& image) {
  Picture out(image.width(), image.height());
  for (int y = 0; y < out.height(); ++y)
    for (int x = 0; x < out.width(); ++x) *out.at(x, y) = static_cast<Qor8u>(std::clamp(*image.at(x, y), 0.0F, 255.0F));
  return out;
}

Picture twice(const Picture& picture) {
  Picture out(2 * picture.width(), 2 * picture.height());
  for (int y = 0; y < out.height(); ++y)
    for (int x = 0; x < out.width(); ++x) *out.at(x, y) = *picture.at(x / 2, y / 2);
  return out;
}

Picture plot(const std::vector<float>& values) {
  Picture out(480, 200, 3);
  fillRect(out, {0, 0, out.width(), out.height()}, white);
  const float across = 440.0F / static_cast<float>(values.size() - 1), most = values[0];
  for (size_t i = 0; i + 1 < values.size(); ++i) {
    const auto x = [&](size_t k) { return 20 + across * static_cast<float>(k); };
    const auto y = [&](size_t k) { return 180 - 160 * values[k] / most; };
    drawLine(out, x(i), y(i), x(i + 1), y(i + 1), red);
  }
  drawLine(out, 20, 180, 460, 180, black, 1);
  drawLine(out, 20, 20, 20, 180, black, 1);
  drawLabel(out, 300, 20, "rounds: " + std::to_string(values.size() - 1));
  return out;
}

}  // namespace

void superResolution(const Input& in, Output& out) {
  out.text(
      "Sixteen small pictures of one scene, each shifted by a part of a pixel, hold more than any of them shows. An "
      "estimate of the scene is blurred and sampled as the camera does it; what differs from the observations flows "
      "back into the estimate, round by round. Samples that are far off count less, so a spoiled picture does no "
      "harm.");
  const Picture& scene = in.grays[0];
  Picture crop(std::min(scene.width(), 240), std::min(scene.height(), 180));
  for (int y = 0; y < crop.height(); ++y)
    std::copy_n(scene.at((scene.width() - crop.width()) / 2, (scene.height() - crop.height()) / 2 + y), crop.width(),
                crop.row(y));

  FloatImage estimate(crop.width(), crop.height());
  const Observations seen(crop, estimate.step());
  const Picture start = seen.enlarged(0, crop.size());
  for (int y = 0; y < crop.height(); ++y) std::copy_n(start.row(y), crop.width(), estimate.row(y));
  out.figure("One of sixteen pictures, enlarged: where the estimate starts", twice(start));
  out.figure("The spoiled one", twice(seen.enlarged(spoiled, crop.size())));

  QoriSRHNSpec_PSF3x3* state = nullptr;
  TOUR_CALL(out, qoriSRHNInitAlloc_PSF3x3(&state, seen.kernels.data(), frames));
  const std::unique_ptr<QoriSRHNSpec_PSF3x3, decltype(&qoriSRHNFree_PSF3x3)> owner(state, qoriSRHNFree_PSF3x3);
  std::vector<Qor32f> residual(seen.low.size()), weights(256);
  std::vector<Qor8u> weightIndex(seen.low.size());
  for (int i = 0; i < 256; ++i) weights[static_cast<size_t>(i)] = 1 / (1 + static_cast<float>(i * i) / 400);
  const int rounds = 40, count = seen.count();
  std::vector<float> means;
  for (int round = 0; round <= rounds; ++round) {
    TOUR_CALL(out, qoriSRHNCalcResidual_PSF3x3_8u32f_C1R(estimate.data(), estimate.step(), seen.low.data(),
                                                         seen.offset.data(), seen.kernel.data(), residual.data(), count,
                                                         state));
    float sum = 0;
    for (size_t i = 0; i < residual.size(); ++i) {
      sum += std::fabs(residual[i]);
      weightIndex[i] = static_cast<Qor8u>(std::min(255.0F, std::fabs(residual[i])));
    }
    means.push_back(sum / static_cast<float>(count));
    if (round == 5) out.figure("After 5 rounds", twice(toPicture(estimate)));
    if (round == rounds) break;
    FloatImage gradient(crop.width(), crop.height());
    TOUR_CALL(out, qoriSRHNUpdateGradient_PSF3x3_32f_C1R(gradient.data(), gradient.step(), seen.offset.data(),
                                                         seen.kernel.data(), residual.data(), weightIndex.data(), count,
                                                         weights.data(), state));
    for (int y = 0; y < crop.height(); ++y)
      for (int x = 0; x < crop.width(); ++x) *estimate.at(x, y) -= 1.5F * *gradient.at(x, y);
  }
  out.figure("After " + std::to_string(rounds) + " rounds", twice(toPicture(estimate)));
  out.figure("The scene itself", twice(crop));
  out.figure("The mean size of the residuals, " + std::to_string(means.front()) + " at first and " +
                 std::to_string(means.back()) + " at last",
             plot(means));
}

}  // namespace tour
