#include <algorithm>
#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// The marker grows under the mask, in place.
void reconstruct(Output& out, const Picture& mask, Picture& marker) {
  int bytes = 0;
  TOUR_CALL(out, qoriMorphReconstructGetBufferSize_8u_C1(mask.size(), &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriMorphReconstructDilate_8u_C1IR(mask.data(), mask.step(), marker.data(), marker.step(), mask.size(),
                                                    scratch.data(), qoriNormInf));
}

// Every pixel by function(x, y).
template <class F>
Picture pixelwise(QoriSize size, F function) {
  Picture result(size.width, size.height);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) result.row(y)[x] = static_cast<Qor8u>(function(x, y));
  }
  return result;
}

}  // namespace

void reconstruction(const Input& in, Output& out) {
  out.text(
      "A marker grows under a mask until it fills every hill that it has a foot on, and no other: geodesic "
      "reconstruction. An opening removes bright things that are smaller than its square, and cuts all others to "
      "squares. When the eroded picture grows back under the picture itself, the small things are gone as well, but "
      "what "
      "remains has its outline.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  out.figure("The picture in gray", gray);

  const int side = 13;
  const std::vector<Qor32s> zeros(side * side);
  QoriMorphGrayState* square = nullptr;
  TOUR_CALL(out, qoriMorphGrayInitAlloc_8u_C1R(&square, size, zeros.data(), {side, side}, {side / 2, side / 2}));
  Picture eroded(size.width, size.height), opened(size.width, size.height);
  TOUR_CALL_BEST(out, qoriGrayErodeBorder_8u_C1R(gray.data(), gray.step(), eroded.data(), eroded.step(), size,
                                                 qorBorderRepl, square));
  TOUR_CALL_BEST(out, qoriGrayDilateBorder_8u_C1R(eroded.data(), eroded.step(), opened.data(), opened.step(), size,
                                                  qorBorderRepl, square));
  TOUR_CALL(out, qoriMorphGrayFree_8u_C1R(square));
  reconstruct(out, gray, eroded);
  out.figure("Opened by a square of " + std::to_string(side) + " pixels", opened);
  out.figure("Opened by reconstruction", eroded);

  out.text(
      "The picture lowered by 40 levels grows back everywhere but on summits: what is missing are the places that "
      "stand "
      "at least so far out of all around them, lamps and reflections, however bright or dark they are. And what is "
      "bright and touches the frame is all that a marker on the frame reaches.");
  Picture lowered = pixelwise(size, [&](int x, int y) { return std::max(0, gray.row(y)[x] - 40); });
  reconstruct(out, gray, lowered);
  Picture summits = in.frames[0];
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      Qor8u* const p = summits.at(x, y);
      const int height = gray.row(y)[x] - lowered.row(y)[x];
      const Color color = heat(std::min(255, 80 + 4 * height));
      const Qor8u rgb[] = {color.r, color.g, color.b};
      for (int c = 0; c < 3; ++c) p[c] = height >= 30 ? rgb[c] : static_cast<Qor8u>(p[c] / 2);
    }
  }
  out.figure("Summits at least 30 levels high, on the darkened picture", summits);

  const Picture bright = pixelwise(size, [&](int x, int y) { return gray.row(y)[x] > 150 ? 255 : 0; });
  Picture touching = pixelwise(size, [&](int x, int y) {
    return x == 0 || y == 0 || x == size.width - 1 || y == size.height - 1 ? bright.row(y)[x] : 0;
  });
  reconstruct(out, bright, touching);
  const Picture inner = pixelwise(size, [&](int x, int y) { return bright.row(y)[x] - touching.row(y)[x] / 2; });
  out.figure("All that is bright: white, or gray when it touches the frame", inner);
}

}  // namespace tour
