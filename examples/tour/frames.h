// The pictures that the sections work on, made from one picture or from the built-in scene.
#ifndef QORCV_TOUR_FRAMES_H
#define QORCV_TOUR_FRAMES_H

#include "tour.h"

namespace tour {

inline constexpr int frameCount = 8;

// A picture in colour becomes eight frames: a piece of it, cut out as an ellipse, travels across it, and every frame
// carries its own slight camera noise.
Input inputFromPicture(std::string name, const Picture& picture);

// The built-in scene, its longer side at most maxSide.
Input inputFromScene(int maxSide);

// The picture from a camera that was moved: by (dx, dy) pixels, turned around the middle by an angle whose tangent is
// given, and nearer by the factor zoom. Samples between four pixels; outside, the nearest pixel stands in.
Picture warp(const Picture& picture, float dx, float dy, float tangent, float zoom);

}  // namespace tour

#endif
