#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// 0 where brightness changes, for these are the pixels that distances are measured from.
Picture edgesOf(const Picture& gray) {
  Picture edges(gray.width(), gray.height());
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      const int right = *gray.at(std::min(x + 1, gray.width() - 1), y);
      const int below = *gray.at(x, std::min(y + 1, gray.height() - 1));
      *edges.at(x, y) = std::abs(right - *gray.at(x, y)) + std::abs(below - *gray.at(x, y)) > 40 ? 0 : 255;
    }
  }
  return edges;
}

// Colours by distance, with a dark line every `apart` pixels.
Picture contours(const FloatImage& distance, float apart, float farthest) {
  Picture out = mapColors(distance, 0, farthest, viridis);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      if (std::fmod(*distance.at(x, y), apart) >= 1) continue;
      for (int c = 0; c < 3; ++c) out.at(x, y)[c] = static_cast<Qor8u>(out.at(x, y)[c] / 2);
    }
  }
  return out;
}

// A lamp on the left above shines on the distances as heights.
Picture shaded(const FloatImage& height) {
  Picture out(height.width(), height.height());
  for (int y = 1; y < out.height(); ++y) {
    for (int x = 1; x < out.width(); ++x) {
      const float here = *height.at(x, y), slope = 2 * here - *height.at(x - 1, y) - *height.at(x, y - 1);
      const float light = here > 0 ? 120 + 60 * slope : 30;
      *out.at(x, y) = static_cast<Qor8u>(std::clamp(light, 0.0F, 255.0F));
    }
  }
  return out;
}

FloatImage exactDistance(Output& out, const Picture& zeros) {
  int bytes = 0;
  TOUR_CALL(out, qoriTrueDistanceTransformGetBufferSize_8u32f_C1R(zeros.size(), &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  FloatImage distance(zeros.width(), zeros.height());
  TOUR_CALL_BEST(out, qoriTrueDistanceTransform_8u32f_C1R(zeros.data(), zeros.step(), distance.data(), distance.step(),
                                                          zeros.size(), scratch.data()));
  return distance;
}

}  // namespace

void distanceMaps(const Input& in, Output& out) {
  out.text(
      "How far is it from each pixel to the nearest edge? Chamfer distances count moves: along rows and columns, along "
      "diagonals and, with a mask of 5 x 5, like a knight. Two passes over the picture find the shortest way for all "
      "pixels. Templates slide down such a map to where they fit.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  const Picture edges = edgesOf(gray);
  Qor32f moves[3];
  TOUR_CALL(out, qoriGetDistanceTransformMask(52, moves));
  FloatImage chamfer(size.width, size.height);
  TOUR_CALL_BEST(out, qoriDistanceTransform_5x5_8u32f_C1R(edges.data(), edges.step(), chamfer.data(), chamfer.step(),
                                                          size, moves));
  out.figure("Edges", edges);
  out.figure("Distance from the nearest edge, a line every 8 pixels", contours(chamfer, 8, 64));

  out.text(
      "Moves of few lengths make circles to polygons. The exact distance, from the lower envelope of parabolas along "
      "each row, costs a few times as much. Both start here from one pixel in the middle.");
  Picture point(size.width, size.height);
  std::fill(point.data(), point.row(size.height - 1) + size.width, Qor8u{255});
  *point.at(size.width / 2, size.height / 2) = 0;
  const FloatImage exact = exactDistance(out, point);
  for (const int side : {3, 5}) {
    TOUR_CALL(out, qoriGetDistanceTransformMask_32f(side, qoriNormL2, moves));
    if (side == 3) {
      TOUR_CALL_BEST(out, qoriDistanceTransform_3x3_8u32f_C1R(point.data(), point.step(), chamfer.data(),
                                                              chamfer.step(), size, moves));
    } else {
      TOUR_CALL_BEST(out, qoriDistanceTransform_5x5_8u32f_C1R(point.data(), point.step(), chamfer.data(),
                                                              chamfer.step(), size, moves));
    }
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x) *chamfer.at(x, y) -= *exact.at(x, y);
    const float range = 0.05F * static_cast<float>(std::max(size.width, size.height)) / 2;
    out.figure(side == 3 ? "Error of the 3 x 3 mask: too near is dark blue, right is green, too far is yellow"
                         : "Error of the 5 x 5 mask, in the same colours",
               mapColors(chamfer, -range, range, viridis));
  }

  Picture shape(size.width, size.height);
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) *shape.at(x, y) = *gray.at(x, y) > 128 ? 255 : 0;
  out.figure("The distance inside all that is bright, as a landscape: ridges are the skeletons of the shapes",
             shaded(exactDistance(out, shape)));
}

}  // namespace tour
