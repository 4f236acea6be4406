// Means over a rectangle from the sums of its columns, which slide along the row.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// Sums along a row go by fours at every level, two of them at a time.
using Four = Short<Qor32f>;
using TwoFours = BlockOf<Vec<Qor32f>, 2 * Four::lanes / V32f::lanes>;

template <class V>
V lastInAll(V a) {
  return reordered<3, 3, 3, 3>(a);
}

// Within each four: the first sum is the first sample; the last, of all.
template <class V>
V prefixSums(V a) {
  using Lanes = VecOf<Qor32s, V::bytes>;
  a = a + as<Qor32f>(slide<3>(zero<Lanes>(), as<Qor32s>(a)));
  return a + as<Qor32f>(slide<2>(zero<Lanes>(), as<Qor32s>(a)));
}
// From the sums of each: those of the second four go on from the last of the first. Where the first four get 0 added,
// the sign of a zero may change, which what they are added to hides: it is no zero below 0.
inline TwoFours joinSums(const TwoFours& a) {
#if QOR_VECTOR_BYTES == 32
  return {{a.v[0] + ofShorts(zero<Four>(), lastInAll(firstShort(a.v[0])))}};
#else
  return {{a.v[0], a.v[1] + lastInAll(a.v[0])}};
#endif
}
inline V32f lastOfBoth(const TwoFours& a) {
#if QOR_VECTOR_BYTES == 32
  const Four last = lastInAll(lastShort(a.v[0]));
  return ofShorts(last, last);
#else
  return lastInAll(a.v[1]);
#endif
}

inline Qor32f sumOf(const Qor32f* p, int n) {
  Four sums = zero<Four>();
  int i = 0;
  for (; i <= n - Four::lanes; i += Four::lanes) sums = sums + load<Four>(p + i);
  Qor32f total = sum(sums);
  for (; i < n; ++i) total += p[i];
  return total;
}

// Window sums of a row from its column sums, and their multiples on the way to the destination. One addition of their
// columns' change is all that two fours wait for.
struct Window {
  int columns;
  Qor32f scale;

  // sums[0] is the first column of the first window, sums[-1] the column before it; where a row begins, that is 0.
  void row(const Qor32f* sums, Qor32f* dst, int width, bool begins = true) const {
    constexpr int samples = TwoFours::samples;
    V32f before = splat(begins ? sumOf(sums, columns - 1) : sumOf(sums - 1, columns));
    const Qor32f *entering = sums + columns - 1, *leaving = sums - 1;
    int x = 0;
    for (; x <= width - samples; x += samples) store(dst + x, block(entering + x, leaving + x, before));
    if (x == width) return;
    const auto rest = static_cast<size_t>(width - x) * sizeof(Qor32f);
    Qor32f in[samples] = {}, out[samples] = {};
    __builtin_memcpy(in, entering + x, rest);
    __builtin_memcpy(out, leaving + x, rest);
    storeFirst(dst + x, width - x, block(in, out, before));
  }

 private:
  QOR_FORCE_INLINE TwoFours block(const Qor32f* entering, const Qor32f* leaving, V32f& before) const {
    TwoFours sums;
    constexpr int vectors = TwoFours::samples / V32f::lanes;
    for (int i = 0; i < vectors; ++i) {
      sums.v[i] = prefixSums(load(entering + i * V32f::lanes) - load(leaving + i * V32f::lanes));
    }
    sums = joinSums(sums);
    const V32f change = lastOfBoth(sums);
    for (int i = 0; i < vectors; ++i) sums.v[i] = (before + sums.v[i]) * splat(scale);
    before = before + change;
    return sums;
  }
};

}  // namespace qor
