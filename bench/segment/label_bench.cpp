#include "qorcv/segment.h"
#include "segment/pictures.h"

namespace qor::bench {
namespace {

// What is marked: hills, or every second pixel.
enum class Markers { blobs, checkerboard };

template <class T>
Image<T> markersOf(Setup& s, Markers kind) {
  const auto image = noisyHills<T>(s, 6);
  image.all([&](int x, int y) {
    image(x, y) = (kind == Markers::blobs ? image(x, y) > 130 : (x + y) % 2 == 0) ? 1 : 0;
    return true;
  });
  return image;
}

template <class T, class Operation>
auto inPlace(Operation* operation, Markers kind, QoriNorm norm) {
  return [=](Setup& s) {
    const auto markers = markersOf<T>(s, kind), image = s.blank<T>();
    int size = 0;
    qoriLabelMarkersGetBufferSize_8u_C1R(s.roi(), &size);
    Qor8u* const scratch = s.scratch(size);
    return checked(onCopies(markers, image,
                            [=, roi = s.roi(), number = 0]() mutable {
                              return operation(image.p, image.step, roi, 1, 254, norm, &number, scratch);
                            }),
                   [=] { return image.all([=](int x, int y) { return (image(x, y) != 0) == (markers(x, y) != 0); }); });
  };
}

const Register labels([] {
  const auto rows = [](const std::string& name, Markers kind, QoriNorm norm) {
    Row("qoriLabelMarkers_8u_C1IR/" + name).run(inPlace<Qor8u>(qoriLabelMarkers_8u_C1IR, kind, norm));
    Row("qoriLabelMarkers_16u_C1IR/" + name).run(inPlace<Qor16u>(qoriLabelMarkers_16u_C1IR, kind, norm));
    Row("qoriLabelMarkers_8u32s_C1R/" + name).run([=](Setup& s) {
      const auto markers = markersOf<Qor8u>(s, kind);
      const auto d = s.blank<Qor32s>();
      int size = 0;
      qoriLabelMarkersGetBufferSize_8u32s_C1R(s.roi(), &size);
      return [=, roi = s.roi(), scratch = s.scratch(size), number = 0]() mutable {
        return qoriLabelMarkers_8u32s_C1R(markers.p, markers.step, d.p, d.step, roi, 1, 1 << 30, norm, &number,
                                          scratch);
      };
    });
  };
  rows("blobs", Markers::blobs, qoriNormL1);
  rows("blobs,8", Markers::blobs, qoriNormInf);
  rows("checkerboard", Markers::checkerboard, qoriNormL1);
  rows("checkerboard,8", Markers::checkerboard, qoriNormInf);
});

}  // namespace
}  // namespace qor::bench
