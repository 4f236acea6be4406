// Means over a rectangle from the sums of its columns, which slide along the row.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// Sums along a row go by fours at every level.
using Four = Short<Qor32f>;

// The first of four sums is the first sample; the last, of all.
inline Four prefixSums(Four a) {
  const auto zeros = zero<Short<Qor32s>>();
  a = a + as<Qor32f>(slide<3>(zeros, as<Qor32s>(a)));
  return a + as<Qor32f>(slide<2>(zeros, as<Qor32s>(a)));
}
inline Four lastInAll(Four a) { return reordered<3, 3, 3, 3>(a); }

inline Qor32f sumOf(const Qor32f* p, int n) {
  Four sums = zero<Four>();
  int i = 0;
  for (; i <= n - Four::lanes; i += Four::lanes) sums = sums + load<Four>(p + i);
  Qor32f total = sum(sums);
  for (; i < n; ++i) total += p[i];
  return total;
}

// Window sums of a row from its column sums, and their multiples on the way to the destination. Two fours at a time:
// one addition of their columns' change is all that a block waits for.
struct Window {
  int columns;
  Qor32f scale;

  // sums[-1] is 0, sums[0] the first column of the first window.
  void row(const Qor32f* sums, Qor32f* dst, int width) const {
    constexpr int samples = Fours::samples;
    Four before = splat<Four>(sumOf(sums, columns - 1));
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
  using Fours = BlockOf<Four, 2>;

  QOR_FORCE_INLINE Fours block(const Qor32f* entering, const Qor32f* leaving, Four& before) const {
    const auto change = [=](int i) { return load<Four>(entering + i) - load<Four>(leaving + i); };
    const Four first = prefixSums(change(0)), second = prefixSums(change(Four::lanes)) + lastInAll(first);
    const Four scales = splat<Four>(scale);
    const Fours results{(before + first) * scales, (before + second) * scales};
    before = before + lastInAll(second);
    return results;
  }
};

}  // namespace qor
