// Pixels that wait in the order of a priority, and among equals first in, first out. A pixel is its own node: it waits
// at most once at a time, so one number a pixel holds all queues. Pixels are numbered from 1 on.
//
// A queue is a few chains, which pixels are put to and taken from in turns. Taking one tells which pixel is next in its
// chain, some turns ahead of when that is due, so that it can be fetched; and no pixel has to be waited for in order to
// learn of the next one.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

template <int priorities>
class BucketQueue {
 public:
  // following: one number for every pixel, and one for number 0, which is written but tells nothing.
  explicit BucketQueue(Qor32s* following) : following_(following) {}

  void push(int priority, Qor32s pixel) {
    Queue& queue = queues_[priority];
    Chain& chain = queue.chains[queue.in++ % chains];
    following_[chain.last] = pixel;
    chain.last = pixel;
    chain.first = chain.first == 0 ? pixel : chain.first;
  }

  // The least priority from `priority` on at which a pixel waits; `priorities` for none.
  int firstFrom(int priority) const {
    while (priority < priorities && isEmpty(queues_[priority])) ++priority;
    return priority;
  }

  // The pixel that has waited longest there; there is one. Calls fetch(pixel) for one that is due soon, if any, or 0.
  template <class Fetch>
  Qor32s pop(int priority, const Fetch& fetch) {
    Queue& queue = queues_[priority];
    Chain& chain = queue.chains[queue.out++ % chains];
    const Qor32s pixel = chain.first;
    if (pixel == chain.last) {
      chain = {};
    } else {
      chain.first = following_[pixel];
    }
    __builtin_prefetch(following_ + chain.first);
    fetch(chain.first);
    return pixel;
  }

 private:
  static constexpr Qor32u chains = 4;
  struct Chain {
    Qor32s first = 0, last = 0;
  };
  struct Queue {
    Chain chains[BucketQueue::chains];
    Qor32u in = 0, out = 0;  // counted to know the turn alone
  };

  static bool isEmpty(const Queue& queue) { return queue.chains[queue.out % chains].first == 0; }

  Qor32s* following_;
  Queue queues_[priorities];
};

}  // namespace qor
