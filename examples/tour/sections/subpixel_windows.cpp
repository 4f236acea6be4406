#include <algorithm>

#include "tour.h"

namespace tour {
namespace {

// Every pixel as a square, and between pictures a gap.
void putEnlarged(Picture& sheet, int left, int top, const Picture& gray, int scale) {
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      const Qor8u value = *gray.at(x, y);
      fillRect(sheet, {left + x * scale, top + y * scale, scale, scale}, {value, value, value});
    }
  }
}

}  // namespace

void subpixelWindows(const Input& in, Output& out) {
  out.text(
      "Trackers compare what stands between the pixels: a window at any fraction of one, each of its samples blended "
      "from four. A window may also stick out of the picture. It is filled with the nearest pixels then, and told "
      "which part of it is real.");
  const Picture& gray = in.grays[0];
  const int side = std::min(24, std::min(gray.width(), gray.height()) - 1), scale = 10, gap = 8, count = 4;
  const int x0 = (gray.width() - side) * 2 / 5, y0 = (gray.height() - side) / 2;
  Picture sheet(count * (side * scale + gap), side * scale, 3), patch(side, side);
  for (int i = 0; i < count; ++i) {
    const Qor32f offset = 0.25F * static_cast<Qor32f>(i);
    TOUR_CALL_BEST(out, qoriCopySubpix_8u_C1R(gray.at(x0, y0), gray.step(), patch.data(), patch.step(), patch.size(),
                                              offset, offset));
    putEnlarged(sheet, i * (side * scale + gap), 0, patch, scale);
  }
  out.figure("The same place, further by 0, 1/4, 1/2 and 3/4 of a pixel to the right and down", std::move(sheet));

  Picture sliding(count * (side * scale + gap), side * scale, 3);
  for (int i = 0; i < count; ++i) {
    const auto half = static_cast<Qor32f>(side) / 2;
    const auto away = static_cast<Qor32f>(i * side);
    const QoriPoint_32f centre{half - 0.3F - away / 3, static_cast<Qor32f>(gray.height()) - half - 0.7F + away / 6};
    QoriPoint low{}, high{};
    TOUR_CALL_BEST(out, qoriCopySubpixIntersect_8u_C1R(gray.data(), gray.step(), gray.size(), patch.data(),
                                                       patch.step(), patch.size(), centre, &low, &high));
    const int left = i * (side * scale + gap);
    putEnlarged(sliding, left, 0, patch, scale);
    if (low.x > high.x || low.y > high.y) continue;
    drawRect(sliding, {left + low.x * scale, low.y * scale, (high.x - low.x + 1) * scale, (high.y - low.y + 1) * scale},
             yellow, 3);
  }
  out.figure(
      "A window that slides off the bottom left corner; in the frame is what stands between pixels of the picture",
      std::move(sliding));
}

}  // namespace tour
