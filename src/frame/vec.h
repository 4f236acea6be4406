// Vectors and the operations that kernels use on them: one line a function, overloaded on the sample type. Values never
// depend on this file's choices: every operation is exact or rounds as IEEE prescribes.
//
// Vec<T> fills a register of the level that is built: 16 bytes, or 32 where the level is wide. Short<T> has 16 bytes at
// every level, for blocks whose length belongs to a contract. Every operation means the same at both widths, in the
// order of addresses. Where an operation works within each 16 bytes of a vector, its comment says so; Split holds
// wider lanes in the order that this gives.
#pragma once

#include <immintrin.h>

#include "frame/base.h"

#ifndef QOR_VECTOR_BYTES
  #ifdef QOR_LEVEL_V3
    #define QOR_VECTOR_BYTES 32
  #else
    #define QOR_VECTOR_BYTES 16
  #endif
#endif

#define QOR_VEC_FN QOR_FORCE_INLINE

namespace qor::inline QOR_LEVEL {

// Integer samples share a register type; the sample type tells what an operation means.
template <class T, int size>
struct VecOf;
template <class T>
struct VecOf<T, 16> {
  using Sample = T;
  static constexpr int bytes = 16, lanes = bytes / static_cast<int>(sizeof(T));
  __m128i v;
};
template <>
struct VecOf<Qor32f, 16> {
  using Sample = Qor32f;
  static constexpr int bytes = 16, lanes = 4;
  __m128 v;
};
template <>
struct VecOf<Qor64f, 16> {
  using Sample = Qor64f;
  static constexpr int bytes = 16, lanes = 2;
  __m128d v;
};
#ifdef __AVX2__
template <class T>
struct VecOf<T, 32> {
  using Sample = T;
  static constexpr int bytes = 32, lanes = bytes / static_cast<int>(sizeof(T));
  __m256i v;
};
template <>
struct VecOf<Qor32f, 32> {
  using Sample = Qor32f;
  static constexpr int bytes = 32, lanes = 8;
  __m256 v;
};
template <>
struct VecOf<Qor64f, 32> {
  using Sample = Qor64f;
  static constexpr int bytes = 32, lanes = 4;
  __m256d v;
};
#endif

template <class T>
using Vec = VecOf<T, QOR_VECTOR_BYTES>;
template <class T>
using Short = VecOf<T, 16>;

using V8u = Vec<Qor8u>;
using V8s = Vec<Qor8s>;
using V16u = Vec<Qor16u>;
using V16s = Vec<Qor16s>;
using V32s = Vec<Qor32s>;
using V32u = Vec<Qor32u>;
using V64s = Vec<Qor64s>;
using V32f = Vec<Qor32f>;
using V64f = Vec<Qor64f>;

// The vector type of a sample type; of a vector type, itself. It lets operations be asked for by either.
template <class T>
struct VectorOf {
  using Type = Vec<T>;
};
template <class T, int size>
struct VectorOf<VecOf<T, size>> {
  using Type = VecOf<T, size>;
};
template <class T>
using Vector = typename VectorOf<T>::Type;

// Several vectors in flight: the samples of consecutive addresses.
template <class V, int count>
struct BlockOf {
  using Sample = typename V::Sample;
  static constexpr int samples = count * V::lanes;
  V v[count];
};
template <class T, int count>
using Block = BlockOf<Vec<T>, count>;

// Definitions at every width of the level, from what follows the prefix of an intrinsic. The wide forms of those that
// name the register's size have names of their own.
#ifdef __AVX2__
  #define QOR_VEC_1(R, name, A, op)                                          \
    QOR_VEC_FN VecOf<R, 16> name(VecOf<A, 16> a) { return {_mm_##op(a.v)}; } \
    QOR_VEC_FN VecOf<R, 32> name(VecOf<A, 32> a) { return {_mm256_##op(a.v)}; }
  #define QOR_VEC_2(R, name, A, op)                                                               \
    QOR_VEC_FN VecOf<R, 16> name(VecOf<A, 16> a, VecOf<A, 16> b) { return {_mm_##op(a.v, b.v)}; } \
    QOR_VEC_FN VecOf<R, 32> name(VecOf<A, 32> a, VecOf<A, 32> b) { return {_mm256_##op(a.v, b.v)}; }
  #define QOR_VEC_SHIFT(name, T, op)                                                                      \
    QOR_VEC_FN VecOf<T, 16> name(VecOf<T, 16> a, int n) { return {_mm_##op(a.v, _mm_cvtsi32_si128(n))}; } \
    QOR_VEC_FN VecOf<T, 32> name(VecOf<T, 32> a, int n) { return {_mm256_##op(a.v, _mm_cvtsi32_si128(n))}; }
#else
  #define QOR_VEC_1(R, name, A, op) \
    QOR_VEC_FN VecOf<R, 16> name(VecOf<A, 16> a) { return {_mm_##op(a.v)}; }
  #define QOR_VEC_2(R, name, A, op) \
    QOR_VEC_FN VecOf<R, 16> name(VecOf<A, 16> a, VecOf<A, 16> b) { return {_mm_##op(a.v, b.v)}; }
  #define QOR_VEC_SHIFT(name, T, op) \
    QOR_VEC_FN VecOf<T, 16> name(VecOf<T, 16> a, int n) { return {_mm_##op(a.v, _mm_cvtsi32_si128(n))}; }
#endif

// ---- memory: addresses need no alignment, but for stream and loadAligned
template <class V>
QOR_VEC_FN V load(const typename V::Sample* p) {
  V a;
  __builtin_memcpy(&a, p, sizeof a);
  return a;
}
template <class T>
QOR_VEC_FN Vec<T> load(const T* p) {
  return load<Vec<T>>(p);
}
template <class T>
QOR_VEC_FN Vec<T> loadAligned(const T* p) {
  return *reinterpret_cast<const Vec<T>*>(__builtin_assume_aligned(p, Vec<T>::bytes));
}
template <class T, int size>
QOR_VEC_FN void store(T* p, VecOf<T, size> a) {
  __builtin_memcpy(p, &a, sizeof a);
}
template <class T>
QOR_VEC_FN void stream(T* p, Short<T> a) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(p), __builtin_bit_cast(__m128i, a));
}
#ifdef __AVX2__
template <class T>
QOR_VEC_FN void stream(T* p, VecOf<T, 32> a) {
  _mm256_stream_si256(reinterpret_cast<__m256i*>(p), __builtin_bit_cast(__m256i, a));
}
#endif
template <int count, class T>
QOR_VEC_FN Block<T, count> loadBlock(const T* p) {
  Block<T, count> b;
  for (int i = 0; i < count; ++i) b.v[i] = load(p + i * Vec<T>::lanes);
  return b;
}
template <class T, class V, int count>
QOR_VEC_FN void store(T* p, const BlockOf<V, count>& b) {
  for (int i = 0; i < count; ++i) store(p + i * V::lanes, b.v[i]);
}
template <class T, class V, int count>
QOR_VEC_FN void stream(T* p, const BlockOf<V, count>& b) {
  for (int i = 0; i < count; ++i) stream(p + i * V::lanes, b.v[i]);
}
// The first n samples of a vector or block, at most all; those behind them are zero, or not stored.
template <class V>
inline V loadFirst(const typename V::Sample* p, ptrdiff_t n) {
  V a{};
  __builtin_memcpy(&a, p, static_cast<size_t>(n) * sizeof *p);
  return a;
}
template <class V>
inline void storeFirst(typename V::Sample* p, ptrdiff_t n, const V& a) {
  __builtin_memcpy(p, &a, static_cast<size_t>(n) * sizeof *p);
}

// The low 4 or 8 bytes; the others are zero.
template <class T>
QOR_VEC_FN Short<T> load4(const T* p) {
  return {_mm_loadu_si32(p)};
}
template <class T>
QOR_VEC_FN Short<T> load8(const T* p) {
  return {_mm_loadu_si64(p)};
}

// ---- constants
template <class T>
QOR_VEC_FN Vector<T> zero() {
  return Vector<T>{};
}
QOR_VEC_FN void fill(Short<Qor64f>& a, Qor64f x) { a.v = _mm_set1_pd(x); }
QOR_VEC_FN void fill(Short<Qor32f>& a, Qor32f x) { a.v = _mm_set1_ps(x); }
template <class T>
QOR_VEC_FN void fill(Short<T>& a, T x) {
  if constexpr (sizeof(T) == 1) a.v = _mm_set1_epi8(static_cast<char>(x));
  if constexpr (sizeof(T) == 2) a.v = _mm_set1_epi16(static_cast<short>(x));
  if constexpr (sizeof(T) == 4) a.v = _mm_set1_epi32(static_cast<int>(x));
  if constexpr (sizeof(T) == 8) a.v = _mm_set1_epi64x(static_cast<long long>(x));
}
#ifdef __AVX2__
QOR_VEC_FN void fill(VecOf<Qor64f, 32>& a, Qor64f x) { a.v = _mm256_set1_pd(x); }
QOR_VEC_FN void fill(VecOf<Qor32f, 32>& a, Qor32f x) { a.v = _mm256_set1_ps(x); }
template <class T>
QOR_VEC_FN void fill(VecOf<T, 32>& a, T x) {
  if constexpr (sizeof(T) == 1) a.v = _mm256_set1_epi8(static_cast<char>(x));
  if constexpr (sizeof(T) == 2) a.v = _mm256_set1_epi16(static_cast<short>(x));
  if constexpr (sizeof(T) == 4) a.v = _mm256_set1_epi32(static_cast<int>(x));
  if constexpr (sizeof(T) == 8) a.v = _mm256_set1_epi64x(static_cast<long long>(x));
}
#endif
// splat(x) fills a Vec, splat<V>(x) any other vector.
template <class V>
QOR_VEC_FN V splat(typename V::Sample x) {
  V a;
  fill(a, x);
  return a;
}
template <class T>
QOR_VEC_FN Vec<T> splat(T x) {
  return splat<Vec<T>>(x);
}
// The same 16 bytes in every 16 bytes.
template <class T>
QOR_VEC_FN Vec<T> repeated(Short<T> a) {
#if QOR_VECTOR_BYTES == 32
  return __builtin_bit_cast(Vec<T>, _mm256_broadcastsi128_si256(__builtin_bit_cast(__m128i, a)));
#else
  return a;
#endif
}
// Numbers for lookUp, the same in every 16 bytes.
QOR_VEC_FN V8u bytes(int b0, int b1, int b2, int b3, int b4, int b5, int b6, int b7, int b8, int b9, int b10, int b11,
                     int b12, int b13, int b14, int b15) {
  const auto c = [](int b) { return static_cast<char>(b); };
  return repeated(Short<Qor8u>{_mm_setr_epi8(c(b0), c(b1), c(b2), c(b3), c(b4), c(b5), c(b6), c(b7), c(b8), c(b9),
                                             c(b10), c(b11), c(b12), c(b13), c(b14), c(b15))});
}

// ---- the same bits read as another sample type
template <class U, class T, int size>
QOR_VEC_FN VecOf<U, size> as(VecOf<T, size> a) {
  return __builtin_bit_cast(VecOf<U, size>, a);
}

// ---- the first and the last 16 bytes, and a vector of two such; for a Short both are the whole
template <class T>
QOR_VEC_FN Short<T> firstShort(Short<T> a) {
  return a;
}
template <class T>
QOR_VEC_FN Short<T> lastShort(Short<T> a) {
  return a;
}
#ifdef __AVX2__
template <class T>
QOR_VEC_FN Short<T> firstShort(VecOf<T, 32> a) {
  return __builtin_bit_cast(Short<T>, _mm256_castsi256_si128(__builtin_bit_cast(__m256i, a)));
}
template <class T>
QOR_VEC_FN Short<T> lastShort(VecOf<T, 32> a) {
  return __builtin_bit_cast(Short<T>, _mm256_extracti128_si256(__builtin_bit_cast(__m256i, a), 1));
}
template <class T>
QOR_VEC_FN VecOf<T, 32> ofShorts(Short<T> first, Short<T> last) {
  return __builtin_bit_cast(VecOf<T, 32>,
                            _mm256_set_m128i(__builtin_bit_cast(__m128i, last), __builtin_bit_cast(__m128i, first)));
}
#endif

// ---- bits
#define QOR_VEC_BITS(size, prefix)                                          \
  template <class T>                                                        \
  QOR_VEC_FN VecOf<T, size> operator&(VecOf<T, size> a, VecOf<T, size> b) { \
    return {prefix(and)(a.v, b.v)};                                         \
  }                                                                         \
  template <class T>                                                        \
  QOR_VEC_FN VecOf<T, size> operator|(VecOf<T, size> a, VecOf<T, size> b) { \
    return {prefix(or)(a.v, b.v)};                                          \
  }                                                                         \
  template <class T>                                                        \
  QOR_VEC_FN VecOf<T, size> operator^(VecOf<T, size> a, VecOf<T, size> b) { \
    return {prefix(xor)(a.v, b.v)};                                         \
  }                                                                         \
  /* b where the bits of mask are clear */                                  \
  template <class T>                                                        \
  QOR_VEC_FN VecOf<T, size> andNot(VecOf<T, size> mask, VecOf<T, size> b) { \
    return {prefix(andnot)(mask.v, b.v)};                                   \
  }
#define QOR_SI128(op) _mm_##op##_si128
QOR_VEC_BITS(16, QOR_SI128)
#ifdef __AVX2__
  #define QOR_SI256(op) _mm256_##op##_si256
QOR_VEC_BITS(32, QOR_SI256)
  #undef QOR_SI256
#endif
#undef QOR_SI128
#undef QOR_VEC_BITS
QOR_VEC_2(Qor32f, operator&, Qor32f, and_ps)
QOR_VEC_2(Qor32f, operator|, Qor32f, or_ps)
QOR_VEC_2(Qor32f, operator^, Qor32f, xor_ps)
QOR_VEC_2(Qor32f, andNot, Qor32f, andnot_ps)
QOR_VEC_2(Qor64f, operator&, Qor64f, and_pd)
QOR_VEC_2(Qor64f, operator|, Qor64f, or_pd)
QOR_VEC_2(Qor64f, andNot, Qor64f, andnot_pd)

// yes where the lanes of mask are all ones, no where they are zero
template <class T>
QOR_VEC_FN Short<T> select(Short<T> mask, Short<T> yes, Short<T> no) {
  return {_mm_blendv_epi8(no.v, yes.v, mask.v)};
}
QOR_VEC_FN Short<Qor32f> select(Short<Qor32f> mask, Short<Qor32f> yes, Short<Qor32f> no) {
  return {_mm_blendv_ps(no.v, yes.v, mask.v)};
}
QOR_VEC_FN Short<Qor64f> select(Short<Qor64f> mask, Short<Qor64f> yes, Short<Qor64f> no) {
  return {_mm_blendv_pd(no.v, yes.v, mask.v)};
}
// One bit a lane (a byte, in the integer types): its top bit.
template <class T>
QOR_VEC_FN Qor32u signBits(Short<T> a) {
  return static_cast<Qor32u>(_mm_movemask_epi8(a.v));
}
QOR_VEC_FN Qor32u signBits(Short<Qor32f> a) { return static_cast<Qor32u>(_mm_movemask_ps(a.v)); }
QOR_VEC_FN Qor32u signBits(Short<Qor64f> a) { return static_cast<Qor32u>(_mm_movemask_pd(a.v)); }
template <class T>
QOR_VEC_FN bool allZero(Short<T> a) {
  return _mm_testz_si128(a.v, a.v) != 0;
}
#ifdef __AVX2__
template <class T>
QOR_VEC_FN VecOf<T, 32> select(VecOf<T, 32> mask, VecOf<T, 32> yes, VecOf<T, 32> no) {
  return {_mm256_blendv_epi8(no.v, yes.v, mask.v)};
}
QOR_VEC_FN VecOf<Qor32f, 32> select(VecOf<Qor32f, 32> mask, VecOf<Qor32f, 32> yes, VecOf<Qor32f, 32> no) {
  return {_mm256_blendv_ps(no.v, yes.v, mask.v)};
}
QOR_VEC_FN VecOf<Qor64f, 32> select(VecOf<Qor64f, 32> mask, VecOf<Qor64f, 32> yes, VecOf<Qor64f, 32> no) {
  return {_mm256_blendv_pd(no.v, yes.v, mask.v)};
}
template <class T>
QOR_VEC_FN Qor32u signBits(VecOf<T, 32> a) {
  return static_cast<Qor32u>(_mm256_movemask_epi8(a.v));
}
QOR_VEC_FN Qor32u signBits(VecOf<Qor32f, 32> a) { return static_cast<Qor32u>(_mm256_movemask_ps(a.v)); }
QOR_VEC_FN Qor32u signBits(VecOf<Qor64f, 32> a) { return static_cast<Qor32u>(_mm256_movemask_pd(a.v)); }
template <class T>
QOR_VEC_FN bool allZero(VecOf<T, 32> a) {
  return _mm256_testz_si256(a.v, a.v) != 0;
}
#endif
// What signBits gives for a lane: so many bits; and for lanes that are all ones.
template <class V>
constexpr int bitsOfLane = std::is_floating_point_v<typename V::Sample> ? 1
                                                                        : static_cast<int>(sizeof(typename V::Sample));
template <class V>
constexpr Qor32u allSignBits = static_cast<Qor32u>((uint64_t{1} << (V::lanes * bitsOfLane<V>)) - 1);

// ---- arithmetic; integers wrap
QOR_VEC_2(Qor8u, operator+, Qor8u, add_epi8)
QOR_VEC_2(Qor8u, operator-, Qor8u, sub_epi8)
QOR_VEC_2(Qor8s, operator+, Qor8s, add_epi8)
QOR_VEC_2(Qor8s, operator-, Qor8s, sub_epi8)
QOR_VEC_2(Qor16u, operator+, Qor16u, add_epi16)
QOR_VEC_2(Qor16u, operator-, Qor16u, sub_epi16)
QOR_VEC_2(Qor16u, operator*, Qor16u, mullo_epi16)
QOR_VEC_2(Qor16s, operator+, Qor16s, add_epi16)
QOR_VEC_2(Qor16s, operator-, Qor16s, sub_epi16)
QOR_VEC_2(Qor16s, operator*, Qor16s, mullo_epi16)
QOR_VEC_2(Qor32s, operator+, Qor32s, add_epi32)
QOR_VEC_2(Qor32s, operator-, Qor32s, sub_epi32)
QOR_VEC_2(Qor32s, operator*, Qor32s, mullo_epi32)
QOR_VEC_2(Qor32u, operator+, Qor32u, add_epi32)
QOR_VEC_2(Qor32u, operator-, Qor32u, sub_epi32)
QOR_VEC_2(Qor64s, operator+, Qor64s, add_epi64)
QOR_VEC_2(Qor64s, operator-, Qor64s, sub_epi64)
QOR_VEC_2(Qor32f, operator+, Qor32f, add_ps)
QOR_VEC_2(Qor32f, operator-, Qor32f, sub_ps)
QOR_VEC_2(Qor32f, operator*, Qor32f, mul_ps)
QOR_VEC_2(Qor32f, operator/, Qor32f, div_ps)
QOR_VEC_2(Qor64f, operator+, Qor64f, add_pd)
QOR_VEC_2(Qor64f, operator-, Qor64f, sub_pd)
QOR_VEC_2(Qor64f, operator*, Qor64f, mul_pd)
QOR_VEC_2(Qor64f, operator/, Qor64f, div_pd)
QOR_VEC_2(Qor8u, addSat, Qor8u, adds_epu8)
QOR_VEC_2(Qor8s, addSat, Qor8s, adds_epi8)
QOR_VEC_2(Qor16u, addSat, Qor16u, adds_epu16)
QOR_VEC_2(Qor16s, addSat, Qor16s, adds_epi16)
QOR_VEC_2(Qor8u, subSat, Qor8u, subs_epu8)
QOR_VEC_2(Qor8s, subSat, Qor8s, subs_epi8)
QOR_VEC_2(Qor16u, subSat, Qor16u, subs_epu16)
QOR_VEC_2(Qor16s, subSat, Qor16s, subs_epi16)
QOR_VEC_1(Qor32f, sqrt, Qor32f, sqrt_ps)
QOR_VEC_1(Qor64f, sqrt, Qor64f, sqrt_pd)
// (a + b + 1) >> 1
QOR_VEC_2(Qor8u, average, Qor8u, avg_epu8)
QOR_VEC_2(Qor16u, average, Qor16u, avg_epu16)

// The upper half of the product, and half of it more closely: (a * b + 2^14) >> 15.
QOR_VEC_2(Qor16u, multiplyHigh, Qor16u, mulhi_epu16)
QOR_VEC_2(Qor16s, multiplyHigh, Qor16s, mulhi_epi16)
QOR_VEC_2(Qor16s, multiplyHighRounded, Qor16s, mulhrs_epi16)
// 64-bit products of lanes 0, 2, 4, ...
QOR_VEC_2(Qor64s, multiplyEven, Qor32s, mul_epi32)

// ---- shifts by a count that may be a variable
QOR_VEC_SHIFT(operator>>, Qor16u, srl_epi16)
QOR_VEC_SHIFT(operator<<, Qor16u, sll_epi16)
QOR_VEC_SHIFT(operator>>, Qor16s, sra_epi16)
QOR_VEC_SHIFT(operator<<, Qor16s, sll_epi16)
QOR_VEC_SHIFT(operator>>, Qor32s, sra_epi32)
QOR_VEC_SHIFT(operator<<, Qor32s, sll_epi32)
QOR_VEC_SHIFT(operator>>, Qor32u, srl_epi32)
QOR_VEC_SHIFT(operator<<, Qor32u, sll_epi32)
QOR_VEC_SHIFT(operator<<, Qor64s, sll_epi64)

// ---- minimum and maximum. Floats: the second operand when either is NaN or both are zero.
#define QOR_VEC_BOUNDS(T, suffix)    \
  QOR_VEC_2(T, min, T, min_##suffix) \
  QOR_VEC_2(T, max, T, max_##suffix)
QOR_VEC_BOUNDS(Qor8u, epu8)
QOR_VEC_BOUNDS(Qor8s, epi8)
QOR_VEC_BOUNDS(Qor16u, epu16)
QOR_VEC_BOUNDS(Qor16s, epi16)
QOR_VEC_BOUNDS(Qor32s, epi32)
QOR_VEC_BOUNDS(Qor32u, epu32)
QOR_VEC_BOUNDS(Qor32f, ps)
QOR_VEC_BOUNDS(Qor64f, pd)
#undef QOR_VEC_BOUNDS

// ---- comparison: lanes of ones or zeros. Floats: false when unordered.
QOR_VEC_2(Qor8u, operator==, Qor8u, cmpeq_epi8)
QOR_VEC_2(Qor8s, operator==, Qor8s, cmpeq_epi8)
QOR_VEC_2(Qor16u, operator==, Qor16u, cmpeq_epi16)
QOR_VEC_2(Qor16s, operator==, Qor16s, cmpeq_epi16)
QOR_VEC_2(Qor32s, operator==, Qor32s, cmpeq_epi32)
QOR_VEC_2(Qor32u, operator==, Qor32u, cmpeq_epi32)
QOR_VEC_2(Qor8s, operator>, Qor8s, cmpgt_epi8)
QOR_VEC_2(Qor16s, operator>, Qor16s, cmpgt_epi16)
QOR_VEC_2(Qor32s, operator>, Qor32s, cmpgt_epi32)
QOR_VEC_2(Qor64s, operator>, Qor64s, cmpgt_epi64)
#ifdef __AVX2__
  #define QOR_VEC_FLOAT_COMPARE(name, plain, predicate)                                                      \
    QOR_VEC_FN Short<Qor32f> name(Short<Qor32f> a, Short<Qor32f> b) { return {_mm_##plain##_ps(a.v, b.v)}; } \
    QOR_VEC_FN Short<Qor64f> name(Short<Qor64f> a, Short<Qor64f> b) { return {_mm_##plain##_pd(a.v, b.v)}; } \
    QOR_VEC_FN VecOf<Qor32f, 32> name(VecOf<Qor32f, 32> a, VecOf<Qor32f, 32> b) {                            \
      return {_mm256_cmp_ps(a.v, b.v, predicate)};                                                           \
    }                                                                                                        \
    QOR_VEC_FN VecOf<Qor64f, 32> name(VecOf<Qor64f, 32> a, VecOf<Qor64f, 32> b) {                            \
      return {_mm256_cmp_pd(a.v, b.v, predicate)};                                                           \
    }
#else
  #define QOR_VEC_FLOAT_COMPARE(name, plain, predicate)                                                      \
    QOR_VEC_FN Short<Qor32f> name(Short<Qor32f> a, Short<Qor32f> b) { return {_mm_##plain##_ps(a.v, b.v)}; } \
    QOR_VEC_FN Short<Qor64f> name(Short<Qor64f> a, Short<Qor64f> b) { return {_mm_##plain##_pd(a.v, b.v)}; }
#endif
QOR_VEC_FLOAT_COMPARE(operator==, cmpeq, _CMP_EQ_OQ)
QOR_VEC_FLOAT_COMPARE(operator>, cmpgt, _CMP_GT_OS)
QOR_VEC_FLOAT_COMPARE(operator>=, cmpge, _CMP_GE_OS)
QOR_VEC_FLOAT_COMPARE(operator<, cmplt, _CMP_LT_OS)
QOR_VEC_FLOAT_COMPARE(operator<=, cmple, _CMP_LE_OS)
QOR_VEC_FLOAT_COMPARE(unordered, cmpunord, _CMP_UNORD_Q)
#undef QOR_VEC_FLOAT_COMPARE

// ---- absolute value and difference. Signed integers: the lowest value has no opposite and is returned as it is.
QOR_VEC_1(Qor8u, abs, Qor8s, abs_epi8)
QOR_VEC_1(Qor16u, abs, Qor16s, abs_epi16)
QOR_VEC_1(Qor32s, abs, Qor32s, abs_epi32)
template <class T, int size>
requires std::is_floating_point_v<T> QOR_VEC_FN VecOf<T, size> abs(VecOf<T, size> a) {
  return andNot(splat<VecOf<T, size>>(T{-0.0}), a);
}
template <class T>
using UnsignedOf = std::conditional_t<sizeof(T) == 1, Qor8u, std::conditional_t<sizeof(T) == 2, Qor16u, Qor32u>>;
template <class T, int size>
QOR_VEC_FN VecOf<UnsignedOf<T>, size> absDiff(VecOf<T, size> a, VecOf<T, size> b) {
  if constexpr (std::is_unsigned_v<T>) {
    return subSat(a, b) | subSat(b, a);
  } else {
    return as<UnsignedOf<T>>(max(a, b)) - as<UnsignedOf<T>>(min(a, b));
  }
}
template <int size>
QOR_VEC_FN VecOf<Qor32f, size> absDiff(VecOf<Qor32f, size> a, VecOf<Qor32f, size> b) {
  return abs(a - b);
}

// ---- the low lanes (Lo) or the high lanes (Hi) in the next wider type; of a mask of lanes, the mask of the wider ones
#ifdef __AVX2__
  #define QOR_VEC_WIDEN(R, T, op, widenHiOfShort)                                              \
    QOR_VEC_FN Short<R> widenLo(Short<T> a) { return {_mm_##op(a.v)}; }                        \
    QOR_VEC_FN Short<R> widenHi(Short<T> a) { return {widenHiOfShort}; }                       \
    QOR_VEC_FN VecOf<R, 32> widenLo(VecOf<T, 32> a) { return {_mm256_##op(firstShort(a).v)}; } \
    QOR_VEC_FN VecOf<R, 32> widenHi(VecOf<T, 32> a) { return {_mm256_##op(lastShort(a).v)}; }
#else
  #define QOR_VEC_WIDEN(R, T, op, widenHiOfShort)                       \
    QOR_VEC_FN Short<R> widenLo(Short<T> a) { return {_mm_##op(a.v)}; } \
    QOR_VEC_FN Short<R> widenHi(Short<T> a) { return {widenHiOfShort}; }
#endif
QOR_VEC_WIDEN(Qor16u, Qor8u, cvtepu8_epi16, _mm_unpackhi_epi8(a.v, _mm_setzero_si128()))
QOR_VEC_WIDEN(Qor16s, Qor8s, cvtepi8_epi16, _mm_srai_epi16(_mm_unpackhi_epi8(a.v, a.v), 8))
QOR_VEC_WIDEN(Qor32s, Qor16u, cvtepu16_epi32, _mm_unpackhi_epi16(a.v, _mm_setzero_si128()))
QOR_VEC_WIDEN(Qor32s, Qor16s, cvtepi16_epi32, _mm_srai_epi32(_mm_unpackhi_epi16(a.v, a.v), 16))
QOR_VEC_WIDEN(Qor64s, Qor32s, cvtepi32_epi64, _mm_cvtepi32_epi64(_mm_unpackhi_epi64(a.v, a.v)))
QOR_VEC_WIDEN(Qor64s, Qor32u, cvtepu32_epi64, _mm_unpackhi_epi32(a.v, _mm_setzero_si128()))
QOR_VEC_WIDEN(Qor64f, Qor32f, cvtps_pd, _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v)))
#undef QOR_VEC_WIDEN
QOR_VEC_FN Short<Qor16u> widenMaskLo(Short<Qor8u> a) { return {_mm_unpacklo_epi8(a.v, a.v)}; }
QOR_VEC_FN Short<Qor16u> widenMaskHi(Short<Qor8u> a) { return {_mm_unpackhi_epi8(a.v, a.v)}; }
QOR_VEC_FN Short<Qor32u> widenMaskLo(Short<Qor16u> a) { return {_mm_unpacklo_epi16(a.v, a.v)}; }
QOR_VEC_FN Short<Qor32u> widenMaskHi(Short<Qor16u> a) { return {_mm_unpackhi_epi16(a.v, a.v)}; }
#ifdef __AVX2__
QOR_VEC_FN VecOf<Qor16u, 32> widenMaskLo(VecOf<Qor8u, 32> a) { return {_mm256_cvtepi8_epi16(firstShort(a).v)}; }
QOR_VEC_FN VecOf<Qor16u, 32> widenMaskHi(VecOf<Qor8u, 32> a) { return {_mm256_cvtepi8_epi16(lastShort(a).v)}; }
QOR_VEC_FN VecOf<Qor32u, 32> widenMaskLo(VecOf<Qor16u, 32> a) { return {_mm256_cvtepi16_epi32(firstShort(a).v)}; }
QOR_VEC_FN VecOf<Qor32u, 32> widenMaskHi(VecOf<Qor16u, 32> a) { return {_mm256_cvtepi16_epi32(lastShort(a).v)}; }
#endif

// ---- a vector of wider lanes (a sample type or a vector type) from as many samples in memory: exact in every pair
namespace detail {

template <int count>
QOR_VEC_FN __m128i loadBytes(const void* p) {
  if constexpr (count == 16) return _mm_loadu_si128(static_cast<const __m128i*>(p));
  if constexpr (count == 8) return _mm_loadu_si64(p);
  if constexpr (count == 4) return _mm_loadu_si32(p);
  if constexpr (count == 2)
    return _mm_cvtsi32_si128(*static_cast<const unsigned char*>(p) | static_cast<const unsigned char*>(p)[1] << 8);
}

#define QOR_VEC_LOAD_AS(W, T, op) \
  QOR_VEC_FN void loadInto(Short<W>& a, const T* p) { a.v = _mm_##op(loadBytes<Short<W>::lanes * sizeof(T)>(p)); }
#define QOR_VEC_LOADS(load)                                                                                      \
  load(Qor16s, Qor8u, cvtepu8_epi16) load(Qor16u, Qor8u, cvtepu8_epi16) load(Qor16s, Qor8s, cvtepi8_epi16)       \
      load(Qor32s, Qor8u, cvtepu8_epi32) load(Qor32s, Qor8s, cvtepi8_epi32) load(Qor32s, Qor16u, cvtepu16_epi32) \
          load(Qor32s, Qor16s, cvtepi16_epi32)
QOR_VEC_LOADS(QOR_VEC_LOAD_AS)
QOR_VEC_FN void loadInto(Short<Qor64f>& a, const Qor32s* p) { a.v = _mm_cvtepi32_pd(loadBytes<8>(p)); }
QOR_VEC_FN void loadInto(Short<Qor64f>& a, const Qor32f* p) { a.v = _mm_cvtps_pd(_mm_castsi128_ps(loadBytes<8>(p))); }
#undef QOR_VEC_LOAD_AS
#ifdef __AVX2__
  #define QOR_VEC_LOAD_AS(W, T, op)                                     \
    QOR_VEC_FN void loadInto(VecOf<W, 32>& a, const T* p) {             \
      a.v = _mm256_##op(loadBytes<VecOf<W, 32>::lanes * sizeof(T)>(p)); \
    }
QOR_VEC_LOADS(QOR_VEC_LOAD_AS)
QOR_VEC_FN void loadInto(VecOf<Qor64f, 32>& a, const Qor32s* p) { a.v = _mm256_cvtepi32_pd(loadBytes<16>(p)); }
QOR_VEC_FN void loadInto(VecOf<Qor64f, 32>& a, const Qor32f* p) { a.v = _mm256_cvtps_pd(_mm_loadu_ps(p)); }
  #undef QOR_VEC_LOAD_AS
#endif
#undef QOR_VEC_LOADS

}  // namespace detail

QOR_VEC_1(Qor32f, toFloat, Qor32s, cvtepi32_ps)

template <class W, class T>
QOR_VEC_FN Vector<W> loadAs(const T* p) {
  using V = Vector<W>;
  if constexpr (std::is_same_v<typename V::Sample, T>) {
    return load<V>(p);
  } else if constexpr (std::is_same_v<typename V::Sample, Qor32f>) {
    VecOf<Qor32s, V::bytes> integers;
    if constexpr (sizeof(T) == 4) integers = load<VecOf<Qor32s, V::bytes>>(p);
    if constexpr (sizeof(T) < 4) detail::loadInto(integers, p);
    return toFloat(integers);
  } else {
    V a;
    detail::loadInto(a, p);
    return a;
  }
}
// Lanes of ones where a byte of a mask in memory is zero.
template <class W>
QOR_VEC_FN Vector<W> maskedOut(const Qor8u* mask) {
  using V = Vector<W>;
  if constexpr (sizeof(typename V::Sample) == 1) {
    return as<typename V::Sample>(load<VecOf<Qor8u, V::bytes>>(mask) == zero<VecOf<Qor8u, V::bytes>>());
  } else {
    using Lane = VecOf<std::conditional_t<sizeof(typename V::Sample) == 2, Qor16s, Qor32s>, V::bytes>;
    return as<typename V::Sample>(loadAs<Lane>(mask) == zero<Lane>());
  }
}

// ---- two vectors into one of the next narrower type, saturated. The sources are signed.
#define QOR_VEC_NARROW_SHORT(R, name, T, op) \
  QOR_VEC_FN Short<R> name(Short<T> lo, Short<T> hi) { return {_mm_##op(lo.v, hi.v)}; }
#ifdef __AVX2__
  #define QOR_VEC_NARROW(R, name, T, op)                                \
    QOR_VEC_NARROW_SHORT(R, name, T, op)                                \
    QOR_VEC_FN VecOf<R, 32> name(VecOf<T, 32> lo, VecOf<T, 32> hi) {    \
      return {_mm256_permute4x64_epi64(_mm256_##op(lo.v, hi.v), 0xd8)}; \
    }
#else
  #define QOR_VEC_NARROW(R, name, T, op) QOR_VEC_NARROW_SHORT(R, name, T, op)
#endif
QOR_VEC_NARROW(Qor8u, narrowToU, Qor16s, packus_epi16)
QOR_VEC_NARROW(Qor8s, narrowToS, Qor16s, packs_epi16)
QOR_VEC_NARROW(Qor16u, narrowToU, Qor32s, packus_epi32)
QOR_VEC_NARROW(Qor16s, narrowToS, Qor32s, packs_epi32)
#undef QOR_VEC_NARROW
#undef QOR_VEC_NARROW_SHORT

// ---- within each 16 bytes: the lanes of one vector, or of two zipped, in two vectors of wider lanes. What is computed
// lane by lane between a split and the join that undoes it never crosses the middle of a register.
template <class T>
struct Split {
  Vec<T> a, b;
};
QOR_VEC_2(Qor8u, zipFirst, Qor8u, unpacklo_epi8)
QOR_VEC_2(Qor8u, zipLast, Qor8u, unpackhi_epi8)
QOR_VEC_2(Qor8s, zipFirst, Qor8s, unpacklo_epi8)
QOR_VEC_2(Qor8s, zipLast, Qor8s, unpackhi_epi8)
QOR_VEC_2(Qor16u, zipFirst, Qor16u, unpacklo_epi16)
QOR_VEC_2(Qor16u, zipLast, Qor16u, unpackhi_epi16)
QOR_VEC_2(Qor16s, zipFirst, Qor16s, unpacklo_epi16)
QOR_VEC_2(Qor16s, zipLast, Qor16s, unpackhi_epi16)
QOR_VEC_2(Qor32s, zipFirst, Qor32s, unpacklo_epi32)
QOR_VEC_2(Qor32s, zipLast, Qor32s, unpackhi_epi32)
QOR_VEC_2(Qor64s, zipFirst, Qor64s, unpacklo_epi64)
QOR_VEC_2(Qor64s, zipLast, Qor64s, unpackhi_epi64)
QOR_VEC_2(Qor32f, zipFirst, Qor32f, unpacklo_ps)
QOR_VEC_2(Qor32f, zipLast, Qor32f, unpackhi_ps)
template <class T>
QOR_VEC_FN Split<T> splitZip(Vec<T> a, Vec<T> b) {
  return {zipFirst(a, b), zipLast(a, b)};
}
QOR_VEC_FN Split<Qor16u> split(V8u a) {
  return {as<Qor16u>(zipFirst(a, zero<Qor8u>())), as<Qor16u>(zipLast(a, zero<Qor8u>()))};
}
QOR_VEC_FN Split<Qor16s> split(V8s a) { return {as<Qor16s>(zipFirst(a, a)) >> 8, as<Qor16s>(zipLast(a, a)) >> 8}; }
QOR_VEC_FN Split<Qor32s> split(V16u a) {
  return {as<Qor32s>(zipFirst(a, zero<Qor16u>())), as<Qor32s>(zipLast(a, zero<Qor16u>()))};
}
QOR_VEC_FN Split<Qor32s> split(V16s a) { return {as<Qor32s>(zipFirst(a, a)) >> 16, as<Qor32s>(zipLast(a, a)) >> 16}; }
QOR_VEC_2(Qor8u, packToU, Qor16s, packus_epi16)
QOR_VEC_2(Qor8s, packToS, Qor16s, packs_epi16)
QOR_VEC_2(Qor16u, packToU, Qor32s, packus_epi32)
QOR_VEC_2(Qor16s, packToS, Qor32s, packs_epi32)
template <class T>
QOR_VEC_FN auto joinToU(Split<T> s) {
  return packToU(s.a, s.b);
}
template <class T>
QOR_VEC_FN auto joinToS(Split<T> s) {
  return packToS(s.a, s.b);
}
// Bytes of a table by their numbers, each 16 bytes from the table's 16 bytes there; a number with the top bit gives
// zero.
QOR_VEC_2(Qor8u, lookUp, Qor8u, shuffle_epi8)
// Within each 16 bytes: the samples that begin n behind the first of low, followed by those of high.
template <int n, class T>
QOR_VEC_FN Short<T> slide(Short<T> low, Short<T> high) {
  return {_mm_alignr_epi8(high.v, low.v, n * static_cast<int>(sizeof(T)))};
}
// Eight bits for every 16 bytes: 16-bit pieces of b where a bit is set, else of a.
template <int bits, class T>
QOR_VEC_FN Short<T> blend(Short<T> a, Short<T> b) {
  return as<T>(Short<Qor16u>{_mm_blend_epi16(as<Qor16u>(a).v, as<Qor16u>(b).v, bits)});
}
// Lanes of 32 bits in another order, the same in every 16 bytes: the one that stands first, second, ...
template <int i0, int i1, int i2, int i3, class T>
QOR_VEC_FN Short<T> reordered(Short<T> a) {
  return as<T>(Short<Qor32s>{_mm_shuffle_epi32(as<Qor32s>(a).v, _MM_SHUFFLE(i3, i2, i1, i0))});
}
#ifdef __AVX2__
template <int n, class T>
QOR_VEC_FN VecOf<T, 32> slide(VecOf<T, 32> low, VecOf<T, 32> high) {
  return {_mm256_alignr_epi8(high.v, low.v, n * static_cast<int>(sizeof(T)))};
}
template <int bits, class T>
QOR_VEC_FN VecOf<T, 32> blend(VecOf<T, 32> a, VecOf<T, 32> b) {
  return as<T>(VecOf<Qor16u, 32>{_mm256_blend_epi16(as<Qor16u>(a).v, as<Qor16u>(b).v, bits)});
}
template <int i0, int i1, int i2, int i3, class T>
QOR_VEC_FN VecOf<T, 32> reordered(VecOf<T, 32> a) {
  return as<T>(VecOf<Qor32s, 32>{_mm256_shuffle_epi32(as<Qor32s>(a).v, _MM_SHUFFLE(i3, i2, i1, i0))});
}
#endif
// Sums of neighbours within each 16 bytes: those of a, then those of b.
QOR_VEC_2(Qor16s, neighbourSums, Qor16s, hadd_epi16)
QOR_VEC_2(Qor32s, neighbourSums, Qor32s, hadd_epi32)

// ---- a[0] b[0] a[1] b[1] ...
template <class T, int size>
QOR_VEC_FN BlockOf<VecOf<T, size>, 2> zip(VecOf<T, size> a, VecOf<T, size> b) {
  const VecOf<T, size> first = zipFirst(a, b), last = zipLast(a, b);
  if constexpr (size == 16) {
    return {{first, last}};
  } else {
    return {{ofShorts(firstShort(first), firstShort(last)), ofShorts(lastShort(first), lastShort(last))}};
  }
}

// ---- three vectors of consecutive addresses, of which every third sample is wanted. In each 16 bytes of the three
// stand 48 consecutive bytes, in order, so that what works within 16 bytes finds neighbours there.
template <class T>
struct Triple {
  Vec<T> a, b, c;

  QOR_VEC_FN Triple(Vec<T> x, Vec<T> y, Vec<T> z) {
    if constexpr (Vec<T>::bytes == 16) {
      a = x, b = y, c = z;
    } else {
      a = ofShorts(firstShort(x), lastShort(y));
      b = ofShorts(lastShort(x), firstShort(z));
      c = ofShorts(firstShort(y), lastShort(z));
    }
  }
  QOR_VEC_FN explicit Triple(const T* p) : Triple(load(p), load(p + Vec<T>::lanes), load(p + 2 * Vec<T>::lanes)) {}
};
// Samples first, first + 3, ... of a triple.
template <int first>
QOR_VEC_FN V8u third(const Triple<Qor8u>& t) {
  if constexpr (first == 0) {
    return lookUp(t.a, bytes(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1)) |
           lookUp(t.b, bytes(-1, -1, -1, -1, -1, -1, 2, 5, 8, 11, 14, -1, -1, -1, -1, -1)) |
           lookUp(t.c, bytes(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, 4, 7, 10, 13));
  } else if constexpr (first == 1) {
    return lookUp(t.a, bytes(1, 4, 7, 10, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1)) |
           lookUp(t.b, bytes(-1, -1, -1, -1, -1, 0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1)) |
           lookUp(t.c, bytes(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 2, 5, 8, 11, 14));
  } else {
    return lookUp(t.a, bytes(2, 5, 8, 11, 14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1)) |
           lookUp(t.b, bytes(-1, -1, -1, -1, -1, 1, 4, 7, 10, 13, -1, -1, -1, -1, -1, -1)) |
           lookUp(t.c, bytes(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, 3, 6, 9, 12, 15));
  }
}
template <int first>
QOR_VEC_FN V8s third(const Triple<Qor8s>& t) {
  return as<Qor8s>(third<first>(__builtin_bit_cast(Triple<Qor8u>, t)));
}
// The wanted samples stand in different lanes of the three vectors: merged first, then brought into order.
template <int first>
QOR_VEC_FN V16u third(const Triple<Qor16u>& t) {
  if constexpr (first == 0) {
    return as<Qor16u>(lookUp(as<Qor8u>(blend<0x24>(blend<0x92>(t.a, t.b), t.c)),
                             bytes(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11)));
  } else if constexpr (first == 1) {
    return as<Qor16u>(lookUp(as<Qor8u>(blend<0x49>(blend<0x24>(t.a, t.b), t.c)),
                             bytes(2, 3, 8, 9, 14, 15, 4, 5, 10, 11, 0, 1, 6, 7, 12, 13)));
  } else {
    return as<Qor16u>(lookUp(as<Qor8u>(blend<0x92>(blend<0x49>(t.a, t.b), t.c)),
                             bytes(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15)));
  }
}
template <int first>
QOR_VEC_FN V32f third(const Triple<Qor32f>& t) {
  if constexpr (first == 0) {
    return reordered<0, 3, 2, 1>(blend<0x0c>(blend<0x30>(t.a, t.b), t.c));
  } else if constexpr (first == 1) {
    return reordered<1, 0, 3, 2>(blend<0x30>(blend<0x0c>(t.b, t.a), t.c));
  } else {
    return reordered<2, 1, 0, 3>(blend<0x30>(blend<0x0c>(t.c, t.b), t.a));
  }
}
template <class T>
QOR_VEC_FN Vec<T> everyThird(Vec<T> a, Vec<T> b, Vec<T> c) {
  return third<0>(Triple<T>(a, b, c));
}

inline Short<Qor32s> widenFour(Short<Qor8u> a) { return {_mm_cvtepu8_epi32(a.v)}; }
inline Short<Qor32s> widenFour(Short<Qor8s> a) { return {_mm_cvtepi8_epi32(a.v)}; }

// ---- float and integer. Nearest: ties to even; NaN and what lies outside 32 bits give the lowest integer.
QOR_VEC_1(Qor32s, nearest, Qor32f, cvtps_epi32)
QOR_VEC_1(Qor32s, truncated, Qor32f, cvttps_epi32)
QOR_VEC_FN Short<Qor64f> toDoubleLo(Short<Qor32s> a) { return {_mm_cvtepi32_pd(a.v)}; }
QOR_VEC_FN Short<Qor64f> toDoubleHi(Short<Qor32s> a) { return {_mm_cvtepi32_pd(_mm_unpackhi_epi64(a.v, a.v))}; }
QOR_VEC_FN Short<Qor32f> toFloat(Short<Qor64f> lo, Short<Qor64f> hi) {
  return {_mm_movelh_ps(_mm_cvtpd_ps(lo.v), _mm_cvtpd_ps(hi.v))};
}
QOR_VEC_FN Short<Qor32s> nearest(Short<Qor64f> lo, Short<Qor64f> hi) {
  return {_mm_unpacklo_epi64(_mm_cvtpd_epi32(lo.v), _mm_cvtpd_epi32(hi.v))};
}
QOR_VEC_FN Short<Qor32s> truncated(Short<Qor64f> lo, Short<Qor64f> hi) {
  return {_mm_unpacklo_epi64(_mm_cvttpd_epi32(lo.v), _mm_cvttpd_epi32(hi.v))};
}
#ifdef __AVX2__
QOR_VEC_FN VecOf<Qor64f, 32> toDoubleLo(VecOf<Qor32s, 32> a) { return {_mm256_cvtepi32_pd(firstShort(a).v)}; }
QOR_VEC_FN VecOf<Qor64f, 32> toDoubleHi(VecOf<Qor32s, 32> a) { return {_mm256_cvtepi32_pd(lastShort(a).v)}; }
QOR_VEC_FN VecOf<Qor32f, 32> toFloat(VecOf<Qor64f, 32> lo, VecOf<Qor64f, 32> hi) {
  return ofShorts(Short<Qor32f>{_mm256_cvtpd_ps(lo.v)}, Short<Qor32f>{_mm256_cvtpd_ps(hi.v)});
}
QOR_VEC_FN VecOf<Qor32s, 32> nearest(VecOf<Qor64f, 32> lo, VecOf<Qor64f, 32> hi) {
  return ofShorts(Short<Qor32s>{_mm256_cvtpd_epi32(lo.v)}, Short<Qor32s>{_mm256_cvtpd_epi32(hi.v)});
}
QOR_VEC_FN VecOf<Qor32s, 32> truncated(VecOf<Qor64f, 32> lo, VecOf<Qor64f, 32> hi) {
  return ofShorts(Short<Qor32s>{_mm256_cvttpd_epi32(lo.v)}, Short<Qor32s>{_mm256_cvttpd_epi32(hi.v)});
}
#endif

// ---- sums of neighbours: products of pairs added in 32 bits, or of bytes in 16 bits, saturated; of eight bytes, or of
// their differences, in 64 bits
QOR_VEC_2(Qor32s, multiplyAdd, Qor16s, madd_epi16)
QOR_VEC_FN Short<Qor16s> multiplyAdd(Short<Qor8u> a, Short<Qor8s> b) { return {_mm_maddubs_epi16(a.v, b.v)}; }
#ifdef __AVX2__
QOR_VEC_FN VecOf<Qor16s, 32> multiplyAdd(VecOf<Qor8u, 32> a, VecOf<Qor8s, 32> b) {
  return {_mm256_maddubs_epi16(a.v, b.v)};
}
#endif
QOR_VEC_2(Qor64s, distanceOfEights, Qor8u, sad_epu8)
template <int size>
QOR_VEC_FN VecOf<Qor64s, size> sumOfEights(VecOf<Qor8u, size> a) {
  return distanceOfEights(a, VecOf<Qor8u, size>{});
}

// ---- all lanes into one value; integers wrap. Floats have an order of their own, so they are summed in 16 bytes.
QOR_VEC_FN Qor32s sum(Short<Qor32s> a) {
  const __m128i pairs = _mm_add_epi32(a.v, _mm_unpackhi_epi64(a.v, a.v));
  return _mm_cvtsi128_si32(_mm_add_epi32(pairs, _mm_shuffle_epi32(pairs, 1)));
}
QOR_VEC_FN Qor64s sum(Short<Qor64s> a) { return _mm_cvtsi128_si64(_mm_add_epi64(a.v, _mm_unpackhi_epi64(a.v, a.v))); }
#ifdef __AVX2__
QOR_VEC_FN Qor32s sum(VecOf<Qor32s, 32> a) { return sum(firstShort(a) + lastShort(a)); }
QOR_VEC_FN Qor64s sum(VecOf<Qor64s, 32> a) { return sum(firstShort(a) + lastShort(a)); }
#endif
// ((0 + 2) + (1 + 3))
QOR_VEC_FN Qor32f sum(Short<Qor32f> a) {
  const __m128 pairs = _mm_add_ps(a.v, _mm_movehl_ps(a.v, a.v));
  return _mm_cvtss_f32(_mm_add_ss(pairs, _mm_shuffle_ps(pairs, pairs, 1)));
}
QOR_VEC_FN Qor64f sum(Short<Qor64f> a) { return _mm_cvtsd_f64(_mm_add_sd(a.v, _mm_unpackhi_pd(a.v, a.v))); }

}  // namespace qor

#undef QOR_VEC_1
#undef QOR_VEC_2
#undef QOR_VEC_SHIFT
