// Lanes that change their width or their place: widening, narrowing, interleaving. Part of vec.h, which includes it.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

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

// The lanes of a Short in the next wider type, in as many vectors as they fill.
template <class T>
QOR_VEC_FN auto widen(Short<T> a) {
#if QOR_VECTOR_BYTES == 32
  const auto wide = widenLo(VecOf<T, 32>{_mm256_castsi128_si256(a.v)});
  return BlockOf<std::remove_const_t<decltype(wide)>, 1>{wide};
#else
  return BlockOf<decltype(widenLo(a)), 2>{widenLo(a), widenHi(a)};
#endif
}

template <class T, int count>
QOR_VEC_FN Block<T, 2 * count> joined(const Block<T, count>& a, const Block<T, count>& b) {
  Block<T, 2 * count> both;
  for (int i = 0; i < count; ++i) both.v[i] = a.v[i], both.v[count + i] = b.v[i];
  return both;
}

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
QOR_VEC_FN Split<Qor64s> split(V32s a) { return {as<Qor64s>(zipFirst(a, a >> 31)), as<Qor64s>(zipLast(a, a >> 31))}; }
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
// The lower half of every lane, or the upper.
#if QOR_VECTOR_BYTES == 32
  #define QOR_VEC_SHUFFLE_PS _mm256_shuffle_ps
#else
  #define QOR_VEC_SHUFFLE_PS _mm_shuffle_ps
#endif
QOR_VEC_FN V32s joinLow(Split<Qor64s> s) {
  return as<Qor32s>(V32f{QOR_VEC_SHUFFLE_PS(as<Qor32f>(s.a).v, as<Qor32f>(s.b).v, 0x88)});
}
QOR_VEC_FN V32s joinHigh(Split<Qor64s> s) {
  return as<Qor32s>(V32f{QOR_VEC_SHUFFLE_PS(as<Qor32f>(s.a).v, as<Qor32f>(s.b).v, 0xdd)});
}
#undef QOR_VEC_SHUFFLE_PS
// Four vectors into one, saturated, in the order of addresses.
QOR_VEC_FN Short<Qor8u> narrowToU(Short<Qor32s> a, Short<Qor32s> b, Short<Qor32s> c, Short<Qor32s> d) {
  return packToU(packToS(a, b), packToS(c, d));
}
QOR_VEC_FN Short<Qor8s> narrowToS(Short<Qor32s> a, Short<Qor32s> b, Short<Qor32s> c, Short<Qor32s> d) {
  return packToS(packToS(a, b), packToS(c, d));
}
#ifdef __AVX2__
// The packs leave the first halves of the four in the first 16 bytes.
QOR_VEC_FN __m256i halvesTogether(__m256i a) {
  return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}
QOR_VEC_FN VecOf<Qor8u, 32> narrowToU(VecOf<Qor32s, 32> a, VecOf<Qor32s, 32> b, VecOf<Qor32s, 32> c,
                                      VecOf<Qor32s, 32> d) {
  return {halvesTogether(packToU(packToS(a, b), packToS(c, d)).v)};
}
QOR_VEC_FN VecOf<Qor8s, 32> narrowToS(VecOf<Qor32s, 32> a, VecOf<Qor32s, 32> b, VecOf<Qor32s, 32> c,
                                      VecOf<Qor32s, 32> d) {
  return {halvesTogether(packToS(packToS(a, b), packToS(c, d)).v)};
}
#endif
// As many narrower samples into memory, saturated: the way back from loadAs. The lanes are signed.
template <class D, class T, int size>
QOR_VEC_FN void storeAs(D* p, VecOf<T, size> a) {
  static_assert(sizeof(T) == 2 * sizeof(D) && std::is_signed_v<T>);
  Short<T> first, last;
  if constexpr (size == 16) {
    first = last = a;
  } else {
    first = firstShort(a), last = lastShort(a);
  }
  Short<D> packed;
  if constexpr (std::is_signed_v<D>) {
    packed = packToS(first, last);
  } else {
    packed = packToU(first, last);
  }
  __builtin_memcpy(p, &packed, size / 2);
}
// Bytes of a table by their numbers, each 16 bytes from the table's 16 bytes there; a number with the top bit gives
// zero.
QOR_VEC_2(Qor8u, lookUp, Qor8u, shuffle_epi8)
// Within each 16 bytes: the samples that begin n behind the first of low, followed by those of high.
template <int n, class T>
QOR_VEC_FN Short<T> slide(Short<T> low, Short<T> high) {
  return as<T>(Short<Qor8u>{_mm_alignr_epi8(as<Qor8u>(high).v, as<Qor8u>(low).v, n * static_cast<int>(sizeof(T)))});
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
  return as<T>(
      VecOf<Qor8u, 32>{_mm256_alignr_epi8(as<Qor8u>(high).v, as<Qor8u>(low).v, n * static_cast<int>(sizeof(T)))});
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
// A mask of bytes as masks of wider lanes, vector i of those that it fills.
template <class T>
QOR_VEC_FN Vec<T> spreadMask(V8u mask, int i) {
  if constexpr (sizeof(T) == 1) {
    return as<T>(mask);
  } else if constexpr (sizeof(T) == 2) {
#if QOR_VECTOR_BYTES == 32
    mask = {_mm256_permute4x64_epi64(mask.v, _MM_SHUFFLE(3, 1, 2, 0))};
#endif
    return as<T>(i == 0 ? zipFirst(mask, mask) : zipLast(mask, mask));
  } else {
#if QOR_VECTOR_BYTES == 32
    mask = {_mm256_permutevar8x32_epi32(mask.v, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7))};
#endif
    return as<T>(
        lookUp(mask, bytes(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3) + splat(static_cast<Qor8u>(4 * i))));
  }
}
// One lane of each 16 bytes in all lanes there.
template <int lane, class T, int size>
QOR_VEC_FN VecOf<T, size> spread(VecOf<T, size> a) {
  static_assert(size == QOR_VECTOR_BYTES);
  constexpr int bytesOfLane = static_cast<int>(sizeof(T));
  const auto b = [](int i) { return lane * bytesOfLane + i % bytesOfLane; };
  return as<T>(lookUp(as<Qor8u>(a), bytes(b(0), b(1), b(2), b(3), b(4), b(5), b(6), b(7), b(8), b(9), b(10), b(11),
                                          b(12), b(13), b(14), b(15))));
}
// Sums of neighbours within each 16 bytes: those of a, then those of b.
QOR_VEC_2(Qor16s, neighbourSums, Qor16s, hadd_epi16)
QOR_VEC_2(Qor32s, neighbourSums, Qor32s, hadd_epi32)

// Within each 16 bytes: rows of four lanes into columns.
template <class V>
QOR_VEC_FN void transposeFours(V (&m)[4]) {
  static_assert(sizeof(typename V::Sample) == 4);
  const V a = zipFirst(m[0], m[2]), b = zipFirst(m[1], m[3]), c = zipLast(m[0], m[2]), d = zipLast(m[1], m[3]);
  m[0] = zipFirst(a, b), m[1] = zipLast(a, b), m[2] = zipFirst(c, d), m[3] = zipLast(c, d);
}
// Of as many vectors as one has 16 bytes: the first 16 bytes of all, the second, ...
template <class T>
QOR_VEC_FN BlockOf<Short<T>, 1> transposeShorts(const BlockOf<Short<T>, 1>& b) {
  return b;
}
#ifdef __AVX2__
template <class T>
QOR_VEC_FN BlockOf<VecOf<T, 32>, 2> transposeShorts(const BlockOf<VecOf<T, 32>, 2>& b) {
  const auto last = _mm256_permute2x128_si256(as<Qor8u>(b.v[0]).v, as<Qor8u>(b.v[1]).v, 0x31);
  return {{ofShorts(firstShort(b.v[0]), firstShort(b.v[1])), as<T>(VecOf<Qor8u, 32>{last})}};
}
#endif
// The wider lanes of a split in the order of addresses.
template <class T>
QOR_VEC_FN Block<T, 2> inOrder(Split<T> s) {
  if constexpr (Vec<T>::bytes == 16) {
    return {{s.a, s.b}};
  } else {
    return {{ofShorts(firstShort(s.a), firstShort(s.b)), ofShorts(lastShort(s.a), lastShort(s.b))}};
  }
}

// ---- the smallest and the largest lane; none is NaN
namespace detail {

template <int apart, class T, class Op>
QOR_VEC_FN T foldLanes(Short<T> a, Op op) {
  if constexpr (apart == 0) {
    T first;
    __builtin_memcpy(&first, &a, sizeof first);
    return first;
  } else {
    return foldLanes<apart / 2>(op(a, slide<apart>(a, a)), op);
  }
}
template <class T, class Op>
QOR_VEC_FN T foldAll(Short<T> a, Op op) {
  return foldLanes<Short<T>::lanes / 2>(a, op);
}
#ifdef __AVX2__
template <class T, class Op>
QOR_VEC_FN T foldAll(VecOf<T, 32> a, Op op) {
  return foldAll(op(firstShort(a), lastShort(a)), op);
}
#endif

}  // namespace detail

template <class T, int size>
QOR_VEC_FN T smallest(VecOf<T, size> a) {
  return detail::foldAll(a, [](auto x, auto y) { return min(x, y); });
}
template <class T, int size>
QOR_VEC_FN T largest(VecOf<T, size> a) {
  return detail::foldAll(a, [](auto x, auto y) { return max(x, y); });
}

// ---- across the whole vector: the first or the last lane in all lanes; lanes one further up or down, with the last
// lane of before or the first of after moving in
template <class T, int size>
QOR_VEC_FN VecOf<T, size> splatFirst(VecOf<T, size> a) {
#if QOR_VECTOR_BYTES == 32
  return as<T>(V8u{_mm256_permute4x64_epi64(as<Qor8u>(spread<0>(a)).v, 0x00)});
#else
  return spread<0>(a);
#endif
}
template <class T, int size>
QOR_VEC_FN VecOf<T, size> splatLast(VecOf<T, size> a) {
  const VecOf<T, size> last = spread<Short<T>::lanes - 1>(a);
#if QOR_VECTOR_BYTES == 32
  return as<T>(V8u{_mm256_permute4x64_epi64(as<Qor8u>(last).v, 0xff)});
#else
  return last;
#endif
}
template <class T, int size>
QOR_VEC_FN VecOf<T, size> previousLanes(VecOf<T, size> before, VecOf<T, size> a) {
  constexpr int last = Short<T>::lanes - 1;
  if constexpr (size == 32) {
    return slide<last>(ofShorts(lastShort(before), firstShort(a)), a);
  } else {
    return slide<last>(before, a);
  }
}
template <class T, int size>
QOR_VEC_FN VecOf<T, size> nextLanes(VecOf<T, size> a, VecOf<T, size> after) {
  if constexpr (size == 32) {
    return slide<1>(a, ofShorts(lastShort(a), firstShort(after)));
  } else {
    return slide<1>(a, after);
  }
}

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
//
// loadGroups has 16 bytes at an address and, in a wide vector, those 48 bytes behind.
template <class T>
QOR_VEC_FN Vec<T> loadGroups(const T* p) {
  if constexpr (Vec<T>::bytes == 16) {
    return load(p);
  } else {
    return ofShorts(load<Short<T>>(p), load<Short<T>>(p + 3 * Short<T>::lanes));
  }
}
template <class T>
struct Triple {
  Vec<T> a, b, c;

  QOR_VEC_FN Triple(Vec<T> x, Vec<T> y, Vec<T> z) {
#if QOR_VECTOR_BYTES == 32
    const __m256i i = as<Qor32s>(x).v, j = as<Qor32s>(y).v, k = as<Qor32s>(z).v;
    a = as<T>(V32s{_mm256_blend_epi32(i, j, 0xf0)});
    b = as<T>(V32s{_mm256_permute2x128_si256(i, k, 0x21)});
    c = as<T>(V32s{_mm256_blend_epi32(j, k, 0xf0)});
#else
    a = x, b = y, c = z;
#endif
  }
  QOR_VEC_FN explicit Triple(const T* p)
      : a(loadGroups(p)), b(loadGroups(p + Short<T>::lanes)), c(loadGroups(p + 2 * Short<T>::lanes)) {}
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

}  // namespace qor
