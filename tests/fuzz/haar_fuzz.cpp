// Fuzzes Haar stages: builders on any rectangles, and the evaluation of a region against that of its pixels one by one.
#include "fuzz.h"

namespace {

using fuzz::Image;
using fuzz::Input;

struct Free {
  void operator()(QoriHaarClassifier_32f* stage) const { FUZZ_CHECK(qoriHaarClassifierFree_32f(stage) == qorStsNoErr); }
  void operator()(QoriHaarClassifier_32s* stage) const { FUZZ_CHECK(qoriHaarClassifierFree_32s(stage) == qorStsNoErr); }
};

constexpr int reach = 12;

// A rectangle within the reach whether it is upright or tilted, or now and then any four numbers.
QoriRect rectangle(Input& in) {
  if (in.ConsumeIntegralInRange(0, 63) == 63) {
    return {in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>(), in.ConsumeIntegral<int>()};
  }
  const int w = in.ConsumeIntegralInRange(1, 4), h = in.ConsumeIntegralInRange(1, 4);
  return {in.ConsumeIntegralInRange(h - 1, reach - w), in.ConsumeIntegralInRange(0, reach - w - h), w, h};
}

template <class V>
V number(Input& in) {
  return static_cast<V>(in.ConsumeIntegral<int8_t>()) / static_cast<V>(4);
}

// The stage, or null where one of its rectangles is not within the reach: then the builder may refuse it, else not.
template <class State, class V>
State* build(Input& in,
             QorStatus (*init)(State**, const QoriRect*, const V*, const V*, const V*, const V*, const int*, int)) {
  std::vector<int> counts(in.ConsumeIntegralInRange<size_t>(0, 6));
  int total = 0;
  for (int& count : counts) {
    count = in.ConsumeIntegralInRange(1, 5);
    total += count;
  }
  // Never empty, so that no array is null.
  std::vector<QoriRect> rects(static_cast<size_t>(total) + 1);
  std::vector<V> weights(rects.size()), thresholds(counts.size() + 1), val1(thresholds), val2(thresholds);
  bool valid = true;
  for (int i = 0; i < total; ++i) {
    QoriRect& r = rects[static_cast<size_t>(i)];
    r = rectangle(in);
    valid = valid && r.x >= 0 && r.x <= reach && r.y >= 0 && r.y <= reach && r.width >= 1 && r.width <= 4 &&
            r.height >= 1 && r.height <= 4 && r.height <= r.x + 1 && r.x + r.width <= reach &&
            r.y + r.width + r.height <= reach;
    weights[static_cast<size_t>(i)] = number<V>(in);
  }
  for (size_t i = 0; i < counts.size(); ++i) {
    thresholds[i] = number<V>(in);
    val1[i] = number<V>(in);
    val2[i] = number<V>(in);
  }
  const int length = static_cast<int>(counts.size());
  counts.push_back(0);
  State* state = nullptr;
  const QorStatus status =
      init(&state, rects.data(), weights.data(), thresholds.data(), val1.data(), val2.data(), counts.data(), length);
  FUZZ_CHECK(status == qorStsNoErr || status == qorStsBadArgErr);
  FUZZ_CHECK((status == qorStsNoErr) == (state != nullptr));
  if (valid) {
    FUZZ_CHECK(status == qorStsNoErr);
    return state;
  }
  if (state != nullptr) Free()(state);
  return nullptr;
}

// region(mask, size, positive, x, y) applies the stage to the region whose first pixel is (x, y).
template <class Region>
void regionAgainstPixels(Image<Qor8u>& mask, QoriSize size, int expected, Region region) {
  const auto before = mask.snapshot();
  int positive = expected, left = 0;
  FUZZ_CHECK(region(mask.data(), mask.step(), size, &positive, 0, 0) == qorStsNoErr);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      Qor8u alone = mask.row(before, y)[x];
      int one = 1;
      FUZZ_CHECK(region(&alone, 1, QoriSize{1, 1}, &one, x, y) == qorStsNoErr);
      FUZZ_CHECK(one == (alone != 0));
      FUZZ_CHECK(mask.row(y)[x] == alone);
      left += one;
    }
  }
  FUZZ_CHECK(positive == left);
  FUZZ_CHECK(mask.gapsEqual(before));
}

template <class T, class N, class State, class V, class Init, class WindowSize, class Apply>
void upright(Input& in, Init init, WindowSize windowSize, Apply apply) {
  const std::unique_ptr<State, Free> state(build<State, V>(in, init));
  QoriSize window;
  if (state == nullptr) return;
  FUZZ_CHECK(windowSize(state.get(), &window) == qorStsNoErr);
  FUZZ_CHECK(window.width >= 0 && window.width <= reach && window.height >= 0 && window.height <= reach);
  const V threshold = number<V>(in);
  const int expected = in.ConsumeIntegralInRange(-1, 2000);
  const QoriSize size = fuzz::size(in, 80, 5);
  Image<T> table(in, {size.width + reach, size.height + reach});
  Image<N> norm(in, size);
  Image<Qor8u> mask(in, size);
  regionAgainstPixels(mask, size, expected, [&](Qor8u* m, int step, QoriSize part, int* positive, int x, int y) {
    return apply(table.row(y) + x, table.step(), norm.row(y) + x, norm.step(), m, step, part, positive, threshold,
                 state.get());
  });
}

// The tables get a margin above and at the left as well: turned up, rectangles reach there.
template <class T, class N, class State, class V, class Init, class Tilt, class WindowSize, class Apply>
void mixed(Input& in, Init init, Tilt tilt, WindowSize windowSize, Apply apply) {
  const std::unique_ptr<State, Free> state(build<State, V>(in, init));
  QoriSize window;
  if (state == nullptr) return;
  FUZZ_CHECK(windowSize(state.get(), &window) == qorStsNoErr);
  FUZZ_CHECK(window.width >= 0 && window.width <= reach && window.height >= 0 && window.height <= reach);
  Qor8u chosen[8];
  fuzz::fill(in, chosen, sizeof chosen);
  const QorStatus tilted = tilt(chosen, in.ConsumeIntegralInRange(0, 1), state.get());
  FUZZ_CHECK(tilted == qorStsNoErr || tilted == qorStsBadArgErr);
  const V threshold = number<V>(in);
  const QoriSize size = fuzz::size(in, 80, 5), tableSize{size.width + 4 * reach, size.height + 4 * reach};
  Image<T> table(in, tableSize), tiltedTable(in, tableSize);
  Image<N> norm(in, size);
  Image<Qor8u> mask(in, size);
  regionAgainstPixels(mask, size, 0, [&](Qor8u* m, int step, QoriSize part, int* positive, int x, int y) {
    const int left = x + 2 * reach, top = y + 2 * reach;
    return apply(table.row(top) + left, table.step(), tiltedTable.row(top) + left, tiltedTable.step(), norm.row(y) + x,
                 norm.step(), m, step, part, positive, threshold, state.get());
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t count) {
  using Float = QoriHaarClassifier_32f;
  using Integer = QoriHaarClassifier_32s;
  Input in(data, count);
  const bool builtTilted = in.ConsumeBool();
  const int scaleFactor = -in.ConsumeIntegralInRange(0, 100);
  const auto initFloat = builtTilted ? qoriTiltedHaarClassifierInitAlloc_32f : qoriHaarClassifierInitAlloc_32f;
  const auto initInteger = builtTilted ? qoriTiltedHaarClassifierInitAlloc_32s : qoriHaarClassifierInitAlloc_32s;
  const auto windowFloat = qoriGetHaarClassifierSize_32f;
  const auto windowInteger = qoriGetHaarClassifierSize_32s;
  switch (in.ConsumeIntegralInRange(0, 5)) {
    case 0:
      upright<Qor32f, Qor32f, Float, Qor32f>(in, qoriHaarClassifierInitAlloc_32f, windowFloat,
                                             qoriApplyHaarClassifier_32f_C1R);
      break;
    case 1:
      upright<Qor32s, Qor32f, Float, Qor32f>(in, qoriHaarClassifierInitAlloc_32f, windowFloat,
                                             qoriApplyHaarClassifier_32s32f_C1R);
      break;
    case 2:
      upright<Qor32s, Qor32s, Integer, Qor32s>(in, qoriHaarClassifierInitAlloc_32s, windowInteger, [=](auto... args) {
        return qoriApplyHaarClassifier_32s_C1RSfs(args..., scaleFactor);
      });
      break;
    case 3:
      mixed<Qor32f, Qor32f, Float, Qor32f>(in, initFloat, qoriTiltHaarFeatures_32f, windowFloat,
                                           qoriApplyMixedHaarClassifier_32f_C1R);
      break;
    case 4:
      mixed<Qor32s, Qor32f, Float, Qor32f>(in, initFloat, qoriTiltHaarFeatures_32f, windowFloat,
                                           qoriApplyMixedHaarClassifier_32s32f_C1R);
      break;
    default:
      mixed<Qor32s, Qor32s, Integer, Qor32s>(
          in, initInteger, qoriTiltHaarFeatures_32s, windowInteger,
          [=](auto... args) { return qoriApplyMixedHaarClassifier_32s_C1RSfs(args..., scaleFactor); });
      break;
  }
  return 0;
}
