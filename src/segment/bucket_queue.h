// Pixels that wait in the order of a priority, and among equals first in, first out. A pixel is its own node: it waits
// at most once at a time, so one number a pixel holds all queues. Pixels are numbered from 1 on.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

template <int priorities>
class BucketQueue {
 public:
  // following: one number for every pixel, and one for number 0, which is written but tells nothing.
  explicit BucketQueue(Qor32s* following) : following_(following) {}

  void push(int priority, Qor32s pixel) {
    Ends& ends = ends_[priority];
    following_[ends.last] = pixel;
    ends.last = pixel;
    ends.first = ends.first == 0 ? pixel : ends.first;
  }

  // The least priority from `priority` on at which a pixel waits; `priorities` for none.
  int firstFrom(int priority) const {
    while (priority < priorities && ends_[priority].first == 0) ++priority;
    return priority;
  }

  // The pixel that has waited longest there; there is one.
  Qor32s pop(int priority) {
    Ends& ends = ends_[priority];
    const Qor32s pixel = ends.first;
    if (pixel == ends.last) {
      ends = {};
    } else {
      ends.first = following_[pixel];
    }
    return pixel;
  }

  // The pixel that pop would return, or 0.
  Qor32s front(int priority) const { return ends_[priority].first; }

 private:
  struct Ends {
    Qor32s first = 0, last = 0;
  };

  Qor32s* following_;
  Ends ends_[priorities];
};

}  // namespace qor
