// Exact comparison of results.
//
//   expectSame(dst, want);                        // an image with an image
//   expectSame(dst, want, Equal::SignedZeros);    // -0 is not +0
//   EXPECT_TRUE(same(mean, wantMean));            // two samples
//   expectNear(dst, want, 0.01, "table of angles");
//
// A NaN matches any NaN, infinities match by their sign. The message names the first pixel that differs, how many do,
// and the case.
#pragma once

#include <math.h>
#include <string.h>

#include <sstream>
#include <type_traits>

#include "support/guarded.h"

namespace qortest {

enum class Equal {
  Values,       // -0 equals +0, any NaN any NaN
  SignedZeros,  // -0 differs from +0
  Bits          // NaN by sign and payload too
};

template <class T>
bool same(T got, T want, Equal equal = Equal::Values) {
  if constexpr (std::is_floating_point_v<T>) {
    if (equal == Equal::Bits) return memcmp(&got, &want, sizeof(T)) == 0;
    if (isnan(got) || isnan(want)) return isnan(got) && isnan(want);
    if (equal == Equal::SignedZeros && signbit(got) != signbit(want)) return false;
  }
  return got == want;
}

// Every sample of got against that of want by agree(got, want).
template <class T, class U, class Agree>
void expectAgreement(const Image<T>& got, const Image<U>& want, Agree agree, const char* what) {
  ASSERT_TRUE(got.size.width == want.size.width && got.size.height == want.size.height);
  ASSERT_EQ(got.channels, want.channels);
  std::ostringstream text;
  text.precision(17);
  int differing = 0;
  for (int y = 0; y < want.size.height; ++y) {
    for (int x = 0; x < want.size.width; ++x) {
      for (int c = 0; c < want.channels; ++c) {
        const T g = got.at(x, y, c);
        const U w = want.at(x, y, c);
        if (agree(g, w)) continue;
        // Up to eight, on one line each: their pattern tells a lost tail from a lost band.
        if (differing++ < 8)
          text << "\n  at x " << x << ", y " << y << ", channel " << c << ": got " << +g << ", want " << +w;
      }
    }
  }
  if (differing != 0)
    ADD_FAILURE() << what << ": " << differing << " of " << want.samples.size() << " samples differ" << text.str()
                  << "\n  case: " << currentCase();
}

template <class T>
void expectSame(const Image<T>& got, const Image<T>& want, Equal equal = Equal::Values, const char* what = "result") {
  // An equal image, by far the most frequent, costs one comparison of memory.
  const size_t bytes = want.samples.size() * sizeof(T);
  if (got.samples.size() == want.samples.size() && memcmp(got.samples.data(), want.samples.data(), bytes) == 0) return;
  expectAgreement(
      got, want, [=](T g, T w) { return same(g, w, equal); }, what);
}

template <class T>
void expectSame(const GuardedImage<T>& got, const Image<T>& want, Equal equal = Equal::Values,
                const char* what = "result") {
  expectSame(got.pixels(), want, equal, what);
}

// Within `bound` of the wanted value; NaN and infinities exactly. The reason says where the bound comes from.
template <class T, class U>
void expectNear(const GuardedImage<T>& got, const Image<U>& want, double bound, const char* reason) {
  const auto near = [=](T g, U w) {
    const double a = static_cast<double>(g), b = static_cast<double>(w);
    return isfinite(a) && isfinite(b) ? fabs(a - b) <= bound : same(a, b);
  };
  expectAgreement(got.pixels(), want, near, reason);
}

}  // namespace qortest
