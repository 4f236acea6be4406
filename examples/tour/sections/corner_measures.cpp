#include <algorithm>
#include <cmath>
#include <vector>

#include "picture.h"
#include "tour.h"

namespace tour {
namespace {

constexpr int window = 5;

Picture ticks(const Picture& gray, const Image<Qor32f>& eigen, int spacing) {
  Picture out = toColor(gray);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < 3 * out.width(); ++x) out.row(y)[x] = static_cast<Qor8u>(out.row(y)[x] / 3);
  }
  for (int y = spacing / 2; y < gray.height(); y += spacing) {
    for (int x = spacing / 2; x < gray.width(); x += spacing) {
      const Qor32f* const six = eigen.at(x, y);
      const float length = 0.45F * static_cast<float>(spacing);
      const float size = std::min(1.0F, std::sqrt(std::max(six[0], 0.0F)) / 6);
      // The gradient's direction is that of the larger value; the tick lies along the edge, across it.
      const float dx = -six[3] * length, dy = six[2] * length;
      if (size < 0.04F || (dx == 0 && dy == 0)) continue;
      drawLine(out, static_cast<float>(x) - dx, static_cast<float>(y) - dy, static_cast<float>(x) + dx,
               static_cast<float>(y) + dy, viridis(static_cast<int>(90 + 165 * size)), 1.5F);
    }
  }
  return out;
}

}  // namespace

void cornerMeasures(const Input& in, Output& out) {
  out.text(
      "A corner is a place that looks different from every place beside it: around it the gradient has no single "
      "direction. The Harris response is large there, negative along edges and small on flat ground. Its peaks, found "
      "by the call that follows, are points that a tracker can hold on to. The eigenvectors of the same matrix tell "
      "the "
      "direction of an edge, and the eigenvalues how pronounced it is.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  int bytes = 0;

  TOUR_CALL(out, qoriHarrisCornerGetBufferSize(size, qorMskSize3x3, window, qor8u, 1, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  FloatImage response(gray.width(), gray.height());
  const Qor32f k = 0.04F, scale = 1e-6F;
  TOUR_CALL_BEST(
      out, qoriHarrisCorner_8u32f_C1R(gray.data(), gray.step(), response.data(), response.step(), size, qorFilterSobel,
                                      qorMskSize3x3, window, k, scale, qorBorderRepl, 0, buffer.data()));
  FloatImage shown(gray.width(), gray.height());
  Qor32f largest = 0;
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      largest = std::max(largest, *response.at(x, y));
      *shown.at(x, y) = std::cbrt(std::max(*response.at(x, y), 0.0F));
    }
  }
  out.figure("The Harris response: white on corners", mapColors(shown, 0, std::cbrt(largest), heat));

  std::vector<QoriPoint> peaks(2000);
  int count = 0;
  const Qor32f threshold = largest / 100;
  TOUR_CALL(out, qoriFindPeaks3x3GetBufferSize_32f_C1R(size.width, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  TOUR_CALL_BEST(out, qoriFindPeaks3x3_32f_C1R(response.data(), response.step(), size, threshold, peaks.data(),
                                               static_cast<int>(peaks.size()), &count, qoriNormInf, 1, buffer.data()));
  Picture circled = toColor(gray);
  for (int i = 0; i < count; ++i) {
    const QoriPoint p = peaks[static_cast<size_t>(i)];
    // Negative peaks are the crests of edges.
    if (*response.at(p.x, p.y) < 0) continue;
    drawCircle(circled, static_cast<float>(p.x), static_cast<float>(p.y), 5, yellow, 1.5F);
  }
  out.figure("Its peaks, where it is above a hundredth of the largest", circled);

  TOUR_CALL(out, qoriEigenValsVecsGetBufferSize_8u32f_C1R(size, 3, window, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  Image<Qor32f> eigen(gray.width(), gray.height(), 6);
  TOUR_CALL_BEST(out, qoriEigenValsVecs_8u32f_C1R(gray.data(), gray.step(), eigen.data(), eigen.step(), size,
                                                  qorKernelSobel, 3, window, buffer.data()));
  out.figure("Directions of edges, from green to yellow by the larger eigenvalue", ticks(gray, eigen, 10));

  TOUR_CALL(out, qoriMinEigenValGetBufferSize_8u32f_C1R(size, 3, window, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  TOUR_CALL_BEST(out, qoriMinEigenVal_8u32f_C1R(gray.data(), gray.step(), shown.data(), shown.step(), size,
                                                qorKernelSobel, 3, window, buffer.data()));
  largest = 0;
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      *shown.at(x, y) = std::sqrt(std::max(*shown.at(x, y), 0.0F));
      largest = std::max(largest, *shown.at(x, y));
    }
  }
  out.figure("The smaller eigenvalue: how good a point is to track", mapColors(shown, 0, largest, viridis));
}

}  // namespace tour
