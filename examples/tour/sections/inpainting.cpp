#include <algorithm>
#include <iterator>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// What is to be removed, drawn: scratches, a wire and a caption.
Picture damage(QoriSize size) {
  Picture color(size.width, size.height, 3);
  const auto w = static_cast<float>(size.width), h = static_cast<float>(size.height);
  const float thick = std::max(2.0F, h / 180);
  drawLine(color, 0.1F * w, 0.95F * h, 0.45F * w, 0.05F * h, white, thick);
  drawLine(color, 0.52F * w, 0.02F * h, 0.6F * w, 0.9F * h, white, thick);
  drawLine(color, 0, 0.3F * h, w, 0.42F * h, white, 1.5F * thick);
  fillCircle(color, 0.8F * w, 0.65F * h, 4 * thick, white);
  drawText(color, size.width / 20, size.height * 3 / 4, "20 JULY, BY THE RIVER", white, std::max(1, size.height / 160));
  Picture mask(size.width, size.height);
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) *mask.at(x, y) = *color.at(x, y) > 20 ? 255 : 0;
  return mask;
}

Picture damaged(const Picture& picture, const Picture& mask) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      if (*mask.at(x, y) != 0) std::fill_n(out.at(x, y), 3, Qor8u{255});
    }
  }
  return out;
}

Picture fill(Output& out, const Picture& picture, const Picture& mask, const FloatImage& distance, int method) {
  QoriInpaintState* state = nullptr;
  TOUR_CALL(out, qoriInpaintInitAlloc_8u_C3R(&state, distance.data(), distance.step(), mask.data(), mask.step(),
                                             mask.size(), 5, method));
  Picture filled(picture.width(), picture.height(), 3);
  TOUR_CALL_BEST(
      out, qoriInpaint_8u_C3R(picture.data(), picture.step(), filled.data(), filled.step(), picture.size(), state));
  TOUR_CALL(out, qoriInpaintFree_8u_C3R(state));
  return filled;
}

}  // namespace

void inpainting(const Input& in, Output& out) {
  out.text(
      "Scratches, a wire and a caption are to go. A map tells how deep each pixel lies in the hole, here by fast "
      "marching, and the hole is filled from its edge inwards, each pixel from the known ones around it: by their "
      "nearness and direction and what the brightness does there, or along the lines of equal brightness.");
  const QoriSize size = in.frames[0].size();
  const Picture mask = damage(size);
  int bytes = 0;
  TOUR_CALL(out, qoriFastMarchingGetBufferSize_8u32f_C1R(size, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  FloatImage distance(size.width, size.height);
  TOUR_CALL_BEST(out, qoriFastMarching_8u32f_C1R(mask.data(), mask.step(), distance.data(), distance.step(), size, 0,
                                                 scratch.data()));
  const Picture picture = damaged(in.frames[0], mask);
  out.figure("The damaged picture", picture);
  out.figure("How deep pixels lie in the hole", mapColors(distance, 0, 8, heat));

  // What is left out of the map is not filled: so the front is seen on its way.
  std::vector<Qor32f> depths;
  for (int y = 0; y < size.height; ++y)
    std::copy_if(distance.row(y), distance.row(y) + size.width, std::back_inserter(depths),
                 [](Qor32f d) { return d > 0; });
  FloatImage outer = distance;
  if (!depths.empty()) {
    const auto middle = depths.begin() + static_cast<ptrdiff_t>(depths.size() / 2);
    std::nth_element(depths.begin(), middle, depths.end());
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x) *outer.at(x, y) = *outer.at(x, y) > *middle ? 0 : *outer.at(x, y);
  }
  out.figure("Half of the way", fill(out, picture, mask, outer, qorInpaintGradient));
  out.figure("Filled by direction, nearness and gradients", fill(out, picture, mask, distance, qorInpaintGradient));
  out.figure("Filled along lines of equal brightness", fill(out, picture, mask, distance, qorInpaintIsophote));
}

}  // namespace tour
