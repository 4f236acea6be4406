#include "feature/scene.h"
#include "qorcv/feature.h"

namespace qor::bench {
namespace {

template <class S>
Image<S> sceneOf(Setup& s) {
  const auto bytes = scene(s);
  if constexpr (std::is_same_v<S, Qor8u>) {
    return bytes;
  } else {
    const auto image = s.blank<S>();
    image.all([&](int x, int y) {
      image(x, y) = static_cast<S>(bytes(x, y));
      return true;
    });
    return image;
  }
}

template <class S, class Operation, class Query>
auto eigen(Operation* operation, Query* query, int samples, int aperture, int window) {
  return [=](Setup& s) {
    const auto src = sceneOf<S>(s);
    const auto dst = s.blank<Qor32f>({.channels = samples});
    const QoriSize roi = s.roi();
    int bytes = 0;
    query(roi, aperture, window, &bytes);
    Qor8u* const buffer = s.scratch(bytes);
    return [=] { return operation(src.p, src.step, dst.p, dst.step, roi, qorKernelSobel, aperture, window, buffer); };
  };
}

template <class S>
Qor8u* structureBuffer(Setup& s, int window) {
  int bytes = 0;
  qoriHarrisCornerGetBufferSize(s.roi(), qorMskSize3x3, window, sizeof(S) == 1 ? qor8u : qor32f, 1, &bytes);
  return s.scratch(bytes);
}

constexpr Qor32f k = 0.04F, scale = 1e-6F;

template <class S, class Operation>
auto harris(Operation* operation, int window) {
  return [=](Setup& s) {
    const auto src = sceneOf<S>(s);
    const auto dst = s.blank<Qor32f>();
    Qor8u* const buffer = structureBuffer<S>(s, window);
    return [=, roi = s.roi()] {
      return operation(src.p, src.step, dst.p, dst.step, roi, qorFilterSobel, qorMskSize3x3, window, k, scale,
                       qorBorderRepl, 0, buffer);
    };
  };
}

auto lines(int window) {
  return [=](Setup& s) {
    const auto src = scene(s), feature = s.mask(), dst = s.blank<Qor8u>();
    Qor8u* const buffer = structureBuffer<Qor8u>(s, window);
    return [=, roi = s.roi()] {
      return qoriLineSuppression_8u_C1R(src.p, src.step, feature.p, feature.step, dst.p, dst.step, roi, qorFilterSobel,
                                        qorMskSize3x3, window, 12, qorBorderRepl, 0, buffer);
    };
  };
}

// The corners of a Harris response.
template <class T, class Operation>
auto peaks(Operation* operation, QoriNorm norm) {
  return [=](Setup& s) {
    const auto src = scene(s);
    const auto response = s.blank<Qor32f>();
    const QoriSize roi = s.roi();
    qoriHarrisCorner_8u32f_C1R(src.p, src.step, response.p, response.step, roi, qorFilterSobel, qorMskSize3x3, 5, k,
                               scale, qorBorderRepl, 0, structureBuffer<Qor8u>(s, 5));
    const auto values = s.blank<T>();
    Qor32f largest = 0;
    values.all([&](int x, int y) {
      values(x, y) = static_cast<T>(response(x, y));
      if (response(x, y) > largest) largest = response(x, y);
      return true;
    });
    const T threshold = static_cast<T>(largest / 20);
    const auto points = s.blank<Qor32s>({.channels = 2});
    auto* const list = reinterpret_cast<QoriPoint*>(points.p);
    Qor8u* const buffer = s.scratch(1);
    return [=] {
      int count = 0;
      return operation(values.p, values.step, roi, threshold, list, roi.width * roi.height / 2, &count, norm, 1,
                       buffer);
    };
  };
}

const Register corners([] {
  Row("qoriMinEigenVal_8u32f_C1R")
      .threads(2, ultraHd)
      .run(eigen<Qor8u>(qoriMinEigenVal_8u32f_C1R, qoriMinEigenValGetBufferSize_8u32f_C1R, 1, 3, 3));
  Row("qoriMinEigenVal_8u32f_C1R/5x5")
      .run(eigen<Qor8u>(qoriMinEigenVal_8u32f_C1R, qoriMinEigenValGetBufferSize_8u32f_C1R, 1, 5, 5));
  Row("qoriMinEigenVal_32f_C1R")
      .run(eigen<Qor32f>(qoriMinEigenVal_32f_C1R, qoriMinEigenValGetBufferSize_32f_C1R, 1, 3, 3));
  Row("qoriEigenValsVecs_8u32f_C1R")
      .run(eigen<Qor8u>(qoriEigenValsVecs_8u32f_C1R, qoriEigenValsVecsGetBufferSize_8u32f_C1R, 6, 3, 3));
  Row("qoriEigenValsVecs_32f_C1R")
      .run(eigen<Qor32f>(qoriEigenValsVecs_32f_C1R, qoriEigenValsVecsGetBufferSize_32f_C1R, 6, 3, 3));
  for (const int window : {3, 5, 15, 31}) {
    Row("qoriHarrisCorner_8u32f_C1R/n=" + std::to_string(window))
        .run(harris<Qor8u>(qoriHarrisCorner_8u32f_C1R, window));
  }
  Row("qoriHarrisCorner_32f_C1R/n=5").run(harris<Qor32f>(qoriHarrisCorner_32f_C1R, 5));
  Row("qoriLineSuppression_8u_C1R/n=3").run(lines(3));
  Row("qoriLineSuppression_8u_C1R/n=15").run(lines(15));
  Row("qoriFindPeaks3x3_32f_C1R").run(peaks<Qor32f>(qoriFindPeaks3x3_32f_C1R, qoriNormInf));
  Row("qoriFindPeaks3x3_32f_C1R/L1").run(peaks<Qor32f>(qoriFindPeaks3x3_32f_C1R, qoriNormL1));
  Row("qoriFindPeaks3x3_32s_C1R").run(peaks<Qor32s>(qoriFindPeaks3x3_32s_C1R, qoriNormInf));
});

}  // namespace
}  // namespace qor::bench
