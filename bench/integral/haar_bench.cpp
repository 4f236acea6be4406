#include <memory>
#include <type_traits>
#include <vector>

#include "qorcv/integral.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr int window = 24, features = 20;

void release(QoriHaarClassifier_32f* state) { qoriHaarClassifierFree_32f(state); }
void release(QoriHaarClassifier_32s* state) { qoriHaarClassifierFree_32s(state); }

QorStatus build(QoriHaarClassifier_32f** state, const QoriRect* rects, const Qor32f* weights, const Qor32f* thresholds,
                const Qor32f* val1, const Qor32f* val2, const int* counts, int length) {
  return qoriHaarClassifierInitAlloc_32f(state, rects, weights, thresholds, val1, val2, counts, length);
}
QorStatus build(QoriHaarClassifier_32s** state, const QoriRect* rects, const Qor32s* weights, const Qor32s* thresholds,
                const Qor32s* val1, const Qor32s* val2, const int* counts, int length) {
  return qoriHaarClassifierInitAlloc_32s(state, rects, weights, thresholds, val1, val2, counts, length);
}
void tilt(const Qor8u* mask, QoriHaarClassifier_32f* state) { qoriTiltHaarFeatures_32f(mask, 1, state); }
void tilt(const Qor8u* mask, QoriHaarClassifier_32s* state) { qoriTiltHaarFeatures_32s(mask, 1, state); }

// A stage whose features lie all over the window; upright ones, or every second one tilted.
template <class State, class V>
std::shared_ptr<State> stage(Setup& s, int rects, bool tilted) {
  const int total = features * rects;
  std::vector<QoriRect> boxes;
  const auto* numbers = s.randomVector<Qor8u>(4 * total);
  for (int i = 0; i < total; ++i) {
    const Qor8u* n = numbers + 4 * i;
    // A tilted box reaches to column x - height.
    const int width = 1 + n[0] % 11, height = 1 + n[1] % 11, x = height + n[2] % (window - width - height),
              y = n[3] % (window - width - height);
    boxes.push_back({x, y, width, height});
  }
  const std::vector<V> ones(static_cast<size_t>(total), V{1});
  const std::vector<int> counts(features, rects);
  State* state = nullptr;
  build(&state, boxes.data(), ones.data(), ones.data(), ones.data(), ones.data(), counts.data(), features);
  std::vector<Qor8u> odd(features);
  for (size_t i = 0; i < odd.size(); ++i) odd[i] = tilted && i % 2 == 1;
  if (tilted) tilt(odd.data(), state);
  return {state, [](State* p) { release(p); }};
}

// Every stage passes every candidate, so a mask serves all calls. One pixel in `thin` is a candidate.
Image<Qor8u> candidates(Setup& s, int thin) {
  const auto mask = s.random<Qor8u>({.low = 0, .high = 255});
  mask.all([&](int x, int y) {
    mask(x, y) = mask(x, y) % thin == 0;
    return true;
  });
  return mask;
}

int count(const Image<Qor8u>& mask) {
  int n = 0;
  mask.all([&](int x, int y) {
    n += mask(x, y);
    return true;
  });
  return n;
}

template <class T>
Image<T> table(Setup& s) {
  const QoriSize roi = s.roi();
  return s.random<T>({.size = {roi.width + window + 2, roi.height + window + 2}, .low = -1000, .high = 1000});
}

// The stage value is at least -features: every feature is worth 1 here.
template <class T, class N, class State, class V, class Operation, class... Scale>
auto upright(Operation* operation, int rects, int thin, Scale... scale) {
  return [=](Setup& s) {
    const auto t = table<T>(s);
    const auto norm = s.random<N>({.low = 1, .high = 50});
    const auto mask = candidates(s, thin);
    const auto state = stage<State, V>(s, rects, false);
    const int expected = count(mask);
    const auto positive = std::make_shared<int>(0);
    return checked(
        [=, roi = s.roi()] {
          *positive = expected;
          return operation(t.p, t.step, norm.p, norm.step, mask.p, mask.step, roi, positive.get(), V{0}, state.get(),
                           scale...);
        },
        [=] { return *positive == expected && count(mask) == expected; });
  };
}

template <class T, class N, class State, class V, class Operation, class... Scale>
auto mixed(Operation* operation, int rects, int thin, Scale... scale) {
  return [=](Setup& s) {
    const auto t = table<T>(s), tilted = table<T>(s);
    const auto norm = s.random<N>({.low = 1, .high = 50});
    const auto mask = candidates(s, thin);
    const auto state = stage<State, V>(s, rects, true);
    const int expected = count(mask);
    const auto positive = std::make_shared<int>(0);
    return checked(
        [=, roi = s.roi()] {
          return operation(t.p, t.step, tilted.p, tilted.step, norm.p, norm.step, mask.p, mask.step, roi,
                           positive.get(), V{0}, state.get(), scale...);
        },
        [=] { return *positive == expected && count(mask) == expected; });
  };
}

using Float = QoriHaarClassifier_32f;
using Integer = QoriHaarClassifier_32s;

const Register rows([] {
  const auto dense = upright<Qor32f, Qor32f, Float, Qor32f>(qoriApplyHaarClassifier_32f_C1R, 2, 1);
  Row("qoriApplyHaarClassifier_32f_C1R").run(dense);
  Row("qoriApplyHaarClassifier_32f_C1R/thinned to 1 in 32")
      .against("the dense mask", dense)
      .run(upright<Qor32f, Qor32f, Float, Qor32f>(qoriApplyHaarClassifier_32f_C1R, 2, 32));
  Row("qoriApplyHaarClassifier_32f_C1R/half the mask")
      .run(upright<Qor32f, Qor32f, Float, Qor32f>(qoriApplyHaarClassifier_32f_C1R, 2, 2));
  Row("qoriApplyHaarClassifier_32f_C1R/3 rectangles")
      .run(upright<Qor32f, Qor32f, Float, Qor32f>(qoriApplyHaarClassifier_32f_C1R, 3, 1));
  Row("qoriApplyHaarClassifier_32f_C1R/4 rectangles")
      .run(upright<Qor32f, Qor32f, Float, Qor32f>(qoriApplyHaarClassifier_32f_C1R, 4, 1));
  Row("qoriApplyHaarClassifier_32s32f_C1R")
      .run(upright<Qor32s, Qor32f, Float, Qor32f>(qoriApplyHaarClassifier_32s32f_C1R, 2, 1));
  Row("qoriApplyHaarClassifier_32s_C1RSfs")
      .run(upright<Qor32s, Qor32s, Integer, Qor32s>(qoriApplyHaarClassifier_32s_C1RSfs, 2, 1, 0));
  Row("qoriApplyMixedHaarClassifier_32f_C1R")
      .run(mixed<Qor32f, Qor32f, Float, Qor32f>(qoriApplyMixedHaarClassifier_32f_C1R, 2, 1));
  Row("qoriApplyMixedHaarClassifier_32s32f_C1R")
      .run(mixed<Qor32s, Qor32f, Float, Qor32f>(qoriApplyMixedHaarClassifier_32s32f_C1R, 2, 1));
  Row("qoriApplyMixedHaarClassifier_32s_C1RSfs")
      .run(mixed<Qor32s, Qor32s, Integer, Qor32s>(qoriApplyMixedHaarClassifier_32s_C1RSfs, 2, 1, -2));
});

}  // namespace
}  // namespace qor::bench
