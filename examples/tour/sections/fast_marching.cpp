#include <algorithm>
#include <cmath>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// Bright letters over the width of the picture, as 0 on 255.
Picture letters(QoriSize size) {
  const char* const text = "qorCV";
  int scale = 1;
  while (textSize(text, scale + 1).width < size.width * 3 / 4 && textSize(text, scale + 1).height < size.height / 2)
    ++scale;
  Picture color(size.width, size.height, 3);
  const QoriSize plate = textSize(text, scale);
  drawText(color, (size.width - plate.width) / 2, (size.height - plate.height) / 2, text, white, scale);
  Picture out(size.width, size.height);
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) *out.at(x, y) = *color.at(x, y) != 0 ? 0 : 255;
  return out;
}

// Lines of equal distance: outside in one colour, inside in another.
Picture outlines(const FloatImage& distance, float apart) {
  Picture out(distance.width(), distance.height(), 3);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const float d = *distance.at(x, y), fade = std::max(0.3F, 1 - std::fabs(d) / (30 * apart));
      const bool isLine = std::fmod(std::fabs(d) + 0.5F, apart) < 1.2F;
      const Color c = d > 0   ? (isLine ? yellow : Color{30, 34, 48})
                      : d < 0 ? (isLine ? cyan : Color{18, 70, 90})
                              : white;
      const float light = d > 0 && isLine ? fade : 1;
      out.at(x, y)[0] = static_cast<Qor8u>(c.r * light);
      out.at(x, y)[1] = static_cast<Qor8u>(c.g * light);
      out.at(x, y)[2] = static_cast<Qor8u>(c.b * light);
    }
  }
  return out;
}

}  // namespace

void fastMarching(const Input& in, Output& out) {
  out.text(
      "A front leaves the letters and crosses one pixel in a unit of time: its arrival is the distance as a solution "
      "of the eikonal equation. With a radius the distance goes on inside, as negative numbers, so that outlines can "
      "be grown and shrunk by equal steps. Level sets start from such a map.");
  const QoriSize size = in.grays[0].size();
  const Picture zeros = letters(size);
  int bytes = 0;
  TOUR_CALL(out, qoriFastMarchingGetBufferSize_8u32f_C1R(size, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  FloatImage distance(size.width, size.height);
  const float radius = 12;
  TOUR_CALL_BEST(out, qoriFastMarching_8u32f_C1R(zeros.data(), zeros.step(), distance.data(), distance.step(), size,
                                                 radius, scratch.data()));
  out.figure("Steps of 6 pixels outside, in yellow, and inside, in cyan; white lies deeper than 12 pixels",
             outlines(distance, 6));

  Picture seeds(size.width, size.height);
  std::fill(seeds.data(), seeds.row(size.height - 1) + size.width, Qor8u{255});
  for (int i = 0; i < 5; ++i) *seeds.at((2 * i + 1) * size.width / 10, (i * 3 % 5 + 1) * size.height / 7) = 0;
  TOUR_CALL_BEST(out, qoriFastMarching_8u32f_C1R(seeds.data(), seeds.step(), distance.data(), distance.step(), size, 0,
                                                 scratch.data()));
  out.figure("Fronts from five pixels, a ring every 12 units of time", outlines(distance, 12));
}

}  // namespace tour
