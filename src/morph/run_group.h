// Runs of a mask that are applied together: as many as the working memory has room for.
#pragma once

#include "morph/mask_shape.h"
#include "morph/sides.h"

namespace qor::inline QOR_LEVEL {

// How far runs reach, and how many lengths they have.
struct RunExtent {
  int top, bottom, left, right;
  int lengths;

  ptrdiff_t height() const { return ptrdiff_t{bottom} - top + 1; }
  ptrdiff_t spread() const { return ptrdiff_t{right} - left; }
  RunExtent with(const Run& run, bool newLength) const {
    const int end = run.column + run.length - 1;
    return {run.row < top ? run.row : top, run.row > bottom ? run.row : bottom, run.column < left ? run.column : left,
            end > right ? end : right, lengths + (newLength ? 1 : 0)};
  }
};

class RunGroup {
 public:
  static constexpr int mostRuns = 128, mostLengths = 32;

  const RunExtent& extent() const { return extent_; }
  // Ascending, in pixels.
  const int* lengths() const { return lengths_; }
  int count() const { return count_; }
  const Run& run(int i) const { return runs_[i]; }
  // Which of the lengths it has.
  int lengthOf(int i) const { return lengthOf_[i]; }

  // Takes runs for as long as fits(extent) holds with them; the first one always. False when there is none left.
  template <class Fits>
  bool take(RunReader& reader, const Reach& reach, const Fits& fits) {
    count_ = 0;
    for (; !reader.atEnd() && count_ < mostRuns; reader.next()) {
      const Run run = folded(reader.run(), reach);
      if (count_ == 0) extent_ = {run.row, run.row, run.column, run.column, 0};
      const int at = placeOf(run.length);
      const bool isNew = at == extent_.lengths || lengths_[at] != run.length;
      const RunExtent wider = extent_.with(run, isNew);
      if (count_ > 0 && (wider.lengths > mostLengths || !fits(wider))) break;
      if (isNew) {
        for (int i = extent_.lengths; i > at; --i) lengths_[i] = lengths_[i - 1];
        lengths_[at] = run.length;
      }
      extent_ = wider;
      runs_[count_++] = run;
    }
    for (int i = 0; i < count_; ++i) lengthOf_[i] = placeOf(runs_[i].length);
    return count_ > 0;
  }

 private:
  static Run folded(const Run& run, const Reach& reach) {
    const ptrdiff_t first = reach.columns.folded(run.column);
    const ptrdiff_t last = reach.columns.folded(ptrdiff_t{run.column} + run.length - 1);
    return {static_cast<int>(reach.rows.folded(run.row)), static_cast<int>(first), static_cast<int>(last - first + 1)};
  }

  // Where a length stands, or would stand, among them.
  int placeOf(int length) const {
    int at = 0;
    while (at < extent_.lengths && lengths_[at] < length) ++at;
    return at;
  }

  RunExtent extent_;
  int lengths_[mostLengths];
  Run runs_[mostRuns];
  int lengthOf_[mostRuns];
  int count_ = 0;
};

}  // namespace qor
