#include "segment/watershed_reference.h"

namespace {
using namespace qortest;

// One test for both: the forms take different norms.
void modeCheck(DescribedContract& c, int) {
  const auto fails = [&now = c.now] {
    const int flag = now.number('f'), norm = now.number('n');
    return (flag & 3) == 0 || norm < 0 || norm > ((flag & 1) != 0 ? 1 : 3);
  };
  const auto set = [&now = c.now](int flag, int norm) {
    return [&now, flag, norm] { now.set('f', flag), now.set('n', norm); };
  };
  c.check("flag, norm", qorStsBadArgErr, fails, set(0, 0), set(~3, 1), set(1, 2), set(3, 3), set(1, -1), set(2, 4),
          set(66, -1), set(2, INT_MIN));
}

template <class T>
Traits traits(QorStatus (*query)(QoriSize, int*)) {
  return {.checks = "null | size | step | even | own",
          .values = {{'n', {0, 1, 2, 3}}, {'f', {2, 1, 66, 65, 130, 129, 3, 194, -1}}},
          .draw = [](Call& c) { c.set('n', c.number('n') & ((c.number('f') & 1) != 0 ? 1 : 3)); },
          .fill = [](Call& c) { makeTerrain(c.c.random, c.image<Qor8u>('s'), c.image<T>('i')); },
          .scratch = reported(query),
          .expect =
              [](Call& c) {
                c.expect('i', watershed(c.before<Qor8u>('s'), c.before<T>('i'), c.number('n'), c.number('f')));
              },
          .own = modeCheck,
          .sweep = {.thresholds = {{200, 70}, {96, 130}}, .repeats = 3}};
}

// In 32 bits, of which the larger number with its sign counts.
template <class T>
void expectBytes(Call& c) {
  const uint64_t w = uint64_t(c.size().width), h = uint64_t(c.size().height), b = sizeof(T);
  const uint64_t s = (b * w + 31) / 32 * 32;
  const auto low = [](uint64_t n) { return static_cast<int>(static_cast<uint32_t>(n)); };
  c.expectResult(1, std::max(low(6 * s * h + 2 * s + h + 66), low(16 * w * h + b * (w + 2) * (h + 2) + 48)));
}

const Descriptions members([](Descriptions& d) {
#define QOR_WATERSHED(tag, T)                                                                  \
  d.add(QORTEST_NAMED(qoriSegmentWatershedGetBufferSize_##tag##_C1R), "zr",                    \
        {.checks = "null | size",                                                              \
         .expect = expectBytes<T>,                                                             \
         .sweep = {.widths = {1, 31, 32, 33, 641, 40000}, .heights = {1, 7, 5000, INT_MAX}}}); \
  d.add(QORTEST_NAMED(qoriSegmentWatershed_##tag##_C1IR), "s.i.znfw",                          \
        traits<T>(qoriSegmentWatershedGetBufferSize_##tag##_C1R))
  QOR_WATERSHED(8u, Qor8u);
  QOR_WATERSHED(8u16u, Qor16u);
});

// More than 255 labels, and fronts that run for longer than a byte counts.
TEST(Watershed, ManyLabels) {
  for (const int flag : {1, 2, 65, 130}) {
    const auto draw = [=](Call& c) { c.set('f', flag), c.set('n', flag & 1); };
    runOwn("qoriSegmentWatershed_8u16u_C1IR", {310, 200}, {draw, [](Call& c) {
                                                             c.image<Qor16u>('i').generate([&](int x, int y, int) {
                                                               return x % 9 + y % 9 == 0 ? x * 200 + y + 1 : 0;
                                                             });
                                                           }});
  }
}

TEST(Watershed, OnPaper) {
  const Qor8u relief[] = {0, 1, 2, 9, 3, 1, 0};
  std::vector<Qor8u> scratch(600);
  const auto run = [&](int flag) {
    std::vector<int> labels = {};
    Qor8u marker[] = {1, 0, 0, 0, 0, 0, 2};
    EXPECT_EQ(qoriSegmentWatershed_8u_C1IR(relief, 7, marker, 7, {7, 1}, qoriNormL1, flag, scratch.data()), 0);
    return std::vector<int>(marker, marker + 7);
  };
  // The flood comes to the ridge from the lower side first.
  EXPECT_EQ(run(qorSegmentQueue), (std::vector<int>{1, 1, 1, 1, 2, 2, 2}));
  EXPECT_EQ(run(qorSegmentQueue | qorSegmentBorder4), (std::vector<int>{1, 1, 1, 255, 2, 2, 2}));
  // Both ways to the ridge cost its height; the one from the left is there already.
  EXPECT_EQ(run(qorSegmentRaster), (std::vector<int>{1, 1, 1, 1, 2, 2, 2}));
  EXPECT_EQ(run(qorSegmentRaster | qorSegmentBorder8), (std::vector<int>{1, 1, 1, 255, 2, 2, 2}));
}

}  // namespace
