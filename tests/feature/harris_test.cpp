#include "feature/gradient.h"

namespace {
using namespace qortest;

template <class S>
void expectResponse(Call& call) {
  const Means m = structureOf<S>(call);
  const uint32_t n = static_cast<uint32_t>(call.number('n'));
  const Qor32f k = call.at<Qor32f>('j');
  const auto q = static_cast<Qor32f>(double(static_cast<int32_t>(n * n * n * n)) * double{call.at<Qor32f>('u')});
  Image<Qor32f> want(m.a.size);
  for (size_t i = 0; i < want.samples.size(); ++i) {
    const Qor32f a = m.a.samples[i], b = m.b.samples[i], c = m.c.samples[i], trace = a + b;
    want.samples[i] = (a * b - c * c - trace * (k * trace)) * q;
  }
  call.expect('d', want, Equal::Values);
}

void expectSuppressed(Call& call) {
  const Means m = structureOf<Qor8u>(call);
  Image<Qor8u> want = call.before<Qor8u>('s', 2);
  for (size_t i = 0; i < want.samples.size(); ++i) {
    const Qor32f a = m.a.samples[i], b = m.b.samples[i], c = m.c.samples[i], trace = a + b;
    if (trace * trace > (a * b - c * c) * call.at<Qor32f>('j')) want.samples[i] = 0;
  }
  call.expect('d', want);
}

template <class S>
Traits structureTraits(const char* start, const char* end, std::function<void(Call&)> expect) {
  const auto scratch = [](const Arguments& a) {
    int bytes = -1;
    const QorDataType type = sizeof(S) == 1 ? qor8u : qor32f;
    EXPECT_EQ(qoriLineSuppressionGetBufferSize(a.size(), a.number('k'), a.number('n'), type, 1, &bytes), qorStsNoErr);
    return bytes;
  };
  return {.checks = std::string(start) + " | one f FilterTypeErr | own 1 | border b BorderErr 240 0 1 6 | " +
                    "least n SizeErr 1 | positive .1 StepErr | least .2 StepErr 0" + end,
          .values = {{'f', {2, 5, 8}},
                     {'n', {3, 1, 2, 4, 5, 6, 9, 16, 31}},
                     {'b', borders({0, 1, 6}, 240)},
                     {'j', {0.04, 8, 4, 0, 30, -1.5, static_cast<double>(NAN)}},
                     {'u', {1, 1e-9, -3}}},
          .draw = drawStructure,
          .shape = structureShape,
          .fill = fillStructure<S>,
          .scratch = scratch,
          .expect = std::move(expect),
          .own = structureChecks,
          .sweep = {.heights = {1, 2, 3, 7, 20}, .thresholds = {{97, 140}, {2053, 12}, {2049, 7}, {130, 33}}}};
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriHarrisCorner_8u32f_C1R), "s.d.zfknjubvw",
        structureTraits<Qor8u>("null | size | even", "", expectResponse<Qor8u>));
  d.add(QORTEST_NAMED(qoriHarrisCorner_32f_C1R), "s.d.zfknjubvw",
        structureTraits<Qor32f>("null | size | even", " | own 2", expectResponse<Qor32f>));
  d.add(QORTEST_NAMED(qoriLineSuppression_8u_C1R), "s.s.d.zfknjbvw",
        structureTraits<Qor8u>("null | size", " | least .3 StepErr 0 | own 2", expectSuppressed));
  const Traits query{
      .checks = "null | size | one k MaskSizeErr | one t DataTypeErr | one h ChannelErr | not n SizeErr 0",
      .values = {{'k', {33, 55}}, {'n', {1, 3, 16, 300}}, {'t', {qor8u, qor32f}}, {'h', {1}}}};
  d.add(QORTEST_NAMED(qoriHarrisCornerGetBufferSize), "zknthr", query);
  d.add(QORTEST_NAMED(qoriLineSuppressionGetBufferSize), "zknthr", query);
});

// Of 216 pixels the factor wraps.
TEST(Harris, WideWindows) {
  const auto draw = [](Call& c) { c.set('f', 8), c.set('k', 33), c.set('n', 216), c.set('b', 1 | 16 | 128); };
  runOwn("qoriHarrisCorner_32f_C1R", {60, 120}, {draw, {}});
}

// What sums gather of roundings on their way through a picture, against those of single pixels.
TEST(Harris, SumsThatSlide) {
  const QoriSize size{700, 500};
  GuardedImage<Qor32f> src(size), dst(size);
  src.generate(Maker<Qor32f>(Data::Random, 1));
  for (const int window : {3, 9, 21}) {
    int bytes = 0;
    ASSERT_EQ(qoriHarrisCornerGetBufferSize(size, 33, window, qor32f, 1, &bytes), qorStsNoErr);
    const GuardedBytes buffer(bytes);
    const auto respond = [&](const Qor32f* from, Qor32f* to, QoriSize region, QoriBorderType border) {
      EXPECT_EQ(qoriHarrisCorner_32f_C1R(from, src.step(), to, dst.step(), region, qorFilterCentralDiff, 33, window,
                                         0.04F, 1, border, 0, buffer.data()),
                qorStsNoErr);
    };
    respond(src.data(), dst.data(), size, qorBorderRepl);
    for (const QoriPoint p : {QoriPoint{600, 470}, {511, 131}, {95, 300}, {650, 31}}) {
      Qor32f alone = 0;
      respond(&src.at(p.x, p.y), &alone, {1, 1}, qorBorderInMem);
      EXPECT_NEAR(double{dst.at(p.x, p.y) / alone}, 1, 1e-4) << window << ' ' << p.x;
    }
  }
}

}  // namespace
