#include "feature/structure.h"

namespace {
using namespace qortest;

template <class S>
void expectResponse(Call& c) {
  const Means m = meansOf<S>(c);
  const uint32_t n = static_cast<uint32_t>(c.number('n'));
  const Qor32f k = c.at<Qor32f>('j');
  const auto q = static_cast<Qor32f>(double(static_cast<int32_t>(n * n * n * n)) * double{c.at<Qor32f>('u')});
  Image<Qor32f> want(m.a.size);
  for (size_t i = 0; i < want.samples.size(); ++i) {
    const Qor32f a = m.a.samples[i], b = m.b.samples[i], xy = m.c.samples[i], trace = a + b;
    want.samples[i] = (a * b - xy * xy - trace * (k * trace)) * q;
  }
  c.expect('d', want, Equal::Values);
}

template <class S>
void add(Descriptions& d, const char* name, auto* harris) {
  constexpr bool ofFloats = std::is_same_v<S, Qor32f>;
  d.add(name, harris, "s.d.zfknjubvw",
        {.checks = std::string("null | size | even | one f FilterTypeErr | own 1 | border b BorderErr 240 0 1 6 | "
                               "least n SizeErr 1 | positive .1 StepErr | least .2 StepErr 0") +
                   (ofFloats ? " | own 2" : ""),
         .values = {{'f', {2, 5, 8}},
                    {'n', {3, 1, 2, 4, 5, 6, 7, 9, 16}},
                    {'b', borders({0, 1, 6}, 240)},
                    {'j', {0.04, 0, -1.5}},
                    {'u', {1, 1e-9, -3}}},
         .draw = drawStructure,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') s.margin = marginOf(memorySides(a.number('b')), structureReach(a));
             },
         .fill = fillStructure<S>,
         .scratch =
             [](const Arguments& a) {
               int bytes = -1;
               EXPECT_EQ(qoriHarrisCornerGetBufferSize(a.size(), a.number('k'), a.number('n'),
                                                       ofFloats ? qor32f : qor8u, 1, &bytes),
                         qorStsNoErr);
               return bytes;
             },
         .expect = expectResponse<S>,
         .own =
             [](DescribedContract& c, int which) {
               if (which == 1) return ownMask(c);
               c.check(
                   "same image", qorStsInPlaceErr, [&c] { return c.now.at<void*>('s') == c.now.at<void*>('d'); },
                   [&c] { c.now.at<void*>('d') = c.now.at<void*>('s'); });
             },
         .sweep = {.heights = {1, 2, 3, 7, 20}, .thresholds = {{97, 140}, {515, 60}, {130, 33}}}});
}

const Descriptions members([](Descriptions& d) {
  add<Qor8u>(d, QORTEST_NAMED(qoriHarrisCorner_8u32f_C1R));
  add<Qor32f>(d, QORTEST_NAMED(qoriHarrisCorner_32f_C1R));
  const auto addQuery = [&](const char* name, auto* query) {
    d.add(name, query, "zknthr",
          {.checks = "null | size | one k MaskSizeErr | one t DataTypeErr | one h ChannelErr | not n SizeErr 0",
           .values = {{'k', {33, 55}}, {'n', {1, 3, 16, 300}}, {'t', {qor8u, qor32f}}, {'h', {1}}}});
  };
  addQuery(QORTEST_NAMED(qoriHarrisCornerGetBufferSize));
  addQuery(QORTEST_NAMED(qoriLineSuppressionGetBufferSize));
});

// Wide windows: of 216 pixels the factor wraps.
TEST(Harris, WideWindows) {
  for (const int window : {31, 216}) {
    for (const int border : {0, 1 | 16 | 128}) {
      const QoriSize size = window > 100 ? QoriSize{230, 240} : QoriSize{150, 70};
      runOwn("qoriHarrisCorner_8u32f_C1R", size,
             {[=](Call& c) {
                c.set('f', qorFilterCentralDiff), c.set('k', 33), c.set('n', window), c.set('b', border);
                c.set('v', c.c.random.below(rangeOf(c) + 1));
              },
              {}});
    }
  }
}

// Sums that are rounded differ from the exact ones by what a strip gathers: so many roundings of the largest sum.
TEST(Harris, SumsThatSlide) {
  const QoriSize size{700, 500};
  for (const int window : {3, 9, 21}) {
    setCase("window %d", window);
    GuardedImage<Qor32f> src(size), dst(size);
    src.generate(Maker<Qor32f>(Data::Random, static_cast<uint64_t>(window)));
    int bytes = 0;
    ASSERT_EQ(qoriHarrisCornerGetBufferSize(size, 33, window, qor32f, 1, &bytes), qorStsNoErr);
    const GuardedBytes buffer(bytes);
    ASSERT_EQ(qoriHarrisCorner_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), size, qorFilterCentralDiff, 33,
                                       window, 0.04F, 1, qorBorderRepl, 0, buffer.data()),
              qorStsNoErr);
    const int reach = window / 2;
    for (const QoriPoint p : {QoriPoint{600, 470}, {511, 131}, {95, 300}, {650, 31}}) {
      double a = 0, b = 0, c = 0;
      for (int y = p.y - reach; y <= std::min(p.y + reach, size.height - 2); ++y) {
        for (int x = p.x - reach; x <= p.x + reach; ++x) {
          const double dx = double{src.at(x + 1, y)} - double{src.at(x - 1, y)};
          const double dy = double{src.at(x, y - 1)} - double{src.at(x, y + 1)};
          a += dx * dx, b += dy * dy, c += dx * dy;
        }
      }
      const double trace = a + b, want = a * b - c * c - 0.04 * trace * trace;
      EXPECT_NEAR(double{dst.at(p.x, p.y)}, want, trace * trace * 1e-4) << p.x << ' ' << p.y;
    }
  }
}

// By hand: of a large region its tiles need most, or its strips of a few rows.
TEST(Harris, SizesOnPaper) {
  const auto sizeOf = [](QoriSize size, int mask, int window, QorDataType type) {
    int bytes = -1;
    const QorStatus status = qoriHarrisCornerGetBufferSize(size, mask, window, type, 1, &bytes);
    return status == qorStsNoErr ? bytes : status;
  };
  EXPECT_EQ(sizeOf({640, 480}, 33, 3, qor8u), 188464);
  EXPECT_EQ(sizeOf({640, 480}, 55, 16, qor32f), 494408);
  EXPECT_EQ(sizeOf({100, 90}, 33, 15, qor32f), 297680);
  EXPECT_EQ(sizeOf({2, 9}, 33, 3, qor8u), 2456);
  EXPECT_EQ(sizeOf({640, 480}, 33, -1, qor8u), qorStsMaskSizeErr);
  EXPECT_EQ(sizeOf({3, 3}, 33, INT_MIN, qor8u), qorStsSizeErr);
}

}  // namespace
