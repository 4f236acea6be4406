#include <cmath>
#include <type_traits>

#include "qorcv/pyramid.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// Half a unit off, or by roundings of floats.
template <class T>
bool isNear(T got, double want) {
  return std::fabs(static_cast<double>(got) - want) <= (std::is_integral_v<T> ? 0.5 : 1e-3);
}

template <class T>
Qor8u* scratchOf(Setup& s, QorStatus query(int, QorDataType, int, int*), int width, int channels) {
  int bytes = 0;
  query(width, std::is_integral_v<T> ? qor8u : qor32f, channels, &bytes);
  return s.scratch(bytes);
}

template <class T>
auto halved(auto* operation, int channels = 1) {
  return [=](Setup& s) {
    const QoriSize half{(s.roi().width + 1) / 2, (s.roi().height + 1) / 2};
    const auto src = s.random<T>({.channels = channels}), dst = s.blank<T>({.channels = channels, .size = half});
    Qor8u* const buffer = scratchOf<T>(s, qoriPyrDownGetBufSize_Gauss5x5, s.roi().width, channels);
    return checked([=, roi = s.roi()] { return operation(src.p, src.step, dst.p, dst.step, roi, buffer); },
                   [=] {
                     constexpr int weights[] = {1, 4, 6, 4, 1};
                     const int x = half.width / 2 * channels, y = half.height / 2;
                     double sum = 0;
                     for (int j = 0; j < 5; ++j)
                       for (int i = 0; i < 5; ++i)
                         sum += weights[j] * weights[i] *
                                static_cast<double>(src(2 * x + (i - 2) * channels, 2 * y + j - 2));
                     return isNear(dst(x, y), sum / 256);
                   });
  };
}

// Time is told for a pixel of the result.
template <class T>
auto doubled(auto* operation, int channels = 1) {
  return [=](Setup& s) {
    const QoriSize half{s.roi().width / 2, s.roi().height / 2}, whole{2 * half.width, 2 * half.height};
    const auto src = s.random<T>({.channels = channels, .size = half});
    const auto dst = s.blank<T>({.channels = channels, .size = whole});
    Qor8u* const buffer = scratchOf<T>(s, qoriPyrUpGetBufSize_Gauss5x5, half.width, channels);
    return checked([=] { return operation(src.p, src.step, dst.p, dst.step, half, buffer); },
                   [=] {
                     const int x = half.width / 2 * channels, y = half.height / 2;
                     double sum = 0;
                     for (int j = 0; j <= 1; ++j)
                       for (int i = 0; i <= 1; ++i) sum += static_cast<double>(src(x + i * channels, y + j));
                     return isNear(dst(2 * x + channels, 2 * y + 1), sum / 4);
                   });
  };
}

const Register gaussSteps([] {
  Row("qoriPyrDown_Gauss5x5_8u_C1R").run(halved<Qor8u>(qoriPyrDown_Gauss5x5_8u_C1R));
  Row("qoriPyrDown_Gauss5x5_8u_C3R").run(halved<Qor8u>(qoriPyrDown_Gauss5x5_8u_C3R, 3));
  Row("qoriPyrDown_Gauss5x5_8s_C1R").run(halved<Qor8s>(qoriPyrDown_Gauss5x5_8s_C1R));
  Row("qoriPyrDown_Gauss5x5_32f_C1R").run(halved<Qor32f>(qoriPyrDown_Gauss5x5_32f_C1R));
  Row("qoriPyrDown_Gauss5x5_32f_C3R").run(halved<Qor32f>(qoriPyrDown_Gauss5x5_32f_C3R, 3));
  Row("qoriPyrUp_Gauss5x5_8u_C1R").run(doubled<Qor8u>(qoriPyrUp_Gauss5x5_8u_C1R));
  Row("qoriPyrUp_Gauss5x5_8u_C3R").run(doubled<Qor8u>(qoriPyrUp_Gauss5x5_8u_C3R, 3));
  Row("qoriPyrUp_Gauss5x5_8s_C1R").run(doubled<Qor8s>(qoriPyrUp_Gauss5x5_8s_C1R));
  Row("qoriPyrUp_Gauss5x5_32f_C1R").run(doubled<Qor32f>(qoriPyrUp_Gauss5x5_32f_C1R));
  Row("qoriPyrUp_Gauss5x5_32f_C3R").run(doubled<Qor32f>(qoriPyrUp_Gauss5x5_32f_C3R, 3));
});

}  // namespace
}  // namespace qor::bench
