// Where references find the pixels outside an image: which sides are in memory, and what stands in on the others.
#pragma once

#include <optional>

#include "support/guarded.h"

namespace qortest {

struct Sides {
  bool top, bottom, left, right;
};

// The sides that a border argument says are in memory; all, when it says so of all.
inline Sides memorySides(int border) {
  if ((border & 15) == qorBorderInMem) border |= 240;
  return {(border & qorBorderInMemTop) != 0, (border & qorBorderInMemBottom) != 0, (border & qorBorderInMemLeft) != 0,
          (border & qorBorderInMemRight) != 0};
}

// The margin of an image on these sides.
inline Margin marginOf(const Sides& in, const Margin& reach) {
  return {in.left ? reach.left : 0, in.top ? reach.top : 0, in.right ? reach.right : 0, in.bottom ? reach.bottom : 0};
}
inline Margin marginOf(const Sides& in, int reach) { return marginOf(in, {reach, reach, reach, reach}); }

// The position that stands in for i, outside 0 .. n - 1; nothing for the constant. A reflection turns at the far end
// too, unless memory goes on there; a single position repeats.
inline std::optional<int> standIn(int rule, int i, int n, bool farOpen = false) {
  rule &= 15;
  if (rule == qorBorderConst) return {};
  if (rule == qorBorderRepl || n == 1) return i < 0 ? 0 : n - 1;
  while (i < 0 || i >= n) {
    if (rule == qorBorderWrap) {
      i += i < 0 ? n : -n;
    } else {
      const int repeated = rule == qorBorderMirrorR ? 1 : 0;
      i = i < 0 ? -i - repeated : 2 * n - 2 - i + repeated;
      if (farOpen) break;
    }
  }
  return i;
}

// The same for any position, with memory below 0 (low) or from n on (high).
inline std::optional<int> place(int rule, int i, int n, bool low, bool high) {
  if (i < 0) return low ? i : standIn(rule, i, n, high);
  return i < n || high ? i : standIn(rule, i, n, low);
}

// One of the rules, mostly with a few flags.
template <size_t n>
int anyBorder(Random& random, const int (&rules)[n]) {
  return rules[random.below(n)] | (random.oneIn(3) ? 0 : 16 * random.below(16));
}

}  // namespace qortest
