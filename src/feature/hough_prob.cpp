// Probabilistic Hough lines.
#include <math.h>
#include <string.h>

#include "feature/hough_axes.h"
#include "feature/nonzero.h"
#include "frame/bodies.h"

// What the public header leaves incomplete. The directions stand behind it.
struct QoriHoughProbSpec {
  QoriPoint_32f delta;
  QorHintAlgorithm hint;
};

namespace qor::inline QOR_LEVEL {
namespace {

// Records and scratch may begin at any byte and have none to spare.
template <class T>
struct [[gnu::packed]] Unaligned {
  T value;
};
struct Direction {
  Qor32f cosine, sine;
};

Qor64f recordBytes(const HoughAxes& axes) { return 8 * axes.exactLast + 24; }

class SegmentSearch {
 public:
  SegmentSearch(QoriSize size, const HoughAxes& axes, const Qor8u* directions, int lineLength, int lineGap)
      : size_(size), axes_(axes), directions_(directions), lineLength_(lineLength), lineGap_(lineGap) {}

  // In 64f: any product of four integers.
  static Qor64f exactScratch(QoriSize size, const HoughAxes& axes) {
    return 9.0 * size.width * size.height + 4 * axes.exactRhos * (axes.exactLast + 1);
  }

  QorStatus run(Plane<const Qor8u> src, int threshold, Qor8u* scratch, Qor32s* lines, int most, int* lineCount) {
    if (exactScratch(size_, axes_) > topOf<Qor32s>) return qorStsSizeErr;
    if (axes_.rhos < 1) return qorStsNoErr;
    const ptrdiff_t cells = ptrdiff_t{axes_.rhos} * (axes_.last + 1);
    cells_ = reinterpret_cast<Cell*>(scratch);
    mask_ = scratch + cells * ptrdiff_t{sizeof(Cell)};
    points_ = reinterpret_cast<Point*>(mask_ + ptrdiff_t{size_.width} * size_.height);
    memset(cells_, 0, static_cast<size_t>(cells) * sizeof(Cell));
    uint64_t state = ~uint64_t{0};
    for (int left = listPoints(src); left > 0; --left) {
      state = (state >> 32) + (state & 0xffffffff) * 0xf83f630a;
      Point* const drawn = points_ + static_cast<Qor32u>(state) % static_cast<Qor32u>(left);
      const QoriPoint point = drawn->value;
      *drawn = points_[left - 1];
      if (*maskAt(point) == 0) continue;
      const int theta = vote(point, threshold);
      if (theta < 0) continue;
      const Way ways[] = {wayAlong(theta), wayAlong(theta).back()};
      QoriPoint ends[] = {endOf(point, ways[0]), endOf(point, ways[1])};
      const bool isGood =
          distance(ends[0].x, ends[1].x) >= lineLength_ || distance(ends[0].y, ends[1].y) >= lineLength_;
      for (int i = 0; i < 2; ++i) takeOut(point, ways[i], ends[i], isGood);
      if (!isGood) continue;
      if (*lineCount >= most) return qorStsListFullWarn;
      memcpy(lines + ptrdiff_t{4} * *lineCount, ends, sizeof ends);
      ++*lineCount;
    }
    return qorStsNoErr;
  }

 private:
  using Cell = Unaligned<Qor32s>;
  using Point = Unaligned<QoriPoint>;

  static int distance(int a, int b) { return a < b ? b - a : a - b; }
  Qor8u* maskAt(QoriPoint p) const { return mask_ + ptrdiff_t{size_.width} * p.y + p.x; }

  // How many there are.
  int listPoints(Plane<const Qor8u> src) {
    int count = 0;
    memset(mask_, 0, static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height));
    for (int y = 0; y < size_.height; ++y) {
      forNonZero(src.row(y), size_.width, [&](ptrdiff_t x, uint64_t set) {
        forBits(set, [&](int i) {
          const QoriPoint p{static_cast<int>(x) + i, y};
          *maskAt(p) = 1;
          points_[count++].value = p;
        });
      });
    }
    return count;
  }

  // ---- votes

  // Calls work(cell) for the cells of a point, in the order of theta.
  template <class Work>
  QOR_FORCE_INLINE void forCells(QoriPoint point, const Work& work) const {
    constexpr int lanes = V32s::lanes;
    const V32f xy = zipFirst(splat(static_cast<Qor32f>(point.x)), splat(static_cast<Qor32f>(point.y)));
    const int count = axes_.last + 1, rhos = axes_.rhos, middle = axes_.middle;
    const V32s fromMiddle = splat(middle);
    const auto lastCell = splat(static_cast<Qor32u>(rhos - 1));
    // Where rho 0 stands in the rows of some directions. What lies behind the last row may wrap, and is not used.
    const auto rowAt = [=](int i) { return static_cast<Qor32s>(static_cast<Qor32u>(i) * static_cast<Qor32u>(rhos)); };
    V32s rows = laneByLane<V32s>(rowAt) + fromMiddle;
    const auto some = [&](const void* directions, int n) {
      // In the first 16 bytes of the two vectors the first half of the directions, in order.
      const Qor32f* const p = static_cast<const Qor32f*>(directions);
      const Qor32f* const parts[] = {p, p + 2 * Short<Qor32f>::lanes};
      const auto sums = [&](ptrdiff_t offset) {
        const V32f products = loadShorts<V32f>(parts, offset) * xy;
        return as<Qor64s>(products + reordered<1, 0, 3, 2>(products));
      };
      const V32s rho = truncated(as<Qor32f>(joinLow(Split<Qor64s>{sums(0), sums(Short<Qor32f>::lanes)})));
      const auto along = as<Qor32u>(rho + fromMiddle);
      const auto onAxis = min(along, lastCell) == along;
      const V32s cells = rho + rows;
      if (n == lanes && signBits(onAxis) == allSignBits<V32s>) {
        forLanes(cells, work);
      } else {
        Qor32s cell[lanes], isOn[lanes];
        store(cell, cells);
        store(isOn, as<Qor32s>(onAxis));
        for (int i = 0; i < n; ++i) {
          if (isOn[i] != 0) work(cell[i]);
        }
      }
      rows = rows + splat(rowAt(lanes));
    };
    int j = 0;
    for (; j <= count - lanes; j += lanes) some(directionAt(j), lanes);
    if (j == count) return;
    Direction rest[lanes] = {};
    memcpy(rest, directionAt(j), static_cast<size_t>(count - j) * sizeof *rest);
    some(rest, count - j);
  }
  const Qor8u* directionAt(ptrdiff_t theta) const { return directions_ + theta * ptrdiff_t{sizeof(Direction)}; }

  // The theta of the fullest cell of the point, if it has so many votes; else -1.
  int vote(QoriPoint point, int threshold) const {
    Cell* const cells = cells_;
    int most = threshold - 1;
    ptrdiff_t best = -1;
    forCells(point, [&](ptrdiff_t cell) {
      const int votes = cells[cell].value + 1;
      cells[cell].value = votes;
      if (votes > most) most = votes, best = cell;
    });
    return best < 0 ? -1 : static_cast<int>(best / axes_.rhos);
  }

  void takeBack(QoriPoint point) const {
    Cell* const cells = cells_;
    forCells(point, [=](ptrdiff_t cell) { --cells[cell].value; });
  }

  // ---- the way along a line, in 1/65536 of a pixel

  static constexpr int bits = 16;
  static constexpr Qor64s pixel = Qor64s{1} << bits, half = pixel / 2;

  struct Way {
    Qor64s x, y;
    Way back() const { return {-x, -y}; }
  };

  Way wayAlong(int theta) const {
    Direction d;
    memcpy(&d, directionAt(theta), sizeof d);
    const Qor32f a = -d.sine, b = d.cosine;
    const auto slope = [](Qor32f minor, Qor32f major) {
      return static_cast<Qor64s>(minor * static_cast<Qor32f>(pixel) / fabsf(major));
    };
    if (fabsf(a) > fabsf(b)) return {a > 0 ? pixel : -pixel, slope(b, a)};
    return {slope(a, b), b > 0 ? pixel : -pixel};
  }

  // Calls visit(point, mask) on the way until it leaves the image or visit gives false.
  template <class Visit>
  void follow(QoriPoint from, const Way& way, const Visit& visit) const {
    Qor64s x = from.x * pixel + half, y = from.y * pixel + half;
    for (;; x += way.x, y += way.y) {
      const Qor64s column = x >> bits, row = y >> bits;
      if (column < 0 || row < 0 || column >= size_.width || row >= size_.height) return;
      const QoriPoint point{static_cast<int>(column), static_cast<int>(row)};
      if (!visit(point, maskAt(point))) return;
    }
  }

  QoriPoint endOf(QoriPoint from, const Way& way) const {
    QoriPoint end = from;
    int gap = 0;
    follow(from, way, [&](QoriPoint p, const Qor8u* mask) {
      if (*mask != 0) {
        end = p;
        gap = 0;
        return true;
      }
      return ++gap <= lineGap_;
    });
    return end;
  }

  void takeOut(QoriPoint from, const Way& way, QoriPoint end, bool withVotes) const {
    follow(from, way, [&](QoriPoint p, Qor8u* mask) {
      if (*mask != 0 && withVotes) takeBack(p);
      *mask = 0;
      return p.x != end.x || p.y != end.y;
    });
  }

  QoriSize size_;
  HoughAxes axes_;
  const Qor8u* directions_;
  int lineLength_, lineGap_;
  Cell* cells_ = nullptr;
  Qor8u* mask_ = nullptr;
  Point* points_ = nullptr;
};

QorStatus reportSizes(QoriSize roiSize, QoriPoint_32f delta, int* pSpecSize, int* pBufSize) {
  const QorStatus status = firstFailure(nullCheck(pSpecSize, pBufSize), sizeCheck(roiSize), houghStepsCheck(delta));
  if (status != qorStsNoErr) return status;
  const HoughAxes axes(roiSize, delta);
  const Qor32u width = static_cast<Qor32u>(roiSize.width), height = static_cast<Qor32u>(roiSize.height);
  *pSpecSize = static_cast<int>(houghWrapped(recordBytes(axes)));
  *pBufSize =
      static_cast<int>(9 * width * height + 4 * houghWrapped(axes.exactRhos) * (houghWrapped(axes.exactLast) + 1));
  return qorStsNoErr;
}

QorStatus makeRecord(QoriSize roiSize, QoriPoint_32f delta, QorHintAlgorithm hint, QoriHoughProbSpec* pSpec) {
  const QorStatus status = firstFailure(sizeCheck(roiSize), houghStepsCheck(delta), nullCheck(pSpec));
  if (status != qorStsNoErr) return status;
  const HoughAxes axes(roiSize, delta);
  if (recordBytes(axes) > topOf<Qor32s>) return qorStsSizeErr;
  const QoriHoughProbSpec head{delta, hint};
  memcpy(pSpec, &head, sizeof head);
  Qor8u* to = reinterpret_cast<Qor8u*>(pSpec) + sizeof head;
  const Qor64f rhoStep = delta.x;
  Qor32f theta = 0;
  for (int j = 0; j <= axes.last; ++j, theta += delta.y) {
    const Qor64f angle = theta;
    const Direction d{static_cast<Qor32f>(cos(angle) / rhoStep), static_cast<Qor32f>(sin(angle) / rhoStep)};
    memcpy(to, &d, sizeof d);
    to += sizeof d;
  }
  return qorStsNoErr;
}

QorStatus findSegments(const Qor8u* pSrc, int srcStep, QoriSize roiSize, int threshold, int lineLength, int lineGap,
                       Qor32s* pLine, int maxLineCount, int* pLineCount, Qor8u* pBuffer,
                       const QoriHoughProbSpec* pSpec) {
  const bool isBad = threshold < 1 || lineLength < 0 || lineGap < 0;
  const QorStatus status = firstFailure(nullCheck(pSrc, pBuffer), nullCheck(pLine), nullCheck(pSpec),
                                        sizeCheck(roiSize), isBad ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const Qor8u* const record = reinterpret_cast<const Qor8u*>(pSpec);
  QoriHoughProbSpec head;
  memcpy(&head, record, sizeof head);
  *pLineCount = 0;
  SegmentSearch search(roiSize, HoughAxes(roiSize, head.delta), record + sizeof head, lineLength, lineGap);
  return search.run({pSrc, srcStep}, threshold, pBuffer, pLine, maxLineCount, pLineCount);
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriHoughProbLineGetSize_8u_C1R)(QoriSize roiSize, QoriPoint_32f delta, int* pSpecSize, int* pBufSize) {
  return qor::reportSizes(roiSize, delta, pSpecSize, pBufSize);
}
QOR_BODY(qoriHoughProbLineInit_8u32f_C1R)
(QoriSize roiSize, QoriPoint_32f delta, QorHintAlgorithm hint, QoriHoughProbSpec* pSpec) {
  return qor::makeRecord(roiSize, delta, hint, pSpec);
}
QOR_BODY(qoriHoughProbLine_8u32f_C1R)
(const Qor8u* pSrc, int srcStep, QoriSize roiSize, int threshold, int lineLength, int lineGap, Qor32s* pLine,
 int maxLineCount, int* pLineCount, Qor8u* pBuffer, const QoriHoughProbSpec* pSpec) {
  return qor::findSegments(pSrc, srcStep, roiSize, threshold, lineLength, lineGap, pLine, maxLineCount, pLineCount,
                           pBuffer, pSpec);
}
