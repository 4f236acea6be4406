// The two operations of morphology. Everything is written once, for either.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// Samples and vectors agree lane by lane, NaN and zeros of both signs included: the second operand when either is NaN
// or both are zero. Of bits the higher is their or, the lower their and.
struct Lowest;
struct Highest {
  using Dual = Lowest;

  template <class T>
  static constexpr T of(T a, T b) {
    return a > b ? a : b;
  }
  template <class T, int size>
  static VecOf<T, size> of(VecOf<T, size> a, VecOf<T, size> b) {
    return max(a, b);
  }
  template <class Word>
  static Word ofBits(Word a, Word b) {
    return a | b;
  }
};
struct Lowest {
  using Dual = Highest;

  template <class T>
  static constexpr T of(T a, T b) {
    return a < b ? a : b;
  }
  template <class T, int size>
  static VecOf<T, size> of(VecOf<T, size> a, VecOf<T, size> b) {
    return min(a, b);
  }
  template <class Word>
  static Word ofBits(Word a, Word b) {
    return a & b;
  }
};

}  // namespace qor
