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
void masks(const std::string& name, double budget3, double budget5, Operation* operation, Query* query,
           Divisor... divisor) {
  Row(name + ":3x3")
      .budget(budget3)
      .threads(2, ultraHd, 1.6)
      .run(masked<S, D>(operation, query, qorMskSize3x3, divisor...));
  Row(name + ":5x5").budget(budget5).run(masked<S, D>(operation, query, qorMskSize5x5, divisor...));
}

const Register to16s([] {
  masks<Qor8u, Qor16s>("qoriFilterSobelNegVertBorder_8u16s_C1R", 2.8, 6, qoriFilterSobelNegVertBorder_8u16s_C1R,
                       qoriFilterSobelNegVertGetBufferSize_8u16s_C1R);
  masks<Qor8u, Qor16s>("qoriFilterSobelCrossBorder_8u16s_C1R", 2.8, 6, qoriFilterSobelCrossBorder_8u16s_C1R,
                       qoriFilterSobelCrossGetBufferSize_8u16s_C1R);
  masks<Qor8u, Qor16s>("qoriFilterSobelHorizSecondBorder_8u16s_C1R", 2.8, 6, qoriFilterSobelHorizSecondBorder_8u16s_C1R,
                       qoriFilterSobelHorizSecondGetBufferSize_8u16s_C1R);
  masks<Qor8u, Qor16s>("qoriFilterLaplacianBorder_8u16s_C1R", 3.2, 12, qoriFilterLaplacianBorder_8u16s_C1R,
                       qoriFilterLaplacianGetBufferSize_8u16s_C1R);
  Row("qoriFilterScharrHorizBorder_8u16s_C1R")
      .budget(2.8)
      .run(
          unmasked<Qor8u, Qor16s>(qoriFilterScharrHorizBorder_8u16s_C1R, qoriFilterScharrHorizGetBufferSize_8u16s_C1R));
  Row("qoriFilterScharrVertBorder_8u16s_C1R")
      .budget(2.8)
      .run(unmasked<Qor8u, Qor16s>(qoriFilterScharrVertBorder_8u16s_C1R, qoriFilterScharrVertGetBufferSize_8u16s_C1R));
});

// A divisor that is a power of two takes exact integers, another one floats.
const Register to8s([] {
  masks<Qor8u, Qor8s>("qoriFilterSobelHorizBorder_8u8s_C1R", 4.5, 8, qoriFilterSobelHorizBorder_8u8s_C1R,
                      qoriFilterSobelHorizGetBufferSize_8u8s_C1R, 8);
  masks<Qor8u, Qor8s>("qoriFilterSobelVertBorder_8u8s_C1R", 4.5, 8, qoriFilterSobelVertBorder_8u8s_C1R,
                      qoriFilterSobelVertGetBufferSize_8u8s_C1R, 8);
  masks<Qor8u, Qor8s>("qoriFilterSobelVertBorder_8u8s_C1R:by12", 4.5, 8, qoriFilterSobelVertBorder_8u8s_C1R,
                      qoriFilterSobelVertGetBufferSize_8u8s_C1R, 12);
  masks<Qor8u, Qor8s>("qoriFilterLaplacianBorder_8u8s_C1R", 4.5, 12, qoriFilterLaplacianBorder_8u8s_C1R,
                      qoriFilterLaplacianGetBufferSize_8u8s_C1R, 16);
});

const Register to32f([] {
  masks<Qor32f, Qor32f>("qoriFilterSobelNegVertBorder_32f_C1R", 4.6, 6.5, qoriFilterSobelNegVertBorder_32f_C1R,
                        qoriFilterSobelNegVertGetBufferSize_32f_C1R);
  masks<Qor32f, Qor32f>("qoriFilterSobelCrossBorder_32f_C1R", 4.6, 6.5, qoriFilterSobelCrossBorder_32f_C1R,
                        qoriFilterSobelCrossGetBufferSize_32f_C1R);
  masks<Qor32f, Qor32f>("qoriFilterLaplacianBorder_32f_C1R", 4.6, 12, qoriFilterLaplacianBorder_32f_C1R,
                        qoriFilterLaplacianGetBufferSize_32f_C1R);
  Row("qoriFilterScharrHorizBorder_32f_C1R")
      .budget(4.6)
      .run(unmasked<Qor32f, Qor32f>(qoriFilterScharrHorizBorder_32f_C1R, qoriFilterScharrHorizGetBufferSize_32f_C1R));
});

const Register lowpass([] {
  masks<Qor8u, Qor8u>("qoriFilterLowpassBorder_8u_C1R", 2.2, 3.5, qoriFilterLowpassBorder_8u_C1R,
                      qoriFilterLowpassGetBufferSize_8u_C1R);
  masks<Qor32f, Qor32f>("qoriFilterLowpassBorder_32f_C1R", 6, 8, qoriFilterLowpassBorder_32f_C1R,
                        qoriFilterLowpassGetBufferSize_32f_C1R);
});

}  // namespace
}  // namespace qor::bench
