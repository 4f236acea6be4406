#include <algorithm>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

Picture rounded(const FloatImage& values) {
  Picture out(values.width(), values.height());
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      out.row(y)[x] = static_cast<Qor8u>(std::clamp(values.row(y)[x] + 0.5F, 0.0F, 255.0F));
    }
  }
  return out;
}

}  // namespace

void unsharpMask(const Input& in, Output& out) {
  out.text(
      "What smoothing takes away is what makes a picture look sharp. An unsharp mask gives it back more than once: the "
      "picture less its smoothed copy is the mask of edges and texture, and the smoothed copy plus two and a half "
      "times "
      "the mask is a picture that looks sharper than it was.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();

  FloatImage picture(gray.width(), gray.height()), smooth(gray.width(), gray.height());
  // Onto zeros: the picture in floats.
  TOUR_CALL(out, qoriAdd_8u32f_C1IR(gray.data(), gray.step(), picture.data(), picture.step(), size));

  const int taps = 13;
  const float sigma = 2;
  int scratchBytes = 0;
  TOUR_CALL(out, qoriFilterGaussGetBufferSize_32f_C1R(size, taps, &scratchBytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(scratchBytes));
  TOUR_CALL_BEST(out, qoriFilterGaussBorder_32f_C1R(picture.data(), picture.step(), smooth.data(), smooth.step(), size,
                                                    taps, sigma, qorBorderMirror, 0, scratch.data()));

  FloatImage mask(gray.width(), gray.height()), sharp(gray.width(), gray.height());
  TOUR_CALL_BEST(out, qoriAbsDiff_32f_C1R(picture.data(), picture.step(), smooth.data(), smooth.step(), mask.data(),
                                          mask.step(), size));
  // (picture - smooth) * 2.5 + smooth
  TOUR_CALL_BEST(out, qoriAddWeighted_32f_C1R(picture.data(), picture.step(), smooth.data(), smooth.step(),
                                              sharp.data(), sharp.step(), size, 2.5F));
  out.figure("The picture in gray", gray);
  out.figure("Smoothed by a sigma of 2", rounded(smooth));
  out.figure("How much the smoothing took, up to 32 levels", mapColors(mask, 0, 32, viridis));
  out.figure("Sharpened", rounded(sharp));
}

}  // namespace tour
