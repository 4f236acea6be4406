#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "qorcv/morph.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// Smooth hills under noise.
template <class T>
Image<T> noisyHills(Setup& s) {
  const auto noise = s.random<Qor8u>({.low = 0, .high = 40});
  const auto image = s.blank<T>();
  image.all([&](int x, int y) {
    const double hills = 50 * std::sin(x * 0.021 + 1.3 * std::sin(y * 0.013)) + 50 * std::cos(y * 0.017 + x * 0.009);
    image(x, y) = static_cast<T>(std::clamp(std::floor(108 + hills + noise(x, y)), 0.0, 255.0));
    return true;
  });
  return image;
}

template <class T>
bool stable(const Image<T>& mask, const Image<T>& image, QoriNorm norm) {
  return image.all([&](int x, int y) {
    T furthest = image(x, y);
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        const int nx = x + dx, ny = y + dy;
        if (nx < 0 || ny < 0 || nx >= image.samples || ny >= image.height) continue;
        if (norm == qoriNormInf || dx * dy == 0) furthest = std::max(furthest, image(nx, ny));
      }
    }
    return std::min(furthest, mask(x, y)) == image(x, y);
  });
}

enum class Marker { below, seed };

// Each call starts from a fresh copy of the marker.
template <class T, class Operation>
auto from(Marker kind, Operation* operation, QoriNorm norm) {
  return [=](Setup& s) {
    const QoriSize roi = s.roi();
    const auto mask = noisyHills<T>(s), marker = s.blank<T>(), image = s.blank<T>();
    if (kind == Marker::seed) {
      marker(roi.width / 2, roi.height / 2) = mask(roi.width / 2, roi.height / 2);
    } else {
      marker.all([&](int x, int y) {
        marker(x, y) = static_cast<T>(mask(x, y) > 20 ? mask(x, y) - 20 : 0);
        return true;
      });
    }
    int size = 0;
    qoriMorphReconstructGetBufferSize(roi, qor64f, 1, &size);
    Qor8u* const scratch = s.scratch(size);
    return checked(
        [=] {
          std::memcpy(image.p, marker.p, static_cast<size_t>(marker.step) * static_cast<size_t>(roi.height));
          return operation(mask.p, mask.step, image.p, image.step, roi, scratch, norm);
        },
        [=] { return stable(mask, image, norm); });
  };
}

template <class T, class Operation>
void rowsOf(const std::string& name, Operation* operation) {
  Row(name + "/below").threads(2, fullHd).run(from<T>(Marker::below, operation, qoriNormL1));
  Row(name + "/below,8").run(from<T>(Marker::below, operation, qoriNormInf));
  Row(name + "/seed").threads(2, fullHd).run(from<T>(Marker::seed, operation, qoriNormL1));
}

const Register reconstruct([] {
  rowsOf<Qor8u>("qoriMorphReconstructDilate_8u_C1IR", qoriMorphReconstructDilate_8u_C1IR);
  rowsOf<Qor16u>("qoriMorphReconstructDilate_16u_C1IR", qoriMorphReconstructDilate_16u_C1IR);
  rowsOf<Qor32f>("qoriMorphReconstructDilate_32f_C1IR", qoriMorphReconstructDilate_32f_C1IR);
  rowsOf<Qor64f>("qoriMorphReconstructDilate_64f_C1IR", qoriMorphReconstructDilate_64f_C1IR);
});

}  // namespace
}  // namespace qor::bench
