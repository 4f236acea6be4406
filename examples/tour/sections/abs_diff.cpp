#include <cstdlib>

#include "tour.h"

namespace tour {
namespace {

// Where the change is above the threshold, the picture in red; elsewhere the picture, darker.
Picture markChanges(const Picture& picture, const Picture& change, int threshold) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      Qor8u* pixel = out.at(x, y);
      const bool changed = *change.at(x, y) > threshold;
      pixel[0] = static_cast<Qor8u>(changed ? 128 + pixel[0] / 2 : pixel[0] / 3);
      pixel[1] = static_cast<Qor8u>(pixel[1] / (changed ? 2 : 3));
      pixel[2] = static_cast<Qor8u>(pixel[2] / (changed ? 2 : 3));
    }
  }
  return out;
}

// Differences are mostly small: several times as bright, saturated.
Picture brighten(const Picture& picture, int times) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int i = 0; i < out.width() * out.channels(); ++i) {
      const int value = times * out.row(y)[i];
      out.row(y)[i] = static_cast<Qor8u>(value < 255 ? value : 255);
    }
  }
  return out;
}

}  // namespace

void absDiff(const Input& in, Output& out) {
  out.text(
      "What moved between two frames of a standing camera? Subtract them and drop the sign. Camera noise stays below "
      "a small threshold, motion rises above it. Against a constant instead of a second frame, the same operation "
      "gives the distance of every pixel from one gray level.");
  const Picture &before = in.grays[0], &after = in.grays[1];
  const Picture &colorBefore = in.frames[0], &colorAfter = in.frames[1];
  out.figure("Frame 1", colorBefore);
  out.figure("Frame 2", colorAfter);

  Picture difference(before.width(), before.height());
  TOUR_CALL_BEST(out, qoriAbsDiff_8u_C1R(before.data(), before.step(), after.data(), after.step(), difference.data(),
                                         difference.step(), difference.size()));
  out.figure("Their difference in gray, through a colour map, four times as bright",
             mapColors(brighten(difference, 4), heat));
  out.figure("Frame 2 with all that changed by more than 20 levels", markChanges(colorAfter, difference, 20));

  Picture colorDifference(before.width(), before.height(), 3);
  TOUR_CALL_BEST(out, qoriAbsDiff_8u_C3R(colorBefore.data(), colorBefore.step(), colorAfter.data(), colorAfter.step(),
                                         colorDifference.data(), colorDifference.step(), colorDifference.size()));
  out.figure("The difference channel by channel, four times as bright", brighten(colorDifference, 4));

  const int level = 128;
  Picture distance(before.width(), before.height());
  TOUR_CALL_BEST(
      out, qoriAbsDiffC_8u_C1R(before.data(), before.step(), distance.data(), distance.step(), distance.size(), level));
  out.figure("Distance of frame 1 from the middle gray level 128: dark blue is near, yellow far",
             mapColors(brighten(distance, 2), viridis));
}

}  // namespace tour
