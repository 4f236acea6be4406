#include <limits.h>
#include <math.h>

#include <memory>
#include <vector>

#include "qorcv/geometry.h"
#include "support/support.h"

namespace {
using namespace qortest;

template <int side>
struct Psf;
template <>
struct Psf<2> {
  using Spec = QoriSRHNSpec_PSF2x2;
  static constexpr auto init = qoriSRHNInitAlloc_PSF2x2;
  static constexpr auto release = qoriSRHNFree_PSF2x2;
};
template <>
struct Psf<3> {
  using Spec = QoriSRHNSpec_PSF3x3;
  static constexpr auto init = qoriSRHNInitAlloc_PSF3x3;
  static constexpr auto release = qoriSRHNFree_PSF3x3;
};

// Where the samples of a case stand: pixels of an image whose rows go on downwards, or upwards, or `apart` elements
// further in one row. The operation is given the address of pixel (x, y) as the image's start.
struct Scene {
  QoriSize size;
  int down, apart;
  int x, y;
  std::vector<QoriPoint> at;
  std::vector<Qor32f> kernels;
  std::vector<Qor16u> index;

  // The pixel of a tap.
  QoriPoint tap(size_t i, int column, int row) const { return {at[i].x + column + row * apart, at[i].y + row * down}; }
};
const Scene& sceneOf(const Arguments& a) { return *static_cast<const Scene*>(a.data.get()); }

// Samples in order, every second column, in place, over rows, and anywhere; steps around those that make taps meet.
template <int side>
void drawScene(Call& c) {
  Random& random = c.c.random;
  const auto scene = std::make_shared<Scene>();
  Scene& s = *scene;
  const bool inARow = !c.c.usual && random.oneIn(3);
  s.down = inARow ? 0 : random.oneIn(3) ? -1 : 1;
  s.apart = inARow ? c.pick({-7, -6, -5, -4, -3, -2, -1, side, side + 1, 4, 5, 6}) : 0;
  const int reach = side - 1, width = side + random.below(40);
  s.size = inARow ? QoriSize{width + reach * abs(s.apart), 1} : QoriSize{width, side + random.below(20)};
  const int left = s.apart < 0 ? -reach * s.apart : 0, top = s.down < 0 ? reach : 0;
  const int columns = s.size.width - reach - reach * abs(s.apart), rows = s.size.height - reach * abs(s.down);
  s.x = random.below(s.size.width), s.y = random.below(s.size.height);
  const int length = c.size().width, stride = c.pick({0, 1, 1, 2, 2, 3});
  int place = random.below(columns * rows);
  for (int i = 0; i < length; ++i) {
    s.at.push_back({left + place % columns, top + place / columns});
    place = (random.oneIn(8) ? random.below(columns * rows) : place + stride) % (columns * rows);
  }
  const int count = 1 + random.below(9);
  Maker<Qor32f> maker(c.pick({Data::Random, Data::Few, Data::Special}), random.bits());
  for (int i = 0; i < count * side * side; ++i) s.kernels.push_back(maker(i, 0, 0));
  for (int i = 0; i < length; ++i) s.index.push_back(static_cast<Qor16u>(random.below(count)));
  c.data = scene;
  c.array('k', s.index);
  typename Psf<side>::Spec* spec = nullptr;
  EXPECT_EQ(Psf<side>::init(&spec, s.kernels.data(), count), qorStsNoErr);
  c.at<const typename Psf<side>::Spec*>('e') = spec;
}

// The step, and with it the offsets, are known when the image is.
void arrange(Call& c, char role) {
  const Scene& s = sceneOf(c);
  const int rowElements = c.number('.') / int{sizeof(Qor32f)};
  c.at<Qor32f*>(role) = &c.image<Qor32f>(role).at(s.x, s.y);
  c.set('.', sizeof(Qor32f) * (s.down != 0 ? s.down * rowElements : s.apart));
  std::vector<Qor32s> offsets;
  for (const QoriPoint& p : s.at) offsets.push_back((p.y - s.y) * rowElements + p.x - s.x);
  c.array('f', offsets);
}

template <int side>
void release(Arguments& a) {
  Psf<side>::release(const_cast<typename Psf<side>::Spec*>(a.at<const typename Psf<side>::Spec*>('e')));
}

// A row of taps at least, unless the image goes upwards; whole elements.
template <int side>
void stepCheck(DescribedContract& c, int) {
  c.refuse('.', qorStsStepErr, [](int step) { return (step >= 0 && step < 4 * side) || step % 4 != 0; },
           {0, 4 * side - 4, 4 * side - 1, 4 * side + 2, -2, INT_MAX, INT_MIN + 1});
  c.start('.', 148);
}

template <int side>
Traits traits(char image, void (*expect)(Call&)) {
  return {.checks = "null | size | own",
          .draw = drawScene<side>,
          .shape =
              [=](const Arguments& a, char role, int, Shape& s) {
                if (role == 'r') s.width = a.number('z');
                if (role == image) s.width = sceneOf(a).size.width, s.height = sceneOf(a).size.height;
              },
          .arrange = [=](Call& c) { arrange(c, image); },
          .expect = expect,
          .release = release<side>,
          .own = stepCheck<side>,
          .sweep = {.heights = {1}, .repeats = 8}};
}

template <int side, class Low>
void expectResiduals(Call& c) {
  const Scene& s = sceneOf(c);
  const auto& high = c.before<Qor32f>('s');
  for (size_t i = 0; i < s.at.size(); ++i) {
    Qor32f r = 0;
    for (int tap = 0; tap < side * side; ++tap) {
      const QoriPoint p = s.tap(i, tap % side, tap / side);
      const Qor32f product = high.at(p.x, p.y) * s.kernels[s.index[i] * side * side + static_cast<size_t>(tap)];
      r = tap == 0 ? product : r + product;
    }
    const Qor32f want = r - static_cast<Qor32f>(c.at<const Low*>('n')[i]), got = c.at<Qor32f*>('r')[i];
    ASSERT_TRUE(same(got, want, Equal::SignedZeros)) << i << ": " << got << ", not " << want << ' ' << currentCase();
  }
}

template <int side>
void expectGradient(Call& c) {
  const Scene& s = sceneOf(c);
  Image<Qor32f> g = c.before<Qor32f>('i');
  for (size_t i = 0; i < s.at.size(); ++i) {
    const Qor32f e = c.at<const Qor32f*>('u')[c.at<const Qor8u*>('j')[i]] * c.at<const Qor32f*>('g')[i];
    for (int tap = 0; tap < side * side; ++tap) {
      const QoriPoint p = s.tap(i, tap % side, tap / side);
      const Qor32f product = s.kernels[s.index[i] * side * side + static_cast<size_t>(tap)] * e;
      g.at(p.x, p.y) = product + g.at(p.x, p.y);
    }
  }
  c.expect('i', g);
}

template <class T>
std::vector<T> drawn(Call& c, int count) {
  Maker<T> maker(c.pick({Data::Random, Data::NearTop, Data::Few}), c.c.random.bits());
  std::vector<T> values;
  for (int i = 0; i < count; ++i) values.push_back(maker(i, 0, 0));
  return values;
}

template <int side, class Low>
void addResidual(Descriptions& d, const char* name, auto* operation) {
  Traits t = traits<side>('s', expectResiduals<side, Low>);
  t.draw = [](Call& c) {
    drawScene<side>(c);
    c.array('n', drawn<Low>(c, c.size().width));
  };
  d.add(name, operation, "s.nfkrze", t);
}

template <int side>
void addGradient(Descriptions& d, const char* name, auto* operation) {
  Traits t = traits<side>('i', expectGradient<side>);
  t.draw = [](Call& c) {
    drawScene<side>(c);
    c.array('g', drawn<Qor32f>(c, c.size().width));
    c.array('j', drawn<Qor8u>(c, c.size().width));
    c.array('u', drawn<Qor32f>(c, 256));
  };
  d.add(name, operation, "i.fkgjzue", t);
}

// A kernel comes back tap by tap from an image with a single 1.
template <int side>
void addInit(Descriptions& d, const char* name) {
  using Spec = typename Psf<side>::Spec;
  d.add(name, Psf<side>::init, "akn",
        {.checks = "null | least n SizeErr 1",
         .draw =
             [](Call& c) {
               const int count = c.c.usual ? 1 : c.c.random.between(1, 300);
               c.set('n', count), c.array('k', drawn<Qor32f>(c, count * side * side));
             },
         .expect =
             [](Call& c) {
               const Spec* const spec = *c.at<Spec**>('a');
               for (int i = 0; i < c.number('n') * side * side; ++i) {
                 Qor32f image[side * side] = {}, got = 0;
                 image[i % (side * side)] = 1;
                 const Qor8u low = 0;
                 const Qor32s offset = 0;
                 const auto index = static_cast<Qor16u>(i / (side * side));
                 if constexpr (side == 2)
                   qoriSRHNCalcResidual_PSF2x2_8u32f_C1R(image, 8, &low, &offset, &index, &got, 1, spec);
                 else
                   qoriSRHNCalcResidual_PSF3x3_8u32f_C1R(image, 12, &low, &offset, &index, &got, 1, spec);
                 ASSERT_EQ(got, c.at<const Qor32f*>('k')[i]) << i << ' ' << currentCase();
               }
             },
         .release = [](Arguments& a) { EXPECT_EQ(Psf<side>::release(*a.at<Spec**>('a')), qorStsNoErr); },
         .sweep = {.widths = {1, 2, 3, 4}}});
}

const Descriptions members([](Descriptions& d) {
  addInit<2>(d, "qoriSRHNInitAlloc_PSF2x2");
  addInit<3>(d, "qoriSRHNInitAlloc_PSF3x3");
  addResidual<2, Qor8u>(d, QORTEST_NAMED(qoriSRHNCalcResidual_PSF2x2_8u32f_C1R));
  addResidual<2, Qor16u>(d, QORTEST_NAMED(qoriSRHNCalcResidual_PSF2x2_16u32f_C1R));
  addResidual<3, Qor8u>(d, QORTEST_NAMED(qoriSRHNCalcResidual_PSF3x3_8u32f_C1R));
  addResidual<3, Qor16u>(d, QORTEST_NAMED(qoriSRHNCalcResidual_PSF3x3_16u32f_C1R));
  addGradient<2>(d, QORTEST_NAMED(qoriSRHNUpdateGradient_PSF2x2_32f_C1R));
  addGradient<3>(d, QORTEST_NAMED(qoriSRHNUpdateGradient_PSF3x3_32f_C1R));
});

// Tables beyond 31 bits, whose wrapped sizes are small.
TEST(SuperResolution, Memory) {
  EXPECT_EQ(qoriSRHNFree_PSF2x2(nullptr), qorStsNullPtrErr);
  EXPECT_EQ(qoriSRHNFree_PSF3x3(nullptr), qorStsNullPtrErr);
  const auto* kernels = noAccess<Qor32f>(1);
  auto* two = noAccess<QoriSRHNSpec_PSF2x2>();
  EXPECT_EQ(qoriSRHNInitAlloc_PSF2x2(&two, kernels, (1 << 28) + 1), qorStsMemAllocErr);
  auto* three = noAccess<QoriSRHNSpec_PSF3x3>();
  EXPECT_EQ(qoriSRHNInitAlloc_PSF3x3(&three, kernels, 89478486), qorStsMemAllocErr);
  EXPECT_TRUE(two == noAccess<QoriSRHNSpec_PSF2x2>() && three == noAccess<QoriSRHNSpec_PSF3x3>());
}

}  // namespace
