// What flood fills see of a row: windows of pixels as bits, and the rules that admit a pixel.
#pragma once

#include "segment/pixel_bits.h"

namespace qor::inline QOR_LEVEL {

// Pixels that are looked at together: short enough for runs of a few pixels, and a few vectors long.
template <class T, int channels>
struct FloodWindow {
  static constexpr int pixels = channels == 1 ? 64 / static_cast<int>(sizeof(T)) : sizeof(T) == 4 ? 8 : 16;
  static constexpr int samples = pixels * channels;
  // Pixels before the one that is asked for, in case that its run begins there.
  static constexpr int lead = pixels / 4;
  using V = std::conditional_t<channels == 1 || sizeof(T) == 4, Vec<T>, Short<T>>;

  // One bit a pixel: whether compare(i, phase) sets the lanes of all its samples. Vector V at sample i begins with the
  // same channel as vector `phase` of a Pattern.
  template <class Compare>
  QOR_FORCE_INLINE static uint64_t bits(const Compare& compare) {
    const uint64_t all = bitsOf<samples, V>([&](int i) { return compare(i, i / V::lanes % channels); });
    if constexpr (channels == 1) {
      return all;
    } else {
      static_assert(channels == 3);
      return everyThird(all & all >> 1 & all >> 2);
    }
  }

 private:
  // Bits 0, 3, 6, ... 45 side by side.
  static uint64_t everyThird(uint64_t bits) {
    bits &= 0x249249249249;
    bits = (bits ^ bits >> 2) & 0x0c30c30c30c3;
    bits = (bits ^ bits >> 4) & 0xf00f00f00f;
    bits = (bits ^ bits >> 8) & 0xff0000ff;
    return (bits ^ bits >> 16) & 0xffff;
  }
};

// A pixel again and again, in as many vectors as repeat it.
template <class T, int channels>
struct Pattern {
  using V = typename FloodWindow<T, channels>::V;
  V v[channels];

  explicit Pattern(const T* pixel) {
    T samples[channels * V::lanes];
    for (int i = 0; i < channels * V::lanes; ++i) samples[i] = pixel[i % channels];
    for (int i = 0; i < channels; ++i) v[i] = load<V>(samples + i * V::lanes);
  }
};

// ---- which pixels join

// Those that equal the seed's former value. A NaN equals nothing.
template <class T, int channels>
struct Equal {
  using V = typename Pattern<T, channels>::V;
  Pattern<T, channels> old;

  explicit Equal(const T* seed) : old(seed) {}
  V admits(V value, int phase) const { return value == old.v[phase]; }
};

// Those in a band around it, of which the bounds are part. NaN is in no band.
template <class T, int channels>
struct Band {
  using V = typename Pattern<T, channels>::V;
  Pattern<T, channels> low, high;

  Band(const T* lowest, const T* highest) : low(lowest), high(highest) {}
  V admits(V value, int phase) const {
    if constexpr (std::is_floating_point_v<T>) {
      return (value >= low.v[phase]) & (value <= high.v[phase]);
    } else {
      return min(max(value, low.v[phase]), high.v[phase]) == value;
    }
  }
};

// Those close enough to a neighbour. Integers: the bounds saturate where no value can lie beyond them.
template <class T, int channels>
struct Fit {
  using V = typename Pattern<T, channels>::V;
  Pattern<T, channels> below, above;

  Fit(const T* minDelta, const T* maxDelta) : below(minDelta), above(maxDelta) {}
  V admits(V value, V reference, int phase) const {
    return min(max(value, subSat(reference, below.v[phase])), addSat(reference, above.v[phase])) == value;
  }
  V admitsToLeft(V value, V reference, int phase) const { return admits(value, reference, phase); }
  V admitsBesideSeed(V value, V reference, int phase) const { return admits(value, reference, phase); }
};

// Floats: within `half` of the reference, moved by the centre of the two deltas. The two ways to write the sum round
// differently, and the two ways to compare differ for NaN.
template <int channels>
struct Fit<Qor32f, channels> {
  using V = typename Pattern<Qor32f, channels>::V;
  Pattern<Qor32f, channels> centre, half;

  Fit(const Qor32f* centres, const Qor32f* halves) : centre(centres), half(halves) {}
  V admits(V value, V reference, int phase) const {
    return abs((value + centre.v[phase]) - reference) <= half.v[phase];
  }
  V admitsToLeft(V value, V reference, int phase) const {
    return abs((value - reference) + centre.v[phase]) <= half.v[phase];
  }
  V admitsBesideSeed(V value, V reference, int phase) const {
    const V isBeyond = abs((value + centre.v[phase]) - reference) > half.v[phase];
    return andNot(isBeyond, as<Qor32f>(splat<VecOf<Qor32u, V::bytes>>(~Qor32u{0})));
  }
};

// ---- painting

// Fills a run of pixels, and writes nothing beside it.
template <class T, int channels>
class Paint {
 public:
  explicit Paint(const T* pixel) : pattern_(pixel) {}

  QOR_FORCE_INLINE void operator()(T* first, ptrdiff_t pixels) const {
    if (pixels >= V::lanes) {
      for (ptrdiff_t x = 0; x < pixels - V::lanes; x += V::lanes) storeAll(first + x * channels);
      storeAll(first + (pixels - V::lanes) * channels);
    } else if constexpr (channels == 1) {
      const ptrdiff_t bytes = pixels * static_cast<ptrdiff_t>(sizeof(T));
      storeEnds<V::bytes / 2>(reinterpret_cast<Qor8u*>(first), bytes);
    } else {
      for (ptrdiff_t x = 0; x < pixels; ++x) __builtin_memcpy(first + x * channels, &pattern_, channels * sizeof(T));
    }
  }

 private:
  using V = typename Pattern<T, channels>::V;

  void storeAll(T* p) const {
    for (int i = 0; i < channels; ++i) store(p + i * V::lanes, pattern_.v[i]);
  }
  // Fewer than 2 * size bytes, from both ends.
  template <size_t size>
  QOR_FORCE_INLINE void storeEnds(Qor8u* p, ptrdiff_t bytes) const {
    if (bytes >= static_cast<ptrdiff_t>(size)) {
      __builtin_memcpy(p, &pattern_, size);
      __builtin_memcpy(p + bytes - size, &pattern_, size);
    } else if constexpr (size > sizeof(T)) {
      storeEnds<size / 2>(p, bytes);
    }
  }

  Pattern<T, channels> pattern_;
};

// ---- pixels that have joined

// One byte a pixel, without gaps between the rows.
class Visited {
 public:
  // Takes the first bytes of a block; the rest begins at end().
  Visited(Qor8u* block, QoriSize size) : first_(block), width_(size.width), bytes_(ptrdiff_t{width_} * size.height) {
    __builtin_memset(first_, 0, static_cast<size_t>(bytes_));
  }
  Qor8u* end() const { return first_ + bytes_; }

  void mark(ptrdiff_t y, ptrdiff_t x, ptrdiff_t pixels) const {
    const Qor8u yes = 255;
    Paint<Qor8u, 1> paint(&yes);
    paint(first_ + y * width_ + x, pixels);
  }
  // Bits of so many pixels from x on, all of them in the row.
  template <int pixels>
  QOR_FORCE_INLINE uint64_t bits(ptrdiff_t y, ptrdiff_t x) const {
    const Qor8u* const p = first_ + y * width_ + x;
    using V = std::conditional_t<(pixels < Vec<Qor8u>::lanes), Short<Qor8u>, Vec<Qor8u>>;
    if constexpr (pixels < V::lanes) {
      return signBits(loadFirst<V>(p, pixels));
    } else {
      return bitsOf<pixels, V>([p](int i) { return load<V>(p + i); });
    }
  }
  // The same of a whole row of fewer pixels.
  uint64_t bitsOfRow(ptrdiff_t y) const {
    uint64_t bits = 0;
    for (ptrdiff_t x = 0; x < width_; ++x) bits |= uint64_t{first_[y * width_ + x] != 0} << x;
    return bits;
  }

 private:
  Qor8u* first_;
  ptrdiff_t width_, bytes_;
};

// ---- runs in a word

// Ones from the lowest bit on, and from the highest down.
constexpr int onesFromLow(uint64_t bits) { return ~bits == 0 ? wordPixels : __builtin_ctzll(~bits); }
constexpr int onesFromHigh(uint64_t bits) { return ~bits == 0 ? wordPixels : __builtin_clzll(~bits); }

// ---- spans that have been found and wait for their neighbours to be looked at

// Without the columns of the span from which it was found: they have joined, so that looking there again finds nothing.
struct FloodSpan {
  Qor32u rowAndSide;  // 2 * row, and 1 if the unexplored side is the row before, else the row behind
  Qor32s left, right;
};
static_assert(sizeof(FloodSpan) == 12);

// What is told of a region.
struct FloodExtent {
  Qor32u area = 0;
  int minX, maxX, minY, maxY;

  FloodExtent(int y, int left, int right) : minX(left), maxX(right), minY(y), maxY(y) {}
  void count(int left, int right) { area += static_cast<Qor32u>(right - left) + 1; }
  void widen(int y, int left, int right) {
    if (left < minX) minX = left;
    if (right > maxX) maxX = right;
    if (y < minY) minY = y;
    if (y > maxY) maxY = y;
  }
};

}  // namespace qor
