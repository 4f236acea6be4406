// Runs of pixels, numbered in raster order, and which of them are connected: a forest in which every run points at one
// before it, or at itself.
#pragma once

#include "segment/pixel_bits.h"

namespace qor::inline QOR_LEVEL {

class RunForest {
 public:
  explicit RunForest(Qor32s* parents) : parents_(parents) {}

  Qor32s count() const { return count_; }

  // One tree for each of so many more runs.
  void add(int runs) {
    for (const Qor32s end = count_ + runs; count_ < end; ++count_) parents_[count_] = count_;
  }

  // The root of both becomes the earlier one, so that a root is the first run of its tree.
  void unite(Qor32s a, Qor32s b) {
    a = root(a), b = root(b);
    if (a < b) {
      parents_[b] = a;
    } else {
      parents_[a] = b;
    }
  }

  // A run before it that it is connected with; itself for a root.
  Qor32s parent(Qor32s run) const { return parents_[run]; }

  // What take() gives for the root of a run. Once for each run, in their order: it comes in the parents' place.
  template <class Take>
  Qor32s valueOf(Qor32s run, const Take& take) {
    Qor32s& parent = parents_[run];
    parent = parent == run ? take() : parents_[parent];
    return parent;
  }

 private:
  Qor32s root(Qor32s run) {
    while (parents_[run] != run) {
      parents_[run] = parents_[parents_[run]];
      run = parents_[run];
    }
    return run;
  }

  Qor32s* parents_;
  Qor32s count_ = 0;
};

// The runs of 64 pixels, by the bits of those that begin one and the number of the first of these.
struct RunWord {
  uint64_t starts;
  Qor32s first;

  // The run that pixel i is part of.
  Qor32s at(int i) const { return first - 1 + __builtin_popcountll(starts & firstBits(i + 1)); }
};

constexpr ptrdiff_t wordsOfRow(ptrdiff_t width) { return (width + wordPixels - 1) / wordPixels; }

}  // namespace qor
