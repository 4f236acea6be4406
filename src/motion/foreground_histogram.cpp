// Background of frequent colours: thresholds from the histograms of differences mark what changed and what differs from
// the background, and the tables of these pixels tell whether it is foreground.
#include <math.h>

#include "frame/bodies.h"
#include "motion/blocks.h"
#include "motion/feature_table.h"
#include "motion/strips.h"

namespace qor::inline QOR_LEVEL {
namespace {

// What a pixel is, as bits of its mark.
constexpr Qor8u changed = 1, differing = 2;

struct PixelMemory {
  FeatureMemory values, pairs;
};

}  // namespace
}  // namespace qor

struct QoriFgHistogramState {
  qor::Blocks<10> blocks;
  // Pixels of all of them stand one behind the other, also in the two images.
  Qor8u *previous, *background, *marks;
  qor::PixelMemory* pixels;
  Qor32f *valueP, *valuePb, *pairP, *pairPb;
  Qor8u *valueV, *pairV;

  template <int channels, bool pairs>
  qor::FeatureTable<channels, pairs> table(ptrdiff_t pixel) const {
    using Table = qor::FeatureTable<channels, pairs>;
    return (pairs ? Table{pairP, pairPb, pairV} : Table{valueP, valuePb, valueV}).at(pixel);
  }
};

namespace qor::inline QOR_LEVEL {
namespace {

using Record = QoriFgHistogramState;

template <int channels>
void makeRecord(Record& r, Plane<const Qor8u> src, QoriSize size) {
  using Values = FeatureTable<channels, false>;
  using Pairs = FeatureTable<channels, true>;
  const int64_t pixels = int64_t{size.width} * size.height;
  // Vectors may reach behind the last pixel.
  r.previous = r.blocks.take<Qor8u>(pixels * channels + wideVectorBytes);
  r.background = r.blocks.take<Qor8u>(pixels * channels + wideVectorBytes);
  r.marks = r.blocks.takeZeros<Qor8u>(pixels);
  r.pixels = r.blocks.takeZeros<PixelMemory>(pixels);
  r.valueP = r.blocks.takeZeros<Qor32f>(pixels * Values::capacity);
  r.valuePb = r.blocks.take<Qor32f>(pixels * Values::capacity);
  r.valueV = r.blocks.take<Qor8u>(pixels * Values::sampleBytes);
  r.pairP = r.blocks.takeZeros<Qor32f>(pixels * Pairs::capacity);
  r.pairPb = r.blocks.take<Qor32f>(pixels * Pairs::capacity);
  r.pairV = r.blocks.take<Qor8u>(pixels * Pairs::sampleBytes);
  if (!r.blocks.complete()) return;
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<channels>(r.previous + first * channels, src, size.width, first, n);
    memcpy(r.background + first * channels, r.previous + first * channels, static_cast<size_t>(n) * channels);
  });
}

// ---- what changed, and what differs

// A strip of an image by channels. One channel stays where it is.
template <int channels>
class Strip {
 public:
  void take(const Qor8u* samples, int n) {
    if constexpr (channels == 1) {
      channels_[0] = samples;
    } else {
      memcpy(pixels_, samples, static_cast<size_t>(n) * channels);
      splitThree(pixels_, split_);
      for (int c = 0; c < channels; ++c) channels_[c] = split_[c];
    }
  }
  const Qor8u* channel(int c) const { return channels_[c]; }

 private:
  static constexpr int kept = channels == 1 ? 1 : stripPixels;

  const Qor8u* channels_[channels];
  Qor8u pixels_[3 * kept] = {}, split_[3][kept] = {};
};

// How often which difference occurs. Neighbours count apart, so that one need not wait for the other.
struct Differences {
  Qor32u count[2][256] = {};

  void add(const Qor8u* a, const Qor8u* b, int n) {
    int x = 0;
    for (; x <= n - V8u::lanes; x += V8u::lanes) {
      const V8u d = absDiff(load(a + x), load(b + x));
      if (allZero(d)) {
        count[0][0] += V8u::lanes;
        continue;
      }
      Qor8u each[V8u::lanes];
      store(each, d);
      for (int i = 0; i < V8u::lanes; i += 2) {
        ++count[0][each[i]];
        ++count[1][each[i + 1]];
      }
    }
    for (; x < n; ++x) ++count[0][a[x] < b[x] ? b[x] - a[x] : a[x] - b[x]];
  }

  // The largest deviation of a tail, truncated: differences are above both or neither.
  Qor8u threshold() const {
    Qor64s n = 0, sum = 0, squares = 0;
    Qor64f most = 0;
    for (int d = 255; d >= 0; --d) {
      const Qor64s here = Qor64s{count[0][d]} + count[1][d];
      n += here;
      sum += here * d;
      squares += here * d * d;
      if (d == 255) continue;
      // Sums are exact: they stay far below 2^53.
      const Qor64f pixels = static_cast<Qor64f>(n == 0 ? 1 : n), mean = static_cast<Qor64f>(sum) / pixels;
      const Qor64f deviation = ::sqrt(static_cast<Qor64f>(squares) / pixels - mean * mean);
      most = deviation > most ? deviation : most;
    }
    return static_cast<Qor8u>(most);
  }
};

// What differs by more than a threshold in any channel.
struct Thresholds {
  Qor8u change[3], difference[3];
};

template <int channels>
void compareAll(const Record& r, Plane<const Qor8u> src, QoriSize size, Thresholds& thresholds) {
  Differences changes[channels], differences[channels];
  Qor8u samples[channels * stripPixels];
  Strip<channels> frame, previous, background;
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<channels>(samples, src, size.width, first, n);
    frame.take(samples, n);
    previous.take(r.previous + first * channels, n);
    background.take(r.background + first * channels, n);
    for (int c = 0; c < channels; ++c) {
      changes[c].add(frame.channel(c), previous.channel(c), n);
      differences[c].add(frame.channel(c), background.channel(c), n);
    }
  });
  for (int c = 0; c < channels; ++c) {
    thresholds.change[c] = changes[c].threshold();
    thresholds.difference[c] = differences[c].threshold();
  }
}

// Ones where any channel of two images differs by more than its threshold.
template <int channels>
V8u isBeyond(const Strip<channels>& a, const Strip<channels>& b, const Qor8u* thresholds, int x) {
  V8u beyond = zero<Qor8u>();
  for (int c = 0; c < channels; ++c) {
    const V8u d = absDiff(load(a.channel(c) + x), load(b.channel(c) + x));
    beyond = beyond | subSat(d, splat(thresholds[c]));
  }
  return andNot(beyond == zero<Qor8u>(), splat(Qor8u{255}));
}

template <int channels>
bool isForeground(const Record& r, int64_t pixel, const Qor8u* samples) {
  const PixelMemory& memory = r.pixels[pixel];
  if ((r.marks[pixel] & changed) != 0) {
    return !memory.pairs.settled || r.table<channels, true>(pixel).isForeground(samples, memory.pairs.prior);
  }
  return memory.values.settled && r.table<channels, false>(pixel).isForeground(samples, memory.values.prior);
}

template <int channels>
void findForeground(Record& r, Plane<const Qor8u> src, Plane<Qor8u> dst, QoriSize size) {
  Thresholds thresholds;
  compareAll<channels>(r, src, size, thresholds);
  Qor8u samples[channels * stripPixels] = {}, marks[stripPixels], mask[stripPixels];
  Strip<channels> frame, previous, background;
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<channels>(samples, src, size.width, first, n);
    frame.take(samples, n);
    previous.take(r.previous + first * channels, n);
    background.take(r.background + first * channels, n);
    memset(mask, 0, sizeof mask);
    V8u marked = zero<Qor8u>();
    for (int x = 0; x < n; x += V8u::lanes) {
      const V8u changes = isBeyond(frame, previous, thresholds.change, x);
      const V8u differences = isBeyond(frame, background, thresholds.difference, x);
      const V8u both = (changes & splat(changed)) | (differences & splat(differing));
      store(marks + x, both);
      marked = marked | both;
    }
    memcpy(r.marks + first, marks, static_cast<size_t>(n));
    // Marks behind the strip say nothing, but at worst there is nothing to do.
    if (!allZero(marked))
      forPieces(size.width, first, n, [&](int y, int x, int at, int pixels) {
        // In one channel two samples behind the pixel are read as well.
        const Qor8u* const row = src.row(y) + int64_t{x} * channels;
        for (int i = 0; i < pixels; ++i) {
          if (marks[at + i] != 0 && isForeground<channels>(r, first + at + i, row + int64_t{i} * channels))
            mask[at + i] = 255;
        }
      });
    scatterStrip<1>(dst, mask, size.width, first, n);
  });
}

// ---- learning

template <int channels>
void learnPixel(Record& r, int64_t pixel, const Qor8u* frame, bool isBackground) {
  PixelMemory& memory = r.pixels[pixel];
  const Qor8u* const previous = r.previous + pixel * channels;
  const bool hasChanged = (r.marks[pixel] & changed) != 0;
  if (hasChanged || !memory.pairs.settled) {
    Qor8u pair[2 * channels];
    memcpy(pair, previous, channels);
    memcpy(pair + channels, frame, channels);
    r.table<channels, true>(pixel).learn(memory.pairs, pair, isBackground,
                                         hasChanged && memory.pairs.settled ? slowRate : fastRate);
  }
  if (hasChanged) return;
  r.table<channels, false>(pixel).learn(memory.values, frame, isBackground,
                                        memory.values.settled ? slowRate : fastRate);
}

constexpr Qor32f backgroundRate = 0.1F;

// A vector of the background that moves towards the frame.
V8u blended(const Qor8u* frame, const Qor8u* background) {
  const V32f rate = splat(backgroundRate), kept = splat(1 - backgroundRate);
  Block<Qor32s, V8u::lanes / V32s::lanes> b;
  for (int i = 0; i < V8u::lanes / V32s::lanes; ++i) {
    const int x = i * V32s::lanes;
    b.v[i] = truncated(loadAs<Qor32f>(frame + x) * rate + loadAs<Qor32f>(background + x) * kept);
  }
  return narrowToU(b.v[0], b.v[1], b.v[2], b.v[3]);
}

template <int channels>
void learnBackground(const Qor8u* frame, Qor8u* background, Qor8u mark) {
  for (int c = 0; c < channels; ++c) {
    const Qor32f sum =
        static_cast<Qor32f>(frame[c]) * backgroundRate + static_cast<Qor32f>(background[c]) * (1 - backgroundRate);
    background[c] = mark == 0 ? static_cast<Qor8u>(sum) : frame[c];
  }
}

// A strip of it: mostly whole vectors of pixels stand still.
template <int channels>
void learnBackgrounds(const Qor8u* frame, const Qor8u* foreground, const Qor8u* marks, Qor8u* background, int n) {
  for (int x = 0; x < n;) {
    const bool isVector = x <= n - V8u::lanes;
    if (isVector && allZero(load(foreground + x) | load(marks + x))) {
      for (int c = 0; c < channels; ++c) {
        const int i = x * channels + c * V8u::lanes;
        store(background + i, blended(frame + i, background + i));
      }
      x += V8u::lanes;
      continue;
    }
    for (const int end = isVector ? x + V8u::lanes : n; x < end; ++x)
      if (foreground[x] == 0) learnBackground<channels>(frame + x * channels, background + x * channels, marks[x]);
  }
}

template <int channels>
void learnFrame(Record& r, Plane<const Qor8u> src, Plane<const Qor8u> mask, Plane<Qor8u> ref, QoriSize size) {
  Qor8u samples[channels * stripPixels], foreground[stripPixels];
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<channels>(samples, src, size.width, first, n);
    gatherStrip<1>(foreground, mask, size.width, first, n);
    for (int i = 0; i < n; ++i) learnPixel<channels>(r, first + i, samples + i * channels, foreground[i] == 0);
    Qor8u* const background = r.background + first * channels;
    learnBackgrounds<channels>(samples, foreground, r.marks + first, background, n);
    memcpy(r.previous + first * channels, samples, static_cast<size_t>(n) * channels);
    scatterStrip<channels>(ref, background, size.width, first, n);
  });
}

// ---- operations

template <int channels>
QorStatus initHistogram(const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pParam, Record** ppState) {
  const QorStatus status = firstFailure(nullCheck(pSrc), nullCheck(pParam), nullCheck(ppState), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(int64_t{roiSize.width} * channels, srcStep));
  if (status != qorStsNoErr) return status;
  Record* const record = allocateRecord<Record>([=](Record& r) {
    makeRecord<channels>(r, Plane{pSrc, srcStep}, roiSize);
  });
  if (record == nullptr) return qorStsMemAllocErr;
  *ppState = record;
  return qorStsNoErr;
}

template <int channels>
QorStatus histogramForeground(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                              Record* pState) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), nullCheck(pState), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(int64_t{roiSize.width} * channels, srcStep));
  if (status != qorStsNoErr) return status;
  findForeground<channels>(*pState, Plane{pSrc, srcStep}, Plane{pDst, dstStep}, roiSize);
  return qorStsNoErr;
}

template <int channels>
QorStatus updateHistogram(const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor8u* pRef, int refStep,
                          QoriSize roiSize, Record* pState) {
  const int64_t samples = int64_t{roiSize.width} * channels;
  const QorStatus status = firstFailure(nullCheck(pSrc, pMask, pRef), nullCheck(pState), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(samples, srcStep), stepCheck<Qor8u>(roiSize.width, maskStep),
                                        stepCheck<Qor8u>(samples, refStep));
  if (status != qorStsNoErr) return status;
  learnFrame<channels>(*pState, Plane{pSrc, srcStep}, Plane{pMask, maskStep}, Plane{pRef, refStep}, roiSize);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_FOREGROUND_HISTOGRAM(init, foreground, update, release, channels)                                    \
  QOR_BODY(init)                                                                                                 \
  (const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pParam, QoriFgHistogramState** ppState) {       \
    return qor::initHistogram<channels>(pSrc, srcStep, roiSize, pParam, ppState);                                \
  }                                                                                                              \
  QOR_BODY(foreground)                                                                                           \
  (const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, QoriFgHistogramState* pState) {   \
    return qor::histogramForeground<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pState);                    \
  }                                                                                                              \
  QOR_BODY(update)                                                                                               \
  (const Qor8u* pSrc, int srcStep, const Qor8u* pMask, int maskStep, Qor8u* pRef, int refStep, QoriSize roiSize, \
   QoriFgHistogramState* pState) {                                                                               \
    return qor::updateHistogram<channels>(pSrc, srcStep, pMask, maskStep, pRef, refStep, roiSize, pState);       \
  }                                                                                                              \
  QOR_BODY(release)(QoriFgHistogramState * pState) { return qor::freeRecord(pState); }
#include "motion/foreground_histogram.def"
