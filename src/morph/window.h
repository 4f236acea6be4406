// Extrema over windows: down columns and along rows of plain samples. Channels appear as the distance of a pixel's
// samples alone.
//
// Which samples are combined in which order depends on the window and the place in the row, never on the width of
// vectors: floats come out with the same bits at every level.
#pragma once

#include "frame/row.h"
#include "morph/extremum.h"

namespace qor::inline QOR_LEVEL {

// ---- units: one sample, one vector, or several. A row of any length is covered by them, without a byte outside.

// An image of floats need not be aligned to them everywhere, so samples are copied like vectors.
template <class T>
struct Single {
  using Sample = T;
  static constexpr int samples = 1;
  T v;
};
template <class U>
QOR_FORCE_INLINE U loadUnit(const typename U::Sample* p) {
  U unit;
  if constexpr (U::samples == 1) {
    __builtin_memcpy(&unit, p, sizeof unit);
  } else {
    for (auto& v : unit.v) v = load(p), p += v.lanes;
  }
  return unit;
}
template <class U>
QOR_FORCE_INLINE void storeUnit(typename U::Sample* p, const U& unit) {
  if constexpr (U::samples == 1) {
    __builtin_memcpy(p, &unit, sizeof unit);
  } else {
    store(p, unit);
  }
}
template <class Op, class T>
QOR_FORCE_INLINE Single<T> combined(Single<T> a, Single<T> b) {
  return {Op::of(a.v, b.v)};
}
template <class Op, class V, int count>
QOR_FORCE_INLINE BlockOf<V, count> combined(const BlockOf<V, count>& a, const BlockOf<V, count>& b) {
  BlockOf<V, count> c;
  for (int i = 0; i < count; ++i) c.v[i] = Op::of(a.v[i], b.v[i]);
  return c;
}

// Calls kernel(U, x) for units that cover 0 to n - 1. The last vector may overlap its neighbour, so a kernel gives a
// sample the same value however often; a row shorter than a vector goes sample by sample.
template <class T, int unroll, class Kernel>
QOR_FORCE_INLINE void forUnits(ptrdiff_t n, const Kernel& kernel) {
  using Many = Block<T, unroll>;
  using One = Block<T, 1>;
  ptrdiff_t x = 0;
  if (n < One::samples) {
    for (; x < n; ++x) kernel(std::type_identity<Single<T>>(), x);
    return;
  }
  for (; x <= n - Many::samples; x += Many::samples) kernel(std::type_identity<Many>(), x);
  for (; x <= n - One::samples; x += One::samples) kernel(std::type_identity<One>(), x);
  if (x < n) kernel(std::type_identity<One>(), n - One::samples);
}

// The same in rows of our own: the last vector reaches beyond them.
template <class T, int unroll, class Kernel>
QOR_FORCE_INLINE void forOwnUnits(ptrdiff_t n, const Kernel& kernel) {
  using Many = Block<T, unroll>;
  using One = Block<T, 1>;
  ptrdiff_t x = 0;
  for (; x <= n - Many::samples; x += Many::samples) kernel(std::type_identity<Many>(), x);
  for (; x < n; x += One::samples) kernel(std::type_identity<One>(), x);
}

// Rows of our own begin at multiples of this and are as long as another one: a vector of any level that begins inside
// and at a multiple of its length ends inside. The last row has as many bytes more behind it.
constexpr int ownRowAlignment = 32;

// ---- down the columns

// Windows of up to this many rows are combined directly, for so many rows of results at a time.
constexpr int mostDirectRows = 5, directRows = 4;

// Four rows of results, each from its own source row and the height - 1 below it, in two pairs: most rows are in both
// windows of a pair, those in the middle in all four.
template <class Op, int height, class T>
void combineDirectly(const T* const* table, ptrdiff_t n, T* results, ptrdiff_t stride) {
  const T* rows[height + directRows - 1];
  for (int i = 0; i < height + directRows - 1; ++i) rows[i] = table[i];
  forUnits<T, 2>(
      n, [&]<class U>(std::type_identity<U>, ptrdiff_t x) __attribute__((always_inline)) {
        const auto source = [&](int i) __attribute__((always_inline)) { return loadUnit<U>(rows[i] + x); };
        // What both rows of a pair have in common.
        U above = source(1), below = source(height == 2 ? height + 1 : height);
        if constexpr (height > 2) {
          above = combined<Op>(above, source(2));
          below = combined<Op>(below, source(height + 1));
        }
        if constexpr (height > 3) {
          U middle = source(3);
          for (int i = 4; i < height; ++i) middle = combined<Op>(middle, source(i));
          above = combined<Op>(above, middle);
          below = combined<Op>(middle, below);
        }
        const U pixels[directRows] = {combined<Op>(source(0), above), combined<Op>(above, source(height)),
                                      combined<Op>(source(2), below), combined<Op>(below, source(height + 2))};
        for (int i = 0; i < directRows; ++i) storeUnit(results + i * stride + x, pixels[i]);
      });
}

// As many rows of results as the window has, or count of them, from 2 * height - 1 rows of sources: of each the
// extremum from its first row to the end of the first `height` source rows, then that of the rows after them.
template <class Op, class T>
void combineBlock(const T* const* rows, ptrdiff_t height, ptrdiff_t count, ptrdiff_t n, T* results, ptrdiff_t stride) {
  forUnits<T, 4>(
      n, [&]<class U>(std::type_identity<U>, ptrdiff_t x) __attribute__((always_inline)) {
        U running = loadUnit<U>(rows[height - 1] + x);
        ptrdiff_t i = height - 1;
        for (; i >= count; --i) running = combined<Op>(running, loadUnit<U>(rows[i - 1] + x));
        T* result = results + i * stride + x;
        for (; i > 0; --i, result -= stride) {
          storeUnit(result, running);
          running = combined<Op>(running, loadUnit<U>(rows[i - 1] + x));
        }
        storeUnit(result, running);
        if (count == 1) return;
        running = loadUnit<U>(rows[height] + x);
        for (i = 1;; ++i) {
          result += stride;
          storeUnit(result, combined<Op>(loadUnit<U>(result), running));
          if (i == count - 1) break;
          running = combined<Op>(running, loadUnit<U>(rows[height + i] + x));
        }
      });
}

// ---- along a row

// Whether the last vector may reach beyond the end of a row of results, as it may in our own.
enum class RowEnd { open, exact };

// n samples of results, each combined from `count` samples: one `step` behind the other, but the last one `last` behind
// the first.
template <class Op, int count, RowEnd end, class T>
void combineAt(const T* from, ptrdiff_t step, ptrdiff_t last, T* results, ptrdiff_t n) {
  const auto kernel = [&]<class U>(std::type_identity<U>, ptrdiff_t x) __attribute__((always_inline)) {
    U result = loadUnit<U>(from + x);
    for (int i = 1; i < count; ++i) {
      result = combined<Op>(result, loadUnit<U>(from + x + (i == count - 1 ? last : i * step)));
    }
    storeUnit(results + x, result);
  };
  if constexpr (end == RowEnd::open) {
    forOwnUnits<T, 4>(n, kernel);
  } else {
    forUnits<T, 4>(n, kernel);
  }
}

// The fewest windows of `made` pixels that cover one of `window` pixels, which takes five at most: the last of them
// overlaps the others.
template <class Op, RowEnd end, class T>
void combineCovering(const T* from, int channels, ptrdiff_t made, ptrdiff_t window, T* results, ptrdiff_t n) {
  const ptrdiff_t step = made * channels, last = (window - made) * channels;
  if (window == made) return combineAt<Op, 1, end>(from, step, last, results, n);
  if (window <= 2 * made) return combineAt<Op, 2, end>(from, step, last, results, n);
  if (window <= 3 * made) return combineAt<Op, 3, end>(from, step, last, results, n);
  if (window <= 4 * made) return combineAt<Op, 4, end>(from, step, last, results, n);
  return combineAt<Op, 5, end>(from, step, last, results, n);
}

// n samples of results, of windows of so many pixels that all lie within a row of our own, of which it is left with
// nothing. Windows of 4, 16, ... pixels come first, in place.
template <class Op, class T>
void combineAlong(T* own, int channels, ptrdiff_t window, T* results, ptrdiff_t n) {
  ptrdiff_t made = 1;
  for (; window > (made == 1 ? 5 : 4 * made); made *= 4) {
    combineCovering<Op, RowEnd::open>(own, channels, made, 4 * made, own, n + (window - 4 * made) * channels);
  }
  combineCovering<Op, RowEnd::exact>(own, channels, made, window, results, n);
}

// Results of windows that are cut off at an end of the row, from that end on: `count` pixels, the first window reaching
// to pixel firstEnd, the next to the next, as far as there are pixels. Each holds the end's pixel.
//
// row and results point at the sample of a channel in the pixels at that end, step samples lead to the next one.
template <class Op, class T>
void combineCut(const T* row, ptrdiff_t pixels, ptrdiff_t step, ptrdiff_t firstEnd, T* results, ptrdiff_t count) {
  if (count == 0) return;
  Single<T> running = loadUnit<Single<T>>(row);
  ptrdiff_t at = 1;
  const auto take = [&](ptrdiff_t i) { running = combined<Op>(running, loadUnit<Single<T>>(row + i * step)); };
  for (; count > 0 && firstEnd <= 0; --count, ++firstEnd, results += step) storeUnit(results, running);
  for (; at < firstEnd && at < pixels; ++at) take(at);
  for (; count > 0 && at < pixels; --count, ++at, results += step) {
    take(at);
    storeUnit(results, running);
  }
  for (; count > 0; --count, results += step) storeUnit(results, running);
}

}  // namespace qor
