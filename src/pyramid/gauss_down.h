// One step down: every source row that is needed is filtered along itself, at every second pixel, into a ring of five
// rows, and from there down the columns.
#pragma once

#include "pyramid/gauss_sums.h"

namespace qor::inline QOR_LEVEL {

constexpr int gaussDownRows = 5;

// Filters rows along themselves, at every second pixel.
template <class T, int channels>
class GaussDownRow {
 public:
  using Sums = GaussSums<T>;
  using Sum = typename Sums::Sum;

  explicit GaussDownRow(int width) : columns_(mirroredAxis(width)) {}

  // Vectors go as far as they read nothing outside the row; the ends are made one by one, behind them, since a group
  // of pixels may leave samples without meaning behind itself.
  void operator()(Sum* dst, const T* src) const {
    const ptrdiff_t n = halfOf(static_cast<int>(columns_.n)), end = vectorEnd();
    one(dst, src, 0);
    if (end > 1) {
      if constexpr (channels == 1) {
        forBlocks<Vec<Sum>::lanes>(end - 1, [=](ptrdiff_t x) { store(dst + 1 + x, sums(src + 2 * (1 + x))); });
      } else {
        for (ptrdiff_t x = 1; x <= end - pixels; x += pixels) groupOf(dst + channels * x, src + 2 * channels * x);
        groupOf(dst + channels * (end - pixels), src + 2 * channels * (end - pixels));
      }
    }
    for (ptrdiff_t x = end; x < n; ++x) one(dst, src, x);
  }

 private:
  // Pixels of a block. In three channels each 16 bytes have whole pixels of their own.
  static constexpr int ofShort = Short<Sum>::lanes / channels;
  static constexpr int pixels = channels == 1 ? Vec<Sum>::lanes : ofShort * (Vec<Sum>::bytes / Short<Sum>::bytes);
  // Samples that a block reads from the middle pixel of its last one on.
  static constexpr int reach = channels == 1 ? 4 : 2 * channels * (2 - ofShort) + Short<T>::lanes;

  // Pixels before this one may be made by vectors; 1 when they are too few for a block.
  ptrdiff_t vectorEnd() const {
    const ptrdiff_t end = (columns_.n * channels - reach) / (2 * channels) + 1;
    return columns_.n * channels < reach || end - 1 < pixels ? 1 : end;
  }

  void one(Sum* dst, const T* src, ptrdiff_t x) const {
    for (int c = 0; c < channels; ++c) {
      const auto p = [&](int i) { return Sums::number(src[columns_.standIn(2 * x + i) * channels + c]); };
      dst[x * channels + c] = static_cast<Sum>(sumOfFive(p(-2), p(-1), p(0), p(1), p(2)));
    }
  }

  // A block of one channel, p being its first pixel in the source.
  QOR_FORCE_INLINE static V16u sums(const Qor8u* p) { return pairSums(load(p - 2), load(p), load(p + 2)); }
  QOR_FORCE_INLINE static V16u sums(const Qor8s* p) { return sums(reinterpret_cast<const Qor8u*>(p)); }
  // The pixels of two vectors' even lanes, and of the odd ones, stand in one order of their own each, the same for all
  // five; the sums are brought into that of addresses.
  QOR_FORCE_INLINE static V32f sums(const Qor32f* p) {
    const Split<Qor64s> before = pairs(p - 2), here = pairs(p), behind = pairs(p + 2);
    const auto even = [](Split<Qor64s> s) { return as<Qor32f>(joinLow(s)); };
    const auto odd = [](Split<Qor64s> s) { return as<Qor32f>(joinHigh(s)); };
    return inAddressOrder(sumOfFive(even(before), odd(before), even(here), odd(here), even(behind)));
  }
  QOR_FORCE_INLINE static Split<Qor64s> pairs(const Qor32f* p) {
    return {as<Qor64s>(load(p)), as<Qor64s>(load(p + V32f::lanes))};
  }

  // Bytes of which every two that follow each other are neighbours: two and one on the left, the middle and one on the
  // right, two on the right and one that does not count.
  QOR_FORCE_INLINE static V16u pairSums(V8u left, V8u middle, V8u right) {
    const auto weighted = [](V8u a, int first, int second) {
      return as<Qor16u>(multiplyAdd(Sums::turn(a), as<Qor8s>(splat(static_cast<Qor16u>(first | second << 8)))));
    };
    return weighted(left, 1, 4) + weighted(middle, 6, 4) + weighted(right, 1, 0);
  }

  // A block of three channels. Of two pixels each sample is brought beside its neighbour's.
  QOR_FORCE_INLINE static void groupOf(Qor16u* dst, const Qor8u* p) {
    const auto neighbours = [](const Qor8u* q) {
      return lookUp(loadApart(q, 2 * channels * ofShort), bytes(0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11, 12, 15, 13, 15));
    };
    storeApart(dst, channels * ofShort, pairSums(neighbours(p - 6), neighbours(p), neighbours(p + 6)));
  }
  QOR_FORCE_INLINE static void groupOf(Qor16u* dst, const Qor8s* p) { groupOf(dst, reinterpret_cast<const Qor8u*>(p)); }
  QOR_FORCE_INLINE static void groupOf(Qor32f* dst, const Qor32f* p) {
    const auto at = [p](int i) { return loadApart(p + i * channels, 2 * channels); };
    storeApart(dst, channels, sumOfFive(at(-2), at(-1), at(0), at(1), at(2)));
  }

  Axis columns_;
};

// Five filtered rows into one of the destination; row 2 is the middle one.
template <class T>
void storeDown(T* dst, ptrdiff_t n, const typename GaussSums<T>::Sum* const (&row)[gaussDownRows]) {
  using Sums = GaussSums<T>;
  using Sum = typename Sums::Sum;
  const auto sumAt = [&row](auto get, ptrdiff_t i) {
    return sumOfFive(get(row[0] + i), get(row[1] + i), get(row[2] + i), get(row[3] + i), get(row[4] + i));
  };
  const auto vectors = [&](ptrdiff_t i) { return sumAt([](const Sum* p) { return load(p); }, i); };
  const auto number = [](const Sum* p) { return static_cast<typename Sums::Number>(*p); };
  if constexpr (std::is_same_v<T, Qor32f>) {
    constexpr Qor32f scale = 0.00390625F;
    if (n >= V32f::lanes) {
      forBlocks<V32f::lanes>(n, [&](ptrdiff_t i) { store(dst + i, vectors(i) * splat(scale)); });
    } else {
      for (ptrdiff_t i = 0; i < n; ++i) dst[i] = sumAt(number, i) * scale;
    }
  } else {
    const auto half = [&](ptrdiff_t i) { return as<Qor16s>(Sums::template rounded<8>(vectors(i))); };
    if (n >= V8u::lanes) {
      forBlocks<V8u::lanes>(
          n, [&](ptrdiff_t i) { store(dst + i, as<T>(Sums::turn(narrowToU(half(i), half(i + V16u::lanes))))); });
    } else {
      for (ptrdiff_t i = 0; i < n; ++i) dst[i] = Sums::template rounded<8>(sumAt(number, i));
    }
  }
}

template <class T, int channels>
struct GaussDown {
  using Sums = GaussSums<T>;
  using Sum = typename Sums::Sum;

  Plane<const T> src;
  Plane<T> dst;
  QoriSize size;  // of the source

  static int64_t samplesOf(int width) { return int64_t{halfOf(width)} * channels; }
  static auto layout(int width) {
    return [samples = samplesOf(width) * gaussDownRows](ScratchParts& parts) { return parts.take<Sum>(samples); };
  }

  void run(Sum* ring) const {
    const GaussDownRow<T, channels> filterRow(size.width);
    const ptrdiff_t n = samplesOf(size.width);
    const Axis rows = mirroredAxis(size.height);
    const auto slot = [=](ptrdiff_t y) { return ring + rows.standIn(y) % gaussDownRows * n; };
    int next = 0;
    for (int y = 0; y < halfOf(size.height); ++y) {
      const int64_t middle = int64_t{2} * y;
      for (; next < size.height && next <= middle + 2; ++next) filterRow(slot(next), src.row(next));
      storeDown(dst.row(y), n, {slot(middle - 2), slot(middle - 1), slot(middle), slot(middle + 1), slot(middle + 2)});
    }
  }
};

// Images of one or two rows or columns: these are added first, and the sum is filtered along itself. Whole numbers are
// exact either way, floats are not.
template <int channels>
void gaussDownTwoRows(const GaussDown<Qor32f, channels>& step, Qor32f* sums) {
  const ptrdiff_t width = step.size.width * channels, n = step.samplesOf(step.size.width);
  const Qor32f *first = step.src.row(0), *second = step.src.row(step.size.height - 1);
  for (ptrdiff_t i = 0; i < width; ++i) sums[i] = first[i] + second[i];
  Qor32f* const filtered = sums + width;
  GaussDownRow<Qor32f, channels>(step.size.width)(filtered, sums);
  Qor32f* const dst = step.dst.row(0);
  for (ptrdiff_t i = 0; i < n; ++i) dst[i] = filtered[i] * 0.03125F;
}
template <int channels>
void gaussDownTwoColumns(const GaussDown<Qor32f, channels>& step) {
  const Axis rows = mirroredAxis(step.size.height);
  for (int y = 0; y < halfOf(step.size.height); ++y) {
    for (int c = 0; c < channels; ++c) {
      const auto sum = [&](int i) {
        const Qor32f* const row = step.src.row(static_cast<int>(rows.standIn(ptrdiff_t{2} * y + i)));
        return row[c] + row[(step.size.width - 1) * channels + c];
      };
      step.dst.row(y)[c] = sumOfFive(sum(-2), sum(-1), sum(0), sum(1), sum(2)) * 0.03125F;
    }
  }
}

}  // namespace qor
