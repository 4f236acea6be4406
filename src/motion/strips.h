// Images taken in strips of pixels, across the ends of rows: models of the background keep their pixels one behind the
// other, so that only the last strip of an image is not whole.
#pragma once

#include <string.h>

#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

constexpr int stripPixels = 256;

// Calls strip(first pixel, pixels) for all of an image.
template <class Strip>
void forStrips(QoriSize size, const Strip& strip) {
  const int64_t pixels = int64_t{size.width} * size.height;
  for (int64_t first = 0; first < pixels; first += stripPixels) {
    const int64_t rest = pixels - first;
    strip(first, static_cast<int>(rest < stripPixels ? rest : stripPixels));
  }
}

// Calls piece(row, column, pixel of the strip, pixels) for the parts of rows that a strip consists of.
template <class Piece>
void forPieces(int width, int64_t first, int pixels, const Piece& piece) {
  int y = static_cast<int>(first / width), x = static_cast<int>(first % width);
  for (int done = 0; done < pixels; x = 0, ++y) {
    const int rest = pixels - done, n = width - x < rest ? width - x : rest;
    piece(y, x, done, n);
    done += n;
  }
}

// Pixels of an image, one behind the other.
template <int channels>
void gatherStrip(Qor8u* strip, Plane<const Qor8u> image, int width, int64_t first, int pixels) {
  forPieces(width, first, pixels, [=](int y, int x, int at, int n) {
    memcpy(strip + at * channels, image.row(y) + int64_t{x} * channels, static_cast<size_t>(n) * channels);
  });
}
template <int channels>
void scatterStrip(Plane<Qor8u> image, const Qor8u* strip, int width, int64_t first, int pixels) {
  forPieces(width, first, pixels, [=](int y, int x, int at, int n) {
    memcpy(image.row(y) + int64_t{x} * channels, strip + at * channels, static_cast<size_t>(n) * channels);
  });
}

// Three channels apart.
struct SplitStrip {
  Qor8u channel[3][stripPixels];

  void take(const Qor8u (&pixels)[3 * stripPixels]) {
    static_assert(stripPixels % V8u::lanes == 0);
    for (int x = 0; x < stripPixels; x += V8u::lanes) {
      const Triple<Qor8u> t(pixels + 3 * x);
      store(channel[0] + x, third<0>(t));
      store(channel[1] + x, third<1>(t));
      store(channel[2] + x, third<2>(t));
    }
  }
};

// Lanes of 32 bits that all stand for a pixel, or only the first of them: the rest is neither read nor written. Also
// for a byte a pixel, and for the mask of the lanes.
struct AllLanes {
  V32f all() const { return as<Qor32f>(splat(-1)); }
  V32f load(const Qor32f* p) const { return qor::load(p); }
  void store(Qor32f* p, V32f a) const { qor::store(p, a); }
  V32s loadBytes(const Qor8u* p) const { return loadAs<Qor32s>(p); }
  void storeBytes(Qor8u* p, V8u a) const { storeFirst(p, V32s::lanes, a); }
};
struct FirstLanes {
  ptrdiff_t n;

  V32f all() const {
    return as<Qor32f>(laneByLane<V32s>([this](int i) { return i < n ? -1 : 0; }));
  }
  V32f load(const Qor32f* p) const { return loadFirst<V32f>(p, n); }
  void store(Qor32f* p, V32f a) const { storeFirst(p, n, a); }
  V32s loadBytes(const Qor8u* p) const {
    Qor8u copy[V32s::lanes] = {};
    memcpy(copy, p, static_cast<size_t>(n));
    return loadAs<Qor32s>(copy);
  }
  void storeBytes(Qor8u* p, V8u a) const { storeFirst(p, n, a); }
};

}  // namespace qor
