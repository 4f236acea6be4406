#include <algorithm>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

constexpr Qor8u line = 254, frame = 255;

// The picture tinted by its labels, with the lines between them in white.
Picture tinted(const Picture& picture, const Picture& labels) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const Qor8u label = *labels.at(x, y);
      const bool isLine = label == line || label == frame;
      const Color tint = isLine ? white : labelColor(label);
      const int share = isLine ? 100 : 45, tints[] = {tint.r, tint.g, tint.b};
      Qor8u* const p = out.at(x, y);
      for (int c = 0; c < 3; ++c) p[c] = static_cast<Qor8u>((p[c] * (100 - share) + tints[c] * share) / 100);
    }
  }
  return out;
}

}  // namespace

void gradientSegmentation(const Input& in, Output& out) {
  out.text(
      "Segments straight from the colours, without an image of edges: a label always takes the step along which the "
      "picture changes least, so it fills what is of one colour first and crosses an edge last. The seeds here are "
      "patches on a grid; the frame of one pixel belongs to no label.");
  const Picture& color = in.frames[0];
  const QoriSize size = color.size();
  int bytes = 0;
  TOUR_CALL(out, qoriSegmentGradientGetBufferSize_8u_C3R(size, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));

  constexpr int columns = 15, rows = 10, patch = 2;
  Picture seeds(size.width, size.height), shown = color;
  for (int i = 0; i < columns * rows; ++i) {
    const int x = (2 * (i % columns) + 1) * size.width / (2 * columns);
    const int y = (2 * (i / columns) + 1) * size.height / (2 * rows);
    for (int dy = -patch; dy <= patch; ++dy) {
      for (int dx = -patch; dx <= patch; ++dx) {
        const int px = std::clamp(x + dx, 0, size.width - 1), py = std::clamp(y + dy, 0, size.height - 1);
        *seeds.at(px, py) = static_cast<Qor8u>(i + 1);
      }
    }
    fillCircle(shown, static_cast<float>(x), static_cast<float>(y), 4, labelColor(i + 1));
  }
  out.figure("The seeds", shown);

  Picture labels = seeds;
  TOUR_CALL(out, qoriSegmentGradient_8u_C3IR(color.data(), color.step(), labels.data(), labels.step(), size,
                                             qoriNormInf, qorSegmentBorder4, scratch.data()));
  out.figure("Grown in colour, with a line where labels meet", tinted(color, labels));
  Picture grayLabels = seeds;
  const Picture& gray = in.grays[0];
  TOUR_CALL(out, qoriSegmentGradient_8u_C1IR(gray.data(), gray.step(), grayLabels.data(), grayLabels.step(), size,
                                             qoriNormInf, qorSegmentBorder4, scratch.data()));
  out.figure("Grown in gray, which confuses colours of one brightness", tinted(color, grayLabels));
}

}  // namespace tour
