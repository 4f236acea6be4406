#include <algorithm>
#include <vector>

#include "picture.h"
#include "tour.h"

namespace tour {
namespace {

// A wire grid in front of the picture.
Picture behindGrid(const Picture& gray) {
  Picture picture = toColor(gray);
  const int spacing = std::max(40, gray.width() / 8);
  const auto last = static_cast<float>(std::max(gray.width(), gray.height()));
  for (int at = spacing / 2; at < 2 * std::max(gray.width(), gray.height()); at += spacing) {
    const auto f = static_cast<float>(at);
    drawLine(picture, f, 0, f - 0.2F * last, last, white, 3);
    drawLine(picture, 0, f, last, f - 0.3F * last, white, 3);
  }
  return toGray(picture);
}

Picture marked(const Picture& gray, const Picture& features, Color color) {
  Picture shown = toColor(gray);
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      if (*features.at(x, y) != 0) fillCircle(shown, static_cast<float>(x), static_cast<float>(y), 1.3F, color);
    }
  }
  return shown;
}

}  // namespace

void lineSuppression(const Input& in, Output& out) {
  out.text(
      "Points on a line look like their neighbours along it, so whoever follows one slips. Line suppression takes a "
      "map "
      "of features, of whatever kind, and drops those whose neighbourhood has one direction alone. Here the features "
      "are the edges of the picture behind a grid of wires: what is left are crossings, ends and corners.");
  const Picture gray = behindGrid(in.grays[0]);
  const QoriSize size = gray.size();
  int bytes = 0;
  TOUR_CALL(out, qoriCannyBorderGetSize(size, qorFilterSobel, qorMskSize3x3, qor8u, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  Picture features(gray.width(), gray.height()), left(gray.width(), gray.height());
  TOUR_CALL_BEST(
      out, qoriCannyBorder_8u_C1R(gray.data(), gray.step(), features.data(), features.step(), size, qorFilterSobel,
                                  qorMskSize3x3, qorBorderRepl, 0, 150, 400, qorNormL2, buffer.data()));
  out.figure("Edges as features", marked(gray, features, cyan));

  TOUR_CALL(out, qoriLineSuppressionGetBufferSize(size, qorMskSize3x3, 7, qor8u, 1, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  const Qor32f threshold = 6;
  TOUR_CALL_BEST(out, qoriLineSuppression_8u_C1R(gray.data(), gray.step(), features.data(), features.step(),
                                                 left.data(), left.step(), size, qorFilterSobel, qorMskSize3x3, 7,
                                                 threshold, qorBorderRepl, 0, buffer.data()));
  out.figure("Those that do not lie on a line", marked(gray, left, yellow));
}

}  // namespace tour
