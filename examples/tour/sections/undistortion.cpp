#include <algorithm>
#include <cmath>
#include <utility>

#include "tour.h"

namespace tour {
namespace {

struct Lens {
  float f, cx, cy, k1, k2;

  // Where in the picture of this lens a point of a straight one stands.
  std::pair<float, float> bend(float x, float y) const {
    const float a = (x - cx) / f, b = (y - cy) / f, r2 = a * a + b * b, d = k1 * r2 + k2 * r2 * r2;
    return {x + (x - cx) * d, y + (y - cy) * d};
  }
};

// What the lens makes of a straight picture: for every pixel the point that is bent to it, found step by step.
Picture throughLens(const Picture& straight, const Lens& lens) {
  Picture bent(straight.width(), straight.height(), straight.channels());
  for (int v = 0; v < bent.height(); ++v) {
    for (int u = 0; u < bent.width(); ++u) {
      float x = static_cast<float>(u), y = static_cast<float>(v);
      for (int i = 0; i < 20; ++i) {
        const auto [gotU, gotV] = lens.bend(x, y);
        x += static_cast<float>(u) - gotU;
        y += static_cast<float>(v) - gotV;
      }
      const int column = static_cast<int>(std::lround(x)), row = static_cast<int>(std::lround(y));
      if (column < 0 || row < 0 || column >= bent.width() || row >= bent.height()) continue;
      std::copy_n(straight.at(column, row), bent.channels(), bent.at(u, v));
    }
  }
  return bent;
}

// Straight lines, as a wall has them.
Picture withGrid(Picture picture, int spacing) {
  for (int x = spacing / 2; x < picture.width(); x += spacing) fillRect(picture, {x, 0, 2, picture.height()}, white);
  for (int y = spacing / 2; y < picture.height(); y += spacing) fillRect(picture, {0, y, picture.width(), 2}, white);
  return picture;
}

}  // namespace

void undistortion(const Input& in, Output& out) {
  out.text(
      "A wide lens bends straight lines outwards, like the staves of a barrel. Once its coefficients are known, "
      "every pixel of a straight picture is read where the lens has put it. Pixels that the lens has not seen are left "
      "as they are, here in red: the destination is preset with the background. For other samplers, or to do it "
      "many times, the positions come as two maps.");
  const Picture& scene = in.frames[0];
  const int width = scene.width(), height = scene.height(), spacing = std::max(8, width / 12);
  const Lens lens{0.9F * static_cast<float>(width), 0.5F * static_cast<float>(width), 0.5F * static_cast<float>(height),
                  -0.35F, 0.08F};
  const Picture bent = throughLens(withGrid(scene, spacing), lens);
  out.figure("Through a wide lens", bent);

  Picture straight(width, height, 3);
  fillRect(straight, {0, 0, width, height}, red);
  int bufferSize = 0;
  TOUR_CALL(out, qoriUndistortGetSize(straight.size(), &bufferSize));
  std::vector<Qor8u> buffer(static_cast<size_t>(bufferSize));
  TOUR_CALL_BEST(out,
                 qoriUndistortRadial_8u_C3R(bent.data(), bent.step(), straight.data(), straight.step(), straight.size(),
                                            lens.f, lens.f, lens.cx, lens.cy, lens.k1, lens.k2, buffer.data()));
  out.figure("Straightened; red is what the lens has not seen", straight);

  FloatImage mapX(width, height), mapY(width, height);
  TOUR_CALL_BEST(
      out, qoriCreateMapCameraUndistort_32f_C1R(mapX.data(), mapX.step(), mapY.data(), mapY.step(), mapX.size(), lens.f,
                                                lens.f, lens.cx, lens.cy, lens.k1, lens.k2, 0, 0, buffer.data()));
  Picture grid = bent;
  const int cell = std::max(4, spacing / 2);
  const auto draw = [&](int x0, int y0, int x1, int y1, Color color) {
    drawLine(grid, *mapX.at(x0, y0), *mapY.at(x0, y0), *mapX.at(x1, y1), *mapY.at(x1, y1), color, 1.5F);
  };
  for (int y = 0; y < height; y += cell) {
    for (int x = 0; x < width; x += cell) {
      if (x + cell < width) draw(x, y, x + cell, y, yellow);
      if (y + cell < height) draw(x, y, x, y + cell, cyan);
    }
  }
  out.figure("The two maps: a straight grid where its points stand in the bent picture", grid);
}

}  // namespace tour
