// Rows of the internal primitives.
#include <algorithm>
#include <cmath>

#include "frame/border.h"
#include "frame/image_ops.h"
#include "frame/vector_ops.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr int border = 8;

const Register images([] {
  Row("qoriCopy_8u_C1R").run([](Setup& s) {
    const auto a = s.random<Qor8u>(), d = s.blank<Qor8u>();
    return checked([=, roi = s.roi()] { return qoriCopy_8u_C1R(a.p, a.step, d.p, d.step, roi); },
                   [=] { return d.all([=](int x, int y) { return d(x, y) == a(x, y); }); });
  });
  Row("qoriSet_8u_C1R").run([](Setup& s) {
    const auto d = s.blank<Qor8u>();
    return checked([=, roi = s.roi()] { return qoriSet_8u_C1R(77, d.p, d.step, roi); },
                   [=] { return d.all([=](int x, int y) { return d(x, y) == 77; }); });
  });
  Row("qoriConvert_16u32f_C1R").run([](Setup& s) {
    const auto a = s.random<Qor16u>();
    const auto d = s.blank<Qor32f>();
    return checked([=, roi = s.roi()] { return qoriConvert_16u32f_C1R(a.p, a.step, d.p, d.step, roi); },
                   [=] { return d.all([=](int x, int y) { return d(x, y) == static_cast<Qor32f>(a(x, y)); }); });
  });
  Row("qoriSub_8u_C1RSfs").run([](Setup& s) {
    const auto a = s.random<Qor8u>(), b = s.random<Qor8u>(), d = s.blank<Qor8u>();
    return checked([=, roi = s.roi()] { return qoriSub_8u_C1RSfs(a.p, a.step, b.p, b.step, d.p, d.step, roi, 0); },
                   [=] { return d.all([=](int x, int y) { return d(x, y) == std::max(b(x, y) - a(x, y), 0); }); });
  });
  Row("qoriThreshold_Val_8u_C1R").run([](Setup& s) {
    const auto a = s.random<Qor8u>(), d = s.blank<Qor8u>();
    return checked(
        [=, roi = s.roi()] { return qoriThreshold_Val_8u_C1R(a.p, a.step, d.p, d.step, roi, 128, 255, qorCmpGreater); },
        [=] { return d.all([=](int x, int y) { return d(x, y) == (a(x, y) > 128 ? 255 : a(x, y)); }); });
  });
});

// The destination is the row's image; the source lies inside it.
template <class Operation>
auto around(Operation operation) {
  return [=](Setup& s) {
    const QoriSize outer = s.roi(), inner{outer.width - 2 * border, outer.height - 2 * border};
    const auto a = s.random<Qor8u>({.size = inner}), d = s.blank<Qor8u>();
    return checked([=] { return operation(a, inner, d, outer); },
                   [=] {
                     return d.all([=](int x, int y) {
                       const int sx = x - border, sy = y - border;
                       const bool inside = sx >= 0 && sy >= 0 && sx < inner.width && sy < inner.height;
                       return !inside || d(x, y) == a(sx, sy);
                     });
                   });
  };
}

const Register borders([] {
  Row("qoriCopyConstBorder_8u_C1R").run(around([](auto a, QoriSize inner, auto d, QoriSize outer) {
    return qoriCopyConstBorder_8u_C1R(a.p, a.step, inner, d.p, d.step, outer, border, border, 9);
  }));
  Row("qoriCopyReplicateBorder_8u_C1R").run(around([](auto a, QoriSize inner, auto d, QoriSize outer) {
    return qoriCopyReplicateBorder_8u_C1R(a.p, a.step, inner, d.p, d.step, outer, border, border);
  }));
});

bool near(double got, double want) { return std::fabs(got - want) <= 1e-6 * std::fabs(want); }

const Register vectors([] {
  Row("qorsSqrt_32f").run([](Setup& s) {
    const Qor32f* a = s.randomVector<Qor32f>(0, 0, 1e6);
    Qor32f* d = s.blankVector<Qor32f>();
    return checked([=, len = s.len()] { return qorsSqrt_32f(a, d, len); },
                   [=, len = s.len()] {
                     return std::equal(a, a + len, d, [](Qor32f v, Qor32f root) { return root == std::sqrt(v); });
                   });
  });
  Row("qorsMagnitude_32f").run([](Setup& s) {
    const Qor32f *x = s.randomVector<Qor32f>(), *y = s.randomVector<Qor32f>();
    Qor32f* d = s.blankVector<Qor32f>();
    return checked([=, len = s.len()] { return qorsMagnitude_32f(x, y, d, len); },
                   [=, len = s.len()] {
                     for (int i = 0; i < len; ++i)
                       if (!near(d[i], std::hypot(double{x[i]}, double{y[i]}))) return false;
                     return true;
                   });
  });
  Row("qorsAtan2_32f_A21").run([](Setup& s) {
    const Qor32f *x = s.randomVector<Qor32f>(), *y = s.randomVector<Qor32f>();
    Qor32f* d = s.blankVector<Qor32f>();
    return checked([=, len = s.len()] { return qorsAtan2_32f_A21(y, x, d, len); },
                   [=, len = s.len()] {
                     for (int i = 0; i < len; ++i)
                       if (!near(d[i], std::atan2(double{y[i]}, double{x[i]}))) return false;
                     return true;
                   });
  });
  constexpr QoriSize million{1000000, 1};
  Row("qorsSortAscend_64f_I")
      .sizes({million})
      .against("std::sort",
               [](Setup& s) {
                 const Qor64f* a = s.randomVector<Qor64f>();
                 Qor64f* d = s.blankVector<Qor64f>();
                 return [=, len = s.len()] {
                   std::copy(a, a + len, d);
                   std::sort(d, d + len);
                 };
               })
      .run([](Setup& s) {
        const Qor64f* a = s.randomVector<Qor64f>();
        Qor64f* d = s.blankVector<Qor64f>();
        return checked(
            [=, len = s.len()] {
              std::copy(a, a + len, d);
              return qorsSortAscend_64f_I(d, len);
            },
            [=, len = s.len()] { return std::is_sorted(d, d + len); });
      });
});

}  // namespace
}  // namespace qor::bench
