// Layer steps in 32-bit floats, of samples of any type.
#pragma once

#include "pyramid/layer_rows.h"

namespace qor::inline QOR_LEVEL {

// Weights in all lanes of a vector, kept in registers where their number is known; 0 is any number.
template <class V, int known>
class FloatWeights {
 public:
  FloatWeights(const Qor32f* weights, int count) : weights_(weights), count_(count) {
    for (int i = 0; i < known; ++i) known_[i] = splat<V>(weights[i]);
  }

  // Products with at(0), at(1), ..., added from left to right.
  template <class At>
  QOR_FORCE_INLINE V sumOf(const At& at) const {
    V sum = weight(0) * at(0);
    for (int i = 1; i < (known > 0 ? known : count_); ++i) sum = sum + weight(i) * at(i);
    return sum;
  }

 private:
  QOR_FORCE_INLINE V weight(int i) const {
    if constexpr (known > 0) {
      return known_[i];
    } else {
      return splat<V>(weights_[i]);
    }
  }

  const Qor32f* weights_;
  int count_;
  V known_[known + (known == 0)];
};

// Calls run with the number as a constant where it is a usual one, else with 0.
template <int... usual, class Run>
void withConstant(int number, const Run& run) {
  const bool found = ((number == usual && (run(std::integral_constant<int, usual>()), true)) || ...);
  if (!found) run(std::integral_constant<int, 0>());
}

template <class T, int channels>
class LayerFloats {
 public:
  using Filtered = Qor32f;

  static int64_t ringStep(int width) {
    return roundUpTo(int64_t{width} * channels * int64_t{sizeof(Filtered)} + layerSlack, wideVectorBytes);
  }
  // For every column where its window begins, and its weights. Of one channel a few more columns fill the last block.
  static int64_t tableBytes(int width, int window) {
    return columnsOf(width) * (int64_t{sizeof(Qor32f)} * stride(window) + int64_t{sizeof(Qor32s)});
  }

  LayerFloats(const Layer& layer, int from, int to)
      : layer_(layer),
        from_(from),
        to_(to),
        samples_(ptrdiff_t{to} * channels),
        window_(layer.kernel.window()),
        weights_(reinterpret_cast<Qor32f*>(layer.table)),
        begin_(reinterpret_cast<Qor32s*>(weights_ + columnsOf(to) * stride(window_))),
        rowWeights_(static_cast<Qor32f*>(layer.rowWeights)) {}

  int64_t ringStep() const { return ringStep(to_); }

  // By two, all columns have the weights of the first two in turns.
  void plan() {
    const LayerAxis axis = layer_.axis(from_, to_);
    for (int64_t x = 0; x < (layer_.kernel.byTwo ? 2 : columnsOf(to_)); ++x) {
      const int64_t first = axis.weigh(x < to_ || layer_.kernel.byTwo ? x : int64_t{to_} - 1, layer_.weights);
      begin_[x] = static_cast<Qor32s>((first + Layer::beside(layer_.kernel.size)) * channels);
      Qor32f* const to = weights_ + x * stride(window_);
      for (int i = 0; i < stride(window_); ++i) to[i] = i < window_ ? static_cast<Qor32f>(layer_.weights[i]) : 0;
    }
  }

  void filterRow(Filtered* dst, const T* src) {
    auto* const row = reinterpret_cast<Qor32f*>(layer_.source);
    copyExtended<channels>(row, src, from_, Layer::beside(layer_.kernel.size), toFloats);
    if (layer_.kernel.byTwo) {
      withConstant<3, 5>(layer_.kernel.size, [&](auto size) {
        layer_.kernel.step == LayerStep::down ? filterEven<size>(dst, row) : filterPhases<size>(dst, row);
      });
    } else if constexpr (channels == 1) {
      filterFours(dst, row);
    } else {
      for (ptrdiff_t x = 0; x < to_; ++x) {
        const FloatWeights<Pixel, 0> weights(weights_ + x * window_, window_);
        const Qor32f* const first = row + begin_[x];
        store(dst + x * channels, weights.sumOf([first](int k) { return load<Pixel>(first + k * channels); }));
      }
    }
  }

  void weighRows(const Qor64f* weights, int count) {
    rowCount_ = count;
    for (int i = 0; i < count; ++i) rowWeights_[i] = static_cast<Qor32f>(weights[i]);
  }

  void storeRow(T* dst, const Filtered* const* rows) const {
    withConstant<2, 3, 4, 5, 6>(rowCount_, [&](auto count) {
      const FloatWeights<V32f, count> weights(rowWeights_, rowCount_);
      const auto block = [&](ptrdiff_t i) {
        return samplesOf(
            [&](int vector) { return weights.sumOf([&](int k) { return load(rows[k] + i + vector * V32f::lanes); }); });
      };
      if (samples_ < Vec<T>::lanes) return storeFirst(dst, samples_, block(0));
      forBlocks<Vec<T>::lanes>(samples_, [&](ptrdiff_t i) { store(dst + i, block(i)); });
    });
  }

 private:
  static constexpr int four = Short<Qor32f>::lanes;
  // Of one channel the weights of a column fill whole Shorts.
  static constexpr int64_t stride(int window) { return channels == 1 ? roundUpTo(window, four) : window; }
  static constexpr int64_t columnsOf(int width) { return roundUpTo(width, channels == 1 ? 2 * four : 2); }
  using Pixel = Short<Qor32f>;  // of three channels, and a lane without meaning

  static void toFloats(Qor32f* to, const T* from, ptrdiff_t n) {
    const auto convert = [](const T* p) { return Block<Qor32f, 1>{loadAs<Qor32f>(p)}; };
    mapRow(to, n, convert, from);
  }

  // Four columns at a time, as often as a vector has 16 bytes. Each lane of a column's sum takes every fourth product;
  // lanes behind the window are not products, whatever stands there.
  void filterFours(Qor32f* dst, const Qor32f* row) const {
    constexpr int shorts = V32f::lanes / four;
    const int64_t step = stride(window_);
    const int64_t last = step - four;
    const V32f inside = lanesInside(window_ - last);
    for (ptrdiff_t x = 0; x < to_; x += V32f::lanes) {
      V32f sums[four];
      for (int i = 0; i < four; ++i) {
        const auto products = [&](int64_t tap) {
          const V32f samples =
              shortsOf<V32f>([&](int s) { return load<Short<Qor32f>>(row + begin_[x + s * four + i] + tap); });
          const V32f weights =
              shortsOf<V32f>([&](int s) { return load<Short<Qor32f>>(weights_ + (x + s * four + i) * step + tap); });
          return tap == last ? (samples & inside) * weights : samples * weights;
        };
        sums[i] = products(0);
        for (int64_t tap = four; tap <= last; tap += four) sums[i] = sums[i] + products(tap);
      }
      static_assert(shorts * four == V32f::lanes);
      transposeFours(sums);
      store(dst + x, (sums[0] + sums[1]) + (sums[2] + sums[3]));
    }
  }
  QOR_FORCE_INLINE static V32f lanesInside(int64_t count) {
    return shortsOf<V32f>(
        [=](int) { return as<Qor32f>(laneByLane<Short<Qor32s>>([=](int lane) { return lane < count ? -1 : 0; })); });
  }

  // The way down by two: every second position.
  template <int size>
  void filterEven(Qor32f* dst, const Qor32f* row) const {
    const Qor32f* src = row + begin_[0];
    if constexpr (channels == 1) {
      const FloatWeights<V32f, size> weights(weights_, layer_.kernel.size);
      for (ptrdiff_t x = 0; x < to_; x += V32f::lanes, src += 2 * V32f::lanes) {
        const auto at = [src](int k) {
          const Qor32f* const pair = src + k / 2 * 2;
          const Split<Qor64s> both{as<Qor64s>(load(pair)), as<Qor64s>(load(pair + V32f::lanes))};
          return as<Qor32f>(k % 2 == 0 ? joinLow(both) : joinHigh(both));
        };
        store(dst + x, inAddressOrder(weights.sumOf(at)));
      }
    } else {
      const FloatWeights<Pixel, size> weights(weights_, layer_.kernel.size);
      for (ptrdiff_t x = 0; x < to_; ++x, src += 2 * channels) {
        store(dst + x * channels, weights.sumOf([src](int k) { return load<Pixel>(src + k * channels); }));
      }
    }
  }

  // The way up by two: even and odd positions have taps of their own.
  template <int size>
  void filterPhases(Qor32f* dst, const Qor32f* row) const {
    using V = std::conditional_t<channels == 1, V32f, Pixel>;
    constexpr int pixels = V::lanes / channels, skipped = size / 2 % 2;
    const LayerAxis axis = layer_.axis(from_, to_);
    const FloatWeights<V, (size + 1 - skipped) / 2> even(weights_, axis.count(0));
    const FloatWeights<V, (size + skipped) / 2> odd(weights_ + stride(window_), axis.count(1));
    const Qor32f *evenSrc = row + begin_[0], *oddSrc = row + begin_[1];
    for (ptrdiff_t x = 0; x < to_; x += 2 * pixels, evenSrc += pixels * channels, oddSrc += pixels * channels) {
      const V a = even.sumOf([evenSrc](int k) { return load<V>(evenSrc + k * channels); });
      const V b = odd.sumOf([oddSrc](int k) { return load<V>(oddSrc + k * channels); });
      if constexpr (channels == 1) {
        store(dst + x, zip(a, b));
      } else {
        store(dst + x * channels, a);
        store(dst + (x + 1) * channels, b);
      }
    }
  }

  // A vector of the destination from those of its sums. Integers are clamped before they leave the floats.
  template <class Sums>
  QOR_FORCE_INLINE static Vec<T> samplesOf(const Sums& sums) {
    if constexpr (std::is_same_v<T, Qor32f>) {
      return sums(0);
    } else {
      const auto whole = [&](int i) { return nearest(min(splat(static_cast<Qor32f>(topOf<T>)), sums(i))); };
      if constexpr (sizeof(T) == 2) {
        return narrowToU(whole(0), whole(1));
      } else {
        return narrowToU(whole(0), whole(1), whole(2), whole(3));
      }
    }
  }

  const Layer& layer_;
  int from_, to_;
  ptrdiff_t samples_;
  int window_, rowCount_ = 0;
  Qor32f* weights_;
  Qor32s* begin_;
  Qor32f* rowWeights_;
};

}  // namespace qor
