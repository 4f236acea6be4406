// Means of the products of a gradient's components, as the header of the Harris corners defines them: by brute force,
// on whole numbers that are small enough for every sum to be exact in 32-bit float.
#pragma once

#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/feature.h"
#include "support/outside.h"
#include "support/support.h"

namespace qortest {

struct Means {
  Image<Qor32f> a, b, c;
};

// The letters of its modes: f filter, k mask, n window, b border, v border value.
inline int filterReach(const Arguments& a) { return a.number('k') / 22; }

inline Margin structureReach(const Arguments& a) {
  const int n = a.number('n'), before = (n - 1) / 2 + filterReach(a), after = n / 2 + filterReach(a);
  return {before, before, after, after};
}

template <class S>
Means meansOf(const Call& call) {
  const Image<S>& src = call.before<S>('s');
  const QoriSize size = src.size;
  const int border = call.number('b'), n = call.number('n'), before = (n - 1) / 2, after = n / 2;
  const Sides in = memorySides(border);
  const auto pixel = [&](int x, int y) -> int64_t {
    const auto row = place(border, y, size.height, in.top, in.bottom);
    const auto column = place(border, x, size.width, in.left, in.right);
    return static_cast<int64_t>(row && column ? src.at(*column, *row) : call.at<S>('v'));
  };
  using Taps = std::vector<int>;
  const int reach = filterReach(call), filter = call.number('f');
  const Taps derive = reach == 2 ? Taps{-1, -2, 0, 2, 1} : Taps{-1, 0, 1};
  const Taps smooth = reach == 2    ? Taps{1, 4, 6, 4, 1}
                      : filter == 2 ? Taps{1, 2, 1}
                      : filter == 5 ? Taps{3, 10, 3}
                                    : Taps{0, 1, 0};
  // Products where they are derived: in the region, and beside it on sides in memory.
  const Margin m = marginOf(in, {before, before, after, after});
  Image<int64_t> xx(size, 1, m), yy(size, 1, m), xy(size, 1, m);
  for (int y = -m.top; y < size.height + m.bottom; ++y) {
    for (int x = -m.left; x < size.width + m.right; ++x) {
      int64_t dx = 0, dy = 0;
      for (int j = 0; j <= 2 * reach; ++j) {
        for (int i = 0; i <= 2 * reach; ++i) {
          const int64_t p = pixel(x + i - reach, y + j - reach);
          dx += derive[static_cast<size_t>(i)] * smooth[static_cast<size_t>(j)] * p;
          dy += smooth[static_cast<size_t>(i)] * derive[static_cast<size_t>(j)] * p;
        }
      }
      xx.at(x, y) = dx * dx, yy.at(x, y) = dy * dy, xy.at(x, y) = dx * dy;
    }
  }
  const auto mean = [&](const Image<int64_t>& products) {
    const auto inside = [&](int i, int side, int low, int high) {
      if ((i >= -low && i < side + high) || (border & 15) != qorBorderRepl) return i;
      return std::clamp(i, -low, side + high - 1);
    };
    const auto at = [&](int x, int y) -> int64_t {
      x = inside(x, size.width, m.left, m.right), y = inside(y, size.height, m.top, m.bottom);
      const bool isKnown = x >= -m.left && x < size.width + m.right && y >= -m.top && y < size.height + m.bottom;
      return isKnown ? products.at(x, y) : 0;
    };
    Image<int64_t> columns({size.width + n - 1, size.height});
    for (int y = 0; y < columns.size.height; ++y)
      for (int x = 0; x < columns.size.width; ++x)
        for (int j = -before; j <= after; ++j) columns.at(x, y) += at(x - before, y + j);
    Image<Qor32f> means(size);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        int64_t sum = 0;
        for (int i = 0; i < n; ++i) sum += columns.at(x + i, y);
        const Qor32f scale = 1.0F / static_cast<Qor32f>(n * n);
        means.at(x, y) = n == 1 ? static_cast<Qor32f>(sum) : static_cast<Qor32f>(sum) * scale;
      }
    }
    return means;
  };
  return {mean(xx), mean(yy), mean(xy)};
}

// Values whose sums over the window stay below 2^24: a component is at most `weight` times the range of the values.
inline int rangeOf(const Arguments& a) {
  const int weight = filterReach(a) == 2 ? 48 : a.number('f') == 5 ? 16 : a.number('f') == 2 ? 4 : 1;
  return std::clamp(4095 / (weight * a.number('n')), 1, 255);
}

inline void drawStructure(Call& c) {
  const bool isLarge = c.number('f') == 2 && !c.c.usual && c.c.random.oneIn(2);
  c.set('k', isLarge ? 55 : 33);
  c.set('v', c.c.random.below(rangeOf(c) + 1));
}

template <class S>
void fillStructure(Call& c) {
  auto& src = c.image<S>('s');
  const int range = rangeOf(c);
  const int kind = c.c.random.below(3);
  src.generate([&](int x, int y, int) {
    x += 300, y += 300;
    const int value = kind == 0   ? c.c.random.below(range + 1)
                      : kind == 1 ? (x / 3 + y / 5) % 2 * range
                                  : (x + 2 * y) / 4;
    return static_cast<S>(value % (range + 1));
  });
}

inline void ownMask(DescribedContract& c) {
  c.start('k', 33);
  int &filter = c.now.at<int>('f'), &mask = c.now.at<int>('k');
  c.check(
      "mask", qorStsMaskSizeErr, [&] { return mask != 33 && (mask != 55 || filter != qorFilterSobel); },
      [&] { mask = 53; }, [&] { mask = 0; }, [&] { filter = qorFilterScharr, mask = 55; },
      [&] { filter = qorFilterCentralDiff, mask = 55; });
}

}  // namespace qortest
