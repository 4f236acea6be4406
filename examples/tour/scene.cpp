#include "scene.h"

#include "noise.h"

namespace tour {
namespace {

constexpr float horizon = 330, houseBase = 432, roadTop = 452, roadBottom = 556;
constexpr Light sun{1.0F, 0.86F, 0.66F};

void paintSky(Canvas& canvas) {
  constexpr float sunX = 770, sunY = 112;
  paint(
      canvas, {0, 0, 960, horizon}, [](float, float) { return -1.0F; },
      [](float x, float y) {
        const float down = y / horizon;
        Light sky = mix({0.28F, 0.47F, 0.74F}, {0.95F, 0.86F, 0.76F}, down * down * (1.6F - 0.6F * down));
        const float dx = x - sunX, dy = y - sunY, near = 1 / (1 + (dx * dx + dy * dy) / 9000);
        sky = mix(sky, Light{1.05F, 0.97F, 0.80F}, 0.9F * near * near);
        // Clouds lie flatter and finer towards the horizon.
        const float flatter = 1 + 2.5F * down;
        const float density = cloudNoise(x / 190 + 3, y * flatter / 130, 11, 6);
        const float cloud = std::clamp((density - 0.50F) * 5, 0.0F, 1.0F);
        const float lit =
            std::clamp(0.72F + 1.8F * (cloudNoise((x + 9) / 190 + 3, (y - 9) * flatter / 130, 11, 5) - density) * -1.0F,
                       0.5F, 1.05F);
        return mix(sky, Light{1.0F, 0.97F, 0.93F} * lit, cloud * (0.9F - 0.35F * down));
      });
}

void paintHills(Canvas& canvas) {
  struct Range {
    float base, height, scale, detail;
    Light color;
  };
  const Range ranges[] = {{262, 95, 210, 0.02F, {0.56F, 0.62F, 0.74F}},
                          {300, 70, 140, 0.05F, {0.41F, 0.50F, 0.55F}},
                          {338, 52, 90, 0.16F, {0.25F, 0.35F, 0.22F}}};
  uint32_t seed = 40;
  for (const Range& range : ranges) {
    seed += 10;
    const auto below = [&](float x, float y) {
      const float ridge = range.base + range.height * (0.5F - cloudNoise(x / range.scale, 0.5F, seed, 7));
      return (ridge - y) * 0.7F;
    };
    paint(canvas, {0, range.base - range.height, 960, houseBase}, below, [&](float x, float y) {
      const float rough = cloudNoise(x / 7, y / 5, seed + 5, 4) - 0.5F;
      const Light haze{0.80F, 0.77F, 0.76F};
      return mix(range.color, haze, std::clamp((y - range.base + 20) / 260, 0.0F, 0.5F)) *
             (1 + 5 * range.detail * rough);
    });
  }
}

Light brick(float x, float y, Light base, uint32_t seed) {
  constexpr float length = 9, course = 4;
  const int row = floorOf(y / course);
  const float along = x / length + 0.5F * static_cast<float>(row & 1);
  const int column = floorOf(along);
  const float inX = (along - static_cast<float>(column)) * length, inY = y - static_cast<float>(row) * course;
  if (inX < 0.9F || inY < 0.8F) return base * 1.18F + Light{0.04F, 0.04F, 0.04F};
  return base * (0.82F + 0.34F * random(column, row, seed));
}

struct House {
  float left, width, top;
  Light wall;
  bool bricks, gable;
  Light roof;
};

void paintWindow(Canvas& canvas, Box b, uint32_t seed) {
  rect(canvas, {b.left - 2.5F, b.top - 2.5F, b.right + 2.5F, b.bottom + 2.5F}, {0.90F, 0.87F, 0.80F});
  const float chance = random(static_cast<int>(b.left), static_cast<int>(b.top), seed);
  paint(canvas, b, inRect(b), [&](float x, float y) {
    const float across = (x - b.left + y - b.top) / (b.right - b.left + b.bottom - b.top);
    Light glass = mix({0.10F, 0.13F, 0.18F}, {0.50F, 0.58F, 0.66F}, across * across * chance);
    const bool curtain = chance > 0.45F && (x - b.left < 4 || b.right - x < 4);
    if (curtain) glass = mix(glass, {0.86F, 0.78F, 0.68F}, 0.75F);
    if (chance < 0.14F) glass = mix(glass, {1.0F, 0.78F, 0.42F}, 0.85F);
    return glass;
  });
  const float middle = (b.left + b.right) / 2, bar = b.top + (b.bottom - b.top) * 0.38F;
  rect(canvas, {middle - 0.8F, b.top, middle + 0.8F, b.bottom}, {0.88F, 0.85F, 0.78F});
  rect(canvas, {b.left, bar - 0.8F, b.right, bar + 0.8F}, {0.88F, 0.85F, 0.78F});
  rect(canvas, {b.left - 4, b.bottom + 2.5F, b.right + 4, b.bottom + 5}, {0.66F, 0.63F, 0.60F});
}

void paintShop(Canvas& canvas, const House& house, uint32_t seed) {
  const float left = house.left + 9, right = house.left + house.width - 9;
  rect(canvas, {left, houseBase - 38, right, houseBase - 4}, {0.12F, 0.14F, 0.17F});
  for (int i = 0; i < 9; ++i) {
    const float x = left + 8 + static_cast<float>(i) * (right - left - 16) / 8;
    const Light goods{random(i, 1, seed), random(i, 2, seed), random(i, 3, seed)};
    circle(canvas, x, houseBase - 13, 3 + 2 * random(i, 4, seed), goods * 0.8F);
  }
  const Box awning{left - 5, houseBase - 50, right + 5, houseBase - 33};
  paint(canvas, awning, inRect(awning), [&](float x, float y) {
    const bool stripe = (floorOf((x - left) / 8) & 1) != 0;
    const float shade = 1.0F - 0.25F * (y - awning.top) / (awning.bottom - awning.top);
    return (stripe ? Light{0.93F, 0.91F, 0.86F} : Light{0.68F, 0.16F, 0.14F}) * shade;
  });
}

void paintHouse(Canvas& canvas, const House& h, uint32_t seed) {
  const float right = h.left + h.width, middle = h.left + h.width / 2, eaves = h.top + (h.gable ? h.width * 0.42F : 12);
  const Box wall{h.left, eaves, right, houseBase};
  const auto wallColor = [&](float x, float y) {
    const Light base =
        h.bricks ? brick(x, y, h.wall, seed) : h.wall * (0.94F + 0.12F * cloudNoise(x / 14, y / 22, seed, 4));
    // Light comes from the upper right; walls are damp near the ground.
    const float across = (x - h.left) / h.width, damp = std::clamp((y - houseBase + 26) / 40, 0.0F, 0.4F);
    return base * ((0.84F + 0.22F * across) * (1 - damp));
  };
  paint(canvas, wall, inRect(wall), wallColor);
  if (h.gable) {
    const Box box{h.left - 6, h.top, right + 6, eaves + 4};
    const auto roof =
        both(both(inHalfPlane(h.left - 7, eaves + 3, middle, h.top), inHalfPlane(middle, h.top, right + 7, eaves + 3)),
             inRect({box.left, box.top, box.right, eaves + 3}));
    paint(canvas, box, roof, [&](float x, float y) {
      const int row = floorOf(y / 5);
      const int tile = floorOf(x / 6 + 0.5F * static_cast<float>(row & 1));
      const float inY = y / 5 - static_cast<float>(row);
      return h.roof *
             ((0.78F + 0.3F * random(tile, row, seed + 3)) * (0.72F + 0.36F * inY) * (x > middle ? 1.12F : 0.86F));
    });
    rect(canvas, {right - h.width * 0.28F, h.top + 2, right - h.width * 0.28F + 11, h.top + h.width * 0.3F},
         {0.42F, 0.24F, 0.20F});
    rect(canvas, {right - h.width * 0.28F - 2, h.top, right - h.width * 0.28F + 13, h.top + 5}, {0.55F, 0.50F, 0.46F});
  } else {
    rect(canvas, {h.left - 4, h.top + 4, right + 4, h.top + 15}, h.roof);
    rect(canvas, {h.left - 4, h.top + 13, right + 4, h.top + 16}, h.roof * 0.6F);
  }
  const int columns = std::max(2, static_cast<int>(h.width / 34));
  const float pitch = h.width / static_cast<float>(columns);
  for (float top = eaves + 16; top + 28 < houseBase - 52; top += 44) {
    for (int i = 0; i < columns; ++i) {
      const float x = h.left + (static_cast<float>(i) + 0.5F) * pitch;
      paintWindow(canvas, {x - 8, top, x + 8, top + 26}, seed + 9);
    }
  }
  paintShop(canvas, h, seed + 17);
  // The neighbour's shadow.
  paint(canvas, {h.left - 2, eaves, h.left + 7, houseBase}, inRect({h.left - 2, eaves, h.left + 5, houseBase}),
        flat({0.06F, 0.05F, 0.08F}), 6, 0.45F);
}

void paintTower(Canvas& canvas) {
  constexpr float left = 508, right = 562, middle = (left + right) / 2, top = 150;
  const Box wall{left, top, right, houseBase};
  paint(canvas, wall, inRect(wall), [&](float x, float y) {
    return brick(x * 0.7F, y * 0.7F, {0.66F, 0.60F, 0.52F}, 71) * (0.70F + 0.42F * (x - left) / (right - left));
  });
  const Box spire{left - 6, top - 92, right + 6, top + 2};
  paint(canvas, spire,
        both(both(inHalfPlane(left - 7, top + 2, middle, top - 92), inHalfPlane(middle, top - 92, right + 7, top + 2)),
             inRect(spire)),
        [&](float x, float y) {
          return Light{0.30F, 0.42F, 0.40F} *
                 ((x > middle ? 1.25F : 0.8F) * (0.9F + 0.2F * random(0, floorOf(y / 4), 72)));
        });
  circle(canvas, middle, top + 36, 19, {0.25F, 0.21F, 0.17F});
  circle(canvas, middle, top + 36, 17, {0.95F, 0.93F, 0.87F});
  // Five minutes' steps by the sides of right triangles, so that no machine's sine decides a pixel.
  constexpr float steps[12][2] = {{0, -1},         {0.5F, -0.866F}, {0.866F, -0.5F},  {1, 0},
                                  {0.866F, 0.5F},  {0.5F, 0.866F},  {0, 1},           {-0.5F, 0.866F},
                                  {-0.866F, 0.5F}, {-1, 0},         {-0.866F, -0.5F}, {-0.5F, -0.866F}};
  for (const auto& s : steps) {
    stroke(canvas, middle + 13 * s[0], top + 36 + 13 * s[1], middle + 15.5F * s[0], top + 36 + 15.5F * s[1], 1.6F,
           {0.15F, 0.13F, 0.12F});
  }
  stroke(canvas, middle, top + 36, middle + 6.5F, top + 41, 2.2F, {0.1F, 0.1F, 0.1F});
  stroke(canvas, middle, top + 36, middle - 8, top + 26.5F, 1.6F, {0.1F, 0.1F, 0.1F});
  for (const float y : {top + 74, top + 122}) {
    const Box slit{middle - 7, y, middle + 7, y + 30};
    paint(canvas, slit, inRect(slit, 7), flat({0.13F, 0.12F, 0.13F}));
  }
  rect(canvas, {left - 4, top + 62, right + 4, top + 66}, {0.72F, 0.68F, 0.60F});
}

void paintTree(Canvas& canvas, float x, float base, float size, uint32_t seed) {
  shadow(canvas, x - size * 0.3F, base, size * 0.8F, size * 0.12F);
  stroke(canvas, x, base, x + 2, base - size, size * 0.13F, {0.24F, 0.18F, 0.13F});
  stroke(canvas, x, base - size * 0.7F, x + size * 0.3F, base - size * 1.2F, size * 0.07F, {0.24F, 0.18F, 0.13F});
  const float cx = x, cy = base - size * 1.55F;
  // The crown ends where an ellipse, frayed by noise, ends; leaves are the finer noise.
  const auto crown = [=](float px, float py) {
    const float u = (px - cx) / (size * 0.78F), v = (py - cy) / (size * 0.92F);
    return (std::sqrt(u * u + v * v) - 1.25F + 0.9F * cloudNoise(px / (size * 0.3F), py / (size * 0.3F), seed, 5)) *
           size * 0.6F;
  };
  paint(
      canvas, {cx - size * 1.4F, cy - size * 1.5F, cx + size * 1.4F, cy + size * 1.3F}, crown, [=](float px, float py) {
        const float leaf = cloudNoise(px / 6, py / 5, seed + 8, 3), clump = cloudNoise(px / 26, py / 22, seed + 12, 3);
        const float side = std::clamp(0.5F + 0.35F * ((px - cx) - (py - cy)) / size, 0.1F, 1.0F);
        return mix({0.07F, 0.13F, 0.06F}, {0.46F, 0.53F, 0.17F},
                   std::clamp(leaf * 0.9F + clump * 1.1F + side * 0.9F - 1.0F, 0.0F, 1.0F));
      });
}

void paintGround(Canvas& canvas) {
  const Box pavement{0, houseBase, 960, roadTop};
  paint(canvas, pavement, inRect(pavement), [](float x, float y) {
    const bool joint = x / 24 - static_cast<float>(floorOf(x / 24)) < 0.05F;
    return Light{0.60F, 0.57F, 0.53F} * ((0.86F + 0.2F * cloudNoise(x / 5, y / 3, 81, 4)) * (joint ? 0.75F : 1.0F));
  });
  rect(canvas, {0, roadTop - 4, 960, roadTop}, {0.74F, 0.72F, 0.69F});
  const Box road{0, roadTop, 960, roadBottom};
  paint(canvas, road, inRect(road), [](float x, float y) {
    const float worn = cloudNoise(x / 160, y / 16, 83, 4), grain = random(floorOf(x), floorOf(y), 84);
    return Light{0.31F, 0.31F, 0.33F} * (0.72F + 0.36F * worn + 0.24F * grain);
  });
  for (int i = -1; i < 9; ++i) {
    const float x = 30 + 120 * static_cast<float>(i), y = (roadTop + roadBottom) / 2;
    // Parallelograms: the camera looks slightly across the road.
    paint(canvas, {x, y - 3, x + 66, y + 3},
          both(both(inRect({x, y - 2.5F, x + 66, y + 2.5F}), inHalfPlane(x, y + 3, x + 5, y - 3)),
               inHalfPlane(x + 66, y - 3, x + 61, y + 3)),
          [](float px, float py) {
            return Light{0.88F, 0.87F, 0.82F} * (0.75F + 0.3F * cloudNoise(px / 4, py / 4, 85, 3));
          });
  }
  rect(canvas, {0, roadBottom - 3, 960, roadBottom + 3}, {0.70F, 0.68F, 0.66F});
  // Cobbles: rows grow towards the camera, every second one set off by half a stone.
  paint(
      canvas, {0, roadBottom + 3, 960, 640}, [=](float, float y) { return roadBottom + 3 - y; },
      [=](float x, float y) {
        const float t = (y - roadBottom) / 84, depth = t * (7.5F - 2.6F * t), size = 12 + 16 * t;
        const int row = floorOf(depth);
        const float along = (x - 480) / size + 0.5F * static_cast<float>(row & 1);
        const int column = floorOf(along);
        const float u = along - static_cast<float>(column) - 0.5F, v = depth - static_cast<float>(row) - 0.5F;
        const float rim = u * u * u * u + v * v * v * v;
        const float tone =
            0.40F + 0.22F * random(column, row, 91) + 0.10F * (cloudNoise(x / 4, y / 3, 92, 3) - 0.5F) - 0.15F * v;
        const Light stone = mix({0.62F, 0.58F, 0.55F}, {0.52F, 0.54F, 0.60F}, random(column, row, 93)) * (tone * 1.7F);
        return mix(stone, {0.16F, 0.14F, 0.12F}, std::clamp((rim - 0.028F) * 40, 0.0F, 0.9F));
      });
}

void paintLamp(Canvas& canvas, float x) {
  shadow(canvas, x - 10, roadTop + 114, 26, 5);
  rect(canvas, {x - 2.2F, 300, x + 2.2F, 566}, {0.13F, 0.15F, 0.15F});
  rect(canvas, {x - 6, 548, x + 6, 568}, {0.11F, 0.13F, 0.13F}, 3);
  stroke(canvas, x, 304, x + 26, 292, 3, {0.13F, 0.15F, 0.15F});
  const Box glass{x + 19, 292, x + 35, 314};
  paint(canvas, glass, inRect(glass, 5), [&](float, float y) {
    return mix({1.0F, 0.96F, 0.82F}, {0.72F, 0.66F, 0.52F}, (y - 292) / 22);
  });
  rect(canvas, {x + 17, 288, x + 37, 294}, {0.13F, 0.15F, 0.15F}, 2);
}

// Wires hang in parabolas between the lamps.
void paintWires(Canvas& canvas) {
  for (const float high : {268.0F, 281.0F}) {
    paint(
        canvas, {0, high - 4, 960, high + 40},
        [=](float x, float y) {
          const float t = (x - 90) / 780 * 2, part = t - static_cast<float>(floorOf(t)), sag = 4 * part * (1 - part);
          return std::fabs(y - high - 22 * sag) - 0.55F;
        },
        flat({0.12F, 0.12F, 0.13F}), 1, 0.85F);
  }
}

void paintWheel(Canvas& canvas, float x, float y, float radius, float turn) {
  circle(canvas, x, y, radius, {0.07F, 0.07F, 0.08F});
  circle(canvas, x, y, radius * 0.62F, {0.70F, 0.71F, 0.73F});
  // Spokes by a rational point of the circle: (1 - t^2, 2t) / (1 + t^2).
  const float c = (1 - turn * turn) / (1 + turn * turn), s = 2 * turn / (1 + turn * turn), r = radius * 0.52F;
  stroke(canvas, x - r * c, y - r * s, x + r * c, y + r * s, 2.4F, {0.25F, 0.26F, 0.28F});
  stroke(canvas, x + r * s, y - r * c, x - r * s, y + r * c, 2.4F, {0.25F, 0.26F, 0.28F});
  circle(canvas, x, y, radius * 0.16F, {0.2F, 0.2F, 0.22F});
}

void paintCar(Canvas& canvas, float x, float turn) {
  constexpr float ground = 547;
  shadow(canvas, x - 4, ground + 1, 104, 9);
  const auto paintwork = [](float, float y) {
    const float t = (y - 478) / 60;
    return mix({0.92F, 0.20F, 0.15F}, {0.42F, 0.04F, 0.05F}, std::clamp(t, 0.0F, 1.0F)) *
           (y > 502 && y < 505 ? 1.35F : 1.0F);
  };
  const Box cabin{x - 52, 474, x + 46, 512};
  paint(canvas, cabin,
        both(both(inHalfPlane(x - 54, 508, x - 26, 472), inHalfPlane(x + 18, 472, x + 48, 508)), inRect(cabin, 6)),
        paintwork);
  const auto glass = [](float px, float py) {
    return mix({0.62F, 0.70F, 0.76F}, {0.12F, 0.15F, 0.19F},
               std::clamp((py - 478) / 24 + 0.15F * smoothNoise(px / 9, py / 9, 97), 0.0F, 1.0F));
  };
  const Box window{x - 46, 479, x + 38, 503};
  paint(canvas, window,
        both(both(inHalfPlane(x - 46, 503, x - 24, 477), inHalfPlane(x + 16, 477, x + 39, 503)), inRect(window, 3)),
        glass);
  rect(canvas, {x - 8, 476, x - 3, 505}, {0.62F, 0.10F, 0.09F});
  const Box body{x - 96, 500, x + 96, 538};
  paint(canvas, body, inRect(body, 12), paintwork);
  rect(canvas, {x - 94, 524, x + 94, 528}, {0.30F, 0.03F, 0.04F});
  rect(canvas, {x + 82, 508, x + 95, 517}, {1.0F, 0.97F, 0.85F}, 3);
  rect(canvas, {x - 95, 507, x - 86, 517}, {0.95F, 0.35F, 0.10F}, 2);
  rect(canvas, {x - 22, 510, x - 12, 512.5F}, {0.85F, 0.85F, 0.85F});
  for (const float wheel : {x - 58, x + 58}) {
    circle(canvas, wheel, 530, 21, {0.10F, 0.02F, 0.03F});
    paintWheel(canvas, wheel, 531, 17, turn);
  }
}

void paintVan(Canvas& canvas, float x, float turn) {
  constexpr float ground = 500;
  shadow(canvas, x - 4, ground, 78, 7);
  const Box body{x - 70, 418, x + 70, 492};
  paint(canvas, body, both(inRect(body, 9), inHalfPlane(x - 72, 452, x - 52, 416)), [&](float, float y) {
    return mix({0.90F, 0.92F, 0.93F}, {0.50F, 0.56F, 0.62F}, std::clamp((y - 424) / 66, 0.0F, 1.0F));
  });
  rect(canvas, {x - 68, 462, x + 69, 474}, {0.16F, 0.36F, 0.62F});
  const Box windscreen{x - 66, 426, x - 34, 452};
  paint(canvas, windscreen, both(inRect(windscreen, 3), inHalfPlane(x - 66, 452, x - 51, 422)), [](float px, float py) {
    return mix({0.58F, 0.66F, 0.72F}, {0.14F, 0.17F, 0.21F},
               std::clamp((py - 424) / 30 + 0.2F * smoothNoise(px / 8, py / 8, 98), 0.0F, 1.0F));
  });
  // A sign with a checkerboard: corners for the corner finders.
  const Box sign{x - 20, 430, x + 58, 456};
  paint(canvas, sign, inRect(sign), [&](float px, float py) {
    const bool dark = ((floorOf((px - sign.left) / 6.5F) + floorOf((py - sign.top) / 6.5F)) & 1) != 0;
    return dark ? Light{0.10F, 0.12F, 0.16F} : Light{0.96F, 0.82F, 0.24F};
  });
  rect(canvas, {x - 71, 476, x - 62, 484}, {1.0F, 0.95F, 0.80F}, 2);
  for (const float wheel : {x - 42, x + 42}) paintWheel(canvas, wheel, 488, 14, -turn);
}

void paintBalloon(Canvas& canvas, float x, float y) {
  paint(
      canvas, {x - 46, y - 54, x + 46, y + 50},
      [=](float px, float py) {
        const float v = (py - y) / 52, wide = v > 0 ? 46 * (1 - 0.62F * v * v) : 46.0F, u = (px - x) / wide;
        return (std::sqrt(u * u + v * v * (v > 0 ? 0.94F : 1.0F)) - 1) * 42;
      },
      [=](float px, float py) {
        const float v = (py - y) / 52,
                    u = std::clamp((px - x) / (46 * std::sqrt(std::max(0.04F, 1 - v * v * 0.9F))), -1.0F, 1.0F);
        // Gores look narrower towards the rim.
        const int gore = floorOf(4.5F * u * (1.35F - 0.35F * u * u) + 0.5F);
        const Light colors[3] = {{0.90F, 0.30F, 0.16F}, {0.97F, 0.78F, 0.26F}, {0.18F, 0.42F, 0.62F}};
        const float shade = 0.80F + 0.28F * u - 0.20F * v - 0.18F * u * u;
        return colors[((gore % 3) + 3) % 3] * shade;
      });
  stroke(canvas, x - 13, y + 46, x - 6, y + 66, 1, {0.2F, 0.16F, 0.13F});
  stroke(canvas, x + 13, y + 46, x + 6, y + 66, 1, {0.2F, 0.16F, 0.13F});
  rect(canvas, {x - 8, y + 65, x + 8, y + 77}, {0.45F, 0.29F, 0.16F}, 2);
}

void paintGull(Canvas& canvas, float x, float y, float lift) {
  const Light feather{0.95F, 0.95F, 0.96F}, tip{0.20F, 0.20F, 0.23F};
  for (const float side : {-1.0F, 1.0F}) {
    stroke(canvas, x, y, x + side * 9, y - lift, 3, feather);
    stroke(canvas, x + side * 9, y - lift, x + side * 19, y - lift * 0.3F, 2.2F, feather * 0.85F);
    stroke(canvas, x + side * 17, y - lift * 0.4F, x + side * 20, y - lift * 0.2F, 1.8F, tip);
  }
  stroke(canvas, x - 1, y, x + 1, y + 3, 4, feather);
}

void paintBall(Canvas& canvas, float x, float turn) {
  constexpr float y = 602, radius = 23;
  shadow(canvas, x - 7, y + radius, radius * 1.2F, 6);
  const float c = (1 - turn * turn) / (1 + turn * turn), s = 2 * turn / (1 + turn * turn);
  paint(canvas, {x - radius, y - radius, x + radius, y + radius}, inCircle(x, y, radius), [=](float px, float py) {
    const float u = (px - x) / radius, v = (py - y) / radius, ru = u * c + v * s, rv = v * c - u * s;
    const bool stripe = std::fabs(rv) < 0.2F || std::fabs(ru * ru + 0.3F * ru - 0.35F) < 0.09F;
    const float shade = std::clamp(0.80F + 0.35F * (u - v) - 0.35F * (u * u + v * v), 0.2F, 1.2F);
    const float hu = u - 0.35F, hv = v + 0.42F;
    const float shine = std::clamp(1 - (hu * hu + hv * hv) * 22, 0.0F, 1.0F);
    return (stripe ? Light{0.96F, 0.95F, 0.92F} : Light{0.95F, 0.48F, 0.10F}) * shade + sun * (0.6F * shine);
  });
}

Qor8u expose(float light, float noise) {
  // The shoulder holds highlights; noise comes before the rounding.
  const float held = light < 0.8F ? light : 0.8F + 0.2F * (light - 0.8F) / (light - 0.6F);
  return static_cast<Qor8u>(std::clamp(held * 255 + noise + 0.5F, 0.0F, 255.0F));
}

}  // namespace

Scene::Scene() : still_(width, height) {
  paintSky(still_);
  paintHills(still_);
  const House houses[] = {
      {-22, 112, 238, {0.72F, 0.60F, 0.40F}, false, true, {0.52F, 0.26F, 0.18F}},
      {90, 96, 214, {0.58F, 0.27F, 0.20F}, true, false, {0.66F, 0.63F, 0.58F}},
      {186, 124, 204, {0.82F, 0.78F, 0.68F}, false, true, {0.36F, 0.22F, 0.20F}},
      {310, 90, 250, {0.42F, 0.52F, 0.58F}, false, false, {0.80F, 0.77F, 0.70F}},
      {400, 108, 226, {0.66F, 0.36F, 0.24F}, true, true, {0.30F, 0.29F, 0.32F}},
      {562, 100, 246, {0.86F, 0.66F, 0.46F}, false, false, {0.48F, 0.40F, 0.34F}},
      {662, 132, 198, {0.52F, 0.24F, 0.18F}, true, true, {0.46F, 0.24F, 0.16F}},
      {794, 88, 232, {0.74F, 0.74F, 0.66F}, false, false, {0.50F, 0.52F, 0.54F}},
      {882, 100, 220, {0.60F, 0.50F, 0.56F}, false, true, {0.40F, 0.20F, 0.17F}},
  };
  paintTower(still_);
  uint32_t seed = 200;
  for (const House& house : houses) paintHouse(still_, house, seed += 31);
  paintGround(still_);
  paintTree(still_, 352, 448, 62, 301);
  paintTree(still_, 838, 448, 70, 341);
  paintTree(still_, 66, 450, 56, 381);
  paintWires(still_);
}

Picture Scene::frame(int index) const {
  Canvas canvas = still_;
  const float t = static_cast<float>(index);
  paintBalloon(canvas, 236 + 2.5F * t, 92 - 1.25F * t);
  // Wings beat every four frames.
  const float beat[4] = {7, 2, -4, 1};
  paintGull(canvas, 420 + 6 * t, 118 - t, beat[index & 3]);
  paintGull(canvas, 640 - 5 * t, 66 + 1.5F * t, beat[(index + 2) & 3]);
  paintVan(canvas, 690 - 7 * t, 0.2F + 0.23F * t);
  paintCar(canvas, 270 + 11 * t, 0.1F + 0.3F * t);
  paintLamp(canvas, 90);
  paintLamp(canvas, 480);
  paintLamp(canvas, 870);
  paintBall(canvas, 560 + 9 * t, 0.2F * t);

  Picture picture(width, height, 3);
  const auto seed = static_cast<uint32_t>(1000 + index);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      // The lens darkens the corners; the low sun lightens the right.
      const float u = (static_cast<float>(x) - 480) / 480, v = (static_cast<float>(y) - 320) / 320;
      const Light light = canvas.at(x, y) * ((1.02F + 0.05F * u) * (1 - 0.10F * (u * u + v * v)));
      Qor8u* pixel = picture.at(x, y);
      pixel[0] = expose(light.r, 1.6F * bellNoise(3 * x, y, seed));
      pixel[1] = expose(light.g, 1.3F * bellNoise(3 * x + 1, y, seed));
      pixel[2] = expose(light.b, 1.9F * bellNoise(3 * x + 2, y, seed));
    }
  }
  return picture;
}

}  // namespace tour
