// Row drivers: the loops over a row, written once. A kernel handles a fixed number of samples at an address; the
// drivers see to the remainder, so that nothing outside the row is read or written.
#pragma once

#include <assert.h>

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// How a row is stored. Streaming goes past the caches; each thread that streams ends with finishStreams.
enum class Stores { cached, streamed };

inline void finishStreams() { _mm_sfence(); }

namespace detail {

// A copy of a few samples in front of enough others that a kernel may read a whole block.
template <class T, int block>
struct Padded {
  T samples[block];

  Padded(const T* src, ptrdiff_t n) : samples{} { __builtin_memcpy(samples, src, static_cast<size_t>(n) * sizeof(T)); }
};

}  // namespace detail

// dst[x] = kernel(src...[x]) for n samples. kernel(const S*...) reads as many samples of every source as the block that
// it returns has.
//
// The remainder is a whole block at the row's end, computed before anything is stored and stored last. Both blocks that
// reach a sample thus see the row as it was, so a source may be the destination itself (the same address and step),
// also when the kernel accumulates. Any other overlap of source and destination is undefined.
//
// Four blocks a step hide the loop's own cost behind a light kernel; a heavy one takes one, so that its constants stay
// in registers and its code in the instruction cache.
template <Stores stores = Stores::cached, int unroll = 4, class D, class Kernel, class... S>
inline void mapRow(D* dst, ptrdiff_t n, Kernel kernel, const S*... src) {
  using Result = std::invoke_result_t<Kernel, const S*...>;
  static_assert(std::is_same_v<D, typename Result::Sample>);
  constexpr int block = Result::samples;
  if (n < block) {
    const auto result = [&](const auto&... copies) {
      return kernel(copies.samples...);
    }(detail::Padded<S, block>(src, n)...);
    storeFirst(dst, n, result);
    return;
  }
  const auto last = kernel((src + (n - block))...);
  ptrdiff_t x = 0;
  if constexpr (stores == Stores::streamed) {
    constexpr uintptr_t alignment = sizeof(Result::v[0]);
    const auto first = kernel(src...);
    const auto misaligned = reinterpret_cast<uintptr_t>(dst) & (alignment - 1);
    assert(misaligned % sizeof(D) == 0);
    if (misaligned != 0) x = static_cast<ptrdiff_t>((alignment - misaligned) / sizeof(D));
    for (; x <= n - block; x += block) stream(dst + x, kernel((src + x)...));
    store(dst, first);
  } else {
    // Written out: as an inner loop it costs light kernels a tenth of their speed.
    static_assert(unroll == 1 || unroll == 4);
    if constexpr (unroll == 4) {
      for (; x <= n - 4 * block; x += 4 * block) {
        store(dst + x, kernel((src + x)...));
        store(dst + x + block, kernel((src + x + block)...));
        store(dst + x + 2 * block, kernel((src + x + 2 * block)...));
        store(dst + x + 3 * block, kernel((src + x + 3 * block)...));
      }
    }
    for (; x <= n - block; x += block) store(dst + x, kernel((src + x)...));
  }
  store(dst + (n - block), last);
}

// Calls kernel(x) for blocks that cover 0 to n - 1, of which the last may overlap its neighbour: for kernels that give
// a sample the same value twice, on a destination that is none of the sources. n is at least a block.
template <int block, class Kernel>
inline void forBlocks(ptrdiff_t n, const Kernel& kernel) {
  ptrdiff_t x = 0;
  for (; x <= n - 2 * block; x += 2 * block) {
    kernel(x);
    kernel(x + block);
  }
  if (x <= n - block) kernel(x);
  if (n % block != 0) kernel(n - block);
}

// An image as kernels see it: rows by number, and whether rows follow each other without a gap.
template <class T>
struct Plane {
  T* first;
  int step;

  T* row(int y) const { return rowAt(first, step, y); }
  bool contiguous(int64_t samples) const { return step == samples * static_cast<int64_t>(sizeof(T)); }
};
template <class T>
Plane(T*, int) -> Plane<T>;

// Calls row(samples, pointers to the row in every plane...) for rows first to first + rows - 1. Where no plane has
// gaps, the rows are one long row.
template <class Row, class... T>
inline void forEachRow(int64_t samples, int first, int rows, const Row& row, Plane<T>... planes) {
  if ((planes.contiguous(samples) && ...)) {
    row(static_cast<ptrdiff_t>(samples * rows), planes.row(first)...);
  } else {
    for (int y = first; y < first + rows; ++y) row(static_cast<ptrdiff_t>(samples), planes.row(y)...);
  }
}

}  // namespace qor
