// What the tracking of points computes from samples, in the two kinds of arithmetic that it has: bytes in units of
// 1/128 and whole numbers, or floats. Each kind gives
//
//     Image, Gradient    samples of the previous image's patch, and of its gradients
//     levelGradients     gradients of a whole level
//     patchGradients     gradients of a patch
//     blendGradients     those of a level, at a fraction of a pixel
//     matrix             sums of Ix * Ix, Ix * Iy, Iy * Iy over a window
//     vector             sums of Ix * d, Iy * d, d being the previous image less the next one, blended on the way
//     error              the sum of d * d
//
// Gradients are those of Scharr over 32: per pixel, right less left and below less above.
#pragma once

#include "filter/gradient_rows.h"
#include "geometry/subpixel_window.h"
#include "pyramid/flow_sums.h"

namespace qor::inline QOR_LEVEL {

// Patches are rows of `stride` samples with room behind the last for the blocks that reach beyond a window.
template <class Kind>
struct FlowWindow {
  const typename Kind::Image* image;
  const typename Kind::Gradient *gx, *gy;
  ptrdiff_t stride;
  QoriSize size;
};

// Where the window lies in the next image. A block is read past the window's last column.
template <class Kind>
struct NextSamples {
  Plane<const typename Kind::Sample> at;
  typename Kind::Blend blend;

  QOR_FORCE_INLINE auto block(int y, ptrdiff_t x) const {
    const auto row = [&](int j) __attribute__((always_inline)) {
      return Kind::Blend::template of<QOR_VECTOR_BYTES>(at.row(j) + x);
    };
    return blend.between(row(y), row(y + 1));
  }
};

namespace detail {

// Both components of a row of level gradients, times a factor.
template <class Kind>
struct LevelGradientRow {
  typename Kind::Gradient *gx, *gy;

  static constexpr bool wantsX = true, wantsY = true;
  LevelGradientRow from(ptrdiff_t i) const { return {gx + i, gy + i}; }
  template <class V>
  void put(ptrdiff_t i, V vx, V vy) const {
    store(gx + i, Kind::scaledGradient(vx));
    store(gy + i, Kind::scaledGradient(vy));
  }
};

constexpr Borders repeatedEdges = {.rules = ruleBits(qorBorderRepl), .refusal = qorStsBadArgErr};

}  // namespace detail

template <class Kind>
void levelGradients(Plane<const typename Kind::Sample> level, QoriSize size, typename Kind::Gradient* gx,
                    typename Kind::Gradient* gy) {
  using Sample = typename Kind::Sample;
  Sample none[2 * Scharr3::radius] = {};  // no side is a constant
  const GradientRows<Scharr3, Sample> rows(level, size, detail::repeatedEdges.sides(qorBorderRepl, size), 0, none);
  for (ptrdiff_t y = 0; y < size.height; ++y) {
    rows.row(static_cast<int>(y), detail::LevelGradientRow<Kind>{gx + y * size.width, gy + y * size.width});
  }
}

// ---- bytes. The patch is in units of 1/128, at most 32640. So are gradients, at most 16320 either way: 16 times 255
// units of a whole-level sum, or (3 * 32640 + 10 * 32640 + 3 * 32640 + 16) >> 5. Four products of a gradient and a
// difference, 4 * 16320 * 32640, and two of differences, 2 * 32640 * 32640, stay below 2^31.
struct ByteFlow {
  using Sample = Qor8u;
  using Image = Qor16u;
  using Gradient = Qor16s;
  using Blend = ByteBlend<ToSevenBits>;
  static constexpr int block = V8u::lanes;
  static constexpr Qor64f unit = 0.0078125;

  QOR_FORCE_INLINE static V16s scaledGradient(V16s sum) { return sum << 2; }

  static void patchGradients(const Image* image, Gradient* gx, Gradient* gy, ptrdiff_t stride, int window) {
    const auto sample = [](const Image* p) __attribute__((always_inline)) { return as<Qor16s>(load(p)); };
    const V16s outer = as<Qor16s>(splat(Qor32s{10 << 16 | 3})), last = as<Qor16s>(splat(Qor32s{16 << 16 | 3}));
    const V16s one = splat(Qor16s{1});
    // (3 a + 10 b + 3 c + 16) >> 5, with the 16 as a product of its own.
    const auto scharr = [=](V16s a, V16s b, V16s c) __attribute__((always_inline)) {
      const V32s first = multiplyAdd(zipFirst(a, b), outer) + multiplyAdd(zipFirst(c, one), last);
      const V32s second = multiplyAdd(zipLast(a, b), outer) + multiplyAdd(zipLast(c, one), last);
      return packToS(first >> 5, second >> 5);
    };
    for (int y = 0; y < window; ++y, gx += stride, gy += stride, image += stride) {
      for (ptrdiff_t x = 0; x < window; x += V16s::lanes) {
        const Image *const p = image + x, *const q = p + stride, *const r = q + stride;
        const V16s p0 = sample(p), p2 = sample(p + 2), r0 = sample(r), r2 = sample(r + 2);
        store(gx + x, scharr(p2 - p0, sample(q + 2) - sample(q), r2 - r0));
        store(gy + x, scharr(r0 - p0, sample(r + 1) - sample(p + 1), r2 - p2));
      }
    }
  }

  // (sum + 8192) >> 14 of the four samples with their weights.
  static void blendGradients(Plane<const Gradient> level, Gradient* dst, ptrdiff_t stride, QoriSize size, Qor32f a,
                             Qor32f b) {
    const FixedWeights w(FixedWeights::fraction(a), FixedWeights::fraction(b));
    const auto pair = [](Qor32s first, Qor32s second) __attribute__((always_inline)) {
      return as<Qor16s>(splat(second << 16 | first));
    };
    const V16s top = pair(w.w00, w.w10), bottom = pair(w.w01, w.w11);
    const V32s half = splat(Qor32s{8192});
    for (int y = 0; y < size.height; ++y, dst += stride) {
      const Gradient *const p = level.row(y), *const q = level.row(y + 1);
      for (ptrdiff_t x = 0; x < size.width; x += V16s::lanes) {
        const V16s p0 = load(p + x), p1 = load(p + x + 1), q0 = load(q + x), q1 = load(q + x + 1);
        const V32s first = multiplyAdd(zipFirst(p0, p1), top) + multiplyAdd(zipFirst(q0, q1), bottom);
        const V32s second = multiplyAdd(zipLast(p0, p1), top) + multiplyAdd(zipLast(q0, q1), bottom);
        store(dst + x, packToS((first + half) >> 14, (second + half) >> 14));
      }
    }
  }

  static Totals<3> matrix(const FlowWindow<ByteFlow>& w) {
    return sumOverWindow<ExactSum, PartOfBytes, block, 3>(
        w.size, [&](ExactSum(&sums)[3], int y, ptrdiff_t x, const auto& mask) __attribute__((always_inline)) {
          V32s xx{}, xy{}, yy{};
          for (int i = 0; i < 2; ++i) {
            const ptrdiff_t at = y * w.stride + x + i * V16s::lanes;
            const V16s gx = mask(load(w.gx + at), i), gy = mask(load(w.gy + at), i);
            xx = xx + multiplyAdd(gx, gx), xy = xy + multiplyAdd(gx, gy), yy = yy + multiplyAdd(gy, gy);
          }
          sums[0].add(xx), sums[1].add(xy), sums[2].add(yy);
        });
  }

  static Totals<2> vector(const FlowWindow<ByteFlow>& w, const NextSamples<ByteFlow>& next) {
    return sumOverWindow<ExactSum, PartOfBytes, block, 2>(
        w.size, [&](ExactSum(&sums)[2], int y, ptrdiff_t x, const auto& mask) __attribute__((always_inline)) {
          const auto nextBlock = next.block(y, x);
          V32s dx{}, dy{};
          for (int i = 0; i < 2; ++i) {
            const ptrdiff_t at = y * w.stride + x + i * V16s::lanes;
            const V16s d = mask(as<Qor16s>(load(w.image + at) - nextBlock.v[i]), i);
            dx = dx + multiplyAdd(load(w.gx + at), d), dy = dy + multiplyAdd(load(w.gy + at), d);
          }
          sums[0].add(dx), sums[1].add(dy);
        });
  }

  static Qor64f error(const FlowWindow<ByteFlow>& w, const NextSamples<ByteFlow>& next) {
    const auto totals = sumOverWindow<ExactSum, PartOfBytes, block, 1>(
        w.size, [&](ExactSum(&sums)[1], int y, ptrdiff_t x, const auto& mask) __attribute__((always_inline)) {
          const auto nextBlock = next.block(y, x);
          for (int i = 0; i < 2; ++i) {
            const ptrdiff_t at = y * w.stride + x + i * V16s::lanes;
            const V16s d = mask(as<Qor16s>(load(w.image + at) - nextBlock.v[i]), i);
            sums[0].add(multiplyAdd(d, d));
          }
        });
    return totals.of[0];
  }
};

// ---- floats. Patches, gradients and blends are in 32 bits, what is summed in 64, where differences and products of
// samples are formed. Every step is rounded in the order of the formulas here.
template <class S>
struct FloatFlow {
  using Sample = S;
  using Image = Qor32f;
  using Gradient = Qor32f;
  using Blend = FloatBlend<S, Qor32f>;
  static constexpr int block = V32f::lanes;
  static constexpr Qor64f unit = 1;

  QOR_FORCE_INLINE static V32f scaledGradient(V32f sum) { return sum * splat(0.03125F); }

  static void patchGradients(const Image* image, Gradient* gx, Gradient* gy, ptrdiff_t stride, int window) {
    const V32f outer = splat(0.09375F), middle = splat(0.3125F);
    const auto scharr = [=](V32f a, V32f b, V32f c) __attribute__((always_inline)) {
      return outer * a + middle * b + outer * c;
    };
    for (int y = 0; y < window; ++y, gx += stride, gy += stride, image += stride) {
      for (ptrdiff_t x = 0; x < window; x += V32f::lanes) {
        const Image *const p = image + x, *const q = p + stride, *const r = q + stride;
        const V32f p0 = load(p), p2 = load(p + 2), r0 = load(r), r2 = load(r + 2);
        store(gx + x, scharr(p2 - p0, load(q + 2) - load(q), r2 - r0));
        store(gy + x, scharr(r0, load(r + 1), r2) - scharr(p0, load(p + 1), p2));
      }
    }
  }

  static void blendGradients(Plane<const Gradient> level, Gradient* dst, ptrdiff_t stride, QoriSize size, Qor32f a,
                             Qor32f b) {
    const Plane patch{dst, static_cast<int>(rowBytes<Gradient>(stride))};
    blendRows(FloatBlend<Qor32f, Qor32f>(a, b), level, patch, size.width, size.height);
  }

  static Totals<3> matrix(const FlowWindow<FloatFlow>& w) {
    return sumOverWindow<FourSums, PartOfFloats, block, 3>(
        w.size, [&](FourSums(&sums)[3], int y, ptrdiff_t x, const auto& mask) __attribute__((always_inline)) {
          const ptrdiff_t at = y * w.stride + x;
          const V32f gx = mask(load(w.gx + at), 0), gy = mask(load(w.gy + at), 0);
          const auto add = [&](int half, V64f a, V64f b) __attribute__((always_inline)) {
            sums[0].add(half, a * a), sums[1].add(half, a * b), sums[2].add(half, b * b);
          };
          add(0, widenLo(gx), widenLo(gy));
          add(1, widenHi(gx), widenHi(gy));
        });
  }

  static Totals<2> vector(const FlowWindow<FloatFlow>& w, const NextSamples<FloatFlow>& next) {
    return sumOverWindow<FourSums, PartOfFloats, block, 2>(
        w.size, [&](FourSums(&sums)[2], int y, ptrdiff_t x, const auto& mask) __attribute__((always_inline)) {
          const ptrdiff_t at = y * w.stride + x;
          const V32f i = mask(load(w.image + at), 0), j = mask(next.block(y, x).v[0], 0);
          const V32f gx = mask(load(w.gx + at), 0), gy = mask(load(w.gy + at), 0);
          const auto add = [&](int half, V64f d, V64f a, V64f b) __attribute__((always_inline)) {
            sums[0].add(half, a * d), sums[1].add(half, b * d);
          };
          add(0, widenLo(i) - widenLo(j), widenLo(gx), widenLo(gy));
          add(1, widenHi(i) - widenHi(j), widenHi(gx), widenHi(gy));
        });
  }

  static Qor64f error(const FlowWindow<FloatFlow>& w, const NextSamples<FloatFlow>& next) {
    const auto totals = sumOverWindow<FourSums, PartOfFloats, block, 1>(
        w.size, [&](FourSums(&sums)[1], int y, ptrdiff_t x, const auto& mask) __attribute__((always_inline)) {
          const V32f i = mask(load(w.image + y * w.stride + x), 0), j = mask(next.block(y, x).v[0], 0);
          const V64f first = widenLo(i) - widenLo(j), second = widenHi(i) - widenHi(j);
          sums[0].add(0, first * first);
          sums[0].add(1, second * second);
        });
    return totals.of[0];
  }
};

template <class T>
using FlowKind = std::conditional_t<std::is_same_v<T, Qor8u>, ByteFlow, FloatFlow<T>>;

}  // namespace qor
