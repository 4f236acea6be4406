// The flood of the watershed: the pixels at the edge of what is labelled wait by their height, and give their label to
// what they touch when their turn comes.
//
// Labels and relief are copied into planes with a frame of one pixel, so that one number names a pixel in both, and no
// neighbour needs a test. The labels of the frame are boundary.
#pragma once

#include "frame/border.h"
#include "frame/image_ops.h"
#include "frame/vec.h"
#include "segment/bucket_queue.h"
#include "segment/labels.h"

namespace qor::inline QOR_LEVEL {

template <class T>
struct FloodPlanes {
  Qor32s* following;
  T* labels;
  Qor8u* relief;

  static auto layout(QoriSize size) {
    return [size](ScratchParts& parts) {
      const int64_t framed = (int64_t{size.width} + 2) * (int64_t{size.height} + 2);
      // Three neighbours in a row are read as one word of four labels.
      return FloodPlanes{parts.take<Qor32s>(framed), parts.take<T>(framed + 1), parts.take<Qor8u>(framed)};
    };
  }
};

template <class T, bool eight, Lines lines>
class WatershedFlood {
 public:
  WatershedFlood(const Terrain<T>& terrain, const FloodPlanes<T>& planes)
      : terrain_(terrain),
        stride_(terrain.size.width + 2),
        labels_(planes.labels),
        relief_(planes.relief),
        queue_(planes.following) {}

  void run() {
    const QoriSize size = terrain_.size, framed{size.width + 2, size.height + 2};
    copyFramed(terrain_.labels.first, terrain_.labels.step, labels_, boundary);
    qoriCopyConstBorder_8u_C1R(terrain_.relief.first, terrain_.relief.step, size, relief_, stride_, framed, 1, 1, 0);
    labels_[static_cast<ptrdiff_t>(stride_) * framed.height] = boundary;
    for (int y = 0; y < size.height; ++y) queueSeeds(stride_ * (y + 1) + 1);
    for (int level = queue_.firstFrom(0); level < levels; level = queue_.firstFrom(level)) spread(level);
    copyBack(labels_ + stride_ + 1);
  }

 private:
  static constexpr T boundary = boundaryOf<T>;
  static constexpr int levels = 256;
  using Word = std::conditional_t<sizeof(T) == 1, Qor32u, uint64_t>;
  static constexpr int bits = 8 * sizeof(T);
  static constexpr Word lowest = static_cast<Word>(~Word{0}) / topOf<T>, highest = lowest << (bits - 1);

  void copyFramed(const Qor8u* src, int step, Qor8u* dst, Qor8u value) const {
    const QoriSize framed{terrain_.size.width + 2, terrain_.size.height + 2};
    qoriCopyConstBorder_8u_C1R(src, step, terrain_.size, dst, stride_, framed, 1, 1, value);
  }
  void copyFramed(const Qor16u* src, int step, Qor16u* dst, Qor16u value) const {
    const QoriSize framed{terrain_.size.width + 2, terrain_.size.height + 2};
    qoriCopyConstBorder_16u_C1R(src, step, terrain_.size, dst, 2 * stride_, framed, 1, 1, value);
  }
  void copyBack(const Qor8u* src) const {
    qoriCopy_8u_C1R(src, stride_, terrain_.labels.first, terrain_.labels.step, terrain_.size);
  }
  void copyBack(const Qor16u* src) const {
    qoriCopy_16u_C1R(src, 2 * stride_, terrain_.labels.first, terrain_.labels.step, terrain_.size);
  }

  // ---- the neighbours of a pixel

  // Labels p - 1 to p + 2, of which the last is none of the neighbours.
  Word wordAt(Qor32s p) const {
    Word word;
    __builtin_memcpy(&word, labels_ + p - 1, sizeof word);
    return word;
  }
  // Bits where a label is 0. Beside such a label there may be bits too many.
  static Word zeros(Word word) { return (word - lowest) & ~word & highest; }

  bool touchesUnlabelled(Qor32s p) const {
    if constexpr (eight) {
      constexpr Word outer = static_cast<Word>(topOf<T>) << (3 * bits);
      return (zeros(wordAt(p - stride_) | outer) | zeros(wordAt(p) | outer) | zeros(wordAt(p + stride_) | outer)) != 0;
    } else {
      const auto is0 = [this](Qor32s n) { return static_cast<int>(labels_[n] == 0); };
      return (is0(p - 1) | is0(p + 1) | is0(p - stride_) | is0(p + stride_)) != 0;
    }
  }

  // Calls work(neighbour) for those that decide about boundaries.
  template <class Work>
  void aroundForLines(Qor32s p, const Work& work) const {
    work(p - 1), work(p + 1), work(p - stride_), work(p + stride_);
    if constexpr (lines == Lines::eight) {
      work(p - stride_ - 1), work(p - stride_ + 1), work(p + stride_ - 1), work(p + stride_ + 1);
    }
  }

  // ---- seeds

  void queueSeeds(Qor32s first) {
    constexpr int lanes = Vec<T>::lanes;
    const Qor32s end = first + terrain_.size.width;
    for (Qor32s p = first; p < end;) {
      if (p + lanes <= end && allZero(load(labels_ + p))) {
        p += lanes;
        continue;
      }
      const Qor32s stop = p + lanes < end ? p + lanes : end;
      for (; p < stop; ++p)
        if (labels_[p] != 0) queueSeed(p);
    }
  }

  // A seed that meets another one becomes boundary at once. It still spreads, though no label of its own.
  void queueSeed(Qor32s p) {
    if (touchesUnlabelled(p)) queue_.push(relief_[p], p);
    if constexpr (lines != Lines::none) {
      const T own = labels_[p];
      if (own == boundary) return;
      bool meets = false;
      aroundForLines(p, [&](Qor32s n) { meets |= labels_[n] != 0 && labels_[n] != boundary && labels_[n] != own; });
      if (meets) labels_[p] = boundary;
    }
  }

  // ---- the flood

  // Ahead of its turn.
  void fetchAround(Qor32s p) const {
    for (Qor32s row = p - stride_, i = 0; i < 3; ++i, row += stride_) {
      __builtin_prefetch(labels_ + row);
      __builtin_prefetch(relief_ + row);
    }
  }

  void spread(int level) {
    const Qor32s p = queue_.pop(level, [this](Qor32s later) { fetchAround(later); });
    if (!touchesUnlabelled(p)) return;
    const T label = labels_[p];
    reach(p - 1, label, level);
    reach(p + 1, label, level);
    reach(p - stride_, label, level);
    reach(p + stride_, label, level);
    if constexpr (eight) {
      reach(p - stride_ - 1, label, level);
      reach(p - stride_ + 1, label, level);
      reach(p + stride_ - 1, label, level);
      reach(p + stride_ + 1, label, level);
    }
  }

  void reach(Qor32s p, T label, int level) {
    if (labels_[p] != 0) return;
    const int height = relief_[p];
    queue_.push(height > level ? height : level, p);
    labels_[p] = lines == Lines::none ? label : onlyLabel(p);
  }

  // The label around a pixel, if there is one and no other; else boundary. A label less 1 puts those that are none
  // behind the others, a label more 1 before them. The pixel that spreads is among the neighbours, or beside it stands
  // one that it has reached before: there is always one that is labelled or boundary.
  T onlyLabel(Qor32s p) const {
    T least = boundary, most = 0;
    aroundForLines(p, [&](Qor32s n) {
      const T below = static_cast<T>(labels_[n] - 1), above = static_cast<T>(labels_[n] + 1);
      least = below < least ? below : least;
      most = above > most ? above : most;
    });
    least = static_cast<T>(least + 1), most = static_cast<T>(most - 1);
    return least == most ? least : boundary;
  }

  Terrain<T> terrain_;
  int stride_;
  T* labels_;
  Qor8u* relief_;
  BucketQueue<levels> queue_;
};

}  // namespace qor
