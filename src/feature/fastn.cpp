// FastN corners: the search.
//
// An arc of pixels that are all brighter than c + T is one whose least pixel is. So of all arcs the largest least pixel
// tells at once whether there is a corner, and its distance from c is the score; for darker arcs, with the order turned
// around. Both are found for a vector of pixels by minima and maxima alone. Few blocks come that far: an arc of more
// than half the circle holds two neighbours of the four pixels below, left, above and right.
#include <math.h>

#include "feature/fastn_spec.h"
#include "feature/nonzero.h"
#include "frame/bodies.h"
#include "frame/image_ops.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr int lanes = V8u::lanes;

// ---- circles: entry i, up to twice around, of the circles of a block of pixels

struct AnyCircle {
  int pixels, arc;
  ptrdiff_t offsets[2 * mostCirclePixels];

  AnyCircle(const FastNRecord& record, ptrdiff_t step) : pixels(circleOf(record.circleRadius).pixels) {
    arc = record.numPixels;
    for (int i = 0; i < 2 * pixels; ++i) {
      const QoriPoint p = record.ring[i % pixels];
      offsets[i] = p.y * step + p.x;
    }
  }
  QOR_FORCE_INLINE V8u at(const Qor8u* centre, int i) const { return load(centre + offsets[i]); }
};

// The pair that is asked for the most, with all that is known of it when it is compiled.
struct CommonCircle {
  static constexpr int radius = 3, pixels = 16, arc = 9;
  ptrdiff_t step;

  CommonCircle(const FastNRecord&, ptrdiff_t rowStep) : step(rowStep) {}
  QOR_FORCE_INLINE V8u at(const Qor8u* centre, int i) const {
    const QoriPoint p = coordR3_[i % pixels];
    return load(centre + p.y * step + p.x);
  }
};

// ---- kinds of corners

struct Brighter {
  static constexpr Qor8u kind = 0x40, nothing = 0;
  QOR_FORCE_INLINE static V8u weaker(V8u a, V8u b) { return min(a, b); }
  QOR_FORCE_INLINE static V8u stronger(V8u a, V8u b) { return max(a, b); }
  // How far a pixel lies beyond the threshold. A limit that saturates is one that no pixel passes.
  QOR_FORCE_INLINE static V8u excess(V8u pixel, V8u centre, V8u threshold) {
    return subSat(pixel, addSat(centre, threshold));
  }
};
struct Darker {
  static constexpr Qor8u kind = 0x80, nothing = 255;
  QOR_FORCE_INLINE static V8u weaker(V8u a, V8u b) { return max(a, b); }
  QOR_FORCE_INLINE static V8u stronger(V8u a, V8u b) { return min(a, b); }
  QOR_FORCE_INLINE static V8u excess(V8u pixel, V8u centre, V8u threshold) {
    return subSat(subSat(centre, threshold), pixel);
  }
};

// The strongest, over all arcs, of the weakest pixel in the arc. The arcs that begin at entries 2 j and 2 j + 1 share
// all but the first pixel of the one and the last of the other. What they share is a run of pairs, whose weakest pixel
// is found by doubling, and in arcs of even length one pixel more.
template <class Kind, class Circle>
QOR_FORCE_INLINE V8u strongestArc(const Qor8u* centre, const Circle& circle) {
  const int pairs = circle.pixels / 2, wanted = (circle.arc - 1) / 2;
  V8u runs[mostCirclePixels];
  for (int j = 0; j < pairs; ++j) {
    runs[j] = Kind::weaker(circle.at(centre, 2 * j + 1), circle.at(centre, 2 * j + 2));
  }
  // Every run becomes longer by the one that begins `by` pairs behind.
  const auto lengthen = [&](int by) {
    for (int j = 0; j < by; ++j) runs[pairs + j] = runs[j];
    for (int j = 0; j < pairs; ++j) runs[j] = Kind::weaker(runs[j], runs[j + by]);
  };
  int length = 1;
  for (; 2 * length <= wanted; length *= 2) lengthen(length);
  if (length < wanted) lengthen(wanted - length);
  V8u strongest = splat(Kind::nothing);
  for (int j = 0; j < pairs; ++j) {
    const int behind = 2 * j + circle.arc;
    V8u arc = Kind::weaker(runs[j], Kind::stronger(circle.at(centre, 2 * j), circle.at(centre, behind)));
    if (circle.arc % 2 == 0) arc = Kind::weaker(arc, circle.at(centre, behind - 1));
    strongest = Kind::stronger(strongest, arc);
  }
  return strongest;
}

struct Corners {
  Qor32u bits;        // of the pixels that are
  V8u kinds, scores;  // 0 for those that are none
};

// Finds the corners of a block that may hold some, bright or dark ones.
template <class Circle>
[[gnu::noinline]] bool judge(const Qor8u* centre, const Circle& circle, V8u threshold, bool isBright, bool isDark,
                             Corners* corners) {
  const V8u c = load(centre);
  V8u bright = zero<Qor8u>(), dark = bright;
  if (isBright) bright = Brighter::excess(strongestArc<Brighter>(centre, circle), c, threshold);
  if (isDark) dark = Darker::excess(strongestArc<Darker>(centre, circle), c, threshold);
  // No pixel is both: two arcs of more than half the circle would meet.
  const V8u excess = bright | dark, none = excess == zero<Qor8u>();
  corners->bits = ~signBits(none) & allSignBits<V8u>;
  corners->kinds = andNot(none, select(dark == zero<Qor8u>(), splat(Brighter::kind), splat(Darker::kind)));
  corners->scores = andNot(none, excess + threshold);
  return corners->bits != 0;
}

// Whether a block holds any.
template <class Circle>
QOR_FORCE_INLINE bool findCorners(const Qor8u* centre, const Circle& circle, V8u threshold, Corners* corners) {
  const V8u c = load(centre);
  const auto quarter = [&](int i) { return circle.at(centre, i * circle.pixels / 4); };
  const V8u below = quarter(0), left = quarter(1), above = quarter(2), right = quarter(3);
  const V8u bright = Brighter::excess(min(max(below, above), max(left, right)), c, threshold);
  const V8u dark = Darker::excess(max(min(below, above), min(left, right)), c, threshold);
  if (allZero(bright | dark)) return false;
  return judge(centre, circle, threshold, !allZero(bright), !allZero(dark), corners);
}

// ---- orientation

class Orientation {
 public:
  Orientation(const QoriFastNSpec* spec, const FastNRecord& record, int step)
      : pixels_(circleOf(record.circleRadius).pixels) {
    copyTables(spec, 0, pixels_, sines_);
    copyTables(spec, pixels_, pixels_, cosines_);
    copyTables(spec, 2 * pixels_, 1, &scale_);
    for (int i = 0; i < pixels_; ++i) offsets_[i] = rowOffset(step, record.ring[i].y) + record.ring[i].x;
  }

  Qor8u bin(const Qor8u* centre) const {
    constexpr Qor32f wholeTurn = 6.2831855F;
    // A difference and a table's number have 33 bits together, so the 32-bit product is rounded once.
    Qor32f alongCosines = 0, alongSines = 0;
    for (int i = 0; i < pixels_; ++i) {
      const Qor32f d = static_cast<Qor32f>(centre[offsets_[i]] - *centre);
      alongCosines += d * cosines_[i];
      alongSines += d * sines_[i];
    }
    Qor32f angle = atan2f(alongCosines, alongSines);
    if (angle < 0) angle += wholeTurn;
    return static_cast<Qor8u>(static_cast<int>(angle * scale_) & 63);
  }

 private:
  int pixels_;
  ptrdiff_t offsets_[mostCirclePixels];
  Qor32f sines_[mostCirclePixels], cosines_[mostCirclePixels], scale_;
};

// ---- one image

// The maps of a region, from its first pixel on. Scores have no address when they are not wanted.
struct Maps {
  Plane<Qor8u> corners, scores;

  void clear(QoriSize size) const {
    qoriSet_8u_C1R(0, corners.first, corners.step, size);
    if (scores.first != nullptr) qoriSet_8u_C1R(0, scores.first, scores.step, size);
  }
  void advance(ptrdiff_t columns, int rows) {
    corners.first = corners.row(rows) + columns;
    if (scores.first != nullptr) scores.first = scores.row(rows) + columns;
  }
};

// Columns and rows of the image.
struct Region {
  int x, y, width, height;
};

template <class Circle>
class Search {
 public:
  // All pixels of the region have their circles inside the image.
  Search(Plane<const Qor8u> src, const FastNRecord& record, Qor8u threshold, const Region& region, const Maps& maps,
         const Orientation* orientation)
      : src_(src),
        radius_(record.circleRadius),
        threshold_(splat(threshold)),
        region_(region),
        searched_(region),
        maps_(maps),
        orientation_(orientation),
        circle_(record, 0) {
    if (record.has(qorFastNNonMax)) extend(record.srcSize);
    isNarrow_ = searched_.width < lanes;
    circle_ = Circle(record, isNarrow_ ? stagedStep : src.step);
  }

  int run() {
    for (int y = region_.y; y < region_.y + region_.height; ++y) {
      searchRow(
          y, [&](ptrdiff_t x, const Corners& corners) { putAll(x, y, corners.bits, corners.kinds, corners.scores); });
    }
    return count_;
  }

  // With the suppression of weaker neighbours. rows: six rows of region.width + 2 bytes.
  int runSuppressed(Qor8u* rows) {
    const ptrdiff_t rowBytes = ptrdiff_t{region_.width} + 2;
    Candidates candidates[3];
    for (Candidates& c : candidates) {
      c = {rows, rows + 3 * rowBytes, true};
      rows += rowBytes;
      clear(c);
    }
    const int end = searched_.y + searched_.height;
    for (int y = searched_.y; y <= end; ++y) {
      Candidates *const above = candidates, *const own = candidates + 1, *const below = candidates + 2;
      const Candidates oldest = *above;
      *above = *own, *own = *below, *below = oldest;
      clear(*below);
      if (y < end) collect(y, below);
      if (y > region_.y && y <= region_.y + region_.height) suppress(y - 1, *above, *own, *below);
    }
    return count_;
  }

 private:
  // One row of kinds and scores, with a column more on both sides. Both are zeros unless `some`.
  struct Candidates {
    Qor8u *kinds, *scores;
    bool some;
  };

  // One further, but not beyond the pixels whose circles lie in the image.
  void extend(QoriSize image) {
    const auto grow = [this](int* first, int* length, int size) {
      const bool before = *first > radius_, behind = int64_t{*first} + *length < int64_t{size} - radius_;
      *first -= before;
      *length += before + behind;
    };
    grow(&searched_.x, &searched_.width, image.width);
    grow(&searched_.y, &searched_.height, image.height);
  }

  // Calls found(column, corners) for the blocks of a row that hold some; columns count from the first one searched. Of
  // a block that overlaps the one before only the new corners have bits.
  template <class Found>
  QOR_FORCE_INLINE void searchRow(int y, const Found& found) {
    const ptrdiff_t width = searched_.width;
    const Qor8u* const row = centres(y);
    Corners corners;
    if (isNarrow_) {
      if (!findCorners(row, circle_, threshold_, &corners)) return;
      corners.bits &= (1U << width) - 1;
      if (corners.bits != 0) found(0, corners);
      return;
    }
    ptrdiff_t x = 0;
    for (; x <= width - lanes; x += lanes) {
      if (findCorners(row + x, circle_, threshold_, &corners)) found(x, corners);
    }
    const ptrdiff_t last = width - lanes;
    if (x == width || !findCorners(row + last, circle_, threshold_, &corners)) return;
    corners.bits &= ~0U << (x - last);
    if (corners.bits != 0) found(last, corners);
  }

  // The first pixel searched of a row, with the circles of a whole block around it.
  const Qor8u* centres(int y) {
    if (!isNarrow_) return src_.row(y) + searched_.x;
    const size_t bytes = static_cast<size_t>(searched_.width) + static_cast<size_t>(2 * radius_);
    for (int i = 0; i <= 2 * radius_; ++i) {
      __builtin_memcpy(staged_[i], src_.row(y + i - radius_) + searched_.x - radius_, bytes);
    }
    return staged_[radius_] + radius_;
  }

  void clear(Candidates& c) {
    if (!c.some) return;
    const size_t bytes = static_cast<size_t>(region_.width) + 2;
    __builtin_memset(c.kinds, 0, bytes);
    __builtin_memset(c.scores, 0, bytes);
    c.some = false;
  }

  // The candidates of a row.
  void collect(int y, Candidates* candidates) {
    // Column 0 of the rows is the one in front of the region.
    const ptrdiff_t shift = 1 + (searched_.x - region_.x);
    searchRow(y, [&](ptrdiff_t x, const Corners& corners) {
      candidates->some = true;
      if (isNarrow_) {
        storeFirst(candidates->kinds + shift, searched_.width, corners.kinds);
        storeFirst(candidates->scores + shift, searched_.width, corners.scores);
      } else {
        store(candidates->kinds + shift + x, corners.kinds);
        store(candidates->scores + shift + x, corners.scores);
      }
    });
  }

  // Keeps what no neighbour exceeds. Pointers are those of column 0.
  void suppress(int y, const Candidates& above, const Candidates& own, const Candidates& below) {
    if (!own.some) return;
    const ptrdiff_t width = region_.width;
    if (width >= lanes) {
      const auto block = [&](ptrdiff_t x, Qor32u fresh) {
        const Qor32u bits = strongest(above.scores + x, own.scores + x, below.scores + x) & fresh;
        if (bits != 0) putAll(x, y, bits, load(own.kinds + x + 1), load(own.scores + x + 1));
      };
      ptrdiff_t x = 0;
      for (; x <= width - lanes; x += lanes) block(x, ~0U);
      if (x != width) block(width - lanes, ~0U << (x - (width - lanes)));
      return;
    }
    Qor8u scores[3][lanes + 2] = {}, kinds[lanes + 2] = {};
    const size_t bytes = static_cast<size_t>(width) + 2;
    __builtin_memcpy(scores[0], above.scores, bytes);
    __builtin_memcpy(scores[1], own.scores, bytes);
    __builtin_memcpy(scores[2], below.scores, bytes);
    __builtin_memcpy(kinds, own.kinds, bytes);
    const Qor32u inside = (1U << width) - 1;
    putAll(0, y, strongest(scores[0], scores[1], scores[2]) & inside, load(kinds + 1), load(scores[1] + 1));
  }

  // Bits of the corners of a block that have no stronger neighbour; pointers are one in front of its first pixel.
  QOR_FORCE_INLINE static Qor32u strongest(const Qor8u* above, const Qor8u* own, const Qor8u* below) {
    const V8u score = load(own + 1);
    if (allZero(score)) return 0;
    const auto three = [](const Qor8u* p) { return max(load(p), max(load(p + 1), load(p + 2))); };
    const V8u highest = max(three(own), max(three(above), three(below)));
    return signBits(highest == score) & ~signBits(score == zero<Qor8u>());
  }

  // Corners of a block go to the maps; x counts from the region's first column, which is the first one searched unless
  // weaker neighbours are suppressed.
  void putAll(ptrdiff_t x, int y, Qor32u bits, V8u kinds, V8u scores) {
    Qor8u kind[lanes], score[lanes];
    store(kind, kinds);
    store(score, scores);
    Qor8u* const corner = maps_.corners.row(y - region_.y) + x;
    forBits(bits, [&](int i) {
      corner[i] = kind[i];
      if (orientation_ != nullptr) corner[i] |= orientation_->bin(src_.row(y) + region_.x + x + i);
      ++count_;
    });
    if (maps_.scores.first == nullptr) return;
    Qor8u* const to = maps_.scores.row(y - region_.y) + x;
    forBits(bits, [&](int i) { to[i] = score[i]; });
  }

  static constexpr int mostRadius = 9, stagedStep = (lanes + 2 * mostRadius + 15) / 16 * 16;

  Plane<const Qor8u> src_;
  int radius_;
  V8u threshold_;
  Region region_, searched_;
  Maps maps_;
  const Orientation* orientation_;
  Circle circle_;
  bool isNarrow_;
  int count_ = 0;
  Qor8u staged_[2 * mostRadius + 1][stagedStep] = {};  // the rows of the circles, of a region narrower than a block
};

template <class Circle>
int search(Plane<const Qor8u> src, const FastNRecord& record, Qor8u threshold, const Region& region, const Maps& maps,
           const Orientation* orientation, Qor8u* rows) {
  Search<Circle> s(src, record, threshold, region, maps, orientation);
  return record.has(qorFastNNonMax) ? s.runSuppressed(rows) : s.run();
}

// ---- the region

// One direction of a region, in 64 bits: any sum of offset and length.
struct Extent {
  int64_t first, length;

  // Cuts off what lies before the image; then what lies behind it. Whether there was any.
  bool cutBefore() {
    const bool cut = first < 0;
    if (cut) length += first, first = 0;
    return cut;
  }
  bool cutBehind(int64_t size) {
    const bool cut = first + length > size;
    if (cut) length = size - first;
    return cut;
  }
  // Leaves what has circles inside the image. How many were lost at the front.
  int64_t keepInside(int64_t size, int radius) {
    const int64_t lost = first < radius ? radius - first : 0;
    first += lost;
    length -= lost;
    cutBehind(size - radius);
    return lost;
  }
};

QorStatus findCorners(const Qor8u* pSrc, int srcStep, Qor8u* pDstCorner, int dstCornerStep, Qor8u* pDstScore,
                      int dstScoreStep, int* pNumCorner, QoriPoint srcRoiOffset, QoriSize dstRoiSize,
                      const QoriFastNSpec* pSpec, Qor8u* pBuffer) {
  QorStatus status = firstFailure(nullCheck(pSrc, pDstCorner), nullCheck(pSpec), nullCheck(pBuffer),
                                  nullCheck(pNumCorner), sizeCheck(dstRoiSize));
  if (status != qorStsNoErr) return status;
  const FastNRecord record = recordOf(pSpec);
  const bool isOutside = srcRoiOffset.x >= record.srcSize.width || srcRoiOffset.y >= record.srcSize.height;
  status = firstFailure(
      fastNIdentityCheck(record), fastNTypeCheck(record.dataType), fastNChannelCheck(record.nChannels),
      sizeCheck(record.srcSize), fastNOptionCheck(record.option, record.orientationBins),
      record.has(qorFastNScore) ? nullCheck(pDstScore) : qorStsNoErr,
      fastNGeometryCheck(record.circleRadius, record.numPixels), isOutside ? qorStsOutOfRangeErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;

  Extent columns{srcRoiOffset.x, dstRoiSize.width}, rows{srcRoiOffset.y, dstRoiSize.height};
  bool isCut = columns.cutBefore();
  isCut |= rows.cutBefore();
  if (columns.length < 1 || rows.length < 1) return qorStsSizeWrn;
  isCut |= columns.cutBehind(record.srcSize.width);
  isCut |= rows.cutBehind(record.srcSize.height);
  const auto sizeOf = [&] { return QoriSize{static_cast<int>(columns.length), static_cast<int>(rows.length)}; };
  constexpr int64_t rowsAt = 624;
  const bool isSuppressed = record.has(qorFastNNonMax);
  if (isSuppressed && rowsAt + 6 * (columns.length + 2) > fastNScratch(dstRoiSize.width)) return qorStsSizeErr;

  Maps maps{{pDstCorner, dstCornerStep}, {record.has(qorFastNScore) ? pDstScore : nullptr, dstScoreStep}};
  maps.clear(sizeOf());
  const int radius = record.circleRadius;
  const auto left = static_cast<ptrdiff_t>(columns.keepInside(record.srcSize.width, radius));
  const auto top = static_cast<int>(rows.keepInside(record.srcSize.height, radius));
  const bool isCommon = radius == CommonCircle::radius && record.numPixels == CommonCircle::arc;
  const int threshold = record.thresholdInt < 0 ? 0 : record.thresholdInt;
  constexpr int highest = topOf<Qor8u>;
  int count = 0;
  if (columns.length > 0 && rows.length > 0 && (isCommon || threshold <= highest)) {
    maps.advance(left, top);
    const QoriSize size = sizeOf();
    const Region region{static_cast<int>(columns.first), static_cast<int>(rows.first), size.width, size.height};
    const Plane<const Qor8u> src{pSrc, srcStep};
    const auto limit = static_cast<Qor8u>(threshold);
    const auto run = [&](const Orientation* orientation) {
      const auto searchAny = isCommon ? search<CommonCircle> : search<AnyCircle>;
      return searchAny(src, record, limit, region, maps, orientation, pBuffer + rowsAt);
    };
    if (record.has(qorFastNOrientation)) {
      const Orientation orientation(pSpec, record, srcStep);
      count = run(&orientation);
    } else {
      count = run(nullptr);
    }
  }
  *pNumCorner = count;
  return isCut ? qorStsSizeWrn : qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFastN_8u_C1R)
(const Qor8u* pSrc, int srcStep, Qor8u* pDstCorner, int dstCornerStep, Qor8u* pDstScore, int dstScoreStep,
 int* pNumCorner, QoriPoint srcRoiOffset, QoriSize dstRoiSize, const QoriFastNSpec* pSpec, Qor8u* pBuffer) {
  return qor::findCorners(pSrc, srcStep, pDstCorner, dstCornerStep, pDstScore, dstScoreStep, pNumCorner, srcRoiOffset,
                          dstRoiSize, pSpec, pBuffer);
}
