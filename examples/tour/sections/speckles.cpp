#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// Disparities in sixteenths of a pixel: a floor that comes nearer towards the bottom, two things on it, and what a
// matcher gets wrong: noise, spots of any disparity, and places where it does not know.
Image<Qor16s> disparities(QoriSize size) {
  std::mt19937 random(7);
  Image<Qor16s> d(size.width, size.height);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int floor = 160 + 640 * y / size.height;
      const bool isBox = x > size.width / 6 && x < size.width * 2 / 5 && y > size.height / 4 && y < size.height * 3 / 4;
      const int dx = x - size.width * 7 / 10, dy = y - size.height / 2, radius = size.height / 4;
      const bool isBall = dx * dx + dy * dy < radius * radius;
      d.row(y)[x] = static_cast<Qor16s>((isBall ? 720 : isBox ? 560 : floor) + static_cast<int>(random() % 13));
    }
  }
  const auto below = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
  for (int spot = size.width * size.height / 900; spot > 0; --spot) {
    const int cx = below(size.width), cy = below(size.height), radius = 1 + below(5), value = below(900);
    for (int y = std::max(0, cy - radius); y < std::min(size.height, cy + radius); ++y) {
      for (int x = std::max(0, cx - radius); x < std::min(size.width, cx + radius); ++x) {
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) < radius * radius)
          d.row(y)[x] = static_cast<Qor16s>(spot % 4 == 0 ? 0 : value + below(9));
      }
    }
  }
  return d;
}

// What is not known is black.
Picture inColours(const Image<Qor16s>& d) {
  Picture picture(d.width(), d.height(), 3);
  for (int y = 0; y < d.height(); ++y) {
    for (int x = 0; x < d.width(); ++x) {
      const int value = d.row(y)[x];
      const Color color = value == 0 ? black : viridis(std::min(255, value * 255 / 900));
      Qor8u* const p = picture.at(x, y);
      p[0] = color.r, p[1] = color.g, p[2] = color.b;
    }
  }
  return picture;
}

}  // namespace

void speckles(const Input& in, Output& out) {
  out.text(
      "A stereo matcher's mistakes are small spots in its map of disparities. Neighbours that differ by no more than "
      "a pixel belong together; what holds together in fewer than 200 pixels is thrown out, and stays black, as not "
      "known. Edges of things stay where they are: nothing is smoothed.");
  Image<Qor16s> map = disparities(in.grays[0].size());
  out.figure("Disparities with mistakes, near is yellow", inColours(map));
  int bytes = 0;
  TOUR_CALL(out, qoriMarkSpecklesGetBufferSize(map.size(), qor16s, 1, &bytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriMarkSpeckles_16s_C1IR(map.data(), map.step(), map.size(), 0, 200, 16, qoriNormL1, scratch.data()));
  out.figure("Blobs of at most 200 pixels removed", inColours(map));
}

}  // namespace tour
