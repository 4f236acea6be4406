#include "qorcv/segment.h"
#include "segment/segments.h"

namespace {
using namespace qortest;

// The words of the header, pixel by pixel on the results so far.
template <class T>
void expectLines(Call& c) {
  const T val = c.at<T>('x');
  const bool diagonal = c.number('n') == qoriNormInf;
  Image<T> image = c.before<T>('i');
  const int w = image.size.width;
  for (int y = 0; y < image.size.height; ++y) {
    for (int x = 0; x < w; ++x) {
      const auto decides = [&](int dx, int dy) {
        if (x + dx < 0 || x + dx >= w || y + dy < 0) return false;
        return image.at(x + dx, y + dy) != val && image.at(x + dx, y + dy) != image.at(x, y);
      };
      if (decides(-1, 0) || decides(0, -1) || (diagonal && (decides(-1, -1) || decides(1, -1)))) image.at(x, y) = val;
    }
  }
  c.expect('i', image);
}

// Sometimes val is one of the labels.
template <class T>
void makeLabels(Call& c) {
  const int labels = c.c.random.between(1, 4);
  if (c.c.random.oneIn(3)) return;
  makeSegments(c.image<T>('i'), c.c.random, [&] { return c.c.random.below(labels); });
  c.set('x', c.c.random.below(labels + 1));
}

template <class T>
Traits traits() {
  return {.checks = "null | size | step | even | one n BadArgErr",
          .values = {{'n', {qoriNormInf, qoriNormL1}}},
          .fill = makeLabels<T>,
          .expect = expectLines<T>,
          .sweep = {.thresholds = {{66, 20}, {67, 20}, {130, 9}, {131, 9}, {300, 12}}}};
}
const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriBoundSegments_8u_C1IR), "i.zxn", traits<Qor8u>());
  d.add(QORTEST_NAMED(qoriBoundSegments_16u_C1IR), "i.zxn", traits<Qor16u>());
});

}  // namespace
