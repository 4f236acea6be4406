// The components of an image's gradient as the headers define them, and what its operations have in common. The letters
// of their modes: f filter, k mask, b border, v border value.
#pragma once

#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/feature.h"
#include "support/outside.h"
#include "support/support.h"

namespace qortest {

inline int reachOf(const Arguments& a) { return a.number('k') / 22; }

struct Gradient {
  Image<int> dx, dy;
};

// Of the source's region and a margin of it, of samples that are whole numbers.
template <class S>
Gradient gradientOf(const Call& c, int border, const Margin& margin = {}) {
  const Image<S>& src = c.before<S>('s');
  const QoriSize size = src.size;
  const Sides in = memorySides(border);
  const auto pixel = [&](int x, int y) {
    const auto row = place(border, y, size.height, in.top, in.bottom);
    const auto column = place(border, x, size.width, in.left, in.right);
    return static_cast<int>(row && column ? src.at(*column, *row) : c.at<S>('v'));
  };
  using Taps = std::vector<int>;
  const int reach = reachOf(c), filter = c.number('f');
  const Taps derive = reach == 2 ? Taps{-1, -2, 0, 2, 1} : Taps{-1, 0, 1};
  const Taps smooth = reach == 2                  ? Taps{1, 4, 6, 4, 1}
                      : filter == qorFilterSobel  ? Taps{1, 2, 1}
                      : filter == qorFilterScharr ? Taps{3, 10, 3}
                                                  : Taps{0, 1, 0};
  Gradient g{Image<int>(size, 1, margin), Image<int>(size, 1, margin)};
  for (int y = -margin.top; y < size.height + margin.bottom; ++y) {
    for (int x = -margin.left; x < size.width + margin.right; ++x) {
      for (int j = 0; j <= 2 * reach; ++j) {
        for (int i = 0; i <= 2 * reach; ++i) {
          const int p = pixel(x + i - reach, y + j - reach);
          const size_t column = static_cast<size_t>(i), row = static_cast<size_t>(j);
          g.dx.at(x, y) += derive[column] * smooth[row] * p, g.dy.at(x, y) += smooth[column] * derive[row] * p;
        }
      }
    }
  }
  return g;
}

// ---- means of the products of components, as the Harris corners define them; n is the window

inline Margin structureReach(const Arguments& a) {
  const int n = a.number('n'), before = (n - 1) / 2 + reachOf(a), after = n / 2 + reachOf(a);
  return {before, before, after, after};
}

// Beyond an edge that is not in memory stands the product of the edge, or 0.
template <class Of>
Image<Qor32f> meansOf(const Gradient& g, int border, int n, Of of) {
  const Margin& m = g.dx.margin;
  const QoriSize size = g.dx.size;
  const auto product = [&](int x, int y) {
    const int column = std::clamp(x, -m.left, size.width + m.right - 1);
    const int row = std::clamp(y, -m.top, size.height + m.bottom - 1);
    const bool isKnown = (border & 15) == qorBorderRepl || (column == x && row == y);
    return isKnown ? of(int64_t{g.dx.at(column, row)}, int64_t{g.dy.at(column, row)}) : 0;
  };
  Image<Qor32f> means(size);
  const int before = (n - 1) / 2;
  std::vector<int64_t> columns(static_cast<size_t>(size.width + n - 1));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width + n - 1; ++x) {
      int64_t& sum = columns[static_cast<size_t>(x)] = 0;
      for (int j = 0; j < n; ++j) sum += product(x - before, y - before + j);
    }
    for (int x = 0; x < size.width; ++x) {
      int64_t sum = 0;
      for (int i = x; i < x + n; ++i) sum += columns[static_cast<size_t>(i)];
      means.at(x, y) = static_cast<Qor32f>(sum) * (1.0F / static_cast<Qor32f>(n * n));
    }
  }
  return means;
}

struct Means {
  Image<Qor32f> a, b, c;
};
template <class S>
Means structureOf(const Call& c) {
  const int border = c.number('b'), n = c.number('n'), before = (n - 1) / 2;
  const Gradient g = gradientOf<S>(c, border, marginOf(memorySides(border), {before, before, n / 2, n / 2}));
  return {meansOf(g, border, n, [](int64_t x, int64_t) { return x * x; }),
          meansOf(g, border, n, [](int64_t, int64_t y) { return y * y; }),
          meansOf(g, border, n, [](int64_t x, int64_t y) { return x * y; })};
}

// Values whose sums over the window stay below 2^24, so that all sums are exact in 32-bit float.
inline int rangeOf(const Arguments& a) {
  const int weight = reachOf(a) == 2 ? 48 : a.number('f') == 5 ? 16 : a.number('f') == 2 ? 4 : 1;
  return std::clamp(4095 / (weight * a.number('n')), 1, 255);
}
inline void drawStructure(Call& c) {
  c.set('k', c.number('f') == 2 && !c.c.usual && c.c.random.oneIn(2) ? 55 : 33);
  c.set('v', c.c.random.below(rangeOf(c) + 1));
}
template <class S>
void fillStructure(Call& c) {
  const int range = rangeOf(c), kind = c.c.random.below(3);
  c.image<S>('s').generate([&](int x, int y, int) {
    x += 300, y += 300;
    const int value = kind == 0 ? c.c.random.below(1000) : kind == 1 ? (x / 3 + y / 5) % 2 * range : (x + 2 * y) / 4;
    return static_cast<S>(value % (range + 1));
  });
}
inline void structureShape(const Arguments& a, char role, int which, Shape& s) {
  if (role == 's' && which == 1) s.margin = marginOf(memorySides(a.number('b')), structureReach(a));
}
// Own checks: 1 the mask, 2 that the destination is not the last source.
inline void structureChecks(DescribedContract& c, int which) {
  int &filter = c.now.at<int>('f'), &mask = c.now.at<int>('k');
  if (which == 1) {
    c.start('k', 33);
    c.check(
        "mask", qorStsMaskSizeErr, [&] { return mask != 33 && (mask != 55 || filter != qorFilterSobel); },
        [&] { mask = 53; }, [&] { filter = qorFilterScharr, mask = 55; },
        [&] { filter = qorFilterCentralDiff, mask = 55; });
    return;
  }
  void*& source = c.now.at<void*>('s', c.now.has('s', 2) ? 2 : 1);
  c.check(
      "in place", qorStsInPlaceErr, [&] { return source == c.now.at<void*>('d'); },
      [&] { c.now.at<void*>('d') = source; });
}

}  // namespace qortest
