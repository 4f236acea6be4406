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

// The channels of a strip apart.
inline void splitThree(const Qor8u (&pixels)[3 * stripPixels], Qor8u (&split)[3][stripPixels]) {
  static_assert(stripPixels % V8u::lanes == 0);
  for (int x = 0; x < stripPixels; x += V8u::lanes) {
    const Triple<Qor8u> t(pixels + 3 * x);
    store(split[0] + x, third<0>(t));
    store(split[1] + x, third<1>(t));
    store(split[2] + x, third<2>(t));
  }
}

// Lanes that all stand for a pixel, or only the first of them: the rest is neither read nor written.
template <class V>
struct AllLanes {
  using Sample = typename V::Sample;
  static constexpr ptrdiff_t n = V::lanes;

  V all() const { return as<Sample>(splat<VecOf<Qor8u, V::bytes>>(255)); }
  V load(const Sample* p) const { return qor::load<V>(p); }
  void store(Sample* p, V a) const { qor::store(p, a); }
};
template <class V>
struct FirstLanes {
  using Sample = typename V::Sample;
  ptrdiff_t n;

  V all() const {
    V ones;
    memset(&ones, 255, sizeof ones);
    return loadFirst<V>(reinterpret_cast<const Sample*>(&ones), n);
  }
  V load(const Sample* p) const { return loadFirst<V>(p, n); }
  void store(Sample* p, V a) const { storeFirst(p, n, a); }
};

// Calls work(pixel, lanes) for pixels of a tile, a vector at a time.
template <class V, class Work>
QOR_FORCE_INLINE void forVectors(int pixels, const Work& work) {
  int x = 0;
  for (; x <= pixels - V::lanes; x += V::lanes) work(x, AllLanes<V>());
  if (x < pixels) work(x, FirstLanes<V>{pixels - x});
}

}  // namespace qor
