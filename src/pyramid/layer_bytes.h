// Layer steps of bytes in 16-bit integers: weights have 14 bits behind the point, rows of the ring as many as their
// range leaves, and products are added in pairs in 32 bits.
#pragma once

#include "pyramid/layer_rows.h"

namespace qor::inline QOR_LEVEL {

constexpr int layerWeightBits = 14;

// Bits behind the point of filtered rows, 0 where integers do not serve. `gain` is the largest sum of the absolute
// weights of a position, so a filtered byte lies within 255 * gain; `largest` is the largest weight itself, if taps do
// not meet in one. Below 2.9 what is positive of taps whose sum is 1 stays below 1.95, so that no weight leaves 16 bits
// wherever taps meet, and no sum 32 bits, for 2.9 * 2^14 * 2^15 < 2^31. Every weight is rounded by up to 2^-15, which
// makes up to 0.004 of a byte each: the sums of long kernels could drift.
inline int layerFraction(Qor64f gain, Qor64f largest, int kernelSize) {
  constexpr int longest = 31;
  if (!(gain < 2.9) || largest >= 1.999 || kernelSize > longest) return 0;
  int bits = 7;
  while (255.01 * gain * (1 << bits) > 32767) --bits;
  return bits;
}

// Groups of four samples of a filtered row. Their pairs of source bytes come from 16 bytes each, which begin where the
// group's first pair does, in an order that is the same for all pairs of a window. Two groups stand together, so that
// their weights are read as one vector.
struct ByteTable {
  Qor8u* order;
  Qor16s* weights;
  Qor32s* begin;

  static constexpr int groupSamples = 4, orderBytes = 16, pairWeights = 8;
  static int64_t groups(int64_t samples) { return roundUpTo(samples, 2 * groupSamples) / groupSamples; }
  static int64_t bytes(int64_t samples, int pairs) {
    return groups(samples) * (orderBytes + pairs * pairWeights * int64_t{sizeof(Qor16s)} + int64_t{sizeof(Qor32s)});
  }

  ByteTable(Qor8u* block, int64_t samples, int pairs)
      : order(block),
        weights(reinterpret_cast<Qor16s*>(order + groups(samples) * orderBytes)),
        begin(reinterpret_cast<Qor32s*>(weights + groups(samples) * pairWeights * pairs)) {}

  // The weights of a pair of a group.
  Qor16s* weightsOf(int64_t group, int pair, int pairs) const {
    return weights + (((group >> 1) * pairs + pair) * 2 + (group & 1)) * pairWeights;
  }
};

inline Qor16s layerWeight(Qor64f weight) { return nearestSaturated<Qor16s>(weight * (1 << layerWeightBits)); }

template <int channels>
class LayerBytes {
 public:
  using Filtered = Qor16s;

  static constexpr int pairsOf(int window) { return (window + 1) / 2; }
  static int64_t ringStep(int width) {
    return roundUpTo(int64_t{width} * channels * int64_t{sizeof(Filtered)} + layerSlack, wideVectorBytes);
  }
  static int64_t tableBytes(int width, int window) {
    return ByteTable::bytes(int64_t{width} * channels, pairsOf(window));
  }

  LayerBytes(const Layer& layer, int from, int to)
      : layer_(layer),
        from_(from),
        to_(to),
        samples_(ptrdiff_t{to} * channels),
        pairs_(pairsOf(layer.kernel.window())),
        table_(layer.table, samples_, pairs_),
        rowShift_(layerWeightBits - layer.fraction),
        columnShift_(layerWeightBits + layer.fraction),
        pairWeights_(static_cast<Qor32s*>(layer.rowWeights)) {}

  int64_t ringStep() const { return ringStep(to_); }

  // Fills the table; false where a group is too far apart for it.
  bool plan() {
    if (isEven()) {
      layer_.axis(from_, to_).weigh(0, layer_.weights);
      weighPairs(layer_.weights);
      for (int i = 0; i < pairs_; ++i) evenPairs()[i] = pairWeights_[i];
      return true;
    }
    const LayerAxis axis = layer_.axis(from_, to_);
    const int window = layer_.kernel.window(), beside = Layer::beside(layer_.kernel.size);
    int64_t first = 0, weighed = -1;
    for (int64_t group = 0; group < ByteTable::groups(samples_); ++group) {
      int64_t at[ByteTable::groupSamples];
      for (int lane = 0; lane < ByteTable::groupSamples; ++lane) {
        // Lanes behind the row are its last sample's.
        const int64_t given = group * ByteTable::groupSamples + lane;
        const int64_t sample = given < samples_ ? given : samples_ - 1, x = sample / channels;
        if (x != weighed) {
          first = axis.weigh(x, layer_.weights);
          weighed = x;
        }
        at[lane] = (first + beside) * channels + sample % channels;
        for (int pair = 0; pair < pairs_; ++pair) {
          Qor16s* const to = table_.weightsOf(group, pair, pairs_) + 2 * lane;
          to[0] = layerWeight(layer_.weights[2 * pair]);
          to[1] = 2 * pair + 1 < window ? layerWeight(layer_.weights[2 * pair + 1]) : Qor16s{0};
        }
      }
      if (!order(group, at)) return false;
    }
    return true;
  }

  void filterRow(Filtered* dst, const Qor8u* src) {
    copyExtended<channels>(
        layer_.source, src, from_, Layer::beside(layer_.kernel.size),
        [](Qor8u* to, const Qor8u* from, ptrdiff_t n) { __builtin_memcpy(to, from, static_cast<size_t>(n)); });
    byPairs([&](auto pairs) { isEven() ? filterEven<pairs>(dst) : filterGroups<pairs>(dst); });
  }

  void weighRows(const Qor64f* weights, int) { weighPairs(weights); }

  void storeRow(Qor8u* dst, const Filtered* const* rows) const {
    byPairs([&](auto pairs) { storeRows<pairs>(dst, rows); });
  }

 private:
  // On the way down by two, neighbours of one channel are pairs as they stand, and all columns have the same weights.
  bool isEven() const { return channels == 1 && layer_.kernel.byTwo && layer_.kernel.step == LayerStep::down; }
  Qor32s* evenPairs() const { return reinterpret_cast<Qor32s*>(layer_.table); }

  // Two weights in each 32 bits; behind an odd window a 0.
  void weighPairs(const Qor64f* weights) {
    const int window = layer_.kernel.window();
    for (int i = 0; i < pairs_; ++i) {
      const Qor16s second = 2 * i + 1 < window ? layerWeight(weights[2 * i + 1]) : Qor16s{0};
      pairWeights_[i] = static_cast<Qor32s>(static_cast<Qor32u>(static_cast<Qor16u>(second)) << 16 |
                                            static_cast<Qor16u>(layerWeight(weights[2 * i])));
    }
  }

  bool order(int64_t group, const int64_t (&at)[ByteTable::groupSamples]) {
    int64_t begin = at[0];
    for (const int64_t a : at) begin = a < begin ? a : begin;
    table_.begin[group] = static_cast<Qor32s>(begin);
    Qor8u* to = table_.order + group * ByteTable::orderBytes;
    constexpr Qor8u none = 0x80;
    for (const int64_t a : at) {
      const int64_t first = a - begin;
      if (first + channels >= ByteTable::orderBytes) return false;
      *to++ = static_cast<Qor8u>(first), *to++ = none;
      *to++ = static_cast<Qor8u>(first + channels), *to++ = none;
    }
    return true;
  }

  // The number of pairs as a constant, where it is that of a usual kernel; else 0.
  template <class Run>
  void byPairs(const Run& run) const {
    switch (pairs_) {
      case 2:
        return run(std::integral_constant<int, 2>());
      case 3:
        return run(std::integral_constant<int, 3>());
      default:
        return run(std::integral_constant<int, 0>());
    }
  }
  template <int constant>
  QOR_FORCE_INLINE int pairs() const {
    return constant > 0 ? constant : pairs_;
  }

  // Two weights in all lanes, kept in registers where their number is known.
  template <int constant>
  class PairWeights {
   public:
    explicit PairWeights(const Qor32s* weights) : weights_(weights) {
      for (int i = 0; i < constant; ++i) known_[i] = as<Qor16s>(splat(weights[i]));
    }
    QOR_FORCE_INLINE V16s operator[](int i) const {
      if constexpr (constant > 0) {
        return known_[i];
      } else {
        return as<Qor16s>(splat(weights_[i]));
      }
    }

   private:
    const Qor32s* weights_;
    V16s known_[constant > 0 ? constant : 1];
  };

  // The rows of a window, and of an odd one the last once more, whose weight is 0.
  template <int constant>
  class RowPairs {
   public:
    RowPairs(const Filtered* const* rows, int window) : rows_(rows), window_(window) {
      for (int i = 0; i < 2 * constant; ++i) known_[i] = rows[i < window ? i : i - 1];
    }
    QOR_FORCE_INLINE const Filtered* operator[](int i) const {
      if constexpr (constant > 0) {
        return known_[i];
      } else {
        return rows_[i < window_ ? i : i - 1];
      }
    }

   private:
    const Filtered* const* rows_;
    int window_;
    const Filtered* known_[constant > 0 ? 2 * constant : 1];
  };

  // Eight samples of a filtered row from vectors of their sums.
  template <class Sums>
  QOR_FORCE_INLINE static Short<Qor16s> eight(const Sums& sums) {
    if constexpr (V32s::lanes == 8) {
      const V32s v = sums(0);
      return packToS(firstShort(v), lastShort(v));
    } else {
      return packToS(sums(0), sums(1));
    }
  }

  template <int constant>
  void filterEven(Filtered* dst) const {
    const int shift = rowShift_, count = pairs<constant>();
    const V32s half = splat(Qor32s{1} << (shift - 1));
    const PairWeights<constant> weights(evenPairs());
    const ptrdiff_t samples = samples_;
    const Qor8u* src = layer_.source + Layer::beside(layer_.kernel.size) - layer_.kernel.size / 2;
    for (ptrdiff_t i = 0; i < samples; i += 8, src += 16) {
      store(dst + i, eight([&](int vector) {
              V32s sum = half;
              for (int p = 0; p < count; ++p) {
                const V16s neighbours = loadAs<Qor16s>(src + vector * V16s::lanes + 2 * p);
                sum = sum + multiplyAdd(neighbours, weights[p]);
              }
              return sum >> shift;
            }));
    }
  }

  template <int constant>
  void filterGroups(Filtered* dst) const {
    constexpr int groups = V32s::lanes / ByteTable::groupSamples;  // of a vector
    const int shift = rowShift_, count = pairs<constant>();
    const V32s half = splat(Qor32s{1} << (shift - 1));
    const Qor8u* const src = layer_.source;
    const ByteTable table = table_;
    const Qor16s* weights = table.weights;
    const ptrdiff_t samples = samples_;
    for (ptrdiff_t i = 0; i < samples; i += 8, weights += 2 * ByteTable::pairWeights * count) {
      store(dst + i, eight([&](int vector) {
              const ptrdiff_t group = i / ByteTable::groupSamples + vector * groups;
              const V8u order = load(table.order + group * ByteTable::orderBytes);
              V32s sum = half;
              for (int p = 0; p < count; ++p) {
                const V8u bytes = shortsOf<V8u>([&](int four) {
                  return load<Short<Qor8u>>(src + table.begin[group + four] + ptrdiff_t{2} * channels * p);
                });
                const V16s weighted = load(weights + (2 * p + vector) * ByteTable::pairWeights);
                sum = sum + multiplyAdd(as<Qor16s>(lookUp(bytes, order)), weighted);
              }
              return sum >> shift;
            }));
    }
  }

  template <int constant>
  void storeRows(Qor8u* dst, const Filtered* const* rows) const {
    const int shift = columnShift_, count = pairs<constant>();
    const V32s half = splat(Qor32s{1} << (shift - 1));
    const PairWeights<constant> weights(pairWeights_);
    const RowPairs<constant> row(rows, layer_.kernel.window());
    const auto sums = [&](ptrdiff_t i) {
      Split<Qor32s> sum{half, half};
      for (int p = 0; p < count; ++p) {
        const Split<Qor16s> pair = splitZip(load(row[2 * p] + i), load(row[2 * p + 1] + i));
        sum.a = sum.a + multiplyAdd(pair.a, weights[p]), sum.b = sum.b + multiplyAdd(pair.b, weights[p]);
      }
      return joinToS(Split<Qor32s>{sum.a >> shift, sum.b >> shift});
    };
    const auto block = [&](ptrdiff_t i) { return narrowToU(sums(i), sums(i + V16s::lanes)); };
    if (samples_ < V8u::lanes) return storeFirst(dst, samples_, block(0));
    forBlocks<V8u::lanes>(samples_, [&](ptrdiff_t i) { store(dst + i, block(i)); });
  }

  const Layer& layer_;
  int from_, to_;
  ptrdiff_t samples_;
  int pairs_;
  ByteTable table_;
  int rowShift_, columnShift_;
  Qor32s* pairWeights_;
};

}  // namespace qor
