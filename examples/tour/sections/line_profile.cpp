#include <algorithm>

#include "tour.h"

namespace tour {

void lineProfile(const Input& in, Output& out) {
  out.text(
      "The pixels of a line, one after the other, from one end to the other: what a caliper measures edges on, or a "
      "reader of bar codes reads.");
  const Picture& scene = in.frames[0];
  const int width = scene.width(), height = scene.height();
  const QoriPoint first{width / 16, height / 4}, last{width - 1 - width / 16, height * 3 / 5};
  const int count = std::max(last.x - first.x, last.y - first.y) + 1;
  std::vector<Qor8u> pixels(static_cast<size_t>(3 * count));
  TOUR_CALL_BEST(out, qoriSampleLine_8u_C3R(scene.data(), scene.step(), scene.size(), pixels.data(), first, last));

  const int top = height + 8, plotHeight = 3 * 64;
  Picture sheet(width, top + plotHeight, 3);
  for (int y = 0; y < height; ++y) std::copy_n(scene.row(y), 3 * width, sheet.row(y));
  const auto x = [](int v) { return static_cast<float>(v); };
  drawLine(sheet, x(first.x), x(first.y), x(last.x), x(last.y), yellow);
  fillCircle(sheet, x(first.x), x(first.y), 5, yellow);
  const Color colors[] = {red, green, cyan};
  for (int c = 0; c < 3; ++c) {
    const auto at = [&](int i) { return x(top + plotHeight - 1) - 0.74F * x(pixels[static_cast<size_t>(3 * i + c)]); };
    for (int i = 1; i < count; ++i) {
      const int column = first.x + i * (last.x - first.x) / count;
      drawLine(sheet, x(column - 1), at(i - 1), x(column), at(i), colors[c], 1.5F);
    }
  }
  out.figure("Red, green and blue along the yellow line, from its dot on", std::move(sheet));
}

}  // namespace tour
