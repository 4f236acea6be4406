// The record of FastN corners, the circles, and the checks that their operations share.
#pragma once

#include <string.h>

#include "frame/checks.h"
#include "qorcv/feature.h"

namespace qor::inline QOR_LEVEL {

// ---- circles, from the pixel below the centre on through the left, the top and the right

inline constexpr QoriPoint coordR1_[] = {{0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}};
inline constexpr QoriPoint coordR2_[] = {{0, 2},  {-1, 2}, {-2, 1}, {-2, 0}, {-2, -1}, {-1, -2},
                                         {0, -2}, {1, -2}, {2, -1}, {2, 0},  {2, 1},   {1, 2}};
inline constexpr QoriPoint coordR3_[] = {{0, 3},  {-1, 3}, {-2, 2}, {-3, 1}, {-3, 0}, {-3, -1}, {-2, -2}, {-1, -3},
                                         {0, -3}, {1, -3}, {2, -2}, {3, -1}, {3, 0},  {3, 1},   {2, 2},   {1, 3}};
inline constexpr QoriPoint coordR5_[] = {{0, 5},  {-1, 5},  {-2, 5},  {-3, 4},  {-4, 3},  {-5, 2},  {-5, 1},
                                         {-5, 0}, {-5, -1}, {-5, -2}, {-4, -3}, {-3, -4}, {-2, -5}, {-1, -5},
                                         {0, -5}, {1, -5},  {2, -5},  {3, -4},  {4, -3},  {5, -2},  {5, -1},
                                         {5, 0},  {5, 1},   {5, 2},   {4, 3},   {3, 4},   {2, 5},   {1, 5}};
inline constexpr QoriPoint coordR7_[] = {{0, 7},   {-1, 7},  {-2, 7},  {-3, 6},  {-4, 6},  {-5, 5},  {-6, 4},  {-6, 3},
                                         {-7, 2},  {-7, 1},  {-7, 0},  {-7, -1}, {-7, -2}, {-6, -3}, {-6, -4}, {-5, -5},
                                         {-4, -6}, {-3, -6}, {-2, -7}, {-1, -7}, {0, -7},  {1, -7},  {2, -7},  {3, -6},
                                         {4, -6},  {5, -5},  {6, -4},  {6, -3},  {7, -2},  {7, -1},  {7, 0},   {7, 1},
                                         {7, 2},   {6, 3},   {6, 4},   {5, 5},   {4, 6},   {3, 6},   {2, 7},   {1, 7}};
inline constexpr QoriPoint coordR9_[] = {
    {0, 9},   {-1, 9},  {-2, 9},  {-3, 9},  {-4, 8},  {-5, 8},  {-6, 7},  {-7, 6},  {-8, 5},  {-8, 4},  {-9, 3},
    {-9, 2},  {-9, -1}, {-9, 0},  {-9, -1}, {-9, -2}, {-9, -3}, {-8, -4}, {-8, -5}, {-7, -6}, {-6, -7}, {-5, -8},
    {-4, -8}, {-3, -9}, {-2, -9}, {-1, -9}, {0, -9},  {1, -9},  {2, -9},  {3, -9},  {4, -8},  {5, -8},  {6, -7},
    {7, -6},  {8, -5},  {8, -4},  {9, -3},  {9, -2},  {9, -1},  {9, 0},   {9, 1},   {9, 2},   {9, 3},   {8, 4},
    {8, 5},   {7, 6},   {6, 7},   {5, 8},   {4, 8},   {3, 9},   {2, 9},   {1, 9}};

// The longest of them.
constexpr int mostCirclePixels = static_cast<int>(sizeof coordR9_ / sizeof *coordR9_);

struct Circle {
  const QoriPoint* points;
  int pixels;  // 0 for a radius that has none
};
constexpr Circle circleOf(int radius) {
  const auto circle = []<int n>(const QoriPoint(&points)[n]) { return Circle{points, n}; };
  switch (radius) {
    case 1:
      return circle(coordR1_);
    case 2:
      return circle(coordR2_);
    case 3:
      return circle(coordR3_);
    case 5:
      return circle(coordR5_);
    case 7:
      return circle(coordR7_);
    case 9:
      return circle(coordR9_);
    default:
      return {nullptr, 0};
  }
}

// ---- the record, in a block at any address; the tables of an orientation stand behind it, and their scale behind them

constexpr Qor32u fastNIdentity = 0x4b617390;
constexpr int fastNAlignment = 8;

struct FastNRecord {
  Qor32u identity;
  QorDataType dataType;
  Qor32s nChannels;
  QoriSize srcSize;
  Qor32s circleRadius, numPixels, orientationBins, option;
  Qor32f threshold;
  Qor32s thresholdInt;
  const QoriPoint* ring;

  bool has(Qor32s bit) const { return (option & bit) != 0; }
};
static_assert(offsetof(FastNRecord, thresholdInt) == 40 && offsetof(FastNRecord, ring) == 48);
static_assert(sizeof(FastNRecord) == 56);

// Bytes of the block.
constexpr int fastNBytes(int circlePixels) {
  constexpr int record = sizeof(FastNRecord), number = sizeof(Qor32f);
  return fastNAlignment + record + (2 * circlePixels + 1) * number;
}

// The record of a block: without identity where the block's first byte is not that of one.
inline FastNRecord recordOf(const QoriFastNSpec* spec) {
  const Qor8u* const block = reinterpret_cast<const Qor8u*>(spec);
  FastNRecord record{};
  if (block[0] >= 1 && block[0] <= fastNAlignment) memcpy(&record, block + block[0], sizeof record);
  return record;
}
// Numbers of the tables behind a good one: sines, cosines, scale.
inline void copyTables(const QoriFastNSpec* spec, ptrdiff_t first, ptrdiff_t count, Qor32f* to) {
  const Qor8u* const block = reinterpret_cast<const Qor8u*>(spec);
  memcpy(to, block + block[0] + sizeof(FastNRecord) + first * ptrdiff_t{sizeof *to},
         static_cast<size_t>(count) * sizeof *to);
}

// ---- checks

constexpr QorStatus fastNTypeCheck(QorDataType type) { return type != qor8u ? qorStsDataTypeErr : qorStsNoErr; }
constexpr QorStatus fastNChannelCheck(int channels) { return channels != 1 ? qorStsChannelErr : qorStsNoErr; }

constexpr QorStatus fastNOptionCheck(int option, int orientationBins) {
  constexpr int known = qorFastNOrientation | qorFastNNonMax | qorFastNCorner | qorFastNScore;
  if ((option & qorFastNCorner) == 0 || (option & ~known) != 0) return qorStsBadArgErr;
  if ((option & qorFastNNonMax) != 0 && (option & qorFastNScore) == 0) return qorStsBadArgErr;
  const bool badBins = orientationBins < 1 || orientationBins > 64;
  return (option & qorFastNOrientation) != 0 && badBins ? qorStsOutOfRangeErr : qorStsNoErr;
}

constexpr QorStatus fastNGeometryCheck(int circleRadius, int numPixels) {
  const int pixels = circleOf(circleRadius).pixels;
  if (pixels == 0) return qorStsBadArgErr;
  return numPixels <= pixels / 2 || numPixels >= pixels ? qorStsOutOfRangeErr : qorStsNoErr;
}

constexpr QorStatus fastNIdentityCheck(const FastNRecord& record) {
  return record.identity != fastNIdentity ? qorStsContextMatchErr : qorStsNoErr;
}

// What qoriFastNGetBufferSize() reports, wrapped: 624 bytes of tables and six rows that are a pixel longer on both
// sides.
constexpr int fastNScratch(int width) { return static_cast<int>(6 * static_cast<Qor32u>(width) + 636U); }

}  // namespace qor
