// The radial model of a lens: where in the source the pixels of a row stand. Columns have terms of their own, formed
// once for all rows.
#pragma once

#include "frame/row.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

struct UndistortTerms {
  V32f x, square, product;
};

// Terms of as many columns as fill whole vectors, aligned as those.
struct UndistortColumns {
  Qor32f *x, *square, *product;

  // Columns that a call without a buffer treats at a time.
  static constexpr int strip = 512;

  static int64_t padded(int64_t columns) { return roundUpTo(columns, V32f::lanes); }

  // The layout of the scratch. Three rows of whole vectors take half of the six rows of whole fours that are reported.
  static auto layout(int64_t columns) {
    return [=](ScratchParts& parts) {
      const int64_t n = padded(columns);
      return UndistortColumns{parts.take<Qor32f>(n, reportedAlignment), parts.take<Qor32f>(n, V32f::bytes),
                              parts.take<Qor32f>(n, V32f::bytes)};
    };
  }
  static constexpr int64_t reportedAlignment = 32;
  static constexpr int reported(int64_t columns) {
    return static_cast<int>(static_cast<Qor32u>(roundUpTo(columns, 4) * 24 + reportedAlignment));
  }

  UndistortTerms at(ptrdiff_t i) const { return {load(x + i), load(square + i), load(product + i)}; }
  UndistortTerms vector(ptrdiff_t i) const {
    return {loadAligned(x + i), loadAligned(square + i), loadAligned(product + i)};
  }

  // x and what `terms` makes of it for columns first to first + count - 1. What follows them lies nowhere: x is NaN.
  template <class Terms>
  void fill(int first, int count, const Terms& terms) const {
    const V32s number = laneByLane<V32s>([](int i) { return i; });
    for (ptrdiff_t i = 0; i < count; i += V32f::lanes) {
      const V32f column = toFloat(splat(first + static_cast<Qor32s>(i)) + number);
      store(x + i, column);
      terms(column, square + i, product + i);
    }
    for (ptrdiff_t i = count; i < padded(count); ++i) x[i] = std::numeric_limits<Qor32f>::quiet_NaN();
  }
};

struct UndistortPosition {
  V32f u, v;
};

struct RadialModel {
  Qor32f perFx2, perFy2, cx, cy, k1, k2;  // perFx2 = 1 / (fx * fx)

  // square = rx, product = (k2 * rx + k1) * rx
  void fill(const UndistortColumns& columns, int first, int count) const {
    columns.fill(first, count, [this](V32f x, Qor32f* square, Qor32f* product) {
      const V32f dx = x - splat(cx), rx = dx * splat(perFx2) * dx;
      store(square, rx);
      store(product, (splat(k2) * rx + splat(k1)) * rx);
    });
  }

  // A row of the destination.
  class Row {
   public:
    Row(const RadialModel& m, int row) : cx_(splat(m.cx)), y_(splat(static_cast<Qor32f>(row))) {
      const Qor32f dy = static_cast<Qor32f>(row) - m.cy, ry = dy * m.perFy2 * dy;
      dy_ = splat(dy);
      a_ = splat(2 * m.k2 * ry);
      b_ = splat((m.k2 * ry + m.k1) * ry);
    }

    UndistortPosition at(const UndistortTerms& t) const {
      const V32f dx = t.x - cx_;
      const V32f d = t.product + (a_ * t.square + b_);
      return {dx * d + t.x, dy_ * d + y_};
    }

   private:
    V32f cx_, y_, dy_, a_, b_;
  };
};

// With tangential terms; normalised by 1 / f rather than 1 / (f * f).
struct TangentialModel {
  Qor32f fx, fy, perFx, perFy, cx, cy, k1, k2, p1, p2;

  // square = xn * xn, product = xn * (2 * p2)
  void fill(const UndistortColumns& columns, int first, int count) const {
    columns.fill(first, count, [this](V32f x, Qor32f* square, Qor32f* product) {
      const V32f xn = (x - splat(cx)) * splat(perFx);
      store(square, xn * xn);
      store(product, xn * splat(2 * p2));
    });
  }

  class Row {
   public:
    Row(const TangentialModel& m, int row)
        : cx_(splat(m.cx)),
          y_(splat(static_cast<Qor32f>(row))),
          k1_(splat(m.k1)),
          k2_(splat(m.k2)),
          alongX_(splat(m.fx * m.p2)),
          alongY_(splat(m.fy * m.p1)) {
      const Qor32f dy = static_cast<Qor32f>(row) - m.cy, yn = dy * m.perFy;
      dy_ = splat(dy);
      yy_ = splat(yn * yn);
      yp_ = splat(yn * (2 * m.p1));
    }

    UndistortPosition at(const UndistortTerms& t) const {
      const V32f dx = t.x - cx_;
      const V32f r2 = t.square + yy_;
      const V32f d = (k2_ * r2 + k1_) * r2 + t.product + yp_;
      return {d * dx + (alongX_ * r2 + t.x), d * dy_ + (alongY_ * r2 + y_)};
    }

   private:
    V32f cx_, y_, k1_, k2_, alongX_, alongY_, dy_, yy_, yp_;
  };
};

}  // namespace qor
