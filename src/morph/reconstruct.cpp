// Geodesic reconstruction: the marker grows under the mask until nothing changes.
//
// Rows are swept downwards and upwards in turns. A row takes in what the row behind it offers, then grows along itself
// in both directions, so that one sweep follows every way that does not turn back. It is visited only where that row
// has changed since it last took from it: eight bits a row tell of so many segments. The bits of rows not yet swept
// speak of the row behind, which the last sweep changed; those of rows already swept speak of the row before them, for
// the sweep to come. A sweep that changes nothing leaves no bit set, and the image is stable.
//
// Two threads sweep a half each.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "morph/grow.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T, class Growth, bool diagonal>
class Reconstruction {
 public:
  Reconstruction(Plane<const T> mask, Plane<T> image, QoriSize size, Qor8u* flags)
      : mask_(mask), image_(image), width_(size.width), height_(size.height), flags_(flags) {
    const ptrdiff_t share = (width_ + mostSegments - 1) / mostSegments;
    segment_ = (share + span - 1) / span * span;
    const ptrdiff_t segments = width_ / segment_;
    last_ = segments > 0 ? static_cast<int>(segments) - 1 : 0;
    all_ = (2U << last_) - 1;
  }

  void run(bool parallel) {
    if (!parallel) {
      const int ends[] = {0, height_ - 1};
      start(ends[0], ends[1]);
      for (int from = 1; sweep(ends[from], ends[1 - from]);) from = 1 - from;
      return;
    }
    // Each half is swept from its far end to the seam, the two rows there take from each other, and each half is swept
    // away from the seam and back.
    const int seam = height_ / 2, near[] = {seam - 1, seam}, far[] = {0, height_ - 1};
    bool changed[] = {true, true};
    inTwoParts([&](int half) { start(far[half], near[half]); }, [&] { return meet(seam) || changed[0] || changed[1]; },
               [&](int half) { changed[half] = sweep(near[half], far[half]) && sweep(far[half], near[half]); });
  }

 private:
  static constexpr int mostSegments = 8;
  static constexpr int groupBytes = 64;  // what is tested, and then grown, at once
  using V = Vec<T>;
  using Group = Block<T, groupBytes / V::bytes>;
  static constexpr int count = groupBytes / V::bytes, span = Group::samples;

  struct Rows {
    T* own;
    const T *mask, *behind;  // behind: null for none
    ptrdiff_t width;

    // Where the group that covers x begins.
    ptrdiff_t groupAt(ptrdiff_t x) const { return x <= width - span ? x : width - span; }
    V ownAt(ptrdiff_t x) const { return x >= 0 && x < width ? splat(own[x]) : nothing(); }
    V behindAt(ptrdiff_t x) const { return x >= 0 && x < width ? splat(behind[x]) : nothing(); }
    // Whether sample `from` raises its neighbour `to`.
    bool raises(ptrdiff_t from, ptrdiff_t to) const {
      const T offer = Growth::beyond(own[from], mask[to]) ? mask[to] : own[from];
      return Growth::beyond(offer, own[to]);
    }
  };

  static V nothing() { return splat(Growth::template nothing<T>); }

  // ---- sweeps

  static int towards(int first, int last) { return first < last ? 1 : -1; }

  // The first sweep, from row to row, brings all of them to the mask.
  void start(int first, int last) {
    visit<true>(first, -1, all_);
    flags_[first] = 0;
    for (int y = first; y != last;) {
      const int behind = y;
      y += towards(first, last);
      flags_[y] = 0;
      visit<true>(y, behind, all_);
      flag(behind, all_);
    }
  }

  // Every row that has to takes from the one before it. Whether any changed.
  bool sweep(int first, int last) {
    Qor32u changed = 0, any = 0;
    for (int y = first; y != last;) {
      const int behind = y;
      y += towards(first, last);
      const Qor32u wanted = flags_[y] | reached(changed);
      flags_[y] = 0;
      changed = 0;
      if (wanted == 0) continue;
      changed = visit<false>(y, behind, wanted);
      flag(behind, reached(changed));
      any |= changed;
    }
    return any != 0;
  }

  // The two rows at the seam take from each other. Whether either changed.
  bool meet(int seam) {
    const Qor32u above = visit<false>(seam - 1, seam, all_), below = visit<false>(seam, seam - 1, all_);
    flag(seam - 2, reached(above));
    flag(seam + 1, reached(below));
    return (above | below) != 0;
  }

  void flag(int y, Qor32u segments) { flags_[y] = static_cast<Qor8u>(flags_[y] | segments); }

  // Segments of a neighbouring row in which changed ones matter.
  Qor32u reached(Qor32u changed) const { return diagonal ? (changed | changed << 1 | changed >> 1) & all_ : changed; }

  // ---- one row

  // Grows the wanted segments of row y from the row `behind` and from each other. First: the row has not been brought
  // to the mask yet. Returns the segments that changed.
  template <bool first>
  Qor32u visit(int y, int behind, Qor32u wanted) {
    Rows rows{image_.row(y), mask_.row(y), behind < 0 ? nullptr : image_.row(behind), width_};
    if (width_ >= span) return growRow<first>(rows, wanted);
    Padded own(rows.own, width_), mask(rows.mask, width_), other(behind < 0 ? rows.own : rows.behind, width_);
    const Rows padded{own.samples, mask.samples, behind < 0 ? nullptr : other.samples, span};
    const Qor32u changed = growRow<first>(padded, wanted);
    __builtin_memcpy(rows.own, own.samples, static_cast<size_t>(width_) * sizeof(T));
    return changed;
  }

  // A row shorter than a group, followed by samples that can neither give nor take.
  struct Padded {
    T samples[span];
    Padded(const T* row, ptrdiff_t width) {
      store(samples, Group(filled()));
      __builtin_memcpy(samples, row, static_cast<size_t>(width) * sizeof(T));
    }
    static Group filled() {
      Group g;
      for (V& v : g.v) v = nothing();
      return g;
    }
  };

  template <bool first>
  Qor32u growRow(const Rows& rows, Qor32u wanted) const {
    Qor32u changed = 0;
    for (Qor32u left = wanted; left != 0;) {
      const int s = __builtin_ctz(left);
      left &= left - 1;
      const ptrdiff_t begin = s * segment_, end = endOf(s, rows);
      bool grown = false;
      for (ptrdiff_t x = begin; x < end; x += span) grown |= growForward<first>(rows, rows.groupAt(x));
      if (!grown) continue;
      changed |= 1U << s;
      if (end < rows.width && rows.raises(end - 1, end)) left |= 2U << s;
    }
    for (Qor32u left = changed; left != 0;) {
      const int s = 31 - __builtin_clz(left);
      left &= ~(1U << s);
      const ptrdiff_t begin = s * segment_, end = endOf(s, rows);
      for (ptrdiff_t x = begin + (end - begin - 1) / span * span; x >= begin; x -= span) {
        growBackward<first>(rows, rows.groupAt(x));
      }
      if (begin > 0 && rows.raises(begin, begin - 1)) {
        left |= 1U << (s - 1);
        changed |= 1U << (s - 1);
      }
    }
    return changed;
  }
  ptrdiff_t endOf(ptrdiff_t s, const Rows& rows) const { return s == last_ ? rows.width : (s + 1) * segment_; }

  template <bool first>
  QOR_FORCE_INLINE static bool growForward(const Rows& rows, ptrdiff_t x) {
    Group value = loadBlock<count>(rows.own + x);
    const Group limit = loadBlock<count>(rows.mask + x);
    V before = rows.ownAt(x - 1);
    if constexpr (first) {
      for (int i = 0; i < count; ++i) value.v[i] = Growth::bounded(limit.v[i], value.v[i]);
    }
    if (!first || rows.behind != nullptr) {
      const Group offer = offered(rows, x);
      if constexpr (!first) {
        V last = before;
        const auto offerAlong = [&](int i) {
          const V previous = previousLanes(last, value.v[i]);
          last = value.v[i];
          return Growth::grown(previous, offer.v[i]);
        };
        if (!growsAny(value, limit, offerAlong)) return false;
      }
      for (int i = 0; i < count; ++i) {
        value.v[i] = Growth::grown(Growth::bounded(limit.v[i], offer.v[i]), value.v[i]);
      }
    }
    for (int i = 0; i < count; ++i) {
      Grower<Growth, T> grower{value.v[i], limit.v[i]};
      grower.forward();
      grower.enter(before);
      value.v[i] = grower.value;
      before = splatLast(grower.value);
    }
    store(rows.own + x, value);
    return true;
  }

  template <bool first>
  QOR_FORCE_INLINE static void growBackward(const Rows& rows, ptrdiff_t x) {
    Group value = loadBlock<count>(rows.own + x);
    const Group limit = loadBlock<count>(rows.mask + x);
    V after = rows.ownAt(x + span);
    if constexpr (!first) {
      const auto offer = [&](int i) { return nextLanes(value.v[i], i + 1 < count ? value.v[i + 1] : after); };
      if (!growsAny(value, limit, offer)) return;
    }
    for (int i = count - 1; i >= 0; --i) {
      Grower<Growth, T> grower{value.v[i], limit.v[i]};
      grower.backward();
      grower.enter(after);
      value.v[i] = grower.value;
      after = splatFirst(grower.value);
    }
    store(rows.own + x, value);
  }

  // Whether any sample of a group changes when it takes what offer(vector) gives.
  template <class Offer>
  QOR_FORCE_INLINE static bool growsAny(const Group& value, const Group& limit, const Offer& offer) {
    V8u changes = zero<Qor8u>();
    for (int i = 0; i < count; ++i) {
      const V grown = Growth::grown(Growth::bounded(limit.v[i], offer(i)), value.v[i]);
      changes = changes | (as<Qor8u>(grown) ^ as<Qor8u>(value.v[i]));
    }
    return !allZero(changes);
  }

  // What the row behind offers to a group: with diagonals the furthest of three samples.
  QOR_FORCE_INLINE static Group offered(const Rows& rows, ptrdiff_t x) {
    const Group here = loadBlock<count>(rows.behind + x);
    if constexpr (!diagonal) return here;
    Group offer;
    V before = rows.behindAt(x - 1);
    for (int i = 0; i < count; ++i) {
      const V next = nextLanes(here.v[i], i + 1 < count ? here.v[i + 1] : rows.behindAt(x + span));
      offer.v[i] = Growth::grown(Growth::grown(previousLanes(before, here.v[i]), next), here.v[i]);
      before = here.v[i];
    }
    return offer;
  }

  Plane<const T> mask_;
  Plane<T> image_;
  ptrdiff_t width_;
  int height_;
  Qor8u* flags_;       // one byte a row
  ptrdiff_t segment_;  // samples of a segment; the last one has more, up to twice as many
  int last_;
  Qor32u all_;
};

// From this width and height on a call is shared by two threads.
constexpr int parallelSide = 11;

template <class Growth, class T>
QorStatus reconstruct(const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, QoriSize roiSize, Qor8u* pBuffer,
                      QoriNorm norm) {
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pSrcDst, pBuffer), sizeCheck(roiSize), stepCheck<T>(roiSize.width, srcStep, srcDstStep),
      evenCheck<T>(srcStep, srcDstStep), norm == qoriNormInf || norm == qoriNormL1 ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const Plane mask{pSrc, srcStep};
  const Plane image{pSrcDst, srcDstStep};
  const bool parallel = roiSize.width >= parallelSide && roiSize.height >= parallelSide && owncvGetMaxNumThreads() >= 2;
  if (norm == qoriNormInf) {
    Reconstruction<T, Growth, true>(mask, image, roiSize, pBuffer).run(parallel);
  } else {
    Reconstruction<T, Growth, false>(mask, image, roiSize, pBuffer).run(parallel);
  }
  return qorStsNoErr;
}

// Four rows and a byte a row, with room to align them; the 16u form counts all of it twice.
template <class T>
QorStatus reportSize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  constexpr int64_t sample = sizeof(T), times = sample == 2 ? 2 : 1;
  const int64_t bytes = 4 * sample * roiSize.width + times * roiSize.height + times * (160 + sample / times);
  *pBufferSize = wrapped(static_cast<uint64_t>(bytes));
  return qorStsNoErr;
}

QorStatus reportSizeOf(QoriSize roiSize, QorDataType dataType, int numChannels, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  const QorStatus channels = numChannels == 1 ? qorStsNoErr : qorStsChannelErr;
  switch (dataType) {
#define QOR_RECONSTRUCT_SIZE(name, T, code) \
  case code:                                \
    return channels != qorStsNoErr ? channels : reportSize<T>(roiSize, pBufferSize);
#include "morph/reconstruct.def"
#undef QOR_RECONSTRUCT_SIZE
    default:
      return qorStsDataTypeErr;
  }
}

}  // namespace
}  // namespace qor

#define QOR_RECONSTRUCT(name, T, Growth)                                                                      \
  QOR_BODY(name)                                                                                              \
  (const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, QoriSize roiSize, Qor8u* pBuffer, QoriNorm norm) { \
    return qor::reconstruct<qor::Growth>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, pBuffer, norm);         \
  }
#define QOR_RECONSTRUCT_SIZE(name, T, code) \
  QOR_BODY(name)(QoriSize roiSize, int* pBufferSize) { return qor::reportSize<T>(roiSize, pBufferSize); }
#include "morph/reconstruct.def"
QOR_BODY(qoriMorphReconstructGetBufferSize)
(QoriSize roiSize, QorDataType dataType, int numChannels, int* pBufferSize) {
  return qor::reportSizeOf(roiSize, dataType, numChannels, pBufferSize);
}
