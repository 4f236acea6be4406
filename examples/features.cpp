// Edges and corners of a picture, drawn on it: edges in blue, corners as yellow circles.
//
//     features PICTURE [RESULT.png]
//
// It reads PNG and JPEG through the tour's files picture.h and draw.h; the calls of the library stand in edgesOf() and
// cornersOf().
#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "draw.h"
#include "picture.h"
#include "qorcv.h"

namespace {

using tour::FloatImage;
using tour::Picture;

void check(QorStatus status, const char* operation) {
  if (status < qorStsNoErr) throw std::runtime_error(std::string(operation) + ": status " + std::to_string(status));
}

// Black but for edges one pixel wide: those that are strong somewhere, for as long as they stay above the low
// threshold.
Picture edgesOf(const Picture& gray) {
  const Qor32f low = 60, high = 180;
  int bytes = 0;
  check(qoriCannyBorderGetSize(gray.size(), qorFilterSobel, qorMskSize3x3, qor8u, &bytes), "qoriCannyBorderGetSize");
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  Picture edges(gray.width(), gray.height());
  check(qoriCannyBorder_8u_C1R(gray.data(), gray.step(), edges.data(), edges.step(), gray.size(), qorFilterSobel,
                               qorMskSize3x3, qorBorderRepl, 0, low, high, qorNormL2, buffer.data()),
        "qoriCannyBorder_8u_C1R");
  return edges;
}

// The peaks of the smaller eigenvalue that reach a tenth of the largest one.
std::vector<QoriPoint> cornersOf(const Picture& gray) {
  constexpr int aperture = 3, window = 5;
  const QoriSize size = gray.size();
  int bytes = 0;
  check(qoriMinEigenValGetBufferSize_8u32f_C1R(size, aperture, window, &bytes), "its query");
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  FloatImage values(gray.width(), gray.height());
  check(qoriMinEigenVal_8u32f_C1R(gray.data(), gray.step(), values.data(), values.step(), size, qorKernelSobel,
                                  aperture, window, buffer.data()),
        "qoriMinEigenVal_8u32f_C1R");

  Qor32f least = 0, most = 0;
  QoriPoint leastAt, mostAt;
  check(qoriMinMaxIndx_32f_C1R(values.data(), values.step(), size, &least, &most, &leastAt, &mostAt),
        "qoriMinMaxIndx_32f_C1R");

  check(qoriFindPeaks3x3GetBufferSize_32f_C1R(size.width, &bytes), "its query");
  buffer.resize(static_cast<size_t>(bytes));
  std::vector<QoriPoint> corners(5000);
  int count = 0;
  check(qoriFindPeaks3x3_32f_C1R(values.data(), values.step(), size, most / 10, corners.data(),
                                 static_cast<int>(corners.size()), &count, qoriNormInf, 1, buffer.data()),
        "qoriFindPeaks3x3_32f_C1R");
  corners.resize(static_cast<size_t>(count));
  return corners;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "Usage: %s PICTURE [RESULT.png]\n", argv[0]);
    return 2;
  }
  const std::string result = argc == 3 ? argv[2] : "features.png";
  try {
    Picture picture = tour::readPicture(argv[1]);
    const Picture gray = tour::toGray(picture), edges = edgesOf(gray);
    const std::vector<QoriPoint> corners = cornersOf(gray);
    for (int y = 0; y < picture.height(); ++y) {
      for (int x = 0; x < picture.width(); ++x) {
        if (*edges.at(x, y) == 0) continue;
        const Qor8u blue[3] = {tour::cyan.r, tour::cyan.g, tour::cyan.b};
        std::copy_n(blue, 3, picture.at(x, y));
      }
    }
    for (const QoriPoint& p : corners) {
      tour::drawCircle(picture, static_cast<float>(p.x), static_cast<float>(p.y), 5, tour::yellow, 1.5F);
    }
    tour::writePng(result, picture);
    std::printf("%zu corners; see %s\n", corners.size(), result.c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
