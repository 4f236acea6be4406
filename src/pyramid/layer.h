// A pyramid layer: what the steps need between two images, in one block.
#pragma once

#include "frame/scratch.h"
#include "pyramid/layer_axis.h"
#include "qorcv/pyramid.h"

namespace qor::inline QOR_LEVEL {

// The widths that the table of the columns was made for, and whether for sums of integers: that follows from the kernel
// and from how far apart columns are.
struct LayerColumns {
  int from, to;
  bool integers;
};

struct Layer {
  Qor64f* taps;
  Qor8u *source, *ring, *table;  // a row of the source, filtered rows, the columns
  const void** window;           // filtered rows that make one of the destination
  Qor64f* weights;               // of a window
  void* rowWeights;              // and as the filter down the columns takes them, 4 bytes each at most
  LayerColumns columns;
  LayerKernel kernel;
  Qor32f rate;
  QoriSize most;  // the largest source
  // Rows of the ring have so many bits behind the point, when integers are summed as such; 0 when they are not.
  int fraction;

  LayerAxis axis(int from, int to) const { return {kernel, from, to}; }
  // Pixels that stand beside either end of a row of the source.
  static constexpr int beside(int kernelSize) { return kernelSize + 1; }
  static constexpr int64_t ringRows(int kernelSize, int sourceHeight) {
    return kernelSize < sourceHeight ? kernelSize + 1 : sourceHeight;
  }
};

// What vectors may touch behind a row.
constexpr int64_t layerSlack = 2 * wideVectorBytes;

}  // namespace qor

// What the public header leaves incomplete.
struct QoriPyramidDownState : qor::Layer {};
struct QoriPyramidUpState : qor::Layer {};
