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

// A case: elements in one row, of which the step takes rows of any length, forwards or backwards. Samples are told by
// the elements of their first taps.
struct Scene {
  int side, elements, step, start;
  std::vector<int> at;
  std::vector<Qor32f> kernels;
  std::vector<Qor16u> index;
  std::shared_ptr<void> spec;

  int tap(size_t i, int number) const { return at[i] + number % side + number / side * step; }
  Qor32f coefficient(size_t i, int number) const {
    return kernels[static_cast<size_t>(index[i] * side * side + number)];
  }
};
const Scene& sceneOf(const Arguments& a) { return *static_cast<const Scene*>(a.data.get()); }

// Samples in order, every second column, in place, over rows, and anywhere; steps around those that make taps meet. The
// first and the last element are taps where chance will have it.
template <int side>
void drawScene(Call& c) {
  Random& random = c.c.random;
  const auto scene = std::make_shared<Scene>();
  Scene& s = *scene;
  s.side = side;
  s.step = c.c.usual ? 37 : c.pick({-60, -6, -5, -4, -3, -2, -1, side, side + 1, 4, 5, 6, 7, 20, 41});
  const int reach = (side - 1) * abs(s.step), length = c.size().width, places = 1 + random.below(3 * length);
  s.elements = reach + side - 1 + places;
  s.start = c.c.usual ? 0 : random.below(s.elements);
  const int stride = c.pick({0, 1, 1, 2, 2, 3, abs(s.step)});
  for (int i = 0, place = random.below(places); i < length; ++i) {
    s.at.push_back(place + (s.step < 0 ? reach : 0));
    place = (random.oneIn(8) ? random.below(places) : place + stride) % places;
  }
  const int count = 1 + random.below(9);
  Maker<Qor32f> maker(c.pick({Data::Random, Data::Few, Data::Special}), random.bits());
  for (int i = 0; i < count * side * side; ++i) s.kernels.push_back(maker(i, 0, 0));
  std::vector<Qor32s> offsets;
  for (const int place : s.at) {
    s.index.push_back(static_cast<Qor16u>(random.below(count)));
    offsets.push_back(place - s.start);
  }
  c.data = scene;
  c.array('k', s.index), c.array('f', offsets);
  typename Psf<side>::Spec* spec = nullptr;
  EXPECT_EQ(Psf<side>::init(&spec, s.kernels.data(), count), qorStsNoErr);
  s.spec = std::shared_ptr<typename Psf<side>::Spec>(spec, Psf<side>::release);
  c.at<const typename Psf<side>::Spec*>('e') = spec;
}

void arrange(Call& c, char image) {
  c.at<Qor32f*>(image) += sceneOf(c).start;
  c.set('.', sceneOf(c).step * int{sizeof(Qor32f)});
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
                if (role == image) s.width = sceneOf(a).elements;
              },
          .arrange = [=](Call& c) { arrange(c, image); },
          .expect = expect,
          .own = stepCheck<side>,
          .sweep = {.heights = {1}, .repeats = 8}};
}

template <class Low>
void expectResiduals(Call& c) {
  const Scene& s = sceneOf(c);
  const auto& high = c.before<Qor32f>('s');
  for (size_t i = 0; i < s.at.size(); ++i) {
    Qor32f r = high.at(s.tap(i, 0), 0) * s.coefficient(i, 0);
    for (int k = 1; k < s.side * s.side; ++k) r = r + high.at(s.tap(i, k), 0) * s.coefficient(i, k);
    const Qor32f want = r - static_cast<Qor32f>(c.at<const Low*>('n')[i]), got = c.at<Qor32f*>('r')[i];
    ASSERT_TRUE(same(got, want, Equal::SignedZeros)) << i << ": " << got << ", not " << want << ' ' << currentCase();
  }
}

void expectGradient(Call& c) {
  const Scene& s = sceneOf(c);
  Image<Qor32f> g = c.before<Qor32f>('i');
  for (size_t i = 0; i < s.at.size(); ++i) {
    const Qor32f e = c.at<const Qor32f*>('u')[c.at<const Qor8u*>('j')[i]] * c.at<const Qor32f*>('g')[i];
    for (int k = 0; k < s.side * s.side; ++k) g.at(s.tap(i, k), 0) = s.coefficient(i, k) * e + g.at(s.tap(i, k), 0);
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
  Traits t = traits<side>('s', expectResiduals<Low>);
  t.draw = [](Call& c) {
    drawScene<side>(c);
    c.array('n', drawn<Low>(c, c.size().width));
  };
  d.add(name, operation, "s.nfkrze", t);
}

template <int side>
void addGradient(Descriptions& d, const char* name, auto* operation) {
  Traits t = traits<side>('i', expectGradient);
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
