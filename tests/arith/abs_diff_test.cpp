#include <math.h>

#include <algorithm>
#include <type_traits>

#include "qorcv/arith.h"
#include "support/support.h"

namespace {
using namespace qortest;

template <class T>
T absDiff(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) return fabsf(a - b);
  return static_cast<T>(std::max(a, b) - std::min(a, b));
}

template <class T>
Image<T> reference(const Image<T>& a, const Image<T>& b) {
  Image<T> d(a.size, a.channels);
  for (size_t i = 0; i < d.samples.size(); ++i) d.samples[i] = absDiff(a.samples[i], b.samples[i]);
  return d;
}

template <class T, class V>
Image<T> reference(const Image<T>& a, V value) {
  Image<T> b(a.size, a.channels);
  if constexpr (std::is_integral_v<V>) value = std::clamp<V>(value, 0, std::numeric_limits<T>::max());
  std::fill(b.samples.begin(), b.samples.end(), static_cast<T>(value));
  return reference(a, b);
}

// A NaN of a 32f result has no sign, which the comparison with the reference does not see.
template <class T>
void expectNoSign(const Image<T>& image) {
  for (const T v : image.samples) ASSERT_FALSE(signbit(static_cast<double>(v))) << currentCase();
}

template <class T>
void expectImages(Call& c) {
  c.expect('d', reference(c.before<T>('s'), c.before<T>('s', 2)));
  expectNoSign(c.after<T>('d'));
}

template <class T, class V>
void expectConstant(Call& c) {
  c.expect('d', reference(c.before<T>('s'), c.at<V>('n')));
  expectNoSign(c.after<T>('d'));
}

// Inside and outside the range of every sample.
const std::vector<double> integers{-5, 0, 1, 100, 255, 256, 300, 30000, 65535, 65536, 70000, INT_MIN, INT_MAX};
const std::vector<double> reals{-5.5, 0, 1e-40, 3e38, INFINITY, -INFINITY, NAN};

const Descriptions members([](Descriptions& d) {
#define QOR_ABS_DIFF(name, T, channels) \
  d.add(QORTEST_NAMED(name), "S.S.d.z", {.expect = expectImages<T>, .team = fromSamples(0x40000)});
#define QOR_ABS_DIFF_C(name, T, V)                                     \
  d.add(QORTEST_NAMED(name), "S.d.zn",                                 \
        {.values = {{'n', std::is_same_v<V, int> ? integers : reals}}, \
         .expect = expectConstant<T, V>,                               \
         .team = from(0x40000)});
#include "../../src/arith/abs_diff.def"
});

TEST(AbsDiff, EveryPairOfBytes) {
  GuardedImage<Qor8u> a({256, 256}), b({256, 256}), dst({256, 256});
  a.generate([](int x, int, int) { return static_cast<Qor8u>(x); });
  b.generate([](int, int y, int) { return static_cast<Qor8u>(y); });
  EXPECT_EQ(qoriAbsDiff_8u_C1R(a.data(), a.step(), b.data(), b.step(), dst.data(), dst.step(), dst.size()), 0);
  expectSame(dst, reference(a.pixels(), b.pixels()));
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(qoriAbsDiffC_8u_C1R(a.data(), a.step(), dst.data(), dst.step(), dst.size(), value), 0);
    expectSame(dst, reference(a.pixels(), value));
  }
}

}  // namespace
