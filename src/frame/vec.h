// Vectors and the operations that kernels use on them: one line a function, overloaded on the sample type. Values never
// depend on this file's choices: every operation is exact or rounds as IEEE prescribes.
//
// Vec<T> fills a register of the level that is built: 16 bytes, or 32 where the level is wide. Short<T> has 16 bytes at
// every level, for blocks whose length belongs to a contract. Every operation means the same at both widths, in the
// order of addresses. Where an operation works within each 16 bytes of a vector, its comment says so; Split holds
// wider lanes in the order that this gives.
//
// Whatever takes or returns a wide vector has to be inlined: GCC leaves the upper halves of registers in use behind it.
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
namespace detail {

// A register in memory, at any address and beside samples of its type. A copy by memcpy would be made 16 bytes at a
// time and through the stack, where the whole cannot be read before both halves are written.
template <class V>
struct [[gnu::packed, gnu::may_alias]] Stored {
  decltype(V::v) v;
};

}  // namespace detail

template <class V>
QOR_VEC_FN V load(const typename V::Sample* p) {
  return {reinterpret_cast<const detail::Stored<V>*>(p)->v};
}
template <class T>
QOR_VEC_FN Vec<T> load(const T* p) {
  return load<Vec<T>>(p);
}
template <class T>
QOR_VEC_FN Vec<T> loadAligned(const T* p) {
  return {*reinterpret_cast<const decltype(Vec<T>::v)*>(p)};
}
template <class T, int size>
QOR_VEC_FN void store(T* p, VecOf<T, size> a) {
  reinterpret_cast<detail::Stored<VecOf<T, size>>*>(p)->v = a.v;
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
template <class B>
QOR_VEC_FN B loadBlock(const typename B::Sample* p) {
  using V = std::remove_reference_t<decltype(B::v[0])>;
  B b;
  for (int i = 0; i < B::samples / V::lanes; ++i) b.v[i] = load<V>(p + i * V::lanes);
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

// The first n samples, of 4, 8, 12 or 16 bytes together.
template <int n, class T>
QOR_VEC_FN void storeFirst(T* p, Short<T> a) {
  constexpr int size = n * static_cast<int>(sizeof(T));
  static_assert(size == 4 || size == 8 || size == 12 || size == 16);
  const auto v = __builtin_bit_cast(__m128i, a);
  if constexpr (size == 16) {
    store(p, a);
  } else if constexpr (size == 4) {
    _mm_storeu_si32(p, v);
  } else {
    _mm_storeu_si64(p, v);
    const int third = _mm_extract_epi32(v, 2);
    if constexpr (size == 12) __builtin_memcpy(p + n * 2 / 3, &third, sizeof third);
  }
}
// Two or three floats, and zeros.
QOR_VEC_FN Short<Qor32f> loadTwo(const Qor32f* p) { return {_mm_castsi128_ps(_mm_loadu_si64(p))}; }
QOR_VEC_FN Short<Qor32f> loadThree(const Qor32f* p) {
  return {_mm_insert_ps(_mm_castsi128_ps(_mm_loadu_si64(p)), _mm_load_ss(p + 2), 0x20)};
}
// The first two lanes of a, and two floats behind them.
QOR_VEC_FN Short<Qor32f> withUpper(Short<Qor32f> a, const Qor32f* p) {
  return {_mm_loadh_pi(a.v, reinterpret_cast<const __m64*>(p))};
}
template <int lane>
QOR_VEC_FN Short<Qor32f> withLane(Short<Qor32f> a, Qor32f x) {
  return {_mm_insert_ps(a.v, _mm_set_ss(x), lane << 4)};
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

// 16 bytes from each of as many addresses as fill a vector.
template <class V>
QOR_VEC_FN V loadShorts(const typename V::Sample* const* p, ptrdiff_t offset) {
  using T = typename V::Sample;
  if constexpr (V::bytes == 16) {
    return load<V>(p[0] + offset);
  } else {
    return ofShorts(load<Short<T>>(p[0] + offset), load<Short<T>>(p[1] + offset));
  }
}
// The same 16 bytes from memory in every 16 bytes.
template <class V>
QOR_VEC_FN V loadRepeated(const typename V::Sample* p) {
  const auto a = load<Short<typename V::Sample>>(p);
  if constexpr (V::bytes == 16) {
    return a;
  } else {
    return ofShorts(a, a);
  }
}
// Lane i is of(i).
template <class V, class Of>
QOR_VEC_FN V laneByLane(const Of& of) {
  if constexpr (V::bytes == 32) {
    using Half = Short<typename V::Sample>;
    return ofShorts(laneByLane<Half>(of), laneByLane<Half>([&](int i) { return of(i + Half::lanes); }));
  } else if constexpr (std::is_same_v<typename V::Sample, Qor32f>) {
    return {_mm_setr_ps(of(0), of(1), of(2), of(3))};
  } else if constexpr (std::is_same_v<typename V::Sample, Qor64s>) {
    return {_mm_set_epi64x(of(1), of(0))};
  } else {
    static_assert(sizeof(typename V::Sample) == 4);
    return {_mm_setr_epi32(of(0), of(1), of(2), of(3))};
  }
}
// 16 bytes number i are of(i).
template <class V, class Of>
QOR_VEC_FN V shortsOf(const Of& of) {
  if constexpr (V::bytes == 16) {
    return of(0);
  } else {
    return ofShorts(of(0), of(1));
  }
}

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
QOR_VEC_SHIFT(operator>>, uint64_t, srl_epi64)
QOR_VEC_SHIFT(operator<<, uint64_t, sll_epi64)

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
  using Bits = std::conditional_t<sizeof(T) == 4, Qor32u, uint64_t>;
  return a & as<T>(splat<VecOf<Bits, size>>(~Bits{0} >> 1));
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

QOR_VEC_FN Qor32s firstLane(Short<Qor32s> a) { return _mm_cvtsi128_si32(a.v); }

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

#include "frame/vec_lanes.h"
