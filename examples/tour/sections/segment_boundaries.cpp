#include <vector>

#include "tour.h"

namespace tour {

void segmentBoundaries(const Input& in, Output& out) {
  out.text(
      "A picture in a few levels, as a map of labels, and the lines between its segments. A line is one pixel wide and "
      "drawn into the labels themselves: every pixel that differs from its left or upper neighbour gives way, unless "
      "that one has given way already.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  Picture smooth(size.width, size.height), labels(size.width, size.height);
  int spec = 0, bytes = 0;
  TOUR_CALL(out, qoriFilterGaussianGetBufferSize(size, 15, qor8u, 1, &spec, &bytes));
  std::vector<Qor8u> record(static_cast<size_t>(spec)), scratch(static_cast<size_t>(bytes));
  QoriFilterGaussianSpec* const gaussian = reinterpret_cast<QoriFilterGaussianSpec*>(record.data());
  TOUR_CALL(out, qoriFilterGaussianInit(size, 15, 3, qorBorderRepl, qor8u, 1, gaussian, scratch.data()));
  TOUR_CALL(out, qoriFilterGaussianBorder_8u_C1R(gray.data(), gray.step(), smooth.data(), smooth.step(), size, 0,
                                                 gaussian, scratch.data()));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) labels.row(y)[x] = static_cast<Qor8u>(1 + smooth.row(y)[x] / 37);
  }
  TOUR_CALL(out, qoriBoundSegments_8u_C1IR(labels.data(), labels.step(), size, 255, qoriNormL1));

  Picture map(size.width, size.height, 3), lines = in.frames[0];
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Qor8u label = labels.row(y)[x];
      const Color color = label == 255 ? white : viridis(35 * label);
      Qor8u *const m = map.at(x, y), *const p = lines.at(x, y);
      m[0] = color.r, m[1] = color.g, m[2] = color.b;
      if (label == 255) p[0] = p[1] = p[2] = 255;
    }
  }
  out.figure("Seven levels and the lines between them", map);
  out.figure("The lines on the picture", lines);
}

}  // namespace tour
