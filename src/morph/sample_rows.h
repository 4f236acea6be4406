// Rows of samples for the sweep over runs.
#pragma once

#include <string.h>

#include "morph/difference.h"
#include "morph/runs.h"

namespace qor::inline QOR_LEVEL {

template <class Op, class T>
class SampleRows {
 public:
  static constexpr int mostRun = 256;
  // Results of a step, so many that the loop over the taps costs little beside them.
  static constexpr int tapUnroll = 128 / Vec<T>::bytes;
  // A vector may be read that begins inside a row.
  static constexpr int64_t slack = ownRowAlignment;
  static constexpr ptrdiff_t placesOfByte = 1;

  SampleRows(const SampleSource<T>& source, Plane<T> results, const Difference<T>& difference)
      : source_(source), results_(results), difference_(difference), channels_(source.channels) {}

  int64_t rowBytes(ptrdiff_t pixels) const { return roundUpTo(pixels * pixelBytes(), ownRowAlignment); }
  ptrdiff_t offset(ptrdiff_t pixels) const { return pixels * pixelBytes(); }
  static constexpr Place origin(ptrdiff_t) { return 0; }
  // 128 bytes, or that many samples' worth of pixels of three.
  ptrdiff_t stripUnit() const { return 128 / (channels_ == 3 ? ptrdiff_t{sizeof(T)} : pixelBytes()); }
  static constexpr ptrdiff_t leastStrip = 2, mostStrip = 16;

  const Qor8u* find(ptrdiff_t y, ptrdiff_t x, ptrdiff_t pixels) const {
    const Axis& axis = source_.sides().columns;
    if (x < 0 || x + pixels > axis.n - vectorPixels) return nullptr;
    return reinterpret_cast<const Qor8u*>(source_.row(y) + x * channels_);
  }

  void stage(Qor8u* own, ptrdiff_t y, ptrdiff_t x, ptrdiff_t pixels) const {
    const Axis& axis = source_.sides().columns;
    const Columns columns = Columns::existing(axis, x, x + pixels);
    const T* const row = source_.row(y);
    T* next = samples(own);
    // What stands left of the columns that exist repeats the first of them, what stands right of them the last.
    const ptrdiff_t before = columns.first > x ? columns.first - x : 0, inside = columns.end - columns.first;
    next = repeat(next, row + columns.first * channels_, before < pixels ? before : pixels - 1);
    memcpy(next, row + columns.first * channels_, static_cast<size_t>(inside * pixelBytes()));
    next += inside * channels_;
    repeat(next, row + (columns.end - 1) * channels_, (samples(own) + pixels * channels_ - next) / channels_);
  }

  void cover(Qor8u* to, const Qor8u* from, ptrdiff_t made, ptrdiff_t length, ptrdiff_t pixels) const {
    combineCovering<Op, RowEnd::open>(samples(from), channels_, made, length, samples(to), pixels * channels_);
  }

  void combine(const Qor8u* own, const Qor8u*, const Place* taps, int count, ptrdiff_t x, int y, ptrdiff_t pixels,
               bool first, bool last) const {
    T* const results = results_.row(y) + x * channels_;
    forUnits<T, tapUnroll>(
        pixels * channels_, [&]<class U>(std::type_identity<U>, ptrdiff_t at) __attribute__((always_inline)) {
          const T* const from = samples(own) + at;
          const auto tap = [&](int i) __attribute__((always_inline)) { return loadUnit<U>(behind(from, taps[i])); };
          U result = first ? tap(0) : combined<Op>(loadUnit<U>(results + at), tap(0));
          int i = 1;
          for (; i < count - 1; i += 2) {
            result = combined<Op>(result, tap(i));
            result = combined<Op>(result, tap(i + 1));
          }
          if (i < count) result = combined<Op>(result, tap(i));
          storeUnit(results + at, result);
        });
    if (last) difference_.take(x, y, pixels, channels_);
  }

 private:
  static constexpr ptrdiff_t vectorPixels = ownRowAlignment / sizeof(T);

  static const T* behind(const T* from, Place bytes) {
    return reinterpret_cast<const T*>(reinterpret_cast<const Qor8u*>(from) + bytes);
  }
  ptrdiff_t pixelBytes() const { return channels_ * ptrdiff_t{sizeof(T)}; }
  static T* samples(Qor8u* own) { return reinterpret_cast<T*>(own); }
  static const T* samples(const Qor8u* own) { return reinterpret_cast<const T*>(own); }

  T* repeat(T* to, const T* pixel, ptrdiff_t count) const {
    for (ptrdiff_t i = 0; i < count; ++i, to += channels_) {
      for (int c = 0; c < channels_; ++c) to[c] = pixel[c];
    }
    return to;
  }

  const SampleSource<T>& source_;
  Plane<T> results_;
  const Difference<T>& difference_;
  int channels_;
};

}  // namespace qor
