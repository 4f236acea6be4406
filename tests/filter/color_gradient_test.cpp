#include <math.h>

#include <algorithm>

#include "qorcv/filter.h"
#include "support/support.h"

namespace {
using namespace qortest;

const QoriNorm norms[] = {qoriNormInf, qoriNormL1, qoriNormL2};

Qor8u normOf(QoriNorm norm, const Qor8u (&s)[3]) {
  const int a = s[0], b = s[1], c = s[2];
  if (norm == qoriNormInf) return static_cast<Qor8u>(std::max({a, b, c}));
  if (norm == qoriNormL1) return static_cast<Qor8u>(((a + b + c) * 1365 + 2048) >> 12);
  const float third = static_cast<float>(a * a + b * b + c * c) / 3.0F;
  return static_cast<Qor8u>(trunc(sqrt(double{third}) + 0.5));
}

Qor16u normOf(QoriNorm norm, const Qor16u (&s)[3]) {
  const uint32_t sum = uint32_t{s[0]} + s[1] + s[2];
  const double a = s[0], b = s[1], c = s[2];
  if (norm == qoriNormInf) return std::max({s[0], s[1], s[2]});
  if (norm == qoriNormL1) return static_cast<Qor16u>((sum * 5461 + 8192) >> 14);
  return static_cast<Qor16u>(trunc(sqrt((a * a + b * b + c * c) / 3.0) + 0.5));
}

Qor32f normOf(QoriNorm norm, const Qor32f (&s)[3]) {
  if (norm == qoriNormL2) return sqrtf(s[0] * s[0] + s[1] * s[1] + s[2] * s[2]);
  const Qor32f a = fabsf(s[0]), b = fabsf(s[1]), c = fabsf(s[2]);
  if (norm == qoriNormL1) return a + b + c;
  const Qor32f ab = a > b ? a : b;
  return ab > c ? ab : c;
}

template <class T>
Image<T> reference(QoriNorm norm, const Image<T>& src) {
  Image<T> dst(src.size);
  for (int y = 0; y < src.size.height; ++y)
    for (int x = 0; x < src.size.width; ++x)
      dst.at(x, y) = normOf(norm, {src.at(x, y, 0), src.at(x, y, 1), src.at(x, y, 2)});
  return dst;
}

template <class T>
void expectNorms(Call& c) {
  c.expect('d', reference(c.number('n'), c.before<T>('s')));
}

const Descriptions members([](Descriptions& d) {
#define MEMBER(name, T)                                            \
  d.add(QORTEST_NAMED(name), "s.d.zn",                             \
        {.checks = "null | size | step | even | one n BadArgErr",  \
         .values = {{'n', {qoriNormInf, qoriNormL1, qoriNormL2}}}, \
         .expect = expectNorms<T>});
  MEMBER(qoriGradientColorToGray_8u_C3C1R, Qor8u)
  MEMBER(qoriGradientColorToGray_16u_C3C1R, Qor16u)
  MEMBER(qoriGradientColorToGray_32f_C3C1R, Qor32f)
});

// All colours whose samples do not ascend hold every sum and every sum of squares of bytes.
TEST(ColorGradient, EverySumOfBytes) {
  for (int a = 0; a < 256; ++a) {
    GuardedImage<Qor8u> src({256, a + 1}, {.channels = 3}), dst({256, a + 1});
    src.generate([a](int x, int y, int c) { return static_cast<Qor8u>(c == 0 ? a : c == 1 ? y : std::min(x, y)); });
    for (const QoriNorm norm : norms) {
      EXPECT_EQ(qoriGradientColorToGray_8u_C3C1R(src.data(), src.step(), dst.data(), dst.step(), dst.size(), norm), 0);
      expectSame(dst, reference(norm, src.pixels()));
    }
  }
}

}  // namespace
