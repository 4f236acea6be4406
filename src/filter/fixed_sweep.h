// The loop of the fixed filters: a few rows of the image go in, as many rows of the result come out, and what the next
// rows need of those before them stays in intermediate rows.
#pragma once

#include <string.h>

#include "filter/border_row.h"
#include "filter/fixed_filters.h"

namespace qor::inline QOR_LEVEL {

// The columns left and right of the image, and what stands there: the same in every row.
template <class S>
struct SideColumns {
  static constexpr int most = 2;
  ptrdiff_t left[most], right[most];  // columns that stand for -1, -2 and width, width + 1
  bool leftIsValue, rightIsValue;
  S value;

  SideColumns(QoriBorderType border, int width, S borderValue) : value(borderValue) {
    const Edge leftEdge = edgeOf(border, qorBorderInMemLeft, width);
    const Edge rightEdge = edgeOf(border, qorBorderInMemRight, width);
    leftIsValue = leftEdge == Edge::value;
    rightIsValue = rightEdge == Edge::value;
    for (int i = 0; i < most; ++i) {
      left[i] = columnOutside(leftEdge, -1 - i, width);
      right[i] = columnOutside(rightEdge, ptrdiff_t{width} + i, width);
    }
  }
  S leftOf(const S* row, int i) const { return leftIsValue ? value : row[left[i]]; }
  S rightOf(const S* row, int i) const { return rightIsValue ? value : row[right[i]]; }
};

// The two ends of a row, in front of which and behind which a kernel may read `reach` pixels.
template <class S, int block, int reach>
class RowEnds {
 public:
  // Wide rows have blocks that lie inside with all that their kernels read.
  static constexpr bool isWide(int width) { return width >= 2 * block; }
  // First column of the blocks at the end.
  static constexpr ptrdiff_t tailOf(int width) { return isWide(width) ? (width - reach) / block * block : 0; }

  void stage(const S* row, int width, const SideColumns<S>& sides) {
    S* right = tail_ + reach;
    if (isWide(width)) {
      for (int i = 0; i < reach; ++i) head_[reach - 1 - i] = sides.leftOf(row, i);
      memcpy(head_ + reach, row, (block + reach) * sizeof(S));
      tailColumn_ = width - 2 * block;
      memcpy(right, row + tailColumn_, 2 * block * sizeof(S));
      right += 2 * block;
    } else {
      for (int i = 0; i < reach; ++i) tail_[reach - 1 - i] = sides.leftOf(row, i);
      tailColumn_ = 0;
      memcpy(right, row, static_cast<size_t>(width) * sizeof(S));
      right += width;
    }
    for (int i = 0; i < reach; ++i) right[i] = sides.rightOf(row, i);
  }
  const S* head() const { return head_ + reach; }
  const S* tail(ptrdiff_t x) const { return tail_ + reach + (x - tailColumn_); }

 private:
  static_assert(block >= 2 * reach);
  S head_[block + 2 * reach];
  ptrdiff_t tailColumn_;
  // Whatever a block at the end reads behind the border is filtered into columns that nobody looks at.
  S tail_[3 * block + 2 * reach] = {};
};

// A vector of the source in the samples of the intermediate rows.
inline V16s widened(const Qor8u* p) { return as<Qor16s>(widenLo(load8(p))); }
inline V32f widened(const Qor32f* p) { return load(p); }

// Sample of the intermediate rows.
template <class S>
using Intermediate = std::conditional_t<std::is_same_v<S, Qor8u>, Qor16s, Qor32f>;

// Intermediate rows of one band. Row i of the K - 1 that precede the next row to come stands at row[i], plane p so many
// samples behind it. Rows are padded to whole blocks and aligned.
template <class F, class M>
struct State {
  static constexpr int rows = F::taps - 1;
  M* row[rows];
  ptrdiff_t plane;

  // The oldest rows have been overwritten by `count` new ones.
  template <int count>
  void advance() {
    if constexpr (count < rows) {
      M* before[rows];
      for (int i = 0; i < rows; ++i) before[i] = row[i];
      for (int i = 0; i < rows; ++i) row[i] = before[(i + count) % rows];
    }
  }
};

// `count` rows of the result. The new rows of the image, of which source[j] is the last under the kernel for dst[j],
// are filtered along and join the state, from which the oldest rows go.
template <class F, class S, int count>
struct Sweep {
  using M = Intermediate<S>;
  using V = Vec<M>;
  static constexpr int K = F::taps, reach = K / 2, lanes = V::lanes, block = 2 * lanes;
  static constexpr int kept = count < K - 1 ? count : K - 1;
  using Ends = RowEnds<S, block, reach>;

  template <class D, class Store>
  static void run(const S* const (&source)[count], const SideColumns<S>& sides, State<F, M>& state,
                  D* const (&dst)[count], int width, const Store& store) {
    Ends ends[count];
    for (int j = 0; j < count; ++j) ends[j].stage(source[j], width, sides);
    // Copies whose address nobody has, or every store would make the compiler read them anew.
    const State<F, M> rows = state;
    const Store put = store;
    const S* from[count];
    D* to[count];
    for (int j = 0; j < count; ++j) from[j] = source[j], to[j] = dst[j];
    ptrdiff_t x = 0;
    if (Ends::isWide(width)) {
      const auto inside = [&](int j, V lo, V hi) { put(to[j] + x, lo, hi); };
      blockAt([&](int j) { return ends[j].head(); }, rows, x, inside);
      const ptrdiff_t tail = Ends::tailOf(width);
      for (x = block; x < tail; x += block) blockAt([&](int j) { return from[j] + x; }, rows, x, inside);
    }
    for (; x < width; x += block) {
      blockAt([&](int j) { return ends[j].tail(x); }, rows, x,
              [&](int j, V lo, V hi) { storeTail(put, to[j], x, width, lo, hi); });
    }
    state.template advance<count>();
  }

  template <class D, class Store>
  static void storeTail(const Store& store, D* dst, ptrdiff_t x, int width, V lo, V hi) {
    if (width - x >= block) {
      store(dst + x, lo, hi);
    } else {
      store.first(dst + x, width - x, lo, hi);
    }
  }

  // Both vectors of a block, for all rows.
  template <class Source, class Emit>
  QOR_FORCE_INLINE static void blockAt(Source source, const State<F, M>& state, ptrdiff_t x, Emit emit) {
    V results[2][count];
    for (int half = 0; half < 2; ++half) {
      V r[F::planes][count + K - 1];
      const ptrdiff_t at = x + half * lanes;
      for (int p = 0; p < F::planes; ++p) {
        for (int i = 0; i < K - 1; ++i) r[p][i] = loadAligned(state.row[i] + p * state.plane + at);
      }
      for (int j = 0; j < count; ++j) {
        const S* const from = source(j) + half * lanes;
        V planes[F::planes];
        F::rows([from](int i) { return widened(from + (i - reach)); }, planes);
        for (int p = 0; p < F::planes; ++p) {
          r[p][K - 1 + j] = planes[p];
          if (j >= count - kept) qor::store(state.row[j - (count - kept)] + p * state.plane + at, planes[p]);
        }
      }
      F::template columns<count>(r, results[half]);
    }
    for (int j = 0; j < count; ++j) emit(j, results[0][j], results[1][j]);
  }
};

// A row of the image into a row of the state.
template <class F, class S>
void filterAlong(const S* source, const SideColumns<S>& sides, Intermediate<S>* row, ptrdiff_t plane, int width) {
  using Shape = Sweep<F, S, 1>;
  using V = typename Shape::V;
  typename Shape::Ends ends;
  ends.stage(source, width, sides);
  const auto vectorAt = [&](const S* from, ptrdiff_t x) {
    V planes[F::planes];
    F::rows([from](int i) { return widened(from + (i - Shape::reach)); }, planes);
    for (int p = 0; p < F::planes; ++p) store(row + p * plane + x, planes[p]);
  };
  const auto blockAt = [&](const S* from, ptrdiff_t x) {
    vectorAt(from, x);
    vectorAt(from + V::lanes, x + V::lanes);
  };
  ptrdiff_t x = 0;
  if (Shape::Ends::isWide(width)) {
    blockAt(ends.head(), 0);
    for (x = Shape::block; x < Shape::Ends::tailOf(width); x += Shape::block) blockAt(source + x, x);
  }
  for (; x < width; x += Shape::block) blockAt(ends.tail(x), x);
}

// One row of the result from the state and one more intermediate row, which stays where it is.
template <class F, class S, class D, class Store>
void filterDown(const State<F, Intermediate<S>>& state, const Intermediate<S>* newest, D* dst, int width,
                const Store& store) {
  using Shape = Sweep<F, S, 1>;
  using V = typename Shape::V;
  for (ptrdiff_t x = 0; x < width; x += Shape::block) {
    V results[2][1];
    for (int half = 0; half < 2; ++half) {
      V r[F::planes][F::taps];
      for (int p = 0; p < F::planes; ++p) {
        const ptrdiff_t at = p * state.plane + x + half * V::lanes;
        for (int i = 0; i < F::taps - 1; ++i) r[p][i] = loadAligned(state.row[i] + at);
        r[p][F::taps - 1] = loadAligned(newest + at);
      }
      F::template columns<1>(r, results[half]);
    }
    Shape::storeTail(store, dst, x, width, results[0][0], results[1][0]);
  }
}

}  // namespace qor
