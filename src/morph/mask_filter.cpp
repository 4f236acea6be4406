#include "morph/mask_filter.h"

#include <string.h>

#include "morph/sample_rows.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
void copyArea(const SampleSource<T>& source, const Area& area, Plane<T> results, const Difference<T>& difference) {
  const ptrdiff_t first = area.left * source.channels, samples = area.width() * source.channels;
  for (ptrdiff_t y = area.top; y < area.bottom; ++y) {
    const int row = static_cast<int>(y);
    memmove(results.row(row) + first, source.row(y) + first, static_cast<size_t>(samples) * sizeof(T));
    difference.take(area.left, row, area.width(), source.channels);
  }
}

}  // namespace

template <class Op, class T>
bool filterRectangle(const SampleSource<T>& source, const Rectangle& rectangle, const Area& area, Plane<T> results,
                     const Difference<T>& difference, const Memory& memory) {
  return RectangleSweep<Op, T>(source, rectangle, area, results, difference).run(memory);
}

template <class Op, class T>
void filterMask(const SampleSource<T>& source, const Mask& mask, const MaskShape& shape, const Area& area,
                Plane<T> results, const Difference<T>& difference, const Memory& memory) {
  if (shape.kind == MaskKind::empty) {
    copyArea(source, area, results, difference);
    return;
  }
  if (shape.kind == MaskKind::rectangle) {
    const ptrdiff_t left = ptrdiff_t{shape.bounds.x} - mask.anchor.x, top = ptrdiff_t{shape.bounds.y} - mask.anchor.y;
    const Rectangle rectangle = {left, left + shape.bounds.width - 1, top, top + shape.bounds.height - 1};
    if (filterRectangle<Op>(source, rectangle, area, results, difference, memory)) return;
  }
  const SampleRows<Op, T> rows(source, results, difference);
  sweepRuns(rows, mask, source.sides(), area, memory);
}

#define QOR_FILTERS(Op, T)                                                                                   \
  template bool filterRectangle<Op>(const SampleSource<T>&, const Rectangle&, const Area&, Plane<T>,         \
                                    const Difference<T>&, const Memory&);                                    \
  template void filterMask<Op>(const SampleSource<T>&, const Mask&, const MaskShape&, const Area&, Plane<T>, \
                               const Difference<T>&, const Memory&);
QOR_FILTERS(Highest, Qor8u)
QOR_FILTERS(Lowest, Qor8u)
QOR_FILTERS(Highest, Qor16u)
QOR_FILTERS(Lowest, Qor16u)
QOR_FILTERS(Highest, Qor16s)
QOR_FILTERS(Lowest, Qor16s)
QOR_FILTERS(Highest, Qor32f)
QOR_FILTERS(Lowest, Qor32f)
#undef QOR_FILTERS

}  // namespace qor
