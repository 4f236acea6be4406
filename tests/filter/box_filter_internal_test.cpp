// The box filter: exact against the definition where all sums are, else to rounding.
#include "filter/box_filter.h"

#include <math.h>

#include "border_pixels.h"
#include "support/stand_in.h"

namespace {
using namespace qortest;

struct Box {
  QoriSize mask;
  int border;
  Qor32f outside;

  int left() const { return (mask.width - 1) / 2; }
  int up() const { return (mask.height - 1) / 2; }
  Margin margin() const {
    return marginOf(memorySides(border), {left(), up(), mask.width - 1 - left(), mask.height - 1 - up()});
  }
};

// Window sums by a table of the image with its border.
Image<double> sums(const GuardedImage<Qor32f>& src, const Box& box) {
  const int w = src.size().width, h = src.size().height, mw = box.mask.width, mh = box.mask.height;
  Image<double> table({w + mw, h + mh}), result(src.size());
  for (int y = 1; y < h + mh; ++y) {
    for (int x = 1; x < w + mw; ++x) {
      table.at(x, y) = table.at(x - 1, y) + table.at(x, y - 1) - table.at(x - 1, y - 1) +
                       borderPixel(src, x - 1 - box.left(), y - 1 - box.up(), box.border, box.outside);
    }
  }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      result.at(x, y) = table.at(x + mw, y + mh) - table.at(x, y + mh) - table.at(x + mw, y) + table.at(x, y);
  return result;
}

QorStatus filter(const GuardedImage<Qor32f>& src, const GuardedImage<Qor32f>& dst, const Box& box, Qor8u* scratch) {
  return qor::qoriFilterBoxBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), dst.size(), box.mask,
                                          box.border, &box.outside, scratch);
}

GuardedBytes scratchFor(Case& c, const Box& box) {
  int bytes = 0;
  EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize(c.size, box.mask, qor32f, 1, &bytes), 0);
  return c.scratch(bytes);
}

Box anyBox(Case& c) {
  const auto side = [&] { return c.random.oneIn(4) ? c.random.between(1, 40) : c.random.between(1, 7); };
  const Box box{{side(), side()},
                anyBorder(c.random, {qorBorderConst, qorBorderRepl, qorBorderInMem}),
                static_cast<Qor32f>(c.random.between(-99, 99))};
  appendCase(" mask %dx%d border %d", box.mask.width, box.mask.height, box.border);
  return box;
}

// Around the size that goes parallel, and with fewer stretches of rows than threads.
const std::vector<QoriSize> thresholds{{1023, 256}, {1024, 256}, {6000, 60}};

TEST(BoxFilter, ExactSums) {
  sweep("box", {.heights = {1, 2, 3, 7, 50}, .thresholds = thresholds, .variants = 3}, [](Case& c) {
    const Box box = anyBox(c);
    auto src = c.image<Qor32f>(1, box.margin());
    auto fresh = c.output<Qor32f>();
    auto& dst = c.variant == 0 ? src : fresh;
    src.generate([&](int, int, int) { return static_cast<Qor32f>(c.random.between(-99, 99)); });
    const Qor32f scale = 1.0F / static_cast<Qor32f>(box.mask.width * box.mask.height);
    const Image<double> exact = sums(src, box);
    Image<Qor32f> want(c.size);
    for (size_t i = 0; i < want.samples.size(); ++i) want.samples[i] = static_cast<Qor32f>(exact.samples[i]) * scale;
    const auto scratch = scratchFor(c, box);
    protectSources(dst, src);
    EXPECT_EQ(filter(src, dst, box, scratch.data()), qorStsNoErr);
    expectSame(dst, want);
  });
}

// What sliding leaves: each column or row in or out rounds once, by at most half a unit of a whole window's size. And
// the same bits for every number of threads and in place.
TEST(BoxFilter, RoundedSums) {
  sweep("box, rounded", {.widths = {5, 70}, .heights = {3, 90}, .thresholds = thresholds, .finite = true}, [](Case& c) {
    Box box = anyBox(c);
    box.outside = c.random.oneIn(2) ? 0.1F : 1e6F;
    auto src = c.image<Qor32f>(1, box.margin());
    auto dst = c.output<Qor32f>(), again = c.output<Qor32f>();
    const auto scratch = scratchFor(c, box);
    Image<double> want = sums(src, box);
    const Margin m = box.margin();
    double largest = fabs(box.outside);
    for (int y = -m.top; y < c.size.height + m.bottom; ++y)
      for (int x = -m.left; x < c.size.width + m.right; ++x) largest = fmax(largest, fabs(src.at(x, y)));
    for (double& v : want.samples) v /= double{1} * box.mask.width * box.mask.height;
    src.protect();
    EXPECT_EQ(filter(src, dst, box, scratch.data()), qorStsNoErr);
    const double steps = 2 * c.size.width + 10 * box.mask.height + box.mask.width + 64;
    expectNear(dst, want, steps * largest * 0x1p-23 + 0x1p-148, "a rounding for every step");
    ThreadCount one(1);
    EXPECT_EQ(filter(src, again, box, scratch.data()), qorStsNoErr);
    expectSame(again, dst.pixels(), Equal::Bits, "on one thread");
  });
}

TEST(BoxFilter, Contract) {
  Contract c(QORTEST_NAMED(qor::qoriFilterBoxBorder_32f_C1R));
  QORTEST_ARGUMENTS(c, pSrc, srcStep, pDst, dstStep, roiSize, maskSize, border, pBorderValue, pBuffer);
  c.null(pSrc, pDst, pBuffer, pBorderValue);
  c.size(roiSize);
  c.step(sizeof(Qor32f), srcStep, dstStep);
  c.even(sizeof(Qor32f), srcStep, dstStep);
  c.set(maskSize, {3, 3});
  c.check(
      "mask", qorStsMaskSizeErr, [&] { return c[maskSize].width < 1 || c[maskSize].height < 1; },
      [&] { c[maskSize].width = 0; }, [&] { c[maskSize].height = -1; });
  c.set(border, 0);
  const auto fails = [&] {
    const int b = c[border];
    return b < 0 || b > 255 || ((b & 15) != 0 && (b & 15) != 1 && (b & 15) != 6);
  };
  c.check(
      "border", qorStsBorderErr, fails, [&] { c[border] = 256; }, [&] { c[border] = 0x8000000; },
      [&] { c[border] = INT_MIN; });
  c.errorsOnly();
  c.run();
  // Another rule than the constant needs no value.
  GuardedImage<Qor32f> image({3, 3});
  image.generate([](int x, int, int) { return static_cast<Qor32f>(x); });
  GuardedBytes scratch(1024);
  const auto call = [&](int rule) {
    return qor::qoriFilterBoxBorder_32f_C1R(image.data(), image.step(), image.data(), image.step(), image.size(),
                                            {3, 1}, rule, nullptr, scratch.data());
  };
  EXPECT_EQ(call(qorBorderRepl), qorStsNoErr);
  EXPECT_EQ(image.at(0, 1), 1.0F * (1.0F / 3.0F));
  EXPECT_EQ(call(2), qorStsBorderErr);
}

TEST(BoxFilter, BufferSize) {
  int bytes = 0;
  EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize({10, 20}, {5, 4}, qor32f, 1, &bytes), 0);
  EXPECT_EQ(bytes, 64 + 16 * 4 + 14 * 23 * 4 + 16);
  EXPECT_EQ(qor::qoriFilterBoxBorderGetBufferSize({10, 20}, {5, 4}, qor8u, 3, &bytes), 0);
  EXPECT_EQ(bytes, 64 + 16 * 16 + 14 * 23 * 12 + 16);
  Contract c(QORTEST_NAMED(qor::qoriFilterBoxBorderGetBufferSize));
  QORTEST_ARGUMENTS(c, roiSize, maskSize, dataType, numChannels, pBufferSize);
  c.null(pBufferSize);
  c.size(roiSize);
  c.set(maskSize, {3, 3});
  c.range(maskSize, qorStsMaskSizeErr, 1, INT_MAX, &QoriSize::width);
  c.range(maskSize, qorStsMaskSizeErr, 1, INT_MAX, &QoriSize::height);
  c.oneOf(dataType, qorStsDataTypeErr, 1, 5, 7, 13);
  c.oneOf(numChannels, qorStsChannelErr, 1, 3, 4);
  c.run();
}

TEST(BoxFilter, Parallel) {
  GuardedImage<Qor32f> src({1024, 256}), dst({1024, 256});
  src.generate([](int, int, int) { return 1.0F; });
  const Box box{{3, 3}, 1, 0};
  GuardedBytes scratch(2 << 20);
  const auto regions = [&](QoriSize size, const GuardedImage<Qor32f>& to) {
    StandIn core;
    EXPECT_EQ(qor::qoriFilterBoxBorder_32f_C1R(src.data(), src.step(), to.data(), to.step(), size, box.mask, box.border,
                                               nullptr, scratch.data()),
              qorStsNoErr);
    return core.regions;
  };
  ThreadCount two(2);
  EXPECT_EQ(regions({1024, 256}, dst), 1);
  EXPECT_EQ(regions({1023, 256}, dst), 0);
  EXPECT_EQ(regions({1024, 256}, src), 0);
}

}  // namespace
