// Rows of image gradients: both components of a separable derivative from the rows around a row.
//
//     x component                    y component
//     Sobel3   [ 1 0 -1;  2 0  -2;  1 0 -1]    [-1  -2 -1;  0 0 0; 1  2 1]
//     Sobel5   [1 4 6 4 1]^T [1 2 0 -2 -1]     [-1 -2 0 2 1]^T [1 4 6 4 1]
//     Scharr3  [-3 0  3; -10 0 10; -3 0  3]    [-3 -10 -3;  0 0 0; 3 10 3]
//
// Bytes give exact 16-bit results: at most 1020, 12240 and 4080. Floats are summed in the order of the formulas below,
// the same for every pixel.
#pragma once

#include "filter/bordered_image.h"
#include "filter/fixed_taps.h"

namespace qor::inline QOR_LEVEL {

// Component type of a source, and as many pixels as a kernel takes at a time.
template <class S>
using Component = std::conditional_t<std::is_same_v<S, Qor8u>, Qor16s, Qor32f>;
template <class S>
constexpr int gradientBlock = Vec<Component<S>>::lanes;

inline V16s pixels(const Qor8u* p) { return as<Qor16s>(widenLo(load8(p))); }
inline V32f pixels(const Qor32f* p) { return load(p); }

// What a pass over a row makes: one component or both, where they go.
template <bool x, bool y, class D>
struct GradientOut {
  D *gx, *gy;

  static constexpr bool wantsX = x, wantsY = y;
  GradientOut from(ptrdiff_t i) const { return {x ? gx + i : nullptr, y ? gy + i : nullptr}; }
  template <class V>
  void put(ptrdiff_t i, V vx, V vy) const {
    if constexpr (x) store(gx + i, vx);
    if constexpr (y) store(gy + i, vy);
  }
};

// The diagonals' differences serve both components.
template <class Combine, class S, class Out>
inline void gradientRow3(const S* const* rows, ptrdiff_t n, const Out& out) {
  const S *above = rows[0], *at = rows[1], *below = rows[2];
  forBlocks<gradientBlock<S>>(n, [=](ptrdiff_t i) {
    const auto falling = pixels(below + i + 1) - pixels(above + i - 1);
    const auto rising = pixels(below + i - 1) - pixels(above + i + 1);
    const auto across = pixels(at + i - 1) - pixels(at + i + 1), down = pixels(below + i) - pixels(above + i);
    out.put(i, Combine::x(falling, rising, across), Combine::y(falling, rising, down));
  });
}

struct Sobel3 {
  static constexpr int radius = 1;

  template <class V>
  static V x(V falling, V rising, V across) {
    return (rising - falling) + (across + across);
  }
  template <class V>
  static V y(V falling, V rising, V down) {
    return (falling + rising) + (down + down);
  }
  template <class S, class Out>
  static void run(const S* const* rows, ptrdiff_t n, const Out& out) {
    gradientRow3<Sobel3>(rows, n, out);
  }
};

struct Scharr3 {
  static constexpr int radius = 1;

  template <class V>
  static V x(V falling, V rising, V across) {
    return times<3>(falling - rising) - times<10>(across);
  }
  template <class V>
  static V y(V falling, V rising, V down) {
    return times<3>(falling + rising) + times<10>(down);
  }
  template <class S, class Out>
  static void run(const S* const* rows, ptrdiff_t n, const Out& out) {
    gradientRow3<Scharr3>(rows, n, out);
  }
};

// Column sums and differences of a stretch first, then along the row.
struct Sobel5 {
  static constexpr int radius = 2;

  template <class S, class Out>
  static void run(const S* const* rows, ptrdiff_t n, const Out& out) {
    using D = Component<S>;
    constexpr int block = gradientBlock<S>;
    constexpr ptrdiff_t stretch = 512;
    static_assert(stretch % block == 0);
    D sums[stretch + 4], differences[stretch + 4];
    for (ptrdiff_t first = 0; first < n;) {
      const ptrdiff_t left = n - first, count = left < stretch ? left : stretch;
      // A rest shorter than a block is made longer to the left.
      if (count < block) {
        first = n - block;
        continue;
      }
      const S *a = rows[0] + first - 2, *b = rows[1] + first - 2, *c = rows[2] + first - 2, *d = rows[3] + first - 2,
              *e = rows[4] + first - 2;
      forBlocks<block>(count + 4, [&](ptrdiff_t i) {
        const auto va = pixels(a + i), vb = pixels(b + i), vd = pixels(d + i), ve = pixels(e + i);
        if constexpr (Out::wantsX) store(sums + i, (va + ve) + times<4>(vb + vd) + times<6>(pixels(c + i)));
        if constexpr (Out::wantsY) store(differences + i, (ve - va) + times<2>(vd - vb));
      });
      forBlocks<block>(count, [&](ptrdiff_t i) {
        const D *s = sums + i, *t = differences + i;
        if constexpr (Out::wantsX) {
          store(out.gx + first + i, (load(s) - load(s + 4)) + times<2>(load(s + 1) - load(s + 3)));
        }
        if constexpr (Out::wantsY) {
          store(out.gy + first + i,
                (load(t) + load(t + 4)) + times<4>(load(t + 1) + load(t + 3)) + times<6>(load(t + 2)));
        }
      });
      first += count;
    }
  }
};

// All rows of an image, border included. Columns beside the image are staged with their neighbours in copies of a
// block's surroundings; all others are read where they stand.
template <class Kernel, class S>
class GradientRows {
 public:
  using D = Component<S>;
  static constexpr int radius = Kernel::radius, side = 2 * radius + 1, block = gradientBlock<S>;

  // Of scratch, one row of the constant and what surrounds it.
  static int64_t constantSamples(QoriSize size) { return int64_t{size.width} + 2 * radius; }

  GradientRows(Plane<const S> image, QoriSize size, QoriBorderType border, S value, S* constantRow)
      : source_{image, size, border & 15, BorderSides::of(border), constantRow + radius} {
    const BorderSides& sides = source_.sides;
    if (source_.rule == qorBorderConst && !sides.all()) {
      for (int64_t i = 0; i < constantSamples(size); ++i) constantRow[i] = value;
    }
    for (int i = 0; i < radius; ++i) {
      left_[i] = borderPosition(-1 - i, size.width, source_.rule, sides.left, sides.right);
      right_[i] = borderPosition(size.width + i, size.width, source_.rule, sides.left, sides.right);
    }
  }

  template <class Out>
  void row(int y, const Out& out) const {
    const S* rows[side];
    for (int j = 0; j < side; ++j) rows[j] = source_.row(y + j - radius);
    const int width = source_.size.width;
    int first = 0, end = width;
    if (!source_.sides.left || width < block) {
      first = width < block ? width : block;
      stage(rows, 0, first, out);
    }
    if (!source_.sides.right && first < end) {
      end = width - block;
      stage(rows, end, block, out);
    }
    if (first >= end) return;
    if (end - first < block) {
      // Fewer than a block between the staged ones: redo some of the right ones, which are there.
      stage(rows, first, width - first < block ? width - first : block, out);
      return;
    }
    for (const S*& r : rows) r += first;
    Kernel::run(rows, end - first, out.from(first));
  }

 private:
  S pick(const S* row, int position) const { return position == outside ? source_.constantRow[0] : row[position]; }

  // Pixels x to x + n - 1 of a row, at most a block. The ends of rows with enough pixels are copied as a whole.
  template <class Out>
  [[gnu::noinline]] void stage(const S* const* rows, int x, int n, const Out& out) const {
    constexpr int inside = block + radius;
    const int width = source_.size.width;
    S copies[side][block + 2 * radius];
    const S* staged[side];
    for (int j = 0; j < side; ++j) {
      S* const to = copies[j];
      if (x == 0 && width >= inside) {
        for (int i = 0; i < radius; ++i) to[i] = pick(rows[j], left_[radius - 1 - i]);
        __builtin_memcpy(to + radius, rows[j], inside * sizeof(S));
      } else if (x == width - block && x >= radius) {
        __builtin_memcpy(to, rows[j] + x - radius, inside * sizeof(S));
        for (int i = 0; i < radius; ++i) to[inside + i] = pick(rows[j], right_[i]);
      } else {
        stageAny(rows[j], x, n, to);
      }
      staged[j] = to + radius;
    }
    D gx[block], gy[block];
    Kernel::run(staged, block, Out{gx, gy});
    if constexpr (Out::wantsX) __builtin_memcpy(out.gx + x, gx, static_cast<size_t>(n) * sizeof(D));
    if constexpr (Out::wantsY) __builtin_memcpy(out.gy + x, gy, static_cast<size_t>(n) * sizeof(D));
  }

  [[gnu::noinline]] void stageAny(const S* row, int x, int n, S* to) const {
    const int width = source_.size.width, first = x - radius;
    for (int i = 0; i < block + 2 * radius; ++i) {
      const int at = first + i;
      to[i] = i >= n + 2 * radius ? S{}
              : at < 0            ? pick(row, left_[-1 - at])
              : at < width        ? row[at]
                                  : pick(row, right_[at - width]);
    }
  }

  BorderedImage<S> source_;
  int left_[radius], right_[radius];
};

}  // namespace qor
