#include <algorithm>
#include <cmath>

#include "tour.h"

namespace tour {
namespace {

// Half the difference of the neighbours, along the rows and down the columns; the nearest pixel stands in outside.
void centralDifferences(const Picture& gray, FloatImage& dx, FloatImage& dy) {
  for (int y = 0; y < gray.height(); ++y) {
    const Qor8u *above = gray.row(std::max(y - 1, 0)), *below = gray.row(std::min(y + 1, gray.height() - 1));
    for (int x = 0; x < gray.width(); ++x) {
      const int left = *gray.at(std::max(x - 1, 0), y), right = *gray.at(std::min(x + 1, gray.width() - 1), y);
      *dx.at(x, y) = static_cast<float>(right - left) / 2;
      *dy.at(x, y) = static_cast<float>(below[x] - above[x]) / 2;
    }
  }
}

// The angle as hue; the steeper the brighter, full from 40 levels a pixel on, black below the camera's noise.
Picture colorAngles(const FloatImage& angle, const FloatImage& dx, const FloatImage& dy) {
  Picture out(angle.width(), angle.height(), 3);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const float steepness = std::clamp((std::hypot(*dx.at(x, y), *dy.at(x, y)) - 3) / 37, 0.0F, 1.0F);
      const Color color = hue(*angle.at(x, y), 0.85F, std::sqrt(steepness));
      Qor8u* pixel = out.at(x, y);
      pixel[0] = color.r, pixel[1] = color.g, pixel[2] = color.b;
    }
  }
  return out;
}

// A disc whose every pixel holds the direction from its middle: the key to the colours.
Picture angleKey(Output& out) {
  constexpr int side = 192;
  FloatImage x(side, side), y(side, side), angle(side, side);
  for (int row = 0; row < side; ++row) {
    for (int column = 0; column < side; ++column) {
      const float dx = static_cast<float>(column) - side / 2 + 0.5F, dy = static_cast<float>(row) - side / 2 + 0.5F;
      const bool inside = std::hypot(dx, dy) < side / 2 - 4;
      *x.at(column, row) = inside ? dx : 0;
      *y.at(column, row) = inside ? dy : 0;
    }
    TOUR_CALL(out, qoribFastArctan_32f(y.row(row), x.row(row), angle.row(row), side));
  }
  return colorAngles(angle, x, y);
}

}  // namespace

void fastArctan(const Input& in, Output& out) {
  out.text(
      "The direction in which the picture gets brighter, at every pixel, as a colour: red to the right, and on around "
      "the circle with the clock. A straight edge has one colour, a circle runs through all of them. Detectors that "
      "vote for circles or describe textures start from such a map.");
  const Picture& gray = in.grays[0];
  FloatImage dx(gray.width(), gray.height()), dy(gray.width(), gray.height()), angle(gray.width(), gray.height());
  centralDifferences(gray, dx, dy);
  for (int y = 0; y < gray.height(); ++y) {
    TOUR_CALL(out, qoribFastArctan_32f(dy.row(y), dx.row(y), angle.row(y), gray.width()));
  }
  out.figure("Direction as hue, steepness as brightness", colorAngles(angle, dx, dy));
  out.figure("The key: the colour of every direction", angleKey(out));
}

}  // namespace tour
