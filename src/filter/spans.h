// One-dimensional filters: spans say where the samples under each tap of neighbouring results stand, a filter makes the
// results. Rows and columns differ in their spans alone.
//
// A filter has the type of its Result, its kernelSize (0: any), the Blocks of groups that it makes at a time, and
//
//     template <int groups, class Span> void write(Result* dst, const Span& span) const;
//
// for groups * group results.
#pragma once

#include "frame/round.h"
#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// Results inside a row are rounded to nearest, ties to even; the first and last ones of a row, and in a column pass the
// columns behind the last full block, are truncated.
enum class Rounding { nearest, truncated };

// A group: the results whose 32-bit sums fill a vector.
constexpr int group = V32s::lanes;

// The least and the most groups that a filter makes at a time: as many sums as stay in registers.
struct Blocks {
  int least, most;
};

// ---- spans: consecutive vectors of the samples under a tap, in lanes of type W

// Along a row: the same channel of consecutive pixels.
template <int channels, class T>
struct RowSpan {
  const T* p;

  template <class W>
  QOR_FORCE_INLINE Vec<W> at(ptrdiff_t tap, int vector) const {
    return loadAs<W>(p + tap * channels + vector * Vec<W>::lanes);
  }
};

// Down the columns: the same column of consecutive rows.
template <class T>
struct ColumnSpan {
  const T* const* rows;
  ptrdiff_t x;

  template <class W>
  QOR_FORCE_INLINE Vec<W> at(ptrdiff_t tap, int vector) const {
    return loadAs<W>(rows[tap] + x + vector * Vec<W>::lanes);
  }
};

// The first columns of rows that have no more, fewer than a filter takes; the other lanes are zero.
template <class T>
struct FewColumns {
  const T* const* rows;
  int count;

  template <class W>
  [[gnu::noinline]] Vec<W> at(ptrdiff_t tap, int vector) const {
    constexpr int lanes = Vec<W>::lanes;
    const int left = count - vector * lanes;
    T copy[lanes]{};
    if (left > 0) {
      __builtin_memcpy(copy, rows[tap] + vector * lanes, static_cast<size_t>(left < lanes ? left : lanes) * sizeof(T));
    }
    return loadAs<W>(copy);
  }
};

// Calls f(std::integral_constant): 3 and 5 taps have kernels of their own, 0 stands for any number.
template <class F>
void withKernelSize(int kernelSize, const F& f) {
  if (kernelSize == 3) return f(std::integral_constant<int, 3>());
  if (kernelSize == 5) return f(std::integral_constant<int, 5>());
  f(std::integral_constant<int, 0>());
}

// ---- results

// How the sums of two neighbouring vectors stand: as their addresses, or as Split holds them.
enum class Order { consecutive, split };

// 32-bit integers to samples, saturated.
template <Order order, class D, int groups>
QOR_FORCE_INLINE void storeIntegers(D* dst, const V32s (&sum)[groups]) {
  static_assert(groups % 2 == 0);
  const auto pair = [&](int g) {
    if constexpr (order == Order::split) {
      return packToS(sum[g], sum[g + 1]);
    } else {
      return narrowToS(sum[g], sum[g + 1]);
    }
  };
  if constexpr (std::is_same_v<D, Qor16u>) {
    static_assert(order == Order::consecutive);
    for (int g = 0; g < groups; g += 2) store(dst + g * group, narrowToU(sum[g], sum[g + 1]));
  } else if constexpr (sizeof(D) == 2) {
    for (int g = 0; g < groups; g += 2) store(dst + g * group, pair(g));
  } else if constexpr (groups == 2) {
    storeAs(dst, pair(0));
  } else {
    for (int g = 0; g < groups; g += 4) {
      Vec<D> result;
      if constexpr (order == Order::split) {
        const V16s first = pair(g), second = pair(g + 2);
        if constexpr (std::is_signed_v<D>) result = narrowToS(first, second);
        if constexpr (std::is_unsigned_v<D>) result = narrowToU(first, second);
      } else {
        if constexpr (std::is_signed_v<D>) result = narrowToS(sum[g], sum[g + 1], sum[g + 2], sum[g + 3]);
        if constexpr (std::is_unsigned_v<D>) result = narrowToU(sum[g], sum[g + 1], sum[g + 2], sum[g + 3]);
      }
      store(dst + g * group, result);
    }
  }
}

// The first count of the results, at most 2 * most - 1: by halves, since copies of a few samples are what the edges of
// every row end with.
template <int most, class D>
QOR_FORCE_INLINE void copyFirst(D* dst, const D* from, ptrdiff_t count) {
  if ((count & most) != 0) {
    __builtin_memcpy(dst, from, most * sizeof(D));
    dst += most;
    from += most;
  }
  if constexpr (most > 1) copyFirst<most / 2>(dst, from, count);
}

}  // namespace qor
