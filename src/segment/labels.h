// What both forms of the watershed share.
#pragma once

#include "frame/base.h"
#include "frame/round.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "qorcv/segment.h"

namespace qor::inline QOR_LEVEL {

// Which neighbours of a pixel are looked at for another label when boundaries are drawn.
enum class Lines { none, four, eight };

constexpr Lines linesOf(int flag) {
  return (flag & qorSegmentBorder4) != 0 ? Lines::four : (flag & qorSegmentBorder8) != 0 ? Lines::eight : Lines::none;
}

// The label of a boundary.
template <class T>
constexpr T boundaryOf = topOf<T>;

// The image of a call: labels grow over the relief.
template <class T>
struct Terrain {
  Plane<const Qor8u> relief;
  Plane<T> labels;
  QoriSize size;
};

}  // namespace qor
