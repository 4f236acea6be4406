// Labels for the connected sets of pixels that are not zero. What is connected is found in one pass over the runs of
// all rows; a second one finds the same runs again and stores their labels.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "segment/flood_window.h"
#include "segment/run_forest.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
uint64_t markedBits(const T* row, ptrdiff_t x, ptrdiff_t width) {
  const auto isZero = [](const T* p) { return load(p) == zero<T>(); };
  return firstBits(width - x) & ~bitsAt<T>(x, width, isZero, row);
}

// Labels from one to another, and from the start again.
struct Labels {
  int low, high, next, regions;

  int take() {
    const int label = next;
    ++regions;
    next = label == high ? low : label + 1;
    return label;
  }
};

template <class S, class D, bool diagonal>
class Labeller {
 public:
  // A row of w pixels has at most (w + 1) / 2 runs, so that the parents take 2 * (w + 1) * h bytes at most, and the
  // words of a row w / 4 + 16: together less than 6 * w * h + 32, with what the alignment takes.
  Labeller(Plane<const S> source, Plane<D> labels, QoriSize size, Qor8u* pBuffer)
      : source_(source),
        labels_(labels),
        width_(size.width),
        height_(size.height),
        above_(alignUp<Above>(pBuffer, alignof(Above))),
        forest_(reinterpret_cast<Qor32s*>(above_ + wordsOfRow(size.width))) {}

  int label(int low, int high) {
    for (ptrdiff_t k = 0; k < wordsOfRow(width_); ++k) above_[k] = {};
    for (int y = 0; y < height_; ++y) connectRow(source_.row(y));
    Labels labels{low, high, low, 0};
    Qor32s run = 0;
    for (int y = 0; y < height_; ++y) run = labelRow(source_.row(y), labels_.row(y), run, labels);
    return labels.regions;
  }

 private:
  // 64 pixels of the row before, to be replaced by those of the row itself.
  struct Above {
    uint64_t marked;
    Qor32s first;

    RunWord runs(bool before) const { return {marked & ~shiftIn(marked, before), first}; }
  };

  void connectRow(const S* row) {
    bool before = false, aboveBefore = false, metBefore = false;
    RunWord aboveLast{};
    uint64_t marked = markedBits(row, 0, width_);
    for (ptrdiff_t k = 0, words = wordsOfRow(width_); k < words; ++k) {
      const Above above = above_[k];
      const uint64_t next = k + 1 < words ? markedBits(row, (k + 1) * wordPixels, width_) : 0;
      const RunWord runs{marked & ~shiftIn(marked, before), forest_.count()};
      const RunWord aboveRuns = above.runs(aboveBefore);
      forest_.add(__builtin_popcountll(runs.starts));
      // Where both rows are marked they are so along a stretch, of which the first pixel tells enough.
      const uint64_t met = marked & above.marked;
      for (uint64_t bits = met & ~shiftIn(met, metBefore); bits != 0; bits &= bits - 1) {
        const int i = __builtin_ctzll(bits);
        forest_.unite(runs.at(i), aboveRuns.at(i));
      }
      if constexpr (diagonal) {
        // Corners alone: with one of the other two pixels marked the runs are connected without them.
        const uint64_t alone = marked & ~above.marked;
        uint64_t left = alone & shiftIn(above.marked, aboveBefore) & ~shiftIn(marked, before);
        if ((left & 1) != 0) {
          forest_.unite(runs.at(0), aboveLast.at(wordPixels - 1));
          left ^= 1;
        }
        for (; left != 0; left &= left - 1) {
          const int i = __builtin_ctzll(left);
          forest_.unite(runs.at(i), aboveRuns.at(i - 1));
        }
        const bool nextAbove = k + 1 < words && (above_[k + 1].marked & 1) != 0, nextMarked = (next & 1) != 0;
        uint64_t right = alone & (above.marked >> 1 | uint64_t{nextAbove} << (wordPixels - 1)) &
                         ~(marked >> 1 | uint64_t{nextMarked} << (wordPixels - 1));
        for (; right != 0; right &= right - 1) {
          const int i = __builtin_ctzll(right);
          // The last pixel's corner begins a run of the next word.
          forest_.unite(runs.at(i), i + 1 < wordPixels ? aboveRuns.at(i + 1) : above_[k + 1].first);
        }
      }
      above_[k] = {marked, runs.first};
      before = lastBit(marked), aboveBefore = lastBit(above.marked), metBefore = lastBit(met);
      aboveLast = aboveRuns;
      marked = next;
    }
  }

  // Labels the runs of a row, of which the first has that number. Returns the number of the next row's first.
  Qor32s labelRow(const S* row, D* labels, Qor32s run, Labels& all) {
    bool before = false;
    if constexpr (!std::is_same_v<S, D>) __builtin_memset(labels, 0, static_cast<size_t>(width_) * sizeof(D));
    D label = 0;
    for (ptrdiff_t x = 0; x < width_; x += wordPixels) {
      const uint64_t marked = markedBits(row, x, width_);
      for (uint64_t bits = marked; bits != 0;) {
        const int i = __builtin_ctzll(bits), length = onesFromLow(bits >> i);
        if (i > 0 || !before) label = static_cast<D>(forest_.valueOf(run++, [&all] { return all.take(); }));
        const Paint<D, 1> paint(&label);
        paint(labels + x + i, length);
        bits &= ~firstBits(i + length);
      }
      before = lastBit(marked);
    }
    return run;
  }

  Plane<const S> source_;
  Plane<D> labels_;
  ptrdiff_t width_;
  int height_;
  Above* above_;
  RunForest forest_;
};

template <class S, class D>
QorStatus labelMarkers(const S* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, int minLabel, int maxLabel,
                       QoriNorm norm, int* pNumber, Qor8u* pBuffer) {
  const bool areLabels = minLabel >= 1 && maxLabel < topOf<D> && minLabel <= maxLabel;
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst, pBuffer, pNumber), sizeCheck(roiSize),
                                        stepCheck<S>(roiSize.width, srcStep), stepCheck<D>(roiSize.width, dstStep),
                                        evenCheck<D>(dstStep), areLabels ? qorStsNoErr : qorStsBadArgErr,
                                        norm == qoriNormInf || norm == qoriNormL1 ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const Plane source{pSrc, srcStep};
  const Plane labels{pDst, dstStep};
  if (norm == qoriNormInf) {
    *pNumber = Labeller<S, D, true>(source, labels, roiSize, pBuffer).label(minLabel, maxLabel);
  } else {
    *pNumber = Labeller<S, D, false>(source, labels, roiSize, pBuffer).label(minLabel, maxLabel);
  }
  return qorStsNoErr;
}

template <class T>
QorStatus labelInPlace(T* pMarker, int markerStep, QoriSize roiSize, int minLabel, int maxLabel, QoriNorm norm,
                       int* pNumber, Qor8u* pBuffer) {
  return labelMarkers<T, T>(pMarker, markerStep, pMarker, markerStep, roiSize, minLabel, maxLabel, norm, pNumber,
                            pBuffer);
}

}  // namespace
}  // namespace qor

#define QOR_LABEL_SIZE(name)                                             \
  QOR_BODY(name)(QoriSize roiSize, int* pBufferSize) {                   \
    return QOR_VARIANT_BODY(qoriFloodFillGetSize)(roiSize, pBufferSize); \
  }
QOR_LABEL_SIZE(qoriLabelMarkersGetBufferSize_8u_C1R)
QOR_LABEL_SIZE(qoriLabelMarkersGetBufferSize_16u_C1R)
QOR_LABEL_SIZE(qoriLabelMarkersGetBufferSize_8u32s_C1R)

QOR_BODY(qoriLabelMarkers_8u_C1IR)
(Qor8u* pMarker, int markerStep, QoriSize roiSize, int minLabel, int maxLabel, QoriNorm norm, int* pNumber,
 Qor8u* pBuffer) {
  return qor::labelInPlace(pMarker, markerStep, roiSize, minLabel, maxLabel, norm, pNumber, pBuffer);
}
QOR_BODY(qoriLabelMarkers_16u_C1IR)
(Qor16u* pMarker, int markerStep, QoriSize roiSize, int minLabel, int maxLabel, QoriNorm norm, int* pNumber,
 Qor8u* pBuffer) {
  return qor::labelInPlace(pMarker, markerStep, roiSize, minLabel, maxLabel, norm, pNumber, pBuffer);
}
QOR_BODY(qoriLabelMarkers_8u32s_C1R)
(const Qor8u* pSrc, int srcStep, Qor32s* pDst, int dstStep, QoriSize roiSize, int minLabel, int maxLabel, QoriNorm norm,
 int* pNumber, Qor8u* pBuffer) {
  return qor::labelMarkers(pSrc, srcStep, pDst, dstStep, roiSize, minLabel, maxLabel, norm, pNumber, pBuffer);
}
