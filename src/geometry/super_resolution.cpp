// The inner loops of super-resolution: what an estimate says of observed samples, and what their residuals add to its
// gradient. Every sample has a place of its own in the image, and one of a set of small kernels.
#include "frame/alloc.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/round.h"
#include "frame/vec.h"

namespace qor::inline QOR_LEVEL {

// The record: a table of kernels. One of 2x2 is four floats; one of 3x3 has a zero behind every three, so that a row is
// a vector.
template <int side_>
struct KernelSet {
  static constexpr int side = side_, rowFloats = side == 2 ? 2 : 4;
  static constexpr ptrdiff_t kernelFloats = side * rowFloats;

  Qor32f* table;

  const Qor32f* kernel(Qor16u index) const { return table + index * kernelFloats; }
};

}  // namespace qor

// What the public header leaves incomplete.
struct QoriSRHNSpec_PSF2x2 : qor::KernelSet<2> {};
struct QoriSRHNSpec_PSF3x3 : qor::KernelSet<3> {};

namespace qor::inline QOR_LEVEL {
namespace {

// ---- the record

template <class Spec>
QorStatus initKernels(Spec** ppState, const Qor32f* pKernels, int count) {
  const QorStatus status = firstFailure(nullCheck(ppState, pKernels), lengthCheck(count));
  if (status != qorStsNoErr) return status;
  auto* const spec = reinterpret_cast<Spec*>(qorsMalloc_8u(sizeof(Spec)));
  if (spec == nullptr) return qorStsMemAllocErr;
  const int64_t floats = count * Spec::kernelFloats;
  spec->table = floats <= topOf<Qor32s> ? qorsMalloc_32f(static_cast<int>(floats)) : nullptr;
  if (spec->table == nullptr) {
    qorsFree(spec);
    return qorStsMemAllocErr;
  }
  for (int64_t row = 0; row < int64_t{count} * Spec::side; ++row) {
    Qor32f* const to = spec->table + row * Spec::rowFloats;
    if constexpr (Spec::rowFloats > Spec::side) to[Spec::side] = 0;
    __builtin_memcpy(to, pKernels + row * Spec::side, Spec::side * sizeof *to);
  }
  *ppState = spec;
  return qorStsNoErr;
}

template <class Spec>
QorStatus freeKernels(Spec* pState) {
  if (const QorStatus status = nullCheck(pState); status != qorStsNoErr) return status;
  if (pState->table != nullptr) qorsFree(pState->table);
  qorsFree(pState);
  return qorStsNoErr;
}

// A row of taps, or an image that grows upwards; in whole samples.
template <int side>
constexpr QorStatus tapStepCheck(int step) {
  return (step >= 0 && step < side * 4) || (step & 3) != 0 ? qorStsStepErr : qorStsNoErr;
}

// ---- residuals

template <class Spec>
Qor32f estimateOf(const Qor32f* h, ptrdiff_t s, const Qor32f* k) {
  Qor32f r = 0;
  for (int row = 0; row < Spec::side; ++row) {
    for (int column = 0; column < Spec::side; ++column) {
      const Qor32f product = h[row * s + column] * k[row * Spec::rowFloats + column];
      r = row == 0 && column == 0 ? product : r + product;
    }
  }
  return r;
}

// The products of each of four samples, as many times as a vector has 16 bytes, turned into a vector for every tap.
// products(sample) gives 16 bytes.
template <class Products>
QOR_FORCE_INLINE BlockOf<V32f, 4> tapsOf(const Products& products) {
  BlockOf<V32f, 4> m;
  for (int i = 0; i < 4; ++i) m.v[i] = shortsOf<V32f>([&](int four) { return products(4 * four + i); });
  transposeFours(m.v);
  return m;
}

QOR_FORCE_INLINE V32f estimates(const KernelSet<2>& set, const Qor32f* high, ptrdiff_t s, const Qor32s* offset,
                                const Qor16u* kernel) {
  const auto t = tapsOf([&](int i) {
    const Qor32f* const h = high + offset[i];
    return withUpper(loadTwo(h), h + s) * load<Short<Qor32f>>(set.kernel(kernel[i]));
  });
  return t.v[0] + t.v[1] + t.v[2] + t.v[3];
}

// The fourth lane of a row of taps belongs to no tap. It is read only between the first and the last one of a sample:
// the last row is read from one element before, with the zero in front of its coefficients.
QOR_FORCE_INLINE V32f estimates(const KernelSet<3>& set, const Qor32f* high, ptrdiff_t s, const Qor32s* offset,
                                const Qor16u* kernel) {
  const auto row = [&](ptrdiff_t tap, ptrdiff_t coefficient) {
    return tapsOf([=, &set](int i) {
      return load<Short<Qor32f>>(high + offset[i] + tap) * load<Short<Qor32f>>(set.kernel(kernel[i]) + coefficient);
    });
  };
  const auto first = row(0, 0), second = row(s, 4), third = row(2 * s - 1, 7);
  V32f r = first.v[0] + first.v[1] + first.v[2];
  r = r + second.v[0] + second.v[1] + second.v[2];
  return r + third.v[1] + third.v[2] + third.v[3];
}

template <class Spec, class Low>
QorStatus calcResidual(const Qor32f* pHigh, int highStep, const Low* pLow, const Qor32s* pOffset,
                       const Qor16u* pKernelIndex, Qor32f* pResidual, int len, const Spec* pState) {
  const QorStatus status = firstFailure(nullCheck(pHigh, pLow, pOffset, pKernelIndex, pResidual, pState),
                                        lengthCheck(len), tapStepCheck<Spec::side>(highStep));
  if (status != qorStsNoErr) return status;
  const ptrdiff_t s = highStep / static_cast<ptrdiff_t>(sizeof(Qor32f));
  const Spec set = *pState;
  ptrdiff_t i = 0;
  if (Spec::side == 2 || s > 0) {
    for (; i <= len - V32f::lanes; i += V32f::lanes) {
      const V32f r = estimates(set, pHigh, s, pOffset + i, pKernelIndex + i);
      store(pResidual + i, r - loadAs<Qor32f>(pLow + i));
    }
  }
  for (; i < len; ++i) {
    const Qor32f r = estimateOf<Spec>(pHigh + pOffset[i], s, set.kernel(pKernelIndex[i]));
    pResidual[i] = r - static_cast<Qor32f>(pLow[i]);
  }
  return qorStsNoErr;
}

// ---- gradients. Neighbours in the list mostly share taps, and what was just stored piece by piece is slow to be
// loaded as a vector. So the taps of a sample stay in registers, and go on to the next one if that is at most two
// columns further right.

// Two rows of two taps.
struct Held2x2 {
  static constexpr ptrdiff_t leastRow = 3, mostColumns = 1;  // what enters from the right is in no row yet
  Short<Qor32f> rows;

  void read(const Qor32f* g, ptrdiff_t s) { rows = withUpper(loadTwo(g), g + s); }
  void write(Qor32f* g, ptrdiff_t s) const {
    storeFirst<2>(g, rows);
    storeFirst<2>(g + s, reordered<2, 3, 2, 3>(rows));
  }
  void add(const Qor32f* k, Short<Qor32f> e) { rows = load<Short<Qor32f>>(k) * e + rows; }
  // From g to the right.
  void move(Qor32f* g, ptrdiff_t s, ptrdiff_t) {
    storeFirst<1>(g, rows);
    storeFirst<1>(g + s, reordered<2, 3, 2, 3>(rows));
    rows = withLane<3>(withLane<1>(reordered<1, 1, 3, 3>(rows), g[2]), g[s + 2]);
  }
};

// Three rows of three taps; the fourth lanes are never stored.
struct Held3x3 {
  static constexpr ptrdiff_t leastRow = 5, mostColumns = 2;
  Short<Qor32f> first, second, third;

  void read(const Qor32f* g, ptrdiff_t s) {
    forRows([=](Short<Qor32f>& row, int y) { row = loadThree(g + y * s); });
  }
  void write(Qor32f* g, ptrdiff_t s) {
    forRows([=](Short<Qor32f>& row, int y) { storeFirst<3>(g + y * s, row); });
  }
  void add(const Qor32f* k, Short<Qor32f> e) {
    forRows([=](Short<Qor32f>& row, int y) { row = load<Short<Qor32f>>(k + 4 * y) * e + row; });
  }
  void move(Qor32f* g, ptrdiff_t s, ptrdiff_t columns) {
    if (columns == 1) {
      forRows([=](Short<Qor32f>& row, int y) {
        storeFirst<1>(g + y * s, row);
        row = withLane<2>(reordered<1, 2, 3, 3>(row), g[y * s + 3]);
      });
    } else {
      forRows([=](Short<Qor32f>& row, int y) {
        storeFirst<2>(g + y * s, row);
        row = slide<3>(reordered<2, 2, 2, 2>(row), loadTwo(g + y * s + 3));
      });
    }
  }

 private:
  // Written out, so that the rows stay in registers.
  template <class F>
  void forRows(const F& f) {
    f(first, 0);
    f(second, 1);
    f(third, 2);
  }
};

template <int side>
using Held = std::conditional_t<side == 2, Held2x2, Held3x3>;

template <class Spec>
QorStatus updateGradient(Qor32f* pGrad, int gradStep, const Qor32s* pOffset, const Qor16u* pKernelIndex,
                         const Qor32f* pError, const Qor8u* pWeightIndex, int len, const Qor32f* pWeights,
                         const Spec* pState) {
  constexpr int side = Spec::side;
  const QorStatus status = firstFailure(nullCheck(pGrad, pOffset, pKernelIndex, pError, pWeightIndex, pWeights, pState),
                                        lengthCheck(len), tapStepCheck<side>(gradStep));
  if (status != qorStsNoErr) return status;
  const ptrdiff_t s = gradStep / static_cast<ptrdiff_t>(sizeof(Qor32f));
  const Spec set = *pState;
  const auto error = [=](ptrdiff_t i) { return pWeights[pWeightIndex[i]] * pError[i]; };
  if (s > -Held<side>::leastRow && s < Held<side>::leastRow) {
    for (ptrdiff_t i = 0; i < len; ++i) {
      Qor32f* const g = pGrad + pOffset[i];
      const Qor32f* const k = set.kernel(pKernelIndex[i]);
      const Qor32f e = error(i);
      for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column) {
          Qor32f& tap = g[row * s + column];
          tap = k[row * Spec::rowFloats + column] * e + tap;
        }
      }
    }
    return qorStsNoErr;
  }
  Held<side> held;
  int64_t at = pOffset[0];
  held.read(pGrad + at, s);
  for (ptrdiff_t i = 0; i < len; ++i) {
    const int64_t next = pOffset[i], columns = next - at;
    if (columns > 0 && columns <= Held<side>::mostColumns) {
      held.move(pGrad + at, s, columns);
    } else if (columns != 0) {
      held.write(pGrad + at, s);
      held.read(pGrad + next, s);
    }
    at = next;
    held.add(set.kernel(pKernelIndex[i]), splat<Short<Qor32f>>(error(i)));
  }
  held.write(pGrad + at, s);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriSRHNInitAlloc_PSF2x2)(QoriSRHNSpec_PSF2x2** ppState, const Qor32f* pKernels, int count) {
  return qor::initKernels(ppState, pKernels, count);
}
QOR_BODY(qoriSRHNInitAlloc_PSF3x3)(QoriSRHNSpec_PSF3x3** ppState, const Qor32f* pKernels, int count) {
  return qor::initKernels(ppState, pKernels, count);
}
QOR_BODY(qoriSRHNFree_PSF2x2)(QoriSRHNSpec_PSF2x2* pState) { return qor::freeKernels(pState); }
QOR_BODY(qoriSRHNFree_PSF3x3)(QoriSRHNSpec_PSF3x3* pState) { return qor::freeKernels(pState); }

#define QOR_SRHN_RESIDUAL(name, Low, Spec)                                                                \
  QOR_BODY(name)                                                                                          \
  (const Qor32f* pHigh, int highStep, const Low* pLow, const Qor32s* pOffset, const Qor16u* pKernelIndex, \
   Qor32f* pResidual, int len, const Spec* pState) {                                                      \
    return qor::calcResidual(pHigh, highStep, pLow, pOffset, pKernelIndex, pResidual, len, pState);       \
  }
#define QOR_SRHN_GRADIENT(name, Spec)                                                                                \
  QOR_BODY(name)                                                                                                     \
  (Qor32f * pGrad, int gradStep, const Qor32s* pOffset, const Qor16u* pKernelIndex, const Qor32f* pError,            \
   const Qor8u* pWeightIndex, int len, const Qor32f* pWeights, const Spec* pState) {                                 \
    return qor::updateGradient(pGrad, gradStep, pOffset, pKernelIndex, pError, pWeightIndex, len, pWeights, pState); \
  }
#include "geometry/super_resolution.def"
