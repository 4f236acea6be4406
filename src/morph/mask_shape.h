// Masks: what shape they have, and the runs of active elements that they consist of.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Elements row by row; those that are not 0 are active.
struct Mask {
  const Qor8u* elements;
  QoriSize size;
  QoriPoint anchor;

  const Qor8u* row(int i) const { return elements + ptrdiff_t{i} * size.width; }
};

// What a mask is, in the order in which it is asked. The kind decides how a mask is applied, never what comes out.
enum class MaskKind : Qor32s {
  general = 0,    // anything else
  rectangle = 1,  // one run in every row that is not empty, these rows one below the other, all runs alike
  rowRuns = 2,  // one run a row, over the anchor's column; the anchor's row between the first and the last; runs of one
                // length begin in one column
  empty = 3     // no active element
};

struct MaskShape {
  MaskKind kind;
  QoriRect bounds;  // of the active elements, in the mask; the rectangle itself where the mask is one
};

// starts: room for as many numbers as the mask has columns, or null to take row runs for a general mask.
MaskShape shapeOf(const Mask& mask, Qor32s* starts);

// Active elements side by side, as offsets from the pixel to the first one, at most `most` of them.
struct Run {
  int row, column, length;
};

// Reads the runs of a mask one after the other, row by row. Longer ones are cut into pieces that may overlap.
class RunReader {
 public:
  RunReader(const Mask& mask, int most) : mask_(mask), most_(most) { advance(); }

  bool atEnd() const { return row_ == mask_.size.height; }
  const Run& run() const { return run_; }
  void next();

 private:
  void advance();

  const Mask& mask_;
  int most_;
  int row_ = 0, column_ = 0, end_ = 0;  // of the run, in the mask; column_ moves on with the pieces
  Run run_ = {};
};

}  // namespace qor
