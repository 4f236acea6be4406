#include "qorcv/geometry.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// As many lines as the region is high, from the left edge to the right, each falling by another slope, so that pixels
// of the row are those of the lines. Samples tell their column.
template <class T>
auto lines(auto* operation, int channels) {
  return [=](Setup& s) {
    const auto src = s.blank<T>({.channels = channels}), dst = s.blank<T>({.channels = channels});
    const auto column = [=](int x) { return static_cast<T>(x / channels % 200); };
    src.all([=](int x, int y) {
      src(x, y) = column(x);
      return true;
    });
    return checked(
        [=, roi = s.roi()] {
          QorStatus status = qorStsNoErr;
          const int fall = roi.height < roi.width ? roi.height : roi.width;
          for (int y = 0; y < roi.height; ++y)
            status |= operation(src.p, src.step, roi, &dst(0, y), {0, 0}, {roi.width - 1, y % fall});
          return status;
        },
        [=] { return dst.all([=](int x, int y) { return dst(x, y) == column(x); }); });
  };
}

const Register rows([] {
#define QOR_SAMPLE_LINE(name, T, channels) Row(#name).run(lines<T>(name, channels));
#include "../../src/geometry/sample_line.def"
});

}  // namespace
}  // namespace qor::bench
