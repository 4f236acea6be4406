// Bilinear blends of rows: every sample of a row lies at the same fraction of a pixel beside the samples of two rows of
// the source. A blend gives
//
//     samples<bytes>           how many results a vector of that size gives
//     of<bytes>(p)             what it needs of a row for so many results: the samples at p, and one behind the last
//     between(above, below)    the results between two rows
//     halves<bytes>(p, q)      like `of` with the second half of the vector's samples at q; bytes only
//     along()                  the blend for rows outside the image: of the nearest row alone, given for both
//     down(top, bottom)        a sample outside to the left or right: of the nearest column alone
//     whole(sample)            a sample outside in both directions
#pragma once

#include "frame/row.h"
#include "geometry/subpixel_weights.h"

namespace qor::inline QOR_LEVEL {

// ---- 32-bit float, summed in the order of the weights. 16u: to nearest, ties to even.

// Samples of a row, and those to their right.
template <class V, int count>
struct FloatPairs {
  using Vector = V;
  V left[count], right[count];

  template <class S>
  QOR_FORCE_INLINE explicit FloatPairs(const S* p) {
    for (int i = 0; i < count; ++i) left[i] = loadAs<V>(p + i * V::lanes), right[i] = loadAs<V>(p + i * V::lanes + 1);
  }
};

// Vectors of floats that make one of results.
template <class D>
constexpr int vectorsFor = sizeof(Qor32f) / sizeof(D);

template <class D, class V>
QOR_FORCE_INLINE auto floatResults(const auto& sum) {
  if constexpr (std::is_same_v<D, Qor32f>) {
    return BlockOf<V, 1>{sum(0)};
  } else {
    return BlockOf<VecOf<D, V::bytes>, 1>{narrowToU(nearest(sum(0)), nearest(sum(1)))};
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

  template <int bytes>
  static constexpr int samples = bytes / static_cast<int>(sizeof(D));

  FloatBlend(Qor32f a, Qor32f b) : a_(a), b_(b), w_(a, b) {}

  template <int bytes>
  QOR_FORCE_INLINE static auto of(const S* p) {
    return FloatPairs<VecOf<Qor32f, bytes>, vectorsFor<D>>(p);
  }
  template <class Row>
  QOR_FORCE_INLINE auto between(const Row& above, const Row& below) const {
    using V = typename Row::Vector;
    return floatResults<D, V>([&](int i) {
      return splat<V>(w_.w00) * above.left[i] + splat<V>(w_.w10) * above.right[i] + splat<V>(w_.w01) * below.left[i] +
             splat<V>(w_.w11) * below.right[i];
    });
  }

  class Along {
   public:
    using Source = S;
    using Result = D;
    template <int bytes>
    static constexpr int samples = FloatBlend::samples<bytes>;
    explicit Along(Qor32f a) : a_(a) {}

    template <int bytes>
    QOR_FORCE_INLINE static auto of(const S* p) {
      return FloatBlend::of<bytes>(p);
    }
    template <class Row>
    QOR_FORCE_INLINE auto between(const Row& row, const Row&) const {
      using V = typename Row::Vector;
      return floatResults<D, V>([&](int i) { return splat<V>(1 - a_) * row.left[i] + splat<V>(a_) * row.right[i]; });
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

// The halves of a vector at addresses of their own.
template <int bytes>
QOR_FORCE_INLINE VecOf<Qor8u, bytes> loadHalves(const Qor8u* first, const Qor8u* second) {
  if constexpr (bytes == 16) {
    const auto eight = [](const Qor8u* p) { return reinterpret_cast<const Qor32f*>(p); };
    return as<Qor8u>(withUpper(loadTwo(eight(first)), eight(second)));
  } else {
    return shortsOf<VecOf<Qor8u, bytes>>([=](int i) { return load<Short<Qor8u>>(i == 0 ? first : second); });
  }
}
template <int bytes>
QOR_FORCE_INLINE void storeHalves(Qor8u* first, Qor8u* second, const BlockOf<VecOf<Qor8u, bytes>, 1>& b) {
  if constexpr (bytes == 16) {
    storeFirst<8>(first, b.v[0]);
    storeFirst<8>(second, reordered<2, 3, 2, 3>(b.v[0]));
  } else {
    store(first, firstShort(b.v[0]));
    store(second, lastShort(b.v[0]));
  }
}
template <int bytes>
QOR_FORCE_INLINE void storeHalves(Qor16u* first, Qor16u* second, const BlockOf<VecOf<Qor16u, bytes>, 2>& b) {
  store(first, b.v[0]);
  store(second, b.v[1]);
}

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

// Samples of a row beside those to their right.
template <int bytes>
struct BytePairs {
  VecOf<Qor8u, bytes> pairs[2];

  QOR_FORCE_INLINE BytePairs(VecOf<Qor8u, bytes> left, VecOf<Qor8u, bytes> right)
      : pairs{zipFirst(left, right), zipLast(left, right)} {}
};

template <class To>
class ByteBlend {
 public:
  using Source = Qor8u;
  using Result = typename To::Result;
  template <int bytes>
  static constexpr int samples = bytes;

  ByteBlend(Qor32f a, Qor32f b, To to = {})
      : ByteBlend(FixedWeights(FixedWeights::fraction(a), FixedWeights::fraction(b)), FixedWeights::fraction(a),
                  FixedWeights::fraction(b), to) {}

  template <int bytes>
  QOR_FORCE_INLINE static auto of(const Qor8u* p) {
    return BytePairs<bytes>(load<VecOf<Qor8u, bytes>>(p), load<VecOf<Qor8u, bytes>>(p + 1));
  }
  template <int bytes>
  QOR_FORCE_INLINE static auto halves(const Qor8u* p, const Qor8u* q) {
    return BytePairs<bytes>(loadHalves<bytes>(p, q), loadHalves<bytes>(p + 1, q + 1));
  }
  // Within 16 bytes, and in their halves apart, until the results are in order.
  template <int bytes>
  QOR_FORCE_INLINE auto between(const BytePairs<bytes>& above, const BytePairs<bytes>& below) const {
    using Words = VecOf<Qor16s, bytes>;
    const auto sum = [&](int i, const Qor16s(&w)[2]) {
      const auto weights = [](Qor16s pair) { return as<Qor8s>(splat<Words>(pair)); };
      return multiplyAdd(above.pairs[i], weights(w[0])) + multiplyAdd(below.pairs[i], weights(w[1]));
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

  Qor32s a_, b_;
  CoarseAndFine parts_;
  [[no_unique_address]] To to_;
};

// ---- rows

// n samples at dst from n + 1 of both rows, at least one.
template <class Blend, class S, class D>
QOR_FORCE_INLINE void blendRow(const Blend& blend, const S* top, const S* bottom, D* dst, ptrdiff_t n) {
  constexpr int whole = QOR_VECTOR_BYTES;
  constexpr int longBlock = Blend::template samples<whole>, shortBlock = Blend::template samples<16>;
  const auto blocks = [&]<int bytes>(std::integral_constant<int, bytes>) {
    forBlocks<Blend::template samples<bytes>>(n, [&](ptrdiff_t x) {
      store(dst + x, blend.between(Blend::template of<bytes>(top + x), Blend::template of<bytes>(bottom + x)));
    });
  };
  if (n >= longBlock) return blocks(std::integral_constant<int, whole>());
  if constexpr (requires { Blend::template halves<whole>(top, top); }) {
    const auto byHalves = [&]<int bytes>(std::integral_constant<int, bytes>) {
      const ptrdiff_t second = n - bytes / 2;
      storeHalves<bytes>(dst, dst + second,
                         blend.between(Blend::template halves<bytes>(top, top + second),
                                       Blend::template halves<bytes>(bottom, bottom + second)));
    };
    if (n >= longBlock / 2) return byHalves(std::integral_constant<int, whole>());
    if (n >= shortBlock / 2) return byHalves(std::integral_constant<int, 16>());
  } else if (n >= shortBlock) {
    return blocks(std::integral_constant<int, 16>());
  }
  S copies[2][shortBlock + 1] = {};
  const size_t size = static_cast<size_t>(n + 1) * sizeof(S);
  __builtin_memcpy(copies[0], top, size);
  __builtin_memcpy(copies[1], bottom, size);
  storeFirst(dst, n, blend.between(Blend::template of<16>(copies[0]), Blend::template of<16>(copies[1])));
}

// Rows of n samples at dst, from one row more of n + 1 samples each.
template <class Blend, class D>
void blendRows(const Blend& given, Plane<const typename Blend::Source> src, Plane<D> dst, ptrdiff_t n, int height) {
  const auto blend = given;
  for (int y = 0; y < height; ++y) blendRow(blend, src.row(y), src.row(y + 1), dst.row(y), n);
}

}  // namespace qor
