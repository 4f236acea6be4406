#include <algorithm>
#include <cmath>

#include "qorcv/arith.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// Distance around the circle.
bool near(double degrees, double x, double y) {
  const double off = std::fabs(degrees - std::atan2(y, x) * 180 / std::acos(-1.0));
  return std::min(off, std::fabs(off - 360)) <= 0.01;
}

const Register fastArctan([] {
  Row("qoribFastArctan_32f").run([](Setup& s) {
    const Qor32f *y = s.randomVector<Qor32f>(), *x = s.randomVector<Qor32f>();
    Qor32f* d = s.blankVector<Qor32f>();
    return checked([=, len = s.len()] { return qoribFastArctan_32f(y, x, d, len); },
                   [=, len = s.len()] {
                     for (int i = 0; i < len; ++i)
                       if (!near(d[i], x[i], y[i])) return false;
                     return true;
                   });
  });
});

}  // namespace
}  // namespace qor::bench
