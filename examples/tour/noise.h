// Noise that is the same on every machine: integers, and float operations that IEEE 754 rounds exactly.
#ifndef QORCV_TOUR_NOISE_H
#define QORCV_TOUR_NOISE_H

#include <cstdint>

namespace tour {

inline uint32_t hash(int x, int y, uint32_t seed) {
  uint32_t h = static_cast<uint32_t>(x) * 0x9e3779b1u ^ static_cast<uint32_t>(y) * 0x85ebca77u ^ seed * 0xc2b2ae3du;
  h ^= h >> 15;
  h *= 0x2c1b3c6du;
  h ^= h >> 12;
  h *= 0x297a2d39u;
  return h ^ h >> 15;
}

// Even in 0..1.
inline float random(int x, int y, uint32_t seed) { return static_cast<float>(hash(x, y, seed) >> 8) * 0x1p-24F; }

// Bell-shaped around 0 with a standard deviation of 1, never beyond 3.5: the sum of four bytes, whose own deviation is
// 147.8.
inline float bellNoise(int x, int y, uint32_t seed) {
  const uint32_t h = hash(x, y, seed);
  return static_cast<float>(static_cast<int>((h & 255) + (h >> 8 & 255) + (h >> 16 & 255) + (h >> 24)) - 510) / 147.8F;
}

inline int floorOf(float v) {
  const int cut = static_cast<int>(v);
  return cut - (v < static_cast<float>(cut) ? 1 : 0);
}

// Smooth in 0..1, one bump to a unit.
inline float smoothNoise(float x, float y, uint32_t seed) {
  const int ix = floorOf(x), iy = floorOf(y);
  const auto ease = [](float t) { return t * t * (3 - 2 * t); };
  const float fx = ease(x - static_cast<float>(ix)), fy = ease(y - static_cast<float>(iy));
  const float above = random(ix, iy, seed) * (1 - fx) + random(ix + 1, iy, seed) * fx;
  const float below = random(ix, iy + 1, seed) * (1 - fx) + random(ix + 1, iy + 1, seed) * fx;
  return above * (1 - fy) + below * fy;
}

// Octaves of smooth noise, each twice as fine and half as strong; in 0..1.
inline float cloudNoise(float x, float y, uint32_t seed, int octaves) {
  float sum = 0, weight = 0.5F;
  for (int i = 0; i < octaves; ++i, weight /= 2, x *= 2, y *= 2) {
    sum += weight * smoothNoise(x, y, seed + static_cast<uint32_t>(i));
  }
  return sum + weight;
}

}  // namespace tour

#endif
