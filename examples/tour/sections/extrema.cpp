#include <cstdio>
#include <string>

#include "picture.h"
#include "tour.h"

namespace tour {
namespace {

// The value of an extreme and its place; the label stays inside the picture, some lines below where others may stand.
void mark(Picture& picture, QoriPoint at, const char* what, Qor32f value, Color color, int line = 0) {
  char text[64];
  std::snprintf(text, sizeof text, "%s %g", what, static_cast<double>(value));
  drawCircle(picture, static_cast<float>(at.x), static_cast<float>(at.y), 12, black, 5);
  drawCircle(picture, static_cast<float>(at.x), static_cast<float>(at.y), 12, color, 2.5F);
  const QoriSize plate = textSize(text);
  const bool right = at.x + 18 + plate.width < picture.width();
  const bool below = at.y + 3 * (plate.height + 8) < picture.height();
  const int shift = line * (plate.height + 8) - 4;
  drawLabel(picture, right ? at.x + 18 : at.x - 24 - plate.width,
            below ? at.y + shift : at.y - shift - plate.height - 12, text, color);
}

// 255 within a circle around the middle.
Picture discMask(int width, int height) {
  Picture mask(width, height);
  const int radius = (width < height ? width : height) / 3;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int dx = x - width / 2, dy = y - height / 2;
      *mask.at(x, y) = dx * dx + dy * dy < radius * radius ? 255 : 0;
    }
  }
  return mask;
}

}  // namespace

void extrema(const Input& in, Output& out) {
  out.text(
      "The darkest and the brightest pixel of a region, with their places. Exposure control asks for the values, a "
      "template search for the place of the best score. Of equal pixels the first in reading order is reported, "
      "whatever the number of threads.");
  const Picture &gray = in.grays[0], &color = in.frames[0];
  Qor32f low = 0, high = 0;
  QoriPoint lowAt{}, highAt{};
  TOUR_CALL_BEST(out, qoriMinMaxIndx_8u_C1R(gray.data(), gray.step(), gray.size(), &low, &high, &lowAt, &highAt));
  Picture whole = toColor(gray);
  mark(whole, lowAt, "min", low, cyan);
  mark(whole, highAt, "max", high, yellow);
  out.figure("Darkest and brightest pixel of the picture", whole);

  const Picture mask = discMask(gray.width(), gray.height());
  TOUR_CALL_BEST(out, qoriMinMaxIndx_8u_C1MR(gray.data(), gray.step(), mask.data(), mask.step(), gray.size(), &low,
                                             &high, &lowAt, &highAt));
  Picture inside = toColor(gray);
  drawCircle(inside, static_cast<float>(gray.width()) / 2, static_cast<float>(gray.height()) / 2,
             static_cast<float>(gray.width() < gray.height() ? gray.width() : gray.height()) / 3, green);
  mark(inside, lowAt, "min", low, cyan);
  mark(inside, highAt, "max", high, yellow);
  out.figure("The same under a mask: only the pixels within the circle count", inside);

  const char* lowNames[] = {"red min", "green min", "blue min"};
  const char* highNames[] = {"red max", "green max", "blue max"};
  const Color colors[] = {red, green, cyan};
  Picture channels = color;
  for (int coi = 1; coi <= 3; ++coi) {
    TOUR_CALL(out, qoriMinMaxIndx_8u_C3CR(color.data(), color.step(), color.size(), coi, &low, &high, &lowAt, &highAt));
    mark(channels, lowAt, lowNames[coi - 1], low, colors[coi - 1], coi - 1);
    mark(channels, highAt, highNames[coi - 1], high, colors[coi - 1], coi - 1);
  }
  out.figure("The darkest and the brightest pixel of each colour channel", channels);
}

}  // namespace tour
