#include <algorithm>

#include "qorcv/segment.h"
#include "segment/segments.h"

namespace {
using namespace qortest;

template <class S, class D>
void expectLabels(Call& c) {
  const Image<S>& marker = c.before<S>(c.has('s') ? 's' : 'i');
  const Components want = componentsOf(
      c.size(), c.number('n') == qoriNormInf, [&](int x, int y) { return marker.at(x, y) != 0; },
      [](int, int, int, int) { return true; });
  Image<D> labels(c.size());
  const int64_t low = c.number('l'), count = c.number('h') - low + 1;
  for (size_t i = 0; i < labels.samples.size(); ++i) {
    const int number = want.number.samples[i];
    labels.samples[i] = static_cast<D>(number == 0 ? 0 : low + (number - 1) % count);
  }
  c.expect(c.has('d') ? 'd' : 'i', labels);
  c.expectResult(1, static_cast<int>(want.sizes.size()));
}

// Diagonals, segments, or what comes, which has hardly a zero.
template <class S>
void makeMarkers(Call& c) {
  Random& random = c.c.random;
  GuardedImage<S>& image = c.image<S>(c.has('s') ? 's' : 'i');
  const int kind = random.below(4), share = random.between(1, 9);
  if (kind == 1) image.generate([](int x, int y, int) { return static_cast<S>((x + y) % 2 * 200); });
  if (kind > 1) makeSegments(image, random, [&] { return random.below(10) < share ? random.between(1, 255) : 0; });
}

// What a label may be is known only together with the other one.
void refuseLabels(DescribedContract& c, int sentinel) {
  int *const low = &c.now.at<int>('l'), *const high = &c.now.at<int>('h');
  c.start('l', 2);
  c.start('h', sentinel - 1);
  c.check(
      "labels", qorStsBadArgErr, [=] { return *low < 1 || *high >= sentinel || *low > *high; }, [=] { *low = 0; },
      [=] { *high = sentinel; }, [=] { *high = 1; });
}

template <class S, class D>
Traits traits(int sentinel) {
  return {.checks = "null | size | step | even | own 1 | one n BadArgErr",
          .values = {{'n', {qoriNormInf, qoriNormL1}}},
          .draw =
              [=](Call& c) {
                const int low = c.c.random.between(1, sentinel - 1), most = sentinel - 1 - low;
                c.set('l', low);
                c.set('h', low + (c.c.random.oneIn(2) ? most : std::min(most, c.c.random.below(5))));
              },
          .fill = makeMarkers<S>,
          .scratch = reported(qoriFloodFillGetSize),
          .expect = expectLabels<S, D>,
          .own = [=](DescribedContract& c, int) { refuseLabels(c, sentinel); },
          .sweep = {.thresholds = {{150, 30}, {257, 21}}, .repeats = 3}};
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriLabelMarkers_8u_C1IR), "i.zlhnrw", traits<Qor8u, Qor8u>(255));
  d.add(QORTEST_NAMED(qoriLabelMarkers_16u_C1IR), "i.zlhnrw", traits<Qor16u, Qor16u>(65535));
  d.add(QORTEST_NAMED(qoriLabelMarkers_8u32s_C1R), "s.d.zlhnrw", traits<Qor8u, Qor32s>(INT_MAX));
  const Traits size{.checks = "null | size",
                    .expect =
                        [](Call& c) {
                          int bytes = 0;
                          EXPECT_EQ(qoriFloodFillGetSize(c.size(), &bytes), qorStsNoErr);
                          c.expectResult(1, bytes);
                        },
                    .sweep = {.widths = {1, 641, INT_MAX}, .heights = {1, 7, INT_MAX}}};
  d.add(QORTEST_NAMED(qoriLabelMarkersGetBufferSize_8u_C1R), "zr", size);
  d.add(QORTEST_NAMED(qoriLabelMarkersGetBufferSize_16u_C1R), "zr", size);
  d.add(QORTEST_NAMED(qoriLabelMarkersGetBufferSize_8u32s_C1R), "zr", size);
});

}  // namespace
