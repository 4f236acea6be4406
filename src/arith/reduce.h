// Reductions over the pixels of a region: one channel of one or two images, all pixels or those that a mask selects.
//
// An operation is a set of lanes that take the vectors of a step of pixels, one after another:
//
//   struct Lanes {
//     using Total = ...;                                // starts as Total{}
//     static constexpr bool perRow = ...;               // float lanes: drained once, at the row's end
//     auto of(Vec<T>...) const;                         // what is measured of the pixels of the sources
//     void add(int i, Vec<...> measured);               // of vector i: zero where pixels do not take part, and the
//                                                       // lanes start as zero
//     void leaveOut(V8u out);                           // lanes may have it: ones where pixels do not take part
//     void drain(Total& total, int64_t steps) const;    // after so many whole steps
//   };
//
// reduceRows() brings the samples: any type, any channel of three, masked or not, and the remainders of the rows.
#pragma once

#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// ---- a step takes as many pixels as a vector has bytes, whatever their type
constexpr int stepPixels = V8u::lanes;
template <class T>
constexpr int vectorsOfStep = stepPixels / Vec<T>::lanes;

// Every sample, or every third.
template <int stride, class T>
inline Vec<T> loadEvery(const T* p) {
  static_assert(stride == 1 || stride == 3);
  if constexpr (stride == 1) {
    return load(p);
  } else {
    return third<0>(Triple<T>(p));
  }
}

// Two things that are measured of the same pixels.
template <class A, class B>
struct Both {
  A a;
  B b;
};
template <class A, class B>
Both(A, B) -> Both<A, B>;

// Zero bits where pixels do not take part, whatever was measured of them.
template <class T, class U>
inline Vec<U> zeroed(Vec<T> out, Vec<U> measured) {
  return andNot(as<U>(out), measured);
}
template <class Out, class A, class B>
inline Both<A, B> zeroed(Out out, const Both<A, B>& measured) {
  return {zeroed(out, measured.a), zeroed(out, measured.b)};
}

// ---- the loops

// Steps after which integer lanes are drained. With one more for a row's remainder, counts fit lanes of 8 bits and sums
// of what a step adds, at most 4 * 255^2, those of 32.
constexpr ptrdiff_t drainSteps = 254;

template <bool masked, int stride, class Lanes, class T, class... U>
QOR_FORCE_INLINE void takeStep(Lanes& lanes, const Qor8u* mask, const T* x, const U*... y) {
  V8u out;
  if constexpr (masked) out = maskedOut<Qor8u>(mask);
  for (int i = 0; i < vectorsOfStep<T>; ++i) {
    const ptrdiff_t at = i * stride * Vec<T>::lanes;
    const auto measured = lanes.of(loadEvery<stride>(x + at), loadEvery<stride>(y + at)...);
    if constexpr (masked) {
      lanes.add(i, zeroed(spreadMask<T>(out, i), measured));
    } else {
      lanes.add(i, measured);
    }
  }
  if constexpr (masked && requires { lanes.leaveOut(out); }) lanes.leaveOut(out);
}

// Adds n pixels of a row to total. The pointers address the wanted channel of the first pixel; nothing beyond the last
// pixel is read. Flattened: lanes stay in registers only when every call on them is inlined.
template <class Lanes, bool masked, int stride, class... T>
[[gnu::flatten, gnu::noinline]] void reduceRow(typename Lanes::Total& total, const Lanes& start, ptrdiff_t n,
                                               const Qor8u* mask, const T*... src) {
  constexpr ptrdiff_t apart = stepPixels * stride, maskApart = masked ? stepPixels : 0;
  // Wider samples fill the registers with fewer steps.
  constexpr int unroll = static_cast<int>(4 / ((sizeof(T) + ...) / sizeof...(T)));
  // A full step of every third sample also reads behind its last one, so it needs another pixel there.
  ptrdiff_t steps = (n - (stride == 3 ? 1 : 0)) / stepPixels;
  const ptrdiff_t remainder = n - steps * stepPixels;
  do {
    const ptrdiff_t now = Lanes::perRow || steps < drainSteps ? steps : drainSteps;
    Lanes lanes = start;
    ptrdiff_t left = now;
    for (; left >= unroll; left -= unroll) {
      for (int k = 0; k < unroll; ++k) takeStep<masked, stride>(lanes, mask + k * maskApart, (src + k * apart)...);
      mask += unroll * maskApart;
      ((src += unroll * apart), ...);
    }
    for (; left > 0; --left) {
      takeStep<masked, stride>(lanes, mask, src...);
      mask += maskApart;
      ((src += apart), ...);
    }
    steps -= now;
    int64_t added = now;
    if (steps == 0 && remainder != 0) {
      // Copies of what is left, in front of pixels that do not take part.
      Qor8u taken[stepPixels] = {};
      __builtin_memset(taken, 1, static_cast<size_t>(remainder));
      if constexpr (masked) __builtin_memcpy(taken, mask, static_cast<size_t>(remainder));
      const auto copied = [remainder]<class S>(const S* p) {
        struct {
          S samples[stride * stepPixels];
        } r = {};
        __builtin_memcpy(r.samples, p, static_cast<size_t>(stride * (remainder - 1) + 1) * sizeof(S));
        return r;
      };
      takeStep<true, stride>(lanes, taken, copied(src).samples...);
      ++added;
    }
    lanes.drain(total, added);
  } while (steps > 0);
}

// ---- the sources of a call, and its mask: none where the pointer is null. The types of the samples are known to what
// reads them, so that drivers exist once.
struct Operands {
  const void* src[2];
  int srcStep[2];
  Plane<const Qor8u> mask;
  QoriSize size;
  int coi;

  template <class T>
  Plane<const T> plane(int i) const {
    return {static_cast<const T*>(src[i]), srcStep[i]};
  }
};

// Total over the rows of a band. The lanes are given as they start: zero, with the constants of the operation.
template <bool masked, int channels, class Lanes, class... T>
typename Lanes::Total reducePlanes(const Lanes& start, const Operands& operands, Band band, Plane<const T>... src) {
  typename Lanes::Total total{};
  const int width = operands.size.width;
  const int64_t samples = static_cast<int64_t>(width) * channels;
  // Rows without gaps are one long row, unless the row is where float lanes widen.
  const bool joined =
      !Lanes::perRow && (!masked || operands.mask.contiguous(width)) && (src.contiguous(samples) && ...);
  const ptrdiff_t pixels = joined ? static_cast<ptrdiff_t>(width) * band.rows : width;
  const int end = joined ? band.first + 1 : band.first + band.rows;
  for (int y = band.first; y < end; ++y) {
    const Qor8u* const mask = masked ? operands.mask.row(y) : nullptr;
    reduceRow<Lanes, masked, channels>(total, start, pixels, mask, (src.row(y) + (operands.coi - 1))...);
  }
  return total;
}
template <bool masked, int channels, int sources, class T, class Lanes>
typename Lanes::Total reduceRows(const Lanes& start, const Operands& operands, Band band) {
  if constexpr (sources == 1) {
    return reducePlanes<masked, channels>(start, operands, band, operands.plane<T>(0));
  } else {
    return reducePlanes<masked, channels>(start, operands, band, operands.plane<T>(0), operands.plane<T>(1));
  }
}

// Partial result of the region: work gives that of a band.
template <class Partial>
[[gnu::noinline]] Partial reduceRegion(const TeamRule& rule, const Operands& operands,
                                       Partial (*work)(const Operands&, Band),
                                       void (*merge)(Partial& into, const Partial& next)) {
  return reduceBands(
      teamFor(rule, operands.size) > 0, operands.size.height, Partial{},
      [&operands, work](Band band) { return work(operands, band); }, merge);
}

// ---- when a reduction goes parallel: from so many pixels for every thread on, as a power of two
inline constexpr TeamRule from15 = {.pixelsOfThread = 1 << 15};
inline constexpr TeamRule from15OnCores = {.pixelsOfThread = 1 << 15, .cores = true};
inline constexpr TeamRule from16 = {.pixelsOfThread = 1 << 16};
inline constexpr TeamRule from17 = {.pixelsOfThread = 1 << 17};
inline constexpr TeamRule from17OnCores = {.pixelsOfThread = 1 << 17, .cores = true};
inline constexpr TeamRule from17Or15OnCores = {.pixelsOfThread = 1 << 17, .pixelsOfThreadOnCores = 1 << 15};
inline constexpr TeamRule from19 = {.pixelsOfThread = 1 << 19};

}  // namespace qor
