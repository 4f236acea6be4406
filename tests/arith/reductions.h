// The plain side of the tests of means and norms: which bands a call sums, and in which widths.
#pragma once

#include <math.h>

#include <limits>
#include <type_traits>
#include <vector>

#include "qorcore.h"
#include "support/support.h"

namespace qortest {

inline constexpr Team serial{}, p15 = fromEach(15, 0), p16 = fromEach(16, 0), p17 = fromEach(17, 0),
                                p19 = fromEach(19, 0), cores15 = fromEach(0, 15), cores17 = fromEach(0, 17),
                                either = fromEach(17, 15);

template <class T>
constexpr Team meanRule(bool deviation, bool masked, bool ofThree) {
  constexpr bool isByte = std::is_same_v<T, Qor8u>, isFloat = std::is_same_v<T, Qor32f>;
  if (!deviation) return isByte && !ofThree ? serial : p17;
  if (masked) return p17;
  if (ofThree) return isFloat ? serial : p17;
  return isByte ? cores17 : isFloat ? p16 : p17;
}

enum Family { Norm, NormDiff, NormRel };
enum Kind { Inf, L1, L2 };

// From which power of two on, for each thread, a call goes parallel: in general and on several cores. One row a family
// and norm; 8u, 8s, 16u, 32f of one channel, then of three.
inline constexpr Team normRules[3][3][8] = {
    {{p19, p19, p19, p17, p17, p17, p17, p15},
     {cores17, cores17, p17, p17, p17, p17, p17, p17},
     {cores17, cores17, p17, p17, either, either, either, either}},
    {{serial, serial, serial, serial, serial, serial, serial, serial},
     {cores17, cores17, p17, serial, p17, cores15, cores15, serial},
     {cores17, cores17, p17, serial, p17, p17, either, serial}},
    {{cores17, cores17, cores17, p15, either, either, p15, p15},
     {serial, cores17, either, serial, either, either, p15, serial},
     {p17, p17, either, serial, either, either, p15, serial}},
};

template <class T>
constexpr int typeIndex = std::is_same_v<T, Qor8u>    ? 0
                          : std::is_same_v<T, Qor8s>  ? 1
                          : std::is_same_v<T, Qor16u> ? 2
                                                      : 3;

template <class T>
constexpr Team normRule(Family family, Kind kind, bool ofThree) {
  return normRules[family][kind][typeIndex<T> + (ofThree ? 4 : 0)];
}

struct Rows {
  int first, end;
};

// The rows of every band in their order; one band without a team.
inline std::vector<Rows> bandsOf(QoriSize size, int threads, const Team& team) {
  const int64_t least = team.least(threads, qorGetNumCoresOnDie(), 1);
  if (least == 0 || int64_t{size.width} * size.height < least) return {{0, size.height}};
  std::vector<Rows> bands;
  const int rows = size.height / threads;
  for (int t = 0; t < threads; ++t) bands.push_back({t * rows, t == threads - 1 ? size.height : (t + 1) * rows});
  return bands;
}

// What takes part in a call: the pixels that the mask lets through, all without a mask.
struct Taking {
  explicit Taking(const Call& c) : size(c.size()), mask(c.has('m') ? &c.before<Qor8u>('m') : nullptr) {}

  QoriSize size;
  const Image<Qor8u>* mask;

  bool operator()(int x, int y) const { return mask == nullptr || mask->at(x, y) != 0; }
};

// The channel that a call measures, from 0.
inline int channelOf(const Call& c) { return c.has('c') ? c.number('c') - 1 : 0; }

// Samples in the width in which they are measured.
template <class T>
using Wide = std::conditional_t<std::is_same_v<T, float>, float, int64_t>;

// Sum over some rows of value(x, y), a float or an int64_t, of the pixels that take part. Sums of integers are exact; a
// row of floats is summed in 16 float lanes, rows in double.
template <class V, class F>
double sumOfRows(Rows rows, const Taking& taking, F value) {
  constexpr bool isFloat = std::is_same_v<V, float>;
  std::conditional_t<isFloat, double, int64_t> total = 0;
  for (int y = rows.first; y < rows.end; ++y) {
    V lanes[16] = {};
    for (int x = 0; x < taking.size.width; ++x)
      if (taking(x, y)) lanes[x % 16] += value(x, y);
    for (const int half : {4, 8})
      for (int i = 0; i < 16; i += 2 * half)
        for (int k = 0; k < 4; ++k) lanes[i + k] += lanes[i + k + half];
    total += (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]);
  }
  return static_cast<double>(total);
}

inline double count(const Taking& taking) {
  int64_t n = 0;
  for (int y = 0; y < taking.size.height; ++y)
    for (int x = 0; x < taking.size.width; ++x) n += taking(x, y);
  return static_cast<double>(n);
}

}  // namespace qortest
