#include <math.h>

#include <array>
#include <vector>

#include "filter/fixed_filters.h"
#include "qorcv/feature.h"

namespace {
using namespace qortest;

using Floats = Image<Qor32f>;

Qor32f smallerValue(Qor32f a, Qor32f b, Qor32f c, Qor32f s) {
  const Qor32f root = sqrtf((a - b) * (a - b) + 4 * (c * c));
  return (a + b - root) * (0.5F * s);
}

std::array<Qor32f, 6> valuesAndVectors(Qor32f a, Qor32f b, Qor32f c, Qor32f s, Qor32f g) {
  a *= s, b *= s, c *= s;
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
  for (size_t i = 0; i < image.samples.size(); ++i)
    image.samples[i] = static_cast<Qor32f>(first[i]) * static_cast<Qor32f>(second[i]);
  const auto sums = FilterSums<Qor32f>(image, window, qorBorderRepl, 0).of(filters::Lowpass);
  for (size_t i = 0; i < sums.size(); ++i) image.samples[i] = sums[i] * (window == 3 ? 0.11111111F : 0.04F);
  return image;
}

template <class S>
void expectMeasures(Call& c, bool vectors) {
  const Image<S>& src = c.before<S>('s');
  const bool isScharr = c.number('t') == qorKernelScharr;
  const int aperture = c.number('k'), window = c.number('n');
  const FilterSums<S> sums(src, aperture, qorBorderRepl, 0);
  const auto dx = sums.of(isScharr ? filters::ScharrVert : filters::SobelVert);
  const auto dy = sums.of(isScharr ? filters::ScharrHoriz : filters::SobelHoriz);
  const Floats a = meanOf(src.size, dx, dx, window), b = meanOf(src.size, dy, dy, window);
  const Floats xy = meanOf(src.size, dx, dy, window);
  const Qor32f s = (aperture == 3 ? 1.0F / 4080 : 1.0F / 65280) * (isScharr ? 0.6125F : 1.0F);
  Floats want(src.size, vectors ? 6 : 1);
  for (size_t i = 0; i < a.samples.size(); ++i) {
    if (vectors) {
      const auto six = valuesAndVectors(a.samples[i], b.samples[i], xy.samples[i], s, isScharr ? 1.0F : -1.0F);
      std::copy(six.begin(), six.end(), want.samples.begin() + static_cast<ptrdiff_t>(6 * i));
    } else {
      want.samples[i] = smallerValue(a.samples[i], b.samples[i], xy.samples[i], s);
    }
  }
  c.expect('d', want, Equal::Values);
}

// What the queries of the filters report that the header names, and the whole.
template <class S>
void expectReported(Call& c) {
  const QoriSize size = c.size();
  const int aperture = c.number('k'), window = c.number('n');
  const auto up32 = [](int64_t n) { return (n + 31) / 32 * 32; };
  const auto of = [=](auto* query, auto... mask) {
    int bytes = 0;
    EXPECT_EQ(query(size, mask..., &bytes), qorStsNoErr);
    return int64_t{bytes};
  };
  const int64_t w = size.width, h = size.height, most = std::max(w, h), pixels = (w + 15) / 16 * 16 * h;
  const int64_t lowpass = of(qoriFilterLowpassGetBufferSize_32f_C1R, 11 * window);
  int64_t want;
  if constexpr (std::is_same_v<S, Qor8u>) {
    const int64_t sobel = up32(aperture == 3 ? 3 * most + 6 : 7 * most + 28) + 32;
    const int64_t scharr =
        std::max(of(qoriFilterScharrVertGetBufferSize_8u16s_C1R), of(qoriFilterScharrHorizGetBufferSize_8u16s_C1R));
    want = std::max({c.c.threads * (sobel + 32), scharr, lowpass}) + 16 * pixels + 224;
  } else {
    const int64_t more = aperture == 3 ? 2 : 4, rows = aperture == 3 ? 3 : 7, columns = aperture == 3 ? 1 : 2;
    const int64_t sobel = up32(up32((most + more) * rows * 4) + more * up32(4 * w) + up32((w + h) * 8 * columns)) + 32;
    const int64_t scharr = window != 3 ? 0
                                       : std::max(of(qoriFilterScharrVertGetBufferSize_32f_C1R),
                                                  of(qoriFilterScharrHorizGetBufferSize_32f_C1R));
    want = std::max({sobel, scharr, lowpass}) + 20 * pixels + 224;
  }
  c.expectResult(1, static_cast<int>(want));
}

void ownChecks(DescribedContract& c, int which) {
  c.start('k', 3), c.start('n', 3);
  int &type = c.now.at<int>(which == 1 ? 't' : 'k'), &aperture = c.now.at<int>('k'), &window = c.now.at<int>('n');
  c.check(
      "aperture and window", qorStsSizeErr,
      [&, which] {
        const bool largerToo = which == 2 || type == qorKernelSobel;
        return (aperture != 3 && !(aperture == 5 && largerToo)) || (window != 3 && window != 5);
      },
      [&] { aperture = 4; }, [&] { window = 1; }, [&] { window = 7; }, [&] { aperture = -3; },
      [&, which] { which == 1 ? (void)(type = qorKernelScharr, aperture = 5) : (void)(aperture = 0); });
}

template <class S>
void add(Descriptions& d, const char* name, auto* operation, const char* queryName, auto* query) {
  const bool vectors = strstr(name, "Vecs") != nullptr, isLoose = vectors && std::is_same_v<S, Qor32f>;
  d.add(name, operation, "s.d.ztknw",
        {.checks = "null | size | step | even | one t BadArgErr | own 1",
         .values = {{'t', {0, 1}}, {'n', {3, 5}}},
         .draw =
             [](Call& c) {
               c.set('k', c.c.usual || c.number('t') == 1 ? 3 : c.pick({3, 5}));
             },
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role != 'd') return;
               s.channels = vectors ? 6 : 1;
               if (isLoose) s.leastStep = a.size().width;
             },
         // Sums of floats by Sobel kernels have no order that the header tells: whole numbers need none.
         .fill =
             [](Call& c) {
               if constexpr (std::is_same_v<S, Qor32f>) {
                 if (c.number('t') == qorKernelSobel)
                   c.image<S>('s').generate([&](int, int, int) { return S(c.c.random.between(-90, 90)); });
               }
             },
         .scratch = reported(query, 'k', 'n'),
         .expect = [=](Call& c) { expectMeasures<S>(c, vectors); },
         .own = ownChecks,
         .teamOf =
             [](const Arguments& a, int threads, int cores) {
               const QoriSize size = a.size();
               const bool isShared = threads > 1 && cores > 1 && size.width >= 256 && size.height >= 5 * threads;
               return isShared && size.height >= 256 ? std::min({threads, cores, size.height / 128}) : 0;
             },
         .teamSizes = {{256, 256}, {255, 256}, {256, 255}, {256, 260}},
         .sweep = {.thresholds = {{259, 258}}, .finite = true}});
  d.add(queryName, query, "zknr",
        {.checks = "null | size | own 2",
         .values = {{'k', {3, 5}}, {'n', {3, 5}}},
         .expect = expectReported<S>,
         .own = ownChecks,
         .sweep = {.widths = {1, 17, 641, 5000}, .heights = {1, 3, 479, 4000}, .repeats = 3}});
}

const Descriptions members([](Descriptions& d) {
#define QOR_EIGEN(name, query, S, Result) add<S>(d, QORTEST_NAMED(name), QORTEST_NAMED(query));
#include "../../src/feature/eigen.def"
});

// Rows of results that lie over each other: the later one stands.
TEST(EigenValsVecs, RowsOverEachOther) {
  const QoriSize size{300, 290};
  Case c(size);
  GuardedImage<Qor32f> src(size), apart(size, {.channels = 6}), joined({6 * size.width, 1});
  src.generate(Maker<Qor32f>(Data::Random, 1));
  const ThreadCount threads(3);
  int bytes = 0;
  ASSERT_EQ(qoriEigenValsVecsGetBufferSize_32f_C1R(size, 3, 3, &bytes), qorStsNoErr);
  const GuardedBytes buffer(bytes), overlaid(4 * size.width * (size.height + 5));
  const auto measure = [&](Qor32f* dst, int step) {
    EXPECT_EQ(qoriEigenValsVecs_32f_C1R(src.data(), src.step(), dst, step, size, 0, 3, 3, buffer.data()), 0);
  };
  measure(apart.data(), apart.step());
  measure(overlaid.as<Qor32f>(), 4 * size.width);
  for (int y = 0; y < size.height; ++y) {
    const size_t floats = static_cast<size_t>(size.width) * (y == size.height - 1 ? 6 : 1);
    EXPECT_EQ(memcmp(overlaid.as<Qor32f>() + y * size.width, &apart.at(0, y), 4 * floats), 0) << y;
  }
}

// A flat part is upright with values of 0, a plane slope has nothing across it, and the stripes of a texture that rises
// to the right and down turn the larger value's vector there, whichever side the kernel subtracts.
TEST(EigenValsVecs, OnPaper) {
  GuardedImage<Qor8u> src({60, 40});
  src.generate([](int x, int y, int) {
    return static_cast<Qor8u>(x < 20 ? 7 : x < 40 ? x + 2 * y : 9 * ((x + 2 * y) % 13));
  });
  GuardedImage<Qor32f> dst(src.size(), {.channels = 6});
  int bytes = 0;
  ASSERT_EQ(qoriEigenValsVecsGetBufferSize_8u32f_C1R(src.size(), 3, 3, &bytes), qorStsNoErr);
  const GuardedBytes buffer(bytes);
  for (const QoriKernelType kernel : {qorKernelSobel, qorKernelScharr}) {
    ASSERT_EQ(qoriEigenValsVecs_8u32f_C1R(src.data(), src.step(), dst.data(), dst.step(), src.size(), kernel, 3, 3,
                                          buffer.data()),
              qorStsNoErr);
    const Qor32f flat[6] = {0, 0, 1, 0, 0, 1}, slope[6] = {};
    EXPECT_EQ(memcmp(&dst.at(5, 20), flat, sizeof flat), 0);
    EXPECT_EQ(memcmp(&dst.at(30, 20), slope, sizeof slope), 0);
    int turned = 0;
    for (int x = 45; x < 58; ++x) {
      const Qor32f* v = &dst.at(x, 20);
      if (v[2] == 0 || v[3] == 0) continue;
      ++turned;
      EXPECT_GT(v[2] * v[3], 0) << x;
      EXPECT_NEAR(double{v[2] * v[4] + v[3] * v[5]}, 0, 1e-2) << x;
    }
    EXPECT_GT(turned, 3);
  }
}

}  // namespace
