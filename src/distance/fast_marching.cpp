// Distances that solve the eikonal equation on the grid, by sweeps over the rows until nothing falls.
//
// A sweep goes down or up. A row takes from the row behind it, pixel by pixel to the right, each from the pixel behind
// it too, and then to the left. All pixels start far away, so values only fall. A falling pixel marks the blocks of
// pixels that look at it for the sweeps in which they do; the first two sweeps visit all blocks, later ones those that
// are marked. When a sweep in either direction has changed nothing, none is marked.
//
// The image is solved in two parts, which are swept from the outer rows towards a row between them, where they meet,
// and away from it. So two threads may do it, and one in the same order, with the same bits. The band inside the zeros
// is a problem of its own, with the zeros at the rim as its origin: it is solved first, as positive numbers.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Where nothing has come yet: far beyond any way, and so large that adding to it changes nothing.
constexpr Qor32f far = 1e30F;
// The first pixel of an image without zeros.
constexpr Qor32f startValue = 999999.0F;
constexpr Qor32f rimValue = 1e-10F;
constexpr Qor32f limitSlack = 1e-5F;

// Pixels of a block: what is visited together.
constexpr int blockPixels = 16;
constexpr int64_t blocksOf(int64_t width) { return (width + blockPixels - 1) / blockPixels; }

enum Direction { down = 1, up = -1 };
// The sweeps that have to visit a block.
constexpr Qor8u markOf(Direction direction) { return direction == down ? 1 : 2; }
constexpr Qor8u anyMark = 3;

enum class Visit { all, marked };

// Rows first to last in the order of sweeps towards where the parts meet; the row there is meeting, -1 for none.
struct Part {
  int first, last, meeting;

  Direction towards() const { return meeting < first && meeting >= 0 ? up : down; }
  bool has(int y) const { return first <= last ? first <= y && y <= last : last <= y && y <= first; }
};

// ---- the solver, in 32-bit floats and this order

inline Qor32f solve(Qor32f p, Qor32f q) {
  const Qor32f d = p - q;
  if (d >= 1) return q + 1;
  if (d <= -1) return p + 1;
  return ((p + q) + __builtin_sqrtf(2 - d * d)) * 0.5F;
}
QOR_FORCE_INLINE V32f solve(V32f p, V32f q) {
  const V32f one = splat(1.0F), d = p - q;
  const V32f both = ((p + q) + sqrt(splat(2.0F) - d * d)) * splat(0.5F);
  return select(abs(d) >= one, min(p, q) + one, both);
}

// Inside the zeros: from the rim on, up to a limit. Outside: from the zeros on, whose band counts as 0.
template <bool inside>
class Marching {
 public:
  Marching(Plane<Qor32f> image, QoriSize size, Qor32f limit, const Qor32f* nothing, Qor8u* marks)
      : image_(image),
        width_(size.width),
        blocks_(blocksOf(size.width)),
        limit_(limit),
        nothing_(nothing),
        marks_(marks) {}

  // The first sweep, from the part's first row on.
  void begin(const Part& part) {
    relax<Visit::all>(part.first, nothing_, nullptr, nullptr, part.towards());
    for (int y = part.first; y != part.last;) {
      const Qor32f* const behind = image_.row(y);
      y += part.towards();
      relax<Visit::all>(y, behind, nullptr, nullptr, part.towards());
    }
  }

  // Back to the part's first row and towards the meeting again. Whether anything fell.
  bool resume(const Part& part, Visit visit) {
    const auto back = static_cast<Direction>(-part.towards());
    const bool fellBack = visit == Visit::all ? sweep<Visit::all>(part, back) : sweep<Visit::marked>(part, back);
    return sweep<Visit::marked>(part, part.towards()) || fellBack;
  }

  // The row where the parts meet takes from both.
  bool meet(int y) {
    Qor8u *const above = marksOf(y - 1), *const below = marksOf(y + 1);
    const bool fell = relax<Visit::all>(y, image_.row(y - 1), above, below, down);
    return relax<Visit::all>(y, image_.row(y + 1), below, above, up) || fell;
  }

 private:
  Qor8u* marksOf(int y) const { return marks_ + y * blocks_; }

  // All rows of a part but the one that has no row of the image behind it.
  template <Visit visit>
  bool sweep(const Part& part, Direction direction) {
    bool fell = false;
    const bool away = direction != part.towards();
    const int end = away ? part.first : part.last;
    int y = away ? part.meeting : part.first;
    if (y < 0) y = part.last;
    while (y != end) {
      const Qor32f* const behind = image_.row(y);
      Qor8u* const marksBehind = part.has(y) ? marksOf(y) : nullptr;
      y += direction;
      Qor8u* const marksAhead = part.has(y + direction) ? marksOf(y + direction) : nullptr;
      fell |= relax<visit>(y, behind, marksBehind, marksAhead, direction);
    }
    return fell;
  }

  // ---- one row

  struct Row {
    Qor32f* own;
    const Qor32f* behind;
    Qor8u *marks, *marksBehind, *marksAhead;  // null where nothing is to be marked
    Direction direction;
  };

  // Both ways along a row.
  template <Visit visit>
  bool relax(int y, const Qor32f* behind, Qor8u* marksBehind, Qor8u* marksAhead, Direction direction) {
    const bool isMarking = marksBehind != nullptr || marksAhead != nullptr;
    const Row row{image_.row(y), behind, isMarking ? marksOf(y) : nullptr, marksBehind, marksAhead, direction};
    Qor8u* const marks = marksOf(y);
    const Qor8u own = markOf(direction);
    bool fell = false;
    for (ptrdiff_t b = 0, next = 0; b < blocks_; ++b) {
      if (visit == Visit::marked && (marks[b] & own) == 0) continue;
      next = relaxBlock<1>(row, b, next, fell);
    }
    for (ptrdiff_t b = blocks_ - 1, next = width_ - 1; b >= 0; --b) {
      if (visit == Visit::marked && (marks[b] & own) == 0) continue;
      marks[b] = static_cast<Qor8u>(marks[b] & ~own);
      next = relaxBlock<-1>(row, b, next, fell);
    }
    return fell;
  }

  static Qor32f outside(Qor32f x) { return inside || x > 0 ? x : 0; }
  static V32f outside(V32f x) {
    if constexpr (inside) return x;
    return max(x, zero<Qor32f>());
  }

  // Block b in the direction of step, from `next` on if that lies in it. Where a pixel falls, its followers are looked
  // at one by one, beyond the block if it must be, until one does not; else several at once. Returns the first pixel
  // not looked at.
  template <int step>
  QOR_FORCE_INLINE ptrdiff_t relaxBlock(const Row& row, ptrdiff_t b, ptrdiff_t next, bool& fell) const {
    constexpr int lanes = V32f::lanes;
    const ptrdiff_t begin = b * blockPixels, behindEnd = begin + blockPixels < width_ ? begin + blockPixels : width_;
    const ptrdiff_t start = step > 0 ? (begin > next ? begin : next) : (behindEnd - 1 < next ? behindEnd - 1 : next);
    const ptrdiff_t end = step > 0 ? behindEnd : begin - 1;  // not in the block any more
    ptrdiff_t x = start;
    while ((end - x) * step > 0) {
      const ptrdiff_t low = step > 0 ? x : x - (lanes - 1);  // of the pixels looked at together
      if ((end - x) * step >= lanes && low - step >= 0 && low - step + lanes <= width_) {
        const V32f p = outside(load(row.behind + low)), q = outside(load(row.own + low - step));
        const V32f offer = solve(p, q);
        Qor32u falls = signBits(offer < load(row.own + low));
        if constexpr (inside) falls &= signBits(offer <= splat(limit_));
        if (falls == 0) {
          x += step * lanes;
          continue;
        }
        x = low + (step > 0 ? __builtin_ctz(falls) : 31 - __builtin_clz(falls));
      }
      const ptrdiff_t first = x;
      for (; step > 0 ? x < width_ : x >= 0; x += step) {
        const bool isFirst = step > 0 ? x == 0 : x == width_ - 1;
        const Qor32f p = outside(row.behind[x]);
        const Qor32f offer = isFirst ? p + 1 : solve(p, outside(row.own[x - step]));
        if (!(offer < row.own[x]) || (inside && !(offer <= limit_))) break;
        row.own[x] = offer;
      }
      if (x != first) {
        fell = true;
        mark(row, step > 0 ? first : x + 1, step > 0 ? x - 1 : first);
      }
      if (step > 0 ? x < width_ : x >= 0) x += step;  // it has been looked at
    }
    return x;
  }

  // Pixels first to last have fallen: who looks at them, and in which sweeps.
  void mark(const Row& row, ptrdiff_t first, ptrdiff_t last) const {
    const auto ahead = markOf(row.direction), back = markOf(static_cast<Direction>(-row.direction));
    const ptrdiff_t from = first / blockPixels, to = last / blockPixels;
    for (ptrdiff_t b = from; b <= to; ++b) {
      if (row.marksAhead != nullptr) row.marksAhead[b] |= ahead;
      if (row.marksBehind != nullptr) row.marksBehind[b] |= back;
    }
    if (row.marks == nullptr) return;
    const ptrdiff_t left = (first > 0 ? first - 1 : 0) / blockPixels;
    const ptrdiff_t right = (last + 1 < width_ ? last + 1 : last) / blockPixels;
    for (ptrdiff_t b = left; b <= right; ++b) row.marks[b] |= anyMark;
  }

  Plane<Qor32f> image_;
  ptrdiff_t width_, blocks_;
  Qor32f limit_;
  const Qor32f* nothing_;  // a row where nothing has come
  Qor8u* marks_;
};

// ---- the image

int pixelsAside(const Qor8u* row, int width) {
  int count = 0;
  for (int x = 0; x < width; ++x) count += row[x] != 0;
  return count;
}

// Without zeros and up to this height an image is one part.
constexpr int highestWhole = 5;

// How an image is divided: two parts, or one.
struct Division {
  Part parts[2];
  bool isWhole;
};

// The parts have the same share of the pixels that are not 0, as near as rows and their three at least allow. Returns
// false where no pixel is 0.
bool divide(Plane<const Qor8u> src, QoriSize size, Qor32s* weights, Division& division) {
  int64_t total = 0, sum = 0;
  for (int y = 0; y < size.height; ++y) total += weights[y] = pixelsAside(src.row(y), size.width);
  const bool hasZeros = total < int64_t{size.width} * size.height;
  division.isWhole = !hasZeros || size.height <= highestWhole;
  if (division.isWhole) {
    division.parts[0] = {0, size.height - 1, -1};
    return hasZeros;
  }
  int row = 0;
  while (row < size.height && (sum += weights[row]) <= total >> 1) ++row;
  row = row < 3 ? 3 : row;
  row = row > size.height - 3 ? size.height - 3 : row;
  division.parts[0] = {0, row - 1, row};
  division.parts[1] = {size.height - 1, row + 1, row};
  return hasZeros;
}

template <bool inside>
void march(Marching<inside>&& marching, const Division& division, bool parallel) {
  if (division.isWhole) {
    const Part& part = division.parts[0];
    marching.begin(part);
    for (Visit visit = Visit::all; marching.resume(part, visit);) visit = Visit::marked;
    return;
  }
  Visit visit = Visit::all;
  bool isFirst = true, fell[] = {false, false};
  const auto work = [&](int phase, int half) {
    if (phase == 0) {
      marching.begin(division.parts[half]);
    } else {
      fell[half] = marching.resume(division.parts[half], visit);
    }
  };
  const auto meet = [&](int) {
    const bool goesOn = marching.meet(division.parts[0].meeting) || isFirst || fell[0] || fell[1];
    visit = isFirst ? Visit::all : Visit::marked;
    isFirst = false;
    return goesOn ? 1 : -1;
  };
  if (parallel) {
    inPhases(2, 2, work, meet);
    return;
  }
  for (int phase = 0; phase >= 0; phase = meet(phase)) {
    for (int half = 0; half < 2; ++half) work(phase, half);
  }
}

// Zeros with a neighbour that is not 0, in the same row or column, are the rim.
void startBand(Plane<const Qor8u> src, Plane<Qor32f> dst, QoriSize size) {
  for (int y = 0; y < size.height; ++y) {
    const Qor8u *own = src.row(y), *above = y > 0 ? src.row(y - 1) : own,
                *below = y + 1 < size.height ? src.row(y + 1) : own;
    Qor32f* const d = dst.row(y);
    for (ptrdiff_t x = 0; x < size.width; ++x) {
      const int left = x > 0 ? own[x - 1] : 0, right = x + 1 < size.width ? own[x + 1] : 0;
      const bool isRim = (left | right | above[x] | below[x]) != 0;
      d[x] = own[x] != 0 ? 0 : isRim ? rimValue : far;
    }
  }
}

// Zeros take their place in the band as negative numbers, or 0 without one; all else is far away.
void startOutside(Plane<const Qor8u> src, Plane<Qor32f> dst, QoriSize size, bool hasBand) {
  for (int y = 0; y < size.height; ++y) {
    const Qor8u* const s = src.row(y);
    Qor32f* const d = dst.row(y);
    if (hasBand) {
      for (ptrdiff_t x = 0; x < size.width; ++x) d[x] = s[x] != 0 ? far : d[x] < far ? -d[x] : 0;
    } else {
      for (ptrdiff_t x = 0; x < size.width; ++x) d[x] = s[x] != 0 ? far : 0;
    }
  }
}

struct Layout {
  Qor8u* marks;     // one byte a block
  Qor32f* nothing;  // one row
  Qor32s* weights;  // of the rows
};
auto layoutFor(QoriSize size) {
  return [=](ScratchParts& parts) {
    Layout layout;
    layout.nothing = parts.take<Qor32f>(size.width);
    layout.weights = parts.take<Qor32s>(size.height);
    layout.marks = parts.take<Qor8u>(blocksOf(size.width) * size.height);
    return layout;
  };
}

int reportedBytes(QoriSize size) {
  const int64_t padded = roundUpTo(size.width, 32);
  return reportedSize(static_cast<uint64_t>((int64_t{size.height} + 34) * (padded + 5) + 40), 1,
                      bytesOf(layoutFor(size)));
}

QorStatus reportSize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status == qorStsNoErr) *pBufferSize = reportedBytes(roiSize);
  return status;
}

QorStatus fastMarching(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, Qor32f radius,
                       Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pBuffer), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, srcStep),
                   stepCheck<Qor32f>(roiSize.width, dstStep), evenCheck<Qor32f>(dstStep),
                   radius < 0 ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const int reported = reportedBytes(roiSize);
  const int64_t needed = bytesOf(layoutFor(roiSize));
  if (needed > reported) return qorStsSizeErr;
  ScratchParts parts(pBuffer, reported, needed);
  const Layout layout = layoutFor(roiSize)(parts);
  const int64_t blocks = blocksOf(roiSize.width) * roiSize.height;
  for (ptrdiff_t x = 0; x < roiSize.width; ++x) layout.nothing[x] = far;

  const Plane src{pSrc, srcStep};
  const Plane dst{pDst, dstStep};
  Division division;
  const bool hasZeros = divide(src, roiSize, layout.weights, division), hasBand = radius > 0;
  const bool parallel = !division.isWhole && owncvGetMaxNumThreads() > 1;
  if (hasBand) {
    startBand(src, dst, roiSize);
    __builtin_memset(layout.marks, 0, static_cast<size_t>(blocks));
    march(Marching<true>(dst, roiSize, radius + limitSlack, layout.nothing, layout.marks), division, parallel);
  }
  startOutside(src, dst, roiSize, hasBand);
  if (!hasZeros) *pDst = startValue;
  __builtin_memset(layout.marks, 0, static_cast<size_t>(blocks));
  march(Marching<false>(dst, roiSize, 0, layout.nothing, layout.marks), division, parallel);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFastMarchingGetBufferSize_8u32f_C1R)(QoriSize roiSize, int* pBufferSize) {
  return qor::reportSize(roiSize, pBufferSize);
}
QOR_BODY(qoriFastMarching_8u32f_C1R)
(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, Qor32f radius, Qor8u* pBuffer) {
  return qor::fastMarching(pSrc, srcStep, pDst, dstStep, roiSize, radius, pBuffer);
}
