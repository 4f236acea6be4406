#include <cstdio>
#include <string>
#include <vector>

#include "picture.h"
#include "tour.h"

namespace tour {
namespace {

// Edges in the Sobel gradient. With equal thresholds none but the strong pixels are left.
Picture edgesOf(const Picture& gray, Qor32f low, Qor32f high, Output& out) {
  int bytes = 0;
  TOUR_CALL(out, qoriCannyBorderGetSize(gray.size(), qorFilterSobel, qorMskSize3x3, qor8u, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  Picture edges(gray.width(), gray.height());
  TOUR_CALL_BEST(
      out, qoriCannyBorder_8u_C1R(gray.data(), gray.step(), edges.data(), edges.step(), gray.size(), qorFilterSobel,
                                  qorMskSize3x3, qorBorderRepl, 0, low, high, qorNormL2, buffer.data()));
  return edges;
}

void dim(Picture& picture) {
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width() * picture.channels(); ++x) {
      Qor8u& sample = picture.row(y)[x];
      sample = static_cast<Qor8u>(sample * 2 / 5);
    }
  }
}

void paint(Picture& picture, const Picture& edges, Color color) {
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (*edges.at(x, y) == 0) continue;
      Qor8u* const pixel = picture.at(x, y);
      pixel[0] = color.r, pixel[1] = color.g, pixel[2] = color.b;
    }
  }
}

}  // namespace

void cannyEdges(const Input& in, Output& out) {
  out.text(
      "An edge is where the gradient is largest across its own direction, so edges come out one pixel wide. Two "
      "thresholds decide which of them count: pixels above the high one are edges, and those above the low one that a "
      "chain of neighbours joins to such a pixel. The high threshold keeps noise away, the low one keeps outlines "
      "whole. Here the strong pixels are yellow, and those that only their neighbours saved are blue.");
  const Picture& gray = in.grays[0];
  struct Thresholds {
    Qor32f low, high;
  };
  for (const auto& [low, high] : {Thresholds{20, 60}, Thresholds{60, 180}, Thresholds{150, 450}}) {
    Picture shown = toColor(gray);
    dim(shown);
    paint(shown, edgesOf(gray, low, high, out), cyan);
    paint(shown, edgesOf(gray, high, high, out), yellow);
    char caption[64];
    std::snprintf(caption, sizeof caption, "Thresholds of %.0f and %.0f", static_cast<double>(low),
                  static_cast<double>(high));
    out.figure(caption, shown);
  }
}

}  // namespace tour
