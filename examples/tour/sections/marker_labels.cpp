#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// Labels the markers in the colours of their labels. Returns their number.
int inColours(Output& out, const Picture& markers, QoriNorm norm, Picture& colours) {
  const QoriSize size = markers.size();
  int bytes = 0, number = 0;
  TOUR_CALL(out, qoriLabelMarkersGetBufferSize_8u32s_C1R(size, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  Image<Qor32s> labels(size.width, size.height);
  TOUR_CALL(out, qoriLabelMarkers_8u32s_C1R(markers.data(), markers.step(), labels.data(), labels.step(), size, 1,
                                            1 << 30, norm, &number, scratch.data()));
  colours = Picture(size.width, size.height, 3);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Color color = labelColor(labels.row(y)[x]);
      Qor8u* const p = colours.at(x, y);
      p[0] = color.r, p[1] = color.g, p[2] = color.b;
    }
  }
  return number;
}

}  // namespace

void markerLabels(const Input& in, Output& out) {
  out.text(
      "All that is brighter than a threshold, each connected piece in a colour of its own: the pieces are numbered "
      "from "
      "the top left on, and the call tells how many there are.");
  const Picture& gray = in.grays[0];
  Picture bright(gray.width(), gray.height()), colours;
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) bright.row(y)[x] = gray.row(y)[x] > 150 ? 1 : 0;
  }
  const int pieces = inColours(out, bright, qoriNormL1, colours);
  out.figure(std::to_string(pieces) + " pieces that are brighter than 150", colours);

  out.text(
      "What touches at corners alone is apart with four neighbours, and one with eight: the same stairs, labelled "
      "both ways.");
  const int cell = 16;
  Picture stairs(20 * cell, 12 * cell);
  for (int y = 0; y < stairs.height(); ++y) {
    for (int x = 0; x < stairs.width(); ++x) {
      stairs.row(y)[x] = (x / cell + y / cell) % 5 == 0 || (x / cell - y / cell + 20) % 7 == 0 ? 1 : 0;
    }
  }
  const int four = inColours(out, stairs, qoriNormL1, colours);
  out.figure("Four neighbours: " + std::to_string(four) + " sets", colours);
  const int eight = inColours(out, stairs, qoriNormInf, colours);
  out.figure("Eight neighbours: " + std::to_string(eight) + (eight == 1 ? " set" : " sets"), colours);
}

}  // namespace tour
