#include <limits.h>
#include <math.h>

#include "haar_reference.h"

namespace {
using namespace qortest;

// The reach of a stage around a pixel, in one of the tables: what must exist, and no more.
template <class V>
Margin reach(const std::vector<Evaluated<V>>& features, bool tilted, bool all) {
  Margin m;
  for (const auto& f : features) {
    if (!all && f.tilted != tilted) continue;
    for (const auto& r : f.rects) {
      for (const QoriPoint c : r.corner) {
        m.left = std::max(m.left, -c.x);
        m.top = std::max(m.top, -c.y);
        m.right = std::max(m.right, c.x);
        m.bottom = std::max(m.bottom, c.y);
      }
    }
  }
  return m;
}

template <class V>
V constant(Random& random) {
  if constexpr (std::is_floating_point_v<V>) {
    const V special[] = {NAN, INFINITY, -INFINITY, -0.0F, 3e38F};
    if (random.oneIn(40)) return special[random.below(5)];
    return static_cast<V>(random.between(-40, 40)) / 8;
  } else {
    return random.oneIn(20) ? static_cast<V>(random.bits()) : random.between(-20, 20);
  }
}

template <class V>
HaarStage<V> randomStage(Random& random) {
  HaarStage<V> stage;
  const int features = random.oneIn(12) ? 0 : random.between(1, 9);
  for (int i = 0; i < features; ++i) {
    typename HaarStage<V>::Feature f{{}, {}, constant<V>(random), constant<V>(random), constant<V>(random)};
    const int counts[] = {2, 2, 3, 3, 1, 4, 7};
    for (int n = counts[random.below(7)]; n > 0; --n) {
      const int height = random.between(1, 4);
      // Valid when tilted too: the height is at most x + 1.
      f.rects.push_back({random.between(height - 1, 6), random.between(0, 5), random.between(1, 5), height});
      f.weights.push_back(constant<V>(random));
    }
    stage.features.push_back(f);
  }
  return stage;
}

// Expected counts around every change of the walk.
int expectedCount(Random& random, QoriSize size) {
  const int pixels = size.width * size.height;
  const int counts[] = {0,
                        -5,
                        INT_MIN,
                        INT_MAX,
                        pixels,
                        pixels / 4,
                        pixels / 4 - 1,
                        pixels / 8,
                        pixels / 8 - 1,
                        pixels / 16,
                        pixels / 16 - 1,
                        pixels / 32};
  return counts[random.below(12)];
}

// What a stage is run with, kept with its call. With tilted features a mixed form is meant.
template <class V>
struct Run {
  HaarHandle<V> state = {};
  std::vector<Evaluated<V>> features = {};
  Image<V> sums{{0, 0}};
};

template <class V>
Run<V>& runOf(const Arguments& a) {
  return *static_cast<Run<V>*>(a.data.get());
}

// Upright stages, tilted ones where the form takes them, and stages with tilted features: the id's bit is not looked
// at.
template <class V>
void drawStage(Call& call, bool mixed) {
  Random& random = call.c.random;
  const auto run = std::make_shared<Run<V>>();
  const auto stage = randomStage<V>(random);
  const int kind = random.below(3);
  const bool isTilted = kind == 1 && (mixed || std::is_same_v<V, Qor32s>);
  std::vector<Turn> turns(stage.features.size(), isTilted ? Turn::Tilted : Turn::Upright);
  typename HaarOf<V>::State* state = nullptr;
  ASSERT_EQ(stage.build(isTilted ? HaarOf<V>::initTilted : HaarOf<V>::initUpright, &state), qorStsNoErr);
  run->state.reset(state);
  if (kind == 2) {
    const int flag = 7 * random.below(2);
    std::vector<Qor8u> chosen(turns.size() + 1);
    for (size_t i = 0; i < turns.size(); ++i)
      if (random.oneIn(2)) chosen[i] = 200, turns[i] = flag != 0 ? Turn::Down : Turn::Up;
    ASSERT_EQ(HaarOf<V>::tilt(chosen.data(), flag, state), qorStsNoErr);
  }
  run->features = evaluated(stage, turns, isTilted);
  call.data = run;
  call.at<const void*>('t') = state;
  const int positive = expectedCount(random, call.size());
  call.array('u', std::vector<int>{positive});
  appendCase(" expected %d", positive);
}

// The mask, and a threshold that is a sum that occurs, so that equality decides somewhere; or none of them.
template <class Rule>
void fillMaskAndThreshold(Call& c, const Rule& rule, bool mixed) {
  using V = typename Rule::V;
  Run<V>& run = runOf<V>(c);
  const auto& table = c.image<typename Rule::T>('s');
  const auto& tilted = mixed ? c.image<typename Rule::T>('s', 2) : table;
  c.image<Qor8u>('i').generate(MaskMaker(static_cast<Mask>(c.c.random.below(5)), c.c.random.bits()));
  run.sums = stageSums(
      rule, run.features, [&](int x, int y) { return table.at(x, y); }, [&](int x, int y) { return tilted.at(x, y); },
      c.image<typename Rule::N>('s', mixed ? 3 : 2).pixels());
  const int pick = c.c.random.below(static_cast<int>(run.sums.samples.size()));
  c.at<V>('n') = c.c.random.oneIn(8) ? constant<V>(c.c.random) : run.sums.samples[static_cast<size_t>(pick)];
}

template <class Rule>
void expectCandidates(Call& c) {
  Image<Qor8u> want = c.before<Qor8u>('i');
  const int left = applySums<Rule>(runOf<typename Rule::V>(c).sums, c.at<typename Rule::V>('n'), want);
  EXPECT_EQ(*c.at<int*>('u'), left) << currentCase();
  c.expect('i', want);
}

// Neither a threshold nor an unused scale factor is refused.
template <class Rule>
void add(Descriptions& d, const char* name, auto* operation, bool mixed) {
  using T = typename Rule::T;
  using V = typename Rule::V;
  const bool isScaled = std::is_same_v<V, Qor32s>, isWide = isScaled && mixed;
  const auto ruleOf = [](const Call& c) {
    Rule rule;
    if constexpr (std::is_same_v<Rule, WideRule>) rule.shift = -c.number('e');
    return rule;
  };
  d.add(name, operation, (std::string(mixed ? "s.s.s.i.zunt" : "s.s.i.zunt") + (isScaled ? "e" : "")).c_str(),
        {.checks = std::string("null | size | step s | step i | even s") +
                   (isWide ? " | range e BadArgErr -2147483648 0" : ""),
         .values = {{'e', isWide ? std::vector<double>{0, -1, -31, -32, -63, -64, -67}
                                 : std::vector<double>{0, 5, INT_MIN, INT_MAX}}},
         .draw = [=](Call& c) { drawStage<V>(c, mixed); },
         // Tables with exactly the samples that the stage reaches.
         .shape =
             [=](const Arguments& a, char role, int which, Shape& s) {
               if (role == 's' && which <= (mixed ? 2 : 1)) s.margin = reach(runOf<V>(a).features, which == 2, !mixed);
             },
         .fill = [=](Call& c) { fillMaskAndThreshold(c, ruleOf(c), mixed); },
         // The tilted table's row 0 and column 0 are not part of what the image holds: no stage reads them.
         .arrange =
             [=](Call& c) {
               if (mixed) c.at<uintptr_t>('s', 2) -= static_cast<uintptr_t>(c.number('.', 2)) + sizeof(T);
             },
         .expect = expectCandidates<Rule>,
         .sweep = {.widths = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 19, 31, 33, 64, 127, 128, 129, 150, 259},
                   .heights = {1, 3, 9},
                   .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
  add<FloatRule>(d, QORTEST_NAMED(qoriApplyHaarClassifier_32f_C1R), false);
  add<FloatOnIntegerRule>(d, QORTEST_NAMED(qoriApplyHaarClassifier_32s32f_C1R), false);
  add<IntegerRule>(d, QORTEST_NAMED(qoriApplyHaarClassifier_32s_C1RSfs), false);
  add<FloatRule>(d, QORTEST_NAMED(qoriApplyMixedHaarClassifier_32f_C1R), true);
  add<FloatOnIntegerRule>(d, QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s32f_C1R), true);
  add<WideRule>(d, QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s_C1RSfs), true);
});

// A stage that is passed by whatever makes its one feature take the second value.
template <class V>
HaarHandle<V> takesSecond(V threshold) {
  const HaarStage<V> stage{{{{{0, 0, 1, 1}}, {V{1}}, threshold, V{-1}, V{1}}}};
  typename HaarOf<V>::State* state = nullptr;
  EXPECT_EQ(stage.build(HaarOf<V>::initUpright, &state), qorStsNoErr);
  return HaarHandle<V>(state);
}

// Tables of one box each, by hand: the box sums to 6.
TEST(HaarApply, EqualAndUnordered) {
  const Qor32f table[] = {0, 0, 0, 6}, invalid[] = {0, NAN, 0, 6};
  const auto passes = [](const Qor32f* t, Qor32f featureThreshold, Qor32f norm, Qor32f stageThreshold) {
    const auto state = takesSecond<Qor32f>(featureThreshold);
    Qor8u mask = 9;
    int count = 1;
    EXPECT_EQ(qoriApplyHaarClassifier_32f_C1R(t, 8, &norm, 4, &mask, 1, {1, 1}, &count, stageThreshold, state.get()),
              0);
    EXPECT_EQ(mask, count == 1 ? 9 : 0);
    return count == 1;
  };
  EXPECT_TRUE(passes(table, 3, 2, 0)) << "equal takes the second value";
  EXPECT_FALSE(passes(table, 3, nextafterf(2, 3), 0));
  EXPECT_TRUE(passes(table, 3, NAN, 0));
  EXPECT_TRUE(passes(table, NAN, 2, 0));
  EXPECT_TRUE(passes(invalid, 100, 100, 0));
  EXPECT_TRUE(passes(table, 3, nextafterf(2, 3), -1)) << "a stage equal to its threshold passes";
  EXPECT_TRUE(passes(table, 3, 2, NAN));
  EXPECT_FALSE(passes(table, 3, 2, INFINITY));

  const Qor32s whole[] = {0, 0, 0, 6};
  for (const Qor32s norm : {2, 3}) {
    const auto state = takesSecond<Qor32s>(3);
    Qor8u mask = 9;
    int count = 1;
    EXPECT_EQ(qoriApplyHaarClassifier_32s_C1RSfs(whole, 8, &norm, 4, &mask, 1, {1, 1}, &count, 1, state.get(), 0), 0);
    EXPECT_EQ(count, norm == 2);
  }
}

TEST(HaarApply, WithoutFeatures) {
  QoriHaarClassifier_32s* state = nullptr;
  ASSERT_EQ(HaarStage<Qor32s>{}.build(qoriHaarClassifierInitAlloc_32s, &state), qorStsNoErr);
  const HaarHandle<Qor32s> handle(state);
  for (const Qor32s threshold : {-1, 0, 1}) {
    GuardedImage<Qor8u> mask({20, 2});
    mask.generate([](int x, int, int) { return static_cast<Qor8u>(x % 3); });
    const int candidates = 2 * 13;
    int count = -1;
    // Neither table nor norm matters to it, but the norm may be read.
    GuardedImage<Qor32s> norm({20, 2});
    EXPECT_EQ(qoriApplyHaarClassifier_32s_C1RSfs(noAccess<Qor32s>(), 80, norm.data(), norm.step(), mask.data(),
                                                 mask.step(), {20, 2}, &count, threshold, state, 0),
              qorStsNoErr);
    EXPECT_EQ(count, threshold <= 0 ? candidates : 0);
    EXPECT_EQ(mask.at(1, 0), threshold <= 0 ? 1 : 0);
  }
}

// An all-zero mask is not even written, and what lies under it is not read.
TEST(HaarApply, NoCandidates) {
  const auto state = takesSecond<Qor32f>(1);
  GuardedImage<Qor8u> mask({70, 3}, {.gap = 1});
  mask.generate([](int, int, int) { return Qor8u{0}; });
  mask.protect();
  for (const int expected : {0, 30, 20, 210}) {
    int count = expected;
    EXPECT_EQ(qoriApplyHaarClassifier_32f_C1R(noAccess<Qor32f>(0), 280, noAccess<Qor32f>(1), 280, mask.data(),
                                              mask.step(), {70, 3}, &count, 0, state.get()),
              qorStsNoErr);
    EXPECT_EQ(count, 0);
  }
}

// A tilted record in float does not say how many rectangles the forms of one table need room for.
TEST(HaarApply, WrongRecord) {
  const HaarStage<Qor32f> stage{{{{{1, 0, 1, 1}, {0, 0, 1, 1}}, {1, 1}, 1, 1, 1}}};
  QoriHaarClassifier_32f* state = nullptr;
  ASSERT_EQ(stage.build(qoriTiltedHaarClassifierInitAlloc_32f, &state), qorStsNoErr);
  const HaarHandle<Qor32f> handle(state);
  GuardedImage<Qor8u> mask({8, 1});
  mask.generate([](int, int, int) { return Qor8u{1}; });
  mask.protect();
  int count = 77;
  EXPECT_EQ(qoriApplyHaarClassifier_32f_C1R(noAccess<Qor32f>(0), 32, noAccess<Qor32f>(1), 32, mask.data(), mask.step(),
                                            {8, 1}, &count, 0, state),
            qorStsMemAllocErr);
  EXPECT_EQ(qoriApplyHaarClassifier_32s32f_C1R(noAccess<Qor32s>(0), 32, noAccess<Qor32f>(1), 32, mask.data(),
                                               mask.step(), {8, 1}, &count, 0, state),
            qorStsMemAllocErr);
  EXPECT_EQ(count, 77);
}

}  // namespace
