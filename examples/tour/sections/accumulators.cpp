#include <algorithm>
#include <cmath>
#include <string>

#include "tour.h"

namespace tour {
namespace {

// Values from 0 to the brightest that fits 8 bits.
Picture toPicture(const FloatImage& values) {
  Picture out(values.width(), values.height());
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      *out.at(x, y) = static_cast<Qor8u>(std::clamp(*values.at(x, y) + 0.5F, 0.0F, 255.0F));
    }
  }
  return out;
}

// The deviation of every pixel over the frames, from the sums of its values and of their squares.
FloatImage deviation(const FloatImage& sum, const FloatImage& squares, float frames) {
  FloatImage out(sum.width(), sum.height());
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const float mean = *sum.at(x, y) / frames;
      *out.at(x, y) = std::sqrt(std::max(0.0F, *squares.at(x, y) / frames - mean * mean));
    }
  }
  return out;
}

// 255 where the deviation stays below the limit: what stood still.
Picture calmPixels(const FloatImage& deviations, float limit) {
  Picture out(deviations.width(), deviations.height());
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) *out.at(x, y) = *deviations.at(x, y) < limit ? 255 : 0;
  }
  return out;
}

}  // namespace

void accumulators(const Input& in, Output& out) {
  const int frames = static_cast<int>(in.grays.size());
  out.text(
      "Where was motion during the last seconds? Add up every frame and its square in float images: the two sums give "
      "each pixel's mean and deviation over time, and the deviation is the motion's energy. A running average that "
      "follows the frames slowly is the simplest model of the background; under a mask it learns only what stood "
      "still.");
  const Picture& first = in.grays[0];
  const int width = first.width(), height = first.height();
  FloatImage sum(width, height), squares(width, height), average(width, height), background(width, height);
  for (const Picture& frame : in.grays) {
    TOUR_CALL(out, qoriAdd_8u32f_C1IR(frame.data(), frame.step(), sum.data(), sum.step(), sum.size()));
    TOUR_CALL(out, qoriAddSquare_8u32f_C1IR(frame.data(), frame.step(), squares.data(), squares.step(), sum.size()));
  }
  const FloatImage energy = deviation(sum, squares, static_cast<float>(frames));
  out.figure("Deviation of every pixel over " + std::to_string(frames) + " frames: the tracks of all that moved",
             mapColors(energy, 0, 40, heat));

  // The average starts from the first frame, which an alpha of 1 copies into an image of zeros.
  for (int i = 0; i < frames; ++i) {
    const Picture& frame = in.grays[static_cast<size_t>(i)];
    const Qor32f alpha = i == 0 ? 1.0F : 0.3F;
    TOUR_CALL(out, qoriAddWeighted_8u32f_C1IR(frame.data(), frame.step(), average.data(), average.step(),
                                              average.size(), alpha));
  }
  out.figure("Running average, 30 % of each new frame: what moves leaves a fading trail", toPicture(average));

  const Picture calm = calmPixels(energy, 8);
  for (int i = 0; i < frames; ++i) {
    const Picture& frame = in.grays[static_cast<size_t>(i)];
    const Qor32f alpha = i == 0 ? 1.0F : 0.3F;
    TOUR_CALL(out, qoriAddWeighted_8u32f_C1IMR(frame.data(), frame.step(), calm.data(), calm.step(), background.data(),
                                               background.step(), background.size(), alpha));
  }
  out.figure("The same under a mask of the calm pixels: the moving parts are never learnt and stay black",
             toPicture(background));

  // How much two successive frames have in common, as a product: E[ab] - E[a]E[b] would follow from here.
  FloatImage products(width, height);
  const Picture& second = in.grays[1];
  TOUR_CALL(out, qoriAddProduct_8u32f_C1IR(first.data(), first.step(), second.data(), second.step(), products.data(),
                                           products.step(), products.size()));
  out.figure("Product of the first two frames", mapColors(products, 0, 255 * 255, viridis));
}

}  // namespace tour
