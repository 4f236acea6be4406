// Speckles: small blobs of similar values, overwritten. One pass over the runs of all rows, within which neighbours
// join, finds what is connected; a second one, which finds the same runs again, overwrites those of small blobs. A row
// is compared with itself before anything is stored in it, so that all comparisons see the values from before.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "segment/run_forest.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Which neighbours join: both are no walls, and not too far apart.
template <class T>
class Joins {
 public:
  Joins(T wall, T maxDiff) : wall_(splat(wall)), most_(splat(static_cast<Distance>(maxDiff))), none_(maxDiff < T(0)) {}

  bool none() const { return none_; }
  Vec<T> isWall(const T* p) const { return load(p) == wall_; }
  Vec<T> operator()(const T* p, const T* q) const {
    const Vec<T> a = load(p), b = load(q);
    return andNot((a == wall_) | (b == wall_), near(a, b));
  }

 private:
  // Differences of 16s reach 65535.
  using Distance = std::conditional_t<std::is_floating_point_v<T>, T, UnsignedOf<T>>;

  Vec<T> near(Vec<T> a, Vec<T> b) const {
    if constexpr (std::is_floating_point_v<T>) {
      return absDiff(a, b) <= most_;
    } else {
      return as<T>(subSat(absDiff(a, b), most_) == zero<Distance>());
    }
  }

  Vec<T> wall_;
  Vec<Distance> most_;
  bool none_;
};

template <class T>
class Speckles {
 public:
  // With N pixels two arrays of 4 * N bytes, one entry for each of as many runs, lie in the block of 13 * N; behind
  // them the words of a row, of which one wider than a word leaves room for all.
  Speckles(Plane<T> image, QoriSize size, const Joins<T>& joins, Qor8u* pBuffer)
      : image_(image),
        width_(size.width),
        height_(size.height),
        joins_(joins),
        sizes_(alignUp<Qor32s>(pBuffer, alignof(Qor32s))),
        forest_(sizes_ + width_ * height_),
        above_(width_ <= wordPixels ? &single_ : alignUp<Word>(sizes_ + 2 * width_ * height_, alignof(Word))) {}

  void replace(T value, Qor32s maxSize) {
    for (int y = 0; y < height_; ++y) connectRow(y);
    for (Qor32s run = forest_.count() - 1; run >= 0; --run) {
      const Qor32s parent = forest_.parent(run);
      if (parent != run) sizes_[parent] += sizes_[run];
    }
    Qor32s run = 0;
    for (int y = 0; y < height_; ++y) run = replaceRow(image_.row(y), run, value, maxSize);
  }

 private:
  // 64 pixels as they join along their row: those that are no walls, and of these the ones that join the next pixel.
  struct Along {
    uint64_t open, onward;

    uint64_t starts(bool before) const { return open & ~shiftIn(onward, before); }
    uint64_t ends() const { return open & ~onward; }
  };
  Along alongRow(const T* row, ptrdiff_t x) const {
    const auto isWall = [this](const T* p) { return joins_.isWall(p); };
    const uint64_t open = firstBits(width_ - x) & ~bitsAt<T>(x, width_, isWall, row);
    return {open, joinsAt(x, width_ - 1, row, row + 1)};
  }
  uint64_t joinsAt(ptrdiff_t x, ptrdiff_t n, const T* p, const T* q) const {
    return joins_.none() || x >= n ? 0 : bitsAt<T>(x, n, joins_, p, q);
  }

  // What the next row has to know of 64 pixels.
  struct Word {
    RunWord runs;
    uint64_t onward;
  };

  void connectRow(int y) {
    const T* const row = image_.row(y);
    bool before = false, aboveBefore = false, downBefore = false;
    Qor32s ended = forest_.count();
    for (ptrdiff_t k = 0; k < wordsOfRow(width_); ++k) {
      const ptrdiff_t x = k * wordPixels;
      const Along along = alongRow(row, x);
      const RunWord runs{along.starts(before), forest_.count()};
      forest_.add(__builtin_popcountll(runs.starts));
      // The distance of the ends, in two steps, for a run may end in another word.
      Qor32s begun = runs.first;
      for (uint64_t bits = runs.starts; bits != 0; bits &= bits - 1) {
        sizes_[begun++] = -static_cast<Qor32s>(x + __builtin_ctzll(bits));
      }
      for (uint64_t bits = along.ends(); bits != 0; bits &= bits - 1) {
        sizes_[ended++] += static_cast<Qor32s>(x + __builtin_ctzll(bits)) + 1;
      }
      if (y > 0) {
        const Word& above = above_[k];
        const uint64_t down = joinsAt(x, width_, row, image_.row(y - 1));
        // Along a stretch where both rows go on, the first pixel tells enough.
        const uint64_t known =
            shiftIn(down, downBefore) & shiftIn(along.onward, before) & shiftIn(above.onward, aboveBefore);
        for (uint64_t bits = down & ~known; bits != 0; bits &= bits - 1) {
          const int i = __builtin_ctzll(bits);
          forest_.unite(runs.at(i), above.runs.at(i));
        }
        downBefore = lastBit(down);
        aboveBefore = lastBit(above.onward);
      }
      above_[k] = {runs, along.onward};
      before = lastBit(along.onward);
    }
  }

  // The first run of the row has that number. Returns the number of the next row's first.
  //
  // Rows that overlap, as an unchecked step allows, may show more runs now than before: those have no entry.
  Qor32s replaceRow(T* row, Qor32s run, T value, Qor32s maxSize) {
    bool before = false, isSmall = false;
    for (ptrdiff_t x = 0; x < width_; x += wordPixels) {
      const Along along = alongRow(row, x);
      uint64_t starts = along.starts(before), small = 0;
      const auto take = [&] { return sizes_[run] <= maxSize ? 1 : 0; };
      // The open pixels up to the next start belong to one run.
      for (uint64_t open = along.open;;) {
        const uint64_t same = starts != 0 ? (starts & -starts) - 1 : ~uint64_t{0};
        if (isSmall) small |= open & same;
        open &= ~same;
        if (starts == 0) break;
        starts &= starts - 1;
        isSmall = run < forest_.count() && forest_.valueOf(run, take) != 0;
        ++run;
      }
      if (small != 0) storeWhere(row, x, width_, small, value);
      before = lastBit(along.onward);
    }
    return run;
  }

  Plane<T> image_;
  ptrdiff_t width_;
  int height_;
  Joins<T> joins_;
  Qor32s* sizes_;
  RunForest forest_;
  Word* above_;
  Word single_;
};

template <class T>
QorStatus markSpeckles(T* pSrcDst, int step, QoriSize roiSize, T speckleValue, int maxSpeckleSize, T maxDiff,
                       QoriNorm norm, Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pSrcDst, pBuffer), sizeCheck(roiSize), norm == qoriNormL1 ? qorStsNoErr : qorStsNormErr);
  if (status != qorStsNoErr) return status;
  Speckles<T>({pSrcDst, step}, roiSize, {speckleValue, maxDiff}, pBuffer).replace(speckleValue, maxSpeckleSize);
  return qorStsNoErr;
}

// 13 bytes a pixel, in 32 bits that wrap.
QorStatus speckleSize(QoriSize roiSize, QorDataType dataType, int numChannels, int* pBufferSize) {
  const bool isKnown = dataType == qor8u || dataType == qor16u || dataType == qor16s || dataType == qor32f;
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), isKnown ? qorStsNoErr : qorStsDataTypeErr,
                   numChannels == 1 ? qorStsNoErr : qorStsChannelErr);
  if (status != qorStsNoErr) return status;
  *pBufferSize = static_cast<int>(13 * static_cast<Qor32u>(roiSize.width) * static_cast<Qor32u>(roiSize.height));
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriMarkSpecklesGetBufferSize)(QoriSize roiSize, QorDataType dataType, int numChannels, int* pBufferSize) {
  return qor::speckleSize(roiSize, dataType, numChannels, pBufferSize);
}

#define QOR_MARK_SPECKLES(name, T)                                                                          \
  QOR_BODY(name)                                                                                            \
  (T * pSrcDst, int step, QoriSize roiSize, T speckleValue, int maxSpeckleSize, T maxDiff, QoriNorm norm,   \
   Qor8u* pBuffer) {                                                                                        \
    return qor::markSpeckles(pSrcDst, step, roiSize, speckleValue, maxSpeckleSize, maxDiff, norm, pBuffer); \
  }
QOR_MARK_SPECKLES(qoriMarkSpeckles_8u_C1IR, Qor8u)
QOR_MARK_SPECKLES(qoriMarkSpeckles_16u_C1IR, Qor16u)
QOR_MARK_SPECKLES(qoriMarkSpeckles_16s_C1IR, Qor16s)
QOR_MARK_SPECKLES(qoriMarkSpeckles_32f_C1IR, Qor32f)
