#include <algorithm>
#include <memory>
#include <string>

#include "tour.h"

namespace tour {
namespace {

struct Release {
  void operator()(QoriPyramid* p) const { qoriPyramidFree(p); }
  void operator()(QoriPyramidDownState* p) const { qoriPyramidLayerDownFree_8u_C3R(p); }
  void operator()(QoriPyramidUpState* p) const { qoriPyramidLayerUpFree_8u_C3R(p); }
};
template <class T>
using Owned = std::unique_ptr<T, Release>;

const Qor16s taps[] = {1, 4, 6, 4, 1};

// A pyramid with the pictures of its levels.
struct Levels {
  Owned<QoriPyramid> record;
  std::vector<Picture> pictures;

  Levels(Output& out, const Picture& picture, float rate, int most) {
    QoriPyramid* made = nullptr;
    TOUR_CALL(out, qoriPyramidInitAlloc(&made, most, picture.size(), rate));
    record.reset(made);
    QoriPyramidDownState* state = nullptr;
    TOUR_CALL(out, qoriPyramidLayerDownInitAlloc_8u_C3R(&state, picture.size(), rate, taps, 5, 2));
    const Owned<QoriPyramidDownState> layer(state);
    const QoriPyramid& p = *record;
    for (int i = 0; i <= p.level; ++i) {
      pictures.push_back(i == 0 ? picture : Picture(p.pRoi[i].width, p.pRoi[i].height, 3));
      p.pImage[i] = pictures.back().data();
      p.pStep[i] = pictures.back().step();
    }
    for (int i = 1; i <= p.level; ++i) {
      TOUR_CALL(out, qoriPyramidLayerDown_8u_C3R(p.pImage[i - 1], p.pStep[i - 1], p.pRoi[i - 1], p.pImage[i],
                                                 p.pStep[i], p.pRoi[i], layer.get()));
    }
  }
};

void paste(Picture& onto, const Picture& picture, int x, int y) {
  const int columns = std::min(picture.width(), onto.width() - x);
  for (int row = 0; row < std::min(picture.height(), onto.height() - y) && columns > 0; ++row)
    std::copy_n(picture.row(row), columns * 3, onto.at(x, y + row));
}

// Levels from the first on, one behind the other and as often as it takes below each other.
Picture ladder(const std::vector<Picture>& levels, size_t first, int width) {
  constexpr int gap = 8, line = 20;
  const auto place = [&](const auto& put) {
    int x = gap, y = gap, tallest = 0;
    for (size_t i = first; i < levels.size(); ++i) {
      if (x > gap && x + levels[i].width() + gap > width) x = gap, y += tallest + gap + line, tallest = 0;
      put(levels[i], x, y);
      x += std::max(levels[i].width(), 80) + gap;
      tallest = std::max(tallest, levels[i].height());
    }
    return y + tallest + gap + line;
  };
  Picture shown(width, place([](const Picture&, int, int) {}), 3);
  place([&](const Picture& level, int x, int y) {
    paste(shown, level, x, y);
    const std::string size = std::to_string(level.width()) + "x" + std::to_string(level.height());
    drawText(shown, x, y + level.height() + 4, size, white, 1);
  });
  return shown;
}

}  // namespace

void pyramidLevels(const Input& in, Output& out) {
  out.text(
      "A pyramid at any rate: a record lists the levels and their sizes, a layer makes each from the one before it. "
      "At rate 2 a level has a quarter of the pixels; at 1.3 a search over sizes, for faces say, misses nothing "
      "between "
      "two levels.");
  const Picture& scene = in.frames[0];
  const Levels halves(out, scene, 2, 5), small(out, scene, 1.3F, 10);
  out.figure("Rate 2, from level 1 on", ladder(halves.pictures, 1, scene.width()));
  out.figure("Rate 1.3, from level 2 on", ladder(small.pictures, 2, scene.width()));

  out.text(
      "And back up, from level 2 to the size of the picture: what a detector found on a coarse level is laid over the "
      "picture again. What the coarser levels have lost does not come back.");
  const QoriPyramid& p = *halves.record;
  QoriPyramidUpState* state = nullptr;
  TOUR_CALL(out, qoriPyramidLayerUpInitAlloc_8u_C3R(&state, scene.size(), 2, taps, 5, 2));
  const Owned<QoriPyramidUpState> layer(state);
  Picture grown = halves.pictures[std::min<size_t>(2, halves.pictures.size() - 1)];
  for (int i = std::min(2, p.level); i > 0; --i) {
    Picture finer(p.pRoi[i - 1].width, p.pRoi[i - 1].height, 3);
    TOUR_CALL(out, qoriPyramidLayerUp_8u_C3R(grown.data(), grown.step(), grown.size(), finer.data(), finer.step(),
                                             finer.size(), layer.get()));
    grown = std::move(finer);
  }
  out.figure("From level 2 back up", grown);
}

}  // namespace tour
