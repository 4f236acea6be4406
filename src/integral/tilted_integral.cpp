// Tables of sums over wedges of 45 degrees. A row follows from the two rows above it alone, so rows are vectors from
// end to end; only the first and the two last columns have rules of their own.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// What a table sums: the samples or their squares.
struct Plain {
  static constexpr Qor32u of(Qor8u s) { return s; }
  static V32s of(V32s s) { return s; }
  // Sums of two samples, interleaved as bytes.
  static auto ofPairs(Short<Qor8u> pairs) { return widen(multiplyAdd(pairs, splat<Short<Qor8s>>(1))); }
};
struct Squares {
  static constexpr Qor32u of(Qor8u s) { return Qor32u{s} * s; }
  // The upper half of each lane is zero, so the sum of two products is the square.
  static V32s of(V32s s) { return multiplyAdd(as<Qor16s>(s), as<Qor16s>(s)); }
  static auto ofPairs(Short<Qor8u> pairs) {
    const auto samples = widen(pairs);
    constexpr int count = sizeof samples / sizeof(V16s);
    Block<Qor32s, count> squares;
    for (int i = 0; i < count; ++i) {
      const V16s s = as<Qor16s>(samples.v[i]);
      squares.v[i] = multiplyAdd(s, s);
    }
    return squares;
  }
};

// Columns 1 to w - 1 of a row: previous row left and right, the row before that, the two samples.
template <class Count, class T>
struct Inner {
  auto operator()(const T* left, const T* over, const T* right, const Qor8u* s0, const Qor8u* s1) const {
    const auto a = load<Short<Qor8u>>(s0), b = load<Short<Qor8u>>(s1);
    auto t = joined(Count::ofPairs(zipFirst(a, b)), Count::ofPairs(zipLast(a, b)));
    int x = 0;
    for (V32s& v : t.v) {
      v = v + (load(left + x) - load(over + x) + load(right + x));
      x += V32s::lanes;
    }
    return t;
  }
};

// As many lanes as a vector of 32 bits has.
struct Doubles {
  V64f lo, hi;
};
inline Doubles operator+(Doubles a, Doubles b) { return {a.lo + b.lo, a.hi + b.hi}; }
inline Doubles operator-(Doubles a, Doubles b) { return {a.lo - b.lo, a.hi - b.hi}; }
template <class T>
Doubles loadDoubles(const T* p) {
  return {loadAs<Qor64f>(p), loadAs<Qor64f>(p + V64f::lanes)};
}
inline void roundTo(Block<Qor32f, 1>& t, Doubles a) { t = {toFloat(a.lo, a.hi)}; }
inline void roundTo(Block<Qor64f, 2>& t, Doubles a) { t = {a.lo, a.hi}; }

// In floating point the order of the sum counts.
template <class Count, class T>
requires std::is_floating_point_v<T>
struct Inner<Count, T> {
  using Result = Block<T, V32f::lanes / Vec<T>::lanes>;

  static Doubles samples(const Qor8u* p) {
    const V32s s = Count::of(loadAs<Qor32s>(p));
    return {toDoubleLo(s), toDoubleHi(s)};
  }
  Result operator()(const T* left, const T* over, const T* right, const Qor8u* s0, const Qor8u* s1) const {
    Result t;
    roundTo(t, loadDoubles(left) - loadDoubles(over) + loadDoubles(right) + samples(s0) + samples(s1));
    return t;
  }
};

// A table that grows from top to bottom.
template <class Count, class T>
class Table {
  using Exact = std::conditional_t<std::is_integral_v<T>, Qor32u, Qor64f>;

 public:
  Table(T* pDst, int dstStep, int width, T val) : dst_{pDst, dstStep}, width_(width) {
    for (int y = 0; y < 2; ++y) {
      T* const row = dst_.row(y);
      for (ptrdiff_t x = 0; x <= ptrdiff_t{width} + 1; ++x) row[x] = val;
    }
  }

  // Table row y + 2 from source row y.
  void fill(const Qor8u* s, int y) const {
    const ptrdiff_t w = width_;
    const T* const r0 = dst_.row(y);
    const T* const r1 = dst_.row(y + 1);
    T* const r2 = dst_.row(y + 2);
    r2[0] = r1[1];
    if (w > 1) mapRow(r2 + 1, w - 1, Inner<Count, T>{}, r1, r0 + 1, r1 + 2, s, s + 1);
    const T last = static_cast<T>(static_cast<Exact>(Count::of(s[w - 1])) + static_cast<Exact>(r1[w - 1]) +
                                  static_cast<Exact>(r1[w + 1]) - static_cast<Exact>(r0[w]));
    // The contract of 32f tables: this column adds to what the caller's buffer holds.
    r2[w] = std::is_same_v<T, Qor32f> ? r2[w] + last : last;
    r2[w + 1] = r1[w];
  }

 private:
  Plane<T> dst_;
  int width_;
};

template <class... Tables>
void fillTables(const Qor8u* pSrc, int srcStep, int height, const Tables&... tables) {
  for (int y = 0; y < height; ++y) (tables.fill(rowAt(pSrc, srcStep, y), y), ...);
}

template <class T>
QorStatus tiltedIntegral(const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T val) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize), stepCheck<Qor8u>(roiSize.width, srcStep),
                   stepCheck<T>(int64_t{roiSize.width} + 2, dstStep), evenCheck<T>(dstStep));
  if (status != qorStsNoErr) return status;
  fillTables(pSrc, srcStep, roiSize.height, Table<Plain, T>(pDst, dstStep, roiSize.width, val));
  return qorStsNoErr;
}

template <class T, class Q>
QorStatus tiltedSqrIntegral(const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, Q* pSqr, int sqrStep,
                            QoriSize roiSize, T val, Q valSqr) {
  const int64_t samples = int64_t{roiSize.width} + 2;
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst, pSqr), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(roiSize.width, srcStep), stepCheck<T>(samples, dstStep),
                                        stepCheck<Q>(samples, sqrStep), evenCheck<T>(dstStep), evenCheck<Q>(sqrStep));
  if (status != qorStsNoErr) return status;
  fillTables(pSrc, srcStep, roiSize.height, Table<Plain, T>(pDst, dstStep, roiSize.width, val),
             Table<Squares, Q>(pSqr, sqrStep, roiSize.width, valSqr));
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_TILTED_INTEGRAL(name, T)                                                              \
  QOR_BODY(name)(const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T val) { \
    return qor::tiltedIntegral(pSrc, srcStep, pDst, dstStep, roiSize, val);                       \
  }
#define QOR_TILTED_SQR_INTEGRAL(name, T, Q)                                                                         \
  QOR_BODY(name)                                                                                                    \
  (const Qor8u* pSrc, int srcStep, T* pDst, int dstStep, Q* pSqr, int sqrStep, QoriSize roiSize, T val, Q valSqr) { \
    return qor::tiltedSqrIntegral(pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);               \
  }
#include "integral/tilted_integral.def"
