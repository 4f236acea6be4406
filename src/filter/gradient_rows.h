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

#include "filter/fixed_filter_taps.h"
#include "frame/row_ends.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

// Component type of a source, and as many pixels as a kernel takes at a time.
template <class S>
using Component = std::conditional_t<std::is_same_v<S, Qor8u>, Qor16s, Qor32f>;
template <class S>
constexpr int gradientBlock = Vec<Component<S>>::lanes;

template <class S>
QOR_FORCE_INLINE Vec<Component<S>> pixels(const S* p) {
  return loadAs<Component<S>>(p);
}

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

// All rows of an image, border included: the ends of a row from copies with what stands beside them, the others where
// they are.
template <class Kernel, class S>
class GradientRows {
 public:
  using D = Component<S>;
  static constexpr int radius = Kernel::radius, side = 2 * radius + 1, block = gradientBlock<S>;

  // Scratch: a row of the constant and what surrounds it.
  static S* layConstants(ScratchParts& parts, QoriSize size) { return parts.take<S>(int64_t{size.width} + 2 * radius); }

  GradientRows(Plane<const S> image, QoriSize size, const Sides& sides, S value, S* constants)
      : source_{image, sides, constants + radius}, beside_(sides.columns, value) {
    if (!sides.rows.has(Edge::value)) return;
    for (int64_t i = 0; i < int64_t{size.width} + 2 * radius; ++i) constants[i] = value;
  }

  template <class Out>
  void row(int y, const Out& out) const {
    const S* rows[side];
    for (int j = 0; j < side; ++j) rows[j] = source_.row(ptrdiff_t{y} + j - radius);
    const ptrdiff_t width = source_.sides.columns.n;
    if (source_.sides.columns.inMemory() && width >= block) {
      Kernel::run(rows, width, out);
    } else {
      withEnds(rows, width, out);
    }
  }

 private:
  template <class Out>
  [[gnu::noinline]] void withEnds(const S* const* rows, ptrdiff_t width, const Out& out) const {
    using Ends = RowEnds<S, block, radius>;
    Ends ends[side];
    for (int j = 0; j < side; ++j) ends[j].copy(rows[j], width, beside_);
    const auto run = [&](const auto& columnOf, ptrdiff_t n, const Out& to) {
      const S* from[side];
      for (int j = 0; j < side; ++j) from[j] = columnOf(j);
      Kernel::run(from, n, to);
    };
    if (!Ends::isWide(width)) {
      D gx[2 * block], gy[2 * block];
      run([&](int j) { return ends[j].tail(0); }, roundUpTo(width, block), Out{gx, gy});
      const size_t bytes = static_cast<size_t>(width) * sizeof(D);
      if constexpr (Out::wantsX) __builtin_memcpy(out.gx, gx, bytes);
      if constexpr (Out::wantsY) __builtin_memcpy(out.gy, gy, bytes);
      return;
    }
    run([&](int j) { return ends[j].head(); }, block, out);
    run([&](int j) { return ends[j].tail(width - block); }, block, out.from(width - block));
    const ptrdiff_t between = width - 2 * block;
    if (between >= block) {
      run([&](int j) { return rows[j] + block; }, between, out.from(block));
    } else if (between > 0) {
      // A block that redoes some of its neighbours and keeps inside with what it reads.
      const ptrdiff_t first = between > radius ? between : radius;
      run([&](int j) { return rows[j] + first; }, block, out.from(first));
    }
  }

  BorderedImage<S> source_;
  Beside<S, radius> beside_;
};

}  // namespace qor
