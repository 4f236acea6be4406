#include "draw.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "font.h"

namespace tour {
namespace {

void mix(Qor8u* pixel, Color color, float amount) {
  const auto blend = [amount](Qor8u under, Qor8u over) {
    return static_cast<Qor8u>(under + amount * static_cast<float>(over - under) + 0.5F);
  };
  pixel[0] = blend(pixel[0], color.r);
  pixel[1] = blend(pixel[1], color.g);
  pixel[2] = blend(pixel[2], color.b);
}

// Paints where distance(x, y), counted in pixels from the shape's edge and negative inside, is below half a pixel.
// The box holds the shape; beyond +-1e6 a coordinate is far outside any picture that the tour shows.
template <class Distance>
void paint(Picture& picture, float left, float top, float right, float bottom, Color color, Distance distance) {
  const auto whole = [](float v, int limit) {
    return v > -1e6F ? static_cast<int>(std::min(v, static_cast<float>(limit))) : 0;
  };
  const int x0 = std::max(0, whole(left - 1, picture.width())), x1 = whole(right + 2, picture.width());
  const int y0 = std::max(0, whole(top - 1, picture.height())), y1 = whole(bottom + 2, picture.height());
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      const float cover = std::clamp(0.5F - distance(static_cast<float>(x), static_cast<float>(y)), 0.0F, 1.0F);
      if (cover > 0) mix(picture.at(x, y), color, cover);
    }
  }
}

QoriRect clip(QoriRect r, QoriSize size) {
  const int x0 = std::clamp(r.x, 0, size.width), x1 = std::clamp(r.x + r.width, 0, size.width);
  const int y0 = std::clamp(r.y, 0, size.height), y1 = std::clamp(r.y + r.height, 0, size.height);
  return {x0, y0, x1 - x0, y1 - y0};
}

template <size_t N>
Color interpolate(const std::array<Color, N>& table, float position) {
  const float at = std::clamp(position, 0.0F, 1.0F) * static_cast<float>(N - 1);
  const size_t i = std::min(static_cast<size_t>(at), N - 2);
  Qor8u rgb[3] = {table[i].r, table[i].g, table[i].b};
  mix(rgb, table[i + 1], at - static_cast<float>(i));
  return {rgb[0], rgb[1], rgb[2]};
}

}  // namespace

void drawLine(Picture& picture, float x0, float y0, float x1, float y1, Color color, float thickness) {
  const float half = thickness / 2, dx = x1 - x0, dy = y1 - y0, length2 = dx * dx + dy * dy;
  paint(picture, std::min(x0, x1) - half, std::min(y0, y1) - half, std::max(x0, x1) + half, std::max(y0, y1) + half,
        color, [=](float x, float y) {
          const float along = length2 > 0 ? std::clamp(((x - x0) * dx + (y - y0) * dy) / length2, 0.0F, 1.0F) : 0.0F;
          return std::hypot(x - x0 - along * dx, y - y0 - along * dy) - half;
        });
}

void drawArrow(Picture& picture, float x0, float y0, float x1, float y1, Color color, float thickness) {
  drawLine(picture, x0, y0, x1, y1, color, thickness);
  const float dx = x1 - x0, dy = y1 - y0, length = std::hypot(dx, dy);
  if (length < 1) return;
  // Two strokes at 30 degrees, shorter on short arrows.
  const float head = std::min(length / 2, 4 + 2 * thickness) / length, cosine = 0.866F, sine = 0.5F;
  for (const float side : {sine, -sine}) {
    drawLine(picture, x1, y1, x1 - head * (dx * cosine - dy * side), y1 - head * (dy * cosine + dx * side), color,
             thickness);
  }
}

void drawCircle(Picture& picture, float x, float y, float radius, Color color, float thickness) {
  const float outer = radius + thickness / 2;
  paint(picture, x - outer, y - outer, x + outer, y + outer, color,
        [=](float px, float py) { return std::fabs(std::hypot(px - x, py - y) - radius) - thickness / 2; });
}

void fillCircle(Picture& picture, float x, float y, float radius, Color color) {
  paint(picture, x - radius, y - radius, x + radius, y + radius, color,
        [=](float px, float py) { return std::hypot(px - x, py - y) - radius; });
}

void drawCross(Picture& picture, float x, float y, float radius, Color color, float thickness) {
  drawLine(picture, x - radius, y, x + radius, y, color, thickness);
  drawLine(picture, x, y - radius, x, y + radius, color, thickness);
}

void drawRect(Picture& picture, QoriRect r, Color color, int thickness) {
  const int t = std::min({thickness, r.width, r.height});
  fillRect(picture, {r.x, r.y, r.width, t}, color);
  fillRect(picture, {r.x, r.y + r.height - t, r.width, t}, color);
  fillRect(picture, {r.x, r.y, t, r.height}, color);
  fillRect(picture, {r.x + r.width - t, r.y, t, r.height}, color);
}

void fillRect(Picture& picture, QoriRect rect, Color color) {
  const QoriRect r = clip(rect, picture.size());
  for (int y = r.y; y < r.y + r.height; ++y) {
    for (int x = r.x; x < r.x + r.width; ++x) mix(picture.at(x, y), color, 1);
  }
}

void drawText(Picture& picture, int x, int y, std::string_view text, Color color, int scale) {
  for (const char letter : text) {
    const auto& columns = font::letter(letter);
    for (int column = 0; column < font::width; ++column) {
      for (int row = 0; row < font::height; ++row) {
        if ((columns[static_cast<size_t>(column)] >> row & 1) == 0) continue;
        fillRect(picture, {x + column * scale, y + row * scale, scale, scale}, color);
      }
    }
    x += (font::width + 1) * scale;
  }
}

QoriSize textSize(std::string_view text, int scale) {
  const int letters = static_cast<int>(text.size());
  return {std::max(0, letters * (font::width + 1) - 1) * scale, font::height * scale};
}

void drawLabel(Picture& picture, int x, int y, std::string_view text, Color color, int scale) {
  const QoriSize size = textSize(text, scale);
  const int margin = 2 * scale;
  fillRect(picture, {x, y, size.width + 2 * margin, size.height + 2 * margin}, {24, 26, 32});
  drawText(picture, x + margin, y + margin, text, color, scale);
}

Color viridis(int value) {
  static constexpr std::array<Color, 9> table = {{{68, 1, 84},
                                                  {71, 44, 122},
                                                  {59, 81, 139},
                                                  {44, 113, 142},
                                                  {33, 144, 141},
                                                  {39, 173, 129},
                                                  {92, 200, 99},
                                                  {170, 220, 50},
                                                  {253, 231, 37}}};
  return interpolate(table, static_cast<float>(value) / 255);
}

Color heat(int value) {
  static constexpr std::array<Color, 6> table = {
      {{0, 0, 4}, {66, 10, 104}, {147, 38, 103}, {221, 81, 58}, {252, 165, 10}, {252, 255, 200}}};
  return interpolate(table, static_cast<float>(value) / 255);
}

Color hue(float degrees, float saturation, float brightness) {
  static constexpr std::array<Color, 7> wheel = {
      {{255, 0, 0}, {255, 255, 0}, {0, 255, 0}, {0, 255, 255}, {0, 0, 255}, {255, 0, 255}, {255, 0, 0}}};
  const Color pure = interpolate(wheel, degrees / 360);
  const auto shade = [=](Qor8u c) {
    return static_cast<Qor8u>(brightness * (255 - saturation * static_cast<float>(255 - c)) + 0.5F);
  };
  return {shade(pure.r), shade(pure.g), shade(pure.b)};
}

Color labelColor(int label) {
  if (label == 0) return black;
  // Steps of the golden angle never come back to a colour soon; lightness alternates besides.
  const unsigned n = static_cast<unsigned>(label);
  const float degrees = static_cast<float>(n * 137508u % 360000u) / 1000;
  return hue(degrees, n % 2 == 0 ? 0.55F : 0.8F, n % 3 == 0 ? 0.75F : 0.95F);
}

Picture mapColors(const Picture& gray, Color (*map)(int)) {
  std::array<Color, 256> table;
  for (int i = 0; i < 256; ++i) table[static_cast<size_t>(i)] = map(i);
  Picture out(gray.width(), gray.height(), 3);
  for (int y = 0; y < gray.height(); ++y) {
    for (int x = 0; x < gray.width(); ++x) {
      const Color color = table[*gray.at(x, y)];
      Qor8u* pixel = out.at(x, y);
      pixel[0] = color.r, pixel[1] = color.g, pixel[2] = color.b;
    }
  }
  return out;
}

Picture mapColors(const FloatImage& values, float low, float high, Color (*map)(int)) {
  const float scale = high > low ? 255 / (high - low) : 0;
  Picture out(values.width(), values.height(), 3);
  for (int y = 0; y < values.height(); ++y) {
    for (int x = 0; x < values.width(); ++x) {
      const float value = *values.at(x, y);
      const Color none{128, 128, 128};
      const Color color =
          std::isnan(value) ? none : map(static_cast<int>(std::clamp((value - low) * scale, 0.0F, 255.0F) + 0.5F));
      Qor8u* pixel = out.at(x, y);
      pixel[0] = color.r, pixel[1] = color.g, pixel[2] = color.b;
    }
  }
  return out;
}

}  // namespace tour
