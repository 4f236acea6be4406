// The built-in scene: a small town by a road on a late afternoon, seen by a standing camera. A car, a van, a balloon,
// two gulls and a ball move from frame to frame.
#ifndef QORCV_TOUR_SCENE_H
#define QORCV_TOUR_SCENE_H

#include "canvas.h"
#include "image.h"

namespace tour {

class Scene {
 public:
  static constexpr int width = 960, height = 640;

  Scene();

  // A picture in colour; the same for the same index on every machine.
  Picture frame(int index) const;

 private:
  Canvas still_;  // all that does not move
};

}  // namespace tour

#endif
