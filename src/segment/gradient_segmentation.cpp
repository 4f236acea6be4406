// Seeds that grow over a picture, the cheapest step first: a step costs the difference of the two pixels. A pixel waits
// from when it is first reached, at the cost of that step, and chooses its label when its turn comes.
//
// The picture is copied beside the plane of labels, so that one number names a pixel in both. The outermost pixels of
// the plane are its frame, which never takes part; all pixels that do have eight neighbours.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/image_ops.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "frame/vec.h"
#include "segment/bucket_queue.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr Qor8u closed = 255;    // the frame, and pixels that wait
constexpr Qor8u boundary = 254;  // a label too, where a pixel has none that is as near

// One channel as it is; three in four bytes, so that neighbours are loaded as one vector.
template <int channels>
struct GrowthPlanes {
  static constexpr int pixelBytes = channels == 1 ? 1 : 4;

  Qor32s* following;
  Qor8u *labels, *picture;

  static auto layout(QoriSize size) {
    return [size](ScratchParts& parts) {
      const int64_t pixels = int64_t{size.width} * size.height;
      // Three neighbours in a row are read as four.
      return GrowthPlanes{parts.take<Qor32s>(pixels), parts.take<Qor8u>(pixels + 1),
                          parts.take<Qor8u>((pixels + 1) * pixelBytes)};
    };
  }
};

template <int channels, bool eight>
class Growth {
 public:
  Growth(const GrowthPlanes<channels>& planes, QoriSize size, int flag)
      : width_(size.width),
        height_(size.height),
        labels_(planes.labels),
        picture_(planes.picture),
        inLines_((flag & qorSegmentBorder8) != 0   ? allLanes()
                 : (flag & qorSegmentBorder4) != 0 ? nearLanes()
                                                   : zero<Lanes>()),
        offsets_{width_ + 1, width_ - 1, 1 - width_, -width_ - 1, width_, -width_, 1, -1},
        queue_(planes.following) {}

  // False when no pixel is reached.
  bool run() {
    for (int y = 1; y < height_ - 1; ++y) queueReached(y * width_);
    int cost = queue_.firstFrom(0);
    if (cost == costs) return false;
    for (; cost < costs; cost = queue_.firstFrom(cost)) cost = take(cost);
    return true;
  }

 private:
  static constexpr int costs = 256;

  // ---- the neighbours of a pixel, one in each of the first eight lanes: below right, below left, above right, above
  // left, below, above, right, left. Pixels are reached in the opposite order, so that of choices that are as near the
  // first lane counts.
  using Lanes = Short<Qor8u>;

  static Lanes allLanes() { return firstShort(bytes(-1, -1, -1, -1, -1, -1, -1, -1, 0, 0, 0, 0, 0, 0, 0, 0)); }
  static Lanes nearLanes() { return firstShort(bytes(0, 0, 0, 0, -1, -1, -1, -1, 0, 0, 0, 0, 0, 0, 0, 0)); }
  static Lanes joined() { return eight ? allLanes() : nearLanes(); }

  // From four pixels of the row above, from the left neighbour on, four of the own row, and four of the row below.
  static Lanes inOrder(Lanes rows) {
    return lookUp(rows, firstShort(bytes(10, 8, 2, 0, 9, 1, 6, 4, -1, -1, -1, -1, -1, -1, -1, -1)));
  }
  Lanes bytesAround(const Qor8u* p) const {
    const Qor8u* const rows[] = {p - width_ - 1, p - 1, p + width_ - 1, p - 1};
    return inOrder(as<Qor8u>(laneByLane<Short<Qor32s>>([&](int i) {
      int four;
      __builtin_memcpy(&four, rows[i], sizeof four);
      return four;
    })));
  }
  Lanes labelsAround(Qor32s p) const { return bytesAround(labels_ + p); }

  // The largest difference of a channel.
  Lanes stepsAround(Qor32s p) const {
    if constexpr (channels == 1) {
      return absDiff(bytesAround(picture_ + p), splat<Lanes>(picture_[p]));
    } else {
      const Qor8u* const pixel = picture_ + ptrdiff_t{p} * GrowthPlanes<channels>::pixelBytes;
      const ptrdiff_t row = ptrdiff_t{width_} * GrowthPlanes<channels>::pixelBytes;
      Qor32s own;
      __builtin_memcpy(&own, pixel, sizeof own);
      const auto steps = [&](const Qor8u* left) {
        const auto d = as<Qor32u>(absDiff(load<Lanes>(left), as<Qor8u>(splat<Short<Qor32s>>(own))));
        const auto most = max(max(as<Qor8u>(d), as<Qor8u>(d >> 8)), as<Qor8u>(d >> 16));
        return as<Qor32s>(most) & splat<Short<Qor32s>>(255);
      };
      const Qor8u* const left = pixel - GrowthPlanes<channels>::pixelBytes;
      const auto below = packToU(steps(left + row), zero<Short<Qor32s>>());
      return inOrder(packToU(as<Qor16s>(packToU(steps(left - row), steps(left))), as<Qor16s>(below)));
    }
  }

  // Lanes of labels from 1 to last.
  static Lanes labelled(Lanes labels, Qor8u last) {
    const Lanes below = labels - splat<Lanes>(1);
    return below == min(below, splat<Lanes>(static_cast<Qor8u>(last - 1)));
  }

  // The nearest label: its step, whether it is boundary, its lane, from the top down. No label: noChoice.
  static constexpr Qor16u noChoice = 0xFFFF;
  static int laneOf(Qor16u choice) { return choice & 7; }
  static int stepOf(Qor16u choice) { return choice >> 4; }
  Qor16u choose(Lanes labels, Lanes steps) const {
    const auto possible = as<Qor16u>(widenMaskLo(labelled(labels, boundary) & joined()));
    const auto isBoundary = widenLo((labels == splat<Lanes>(boundary)) & splat<Lanes>(1));
    const auto lanes = widenLo(firstShort(bytes(0, 1, 2, 3, 4, 5, 6, 7, 0, 0, 0, 0, 0, 0, 0, 0)));
    const auto choices = widenLo(steps) << 4 | isBoundary << 3 | lanes;
    return smallest(select(possible, choices, splat<Short<Qor16u>>(noChoice)));
  }

  // ---- growth

  // The pixels of a row without a label that have one beside them.
  void queueReached(Qor32s row) {
    const Qor32s end = row + width_ - 1;
    Qor32s p = row + 1;
    for (; p + V8u::lanes <= end; p += V8u::lanes) {
      for (Qor32u reached = signBits(reachedFrom(labels_ + p)); reached != 0; reached &= reached - 1) {
        queueIfReached(p + __builtin_ctz(reached));
      }
    }
    for (; p < end; ++p)
      if (labels_[p] == 0) queueIfReached(p);
  }
  V8u reachedFrom(const Qor8u* p) const {
    V8u any = zero<Qor8u>();
    for (int lane = eight ? 0 : 4; lane < 8; ++lane) {
      const V8u below = load(p + offsets_[lane]) - splat<Qor8u>(1);
      any = any | (below == min(below, splat<Qor8u>(boundary - 1)));
    }
    return any & (load(p) == zero<Qor8u>());
  }
  void queueIfReached(Qor32s p) {
    const Qor16u choice = choose(labelsAround(p), stepsAround(p));
    if (choice != noChoice) queue(p, stepOf(choice));
  }
  void queue(Qor32s p, int cost) {
    queue_.push(cost, p);
    labels_[p] = closed;
  }

  // Ahead of its turn.
  void fetchAround(Qor32s p) const {
    for (Qor32s row = p - width_, i = 0; i < 3; ++i, row += width_) {
      __builtin_prefetch(labels_ + row);
      __builtin_prefetch(picture_ + ptrdiff_t{row} * GrowthPlanes<channels>::pixelBytes);
    }
  }

  // The next pixel at that cost chooses its label, and those beside it that have none begin to wait. Returns the least
  // cost at which one may wait now.
  int take(int cost) {
    const Qor32s p = queue_.pop(cost, [this](Qor32s later) { fetchAround(later); });
    const Lanes labels = labelsAround(p), steps = stepsAround(p);
    const Qor8u label = labels_[p + offsets_[laneOf(choose(labels, steps))]];
    const Lanes others = andNot(labels == splat<Lanes>(label), labelled(labels, boundary - 1) & inLines_);
    labels_[p] = allZero(others) ? label : boundary;

    alignas(Lanes) Qor8u stepOfLane[Lanes::lanes];
    store(stepOfLane, steps);
    for (Qor32u open = signBits((labels == zero<Lanes>()) & joined()); open != 0;) {
      const int lane = 31 - __builtin_clz(open), step = stepOfLane[lane];
      open &= ~(1U << lane);
      queue(p + offsets_[lane], step);
      cost = step < cost ? step : cost;
    }
    return cost;
  }

  int width_, height_;
  Qor8u *labels_, *picture_;
  Lanes inLines_;
  int offsets_[8];
  BucketQueue<costs> queue_;
};

// ---- the planes of a call

void copyRow(const Qor8u* src, Qor8u* dst, ptrdiff_t width, std::integral_constant<int, 1>) {
  __builtin_memcpy(dst, src, static_cast<size_t>(width));
}
void copyRow(const Qor8u* src, Qor8u* dst, ptrdiff_t width, std::integral_constant<int, 3>) {
  const auto spread = firstShort(bytes(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
  ptrdiff_t x = 0;
  for (; 3 * x + Short<Qor8u>::lanes <= 3 * width; x += 4)
    store(dst + 4 * x, lookUp(load<Short<Qor8u>>(src + 3 * x), spread));
  for (; x < width; ++x) {
    const Qor8u* const p = src + 3 * x;
    const Qor8u pixel[] = {p[0], p[1], p[2], 0};
    __builtin_memcpy(dst + 4 * x, pixel, sizeof pixel);
  }
}

template <int channels>
void fillPlanes(const GrowthPlanes<channels>& planes, Plane<const Qor8u> picture, Plane<const Qor8u> labels,
                QoriSize size) {
  const ptrdiff_t width = size.width, pixelBytes = GrowthPlanes<channels>::pixelBytes;
  for (int y = 0; y < size.height; ++y) {
    copyRow(picture.row(y), planes.picture + width * y * pixelBytes, width, std::integral_constant<int, channels>());
    Qor8u* const row = planes.labels + width * y;
    if (y == 0 || y == size.height - 1) {
      __builtin_memset(row, closed, static_cast<size_t>(width));
    } else {
      __builtin_memcpy(row, labels.row(y), static_cast<size_t>(width));
      row[0] = row[width - 1] = closed;
    }
  }
  const ptrdiff_t behind = width * size.height;
  planes.labels[behind] = closed;
  __builtin_memset(planes.picture + behind * pixelBytes, 0, static_cast<size_t>(pixelBytes));
}

// ---- the operation

constexpr int bytesOfPixel = 17, bytesOfCall = 115;

// Counted in 32 bits that wrap.
int reportedBytes(QoriSize size) {
  const Qor32u pixels = static_cast<Qor32u>(size.width) * static_cast<Qor32u>(size.height);
  return static_cast<int>(bytesOfPixel * pixels + bytesOfCall);
}

QorStatus reportSize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status == qorStsNoErr) *pBufferSize = reportedBytes(roiSize);
  return status;
}

template <int channels>
QorStatus segment(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize, QoriNorm norm,
                  int flag, Qor8u* pBuffer) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pMarker, pBuffer), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(int64_t{roiSize.width} * channels, srcStep),
                                        stepCheck<Qor8u>(roiSize.width, markerStep),
                                        norm == qoriNormInf || norm == qoriNormL1 ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const auto layout = GrowthPlanes<channels>::layout(roiSize);
  if (bytesOf(layout) > reportedBytes(roiSize)) return qorStsSizeErr;
  if (roiSize.width < 3 || roiSize.height < 3) return qorStsNoErr;
  ScratchParts parts(pBuffer, reportedBytes(roiSize), bytesOf(layout));
  const GrowthPlanes<channels> planes = layout(parts);
  fillPlanes(planes, Plane{pSrc, srcStep}, Plane<const Qor8u>{pMarker, markerStep}, roiSize);
  const bool changed = norm == qoriNormInf ? Growth<channels, true>(planes, roiSize, flag).run()
                                           : Growth<channels, false>(planes, roiSize, flag).run();
  return changed ? qoriCopy_8u_C1R(planes.labels, roiSize.width, pMarker, markerStep, roiSize) : qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriSegmentGradient_8u_C1IR)
(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize, QoriNorm norm, int flag,
 Qor8u* pBuffer) {
  return qor::segment<1>(pSrc, srcStep, pMarker, markerStep, roiSize, norm, flag, pBuffer);
}
QOR_BODY(qoriSegmentGradient_8u_C3IR)
(const Qor8u* pSrc, int srcStep, Qor8u* pMarker, int markerStep, QoriSize roiSize, QoriNorm norm, int flag,
 Qor8u* pBuffer) {
  return qor::segment<3>(pSrc, srcStep, pMarker, markerStep, roiSize, norm, flag, pBuffer);
}
QOR_BODY(qoriSegmentGradientGetBufferSize_8u_C1R)(QoriSize roiSize, int* pBufferSize) {
  return qor::reportSize(roiSize, pBufferSize);
}
QOR_BODY(qoriSegmentGradientGetBufferSize_8u_C3R)(QoriSize roiSize, int* pBufferSize) {
  return qor::reportSize(roiSize, pBufferSize);
}
