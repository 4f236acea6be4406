// The loops of the fixed filters: a few rows of the image go in, as many rows of the result come out, and what the next
// rows need of those before them stays in intermediate rows. A filter's loops are handed to the driver as functions.
#pragma once

#include "filter/fixed_filter_kernels.h"
#include "filter/fixed_filter_stores.h"
#include "frame/row_ends.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

constexpr int mostTaps = 5, mostReach = mostTaps / 2, mostPlanes = 2, mostRowsAtOnce = 4;

// Sample of the intermediate rows.
template <class S>
using Intermediate = std::conditional_t<std::is_same_v<S, Qor8u>, Qor16s, Qor32f>;
// Intermediate rows: those that precede the next row to come, from the oldest on. Plane p of a row stands p * plane
// samples behind the first; planes are whole blocks and aligned.
template <class M>
struct State {
  M* row[mostTaps - 1];
  ptrdiff_t plane;
};

// What stands left and right of every row.
template <class S>
using BesideRow = Beside<S, mostReach>;

// The same address. The compiler must move it by itself: addresses that were just written one by one and are read two
// at a time make the processor wait.
template <class T>
QOR_FORCE_INLINE T* alone(T* p) {
  asm("" : "+r"(p));
  return p;
}

// Calls stretch(from, first, n) for stretches of n columns, in order: from[j] is column `first` of row j, in the image
// or in a copy of its ends. Stretches are whole blocks, so that the last may go on behind the row.
template <int block, int reach, int count, class S, class Stretch>
QOR_FORCE_INLINE void forStretches(const S* const* rows, ptrdiff_t width, const BesideRow<S>& beside,
                                   const Stretch& stretch) {
  using Ends = RowEnds<S, block, reach>;
  Ends ends[count];
  const S* from[count];
  const auto stretchOf = [&](const auto& sourceOf, ptrdiff_t first, ptrdiff_t end) {
    for (int j = 0; j < count; ++j) from[j] = sourceOf(j);
    stretch(from, first, end - first);
  };
  for (int j = 0; j < count; ++j) ends[j].copy(rows[j], width, beside);
  ptrdiff_t x = 0;
  if (Ends::isWide(width)) {
    const ptrdiff_t tail = (width - block) / block * block;
    stretchOf([&](int j) { return ends[j].head(); }, 0, block);
    stretchOf([&](int j) { return rows[j] + block; }, block, tail);
    x = tail;
  }
  stretchOf([&](int j) { return ends[j].tail(x); }, x, roundUpTo(width, block));
}

// The loops of filter F. The sums of `count` rows are formed together.
template <class F, class S, int count>
struct Loops {
  using M = Intermediate<S>;
  using V = Vec<M>;
  static constexpr int K = F::taps, reach = K / 2, lanes = V::lanes, block = sweepBlock<M>;
  static constexpr int kept = count < K - 1 ? count : K - 1;

  // `count` rows of the result. The new rows of the image, of which source[j] is the last under the kernel for dst[j],
  // are filtered along themselves and join the state, from which the oldest rows go.
  template <class D, class Store>
  static void sweep(const S* const* source, const BesideRow<S>& beside, State<M>& state, D* const* dst, ptrdiff_t width,
                    const Store& store) {
    forStretches<block, reach, count>(source, width, beside, [&](const S* const* from, ptrdiff_t first, ptrdiff_t n) {
      D* to[count];
      for (int j = 0; j < count; ++j) to[j] = dst[j] + first;
      if (first + n <= width) return blocks(from, state, first, n, to, store);
      M sums[count][2 * block];
      M* sumsOf[count];
      for (int j = 0; j < count; ++j) sumsOf[j] = sums[j];
      blocks(from, state, first, n, sumsOf, StorePlain());
      for (int j = 0; j < count; ++j) storeRow(sums[j], to[j], width - first, store);
    });
    if constexpr (count < K - 1) {
      M* before[K - 1];
      for (int i = 0; i < K - 1; ++i) before[i] = state.row[i];
      for (int i = 0; i < K - 1; ++i) state.row[i] = before[(i + count) % (K - 1)];
    }
  }

  // A row of the image into an intermediate row.
  static void along(const S* source, const BesideRow<S>& beside, M* row, ptrdiff_t plane, ptrdiff_t width) {
    forStretches<block, reach, 1>(&source, width, beside, [&](const S* const* from, ptrdiff_t first, ptrdiff_t n) {
      blocksAlong(from[0], row + first, plane, n);
    });
  }

  // K intermediate rows into a row of sums, padding included.
  static void down(const M* const* rows, ptrdiff_t plane, M* sums) {
    const M* row[K];
    for (int i = 0; i < K; ++i) row[i] = rows[i];
    for (ptrdiff_t x = 0; x < plane; x += lanes) {
      V r[F::planes][K], out[1];
      for (int p = 0; p < F::planes; ++p) {
        for (int i = 0; i < K; ++i) r[p][i] = loadAligned(row[i] + p * plane + x);
      }
      F::template columns<1>(r, out);
      store(sums + x, out[0]);
    }
  }

 private:
  // Blocks from column x on, n columns; from[j] and dst[j] are that column.
  template <class D, class Store>
  [[gnu::noinline]] static void blocks(const S* const* source, const State<M>& state, ptrdiff_t x, ptrdiff_t n,
                                       D* const* dst, const Store& store) {
    // Copies whose address nobody has, or every store would make the compiler read them anew.
    const Store put = store;
    const S* from[count];
    D* to[count];
    M* rows[K - 1];
    const ptrdiff_t plane = state.plane;
    for (int j = 0; j < count; ++j) from[j] = alone(source[j]), to[j] = alone(dst[j]);
    for (int i = 0; i < K - 1; ++i) rows[i] = alone(state.row[i] + x);
    for (ptrdiff_t i = 0; i < n; i += block) {
      V results[2][count];
      for (int half = 0; half < 2; ++half) {
        V r[F::planes][count + K - 1];
        const ptrdiff_t at = i + half * lanes;
        for (int p = 0; p < F::planes; ++p) {
          for (int k = 0; k < K - 1; ++k) r[p][k] = loadAligned(rows[k] + p * plane + at);
        }
        for (int j = 0; j < count; ++j) {
          const S* const s = from[j] + at;
          V planes[F::planes];
          F::rows([s](int k) { return loadAs<M>(s + (k - reach)); }, planes);
          for (int p = 0; p < F::planes; ++p) {
            r[p][K - 1 + j] = planes[p];
            if (j >= count - kept) qor::store(rows[j - (count - kept)] + p * plane + at, planes[p]);
          }
        }
        F::template columns<count>(r, results[half]);
      }
      for (int j = 0; j < count; ++j) put(to[j] + i, results[0][j], results[1][j]);
    }
  }

  [[gnu::noinline]] static void blocksAlong(const S* source, M* row, ptrdiff_t plane, ptrdiff_t n) {
    for (ptrdiff_t x = 0; x < n; x += lanes) {
      V planes[F::planes];
      F::rows([=](int k) { return loadAs<M>(source + x + (k - reach)); }, planes);
      for (int p = 0; p < F::planes; ++p) store(row + p * plane + x, planes[p]);
    }
  }
};

// A filter with its store, as the driver calls it. Results and stores have any type.
template <class S>
struct FixedKernel {
  using M = Intermediate<S>;
  int taps, planes, rowsAtOnce;
  M total[mostPlanes];  // what an image of ones gives along its rows
  void (*sweep)(const S* const* source, const BesideRow<S>& beside, State<M>& state, void* const* dst, ptrdiff_t width,
                const void* store);
  void (*along)(const S* source, const BesideRow<S>& beside, M* row, ptrdiff_t plane, ptrdiff_t width);
  void (*down)(const M* const* rows, ptrdiff_t plane, M* sums);
  void (*storeRow)(const M* sums, void* dst, ptrdiff_t width, const void* store);
};

// Rows of the result in one sweep: as many as share sums and loads of intermediate rows without running out of
// registers. Sums that go on from row to row need few of them.
template <class F, class S>
constexpr int rowsAtOnce = F::taps == 3 ? 4 : 2;
template <class Along>
inline constexpr int rowsAtOnce<Separable<Along, Sobel, 5>, Qor8u> = 4;
template <class S>
inline constexpr int rowsAtOnce<Lowpass<5>, S> = 4;
template <>
inline constexpr int rowsAtOnce<Laplacian<5>, Qor32f> = 1;

template <class F, class S, class D, class Store>
constexpr FixedKernel<S> fixedKernel() {
  using M = Intermediate<S>;
  constexpr int count = rowsAtOnce<F, S>;
  using L = Loops<F, S, count>;
  FixedKernel<S> k{};
  k.taps = F::taps;
  k.planes = F::planes;
  k.rowsAtOnce = count;
  for (int p = 0; p < F::planes; ++p) k.total[p] = static_cast<M>(F::template constant<M>(p));
  k.sweep = [](const S* const* source, const BesideRow<S>& beside, State<M>& state, void* const* dst, ptrdiff_t width,
               const void* store) {
    constexpr int rows = rowsAtOnce<F, S>;
    D* to[rows];
    for (int j = 0; j < rows; ++j) to[j] = static_cast<D*>(dst[j]);
    L::sweep(source, beside, state, to, width, *static_cast<const Store*>(store));
  };
  k.along = L::along;
  k.down = L::down;
  k.storeRow = [](const M* sums, void* dst, ptrdiff_t width, const void* store) {
    storeRow(sums, static_cast<D*>(dst), width, *static_cast<const Store*>(store));
  };
  return k;
}

}  // namespace qor
