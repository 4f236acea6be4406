// A whole cascade over the tables of a picture, against sums of pixels.
#include "haar_reference.h"

namespace {
using namespace qortest;

constexpr int window = 24;

// Blobs and stripes with noise on them, so that stages have something to tell apart.
Image<Qor8u> picture(QoriSize size) {
  Image<Qor8u> p(size);
  Random random(baseSeed());
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int blob = (x % 29 - 14) * (x % 29 - 14) + (y % 23 - 11) * (y % 23 - 11) < 70 ? 110 : 0;
      const int stripe = (x + y) % 17 < 6 ? 60 : 10;
      p.at(x, y) = static_cast<Qor8u>(blob + stripe + random.below(40));
    }
  }
  return p;
}

// Tables as their recurrences read, in 64 bits.
Image<int64_t> uprightTable(const Image<Qor8u>& p) {
  Image<int64_t> t({p.size.width + 1, p.size.height + 1});
  for (int y = 0; y < p.size.height; ++y)
    for (int x = 0; x < p.size.width; ++x)
      t.at(x + 1, y + 1) = p.at(x, y) + t.at(x, y + 1) + t.at(x + 1, y) - t.at(x, y);
  return t;
}

Image<int64_t> tiltedTable(const Image<Qor8u>& p) {
  const int w = p.size.width;
  Image<int64_t> t({w + 2, p.size.height + 2});
  for (int y = 0; y < p.size.height; ++y) {
    t.at(0, y + 2) = t.at(1, y + 1);
    for (int x = 1; x < w; ++x)
      t.at(x, y + 2) = t.at(x - 1, y + 1) - t.at(x, y) + t.at(x + 1, y + 1) + p.at(x - 1, y) + p.at(x, y);
    t.at(w, y + 2) = p.at(w - 1, y) + t.at(w - 1, y + 1) + t.at(w + 1, y + 1) - t.at(w, y);
    t.at(w + 1, y + 2) = t.at(w, y + 1);
  }
  return t;
}

template <class T>
GuardedImage<T> copied(const Image<int64_t>& table) {
  GuardedImage<T> t(table.size, {.gap = 3});
  t.generate([&](int x, int y, int) { return static_cast<T>(table.at(x, y)); });
  return t;
}

// The library's own tables in place of those above.
void buildTables(const GuardedImage<Qor8u>& p, const GuardedImage<Qor32s>& upright,
                 const GuardedImage<Qor32s>& tilted) {
  EXPECT_EQ(qoriIntegral_8u32s_C1R(p.data(), p.step(), upright.data(), upright.step(), p.size(), 0), qorStsNoErr);
  EXPECT_EQ(qoriTiltedIntegral_8u32s_C1R(p.data(), p.step(), tilted.data(), tilted.step(), p.size(), 0), qorStsNoErr);
}
// The tilted one in float adds to one of its columns, so it starts at zero.
void buildTables(const GuardedImage<Qor8u>& p, const GuardedImage<Qor32f>& upright, GuardedImage<Qor32f>& tilted) {
  tilted.generate([](int, int, int) { return 0.0F; });
  EXPECT_EQ(qoriIntegral_8u32f_C1R(p.data(), p.step(), upright.data(), upright.step(), p.size(), 0), qorStsNoErr);
  EXPECT_EQ(qoriTiltedIntegral_8u32f_C1R(p.data(), p.step(), tilted.data(), tilted.step(), p.size(), 0), qorStsNoErr);
}

// Sum of the pixels of a rectangle at window position (px, py).
int64_t boxSum(const Image<Qor8u>& p, int px, int py, QoriRect r) {
  int64_t sum = 0;
  for (int y = py + r.y; y < py + r.y + r.height; ++y)
    for (int x = px + r.x; x < px + r.x + r.width; ++x) sum += p.at(x, y);
  return sum;
}

// A tilted rectangle hangs from the pixel corner one column right of (px + x, py + y). Along the diagonals down from
// there, a pixel's centre lies at p to the right and q to the left, in half diagonals; both edges far from the corner
// belong to it.
int64_t tiltedSum(const Image<Qor8u>& image, int px, int py, QoriRect r) {
  int64_t sum = 0;
  for (int y = 0; y < image.size.height; ++y) {
    for (int x = 0; x < image.size.width; ++x) {
      const int dx2 = 2 * (x - px - 1 - r.x) + 1, dy2 = 2 * (y - py - r.y) + 1;
      const int p = (dy2 + dx2) / 2, q = (dy2 - dx2) / 2;
      if (p > 0 && p <= 2 * r.width && q > 0 && q <= 2 * r.height) sum += image.at(x, y);
    }
  }
  return sum;
}

// A stage of small whole weights and values of whole eighths, so that floats hold every sum exactly.
HaarStage<Qor32s> randomStage(Random& random, std::vector<bool>* tilted) {
  HaarStage<Qor32s> stage;
  for (int i = 0; i < 7; ++i) {
    tilted->push_back(random.oneIn(2));
    HaarStage<Qor32s>::Feature f{{}, {}, random.between(-60, 60), random.between(-8, 8), random.between(-8, 8)};
    for (int n = random.between(1, 4); n > 0; --n) {
      const int w = random.between(1, 7), h = tilted->back() ? w : random.between(1, 7);
      // Turned down, it reaches from x - h to x + w, and to y + w + h.
      f.rects.push_back({random.between(h, window - w - 2), random.between(0, window - w - h - 2), w, h});
      f.weights.push_back(random.between(-3, 3));
    }
    stage.features.push_back(f);
  }
  return stage;
}

HaarStage<Qor32f> toFloat(const HaarStage<Qor32s>& stage) {
  HaarStage<Qor32f> result;
  for (const auto& f : stage.features) {
    HaarStage<Qor32f>::Feature g{f.rects,
                                 {},
                                 static_cast<Qor32f>(f.threshold) / 2,
                                 static_cast<Qor32f>(f.val1) / 8,
                                 static_cast<Qor32f>(f.val2) / 8};
    for (const Qor32s w : f.weights) g.weights.push_back(static_cast<Qor32f>(w));
    result.features.push_back(g);
  }
  return result;
}

// The stage's sum at a pixel, from the picture.
template <class V, class N>
V stageFromPixels(const Image<Qor8u>& p, const HaarStage<V>& stage, const std::vector<bool>& tilted, int px, int py,
                  N norm) {
  V sum = 0;
  for (size_t i = 0; i < stage.features.size(); ++i) {
    const auto& f = stage.features[i];
    double s = 0;
    for (size_t k = 0; k < f.rects.size(); ++k) {
      const int64_t box = tilted[i] ? tiltedSum(p, px, py, f.rects[k]) : boxSum(p, px, py, f.rects[k]);
      s += static_cast<double>(box) * static_cast<double>(f.weights[k]);
    }
    sum += s < static_cast<double>(f.threshold) * static_cast<double>(norm) ? f.val1 : f.val2;
  }
  return sum;
}

template <class V, class T, class N, class Apply>
void testCascade(const char* name, Apply apply, bool ownTables = true) {
  const QoriSize size{90, 61}, roi{size.width - window, size.height - window};
  const Image<Qor8u> p = picture(size);
  auto table = copied<T>(uprightTable(p)), tilted = copied<T>(tiltedTable(p));
  if (!ownTables) {
    GuardedImage<Qor8u> source(size);
    source.put(p);
    buildTables(source, table, tilted);
  }
  table.protect();
  tilted.protect();
  GuardedImage<N> norm(roi, {.gap = 1});
  norm.generate([](int x, int y, int) { return static_cast<N>(20 + (x * 7 + y * 11) % 90); });
  norm.protect();
  GuardedImage<Qor8u> mask(roi, {.gap = 2, .offset = 1});
  mask.generate([](int, int, int) { return Qor8u{1}; });
  Image<Qor8u> want = mask.pixels();

  Random random(baseSeed() + 7);
  int positive = roi.width * roi.height, rejecting = 0;
  for (int stages = 0; stages < 12 && positive > 10; ++stages) {
    setCase("%s, stage %d", name, stages);
    std::vector<bool> turned;
    const auto whole = randomStage(random, &turned);
    HaarStage<V> stage;
    if constexpr (std::is_same_v<V, Qor32f>) {
      stage = toFloat(whole);
    } else {
      stage = whole;
    }
    typename HaarOf<V>::State* state = nullptr;
    ASSERT_EQ(stage.build(HaarOf<V>::initUpright, &state), qorStsNoErr);
    const HaarHandle<V> handle(state);
    const std::vector<Qor8u> chosen(turned.begin(), turned.end());
    ASSERT_EQ(HaarOf<V>::tilt(chosen.data(), 1, state), qorStsNoErr);

    Image<V> sums(roi);
    std::vector<V> candidates;
    for (int y = 0; y < roi.height; ++y) {
      for (int x = 0; x < roi.width; ++x) {
        if (want.at(x, y) == 0) continue;
        sums.at(x, y) = stageFromPixels(p, stage, turned, x, y, norm.at(x, y));
        candidates.push_back(sums.at(x, y));
      }
    }
    // Rejects about a third, the lowest sum at least if there are two.
    std::sort(candidates.begin(), candidates.end());
    const auto above = std::upper_bound(candidates.begin(), candidates.end(), candidates.front());
    const V third = candidates[candidates.size() / 3];
    const V threshold = third > candidates.front() || above == candidates.end() ? third : *above;
    rejecting += above != candidates.end();
    int left = 0;
    for (int y = 0; y < roi.height; ++y) {
      for (int x = 0; x < roi.width; ++x) {
        if (want.at(x, y) != 0 && sums.at(x, y) < threshold) want.at(x, y) = 0;
        left += want.at(x, y) != 0;
      }
    }
    ASSERT_EQ(apply(table.data(), table.step(), tilted.data(), tilted.step(), norm.data(), norm.step(), mask.data(),
                    mask.step(), roi, &positive, threshold, state),
              qorStsNoErr);
    EXPECT_EQ(positive, left) << currentCase();
    expectSame(mask, want);
  }
  EXPECT_GE(rejecting, 5) << "too short a cascade to show anything";
}

TEST(HaarCascade, OnTwoTables) {
  testCascade<Qor32f, Qor32f, Qor32f>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32f_C1R));
  testCascade<Qor32f, Qor32s, Qor32f>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s32f_C1R));
  const auto integers = [](auto... args) { return qoriApplyMixedHaarClassifier_32s_C1RSfs(args..., 0); };
  testCascade<Qor32s, Qor32s, Qor32s>("qoriApplyMixedHaarClassifier_32s_C1RSfs", integers);
}

TEST(HaarCascade, OnTablesOfTheLibrary) {
  testCascade<Qor32f, Qor32f, Qor32f>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32f_C1R), false);
  testCascade<Qor32f, Qor32s, Qor32f>(QORTEST_NAMED(qoriApplyMixedHaarClassifier_32s32f_C1R), false);
}

}  // namespace
