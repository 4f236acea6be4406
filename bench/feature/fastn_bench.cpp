#include <memory>
#include <vector>

#include "qorcv/feature.h"
#include "support/row.h"

namespace qor::bench {
namespace {

struct Form {
  int radius = 3, arc = 9;
  Qor32f threshold = 20;
  int option = qorFastNCorner | qorFastNScore | qorFastNNonMax;
};

// Rectangles of many grays with the noise of a camera.
Image<Qor8u> scene(Setup& s) {
  const auto image = s.random<Qor8u>({.low = 0, .high = 7});
  const auto* levels = s.randomVector<Qor8u>(1 << 16);
  image.all([&](int x, int y) {
    image(x, y) = static_cast<Qor8u>(image(x, y) + levels[(x / 89 + 71 * (y / 67)) & 0xffff] * 7 / 8);
    return true;
  });
  return image;
}

using Record = std::shared_ptr<std::vector<uint64_t>>;

Record record(QoriSize size, const Form& f) {
  int bytes = 0;
  qoriFastNGetSize(size, f.radius, f.arc, 36, f.option, qor8u, 1, &bytes);
  auto block = std::make_shared<std::vector<uint64_t>>(static_cast<size_t>(bytes) / 8 + 1);
  qoriFastNInit(size, f.radius, f.arc, 36, f.option, f.threshold, qor8u, 1,
                reinterpret_cast<QoriFastNSpec*>(block->data()));
  return block;
}

const QoriFastNSpec* specOf(const Record& record) { return reinterpret_cast<const QoriFastNSpec*>(record->data()); }

// The map holds as many corners as were counted, and more than none where the image has any room for them.
bool holds(const Image<Qor8u>& map, int count) {
  int found = 0;
  map.all([&](int x, int y) {
    found += map(x, y) != 0;
    return true;
  });
  return found == count && count > 0;
}

auto search(Form f) {
  return [=](Setup& s) {
    const auto src = scene(s), corners = s.blank<Qor8u>(), scores = s.blank<Qor8u>();
    const QoriSize roi = s.roi();
    const auto spec = record(roi, f);
    const auto count = std::make_shared<int>(0);
    int bytes = 0;
    qoriFastNGetBufferSize(specOf(spec), roi, &bytes);
    return checked(
        [=, buffer = s.scratch(bytes)] {
          return qoriFastN_8u_C1R(src.p, src.step, corners.p, corners.step, scores.p, scores.step, count.get(), {0, 0},
                                  roi, specOf(spec), buffer);
        },
        [=] { return holds(corners, *count); });
  };
}

// One pixel in 1000 is a corner.
auto list(Setup& s) {
  const auto corners = s.random<Qor8u>(), scores = s.random<Qor8u>(), more = s.random<Qor8u>();
  corners.all([&](int x, int y) {
    corners(x, y) = corners(x, y) < 4 && more(x, y) < 16 ? 0x40 : 0;
    return true;
  });
  const auto spec = record(s.roi(), {});
  const auto count = std::make_shared<int>(0);
  const auto places = std::make_shared<std::vector<QoriCornerFastN>>(size_t{1} << 16);
  return checked(
      [=, roi = s.roi()] {
        return qoriFastN2DToVec_8u(corners.p, corners.step, scores.p, scores.step, places->data(), roi, 1 << 16,
                                   count.get(), specOf(spec));
      },
      [=] { return holds(corners, *count); });
}

const Register rows([] {
  const auto add = [](const char* name, Form f) { Row(name).sizes({odd, fullHd}).run(search(f)); };
  add("qoriFastN_8u_C1R", {});
  add("qoriFastN_8u_C1R/unsuppressed", {.option = qorFastNCorner | qorFastNScore});
  add("qoriFastN_8u_C1R/corners alone", {.option = qorFastNCorner});
  add("qoriFastN_8u_C1R/oriented", {.option = 39});
  add("qoriFastN_8u_C1R/below the noise", {.threshold = 3});
  add("qoriFastN_8u_C1R/radius 3, arcs of 10", {.arc = 10});
  add("qoriFastN_8u_C1R/radius 5, arcs of 16", {.radius = 5, .arc = 16});
  add("qoriFastN_8u_C1R/radius 9, arcs of 27", {.radius = 9, .arc = 27});
  Row("qoriFastN2DToVec_8u").pixel(1).run(list);
});

}  // namespace
}  // namespace qor::bench
