// Reductions over the pixels of a region: one channel of one or two images, all pixels or those that a mask selects.
//
// An operation is a set of lanes that take sixteen pixels at a time:
//
//   struct Lanes {
//     using Total = ...;                                             // starts as Total{}
//     static constexpr bool perRow = ...;                            // float lanes: drained once, at the row's end
//     template <class Kept> void add(const Kept& kept, Pixels<T>...);  // the lanes start as zero
//     void drain(Total& total, int64_t steps) const;                 // after so many calls of add
//   };
//
// reduceRows() brings the samples: any type, any channel of three, masked or not, and the remainders of the rows.
#pragma once

#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

constexpr int stepPixels = 16;

// Sixteen samples.
template <class T>
using Pixels = Block<T, stepPixels / Vec<T>::lanes>;

// op of every vector of the blocks.
template <class R, class Op, class T, class... U, int count>
inline Block<R, count> mapVectors(Op op, const Block<T, count>& a, const Block<U, count>&... b) {
  Block<R, count> r;
  for (int i = 0; i < count; ++i) r.v[i] = op(a.v[i], b.v[i]...);
  return r;
}

// ---- sixteen pixels of every sample or of every third
// With a stride of 3 all 48 samples from p on are read.
template <int stride, class T>
inline Pixels<T> loadPixels(const T* p) {
  static_assert(stride == 1 || stride == 3);
  constexpr int lanes = Vec<T>::lanes;
  Pixels<T> r;
  for (int i = 0; i < stepPixels / lanes; ++i) {
    const T* const s = p + i * lanes * stride;
    if constexpr (stride == 1) {
      r.v[i] = load(s);
    } else {
      r.v[i] = everyThird(load(s), load(s + lanes), load(s + 2 * lanes));
    }
  }
  return r;
}

// ---- which of sixteen pixels take part
struct AllKept {
  template <class T>
  Pixels<T> operator()(const Pixels<T>& x) const {
    return x;
  }
};

// Samples that do not take part become zero bits, whatever they held.
struct SomeKept {
  V8u out;  // ones where a pixel does not take part

  explicit SomeKept(const Qor8u* mask) : out(load(mask) == zero<Qor8u>()) {}

  template <class T>
  requires(sizeof(T) == 1) Pixels<T>
  operator()(const Pixels<T>& x) const { return {{andNot(as<T>(out), x.v[0])}}; }
  Pixels<Qor16u> operator()(const Pixels<Qor16u>& x) const {
    return {
        {andNot(V16u{_mm_unpacklo_epi8(out.v, out.v)}, x.v[0]), andNot(V16u{_mm_unpackhi_epi8(out.v, out.v)}, x.v[1])}};
  }
  Pixels<Qor32f> operator()(const Pixels<Qor32f>& x) const {
    Pixels<Qor32f> r;
    for (int i = 0; i < 4; ++i) {
      const __m128i fourTimes = _mm_add_epi8(_mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3),
                                             _mm_set1_epi8(static_cast<char>(4 * i)));
      r.v[i] = andNot(as<Qor32f>(V8u{_mm_shuffle_epi8(out.v, fourTimes)}), x.v[i]);
    }
    return r;
  }
};

// ---- the loops

// Steps after which integer lanes are drained. With one more for a row's remainder, counts fit lanes of 8 bits and sums
// of what a step adds, at most 4 * 255^2, those of 32.
constexpr ptrdiff_t drainSteps = 254;

// A mask, or that there is none.
struct NoMask {
  static constexpr bool present = false;

  bool contiguous(int64_t) const { return true; }
  const Qor8u* row(int) const { return nullptr; }
  QorStatus nullCheck() const { return qorStsNoErr; }
  QorStatus stepCheck(int) const { return qorStsNoErr; }
};
struct Mask : Plane<const Qor8u> {
  static constexpr bool present = true;

  QorStatus nullCheck() const { return qor::nullCheck(first); }
  QorStatus stepCheck(int width) const { return qor::stepCheck<Qor8u>(width, step); }
};

// Adds n pixels of a row to total. The pointers address the wanted channel of the first pixel; nothing beyond the last
// pixel is read. Flattened: lanes stay in registers only when every call on them is inlined.
template <class Lanes, bool masked, int stride, class... T>
[[gnu::flatten, gnu::noinline]] void reduceRow(typename Lanes::Total& total, const Lanes& start, ptrdiff_t n,
                                               const Qor8u* mask, const T*... src) {
  const auto step = [](Lanes& lanes, const Qor8u* m, const T*... p) {
    if constexpr (masked) {
      lanes.add(SomeKept(m), loadPixels<stride>(p)...);
    } else {
      lanes.add(AllKept{}, loadPixels<stride>(p)...);
    }
  };
  constexpr ptrdiff_t apart = stepPixels * stride, maskApart = masked ? stepPixels : 0;
  // Wider samples fill the registers with fewer steps.
  constexpr int unroll = static_cast<int>(4 / ((sizeof(T) + ...) / sizeof...(T)));
  // A full step of every third sample also reads behind its last one, so it needs another pixel there.
  ptrdiff_t steps = (n - (stride == 3 ? 1 : 0)) / stepPixels;
  const int remainder = static_cast<int>(n - steps * stepPixels);
  do {
    const ptrdiff_t now = Lanes::perRow || steps < drainSteps ? steps : drainSteps;
    Lanes lanes = start;
    ptrdiff_t i = 0;
    for (; i + unroll <= now; i += unroll) {
      for (int k = 0; k < unroll; ++k) step(lanes, mask + k * maskApart, (src + k * apart)...);
      mask += unroll * maskApart;
      ((src += unroll * apart), ...);
    }
    for (; i < now; ++i) {
      step(lanes, mask, src...);
      mask += maskApart;
      ((src += apart), ...);
    }
    steps -= now;
    int64_t added = now;
    if (steps == 0 && remainder != 0) {
      // Copies of what is left, in front of pixels that do not take part.
      Qor8u m[stepPixels] = {};
      for (int x = 0; x < remainder; ++x) m[x] = masked ? mask[x] : 1;
      const auto copied = [remainder](const auto* p) {
        struct {
          std::remove_cvref_t<decltype(*p)> samples[stepPixels];
        } r = {};
        for (int x = 0; x < remainder; ++x) r.samples[x] = p[stride * x];
        return r;
      };
      lanes.add(SomeKept(m), loadPixels<1>(copied(src).samples)...);
      ++added;
    }
    lanes.drain(total, added);
  } while (steps > 0);
}

// Total over the rows of a band. The lanes are given as they start: zero, with the constants of the operation.
template <int channels, class Lanes, class Masking, class... T>
typename Lanes::Total reduceRows(const Lanes& start, int width, Band band, Masking mask, int channel,
                                 Plane<const T>... src) {
  typename Lanes::Total total{};
  const int64_t samples = static_cast<int64_t>(width) * channels;
  // Rows without gaps are one long row, unless the row is where float lanes widen.
  const bool joined = !Lanes::perRow && mask.contiguous(width) && (src.contiguous(samples) && ...);
  const ptrdiff_t pixels = joined ? static_cast<ptrdiff_t>(width) * band.rows : width;
  const int end = joined ? band.first + 1 : band.first + band.rows;
  for (int y = band.first; y < end; ++y) {
    reduceRow<Lanes, Masking::present, channels>(total, start, pixels, mask.row(y), (src.row(y) + channel)...);
  }
  return total;
}

// ---- when a reduction goes parallel: from so many pixels for every thread on, as a power of two
inline constexpr TeamRule never = {.leastThreads = topOf<int>};
inline constexpr TeamRule from15 = {.pixelsOfThread = 1 << 15};
inline constexpr TeamRule from15OnCores = {.pixelsOfThread = 1 << 15, .cores = true};
inline constexpr TeamRule from16 = {.pixelsOfThread = 1 << 16};
inline constexpr TeamRule from17 = {.pixelsOfThread = 1 << 17};
inline constexpr TeamRule from17OnCores = {.pixelsOfThread = 1 << 17, .cores = true};
inline constexpr TeamRule from17Or15OnCores = {.pixelsOfThread = 1 << 17, .pixelsOfThreadOnCores = 1 << 15};
inline constexpr TeamRule from19 = {.pixelsOfThread = 1 << 19};

}  // namespace qor
