#include <limits.h>

#include <string>

#include "haar_reference.h"

namespace {
using namespace qortest;

// The layout of a record, field by field.
template <class V>
struct Rectangle {
  int32_t coordinates[8];
  V weight;
};
template <class V>
struct Feature {
  int32_t rectCount;
  const Rectangle<V>* rects;
  V threshold, val1, val2;
  uint32_t id;
};
template <class V>
struct Header {
  int32_t featureCount, rectCount;
  const Feature<V>* features;
  int32_t bound[4];
  uint32_t tiltFlag;
  int32_t counts[3];
  int32_t allMinusOne;  // upright float records only
};

template <class V>
const Header<V>& header(const HaarHandle<V>& state) {
  return *reinterpret_cast<const Header<V>*>(state.get());
}

template <class V>
HaarHandle<V> built(const HaarStage<V>& stage, bool tilted = false) {
  typename HaarOf<V>::State* state = nullptr;
  EXPECT_EQ(stage.build(tilted ? HaarOf<V>::initTilted : HaarOf<V>::initUpright, &state), qorStsNoErr);
  return HaarHandle<V>(state);
}

// Features of 4, 2, 3, 1, 2 and 3 rectangles, each with numbers of its own.
template <class V>
HaarStage<V> sample() {
  HaarStage<V> stage;
  int next = 0;
  for (const int n : {4, 2, 3, 1, 2, 3}) {
    const V i = static_cast<V>(stage.features.size());
    typename HaarStage<V>::Feature f{{}, {}, V{100} + i, V{200} + i, V{300} + i};
    for (int k = 0; k < n; ++k, ++next) {
      f.rects.push_back({5 + next % 4, 3 + next % 3, 2 + next % 7, 1 + next % 5});
      f.weights.push_back(static_cast<V>(next - 3));
    }
    stage.features.push_back(f);
  }
  return stage;
}

template <class V>
void expectRecord(const Header<V>& h, const HaarStage<V>& stage, const std::vector<size_t>& order, Turn turn,
                  size_t headerBytes) {
  ASSERT_EQ(h.featureCount, static_cast<int>(order.size()));
  EXPECT_EQ(h.rectCount, 15);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(h.features), reinterpret_cast<uintptr_t>(&h) + headerBytes);
  const Rectangle<V>* next = reinterpret_cast<const Rectangle<V>*>(h.features + h.featureCount);
  for (size_t i = 0; i < order.size(); ++i) {
    const auto& want = stage.features[order[i]];
    const Feature<V>& got = h.features[i];
    ASSERT_EQ(got.rectCount, static_cast<int>(want.rects.size()));
    EXPECT_EQ(got.rects, next);
    EXPECT_EQ(got.threshold, want.threshold);
    EXPECT_EQ(got.val1, want.val1);
    EXPECT_EQ(got.val2, want.val2);
    EXPECT_EQ(got.id, order[i] << 8 | (turn == Turn::Upright ? 0 : 1));
    for (int k = 0; k < got.rectCount; ++k, ++next) {
      QoriPoint c[4];
      corners(want.rects[static_cast<size_t>(k)], turn, std::is_same_v<V, Qor32s>, c);
      for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(next->coordinates[2 * n], c[n].x) << "corner " << n;
        EXPECT_EQ(next->coordinates[2 * n + 1], c[n].y) << "corner " << n;
      }
      EXPECT_EQ(next->weight, want.weights[static_cast<size_t>(k)]);
    }
  }
}

template <class V>
void testLayout() {
  constexpr bool isFloat = std::is_same_v<V, Qor32f>;
  const auto stage = sample<V>();
  const auto upright = built(stage), tilted = built(stage, true);
  expectRecord(header(upright), stage, {1, 4, 2, 5, 0, 3}, Turn::Upright, isFloat ? 56 : 48);
  expectRecord(header(tilted), stage, {0, 1, 2, 3, 4, 5}, Turn::Tilted, 48);
  const std::vector<int> counts(header(upright).counts, header(upright).counts + 3);
  EXPECT_EQ(counts, isFloat ? (std::vector{2, 4, 15}) : (std::vector{15, 2, 4}));
  const std::vector<int> tiltedCounts(header(tilted).counts, header(tilted).counts + 3);
  EXPECT_EQ(tiltedCounts, (std::vector{15, 0, 0}));
  EXPECT_EQ(header(upright).tiltFlag & 1, 0U);
  EXPECT_EQ(header(tilted).tiltFlag, 1U);
}

TEST(HaarBuild, Layout) {
  testLayout<Qor32f>();
  testLayout<Qor32s>();
}

TEST(HaarBuild, FirstWeightsOfMinusOne) {
  const auto flag = [](std::vector<float> firstWeights) {
    HaarStage<Qor32f> stage;
    for (const float w : firstWeights) stage.features.push_back({{{0, 0, 1, 1}, {0, 0, 1, 1}}, {w, 5}, 0, 0, 0});
    return header(built(stage)).allMinusOne;
  };
  EXPECT_EQ(flag({-1, -1.75F}), 1);
  EXPECT_EQ(flag({-1, -2}), 0);
  EXPECT_EQ(flag({-0.99F}), 0);
  EXPECT_EQ(flag({NAN}), 0);
}

// The bounding values follow their rule, which is no bounding box of what comes later: sizes are compared with edges.
template <class V>
std::vector<int> bound(std::vector<QoriRect> rects, bool tilted) {
  HaarStage<V> stage;
  for (const QoriRect& r : rects) stage.features.push_back({{r}, {V{1}}, V{0}, V{0}, V{0}});
  const auto state = built(stage, tilted);
  return {header(state).bound, header(state).bound + 4};
}

TEST(HaarBuild, BoundingValues) {
  // The first rectangle does not lie beyond its own edge: width and height stay, less the corner.
  EXPECT_EQ(bound<Qor32f>({{3, 4, 10, 20}}, false), (std::vector{3, 4, 7, 16}));
  // 12 is not above 3 + 10; 30 is above 4 + 20.
  EXPECT_EQ(bound<Qor32f>({{3, 4, 10, 20}, {5, 10, 7, 20}}, false), (std::vector{3, 4, 7, 26}));
  // The corner moves before the edges are compared: 9 is above 1 + 5, 8 is above 2 + 4.
  EXPECT_EQ(bound<Qor32s>({{4, 4, 5, 4}, {1, 2, 8, 6}}, false), (std::vector{1, 2, 8, 6}));
  EXPECT_EQ(bound<Qor32s>({{3, 4, 10, 3}}, true), (std::vector{3, 4, 13 - 3, 13 - 4}));
  EXPECT_EQ(bound<Qor32f>({}, false), (std::vector{0, 0, 0, 0}));
  // Copy order, not input order: the feature of two rectangles comes first, the start is still the first rectangle.
  HaarStage<Qor32f> stage{{{{{9, 9, 1, 1}}, {1}, 0, 0, 0}, {{{2, 2, 3, 3}, {2, 2, 3, 3}}, {1, 1}, 0, 0, 0}}};
  const auto state = built(stage);
  const auto* b = header(state).bound;
  // Start 9, 9, 1, 1; then 5 is above 2 + 1; then 10 is above 2 + 5.
  EXPECT_EQ((std::vector<int>{b, b + 4}), (std::vector{2, 2, 8, 8}));
}

TEST(HaarBuild, WindowSize) {
  QoriSize size{-1, -1};
  EXPECT_EQ(qoriGetHaarClassifierSize_32f(built<Qor32f>({{{{{2, 3, 4, 5}}, {1}, 0, 0, 0}}}).get(), &size), 0);
  EXPECT_EQ(size.width, 6);
  EXPECT_EQ(size.height, 8);
  // Tilted: x + w and y + w + h, each over all rectangles.
  const HaarStage<Qor32s> tilted{{{{{3, 1, 9, 4}}, {1}, 0, 0, 0}, {{{2, 8, 2, 3}, {2, 9, 1, 3}}, {1, 1}, 0, 0, 0}}};
  EXPECT_EQ(qoriGetHaarClassifierSize_32s(built(tilted, true).get(), &size), 0);
  EXPECT_EQ(size.width, 12);
  EXPECT_EQ(size.height, 14);
  EXPECT_EQ(qoriGetHaarClassifierSize_32s(built<Qor32s>({}).get(), &size), 0);
  EXPECT_EQ(size.width, 0);
  EXPECT_EQ(size.height, 0);
  EXPECT_EQ(qoriGetHaarClassifierSize_32s(nullptr, &size), qorStsNullPtrErr);
  EXPECT_EQ(qoriGetHaarClassifierSize_32f(noAccess<QoriHaarClassifier_32f>(), nullptr), qorStsNullPtrErr);
}

TEST(HaarBuild, FreeOfNull) {
  EXPECT_EQ(qoriHaarClassifierFree_32f(nullptr), qorStsNullPtrErr);
  EXPECT_EQ(qoriHaarClassifierFree_32s(nullptr), qorStsNullPtrErr);
}

// Building: the sample, or features of rectangles of which now and then one is any four numbers.
template <class V>
void drawLists(Call& c) {
  Random& random = c.c.random;
  std::vector<QoriRect> rects;
  std::vector<int> counts;
  const auto whole = sample<V>();
  for (const auto& f : whole.features) {
    rects.insert(rects.end(), f.rects.begin(), f.rects.end());
    counts.push_back(static_cast<int>(f.rects.size()));
  }
  if (!c.c.usual) {
    counts.assign(static_cast<size_t>(random.below(7)), 0), rects.clear();
    for (int& n : counts) {
      n = random.between(1, 5);
      for (int i = 0; i < n; ++i) {
        const int h = random.between(1, 5), any = random.oneIn(40) ? static_cast<int>(random.bits()) : 0;
        rects.push_back({random.between(h - 1, 9) ^ any, random.below(9), random.between(1, 5), h});
        if (random.oneIn(40)) rects.back().height = random.between(-1, 12);
      }
    }
  }
  const size_t features = counts.size();
  c.set('e', static_cast<double>(features));
  // One element more, so that no list of an empty stage is null.
  rects.push_back({}), counts.push_back(-1);
  c.array('f', rects), c.array('k', std::vector<V>(rects.size())), c.array('n', counts);
  for (const int which : {1, 2, 3}) c.array('x', std::vector<V>(features + 1), which);
}

template <class State>
void expectBuilt(Call& c) {
  const bool isTilted = strstr(c.description.operation.name, "Tilted") != nullptr;
  const QoriRect* r = c.at<const QoriRect*>('f');
  for (int f = 0; f < c.number('e'); ++f) {
    for (int n = c.at<const int*>('n')[f]; n > 0; --n, ++r)
      if (r->x < 0 || r->y < 0 || r->width < 1 || r->height < 1 || (isTilted && r->height > r->x + 1))
        c.wanted = qorStsBadArgErr;
  }
  // The one form that tests rectangles ahead of the memory leaves the pointer alone.
  const bool keepsPointer = !isTilted && std::is_same_v<State, QoriHaarClassifier_32f>;
  auto* const state = *c.at<State**>('a');
  EXPECT_TRUE(c.wanted == qorStsNoErr || state == (keepsPointer ? noAccess<State>() : nullptr)) << currentCase();
  EXPECT_TRUE(c.wanted != qorStsNoErr || state != noAccess<State>());
}

// A rectangle's four words; the operation that tests them ahead of the memory leaves the pointer alone.
void buildChecks(DescribedContract& c, int) {
  c.refuseWord('n', 1, qorStsSizeErr, [](int n) { return n < 1; }, {0, -1, INT_MIN});
  for (const int word : {0, 1, 2, 3})
    c.refuseWord('f', 4 * 3 + word, qorStsBadArgErr, [=](int v) { return v < word / 2; }, {word / 2 - 1, INT_MIN});
}

template <class V>
void add(Descriptions& d, const char* name, auto* build) {
  d.add(name, build, "afkxxxne",
        {.checks = "null | least e SizeErr 0 | own",
         .draw = drawLists<V>,
         .expect = expectBuilt<typename HaarOf<V>::State>,
         .release = [](Arguments& a) { HaarOf<V>::release(*a.at<typename HaarOf<V>::State**>('a')); },
         .own = buildChecks,
         .read = "afkxn",
         .sweep = {.repeats = 4}});
}

const Descriptions members([](Descriptions& d) {
  add<Qor32f>(d, QORTEST_NAMED(qoriHaarClassifierInitAlloc_32f));
  add<Qor32s>(d, QORTEST_NAMED(qoriHaarClassifierInitAlloc_32s));
  add<Qor32f>(d, QORTEST_NAMED(qoriTiltedHaarClassifierInitAlloc_32f));
  add<Qor32s>(d, QORTEST_NAMED(qoriTiltedHaarClassifierInitAlloc_32s));
});

// Sums that no block holds, those that wrap around to a small one among them.
TEST(HaarBuild, TooLarge) {
  const int negative[] = {2, -1, 5}, many[] = {INT_MAX, INT_MAX, 3}, wraps[] = {INT_MAX, INT_MAX, 0};
  for (const auto build : {qoriHaarClassifierInitAlloc_32f, qoriTiltedHaarClassifierInitAlloc_32f}) {
    auto* const before = noAccess<QoriHaarClassifier_32f>();
    auto* state = before;
    const auto status = [&](const int* counts, int length) {
      const auto* v = noAccess<Qor32f>(2);
      return build(&state, noAccess<QoriRect>(1), v, v, v, v, counts, length);
    };
    EXPECT_EQ(status(negative, 3), qorStsSizeErr);
    EXPECT_EQ(status(wraps, 3), qorStsSizeErr);
    EXPECT_EQ(status(many, 3), qorStsMemAllocErr);
    EXPECT_EQ(status(many, 1), qorStsMemAllocErr);
    EXPECT_EQ(state, before);
    // No features: the arrays are not read.
    EXPECT_EQ(status(noAccess<int>(6), 0), qorStsNoErr);
    EXPECT_EQ(qoriHaarClassifierFree_32f(state), qorStsNoErr);
  }
}

template <class V>
void testTilt() {
  const auto stage = sample<V>();
  const std::vector<size_t> order{1, 4, 2, 5, 0, 3};
  for (const int flag : {0, 1, -8}) {
    const auto state = built(stage);
    EXPECT_EQ(HaarOf<V>::tilt(nullptr, flag, state.get()), qorStsNullPtrErr);
    EXPECT_EQ(HaarOf<V>::tilt(noAccess<Qor8u>(), flag, nullptr), qorStsNullPtrErr);
    // Nothing chosen: the stage is as before, and may still be tilted.
    const Qor8u nothing[6] = {}, chosen[] = {1, 0, 255, 0, 7, 0};
    EXPECT_EQ(HaarOf<V>::tilt(nothing, flag, state.get()), qorStsNoErr);
    expectRecord(header(state), stage, order, Turn::Upright, std::is_same_v<V, Qor32f> ? 56 : 48);
    EXPECT_EQ(HaarOf<V>::tilt(chosen, flag, state.get()), qorStsNoErr);
    EXPECT_EQ(header(state).tiltFlag & 1, 1U);
    EXPECT_EQ(HaarOf<V>::tilt(noAccess<Qor8u>(), flag, state.get()), qorStsBadArgErr);
    for (size_t i = 0; i < order.size(); ++i) {
      const Feature<V>& got = header(state).features[i];
      const auto& want = stage.features[order[i]];
      const bool tilted = chosen[order[i]] != 0;
      EXPECT_EQ(got.id, tilted ? 1 : order[i] << 8);
      for (int k = 0; k < got.rectCount; ++k) {
        QoriPoint c[4];
        const Turn turn = !tilted ? Turn::Upright : flag != 0 ? Turn::Down : Turn::Up;
        corners(want.rects[static_cast<size_t>(k)], turn, std::is_same_v<V, Qor32s>, c);
        for (int n = 0; n < 4; ++n) {
          EXPECT_EQ(got.rects[k].coordinates[2 * n], c[n].x) << "flag " << flag << ", corner " << n;
          EXPECT_EQ(got.rects[k].coordinates[2 * n + 1], c[n].y) << "flag " << flag << ", corner " << n;
        }
      }
    }
  }
  const auto tilted = built(stage, true);
  EXPECT_EQ(HaarOf<V>::tilt(noAccess<Qor8u>(), 1, tilted.get()), qorStsBadArgErr);
}

TEST(HaarBuild, Tilt) {
  testTilt<Qor32f>();
  testTilt<Qor32s>();
}

}  // namespace
