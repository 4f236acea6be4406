// One row of a pass of a chamfer transform: every pixel takes the least of what the rows behind it offer, then of what
// comes along the row.
//
// Along the row, value[x] = min(value[x], value[x - 1] + a) is a running minimum in which every step adds a, so a group
// of pixels takes log2 of its length: from one pixel before, from two, from four and so on, each time by the length of
// so many steps; last from all that comes before the group, by a table of 1, 2, 3 ... steps. In floats the sums depend
// on that tree, so their groups have the same pixels at every width of vectors.
#pragma once

#include "frame/constants.h"
#include "frame/round.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// Lengths as the output holds them. One that is too long to matter is noMove.
template <class D>
struct ChamferLengths {
  D step, diagonal, knight;
};
template <class D>
constexpr D noMove = std::is_floating_point_v<D> ? std::numeric_limits<D>::infinity() : topOf<D>;

// A row in the order of the pass, downwards and rightwards or upwards and leftwards. reach is 2 where knight's moves
// count, else 1.
template <class D, bool forward, int reach>
class ChamferRow {
 public:
  explicit ChamferRow(const ChamferLengths<D>& lengths)
      : top_(splat(topOf<D>)),
        step_(splat(lengths.step)),
        diagonal_(splat(lengths.diagonal)),
        knight_(splat(lengths.knight)) {
    for (int i = 0; i < doublings; ++i) steps_[i] = splat(times(lengths.step, 1 << i));
    for (int i = 0; i < count; ++i) {
      D numbers[V::lanes];
      for (int lane = 0; lane < V::lanes; ++lane) {
        numbers[forward ? lane : V::lanes - 1 - lane] = times(lengths.step, i * V::lanes + lane + 1);
      }
      table_[i] = load(numbers);
    }
    // Within each 16 bytes.
    D numbers[V::lanes];
    for (int lane = 0; lane < V::lanes; ++lane) {
      const int inShort = lane % shortLanes;
      numbers[lane] = times(lengths.step, forward ? inShort + 1 : shortLanes - inShort);
    }
    shortTable_ = load(numbers);
  }

  // near and far: the rows one and two behind, null where there is none. src: the source of a forward pass, which may
  // be own itself.
  void run(D* own, const D* near, const D* far, const Qor8u* src, ptrdiff_t width) const {
    const ChamferRow row = *this;
    const bool isWhole = near != nullptr && (reach == 1 || far != nullptr);
    const ptrdiff_t groups = (width + pixels - 1) / pixels, first = isWhole ? 1 : groups;
    const ptrdiff_t inside = (width - reach) / pixels, last = first < inside ? inside : first;
    V carry = top_;
    const auto atEnd = [&](ptrdiff_t g) {
      const ptrdiff_t x = g * pixels, n = width - x < pixels ? width - x : pixels;
      Staged staged(own, near, far, src, x, width);
      // No way leads over what lies behind the row.
      storeFirst(staged.own, n, row.offered(staged.own, staged.near + reach, staged.far + reach, staged.src));
      Group least = loadBlock<count>(staged.own);
      row.runAlong(least, carry);
      storeFirst(own + x, n, least);
    };
    const auto atInside = [&](ptrdiff_t g) {
      const ptrdiff_t x = g * pixels;
      Group least = row.offered(own + x, near + x, reach == 2 ? far + x : nullptr, forward ? src + x : nullptr);
      row.runAlong(least, carry);
      store(own + x, least);
    };
    if constexpr (forward) {
      ptrdiff_t g = 0;
      for (; g < first; ++g) atEnd(g);
      for (; g < last; ++g) atInside(g);
      for (; g < groups; ++g) atEnd(g);
    } else {
      ptrdiff_t g = groups - 1;
      for (; g >= last; --g) atEnd(g);
      for (; g >= first; --g) atInside(g);
      for (; g >= 0; --g) atEnd(g);
    }
  }

 private:
  using V = Vec<D>;
  static constexpr int shortLanes = Short<D>::lanes;
  static constexpr int pixels = std::is_floating_point_v<D> ? 16 : V::lanes;
  static constexpr int count = pixels / V::lanes;
  static constexpr int doublings = sizeof(D) == 1 ? 4 : sizeof(D) == 2 ? 3 : 2;
  static_assert((1 << doublings) == shortLanes);
  using Group = Block<D, count>;

  // A group at an end of the row, between pixels that do not exist: those are as far as can be.
  struct Staged {
    D own[pixels], near[pixels + 2 * reach], far[pixels + 2 * reach];
    Qor8u src[pixels];

    [[gnu::noinline]] Staged(const D* ownRow, const D* nearRow, const D* farRow, const Qor8u* srcRow, ptrdiff_t x,
                             ptrdiff_t width) {
      copy(near, nearRow, x - reach, width);
      if (reach == 2) copy(far, farRow, x - reach, width);
      if constexpr (forward) {
        const ptrdiff_t n = width - x < pixels ? width - x : pixels;
        __builtin_memset(src, 0, sizeof src);
        __builtin_memcpy(src, srcRow + x, static_cast<size_t>(n));
      }
      copy(own, forward ? nullptr : ownRow, x, width);
    }
    template <size_t n>
    static void copy(D (&to)[n], const D* row, ptrdiff_t x, ptrdiff_t width) {
      for (D& d : to) d = topOf<D>;
      if (row == nullptr) return;
      const ptrdiff_t end = x + static_cast<ptrdiff_t>(n), from = x < 0 ? 0 : x, to_ = end < width ? end : width;
      __builtin_memcpy(to + (from - x), row + from, static_cast<size_t>(to_ - from) * sizeof(D));
    }
  };

  static D times(D step, int moves) {
    if constexpr (std::is_floating_point_v<D>) {
      return step * static_cast<D>(moves);
    } else {
      return saturate<D>(Qor64s{step} * moves);
    }
  }
  QOR_FORCE_INLINE static V plus(V a, V b) {
    if constexpr (std::is_floating_point_v<D>) {
      return a + b;
    } else {
      return addSat(a, b);
    }
  }

  // What the rows behind offer to a group, and what it has.
  QOR_FORCE_INLINE Group offered(const D* own, const D* near, const D* far, const Qor8u* src) const {
    Group g;
    for (int i = 0; i < count; ++i) {
      const int x = i * V::lanes;
      V v = min(plus(load(near + x), step_), plus(min(load(near + x - 1), load(near + x + 1)), diagonal_));
      if constexpr (reach == 2) {
        const V wide = min(load(near + x - 2), load(near + x + 2)), narrow = min(load(far + x - 1), load(far + x + 1));
        v = min(v, plus(min(wide, narrow), knight_));
      }
      if constexpr (forward) {
        // A sum of floats may have passed the largest.
        if constexpr (std::is_floating_point_v<D>) v = min(v, top_);
        g.v[i] = andNot(maskedOut<V>(src + x), v);
      } else {
        g.v[i] = min(v, load(own + x));
      }
    }
    return g;
  }

  // Takes in what comes along the row, from within the group and from before.
  QOR_FORCE_INLINE void runAlong(Group& g, V& carry) const {
    for (V& v : g.v) v = alongVector<0>(v);
    for (int half = 1; half < count; half *= 2) {
      for (int i = half; i < count; ++i) {
        if ((i & half) == 0) continue;
        V& v = g.v[place(i)];
        v = min(v, plus(lastOf(g.v[place(i / half * half - 1)]), table_[i % half]));
      }
    }
    // What the last pixel becomes, without waiting for it.
    const V next = min(lastOf(g.v[place(count - 1)]), plus(carry, lastOf(table_[count - 1])));
    for (int i = 0; i < count; ++i) g.v[place(i)] = min(g.v[place(i)], plus(carry, table_[i]));
    carry = next;
  }

  // Where the i-th vector in the order of the pass stands.
  static constexpr int place(int i) { return forward ? i : count - 1 - i; }
  QOR_FORCE_INLINE static V lastOf(V v) {
    if constexpr (forward) {
      return splatLast(v);
    } else {
      return splatFirst(v);
    }
  }

  template <int doubling>
  QOR_FORCE_INLINE V alongVector(V v) const {
    constexpr int moves = 1 << doubling;
    if constexpr (doubling < doublings) {
      V before;
      if constexpr (forward) {
        before = slide<shortLanes - moves>(top_, v);
      } else {
        before = slide<moves>(v, top_);
      }
      return alongVector<doubling + 1>(min(v, plus(before, steps_[doubling])));
    } else if constexpr (V::bytes > Short<D>::bytes) {
      V before;
      if constexpr (forward) {
        before = ofShorts(firstShort(top_), firstShort(spread<shortLanes - 1>(v)));
      } else {
        before = ofShorts(lastShort(spread<0>(v)), firstShort(top_));
      }
      return min(v, plus(before, shortTable_));
    } else {
      return v;
    }
  }

  V top_, step_, diagonal_, knight_;
  V steps_[doublings];  // 1, 2, 4 ... steps
  V table_[count];      // 1, 2, 3 ... steps, from the group's first pixel in the order of the pass
  V shortTable_;        // the same in each 16 bytes
};

}  // namespace qor
