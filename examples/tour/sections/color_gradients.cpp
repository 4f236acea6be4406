#include <algorithm>
#include <cmath>

#include "tour.h"

namespace tour {
namespace {

// Gradients are mostly small: several times as bright, saturated.
Picture brighten(const Picture& picture, int times) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) *out.at(x, y) = static_cast<Qor8u>(std::min(times * *out.at(x, y), 255));
  }
  return out;
}

// A picture with the brightness of every pixel set to 128, so that only its colours are left.
Picture equallyBright(const Picture& picture) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      Qor8u* const p = out.at(x, y);
      const float missing = 128 - (0.299F * p[0] + 0.587F * p[1] + 0.114F * p[2]);
      for (int c = 0; c < 3; ++c) {
        p[c] = static_cast<Qor8u>(std::lround(std::clamp(static_cast<float>(p[c]) + missing, 0.0F, 255.0F)));
      }
    }
  }
  return out;
}

}  // namespace

void colorGradients(const Input& in, Output& out) {
  out.text(
      "Where are the edges of a picture in colour? Differences of its gray version miss every border between colours "
      "of the same brightness. Take the derivative of each channel instead, and put the three together to one number "
      "a pixel: their largest, their mean, or the root of their mean square.");
  const Picture& color = in.frames[0];
  const QoriSize inner{color.width() - 1, color.height()};

  // The change from each pixel to its right neighbour, channel by channel: the second source starts one pixel further.
  Picture change(inner.width, inner.height, 3);
  TOUR_CALL_BEST(out, qoriAbsDiff_8u_C3R(color.data(), color.step(), color.at(1, 0), color.step(), change.data(),
                                         change.step(), inner));
  Picture largest(inner.width, inner.height), mean(inner.width, inner.height), root(inner.width, inner.height);
  TOUR_CALL_BEST(out, qoriGradientColorToGray_8u_C3C1R(change.data(), change.step(), largest.data(), largest.step(),
                                                       inner, qoriNormInf));
  TOUR_CALL_BEST(
      out, qoriGradientColorToGray_8u_C3C1R(change.data(), change.step(), mean.data(), mean.step(), inner, qoriNormL1));
  TOUR_CALL_BEST(
      out, qoriGradientColorToGray_8u_C3C1R(change.data(), change.step(), root.data(), root.step(), inner, qoriNormL2));
  out.figure("The picture", color);
  out.figure("Largest change among the channels, four times as bright", mapColors(brighten(largest, 4), heat));
  out.figure("Mean change", mapColors(brighten(mean, 4), heat));
  out.figure("Root of the mean square", mapColors(brighten(root, 4), heat));

  const Picture flat = equallyBright(color);
  TOUR_CALL(out, qoriAbsDiff_8u_C3R(flat.data(), flat.step(), flat.at(1, 0), flat.step(), change.data(), change.step(),
                                    inner));
  TOUR_CALL(
      out, qoriGradientColorToGray_8u_C3C1R(change.data(), change.step(), root.data(), root.step(), inner, qoriNormL2));
  out.figure("The picture with all brightness taken out: in gray nothing is left of it", flat);
  out.figure("Its colours still have edges", mapColors(brighten(root, 4), heat));
}

}  // namespace tour
