// Reference, sweep and contract of the accumulators: used against the shared library, and against its objects with a
// cache of chosen size.
#pragma once

#include <stdint.h>
#include <string.h>

#include <functional>
#include <type_traits>
#include <vector>

#include "qorcv/arith.h"
#include "support/support.h"

namespace accumulators {

using namespace qortest;

// Sums, differences and products of floats in 64 bits and then rounded are those of 32-bit arithmetic.
inline double rounded(double x) { return static_cast<Qor32f>(x); }

struct Sum {
  static double of(double a, double s, double, double) { return rounded(a + s); }
};
struct SumOfSquares {
  static double of(double a, double s, double, double) { return rounded(a + rounded(s * s)); }
};
struct SumOfProducts {
  static double of(double a, double s1, double s2, double) { return rounded(a + rounded(s1 * s2)); }
};
struct Blend {
  static double of(double a, double s, double, double alpha) { return rounded(rounded(rounded(s - a) * alpha) + a); }
};

// Any member as one call; it takes what it needs.
template <class T>
struct Operands {
  const T* src1;
  int src1Step;
  const T* src2;
  int src2Step;
  const Qor8u* mask;
  int maskStep;
  Qor32f* dst;
  int dstStep;
  QoriSize size;
  Qor32f alpha;
};

// Arguments of the exported functions; Alpha is Qor32f or nothing.
template <class T, class... Alpha>
using Plain = QorStatus (*)(const T*, int, Qor32f*, int, QoriSize, Alpha...);
template <class T, class... Alpha>
using Masked = QorStatus (*)(const T*, int, const Qor8u*, int, Qor32f*, int, QoriSize, Alpha...);
template <class T>
using Product = QorStatus (*)(const T*, int, const T*, int, Qor32f*, int, QoriSize);
template <class T>
using MaskedProduct = QorStatus (*)(const T*, int, const T*, int, const Qor8u*, int, Qor32f*, int, QoriSize);

template <class T, class Operation>
struct Member {
  const char* name;
  std::function<QorStatus(const Operands<T>&)> call;
  int sources;
  bool masked;
};

template <class Operation, class T, class... Alpha>
Member<T, Operation> plain(const char* name, Plain<T, Alpha...> f) {
  return {name,
          [f](const Operands<T>& o) {
            if constexpr (sizeof...(Alpha) > 0)
              return f(o.src1, o.src1Step, o.dst, o.dstStep, o.size, o.alpha);
            else
              return f(o.src1, o.src1Step, o.dst, o.dstStep, o.size);
          },
          1, false};
}
template <class Operation, class T, class... Alpha>
Member<T, Operation> masked(const char* name, Masked<T, Alpha...> f) {
  return {name,
          [f](const Operands<T>& o) {
            if constexpr (sizeof...(Alpha) > 0)
              return f(o.src1, o.src1Step, o.mask, o.maskStep, o.dst, o.dstStep, o.size, o.alpha);
            else
              return f(o.src1, o.src1Step, o.mask, o.maskStep, o.dst, o.dstStep, o.size);
          },
          1, true};
}
template <class T>
Member<T, SumOfProducts> product(const char* name, Product<T> f) {
  return {name,
          [f](const Operands<T>& o) { return f(o.src1, o.src1Step, o.src2, o.src2Step, o.dst, o.dstStep, o.size); }, 2,
          false};
}
template <class T>
Member<T, SumOfProducts> maskedProduct(const char* name, MaskedProduct<T> f) {
  return {name,
          [f](const Operands<T>& o) {
            return f(o.src1, o.src1Step, o.src2, o.src2Step, o.mask, o.maskStep, o.dst, o.dstStep, o.size);
          },
          2, true};
}

// Around the size that goes parallel, and once with fewer rows than threads: one a member, in turns. All go through one
// driver, and the larger images are most of the time.
inline std::vector<QoriSize> nextThreshold() {
  static int turn = 0;
  constexpr QoriSize sizes[] = {{512, 512}, {131072, 2}, {511, 512}};
  return {sizes[turn++ % 3]};
}

constexpr Qor32f alphas[] = {0, 1, 0.05F, -0.5F, 2.5F, 1e-30F, INFINITY, NAN};

template <class T, class Operation>
Image<Qor32f> reference(const Image<Qor32f>& a, const Image<T>& src1, const Image<T>& src2, const Image<Qor8u>* mask,
                        Qor32f alpha) {
  Image<Qor32f> want = a;
  for (size_t i = 0; i < want.samples.size(); ++i) {
    if (mask != nullptr && mask->samples[i] == 0) continue;
    want.samples[i] = static_cast<Qor32f>(Operation::of(a.samples[i], static_cast<double>(src1.samples[i]),
                                                        static_cast<double>(src2.samples[i]), double{alpha}));
  }
  return want;
}

// What is masked out, the rest 0.
inline Image<uint32_t> bitsOutside(const Image<Qor32f>& image, const Image<Qor8u>& mask) {
  Image<uint32_t> bits(image.size);
  memcpy(bits.samples.data(), image.samples.data(), bits.samples.size() * sizeof(uint32_t));
  for (size_t i = 0; i < bits.samples.size(); ++i)
    if (mask.samples[i] != 0) bits.samples[i] = 0;
  return bits;
}

template <class T, class Operation>
void sweepMember(const Member<T, Operation>& member, Sweep options) {
  constexpr bool floats = std::is_same_v<T, Qor32f>;
  options.variants = floats ? 1 + member.sources : 1;
  sweep(member.name, options, [&](Case& c) {
    auto src1 = c.image<T>(), src2 = c.image<T>();
    auto accumulator = c.image<Qor32f>();
    auto mask = c.mask();
    // Any bits at all: NaNs of every payload, quiet and signalling.
    if (c.random.oneIn(3)) {
      accumulator.generate([&](int, int, int) {
        const auto bits = static_cast<uint32_t>(c.random.bits());
        Qor32f value;
        memcpy(&value, &bits, sizeof value);
        return value;
      });
    }
    const Qor32f alpha = alphas[c.random.below(sizeof alphas / sizeof alphas[0])];
    appendCase(", alpha %g", static_cast<double>(alpha));
    Image<T> first = src1.pixels(), second = src2.pixels();
    const Image<Qor32f> before = accumulator.pixels();
    Operands<T> o{src1.data(), src1.step(),        src2.data(),        src2.step(), mask.data(),
                  mask.step(), accumulator.data(), accumulator.step(), c.size,      alpha};
    if constexpr (floats) {
      if (c.variant == 1) first = before, o.src1 = o.dst, o.src1Step = o.dstStep;
      if (c.variant == 2) second = before, o.src2 = o.dst, o.src2Step = o.dstStep;
    }
    const Image<Qor8u> maskPixels = mask.pixels();
    const auto want = reference<T, Operation>(before, first, second, member.masked ? &maskPixels : nullptr, alpha);
    src1.protect(), src2.protect(), mask.protect();
    EXPECT_EQ(member.call(o), qorStsNoErr);
    expectSame(accumulator, want, Equal::SignedZeros);
    if (member.masked)
      expectSame(bitsOutside(accumulator.pixels(), maskPixels), bitsOutside(before, maskPixels), Equal::Bits,
                 "bits outside the mask");
  });
}

}  // namespace accumulators
