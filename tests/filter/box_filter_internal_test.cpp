// The box filter: exact against the definition where all sums are, else to rounding.
#include "filter/box_filter.h"

#include <math.h>

#include "support/outside.h"
#include "support/support.h"

namespace {
using namespace qortest;

Margin reachOf(QoriSize mask) {
  const int left = (mask.width - 1) / 2, up = (mask.height - 1) / 2;
  return {left, up, mask.width - 1 - left, mask.height - 1 - up};
}

// Window sums by a table of the image with its border.
Image<double> sums(const Image<Qor32f>& src, QoriSize mask, int border, Qor32f outside) {
  const int w = src.size.width, h = src.size.height, mw = mask.width, mh = mask.height;
  const Margin reach = reachOf(mask);
  const Sides in = memorySides(border);
  Image<double> table({w + mw, h + mh}), result(src.size);
  for (int y = 1; y < h + mh; ++y) {
    const auto row = place(border, y - 1 - reach.top, h, in.top, in.bottom);
    for (int x = 1; x < w + mw; ++x) {
      const auto column = place(border, x - 1 - reach.left, w, in.left, in.right);
      table.at(x, y) = table.at(x - 1, y) + table.at(x, y - 1) - table.at(x - 1, y - 1) +
                       static_cast<double>(row && column ? src.at(*column, *row) : outside);
    }
  }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      result.at(x, y) = table.at(x + mw, y + mh) - table.at(x, y + mh) - table.at(x + mw, y) + table.at(x, y);
  return result;
}

// Whole numbers below 100, whose sums are exact, in most cases.
void drawBox(Call& call) {
  Random& random = call.c.random;
  const auto side = [&] { return random.oneIn(4) ? random.between(1, 40) : random.between(1, 7); };
  call.at<QoriSize>('k') = {side(), side()};
  call.array('v', std::vector<Qor32f>{random.oneIn(4) ? 0.1F : static_cast<Qor32f>(random.between(-99, 99))});
  appendCase(" mask %dx%d", call.at<QoriSize>('k').width, call.at<QoriSize>('k').height);
}

void fillWholeNumbers(Call& c) {
  Random& random = c.c.random;
  if (random.oneIn(4)) return;
  c.image<Qor32f>('s').generate([&](int, int, int) { return static_cast<Qor32f>(random.between(-99, 99)); });
}

// What sliding leaves of other numbers: each column or row in or out rounds once, by at most half a unit of a whole
// window's size.
void expectMeans(Call& c) {
  const Image<Qor32f>& src = c.before<Qor32f>('s');
  const QoriSize mask = c.at<QoriSize>('k');
  const Qor32f outside = *c.borderValue<Qor32f>(), scale = 1.0F / static_cast<Qor32f>(mask.width * mask.height);
  double largest = fabs(static_cast<double>(outside));
  bool isExact = fmod(largest, 1) == 0;
  for (const Qor32f v : src.samples) {
    largest = fmax(largest, fabs(static_cast<double>(v)));
    isExact = isExact && largest < 100 && fmodf(v, 1) == 0;
  }
  const double steps = 2 * c.size().width + 10 * mask.height + mask.width + 64, pixels = 1.0 * mask.width * mask.height;
  const double bound = steps * largest * 0x1p-23 + 0x1p-148;
  const auto near = [&](Qor32f got, double sum) {
    return isExact ? got == static_cast<Qor32f>(sum) * scale : fabs(static_cast<double>(got) - sum / pixels) <= bound;
  };
  expectAgreement(c.after<Qor32f>('d'), sums(src, mask, c.number('b'), outside), near, "sums, rounded at every step");
}

// The value is needed for the constant alone. Then a mask without pixels.
void ownChecks(DescribedContract& c, int which) {
  QoriSize& mask = c.now.at<QoriSize>('k');
  if (which == 1) {
    c.start('b', 0);
    const auto noValue = [&c] { return (c.now.number('b') & 15) == 0 && c.now.at<void*>('v') == nullptr; };
    c.check("v null", qorStsNullPtrErr, noValue, [&c] { c.now.at<void*>('v') = nullptr; });
  } else {
    c.check(
        "mask", qorStsMaskSizeErr, [&mask] { return mask.width < 1 || mask.height < 1; }, [&mask] { mask.width = 0; },
        [&mask] { mask.height = -1; });
  }
}

// Stretches of 4 mask heights and 32 rows are shared, from 0x40000 pixels on.
int teamOf(const Arguments& a, int threads, int) {
  const int rows = 4 * a.at<QoriSize>('k').height + 32, stretches = (a.size().height + rows - 1) / rows;
  const int team = std::min(threads, stretches);
  return a.size().width * a.size().height >= 0x40000 && team > 1 ? team : 0;
}

const Descriptions members([](Descriptions& d) {
  const auto size = [](const Arguments& a) {
    int bytes = 0;
    EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize(a.size(), a.at<QoriSize>('k'), qor32f, 1, &bytes), 0);
    return bytes;
  };
  d.add(QORTEST_NAMED(qor::qoriFilterBoxBorder_32f_C1R), "S.d.zkbvw",
        {.checks = "null sdw | own 1 | size | step | even | own 2 | border b BorderErr 240 0 1 6",
         .values = {{'b', borders({0, 1, 6}, 240)}},
         .draw = drawBox,
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               if (role == 's') s.margin = marginOf(memorySides(a.number('b')), reachOf(a.at<QoriSize>('k')));
             },
         .fill = fillWholeNumbers,
         .scratch = size,
         .expect = expectMeans,
         .own = ownChecks,
         .teamOf = teamOf,
         .teamSizes = {{1023, 256}, {1024, 256}, {6000, 60}, {3000, 600}},
         // Around the size that goes parallel, and with fewer stretches of rows than threads.
         .sweep = {
             .heights = {1, 2, 3, 7, 50, 90}, .thresholds = {{1023, 256}, {1024, 256}, {6000, 60}}, .finite = true}});
  d.add(QORTEST_NAMED(qor::qoriFilterBoxBorderGetBufferSize), "zktcr",
        {.checks = "null | size | own 2 | one t DataTypeErr | one c ChannelErr",
         .values = {{'t', {1, 5, 7, 13}}, {'c', {1, 3, 4}}},
         .draw =
             [](Call& c) {
               c.at<QoriSize>('k') = {3, 4};
             },
         .own = ownChecks});
});

// A NaN is gone where the sums start afresh.
TEST(BoxFilter, RestartsBelowANaN) {
  GuardedImage<Qor32f> src({40, 120}), dst({40, 120});
  src.generate([](int x, int y, int) { return x == 9 && y == 0 ? NAN : 1.0F; });
  for (const int height : {1, 3, 5}) {
    int bytes = 0;
    EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize(src.size(), {3, height}, qor32f, 1, &bytes), 0);
    const GuardedBytes scratch(bytes);
    EXPECT_EQ(qor::qoriFilterBoxBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), src.size(), {3, height},
                                               qorBorderRepl, nullptr, scratch.data()),
              0);
    for (int y = 4 * height + 32; y < 120; ++y)
      for (int x = 0; x < 40; ++x) EXPECT_FALSE(isnan(dst.at(x, y))) << "mask height " << height << ", row " << y;
  }
}

TEST(BoxFilter, BufferSize) {
  int bytes = 0;
  EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize({10, 20}, {5, 4}, qor32f, 1, &bytes), 0);
  EXPECT_EQ(bytes, 64 + 16 * 4 + 14 * 23 * 4 + 16);
  EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize({10, 20}, {5, 4}, qor8u, 3, &bytes), 0);
  EXPECT_EQ(bytes, 64 + 16 * 16 + 14 * 23 * 12 + 16);
}

}  // namespace
