// Evaluation of a Haar stage at the candidates of a mask.
//
// Candidates are collected along the rows into batches, in groups of four neighbours that are read as vectors, and as
// single pixels where a group holds no other candidate. A full batch is run through the stage feature by feature, so
// that the corners and constants of a feature are fetched once for many pixels, while a batch and the part of the table
// that it reads stay in the first cache. Every pixel sees the same operations in the same order whichever way it went.
#pragma once

#include "frame/base.h"
#include "frame/vec.h"
#include "integral/haar.h"

namespace qor::inline QOR_LEVEL {

// ---- the arithmetic of a form: T samples of the table, N of the norm, V of the stage's constants

// Rectangles times their weight, summed up in the type of the stage's constants.
template <class Table>
struct HaarFloat {
  using T = Table;
  using N = Qor32f;
  using V = Qor32f;
  using Sum = V32f;

  static V32f toSum(V32f t) { return t; }
  static V32f toSum(V32s t) { return toFloat(t); }
  static Sum weighted(Vec<T> t, V32f weight) { return toSum(t) * weight; }
  // Lanes of ones where the feature is worth its first value.
  V32f below(Sum s, V32f threshold, V32f norm) const { return s < threshold * norm; }
  // A NaN on either side passes.
  static int passing(V32f stage, V32f threshold) { return ~signBits(threshold > stage) & 15; }
};

struct HaarInteger {
  using T = Qor32s;
  using N = Qor32s;
  using V = Qor32s;
  using Sum = V32s;

  static Sum weighted(V32s t, V32s weight) { return t * weight; }
  V32s below(Sum s, V32s threshold, V32s norm) const { return threshold * norm > s; }
  static int passing(V32s stage, V32s threshold) { return ~signBits(as<Qor32f>(threshold > stage)) & 15; }
};

// Products of 32 bits summed up in 64, and compared there with the 64-bit product of threshold and norm.
struct HaarWide {
  using T = Qor32s;
  using N = Qor32s;
  using V = Qor32s;
  struct Sum {
    V64s lo, hi;
    friend Sum operator+(Sum a, Sum b) { return {a.lo + b.lo, a.hi + b.hi}; }
  };

  int shift;  // 0..63

  static Sum weighted(V32s t, V32s weight) {
    const V32s product = t * weight;
    return {widenLo(product), widenHi(product)};
  }
  V32s below(Sum s, V32s threshold, V32s norm) const {
    const __m128i count = _mm_cvtsi32_si128(shift);
    const __m128i lo = _mm_mul_epi32(threshold.v, widenLo(norm).v), hi = _mm_mul_epi32(threshold.v, widenHi(norm).v);
    const __m128i belowLo = _mm_cmpgt_epi64(lo, _mm_sll_epi64(s.lo.v, count));
    const __m128i belowHi = _mm_cmpgt_epi64(hi, _mm_sll_epi64(s.hi.v, count));
    return {_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(belowLo), _mm_castsi128_ps(belowHi), 0x88))};
  }
  static int passing(V32s stage, V32s threshold) { return HaarInteger::passing(stage, threshold); }
};

// ---- the tables: where a feature reads, and at which distances from a pixel its corners lie

// The distances of a rectangle's four corners in samples, in the order of their terms.
using HaarCorners = const ptrdiff_t*;

inline ptrdiff_t cornerOffset(HaarCorner c, int step, int sampleSize) {
  return static_cast<ptrdiff_t>(c.y) * (step / sampleSize) + c.x;
}
template <class V>
inline void cornerOffsets(const HaarRectangle<V>& r, int step, int sampleSize, ptrdiff_t* offsets) {
  offsets[0] = cornerOffset(r.first, step, sampleSize);
  offsets[1] = cornerOffset(r.second, step, sampleSize);
  offsets[2] = cornerOffset(r.third, step, sampleSize);
  offsets[3] = cornerOffset(r.fourth, step, sampleSize);
}

// One table for all features; the corners were computed for the whole call.
template <class T>
struct HaarTable {
  static constexpr int count = 1;
  const T* tables[1];
  int steps[1];
  const ptrdiff_t* offsets;

  template <class V>
  static int tableOf(const HaarFeature<V>&) {
    return 0;
  }
  template <class V>
  HaarCorners corners(const HaarRecord<V>& record, const HaarFeature<V>& feature, int k, ptrdiff_t*) const {
    return offsets + 4 * (feature.rects - record.features[0].rects + k);
  }
};

// An upright and a tilted table, chosen by bit 0 of a feature's id.
template <class T>
struct HaarTablePair {
  static constexpr int count = 2;
  const T* tables[2];
  int steps[2];

  template <class V>
  static int tableOf(const HaarFeature<V>& feature) {
    return static_cast<int>(feature.id & 1);
  }
  template <class V>
  HaarCorners corners(const HaarRecord<V>&, const HaarFeature<V>& feature, int k, ptrdiff_t* room) const {
    cornerOffsets(feature.rects[k], steps[tableOf(feature)], static_cast<int>(sizeof(T)), room);
    return room;
  }
};

// ---- batches

// How a quad of pixels is read: four neighbours from one address, or each from its own.
struct Neighbours {
  static constexpr int addresses = 1;

  template <class T>
  static Vec<T> rectangle(const T* const* pixel, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    const T* p = *pixel;
    return load(p + a) - load(p + b) - load(p + c) + load(p + d);
  }
};

struct Singles {
  static constexpr int addresses = 4;

  static Qor32f at(const Qor32f* p, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    return p[a] - p[b] - p[c] + p[d];
  }
  static Qor32s at(const Qor32s* p, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    return static_cast<Qor32s>(static_cast<Qor32u>(p[a]) - static_cast<Qor32u>(p[b]) - static_cast<Qor32u>(p[c]) +
                               static_cast<Qor32u>(p[d]));
  }
  static V32f join(Qor32f a, Qor32f b, Qor32f c, Qor32f d) { return {_mm_setr_ps(a, b, c, d)}; }
  static V32s join(Qor32s a, Qor32s b, Qor32s c, Qor32s d) { return {_mm_setr_epi32(a, b, c, d)}; }

  template <class T>
  static Vec<T> rectangle(const T* const* pixel, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    return join(at(pixel[0], a, b, c, d), at(pixel[1], a, b, c, d), at(pixel[2], a, b, c, d), at(pixel[3], a, b, c, d));
  }
};

template <class Form, class Tables, class Shape>
class HaarBatch {
 public:
  using T = typename Form::T;
  using N = typename Form::N;
  using V = typename Form::V;
  using Sum = typename Form::Sum;
  static constexpr int addresses = Shape::addresses;
  // Enough to share the set-up of a feature. Single pixels come from far apart: more of them would read more of the
  // table than the first cache holds.
  static constexpr int quads = addresses == 1 ? 64 : 16;

  bool full() const { return used_ == quads * addresses; }

  // A group of four neighbours, or one pixel. The pointers lead to its first sample; the mask is written by run().
  // NOLINTNEXTLINE(readability-non-const-parameter)
  void add(const T* const (&tables)[Tables::count], const N* norm, Qor8u* mask) {
    for (int t = 0; t < Tables::count; ++t) pixels_[t][used_] = tables[t];
    masks_[used_] = mask;
    constexpr int samples = 4 / addresses;
    __builtin_memcpy(norms_ + used_ * samples, norm, samples * sizeof(N));
    ++used_;
  }

  // Clears the mask where the stage rejects; returns the number of candidates that remain.
  int run(const Form& form, const Tables& tables, const HaarRecord<V>& record, V threshold) {
    if (used_ == 0) return 0;
    // An incomplete quad repeats a pixel of its own.
    const int count = used_;
    for (; used_ % addresses != 0; ++used_) {
      for (int t = 0; t < Tables::count; ++t) pixels_[t][used_] = pixels_[t][count - 1];
      norms_[used_] = norms_[count - 1];
    }
    const int full = used_ / addresses;
    for (int q = 0; q < full; ++q) store(stages_ + 4 * q, zero<V>());
    for (int f = 0; f < record.featureCount; ++f) addFeature(form, tables, record, record.features[f], full);
    int passed = 0;
    for (int q = 0; q < full; ++q) {
      const int passing = Form::passing(load(stages_ + 4 * q), splat(threshold));
      passed += judge(q, passing, count);
    }
    used_ = 0;
    return passed;
  }

 private:
  // Only bytes that become 0 are written.
  int judge(int q, int passing, int count) {
    int passed = 0;
    for (int k = 0; k < 4; ++k) {
      const int i = addresses == 4 ? 4 * q + k : q;
      if (i >= count) break;
      Qor8u* m = masks_[i] + (addresses == 4 ? 0 : k);
      const bool candidate = *m != 0, passes = (passing >> k & 1) != 0;
      passed += candidate && passes;
      if (candidate && !passes) *m = 0;
    }
    return passed;
  }

  void addFeature(const Form& form, const Tables& tables, const HaarRecord<V>& record, const HaarFeature<V>& feature,
                  int full) {
    switch (feature.rectCount) {
      case 2:
        return addShort<2>(form, tables, record, feature, full);
      case 3:
        return addShort<3>(form, tables, record, feature, full);
      default:
        return addLong(form, tables, record, feature, full);
    }
  }

  void addValue(const Form& form, const HaarFeature<V>& feature, int q, Sum s) {
    const Vec<V> val1 = splat(feature.val1), val2 = splat(feature.val2);
    const Vec<V> below = form.below(s, splat(feature.threshold), load(norms_ + 4 * q));
    // The bits of one value or the other.
    const Vec<V> value = ((val1 ^ val2) & below) ^ val2;
    store(stages_ + 4 * q, load(stages_ + 4 * q) + value);
  }

  template <int rects>
  void addShort(Form form, const Tables& tables, const HaarRecord<V>& record, const HaarFeature<V> feature, int full) {
    ptrdiff_t o[4 * rects];
    Vec<V> weights[rects];
    for (int k = 0; k < rects; ++k) {
      ptrdiff_t room[4];
      const HaarCorners corners = tables.corners(record, feature, k, room);
      for (int c = 0; c < 4; ++c) o[4 * k + c] = corners[c];
      weights[k] = splat(feature.rects[k].weight);
    }
    const T* const* pixels = pixels_[Tables::tableOf(feature)];
    for (int q = 0; q < full; ++q) {
      const T* const* pixel = pixels + q * addresses;
      Sum s = Form::weighted(Shape::rectangle(pixel, o[0], o[1], o[2], o[3]), weights[0]);
      for (int k = 1; k < rects; ++k) {
        const ptrdiff_t* r = o + 4 * k;
        s = s + Form::weighted(Shape::rectangle(pixel, r[0], r[1], r[2], r[3]), weights[k]);
      }
      addValue(form, feature, q, s);
    }
  }

  // Any number of rectangles, one after the other over the whole batch.
  void addLong(Form form, const Tables& tables, const HaarRecord<V>& record, const HaarFeature<V> feature, int full) {
    Sum sums[quads];
    const T* const* pixels = pixels_[Tables::tableOf(feature)];
    for (int k = 0; k < feature.rectCount; ++k) {
      ptrdiff_t room[4];
      const HaarCorners corners = tables.corners(record, feature, k, room);
      const ptrdiff_t a = corners[0], b = corners[1], c = corners[2], d = corners[3];
      const Vec<V> weight = splat(feature.rects[k].weight);
      for (int q = 0; q < full; ++q) {
        const Sum s = Form::weighted(Shape::rectangle(pixels + q * addresses, a, b, c, d), weight);
        sums[q] = k == 0 ? s : sums[q] + s;
      }
    }
    for (int q = 0; q < full; ++q) addValue(form, feature, q, sums[q]);
  }

  int used_ = 0;
  const T* pixels_[Tables::count][quads * addresses];
  Qor8u* masks_[quads * addresses];
  alignas(16) N norms_[quads * 4];
  alignas(16) V stages_[quads * 4];
};

// ---- the walk over the mask

// How many mask bytes are passed over at once when they are zero. All but the dense walk evaluate a candidate without
// another in its group alone.
enum class HaarWalk { dense, words4, words8, words16 };

template <class Form, class Tables>
class HaarRegion {
 public:
  static constexpr int stripWidth = 192;  // whole words of the widest walk

  using T = typename Form::T;
  using N = typename Form::N;
  using V = typename Form::V;

  HaarRegion(Form form, const Tables& tables, const N* pNorm, int normStep, const HaarRecord<V>& record, V threshold)
      : form_(form), tables_(tables), pNorm_(pNorm), normStep_(normStep), record_(record), threshold_(threshold) {
    for (int f = 0; f < record.featureCount; ++f) {
      const HaarFeature<V>& feature = record.features[f];
      for (int k = 0; k < feature.rectCount; ++k) reach_[Tables::tableOf(feature)].include(feature.rects[k]);
    }
  }

  // Clears the mask where the stage rejects; returns the number of candidates that remain, in 32 bits. Goes down the
  // region in strips, so narrow that the rows of the table under the windows stay in the first cache from row to row.
  Qor32s run(Qor8u* pMask, int maskStep, QoriSize size, HaarWalk walk) {
    for (int left = 0; left < size.width; left += stripWidth) {
      const int right = size.width - left > stripWidth ? left + stripWidth : size.width;
      for (int y = 0; y < size.height; ++y) {
        if (y + rowsAhead < size.height) fetch(pMask, maskStep, left, right, y + rowsAhead);
        for (int t = 0; t < Tables::count; ++t) rows_[t] = rowAt(tables_.tables[t], tables_.steps[t], y);
        norm_ = rowAt(pNorm_, normStep_, y);
        mask_ = rowAt(pMask, maskStep, y);
        collectRow(left, right, walk);
      }
    }
    passed_ += static_cast<Qor32u>(groups_.run(form_, tables_, record_, threshold_));
    passed_ += static_cast<Qor32u>(singles_.run(form_, tables_, record_, threshold_));
    return static_cast<Qor32s>(passed_);
  }

 private:
  // The farthest corner of all features on a table.
  struct Reach {
    Qor32s x = 0, y = 0;

    void include(const HaarRectangle<V>& r) {
      const HaarCorner corners[] = {r.first, r.second, r.third, r.fourth};
      for (const HaarCorner& c : corners) {
        x = c.x > x ? c.x : x;
        y = c.y > y ? c.y : y;
      }
    }
  };

  // A strip meets every row of every image at a new page, where the processor foresees nothing: its part is asked for
  // this many rows before.
  static constexpr int rowsAhead = 8;

  // Inlined, or GCC takes a function that only asks for one without effects and drops its calls.
  QOR_FORCE_INLINE void fetch(const Qor8u* pMask, int maskStep, int left, int right, int y) const {
    fetchSamples(rowAt(pMask, maskStep, y), left, right);
    fetchSamples(rowAt(pNorm_, normStep_, y), left, right);
    for (int t = 0; t < Tables::count; ++t) {
      const int64_t row = static_cast<int64_t>(tables_.steps[t]) * reach_[t].y;
      fetchSamples(rowAt(tables_.tables[t], tables_.steps[t], y), row / static_cast<int64_t>(sizeof(T)) + left,
                   row / static_cast<int64_t>(sizeof(T)) + right + reach_[t].x);
    }
  }

  // Windows beyond every sensible size are not worth it.
  template <class S>
  QOR_FORCE_INLINE static void fetchSamples(const S* row, int64_t first, int64_t end) {
    constexpr int64_t line = 64 / sizeof(S), most = 16 * line + stripWidth;
    if (end - first > most) end = first + most;
    for (int64_t x = first; x < end; x += line) _mm_prefetch(reinterpret_cast<const char*>(row + x), _MM_HINT_T0);
  }

  void collectRow(int left, int right, HaarWalk walk) {
    const bool split = walk != HaarWalk::dense;
    int x = left;
    switch (walk) {
      case HaarWalk::words16:
        x = collectWords<16>(x, right, split);
        break;
      case HaarWalk::words8:
        x = collectWords<8>(x, right, split);
        break;
      default:
        x = collectWords<4>(x, right, split);
        break;
    }
    for (; x + 4 <= right; x += 4) addGroup(x, split);
    for (; x < right; ++x) {
      if (mask_[x] != 0) addSingle(x);
    }
  }

  template <int bytes>
  int collectWords(int x, int right, bool split) {
    for (; x + bytes <= right; x += bytes) {
      if (allZeroBytes<bytes>(mask_ + x)) continue;
      for (int i = 0; i < bytes; i += 4) addGroup(x + i, split);
    }
    return x;
  }

  template <int bytes>
  static bool allZeroBytes(const Qor8u* p) {
    if constexpr (bytes == 4) return allZero(load4(p));
    if constexpr (bytes == 8) return allZero(load8(p));
    if constexpr (bytes == 16) return allZero(load(p));
  }

  // Four neighbours cost less than two evaluations of single pixels.
  void addGroup(int x, bool split) {
    const Vec<Qor8u> none{_mm_cmpeq_epi8(load4(mask_ + x).v, _mm_setzero_si128())};
    const int candidates = ~signBits(none) & 15;
    if (candidates == 0) return;
    if (split && (candidates & (candidates - 1)) == 0)
      return addSingle(x + __builtin_ctz(static_cast<unsigned>(candidates)));
    add(groups_, x);
  }

  void addSingle(int x) { add(singles_, x); }

  template <class Batch>
  void add(Batch& batch, int x) {
    const T* at[Tables::count];
    for (int t = 0; t < Tables::count; ++t) at[t] = rows_[t] + x;
    batch.add(at, norm_ + x, mask_ + x);
    if (batch.full()) passed_ += static_cast<Qor32u>(batch.run(form_, tables_, record_, threshold_));
  }

  const Form form_;
  const Tables& tables_;
  const N* pNorm_;
  int normStep_;
  const HaarRecord<V>& record_;
  V threshold_;
  Qor32u passed_ = 0;
  Reach reach_[Tables::count] = {};
  const T* rows_[Tables::count] = {};
  const N* norm_ = nullptr;
  Qor8u* mask_ = nullptr;
  HaarBatch<Form, Tables, Neighbours> groups_;
  HaarBatch<Form, Tables, Singles> singles_;
};

}  // namespace qor
