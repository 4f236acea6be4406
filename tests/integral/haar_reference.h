// Haar stages as a test describes them, and their evaluation from the definition.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <memory>
#include <type_traits>
#include <vector>

#include "qorcv/integral.h"
#include "support/support.h"

namespace qortest {

// ---- the exported names by type

template <class V>
struct HaarOf {
  using State = QoriHaarClassifier_32f;
  static constexpr auto initUpright = qoriHaarClassifierInitAlloc_32f;
  static constexpr auto initTilted = qoriTiltedHaarClassifierInitAlloc_32f;
  static constexpr auto release = qoriHaarClassifierFree_32f;
  static constexpr auto windowSize = qoriGetHaarClassifierSize_32f;
  static constexpr auto tilt = qoriTiltHaarFeatures_32f;
};
template <>
struct HaarOf<Qor32s> {
  using State = QoriHaarClassifier_32s;
  static constexpr auto initUpright = qoriHaarClassifierInitAlloc_32s;
  static constexpr auto initTilted = qoriTiltedHaarClassifierInitAlloc_32s;
  static constexpr auto release = qoriHaarClassifierFree_32s;
  static constexpr auto windowSize = qoriGetHaarClassifierSize_32s;
  static constexpr auto tilt = qoriTiltHaarFeatures_32s;
};

// ---- what a caller passes

template <class V>
struct HaarStage {
  struct Feature {
    std::vector<QoriRect> rects;
    std::vector<V> weights;
    V threshold, val1, val2;
  };
  std::vector<Feature> features = {};

  // pNum of the features, and the arrays laid one behind the other.
  template <class Build>
  QorStatus build(Build init, typename HaarOf<V>::State** state) const {
    // One more element each, so that no array of an empty stage is null.
    std::vector<QoriRect> rects;
    std::vector<V> weights, thresholds, val1, val2;
    std::vector<int> counts;
    for (const Feature& f : features) {
      rects.insert(rects.end(), f.rects.begin(), f.rects.end());
      weights.insert(weights.end(), f.weights.begin(), f.weights.end());
      thresholds.push_back(f.threshold);
      val1.push_back(f.val1);
      val2.push_back(f.val2);
      counts.push_back(static_cast<int>(f.rects.size()));
    }
    rects.push_back({-1, -1, -1, -1});
    counts.push_back(-1);
    for (auto* values : {&weights, &thresholds, &val1, &val2}) values->push_back(V{0});
    return init(state, rects.data(), weights.data(), thresholds.data(), val1.data(), val2.data(), counts.data(),
                static_cast<int>(features.size()));
  }
};

template <class V>
struct HaarRelease {
  void operator()(typename HaarOf<V>::State* state) const { EXPECT_EQ(HaarOf<V>::release(state), qorStsNoErr); }
};
template <class V>
using HaarHandle = std::unique_ptr<typename HaarOf<V>::State, HaarRelease<V>>;

// ---- the evaluation

// A feature as it is evaluated: positions of the four corners, in the order of their terms.
template <class V>
struct Evaluated {
  struct Rect {
    QoriPoint corner[4];
    V weight;
  };
  bool tilted;
  std::vector<Rect> rects;
  V threshold, val1, val2;
};

// How the rectangles of a feature are turned.
enum class Turn { Upright, Tilted, Down, Up };

// Down and Up as TiltFeatures does for a flag of 1 and 0; the integer form takes e for the height.
inline void corners(QoriRect r, Turn turn, bool squares, QoriPoint (&c)[4]) {
  const int x = r.x, y = r.y, w = r.width, h = r.height, e = squares ? w : h;
  const QoriPoint upright[4] = {{x + w, y + h}, {x, y + h}, {x + w, y}, {x, y}};
  const QoriPoint tilted[4] = {{x + w - h, y + w + h}, {x - h, y + h}, {x + w, y + w}, {x, y}};
  const QoriPoint down[4] = {{x + w - e, y + w + e}, {x - e, y + h}, {x + w, y + w}, {x, y}};
  const QoriPoint up[4] = {{x, y + h}, {x - e, y + h - e}, {x + w, y + h - w}, {x + w - e, y + h - w - e}};
  const QoriPoint* chosen = turn == Turn::Upright  ? upright
                            : turn == Turn::Tilted ? tilted
                            : turn == Turn::Down   ? down
                                                   : up;
  std::copy(chosen, chosen + 4, c);
}

// The features in the order of their evaluation; turns by input index.
template <class V>
std::vector<Evaluated<V>> evaluated(const HaarStage<V>& stage, const std::vector<Turn>& turns, bool inputOrder) {
  std::vector<Evaluated<V>> result;
  for (int pass = 0; pass < (inputOrder ? 1 : 3); ++pass) {
    for (size_t i = 0; i < stage.features.size(); ++i) {
      const auto& f = stage.features[i];
      const size_t n = f.rects.size();
      if (!inputOrder && pass != (n == 2 ? 0 : n == 3 ? 1 : 2)) continue;
      Evaluated<V> e{turns[i] != Turn::Upright, {}, f.threshold, f.val1, f.val2};
      for (size_t k = 0; k < n; ++k) {
        e.rects.push_back({{}, f.weights[k]});
        corners(f.rects[k], turns[i], std::is_same_v<V, Qor32s>, e.rects[k].corner);
      }
      result.push_back(e);
    }
  }
  return result;
}

// Sums of 64 bits cut to 32.
inline Qor32s cut(int64_t v) { return static_cast<Qor32s>(static_cast<uint32_t>(v)); }

// The four rules. A rule gives the value of a feature from its rectangles' samples and adds it to the stage.
struct FloatRule {
  using T = Qor32f;
  using N = Qor32f;
  using V = Qor32f;
  template <class At>
  static V value(const Evaluated<V>& f, At at, N norm) {
    float s = 0;
    for (const auto& r : f.rects) {
      float t = at(r.corner[0]) - at(r.corner[1]);
      t = t - at(r.corner[2]);
      t = t + at(r.corner[3]);
      s = s + t * r.weight;
    }
    return f.threshold * norm > s ? f.val1 : f.val2;
  }
  static V add(V a, V b) { return a + b; }
  static bool accepts(V stage, V threshold) { return !(threshold > stage); }
};

struct FloatOnIntegerRule : FloatRule {
  using T = Qor32s;
  template <class At>
  static V value(const Evaluated<V>& f, At at, N norm) {
    float s = 0;
    for (const auto& r : f.rects) {
      const int64_t t = int64_t{at(r.corner[0])} - at(r.corner[1]) - at(r.corner[2]) + at(r.corner[3]);
      s = s + static_cast<float>(cut(t)) * r.weight;
    }
    return f.threshold * norm > s ? f.val1 : f.val2;
  }
};

struct IntegerRule {
  using T = Qor32s;
  using N = Qor32s;
  using V = Qor32s;
  template <class At>
  static V value(const Evaluated<V>& f, At at, N norm) {
    Qor32s s = 0;
    for (const auto& r : f.rects) {
      const int64_t t = int64_t{at(r.corner[0])} - at(r.corner[1]) - at(r.corner[2]) + at(r.corner[3]);
      s = cut(int64_t{s} + int64_t{cut(t)} * r.weight);
    }
    return s < cut(int64_t{f.threshold} * norm) ? f.val1 : f.val2;
  }
  static V add(V a, V b) { return cut(int64_t{a} + b); }
  static bool accepts(V stage, V threshold) { return stage >= threshold; }
};

struct WideRule : IntegerRule {
  int shift = 0;
  template <class At>
  V value(const Evaluated<V>& f, At at, N norm) const {
    uint64_t s = 0;
    for (const auto& r : f.rects) {
      const int64_t t = int64_t{at(r.corner[0])} - at(r.corner[1]) - at(r.corner[2]) + at(r.corner[3]);
      s += static_cast<uint64_t>(int64_t{cut(int64_t{cut(t)} * r.weight)});
    }
    for (int i = 0; i < shift % 64; ++i) s = 2 * s;
    return static_cast<int64_t>(s) < int64_t{f.threshold} * norm ? f.val1 : f.val2;
  }
};

// The sum of a stage at every pixel. upright(x, y) and tilted(x, y) give the tables at table positions, the tilted one
// counted from its row 1, column 1.
template <class Rule, class Upright, class Tilted>
Image<typename Rule::V> stageSums(const Rule& rule, const std::vector<Evaluated<typename Rule::V>>& features,
                                  Upright upright, Tilted tilted, const Image<typename Rule::N>& norm) {
  Image<typename Rule::V> sums(norm.size);
  for (int y = 0; y < norm.size.height; ++y) {
    for (int x = 0; x < norm.size.width; ++x) {
      typename Rule::V sum = 0;
      for (const auto& f : features) {
        const auto at = [&](QoriPoint c) { return f.tilted ? tilted(x + c.x, y + c.y) : upright(x + c.x, y + c.y); };
        sum = Rule::add(sum, rule.value(f, at, norm.at(x, y)));
      }
      sums.at(x, y) = sum;
    }
  }
  return sums;
}

// Clears the mask where the stage rejects; gives the count of what is left.
template <class Rule>
int applySums(const Image<typename Rule::V>& sums, typename Rule::V threshold, Image<Qor8u>& mask) {
  int left = 0;
  for (size_t i = 0; i < mask.samples.size(); ++i) {
    if (!Rule::accepts(sums.samples[i], threshold)) mask.samples[i] = 0;
    left += mask.samples[i] != 0;
  }
  return left;
}

}  // namespace qortest
