// Roots and magnitudes of vectors.
#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/vector_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

// When a vector is shared among the team.
constexpr TeamRule shared = {.pixels = 4096, .pixelsOfThread = 1, .leastThreads = 2};

// Slices of a vector over the team.
template <class Work>
void forSlices(int len, const Work& work) {
  forTeam(teamFor(shared, {len, 1}), len, work);
}

// Sum of squares of 16-bit values: at most 2^31, so the lanes hold it as an unsigned number.
inline V64f rootOfUnsigned(V64s sumOfSquares) {
  // An integer below 2^52 under the exponent of 2^52 is that integer plus 2^52 as a double.
  constexpr Qor64f magic = 0x1p52;
  return sqrt(as<Qor64f>(sumOfSquares | as<Qor64s>(splat(magic))) - splat(magic));
}

struct ScaledMagnitude {
  V64f scale;

  // Clamped in float before the conversion, whose overflow would give the lowest integer.
  V64f clamped(V64s sumOfSquares) const { return min(rootOfUnsigned(sumOfSquares) * scale, splat(32767.0)); }
  V32s rounded(V32s sumOfSquares) const {
    const V32u sums = as<Qor32u>(sumOfSquares);
    return nearest(clamped(widenLo(sums)), clamped(widenHi(sums)));
  }
  Block<Qor16s, 1> operator()(const Qor16s* x, const Qor16s* y) const {
    const Split<Qor16s> pairs = splitZip(load(x), load(y));
    return {joinToS(Split<Qor32s>{rounded(multiplyAdd(pairs.a, pairs.a)), rounded(multiplyAdd(pairs.b, pairs.b))})};
  }
};

}  // namespace

QorStatus qorsSqrt_32f(const Qor32f* pSrc, Qor32f* pDst, int len) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), lengthCheck(len));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const Qor32f* a) { return Block<Qor32f, 1>{sqrt(load(a))}; };
  forSlices(len, [=](Band slice) { mapRow(pDst + slice.first, slice.rows, kernel, pSrc + slice.first); });
  return qorStsNoErr;
}

QorStatus qorsMagnitude_32f(const Qor32f* pX, const Qor32f* pY, Qor32f* pDst, int len) {
  const QorStatus status = firstFailure(nullCheck(pX, pY, pDst), lengthCheck(len));
  if (status != qorStsNoErr) return status;
  const auto kernel = [](const Qor32f* px, const Qor32f* py) {
    const V32f x = load(px), y = load(py);
    return Block<Qor32f, 1>{sqrt(x * x + y * y)};
  };
  forSlices(len,
            [=](Band slice) { mapRow(pDst + slice.first, slice.rows, kernel, pX + slice.first, pY + slice.first); });
  return qorStsNoErr;
}

QorStatus qorsMagnitude_16s_Sfs(const Qor16s* pX, const Qor16s* pY, Qor16s* pDst, int len, int scaleFactor) {
  const QorStatus status = firstFailure(nullCheck(pX, pY, pDst), lengthCheck(len));
  if (status != qorStsNoErr) return status;
  const ScaledMagnitude kernel{splat(scaleOf(scaleFactor))};
  forSlices(len,
            [=](Band slice) { mapRow(pDst + slice.first, slice.rows, kernel, pX + slice.first, pY + slice.first); });
  return qorStsNoErr;
}

}  // namespace qor
