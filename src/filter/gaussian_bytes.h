// Gaussians of 8-bit images in integers: the same values as those of the pipelines.
//
// Taps are symmetric, not negative, and count 2^-12; their sum is at most maxTapSum. So what a pass adds up is an
// integer below 2^23 (bytes, or first results, which are below 512, times the sum), float sums of it are exact in any
// order, and so is the product with 2^-12. Rounding to nearest is left to one float addition: beside a constant whose
// last bit is worth 2^12 units of the sum.
//
// Vectors hold 8 samples in the order 0 4 1 5 2 6 3 7, which costs less to make than the natural one. Filtered rows
// stay in it; the bytes of a result are put in order when they are stored.
#pragma once

#include "filter/border_row.h"
#include "frame/row.h"

namespace qor {

constexpr int byteShift = 12;
constexpr Qor32s maxTapSum = 2 << byteShift;
constexpr ptrdiff_t byteLanes = 8;

// Where a filtered row keeps sample i.
constexpr ptrdiff_t bytePlace(ptrdiff_t i) { return (i & ~ptrdiff_t{7}) | (i & 3) << 1 | (i >> 2 & 1); }

// 2^-24 is a unit of the sum in a float from 1/2 to 1 ...
constexpr Qor32s sumBias = 0x3f000000;
// ... that a pair of taps can add, beside a constant sample.
constexpr Qor16s biasSample = -32768, biasTap = -32256;
static_assert(biasSample * biasTap == sumBias);
// 2048 less the 1/2: the last bit of what lies from 2048 to 4096 is worth 2^-12.
constexpr Qor32f roundingTerm = 2047.5F;

// Whether taps are what this file takes.
inline bool byteTapsFit(const Qor16s* taps, int kernelSize) {
  Qor32s sum = 0;
  for (ptrdiff_t i = 0; i < kernelSize; ++i) {
    if (taps[i] < 0 || taps[i] != taps[kernelSize - 1 - i]) return false;
    sum += taps[i];
    if (sum > maxTapSum) return false;
  }
  return true;
}

// Taps 0 to K / 2 in pairs, the middle one beside biasTap if it has no other partner.
constexpr ptrdiff_t bytePairs(ptrdiff_t reach) { return reach / 2 + 1; }
inline void pairByteTaps(const Qor16s* taps, int reach, V16s* pairs) {
  for (ptrdiff_t i = 0; i < bytePairs(reach); ++i) {
    const auto low = static_cast<Qor16u>(taps[2 * i]);
    const auto high = static_cast<Qor16u>(2 * i + 1 <= reach ? taps[2 * i + 1] : biasTap);
    pairs[i] = as<Qor16s>(splat(static_cast<Qor32u>(low) | static_cast<Qor32u>(high) << 16));
  }
}

// Pairs where a loop finds them unchanged by what it stores: a reach known to the compiler has them in registers; 0
// stands for any other.
template <int knownReach>
struct ByteTaps {
  V16s pair[bytePairs(knownReach)];

  ByteTaps(const V16s* pairs, int) {
    for (ptrdiff_t i = 0; i < bytePairs(knownReach); ++i) pair[i] = pairs[i];
  }
  static constexpr ptrdiff_t reach() { return knownReach; }
};
template <>
struct ByteTaps<0> {
  const V16s* pair;
  ptrdiff_t count;

  ByteTaps(const V16s* pairs, int itsReach) : pair(pairs), count(itsReach) {}
  ptrdiff_t reach() const { return count; }
};

// 8 * groups biased sums. outer(j, group) is the sum of the two samples under taps j and K - 1 - j, middle(group) the
// sample under the middle one.
template <int groups, class Taps, class Outer, class Middle>
QOR_FORCE_INLINE void byteSums(const Taps& taps, const Outer& outer, const Middle& middle, V32s (&lo)[groups],
                               V32s (&hi)[groups]) {
  const ptrdiff_t reach = taps.reach();
  const auto products = [&](V16s a, V16s b, V16s pair, int g, bool first) {
    const V32s l = multiplyAdd(V16s{_mm_unpacklo_epi16(a.v, b.v)}, pair);
    const V32s h = multiplyAdd(V16s{_mm_unpackhi_epi16(a.v, b.v)}, pair);
    lo[g] = first ? l : lo[g] + l;
    hi[g] = first ? h : hi[g] + h;
  };
  // The middle begins: with the bias as its partner, or with tap K / 2 - 1 and the bias added.
  const V16s last = taps.pair[reach / 2];
  for (int g = 0; g < groups; ++g) {
    if (reach % 2 == 0) {
      products(middle(g), splat(biasSample), last, g, true);
    } else {
      products(outer(reach - 1, g), middle(g), last, g, true);
      lo[g] = lo[g] + splat(sumBias);
      hi[g] = hi[g] + splat(sumBias);
    }
  }
  for (ptrdiff_t j = 0; j + 1 < reach; j += 2) {
    const V16s pair = taps.pair[j / 2];
    for (int g = 0; g < groups; ++g) products(outer(j, g), outer(j + 1, g), pair, g, false);
  }
}

// Sums divided by 2^12, in words: to nearest, ties to even, or towards zero.
QOR_FORCE_INLINE V16s mergedWords(V32s lo, V32s hi) { return {_mm_blend_epi16(lo.v, _mm_slli_epi32(hi.v, 16), 0xaa)}; }
QOR_FORCE_INLINE V16s nearestQuotients(V32s lo, V32s hi) {
  const V32f term = splat(roundingTerm);
  return mergedWords(as<Qor32s>(as<Qor32f>(lo) + term), as<Qor32s>(as<Qor32f>(hi) + term));
}
QOR_FORCE_INLINE V16s truncatedQuotients(V32s lo, V32s hi) {
  const V32s sum = splat(Qor32s{0x7fffff});
  return mergedWords((lo & sum) >> byteShift, (hi & sum) >> byteShift);
}

// ---- along a row

template <int channels>
struct ByteRow {
  QoriBorderType border;
  const Qor8u* value;
  int width;
  const V16s* pairs;
  int reachPixels;

  ptrdiff_t samples() const { return ptrdiff_t{width} * channels; }
  ptrdiff_t reach() const { return ptrdiff_t{reachPixels} * channels; }
  // Most bytes that staging takes: on a side less than three blocks more than the edge, of a row shorter than two sides
  // at most all, and what taps reach around them.
  ptrdiff_t stagedBytes() const {
    const ptrdiff_t side = reach() + 3 * byteLanes, all = samples() + byteLanes;
    return (all < 2 * side ? all : side) + 2 * reach();
  }

  // A row into dst, which holds samples up to the next multiple of 8.
  template <int knownReach>
  void run(const Qor8u* row, Qor16s* dst, Qor8u* staged) const {
    const ptrdiff_t n = samples(), end = (n + byteLanes - 1) / byteLanes * byteLanes, edge = reach();
    const ByteTaps<knownReach> taps(pairs, reachPixels);
    ptrdiff_t x = (edge + byteLanes - 1) / byteLanes * byteLanes;
    if (x + byteLanes + edge > n) return runStaged(taps, row, dst, staged, 0, end);
    runStaged(taps, row, dst, staged, 0, x);
    for (; x + 2 * byteLanes + edge <= n; x += 2 * byteLanes) {
      V32s lo[2], hi[2];
      sums(taps, row + x - edge, lo, hi);
      store(dst + x, nearestQuotients(lo[0], hi[0]));
      store(dst + x + byteLanes, nearestQuotients(lo[1], hi[1]));
    }
    runStaged(taps, row, dst, staged, x, end);
  }

 private:
  // Sums of the 8 * groups samples whose spans begin at p.
  template <int groups, class Taps>
  QOR_FORCE_INLINE static void sums(const Taps& taps, const Qor8u* p, V32s (&lo)[groups], V32s (&hi)[groups]) {
    const auto words = [=](ptrdiff_t tap, int g) {
      return as<Qor16s>(widenLo(load8(p + tap * channels + g * byteLanes)));
    };
    const ptrdiff_t reach = taps.reach();
    byteSums(
        taps, [=](ptrdiff_t j, int g) { return words(j, g) + words(2 * reach - j, g); },
        [=](int g) { return words(reach, g); }, lo, hi);
  }

  // Blocks from x to before end, with edges.
  template <class Taps>
  [[gnu::noinline]] void runStaged(const Taps& taps, const Qor8u* row, Qor16s* dst, Qor8u* staged, ptrdiff_t x,
                                   ptrdiff_t end) const {
    if (x >= end) return;
    const ptrdiff_t edge = reach(), n = samples();
    stage(staged, row, x - edge, end + edge);
    const V16s places{_mm_setr_epi16(0, 4, 1, 5, 2, 6, 3, 7)};
    const auto clamped = [](ptrdiff_t i) { return splat(static_cast<Qor16s>(i < -1 ? -1 : i > 8 ? 8 : i)); };
    for (; x < end; x += byteLanes, staged += byteLanes) {
      V32s lo[1], hi[1];
      sums(taps, staged, lo, hi);
      const V16s inside = (places > clamped(edge - 1 - x)) & (clamped(n - edge - x) > places);
      store(dst + x, select(inside, nearestQuotients(lo[0], hi[0]), truncatedQuotients(lo[0], hi[0])));
    }
  }

  // Samples first to end - 1 of the row and what lies around it; behind what a tap reaches, anything.
  void stage(Qor8u* to, const Qor8u* row, ptrdiff_t first, ptrdiff_t end) const {
    const ptrdiff_t n = samples();
    ptrdiff_t i = first;
    for (; i < 0 && i < end; ++i) *to++ = outside(row, i);
    for (; i < n && i < end; ++i) *to++ = row[i];
    for (; i < end; ++i) *to++ = outside(row, i);
  }
  Qor8u outside(const Qor8u* row, ptrdiff_t i) const {
    const ptrdiff_t n = samples();
    if (border == qorBorderInMem) return i < n + reach() ? row[i] : Qor8u{0};
    const ptrdiff_t channel = (i % channels + channels) % channels;
    return border == qorBorderConst ? value[channel] : row[i < 0 ? channel : n - channels + channel];
  }
};

// ---- down the columns

// Rows of a window, likewise unchanged by what is stored.
template <int knownReach>
struct ByteWindow {
  const Qor16s* row[2 * knownReach + 1];

  explicit ByteWindow(const Qor16s* const* rows) {
    for (int i = 0; i <= 2 * knownReach; ++i) row[i] = rows[i];
  }
};
template <>
struct ByteWindow<0> {
  const Qor16s* const* row;

  explicit ByteWindow(const Qor16s* const* rows) : row(rows) {}
};

// The words of two groups, merged from words in the order of filtered rows, as bytes in their natural order.
QOR_FORCE_INLINE V8u mergedBytes(V16s a, V16s b) {
  return lookUp(narrowToU(a, b), V8u{_mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15)});
}

// Sums of 8 * groups columns. Filtered rows are aligned.
template <int groups, class Taps, class Window>
QOR_FORCE_INLINE void columnSums(const Taps& taps, const Window& window, ptrdiff_t x, V32s (&lo)[groups],
                                 V32s (&hi)[groups]) {
  const auto words = [&](ptrdiff_t tap, int g) {
    return V16s{_mm_load_si128(reinterpret_cast<const __m128i*>(window.row[tap] + x + g * byteLanes))};
  };
  const ptrdiff_t reach = taps.reach();
  byteSums(
      taps, [&](ptrdiff_t j, int g) { return words(j, g) + words(2 * reach - j, g); },
      [&](int g) { return words(reach, g); }, lo, hi);
}

// n results from K rows; those from full on truncate.
template <int knownReach>
void filterByteColumns(const Qor16s* const* rows, Qor8u* dst, ptrdiff_t n, ptrdiff_t full, const V16s* pairs,
                       int reach) {
  const ByteTaps<knownReach> taps(pairs, reach);
  const ByteWindow<knownReach> window(rows);
  ptrdiff_t x = 0;
  for (; x + 2 * byteLanes <= full; x += 2 * byteLanes) {
    V32s lo[2], hi[2];
    columnSums(taps, window, x, lo, hi);
    store(dst + x, mergedBytes(nearestQuotients(lo[0], hi[0]), nearestQuotients(lo[1], hi[1])));
  }
  for (; x < n; x += byteLanes) {
    V32s lo[1], hi[1];
    columnSums(taps, window, x, lo, hi);
    Qor8u results[2 * byteLanes];
    store(results, mergedBytes(nearestQuotients(lo[0], hi[0]), truncatedQuotients(lo[0], hi[0])));
    for (ptrdiff_t i = 0; i < byteLanes && x + i < n; ++i) dst[x + i] = results[x + i < full ? i : i + byteLanes];
  }
}

}  // namespace qor
