// Chamfer distances in two passes, and the usual lengths of moves.
#include "distance/chamfer_rows.h"
#include "frame/bodies.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- lengths

// Sums of lengths, exact for integers.
template <class M>
using Sum = std::conditional_t<std::is_floating_point_v<M>, Qor64f, Qor64s>;

// By what a sum may miss `by` and still count as reaching it.
constexpr Qor64s slackOf(Qor64s) { return 0; }
constexpr Qor64f slackOf(Qor64f by) { return 1e-7 * (by < 0 ? -by : by); }

// Integers: x >= y. Floats: also what is next to it. False for the difference of two infinities.
constexpr bool reaches(Qor64s x, Qor64s y, Qor64s) { return x >= y; }
constexpr bool reaches(Qor64f x, Qor64f y, Qor64f slack) { return x - y > -slack; }

template <class D, class S>
D narrowed(S length) {
  return length > static_cast<S>(topOf<D>) ? noMove<D> : static_cast<D>(length);
}
template <class S>
constexpr S lesser(S x, S y) {
  return y < x ? y : x;
}

// What becomes of the caller's lengths.
template <class D>
struct Plan {
  ChamferLengths<D> lengths;
  bool knights = false;
  bool untilStable = false;    // two passes may not be enough
  D twoDiagonals = noMove<D>;  // the way of two pixels along the last row, which has no row below to turn in
};

template <class D, class S>
Plan<D> planOf3x3(S a, S b, QoriSize size) {
  Plan<D> plan{{narrowed<D>(a), b >= 2 * a ? noMove<D> : narrowed<D>(b), noMove<D>}};
  if (a > b && size.width >= 2 && size.height >= 2) plan.twoDiagonals = narrowed<D>(2 * b);
  return plan;
}

// From this width and height on all moves have room.
constexpr int roomySide = 4;

template <class D, class S>
Plan<D> planOf5x5(S a, S diagonal, S c, QoriSize size) {
  const S b = lesser(2 * a, diagonal);
  if (reaches(c, a + b, slackOf(a + b))) return planOf3x3<D>(a, diagonal, size);
  const bool isSmall = size.width < roomySide || size.height < roomySide;
  const bool isRegular =
      !reaches(a, b, slackOf(b)) && !reaches(2 * a, c, slackOf(c)) && !reaches(3 * b, 2 * c, 2 * slackOf(c));
  if (isSmall || isRegular) return {{narrowed<D>(a), narrowed<D>(b), narrowed<D>(c)}, true, isSmall};
  return {{narrowed<D>(lesser(a, 3 * c)), narrowed<D>(lesser(b, 2 * c)), narrowed<D>(c)}, true};
}

// ---- the image

template <class D>
class Chamfer {
 public:
  Chamfer(Plane<const Qor8u> src, Plane<D> dst, QoriSize size, const Plan<D>& plan)
      : src_(src), dst_(dst), width_(size.width), height_(size.height), plan_(plan) {}

  void run() const {
    if (plan_.knights) {
      runPasses<2>();
    } else {
      runPasses<1>();
    }
    if (plan_.untilStable) {
      for (bool fell = true; fell;) {
        fell = sweep(1);
        fell = sweep(-1) || fell;
      }
    }
  }

 private:
  template <int reach>
  void runPasses() const {
    const ChamferRow<D, true, reach> down(plan_.lengths);
    const ChamferRow<D, false, reach> up(plan_.lengths);
    for (int y = 0; y < height_; ++y) {
      down.run(dst_.row(y), y >= 1 ? dst_.row(y - 1) : nullptr, y >= 2 ? dst_.row(y - 2) : nullptr, src_.row(y),
               width_);
    }
    zigzag(1);
    for (int y = height_ - 1; y >= 0; --y) {
      const int below = height_ - 1 - y;
      up.run(dst_.row(y), below >= 1 ? dst_.row(y + 1) : nullptr, below >= 2 ? dst_.row(y + 2) : nullptr, nullptr,
             width_);
      if (below == 0) zigzag(-1);
    }
  }

  static D offer(D from, D move) {
    if constexpr (std::is_floating_point_v<D>) {
      return from + move;
    } else {
      return saturate<D>(Qor64s{from} + move);
    }
  }

  // Two diagonals along the last row, rightwards or leftwards.
  void zigzag(int direction) const {
    if (plan_.twoDiagonals == noMove<D>) return;
    D* const row = dst_.row(height_ - 1);
    for (ptrdiff_t i = 1; i < width_; ++i) {
      const ptrdiff_t x = direction > 0 ? i : width_ - 1 - i;
      row[x] = lesser(row[x], offer(row[x - direction], plan_.lengths.step));
      if (i >= 2) row[x] = lesser(row[x], offer(row[x - 2 * direction], plan_.twoDiagonals));
    }
  }

  // Every pixel takes the least of what those before it offer, in the order of a pass. Whether any falls.
  bool sweep(int direction) const {
    const ChamferLengths<D>& l = plan_.lengths;
    const struct {
      int dx, dy;
      D length;
    } moves[] = {{0, -1, l.step},    {-1, 0, l.step},    {-1, -1, l.diagonal}, {1, -1, l.diagonal},
                 {-1, -2, l.knight}, {-2, -1, l.knight}, {1, -2, l.knight},    {2, -1, l.knight}};
    bool fell = false;
    for (int i = 0; i < height_; ++i) {
      const int y = direction > 0 ? i : height_ - 1 - i;
      for (ptrdiff_t j = 0; j < width_; ++j) {
        const ptrdiff_t x = direction > 0 ? j : width_ - 1 - j;
        D least = dst_.row(y)[x];
        for (const auto& m : moves) {
          const ptrdiff_t fromX = x + m.dx * direction;
          const int fromY = y + m.dy * direction;
          if (fromX < 0 || fromX >= width_ || fromY < 0 || fromY >= height_) continue;
          least = lesser(least, offer(dst_.row(fromY)[fromX], m.length));
        }
        fell |= least < dst_.row(y)[x];
        dst_.row(y)[x] = least;
      }
    }
    return fell;
  }

  Plane<const Qor8u> src_;
  Plane<D> dst_;
  ptrdiff_t width_;
  int height_;
  Plan<D> plan_;
};

template <int side, class D, class M>
QorStatus chamfer(const Qor8u* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, const M* pMetrics) {
  const auto lengthCheck = [=] {
    bool allPositive = true;
    for (int i = 0; i < (side == 5 ? 3 : 2); ++i) allPositive = allPositive && pMetrics[i] > M{0};
    return allPositive ? qorStsNoErr : qorStsMetricErr;
  };
  QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pMetrics), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, srcStep),
                   stepCheck<D>(roiSize.width, dstStep), evenCheck<D>(dstStep));
  if (status == qorStsNoErr) status = lengthCheck();
  if (status != qorStsNoErr) return status;
  const Sum<M> a = pMetrics[0], b = pMetrics[1];
  Plan<D> plan;
  if constexpr (side == 3) {
    plan = planOf3x3<D>(a, b, roiSize);
  } else {
    plan = planOf5x5<D>(a, b, Sum<M>{pMetrics[2]}, roiSize);
  }
  Chamfer<D>(Plane{pSrc, srcStep}, Plane{pDst, dstStep}, roiSize, plan).run();
  return qorStsNoErr;
}

// ---- the usual lengths, by norm

constexpr Qor32s integers3[3][2] = {{1, 1}, {1, 2}, {2, 3}};
constexpr Qor32s integers5[3][3] = {{1, 1, 2}, {1, 2, 3}, {5, 7, 11}};
constexpr Qor32f floats3[3][2] = {{1, 1}, {1, 2}, {0.955F, 1.3693F}};
constexpr Qor32f floats5[3][3] = {{1, 1, 2}, {1, 2, 3}, {1, 1.4F, 2.1969F}};

template <class M>
QorStatus usualLengths(int side, QoriNorm norm, M* pMetrics, const M (&of3)[3][2], const M (&of5)[3][3]) {
  const QorStatus status =
      firstFailure(nullCheck(pMetrics), side == 3 || side == 5 ? qorStsNoErr : qorStsSizeErr,
                   norm == qoriNormInf || norm == qoriNormL1 || norm == qoriNormL2 ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  if (side == 3) {
    __builtin_memcpy(pMetrics, of3[norm], sizeof of3[norm]);
  } else {
    __builtin_memcpy(pMetrics, of5[norm], sizeof of5[norm]);
  }
  return qorStsNoErr;
}

QorStatus usualIntegers(int side, QoriNorm norm, Qor32s* pMetrics) {
  return usualLengths(side, norm, pMetrics, integers3, integers5);
}
QorStatus usualFloats(int side, QoriNorm norm, Qor32f* pMetrics) {
  return usualLengths(side, norm, pMetrics, floats3, floats5);
}
QorStatus usualOfType(int maskType, Qor32f* pMetrics) {
  const int norm = maskType % 10;
  return norm < 0 || norm > 2 ? qorStsBadArgErr : usualFloats(maskType / 10, norm, pMetrics);
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriGetDistanceTransformMask_32s)(int kerSize, QoriNorm norm, Qor32s* pMetrics) {
  return qor::usualIntegers(kerSize, norm, pMetrics);
}
QOR_BODY(qoriGetDistanceTransformMask_32f)(int kerSize, QoriNorm norm, Qor32f* pMetrics) {
  return qor::usualFloats(kerSize, norm, pMetrics);
}
QOR_BODY(qoriGetDistanceTransformMask)(int maskType, Qor32f* pMetrics) { return qor::usualOfType(maskType, pMetrics); }
#define QOR_CHAMFER(name, D, M, side)                                                           \
  QOR_BODY(name)                                                                                \
  (const Qor8u* pSrc, int srcStep, D* pDst, int dstStep, QoriSize roiSize, const M* pMetrics) { \
    return qor::chamfer<side>(pSrc, srcStep, pDst, dstStep, roiSize, pMetrics);                 \
  }
#define QOR_CHAMFER_IN_PLACE(name, side)                                                \
  QOR_BODY(name)(Qor8u * pSrcDst, int step, QoriSize roiSize, const Qor32s* pMetrics) { \
    return qor::chamfer<side, Qor8u>(pSrcDst, step, pSrcDst, step, roiSize, pMetrics);  \
  }
#include "distance/chamfer.def"
