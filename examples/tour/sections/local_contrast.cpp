#include <algorithm>
#include <string>

#include "tour.h"

namespace tour {
namespace {

using Sums = Image<Qor32s>;
using Squares = Image<Qor64f>;

// Every pixel by its distance from the mean around it, in deviations: shadows and lights get the same contrast.
Picture even(const Picture& gray, const Sums& sums, const FloatImage& deviation, int side) {
  Picture out(deviation.width(), deviation.height());
  for (int y = 0; y < out.height(); ++y) {
    const Qor32s *top = sums.row(y), *bottom = sums.row(y + side);
    for (int x = 0; x < out.width(); ++x) {
      const Qor32s sum = bottom[x + side] - top[x + side] + top[x] - bottom[x];
      const float mean = static_cast<float>(sum) / static_cast<float>(side * side);
      const float pixel = *gray.at(x + side / 2, y + side / 2);
      // In flat places the deviation is camera noise: it is not blown up beyond eight levels.
      const float value = 128 + 48 * (pixel - mean) / std::max(deviation.row(y)[x], 8.0F);
      out.row(y)[x] = static_cast<Qor8u>(std::clamp(value, 0.0F, 255.0F));
    }
  }
  return out;
}

}  // namespace

void localContrast(const Input& in, Output& out) {
  out.text(
      "How lively is the picture around each pixel? An integral image holds, for every pixel, the sum of all that is "
      "above and to the left, so the sum over any box takes four reads, however large the box. With a second table of "
      "squares the same holds for the standard deviation: texture and edges stand out, smooth places stay dark. Tables "
      "tilted by 45 degrees do it for boxes that stand on a corner.");
  const Picture& gray = in.grays[0];
  const int w = gray.width(), h = gray.height();
  out.figure("The picture in gray", gray);

  // One more column and row than the picture.
  Sums sums(w + 1, h + 1);
  Squares squares(w + 1, h + 1);
  TOUR_CALL_BEST(out, qoriSqrIntegral_8u32s64f_C1R(gray.data(), gray.step(), sums.data(), sums.step(), squares.data(),
                                                   squares.step(), gray.size(), 0, 0));
  // A smaller box in a small picture, which else had no room for it. It is odd, to have a middle.
  const int side = std::min(15, std::min(w, h) / 3 | 1);
  // The box of the first pixel reaches from its corner to `side` pixels right and down.
  const QoriRect box{0, 0, side, side};
  FloatImage deviation(w - side + 1, h - side + 1);
  TOUR_CALL_BEST(out, qoriRectStdDev_32s32f_C1R(sums.data(), sums.step(), squares.data(), squares.step(),
                                                deviation.data(), deviation.step(), deviation.size(), box));
  const std::string over = std::to_string(side) + " x " + std::to_string(side);
  out.figure("Standard deviation over " + over + " pixels, from 0 (black) to 64 levels (white)",
             mapColors(deviation, 0, 64, heat));

  // Two more columns and rows. Columns left of the box's tip are read, so the pointers start inside the tables.
  const int arm = 5;
  Sums tiltedSums(w + 2, h + 2);
  Squares tiltedSquares(w + 2, h + 2);
  TOUR_CALL_BEST(out,
                 qoriTiltedSqrIntegral_8u32s64f_C1R(gray.data(), gray.step(), tiltedSums.data(), tiltedSums.step(),
                                                    tiltedSquares.data(), tiltedSquares.step(), gray.size(), 0, 0));
  const QoriRect diamond{0, 0, arm, arm};
  FloatImage tilted(w + 2 - 2 * arm, h + 2 - 2 * arm);
  TOUR_CALL_BEST(
      out, qoriTiltedRectStdDev_32s32f_C1R(tiltedSums.data() + arm, tiltedSums.step(), tiltedSquares.data() + arm,
                                           tiltedSquares.step(), tilted.data(), tilted.step(), tilted.size(), diamond));
  out.figure("Over a smaller box that stands on its corner, 50 pixels: thinner edges", mapColors(tilted, 0, 64, heat));
  out.figure("The picture with its contrast evened: pixel less mean, over deviation, both from the upright tables",
             even(gray, sums, deviation, side));
}

}  // namespace tour
