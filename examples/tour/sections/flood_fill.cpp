#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// What a fill did: its rectangle and its seed drawn on the painted picture.
Picture outlined(Picture painted, const QoriConnectedComp& region, QoriPoint seed) {
  drawRect(painted, region.rect, yellow, 2);
  drawCross(painted, static_cast<float>(seed.x), static_cast<float>(seed.y), 9, white, 3);
  return painted;
}

std::string areaOf(const QoriConnectedComp& region) {
  return std::to_string(static_cast<int>(region.area)) + " pixels, rectangle " + std::to_string(region.rect.width) +
         " x " + std::to_string(region.rect.height);
}

}  // namespace

void floodFill(const Input& in, Output& out) {
  out.text(
      "The paint bucket, from one seed. In a band, a pixel joins when its colour is near that of the seed: the fill "
      "ends where the light changes. Along the gradient it joins when it is near a neighbour that has joined already, "
      "so that smooth shading is followed, and only an edge stops the paint. Both tell the area and the rectangle of "
      "what they have painted.");
  const Picture& picture = in.frames[0];
  const QoriSize size = picture.size();
  const QoriPoint seed{size.width / 2, size.height / 12};
  const Qor8u paint[] = {255, 60, 160};
  int bytes = 0;
  TOUR_CALL(out, qoriFloodFillGetSize_Grad(size, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));

  QoriConnectedComp region{};
  const Qor8u band[] = {18, 18, 18}, slope[] = {3, 3, 3};
  Picture inBand = picture;
  TOUR_CALL(out, qoriFloodFill_Range4Con_8u_C3IR(inBand.data(), inBand.step(), size, seed, paint, band, band, &region,
                                                 scratch.data()));
  out.figure("Within 18 levels of the seed: " + areaOf(region), outlined(inBand, region, seed));

  Picture alongGradient = picture;
  TOUR_CALL(out, qoriFloodFill_Grad4Con_8u_C3IR(alongGradient.data(), alongGradient.step(), size, seed, paint, slope,
                                                slope, &region, scratch.data()));
  out.figure("Within 3 levels of a neighbour: " + areaOf(region), outlined(alongGradient, region, seed));
}

}  // namespace tour
