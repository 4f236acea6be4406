#include "morph/masks.h"

namespace {
using namespace qortest;

FlatMask solid(const Arguments& a) {
  const auto size = a.at<QoriSize>('k');
  return {size, a.at<QoriPoint>('A'), std::vector<Qor8u>(static_cast<size_t>(size.width) * size.height, 1)};
}

void drawSolid(Call& call) {
  Random& random = call.c.random;
  const auto side = [&] { return random.oneIn(3) ? random.between(1, 150) : random.between(1, 9); };
  const QoriSize size{side(), side()};
  call.at<QoriSize>('k') = size;
  if (call.has('A')) call.at<QoriPoint>('A') = {random.below(size.width), random.below(size.height)};
  appendCase(" mask %dx%d", size.width, size.height);
}

void ownChecks(DescribedContract& c, int which) { checkMask(c, which, qorStsMaskSizeErr); }

int reportedFor(const Arguments& a, int64_t pixel) {
  const int64_t height = a.at<QoriSize>('k').height, width = a.size().width;
  return static_cast<int>(static_cast<uint32_t>(2 * height * (width * pixel + 32) + 32 * height + 32));
}

template <class T>
void add(Descriptions& d, const char* name, auto* operation, const char* sizeName, auto* query, bool highest) {
  d.add(
      name, operation, "s.d.zkAw",
      {.checks = "null | size | own 1 | own 2 | step",
       .draw = drawSolid,
       .scratch =
           [=](const Arguments& a) {
             int bytes = 0;
             EXPECT_EQ(query(a.size().width, a.at<QoriSize>('k'), &bytes), qorStsNoErr);
             return bytes;
           },
       .expect =
           [=](Call& c) {
             expectMorphed(c.after<T>('d'), morphed(c.before<T>('s'), solid(c), highest, {false, false, false, false}));
           },
       .own = ownChecks,
       // Around twice a mask, and several strips of a row.
       .sweep = {.widths = {1, 2, 3, 5, 8, 15, 16, 17, 31, 33, 64, 100},
                 .heights = {1, 2, 5, 6, 17},
                 .thresholds = {{700, 9}, {5000, 7}, {33, 160}}}});
  const int pixel = static_cast<int>(sizeof(T)) * Descriptions::of(name).channels;
  d.add(sizeName, query, "zkr",
        {.checks = "null | size | own 1",
         .draw = drawSolid,
         .expect = [=](Call& c) { c.expectResult(1, reportedFor(c, pixel)); },
         .own = ownChecks,
         .sweep = {.widths = {1, 641, 1 << 20, INT_MAX}, .heights = {1}, .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_MORPH_REPLICATE(form, T, channels)                                                                    \
  add<T>(d, QORTEST_NAMED(qoriFilterMaxBorderReplicate_##form), QORTEST_NAMED(qoriFilterMaxGetBufferSize_##form), \
         true);                                                                                                   \
  add<T>(d, QORTEST_NAMED(qoriFilterMinBorderReplicate_##form), QORTEST_NAMED(qoriFilterMinGetBufferSize_##form), \
         false);
#include "../../src/morph/forms.def"
});

// Floats at odd addresses, with odd steps.
TEST(Rectangle, TakesFloatsAnywhere) {
  constexpr int step = 61;
  alignas(8) char src[10 * step], dst[10 * step];
  const auto at = [](char* image, int x, int y) { return image + 1 + step * y + 4 * x; };
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 15; ++x) {
      const auto value = static_cast<Qor32f>(x * 7 % 15 - y);
      memcpy(at(src, x, y), &value, sizeof value);
    }
  }
  const GuardedBytes buffer(2 * 3 * (15 * 4 + 32) + 3 * 32 + 32);
  EXPECT_EQ(qoriFilterMaxBorderReplicate_32f_C1R(reinterpret_cast<Qor32f*>(at(src, 0, 0)), step,
                                                 reinterpret_cast<Qor32f*>(at(dst, 0, 0)), step, {15, 9}, {3, 3},
                                                 {1, 1}, buffer.data()),
            qorStsNoErr);
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 15; ++x) {
      Qor32f got, want = -100;
      memcpy(&got, at(dst, x, y), sizeof got);
      for (int k = std::max(x - 1, 0); k <= std::min(x + 1, 14); ++k)
        want = std::max(want, static_cast<Qor32f>(k * 7 % 15 - std::max(y - 1, 0)));
      EXPECT_EQ(got, want) << x << ", " << y;
    }
  }
}

}  // namespace
