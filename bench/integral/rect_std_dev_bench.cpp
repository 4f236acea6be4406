#include <cmath>
#include <cstdint>
#include <cstring>

#include "qorcv/integral.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr int side = 8;

// Tables as an image of some texture has them, upright or tilted. The gray levels are few, so that the sums of 8
// million pixels stay whole numbers below 2^24 and the check may count on exact differences in 32-bit float.
template <class T, class Q>
struct Tables {
  Image<T> sum;
  Image<Q> sqr;
};

template <class T, class Q>
Tables<T, Q> tables(Setup& s, bool tilted) {
  const QoriSize roi{s.roi().width + 2 * side, s.roi().height + 2 * side};
  const int more = tilted ? 2 : 1;
  const QoriSize size{roi.width + more, roi.height + more};
  const auto src = s.random<Qor8u>({.size = roi, .low = 0, .high = 3});
  const Tables<T, Q> t{s.blank<T>({.size = size}), s.blank<Q>({.size = size})};
  const auto sum = s.blank<Qor32s>({.size = size}), sqr = s.blank<Qor32s>({.size = size});
  (tilted ? qoriTiltedSqrIntegral_8u32s_C1R : qoriSqrIntegral_8u32s_C1R)(src.p, src.step, sum.p, sum.step, sqr.p,
                                                                         sqr.step, roi, 0, 0);
  t.sum.all([&](int x, int y) {
    t.sum(x, y) = static_cast<T>(sum(x, y));
    t.sqr(x, y) = static_cast<Q>(sqr(x, y));
    return true;
  });
  return t;
}

// The pointers stand far enough inside the tables for the tilted corners.
template <class T>
T* corner(const Image<T>& t, bool tilted) {
  return &t(tilted ? side : 0, 0);
}

template <class T>
double box(const Image<T>& t, int x, int y, bool tilted) {
  if (!tilted) {
    return static_cast<double>(t(x + side, y + side)) - static_cast<double>(t(x + side, y)) +
           static_cast<double>(t(x, y)) - static_cast<double>(t(x, y + side));
  }
  x += side;
  return static_cast<double>(t(x, y + 2 * side)) - static_cast<double>(t(x - side, y + side)) +
         static_cast<double>(t(x, y)) - static_cast<double>(t(x + side, y + side));
}

template <class T, class Q, class D, class Operation, class... Scale>
auto deviation(Operation* operation, bool tilted, Scale... scale) {
  return [=](Setup& s) {
    const Tables<T, Q> t = tables<T, Q>(s, tilted);
    const auto d = s.blank<D>();
    const QoriRect rect{0, 0, side, side};
    return checked(
        [=, roi = s.roi()] {
          return operation(corner(t.sum, tilted), t.sum.step, corner(t.sqr, tilted), t.sqr.step, d.p, d.step, roi, rect,
                           scale...);
        },
        [=] {
          const double n = side * side * (tilted ? 2 : 1);
          return d.all([=](int x, int y) {
            const double mean = box(t.sum, x, y, tilted) / n;
            const double want = std::sqrt(std::fmax(box(t.sqr, x, y, tilted) / n - mean * mean, 0));
            // A 32-bit float, or the nearest integer: half a unit and its rounding.
            return std::fabs(static_cast<double>(d(x, y)) - want) <= (std::is_integral_v<D> ? 0.5001 : 1e-4);
          });
        });
  };
}

// The least that any way moves: both tables read once, the destination written once.
template <class T, class Q, class D>
auto traffic(Setup& s) {
  const auto sum = s.random<T>({.low = 0, .high = 7});
  const auto sqr = s.random<Q>({.low = 0, .high = 7});
  const auto d = s.blank<D>();
  Qor64f* const row = s.blankVector<Qor64f>(s.roi().width);
  return [=, roi = s.roi()] {
    const auto width = static_cast<size_t>(roi.width);
    for (int y = 0; y < roi.height; ++y) {
      std::memcpy(row, &sqr(0, y), width * sizeof(Q));
      std::memcpy(row, &sum(0, y), width * sizeof(T));
      std::memcpy(&d(0, y), row, width * sizeof(D));
    }
    return qorStsNoErr;
  };
}

const char* const trafficName = "moving the bytes of tables and destination";

const Register deviations([] {
  Row("qoriRectStdDev_32s_C1RSfs")
      .against(trafficName, traffic<Qor32s, Qor32s, Qor32s>)
      .run(deviation<Qor32s, Qor32s, Qor32s>(qoriRectStdDev_32s_C1RSfs, false, 0));
  Row("qoriRectStdDev_32s32f_C1R")
      .against(trafficName, traffic<Qor32s, Qor64f, Qor32f>)
      .run(deviation<Qor32s, Qor64f, Qor32f>(qoriRectStdDev_32s32f_C1R, false));
  Row("qoriRectStdDev_32f_C1R")
      .threads(2, ultraHd)
      .against(trafficName, traffic<Qor32f, Qor64f, Qor32f>)
      .run(deviation<Qor32f, Qor64f, Qor32f>(qoriRectStdDev_32f_C1R, false));
  Row("qoriTiltedRectStdDev_32s_C1RSfs")
      .against(trafficName, traffic<Qor32s, Qor32s, Qor32s>)
      .run(deviation<Qor32s, Qor32s, Qor32s>(qoriTiltedRectStdDev_32s_C1RSfs, true, 0));
  Row("qoriTiltedRectStdDev_32s32f_C1R")
      .against(trafficName, traffic<Qor32s, Qor64f, Qor32f>)
      .run(deviation<Qor32s, Qor64f, Qor32f>(qoriTiltedRectStdDev_32s32f_C1R, true));
  Row("qoriTiltedRectStdDev_32f_C1R")
      .against(trafficName, traffic<Qor32f, Qor64f, Qor32f>)
      .run(deviation<Qor32f, Qor64f, Qor32f>(qoriTiltedRectStdDev_32f_C1R, true));
});

}  // namespace
}  // namespace qor::bench
