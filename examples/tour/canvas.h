// A picture in floating-point colours, painted back to front with shapes given by their signed distance.
#ifndef QORCV_TOUR_CANVAS_H
#define QORCV_TOUR_CANVAS_H

#include <algorithm>
#include <cmath>
#include <vector>

namespace tour {

// Red, green and blue in 0..1, more for light that the camera cannot hold.
struct Light {
  float r = 0, g = 0, b = 0;
};

inline Light operator*(Light c, float f) { return {c.r * f, c.g * f, c.b * f}; }
inline Light operator+(Light a, Light b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
inline Light mix(Light a, Light b, float amount) { return a * (1 - amount) + b * amount; }

class Canvas {
 public:
  Canvas(int width, int height)
      : width_(width), height_(height), pixels_(static_cast<size_t>(width) * static_cast<size_t>(height)) {}

  int width() const { return width_; }
  int height() const { return height_; }
  Light& at(int x, int y) {
    return pixels_[static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)];
  }
  const Light& at(int x, int y) const { return const_cast<Canvas*>(this)->at(x, y); }

 private:
  int width_, height_;
  std::vector<Light> pixels_;
};

struct Box {
  float left, top, right, bottom;
};

// Paints color(x, y) where distance(x, y) is negative. The edge is `softness` pixels wide; opacity thins the whole.
template <class Distance, class Color>
void paint(Canvas& canvas, Box box, Distance distance, Color color, float softness = 1, float opacity = 1) {
  const int x0 = std::max(0, static_cast<int>(box.left - softness) - 1);
  const int y0 = std::max(0, static_cast<int>(box.top - softness) - 1);
  const int x1 = std::min(canvas.width(), static_cast<int>(box.right + softness) + 2);
  const int y1 = std::min(canvas.height(), static_cast<int>(box.bottom + softness) + 2);
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      const float px = static_cast<float>(x) + 0.5F, py = static_cast<float>(y) + 0.5F;
      const float cover = std::clamp(0.5F - distance(px, py) / softness, 0.0F, 1.0F) * opacity;
      if (cover > 0) canvas.at(x, y) = mix(canvas.at(x, y), color(px, py), cover);
    }
  }
}

inline auto flat(Light c) {
  return [c](float, float) { return c; };
}

inline auto inRect(Box b, float radius = 0) {
  return [b, radius](float x, float y) {
    const float dx = std::max(b.left - x, x - b.right) + radius, dy = std::max(b.top - y, y - b.bottom) + radius;
    const float ox = std::max(dx, 0.0F), oy = std::max(dy, 0.0F);
    return std::min(std::max(dx, dy), 0.0F) + std::sqrt(ox * ox + oy * oy) - radius;
  };
}

inline auto inCircle(float cx, float cy, float radius) {
  return [=](float x, float y) { return std::sqrt((x - cx) * (x - cx) + (y - cy) * (y - cy)) - radius; };
}

inline auto inEllipse(float cx, float cy, float a, float b) {
  return [=](float x, float y) {
    const float u = (x - cx) / a, v = (y - cy) / b;
    return (std::sqrt(u * u + v * v) - 1) * std::min(a, b);
  };
}

// All that lies to the right as one walks from a to b on the screen.
inline auto inHalfPlane(float ax, float ay, float bx, float by) {
  const float dx = bx - ax, dy = by - ay, length = std::sqrt(dx * dx + dy * dy);
  return [=](float x, float y) { return ((x - ax) * dy - (y - ay) * dx) / length; };
}

inline auto inStroke(float ax, float ay, float bx, float by, float thickness) {
  const float dx = bx - ax, dy = by - ay, length2 = dx * dx + dy * dy;
  return [=](float x, float y) {
    const float t = std::clamp(((x - ax) * dx + (y - ay) * dy) / length2, 0.0F, 1.0F);
    const float u = x - ax - t * dx, v = y - ay - t * dy;
    return std::sqrt(u * u + v * v) - thickness / 2;
  };
}

template <class A, class B>
auto both(A a, B b) {
  return [=](float x, float y) { return std::max(a(x, y), b(x, y)); };
}

inline void rect(Canvas& canvas, Box box, Light color, float radius = 0) {
  paint(canvas, box, inRect(box, radius), flat(color));
}

inline void circle(Canvas& canvas, float x, float y, float radius, Light color) {
  paint(canvas, {x - radius, y - radius, x + radius, y + radius}, inCircle(x, y, radius), flat(color));
}

inline void stroke(Canvas& canvas, float ax, float ay, float bx, float by, float thickness, Light color) {
  const float t = thickness / 2;
  const Box box{std::min(ax, bx) - t, std::min(ay, by) - t, std::max(ax, bx) + t, std::max(ay, by) + t};
  paint(canvas, box, inStroke(ax, ay, bx, by, thickness), flat(color));
}

inline void shadow(Canvas& canvas, float x, float y, float a, float b) {
  // The soft rim reaches half as far again as the ellipse.
  paint(canvas, {x - 1.5F * a, y - 1.5F * b, x + 1.5F * a, y + 1.5F * b}, inEllipse(x, y, a, b),
        flat({0.05F, 0.05F, 0.09F}), b, 0.6F);
}

}  // namespace tour

#endif
