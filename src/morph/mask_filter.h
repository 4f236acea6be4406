// Dilation and erosion of a part of an image: the one way into the filters of this folder, for samples.
#pragma once

#include "morph/difference.h"
#include "morph/extremum.h"
#include "morph/mask_shape.h"
#include "morph/rectangle.h"
#include "morph/sides.h"

namespace qor::inline QOR_LEVEL {

// Extrema of the source under a mask at every pixel of an area. The results' plane has the coordinates of the source.
// Whatever the memory, the results are the same; a rectangle is slower with less than what RectangleSweep asks for, any
// other mask with less than rows of all its runs.
template <class Op, class T>
void filterMask(const SampleSource<T>& source, const Mask& mask, const MaskShape& shape, const Area& area,
                Plane<T> results, const Difference<T>& difference, const Memory& memory);

// The same for a rectangle that the memory suffices for.
template <class Op, class T>
bool filterRectangle(const SampleSource<T>& source, const Rectangle& rectangle, const Area& area, Plane<T> results,
                     const Difference<T>& difference, const Memory& memory);

}  // namespace qor
