#include "morph/mask_shape.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The first run of a row from a column on: empty, at the row's end, when there is none.
struct ColumnRun {
  int start, end;
};
ColumnRun runFrom(const Qor8u* row, int column, int width) {
  while (column < width && row[column] == 0) ++column;
  const int start = column;
  while (column < width && row[column] != 0) ++column;
  return {start, column};
}

}  // namespace

MaskShape shapeOf(const Mask& mask, Qor32s* starts) {
  const int width = mask.size.width, height = mask.size.height;
  int first = -1, last = -1, left = width, right = 0;
  bool oneRun = true, alike = true, gap = false, aroundAnchor = starts != nullptr;
  if (starts != nullptr) {
    for (int w = 0; w < width; ++w) starts[w] = -1;
  }
  ColumnRun former = {};
  for (int i = 0; i < height; ++i) {
    const ColumnRun run = runFrom(mask.row(i), 0, width);
    if (run.start == run.end) continue;
    int end = run.end;
    for (ColumnRun more = runFrom(mask.row(i), end, width); more.start < more.end;
         more = runFrom(mask.row(i), end, width)) {
      oneRun = false;
      end = more.end;
    }
    if (first < 0) {
      first = i;
    } else {
      gap = gap || last != i - 1;
      alike = alike && run.start == former.start && run.end == former.end;
    }
    last = i;
    former = run;
    left = run.start < left ? run.start : left;
    right = end > right ? end : right;
    if (!aroundAnchor) continue;
    Qor32s& start = starts[run.end - run.start - 1];
    aroundAnchor = run.start <= mask.anchor.x && mask.anchor.x < run.end && (start < 0 || start == run.start);
    start = run.start;
  }
  if (first < 0) return {MaskKind::empty, {}};
  const QoriRect bounds = {left, first, right - left, last + 1 - first};
  if (oneRun && alike && !gap) return {MaskKind::rectangle, bounds};
  const bool runs = oneRun && aroundAnchor && first <= mask.anchor.y && mask.anchor.y <= last;
  return {runs ? MaskKind::rowRuns : MaskKind::general, bounds};
}

void RunReader::next() {
  if (end_ - column_ > most_) {
    // The last piece has the full length too.
    column_ = end_ - column_ < 2 * most_ ? end_ - most_ : column_ + most_;
    run_.column = column_ - mask_.anchor.x;
    return;
  }
  advance();
}

void RunReader::advance() {
  for (; row_ < mask_.size.height; ++row_, end_ = 0) {
    const ColumnRun run = runFrom(mask_.row(row_), end_, mask_.size.width);
    if (run.start == run.end) continue;
    column_ = run.start;
    end_ = run.end;
    run_ = {row_ - mask_.anchor.y, column_ - mask_.anchor.x, end_ - column_ < most_ ? end_ - column_ : most_};
    return;
  }
}

}  // namespace qor
