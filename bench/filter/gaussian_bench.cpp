#include <cmath>
#include <string>
#include <type_traits>

#include "qorcv/filter.h"
#include "support/row.h"

namespace qor::bench {
namespace {

template <class T>
constexpr QorDataType typeOf = std::is_same_v<T, Qor8u>    ? qor8u
                               : std::is_same_v<T, Qor16u> ? qor16u
                               : std::is_same_v<T, Qor16s> ? qor16s
                                                           : qor32f;

// The middle of the image against the definition in double: two roundings of at most one unit each for integers.
template <class T>
bool plausible(const Image<T>& src, const Image<T>& dst, int channels, int kernelSize, double sigma) {
  const int x = src.samples / 2, y = src.height / 2, reach = kernelSize / 2;
  double sum = 0, weights = 0;
  for (int j = -reach; j <= reach; ++j) {
    for (int i = -reach; i <= reach; ++i) {
      const double weight = std::exp(-(i * i + j * j) / (2 * sigma * sigma));
      sum += weight * static_cast<double>(src(x + i * channels, y + j));
      weights += weight;
    }
  }
  const double error = std::fabs(static_cast<double>(dst(x, y)) - sum / weights);
  return error <= (std::is_integral_v<T> ? 3 : 1e-3);
}

template <class T, class Operation>
auto smooth(Operation* operation, int kernelSize, int channels = 1) {
  return [=](Setup& s) {
    const auto src = s.random<T>({.channels = channels}), dst = s.blank<T>({.channels = channels});
    const QoriSize roi = s.roi();
    const Qor32f sigma = 0.2F * static_cast<Qor32f>(kernelSize);
    int specSize = 0, bufferSize = 0;
    qoriFilterGaussianGetBufferSize(roi, kernelSize, typeOf<T>, channels, &specSize, &bufferSize);
    auto* const spec = reinterpret_cast<QoriFilterGaussianSpec*>(s.scratch(specSize));
    Qor8u* const buffer = s.scratch(bufferSize);
    qoriFilterGaussianInit(roi, kernelSize, sigma, qorBorderRepl, typeOf<T>, channels, spec, buffer);
    return checked(
        [=] {
          if constexpr (std::is_invocable_v<Operation*, const T*, int, T*, int, QoriSize, T,
                                            const QoriFilterGaussianSpec*, Qor8u*>) {
            return operation(src.p, src.step, dst.p, dst.step, roi, T{}, spec, buffer);
          } else {
            static const T value[3] = {};
            return operation(src.p, src.step, dst.p, dst.step, roi, value, spec, buffer);
          }
        },
        [=] { return plausible(src, dst, channels, kernelSize, static_cast<double>(sigma)); });
  };
}

auto inOneCall(int kernelSize) {
  return [=](Setup& s) {
    const auto src = s.random<Qor32f>(), dst = s.blank<Qor32f>();
    const QoriSize roi = s.roi();
    const Qor32f sigma = 0.2F * static_cast<Qor32f>(kernelSize);
    int size = 0;
    qoriFilterGaussGetBufferSize_32f_C1R(roi, kernelSize, &size);
    Qor8u* const buffer = s.scratch(size);
    return checked(
        [=] {
          return qoriFilterGaussBorder_32f_C1R(src.p, src.step, dst.p, dst.step, roi, kernelSize, sigma, qorBorderRepl,
                                               0, buffer);
        },
        [=] { return plausible(src, dst, 1, kernelSize, static_cast<double>(sigma)); });
  };
}

Row row(const char* name, int kernelSize) { return Row(std::string(name) + "/K=" + std::to_string(kernelSize)); }

// The cost grows with the number of taps, without a jump.
const Register gaussian([] {
  row("qoriFilterGaussianBorder_8u_C1R", 3).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C1R, 3));
  row("qoriFilterGaussianBorder_8u_C1R", 5).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C1R, 5));
  row("qoriFilterGaussianBorder_8u_C1R", 7).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C1R, 7));
  row("qoriFilterGaussianBorder_8u_C1R", 9).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C1R, 9));
  row("qoriFilterGaussianBorder_8u_C1R", 15).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C1R, 15));
  row("qoriFilterGaussianBorder_8u_C1R", 31).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C1R, 31));
  row("qoriFilterGaussianBorder_8u_C3R", 3).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C3R, 3, 3));
  row("qoriFilterGaussianBorder_8u_C3R", 5).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C3R, 5, 3));
  row("qoriFilterGaussianBorder_8u_C3R", 9).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C3R, 9, 3));
  row("qoriFilterGaussianBorder_8u_C3R", 15).run(smooth<Qor8u>(qoriFilterGaussianBorder_8u_C3R, 15, 3));
  row("qoriFilterGaussianBorder_16u_C1R", 5).run(smooth<Qor16u>(qoriFilterGaussianBorder_16u_C1R, 5));
  row("qoriFilterGaussianBorder_16u_C3R", 5).run(smooth<Qor16u>(qoriFilterGaussianBorder_16u_C3R, 5, 3));
  row("qoriFilterGaussianBorder_16s_C1R", 5).run(smooth<Qor16s>(qoriFilterGaussianBorder_16s_C1R, 5));
  row("qoriFilterGaussianBorder_16s_C3R", 5).run(smooth<Qor16s>(qoriFilterGaussianBorder_16s_C3R, 5, 3));
  row("qoriFilterGaussianBorder_32f_C1R", 3).run(smooth<Qor32f>(qoriFilterGaussianBorder_32f_C1R, 3));
  row("qoriFilterGaussianBorder_32f_C1R", 5).run(smooth<Qor32f>(qoriFilterGaussianBorder_32f_C1R, 5));
  row("qoriFilterGaussianBorder_32f_C1R", 15).run(smooth<Qor32f>(qoriFilterGaussianBorder_32f_C1R, 15));
  row("qoriFilterGaussianBorder_32f_C3R", 5).run(smooth<Qor32f>(qoriFilterGaussianBorder_32f_C3R, 5, 3));
  row("qoriFilterGaussBorder_32f_C1R", 5).run(inOneCall(5));
});

}  // namespace
}  // namespace qor::bench
