// Rows of the internal filters: box mean, gradient vectors, Sobel derivatives.
#include <cmath>

#include "filter/box_filter.h"
#include "filter/gradient_vector.h"
#include "filter/sobel.h"
#include "support/row.h"

namespace qor::bench {
namespace {

const Register box([] {
  for (const int side : {3, 15, 63}) {
    Row row(std::string("qoriFilterBoxBorder_32f_C1R/") + (side == 3 ? "3x3" : side == 15 ? "15x15" : "63x63"));
    row.threads(2, ultraHd).run([side](Setup& s) {
      const auto a = s.random<Qor32f>({.margin = side / 2}), d = s.blank<Qor32f>();
      int bytes = 0;
      qoriFilterBoxBorderGetBufferSize(s.roi(), {side, side}, qor32f, 1, &bytes);
      Qor8u* const scratch = s.scratch(bytes);
      return checked(
          [=, roi = s.roi()] {
            return qoriFilterBoxBorder_32f_C1R(a.p, a.step, d.p, d.step, roi, {side, side}, qorBorderInMem, nullptr,
                                               scratch);
          },
          [=] {
            double mean = 0;
            for (int y = -side / 2; y <= side / 2; ++y)
              for (int x = -side / 2; x <= side / 2; ++x) mean += a(40 + x, 30 + y) / (1.0 * side * side);
            return std::fabs(d(40, 30) - mean) < 0.01;
          });
    });
  }
});

template <class S, class D, class Operation>
auto vector(Operation* operation, int mask, bool components, bool polar) {
  return [=](Setup& s) {
    const auto a = s.random<S>();
    const auto x = s.blank<D>(), y = s.blank<D>(), m = s.blank<D>();
    const auto angle = s.blank<Qor32f>();
    int bytes = 0;
    qoriGradientVectorGetBufferSize(s.roi(), mask, sizeof(S) == 1 ? qor8u : qor32f, 1, &bytes);
    Qor8u* const scratch = s.scratch(bytes);
    return [=, roi = s.roi()] {
      return operation(a.p, a.step, components ? x.p : nullptr, x.step, components ? y.p : nullptr, y.step,
                       polar ? m.p : nullptr, m.step, polar ? angle.p : nullptr, angle.step, roi, mask, qorNormL2,
                       qorBorderRepl, S{}, scratch);
    };
  };
}

const Register vectors([] {
  const auto sobelBytes = qoriGradientVectorSobel_8u16s_C1R;
  const auto sobelFloats = qoriGradientVectorSobel_32f_C1R;
  Row("qoriGradientVectorSobel_8u16s_C1R/xy").run(vector<Qor8u, Qor16s>(sobelBytes, 33, true, false));
  Row("qoriGradientVectorSobel_8u16s_C1R/all").run(vector<Qor8u, Qor16s>(sobelBytes, 33, true, true));
  Row("qoriGradientVectorSobel_8u16s_C1R/polar").run(vector<Qor8u, Qor16s>(sobelBytes, 33, false, true));
  Row("qoriGradientVectorSobel_8u16s_C1R/5x5xy").run(vector<Qor8u, Qor16s>(sobelBytes, 55, true, false));
  Row("qoriGradientVectorSobel_8u16s_C1R/5x5all").run(vector<Qor8u, Qor16s>(sobelBytes, 55, true, true));
  Row("qoriGradientVectorScharr_8u16s_C1R/xy")
      .run(vector<Qor8u, Qor16s>(qoriGradientVectorScharr_8u16s_C1R, 33, true, false));
  Row("qoriGradientVectorSobel_32f_C1R/xy").run(vector<Qor32f, Qor32f>(sobelFloats, 33, true, false));
  Row("qoriGradientVectorSobel_32f_C1R/5x5xy").run(vector<Qor32f, Qor32f>(sobelFloats, 55, true, false));
  Row("qoriGradientVectorSobel_32f_C1R/all").run(vector<Qor32f, Qor32f>(sobelFloats, 33, true, true));
});

const Register derivatives([] {
  for (const int mask : {33, 55}) {
    Row(std::string("qoriFilterSobelVertBorder_8u16s_C1R/") + (mask == 33 ? "3x3" : "5x5")).run([=](Setup& s) {
      const auto a = s.random<Qor8u>();
      const auto d = s.blank<Qor16s>();
      int bytes = 0;
      qoriFilterSobelVertGetBufferSize_8u16s_C1R(s.roi(), mask, &bytes);
      Qor8u* const scratch = s.scratch(bytes);
      return [=, roi = s.roi()] {
        return qoriFilterSobelVertBorder_8u16s_C1R(a.p, a.step, d.p, d.step, roi, mask, qorBorderRepl, 0, scratch);
      };
    });
  }
});

}  // namespace
}  // namespace qor::bench
