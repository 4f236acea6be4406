// Layer steps in 32-bit floats, of samples of any type.
#pragma once

#include "pyramid/layer_rows.h"

namespace qor::inline QOR_LEVEL {

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

  void plan() {
    const LayerAxis axis = layer_.axis(from_, to_);
    for (int64_t x = 0; x < columnsOf(to_); ++x) {
      const int64_t first = axis.weigh(x < to_ ? x : int64_t{to_} - 1, layer_.weights);
      begin_[x] = static_cast<Qor32s>((first + Layer::beside(layer_.kernel.size)) * channels);
      Qor32f* const to = weights_ + x * stride(window_);
      for (int i = 0; i < stride(window_); ++i) to[i] = i < window_ ? static_cast<Qor32f>(layer_.weights[i]) : 0;
    }
  }

  void filterRow(Filtered* dst, const T* src) {
    auto* const row = reinterpret_cast<Qor32f*>(layer_.source);
    copyExtended<channels>(row, src, from_, Layer::beside(layer_.kernel.size), toFloats);
    if constexpr (channels == 1) {
      filterFours(dst, row);
    } else {
      for (ptrdiff_t x = 0; x < to_; ++x) store(dst + x * channels, pixel(row + begin_[x], weights_ + x * window_));
    }
  }

  void weighRows(const Qor64f* weights) {
    for (int i = 0; i < window_; ++i) rowWeights_[i] = static_cast<Qor32f>(weights[i]);
  }

  void storeRow(T* dst, const Filtered* const* rows) const {
    const auto sums = [&](ptrdiff_t i) {
      V32f sum = splat(rowWeights_[0]) * load(rows[0] + i);
      for (int k = 1; k < window_; ++k) sum = sum + splat(rowWeights_[k]) * load(rows[k] + i);
      return sum;
    };
    const auto block = [&](ptrdiff_t i) {
      return samplesOf([&](int vector) { return sums(i + vector * V32f::lanes); });
    };
    if (samples_ < Vec<T>::lanes) return storeFirst(dst, samples_, block(0));
    forBlocks<Vec<T>::lanes>(samples_, [&](ptrdiff_t i) { store(dst + i, block(i)); });
  }

 private:
  static constexpr int four = Short<Qor32f>::lanes;
  // Of one channel the weights of a column fill whole Shorts.
  static constexpr int64_t stride(int window) { return channels == 1 ? roundUpTo(window, four) : window; }
  static constexpr int64_t columnsOf(int width) { return channels == 1 ? roundUpTo(width, 2 * four) : width; }

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
  static V32f lanesInside(int64_t count) {
    return shortsOf<V32f>(
        [=](int) { return as<Qor32f>(laneByLane<Short<Qor32s>>([=](int lane) { return lane < count ? -1 : 0; })); });
  }

  // The channels of a pixel, and a lane without meaning.
  Short<Qor32f> pixel(const Qor32f* src, const Qor32f* weights) const {
    auto sum = splat<Short<Qor32f>>(weights[0]) * load<Short<Qor32f>>(src);
    for (int k = 1; k < window_; ++k) {
      sum = sum + splat<Short<Qor32f>>(weights[k]) * load<Short<Qor32f>>(src + k * channels);
    }
    return sum;
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
  int window_;
  Qor32f* weights_;
  Qor32s* begin_;
  Qor32f* rowWeights_;
};

}  // namespace qor
