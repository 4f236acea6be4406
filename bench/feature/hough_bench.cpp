#include <cmath>
#include <memory>
#include <vector>

#include "qorcv/feature.h"
#include "support/row.h"

namespace qor::bench {
namespace {

constexpr QoriPoint_32f delta{1, 0.0174533F};  // 180 directions
constexpr int most = 100;

// Three crossing lines for every 100 rows, and a point for every 128 pixels beside them: two in a hundred pixels of a
// large image. Of `lines` 0, only points.
Image<Qor8u> edges(Setup& s, bool lines) {
  const auto image = s.random<Qor8u>(), more = s.random<Qor8u>();
  const int bar = lines ? 2 : 5;
  image.all([&](int x, int y) {
    image(x, y) = image(x, y) < bar && more(x, y) < 255 ? 255 : 0;
    return true;
  });
  const int height = image.height, width = image.samples;
  for (int i = 0; lines && i < 3 * height / 100; ++i) {
    const double angle = 0.1 + i * 2.399963, dx = std::cos(angle), dy = std::sin(angle);
    for (int k = -width; k < width; ++k) {
      const double x = width / 2 + (i * 37) % 200 - 100 + k * dx, y = height / 2 + (i * 53) % 120 - 60 + k * dy;
      if (x >= 0 && y >= 0 && x < width && y < height) image(static_cast<int>(x), static_cast<int>(y)) = 255;
    }
  }
  return image;
}

// The first line has votes: as many of the points lie within half a step of it.
bool isLine(const Image<Qor8u>& image, QoriPoint_32f line, int threshold) {
  int votes = 0;
  const auto rho = static_cast<double>(line.x), c = std::cos(static_cast<double>(line.y)),
             s = std::sin(static_cast<double>(line.y));
  image.all([&](int x, int y) {
    votes += image(x, y) != 0 && std::abs(x * c + y * s - rho) < 0.5 + 4e-3 * (x + y);
    return true;
  });
  return votes > threshold;
}

auto standard(bool lines, bool bounded) {
  return [=](Setup& s) {
    const auto src = edges(s, lines);
    const QoriSize roi = s.roi();
    int bytes = 0;
    qoriHoughLineGetSize_8u_C1R(roi, delta, most, &bytes);
    const int threshold = roi.height / 8;
    const auto found = std::make_shared<std::vector<QoriPoint_32f>>(size_t{most} + 2);
    const auto count = std::make_shared<int>(0);
    return checked(
        [=, buffer = s.scratch(bytes)] {
          QoriPoint_32f* const list = found->data();
          if (!bounded)
            return qoriHoughLine_8u32f_C1R(src.p, src.step, roi, delta, threshold, list, most, count.get(), buffer);
          list[most] = {0, 1}, list[most + 1] = {300, 2};
          return qoriHoughLine_Region_8u32f_C1R(src.p, src.step, roi, list, list + most, most, count.get(), delta,
                                                threshold, buffer);
        },
        [=] { return *count > 0 ? isLine(src, found->front(), threshold) : !lines || bounded; });
  };
}

auto probabilistic(bool lines, int threshold) {
  return [=](Setup& s) {
    const auto src = edges(s, lines);
    const QoriSize roi = s.roi();
    int bytes = 0, scratchBytes = 0;
    qoriHoughProbLineGetSize_8u_C1R(roi, delta, &bytes, &scratchBytes);
    const auto record = std::make_shared<std::vector<Qor8u>>(static_cast<size_t>(bytes));
    const auto specOf = [](const auto& r) { return reinterpret_cast<QoriHoughProbSpec*>(r->data()); };
    qoriHoughProbLineInit_8u32f_C1R(roi, delta, qorHintNone, specOf(record));
    const auto found = std::make_shared<std::vector<Qor32s>>(4000);
    const auto count = std::make_shared<int>(0);
    return checked(
        [=, buffer = s.scratch(scratchBytes)] {
          return qoriHoughProbLine_8u32f_C1R(src.p, src.step, roi, threshold, 30, 3, found->data(), 1000, count.get(),
                                             buffer, specOf(record));
        },
        [=] {
          const auto& ends = *found;
          return *count == 0 ? !lines : src(ends[0], ends[1]) != 0 && src(ends[2], ends[3]) != 0;
        });
  };
}

// Every point votes for 180 cells: of two points in a hundred pixels, 3.6 votes a pixel.
const Register rows([] {
  const auto add = [](const char* name, auto make) { Row(name).sizes({odd, fullHd}).run(make); };
  add("qoriHoughLine_8u32f_C1R", standard(true, false));
  add("qoriHoughLine_8u32f_C1R/scattered points", standard(false, false));
  add("qoriHoughLine_Region_8u32f_C1R", standard(true, true));
  add("qoriHoughProbLine_8u32f_C1R", probabilistic(true, 60));
  add("qoriHoughProbLine_8u32f_C1R/scattered points", probabilistic(false, 100000));
});

}  // namespace
}  // namespace qor::bench
