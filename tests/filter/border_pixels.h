// Pixels of an image and its border as references see them: rows count first, columns second.
#pragma once

#include <optional>

#include "support/support.h"

namespace qortest {

struct InMemory {
  bool top, bottom, left, right;
};

inline InMemory inMemory(int border) {
  const bool all = (border & 15) == qorBorderInMem;
  return {all || (border & 16) != 0, all || (border & 32) != 0, all || (border & 64) != 0, all || (border & 128) != 0};
}

// Where position i of n is found; nothing for the constant.
inline std::optional<int> found(int i, int n, int rule, bool low, bool high) {
  if ((i >= 0 && i < n) || (i < 0 && low) || (i >= n && high)) return i;
  switch (rule) {
    case qorBorderConst:
      return {};
    case qorBorderMirror:
      if (n == 1 && !low && !high) return 0;
      return found(i < 0 ? -i : 2 * (n - 1) - i, n, rule, low, high);
    case qorBorderMirrorR:
      return found(i < 0 ? -1 - i : 2 * n - 1 - i, n, rule, low, high);
    default:
      return i < 0 ? 0 : n - 1;
  }
}

template <class T>
T borderPixel(const GuardedImage<T>& image, int x, int y, int border, T value) {
  const InMemory m = inMemory(border);
  const auto row = found(y, image.size().height, border & 15, m.top, m.bottom);
  const auto column = found(x, image.size().width, border & 15, m.left, m.right);
  return row && column ? image.at(*column, *row) : value;
}

// Pixels in memory that a window reaches, on the sides that are said to have some.
inline Margin marginOf(int border, int left, int top, int right, int bottom) {
  const InMemory m = inMemory(border);
  return {m.left ? left : 0, m.top ? top : 0, m.right ? right : 0, m.bottom ? bottom : 0};
}

// One of the rules, mostly with a few flags.
template <size_t n>
int anyBorder(Random& random, const int (&rules)[n]) {
  return rules[random.below(n)] | (random.oneIn(3) ? 0 : 16 * random.below(16));
}

}  // namespace qortest
