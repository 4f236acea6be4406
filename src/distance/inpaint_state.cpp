#include "distance/inpaint_state.h"

#include <string.h>

#include "frame/vector_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Pixels of the mask that are not 0, and the box around them: its edges, the last ones outside.
struct Extent {
  int64_t count = 0;
  int left = topOf<int>, top = topOf<int>, right = 0, bottom = 0;
};

// Not to be inlined: GCC would leave the upper halves of registers in use across the caller's own calls.
[[gnu::noinline]] Extent extentOf(const InpaintHole& hole) {
  Extent e;
  for (int y = 0; y < hole.size.height; ++y) {
    const Qor8u* const row = hole.mask.row(y);
    int inRow = 0;
    for (int x = 0; x < hole.size.width; ++x) inRow += row[x] != 0;
    if (inRow == 0) continue;
    int first = 0, last = hole.size.width - 1;
    while (row[first] == 0) ++first;
    while (row[last] == 0) --last;
    e.count += inRow;
    e.left = first < e.left ? first : e.left;
    e.right = last + 1 > e.right ? last + 1 : e.right;
    e.top = y < e.top ? y : e.top;
    e.bottom = y + 1;
  }
  return e;
}

// Whole pixels of the radius; beyond the image more makes no difference.
int reachOf(const InpaintHole& hole) {
  const int side = hole.size.width > hole.size.height ? hole.size.width : hole.size.height;
  return hole.radius < static_cast<Qor32f>(side) ? static_cast<int>(hole.radius) : side;
}

// first to last and `more` pixels on either side, cut to 0 .. size.
struct Span {
  int first, count;
};
Span widened(int first, int last, int64_t more, int size) {
  const int64_t from = first - more > 0 ? first - more : 0, to = last + more < size ? last + more : size;
  return {static_cast<int>(from), static_cast<int>(to - from)};
}

// ---- pixels to be filled

// Numbers in the order of distances, equal ones in that of their places: floats above 0 are ordered as their bits are.
// The bit on top makes a 64-bit float of it that is neither denormal nor infinite.
Qor64f keyOf(Qor32f distance, int64_t place) {
  const auto bits = __builtin_bit_cast(Qor32u, distance);
  return __builtin_bit_cast(Qor64f, uint64_t{1} << 62 | uint64_t{bits} << 31 | static_cast<uint64_t>(place));
}
int64_t placeOf(Qor64f key) { return __builtin_bit_cast(int64_t, key) & topOf<Qor32s>; }

// Half the difference over two pixels, or at an edge the one over one pixel, in steps of 1 / 4096.
Qor16s slope(const Qor32f* at, ptrdiff_t step, bool hasBefore, bool hasAfter) {
  constexpr Qor32f scale = 4096;
  if (!hasBefore && !hasAfter) return 0;
  const Qor32f difference = at[hasAfter ? step : 0] - at[hasBefore ? -step : 0];
  return truncatedSaturated<Qor16s>(difference * scale * (hasBefore && hasAfter ? 0.5F : 1.0F));
}

void listPixels(QoriInpaintState& s, Qor64f* keys, int64_t most) {
  const QoriRect& w = s.window;
  int64_t count = 0;
  for (int y = 0; y < w.height && count < most; ++y) {
    const Qor32f* const row = s.planes.distance + (y + s.frameY) * s.stride + s.frameX;
    for (int x = 0; x < w.width && count < most; ++x)
      if (row[x] > 0) keys[count++] = keyOf(row[x], int64_t{y} * w.width + x);
  }
  s.pixelCount = count;
  if (count > 0) qorsSortAscend_64f_I(keys, static_cast<int>(count));
  for (int64_t i = 0; i < count; ++i) {
    const int64_t place = placeOf(keys[i]);
    const auto y = static_cast<ptrdiff_t>(place / w.width), x = static_cast<ptrdiff_t>(place % w.width);
    const ptrdiff_t at = (y + s.frameY) * s.stride + s.frameX + x;
    InpaintPixel& pixel = s.pixels[i] = {static_cast<int>(at), 0, 0};
    if (s.method != InpaintMethod::gradient || s.planes.hole[at] == 0) continue;
    pixel.nx = slope(s.planes.distance + at, 1, x > 0, x + 1 < w.width);
    pixel.ny = slope(s.planes.distance + at, s.stride, y > 0, y + 1 < w.height);
  }
}

// ---- neighbours

// Within the radius, d being the square of the distance.
Qor32f weightOf(InpaintMethod method, Qor32f d) {
  if (method == InpaintMethod::isophote) return 1 / ((d * d + 1) * __builtin_sqrtf(d));
  const Qor32f inverse = 1 / __builtin_sqrtf(d);
  return inverse * inverse * inverse;
}

void listNeighbours(QoriInpaintState& s, Qor32f radius) {
  const Qor32f farthest = radius * radius;
  int64_t count = 0;
  for (ptrdiff_t dy = -s.frameY; dy <= s.frameY; ++dy) {
    for (ptrdiff_t dx = -s.frameX; dx <= s.frameX; ++dx) {
      const auto d = static_cast<Qor32f>(dx * dx + dy * dy);
      if (d == 0 || d > farthest) continue;
      s.neighbours[count++] = {static_cast<int>(dx), static_cast<int>(dy), weightOf(s.method, d), dx + dy * s.stride};
    }
  }
  s.neighbourCount = count;
}

// ---- the ring: known pixels with one of the hole in the square of half-side `reach` around them

// Marks what lies at most reach behind a marked place, in the order of `count` places that are `step` apart.
void spreadMarks(Qor8u* marks, ptrdiff_t count, ptrdiff_t step, int reach) {
  ptrdiff_t left = 0;
  for (ptrdiff_t i = 0; i < count; ++i) {
    Qor8u& mark = marks[i * step];
    left = mark == 1 ? ptrdiff_t{reach} + 1 : left - 1;
    if (mark == 0 && left > 0) mark = 2;
  }
}
void spreadBothWays(Qor8u* marks, ptrdiff_t count, ptrdiff_t step, int reach) {
  spreadMarks(marks, count, step, reach);
  spreadMarks(marks + (count - 1) * step, count, -step, reach);
  for (ptrdiff_t i = 0; i < count; ++i) marks[i * step] = marks[i * step] != 0;
}

// marks: a plane that is free.
void listRing(QoriInpaintState& s, Qor8u* marks, int reach) {
  const QoriRect& w = s.window;
  const ptrdiff_t first = s.frameY * s.stride + s.frameX;
  for (ptrdiff_t y = 0; y < w.height; ++y) {
    Qor8u* const row = marks + first + y * s.stride;
    for (ptrdiff_t x = 0; x < w.width; ++x) row[x] = s.planes.hole[first + y * s.stride + x] & 1;
    spreadBothWays(row, w.width, 1, reach);
  }
  for (ptrdiff_t x = 0; x < w.width; ++x) spreadBothWays(marks + first + x, w.height, s.stride, reach);
  int64_t count = 0;
  for (ptrdiff_t y = 0; y < w.height; ++y) {
    for (ptrdiff_t x = 0; x < w.width; ++x) {
      const ptrdiff_t at = first + y * s.stride + x;
      if (marks[at] != 0 && s.planes.hole[at] == 0) s.ring[count++] = static_cast<int>(at);
    }
  }
  s.ringCount = count;
}

// ---- the record

struct Layout {
  QoriInpaintState* state;
  Qor64f* keys;
};

// s: a record with all numbers set; the parts are noted in the one that is laid out.
auto layoutFor(const QoriInpaintState& s, int64_t holePixels) {
  return [&s, holePixels](ScratchParts& parts) {
    Layout layout{parts.take<QoriInpaintState>(1, 64), nullptr};
    QoriInpaintState filled = s;
    if (s.window.width > 0) {
      const int64_t plane = s.stride * (s.window.height + 2 * s.frameY);
      const int64_t windowPixels = int64_t{s.window.width} * s.window.height;
      const bool isophote = s.method == InpaintMethod::isophote;
      layout.keys = parts.take<Qor64f>(holePixels);
      filled.pixels = parts.take<InpaintPixel>(holePixels);
      filled.neighbours = parts.take<InpaintNeighbour>((2 * int64_t{s.frameX} + 1) * (2 * int64_t{s.frameY} + 1));
      filled.ring = parts.take<int>(windowPixels - holePixels);
      filled.planes = {parts.take<Qor8u>(plane),
                       parts.take<Qor8u>(plane),
                       parts.take<Qor32f>(plane),
                       parts.take<Qor8u>(plane * s.channels),
                       parts.take<Qor16s>(plane * 2 * s.channels),
                       parts.take<Qor32f>(isophote ? plane * s.channels : 0)};
    }
    if (layout.state != nullptr) *layout.state = filled;
    return layout;
  };
}

[[gnu::noinline]] void copyWindow(QoriInpaintState& s, const InpaintHole& hole) {
  const InpaintPlanes& planes = s.planes;
  memset(planes.hole, 255, static_cast<size_t>(s.stride * (s.window.height + 2 * s.frameY)));
  for (int y = 0; y < s.window.height; ++y) {
    const Qor8u* const mask = hole.mask.row(s.window.y + y) + s.window.x;
    const ptrdiff_t row = (y + s.frameY) * s.stride + s.frameX;
    for (int x = 0; x < s.window.width; ++x) planes.hole[row + x] = mask[x] != 0 ? 255 : 0;
    memcpy(planes.distance + row, hole.distance.row(s.window.y + y) + s.window.x,
           static_cast<size_t>(s.window.width) * sizeof(Qor32f));
  }
}

}  // namespace

QoriInpaintState* makeInpaintState(const InpaintHole& hole) {
  const Extent extent = extentOf(hole);
  const int reach = reachOf(hole);
  QoriInpaintState wanted = {};
  wanted.fullSize = hole.size;
  wanted.channels = hole.channels;
  wanted.method = hole.method;
  if (extent.count > 0) {
    const Span columns = widened(extent.left, extent.right, int64_t{reach} + 1, hole.size.width);
    const Span rows = widened(extent.top, extent.bottom, int64_t{reach} + 1, hole.size.height);
    wanted.window = {columns.first, rows.first, columns.count, rows.count};
    // Nothing outside the window counts.
    wanted.frameX = reach < columns.count ? reach : columns.count;
    wanted.frameY = reach < rows.count ? reach : rows.count;
    wanted.stride = columns.count + 2 * wanted.frameX;
  }
  const auto lay = layoutFor(wanted, extent.count);
  Qor8u* const block = allocateFor(lay);
  if (block == nullptr) return nullptr;
  const int64_t bytes = bytesOf(lay);
  ScratchParts parts(block, bytes, bytes);
  const Layout layout = lay(parts);
  QoriInpaintState& s = *layout.state;
  if (extent.count == 0) return &s;

  copyWindow(s, hole);
  listPixels(s, layout.keys, extent.count);
  listNeighbours(s, hole.radius);
  listRing(s, s.planes.unknown, reach);
  return &s;
}

}  // namespace qor
