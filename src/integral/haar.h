// The record of a Haar stage, as the builders lay it out and the apply operations read it: one block of the header, the
// feature records and the rectangle records, in that order, each with its natural alignment.
#pragma once

#include "frame/base.h"
#include "qorcv/integral.h"

namespace qor::inline QOR_LEVEL {

struct HaarCorner {
  Qor32s x, y;
};

// The corners in the order of their terms in the sum of the rectangle: first - second - third + fourth. They are
// positions in the table, relative to the pixel.
template <class V>
struct HaarRectangle {
  HaarCorner first, second, third, fourth;
  V weight;
};

template <class V>
struct HaarFeature {
  Qor32s rectCount;
  HaarRectangle<V>* rects;
  V threshold, val1, val2;
  Qor32u id;  // input index << 8; bit 0: on the tilted table
};

// V is the type of weights, thresholds and values. The upright record in float counts the features of 2 rectangles,
// those of 2 or 3, and all rectangles; the upright one in integers all rectangles first, then these two; a tilted one
// has all rectangles first, and zeros.
template <class V>
struct HaarRecord {
  Qor32s featureCount;
  Qor32s rectCount;
  HaarFeature<V>* features;
  Qor32s boundX, boundY, boundWidth, boundHeight;
  Qor32u tiltFlag;  // bit 0: some features are tilted
  Qor32s counts[3];
};

// The header of the upright form.
template <class V>
struct UprightHaarRecord : HaarRecord<V> {};
template <>
struct UprightHaarRecord<Qor32f> : HaarRecord<Qor32f> {
  Qor32s allMinusOne;  // whether the first weight of every feature is -1, what stands behind its point dropped
};

// The entry of counts that the non-mixed operations take as the number of rectangles.
template <class V>
constexpr int uprightTotal = std::is_same_v<V, Qor32f> ? 2 : 0;

static_assert(sizeof(HaarRectangle<Qor32f>) == 36 && sizeof(HaarFeature<Qor32f>) == 32);
static_assert(sizeof(HaarRecord<Qor32s>) == 48 && sizeof(UprightHaarRecord<Qor32s>) == 48);

// Coordinates wrap: the builders refuse negative ones, but not sums beyond 32 bits.
template <class... C>
constexpr Qor32s wrappedSum(C... c) {
  return static_cast<Qor32s>((static_cast<Qor32u>(c) + ...));
}
constexpr Qor32s wrappedDifference(Qor32s a, Qor32s b) {
  return static_cast<Qor32s>(static_cast<Qor32u>(a) - static_cast<Qor32u>(b));
}

}  // namespace qor

// What the public header leaves incomplete.
struct QoriHaarClassifier_32f : qor::HaarRecord<Qor32f> {};
struct QoriHaarClassifier_32s : qor::HaarRecord<Qor32s> {};
