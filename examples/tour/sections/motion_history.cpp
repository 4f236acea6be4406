#include <string>

#include "tour.h"

namespace tour {
namespace {

// 255 where the difference is above camera noise.
Picture silhouetteOf(const Picture& difference, int threshold) {
  Picture out = difference;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) *out.at(x, y) = *out.at(x, y) > threshold ? 255 : 0;
  }
  return out;
}

// The picture, darker, and over it what moved: bright yellow just now, fading to dark red.
Picture trail(const Picture& picture, const FloatImage& history, float now, float duration) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const float time = *history.at(x, y);
      const Color color = heat(static_cast<int>(255 * (1 - (now - time) / (duration + 1))));
      const Qor8u under[] = {color.r, color.g, color.b};
      for (int c = 0; c < 3; ++c) {
        Qor8u& sample = out.at(x, y)[c];
        sample = static_cast<Qor8u>(time > 0 ? (2 * under[c] + sample) / 3 : sample / 2);
      }
    }
  }
  return out;
}

}  // namespace

void motionHistory(const Input& in, Output& out) {
  out.text(
      "Which way does something move? Keep for every pixel the time at which it last moved. The image of these times "
      "is "
      "a trail that fades behind a moving thing: its gradient points where the thing goes, and its shape tells a wave "
      "of "
      "the hand from a step. Two calls a frame keep it: what moves now comes from the difference of two frames.");
  const Picture& first = in.grays[0];
  const float duration = 5;
  FloatImage history(first.width(), first.height());
  Picture difference(first.width(), first.height()), silhouette;
  float now = 0;
  for (size_t i = 1; i < in.grays.size(); ++i) {
    const Picture &before = in.grays[i - 1], &after = in.grays[i];
    now = static_cast<float>(i);
    TOUR_CALL(out, qoriAbsDiff_8u_C1R(before.data(), before.step(), after.data(), after.step(), difference.data(),
                                      difference.step(), difference.size()));
    silhouette = silhouetteOf(difference, 20);
    TOUR_CALL(out, qoriUpdateMotionHistory_8u32f_C1IR(silhouette.data(), silhouette.step(), history.data(),
                                                      history.step(), history.size(), now, duration));
  }
  out.figure("The last frame", in.frames.back());
  out.figure("The silhouette: what differs from the frame before", silhouette);
  out.figure("Times of the last motion: yellow is now, red is earlier, black was long ago or never",
             mapColors(history, now - duration - 1, now, heat));
  out.figure("The trails over the last frame", trail(in.frames.back(), history, now, duration));
}

}  // namespace tour
