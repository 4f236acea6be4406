// Growth along a row under a limit. One sample after the other it is
//
//     value[x] = grown(bounded(limit[x], value[x - 1]), value[x])
//
// Such steps compose to steps of the same form, so a vector takes log2 of its lanes, and what enters it from before is
// applied at the end. Where samples tie or are unordered, a sample keeps what it has: it takes what is truly beyond it,
// from the nearest that offers it, as the loop over samples does. So values never depend on the width of vectors, and a
// sample moves in one direction only.
#pragma once

#include "frame/round.h"
#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// What no sample lies below or above.
template <class T>
constexpr T infimumOf = std::is_floating_point_v<T> ? -std::numeric_limits<T>::infinity() : bottomOf<T>;
template <class T>
constexpr T supremumOf = std::is_floating_point_v<T> ? std::numeric_limits<T>::infinity() : topOf<T>;

// Upwards, under a limit from above; and downwards, above a limit from below. Vectors: the second operand where the two
// tie or are unordered.
struct Up {
  template <class T>
  static constexpr T nothing = infimumOf<T>;  // has no effect as a value
  template <class T>
  static constexpr T unlimited = supremumOf<T>;  // has no effect as a limit
  template <class V>
  QOR_FORCE_INLINE static V grown(V a, V b) {
    return max(a, b);
  }
  template <class V>
  QOR_FORCE_INLINE static V bounded(V limit, V a) {
    return min(limit, a);
  }
  template <class T>
  static bool beyond(T a, T b) {
    return a > b;
  }
};
struct Down {
  template <class T>
  static constexpr T nothing = supremumOf<T>;
  template <class T>
  static constexpr T unlimited = infimumOf<T>;
  template <class V>
  QOR_FORCE_INLINE static V grown(V a, V b) {
    return min(a, b);
  }
  template <class V>
  QOR_FORCE_INLINE static V bounded(V limit, V a) {
    return max(limit, a);
  }
  template <class T>
  static bool beyond(T a, T b) {
    return a < b;
  }
};

// A vector of a row and, in every lane, the limit of all samples from its beginning up to there, or from its end.
template <class Growth, class T>
struct Grower {
  Vec<T> value, limit;

  QOR_FORCE_INLINE void forward() { forwardWithin<1>(); }
  QOR_FORCE_INLINE void backward() { backwardWithin<1>(); }

  // Takes in what comes from before or behind the vector, the same in every lane.
  QOR_FORCE_INLINE void enter(Vec<T> from) { value = Growth::grown(Growth::bounded(limit, from), value); }

 private:
  static constexpr int lanes = Short<T>::lanes;

  QOR_FORCE_INLINE static Vec<T> nothing() { return splat(Growth::template nothing<T>); }
  QOR_FORCE_INLINE static Vec<T> unlimited() { return splat(Growth::template unlimited<T>); }

  // Lanes so far have taken in `reach` samples, themselves included; now twice as many.
  template <int reach>
  QOR_FORCE_INLINE void forwardWithin() {
    if constexpr (reach < lanes) {
      take(slide<lanes - reach>(nothing(), value), slide<lanes - reach>(unlimited(), limit));
      forwardWithin<2 * reach>();
    } else if constexpr (Vec<T>::bytes > Short<T>::bytes) {
      take(ofShorts(firstShort(nothing()), firstShort(spread<lanes - 1>(value))),
           ofShorts(firstShort(unlimited()), firstShort(spread<lanes - 1>(limit))));
    }
  }
  template <int reach>
  QOR_FORCE_INLINE void backwardWithin() {
    if constexpr (reach < lanes) {
      take(slide<reach>(value, nothing()), slide<reach>(limit, unlimited()));
      backwardWithin<2 * reach>();
    } else if constexpr (Vec<T>::bytes > Short<T>::bytes) {
      take(ofShorts(lastShort(spread<0>(value)), lastShort(nothing())),
           ofShorts(lastShort(spread<0>(limit)), lastShort(unlimited())));
    }
  }
  QOR_FORCE_INLINE void take(Vec<T> farValue, Vec<T> farLimit) {
    value = Growth::grown(Growth::bounded(limit, farValue), value);
    limit = Growth::bounded(limit, farLimit);
  }
};

}  // namespace qor
