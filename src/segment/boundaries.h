// Segment boundaries decided by a plane of costs: what the watershed draws its lines with.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Draws, in place, a line of value between the segments of a label image, on the side of the higher cost. Row by row
// from the top, and from left to right along each:
//
//   - A pixel p and the pixel u above it are a pair if they differ and u is not value: the one of higher cost becomes
//     value, p if the costs are equal. Where that is p, this is all for it.
//   - p and the pixel r on its right are a pair if they differ: the one of higher cost becomes value, r if they are
//     equal. Where that is r, the row goes on behind it, so that r is not looked at as a p.
//   - With 8 neighbours each row but the first is then passed through again: every p that is not value makes pairs with
//     its upper left and its upper right neighbour n, where that exists, differs and is not value. The one of higher
//     cost becomes value, p if they are equal; and if it is p, this is all for it.
//
// qoriNormL1 stands for 4 neighbours, qoriNormInf for 8. Nothing is checked; a region may be one pixel wide or high.
// Runs on the calling thread. T is Qor8u or Qor16u; costStep counts bytes.
template <class T>
void ownBoundSegments(T* pMarker, int markerStep, const Qor32s* pCost, int costStep, QoriSize roiSize, T value,
                      QoriNorm norm);

}  // namespace qor
