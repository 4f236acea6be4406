#include <algorithm>
#include <random>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

constexpr int cell = 10, wall = 3;

// A maze without circles: walls 0, ways 255. Cells are joined by a walk that turns back where it finds no new one.
Picture makeMaze(int columns, int rows) {
  Picture maze(columns * cell + wall, rows * cell + wall);
  const auto open = [&](int left, int top, int width, int height) {
    for (int y = top; y < top + height; ++y) std::fill_n(maze.row(y) + left, width, Qor8u(255));
  };
  std::mt19937 random(7);
  std::vector<bool> visited(static_cast<size_t>(columns) * static_cast<size_t>(rows));
  std::vector<QoriPoint> path{{0, 0}};
  const auto isVisited = [&](int x, int y) { return visited[static_cast<size_t>(y * columns + x)]; };
  while (!path.empty()) {
    const QoriPoint at = path.back();
    if (!isVisited(at.x, at.y)) open(at.x * cell + wall, at.y * cell + wall, cell - wall, cell - wall);
    visited[static_cast<size_t>(at.y * columns + at.x)] = true;
    std::vector<QoriPoint> next;
    for (const QoriPoint step : {QoriPoint{1, 0}, QoriPoint{-1, 0}, QoriPoint{0, 1}, QoriPoint{0, -1}}) {
      const int x = at.x + step.x, y = at.y + step.y;
      if (x >= 0 && y >= 0 && x < columns && y < rows && !isVisited(x, y)) next.push_back({x, y});
    }
    if (next.empty()) {
      path.pop_back();
      continue;
    }
    const QoriPoint to = next[random() % next.size()];
    open(std::min(at.x, to.x) * cell + wall, std::min(at.y, to.y) * cell + wall,
         std::abs(to.x - at.x) * cell + cell - wall, std::abs(to.y - at.y) * cell + cell - wall);
    path.push_back(to);
  }
  return maze;
}

}  // namespace

void maze(const Input& in, Output& out) {
  out.text(
      "Reconstruction follows any way, however it winds: a maze is filled from one pixel at its entrance. Somewhere on "
      "the way a door is shut, and what lies behind it stays empty.");
  const int columns = std::max(4, in.grays[0].width() / 2 / cell), rows = std::max(4, in.grays[0].height() / 2 / cell);
  Picture maze = makeMaze(columns, rows);
  const QoriSize size = maze.size();
  // A way leads through one place or another of the middle column of walls: every second one is shut.
  const int middle = columns / 2 * cell;
  for (int y = 0, doors = 0; y < size.height; ++y) {
    const bool isDoor = maze.row(y)[middle] != 0, isNew = y == 0 || maze.row(y - 1)[middle] == 0;
    doors += isDoor && isNew ? 1 : 0;
    if (isDoor && doors % 2 == 0) std::fill_n(maze.row(y) + middle, wall, Qor8u(0));
  }

  Picture filled(size.width, size.height);
  filled.row(wall)[wall] = 255;
  int bytes = 0;
  TOUR_CALL(out, qoriMorphReconstructGetBufferSize_8u_C1(size, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriMorphReconstructDilate_8u_C1IR(maze.data(), maze.step(), filled.data(), filled.step(), size,
                                                    scratch.data(), qoriNormL1));
  Picture shown(size.width, size.height, 3);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Color color = filled.row(y)[x] != 0 ? cyan : maze.row(y)[x] != 0 ? white : black;
      Qor8u* const p = shown.at(x, y);
      p[0] = color.r, p[1] = color.g, p[2] = color.b;
    }
  }
  fillCircle(shown, wall + 3.5F, wall + 3.5F, 3, red);
  out.figure("Filled from the red dot, by the four neighbours of a pixel", shown);
}

}  // namespace tour
