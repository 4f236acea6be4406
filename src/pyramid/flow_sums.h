// Sums over a window, of products of its samples: the same bits at every vector width.
//
// Rows are gone over in whole blocks, of which the last may reach beyond the window. A mask clears what it finds there,
// and what is cleared adds nothing: memory must be readable there, whatever it holds.
#pragma once

#include "frame/round.h"
#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// Of 16-bit samples: exact, so their order does not matter. Products of two pairs at a time are given as 32 bits, whose
// halves are gathered apart. 2^15 of them keep within their lanes.
class ExactSum {
 public:
  static constexpr int most = 1 << 15;

  QOR_FORCE_INLINE void add(V32s products) {
    high_ = high_ + (products >> 16);
    low_ = low_ + (products & splat(Qor32s{0xffff}));
  }
  // At least once for as many as `most` additions.
  QOR_FORCE_INLINE void settle() {
    const auto all = [](V32s a) __attribute__((always_inline)) {
      const Split<Qor64s> halves = split(a);
      return sum(halves.a + halves.b);
    };
    total_ += all(high_) * 0x10000 + all(low_);
    high_ = low_ = zero<Qor32s>();
  }
  Qor64f total() const { return static_cast<Qor64f>(total_); }

 private:
  V32s high_{}, low_{};
  Qor64s total_ = 0;
};

// Of floats, in 64 bits: column x of the window goes to partial sum x modulo 4, row after row, and in the end these are
// added as (0 + 2) + (1 + 3).
class FourSums {
 public:
  // half is 0 for the first half of a vector of floats, and 1 for the second.
  QOR_FORCE_INLINE void add(int half, V64f products) {
    V64f& partial = sums_[half % count];
    partial = partial + products;
  }
  QOR_FORCE_INLINE void settle() {}
  Qor64f total() const {
    Qor64f s[partials];
    for (int i = 0; i < count; ++i) store(s + i * V64f::lanes, sums_[i]);
    return (s[0] + s[2]) + (s[1] + s[3]);
  }

 private:
  static constexpr int partials = 4, count = partials / V64f::lanes;
  V64f sums_[count] = {};
};

// The lanes below n are all ones.
QOR_FORCE_INLINE V32s firstOf32(ptrdiff_t n) {
  return splat(static_cast<Qor32s>(n)) > laneByLane<V32s>([](int i) __attribute__((always_inline)) { return i; });
}
QOR_FORCE_INLINE V16s firstOf16(ptrdiff_t n) { return narrowToS(firstOf32(n), firstOf32(n - V32s::lanes)); }

// Leaves samples as they are.
struct WholeBlock {
  template <class V>
  QOR_FORCE_INLINE V operator()(V a, int) const {
    return a;
  }
};
// Clears those from number n of a block on; part i is the vector number i of the block.
struct PartOfBytes {
  V16s parts[2];

  explicit PartOfBytes(ptrdiff_t n) : parts{firstOf16(n), firstOf16(n - V16s::lanes)} {}
  QOR_FORCE_INLINE V16s operator()(V16s a, int i) const { return a & parts[i]; }
};
struct PartOfFloats {
  V32f part;

  explicit PartOfFloats(ptrdiff_t n) : part(as<Qor32f>(firstOf32(n))) {}
  QOR_FORCE_INLINE V32f operator()(V32f a, int) const { return a & part; }
};

template <int count>
struct Totals {
  Qor64f of[count];
};

// Totals of what add(sums, y, x, mask) adds for every block of a window. A row has at most 512 blocks, each of which
// adds at most twice to a sum.
template <class Sum, class Part, int block, int count, class Add>
QOR_FORCE_INLINE Totals<count> sumOverWindow(QoriSize window, const Add& add) {
  constexpr int rowsAtOnce = ExactSum::most / (2 * 512);
  Sum sums[count];
  const ptrdiff_t whole = window.width / block * block, rest = window.width - whole;
  const Part part(rest);
  for (int y = 0; y < window.height;) {
    for (const int end = window.height - y < rowsAtOnce ? window.height : y + rowsAtOnce; y < end; ++y) {
      for (ptrdiff_t x = 0; x < whole; x += block) add(sums, y, x, WholeBlock());
      if (rest > 0) add(sums, y, whole, part);
    }
    for (Sum& s : sums) s.settle();
  }
  Totals<count> totals;
  for (int i = 0; i < count; ++i) totals.of[i] = sums[i].total();
  return totals;
}

}  // namespace qor
