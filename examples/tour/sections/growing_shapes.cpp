#include <algorithm>
#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

using Bytes = std::vector<Qor8u>;

Bytes disc(int side) {
  Bytes mask;
  const float radius = 0.5F * static_cast<float>(side);
  for (int i = 0; i < side; ++i) {
    for (int j = 0; j < side; ++j) {
      const float x = static_cast<float>(j) + 0.5F - radius, y = static_cast<float>(i) + 0.5F - radius;
      mask.push_back(x * x + y * y <= radius * radius ? 1 : 0);
    }
  }
  return mask;
}

// Points to the upper right.
constexpr int arrowSide = 25;
Bytes arrow() {
  Bytes mask;
  for (int i = 0; i < arrowSide; ++i) {
    for (int j = 0; j < arrowSide; ++j) {
      const int up = arrowSide - 1 - i;
      const bool head = j > 12 && up > 12 && j + up > 36, shaft = j >= up - 2 && j <= up + 2;
      mask.push_back(head || shaft ? 1 : 0);
    }
  }
  return mask;
}

// A mask of ones and zeros, its pixels enlarged.
Picture enlarged(const Bytes& mask, int side, int times) {
  Picture out(side * times, side * times);
  for (int y = 0; y < out.height(); ++y)
    for (int x = 0; x < out.width(); ++x)
      *out.at(x, y) = mask[static_cast<size_t>(y / times * side + x / times)] != 0 ? 255 : 40;
  return out;
}

}  // namespace

void growingShapes(const Input& in, Output& out) {
  out.text(
      "A dilation gives every pixel the brightest one under a mask, so that bright things grow by its shape; an "
      "erosion "
      "the darkest. The time does not follow the number of the mask's pixels: rectangles cost the same at any size, "
      "other shapes grow with their height.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  for (const int side : {5, 15, 31}) {
    const Bytes mask = disc(side);
    QoriMorphState* state = nullptr;
    TOUR_CALL(out, qoriMorphologyInitAlloc_8u_C1R(size.width, mask.data(), {side, side}, {side / 2, side / 2}, &state));
    Picture grown(size.width, size.height);
    TOUR_CALL_BEST(out, qoriDilateBorderReplicate_8u_C1R(gray.data(), gray.step(), grown.data(), grown.step(), size,
                                                         qorBorderRepl, state));
    TOUR_CALL(out, qoriMorphologyFree(state));
    out.figure("Dilated by a disc of " + std::to_string(side) + " pixels", grown);
  }
  Bytes scratch;
  int bytes = 0;
  const QoriSize box{31, 31};
  TOUR_CALL(out, qoriFilterMinGetBufferSize_8u_C1R(size.width, box, &bytes));
  scratch.resize(static_cast<size_t>(bytes));
  Picture least(size.width, size.height);
  TOUR_CALL_BEST(out, qoriFilterMinBorderReplicate_8u_C1R(gray.data(), gray.step(), least.data(), least.step(), size,
                                                          box, {15, 15}, scratch.data()));
  out.figure("The darkest pixel of every 31 x 31", least);

  // Masks are taken as they are: a point becomes the mask turned by 180 degrees.
  const Bytes mask = arrow();
  Picture points(size.width, size.height), arrows(size.width, size.height);
  for (int y = std::min(30, size.height / 2); y < size.height; y += 60)
    for (int x = std::min(30, size.width / 2); x < size.width; x += 60) *points.at(x, y) = 255;
  int recordBytes = 0;
  const QoriSize arrowSize{arrowSide, arrowSide};
  TOUR_CALL(out, qoriMorphologyBorderGetSize_8u_C1R(size.width, arrowSize, &recordBytes, &bytes));
  Bytes record(static_cast<size_t>(recordBytes));
  scratch.resize(static_cast<size_t>(bytes));
  auto* const arrowState = reinterpret_cast<QoriMorphState*>(record.data());
  TOUR_CALL(out, qoriMorphologyBorderInit_8u_C1R(size.width, mask.data(), arrowSize, arrowState, scratch.data()));
  TOUR_CALL_BEST(out, qoriDilateBorder_8u_C1R(points.data(), points.step(), arrows.data(), arrows.step(), size,
                                              qorBorderRepl, 0, arrowState, scratch.data()));
  out.figure("A mask, enlarged", enlarged(mask, arrowSide, 10));
  out.figure("Points dilated by it: the mask is not reflected, so its picture is turned", arrows);

  // A drawing of bits, eight to a byte, whose rows begin at bit 3 of a byte.
  const int first = 3, step = (first + size.width + 7) / 8;
  Bytes drawing(static_cast<size_t>(step * size.height)), fat(drawing.size());
  const auto bit = [&](Bytes& bits, int x, int y) -> std::pair<Qor8u&, int> {
    return {bits[static_cast<size_t>(step * y + (first + x) / 8)], (first + x) % 8};
  };
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const auto [byte, shift] = bit(drawing, x, y);
      if (*gray.at(x, y) > 150) byte = static_cast<Qor8u>(byte | 1 << shift);
    }
  }
  const Bytes round = disc(9);
  TOUR_CALL(out, qoriMorphologyBorderGetSize_1u_C1R(size.width, {9, 9}, &recordBytes, &bytes));
  record.resize(static_cast<size_t>(recordBytes));
  scratch.resize(static_cast<size_t>(bytes));
  auto* const bitState = reinterpret_cast<QoriMorphState*>(record.data());
  TOUR_CALL(out, qoriMorphologyBorderInit_1u_C1R(size.width, round.data(), {9, 9}, bitState, scratch.data()));
  TOUR_CALL_BEST(out, qoriDilateBorder_1u_C1R(drawing.data(), step, first, fat.data(), step, first, size, qorBorderRepl,
                                              0, bitState, scratch.data()));
  Picture shown(size.width, size.height, 3);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const auto [was, at] = bit(drawing, x, y);
      const auto [is, shift] = bit(fat, x, y);
      const Color color = (was >> at & 1) != 0 ? white : (is >> shift & 1) != 0 ? red : black;
      Qor8u* const pixel = shown.at(x, y);
      pixel[0] = color.r, pixel[1] = color.g, pixel[2] = color.b;
    }
  }
  out.figure("A drawing of packed bits (white), grown by a disc of 9 pixels (red): 64 pixels at a time", shown);
}

}  // namespace tour
