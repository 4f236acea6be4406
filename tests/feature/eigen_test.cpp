#include <array>

#include "feature/gradient.h"
#include "filter/fixed_filters.h"

namespace {
using namespace qortest;

using Floats = Image<Qor32f>;

Qor32f smallerValue(Qor32f a, Qor32f b, Qor32f c, Qor32f s) {
  return (a + b - sqrtf((a - b) * (a - b) + 4 * (c * c))) * (0.5F * s);
}

std::array<Qor32f, 6> valuesAndVectors(Qor32f a, Qor32f b, Qor32f c, Qor32f g) {
  const Qor32f t = 0.01F * (a > b ? a : b), r = sqrtf(4 * (c * c) + (a - b) * (a - b));
  const Qor32f l1 = (a + b + r) * 0.5F, l2 = (a + b - r) * 0.5F, p = l1 - a, q = l2 - a, e = c * g;
  if (t > (a < b ? a : b) || t > a * b - c * c) return {};
  if (t >= fabsf(c)) return {l1, l2, 1, 0, 0, 1};
  const auto inverse = [](Qor32f x, Qor32f y) { return 1 / fmaxf(sqrtf(x * x + y * y), 1.1920929e-7F); };
  const Qor32f i1 = inverse(p, e), i2 = inverse(e, q);
  return {l1, l2, e * i1, p * i1, e * i2, q * i2};
}

// The window's mean of a product of components.
template <class A>
Floats meanOf(QoriSize size, const std::vector<A>& first, const std::vector<A>& second, int window) {
  Floats image(size);
  for (size_t i = 0; i < first.size(); ++i)
    image.samples[i] = static_cast<Qor32f>(first[i]) * static_cast<Qor32f>(second[i]);
  const auto sums = FilterSums<Qor32f>(image, window, qorBorderRepl, 0).of(filters::Lowpass);
  for (size_t i = 0; i < sums.size(); ++i) image.samples[i] = sums[i] * (window == 3 ? 0.11111111F : 0.04F);
  return image;
}

template <class S>
void expectMeasures(Call& call, bool vectors) {
  const Image<S>& src = call.before<S>('s');
  const bool isScharr = call.number('t') == qorKernelScharr;
  const int aperture = call.number('k'), n = call.number('n');
  const FilterSums<S> sums(src, aperture, qorBorderRepl, 0);
  const auto dx = sums.of(isScharr ? filters::ScharrVert : filters::SobelVert);
  const auto dy = sums.of(isScharr ? filters::ScharrHoriz : filters::SobelHoriz);
  const Floats aa = meanOf(src.size, dx, dx, n), bb = meanOf(src.size, dy, dy, n), cc = meanOf(src.size, dx, dy, n);
  const Qor32f s = (aperture == 3 ? 1.0F / 4080 : 1.0F / 65280) * (isScharr ? 0.6125F : 1.0F);
  Floats want(src.size, vectors ? 6 : 1);
  for (size_t i = 0; i < aa.samples.size(); ++i) {
    const Qor32f a = aa.samples[i], b = bb.samples[i], c = cc.samples[i];
    const auto six = valuesAndVectors(a * s, b * s, c * s, isScharr ? 1.0F : -1.0F);
    if (vectors) std::copy(six.begin(), six.end(), want.samples.begin() + static_cast<ptrdiff_t>(6 * i));
    if (!vectors) want.samples[i] = smallerValue(a, b, c, s);
  }
  call.expect('d', want, Equal::Values);
}

void ownCheck(DescribedContract& c, int) {
  int &type = c.now.at<int>('t'), &aperture = c.now.at<int>('k');
  c.check(
      "5x5 with Scharr", qorStsSizeErr, [&] { return type == qorKernelScharr && aperture == 5; },
      [&] { type = qorKernelScharr, aperture = 5; });
}

template <class S>
void add(Descriptions& d, const char* name, auto* operation, const char* queryName, auto* query) {
  const bool vectors = strstr(name, "Vecs") != nullptr, isLoose = vectors && std::is_same_v<S, Qor32f>;
  d.add(name, operation, "s.d.ztknw",
        {.checks = "null | size | step | even | one t BadArgErr | one k SizeErr | one n SizeErr | own",
         .values = {{'t', {0, 1}}, {'k', {3, 5}}, {'n', {3, 5}}},
         .draw = [](Call& c) { c.number('t') == qorKernelScharr ? c.set('k', 3) : void(); },
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role != 'd') return;
               s.channels = vectors ? 6 : 1;
               if (isLoose) s.leastStep = a.size().width;
             },
         // Sums of floats by Sobel kernels have no order that the header tells: whole numbers need none.
         .fill =
             [](Call& c) {
               if (std::is_same_v<S, Qor32f> && c.number('t') == qorKernelSobel)
                 c.image<S>('s').generate([&](int, int, int) { return S(c.c.random.between(-90, 90)); });
             },
         .scratch = reported(query, 'k', 'n'),
         .expect = [=](Call& c) { expectMeasures<S>(c, vectors); },
         .own = ownCheck,
         .teamOf = [](const Arguments& a, int threads, int cores) { return fixedTeam(a.size(), 128, threads, cores); },
         .teamSizes = {{256, 256}, {255, 256}, {256, 255}, {256, 260}},
         .sweep = {.thresholds = {{259, 258}}, .finite = true}});
  d.add(queryName, query, "zknr",
        {.checks = "null | size | one k SizeErr | one n SizeErr",
         .values = {{'k', {3, 5}}, {'n', {3, 5}}},
         .threadsShow = true});
}

const Descriptions members([](Descriptions& d) {
#define QOR_EIGEN(name, query, S, Result) add<S>(d, QORTEST_NAMED(name), QORTEST_NAMED(query));
#include "../../src/feature/eigen.def"
});

// Rows of results that lie over each other: the later one stands, whatever the threads.
TEST(EigenValsVecs, RowsOverEachOther) {
  constexpr int w = 300, h = 290;
  const ThreadCount threads(3);
  std::vector<Qor32f> src(w * h), apart(6 * w * h), joined(w * (h + 5));
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<Qor32f>(i * i % 251);
  int bytes = 0;
  ASSERT_EQ(qoriEigenValsVecsGetBufferSize_32f_C1R({w, h}, 3, 3, &bytes), qorStsNoErr);
  const GuardedBytes buffer(bytes);
  EXPECT_EQ(qoriEigenValsVecs_32f_C1R(src.data(), 4 * w, apart.data(), 24 * w, {w, h}, 0, 3, 3, buffer.data()), 0);
  EXPECT_EQ(qoriEigenValsVecs_32f_C1R(src.data(), 4 * w, joined.data(), 4 * w, {w, h}, 0, 3, 3, buffer.data()), 0);
  for (int y = 0; y < h; ++y)
    EXPECT_EQ(memcmp(&joined[static_cast<size_t>(w * y)], &apart[static_cast<size_t>(6 * w * y)], 4 * w), 0) << y;
}

}  // namespace
