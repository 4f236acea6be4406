// Standard Hough lines.
//
// Only three rows of the accumulator exist at a time, for three neighbouring directions: while one is voted, the one
// before it, whose neighbours are then known, is searched for peaks. Votes come from a list of points, not from the
// image. Points that are neighbours in the list are far from each other in the image: a row of the image in which all
// vote for one cell would otherwise wait for each vote to be written before the next.
#include <string.h>

#include "feature/hough_axes.h"
#include "feature/nonzero.h"
#include "frame/bodies.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

// What is listed: cells of rho and numbers of theta from the first to the last.
struct Limits {
  Qor32f rho[2], theta[2];
};
constexpr Limits noLimits{{-__builtin_inff(), __builtin_inff()}, {-__builtin_inff(), __builtin_inff()}};

struct Peak {
  Qor32s votes, rho, theta;
};

// The strongest peaks in their order.
class Peaks {
 public:
  Peaks(Peak* list, int most, int threshold) : list_(list), most_(most), bar_(threshold) {}

  int count() const { return count_; }
  const Peak& operator[](int i) const { return list_[i]; }
  // What a peak has to exceed: the threshold, of a full list its last entry.
  int bar() const { return bar_; }

  void insert(const Peak& peak) {
    if (peak.votes <= bar_) return;
    int place = count_;
    for (int first = 0; first < place;) {
      const int half = first + (place - first) / 2;
      if (list_[half].votes < peak.votes) {
        place = half;
      } else {
        first = half + 1;
      }
    }
    if (count_ < most_) ++count_;
    memmove(list_ + place + 1, list_ + place, static_cast<size_t>(count_ - 1 - place) * sizeof peak);
    list_[place] = peak;
    if (count_ == most_) bar_ = list_[count_ - 1].votes;
  }

 private:
  Peak* list_;
  int most_, count_ = 0, bar_;
};

class LineSearch {
 public:
  LineSearch(QoriSize size, QoriPoint_32f delta, const Limits& limits, int maxLineCount)
      : size_(size), delta_(delta), limits_(limits), axes_(size, delta), most_(maxLineCount) {
    const Qor64f scale = static_cast<Qor64f>(1 / delta.x) * one;
    scale_ = scale;
    // Coordinates and tables of 16 bits.
    constexpr int most = topOf<Qor16s>;
    isShort_ = size.width <= most && size.height <= most && scale <= most;
  }

  // The stated size in 64f, and as it is reported.
  Qor64f exactSize() const {
    return Qor64f{1} * size_.height * (4.0 * size_.width + 64) + 16.0 * most_ + 8 * axes_.exactLast +
           16 * axes_.exactRhos + 296;
  }
  int reportedSize() const {
    const Qor32u width = static_cast<Qor32u>(size_.width), height = static_cast<Qor32u>(size_.height),
                 most = static_cast<Qor32u>(most_);
    return static_cast<int>(height * (4 * width + 64) + 16 * most + 8 * houghWrapped(axes_.exactLast) +
                            16 * houghWrapped(axes_.exactRhos) + 296);
  }

  QorStatus run(Plane<const Qor8u> src, int threshold, Qor8u* scratch, QoriPoint_32f* lines, int* lineCount) {
    if (exactSize() > topOf<Qor32s>) return qorStsSizeErr;
    const auto layOut = [this](ScratchParts& taken) { return lay(taken); };
    ScratchParts taken(scratch, reportedSize(), bytesOf(layOut));
    parts_ = lay(taken);
    listPoints(src);
    Peaks peaks(parts_.peaks, most_, threshold);
    search(&peaks);
    for (int i = 0; i < peaks.count(); ++i) {
      lines[i] = {static_cast<Qor32f>(peaks[i].rho - axes_.middle) * delta_.x,
                  static_cast<Qor32f>(peaks[i].theta) * delta_.y};
    }
    *lineCount = peaks.count();
    return qorStsNoErr;
  }

 private:
  static constexpr int bits = 10, one = 1 << bits, half = one / 2;
  static constexpr int strands = 8;
  // Around a row: in front cells for votes that do not count, one for each lane so that they do not wait for each
  // other, and a cell of 0 for the left neighbour; behind as many cells of 0 as a vector and its neighbours reach.
  static constexpr int spare = 8, before = spare + 1, behind = 8;
  static_assert(V32s::lanes <= spare && V32s::lanes <= behind);

  struct Parts {
    Peak* peaks;
    Qor32s* cells;
    Qor32s* rowEnds;  // of wide points: how many there are up to the end of a row of the image
    Qor32s* points;   // short ones x | y << 16, wide ones x
  };
  Parts lay(ScratchParts& taken) const {
    Parts p{};
    p.peaks = taken.take<Peak>(most_);
    p.cells = taken.take<Qor32s>(3 * rowCells());
    p.rowEnds = taken.take<Qor32s>(size_.height);
    p.points = taken.take<Qor32s>(int64_t{size_.width} * size_.height);
    return p;
  }
  ptrdiff_t rowCells() const { return ptrdiff_t{axes_.rhos} + before + behind; }

  // One row of the accumulator: cell 0, and the cells that may have votes.
  struct Row {
    Qor32s* cells;
    int low, high;

    bool isEmpty() const { return low > high; }
    void clear() {
      if (!isEmpty()) memset(cells + low, 0, static_cast<size_t>(high - low + 1) * sizeof *cells);
      memset(cells - before, 0, spare * sizeof *cells);
      low = 0, high = -1;
    }
  };

  // ---- points

  void listPoints(Plane<const Qor8u> src) {
    if (!isShort_) {
      for (int y = 0; y < size_.height; ++y) {
        forNonZero(src.row(y), size_.width, [&](ptrdiff_t x, uint64_t set) {
          forBits(set, [&](int i) { parts_.points[count_++] = static_cast<Qor32s>(x + i); });
        });
        parts_.rowEnds[y] = count_;
      }
      return;
    }
    left_ = size_.width, top_ = size_.height;
    for (int y = 0; y < size_.height; ++y) {
      forNonZero(src.row(y), size_.width, [&](ptrdiff_t x, uint64_t set) {
        const int start = static_cast<int>(x), first = start + __builtin_ctzll(set),
                  last = start + 63 - __builtin_clzll(set);
        if (first < left_) left_ = first;
        if (last > right_) right_ = last;
        if (y < top_) top_ = y;
        bottom_ = y;
        count_ += __builtin_popcountll(set);
      });
    }
    // One strand after the other; behind them the few points that are left over.
    const ptrdiff_t length = count_ / strands;
    ptrdiff_t strand = length > 0 ? 0 : strands, at = 0;
    const auto put = [&](Qor32s point) {
      if (strand == strands) {
        parts_.points[length * strands + at++] = point;
        return;
      }
      parts_.points[at * strands + strand] = point;
      if (++at == length) at = 0, ++strand;
    };
    for (int y = 0; y < size_.height; ++y) {
      forNonZero(src.row(y), size_.width, [&](ptrdiff_t x, uint64_t set) {
        forBits(set, [&](int i) { put(static_cast<Qor32s>(x + i) | y << 16); });
      });
    }
  }

  // ---- votes

  void vote(Row* row, Qor32s cosine, Qor32s sine) const {
    if (isShort_) {
      voteShort(row, cosine, sine);
    } else {
      voteWide(row, cosine, sine);
    }
  }

  void voteWide(Row* row, Qor32s cosine, Qor32s sine) const {
    int low = axes_.rhos, high = -1, i = 0;
    for (int y = 0; y < size_.height; ++y) {
      const Qor32u start = static_cast<Qor32u>(y) * static_cast<Qor32u>(sine) + half;
      for (; i < parts_.rowEnds[y]; ++i) {
        const Qor32u sum = start + static_cast<Qor32u>(parts_.points[i]) * static_cast<Qor32u>(cosine);
        const int rho = (static_cast<Qor32s>(sum) >> bits) + axes_.middle;
        if (rho < firstRho_ || rho > lastRho_) continue;
        ++row->cells[rho];
        if (rho < low) low = rho;
        if (rho > high) high = rho;
      }
    }
    row->low = low, row->high = high;
  }

  void voteShort(Row* row, Qor32s cosine, Qor32s sine) const {
    // All points lie within a box, so all cells between those of its corners. The sums stay within 31 bits: two
    // products of 15 bits each.
    const int alongX[] = {left_ * cosine, right_ * cosine}, alongY[] = {top_ * sine, bottom_ * sine};
    const int swapX = cosine < 0, swapY = sine < 0;
    const int low = ((alongX[swapX] + alongY[swapY] + half) >> bits) + axes_.middle;
    const int high = ((alongX[1 - swapX] + alongY[1 - swapY] + half) >> bits) + axes_.middle;
    row->low = low < firstRho_ ? firstRho_ : low;
    row->high = high > lastRho_ ? lastRho_ : high;
    if (row->isEmpty()) return;
    if (row->low == low && row->high == high) {
      addVotes<false>(*row, cosine, sine);
    } else {
      addVotes<true>(*row, cosine, sine);
    }
  }

  template <bool limited>
  void addVotes(const Row& row, Qor32s cosine, Qor32s sine) const {
    const int middle = axes_.middle;
    addVotes<limited>(row.cells + middle, cosine, sine, row.low - middle, row.high - middle, -before - middle);
  }

  // All with cell 0 for rho 0. A function of its own, so that the cells stay one address.
  template <bool limited>
  [[gnu::noinline]] void addVotes(Qor32s* cells, Qor32s cosine, Qor32s sine, int low, int high, int drop) const {
    const V16s table = as<Qor16s>(splat((cosine & 0xffff) | sine * 0x10000));
    const Qor32s* p = parts_.points;
    const Qor32s* const end = p + count_;
    const V32s drops = laneByLane<V32s>([=](int i) { return drop + i; });
    for (; p <= end - V32s::lanes; p += V32s::lanes) {
      V32s rho = (multiplyAdd(as<Qor16s>(load(p)), table) + splat<Qor32s>(half)) >> bits;
      if constexpr (limited) rho = select((splat(low) > rho) | (rho > splat(high)), drops, rho);
      forLanes(rho, [=](ptrdiff_t cell) { ++cells[cell]; });
    }
    for (; p < end; ++p) {
      const int rho = ((*p & 0xffff) * cosine + (*p >> 16) * sine + half) >> bits;
      ++cells[limited && (rho < low || rho > high) ? drop : rho];
    }
  }

  // ---- peaks

  void search(Peaks* peaks) {
    limitRhos();
    Row rows[3];
    memset(parts_.cells, 0, static_cast<size_t>(3 * rowCells()) * sizeof *parts_.cells);
    for (int i = 0; i < 3; ++i) rows[i] = {parts_.cells + i * rowCells() + before, 0, -1};
    Qor32f theta = 0;
    for (int j = 0; j <= axes_.last + 1; ++j, theta += delta_.y) {
      const Row oldest = rows[0];
      rows[0] = rows[1], rows[1] = rows[2], rows[2] = oldest;
      rows[2].clear();
      if (j <= axes_.last && isListed(j)) {
        const auto inTable = [&](Qor64f x) { return truncatedSaturated<Qor32s>(x * scale_); };
        const Qor64f angle = theta;
        vote(&rows[2], inTable(cos(angle)), inTable(sin(angle)));
      }
      pick(rows, j - 1, peaks);
    }
  }

  bool isListed(int j) const {
    const Qor32f theta = static_cast<Qor32f>(j) * delta_.y;
    return !(theta < limits_.theta[0]) && !(theta > limits_.theta[1]);
  }

  void limitRhos() {
    const auto cell = [this](Qor32f rho) {
      const Qor32f at = rho / delta_.x + static_cast<Qor32f>(axes_.middle);
      if (!(at > -1)) return -1;
      return at < static_cast<Qor32f>(axes_.rhos) ? static_cast<int>(at) : axes_.rhos;
    };
    firstRho_ = cell(limits_.rho[0]);
    lastRho_ = cell(limits_.rho[1]);
    if (firstRho_ < 0) firstRho_ = 0;
    if (lastRho_ > axes_.rhos - 1) lastRho_ = axes_.rhos - 1;
  }

  // The peaks of the middle one of three rows.
  static void pick(const Row (&rows)[3], int theta, Peaks* peaks) {
    const Row& row = rows[1];
    for (int rho = row.low; rho <= row.high; rho += V32s::lanes) {
      const V32s votes = load(row.cells + rho);
      const V32s strong = votes > splat(peaks->bar());
      if (allZero(strong)) continue;
      const auto at = [=](const Row& r, int shift) { return load(r.cells + rho + shift); };
      const V32s above = strong & (votes > at(row, -1)) & (votes > at(rows[0], 0));
      const V32s peak = andNot((at(row, 1) > votes) | (at(rows[2], 0) > votes), above);
      forBits(signBits(as<Qor32f>(peak)), [&](int i) { peaks->insert({row.cells[rho + i], rho + i, theta}); });
    }
  }

  QoriSize size_;
  QoriPoint_32f delta_;
  Limits limits_;
  HoughAxes axes_;
  int most_;
  Qor64f scale_;  // of the tables
  bool isShort_;
  Parts parts_{};
  int count_ = 0;                                    // points
  int left_ = 0, top_ = 0, right_ = 0, bottom_ = 0;  // of short ones, their box
  int firstRho_ = 0, lastRho_ = 0;
};

QorStatus reportSize(QoriSize roiSize, QoriPoint_32f delta, int maxLineCount, int* pBufSize) {
  const QorStatus status = firstFailure(nullCheck(pBufSize), sizeCheck(roiSize), houghStepsCheck(delta));
  if (status != qorStsNoErr) return status;
  const LineSearch search(roiSize, delta, noLimits, maxLineCount);
  *pBufSize = search.reportedSize();
  return search.exactSize() > topOf<Qor32s> ? qorStsOverflow : qorStsNoErr;
}

// The checks that both forms share, behind those for null pointers.
QorStatus argumentCheck(int srcStep, QoriSize roiSize, int maxLineCount, QoriPoint_32f delta, int threshold) {
  const auto longest = static_cast<Qor64f>(int64_t{roiSize.width} + roiSize.height);
  const bool isGood = static_cast<Qor64f>(delta.x) <= longest && delta.y <= houghLastTheta && threshold > 0;
  return firstFailure(positiveStepCheck(srcStep), sizeCheck(roiSize), lengthCheck(maxLineCount), houghStepsCheck(delta),
                      isGood ? qorStsNoErr : qorStsBadArgErr);
}

QorStatus findLines(const Qor8u* pSrc, int srcStep, QoriSize roiSize, QoriPoint_32f delta, int threshold,
                    QoriPoint_32f* pLine, int maxLineCount, int* pLineCount, Qor8u* pBuffer) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pBuffer), nullCheck(pLine), nullCheck(pLineCount),
                                        argumentCheck(srcStep, roiSize, maxLineCount, delta, threshold));
  if (status != qorStsNoErr) return status;
  LineSearch search(roiSize, delta, noLimits, maxLineCount);
  return search.run({pSrc, srcStep}, threshold, pBuffer, pLine, pLineCount);
}

QorStatus findLinesWithin(const Qor8u* pSrc, int srcStep, QoriSize roiSize, QoriPoint_32f* pLine, QoriPoint_32f* dstRoi,
                          int maxLineCount, int* pLineCount, QoriPoint_32f delta, int threshold, Qor8u* pBuffer) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pBuffer), nullCheck(pLine, dstRoi), nullCheck(pLineCount),
                                        argumentCheck(srcStep, roiSize, maxLineCount, delta, threshold));
  if (status != qorStsNoErr) return status;
  if (dstRoi[0].y > dstRoi[1].y || dstRoi[0].x > dstRoi[1].x) {
    *pLineCount = 0;
    return qorStsRangeErr;
  }
  for (int i = 0; i < 2; ++i) {
    if (dstRoi[i].y < 0) dstRoi[i].y = 0;
    if (dstRoi[i].y > houghLastTheta) dstRoi[i].y = houghLastTheta;
  }
  LineSearch search(roiSize, delta, {{dstRoi[0].x, dstRoi[1].x}, {dstRoi[0].y, dstRoi[1].y}}, maxLineCount);
  return search.run({pSrc, srcStep}, threshold, pBuffer, pLine, pLineCount);
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriHoughLineGetSize_8u_C1R)(QoriSize roiSize, QoriPoint_32f delta, int maxLineCount, int* pBufSize) {
  return qor::reportSize(roiSize, delta, maxLineCount, pBufSize);
}
QOR_BODY(qoriHoughLine_8u32f_C1R)
(const Qor8u* pSrc, int srcStep, QoriSize roiSize, QoriPoint_32f delta, int threshold, QoriPoint_32f* pLine,
 int maxLineCount, int* pLineCount, Qor8u* pBuffer) {
  return qor::findLines(pSrc, srcStep, roiSize, delta, threshold, pLine, maxLineCount, pLineCount, pBuffer);
}
QOR_BODY(qoriHoughLine_Region_8u32f_C1R)
(const Qor8u* pSrc, int srcStep, QoriSize roiSize, QoriPoint_32f* pLine, QoriPoint_32f* dstRoi, int maxLineCount,
 int* pLineCount, QoriPoint_32f delta, int threshold, Qor8u* pBuffer) {
  return qor::findLinesWithin(pSrc, srcStep, roiSize, pLine, dstRoi, maxLineCount, pLineCount, delta, threshold,
                              pBuffer);
}
