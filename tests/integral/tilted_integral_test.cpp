#include <limits>
#include <type_traits>
#include <vector>

#include "qorcv/integral.h"
#include "support/support.h"

namespace {
using namespace qortest;

template <class T>
using OfSum = QorStatus (*)(const Qor8u*, int, T*, int, QoriSize, T);
template <class T, class Q>
using OfSquares = QorStatus (*)(const Qor8u*, int, T*, int, Q*, int, QoriSize, T, Q);

constexpr int identity(int s) { return s; }
constexpr int square(int s) { return s * s; }

// The recurrence of the header on a table that holds what the caller's buffer held: 32-bit integers wrap, floats are
// evaluated in double from left to right, and column w of a 32f table is added to.
template <class T>
void tilt(Image<T>& t, const Image<Qor8u>& src, T val, int (*count)(int)) {
  using Wide = std::conditional_t<std::is_integral_v<T>, int64_t, double>;
  const int w = src.size.width;
  for (int x = 0; x < w + 2; ++x) t.at(x, 0) = t.at(x, 1) = val;
  for (int y = 0; y < src.size.height; ++y) {
    const auto s = [&](int x) { return static_cast<Wide>(count(src.at(x, y))); };
    const auto r0 = [&](int x) { return static_cast<Wide>(t.at(x, y)); };
    const auto r1 = [&](int x) { return static_cast<Wide>(t.at(x, y + 1)); };
    const auto set = [&](int x, Wide value) { t.at(x, y + 2) = static_cast<T>(value); };
    set(0, r1(1));
    for (int x = 1; x < w; ++x) set(x, r1(x - 1) - r0(x) + r1(x + 1) + s(x - 1) + s(x));
    const T before = t.at(w, y + 2);
    set(w, s(w - 1) + r1(w - 1) + r1(w + 1) - r0(w));
    if constexpr (std::is_same_v<T, Qor32f>) t.at(w, y + 2) = before + t.at(w, y + 2);
    set(w + 1, r1(w));
  }
}

QoriSize tableSize(QoriSize roi) { return {roi.width + 2, roi.height + 2}; }

template <class T>
std::vector<T> startValues() {
  if constexpr (std::is_integral_v<T>) return {0, 1, -5, INT_MAX, INT_MIN};
  return {0, T(0.1), T(-3e8), T(1e-40), std::numeric_limits<T>::infinity()};
}

template <class T>
T startValue(Case& c) {
  const std::vector<T> values = startValues<T>();
  const T val = values[static_cast<size_t>(c.random.below(static_cast<int>(values.size())))];
  appendCase(" val %g", static_cast<double>(val));
  return val;
}

// What the caller left in the table: zeros in every second case, otherwise numbers that show in the accumulating
// column.
template <class T>
GuardedImage<T> usedTable(Case& c) {
  auto table = c.output<T>(tableSize(c.size));
  const T content = c.variant == 0 ? T{0} : static_cast<T>(1000.1);
  table.generate([&](int, int y, int) { return static_cast<T>(content * static_cast<T>(y)); });
  return table;
}

const Sweep sizes{.heights = {1, 2, 3, 9}, .variants = 2};

template <class T>
auto minimumOf(auto& contract, auto roi) {
  return [&contract, roi] { return static_cast<ptrdiff_t>(sizeof(T)) * (ptrdiff_t{contract[roi].width} + 2); };
}

template <class T>
void testSum(const char* name, OfSum<T> operation) {
  sweep(name, sizes, [&](Case& c) {
    auto src = c.image<Qor8u>();
    auto dst = usedTable<T>(c);
    const T val = startValue<T>(c);
    Image<T> want = dst.pixels();
    tilt(want, src.pixels(), val, identity);
    src.protect();
    EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), c.size, val), qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros);
  });

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, roiSize, val);
  contract.null(pSrc, pDst);
  contract.size(roiSize);
  contract.step(sizeof(Qor8u), srcStep);
  contract.step(minimumOf<T>(contract, roiSize), dstStep);
  contract.even(sizeof(T), dstStep);
  for (const T v : startValues<T>()) contract.any(val, v);
  contract.run();
}

template <class T, class Q>
void testSquares(const char* name, OfSquares<T, Q> operation) {
  sweep(name, sizes, [&](Case& c) {
    auto src = c.image<Qor8u>();
    auto dst = usedTable<T>(c);
    auto sqr = usedTable<Q>(c);
    const T val = startValue<T>(c);
    const Q valSqr = startValue<Q>(c);
    Image<T> want = dst.pixels();
    Image<Q> wantSqr = sqr.pixels();
    tilt(want, src.pixels(), val, identity);
    tilt(wantSqr, src.pixels(), valSqr, square);
    src.protect();
    EXPECT_EQ(operation(src.data(), src.step(), dst.data(), dst.step(), sqr.data(), sqr.step(), c.size, val, valSqr),
              qorStsNoErr);
    expectSame(dst, want, Equal::SignedZeros, "sums");
    expectSame(sqr, wantSqr, Equal::SignedZeros, "sums of squares");
  });

  Contract contract(name, operation);
  QORTEST_ARGUMENTS(contract, pSrc, srcStep, pDst, dstStep, pSqr, sqrStep, roiSize, val, valSqr);
  contract.null(pSrc, pDst, pSqr);
  contract.size(roiSize);
  contract.step(sizeof(Qor8u), srcStep);
  contract.step(minimumOf<T>(contract, roiSize), dstStep);
  contract.step(minimumOf<Q>(contract, roiSize), sqrStep);
  contract.even(sizeof(T), dstStep);
  contract.even(sizeof(Q), sqrStep);
  for (const T v : startValues<T>()) contract.any(val, v);
  for (const Q v : startValues<Q>()) contract.any(valSqr, v);
  contract.run();
}

TEST(TiltedIntegral, Sums) {
  testSum(QORTEST_NAMED(qoriTiltedIntegral_8u32s_C1R));
  testSum(QORTEST_NAMED(qoriTiltedIntegral_8u32f_C1R));
}

TEST(TiltedIntegral, WithSquares) {
  testSquares(QORTEST_NAMED(qoriTiltedSqrIntegral_8u32s_C1R));
  testSquares(QORTEST_NAMED(qoriTiltedSqrIntegral_8u32s64f_C1R));
  testSquares(QORTEST_NAMED(qoriTiltedSqrIntegral_8u32f64f_C1R));
}

// A picture of ones, by hand: entries count the pixels of the wedge above, but for the two at the left edge.
TEST(TiltedIntegral, OnPaper) {
  const Qor8u src[3][3] = {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}};
  const Qor32s want[5][5] = {{0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 2, 2, 1, 0}, {2, 4, 5, 3, 1}, {4, 7, 7, 6, 3}};
  Qor32s table[5][5];
  EXPECT_EQ(qoriTiltedIntegral_8u32s_C1R(src[0], 3, table[0], sizeof(table[0]), {3, 3}, 0), qorStsNoErr);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(table[y][x], want[y][x]) << x << ", " << y;
}

// A wedge with its tip at a table entry holds 2, 4, 6, ... pixels in the rows above. The pixels of a tilted box are
// those of two wedges without those of the two others.
int countInWedge(int row, int column, int y, int x) {
  const int rise = row - 2 - y;
  return rise >= 0 && x >= column - 1 - rise && x <= column + rise ? 1 : 0;
}

TEST(TiltedIntegral, BoxesInsideTheTableAreExactSums) {
  const QoriSize roi{9, 8};
  GuardedImage<Qor8u> src(roi);
  src.generate(Maker<Qor8u>(Data::Random, baseSeed()));
  GuardedImage<Qor32s> t(tableSize(roi));
  EXPECT_EQ(qoriTiltedIntegral_8u32s_C1R(src.data(), src.step(), t.data(), t.step(), roi, -17), qorStsNoErr);
  int boxes = 0;
  for (int row = 0; row < roi.height; ++row) {
    for (int column = 0; column < roi.width + 2; ++column) {
      for (int bw = 1; column + bw < roi.width + 2; ++bw) {
        for (int bh = 1; column - bh >= 0 && row + bw + bh < roi.height + 2; ++bh) {
          const auto sum = [&](auto corner) {
            return corner(row + bw + bh, column + bw - bh) - corner(row + bh, column - bh) + corner(row, column) -
                   corner(row + bw, column + bw);
          };
          int want = 0;
          for (int y = 0; y < roi.height; ++y)
            for (int x = 0; x < roi.width; ++x)
              want += src.at(x, y) * sum([&](int r, int c) { return countInWedge(r, c, y, x); });
          ++boxes;
          ASSERT_EQ(sum([&](int r, int c) { return t.at(c, r); }), want)
              << "box " << bw << " by " << bh << " at row " << row << ", column " << column;
        }
      }
    }
  }
  EXPECT_GT(boxes, 300);
}

}  // namespace
