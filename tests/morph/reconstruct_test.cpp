#include <math.h>

#include <algorithm>
#include <type_traits>

#include "qorcv/morph.h"
#include "support/support.h"

namespace {
using namespace qortest;

using Query = QorStatus (*)(QoriSize, int*);

// The definition, one pixel at a time from those that changed.
template <class T>
Image<T> reference(const Image<T>& mask, Image<T> image, bool dilate, QoriNorm norm) {
  const auto beyond = [=](T a, T b) { return dilate ? a > b : a < b; };
  const int w = mask.size.width, h = mask.size.height;
  std::vector<int> changed;
  for (int p = 0; p < w * h; ++p) {
    T& value = image.samples[size_t(p)];
    if (beyond(value, mask.samples[size_t(p)])) value = mask.samples[size_t(p)];
    changed.push_back(p);
  }
  for (size_t i = 0; i < changed.size(); ++i) {
    const int p = changed[i], x = p % w, y = p / w;
    for (int d = 0; d < 9; ++d) {
      const int dx = d % 3 - 1, dy = d / 3 - 1, nx = x + dx, ny = y + dy;
      if (nx < 0 || ny < 0 || nx >= w || ny >= h || (norm == qoriNormL1 && dx * dy != 0)) continue;
      const T limit = mask.at(nx, ny), offer = beyond(image.at(x, y), limit) ? limit : image.at(x, y);
      if (!beyond(offer, image.at(nx, ny))) continue;
      image.at(nx, ny) = offer;
      changed.push_back(ny * w + nx);
    }
  }
  return image;
}

// A way of one pixel that winds into the middle, walls between its turns.
int spiral(QoriSize size, int x, int y) {
  const int ring = std::min(std::min(x, y), std::min(size.width - 1 - x, size.height - 1 - y));
  const bool gate = x == ring && y == ring + 1;
  return (ring % 2 == 0) != gate ? 1 : 0;
}

// Data as it comes, walls of a maze at various densities, or a spiral; and a marker anywhere, near the mask, or at a
// few pixels.
template <class T>
void makePair(Call& c, bool dilate) {
  GuardedImage<T>&mask = c.image<T>('s'), &marker = c.image<T>('i');
  const T low = static_cast<T>(dilate ? 3 : 200), high = static_cast<T>(dilate ? 200 : 3);
  Random& random = c.c.random;
  const int maskKind = random.below(4), markerKind = random.below(4), open = random.between(40, 90);
  appendCase(" mask %d marker %d", maskKind, markerKind);
  if (maskKind == 1) mask.generate([&](int, int, int) { return random.below(100) < open ? high : low; });
  if (maskKind == 2) mask.generate([&](int x, int y, int) { return spiral(c.size(), x, y) != 0 ? high : low; });
  if (maskKind == 3) mask.generate([&](int, int, int) { return static_cast<T>(random.below(256)); });
  if (markerKind == 1) marker.generate([&](int x, int y, int) { return random.oneIn(50) ? mask.at(x, y) : low; });
  if (markerKind == 2) marker.generate([&](int x, int y, int) { return x == 0 && y == 0 ? high : low; });
  if (markerKind == 3) {
    marker.generate([&](int x, int y, int) {
      return static_cast<T>(mask.at(x, y) + static_cast<T>(dilate ? -random.below(20) : random.below(20)));
    });
  }
  // Which of two zeros is stored is free, and levels may differ in it.
  for (auto* image : {&mask, &marker}) image->generate([&](int x, int y, int) { return T(image->at(x, y) + T(0)); });
}

template <class T>
void expectReconstruction(Call& c, bool dilate) {
  c.expect('i', reference(c.before<T>('s'), c.before<T>('i'), dilate, c.number('n')), Equal::Values);
}

// The sizes that two threads share, and some wide enough for several segments.
int teamOf(const Arguments& a, int threads, int) {
  return a.size().width >= 11 && a.size().height >= 11 && threads >= 2 ? 2 : 0;
}
template <class T>
Traits traitsOf(Query query, bool dilate) {
  return {.checks = "null | size | step | even | one n BadArgErr",
          .values = {{'n', {qoriNormInf, qoriNormL1}}},
          .fill = [=](Call& c) { makePair<T>(c, dilate); },
          .scratch = reported(query),
          .expect = [=](Call& c) { expectReconstruction<T>(c, dilate); },
          .teamOf = teamOf,
          .teamSizes = {{10, 11}, {11, 10}, {11, 11}, {64, 40}},
          .sweep = {.heights = {1, 2, 3, 10, 24},
                    .thresholds = {{10, 11}, {11, 10}, {11, 11}, {12, 33}, {700, 40}, {1100, 12}},
                    .finite = true}};
}

template <class T>
void expectBytes(Call& c) {
  const int64_t w = c.size().width, h = c.size().height, sample = sizeof(T);
  c.expectResult(1, static_cast<int>(sample == 2 ? 2 * (4 * w + h) + 322 : 4 * sample * w + h + 160 + sample));
}
const Sweep hugeRegions{.widths = {1, 641, 1 << 30, INT_MAX}, .heights = {1, 7, INT_MAX}};

const Descriptions members([](Descriptions& d) {
#define QOR_RECONSTRUCT(name, T, tag, dilate) \
  d.add(QORTEST_NAMED(name), "S.i.zwn", traitsOf<T>(qoriMorphReconstructGetBufferSize_##tag##_C1, dilate))
#define QOR_RECONSTRUCTS(tag, T)                                           \
  QOR_RECONSTRUCT(qoriMorphReconstructDilate_##tag##_C1IR, T, tag, true);  \
  QOR_RECONSTRUCT(qoriMorphReconstructErode_##tag##_C1IR, T, tag, false);  \
  d.add(QORTEST_NAMED(qoriMorphReconstructGetBufferSize_##tag##_C1), "zr", \
        {.checks = "null | size", .expect = expectBytes<T>, .sweep = hugeRegions})
  QOR_RECONSTRUCTS(8u, Qor8u);
  QOR_RECONSTRUCTS(16u, Qor16u);
  QOR_RECONSTRUCTS(32f, Qor32f);
  QOR_RECONSTRUCTS(64f, Qor64f);
  d.add(QORTEST_NAMED(qoriMorphReconstructGetBufferSize), "zknr",
        {.checks = "null | size | one k DataTypeErr | one n ChannelErr",
         .values = {{'k', {qor8u, qor16u, qor32f, qor64f}}, {'n', {1}}},
         .expect =
             [](Call& c) {
               const int type = c.number('k');
               (type == qor8u    ? expectBytes<Qor8u>
                : type == qor16u ? expectBytes<Qor16u>
                : type == qor32f ? expectBytes<Qor32f>
                                 : expectBytes<Qor64f>)(c);
             },
         .sweep = hugeRegions});
});

// Infinities and denormals are values like others.
TEST(Reconstruct, Infinities) {
  const auto fill = []<class T>(Call& c, T) {
    const T values[] = {T(INFINITY), T(-INFINITY), T(0), T(1e-40)};
    for (const char role : {'s', 'i'}) {
      c.image<T>(role).generate(
          [&](int, int, int) { return c.c.random.oneIn(3) ? T(c.c.random.unit()) : values[c.c.random.below(4)]; });
    }
  };
  for (const int width : {5, 16, 70}) {
    runOwn("qoriMorphReconstructDilate_32f_C1IR", {width, 20}, {.fill = [=](Call& c) { fill(c, Qor32f()); }}, 2);
    runOwn("qoriMorphReconstructErode_64f_C1IR", {width, 20}, {.fill = [=](Call& c) { fill(c, Qor64f()); }}, 2);
  }
}

// A NaN leaves the values open, but the call ends within its memory.
TEST(Reconstruct, EndsOnNaN) {
  for (int i = 0; i < 100; ++i) {
    setCase("NaN %d", i);
    const ThreadCount threads(1 + i % 2);
    Case c({10 + i % 7 * 9, 5 + i % 11 * 3}, baseSeed() + static_cast<uint64_t>(i));
    auto mask = c.image<Qor32f>(), marker = c.image<Qor32f>();
    for (auto* image : {&mask, &marker}) {
      image->generate([&](int, int, int) { return c.random.oneIn(4) ? NAN : static_cast<Qor32f>(c.random.unit()); });
    }
    mask.protect();
    int bytes = 0;
    EXPECT_EQ(qoriMorphReconstructGetBufferSize_32f_C1(c.size, &bytes), qorStsNoErr);
    auto scratch = c.scratch(bytes);
    const auto operation = i % 4 < 2 ? qoriMorphReconstructDilate_32f_C1IR : qoriMorphReconstructErode_32f_C1IR;
    EXPECT_EQ(operation(mask.data(), mask.step(), marker.data(), marker.step(), c.size, scratch.data(), i % 3 % 2),
              qorStsNoErr);
  }
}

TEST(Reconstruct, OnPaper) {
  // Only the winding way through the middle row leads back to the first pixel.
  const Qor8u mask[] = {0, 1, 1, 1, 1, 1, 0, 1, 0, 0, 0, 0};
  Qor8u marker[] = {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}, scratch[256];
  EXPECT_EQ(qoriMorphReconstructDilate_8u_C1IR(mask, 4, marker, 4, {4, 3}, scratch, qoriNormL1), qorStsNoErr);
  EXPECT_EQ(memcmp(marker, mask, sizeof mask), 0);
  // A diagonal joins eight neighbours, not four.
  const Qor8u diagonal[] = {9, 0, 0, 0, 9, 0, 0, 0, 9};
  for (const QoriNorm norm : {qoriNormInf, qoriNormL1}) {
    Qor8u seed[] = {9, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(qoriMorphReconstructDilate_8u_C1IR(diagonal, 3, seed, 3, {3, 3}, scratch, norm), qorStsNoErr);
    EXPECT_EQ(seed[8], norm == qoriNormInf ? 9 : 0);
  }
}

}  // namespace
