#include "qorcv/segment.h"
#include "segment/pictures.h"

namespace qor::bench {
namespace {

// Disparities in sixteenths: planes with noise of one pixel, and in every 32nd pixel anything.
template <class T, class Operation>
auto cleaned(Operation* operation) {
  return [=](Setup& s) {
    const auto disparity = s.blank<T>(), image = s.blank<T>();
    const auto noise = s.random<Qor8u>();
    fillCells(disparity);
    disparity.all([&](int x, int y) {
      const int plane = static_cast<int>(disparity(x, y)) % 8 * 24 + 20;
      disparity(x, y) = static_cast<T>(noise(x, y) < 8 ? noise(x, y) * 29 : plane + noise(x, y) % 16);
      return true;
    });
    int size = 0;
    qoriMarkSpecklesGetBufferSize(s.roi(), qor16s, 1, &size);
    return checked(
        onCopies(disparity, image,
                 [=, roi = s.roi(), scratch = s.scratch(size)] {
                   return operation(image.p, image.step, roi, 0, 200, 16, qoriNormL1, scratch);
                 }),
        [=] { return image.all([=](int x, int y) { return image(x, y) == 0 || image(x, y) == disparity(x, y); }); });
  };
}

const Register speckles([] {
  Row("qoriMarkSpeckles_8u_C1IR").run(cleaned<Qor8u>(qoriMarkSpeckles_8u_C1IR));
  Row("qoriMarkSpeckles_16u_C1IR").run(cleaned<Qor16u>(qoriMarkSpeckles_16u_C1IR));
  Row("qoriMarkSpeckles_16s_C1IR").run(cleaned<Qor16s>(qoriMarkSpeckles_16s_C1IR));
  Row("qoriMarkSpeckles_32f_C1IR").run(cleaned<Qor32f>(qoriMarkSpeckles_32f_C1IR));
});

}  // namespace
}  // namespace qor::bench
