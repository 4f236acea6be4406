// Gradient vectors and the Sobel derivatives of one direction.
#include <math.h>

#include "filter/gradient_vector.h"
#include "filter/sobel.h"
#include "support/outside.h"
#include "support/support.h"

namespace {
using namespace qortest;

struct Taps {
  std::vector<int> smooth, alongX, alongY;
};
const Taps sobel3{{1, 2, 1}, {1, 0, -1}, {-1, 0, 1}};
const Taps sobel5{{1, 4, 6, 4, 1}, {1, 2, 0, -2, -1}, {-1, -2, 0, 2, 1}};
const Taps scharr3{{3, 10, 3}, {-1, 0, 1}, {-1, 0, 1}};

const Taps& tapsOf(const Arguments& a) {
  const bool isScharr = strstr(a.description.operation.name, "Scharr") != nullptr;
  return isScharr ? scharr3 : a.number('k') == 33 ? sobel3 : sobel5;
}

void shapeSource(const Arguments& a, char role, int, Shape& s) {
  if (role == 's') s.margin = marginOf(memorySides(a.number('b')), a.number('k') / 22);
}

// A component against its definition; from floats every term passes fewer than ten roundings.
template <class S, class D>
void expectComponent(Call& c, const Image<D>& got, bool alongX) {
  const Image<S>& src = c.before<S>('s');
  const Taps& taps = tapsOf(c);
  const auto& across = alongX ? taps.alongX : taps.smooth;
  const auto& down = alongX ? taps.smooth : taps.alongY;
  const int r = static_cast<int>(across.size()) / 2, border = c.number('b');
  const Sides in = memorySides(border);
  const S outside = c.has('v') ? c.at<S>('v') : S(0);
  Image<double> want(src.size), bound(src.size);
  for (int y = 0; y < src.size.height; ++y) {
    for (int x = 0; x < src.size.width; ++x) {
      for (int j = -r; j <= r; ++j) {
        const auto row = place(border, y + j, src.size.height, in.top, in.bottom);
        for (int i = -r; i <= r; ++i) {
          const auto column = place(border, x + i, src.size.width, in.left, in.right);
          const double term = double{1} * across[static_cast<size_t>(i + r)] * down[static_cast<size_t>(j + r)] *
                              static_cast<double>(row && column ? src.at(*column, *row) : outside);
          want.at(x, y) += term;
          if (sizeof(S) > 1) bound.at(x, y) += fabs(term) * 10 * 0x1p-24;
        }
      }
    }
  }
  const double* next = bound.samples.data();
  expectAgreement(
      got, want, [&](D g, double w) { return fabs(static_cast<double>(g) - w) <= *next++; },
      alongX ? "along the row" : "down the columns");
}

template <class D>
D magnitude(D gx, D gy, int norm) {
  if constexpr (std::is_integral_v<D>) {
    if (norm == qorNormL1) return static_cast<D>(abs(gx) + abs(gy));
    return static_cast<D>(lrint(sqrt(double{1} * gx * gx + double{1} * gy * gy)));
  } else {
    return norm == qorNormL1 ? fabsf(gx) + fabsf(gy) : sqrtf(gx * gx + gy * gy);
  }
}

// Both components from a call that wants them alone; each output is the same whatever else is wanted.
template <class S, class D>
void expectVector(Call& c) {
  const GuardedImage<D> gx(c.size(), {.gap = 1}), gy(c.size());
  Arguments alone = c;
  const GuardedBytes scratch = c.c.scratch(c.description.traits.scratch(c));
  alone.at<void*>('w') = scratch.data();
  for (const int k : {1, 2, 3, 4}) {
    alone.at<void*>('d', k) = k == 1 ? gx.data() : k == 2 ? gy.data() : nullptr;
    alone.at<int>('.', k + 1) = k == 1 ? gx.step() : k == 2 ? gy.step() : -1;
  }
  EXPECT_EQ(c.description.operation.call(alone.slots.data()), qorStsNoErr);
  const Image<D> x = gx.pixels(), y = gy.pixels();
  expectComponent<S>(c, x, true);
  expectComponent<S>(c, y, false);
  Image<D> magnitudes(x.size);
  Image<double> angles(x.size);
  for (size_t i = 0; i < x.samples.size(); ++i) {
    magnitudes.samples[i] = magnitude(x.samples[i], y.samples[i], c.number('n'));
    angles.samples[i] = atan2(double{1} * y.samples[i], double{1} * x.samples[i]);
  }
  const auto isWanted = [&](int k) { return c.at<void*>('d', k) != nullptr; };
  if (isWanted(1)) c.expect('d', x, Equal::SignedZeros, 1);
  if (isWanted(2)) c.expect('d', y, Equal::SignedZeros, 2);
  if (isWanted(3)) c.expect('d', magnitudes, Equal::Values, 3);
  const auto near = [](Qor32f got, double want) { return fabs(got - want) <= 0x1p-21 * fabs(want) + 0x1p-149; };
  if (isWanted(4)) expectAgreement(c.after<Qor32f>('d', 4), angles, near, "angle, to 21 bits of a normal number");
}

// Sums of squares right beside k (k + 1), where the rounded root steps, from a picture of one bright pixel of any
// value.
void fillPixels(Call& c) {
  const int value = c.c.random.below(256), at = c.c.random.below(c.size().width);
  if (c.c.random.oneIn(4))
    c.image<Qor8u>('s').generate([=](int x, int, int) { return static_cast<Qor8u>(x == at ? value : 255 - value); });
}

const Sweep finite{.repeats = 2, .finite = true};

template <class S, class D>
void addVector(Descriptions& d, const char* name, auto* operation, std::vector<double> masks) {
  const auto size = [](const Arguments& a) {
    int bytes = -1;
    EXPECT_EQ(qor::qoriGradientVectorGetBufferSize(a.size(), a.number('k'), sizeof(S) == 1 ? qor8u : qor32f, 1, &bytes),
              qorStsNoErr);
    return bytes;
  };
  d.add(name, operation, "s.D.D.D.D.zknbvw",
        {.checks =
             "null s | positive .1 StepErr | even s | null w | positive .2 StepErr | even d1 | positive .3 StepErr | "
             "even d2 | positive .4 StepErr | even d3 | one n BadArgErr | positive .5 StepErr | even d4 | size | "
             "border b BadArgErr 240 0 1 6 | one k MaskSizeErr",
         .values = {{'k', masks}, {'n', {qorNormL1, qorNormL2}}, {'b', borders({0, 1, 6}, 240)}},
         .shape = shapeSource,
         .fill = sizeof(S) == 1 ? fillPixels : nullptr,
         .scratch = size,
         .expect = expectVector<S, D>,
         .sweep = finite});
}

template <class S, class D>
void addSobel(Descriptions& d, const char* name, auto* operation, auto* query) {
  const std::string even = sizeof(S) == 1 ? "even d" : "even";
  d.add(name, operation, sizeof(S) == 1 ? "s.d.zkbvw" : "s.d.zkbw",
        {.checks = "null | size | " + even + " | one k MaskSizeErr | border b BadArgErr 240 0 1 3 4 6",
         .values = {{'k', {33, 55}}, {'b', borders({0, 1, 3, 4, 6}, 240)}},
         .shape = shapeSource,
         .scratch = reported(query, 'k'),
         .expect =
             [](Call& c) {
               const bool alongX = strstr(c.description.operation.name, "Vert") != nullptr;
               expectComponent<S>(c, c.after<D>('d'), alongX);
             },
         .sweep = finite});
}

const Descriptions members([](Descriptions& d) {
#define NAMED(name) QORTEST_NAMED(qor::name)
  addVector<Qor8u, Qor16s>(d, NAMED(qoriGradientVectorSobel_8u16s_C1R), {33, 55});
  addVector<Qor8u, Qor16s>(d, NAMED(qoriGradientVectorScharr_8u16s_C1R), {33});
  addVector<Qor32f, Qor32f>(d, NAMED(qoriGradientVectorSobel_32f_C1R), {33, 55});
  addVector<Qor32f, Qor32f>(d, NAMED(qoriGradientVectorScharr_32f_C1R), {33});
#define SOBEL(S, D, way, tag) \
  addSobel<S, D>(d, NAMED(qoriFilterSobel##way##Border_##tag), qor::qoriFilterSobel##way##GetBufferSize_##tag);
  SOBEL(Qor8u, Qor16s, Vert, 8u16s_C1R)
  SOBEL(Qor8u, Qor16s, Horiz, 8u16s_C1R)
  SOBEL(Qor32f, Qor32f, Vert, 32f_C1R)
  SOBEL(Qor32f, Qor32f, Horiz, 32f_C1R)
  const std::vector<std::pair<char, std::vector<double>>> values{
      {'k', {33, 55}}, {'t', {1, 5, 7, 13}}, {'u', {13}}, {'c', {1, 3}}, {'e', {1}}};
  const char* const checks = "null | size | one k MaskSizeErr";
  d.add(NAMED(qoriGradientVectorGetBufferSize), "zktcr",
        {.checks = std::string(checks) + " | one t DataTypeErr | one c ChannelErr", .values = values});
  d.add(NAMED(qoriFilterSobelVertBorderGetBufferSize), "zkuuer",
        {.checks = std::string(checks) + " | one u1 DataTypeErr | one u2 DataTypeErr | one e ChannelErr",
         .values = values});
});

// Tiles that read their neighbours join without a seam, in floats too.
TEST(GradientVector, Tiles) {
  const QoriSize size{150, 40};
  GuardedImage<Qor32f> src(size, {.margin = {2, 2, 2, 2}}), gx(size), gy(size), tileX(size), tileY(size);
  src.generate(Maker<Qor32f>(Data::Random, baseSeed()));
  GuardedBytes scratch(1 << 14);
  const auto call = [&](GuardedImage<Qor32f>& x, GuardedImage<Qor32f>& y, QoriRect r, int mask) {
    EXPECT_EQ(qor::qoriGradientVectorSobel_32f_C1R(&src.at(r.x, r.y), src.step(), &x.at(r.x, r.y), x.step(),
                                                   &y.at(r.x, r.y), y.step(), nullptr, 0, nullptr, 0,
                                                   {r.width, r.height}, mask, qorNormL1, 246, 0, scratch.data()),
              0);
  };
  for (const int mask : {33, 55}) {
    call(gx, gy, {0, 0, size.width, size.height}, mask);
    for (int y = 0; y < size.height; y += 7)
      for (int x = 0; x < size.width; x += 41)
        call(tileX, tileY, {x, y, std::min(41, size.width - x), std::min(7, size.height - y)}, mask);
    expectSame(tileX, gx.pixels(), Equal::Bits);
    expectSame(tileY, gy.pixels(), Equal::Bits);
  }
}

// Sizes on paper.
TEST(GradientVector, BufferSizes) {
  int bytes = 0;
  const auto vectorBytes = [&](QoriSize size, int mask, int type, int channels) {
    EXPECT_EQ(qor::qoriGradientVectorGetBufferSize(size, mask, type, channels, &bytes), 0);
    return bytes;
  };
  EXPECT_EQ(vectorBytes({100, 3}, 33, qor8u, 1), 102 * 5 + 400 + 64);
  EXPECT_EQ(vectorBytes({100, 4}, 33, qor8u, 1), 102 * 3 + 400 + 64);
  EXPECT_EQ(vectorBytes({7, 100}, 55, qor16s, 3), 104 * 11 * 3 * 2 + 56 + 64);
  EXPECT_EQ(vectorBytes({8, 100}, 55, qor32f, 1), 104 * 6 * 4 + 64 + 64);
  EXPECT_EQ(qor::qoriFilterSobelVertGetBufferSize_8u16s_C1R({100, 30}, 33, &bytes), 0);
  EXPECT_EQ(bytes, 320 + 32);
  EXPECT_EQ(qor::qoriFilterSobelHorizGetBufferSize_8u16s_C1R({30, 100}, 55, &bytes), 0);
  EXPECT_EQ(bytes, 736 + 32);
  // 102 * 12 to 1248, 2 * 416, 131 * 8 to 1056; 104 * 28 to 2912, 4 * 416, 131 * 16 to 2112.
  EXPECT_EQ(qor::qoriFilterSobelVertBorderGetBufferSize({100, 31}, 33, 13, 13, 1, &bytes), 0);
  EXPECT_EQ(bytes, 1248 + 832 + 1056 + 32);
  EXPECT_EQ(qor::qoriFilterSobelHorizBorderGetBufferSize({100, 31}, 55, 13, 13, 1, &bytes), 0);
  EXPECT_EQ(bytes, 2912 + 1664 + 2112 + 32);
}

}  // namespace
