// Fuzzes integral images and what reads them: every call is valid, and its result is compared with a loop from the
// definition.
#include <cmath>
#include <type_traits>

#include "fuzz.h"

namespace {

using fuzz::Image;
using fuzz::Input;

template <class T>
bool same(T a, T b) {
  return a == b || (a != a && b != b);
}

template <class T>
T anyValue(Input& in) {
  if constexpr (std::is_integral_v<T>) return in.ConsumeIntegral<T>();
  return static_cast<T>(in.ConsumeIntegral<int>()) / 64;
}

// Tables are small in every way but one now and then, whose sums of squares outgrow 32 bits in a row.
QoriSize anySize(Input& in) {
  return in.ConsumeIntegralInRange(0, 4095) == 4095 ? QoriSize{in.ConsumeIntegralInRange(33020, 33030), 2}
                                                    : fuzz::size(in);
}

constexpr QoriSize grown(QoriSize s, int more) { return {s.width + more, s.height + more}; }

// Integers wrap, so they are compared in 32 bits.
template <class T>
T narrowed(std::conditional_t<std::is_integral_v<T>, int64_t, double> value) {
  return static_cast<T>(value);
}

template <class T>
void checkUpright(const Image<Qor8u>& src, const std::vector<Qor8u>& samples, Image<T>& t, QoriSize size, T val,
                  bool squares) {
  for (int x = 0; x <= size.width; ++x) FUZZ_CHECK(same(t.row(0)[x], val));
  for (int y = 0; y < size.height; ++y) {
    FUZZ_CHECK(same(t.row(y + 1)[0], val));
    int64_t r = 0;
    for (int x = 0; x < size.width; ++x) {
      const int64_t s = src.row(samples, y)[x];
      r += squares ? s * s : s;
      if constexpr (std::is_integral_v<T>) {
        FUZZ_CHECK(t.row(y + 1)[x + 1] == narrowed<T>(r + t.row(y)[x + 1]));
      } else {
        FUZZ_CHECK(same(t.row(y + 1)[x + 1], static_cast<T>(r) + t.row(y)[x + 1]));
      }
    }
  }
}

template <class T>
void checkTilted(const Image<Qor8u>& src, const std::vector<Qor8u>& samples, Image<T>& t, const std::vector<T>& before,
                 QoriSize size, T val, bool squares) {
  using Wide = std::conditional_t<std::is_integral_v<T>, int64_t, double>;
  const int w = size.width;
  for (int x = 0; x < w + 2; ++x) FUZZ_CHECK(same(t.row(0)[x], val) && same(t.row(1)[x], val));
  for (int y = 0; y < size.height; ++y) {
    const T *r0 = t.row(y), *r1 = t.row(y + 1), *r2 = t.row(y + 2);
    const auto s = [&](int x) {
      const Wide sample = src.row(samples, y)[x];
      return squares ? sample * sample : sample;
    };
    FUZZ_CHECK(same(r2[0], r1[1]) && same(r2[w + 1], r1[w]));
    for (int x = 1; x < w; ++x)
      FUZZ_CHECK(same(r2[x], narrowed<T>(Wide{r1[x - 1]} - Wide{r0[x]} + Wide{r1[x + 1]} + s(x - 1) + s(x))));
    T last = narrowed<T>(s(w - 1) + Wide{r1[w - 1]} + Wide{r1[w + 1]} - Wide{r0[w]});
    if constexpr (std::is_same_v<T, Qor32f>) last = t.row(before, y + 2)[w] + last;
    FUZZ_CHECK(same(r2[w], last));
  }
}

template <class T, class Operation>
void integral(Input& in, Operation operation, bool tilted) {
  const QoriSize size = anySize(in);
  Image<Qor8u> src(in, size);
  Image<T> t(in, grown(size, tilted ? 2 : 1));
  const T val = anyValue<T>(in);
  const auto samples = src.snapshot();
  const auto before = t.snapshot();
  FUZZ_CHECK(operation(src.data(), src.step(), t.data(), t.step(), size, val) == qorStsNoErr);
  if (tilted) {
    checkTilted(src, samples, t, before, size, val, false);
  } else {
    checkUpright(src, samples, t, size, val, false);
  }
  FUZZ_CHECK(t.gapsEqual(before) && src.snapshot() == samples);
}

template <class T, class Q, class Operation>
void sqrIntegral(Input& in, Operation operation, bool tilted) {
  const QoriSize size = anySize(in);
  Image<Qor8u> src(in, size);
  Image<T> t(in, grown(size, tilted ? 2 : 1));
  Image<Q> q(in, grown(size, tilted ? 2 : 1));
  const T val = anyValue<T>(in);
  const Q valSqr = anyValue<Q>(in);
  const auto samples = src.snapshot();
  const auto before = t.snapshot();
  const auto beforeSqr = q.snapshot();
  FUZZ_CHECK(operation(src.data(), src.step(), t.data(), t.step(), q.data(), q.step(), size, val, valSqr) ==
             qorStsNoErr);
  if (tilted) {
    checkTilted(src, samples, t, before, size, val, false);
    checkTilted(src, samples, q, beforeSqr, size, valSqr, true);
  } else {
    checkUpright(src, samples, t, size, val, false);
    checkUpright(src, samples, q, size, valSqr, true);
  }
  FUZZ_CHECK(t.gapsEqual(before) && q.gapsEqual(beforeSqr) && src.snapshot() == samples);
}

void integralFloat(Input& in) {
  const QoriSize size = fuzz::size(in);
  Image<Qor32f> src(in, size), t(in, grown(size, 1));
  const auto before = t.snapshot();
  FUZZ_CHECK(qoriIntegral_32f_C1R(src.data(), src.step(), t.data(), t.step(), size) == qorStsNoErr);
  for (int x = 0; x <= size.width; ++x) FUZZ_CHECK(t.row(0)[x] == 0);
  for (int y = 0; y < size.height; ++y) {
    FUZZ_CHECK(t.row(y + 1)[0] == 0);
    Qor32f r = 0;
    for (int x = 0; x < size.width; ++x) {
      r += src.row(y)[x];
      FUZZ_CHECK(same(t.row(y + 1)[x + 1], r + t.row(y)[x + 1]));
    }
  }
  FUZZ_CHECK(t.gapsEqual(before));
}

// The four corners as offsets from a pixel, added and taken away in turns; the columns start at 0, and `lead` is the
// column of the first pixel.
struct Corners {
  int row[4], column[4], lead, columns, rows;
  double pixels;
};

Corners cornersOf(QoriRect r, bool tilted) {
  if (!tilted) {
    const int right = r.x + r.width, bottom = r.y + r.height;
    return {{bottom, r.y, r.y, bottom}, {right, right, r.x, r.x}, 0, right, bottom, 1.0 * r.width * r.height};
  }
  const int row = r.x + r.y, lead = std::max(0, r.y + r.height - r.x), column = lead + r.x - r.y;
  return {{row + r.width + r.height, row + r.height, row, row + r.width},
          {column + r.width - r.height, column - r.height, column, column + r.width},
          lead,
          r.width + r.height + r.x + r.y - 1,
          row + r.width + r.height,
          2.0 * r.width * r.height};
}

template <class T>
T boxSum(Image<T>& t, const Corners& k, int x, int y) {
  const auto at = [&](int i) { return t.row(y + k.row[i])[x + k.column[i]]; };
  if constexpr (std::is_integral_v<T>) return static_cast<T>(int64_t{at(0)} - at(1) + at(2) - at(3));
  return at(0) - at(1) + at(2) - at(3);
}

template <class T, class Q, class D, class Operation, class... Scale>
void deviation(Input& in, Operation operation, bool tilted, Scale... scaleFactor) {
  const QoriSize size = fuzz::size(in, 90, 40);
  const auto number = [&](int least) { return in.ConsumeIntegralInRange(least, 20); };
  const QoriRect rect{number(0), number(0), number(1), number(1)};
  const Corners k = cornersOf(rect, tilted);
  const QoriSize table{size.width + k.columns + k.lead, size.height + k.rows};
  Image<T> sum(in, table);
  Image<Q> sqr(in, table);
  Image<D> dst(in, size);
  const auto before = dst.snapshot();
  FUZZ_CHECK(operation(sum.data() + k.lead, sum.step(), sqr.data() + k.lead, sqr.step(), dst.data(), dst.step(), size,
                       rect, scaleFactor...) == qorStsNoErr);
  const auto n = static_cast<Qor32f>(k.pixels);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Qor32f mean = static_cast<Qor32f>(boxSum(sum, k, x, y)) / n;
      const Qor32f square = mean * mean;
      const Q squares = boxSum(sqr, k, x, y);
      if constexpr (std::is_integral_v<D>) {
        const Qor32f v = static_cast<Qor32f>(squares) / n - square;
        const double root = std::ldexp(std::sqrt(v < 0 ? 0.0 : double{v}), -(scaleFactor + ...)) + 0.5;
        FUZZ_CHECK(dst.row(y)[x] == (root >= INT32_MAX ? INT32_MAX : static_cast<D>(root)));
      } else {
        const auto v = static_cast<Qor32f>(squares / double{n} - double{square});
        FUZZ_CHECK(same(dst.row(y)[x], std::sqrt(v < 0 ? 0 : v)));
      }
    }
  }
  FUZZ_CHECK(dst.gapsEqual(before));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t count) {
  Input in(data, count);
  fuzz::threads(in);
  const int scaleFactor = in.ConsumeIntegralInRange(-40, 40);
  switch (in.ConsumeIntegralInRange(0, 16)) {
    case 0:
      integral<Qor32s>(in, qoriIntegral_8u32s_C1R, false);
      break;
    case 1:
      integral<Qor32f>(in, qoriIntegral_8u32f_C1R, false);
      break;
    case 2:
      integralFloat(in);
      break;
    case 3:
      sqrIntegral<Qor32s, Qor32s>(in, qoriSqrIntegral_8u32s_C1R, false);
      break;
    case 4:
      sqrIntegral<Qor32s, Qor64f>(in, qoriSqrIntegral_8u32s64f_C1R, false);
      break;
    case 5:
      sqrIntegral<Qor32f, Qor64f>(in, qoriSqrIntegral_8u32f64f_C1R, false);
      break;
    case 6:
      integral<Qor32s>(in, qoriTiltedIntegral_8u32s_C1R, true);
      break;
    case 7:
      integral<Qor32f>(in, qoriTiltedIntegral_8u32f_C1R, true);
      break;
    case 8:
      sqrIntegral<Qor32s, Qor32s>(in, qoriTiltedSqrIntegral_8u32s_C1R, true);
      break;
    case 9:
      sqrIntegral<Qor32s, Qor64f>(in, qoriTiltedSqrIntegral_8u32s64f_C1R, true);
      break;
    case 10:
      sqrIntegral<Qor32f, Qor64f>(in, qoriTiltedSqrIntegral_8u32f64f_C1R, true);
      break;
    case 11:
      deviation<Qor32s, Qor32s, Qor32s>(in, qoriRectStdDev_32s_C1RSfs, false, scaleFactor);
      break;
    case 12:
      deviation<Qor32s, Qor64f, Qor32f>(in, qoriRectStdDev_32s32f_C1R, false);
      break;
    case 13:
      deviation<Qor32f, Qor64f, Qor32f>(in, qoriRectStdDev_32f_C1R, false);
      break;
    case 14:
      deviation<Qor32s, Qor32s, Qor32s>(in, qoriTiltedRectStdDev_32s_C1RSfs, true, scaleFactor);
      break;
    case 15:
      deviation<Qor32s, Qor64f, Qor32f>(in, qoriTiltedRectStdDev_32s32f_C1R, true);
      break;
    default:
      deviation<Qor32f, Qor64f, Qor32f>(in, qoriTiltedRectStdDev_32f_C1R, true);
      break;
  }
  return 0;
}
