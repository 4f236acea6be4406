#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "frames.h"
#include "picture.h"
#include "tour.h"

namespace tour {
namespace {

// The levels of a picture, each half as large as the one before.
struct Levels {
  std::unique_ptr<QoriPyramid, QorStatus (*)(QoriPyramid*)> record{nullptr, qoriPyramidFree};
  std::vector<Picture> pictures;

  Levels(Picture picture, int most, Output& out) {
    QoriPyramid* made = nullptr;
    TOUR_CALL(out, qoriPyramidInitAlloc(&made, most, picture.size(), 2));
    record.reset(made);
    int bufferSize = 0;
    TOUR_CALL(out, qoriPyrDownGetBufSize_Gauss5x5(picture.width(), qor8u, 1, &bufferSize));
    std::vector<Qor8u> buffer(static_cast<size_t>(bufferSize));
    pictures.push_back(std::move(picture));
    for (int i = 1; i <= record->level; ++i) {
      const Picture& fine = pictures.back();
      Picture coarse(record->pRoi[i].width, record->pRoi[i].height);
      TOUR_CALL(out, qoriPyrDown_Gauss5x5_8u_C1R(fine.data(), fine.step(), coarse.data(), coarse.step(), fine.size(),
                                                 buffer.data()));
      pictures.push_back(std::move(coarse));
    }
    for (size_t i = 0; i < pictures.size(); ++i) {
      record->pImage[i] = pictures[i].data();
      record->pStep[i] = pictures[i].step();
    }
  }
};

// The pixel of a cell around which the picture varies most in every direction.
QoriPoint_32f cornerOf(const Picture& gray, QoriRect cell) {
  QoriPoint_32f best{static_cast<float>(cell.x), static_cast<float>(cell.y)};
  float most = -1;
  for (int y = std::max(cell.y, 4); y < std::min(cell.y + cell.height, gray.height() - 4); y += 2) {
    for (int x = std::max(cell.x, 4); x < std::min(cell.x + cell.width, gray.width() - 4); x += 2) {
      float xx = 0, xy = 0, yy = 0;
      for (int v = y - 3; v <= y + 3; ++v) {
        for (int u = x - 3; u <= x + 3; ++u) {
          const auto gx = static_cast<float>(*gray.at(u + 1, v) - *gray.at(u - 1, v));
          const auto gy = static_cast<float>(*gray.at(u, v + 1) - *gray.at(u, v - 1));
          xx += gx * gx, xy += gx * gy, yy += gy * gy;
        }
      }
      const float least = (xx + yy) / 2 - std::sqrt((xx - yy) * (xx - yy) / 4 + xy * xy);
      if (least > most) most = least, best = {static_cast<float>(x), static_cast<float>(y)};
    }
  }
  return best;
}

// A camera that moved, as warp() has it.
struct Motion {
  float dx, dy, tangent, zoom, cx, cy;

  QoriPoint_32f of(QoriPoint_32f p) const {
    const float cosine = zoom / std::sqrt(1 + tangent * tangent), sine = tangent * cosine;
    const float x = p.x - cx, y = p.y - cy;
    return {cx + dx + cosine * x - sine * y, cy + dy + sine * x + cosine * y};
  }
};

}  // namespace

void opticalFlow(const Input& in, Output& out) {
  out.text(
      "Where did every point go? A window about it is looked for in the next picture by steps along the gradient, to a "
      "small part of a pixel. Steps see no further than the window, so the search begins in small versions of both "
      "pictures, where motions are small. Here the camera has moved, turned and come nearer, so the truth is known.");
  const Picture& gray = in.grays[0];
  const int width = gray.width(), height = gray.height(), window = 21;
  const auto side = static_cast<float>(std::min(width, height));
  const Motion motion{
      side / 30, -side / 50, 0.02F, 1.02F, static_cast<float>(width - 1) / 2, static_cast<float>(height - 1) / 2};
  const Picture moved = toGray(warp(in.frames[0], motion.dx, motion.dy, motion.tangent, motion.zoom));

  const Levels before(gray, 4, out), after(moved, 4, out);
  std::vector<QoriPoint_32f> from;
  const int cell = std::max(16, std::min(width, height) / 16);
  for (int y = 0; y < height; y += cell)
    for (int x = 0; x < width; x += cell) from.push_back(cornerOf(gray, {x, y, cell, cell}));
  const int count = static_cast<int>(from.size());

  QoriOptFlowPyrLKState* state = nullptr;
  TOUR_CALL(out, qoriOpticalFlowPyrLKInitAlloc_8u_C1R(&state, {width / 2, height / 2}, window, qorHintNone));
  const std::unique_ptr<QoriOptFlowPyrLKState, QorStatus (*)(QoriOptFlowPyrLKState*)> owned(
      state, qoriOpticalFlowPyrLKFree_8u_C1R);
  std::vector<QoriPoint_32f> to;
  std::vector<Qor8s> status(from.size());
  std::vector<Qor32f> error(from.size());

  const int row = 34, rows = std::min(before.record->level, after.record->level) + 1;
  Picture table(640, row * (rows + 1), 3);
  drawText(table, 8, 10, "levels   found   mean distance from the truth", white);
  for (int top = 0; top < rows; ++top) {
    to = from;
    TOUR_CALL(out, qoriOpticalFlowPyrLK_8u_C1R(before.record.get(), after.record.get(), from.data(), to.data(),
                                               status.data(), error.data(), count, window, top, 20, 0.03F, state));
    double distance = 0;
    int found = 0;
    for (size_t i = 0; i < from.size(); ++i) {
      if (status[i] != 0) continue;
      const QoriPoint_32f truth = motion.of(from[i]);
      ++found, distance += std::hypot(to[i].x - truth.x, to[i].y - truth.y);
    }
    const double mean = found > 0 ? distance / found : 0;
    char text[80];
    std::snprintf(text, sizeof text, "%4d   %6d   %8.2f px", top + 1, found, mean);
    drawText(table, 8, row * (top + 1) + 10, text, yellow);
    fillRect(table, {380, row * (top + 1) + 10, std::min(250, static_cast<int>(mean * 10)), 16}, red);
  }

  Picture arrows = in.frames[0];
  for (size_t i = 0; i < from.size(); ++i) {
    const QoriPoint_32f p = from[i], truth = motion.of(p);
    drawLine(arrows, p.x, p.y, truth.x, truth.y, {150, 150, 150}, 5);
    if (status[i] != 0)
      drawCross(arrows, p.x, p.y, 5, red);
    else
      drawArrow(arrows, p.x, p.y, to[i].x, to[i].y, viridis(std::min(255, static_cast<int>(60 + 10 * error[i]))), 2);
  }
  out.figure("Tracked points; the lighter the arrow, the more its windows differ; crosses are lost; grey is the truth",
             std::move(arrows));
  out.figure("The more levels, the further the search reaches", std::move(table));
}

}  // namespace tour
