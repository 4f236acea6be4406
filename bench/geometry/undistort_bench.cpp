#include "qorcv/geometry.h"

#include <cmath>

#include "support/row.h"

namespace qor::bench {
namespace {

// A lens that bends as wide ones do, about the middle.
struct Lens {
  Qor32f f, cx, cy, k1, k2;

  Lens(QoriSize size, Qor32f bend)
      : f(0.8F * static_cast<Qor32f>(size.width)),
        cx(0.5F * static_cast<Qor32f>(size.width)),
        cy(0.5F * static_cast<Qor32f>(size.height)),
        k1(bend),
        k2(0.02F) {}

  double factor(int x, int y) const {
    const double a = (x - double{cx}) / double{f}, b = (y - double{cy}) / double{f}, r2 = a * a + b * b;
    return double{k1} * r2 + double{k2} * r2 * r2;
  }
  double u(int x, int y) const { return (x - double{cx}) * factor(x, y) + x; }
  double v(int x, int y) const { return (y - double{cy}) * factor(x, y) + y; }
};

// A picture that rises by whole steps along rows and columns, which bilinear samples follow exactly, stays within the
// range of bytes in every 8 x 8 pixels; only samples within such a tile are checked.
template <class T>
auto resampled(auto* operation, int channels, Qor32f bend, bool buffered = true) {
  return [=](Setup& s) {
    const auto src = s.blank<T>({.channels = channels}), dst = s.blank<T>({.channels = channels});
    src.all([=](int x, int y) {
      src(x, y) = static_cast<T>(x / channels % 8 * 20 + y % 8 * 10);
      return true;
    });
    const Lens l(s.roi(), bend);
    int bytes = 0;
    qoriUndistortGetSize(s.roi(), &bytes);
    Qor8u* const buffer = buffered ? s.scratch(bytes) : nullptr;
    return checked(
        [=, roi = s.roi()] {
          return operation(src.p, src.step, dst.p, dst.step, roi, l.f, l.f, l.cx, l.cy, l.k1, l.k2, buffer);
        },
        [=, roi = s.roi()] {
          return dst.all([=](int sample, int y) {
            const int x = sample / channels;
            const double u = l.u(x, y), v = l.v(x, y), a = std::fmod(u, 8), b = std::fmod(v, 8);
            if (u < 0 || v < 0 || u > roi.width - 1.01 || v > roi.height - 1.01 || a > 6.99 || b > 6.99) return true;
            const double edge = std::fmin(std::fmin(a, b), 1);  // positions may lie on either side of a tile's
            return edge < 0.01 || std::fabs(static_cast<double>(dst(sample, y)) - (a * 20 + b * 10)) <= 0.6;
          });
        });
  };
}

auto mapped(Qor32f p) {
  return [=](Setup& s) {
    const auto u = s.blank<Qor32f>(), v = s.blank<Qor32f>();
    const Lens l(s.roi(), -0.2F);
    int bytes = 0;
    qoriUndistortGetSize(s.roi(), &bytes);
    Qor8u* const buffer = s.scratch(bytes);
    return checked(
        [=, roi = s.roi()] {
          return qoriCreateMapCameraUndistort_32f_C1R(u.p, u.step, v.p, v.step, roi, l.f, l.f, l.cx, l.cy, l.k1, l.k2,
                                                      p, -p, buffer);
        },
        [=] {
          return u.all([=](int x, int y) {
            const double xn = (x - double{l.cx}) / double{l.f}, yn = (y - double{l.cy}) / double{l.f};
            const double r2 = xn * xn + yn * yn, more = 2 * double{p} * (yn - xn), f = double{l.f} * double{p} * r2;
            return std::fabs(double{u(x, y)} - (l.u(x, y) + (x - double{l.cx}) * more - f)) < 0.01 &&
                   std::fabs(double{v(x, y)} - (l.v(x, y) + (y - double{l.cy}) * more + f)) < 0.01;
          });
        });
  };
}

const Register rows([] {
#define QOR_UNDISTORT(name, T, channels) Row(#name).run(resampled<T>(name, channels, -0.2F));
#include "../../src/geometry/undistort.def"
#undef QOR_UNDISTORT
  Row("qoriUndistortRadial_8u_C1R/without a buffer").run(resampled<Qor8u>(qoriUndistortRadial_8u_C1R, 1, -0.2F, false));
  Row("qoriUndistortRadial_8u_C1R/all outside").run(resampled<Qor8u>(qoriUndistortRadial_8u_C1R, 1, 3e6F));
  Row("qoriCreateMapCameraUndistort_32f_C1R").run(mapped(0));
  Row("qoriCreateMapCameraUndistort_32f_C1R/tangential").run(mapped(0.01F));
});

}  // namespace
}  // namespace qor::bench
