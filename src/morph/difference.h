// What a compound operation does with the pixels of its last stage: a difference of two images.
#pragma once

#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// minuend - subtrahend, saturated; of floats what is below zero becomes zero. The result may be either source.
template <class T>
void subtractRow(T* result, const T* minuend, const T* subtrahend, ptrdiff_t n) {
  mapRow(
      result, n,
      [](const T* a, const T* b) {
        if constexpr (std::is_floating_point_v<T>) {
          // A NaN and a negative zero stay as they are.
          return Block<T, 1>{max(zero<T>(), load(a) - load(b))};
        } else {
          return Block<T, 1>{subSat(load(a), load(b))};
        }
      },
      minuend, subtrahend);
}

// Taken piece by piece as the last stage writes its rows, while they are in the cache; or of nothing.
template <class T>
struct Difference {
  bool wanted = false;
  Plane<const T> minuend = {}, subtrahend = {};
  Plane<T> result = {};

  void take(ptrdiff_t x, int y, ptrdiff_t pixels, int channels) const {
    if (!wanted) return;
    const ptrdiff_t first = x * channels;
    subtractRow(result.row(y) + first, minuend.row(y) + first, subtrahend.row(y) + first, pixels * channels);
  }
};

}  // namespace qor
