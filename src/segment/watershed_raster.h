// The relaxation of the watershed: a cost is carried from pixel to pixel, in rows that are swept downwards and upwards
// in turns, until nothing changes any more. A cost is a height, and among equal heights the length of the way.
//
// Every pixel keeps where its label came from. A label that changes at its origin is read again, so that late changes
// follow the ways along which the label had spread.
#pragma once

#include "frame/bands.h"
#include "segment/labels.h"
#include "segment/pixel_bits.h"

namespace qor::inline QOR_LEVEL {

// Over which neighbours a cost is carried. Eikonal: over two at once, as an expanding front does.
enum class Moves { four, eight, eikonal };

// What a way costs, beside 1 for each pixel.
struct WayCosts {
  Qor32s step, diagonal;
};

namespace detail {

// The neighbour that a pixel has its label from.
enum Origin : Qor8u { seed, right, aboveRight, above, aboveLeft, left, belowLeft, below, belowRight, unassigned };

// Costs hold the height above so many bits of length.
constexpr int lengthBits = 23;
constexpr Qor32s unreached = 0x7FC00000;

// Ways may be longer than the bits between the highest cost and the top of the type: sums wrap.
constexpr Qor32s wrappingSum(Qor32s a, Qor32s b) {
  return static_cast<Qor32s>(static_cast<Qor32u>(a) + static_cast<Qor32u>(b));
}

// How much earlier than over the nearer of two neighbours alone a front arrives that has reached the other one d later,
// both at a distance of 64: 64 - (d + sqrt(2 * 64^2 - d^2)) / 2, rounded.
constexpr Qor8u frontGain[] = {19, 18, 18, 17, 17, 16, 16, 15, 15, 14, 14, 14, 13, 13, 12, 12, 11, 11, 11, 10, 10, 9,
                               9,  9,  8,  8,  8,  7,  7,  7,  6,  6,  6,  5,  5,  5,  4,  4,  4,  4,  3,  3,  3,  3,
                               2,  2,  2,  2,  2,  1,  1,  1,  1,  1,  1,  1,  0,  0,  0,  0,  0,  0,  0,  0,  0};

}  // namespace detail

template <class T>
struct RasterPlanes {
  Qor32s* cost;
  Qor8u* origin;
  Qor8u* touched;      // to be looked at again; a spare row above and one below
  Qor8u* touchedRows;  // rows with such pixels; a spare one above and one below

  static auto layout(QoriSize size) {
    return [size](ScratchParts& parts) {
      const int64_t width = size.width, height = size.height, pixels = width * height;
      RasterPlanes planes{parts.take<Qor32s>(pixels), parts.take<Qor8u>(pixels),
                          parts.take<Qor8u>(width * (height + 2)), parts.take<Qor8u>(height + 2)};
      if (planes.cost != nullptr) {
        planes.touched += width;
        planes.touchedRows += 1;
      }
      return planes;
    };
  }
};

template <class T, Moves moves>
class WatershedRelaxation {
 public:
  WatershedRelaxation(const Terrain<T>& terrain, const RasterPlanes<T>& planes, WayCosts costs)
      : terrain_(terrain), planes_(planes), costs_(costs), width_(terrain.size.width), height_(terrain.size.height) {
    using namespace detail;
    const ptrdiff_t step = terrain.labels.step / static_cast<ptrdiff_t>(sizeof(T));
    const ptrdiff_t offsets[] = {0, 1, 1 - step, -step, -step - 1, -1, step - 1, step, step + 1, 0};
    __builtin_memcpy(offsets_, offsets, sizeof offsets);
  }

  // Bands that a call inside a team of so many threads is swept in. They are part of the result, unlike the threads
  // that sweep them.
  static int bandsFor(int threads, QoriSize size) {
    const auto lesser = [](int64_t a, int64_t b) { return static_cast<int>(a < b ? a : b); };
    const int bands = lesser(lesser(threads, stackSlots), size.height >> 3);
    return lesser(bands, (int64_t{size.width} * size.height) >> 8);
  }

  void run(int bands) {
    __builtin_memset(planes_.touched - width_, 0, static_cast<size_t>(width_) * (static_cast<size_t>(height_) + 2));
    __builtin_memset(planes_.touchedRows - 1, 1, (static_cast<size_t>(height_) + 2));
    if (bands > 1) {
      runInBands(bands);
    } else {
      start<true>(0, None());
      startRows(1, height_ - 1, 1);
      settleRows(height_ - 2, 0, -1);
      while (checkRows(1, height_ - 1, 1) && checkRows(height_ - 2, 0, -1)) {
      }
    }
  }

 private:
  using Origin = detail::Origin;

  struct Row {
    const Qor8u* relief;
    T* label;
    Qor32s* cost;
    Qor8u *origin, *touched;
  };
  Row rowAt(int y) const {
    const ptrdiff_t at = width_ * y;
    return {terrain_.relief.row(y), terrain_.labels.row(y), planes_.cost + at, planes_.origin + at,
            planes_.touched + at};
  }

  // ---- what neighbours offer

  struct Offer {
    Qor32s cost;  // with the step, without the 1 of the pixel itself
    Qor8u origin;
  };

  // Rows from which costs are carried into a row, beside its own pixels.
  struct None {};
  struct Behind {
    const Qor32s* cost;
    Qor8u straight, toLeft, toRight;  // origins of its pixels
  };
  struct Both {
    Behind above, below;
  };
  Behind aboveRow(int y) const {
    return {planes_.cost + width_ * (y - 1), Origin::above, Origin::aboveLeft, Origin::aboveRight};
  }
  Behind belowRow(int y) const {
    return {planes_.cost + width_ * (y + 1), Origin::below, Origin::belowLeft, Origin::belowRight};
  }
  Behind behindRow(int y, int from) const { return from < y ? aboveRow(y) : belowRow(y); }

  // The earlier offer holds unless the later one is strictly less.
  static Offer lesser(Offer earlier, Offer later) {
    const bool replaced = later.cost < earlier.cost;
    return {replaced ? later.cost : earlier.cost, replaced ? later.origin : earlier.origin};
  }
  Offer offerOf(Qor32s cost, Qor8u origin) const { return {detail::wrappingSum(cost, costs_.step), origin}; }
  Offer diagonalOf(Qor32s cost, Qor8u origin) const { return {detail::wrappingSum(cost, costs_.diagonal), origin}; }

  // The first column takes none from a diagonal.
  Offer offered(const Behind& row, ptrdiff_t x) const {
    const Offer straight = offerOf(row.cost[x], row.straight);
    if constexpr (moves != Moves::eight) {
      return straight;
    } else {
      if (x == 0) return straight;
      Offer best = lesser(diagonalOf(row.cost[x - 1], row.toLeft), straight);
      if (x < width_ - 1) best = lesser(best, diagonalOf(row.cost[x + 1], row.toRight));
      return best;
    }
  }
  Offer offered(const Both& rows, ptrdiff_t x) const { return lesser(offered(rows.above, x), offered(rows.below, x)); }

  // With the pixel beside, which holds among equals.
  template <class Rows>
  Offer offered(const Rows& rows, ptrdiff_t x, Qor32s beside, Qor8u origin) const {
    const Offer along = offerOf(beside, origin);
    if constexpr (std::is_same_v<Rows, None>) {
      return along;
    } else {
      const Offer across = offered(rows, x);
      Offer best = lesser(along, across);
      if constexpr (moves == Moves::eikonal) {
        const Qor32s later = along.cost > across.cost ? along.cost : across.cost;
        const Qor32u delay = static_cast<Qor32u>(later) - static_cast<Qor32u>(best.cost);
        best.cost = detail::wrappingSum(best.cost, delay < 64 ? -Qor32s{detail::frontGain[delay]} : 0);
      }
      return best;
    }
  }

  // On the way back through a row. What the rows behind offer alone has been taken on the way there.
  template <class Rows>
  Offer offeredBack(const Rows& rows, ptrdiff_t x, Qor32s beside) const {
    if constexpr (moves == Moves::eikonal) {
      return offered(rows, x, beside, Origin::right);
    } else {
      return offerOf(beside, Origin::right);
    }
  }

  static Qor32s floorOf(Qor8u relief) { return static_cast<Qor32s>(relief) << detail::lengthBits; }
  static Qor32s costAt(Qor8u relief, Offer best) {
    const Qor32s cost = detail::wrappingSum(best.cost, 1), floor = floorOf(relief);
    return cost > floor ? cost : floor;
  }

  // ---- pixels of a row that may change, as bits of words

  // Calls visit(x) for pixels first to end - 1 whose bits are set, and for those behind one that it changed. A
  // word is asked for, of pixel x as wordAt(x), when all before it are done. Whether any changed.
  template <class Word, class Visit>
  static bool walkThere(ptrdiff_t first, ptrdiff_t end, const Word& wordAt, const Visit& visit) {
    bool changed = false;
    for (ptrdiff_t x = first; x < end; x += wordPixels) {
      const uint64_t in = firstBits(end - x);
      for (uint64_t bits = wordAt(x) & in; bits != 0;) {
        const int i = __builtin_ctzll(bits);
        bits &= bits - 1;
        const bool changes = visit(x + i);
        changed |= changes;
        bits |= (uint64_t{changes} << i << 1) & in;
      }
    }
    return changed;
  }
  // The same from pixel end - 1 to the first, for those before one that changed.
  template <class Word, class Visit>
  static bool walkBack(ptrdiff_t first, ptrdiff_t end, const Word& wordAt, const Visit& visit) {
    bool changed = false;
    for (ptrdiff_t x = first + (end - 1 - first) / wordPixels * wordPixels; x >= first && x < end; x -= wordPixels) {
      for (uint64_t bits = wordAt(x) & firstBits(end - x); bits != 0;) {
        const int i = wordPixels - 1 - __builtin_clzll(bits);
        bits &= ~(uint64_t{1} << i);
        const bool changes = visit(x + i);
        changed |= changes;
        bits |= (uint64_t{changes} << i) >> 1;
      }
    }
    return changed;
  }

  // Bits of kernel(p) for samples x to x + 63 of a row, of which it may be asked for first to end - 1. All bits where
  // these are no whole word.
  template <class S, class Kernel>
  static uint64_t bitsFrom(ptrdiff_t x, ptrdiff_t first, ptrdiff_t end, const S* samples, const Kernel& kernel) {
    if (end - first < wordPixels) return ~uint64_t{0};
    const ptrdiff_t at = x + wordPixels <= end ? x : end - wordPixels;
    return bitsOfWord<S>(kernel, samples + at) >> (x - at);
  }

  // Where a row, or two, may offer less than a pixel beside does. Fronts: less than they may.
  V32s leastOffered(V32s beside, const None&, ptrdiff_t) const { return beside + splat(costs_.step); }
  V32s leastOffered(V32s beside, const Behind& row, ptrdiff_t x) const {
    V32s best = min(beside, load(row.cost + x)) + splat(costs_.step);
    if constexpr (moves == Moves::eight) {
      best = min(best, min(load(row.cost + x - 1), load(row.cost + x + 1)) + splat(costs_.diagonal));
    }
    if constexpr (moves == Moves::eikonal) best = best - splat(Qor32s{detail::frontGain[0]});
    return best;
  }
  V32s leastOffered(V32s beside, const Both& rows, ptrdiff_t x) const {
    return min(leastOffered(beside, rows.above, x), leastOffered(beside, rows.below, x));
  }
  // Lanes of ones where the cost at p is more than that.
  static V32s isAbove(const Row& row, const Qor32s* p, V32s best) {
    const V32s floor = loadAs<Qor32s>(row.relief + (p - row.cost)) << detail::lengthBits;
    return load(p) > max(floor, best + splat(1));
  }
  template <class Rows>
  uint64_t lessThere(const Row& row, const Rows& rows, ptrdiff_t x) const {
    return bitsFrom(x, 1, width_ - 1, row.cost,
                    [&](const Qor32s* p) { return isAbove(row, p, leastOffered(load(p - 1), rows, p - row.cost)); });
  }
  template <class Rows>
  uint64_t lessBack(const Row& row, const Rows& rows, ptrdiff_t x, ptrdiff_t first) const {
    return bitsFrom(x, first, width_ - 1, row.cost, [&](const Qor32s* p) {
      if constexpr (moves == Moves::eikonal) {
        return isAbove(row, p, leastOffered(load(p + 1), rows, p - row.cost));
      } else {
        return isAbove(row, p, leastOffered(load(p + 1), None(), 0));
      }
    });
  }

  // Where a label is not that of the origin any more. Rows that are not there are no origins.
  template <class... Origins>
  uint64_t strayed(const Row& row, ptrdiff_t x, Origins... origins) const {
    return bitsFrom(x, 1, width_ - 1, static_cast<const T*>(row.label), [&](const T* p) {
      const Vec<T> own = load(p), from = loadAs<T>(row.origin + (p - row.label));
      return (andNot(load(p + offsets_[origins]) == own, from == splat(static_cast<T>(origins))) | ...);
    });
  }
  uint64_t strayed(const Row& row, int y, ptrdiff_t x) const {
    using enum detail::Origin;
    uint64_t bits = strayed(row, x, right, left);
    if constexpr (moves == Moves::eight) {
      if (y > 0) bits |= strayed(row, x, aboveRight, above, aboveLeft);
      if (y < height_ - 1) bits |= strayed(row, x, belowLeft, below, belowRight);
    } else {
      if (y > 0) bits |= strayed(row, x, above);
      if (y < height_ - 1) bits |= strayed(row, x, below);
    }
    return bits;
  }

  // ---- the first visit of a row

  // Seeds keep their label; in a row that is not seeded there are none.
  template <bool seeded, class Rows>
  void start(int y, const Rows& rows) {
    const Row row = rowAt(y);
    Qor32s cost = detail::unreached;
    T label = row.label[0];
    const auto put = [&](ptrdiff_t x, Qor8u origin) {
      row.cost[x] = cost;
      row.label[x] = label;
      row.origin[x] = origin;
    };
    if (seeded && label != 0) {
      cost = floorOf(row.relief[0]);
      put(0, Origin::seed);
    } else if constexpr (std::is_same_v<Rows, None>) {
      put(0, Origin::unassigned);
    } else {
      const Offer best = offered(rows, 0);
      cost = costAt(row.relief[0], best);
      label = row.label[offsets_[best.origin]];
      put(0, best.origin);
    }
    for (ptrdiff_t x = 1; x < width_; ++x) {
      if (seeded && row.label[x] != 0) {
        cost = floorOf(row.relief[x]);
        label = row.label[x];
        put(x, Origin::seed);
        continue;
      }
      const Offer best = offered(rows, x, cost, Origin::left);
      cost = costAt(row.relief[x], best);
      if constexpr (!std::is_same_v<Rows, None>) {
        // The label beside is at hand: through memory it would be late.
        const T across = row.label[x + offsets_[offered(rows, x).origin]];
        label = best.origin == Origin::left ? label : across;
      }
      put(x, best.origin);
    }
    walkBack(
        0, width_ - 1, [&](ptrdiff_t x) { return lessBack(row, rows, x, 0); },
        [&](ptrdiff_t x) {
          const Offer best = offeredBack(rows, x, row.cost[x + 1]);
          const Qor32s offered = costAt(row.relief[x], best);
          if (offered >= row.cost[x]) return false;
          row.cost[x] = offered;
          row.label[x] = row.label[x + offsets_[best.origin]];
          row.origin[x] = best.origin;
          return true;
        });
  }

  // ---- later visits

  // Takes what is offered, or else the label that stands at the origin now. Whether anything changed.
  bool visit(const Row& row, ptrdiff_t x, Offer best) {
    const Qor32s cost = costAt(row.relief[x], best);
    const bool less = cost < row.cost[x];
    const Qor8u origin = less ? best.origin : row.origin[x];
    const T label = row.label[x + offsets_[origin]];
    if (!less && label == row.label[x]) {
      row.touched[x] = 0;
      return false;
    }
    row.cost[x] = less ? cost : row.cost[x];
    row.origin[x] = origin;
    row.label[x] = label;
    touchAround(row.touched, x);
    return true;
  }

  void touchAround(Qor8u* touched, ptrdiff_t x) const {
    const ptrdiff_t before = x - (x > 0 ? 1 : 0), after = x + (x < width_ - 1 ? 1 : 0);
    Qor8u *const above = touched - width_, *const below = touched + width_;
    above[x] = below[x] = 1;
    if constexpr (moves == Moves::eight) above[before] = above[after] = below[before] = below[after] = 1;
    touched[before] = touched[after] = 1;
    touched[x] = 0;
  }

  template <class Rows>
  bool visitThere(const Row& row, const Rows& rows, ptrdiff_t x) {
    return visit(row, x, x == 0 ? offered(rows, 0) : offered(rows, x, row.cost[x - 1], Origin::left));
  }
  template <class Rows>
  bool visitBack(const Row& row, const Rows& rows, ptrdiff_t x) {
    return visit(row, x, offeredBack(rows, x, row.cost[x + 1]));
  }

  // All pixels of a row, or those that are touched.
  template <bool all, class Rows>
  bool revisit(int y, const Rows& rows) {
    const Row row = rowAt(y);
    const ptrdiff_t last = width_ - 1;
    const auto there = [&](ptrdiff_t x) { return visitThere(row, rows, x); };
    const auto back = [&](ptrdiff_t x) { return visitBack(row, rows, x); };
    const auto isDue = [&](ptrdiff_t x) { return all || row.touched[x] != 0; };
    // Most that are due stay as they are: vectors tell which change.
    const auto dueAmong = [&](ptrdiff_t x, const auto& changing) {
      uint64_t due = ~uint64_t{0};
      if constexpr (!all) {
        due = bitsAt<Qor8u>(
            x, last, [](const Qor8u* p) { return load(p) == splat<Qor8u>(1); }, row.touched);
        if (due == 0) return due;
      }
      due &= changing(x);
      __builtin_memset(row.touched + x, 0, static_cast<size_t>(last - x < wordPixels ? last - x : wordPixels));
      return due;
    };
    const auto dueThere = [&](ptrdiff_t x) {
      return dueAmong(x, [&](ptrdiff_t at) { return lessThere(row, rows, at) | strayed(row, y, at); });
    };
    // If all have been visited on the way there, labels have strayed since where they are from the right alone.
    const auto dueBack = [&](ptrdiff_t x) {
      return dueAmong(x, [&](ptrdiff_t at) {
        return lessBack(row, rows, at, 1) | (all ? strayed(row, at, Origin::right) : strayed(row, y, at));
      });
    };
    bool changed = isDue(0) && there(0);
    changed |= walkThere(1, last, dueThere, there);
    if (last == 0) return changed;
    changed |= isDue(last) && there(last);
    changed |= walkBack(1, last, dueBack, back);
    changed |= isDue(0) && back(0);
    return changed;
  }

  bool settle(int y, const Behind& behind) { return revisit<true>(y, behind); }

  template <class Rows>
  bool check(int y, const Rows& rows) {
    Qor8u* const flags = planes_.touchedRows + y;
    if (*flags == 0) return false;
    const bool changed = revisit<false>(y, rows);
    *flags = 0;
    // Two bands may do so for the row between them, and so nothing but a 1 is ever written to it.
    if (changed) flags[-1] = flags[1] = 1;
    return changed;
  }

  // ---- rows in a direction, each from the row before it

  template <class Visit>
  static bool inTurn(int first, int last, int towards, const Visit& visit) {
    bool changed = false;
    for (int y = first; towards > 0 ? y <= last : y >= last; y += towards) changed |= visit(y);
    return changed;
  }
  void startRows(int first, int last, int towards) {
    inTurn(first, last, towards, [&](int y) {
      start<true>(y, behindRow(y, y - towards));
      return false;
    });
  }
  bool settleRows(int first, int last, int towards) {
    return inTurn(first, last, towards, [&](int y) { return settle(y, behindRow(y, y - towards)); });
  }
  bool checkRows(int first, int last, int towards) {
    return inTurn(first, last, towards, [&](int y) { return check(y, behindRow(y, y - towards)); });
  }

  // ---- bands

  // Band b lies between edge b and edge b + 1. Even bands are swept downwards first, odd ones upwards, so that sweeps
  // come from every even edge and meet at every odd one.
  struct Bands {
    int count, edges[stackSlots + 1];

    Bands(int n, int height) : count(n) {
      const Qor32f bandHeight = 1 + static_cast<Qor32f>(height - n - 1) / static_cast<Qor32f>(n);
      for (int i = 0; i < n; ++i) {
        const Qor32f pastEdge = static_cast<Qor32f>(i) * bandHeight + 0.5F;
        edges[i] = static_cast<int>(pastEdge);
      }
      edges[n] = height - 1;
    }
    bool isEven(int band) const { return band % 2 == 0; }
    // The edge that a band is swept from first; -1 when the next band has it too.
    int source(int band) const { return isEven(band) ? edges[band] : band == count - 1 ? edges[count] : -1; }
    // The edge that it is swept to; the band behind has that of an odd one.
    int meeting(int band) const { return isEven(band) ? edges[band + 1] : -1; }
  };

  template <class Visit>
  bool withNeighbours(int y, const Visit& visit) {
    if (y == 0) return visit(belowRow(y));
    if (y == height_ - 1) return visit(aboveRow(y));
    return visit(Both{aboveRow(y), belowRow(y)});
  }
  bool checkEdge(int y) {
    return y >= 0 && withNeighbours(y, [&](const auto& rows) { return check(y, rows); });
  }
  void startMeeting(int y) {
    if (y < 0) return;
    if (y == height_ - 1) {
      // Where no sweep starts from the last row, it gets no seeds either.
      start<false>(y, aboveRow(y));
    } else {
      start<true>(y, Both{aboveRow(y), belowRow(y)});
    }
  }

  void runInBands(int count) {
    const Bands bands(count, height_);
    bool changed[stackSlots] = {};
    enum Phase { sources, away, meetings, back, checkSources, checkAway, checkMeetings, checkBack };
    const auto inBand = [&](int phase, int band) {
      const int towards = bands.isEven(band) ? 1 : -1;
      const int upper = bands.edges[band] + 1, lower = bands.edges[band + 1] - 1;
      const int first = towards > 0 ? upper : lower, last = towards > 0 ? lower : upper;
      switch (phase) {
        case sources:
          if (bands.source(band) >= 0) start<true>(bands.source(band), None());
          break;
        case away:
          startRows(first, last, towards);
          break;
        case meetings:
          startMeeting(bands.meeting(band));
          break;
        case back:
          changed[band] = settleRows(last, first, -towards);
          break;
        case checkSources:
          changed[band] = checkEdge(bands.source(band));
          break;
        case checkAway:
          changed[band] |= checkRows(first, last, towards);
          break;
        case checkMeetings:
          changed[band] = checkEdge(bands.meeting(band));
          break;
        default:
          changed[band] |= checkRows(last, first, -towards);
          break;
      }
    };
    const auto next = [&](int phase) -> int {
      if (phase != back && phase != checkAway && phase != checkBack) return phase + 1;
      bool any = false;
      for (int band = 0; band < count; ++band) any |= changed[band];
      return !any ? -1 : phase == checkAway ? checkMeetings : checkSources;
    };
    const int most = owncvGetMaxNumThreads();
    inPhases(count, count < most ? count : most, inBand, next);
  }

  Terrain<T> terrain_;
  RasterPlanes<T> planes_;
  WayCosts costs_;
  ptrdiff_t width_;
  int height_;
  ptrdiff_t offsets_[10];
};

}  // namespace qor
