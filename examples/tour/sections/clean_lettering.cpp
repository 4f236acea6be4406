#include <algorithm>
#include <string>
#include <vector>

#include "noise.h"
#include "tour.h"

namespace tour {
namespace {

using Bytes = std::vector<Qor8u>;

// A number plate as a camera at dusk sees it: uneven light, dust that shines, scratches through the letters.
Picture dirtyPlate(int width, int height) {
  Picture colors(width, height, 3);
  const std::string text = "QR 482";
  const int scale = std::max(1, width / (textSize(text, 1).width + 4));
  const QoriSize letters = textSize(text, scale);
  drawText(colors, (width - letters.width) / 2, (height - letters.height) / 2, text, white, scale);
  for (int i = 0; i < width * height / 900; ++i) {
    const int x = static_cast<int>(hash(i, 1, 7) % static_cast<unsigned>(width));
    const int y = static_cast<int>(hash(i, 2, 7) % static_cast<unsigned>(height));
    *colors.at(x, y) = 255;
  }
  const auto w = static_cast<float>(width), h = static_cast<float>(height);
  for (int i = 0; i < 7; ++i) {
    const float x = w * (0.1F + 0.13F * static_cast<float>(i));
    drawLine(colors, x, 0, x + 0.15F * h, h, black, 1.5F);
  }
  Picture plate(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float light = 130.0F * static_cast<float>(x) / w + 40.0F * static_cast<float>(y) / h;
      *plate.at(x, y) = static_cast<Qor8u>(light + 0.3F * static_cast<float>(*colors.at(x, y)));
    }
  }
  return plate;
}

// Opening, closing, hats and gradient take a mask from a record.
struct Compound {
  Compound(Output& out, QoriSize size, QoriSize maskSize, const Bytes& mask) {
    int recordBytes = 0, scratchBytes = 0;
    TOUR_CALL(out, qoriMorphAdvGetSize_8u_C1R(size, maskSize, &recordBytes, &scratchBytes));
    memory.resize(static_cast<size_t>(recordBytes));
    scratch.resize(static_cast<size_t>(scratchBytes));
    TOUR_CALL(out, qoriMorphAdvInit_8u_C1R(size, mask.data(), maskSize, record(), scratch.data()));
  }
  QoriMorphAdvState* record() { return reinterpret_cast<QoriMorphAdvState*>(memory.data()); }

  Bytes memory, scratch;
};

Bytes square(int side) { return Bytes(static_cast<size_t>(side * side), 1); }

}  // namespace

void cleanLettering(const Input& in, Output& out) {
  out.text(
      "Shapes can be cleaned by their size. An opening keeps what a mask fits into and takes the rest away; a closing "
      "fills what the mask does not fit into. The top-hat is what an opening takes: with a mask wider than the strokes "
      "it leaves the letters and none of the uneven light behind them. After a threshold, a small opening removes the "
      "dust, a closing heals the scratches, and the gradient draws the outline.");
  const Picture plate = dirtyPlate(in.grays[0].width(), in.grays[0].height());
  const QoriSize size = plate.size();
  const auto blank = [&] { return Picture(size.width, size.height); };
  out.figure("A plate in uneven light, dusty and scratched", plate);

  const int wide = std::max(3, size.width / 20 | 1);
  Compound hat(out, size, {wide, wide}, square(wide));
  Picture flat = blank();
  TOUR_CALL_BEST(out, qoriMorphTophatBorder_8u_C1R(plate.data(), plate.step(), flat.data(), flat.step(), size,
                                                   qorBorderRepl, 0, hat.record(), hat.scratch.data()));
  out.figure("Top-hat by " + std::to_string(wide) + " x " + std::to_string(wide) + " pixels: the light is gone", flat);

  Picture letters = blank();
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) *letters.at(x, y) = *flat.at(x, y) > 40 ? 255 : 0;
  out.figure("What is above 40 levels", letters);

  Compound dust(out, size, {3, 3}, square(3));
  Picture opened = blank();
  TOUR_CALL_BEST(out, qoriMorphOpenBorder_8u_C1R(letters.data(), letters.step(), opened.data(), opened.step(), size,
                                                 qorBorderRepl, 0, dust.record(), dust.scratch.data()));
  out.figure("Opened by 3 x 3 pixels: the dust is gone", opened);

  const Bytes disc{0, 1, 1, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 0};
  Compound scratches(out, size, {5, 5}, disc);
  Picture closed = blank();
  TOUR_CALL_BEST(out, qoriMorphCloseBorder_8u_C1R(opened.data(), opened.step(), closed.data(), closed.step(), size,
                                                  qorBorderRepl, 0, scratches.record(), scratches.scratch.data()));
  out.figure("Closed by a disc of 5 pixels: the scratches are healed", closed);

  Picture outline = blank();
  TOUR_CALL_BEST(out, qoriMorphGradientBorder_8u_C1R(closed.data(), closed.step(), outline.data(), outline.step(), size,
                                                     qorBorderRepl, 0, dust.record(), dust.scratch.data()));
  Picture shown(size.width, size.height, 3);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      Qor8u* const pixel = shown.at(x, y);
      pixel[0] = std::max(*plate.at(x, y), *outline.at(x, y));
      pixel[1] = pixel[2] = *outline.at(x, y) != 0 ? Qor8u{0} : *plate.at(x, y);
    }
  }
  out.figure("The gradient of that as an outline on the plate", shown);

  const Picture& gray = in.grays[0];
  Picture thin = blank();
  Compound lines(out, size, {7, 7}, square(7));
  TOUR_CALL_BEST(out, qoriMorphBlackhatBorder_8u_C1R(gray.data(), gray.step(), thin.data(), thin.step(), size,
                                                     qorBorderRepl, 0, lines.record(), lines.scratch.data()));
  out.figure("Black-hat of the picture by 7 x 7 pixels: dark lines and gaps, however bright their surroundings",
             mapColors(thin, heat));
}

}  // namespace tour
