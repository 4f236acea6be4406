// Extrema over masks of any shape, as runs of active elements. Of every source row that comes into the window extrema
// over all the lengths that runs have are kept, each length made from the next smaller one; a result takes one value
// for each run, wherever in the mask it stands. Runs that the memory has no room for are applied to the results of
// those before them.
//
// Written for rows of samples (sample_rows.h) and of bits (packed.h), through
//   rowBytes(pixels)                         bytes of a row of our own, a multiple of ownRowAlignment
//   offset(pixels)                           as a Place counts them; placesOfByte of them make a byte
//   origin(x)                                where in a row of our own column x stands, if it is the first
//   stripUnit(), leastStrip, mostStrip       whole units of the loops, in pixels, and how many make a strip
//   mostRun                                  pixels of a run
//   find(y, x, pixels)                       pixels of the source from column x of row y on, where they stand there and
//   a
//                                            vector more may be read, else null
//   stage(own, y, x, pixels)                 a copy of them
//   cover(to, from, made, length, pixels)    extrema over `length` pixels, four times those of `made` at most
//   combine(own, spare, taps, count, x, y, pixels, first, last)   results, from so many places on
#pragma once

#include "frame/scratch.h"
#include "morph/run_group.h"
#include "morph/window.h"

namespace qor::inline QOR_LEVEL {

// Where, in memory of our own, a run's extrema of the results of a row begin: counted in bytes, or in bits.
using Place = ptrdiff_t;

template <class Rows>
class RunSweep {
 public:
  RunSweep(const Rows& rows, const Mask& mask, const Sides& sides, const Area& area, const Memory& memory)
      : rows_(rows), mask_(mask), reach_(Reach::of(sides, area)), area_(area), memory_(memory) {}

  void run() {
    RunReader reader(mask_, Rows::mostRun);
    const ptrdiff_t strip = Rows::leastStrip * rows_.stripUnit();
    const ptrdiff_t least = strip < area_.width() ? strip : area_.width();
    for (bool first = true;; first = false) {
      group_.take(reader, reach_, [&](const RunExtent& extent) { return bytesFor(extent, least) <= memory_.bytes; });
      sweep(first, reader.atEnd());
      if (reader.atEnd()) return;
    }
  }

 private:
  // Rows of our own: those of a window for every length, and one to work in.
  template <class Parts>
  static void lay(Parts& parts, int64_t rowBytes, const RunExtent& extent, Qor8u** own) {
    *own = parts.template take<Qor8u>((extent.height() * extent.lengths + 1) * rowBytes + Rows::slack, ownRowAlignment);
  }
  int64_t bytesFor(const RunExtent& extent, ptrdiff_t pixels) const {
    const int64_t rowBytes = rows_.rowBytes(pixels + extent.spread());
    return bytesOf([&](ScratchParts& parts) {
      Qor8u* own;
      lay(parts, rowBytes, extent, &own);
    });
  }

  // As many units as stay in the first cache, but not so few that what is made for two strips tells.
  ptrdiff_t stripPixels() const {
    constexpr int64_t firstCache = 32 << 10;
    const int64_t most = firstCache < memory_.bytes ? firstCache : memory_.bytes;
    const ptrdiff_t unit = rows_.stripUnit();
    ptrdiff_t units = Rows::leastStrip;
    while (units < Rows::mostStrip && bytesFor(group_.extent(), (units + 1) * unit) <= most) ++units;
    ptrdiff_t pixels = units * unit < area_.width() ? units * unit : area_.width();
    while (bytesFor(group_.extent(), pixels) > memory_.bytes) pixels /= 2;
    return pixels;
  }

  void sweep(bool isFirst, bool isLast) {
    const RunExtent& extent = group_.extent();
    const ptrdiff_t pixels = stripPixels(), height = extent.height();
    const int64_t needed = bytesFor(extent, pixels);
    ScratchParts parts(memory_.block, memory_.bytes, needed);
    rowBytes_ = rows_.rowBytes(pixels + extent.spread());
    lay(parts, rowBytes_, extent, &own_);
    const ptrdiff_t set = setBytes(), all = height * set;
    // Of a run: its place in the first row of a window, and how many bytes lead to its row.
    Place taps[RunGroup::mostRuns], first[RunGroup::mostRuns];
    ptrdiff_t rows[RunGroup::mostRuns];
    const int count = group_.count();
    const Place origin = rows_.origin(area_.left + extent.left);
    for (int i = 0; i < count; ++i) {
      const Run& run = group_.run(i);
      const ptrdiff_t column = ptrdiff_t{run.column} - extent.left;
      first[i] = group_.lengthOf(i) * rowBytes_ * Rows::placesOfByte + origin + rows_.offset(column);
      rows[i] = (ptrdiff_t{run.row} - extent.top) * set;
    }
    for (ptrdiff_t x = area_.left; x < area_.right; x += pixels) {
      const ptrdiff_t n = area_.right - x < pixels ? area_.right - x : pixels;
      // Rows enter where one leaves.
      ptrdiff_t oldest = 0;
      const auto enter = [&](ptrdiff_t y) {
        makeLengths(own_ + oldest, y, x + extent.left, n + extent.spread());
        oldest = oldest + set < all ? oldest + set : 0;
      };
      for (ptrdiff_t y = area_.top + extent.top; y < area_.top + extent.bottom; ++y) enter(y);
      for (ptrdiff_t y = area_.top; y < area_.bottom; ++y) {
        enter(y + extent.bottom);
        for (int i = 0; i < count; ++i) {
          const ptrdiff_t row = oldest + rows[i];
          taps[i] = (row < all ? row : row - all) * Rows::placesOfByte + first[i];
        }
        rows_.combine(own_, own_ + all, taps, count, x, static_cast<int>(y), n, isFirst, isLast);
      }
    }
  }

  // Bytes of the rows made from one source row.
  ptrdiff_t setBytes() const { return group_.extent().lengths * rowBytes_; }

  // A source row's extrema over all the lengths, one row behind the other.
  void makeLengths(Qor8u* set, ptrdiff_t y, ptrdiff_t x, ptrdiff_t pixels) {
    const RunExtent& extent = group_.extent();
    Qor8u* const spare = own_ + extent.height() * setBytes();
    const int* const lengths = group_.lengths();
    const bool single = lengths[0] == 1;
    const Qor8u* from = single ? nullptr : rows_.find(y, x, pixels);
    if (from == nullptr) {
      Qor8u* const copy = single ? set : spare;
      rows_.stage(copy, y, x, pixels);
      from = copy;
    }
    ptrdiff_t made = 1;
    for (int i = single ? 1 : 0; i < extent.lengths; ++i) {
      const ptrdiff_t length = lengths[i];
      for (; 4 * made < length; made *= 4, from = spare) {
        rows_.cover(spare, from, made, 4 * made, pixels - (4 * made - 1));
      }
      Qor8u* const to = set + i * rowBytes_;
      rows_.cover(to, from, made, length, pixels - (length - 1));
      made = length;
      from = to;
    }
  }

  const Rows& rows_;
  const Mask& mask_;
  Reach reach_;
  Area area_;
  Memory memory_;
  RunGroup group_;
  Qor8u* own_ = nullptr;
  int64_t rowBytes_ = 0;
};

// Memory for a sweep that is given too little: whatever the mask, its runs fit one by one.
constexpr int64_t leastRunMemory = 32 << 10;

template <class Rows>
[[gnu::noinline]] void sweepRunsOnStack(const Rows& rows, const Mask& mask, const Sides& sides, const Area& area) {
  alignas(ownRowAlignment) Qor8u block[leastRunMemory];
  RunSweep<Rows>(rows, mask, sides, area, {block, leastRunMemory}).run();
}

template <class Rows>
void sweepRuns(const Rows& rows, const Mask& mask, const Sides& sides, const Area& area, const Memory& memory) {
  if (memory.bytes < leastRunMemory) {
    sweepRunsOnStack(rows, mask, sides, area);
  } else {
    RunSweep<Rows>(rows, mask, sides, area, memory).run();
  }
}

}  // namespace qor
