// Norm of the three samples of a pixel: gray gradient strength from the derivative of a colour picture.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
struct Color {
  T channels[3];
};
template <class T>
const T* samples(const Color<T>* pixels) {
  return pixels->channels;
}

// The same of all three vectors of a triple.
template <class T, class Map>
Triple<T> mapped(Triple<T> t, const Map& map) {
  t.a = map(t.a), t.b = map(t.b), t.c = map(t.c);
  return t;
}

// Sixteen pixels of bytes, four of them in each 16 bytes. fn(pixels, number of their first sample) is called for each.
template <class Fn>
QOR_FORCE_INLINE auto byFours(const Color<Qor8u>* pixels, const Fn& fn) {
  const Qor8u* const p = samples(pixels);
  const std::integral_constant<int, 0> first{};
  const std::integral_constant<int, 4> behindFour{};  // the last four end with the block
  struct {
    decltype(fn(loadGroups(p), first)) v[4];
  } results{{fn(loadGroups(p), first), fn(loadGroups(p + 12), first), fn(loadGroups(p + 24), first),
             fn(loadGroups(p + 32), behindFour)}};
  return results;
}

// Largest of three: the maximum with the two samples behind stands right where a pixel begins.
struct Inf {
  template <class T>
  Block<T, 1> operator()(const Color<T>* pixels) const {
    constexpr int group = Short<T>::lanes;
    const T* const p = samples(pixels);
    const auto largest = [p](int i) {
      return max(max(loadGroups(p + i), loadGroups(p + i + 1)), loadGroups(p + i + 2));
    };
    Triple<T> m(p);
    m.a = largest(0), m.b = largest(group), m.c = max(max(m.c, slide<1>(m.c, m.c)), slide<2>(m.c, m.c));
    return {third<0>(m)};
  }
  Block<Qor32f, 1> operator()(const Color<Qor32f>* pixels) const {
    const Triple<Qor32f> s = mapped(Triple(samples(pixels)), [](V32f v) { return abs(v); });
    return {max(max(third<0>(s), third<1>(s)), third<2>(s))};
  }
};

struct L1 {
  // (sum * 1365 + 2048) >> 12 is (sum * 10920 + 2^14) >> 15, which is one instruction.
  Block<Qor8u, 1> operator()(const Color<Qor8u>* pixels) const {
    const auto pairs = byFours(pixels, [](V8u v, auto at) {
      const V8u four = lookUp(v, bytes(at, at + 1, at + 2, -1, at + 3, at + 4, at + 5, -1, at + 6, at + 7, at + 8, -1,
                                       at + 9, at + 10, at + 11, -1));
      return multiplyAdd(four, splat(Qor8s{1}));
    });
    const auto means = [](V16s a, V16s b) { return multiplyHighRounded(neighbourSums(a, b), splat(Qor16s{10920})); };
    return {packToU(means(pairs.v[0], pairs.v[1]), means(pairs.v[2], pairs.v[3]))};
  }
  // With the sums in 18 bits, the product stays below 2^30.
  Block<Qor16u, 1> operator()(const Color<Qor16u>* pixels) const {
    const Triple<Qor16u> t = Triple(samples(pixels));
    const Split<Qor32s> a = split(third<0>(t)), b = split(third<1>(t)), c = split(third<2>(t));
    const auto mean = [](V32s sum) { return (sum * splat(Qor32s{5461}) + splat(Qor32s{8192})) >> 14; };
    return {joinToU(Split<Qor32s>{mean(a.a + b.a + c.a), mean(a.b + b.b + c.b)})};
  }
  Block<Qor32f, 1> operator()(const Color<Qor32f>* pixels) const {
    const Triple<Qor32f> s = mapped(Triple(samples(pixels)), [](V32f v) { return abs(v); });
    return {third<0>(s) + third<1>(s) + third<2>(s)};
  }
};

// The integer forms round sqrt(S / 3) to nearest, S being the sum of squares: the result is the largest k with
// S >= 3 k (k - 1) + 3 / 4, that is with S > 3 k (k - 1). In between nothing can fall, and both neighbours are far
// enough from k - 1/2 for one rounded product and one rounded root: at S = 3 k (k - 1) the root lies 1 / (8 k) below,
// at the next S 1 / (24 k) above. For bytes that is 1.6e-4 against an error of 4.6e-5 in 32-bit float, three units of
// 2^-24 in 255; for 16 bits 6.3e-7 against 2.2e-11 in 64-bit float. S itself is exact: below 2^18, and below 2^34.
struct L2 {
  Block<Qor8u, 1> operator()(const Color<Qor8u>* pixels) const {
    // Of a pixel, a and b in the two halves of a lane, and c alone.
    const auto roots = byFours(pixels, [](V8u v, auto at) {
      const V16s ab = as<Qor16s>(lookUp(
          v, bytes(at, -1, at + 1, -1, at + 3, -1, at + 4, -1, at + 6, -1, at + 7, -1, at + 9, -1, at + 10, -1)));
      const V16s c =
          as<Qor16s>(lookUp(v, bytes(at + 2, -1, -1, -1, at + 5, -1, -1, -1, at + 8, -1, -1, -1, at + 11, -1, -1, -1)));
      return nearest(sqrt(toFloat(multiplyAdd(ab, ab) + multiplyAdd(c, c)) * splat(1.0F / 3.0F)));
    });
    return {packToU(packToS(roots.v[0], roots.v[1]), packToS(roots.v[2], roots.v[3]))};
  }
  Block<Qor16u, 1> operator()(const Color<Qor16u>* pixels) const {
    const Triple<Qor16u> t = Triple(samples(pixels));
    const Split<Qor32s> a = split(third<0>(t)), b = split(third<1>(t)), c = split(third<2>(t));
    return {joinToU(Split<Qor32s>{roots(a.a, b.a, c.a), roots(a.b, b.b, c.b)})};
  }
  Block<Qor32f, 1> operator()(const Color<Qor32f>* pixels) const {
    const Triple<Qor32f> squares = mapped(Triple(samples(pixels)), [](V32f v) { return v * v; });
    return {sqrt(third<0>(squares) + third<1>(squares) + third<2>(squares))};
  }

 private:
  static V64f root(V64f a, V64f b, V64f c) { return sqrt((a * a + b * b + c * c) * splat(1.0 / 3.0)); }
  static V32s roots(V32s a, V32s b, V32s c) {
    return nearest(root(toDoubleLo(a), toDoubleLo(b), toDoubleLo(c)),
                   root(toDoubleHi(a), toDoubleHi(b), toDoubleHi(c)));
  }
};

// A team is formed only by callers that run in one.
constexpr TeamRule colorTeam = {.ofCallersTeam = true, .pixelsAThread = 1024, .rowsAThread = 16, .leastThreads = 2};

template <class T>
QorStatus gradientColorToGray(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriNorm norm) {
  const bool known = norm == qoriNormInf || norm == qoriNormL1 || norm == qoriNormL2;
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pDst), sizeCheck(roiSize), stepCheck<T>(int64_t{3} * roiSize.width, srcStep),
      stepCheck<T>(roiSize.width, dstStep), evenCheck<T>(srcStep, dstStep), known ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const auto run = [&](auto kernel) {
    const auto row = [kernel](ptrdiff_t n, T* d, const Color<T>* s) {
      constexpr bool heavy = std::is_same_v<decltype(kernel), const L2>;
      mapRow<Stores::cached, heavy ? 1 : 4>(d, n, kernel, s);
    };
    const auto work = [&](Band band) {
      forEachRow(roiSize.width, band.first, band.rows, row, Plane{pDst, dstStep},
                 Plane{reinterpret_cast<const Color<T>*>(pSrc), srcStep});
    };
    forTeam<roundedBandOf>(teamFor(colorTeam, roiSize), roiSize.height, work);
  };
  if (norm == qoriNormInf) {
    run(Inf());
  } else if (norm == qoriNormL1) {
    run(L1());
  } else {
    run(L2());
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_COLOR_GRADIENT(name, T)                                                                   \
  QOR_BODY(name)(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriNorm norm) { \
    return qor::gradientColorToGray(pSrc, srcStep, pDst, dstStep, roiSize, norm);                     \
  }
QOR_COLOR_GRADIENT(qoriGradientColorToGray_8u_C3C1R, Qor8u)
QOR_COLOR_GRADIENT(qoriGradientColorToGray_16u_C3C1R, Qor16u)
QOR_COLOR_GRADIENT(qoriGradientColorToGray_32f_C3C1R, Qor32f)
