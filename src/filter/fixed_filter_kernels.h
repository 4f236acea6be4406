// What a fixed filter makes of rows and columns.
#pragma once

#include "filter/fixed_filter_taps.h"

namespace qor::inline QOR_LEVEL {

// A filter takes `planes` intermediate samples from every pixel of a row and its result from those of K rows:
//
//   rows(at, out)             out[p] is plane p of a row; at(i) is the sample under tap i along the row
//   columns<count>(r, out)    the results of count rows; r[p][i] is plane p of row i of count + K - 1
//   constant<M>(p)            plane p of an image of ones, in intermediate samples of type M
template <class Along, class Down, int K>
struct Separable {
  static constexpr int taps = K, planes = 1;
  template <class>
  static constexpr int constant(int) {
    return Along::template total<K>;
  }

  template <class V, class At>
  static void rows(At at, V (&out)[1]) {
    out[0] = Along::template sum<K>(at);
  }
  template <int count, class V>
  static void columns(const V (&r)[1][count + K - 1], V (&out)[count]) {
    slide<Down, K, count>(r[0], out);
  }
};

// 3x3:  2  0  2     5x5: Sobel along the row with D2x down the columns, plus D2x with Sobel. In 16 bits that is the
//       0 -8  0          3x3 one smoothed by 1 2 1 in both directions, since Sobel of 5 taps is 1 2 1 twice and D2x of
//       2  0  2          5 taps is 1 2 1 after 1 -2 1. Half of the sum is formed, which stays below 28 times 255.
template <int K>
struct Laplacian {
  static constexpr int taps = K, planes = 2;
  template <class M>
  static constexpr int constant(int plane) {
    if constexpr (K == 3) {
      return plane == 0 ? 2 : 8;
    } else if constexpr (std::is_same_v<M, Qor16s>) {
      return plane == 0 ? 8 : 16;
    } else {
      return plane == 0 ? Sobel::total<5> : 0;
    }
  }

  template <class V, class At>
  static void rows(At at, V (&out)[2]) {
    if constexpr (K == 3) {
      out[0] = at(0) + at(2);
      out[1] = times<8>(at(1));
    } else if constexpr (std::is_same_v<V, V16s>) {
      // 1 2 2 2 1 and 4 times 1 2 1: the two outer rows and the middle row of the 3x3 one, smoothed along and halved.
      const V beside = at(1) + at(3), middle = at(2);
      out[0] = at(0) + at(4) + times<2>(beside + middle);
      out[1] = times<4>(beside + times<2>(middle));
    } else {
      out[0] = Sobel::sum<5>(at);
      out[1] = D2x::sum<5>(at);
    }
  }
  template <int count, class V>
  static void columns(const V (&r)[2][count + K - 1], V (&out)[count]) {
    if constexpr (K == 3) {
      for (int j = 0; j < count; ++j) out[j] = times<2>(r[0][j] + r[0][j + 2]) - r[1][j + 1];
    } else if constexpr (std::is_same_v<V, V16s>) {
      V half[count + 2];
      for (int j = 0; j < count + 2; ++j) half[j] = r[0][j] + r[0][j + 2] - r[1][j + 1];
      slide<Sobel, 3, count>(half, out);
      for (int j = 0; j < count; ++j) out[j] = times<2>(out[j]);
    } else {
      V other[count];
      slide<D2x, 5, count>(r[0], out);
      slide<Sobel, 5, count>(r[1], other);
      for (int j = 0; j < count; ++j) out[j] = out[j] + other[j];
    }
  }
};

template <int K>
using SobelHoriz = Separable<Sobel, Dx, K>;
template <int K>
using SobelVert = Separable<DxNeg, Sobel, K>;
template <int K>
using SobelNegVert = Separable<Dx, Sobel, K>;
template <int K>
using SobelHorizSecond = Separable<Sobel, D2x, K>;
template <int K>
using SobelVertSecond = Separable<D2x, Sobel, K>;
template <int K>
using SobelCross = Separable<DxNeg, Dx, K>;
template <int K>
using ScharrHoriz = Separable<Scharr, Dx, K>;
template <int K>
using ScharrVert = Separable<Dx, Scharr, K>;
template <int K>
using Lowpass = Separable<Avr, Avr, K>;

}  // namespace qor
