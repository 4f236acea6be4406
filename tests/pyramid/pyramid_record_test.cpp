#include <math.h>

#include <algorithm>
#include <vector>

#include "pyramid/rates.h"
#include "qorcv/pyramid.h"
#include "support/support.h"

namespace {
using namespace qortest;

struct Range {
  int64_t least, most;
};

int64_t longest(int64_t n, Qor32f rate) {
  const Qor32f product = static_cast<Qor32f>(n) * rate;
  return std::min<int64_t>(INT_MAX, std::max(n + 1, static_cast<int64_t>(product)));
}
Range finer(int64_t n, Qor32f rate) { return {n == 1 ? 1 : longest(n - 1, rate) + 1, longest(n, rate)}; }

// From the estimate one by one towards the length whose range holds this one.
int coarser(int length, Qor32f rate) {
  auto n = std::max<int64_t>(1, static_cast<int64_t>(static_cast<Qor32f>(length) / rate + 0.5F));
  while (length < finer(n, rate).least) --n;
  while (length > finer(n, rate).most) ++n;
  return static_cast<int>(n);
}
QoriSize coarser(QoriSize s, Qor32f rate) { return {coarser(s.width, rate), coarser(s.height, rate)}; }

std::vector<int> lengths() {
  std::vector<int> list{255, 1023, 46341, 1 << 24, (1 << 24) + 3, 1 << 30, INT_MAX - 1, INT_MAX};
  for (int i = 1; i < 60; ++i) list.push_back(i);
  return list;
}

void expectSize(Call& c, int which, QoriSize want) {
  const QoriSize got = *c.at<QoriSize*>('r', which);
  EXPECT_TRUE(got.width == want.width && got.height == want.height)
      << got.width << " x " << got.height << " instead of " << want.width << " x " << want.height << ' '
      << currentCase();
}

void expectRecord(Call& c) {
  const QoriPyramid& p = **c.at<QoriPyramid**>('a');
  const Qor32f rate = c.at<Qor32f>('f');
  QoriSize size = c.size();
  double factor = 1;
  for (int i = 0; i <= p.level; ++i) {
    ASSERT_TRUE(p.pImage[i] == nullptr && p.pStep[i] == 0 && p.pRate[i] == factor) << i << currentCase();
    ASSERT_TRUE(p.pRoi[i].width == size.width && p.pRoi[i].height == size.height) << i << currentCase();
    if (i == p.level) break;
    ASSERT_TRUE(size.width > 1 || size.height > 1) << "a level too many" << currentCase();
    size = coarser(size, rate);
    factor *= 1.0 / double{rate};
  }
  ASSERT_TRUE(p.pState == nullptr && p.level <= c.number('n'));
  ASSERT_TRUE(p.level == c.number('n') || (size.width == 1 && size.height == 1)) << currentCase();
  // The caller's from here on: all of the arrays may be written.
  for (int i = 0; i <= p.level; ++i) p.pImage[i] = noAccess<Qor8u>(), p.pStep[i] = -1, p.pRoi[i] = {}, p.pRate[i] = 0;
}

const Descriptions members([](Descriptions& d) {
  const Sweep sizes{.widths = lengths(), .heights = {1, 2, 77, INT_MAX}, .repeats = 3};
  d.add(QORTEST_NAMED(qoriGetPyramidDownROI), "zrf",
        {.checks = "null | size | own",
         .draw = drawRate,
         .expect = [](Call& c) { expectSize(c, 1, coarser(c.size(), c.at<Qor32f>('f'))); },
         .own = refuseRates,
         .sweep = sizes});
  d.add(QORTEST_NAMED(qoriGetPyramidUpROI), "zrrf",
        {.checks = "null | size | own",
         .draw = drawRate,
         .expect =
             [](Call& c) {
               const Range w = finer(c.size().width, c.at<Qor32f>('f')), h = finer(c.size().height, c.at<Qor32f>('f'));
               const auto representable = [](int64_t n) { return static_cast<int>(std::min<int64_t>(INT_MAX, n)); };
               expectSize(c, 1, {representable(w.least), representable(h.least)});
               expectSize(c, 2, {static_cast<int>(w.most), static_cast<int>(h.most)});
             },
         .own = refuseRates,
         .sweep = sizes});
  d.add(QORTEST_NAMED(qoriPyramidInitAlloc), "anzf",
        {.checks = "null | size | own | least n BadArgErr 1",
         .values = {{'n', {3, 1, 2, 8, 40, 900}}},
         .draw = drawRate,
         .expect = expectRecord,
         .release = [](Arguments& a) { EXPECT_EQ(qoriPyramidFree(*a.at<QoriPyramid**>('a')), qorStsNoErr); },
         .own = refuseRates,
         .teamSizes = {{640, 480}},
         .sweep = sizes});
});

TEST(PyramidRecord, OnPaper) {
  QoriSize size, most;
  EXPECT_EQ(qoriGetPyramidDownROI({2, 2}, &size, 1.01F), qorStsNoErr);
  EXPECT_TRUE(size.width == 1 && size.height == 1);
  EXPECT_EQ(qoriGetPyramidUpROI({3, 10}, &size, &most, 1.3F), qorStsNoErr);
  EXPECT_TRUE(size.width == 4 && most.width == 4 && size.height == 12 && most.height == 13);
  QoriPyramid* pyramid = nullptr;
  ASSERT_EQ(qoriPyramidInitAlloc(&pyramid, 99, {1, 700}, 2), qorStsNoErr);
  EXPECT_EQ(pyramid->level, 10);
  EXPECT_EQ(qoriPyramidFree(pyramid), qorStsNoErr);
  EXPECT_EQ(qoriPyramidFree(nullptr), qorStsNullPtrErr);
}

}  // namespace
