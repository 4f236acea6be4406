// Pixels left and right of a row, staged so that a row kernel finds every span at its borders contiguous.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// What stands outside the row on one side.
enum class Edge { value, nearest, periodic, mirror, mirrorRepeated, memory };

// The flags of a side make constant and replicated pixels come from memory; the other rules ignore them. Only the very
// argument 3 leaves the edge pixel out of the reflection: with any flag beside it, and on a single pixel, the edge
// repeats.
constexpr Edge edgeOf(QoriBorderType border, QoriBorderType memoryFlag, int width) {
  switch (border & 15) {
    case qorBorderConst:
      return (border & memoryFlag) != 0 ? Edge::memory : Edge::value;
    case qorBorderRepl:
      return (border & memoryFlag) != 0 ? Edge::memory : Edge::nearest;
    case qorBorderWrap:
      return Edge::periodic;
    case qorBorderMirror:
      return border == qorBorderMirror && width > 1 ? Edge::mirror : Edge::mirrorRepeated;
    case qorBorderMirrorR:
      return Edge::mirrorRepeated;
    default:
      return Edge::memory;
  }
}

// The column that column x outside a row of that width repeats. Reflections go on back and forth between the ends.
constexpr ptrdiff_t columnOutside(Edge edge, ptrdiff_t x, ptrdiff_t width) {
  switch (edge) {
    case Edge::nearest:
      return x < 0 ? 0 : width - 1;
    case Edge::periodic:
      return x < 0 ? width - 1 - (-1 - x) % width : x % width;
    case Edge::mirror: {
      const ptrdiff_t period = 2 * (width - 1);
      const ptrdiff_t at = (x < 0 ? -x : x) % period;
      return at < width ? at : period - at;
    }
    case Edge::mirrorRepeated: {
      const ptrdiff_t at = (x < 0 ? -1 - x : x) % (2 * width);
      return at < width ? at : 2 * width - 1 - at;
    }
    default:
      return x;
  }
}

template <int channels, class T>
QOR_FORCE_INLINE T* stagePixels(T* staged, const T* from, ptrdiff_t pixels) {
  for (ptrdiff_t i = 0; i < pixels * channels; ++i) staged[i] = from[i];
  return staged + pixels * channels;
}

// Columns first to last - 1, all outside the row on the same side.
template <int channels, class T>
QOR_FORCE_INLINE T* stageOutside(T* staged, const T* row, int width, ptrdiff_t first, ptrdiff_t last, Edge edge,
                                 const T* value) {
  if (edge == Edge::memory) return stagePixels<channels>(staged, row + first * channels, last - first);
  for (ptrdiff_t x = first; x < last; ++x) {
    staged =
        stagePixels<channels>(staged, edge == Edge::value ? value : row + columnOutside(edge, x, width) * channels, 1);
  }
  return staged;
}

// Stages the borders of a row for a kernel that reads anchor pixels before and kernelSize - 1 - anchor behind an
// output: the pixels left of the row, its first ones, its last ones, the pixels right of it, each run as long as a
// kernel can reach. The span of output x < anchor begins at staged pixel x. Returns the sample at which the span of the
// first output behind the interior begins; the others follow it pixel by pixel. A row shorter than the kernel has no
// interior and is staged once, whole.
//
// At most 3 * (kernelSize - 1) pixels are written. value points at one pixel, read under qorBorderConst alone.
template <int channels, class T>
QOR_FORCE_INLINE ptrdiff_t fillBorder(T* staged, const T* row, int width, int kernelSize, int anchor,
                                      QoriBorderType border, const T* value) {
  const ptrdiff_t reach = kernelSize - 1;
  T* end = stageOutside<channels>(staged, row, width, -ptrdiff_t{anchor}, 0, edgeOf(border, qorBorderInMemLeft, width),
                                  value);
  ptrdiff_t right = ptrdiff_t{anchor} * channels;
  end = stagePixels<channels>(end, row, width < reach ? width : reach);
  if (width >= kernelSize) {
    right = end - staged;
    end = stagePixels<channels>(end, row + (width - reach) * channels, reach);
  }
  stageOutside<channels>(end, row, width, width, width + reach - anchor, edgeOf(border, qorBorderInMemRight, width),
                         value);
  return right;
}

}  // namespace qor
