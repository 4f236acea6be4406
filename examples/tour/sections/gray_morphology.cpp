#include <algorithm>
#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// The picture in the light of a lamp far to the right: half as bright, and brighter from column to column.
Picture unevenlyLit(const Picture& gray) {
  Picture lit(gray.width(), gray.height());
  for (int y = 0; y < lit.height(); ++y) {
    for (int x = 0; x < lit.width(); ++x) {
      lit.row(y)[x] = static_cast<Qor8u>(gray.row(y)[x] / 2 + 127 * x / lit.width());
    }
  }
  return lit;
}

// A bowl of so many levels a pixel squared, upright or, for a paraboloid that points down, turned over.
std::vector<Qor32s> paraboloid(int side, int pixelsSquaredALevel, int sign) {
  std::vector<Qor32s> elements;
  for (int i = 0; i < side * side; ++i) {
    const int dx = i % side - side / 2, dy = i / side - side / 2;
    elements.push_back(sign * (dx * dx + dy * dy) / pixelsSquaredALevel);
  }
  return elements;
}

}  // namespace

void grayMorphology(const Input& in, Output& out) {
  out.text(
      "A paraboloid is rolled along the underside of the picture, taken as a landscape. Where it fits, it touches; "
      "into "
      "details narrower than itself it does not reach. What it touches is the background: uneven light, large shapes. "
      "What stands out of it is detail, in even light. An erosion with the paraboloid and a dilation with it make this "
      "surface. Both operations add their elements, so the erosion is given the negated paraboloid.");
  const Picture lit = unevenlyLit(in.grays[0]);
  const QoriSize size = lit.size();
  out.figure("The picture, lit from the right", lit);

  const int side = std::min(41, std::min(size.width, size.height) | 1), pixelsSquaredALevel = 6;
  const QoriSize maskSize{side, side};
  const QoriPoint centre{side / 2, side / 2};
  const std::vector<Qor32s> up = paraboloid(side, pixelsSquaredALevel, -1);
  const std::vector<Qor32s> negated = paraboloid(side, pixelsSquaredALevel, 1);

  QoriMorphGrayState *dilating = nullptr, *eroding = nullptr;
  TOUR_CALL(out, qoriMorphGrayInitAlloc_8u_C1R(&dilating, size, up.data(), maskSize, centre));
  TOUR_CALL(out, qoriMorphGrayInitAlloc_8u_C1R(&eroding, size, negated.data(), maskSize, centre));
  Picture eroded(size.width, size.height), background(size.width, size.height), detail(size.width, size.height);
  TOUR_CALL(out, qoriGrayErodeBorder_8u_C1R(lit.data(), lit.step(), eroded.data(), eroded.step(), size, qorBorderRepl,
                                            eroding));
  TOUR_CALL(out, qoriGrayDilateBorder_8u_C1R(eroded.data(), eroded.step(), background.data(), background.step(), size,
                                             qorBorderRepl, dilating));
  TOUR_CALL(out, qoriMorphGrayFree_8u_C1R(dilating));
  TOUR_CALL(out, qoriMorphGrayFree_8u_C1R(eroding));
  // The background lies nowhere above the picture.
  TOUR_CALL(out, qoriAbsDiff_8u_C1R(lit.data(), lit.step(), background.data(), background.step(), detail.data(),
                                    detail.step(), size));
  out.figure("Where the paraboloid gets to, " + std::to_string(side) + " pixels wide", background);
  out.figure("What stands out of it, up to 100 levels", mapColors(detail, [](int v) {
               const Qor8u level = static_cast<Qor8u>(std::min(255, v * 255 / 100));
               return Color{level, level, level};
             }));
}

}  // namespace tour
