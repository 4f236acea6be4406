#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "tour.h"

namespace tour {
namespace {

std::string number(double value, const char* format = "%.1f") {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

Qor8u level(double value) { return static_cast<Qor8u>(std::clamp(std::lround(value), 0L, 255L)); }

// The part of the picture that a tile covers, less at the right and lower edges.
QoriSize tileAt(const Picture& picture, int x, int y, int side) {
  return {std::min(side, picture.width() - x), std::min(side, picture.height() - y)};
}

void fill(Picture& picture, int x, int y, QoriSize size, Qor8u value) {
  for (int row = y; row < y + size.height; ++row) std::fill_n(picture.at(x, row), size.width, value);
}

// The pixels whose gray level is at least low and below high.
Picture levelsBetween(const Picture& gray, double low, double high) {
  Picture mask(gray.width(), gray.height());
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      const double value = *gray.at(x, y);
      *mask.at(x, y) = value >= low && value < high ? 255 : 0;
    }
  }
  return mask;
}

void paint(Picture& picture, const Picture& mask, Color color) {
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (*mask.at(x, y) == 0) continue;
      Qor8u* const pixel = picture.at(x, y);
      pixel[0] = color.r;
      pixel[1] = color.g;
      pixel[2] = color.b;
    }
  }
}

struct Bar {
  std::string label;
  double value;
};

// One bar a value below each other, the longest as wide as the picture allows.
Picture barChart(const std::vector<Bar>& bars, int width, Color color, const char* format) {
  constexpr int rowHeight = 30, left = 120, right = 110;
  Picture chart(std::max(width, left + right + 100), rowHeight * static_cast<int>(bars.size()) + 10, 3);
  double top = 0;
  for (const Bar& bar : bars) top = std::max(top, bar.value);
  int y = 5;
  for (const Bar& bar : bars) {
    const double share = top > 0 ? bar.value / top : 0;
    const int length = static_cast<int>(share * (chart.width() - left - right));
    drawText(chart, 10, y + 8, bar.label, white);
    fillRect(chart, {left, y + 3, std::max(length, 1), rowHeight - 6}, color);
    drawText(chart, left + length + 10, y + 8, number(bar.value, format), white);
    y += rowHeight;
  }
  return chart;
}

}  // namespace

void statistics(const Input& in, Output& out) {
  out.text(
      "How bright is a region, and how much does it vary? Mean and standard deviation answer it for a whole picture, "
      "for any rectangle of it without a copy, and under a mask for a region of any shape, in gray or in one channel "
      "of a colour picture.");
  const Picture &gray = in.grays[0], &color = in.frames[0];
  double mean = 0, deviation = 0;
  TOUR_CALL_BEST(out, qoriMean_StdDev_8u_C1R(gray.data(), gray.step(), gray.size(), &mean, &deviation));

  // Every tile is a region of its own in the same picture.
  const int side = std::clamp(gray.width() / 40, 4, 24);
  Picture means(gray.width(), gray.height()), deviations(gray.width(), gray.height());
  for (int y = 0; y < gray.height(); y += side) {
    for (int x = 0; x < gray.width(); x += side) {
      const QoriSize tile = tileAt(gray, x, y, side);
      double tileMean = 0, tileDeviation = 0;
      TOUR_CALL(out, qoriMean_StdDev_8u_C1R(gray.at(x, y), gray.step(), tile, &tileMean, &tileDeviation));
      fill(means, x, y, tile, level(tileMean));
      fill(deviations, x, y, tile, level(4 * tileDeviation));
    }
  }
  out.figure("The mean of every tile", means);
  out.figure("Its deviation: smooth tiles stay dark, edges and texture glow", mapColors(deviations, heat));

  // Four classes of brightness, each painted in its mean colour.
  const double limits[] = {-1, mean - deviation, mean, mean + deviation, 256};
  Picture classes(color.width(), color.height(), 3);
  std::vector<std::string> labels;
  for (int i = 0; i < 4; ++i) {
    const Picture mask = levelsBetween(gray, limits[i], limits[i + 1]);
    double rgb[3] = {}, inClass = 0, around = 0;
    for (int channel = 1; channel <= 3; ++channel) {
      TOUR_CALL(out, qoriMean_8u_C3CMR(color.data(), color.step(), mask.data(), mask.step(), color.size(), channel,
                                       &rgb[channel - 1]));
    }
    TOUR_CALL(out, qoriMean_StdDev_8u_C1MR(gray.data(), gray.step(), mask.data(), mask.step(), gray.size(), &inClass,
                                           &around));
    paint(classes, mask, {level(rgb[0]), level(rgb[1]), level(rgb[2])});
    labels.push_back(number(inClass) + " +- " + number(around));
  }
  int labelY = 8;
  drawLabel(classes, 8, labelY, "all: " + number(mean) + " +- " + number(deviation), yellow);
  for (const std::string& label : labels) drawLabel(classes, 8, labelY += 24, label);
  out.figure(
      "Four masks by brightness, cut at the mean and one deviation beside it, each in the mean colour of its pixels; "
      "the labels give the gray mean and deviation under each mask",
      classes);

  out.text(
      "Norms tell how far two pictures are apart: the sum of the differences, the root of the sum of their squares, "
      "or the largest one. Relative to the norm of the second picture they no longer depend on its size and "
      "brightness.");
  Picture everything(gray.width(), gray.height());
  fill(everything, 0, 0, gray.size(), 255);
  std::vector<Bar> euclidean, relative;
  for (size_t i = 1; i < in.grays.size(); ++i) {
    const Picture& later = in.grays[i];
    double distance = 0, share = 0;
    TOUR_CALL(out, qoriNormDiff_L2_8u_C1MR(later.data(), later.step(), gray.data(), gray.step(), everything.data(),
                                           everything.step(), gray.size(), &distance));
    TOUR_CALL(out, qoriNormRel_L1_8u_C1MR(later.data(), later.step(), gray.data(), gray.step(), everything.data(),
                                          everything.step(), gray.size(), &share));
    euclidean.push_back({"frame " + std::to_string(i + 1), distance});
    relative.push_back({"frame " + std::to_string(i + 1), 100 * share});
  }
  out.figure("Distance of the later frames from the first: root of the sum of squares",
             barChart(euclidean, gray.width(), cyan, "%.0f"));
  out.figure("The sum of the differences, in percent of the first frame's sum",
             barChart(relative, gray.width(), green, "%.2f"));
}

}  // namespace tour
