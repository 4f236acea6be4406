// The kernels of the fixed filters, along a row or down the columns. Each is symmetric or antisymmetric:
//
//                3 taps      5 taps
//   Sobel       1  2  1     1  4  6  4  1
//   Dx         -1  0  1    -1 -2  0  2  1
//   DxNeg       1  0 -1     1  2  0 -2 -1
//   D2x         1 -2  1     1  0 -2  0  1
//   Avr         1  1  1     1  1  1  1  1
//   Scharr      3 10  3
//
// In 32f the sum starts with the outermost pair of samples, added or subtracted, and goes inwards; a pair is formed
// first and weighted then, the middle sample comes last. Whoever computes a sum computes it in this order, so that it
// has the same bits on every path. Sums of 8-bit samples are exact in 16 bits in any order: no row of taps gathers more
// than 16 times 255, and no filter of rows and columns more than 64 times 255.
#pragma once

#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

template <int weight>
inline V16s times(V16s a) {
  if constexpr (weight == 1) {
    return a;
  } else if constexpr (weight == 2) {
    return a + a;
  } else if constexpr ((weight & (weight - 1)) == 0) {
    return a << __builtin_ctz(weight);
  } else {
    return a * splat(Qor16s{weight});
  }
}
template <int weight>
inline V32f times(V32f a) {
  if constexpr (weight == 1) {
    return a;
  } else if constexpr (weight == 2) {
    return a + a;
  } else {
    return a * splat(Qor32f{weight});
  }
}

// A kernel gives sum<K>(at), where at(i) is the sample under tap i, and total<K>, the sum of its taps.
struct Sobel {
  template <int K>
  static constexpr int total = K == 3 ? 4 : 16;
  template <int K, class At>
  static auto sum(At at) {
    if constexpr (K == 3) {
      return at(0) + at(2) + times<2>(at(1));
    } else {
      return at(0) + at(4) + times<4>(at(1) + at(3)) + times<6>(at(2));
    }
  }
};

struct Dx {
  template <int K>
  static constexpr int total = 0;
  template <int K, class At>
  static auto sum(At at) {
    if constexpr (K == 3) {
      return at(2) - at(0);
    } else {
      return at(4) - at(0) + times<2>(at(3) - at(1));
    }
  }
};

struct DxNeg {
  template <int K>
  static constexpr int total = 0;
  template <int K, class At>
  static auto sum(At at) {
    return Dx::sum<K>([&at](int i) { return at(K - 1 - i); });
  }
};

struct D2x {
  template <int K>
  static constexpr int total = 0;
  template <int K, class At>
  static auto sum(At at) {
    return at(0) + at(K - 1) - times<2>(at(K / 2));
  }
};

struct Avr {
  template <int K>
  static constexpr int total = K;
  template <int K, class At>
  static auto sum(At at) {
    if constexpr (K == 3) {
      return at(0) + at(2) + at(1);
    } else {
      return at(0) + at(4) + (at(1) + at(3)) + at(2);
    }
  }
};

struct Scharr {
  template <int K>
  static constexpr int total = 16;
  template <int K, class At>
  static auto sum(At at) {
    static_assert(K == 3);
    return times<3>(at(0) + at(2)) + times<10>(at(1));
  }
};

// The sums of `count` consecutive spans: out[j] from r[j] to r[j + K - 1].
template <class Kernel, int K, int count, class V>
inline void slide(const V (&r)[count + K - 1], V (&out)[count]) {
  if constexpr (std::is_same_v<V, V16s> && std::is_same_v<Kernel, Sobel>) {
    // K - 1 times the sums of neighbours, all but the ends of which serve two spans. The first sums come from the first
    // K - 1 samples alone; each further sample needs K - 1 additions and as many sums kept.
    V kept[K - 1];
    for (int i = 0; i < K - 1; ++i) kept[i] = r[i];
    for (int level = 1; level < K - 1; ++level) {
      for (int i = 0; i < K - 1 - level; ++i) kept[i] = kept[i] + kept[i + 1];
    }
    // kept[i] is now the last sum of level K - 2 - i.
    for (int j = 0; j < count; ++j) {
      V sum = r[j + K - 1];
      for (int level = 0; level < K - 1; ++level) {
        const V before = kept[K - 2 - level];
        kept[K - 2 - level] = sum;
        sum = sum + before;
      }
      out[j] = sum;
    }
  } else if constexpr (std::is_same_v<V, V16s> && count % 2 == 0 && std::is_same_v<Kernel, Avr>) {
    // Two neighbouring spans have all samples but their outermost in common.
    for (int j = 0; j < count; j += 2) {
      V common = r[j + 1];
      for (int i = 2; i < K; ++i) common = common + r[j + i];
      out[j] = r[j] + common;
      out[j + 1] = common + r[j + K];
    }
  } else {
    for (int j = 0; j < count; ++j) out[j] = Kernel::template sum<K>([&r, j](int i) { return r[j + i]; });
  }
}

}  // namespace qor
