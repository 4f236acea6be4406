#include <algorithm>
#include <cstdlib>
#include <memory>

#include "tour.h"

namespace tour {
namespace {

struct Free {
  void operator()(QoriHaarClassifier_32f* stage) const { qoriHaarClassifierFree_32f(stage); }
};
using Stage = std::unique_ptr<QoriHaarClassifier_32f, Free>;

// A feature compares the mean of one part of the window with that of the others: it is worth 1 when their difference is
// at least so many deviations of the window, else 0.
struct Feature {
  QoriRect bright;
  std::vector<QoriRect> dark;
  float deviations;
};

// The builders of upright and of tilted stages. A tilted box of w by h covers 2 * w * h pixels.
using Build = decltype(qoriHaarClassifierInitAlloc_32f);

Stage makeStage(Output& out, Build build, const std::vector<Feature>& features, int pixelsPerUnit) {
  std::vector<QoriRect> rects;
  std::vector<float> weights, thresholds;
  std::vector<int> counts;
  const auto add = [&](const QoriRect& r, float share) {
    rects.push_back(r);
    weights.push_back(share / static_cast<float>(pixelsPerUnit * r.width * r.height));
  };
  for (const Feature& f : features) {
    add(f.bright, 1);
    for (const QoriRect& r : f.dark) add(r, -1 / static_cast<float>(f.dark.size()));
    counts.push_back(static_cast<int>(1 + f.dark.size()));
    thresholds.push_back(f.deviations);
  }
  const int length = static_cast<int>(features.size());
  const std::vector<float> below(features.size(), 0), above(features.size(), 1);
  QoriHaarClassifier_32f* stage = nullptr;
  TOUR_CALL(out, build(&stage, rects.data(), weights.data(), thresholds.data(), below.data(), above.data(),
                       counts.data(), length));
  return Stage(stage);
}

// House windows of this size: a bright frame around two dark panes, with a bar down the middle and one across.
constexpr QoriSize window{24, 34};
constexpr QoriRect frameLeft{2, 2, 2, 30}, frameRight{20, 2, 2, 30}, frameTop{2, 2, 20, 2}, frameBottom{2, 30, 20, 2};
constexpr QoriRect paneLeft{7, 5, 4, 24}, paneRight{14, 5, 3, 24}, bar{11, 4, 2, 26};

// The window around each group of places that are left, in its middle.
int drawHits(Picture& picture, const Picture& mask) {
  struct Group {
    QoriPoint first;
    int x = 0, y = 0, count = 0;
  };
  std::vector<Group> groups;
  for (int y = 0; y < mask.height(); ++y) {
    for (int x = 0; x < mask.width(); ++x) {
      if (mask.row(y)[x] == 0) continue;
      const auto near = [&](const Group& g) { return std::abs(g.first.x - x) < 10 && y - g.first.y < 20; };
      auto group = std::find_if(groups.begin(), groups.end(), near);
      if (group == groups.end()) group = groups.insert(group, {{x, y}});
      group->x += x;
      group->y += y;
      ++group->count;
    }
  }
  for (const Group& g : groups) {
    drawRect(picture, {g.x / g.count, g.y / g.count, window.width, window.height}, cyan);
  }
  return static_cast<int>(groups.size());
}

// Where candidates are left, on the darkened picture.
Picture showCandidates(const Picture& picture, const Picture& mask) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int i = 0; i < 3 * out.width(); ++i) out.row(y)[i] /= 3;
  }
  for (int y = 0; y < mask.height(); ++y) {
    for (int x = 0; x < mask.width(); ++x) {
      Qor8u* middle = out.at(x + window.width / 2, y + window.height / 2);
      if (mask.row(y)[x] != 0) middle[0] = 255, middle[1] = 209, middle[2] = 62;
    }
  }
  return out;
}

}  // namespace

void haarCascade(const Input& in, Output& out) {
  out.text(
      "Where are the windows of the houses? A cascade asks simple questions about every place, each a few sums of "
      "boxes read from an integral image: is the frame brighter than the panes? Is there a bar between them? A stage "
      "drops most of the places that are left, so the later, longer stages have little to do. Thresholds are scaled by "
      "the deviation under the window, which makes them hold in light and shadow. The last stage uses boxes that stand "
      "on a corner: a window has no bright diagonal.");
  const Picture& gray = in.grays[0];
  const int w = gray.width(), h = gray.height();
  if (w <= window.width || h <= window.height) {
    out.text("This picture is smaller than the window that the cascade looks for.");
    return;
  }

  FloatImage sums(w + 1, h + 1), tilted(w + 2, h + 2);
  Image<Qor64f> squares(w + 1, h + 1);
  TOUR_CALL_BEST(out, qoriSqrIntegral_8u32f64f_C1R(gray.data(), gray.step(), sums.data(), sums.step(), squares.data(),
                                                   squares.step(), gray.size(), 0, 0));
  // Once, on zeros: the tilted table in float adds to what stood in one of its columns.
  TOUR_CALL(out, qoriTiltedIntegral_8u32f_C1R(gray.data(), gray.step(), tilted.data(), tilted.step(), gray.size(), 0));

  // One place for every position of the window in the picture.
  FloatImage norm(w - window.width, h - window.height);
  const QoriSize places = norm.size();
  const QoriRect all{0, 0, window.width, window.height};
  TOUR_CALL_BEST(out, qoriRectStdDev_32f_C1R(sums.data(), sums.step(), squares.data(), squares.step(), norm.data(),
                                             norm.step(), places, all));

  // Flat places are no candidates.
  Picture mask(places.width, places.height);
  int left = 0;
  for (int y = 0; y < places.height; ++y) {
    for (int x = 0; x < places.width; ++x) {
      mask.row(y)[x] = norm.row(y)[x] > 20 ? 255 : 0;
      left += mask.row(y)[x] != 0;
    }
  }
  out.figure("The places whose surroundings are lively enough: " + std::to_string(left),
             showCandidates(in.frames[0], mask));

  // The number of features that have to be worth 1 is the threshold of a stage.
  const Stage frame = makeStage(out, qoriHaarClassifierInitAlloc_32f,
                                {{frameLeft, {paneLeft}, 0.5F}, {frameRight, {paneRight}, 0.5F}}, 1);
  TOUR_CALL(out, qoriApplyHaarClassifier_32f_C1R(sums.data(), sums.step(), norm.data(), norm.step(), mask.data(),
                                                 mask.step(), places, &left, 2, frame.get()));
  out.figure("After the first stage, the frame beside the panes: " + std::to_string(left),
             showCandidates(in.frames[0], mask));

  const Stage parts = makeStage(out, qoriHaarClassifierInitAlloc_32f,
                                {{bar, {paneLeft, paneRight}, 0.5F},
                                 {frameTop, {{5, 5, 14, 7}}, 0.6F},
                                 {frameBottom, {{5, 20, 14, 9}}, 0.6F},
                                 {frameLeft, {{0, 2, 1, 30}, {7, 5, 4, 24}}, 0.3F},
                                 {frameRight, {{23, 2, 1, 30}, {14, 5, 3, 24}}, 0.3F}},
                                1);
  TOUR_CALL(out, qoriApplyHaarClassifier_32f_C1R(sums.data(), sums.step(), norm.data(), norm.step(), mask.data(),
                                                 mask.step(), places, &left, 5, parts.get()));
  out.figure("After the second, the bar and the four sides: " + std::to_string(left),
             showCandidates(in.frames[0], mask));

  // Down to the right and down to the left through the middle: neither brighter than the other by a quarter of the
  // deviation.
  const QoriRect falling{6, 9, 13, 2}, rising{18, 9, 2, 13};
  const Stage diagonals = makeStage(out, qoriTiltedHaarClassifierInitAlloc_32f,
                                    {{falling, {rising}, -0.25F}, {rising, {falling}, -0.25F}}, 2);
  TOUR_CALL(out, qoriApplyMixedHaarClassifier_32f_C1R(sums.data(), sums.step(), tilted.data(), tilted.step(),
                                                      norm.data(), norm.step(), mask.data(), mask.step(), places, &left,
                                                      2, diagonals.get()));
  Picture marked = in.frames[0];
  const int windows = drawHits(marked, mask);
  out.figure("After the third, without a bright diagonal: " + std::to_string(left) + " places left, which are " +
                 std::to_string(windows) + " windows",
             marked);
}

}  // namespace tour
