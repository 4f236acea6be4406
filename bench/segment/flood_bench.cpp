#include "qorcv/segment.h"
#include "segment/pictures.h"

namespace qor::bench {
namespace {

// A fill of the whole image, which has one value, with another one in turns.
template <class T, class Fill>
auto large(Fill fill, int channels, bool gradient) {
  return [=](Setup& s) {
    const auto image = s.blank<T>({.channels = channels});
    const QoriSize roi = s.roi();
    int size = 0;
    (gradient ? qoriFloodFillGetSize_Grad : qoriFloodFillGetSize)(roi, &size);
    const QoriPoint seed{roi.width / 2, roi.height / 2};
    return checked(
        [=, scratch = s.scratch(size), region = QoriConnectedComp{}, value = T(0)]() mutable {
          value = value == T(1) ? T(2) : T(1);
          return fill(image.p, image.step, roi, seed, value, &region, scratch);
        },
        [=] { return image.all([=](int x, int y) { return image(x, y) == T(1); }); });
  };
}

// A fill of most of a picture, in short runs, within a band or along the gradient.
template <class T, class Operation>
auto natural(Operation* operation, int noise, T delta) {
  return [=](Setup& s) {
    const auto picture = noisyHills<T>(s, noise), image = s.blank<T>();
    const QoriSize roi = s.roi();
    int size = 0;
    qoriFloodFillGetSize_Grad(roi, &size);
    const QoriPoint seed{roi.width / 2, roi.height / 2};
    return onCopies(picture, image, [=, scratch = s.scratch(size), region = QoriConnectedComp{}]() mutable {
      return operation(image.p, image.step, roi, seed, T(255), delta, delta, &region, scratch);
    });
  };
}

#define QOR_LARGE(name, T)                                                                               \
  Row(#name "/large")                                                                                    \
      .run(large<T>([](T* p, int step, QoriSize roi, QoriPoint seed, T value, QoriConnectedComp* region, \
                       Qor8u* scratch) { return name(p, step, roi, seed, value, region, scratch); },     \
                    1, false));
#define QOR_LARGE_C3(name, T)                                                                                    \
  Row(#name "/large")                                                                                            \
      .run(large<T>(                                                                                             \
          [](T* p, int step, QoriSize roi, QoriPoint seed, T value, QoriConnectedComp* region, Qor8u* scratch) { \
            const T values[] = {value, value, value};                                                            \
            return name(p, step, roi, seed, values, region, scratch);                                            \
          },                                                                                                     \
          3, false));
#define QOR_LARGE_DELTAS(name, T, gradient)                                                                      \
  Row(#name "/large")                                                                                            \
      .run(large<T>([](T* p, int step, QoriSize roi, QoriPoint seed, T value, QoriConnectedComp* region,         \
                       Qor8u* scratch) { return name(p, step, roi, seed, value, T(0), T(0), region, scratch); }, \
                    1, gradient));

const Register flood([] {
  QOR_LARGE(qoriFloodFill_4Con_8u_C1IR, Qor8u)
  QOR_LARGE(qoriFloodFill_8Con_8u_C1IR, Qor8u)
  QOR_LARGE(qoriFloodFill_4Con_16u_C1IR, Qor16u)
  QOR_LARGE(qoriFloodFill_4Con_32f_C1IR, Qor32f)
  QOR_LARGE_C3(qoriFloodFill_4Con_8u_C3IR, Qor8u)
  QOR_LARGE_C3(qoriFloodFill_4Con_16u_C3IR, Qor16u)
  QOR_LARGE_C3(qoriFloodFill_4Con_32f_C3IR, Qor32f)
  QOR_LARGE_DELTAS(qoriFloodFill_Range4Con_8u_C1IR, Qor8u, false)
  QOR_LARGE_DELTAS(qoriFloodFill_Grad4Con_8u_C1IR, Qor8u, true)
  QOR_LARGE_DELTAS(qoriFloodFill_Grad8Con_8u_C1IR, Qor8u, true)
  QOR_LARGE_DELTAS(qoriFloodFill_Grad4Con_16u_C1IR, Qor16u, true)
  QOR_LARGE_DELTAS(qoriFloodFill_Grad4Con_32f_C1IR, Qor32f, true)
  Row("qoriFloodFill_Range4Con_8u_C1IR/natural").run(natural<Qor8u>(qoriFloodFill_Range4Con_8u_C1IR, 24, 40));
  Row("qoriFloodFill_Range4Con_32f_C1IR/natural").run(natural<Qor32f>(qoriFloodFill_Range4Con_32f_C1IR, 24, 40));
  Row("qoriFloodFill_Grad4Con_8u_C1IR/natural").run(natural<Qor8u>(qoriFloodFill_Grad4Con_8u_C1IR, 8, 5));
});

}  // namespace
}  // namespace qor::bench
