// How the positions of an axis are made from those of the source: filtering and resampling in one, as weights of
// consecutive source positions.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

enum class LayerStep { down, up };

// Taps whose sum is about 1, an odd number of them.
struct LayerKernel {
  const Qor64f* taps;
  int size;
  LayerStep step;
  bool byTwo;  // the rate is exactly 2

  // Source positions of a window, wherever it begins: on the way down by two the taps themselves, on the way up by two
  // every second one; else the taps at two neighbouring positions, between which a sample is interpolated.
  constexpr int window() const {
    if (!byTwo) return size + 1;
    return step == LayerStep::down ? size : (size + 1) / 2;
  }
};

class LayerAxis {
 public:
  // An axis of `from` positions made into one of `to`.
  LayerAxis(const LayerKernel& kernel, int from, int to) : kernel_(kernel), from_(from), to_(to) {}

  // Weights that count for position x: between zeros there may be one less.
  int count(int64_t x) const {
    const bool lessOne = kernel_.byTwo && kernel_.step == LayerStep::up && ((x - reach()) & 1) != 0;
    return kernel_.window() - (lessOne ? 1 : 0);
  }

  // Writes the weights of the window for position x and returns where the window begins: positions outside the source
  // stand for its nearest one.
  int64_t weigh(int64_t x, Qor64f* weights) const {
    for (int i = 0; i < kernel_.window(); ++i) weights[i] = 0;
    if (kernel_.byTwo) return kernel_.step == LayerStep::down ? keepEven(x, weights) : fillZeros(x, weights);
    return kernel_.step == LayerStep::down ? filterThenSample(x, weights) : sampleThenFilter(x, weights);
  }

 private:
  struct Position {
    int64_t whole;
    Qor64f rest;
  };
  // Where in the source position x stands. The last one is the source's last one.
  Position positionOf(int64_t x) const {
    if (x == to_ - 1) return {int64_t{from_} - 1, 0};
    const int64_t scaled = x * from_;
    return {scaled / to_, static_cast<Qor64f>(scaled % to_) / to_};
  }
  int reach() const { return kernel_.size / 2; }

  int64_t keepEven(int64_t x, Qor64f* weights) const {
    for (int k = 0; k < kernel_.size; ++k) weights[k] = kernel_.taps[k];
    return 2 * x - reach();
  }
  // Zeros stand between the source positions; the taps that meet these count double.
  int64_t fillZeros(int64_t x, Qor64f* weights) const {
    const int64_t first = x - reach();
    const int skipped = static_cast<int>(first & 1);
    for (int k = skipped; k < kernel_.size; k += 2) weights[k / 2] = 2 * kernel_.taps[k];
    return (first + skipped) / 2;
  }
  int64_t filterThenSample(int64_t x, Qor64f* weights) const {
    const Position at = positionOf(x);
    for (int k = 0; k < kernel_.size; ++k) {
      weights[k] += (1 - at.rest) * kernel_.taps[k];
      weights[k + 1] += at.rest * kernel_.taps[k];
    }
    return at.whole - reach();
  }
  int64_t sampleThenFilter(int64_t x, Qor64f* weights) const {
    const int64_t start = positionOf(clamped(x - reach())).whole;
    for (int k = 0; k < kernel_.size; ++k) {
      const Position at = positionOf(clamped(x - reach() + k));
      weights[at.whole - start] += (1 - at.rest) * kernel_.taps[k];
      if (at.rest != 0) weights[at.whole - start + 1] += at.rest * kernel_.taps[k];
    }
    return start;
  }
  int64_t clamped(int64_t x) const { return x < 0 ? 0 : x < to_ ? x : int64_t{to_} - 1; }

  LayerKernel kernel_;
  int from_, to_;
};

}  // namespace qor
