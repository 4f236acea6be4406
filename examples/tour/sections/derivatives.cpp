#include <algorithm>
#include <cstdlib>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

using Scratch = std::vector<Qor8u>;

Qor8u toByte(int value) { return static_cast<Qor8u>(std::clamp(value, 0, 255)); }

// The derivative along the row as red against green, that down the columns as blue against yellow, flat ground in gray.
Picture colorGradient(const Image<Qor16s>& gx, const Image<Qor16s>& gy, int divisor) {
  Picture out(gx.width(), gx.height(), 3);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const int along = *gx.at(x, y) / divisor, down = *gy.at(x, y) / divisor;
      Qor8u* pixel = out.at(x, y);
      pixel[0] = toByte(128 + along - down / 2);
      pixel[1] = toByte(128 - along - down / 2);
      pixel[2] = toByte(128 + down);
    }
  }
  return out;
}

// Positive values in red, negative ones in blue, zero white.
Picture signs(const Image<Qor8s>& values, int times) {
  Picture out(values.width(), values.height(), 3);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const int value = *values.at(x, y) * times;
      Qor8u* pixel = out.at(x, y);
      pixel[0] = toByte(255 + std::min(value, 0));
      pixel[1] = toByte(255 - std::abs(value));
      pixel[2] = toByte(255 - std::max(value, 0));
    }
  }
  return out;
}

}  // namespace

void derivatives(const Input& in, Output& out) {
  out.text(
      "Edges are where the picture changes. The Scharr filters measure how fast, along the rows and down the columns; "
      "the Laplacian compares every pixel with its neighbourhood and changes its sign on an edge, so that the line "
      "between red and blue follows it closely; the cross derivative answers at corners and on slanted lines alone. "
      "All "
      "of them read one pixel or two around each: here the nearest pixel stands in outside the picture.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  const Qor8u unused = 0;
  int bytes = 0;

  Image<Qor16s> gx(gray.width(), gray.height()), gy(gray.width(), gray.height());
  TOUR_CALL(out, qoriFilterScharrVertGetBufferSize_8u16s_C1R(size, &bytes));
  Scratch buffer(static_cast<size_t>(bytes));
  TOUR_CALL_BEST(out, qoriFilterScharrVertBorder_8u16s_C1R(gray.data(), gray.step(), gx.data(), gx.step(), size,
                                                           qorBorderRepl, unused, buffer.data()));
  TOUR_CALL(out, qoriFilterScharrHorizGetBufferSize_8u16s_C1R(size, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  TOUR_CALL_BEST(out, qoriFilterScharrHorizBorder_8u16s_C1R(gray.data(), gray.step(), gy.data(), gy.step(), size,
                                                            qorBorderRepl, unused, buffer.data()));
  out.figure("The gradient: brighter to the right is red, to the left green; brighter downwards blue, upwards yellow",
             colorGradient(gx, gy, 8));

  Image<Qor8s> values(gray.width(), gray.height());
  TOUR_CALL(out, qoriFilterLaplacianGetBufferSize_8u8s_C1R(size, qorMskSize5x5, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  TOUR_CALL_BEST(out, qoriFilterLaplacianBorder_8u8s_C1R(gray.data(), gray.step(), values.data(), values.step(), size,
                                                         qorMskSize5x5, qorBorderRepl, unused, 16, buffer.data()));
  out.figure("The Laplacian: red where the neighbourhood is brighter, blue where it is darker", signs(values, 3));

  TOUR_CALL(out, qoriFilterSobelCrossGetBufferSize_8u8s_C1R(size, qorMskSize3x3, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  TOUR_CALL_BEST(out, qoriFilterSobelCrossBorder_8u8s_C1R(gray.data(), gray.step(), values.data(), values.step(), size,
                                                          qorMskSize3x3, qorBorderRepl, unused, 2, buffer.data()));
  out.figure("The cross derivative: corners, and red and blue for the two slants", signs(values, 4));
}

}  // namespace tour
