// The fixed filters as their header defines them, pixel by pixel, and the table of their members for the tests.
#pragma once

#include <math.h>

#include <algorithm>
#include <vector>

#include "qorcv/filter.h"
#include "support/outside.h"
#include "support/support.h"

namespace qortest {

// Kernels by the number of taps; along the row and down the columns. The Laplacian has taps of its own.
struct Filter {
  std::vector<int> along3, down3, along5, down5;
  bool isLaplacian = false;

  const std::vector<int>& along(int K) const { return K == 3 ? along3 : along5; }
  const std::vector<int>& down(int K) const { return K == 3 ? down3 : down5; }
};

namespace filters {
inline const std::vector<int> sobel3{1, 2, 1}, dx3{-1, 0, 1}, dxNeg3{1, 0, -1}, d2x3{1, -2, 1}, avr3{1, 1, 1},
    scharr{3, 10, 3}, sobel5{1, 4, 6, 4, 1}, dx5{-1, -2, 0, 2, 1}, dxNeg5{1, 2, 0, -2, -1}, d2x5{1, 0, -2, 0, 1},
    avr5{1, 1, 1, 1, 1};
inline const Filter SobelHoriz{sobel3, dx3, sobel5, dx5}, SobelVert{dxNeg3, sobel3, dxNeg5, sobel5},
    SobelNegVert{dx3, sobel3, dx5, sobel5}, SobelHorizSecond{sobel3, d2x3, sobel5, d2x5},
    SobelVertSecond{d2x3, sobel3, d2x5, sobel5}, SobelCross{dxNeg3, dx3, dxNeg5, dx5}, ScharrHoriz{scharr, dx3, {}, {}},
    ScharrVert{dx3, scharr, {}, {}}, Lowpass{avr3, avr3, avr5, avr5}, Laplacian{{1, 0, 1}, {}, sobel5, d2x5, true};
}  // namespace filters

// The sides on which memory around the region is read: left and right with two of the rules.
inline Sides fixedSides(int border) {
  Sides in = memorySides(border);
  const int rule = border & 15;
  if (rule != qorBorderInMem && (border & 240) != 240 && rule != qorBorderConst && rule != qorBorderRepl)
    in.left = in.right = false;
  return in;
}

// Sums of samples under taps: the outermost pair first, each pair before its weight, the middle last. Exact in int.
template <class A>
A fold(const std::vector<int>& taps, const std::vector<A>& samples) {
  A sum = 0;
  bool first = true;
  const size_t K = taps.size();
  const auto add = [&](A term) {
    sum = first ? term : sum + term;
    first = false;
  };
  for (size_t i = 0; i < K / 2; ++i) {
    const int left = taps[i], right = taps[K - 1 - i];
    if (left == 0 && right == 0) continue;
    const A a = samples[i], b = samples[K - 1 - i];
    add(static_cast<A>(std::abs(left)) * (left == right ? a + b : left > right ? a - b : b - a));
  }
  if (taps[K / 2] != 0) add(static_cast<A>(taps[K / 2]) * samples[K / 2]);
  return sum;
}

// The sums of a filter under a border: int for 8u, float for 32f.
template <class S>
class FilterSums {
 public:
  using A = std::conditional_t<std::is_same_v<S, Qor32f>, float, int>;

  FilterSums(const Image<S>& src, int K, int border, S borderValue)
      : src_(src), K_(K), border_(border), sides_(fixedSides(border)), constant_(borderValue) {}

  std::vector<A> of(const Filter& f) const {
    if (!f.isLaplacian) return separable(f.along(K_), f.down(K_));
    if (K_ == 5) {
      std::vector<A> a = separable(filters::sobel5, filters::d2x5), b = separable(filters::d2x5, filters::sobel5);
      for (size_t i = 0; i < a.size(); ++i) a[i] += b[i];
      return a;
    }
    std::vector<A> a = separable({1, 0, 1}, {1, 0, 1});
    for (size_t i = 0; i < a.size(); ++i) {
      const int width = src_.size.width, index = static_cast<int>(i);
      a[i] = A{2} * a[i] - A{8} * static_cast<A>(src_.at(index % width, index / width));
    }
    return a;
  }

 private:
  std::vector<A> separable(const std::vector<int>& along, const std::vector<int>& down) const {
    const QoriSize size = src_.size;
    const int reach = K_ / 2;
    std::vector<std::vector<A>> rows;
    for (int y = -reach; y < size.height + reach; ++y) rows.push_back(filtered(y, along));
    std::vector<A> sums, samples(static_cast<size_t>(K_));
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        for (int j = 0; j < K_; ++j)
          samples[static_cast<size_t>(j)] = rows[static_cast<size_t>(y + j)][static_cast<size_t>(x)];
        sums.push_back(fold(down, samples));
      }
    }
    return sums;
  }

  // Row y, which may lie outside, under the taps along it.
  std::vector<A> filtered(int y, const std::vector<int>& taps) const {
    const QoriSize size = src_.size;
    const auto row = place(border_, y, size.height, sides_.top, sides_.bottom);
    std::vector<A> result, samples(taps.size());
    for (int x = 0; x < size.width; ++x) {
      if (!row) {
        int total = 0;
        for (const int tap : taps) total += tap;
        result.push_back(static_cast<A>(constant_) * static_cast<A>(total));
        continue;
      }
      for (int i = 0; i < K_; ++i) samples[static_cast<size_t>(i)] = pixel(x + i - K_ / 2, *row);
      result.push_back(fold(taps, samples));
    }
    return result;
  }

  A pixel(int x, int row) const {
    // With a flag for either side a reflection along the row repeats the edge.
    const int rule = (border_ & 15) == qorBorderMirror && (border_ & 192) != 0 ? int{qorBorderMirrorR} : border_ & 15;
    const int width = src_.size.width;
    const bool isRead = (x >= 0 && x < width) || (x < 0 ? sides_.left : sides_.right);
    const std::optional<int> column = isRead ? x : standIn(rule, x, width);
    return static_cast<A>(column ? src_.at(*column, row) : constant_);
  }

  const Image<S>& src_;
  int K_, border_;
  Sides sides_;
  S constant_;
};

// At least so many rows a thread, twice that for a team at all.
inline int fixedTeam(QoriSize size, int rows, int threads, int cores) {
  if (threads < 2 || cores < 2 || size.width < 256 || size.height < 5 * threads || size.height < 2 * rows) return 0;
  return std::min({threads, cores, size.height / rows});
}

}  // namespace qortest
