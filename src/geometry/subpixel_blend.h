// Bilinear blends of rows: every sample of a row lies at the same fraction of a pixel beside the samples of two rows of
// the source. A blend gives
//
//     at<bytes>(top, bottom)   as many results as come from vectors of that size, from samples there and one behind
//     along()                  the blend for rows outside the image: of the nearest row alone, given for both
//     down(top, bottom)        a sample outside to the left or right: of the nearest column alone
//     whole(sample)            a sample outside in both directions
#pragma once

#include "frame/row.h"
#include "geometry/subpixel_weights.h"

namespace qor::inline QOR_LEVEL {

// ---- 32-bit float, summed in the order of the weights. 16u: to nearest, ties to even.

template <class D, class V>
QOR_FORCE_INLINE auto floatResults(const auto& sumAt) {
  if constexpr (std::is_same_v<D, Qor32f>) {
    return BlockOf<V, 1>{sumAt(0)};
  } else {
    return BlockOf<VecOf<D, V::bytes>, 1>{narrowToU(nearest(sumAt(0)), nearest(sumAt(V::lanes)))};
  }
}
template <class D>
D floatResult(Qor32f x) {
  if constexpr (std::is_same_v<D, Qor32f>) {
    return x;
  } else {
    return nearestSaturated<D>(Qor64f{x});
  }
}

template <class S, class D>
class FloatBlend {
 public:
  using Source = S;
  using Result = D;

  FloatBlend(Qor32f a, Qor32f b) : a_(a), b_(b), w_(a, b) {}

  template <int bytes>
  QOR_FORCE_INLINE auto at(const S* top, const S* bottom) const {
    using V = VecOf<Qor32f, bytes>;
    return floatResults<D, V>([&](ptrdiff_t i) {
      return splat<V>(w_.w00) * loadAs<V>(top + i) + splat<V>(w_.w10) * loadAs<V>(top + i + 1) +
             splat<V>(w_.w01) * loadAs<V>(bottom + i) + splat<V>(w_.w11) * loadAs<V>(bottom + i + 1);
    });
  }

  class Along {
   public:
    using Source = S;
    using Result = D;
    explicit Along(Qor32f a) : a_(a) {}

    template <int bytes>
    QOR_FORCE_INLINE auto at(const S* row, const S*) const {
      using V = VecOf<Qor32f, bytes>;
      return floatResults<D, V>(
          [&](ptrdiff_t i) { return splat<V>(1 - a_) * loadAs<V>(row + i) + splat<V>(a_) * loadAs<V>(row + i + 1); });
    }

   private:
    Qor32f a_;
  };
  Along along() const { return Along(a_); }

  D down(S top, S bottom) const {
    return floatResult<D>((1 - b_) * static_cast<Qor32f>(top) + b_ * static_cast<Qor32f>(bottom));
  }
  D whole(S sample) const { return static_cast<D>(sample); }

 private:
  Qor32f a_, b_;
  FloatWeights w_;
};

// ---- bytes in units of 1/16384

// What a sum of bytes in these units becomes. Sums are at least 0 and below 2^22.
struct ToBytes {
  using Result = Qor8u;

  // (128 * coarse + fine + 8192) >> 14, half a unit being added by the multiplication.
  template <int bytes>
  QOR_FORCE_INLINE static auto from(const VecOf<Qor16s, bytes> (&coarse)[2], const VecOf<Qor16s, bytes> (&fine)[2]) {
    const auto half = [&](int i) {
      return multiplyHighRounded(coarse[i] + (fine[i] >> 7), splat<VecOf<Qor16s, bytes>>(256));
    };
    return BlockOf<VecOf<Qor8u, bytes>, 1>{packToU(half(0), half(1))};
  }
  static Qor8u from(Qor32s sum) { return static_cast<Qor8u>((sum + 8192) >> 14); }
};

template <int bytes>
QOR_FORCE_INLINE BlockOf<VecOf<Qor16u, bytes>, 2> wordsInOrder(VecOf<Qor16u, bytes> a, VecOf<Qor16u, bytes> b) {
  if constexpr (bytes == 16) {
    return {{a, b}};
  } else {
    return {{ofShorts(firstShort(a), firstShort(b)), ofShorts(lastShort(a), lastShort(b))}};
  }
}

// (sum + 64) >> 7, the scale factor -7: at most 255 * 128.
struct ToSevenBits {
  using Result = Qor16u;

  template <int bytes>
  QOR_FORCE_INLINE static auto from(const VecOf<Qor16s, bytes> (&coarse)[2], const VecOf<Qor16s, bytes> (&fine)[2]) {
    const auto half = [&](int i) {
      return as<Qor16u>(coarse[i] + multiplyHighRounded(fine[i], splat<VecOf<Qor16s, bytes>>(256)));
    };
    return wordsInOrder(half(0), half(1));
  }
  static Qor16u from(Qor32s sum) { return static_cast<Qor16u>((sum + 64) >> 7); }
};

// (sum + 2^(13 + scaleFactor)) >> (14 + scaleFactor) for any factor, saturated.
class ToWords {
 public:
  using Result = Qor16u;

  explicit ToWords(int scaleFactor) {
    // A shift of 23 to the right leaves nothing, and one of 16 to the left saturates whatever is not 0; what the cap
    // cuts off saturates too, and nothing overflows.
    const int shift = scaleFactor < -30 ? -16 : scaleFactor > 9 ? 23 : scaleFactor + 14;
    left_ = shift < 0 ? -shift : 0;
    right_ = shift < 0 ? 0 : shift;
    half_ = shift > 0 ? 1 << (shift - 1) : 0;
    cap_ = 1 << (30 - left_);
  }

  template <int bytes>
  QOR_FORCE_INLINE auto from(const VecOf<Qor16s, bytes> (&coarse)[2], const VecOf<Qor16s, bytes> (&fine)[2]) const {
    using Sums = VecOf<Qor32s, bytes>;
    const auto scale = [&](VecOf<Qor16s, bytes> pairs) {
      const Sums sum = multiplyAdd(pairs, as<Qor16s>(splat<Sums>(1 << 16 | 128)));
      return ((min(sum, splat<Sums>(cap_)) << left_) + splat<Sums>(half_)) >> right_;
    };
    const auto half = [&](int i) {
      return packToU(scale(zipFirst(coarse[i], fine[i])), scale(zipLast(coarse[i], fine[i])));
    };
    return wordsInOrder(half(0), half(1));
  }
  Qor16u from(Qor32s sum) const {
    return saturate<Qor16u>(Qor64s{(((sum < cap_ ? sum : cap_) << left_) + half_) >> right_});
  }

 private:
  int left_, right_;
  Qor32s half_, cap_;
};

template <class To>
class ByteBlend {
 public:
  using Source = Qor8u;
  using Result = typename To::Result;

  ByteBlend(Qor32f a, Qor32f b, To to = {})
      : ByteBlend(FixedWeights(FixedWeights::fraction(a), FixedWeights::fraction(b)), FixedWeights::fraction(a),
                  FixedWeights::fraction(b), to) {}

  template <int bytes>
  QOR_FORCE_INLINE auto at(const Qor8u* top, const Qor8u* bottom) const {
    using Bytes = VecOf<Qor8u, bytes>;
    using Words = VecOf<Qor16s, bytes>;
    const Bytes t0 = load<Bytes>(top), t1 = load<Bytes>(top + 1);
    const Bytes b0 = load<Bytes>(bottom), b1 = load<Bytes>(bottom + 1);
    const Bytes topPairs[2] = {zipFirst(t0, t1), zipLast(t0, t1)};
    const Bytes bottomPairs[2] = {zipFirst(b0, b1), zipLast(b0, b1)};
    const auto sum = [&](int i, const Qor8s* w) {
      return multiplyAdd(topPairs[i], both<bytes>(w)) + multiplyAdd(bottomPairs[i], both<bytes>(w + 2));
    };
    const Words coarse[2] = {sum(0, parts_.coarse), sum(1, parts_.coarse)};
    const Words fine[2] = {sum(0, parts_.fine), sum(1, parts_.fine)};
    return to_.template from<bytes>(coarse, fine);
  }

  ByteBlend along() const { return ByteBlend(FixedWeights::along(a_), a_, b_, to_); }
  Result down(Qor8u top, Qor8u bottom) const { return to_.from((FixedWeights::one - b_) * top + b_ * bottom); }
  Result whole(Qor8u sample) const { return to_.from(FixedWeights::one * sample); }

 private:
  ByteBlend(const FixedWeights& weights, Qor32s a, Qor32s b, To to) : a_(a), b_(b), parts_(weights), to_(to) {}

  // A pair of weights, over and over.
  template <int bytes>
  QOR_FORCE_INLINE static VecOf<Qor8s, bytes> both(const Qor8s* w) {
    const int pair = static_cast<Qor8u>(w[0]) | static_cast<Qor8u>(w[1]) << 8;
    return as<Qor8s>(splat<VecOf<Qor16s, bytes>>(static_cast<Qor16s>(pair)));
  }

  Qor32s a_, b_;
  CoarseAndFine parts_;
  [[no_unique_address]] To to_;
};

// ---- rows of any length

// n samples at dst from n + 1 of both rows.
template <class Blend, class S, class D>
QOR_FORCE_INLINE void blendRow(const Blend& blend, const S* top, const S* bottom, D* dst, ptrdiff_t n) {
  constexpr int longBlock = decltype(blend.template at<QOR_VECTOR_BYTES>(top, bottom))::samples;
  constexpr int shortBlock = decltype(blend.template at<16>(top, bottom))::samples;
  if (n >= longBlock) {
    forBlocks<longBlock>(
        n, [&](ptrdiff_t x) { store(dst + x, blend.template at<QOR_VECTOR_BYTES>(top + x, bottom + x)); });
  } else if (n >= shortBlock) {
    forBlocks<shortBlock>(n, [&](ptrdiff_t x) { store(dst + x, blend.template at<16>(top + x, bottom + x)); });
  } else if (n > 0) {
    S copies[2][shortBlock + 1] = {};
    const size_t size = static_cast<size_t>(n + 1) * sizeof(S);
    __builtin_memcpy(copies[0], top, size);
    __builtin_memcpy(copies[1], bottom, size);
    storeFirst(dst, n, blend.template at<16>(copies[0], copies[1]));
  }
}

}  // namespace qor
