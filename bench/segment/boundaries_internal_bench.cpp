#include "segment/boundaries.h"
#include "segment/pictures.h"

namespace qor::bench {
namespace {

const Register fromCosts([] {
  for (const QoriNorm norm : {qoriNormL1, qoriNormInf}) {
    Row(std::string("ownBoundSegments_8u_C1IR/") + (norm == qoriNormL1 ? "4" : "8")).run([=](Setup& s) {
      const auto cells = s.blank<Qor8u>(), image = s.blank<Qor8u>();
      const auto cost = s.random<Qor32s>({.low = 0, .high = 1000});
      fillCells(cells);
      return onCopies(cells, image, [=, roi = s.roi()] {
        ownBoundSegments(image.p, image.step, cost.p, cost.step, roi, Qor8u{255}, norm);
        return qorStsNoErr;
      });
    });
  }
});

}  // namespace
}  // namespace qor::bench
