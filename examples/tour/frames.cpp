#include "frames.h"

#include <algorithm>
#include <cmath>

#include "noise.h"
#include "picture.h"
#include "scene.h"

namespace tour {
namespace {

void addCameraNoise(Picture& picture, uint32_t frame) {
  for (int y = 0; y < picture.height(); ++y) {
    for (int i = 0; i < picture.width() * picture.channels(); ++i) {
      const float value = static_cast<float>(picture.row(y)[i]) + 1.5F * bellNoise(i, y, frame);
      picture.row(y)[i] = static_cast<Qor8u>(std::clamp(value + 0.5F, 0.0F, 255.0F));
    }
  }
}

// Lays the ellipse that fills the piece with its top left corner at (left, top); its rim is soft.
void layEllipse(Picture& picture, const Picture& piece, int left, int top) {
  const float a = static_cast<float>(piece.width()) / 2, b = static_cast<float>(piece.height()) / 2;
  for (int y = 0; y < piece.height(); ++y) {
    for (int x = 0; x < piece.width(); ++x) {
      if (left + x < 0 || left + x >= picture.width() || top + y < 0 || top + y >= picture.height()) continue;
      const float u = (static_cast<float>(x) + 0.5F) / a - 1, v = (static_cast<float>(y) + 0.5F) / b - 1;
      const float cover = std::clamp((1 - std::sqrt(u * u + v * v)) * std::min(a, b), 0.0F, 1.0F);
      Qor8u* under = picture.at(left + x, top + y);
      for (int c = 0; c < 3; ++c) {
        const float value = static_cast<float>(under[c]) * (1 - cover) + static_cast<float>(piece.at(x, y)[c]) * cover;
        under[c] = static_cast<Qor8u>(value + 0.5F);
      }
    }
  }
}

void complete(Input& in) {
  // Small enough that a tracker follows it, large enough to see.
  const float shift = static_cast<float>(std::min(in.frames[0].width(), in.frames[0].height())) / 128;
  in.turned = warp(in.frames[0], shift, 0.6F * shift, 0.012F, 1.01F);
  in.turnedGray = toGray(in.turned);
  for (const Picture& frame : in.frames) in.grays.push_back(toGray(frame));
}

}  // namespace

Picture warp(const Picture& picture, float dx, float dy, float tangent, float zoom) {
  Picture out(picture.width(), picture.height(), picture.channels());
  const float cosine = 1 / std::sqrt(1 + tangent * tangent) / zoom, sine = tangent * cosine;
  const float right = static_cast<float>(picture.width() - 1), bottom = static_cast<float>(picture.height() - 1);
  for (int y = 0; y < out.height(); ++y) {
    for (int x = 0; x < out.width(); ++x) {
      const float u = static_cast<float>(x) - right / 2 - dx, v = static_cast<float>(y) - bottom / 2 - dy;
      const float sx = std::clamp(right / 2 + cosine * u + sine * v, 0.0F, right);
      const float sy = std::clamp(bottom / 2 - sine * u + cosine * v, 0.0F, bottom);
      const int x0 = static_cast<int>(sx), y0 = static_cast<int>(sy);
      const int x1 = std::min(x0 + 1, picture.width() - 1), y1 = std::min(y0 + 1, picture.height() - 1);
      const float fx = sx - static_cast<float>(x0), fy = sy - static_cast<float>(y0);
      for (int c = 0; c < picture.channels(); ++c) {
        const auto sample = [&](int column, int row) { return static_cast<float>(picture.at(column, row)[c]); };
        const float above = sample(x0, y0) * (1 - fx) + sample(x1, y0) * fx;
        const float below = sample(x0, y1) * (1 - fx) + sample(x1, y1) * fx;
        out.at(x, y)[c] = static_cast<Qor8u>(above * (1 - fy) + below * fy + 0.5F);
      }
    }
  }
  return out;
}

Input inputFromPicture(std::string name, const Picture& picture) {
  Input in;
  in.name = std::move(name);
  in.motion = "For motion, an ellipse cut from its middle travels across it from frame to frame.";
  const int width = picture.width(), height = picture.height();
  const int pieceWidth = std::max(4, width / 6), pieceHeight = std::max(4, height / 6);
  const Picture piece = crop(picture, {(width - pieceWidth) / 2, (height - pieceHeight) / 2, pieceWidth, pieceHeight});
  for (int i = 0; i < frameCount; ++i) {
    Picture frame = picture;
    layEllipse(frame, piece, width / 8 + i * std::max(1, width / 80), height / 4 + i * std::max(1, height / 120));
    addCameraNoise(frame, static_cast<uint32_t>(i));
    in.frames.push_back(std::move(frame));
  }
  complete(in);
  return in;
}

Input inputFromScene(int maxSide) {
  Input in;
  in.name = "built-in scene";
  in.motion = "A car, a van, a balloon, two gulls and a ball move from frame to frame.";
  const Scene scene;
  for (int i = 0; i < frameCount; ++i) {
    const Picture frame = scene.frame(i);
    in.frames.push_back(shrink(frame, fit(frame.size(), maxSide)));
  }
  complete(in);
  return in;
}

}  // namespace tour
