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

// What a stage is run with, made of rotating data.
template <class Rule>
struct Run {
  using T = typename Rule::T;
  using N = typename Rule::N;
  using V = typename Rule::V;

  // Tables with exactly the samples that the stage reaches. With tilted features a mixed form is meant.
  Run(Case& c, const Rule& rule, const std::vector<Evaluated<V>>& features, bool mixed)
      : table(c.image<T>(1, reach(features, false, !mixed))),
        tilted(c.image<T>(1, reach(features, true, false))),
        norm(c.image<N>()),
        mask(c.mask()),
        wantMask(mask.pixels()),
        positive(expectedCount(c.random, c.size)) {
    const auto at = [this](int x, int y) { return table.at(x, y); };
    const auto atTilted = [this, mixed](int x, int y) { return mixed ? tilted.at(x, y) : table.at(x, y); };
    const Image<V> sums = stageSums(rule, features, at, atTilted, norm.pixels());
    // A sum that occurs, so that equality decides somewhere; or none of them.
    const int pick = c.random.below(static_cast<int>(sums.samples.size()));
    threshold = c.random.oneIn(8) ? constant<V>(c.random) : sums.samples[static_cast<size_t>(pick)];
    wantPositive = applySums<Rule>(sums, threshold, wantMask);
    table.protect();
    tilted.protect();
    norm.protect();
    appendCase(" expected %d", positive);
  }

  // The tilted table's row 0 and column 0 are not part of what the guarded image holds: no stage reads them.
  const T* tiltedTable() const {
    return reinterpret_cast<const T*>(reinterpret_cast<uintptr_t>(tilted.data()) -
                                      static_cast<uintptr_t>(tilted.step()) - sizeof(T));
  }

  void verify(QorStatus status) const {
    EXPECT_EQ(status, qorStsNoErr) << currentCase();
    EXPECT_EQ(positive, wantPositive) << currentCase();
    expectSame(mask, wantMask);
  }

  GuardedImage<T> table, tilted;
  GuardedImage<N> norm;
  GuardedImage<Qor8u> mask;
  Image<Qor8u> wantMask;
  V threshold = 0;
  int positive, wantPositive = 0;
};

Sweep sizes() {
  return {.widths = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 19, 31, 33, 64, 127, 128, 129, 150, 259},
          .heights = {1, 3, 9},
          .variants = 3};
}

// Upright stages, in the integer forms tilted ones too, and stages with tilted features: the id's bit is not looked at.
template <class Rule, class Operation, class... Scale>
void testOneTable(const char* name, Operation operation, Scale... scale) {
  using V = typename Rule::V;
  sweep(name, sizes(), [&](Case& c) {
    const auto stage = randomStage<V>(c.random);
    const bool builtTilted = c.variant == 1 && std::is_same_v<V, Qor32s>;
    std::vector<Turn> turns(stage.features.size(), builtTilted ? Turn::Tilted : Turn::Upright);
    typename HaarOf<V>::State* state = nullptr;
    ASSERT_EQ(stage.build(builtTilted ? HaarOf<V>::initTilted : HaarOf<V>::initUpright, &state), qorStsNoErr);
    const HaarHandle<V> handle(state);
    if (c.variant == 2) {
      const int flag = c.random.below(2);
      std::vector<Qor8u> chosen(turns.size() + 1);
      for (size_t i = 0; i < turns.size(); ++i) {
        if (c.random.oneIn(2)) chosen[i] = 200, turns[i] = flag != 0 ? Turn::Down : Turn::Up;
      }
      ASSERT_EQ(HaarOf<V>::tilt(chosen.data(), flag, state), qorStsNoErr);
    }
    Run<Rule> run(c, Rule{}, evaluated(stage, turns, builtTilted), false);
    run.verify(operation(run.table.data(), run.table.step(), run.norm.data(), run.norm.step(), run.mask.data(),
                         run.mask.step(), c.size, &run.positive, run.threshold, state, scale...));
  });
}

template <class Rule, class Operation, class MakeRule, class... Scale>
void testTwoTables(const char* name, Operation operation, MakeRule rule, Scale... scale) {
  using V = typename Rule::V;
  sweep(name, sizes(), [&](Case& c) {
    const auto stage = randomStage<V>(c.random);
    const bool builtTilted = c.variant == 1;
    std::vector<Turn> turns(stage.features.size(), builtTilted ? Turn::Tilted : Turn::Upright);
    typename HaarOf<V>::State* state = nullptr;
    ASSERT_EQ(stage.build(builtTilted ? HaarOf<V>::initTilted : HaarOf<V>::initUpright, &state), qorStsNoErr);
    const HaarHandle<V> handle(state);
    if (!builtTilted) {
      const int flag = 7 * c.random.below(2);
      std::vector<Qor8u> chosen(turns.size() + 1);
      for (size_t i = 0; i < turns.size(); ++i) {
        if (c.random.oneIn(2)) chosen[i] = 1, turns[i] = flag != 0 ? Turn::Down : Turn::Up;
      }
      ASSERT_EQ(HaarOf<V>::tilt(chosen.data(), flag, state), qorStsNoErr);
    }
    Run<Rule> run(c, rule(), evaluated(stage, turns, builtTilted), true);
    run.verify(operation(run.table.data(), run.table.step(), run.tiltedTable(), run.tilted.step(), run.norm.data(),
                         run.norm.step(), run.mask.data(), run.mask.step(), c.size, &run.positive, run.threshold, state,
                         scale...));
  });
}

TEST(HaarApply, OneTable) {
  testOneTable<FloatRule>(QORTEST_NAMED(qoriApplyHaarClassifier_32f_C1R));
  testOneTable<FloatOnIntegerRule>(QORTEST_NAMED(qoriApplyHaarClassifier_32s32f_C1R));
  for (const int scale : {0, 5}) testOneTable<IntegerRule>(QORTEST_NAMED(qoriApplyHaarClassifier_32s_C1RSfs), scale);
}

TEST(HaarApply, TwoTables) {
  testTwoTables<FloatRule>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32f_C1R), [] { return FloatRule{}; });
  testTwoTables<FloatOnIntegerRule>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s32f_C1R),
                                    [] { return FloatOnIntegerRule{}; });
  for (const int shift : {0, 1, 31, 32, 63, 64, 67}) {
    const auto rule = [=] {
      WideRule r;
      r.shift = shift;
      return r;
    };
    testTwoTables<WideRule>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s_C1RSfs), rule, -shift);
  }
}

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

template <class V>
HaarHandle<V> emptyStage() {
  typename HaarOf<V>::State* state = nullptr;
  EXPECT_EQ(HaarStage<V>{}.build(HaarOf<V>::initUpright, &state), qorStsNoErr);
  return HaarHandle<V>(state);
}

// Neither a threshold nor an unused scale factor is refused.
template <class V, class Operation, class... Scale>
void testContract(const char* name, Operation operation) {
  const auto state = emptyStage<V>();
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive, threshold, pState);
  contract.null(pSrc, pNorm, pMask, pPositive, pState);
  contract.size(roiSize);
  contract.step(sizeof(Qor32s), srcStep, normStep);
  contract.step(sizeof(Qor8u), maskStep);
  contract.even(sizeof(Qor32s), srcStep, normStep);
  contract.any(threshold, V{-5}, V{0}, V{7});
  contract.memory(pState, state.get());
  contract.run();
}

template <class V, class Operation>
void testMixedContract(const char* name, Operation operation) {
  const auto state = emptyStage<V>();
  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive,
                    threshold, pState);
  contract.null(pSrc, pTilt, pNorm, pMask, pPositive, pState);
  contract.size(roiSize);
  contract.step(sizeof(Qor32s), srcStep, tiltStep, normStep);
  contract.step(sizeof(Qor8u), maskStep);
  contract.even(sizeof(Qor32s), srcStep, tiltStep, normStep);
  contract.any(threshold, V{-5}, V{0}, V{7});
  contract.memory(pState, state.get());
  contract.run();
}

TEST(HaarApply, Contract) {
  testContract<Qor32f>(QORTEST_NAMED(qoriApplyHaarClassifier_32f_C1R));
  testContract<Qor32f>(QORTEST_NAMED(qoriApplyHaarClassifier_32s32f_C1R));
  testMixedContract<Qor32f>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32f_C1R));
  testMixedContract<Qor32f>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s32f_C1R));
}

TEST(HaarApply, ContractOfIntegers) {
  const auto state = emptyStage<Qor32s>();
  {
    Contract contract(QORTEST_NAMED(qoriApplyHaarClassifier_32s_C1RSfs));
    QORTEST_ARGUMENTS(contract, pSrc, srcStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive, threshold, pState,
                      scaleFactor);
    contract.null(pSrc, pNorm, pMask, pPositive, pState);
    contract.size(roiSize);
    contract.step(sizeof(Qor32s), srcStep, normStep);
    contract.step(sizeof(Qor8u), maskStep);
    contract.even(sizeof(Qor32s), srcStep, normStep);
    contract.any(threshold, INT_MIN, INT_MAX);
    contract.any(scaleFactor, INT_MIN, 0, INT_MAX);
    contract.memory(pState, state.get());
    contract.run();
  }
  Contract contract(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s_C1RSfs));
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pTilt, tiltStep, pNorm, normStep, pMask, maskStep, roiSize, pPositive,
                    threshold, pState, scaleFactor);
  contract.null(pSrc, pTilt, pNorm, pMask, pPositive, pState);
  contract.size(roiSize);
  contract.step(sizeof(Qor32s), srcStep, tiltStep, normStep);
  contract.step(sizeof(Qor8u), maskStep);
  contract.even(sizeof(Qor32s), srcStep, tiltStep, normStep);
  contract.range(scaleFactor, qorStsBadArgErr, INT_MIN, 0);
  contract.any(threshold, INT_MIN, INT_MAX);
  contract.memory(pState, state.get());
  contract.run();
}

}  // namespace
