// Row drivers: the loops over a row, written once. A kernel handles a fixed number of samples at an address; the
// drivers see to the remainder, so that nothing outside the row is read or written.
#pragma once

#include <assert.h>

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// How a row is stored. Streaming goes past the caches; each thread that streams ends with finishStreams.
enum class Stores { cached, streamed };

inline void finishStreams() { _mm_sfence(); }

// Calls map with how rows are stored; it maps all rows of its thread.
template <class Map>
inline void withStores(bool streamed, const Map& map) {
  if (streamed) {
    map(std::integral_constant<Stores, Stores::streamed>());
    finishStreams();
  } else {
    map(std::integral_constant<Stores, Stores::cached>());
  }
}

namespace detail {

// The last samples of a row: a whole block at its end, or of a shorter row a copy in front of zeros.
template <class S, int block>
struct End {
  const S* samples;
  S copy[block];

  End(const S* src, ptrdiff_t n) : samples(n < block ? copy : src + (n - block)) {
    if (n >= block) return;
    __builtin_memset(copy, 0, sizeof copy);
    __builtin_memcpy(copy, src, static_cast<size_t>(n) * sizeof(S));
  }
};

template <class Kernel, class... S>
QOR_FORCE_INLINE bool leavesBlock(const Kernel& kernel, const S*... src) {
  if constexpr (requires { kernel.leaves(src...); }) {
    return kernel.leaves(src...);
  } else {
    return false;
  }
}

}  // namespace detail

// dst[x] = kernel(src...[x]) for n samples. kernel(const S*...) reads as many samples of every source as the block that
// it returns has. A kernel may tell by leaves(const S*...) that a block of the destination keeps what it has.
//
// The remainder is a whole block at the row's end, computed before anything is stored and stored last. Both blocks that
// reach a sample thus see the row as it was, so a source may be the destination itself (the same address and step),
// also when the kernel accumulates. Any other overlap of source and destination is undefined.
//
// Four blocks a step hide the loop's own cost behind a light kernel; a heavy one takes one, so that its constants stay
// in registers and its code in the instruction cache.
template <Stores stores = Stores::cached, int unroll = 4, class D, class Kernel, class... S>
inline void mapRow(D* dst, ptrdiff_t n, const Kernel& given, const S*... src) {
  const auto kernel = given;
  using Result = std::invoke_result_t<Kernel, const S*...>;
  static_assert(std::is_same_v<D, typename Result::Sample>);
  constexpr int block = Result::samples;
  const auto last = kernel(detail::End<S, block>(src, n).samples...);
  if (n < block) {
    storeFirst(dst, n, last);
    return;
  }
  ptrdiff_t x = 0;
  if constexpr (stores == Stores::streamed) {
    constexpr uintptr_t alignment = sizeof(Result::v[0]);
    const auto first = kernel(src...);
    const auto misaligned = reinterpret_cast<uintptr_t>(dst) & (alignment - 1);
    assert(misaligned % sizeof(D) == 0);
    if (misaligned != 0) x = static_cast<ptrdiff_t>((alignment - misaligned) / sizeof(D));
    for (; x <= n - block; x += block)
      if (!detail::leavesBlock(kernel, (src + x)...)) stream(dst + x, kernel((src + x)...));
    if (!detail::leavesBlock(kernel, src...)) store(dst, first);
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
    for (; x <= n - block; x += block)
      if (!detail::leavesBlock(kernel, (src + x)...)) store(dst + x, kernel((src + x)...));
  }
  if (!detail::leavesBlock(kernel, (src + (n - block))...)) store(dst + (n - block), last);
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
  const bool joined = (planes.contiguous(samples) && ...);
  const ptrdiff_t n = static_cast<ptrdiff_t>(joined ? samples * rows : samples);
  for (int y = first, end = joined ? first + 1 : first + rows; y < end; ++y) row(n, planes.row(y)...);
}

}  // namespace qor
