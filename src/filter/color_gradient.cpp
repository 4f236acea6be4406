// Norm of the three samples of a pixel: gray gradient strength from the derivative of a colour picture.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
struct Color {
  T channels[3];
};
template <class T>
const T* samples(const Color<T>* pixels) {
  return pixels->channels;
}

// The vector that begins so many samples behind p + 32 bytes, of which only the samples within 48 bytes count: what
// lies behind the block is not read.
template <int skip, class T>
inline Vec<T> lastShifted(const T* p) {
  return {_mm_srli_si128(load(p + 2 * Vec<T>::lanes).v, skip * static_cast<int>(sizeof(T)))};
}

// The three channels of four float pixels.
struct Channels {
  V32f a, b, c;
};
inline Channels channelsOf(V32f u, V32f v, V32f w) {
  const __m128 b = _mm_blend_ps(_mm_blend_ps(v.v, u.v, 0b0010), w.v, 0b0100);
  const __m128 c = _mm_blend_ps(_mm_blend_ps(w.v, v.v, 0b0010), u.v, 0b0100);
  return {everyThird(u, v, w),
          {_mm_shuffle_ps(b, b, _MM_SHUFFLE(2, 3, 0, 1))},
          {_mm_shuffle_ps(c, c, _MM_SHUFFLE(3, 0, 1, 2))}};
}

// Largest of three: the maximum with the two samples behind stands right where a pixel begins.
struct Inf {
  template <class T>
  Block<T, 1> operator()(const Color<T>* pixels) const {
    constexpr int lanes = Vec<T>::lanes;
    const T* const p = samples(pixels);
    const auto largest = [p](int i) { return max(max(load(p + i), load(p + i + 1)), load(p + i + 2)); };
    const Vec<T> last = max(max(load(p + 2 * lanes), lastShifted<1>(p)), lastShifted<2>(p));
    return {everyThird(largest(0), largest(lanes), last)};
  }
  Block<Qor32f, 1> operator()(const Color<Qor32f>* pixels) const {
    const Qor32f* const p = samples(pixels);
    const Channels s = channelsOf(abs(load(p)), abs(load(p + 4)), abs(load(p + 8)));
    return {max(max(s.a, s.b), s.c)};
  }
};

// Four pixels of bytes as a, b, c, 0. The last four of sixteen end with the block, so they are picked from further up.
template <bool last>
inline V8u fourPixels(const Qor8u* p) {
  const __m128i numbers = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m128i numbersOfLast = _mm_setr_epi8(4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
  return lookUp(load(last ? p - 4 : p), V8u{last ? numbersOfLast : numbers});
}

struct L1 {
  Block<Qor8u, 1> operator()(const Color<Qor8u>* pixels) const {
    const Qor8u* const p = samples(pixels);
    return {narrowToU(means(fourPixels<false>(p), fourPixels<false>(p + 12)),
                      means(fourPixels<false>(p + 24), fourPixels<true>(p + 36)))};
  }
  // With the sums in 18 bits, the product stays below 2^30.
  Block<Qor16u, 1> operator()(const Color<Qor16u>* pixels) const {
    const Qor16u* const p = samples(pixels);
    const V16u u = load(p), v = load(p + 8), w = load(p + 16);
    const Planes s = planesOf(u, v, w);
    const auto mean = [](V32s sum) { return (sum * splat(Qor32s{5461}) + splat(Qor32s{8192})) >> 14; };
    return {
        narrowToU(mean(widenLo(s.a) + widenLo(s.b) + widenLo(s.c)), mean(widenHi(s.a) + widenHi(s.b) + widenHi(s.c)))};
  }
  Block<Qor32f, 1> operator()(const Color<Qor32f>* pixels) const {
    const Qor32f* const p = samples(pixels);
    const Channels s = channelsOf(abs(load(p)), abs(load(p + 4)), abs(load(p + 8)));
    return {s.a + s.b + s.c};
  }

  struct Planes {
    V16u a, b, c;
  };
  static Planes planesOf(V16u u, V16u v, V16u w) {
    // Channel b begins in sample 1 of u, 2 of v and 0 of w; channel c in 2, 0 and 1.
    const __m128i b = _mm_blend_epi16(_mm_blend_epi16(u.v, v.v, 0b00100100), w.v, 0b01001001);
    const __m128i c = _mm_blend_epi16(_mm_blend_epi16(u.v, v.v, 0b01001001), w.v, 0b10010010);
    return {everyThird(u, v, w),
            {_mm_shuffle_epi8(b, _mm_setr_epi8(2, 3, 8, 9, 14, 15, 4, 5, 10, 11, 0, 1, 6, 7, 12, 13))},
            {_mm_shuffle_epi8(c, _mm_setr_epi8(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15))}};
  }

 private:
  // (sum * 1365 + 2048) >> 12 is (sum * 10920 + 2^14) >> 15, which is one instruction.
  static V16s means(V8u first, V8u second) {
    const __m128i ones = _mm_set1_epi8(1);
    const __m128i sums = _mm_hadd_epi16(_mm_maddubs_epi16(first.v, ones), _mm_maddubs_epi16(second.v, ones));
    return {_mm_mulhrs_epi16(sums, _mm_set1_epi16(10920))};
  }
};

// The integer forms round sqrt(S / 3) to nearest, S being the sum of squares: the result is the largest k with
// S >= 3 k (k - 1) + 3 / 4, that is with S > 3 k (k - 1). In between nothing can fall, and both neighbours are far
// enough from k - 1/2 for one rounded product and one rounded root: at S = 3 k (k - 1) the root lies 1 / (8 k) below,
// at the next S 1 / (24 k) above. For bytes that is 1.6e-4 against an error of 4.6e-5 in 32-bit float, three units of
// 2^-24 in 255; for 16 bits 6.3e-7 against 2.2e-11 in 64-bit float. S itself is exact: below 2^18, and below 2^34.
struct L2 {
  Block<Qor8u, 1> operator()(const Color<Qor8u>* pixels) const {
    const Qor8u* const p = samples(pixels);
    return {
        narrowToU(narrowToS(root<false>(p), root<false>(p + 12)), narrowToS(root<false>(p + 24), root<true>(p + 36)))};
  }
  Block<Qor16u, 1> operator()(const Color<Qor16u>* pixels) const {
    const Qor16u* const p = samples(pixels);
    const L1::Planes s = L1::planesOf(load(p), load(p + 8), load(p + 16));
    return {
        narrowToU(roots(widenLo(s.a), widenLo(s.b), widenLo(s.c)), roots(widenHi(s.a), widenHi(s.b), widenHi(s.c)))};
  }
  Block<Qor32f, 1> operator()(const Color<Qor32f>* pixels) const {
    const Qor32f* const p = samples(pixels);
    const V32f u = load(p), v = load(p + 4), w = load(p + 8);
    const Channels squares = channelsOf(u * u, v * v, w * w);
    return {sqrt(squares.a + squares.b + squares.c)};
  }

 private:
  template <bool last>
  static V32s root(const Qor8u* p) {
    // a and b in the two halves of a lane, and c alone.
    const __m128i ab = _mm_setr_epi8(0, -1, 1, -1, 3, -1, 4, -1, 6, -1, 7, -1, 9, -1, 10, -1);
    const __m128i abOfLast = _mm_setr_epi8(4, -1, 5, -1, 7, -1, 8, -1, 10, -1, 11, -1, 13, -1, 14, -1);
    const __m128i c = _mm_setr_epi8(2, -1, -1, -1, 5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1);
    const __m128i cOfLast = _mm_setr_epi8(6, -1, -1, -1, 9, -1, -1, -1, 12, -1, -1, -1, 15, -1, -1, -1);
    const V8u loaded = load(last ? p - 4 : p);
    const V16s first = as<Qor16s>(lookUp(loaded, V8u{last ? abOfLast : ab}));
    const V16s second = as<Qor16s>(lookUp(loaded, V8u{last ? cOfLast : c}));
    const V32f sum = toFloat(multiplyAdd(first, first) + multiplyAdd(second, second));
    return nearest(sqrt(sum * splat(1.0F / 3.0F)));
  }

  static __m128i roots(V64f a, V64f b, V64f c) {
    return _mm_cvtpd_epi32(sqrt((a * a + b * b + c * c) * splat(1.0 / 3.0)).v);
  }
  static V32s roots(V32s a, V32s b, V32s c) {
    return {_mm_unpacklo_epi64(roots(toDoubleLo(a), toDoubleLo(b), toDoubleLo(c)),
                               roots(toDoubleHi(a), toDoubleHi(b), toDoubleHi(c)))};
  }
};

// A team is formed only by callers that run in one, as large as theirs.
int teamFor(QoriSize roiSize) {
  const auto least = [](int a, int b) { return a < b ? a : b; };
  const int team = owncvGetNumThreads();
  if (team < 2) return 1;
  return least(least(team, owncvGetMaxNumThreads()),
               least(area(roiSize.width, roiSize.height) >> 10, roiSize.height >> 4));
}

template <class T>
QorStatus gradientColorToGray(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriNorm norm) {
  const bool known = norm == qoriNormInf || norm == qoriNormL1 || norm == qoriNormL2;
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pDst), sizeCheck(roiSize), stepCheck<T>(int64_t{3} * roiSize.width, srcStep),
      stepCheck<T>(roiSize.width, dstStep), evenCheck<T>(srcStep, dstStep), known ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const auto run = [&](auto kernel) {
    const auto row = [kernel](ptrdiff_t n, T* d, const Color<T>* s) {
      constexpr bool heavy = std::is_same_v<decltype(kernel), const L2>;
      mapRow<Stores::cached, heavy ? 1 : 4>(d, n, kernel, s);
    };
    const auto work = [&](Band band) {
      forEachRow(roiSize.width, band.first, band.rows, row, Plane{pDst, dstStep},
                 Plane{reinterpret_cast<const Color<T>*>(pSrc), srcStep});
    };
    const int team = teamFor(roiSize);
    if (team > 1) {
      forBands<roundedBandOf>(roiSize.height, team, work);
    } else {
      work(Band{0, 0, roiSize.height});
    }
  };
  if (norm == qoriNormInf) {
    run(Inf());
  } else if (norm == qoriNormL1) {
    run(L1());
  } else {
    run(L2());
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_COLOR_GRADIENT(name, T)                                                                   \
  QOR_BODY(name)(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriNorm norm) { \
    return qor::gradientColorToGray(pSrc, srcStep, pDst, dstStep, roiSize, norm);                     \
  }
QOR_COLOR_GRADIENT(qoriGradientColorToGray_8u_C3C1R, Qor8u)
QOR_COLOR_GRADIENT(qoriGradientColorToGray_16u_C3C1R, Qor16u)
QOR_COLOR_GRADIENT(qoriGradientColorToGray_32f_C3C1R, Qor32f)
