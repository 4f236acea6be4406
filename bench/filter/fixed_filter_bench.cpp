#include <string_view>

#include "qorcv/filter.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// A call of a member with a mask, on an image whose border is replicated.
template <class S, class D, class Operation, class Query, class... Divisor>
auto masked(Operation* operation, Query* query, int maskSize, Divisor... divisor) {
  return [=](Setup& s) {
    const auto src = s.random<S>();
    const auto dst = s.blank<D>();
    int bytes = 0;
    query(s.roi(), maskSize, &bytes);
    Qor8u* const buffer = s.scratch(bytes);
    return [=, roi = s.roi()] {
      return operation(src.p, src.step, dst.p, dst.step, roi, maskSize, qorBorderRepl, S{0}, divisor..., buffer);
    };
  };
}

template <class S, class D, class Operation, class Query, class... Divisor>
auto unmasked(Operation* operation, Query* query, Divisor... divisor) {
  return [=](Setup& s) {
    const auto src = s.random<S>();
    const auto dst = s.blank<D>();
    int bytes = 0;
    query(s.roi(), &bytes);
    Qor8u* const buffer = s.scratch(bytes);
    return [=, roi = s.roi()] {
      return operation(src.p, src.step, dst.p, dst.step, roi, qorBorderRepl, S{0}, divisor..., buffer);
    };
  };
}

// Two rows a member: 3x3 and 5x5.
template <class S, class D, class Operation, class Query, class... Divisor>
void masks(const std::string& name, Operation* operation, Query* query, Divisor... divisor) {
  Row(name + ":3x3").threads(2, ultraHd).run(masked<S, D>(operation, query, qorMskSize3x3, divisor...));
  Row(name + ":5x5").run(masked<S, D>(operation, query, qorMskSize5x5, divisor...));
}

// A divisor that is a power of two takes exact integers, another one floats.
constexpr bool isLaplacian(std::string_view filter) { return filter == "Laplacian"; }

const Register table([] {
#define QOR_FIXED_8U16S(name, query, F, extra) masks<Qor8u, Qor16s>(#name, name, query);
#define QOR_FIXED_8U8S(name, query, F, extra) masks<Qor8u, Qor8s>(#name, name, query, isLaplacian(#F) ? 16 : 8);
#define QOR_FIXED_32F(name, query, F, extra) masks<Qor32f, Qor32f>(#name, name, query);
#define QOR_SCHARR_8U16S(name, query, F, extra) Row(#name).run(unmasked<Qor8u, Qor16s>(name, query));
#define QOR_SCHARR_8U8S(name, query, F, extra) Row(#name).run(unmasked<Qor8u, Qor8s>(name, query, 16));
#define QOR_SCHARR_32F(name, query, F, extra) Row(#name).run(unmasked<Qor32f, Qor32f>(name, query));
#include "../../src/filter/fixed_filter.def"
  masks<Qor8u, Qor8s>("qoriFilterSobelVertBorder_8u8s_C1R:by12", qoriFilterSobelVertBorder_8u8s_C1R,
                      qoriFilterSobelVertGetBufferSize_8u8s_C1R, 12);
});

const Register lowpass([] {
  masks<Qor8u, Qor8u>("qoriFilterLowpassBorder_8u_C1R", qoriFilterLowpassBorder_8u_C1R,
                      qoriFilterLowpassGetBufferSize_8u_C1R);
  masks<Qor32f, Qor32f>("qoriFilterLowpassBorder_32f_C1R", qoriFilterLowpassBorder_32f_C1R,
                        qoriFilterLowpassGetBufferSize_32f_C1R);
});

}  // namespace
}  // namespace qor::bench
