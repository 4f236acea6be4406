#include "qorcv/segment.h"
#include "segment/pictures.h"

namespace qor::bench {
namespace {

template <class T, class Operation>
auto linesOf(Operation* operation, QoriNorm norm) {
  return [=](Setup& s) {
    const auto cells = s.blank<T>(), image = s.blank<T>();
    fillCells(cells);
    return checked(onCopies(cells, image, [=, roi = s.roi()] { return operation(image.p, image.step, roi, 0, norm); }),
                   // A line between all that differs along a row.
                   [=] {
                     return image.all([=](int x, int y) {
                       return x == 0 || image(x, y) * image(x - 1, y) == 0 || image(x, y) == image(x - 1, y);
                     });
                   });
  };
}

const Register boundaries([] {
  Row("qoriBoundSegments_8u_C1IR/4").run(linesOf<Qor8u>(qoriBoundSegments_8u_C1IR, qoriNormL1));
  Row("qoriBoundSegments_8u_C1IR/8").run(linesOf<Qor8u>(qoriBoundSegments_8u_C1IR, qoriNormInf));
  Row("qoriBoundSegments_16u_C1IR/4").run(linesOf<Qor16u>(qoriBoundSegments_16u_C1IR, qoriNormL1));
  Row("qoriBoundSegments_16u_C1IR/8").run(linesOf<Qor16u>(qoriBoundSegments_16u_C1IR, qoriNormInf));
});

}  // namespace
}  // namespace qor::bench
