// Exact Euclidean distances in two passes. The columns first: how far up or down the nearest zero of the same column
// is. Then the rows: the squared distance of pixel x is the least of (x - q)^2 + f(q) over the pixels q of its row,
// where f(q) is the square of what the column has told, so it is the lower envelope of one parabola a pixel
// (P. Felzenszwalb, D. Huttenlocher, Distance transforms of sampled functions, 2012).
//
// The vertical distances stand as integers in the destination, until a row is done.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr Qor32f farthest = topOf<Qor32f>;

// ---- columns

using Rows = Plane<Qor32u>;  // vertical distances

// From the bottom upwards: the nearest zero at or below. Where there is none, a number from height on, which stays in
// 32 bits: at most 2 * height - 1.
void lookDown(Plane<const Qor8u> src, Rows rows, QoriSize size) {
  constexpr int block = 16, count = block / V32u::lanes;
  const V32u one = splat(Qor32u{1}), bottom = splat(static_cast<Qor32u>(size.height));
  const auto first = [=](const Qor8u* s) {
    Block<Qor32u, count> d;
    for (int i = 0; i < count; ++i) d.v[i] = andNot(maskedOut<Qor32u>(s + i * V32u::lanes), bottom);
    return d;
  };
  const auto next = [=](const Qor8u* s, const Qor32u* below) {
    Block<Qor32u, count> d;
    for (int i = 0; i < count; ++i) {
      d.v[i] = andNot(maskedOut<Qor32u>(s + i * V32u::lanes), load(below + i * V32u::lanes) + one);
    }
    return d;
  };
  int y = size.height - 1;
  mapRow<Stores::cached, 1>(rows.row(y), size.width, first, src.row(y));
  while (--y >= 0) {
    mapRow<Stores::cached, 1>(rows.row(y), size.width, next, src.row(y), static_cast<const Qor32u*>(rows.row(y + 1)));
  }
}

// From the top downwards: the nearest zero above, if that is nearer.
void lookUpwards(Rows rows, QoriSize size) {
  const V32u one = splat(Qor32u{1});
  const auto nearer = [=](const Qor32u* above, const Qor32u* own) {
    return Block<Qor32u, 1>{min(load(above) + one, load(own))};
  };
  for (int y = 1; y < size.height; ++y) {
    mapRow(rows.row(y), size.width, nearer, static_cast<const Qor32u*>(rows.row(y - 1)),
           static_cast<const Qor32u*>(rows.row(y)));
  }
}

// ---- rows

// (x - vertex)^2 + f, the least of all behind the column `from`.
struct Parabola {
  Qor32f from, f;
  int vertex;
};

// What a thread has for a row.
struct Workspace {
  Qor32f* f;         // squares of the vertical distances, then of the distances; with room before and behind
  int* candidates;   // columns whose parabolas may take part
  Parabola* lowest;  // the envelope, from left to right
};
constexpr int before = 1, behind = wideVectorBytes / 4;

class RowPass {
 public:
  // halves[k] is 0.5 / k for k from 1 to width - 1.
  RowPass(Rows rows, QoriSize size, const Qor32f* halves)
      : rows_(rows), width_(size.width), none_(splat(size.height)), halves_(halves) {}

  void run(int y, const Workspace& w) const {
    const Qor32u* const distances = rows_.row(y);
    square(distances, w.f);
    const int candidates = find(w), parabolas = buildEnvelope(w, candidates);
    evaluate(w, parabolas);
    takeRoots(distances, w.f, reinterpret_cast<Qor32f*>(rows_.row(y)));
  }

 private:
  // Squares of vertical distances; farthest where there is no zero.
  void square(const Qor32u* distances, Qor32f* f) const {
    const V32s none = none_;
    const auto squared = [none](const Qor32u* d) {
      const V32s distance = as<Qor32s>(min(load(d), as<Qor32u>(none)));
      const V32f x = toFloat(distance);
      return Block<Qor32f, 1>{select(as<Qor32f>(distance == none), splat(farthest), x * x)};
    };
    mapRow(f, width_, squared, distances);
    f[-before] = std::numeric_limits<Qor32f>::infinity();
    for (int i = 0; i < behind; ++i) f[width_ + i] = std::numeric_limits<Qor32f>::infinity();
  }

  // The columns that their neighbours leave a part of the envelope to: those where f(q - 1) - 2 f(q) + f(q + 1) is
  // above -2. With a whole f below 2^24 the differences are exact, and so is their sum where it is near -2. Columns
  // without a zero are never lowest beside one that has some; pixels inside a run of zeros are lowest at themselves
  // alone.
  int find(const Workspace& w) const {
    const V32f atLeast = splat(-2.0F), far = splat(farthest), none = zero<Qor32f>();
    int count = 0;
    for (int x = 0; x < width_; x += V32f::lanes) {
      const V32f left = load(w.f + x - 1), own = load(w.f + x), right = load(w.f + x + 1);
      const V32f hasPart = ((left - own) + (right - own)) > atLeast, isInZeros = max(max(left, right), own) == none;
      const Qor32u bits = signBits(andNot(isInZeros, hasPart & (own < far)));
      // What is no candidate is overwritten by the next one.
      for (int i = 0; i < V32f::lanes; ++i) {
        w.candidates[count] = x + i;
        count += static_cast<int>(bits >> i & 1);
      }
    }
    return count;
  }

  int buildEnvelope(const Workspace& w, int candidates) const {
    Parabola* top = w.lowest - 1;
    for (int i = 0; i < candidates; ++i) {
      const int q = w.candidates[i];
      const Qor32f f = w.f[q];
      Qor32f from = -farthest;
      for (; top >= w.lowest; --top) {
        // Where the two cross. Of two that tie at a column, the older one goes.
        from = (f - top->f) * halves_[q - top->vertex] + static_cast<Qor32f>(q + top->vertex) * 0.5F;
        if (from > top->from) break;
      }
      *++top = {from, f, q};
    }
    return static_cast<int>(top - w.lowest) + 1;
  }

  // Parabola k has the columns behind its `from` up to that of k + 1.
  void evaluate(const Workspace& w, int parabolas) const {
    if (parabolas == 0) {
      for (int x = 0; x < width_; x += V32f::lanes) store(w.f + x, splat(farthest));
      return;
    }
    const V32f ramp = laneByLane<V32f>([](int i) { return static_cast<Qor32f>(i); });
    const auto lastColumn = static_cast<Qor32f>(width_ - 1);
    int x = 0;
    for (int k = 0; k < parabolas; ++k) {
      const Parabola& p = w.lowest[k];
      int end = width_;
      if (k + 1 < parabolas) {
        const Qor32f to = w.lowest[k + 1].from;
        if (to < static_cast<Qor32f>(x)) continue;
        if (to < lastColumn) end = static_cast<int>(to) + 1;
      }
      const V32f f = splat(p.f);
      // The next parabola overwrites what is too much.
      for (int at = x; at < end; at += V32f::lanes) {
        const V32f away = splat(static_cast<Qor32f>(at - p.vertex)) + ramp;
        store(w.f + at, away * away + f);
      }
      x = end;
    }
  }

  void takeRoots(const Qor32u* distances, const Qor32f* squares, Qor32f* dst) const {
    const auto root = [](const Qor32u* d, const Qor32f* s) {
      const V32f isZero = as<Qor32f>(as<Qor32s>(load(d)) == zero<Qor32s>());
      return Block<Qor32f, 1>{andNot(isZero, sqrt(load(s)))};
    };
    mapRow(dst, width_, root, distances, squares);
  }

  Rows rows_;
  int width_;
  V32s none_;
  const Qor32f* halves_;
};

// ---- the image

struct Layout {
  Qor32f* halves;   // of 1 to width - 1
  Workspace first;  // of thread 0; those of the others follow, array by array
  int64_t width;

  Workspace of(int thread) const {
    return {first.f + thread * fStride(width) + before, first.candidates + thread * candidateStride(width),
            first.lowest + thread * width};
  }
  static constexpr int64_t fStride(int64_t width) { return before + width + behind; }
  static constexpr int64_t candidateStride(int64_t width) { return width + 1; }
};

auto layoutFor(int64_t width, int team) {
  return [=](ScratchParts& parts) {
    Layout layout{parts.take<Qor32f>(width - 1), {}, width};
    layout.first = {parts.take<Qor32f>(team * Layout::fStride(width)),
                    parts.take<int>(team * Layout::candidateStride(width)), parts.take<Parabola>(team * width)};
    return layout;
  };
}

// With two threads or more, whatever the size.
constexpr TeamRule shared = {.leastThreads = 2};

int reportedBytes(QoriSize size) {
  const int64_t longer = size.width > size.height ? size.width : size.height;
  const int threads = owncvGetMaxNumThreads();
  return reportedSize(static_cast<uint64_t>(roundUpTo(longer, 4) * 24 + 56), threads,
                      bytesOf(layoutFor(size.width, threads)));
}

QorStatus reportSize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status == qorStsNoErr) *pBufferSize = reportedBytes(roiSize);
  return status;
}

QorStatus trueDistance(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pBuffer), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, srcStep),
                   stepCheck<Qor32f>(roiSize.width, dstStep), evenCheck<Qor32f>(dstStep));
  if (status != qorStsNoErr) return status;
  const int reported = reportedBytes(roiSize), wanted = teamFor(shared, roiSize);
  const auto bytesFor = [&](int team) { return bytesOf(layoutFor(roiSize.width, team)); };
  const int team = teamWithin(reported, wanted > 0 ? wanted : 1, bytesFor);
  if (team == 0) return qorStsSizeErr;
  ScratchParts parts(pBuffer, reported, bytesFor(team));
  const Layout layout = layoutFor(roiSize.width, team)(parts);
  for (int k = 1; k < roiSize.width; ++k) layout.halves[k - 1] = 0.5F / static_cast<Qor32f>(k);

  const Rows rows{reinterpret_cast<Qor32u*>(pDst), dstStep};
  lookDown({pSrc, srcStep}, rows, roiSize);
  lookUpwards(rows, roiSize);
  const RowPass rowPass(rows, roiSize, layout.halves - 1);
  forTeam(wanted > 0 ? team : 0, roiSize.height, [&](Band band) {
    for (int y = band.first; y < band.first + band.rows; ++y) rowPass.run(y, layout.of(band.thread));
  });
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriTrueDistanceTransformGetBufferSize_8u32f_C1R)(QoriSize roiSize, int* pBufferSize) {
  return qor::reportSize(roiSize, pBufferSize);
}
QOR_BODY(qoriTrueDistanceTransform_8u32f_C1R)
(const Qor8u* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, Qor8u* pBuffer) {
  return qor::trueDistance(pSrc, srcStep, pDst, dstStep, roiSize, pBuffer);
}
