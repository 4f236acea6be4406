#include <cmath>
#include <numbers>

#include "tour.h"

namespace tour {
namespace {

constexpr int radius = 3, arc = 9, bins = 36;
constexpr Qor32f threshold = 40;

// All corners of a picture; with every option but the suppression of weaker neighbours, which is asked for.
std::vector<QoriCornerFastN> findCorners(const Picture& gray, bool suppressed, Output& out) {
  const QoriSize size = gray.size();
  const int option = qorFastNCorner | qorFastNScore | qorFastNOrientation | (suppressed ? int{qorFastNNonMax} : 0);
  int specBytes = 0, bytes = 0, count = 0;
  TOUR_CALL(out, qoriFastNGetSize(size, radius, arc, bins, option, qor8u, 1, &specBytes));
  std::vector<Qor8u> record(static_cast<size_t>(specBytes));
  auto* const spec = reinterpret_cast<QoriFastNSpec*>(record.data());
  TOUR_CALL(out, qoriFastNInit(size, radius, arc, bins, option, threshold, qor8u, 1, spec));
  TOUR_CALL(out, qoriFastNGetBufferSize(spec, size, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  Picture kinds(gray.width(), gray.height()), scores(gray.width(), gray.height());
  TOUR_CALL_BEST(out, qoriFastN_8u_C1R(gray.data(), gray.step(), kinds.data(), kinds.step(), scores.data(),
                                       scores.step(), &count, {0, 0}, size, spec, buffer.data()));
  std::vector<QoriCornerFastN> corners(static_cast<size_t>(count) + 1);
  TOUR_CALL_BEST(out, qoriFastN2DToVec_8u(kinds.data(), kinds.step(), scores.data(), scores.step(), corners.data(),
                                          size, count, &count, spec));
  corners.resize(static_cast<size_t>(count));
  return corners;
}

// A corner with brighter surroundings is blue, one with darker ones yellow; a strong one is large, and its stroke
// points to where it is brighter.
Picture mark(const Picture& picture, const std::vector<QoriCornerFastN>& corners, bool stroked) {
  Picture marked = picture;
  for (const QoriCornerFastN& c : corners) {
    const Color color = c.cornerType == 0 ? cyan : yellow;
    const auto x = static_cast<float>(c.x), y = static_cast<float>(c.y), size = 1.2F + (stroked ? c.score / 80 : 0);
    if (stroked) {
      // The angle counts from the left on, towards the bottom.
      const float angle = c.angle * std::numbers::pi_v<float> / 180, length = 2 + 3 * size;
      drawLine(marked, x, y, x - length * std::cos(angle), y + length * std::sin(angle), color, 1);
    }
    fillCircle(marked, x, y, size, color);
  }
  return marked;
}

}  // namespace

void fastnCorners(const Input& in, Output& out) {
  out.text(
      "A corner is a pixel most of whose circle is brighter, or darker, than itself: here nine consecutive pixels of "
      "sixteen, by more than 40. The test is cheap enough for every frame of a video. Yellow dots are brighter than "
      "what surrounds them, blue ones darker; a larger dot has a higher score, and its stroke points to the brighter "
      "side, in steps of ten degrees.");
  const auto corners = findCorners(in.grays[0], true, out), all = findCorners(in.grays[0], false, out);
  out.figure(std::to_string(corners.size()) + " corners that no neighbour outdoes", mark(in.frames[0], corners, true));
  out.figure("All " + std::to_string(all.size()) + " pixels that pass the test: heaps of them around the corners",
             mark(in.frames[0], all, false));
}

}  // namespace tour
