// Tracks points through a folder of numbered PNG frames, and writes the frames with the trails of the points drawn on.
//
//     c++ -std=c++17 track.cpp $(pkg-config --cflags --libs qorcv libpng) -o track
//     ./track frames tracked
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "qorcv.h"

namespace {

constexpr int window = 21, levels = 4, mostPoints = 400, trailLength = 30;

void check(QorStatus status, const char* what) {
  if (status < qorStsNoErr) throw std::runtime_error(std::string(what) + ": status " + std::to_string(status));
}

// ---- frames
struct Frame {
  int width = 0, height = 0;
  std::vector<Qor8u> color, gray;  // without gaps between the rows
};

Frame readFrame(const std::string& file) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&png, file.c_str()) == 0) throw std::runtime_error(file + ": " + png.message);
  png.format = PNG_FORMAT_RGB;
  Frame frame;
  frame.width = static_cast<int>(png.width), frame.height = static_cast<int>(png.height);
  frame.color.resize(PNG_IMAGE_SIZE(png));
  if (png_image_finish_read(&png, nullptr, frame.color.data(), 0, nullptr) == 0)
    throw std::runtime_error(file + ": " + png.message);
  frame.gray.resize(frame.color.size() / 3);
  for (size_t i = 0; i < frame.gray.size(); ++i) {
    const Qor8u* const c = &frame.color[3 * i];
    frame.gray[i] = static_cast<Qor8u>((77 * c[0] + 150 * c[1] + 29 * c[2] + 128) >> 8);
  }
  return frame;
}

void writeFrame(const std::string& file, const Frame& frame) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.format = PNG_FORMAT_RGB;
  png.width = static_cast<png_uint_32>(frame.width), png.height = static_cast<png_uint_32>(frame.height);
  if (png_image_write_to_file(&png, file.c_str(), 0, frame.color.data(), 0, nullptr) == 0)
    throw std::runtime_error(file + ": " + png.message);
}

// ---- a gray frame at every level, each half as large as the one before
class Pyramid {
 public:
  explicit Pyramid(const Frame& frame) {
    QoriPyramid* made = nullptr;
    check(qoriPyramidInitAlloc(&made, levels - 1, {frame.width, frame.height}, 2), "pyramid");
    record_.reset(made);
    int bufferSize = 0;
    check(qoriPyrDownGetBufSize_Gauss5x5(frame.width, qor8u, 1, &bufferSize), "size of the buffer");
    std::vector<Qor8u> buffer(static_cast<size_t>(bufferSize));
    images_.push_back(frame.gray);
    for (int i = 0; i <= made->level; ++i) {
      const QoriSize size = made->pRoi[i];
      if (i > 0) {
        const std::vector<Qor8u>& fine = images_.back();
        std::vector<Qor8u> coarse(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
        const QoriSize fineSize = made->pRoi[i - 1];
        check(qoriPyrDown_Gauss5x5_8u_C1R(fine.data(), fineSize.width, coarse.data(), size.width, fineSize,
                                          buffer.data()),
              "level");
        images_.push_back(std::move(coarse));
      }
      made->pImage[i] = images_.back().data();
      made->pStep[i] = size.width;
    }
  }
  const QoriPyramid* record() const { return record_.get(); }

 private:
  std::unique_ptr<QoriPyramid, QorStatus (*)(QoriPyramid*)> record_{nullptr, qoriPyramidFree};
  std::vector<std::vector<Qor8u>> images_;
};

// ---- points to begin with: the most corner-like pixel of every cell, the best of all cells
std::vector<QoriPoint_32f> corners(const Frame& frame) {
  struct Corner {
    float strength;
    QoriPoint_32f at;
  };
  const int cell = 24, margin = 5;
  const auto gray = [&](int x, int y) {
    return static_cast<float>(
        frame.gray[static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x)]);
  };
  std::vector<Corner> found;
  for (int top = margin; top < frame.height - margin; top += cell) {
    for (int left = margin; left < frame.width - margin; left += cell) {
      Corner best{50, {}};  // weaker ones are noise
      for (int y = top; y < std::min(top + cell, frame.height - margin); ++y) {
        for (int x = left; x < std::min(left + cell, frame.width - margin); ++x) {
          float xx = 0, xy = 0, yy = 0;
          for (int v = y - 2; v <= y + 2; ++v) {
            for (int u = x - 2; u <= x + 2; ++u) {
              const float gx = gray(u + 1, v) - gray(u - 1, v), gy = gray(u, v + 1) - gray(u, v - 1);
              xx += gx * gx, xy += gx * gy, yy += gy * gy;
            }
          }
          const float strength = (xx + yy) / 2 - std::hypot((xx - yy) / 2, xy);
          if (strength > best.strength) best = {strength, {static_cast<float>(x), static_cast<float>(y)}};
        }
      }
      if (best.strength > 50) found.push_back(best);
    }
  }
  std::sort(found.begin(), found.end(), [](const Corner& a, const Corner& b) { return a.strength > b.strength; });
  if (found.size() > mostPoints) found.resize(mostPoints);
  std::vector<QoriPoint_32f> points;
  for (const Corner& c : found) points.push_back(c.at);
  return points;
}

// ---- trails, older parts darker
void drawTrail(Frame& frame, const std::vector<QoriPoint_32f>& trail) {
  const size_t first = trail.size() > trailLength ? trail.size() - trailLength : 0;
  const auto dot = [&](float x, float y, float brightness) {
    const int column = static_cast<int>(std::lround(x)), row = static_cast<int>(std::lround(y));
    if (column < 0 || row < 0 || column >= frame.width || row >= frame.height) return;
    Qor8u* const c =
        &frame.color[3 * (static_cast<size_t>(row) * static_cast<size_t>(frame.width) + static_cast<size_t>(column))];
    c[0] = static_cast<Qor8u>(255 * brightness), c[1] = static_cast<Qor8u>(210 * brightness), c[2] = 40;
  };
  for (size_t i = first; i + 1 < trail.size(); ++i) {
    const QoriPoint_32f a = trail[i], b = trail[i + 1];
    const int steps = 1 + static_cast<int>(2 * std::hypot(b.x - a.x, b.y - a.y));
    const float age = static_cast<float>(trail.size() - i) / trailLength;
    for (int k = 0; k <= steps; ++k) {
      const float part = static_cast<float>(k) / static_cast<float>(steps);
      dot(a.x + part * (b.x - a.x), a.y + part * (b.y - a.y), 1.0F - 0.6F * age);
    }
  }
  for (int y = -1; y <= 1; ++y)
    for (int x = -1; x <= 1; ++x)
      dot(trail.back().x + static_cast<float>(x), trail.back().y + static_cast<float>(y), 1);
}

// PNG files in the order of the number in their names.
std::vector<std::filesystem::path> numberedFrames(const std::string& folder) {
  const auto number = [](const std::filesystem::path& file) {
    const std::string stem = file.stem().string();
    const size_t digits = stem.find_first_of("0123456789");
    return digits == std::string::npos ? -1 : std::atol(stem.c_str() + digits);
  };
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".png" && number(entry.path()) >= 0) files.push_back(entry.path());
  std::sort(files.begin(), files.end(),
            [&](const auto& a, const auto& b) { return std::pair(number(a), a) < std::pair(number(b), b); });
  return files;
}

void track(const std::string& from, const std::string& to) {
  const std::vector<std::filesystem::path> files = numberedFrames(from);
  if (files.empty()) throw std::runtime_error(from + ": no numbered PNG files");
  std::filesystem::create_directories(to);

  Frame frame = readFrame(files[0].string());
  const QoriSize size{frame.width, frame.height};
  std::vector<QoriPoint_32f> points = corners(frame);
  if (points.empty()) throw std::runtime_error(files[0].string() + ": nothing to track");
  std::vector<std::vector<QoriPoint_32f>> trails;
  for (const QoriPoint_32f p : points) trails.push_back({p});

  // Levels of up to half the size get their gradients at once, the others around each point.
  QoriOptFlowPyrLKState* made = nullptr;
  check(qoriOpticalFlowPyrLKInitAlloc_8u_C1R(&made, {size.width / 2 + 2, size.height / 2 + 2}, window, qorHintNone),
        "record");
  const std::unique_ptr<QoriOptFlowPyrLKState, QorStatus (*)(QoriOptFlowPyrLKState*)> state(
      made, qoriOpticalFlowPyrLKFree_8u_C1R);

  Pyramid before(frame);
  for (size_t i = 0; i < files.size(); ++i) {
    if (i > 0) {
      frame = readFrame(files[i].string());
      if (frame.width != size.width || frame.height != size.height)
        throw std::runtime_error(files[i].string() + ": not as large as the first frame");
      Pyramid after(frame);
      std::vector<QoriPoint_32f> next = points;
      std::vector<Qor8s> status(points.size());
      std::vector<Qor32f> error(points.size());
      check(qoriOpticalFlowPyrLK_8u_C1R(before.record(), after.record(), points.data(), next.data(), status.data(),
                                        error.data(), static_cast<int>(points.size()), window, after.record()->level,
                                        20, 0.03F, state.get()),
            "tracking");
      // What is lost, or no longer looks alike, ends here.
      size_t kept = 0;
      for (size_t k = 0; k < points.size(); ++k) {
        if (status[k] != 0 || error[k] > 25) continue;
        points[kept] = next[k];
        if (kept != k) trails[kept] = std::move(trails[k]);
        trails[kept++].push_back(next[k]);
      }
      points.resize(kept);
      trails.resize(kept);
      before = std::move(after);
    }
    std::printf("%s: %zu points\n", files[i].filename().string().c_str(), points.size());
    for (const auto& trail : trails) drawTrail(frame, trail);
    writeFrame((std::filesystem::path(to) / files[i].filename()).string(), frame);
    if (points.empty()) break;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: track FOLDER OUTPUT-FOLDER\n");
    return 2;
  }
  try {
    track(argv[1], argv[2]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
  return 0;
}
