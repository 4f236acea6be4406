#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

using Labels = Image<Qor16u>;
using Scratch = std::vector<Qor8u>;

constexpr Qor16u line = 65535;

// How fast a picture changes, from its Scharr derivatives.
Picture strength(const Image<Qor16s>& gx, const Image<Qor16s>& gy) {
  Picture out(gx.width(), gx.height());
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      *out.at(x, y) = static_cast<Qor8u>(std::min((std::abs(*gx.at(x, y)) + std::abs(*gy.at(x, y))) / 8, 255));
    }
  }
  return out;
}

// One seed in each cell of a grid, at the flattest place in its middle.
Labels seedsAtMinima(const Picture& relief, int cell) {
  Labels seeds(relief.width(), relief.height());
  Qor16u label = 0;
  for (int top = 0; top < relief.height(); top += cell) {
    for (int left = 0; left < relief.width(); left += cell) {
      const int right = std::min(left + cell * 3 / 4, relief.width()), y0 = top + cell / 4;
      const int bottom = std::min(top + cell * 3 / 4, relief.height()), x0 = left + cell / 4;
      if (x0 >= right || y0 >= bottom) continue;
      QoriPoint least{x0, y0};
      for (int y = y0; y < bottom; ++y) {
        for (int x = x0; x < right; ++x) {
          if (*relief.at(x, y) < *relief.at(least.x, least.y)) least = {x, y};
        }
      }
      *seeds.at(least.x, least.y) = ++label;
    }
  }
  return seeds;
}

// The picture tinted by its labels, with the lines between them in white.
Picture tinted(const Picture& picture, const Labels& labels) {
  Picture out = picture;
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const Qor16u label = *labels.at(x, y);
      const Color tint = label == line ? white : labelColor(label);
      const int share = label == line ? 100 : 40;
      Qor8u* const p = out.at(x, y);
      const int tints[] = {tint.r, tint.g, tint.b};
      for (int c = 0; c < 3; ++c) p[c] = static_cast<Qor8u>((p[c] * (100 - share) + tints[c] * share) / 100);
    }
  }
  return out;
}

// Every label in the mean colour of its pixels.
Picture averaged(const Picture& picture, const Labels& labels) {
  struct Sum {
    int64_t channels[3] = {}, pixels = 0;
  };
  std::vector<Sum> sums(line + 1);
  Picture out = picture;
  const auto forPixels = [&](auto work) {
    for (int y = 0; y < out.height(); ++y)
      for (int x = 0; x < out.width(); ++x) work(sums[*labels.at(x, y)], out.at(x, y));
  };
  forPixels([](Sum& sum, const Qor8u* p) {
    for (int c = 0; c < 3; ++c) sum.channels[c] += p[c];
    ++sum.pixels;
  });
  forPixels([](const Sum& sum, Qor8u* p) {
    for (int c = 0; c < 3; ++c) p[c] = static_cast<Qor8u>(sum.channels[c] / sum.pixels);
  });
  return out;
}

}  // namespace

void watershed(const Input& in, Output& out) {
  out.text(
      "A picture falls into segments along its edges. Read the strength of the gradient as a landscape, drop a seed "
      "into "
      "every valley, and let labels grow over it as water would rise: they meet on the ridges, where the edges are. "
      "The "
      "flood takes the pixels in the order of their heights; the relaxation carries costs through the rows until "
      "nothing changes, and offers norms that tell how a label spreads on level ground.");
  const Picture& gray = in.grays[0];
  const QoriSize size = gray.size();
  int bytes = 0;
  TOUR_CALL(out, qoriFilterScharrVertGetBufferSize_8u16s_C1R(size, &bytes));
  Scratch scratch(static_cast<size_t>(bytes));
  Image<Qor16s> gx(size.width, size.height), gy(size.width, size.height);
  TOUR_CALL(out, qoriFilterScharrVertBorder_8u16s_C1R(gray.data(), gray.step(), gx.data(), gx.step(), size,
                                                      qorBorderRepl, 0, scratch.data()));
  TOUR_CALL(out, qoriFilterScharrHorizGetBufferSize_8u16s_C1R(size, &bytes));
  scratch.resize(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriFilterScharrHorizBorder_8u16s_C1R(gray.data(), gray.step(), gy.data(), gy.step(), size,
                                                       qorBorderRepl, 0, scratch.data()));
  const Picture relief = strength(gx, gy);
  out.figure("The relief: how fast the picture changes", mapColors(relief, heat));

  TOUR_CALL(out, qoriSegmentWatershedGetBufferSize_8u16u_C1R(size, &bytes));
  scratch.resize(static_cast<size_t>(bytes));
  const Labels seeds = seedsAtMinima(relief, std::max(16, size.width / 24));
  Labels flooded = seeds;
  TOUR_CALL(out, qoriSegmentWatershed_8u16u_C1IR(relief.data(), relief.step(), flooded.data(), flooded.step(), size,
                                                 qoriNormInf, qorSegmentQueue | qorSegmentBorder4, scratch.data()));
  out.figure("Flooded, with a line where labels meet", tinted(in.frames[0], flooded));
  Labels relaxed = seeds;
  TOUR_CALL(out, qoriSegmentWatershed_8u16u_C1IR(relief.data(), relief.step(), relaxed.data(), relaxed.step(), size,
                                                 qoriNormFM, qorSegmentRaster, scratch.data()));
  out.figure("By relaxation, every label in its mean colour", averaged(in.frames[0], relaxed));

  // Level ground with a wall across it, and a gate in the wall.
  Picture plain(size.width, size.height), shown(size.width, size.height, 3);
  const int wall = size.width * 2 / 3, gate = size.height * 2 / 5, gateHeight = size.height / 5;
  for (int y = 0; y < size.height; ++y) *plain.at(wall, y) = y >= gate && y < gate + gateHeight ? 0 : 200;
  fillRect(shown, {0, 0, size.width, size.height}, {190, 190, 190});
  fillRect(shown, {wall - 1, 0, 3, gate}, black);
  fillRect(shown, {wall - 1, gate + gateHeight, 3, size.height - gate - gateHeight}, black);
  Labels nine(size.width, size.height);
  for (int i = 0; i < 9; ++i) {
    const int x = size.width * (2 * (i % 3) + 1 + i / 3 % 2) / 7, y = size.height * (2 * (i / 3) + 1) / 6;
    *nine.at(x, y) = static_cast<Qor16u>(i + 1);
    fillCircle(shown, static_cast<float>(x), static_cast<float>(y), 4, black);
  }
  const struct {
    QoriNorm norm;
    const char* fronts;
  } modes[] = {{qoriNormL1, "qoriNormL1: fronts are diamonds"},
               {qoriNormInf, "qoriNormInf: squares"},
               {qoriNormL2, "qoriNormL2: octagons"},
               {qoriNormFM, "qoriNormFM: circles"}};
  for (const auto& mode : modes) {
    Labels labels = nine;
    const int flag = qorSegmentRaster | qorSegmentBorder8;
    TOUR_CALL(out, qoriSegmentWatershed_8u16u_C1IR(plain.data(), plain.step(), labels.data(), labels.step(), size,
                                                   mode.norm, flag, scratch.data()));
    out.figure(std::string("Nine seeds on level ground, with a wall and a gate in it, for ") + mode.fronts,
               tinted(shown, labels));
  }
}

}  // namespace tour
