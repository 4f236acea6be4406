// Vectors of 16 bytes and the operations that kernels use on them: one line a function, overloaded on the sample type.
// Values never depend on this file's choices: every operation is exact or rounds as IEEE prescribes.
#pragma once

#include <nmmintrin.h>

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Integer samples share a register type; the sample type tells what an operation means.
template <class T>
struct Vec {
  static constexpr int lanes = 16 / static_cast<int>(sizeof(T));
  __m128i v;
};
template <>
struct Vec<Qor32f> {
  static constexpr int lanes = 4;
  __m128 v;
};
template <>
struct Vec<Qor64f> {
  static constexpr int lanes = 2;
  __m128d v;
};
using V8u = Vec<Qor8u>;
using V8s = Vec<Qor8s>;
using V16u = Vec<Qor16u>;
using V16s = Vec<Qor16s>;
using V32s = Vec<Qor32s>;
using V32u = Vec<Qor32u>;
using V64s = Vec<Qor64s>;
using V32f = Vec<Qor32f>;
using V64f = Vec<Qor64f>;

// Several vectors in flight: the samples of consecutive addresses.
template <class T, int count>
struct Block {
  static constexpr int samples = count * Vec<T>::lanes;
  Vec<T> v[count];
};

// ---- memory: addresses need no alignment, but for stream and loadAligned
template <class T>
inline Vec<T> load(const T* p) {
  return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
}
inline V32f load(const Qor32f* p) { return {_mm_loadu_ps(p)}; }
inline V64f load(const Qor64f* p) { return {_mm_loadu_pd(p)}; }
template <class T>
inline Vec<T> loadAligned(const T* p) {
  return {_mm_load_si128(reinterpret_cast<const __m128i*>(p))};
}
inline V32f loadAligned(const Qor32f* p) { return {_mm_load_ps(p)}; }
template <class T>
inline void store(T* p, Vec<T> a) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v);
}
inline void store(Qor32f* p, V32f a) { _mm_storeu_ps(p, a.v); }
inline void store(Qor64f* p, V64f a) { _mm_storeu_pd(p, a.v); }
template <class T>
inline void stream(T* p, Vec<T> a) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(p), a.v);
}
inline void stream(Qor32f* p, V32f a) { _mm_stream_ps(p, a.v); }
template <int count, class T>
inline Block<T, count> loadBlock(const T* p) {
  Block<T, count> b;
  for (int i = 0; i < count; ++i) b.v[i] = load(p + i * Vec<T>::lanes);
  return b;
}
template <class T, int count>
inline void store(T* p, const Block<T, count>& b) {
  for (int i = 0; i < count; ++i) store(p + i * Vec<T>::lanes, b.v[i]);
}
template <class T, int count>
inline void stream(T* p, const Block<T, count>& b) {
  for (int i = 0; i < count; ++i) stream(p + i * Vec<T>::lanes, b.v[i]);
}
// The low 4 or 8 bytes; the others are zero.
template <class T>
inline Vec<T> load4(const T* p) {
  return {_mm_loadu_si32(p)};
}
template <class T>
inline Vec<T> load8(const T* p) {
  return {_mm_loadu_si64(p)};
}

// ---- constants
template <class T>
inline Vec<T> zero() {
  return {_mm_setzero_si128()};
}
template <>
inline V32f zero<Qor32f>() {
  return {_mm_setzero_ps()};
}
template <>
inline V64f zero<Qor64f>() {
  return {_mm_setzero_pd()};
}
inline V8u splat(Qor8u x) { return {_mm_set1_epi8(static_cast<char>(x))}; }
inline V8s splat(Qor8s x) { return {_mm_set1_epi8(x)}; }
inline V16u splat(Qor16u x) { return {_mm_set1_epi16(static_cast<short>(x))}; }
inline V16s splat(Qor16s x) { return {_mm_set1_epi16(x)}; }
inline V32s splat(Qor32s x) { return {_mm_set1_epi32(x)}; }
inline V32u splat(Qor32u x) { return {_mm_set1_epi32(static_cast<int>(x))}; }
inline V64s splat(Qor64s x) { return {_mm_set1_epi64x(x)}; }
inline V32f splat(Qor32f x) { return {_mm_set1_ps(x)}; }
inline V64f splat(Qor64f x) { return {_mm_set1_pd(x)}; }

// ---- the same bits read as another sample type
template <class U, class T>
inline Vec<U> as(Vec<T> a) {
  return __builtin_bit_cast(Vec<U>, a);
}

// ---- bits
template <class T>
inline Vec<T> operator&(Vec<T> a, Vec<T> b) {
  return {_mm_and_si128(a.v, b.v)};
}
template <class T>
inline Vec<T> operator|(Vec<T> a, Vec<T> b) {
  return {_mm_or_si128(a.v, b.v)};
}
template <class T>
inline Vec<T> operator^(Vec<T> a, Vec<T> b) {
  return {_mm_xor_si128(a.v, b.v)};
}
inline V32f operator&(V32f a, V32f b) { return {_mm_and_ps(a.v, b.v)}; }
inline V32f operator|(V32f a, V32f b) { return {_mm_or_ps(a.v, b.v)}; }
inline V32f operator^(V32f a, V32f b) { return {_mm_xor_ps(a.v, b.v)}; }
inline V64f operator&(V64f a, V64f b) { return {_mm_and_pd(a.v, b.v)}; }
// b where the bits of mask are clear
template <class T>
inline Vec<T> andNot(Vec<T> mask, Vec<T> b) {
  return {_mm_andnot_si128(mask.v, b.v)};
}
inline V32f andNot(V32f mask, V32f b) { return {_mm_andnot_ps(mask.v, b.v)}; }
inline V64f andNot(V64f mask, V64f b) { return {_mm_andnot_pd(mask.v, b.v)}; }
// yes where the lanes of mask are all ones, no where they are zero
template <class T>
inline Vec<T> select(Vec<T> mask, Vec<T> yes, Vec<T> no) {
  return {_mm_blendv_epi8(no.v, yes.v, mask.v)};
}
inline V32f select(V32f mask, V32f yes, V32f no) { return {_mm_blendv_ps(no.v, yes.v, mask.v)}; }
inline V64f select(V64f mask, V64f yes, V64f no) { return {_mm_blendv_pd(no.v, yes.v, mask.v)}; }
// One bit a lane (a byte, in the integer types): its top bit.
template <class T>
inline int signBits(Vec<T> a) {
  return _mm_movemask_epi8(a.v);
}
inline int signBits(V32f a) { return _mm_movemask_ps(a.v); }
inline int signBits(V64f a) { return _mm_movemask_pd(a.v); }
template <class T>
inline bool allZero(Vec<T> a) {
  return _mm_testz_si128(a.v, a.v) != 0;
}

// ---- arithmetic; integers wrap
inline V8u operator+(V8u a, V8u b) { return {_mm_add_epi8(a.v, b.v)}; }
inline V8u operator-(V8u a, V8u b) { return {_mm_sub_epi8(a.v, b.v)}; }
inline V8s operator-(V8s a, V8s b) { return {_mm_sub_epi8(a.v, b.v)}; }
inline V16u operator+(V16u a, V16u b) { return {_mm_add_epi16(a.v, b.v)}; }
inline V16u operator-(V16u a, V16u b) { return {_mm_sub_epi16(a.v, b.v)}; }
inline V16s operator+(V16s a, V16s b) { return {_mm_add_epi16(a.v, b.v)}; }
inline V16s operator-(V16s a, V16s b) { return {_mm_sub_epi16(a.v, b.v)}; }
inline V16s operator*(V16s a, V16s b) { return {_mm_mullo_epi16(a.v, b.v)}; }
inline V32s operator+(V32s a, V32s b) { return {_mm_add_epi32(a.v, b.v)}; }
inline V32s operator-(V32s a, V32s b) { return {_mm_sub_epi32(a.v, b.v)}; }
inline V32s operator*(V32s a, V32s b) { return {_mm_mullo_epi32(a.v, b.v)}; }
inline V32u operator+(V32u a, V32u b) { return {_mm_add_epi32(a.v, b.v)}; }
inline V32u operator-(V32u a, V32u b) { return {_mm_sub_epi32(a.v, b.v)}; }
inline V64s operator+(V64s a, V64s b) { return {_mm_add_epi64(a.v, b.v)}; }
inline V64s operator-(V64s a, V64s b) { return {_mm_sub_epi64(a.v, b.v)}; }
inline V32f operator+(V32f a, V32f b) { return {_mm_add_ps(a.v, b.v)}; }
inline V32f operator-(V32f a, V32f b) { return {_mm_sub_ps(a.v, b.v)}; }
inline V32f operator*(V32f a, V32f b) { return {_mm_mul_ps(a.v, b.v)}; }
inline V32f operator/(V32f a, V32f b) { return {_mm_div_ps(a.v, b.v)}; }
inline V64f operator+(V64f a, V64f b) { return {_mm_add_pd(a.v, b.v)}; }
inline V64f operator-(V64f a, V64f b) { return {_mm_sub_pd(a.v, b.v)}; }
inline V64f operator*(V64f a, V64f b) { return {_mm_mul_pd(a.v, b.v)}; }
inline V64f operator/(V64f a, V64f b) { return {_mm_div_pd(a.v, b.v)}; }

inline V8u subSat(V8u a, V8u b) { return {_mm_subs_epu8(a.v, b.v)}; }

inline V16u subSat(V16u a, V16u b) { return {_mm_subs_epu16(a.v, b.v)}; }

inline V16s subSat(V16s a, V16s b) { return {_mm_subs_epi16(a.v, b.v)}; }
inline V32f sqrt(V32f a) { return {_mm_sqrt_ps(a.v)}; }
inline V64f sqrt(V64f a) { return {_mm_sqrt_pd(a.v)}; }

// The upper half of the product, and half of it more closely: (a * b + 2^14) >> 15.
inline V16u multiplyHigh(V16u a, V16u b) { return {_mm_mulhi_epu16(a.v, b.v)}; }
inline V16s multiplyHighRounded(V16s a, V16s b) { return {_mm_mulhrs_epi16(a.v, b.v)}; }

// ---- shifts by a count that may be a variable
inline V16u operator>>(V16u a, int n) { return {_mm_srl_epi16(a.v, _mm_cvtsi32_si128(n))}; }
inline V16u operator<<(V16u a, int n) { return {_mm_sll_epi16(a.v, _mm_cvtsi32_si128(n))}; }
inline V16s operator>>(V16s a, int n) { return {_mm_sra_epi16(a.v, _mm_cvtsi32_si128(n))}; }
inline V16s operator<<(V16s a, int n) { return {_mm_sll_epi16(a.v, _mm_cvtsi32_si128(n))}; }
inline V32s operator>>(V32s a, int n) { return {_mm_sra_epi32(a.v, _mm_cvtsi32_si128(n))}; }
inline V32s operator<<(V32s a, int n) { return {_mm_sll_epi32(a.v, _mm_cvtsi32_si128(n))}; }

// ---- minimum and maximum. Floats: the second operand when either is NaN or both are zero.
inline V8u min(V8u a, V8u b) { return {_mm_min_epu8(a.v, b.v)}; }
inline V8u max(V8u a, V8u b) { return {_mm_max_epu8(a.v, b.v)}; }
inline V8s min(V8s a, V8s b) { return {_mm_min_epi8(a.v, b.v)}; }
inline V8s max(V8s a, V8s b) { return {_mm_max_epi8(a.v, b.v)}; }
inline V16u min(V16u a, V16u b) { return {_mm_min_epu16(a.v, b.v)}; }
inline V16u max(V16u a, V16u b) { return {_mm_max_epu16(a.v, b.v)}; }
inline V16s min(V16s a, V16s b) { return {_mm_min_epi16(a.v, b.v)}; }
inline V16s max(V16s a, V16s b) { return {_mm_max_epi16(a.v, b.v)}; }
inline V32s min(V32s a, V32s b) { return {_mm_min_epi32(a.v, b.v)}; }
inline V32s max(V32s a, V32s b) { return {_mm_max_epi32(a.v, b.v)}; }
inline V32f min(V32f a, V32f b) { return {_mm_min_ps(a.v, b.v)}; }
inline V32f max(V32f a, V32f b) { return {_mm_max_ps(a.v, b.v)}; }
inline V64f min(V64f a, V64f b) { return {_mm_min_pd(a.v, b.v)}; }
inline V64f max(V64f a, V64f b) { return {_mm_max_pd(a.v, b.v)}; }

// ---- comparison: lanes of ones or zeros. Floats: false when unordered.
inline V8u operator==(V8u a, V8u b) { return {_mm_cmpeq_epi8(a.v, b.v)}; }
inline V8s operator==(V8s a, V8s b) { return {_mm_cmpeq_epi8(a.v, b.v)}; }
inline V16u operator==(V16u a, V16u b) { return {_mm_cmpeq_epi16(a.v, b.v)}; }
inline V16s operator==(V16s a, V16s b) { return {_mm_cmpeq_epi16(a.v, b.v)}; }
inline V32s operator==(V32s a, V32s b) { return {_mm_cmpeq_epi32(a.v, b.v)}; }
inline V8s operator>(V8s a, V8s b) { return {_mm_cmpgt_epi8(a.v, b.v)}; }
inline V16s operator>(V16s a, V16s b) { return {_mm_cmpgt_epi16(a.v, b.v)}; }
inline V32s operator>(V32s a, V32s b) { return {_mm_cmpgt_epi32(a.v, b.v)}; }
inline V32f operator==(V32f a, V32f b) { return {_mm_cmpeq_ps(a.v, b.v)}; }
inline V32f operator>(V32f a, V32f b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
inline V32f operator>=(V32f a, V32f b) { return {_mm_cmpge_ps(a.v, b.v)}; }
inline V32f operator<(V32f a, V32f b) { return {_mm_cmplt_ps(a.v, b.v)}; }
inline V64f operator>(V64f a, V64f b) { return {_mm_cmpgt_pd(a.v, b.v)}; }
inline V64f operator<(V64f a, V64f b) { return {_mm_cmplt_pd(a.v, b.v)}; }
inline V32f unordered(V32f a, V32f b) { return {_mm_cmpunord_ps(a.v, b.v)}; }

// ---- absolute value and difference. Signed integers: the lowest value has no opposite and is returned as it is.
inline V8u abs(V8s a) { return {_mm_abs_epi8(a.v)}; }
inline V16u abs(V16s a) { return {_mm_abs_epi16(a.v)}; }
inline V32s abs(V32s a) { return {_mm_abs_epi32(a.v)}; }
inline V32f abs(V32f a) { return andNot(splat(-0.0F), a); }
inline V64f abs(V64f a) { return andNot(splat(-0.0), a); }
inline V8u absDiff(V8u a, V8u b) { return subSat(a, b) | subSat(b, a); }
inline V16u absDiff(V16u a, V16u b) { return subSat(a, b) | subSat(b, a); }
inline V8u absDiff(V8s a, V8s b) { return as<Qor8u>(max(a, b)) - as<Qor8u>(min(a, b)); }
inline V32f absDiff(V32f a, V32f b) { return abs(a - b); }

// ---- the low lanes (Lo) or the high lanes (Hi) in the next wider type
inline V16u widenLo(V8u a) { return {_mm_cvtepu8_epi16(a.v)}; }
inline V16u widenHi(V8u a) { return {_mm_unpackhi_epi8(a.v, _mm_setzero_si128())}; }
inline V16s widenLo(V8s a) { return {_mm_cvtepi8_epi16(a.v)}; }
inline V16s widenHi(V8s a) { return {_mm_srai_epi16(_mm_unpackhi_epi8(a.v, a.v), 8)}; }
inline V32s widenLo(V16u a) { return {_mm_cvtepu16_epi32(a.v)}; }
inline V32s widenHi(V16u a) { return {_mm_unpackhi_epi16(a.v, _mm_setzero_si128())}; }
inline V32s widenLo(V16s a) { return {_mm_cvtepi16_epi32(a.v)}; }
inline V32s widenHi(V16s a) { return {_mm_srai_epi32(_mm_unpackhi_epi16(a.v, a.v), 16)}; }
inline V64s widenLo(V32s a) { return {_mm_cvtepi32_epi64(a.v)}; }
inline V64s widenHi(V32s a) { return {_mm_cvtepi32_epi64(_mm_unpackhi_epi64(a.v, a.v))}; }
inline V64s widenLo(V32u a) { return {_mm_cvtepu32_epi64(a.v)}; }
inline V64s widenHi(V32u a) { return {_mm_unpackhi_epi32(a.v, _mm_setzero_si128())}; }
inline V64f widenLo(V32f a) { return {_mm_cvtps_pd(a.v)}; }
inline V64f widenHi(V32f a) { return {_mm_cvtps_pd(_mm_movehl_ps(a.v, a.v))}; }

// ---- the low four lanes in 32 bits; the low half (Lo) or the high half (Hi) of a mask of lanes in the next wider type
inline V32s widenFour(V8u a) { return {_mm_cvtepu8_epi32(a.v)}; }
inline V32s widenFour(V8s a) { return {_mm_cvtepi8_epi32(a.v)}; }
inline V16u widenMaskLo(V8u a) { return {_mm_unpacklo_epi8(a.v, a.v)}; }
inline V16u widenMaskHi(V8u a) { return {_mm_unpackhi_epi8(a.v, a.v)}; }
inline V32u widenMaskLo(V16u a) { return {_mm_unpacklo_epi16(a.v, a.v)}; }
inline V32u widenMaskHi(V16u a) { return {_mm_unpackhi_epi16(a.v, a.v)}; }

// ---- bytes of a table by their numbers; a number with the top bit gives zero
inline V8u lookUp(V8u table, V8u numbers) { return {_mm_shuffle_epi8(table.v, numbers.v)}; }

// ---- samples 0, 3, 6, ... of three vectors
inline V8u everyThird(V8u a, V8u b, V8u c) {
  const __m128i fromA = _mm_setr_epi8(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const __m128i fromB = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 2, 5, 8, 11, 14, -1, -1, -1, -1, -1);
  const __m128i fromC = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, 4, 7, 10, 13);
  return V8u{_mm_shuffle_epi8(a.v, fromA)} | V8u{_mm_shuffle_epi8(b.v, fromB)} | V8u{_mm_shuffle_epi8(c.v, fromC)};
}
inline V8s everyThird(V8s a, V8s b, V8s c) { return as<Qor8s>(everyThird(as<Qor8u>(a), as<Qor8u>(b), as<Qor8u>(c))); }
// The wanted samples stand in different lanes of the three vectors: merged first, then brought into order.
inline V16u everyThird(V16u a, V16u b, V16u c) {
  const __m128i merged = _mm_blend_epi16(_mm_blend_epi16(a.v, b.v, 0x92), c.v, 0x24);
  return {_mm_shuffle_epi8(merged, _mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11))};
}
inline V32f everyThird(V32f a, V32f b, V32f c) {
  const __m128 merged = _mm_blend_ps(_mm_blend_ps(a.v, b.v, 4), c.v, 2);
  return {_mm_shuffle_ps(merged, merged, _MM_SHUFFLE(1, 2, 3, 0))};
}

// ---- two vectors into one of the next narrower type, saturated. The sources are signed.
inline V8u narrowToU(V16s lo, V16s hi) { return {_mm_packus_epi16(lo.v, hi.v)}; }
inline V8s narrowToS(V16s lo, V16s hi) { return {_mm_packs_epi16(lo.v, hi.v)}; }
inline V16u narrowToU(V32s lo, V32s hi) { return {_mm_packus_epi32(lo.v, hi.v)}; }
inline V16s narrowToS(V32s lo, V32s hi) { return {_mm_packs_epi32(lo.v, hi.v)}; }

// ---- float and integer. Nearest: ties to even; NaN and what lies outside 32 bits give the lowest integer.
inline V32f toFloat(V32s a) { return {_mm_cvtepi32_ps(a.v)}; }
inline V64f toDoubleLo(V32s a) { return {_mm_cvtepi32_pd(a.v)}; }
inline V64f toDoubleHi(V32s a) { return {_mm_cvtepi32_pd(_mm_unpackhi_epi64(a.v, a.v))}; }
inline V32s nearest(V32f a) { return {_mm_cvtps_epi32(a.v)}; }
inline V32s truncated(V32f a) { return {_mm_cvttps_epi32(a.v)}; }

inline V32f toFloat(V64f lo, V64f hi) { return {_mm_movelh_ps(_mm_cvtpd_ps(lo.v), _mm_cvtpd_ps(hi.v))}; }

// ---- sums of neighbours: products of pairs added in 32 bits; of eight bytes, or of their differences, in 64 bits
inline V32s multiplyAdd(V16s a, V16s b) { return {_mm_madd_epi16(a.v, b.v)}; }
inline V64s distanceOfEights(V8u a, V8u b) { return {_mm_sad_epu8(a.v, b.v)}; }
inline V64s sumOfEights(V8u a) { return {_mm_sad_epu8(a.v, _mm_setzero_si128())}; }

// ---- all lanes into one value; integers wrap
inline Qor32s sum(V32s a) {
  const __m128i pairs = _mm_add_epi32(a.v, _mm_unpackhi_epi64(a.v, a.v));
  return _mm_cvtsi128_si32(_mm_add_epi32(pairs, _mm_shuffle_epi32(pairs, 1)));
}
inline Qor64s sum(V64s a) { return _mm_cvtsi128_si64(_mm_add_epi64(a.v, _mm_unpackhi_epi64(a.v, a.v))); }
// ((0 + 2) + (1 + 3))
inline Qor32f sum(V32f a) {
  const __m128 pairs = _mm_add_ps(a.v, _mm_movehl_ps(a.v, a.v));
  return _mm_cvtss_f32(_mm_add_ss(pairs, _mm_shuffle_ps(pairs, pairs, 1)));
}
inline Qor64f sum(V64f a) { return _mm_cvtsd_f64(_mm_add_sd(a.v, _mm_unpackhi_pd(a.v, a.v))); }

}  // namespace qor
