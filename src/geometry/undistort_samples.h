// Bilinear samples for a vector of pixels, each read at its own address, and the results written side by side. No byte
// beside the four corners is read: they may be the last of an image.
#pragma once

#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// Where a vector of pixels stands in the source. What is not inside stands at its first pixel.
struct WholePositions {
  V32s x, y;
};

struct BilinearWeights {
  V32f w00, w10, w01, w11;

  // For places a to the right of whole positions and b below.
  BilinearWeights(V32f a, V32f b) {
    const V32f one = splat(1.0F), beforeA = one - a, beforeB = one - b;
    w00 = beforeA * beforeB, w10 = a * beforeB, w01 = beforeA * b, w11 = a * b;
  }
};

// Addresses of the pixels, formed in 64 bits.
template <class T, int channels>
class PixelAddresses {
 public:
  PixelAddresses(Plane<const T> src, WholePositions at) : first_(reinterpret_cast<const char*>(src.first)) {
    const V32s across = splat(channels * static_cast<Qor32s>(sizeof(T))), down = splat(src.step);
    const V32s oddX = reordered<1, 1, 3, 3>(at.x), oddY = reordered<1, 1, 3, 3>(at.y);
    store(even_, multiplyEven(at.x, across) + multiplyEven(at.y, down));
    store(odd_, multiplyEven(oddX, across) + multiplyEven(oddY, down));
  }

  const char* operator[](int lane) const {
    const Qor64s* const half = (lane & 1) != 0 ? odd_ : even_;
    return first_ + half[lane / 2];
  }

 private:
  const char* first_;
  Qor64s even_[V64s::lanes], odd_[V64s::lanes];
};

template <class W>
QOR_FORCE_INLINE W wordAt(const char* p) {
  W w;
  __builtin_memcpy(&w, p, sizeof w);
  return w;
}

// ---- one channel: a lane is a pixel. Corners are the sample, its right neighbour, and the two of the row below.
struct Corners {
  V32f p00, p10, p01, p11;
};

QOR_FORCE_INLINE Corners cornersAt(Plane<const Qor8u> src, int width, WholePositions p) {
  // A lens bends little: the pixels mostly stand in one row, so near to each other that 16 bytes of it hold them all.
  const Qor32s left = firstLane(firstShort(p.x)), top = firstLane(firstShort(p.y));
  const V32s behind = p.x - splat(left);
  const V32u last = splat(Qor32u{Short<Qor8u>::lanes - 2});
  const V32s near = as<Qor32s>(max(as<Qor32u>(behind), last) == last) & (p.y == splat(top));
  if (signBits(as<Qor32f>(near)) == allSignBits<V32f> && left <= width - Short<Qor8u>::lanes) {
    const Qor8u* const row = src.row(top) + left;
    const V8u upper = loadRepeated<V8u>(row), lower = loadRepeated<V8u>(row + src.step);
    // The byte's number, and three that give zero.
    const V32s number = as<Qor32s>(as<Qor32u>(behind) | splat(Qor32u{0x80808000})), next = number + splat(Qor32s{1});
    const auto picked = [](V8u from, V32s at) { return toFloat(as<Qor32s>(lookUp(from, as<Qor8u>(at)))); };
    return {picked(upper, number), picked(upper, next), picked(lower, number), picked(lower, next)};
  }
  const PixelAddresses<Qor8u, 1> at(src, p);
  const auto fours = as<Qor32u>(laneByLane<V32s>([&](int i) {
    return static_cast<Qor32s>(Qor32u{wordAt<Qor16u>(at[i])} | Qor32u{wordAt<Qor16u>(at[i] + src.step)} << 16);
  }));
  const auto sample = [](V32u v) { return toFloat(as<Qor32s>(v & splat(Qor32u{255}))); };
  return {sample(fours), sample(fours >> 8), sample(fours >> 16), toFloat(as<Qor32s>(fours >> 24))};
}
QOR_FORCE_INLINE Corners cornersAt(Plane<const Qor16u> src, int, WholePositions p) {
  const PixelAddresses<Qor16u, 1> at(src, p);
  const auto pairs = [&](ptrdiff_t below) {
    return as<Qor32u>(laneByLane<V32s>([&](int i) { return wordAt<Qor32s>(at[i] + below); }));
  };
  const auto left = [](V32u v) { return toFloat(as<Qor32s>(v & splat(Qor32u{0xffff}))); };
  const auto right = [](V32u v) { return toFloat(as<Qor32s>(v >> 16)); };
  const V32u top = pairs(0), bottom = pairs(src.step);
  return {left(top), right(top), left(bottom), right(bottom)};
}
QOR_FORCE_INLINE Corners cornersAt(Plane<const Qor32f> src, int, WholePositions p) {
  const PixelAddresses<Qor32f, 1> at(src, p);
  const auto pairs = [&](ptrdiff_t below) {
    const auto two = [&](int first) {
      return shortsOf<V64s>([&](int four) {
        return laneByLane<Short<Qor64s>>([&](int k) { return wordAt<Qor64s>(at[4 * four + first + k] + below); });
      });
    };
    return Split<Qor64s>{two(0), two(2)};
  };
  const Split<Qor64s> top = pairs(0), bottom = pairs(src.step);
  return {as<Qor32f>(joinLow(top)), as<Qor32f>(joinHigh(top)), as<Qor32f>(joinLow(bottom)),
          as<Qor32f>(joinHigh(bottom))};
}

// The whole part of what lies half a unit higher; floats as they are.
template <class T>
auto resultOf(V32f s) {
  if constexpr (std::is_integral_v<T>) {
    return truncated(s + splat(0.5F));
  } else {
    return s;
  }
}

QOR_FORCE_INLINE void storeLanes(Qor8u* d, V32s a) {
  const V16s words = as<Qor16s>(narrowToU(a, a));
  storeFirst<V32s::lanes>(d, firstShort(narrowToU(words, words)));
}
QOR_FORCE_INLINE void storeLanes(Qor16u* d, V32s a) { storeFirst<V32s::lanes>(d, firstShort(narrowToU(a, a))); }
QOR_FORCE_INLINE void storeLanes(Qor32f* d, V32f a) { store(d, a); }

// ---- three channels: 16 bytes are a pixel, a vector is pixel i of every four

template <int i, class T>
QOR_FORCE_INLINE V32f blendPixels(const PixelAddresses<T, 3>& at, ptrdiff_t step, const BilinearWeights& w) {
  // The six samples of a row are read as the first four and the last four. What comes from the right pixel thus stands
  // one lane too high, and goes down as a sum.
  const auto samples = [&](ptrdiff_t below, int first) {
    return shortsOf<V32f>(
        [&](int four) { return loadAs<Short<Qor32f>>(reinterpret_cast<const T*>(at[4 * four + i] + below) + first); });
  };
  const auto weight = [](V32f all) { return reordered<i, i, i, i>(all); };
  const V32f left = weight(w.w00) * samples(0, 0) + weight(w.w01) * samples(step, 0);
  const V32f right = weight(w.w10) * samples(0, 2) + weight(w.w11) * samples(step, 2);
  return left + reordered<1, 2, 3, 0>(right);
}

// The first `count` samples of all 16 bytes, with the distance of those of a wide vector.
template <int count, ptrdiff_t distance, class T, int size>
QOR_FORCE_INLINE void storeShorts(T* d, VecOf<T, size> a) {
  storeFirst<count>(d, firstShort(a));
  if constexpr (size == 32) storeFirst<count>(d + distance, lastShort(a));
}

QOR_FORCE_INLINE void storePixels(Qor8u* d, const V32s (&p)[4]) {
  const V8u all = packToU(as<Qor16s>(packToU(p[0], p[1])), as<Qor16s>(packToU(p[2], p[3])));
  storeShorts<12, 12>(d, lookUp(all, bytes(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
}
QOR_FORCE_INLINE void storePixels(Qor16u* d, const V32s (&p)[4]) {
  const auto dense = [](V32s a, V32s b) {
    return as<Qor16u>(lookUp(as<Qor8u>(packToU(a, b)), bytes(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1)));
  };
  storeShorts<6, 12>(d, dense(p[0], p[1]));
  storeShorts<6, 12>(d + 6, dense(p[2], p[3]));
}
QOR_FORCE_INLINE void storePixels(Qor32f* d, const V32f (&p)[4]) {
  for (int i = 0; i < 4; ++i) storeShorts<3, 12>(d + 3 * i, p[i]);
}

// ---- a vector of pixels of the destination
template <class T, int channels>
QOR_FORCE_INLINE void samplePixels(T* d, Plane<const T> src, int width, WholePositions p, const BilinearWeights& w) {
  if constexpr (channels == 1) {
    const Corners s = cornersAt(src, width, p);
    storeLanes(d, resultOf<T>((w.w00 * s.p00 + w.w01 * s.p01) + (w.w10 * s.p10 + w.w11 * s.p11)));
  } else {
    const PixelAddresses<T, 3> at(src, p);
    const decltype(resultOf<T>(w.w00)) pixels[4] = {
        resultOf<T>(blendPixels<0>(at, src.step, w)), resultOf<T>(blendPixels<1>(at, src.step, w)),
        resultOf<T>(blendPixels<2>(at, src.step, w)), resultOf<T>(blendPixels<3>(at, src.step, w))};
    storePixels(d, pixels);
  }
}

}  // namespace qor
