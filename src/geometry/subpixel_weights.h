// What a place between pixels takes from the four pixels around it: a fraction a of the way to the right and b of the
// way down, the products of (1 - a, a) and (1 - b, b). In 32-bit float, or in units of 1/16384 for bytes.
#pragma once

#include "frame/round.h"
#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// The part of an offset behind the point, counted from the next lower integer: the tiniest negative offset gives 1.
inline Qor32f fractionOf(Qor32f offset) {
  const Qor32f part = offset - __builtin_truncf(offset);
  return part < 0 ? part + 1 : part;
}

struct FloatWeights {
  Qor32f w00, w10, w01, w11;

  FloatWeights(Qor32f a, Qor32f b) : w00((1 - a) * (1 - b)), w10((1 - b) * a), w01((1 - a) * b), w11(a * b) {}
};

struct FixedWeights {
  static constexpr int bits = 14;
  static constexpr Qor32s one = 1 << bits;

  Qor32s w00, w10, w01, w11;

  // A fraction in these units, at most one.
  static Qor32s fraction(Qor32f a) {
    const Qor32f units = a * one + 0.5F;
    return units > 0 ? static_cast<Qor32s>(units < one ? units : one) : 0;
  }

  // Each weight is rounded up, to 1 at least; what the sum has too much, 1 to 4, comes off the largest.
  FixedWeights(Qor32s a, Qor32s b)
      : w00(product(one - a, one - b)), w10(product(a, one - b)), w01(product(one - a, b)), w11(product(a, b)) {
    const Qor32s excess = w00 + w10 + w01 + w11 - one;
    if (w00 >= w10 && w00 >= w01 && w00 >= w11) {
      w00 -= excess;
    } else if (w01 >= w00 && w01 >= w10 && w01 >= w11) {
      w01 -= excess;
    } else if (w10 < w00 || w10 < w01 || w10 < w11) {
      w11 -= excess;
    } else {
      w10 -= excess;
    }
  }

  // A blend along a row alone: both rows are the same one, and share its weights, so that none is near one.
  static FixedWeights along(Qor32s a) {
    FixedWeights w;
    w.w00 = (one - a) / 2, w.w01 = one - a - w.w00;
    w.w10 = a / 2, w.w11 = a - w.w10;
    return w;
  }

 private:
  FixedWeights() = default;
  static Qor32s product(Qor32s x, Qor32s y) { return (x * y + one) >> bits; }
};

// A blend of bytes as a sum 128 * coarse + fine, so that bytes are multiplied by bytes and every sum stays in 16 bits.
// Parts are in pairs of bytes, as samples beside their right neighbours take them: the upper row's, the lower row's.
struct CoarseAndFine {
  Qor16s coarse[2], fine[2];

  explicit CoarseAndFine(const FixedWeights& weights);
};

// The coarse parts are at least 0 and have a sum of at most 128, so no sum of theirs is above 255 * 128. Neither may
// one of fine parts be, of either sign. Rounded down, fine parts have a sum of k * 128, k at most 3. Up to 128 is well;
// beyond, the k largest weights are rounded up instead. Then the sum is 0, and where k is 2 the rest, the two smaller
// parts, is at most 128, and where k is 3 a single one. A coarse part stays below 128: with k of 0 all weights are
// multiples of 128, and none is a whole one here; with 1 those below add up to 127; with more, to 126.
inline CoarseAndFine::CoarseAndFine(const FixedWeights& weights) {
  const Qor32s w[4] = {weights.w00, weights.w10, weights.w01, weights.w11};
  Qor32s low[4];
  for (int i = 0; i < 4; ++i) low[i] = w[i] & 127;
  const Qor32s k = (low[0] + low[1] + low[2] + low[3]) >> 7;
  for (Qor32s n = k < 2 ? 0 : k; n > 0; --n) {
    const int first = low[1] > low[0] ? 1 : 0, second = low[3] > low[2] ? 3 : 2;
    low[low[second] > low[first] ? second : first] -= 128;
  }
  const auto pair = [](Qor32s left, Qor32s right) { return static_cast<Qor16s>((left & 255) | right * 256); };
  for (int row = 0; row < 2; ++row) {
    const int left = 2 * row, right = left + 1;
    coarse[row] = pair((w[left] - low[left]) >> 7, (w[right] - low[right]) >> 7);
    fine[row] = pair(low[left], low[right]);
  }
}

}  // namespace qor
