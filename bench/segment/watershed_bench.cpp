#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "qorcv/segment.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// Smooth hills under a little noise.
Image<Qor8u> hills(Setup& s, int channels = 1) {
  const auto noise = s.random<Qor8u>({.channels = channels, .low = 0, .high = 8});
  const auto image = s.blank<Qor8u>({.channels = channels});
  image.all([&](int sample, int y) {
    const int x = sample / channels, shift = 40 * (sample % channels);
    const double height = 50 * std::sin((x + shift) * 0.021 + 1.3 * std::sin(y * 0.013)) + 50 * std::cos(y * 0.017);
    image(sample, y) = static_cast<Qor8u>(110 + height + noise(sample, y));
    return true;
  });
  return image;
}

// Up to 250 seeds, scattered.
template <class T>
Image<T> seeds(Setup& s) {
  const QoriSize roi = s.roi();
  const auto marker = s.blank<T>();
  const auto places = s.random<Qor32s>({.size = {250, 2}, .low = 0, .high = 1 << 20});
  for (int i = 0; i < 250; ++i) marker(places(i, 0) % roi.width, places(i, 1) % roi.height) = static_cast<T>(i + 1);
  return marker;
}

// Each call starts from a fresh copy of the seeds.
template <class T>
struct Seeded {
  Image<Qor8u> picture;
  Image<T> seeds, marker;
  QoriSize roi;
  Qor8u* scratch;

  void plant() const {
    std::memcpy(marker.p, seeds.p, static_cast<size_t>(seeds.step) * static_cast<size_t>(roi.height));
  }
  // Every pixel has a label, and apart from the frame the seeds have theirs.
  bool grown(int frame, bool lines) const {
    return marker.all([&](int x, int y) {
      if (marker(x, y) == 0) return false;
      if (x < frame || y < frame || x >= roi.width - frame || y >= roi.height - frame) return true;
      return seeds(x, y) == 0 || marker(x, y) == seeds(x, y) || lines;
    });
  }
};

template <class T, class Operation, class Query>
auto watershed(Operation* operation, Query* query, QoriNorm norm, int flag) {
  return [=](Setup& s) {
    int size = 0;
    query(s.roi(), &size);
    const Seeded<T> in{hills(s), seeds<T>(s), s.blank<T>(), s.roi(), s.scratch(size)};
    return checked(
        [=] {
          in.plant();
          return operation(in.picture.p, in.picture.step, in.marker.p, in.marker.step, in.roi, norm, flag, in.scratch);
        },
        [=] { return in.grown(0, (flag & (qorSegmentBorder4 | qorSegmentBorder8)) != 0); });
  };
}

template <class Operation>
auto gradient(Operation* operation, int channels, QoriNorm norm, int flag) {
  return [=](Setup& s) {
    int size = 0;
    qoriSegmentGradientGetBufferSize_8u_C1R(s.roi(), &size);
    const Seeded<Qor8u> in{hills(s, channels), seeds<Qor8u>(s), s.blank<Qor8u>(), s.roi(), s.scratch(size)};
    return checked(
        [=] {
          in.plant();
          return operation(in.picture.p, in.picture.step, in.marker.p, in.marker.step, in.roi, norm, flag, in.scratch);
        },
        [=] { return in.grown(1, flag != 0); });
  };
}

template <class T, class Operation, class Query>
void watershedRows(const std::string& name, Operation* operation, Query* query) {
  const auto row = [=](const char* mode, QoriNorm norm, int flag) {
    Row(name + mode).run(watershed<T>(operation, query, norm, flag));
  };
  row("/queue,4", qoriNormL1, qorSegmentQueue);
  row("/queue,8", qoriNormInf, qorSegmentQueue);
  row("/queue,8,lines", qoriNormInf, qorSegmentQueue | qorSegmentBorder8);
  row("/raster,L1", qoriNormL1, qorSegmentRaster);
  row("/raster,L1,lines", qoriNormL1, qorSegmentRaster | qorSegmentBorder8);
  row("/raster,L2", qoriNormL2, qorSegmentRaster);
  row("/raster,FM", qoriNormFM, qorSegmentRaster);
}

const Register segmentations([] {
  watershedRows<Qor8u>("qoriSegmentWatershed_8u_C1IR", qoriSegmentWatershed_8u_C1IR,
                       qoriSegmentWatershedGetBufferSize_8u_C1R);
  watershedRows<Qor16u>("qoriSegmentWatershed_8u16u_C1IR", qoriSegmentWatershed_8u16u_C1IR,
                        qoriSegmentWatershedGetBufferSize_8u16u_C1R);
  Row("qoriSegmentGradient_8u_C1IR/4").run(gradient(qoriSegmentGradient_8u_C1IR, 1, qoriNormL1, 0));
  Row("qoriSegmentGradient_8u_C1IR/8").run(gradient(qoriSegmentGradient_8u_C1IR, 1, qoriNormInf, 0));
  Row("qoriSegmentGradient_8u_C3IR/4").run(gradient(qoriSegmentGradient_8u_C3IR, 3, qoriNormL1, qorSegmentBorder4));
  Row("qoriSegmentGradient_8u_C3IR/8").run(gradient(qoriSegmentGradient_8u_C3IR, 3, qoriNormInf, qorSegmentBorder8));
});

}  // namespace
}  // namespace qor::bench
