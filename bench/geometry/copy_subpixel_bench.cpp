#include <cmath>

#include "qorcv/geometry.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// Ramps, which bilinear samples follow exactly, of steps that stay within bytes for 64 pixels each way; the seams
// between them are not checked.
constexpr int tile = 64;
constexpr double ramp(double x, double y) { return 2 * x + y; }

template <class T>
Image<T> ramps(Setup& s, QoriSize size) {
  const auto image = s.blank<T>({.size = size});
  image.all([=](int x, int y) {
    image(x, y) = static_cast<T>(ramp(x % tile, y % tile));
    return true;
  });
  return image;
}
template <class T>
bool isRamp(T got, double x, double y, double factor) {
  const double i = std::fmod(x, tile), j = std::fmod(y, tile);
  if (i > tile - 1 || j > tile - 1 || x < 0 || y < 0) return true;
  return std::fabs(static_cast<double>(got) / factor - ramp(i, j)) <= (factor == 1 ? 0.51 : 0.06);
}

template <class S, class D>
auto whole(auto* operation) {
  return [=](Setup& s) {
    const auto src = ramps<S>(s, {s.roi().width + 1, s.roi().height + 1});
    const auto dst = s.blank<D>();
    return checked(
        [=, roi = s.roi()] {
          if constexpr (requires { operation(src.p, src.step, dst.p, dst.step, roi, -7, 0.25F, 0.6F); })
            return operation(src.p, src.step, dst.p, dst.step, roi, -7, 0.25F, 0.6F);
          else
            return operation(src.p, src.step, dst.p, dst.step, roi, 0.25F, 0.6F);
        },
        [=] {
          const double factor = sizeof(S) == 1 && sizeof(D) == 2 ? 128 : 1;
          return dst.all([=](int x, int y) { return isRamp(dst(x, y), x + 0.25, y + 0.6, factor); });
        });
  };
}

// As many windows as tile the region, side by side; a pixel of the row is one of theirs. Or all about the corner.
template <class S, class D, int side, bool corner = false>
auto windows(auto* operation) {
  return [=](Setup& s) {
    const QoriSize size{s.roi().width + 1, s.roi().height + 1};
    const auto src = ramps<S>(s, size);
    const auto dst = s.blank<D>();
    auto* const ends = s.blankVector<QoriPoint>(2);
    return checked(
        [=, roi = s.roi()] {
          QorStatus status = qorStsNoErr;
          for (int y = 0; y + side <= roi.height; y += side) {
            for (int x = 0; x + side <= roi.width; x += side) {
              const QoriPoint_32f centre{corner ? 0.25F : static_cast<Qor32f>(x + side / 2) + 0.25F,
                                         corner ? 0.6F : static_cast<Qor32f>(y + side / 2) + 0.6F};
              D* const to = &dst(x, y);
              if constexpr (requires {
                              operation(src.p, src.step, size, to, dst.step, size, centre, ends, ends + 1, -7);
                            })
                status |= operation(src.p, src.step, size, to, dst.step, {side, side}, centre, ends, ends + 1, -7);
              else
                status |= operation(src.p, src.step, size, to, dst.step, {side, side}, centre, ends, ends + 1);
            }
          }
          return status;
        },
        [=, roi = s.roi()] {
          const double factor = sizeof(S) == 1 && sizeof(D) == 2 ? 128 : 1;
          return dst.all([=](int x, int y) {
            if (x >= roi.width / side * side || y >= roi.height / side * side) return true;
            const auto at = [](int i) { return corner ? i % side - side / 2 : i; };
            return isRamp(dst(x, y), at(x) + 0.25, at(y) + 0.6, factor);
          });
        });
  };
}

const Register rows([] {
#define QOR_COPY_SUBPIX(name, S, D) Row(#name).run(whole<S, D>(name));
#define QOR_COPY_SUBPIX_INTERSECT(name, S, D) Row(#name "/21x21").run(windows<S, D, 21>(name));
#include "../../src/geometry/copy_subpixel.def"
  Row("qoriCopySubpix_8u16u_C1R_Sfs").run(whole<Qor8u, Qor16u>(qoriCopySubpix_8u16u_C1R_Sfs));
  Row("qoriCopySubpixIntersect_8u16u_C1R_Sfs/21x21")
      .run(windows<Qor8u, Qor16u, 21>(qoriCopySubpixIntersect_8u16u_C1R_Sfs));
  Row("qoriCopySubpixIntersect_8u_C1R/9x9").run(windows<Qor8u, Qor8u, 9>(qoriCopySubpixIntersect_8u_C1R));
  Row("qoriCopySubpixIntersect_8u_C1R/21x21 about a corner")
      .run(windows<Qor8u, Qor8u, 21, true>(qoriCopySubpixIntersect_8u_C1R));
});

}  // namespace
}  // namespace qor::bench
