// Evaluation of a Haar stage at the candidates of a mask.
//
// Candidates are collected along the rows into batches, in groups of neighbours that are read as vectors, and as single
// pixels where a group holds no other candidate. A full batch is run through the stage feature by feature, so
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
  static Qor32u passing(V32f stage, V32f threshold) { return ~signBits(threshold > stage) & allSignBits<V32f>; }
};

struct HaarInteger {
  using T = Qor32s;
  using N = Qor32s;
  using V = Qor32s;
  using Sum = V32s;

  static Sum weighted(V32s t, V32s weight) { return t * weight; }
  V32s below(Sum s, V32s threshold, V32s norm) const { return threshold * norm > s; }
  static Qor32u passing(V32s stage, V32s threshold) {
    return ~signBits(as<Qor32f>(threshold > stage)) & allSignBits<V32f>;
  }
};

// Products of 32 bits summed up in 64, and compared there with the 64-bit product of threshold and norm.
struct HaarWide {
  using T = Qor32s;
  using N = Qor32s;
  using V = Qor32s;
  struct Sum : Split<Qor64s> {
    friend Sum operator+(Sum s, Sum t) { return {s.a + t.a, s.b + t.b}; }
  };

  int shift;  // 0..63

  static Sum weighted(V32s t, V32s weight) { return {split(t * weight)}; }
  V32s below(Sum s, V32s threshold, V32s norm) const {
    const Split<Qor64s> norms = split(norm);
    return joinLow({multiplyEven(threshold, as<Qor32s>(norms.a)) > s.a << shift,
                    multiplyEven(threshold, as<Qor32s>(norms.b)) > s.b << shift});
  }
  static Qor32u passing(V32s stage, V32s threshold) { return HaarInteger::passing(stage, threshold); }
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

// How the pixels of a vector are read: as neighbours from one address, or each from its own.
constexpr int haarLanes = V32s::lanes;

struct Neighbours {
  static constexpr int addresses = 1;

  template <class T>
  static Vec<T> rectangle(const T* const* pixel, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    const T* p = *pixel;
    return load(p + a) - load(p + b) - load(p + c) + load(p + d);
  }
};

struct Singles {
  static constexpr int addresses = haarLanes;

  static Qor32f at(const Qor32f* p, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    return p[a] - p[b] - p[c] + p[d];
  }
  static Qor32s at(const Qor32s* p, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    return static_cast<Qor32s>(static_cast<Qor32u>(p[a]) - static_cast<Qor32u>(p[b]) - static_cast<Qor32u>(p[c]) +
                               static_cast<Qor32u>(p[d]));
  }

  template <class T>
  static Vec<T> rectangle(const T* const* pixel, ptrdiff_t a, ptrdiff_t b, ptrdiff_t c, ptrdiff_t d) {
    return laneByLane<Vec<T>>([=](int i) { return at(pixel[i], a, b, c, d); });
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
  // Enough pixels to share the set-up of a feature. Single ones come from far apart: more of them would read more of
  // the table than the first cache holds.
  static constexpr int vectors = (addresses == 1 ? 256 : 64) / haarLanes;

  bool full() const { return used_ == vectors * addresses; }

  // A group of neighbours with a bit for every candidate, or one pixel. The pointers lead to its first sample; the mask
  // is written by run().
  void add(const T* const (&tables)[Tables::count], const N* norm, Qor8u* mask, Qor32u candidates) {
    for (int t = 0; t < Tables::count; ++t) pixels_[t][used_] = tables[t];
    masks_[used_] = mask;
    candidates_[used_] = candidates;
    __builtin_memcpy(norms_ + used_ * samples, norm, samples * sizeof(N));
    ++used_;
  }

  // Clears the mask where the stage rejects; returns the number of candidates that remain.
  int run(const Form& form, const Tables& tables, const HaarRecord<V>& record, V threshold) {
    if (used_ == 0) return 0;
    // An incomplete vector repeats a pixel of its own, as no candidate.
    const int last = used_ - 1;
    for (; used_ % addresses != 0; ++used_) {
      for (int t = 0; t < Tables::count; ++t) pixels_[t][used_] = pixels_[t][last];
      norms_[used_] = norms_[last];
      candidates_[used_] = 0;
    }
    const int full = used_ / addresses;
    for (int v = 0; v < full; ++v) store(stages_ + v * haarLanes, zero<V>());
    for (int f = 0; f < record.featureCount; ++f) addFeature(form, tables, record, record.features[f], full);
    int passed = 0;
    for (int v = 0; v < full; ++v) passed += judge(v, Form::passing(load(stages_ + v * haarLanes), splat(threshold)));
    used_ = 0;
    return passed;
  }

 private:
  // Samples of one address.
  static constexpr int samples = haarLanes / addresses;

  // Only bytes that become 0 are written.
  int judge(int v, Qor32u passing) {
    int passed = 0;
    for (int i = v * addresses; i < (v + 1) * addresses; ++i, passing >>= samples) {
      for (Qor32u failed = candidates_[i] & ~passing; failed != 0; failed &= failed - 1) {
        masks_[i][__builtin_ctz(failed)] = 0;
      }
      passed += __builtin_popcount(candidates_[i] & passing);
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

  void addValue(const Form& form, const HaarFeature<V>& feature, int v, Sum s) {
    const Vec<V> val1 = splat(feature.val1), val2 = splat(feature.val2);
    const Vec<V> below = form.below(s, splat(feature.threshold), load(norms_ + v * haarLanes));
    // The bits of one value or the other.
    const Vec<V> value = ((val1 ^ val2) & below) ^ val2;
    store(stages_ + v * haarLanes, load(stages_ + v * haarLanes) + value);
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
    for (int v = 0; v < full; ++v) {
      const T* const* pixel = pixels + v * addresses;
      Sum s = Form::weighted(Shape::rectangle(pixel, o[0], o[1], o[2], o[3]), weights[0]);
      for (int k = 1; k < rects; ++k) {
        const ptrdiff_t* r = o + 4 * k;
        s = s + Form::weighted(Shape::rectangle(pixel, r[0], r[1], r[2], r[3]), weights[k]);
      }
      addValue(form, feature, v, s);
    }
  }

  // Any number of rectangles, one after the other over the whole batch.
  void addLong(Form form, const Tables& tables, const HaarRecord<V>& record, const HaarFeature<V> feature, int full) {
    Sum sums[vectors];
    const T* const* pixels = pixels_[Tables::tableOf(feature)];
    for (int k = 0; k < feature.rectCount; ++k) {
      ptrdiff_t room[4];
      const HaarCorners corners = tables.corners(record, feature, k, room);
      const ptrdiff_t a = corners[0], b = corners[1], c = corners[2], d = corners[3];
      const Vec<V> weight = splat(feature.rects[k].weight);
      for (int v = 0; v < full; ++v) {
        const Sum s = Form::weighted(Shape::rectangle(pixels + v * addresses, a, b, c, d), weight);
        sums[v] = k == 0 ? s : sums[v] + s;
      }
    }
    for (int v = 0; v < full; ++v) addValue(form, feature, v, sums[v]);
  }

  int used_ = 0;
  const T* pixels_[Tables::count][vectors * addresses];
  Qor8u* masks_[vectors * addresses];
  Qor32u candidates_[vectors * addresses];
  alignas(V32s::bytes) N norms_[vectors * haarLanes];
  alignas(V32s::bytes) V stages_[vectors * haarLanes];
};

// ---- the walk over the mask

// How many mask bytes are passed over at once when they are zero: a group, twice or four times as many. All but the
// dense walk evaluate a candidate without another in its group alone.
enum class HaarWalk { dense, groups1, groups2, groups4 };

template <class Form, class Tables>
class HaarRegion {
 public:
  static constexpr int stripWidth = 192;
  static_assert(stripWidth % (4 * haarLanes) == 0);

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
      case HaarWalk::groups4:
        x = collectGroups<4>(x, right, split);
        break;
      case HaarWalk::groups2:
        x = collectGroups<2>(x, right, split);
        break;
      default:
        break;
    }
    x = collectGroups<1>(x, right, split);
    if (x == right) return;
    if (right < haarLanes) {
      for (; x < right; ++x) {
        if (mask_[x] != 0) addSingle(x);
      }
    } else {
      // The group that ends the row, without what stands in the one before.
      const int start = right - haarLanes;
      addGroup(start, candidates(start) >> (x - start) << (x - start), split);
    }
  }

  template <int groups>
  int collectGroups(int x, int right, bool split) {
    constexpr int bytes = groups * haarLanes;
    for (; x + bytes <= right; x += bytes) {
      if (allZeroBytes<bytes>(mask_ + x)) continue;
      for (int i = x; i < x + bytes; i += haarLanes) addGroup(i, candidates(i), split);
    }
    return x;
  }

  template <int bytes>
  static bool allZeroBytes(const Qor8u* p) {
    using Word = std::conditional_t<bytes == 4, Qor32u, uint64_t>;
    constexpr int words = bytes / static_cast<int>(sizeof(Word));
    Word w[words], any = 0;
    __builtin_memcpy(w, p, bytes);
    for (const Word word : w) any |= word;
    return any == 0;
  }

  // A bit for every pixel of a group.
  Qor32u candidates(int x) const { return ~signBits(maskedOut<Qor32f>(mask_ + x)) & allSignBits<V32f>; }

  // A group costs less than two evaluations of single pixels.
  void addGroup(int x, Qor32u candidates, bool split) {
    if (candidates == 0) return;
    if (split && (candidates & (candidates - 1)) == 0) return addSingle(x + __builtin_ctz(candidates));
    add(groups_, x, candidates);
  }

  void addSingle(int x) { add(singles_, x, 1); }

  template <class Batch>
  void add(Batch& batch, int x, Qor32u candidates) {
    const T* at[Tables::count];
    for (int t = 0; t < Tables::count; ++t) at[t] = rows_[t] + x;
    batch.add(at, norm_ + x, mask_ + x, candidates);
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
