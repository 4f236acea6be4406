// Eigenvalues of the gradient's matrix: components of the gradient, their products, means of these over a window, and
// from the means the smaller eigenvalue, or both with their vectors.
//
// All of it row by row: the sums along a row of products stay for as many rows as the window has, so that nothing but
// source and destination leaves the cache. The sums are those of the mean filter, in its order.
#include "filter/fixed_filter.h"
#include "filter/gradient_rows.h"
#include "filter/sobel.h"
#include "frame/bands.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- what the means become; a store takes as many pixels as fill a vector

struct EigenScale {
  Qor32f s, sign;  // of the matrix, and of its side entry

  EigenScale(QoriKernelType kernel, int aperture) : s(aperture == 3 ? 1.0F / 4080 : 1.0F / 65280), sign(-1) {
    if (kernel == qorKernelScharr) s = s * 0.6125F, sign = 1;
  }
};

struct SmallerValue {
  static constexpr int samples = 1;

  static void store(Qor32f* dst, V32f a, V32f b, V32f c, const EigenScale& scale) {
    const V32f difference = a - b, root = sqrt(difference * difference + splat(4.0F) * (c * c));
    qor::store(dst, (a + b - root) * splat(0.5F * scale.s));
  }
};

struct ValuesAndVectors {
  static constexpr int samples = 6;

  static void store(Qor32f* dst, V32f a, V32f b, V32f c, const EigenScale& scale) {
    const V32f s = splat(scale.s), half = splat(0.5F), one = splat(1.0F);
    a = a * s, b = b * s, c = c * s;
    const V32f difference = a - b, square = c * c;
    const V32f root = sqrt(splat(4.0F) * square + difference * difference);
    const V32f larger = (a + b + root) * half, smaller = (a + b - root) * half, t = splat(0.01F) * max(a, b);
    const V32f none = (t > min(a, b)) | (t > a * b - square), upright = t >= abs(c);
    V32f x1 = one, y1 = zero<Qor32f>(), x2 = y1, y2 = one;
    if (signBits(none | upright) != allSignBits<V32f>) {
      const V32f e = c * splat(scale.sign), p = larger - a, q = smaller - a;
      const V32f least = splat(1.1920929e-7F);
      const V32f r1 = one / max(sqrt(p * p + e * e), least), r2 = one / max(sqrt(e * e + q * q), least);
      x1 = select(upright, x1, e * r1), y1 = select(upright, y1, p * r1);
      x2 = select(upright, x2, e * r2), y2 = select(upright, y2, q * r2);
    }
    storeSixes(dst, andNot(none, larger), andNot(none, smaller), andNot(none, x1), andNot(none, y1), andNot(none, x2),
               andNot(none, y2));
  }

 private:
  // Pairs of a pixel, then three pairs of it one behind the other. Zips work within 16 bytes, so a wide vector holds
  // pixels 0, 1 and 4, 5 or 2, 3 and 6, 7.
  static void storeSixes(Qor32f* dst, V32f v0, V32f v1, V32f v2, V32f v3, V32f v4, V32f v5) {
    constexpr int four = Short<Qor32f>::lanes;
    const auto storePixels = [](Qor32f* to, V32f first, V32f second, V32f third) {
      const auto storeTwo = [](Qor32f* pixels, auto a, auto b, auto c) {
        qor::store(pixels, a), qor::store(pixels + four, b), qor::store(pixels + 2 * four, c);
      };
      const V64s i = as<Qor64s>(first), j = as<Qor64s>(second);
      const V32f a = as<Qor32f>(zipFirst(i, j)), b = blend<0xf0>(third, first),
                 c = as<Qor32f>(zipLast(j, as<Qor64s>(third)));
      storeTwo(to, firstShort(a), firstShort(b), firstShort(c));
      if constexpr (!std::is_same_v<V32f, Short<Qor32f>>) {
        storeTwo(to + four * samples, lastShort(a), lastShort(b), lastShort(c));
      }
    };
    storePixels(dst, zipFirst(v0, v1), zipFirst(v2, v3), zipFirst(v4, v5));
    storePixels(dst + 2 * samples, zipLast(v0, v1), zipLast(v2, v3), zipLast(v4, v5));
  }
};

// ---- components

// The Scharr filters in the order of their sums: of floats it is another than that of the gradient rows.
struct ScharrFilters {
  static constexpr int radius = 1;

  template <class S, class Out>
  static void run(const S* const* rows, ptrdiff_t n, const Out& out) {
    forBlocks<gradientBlock<S>>(
        n, [&](ptrdiff_t i) { out.put(i, filtered<ScharrVert<3>>(rows, i), filtered<ScharrHoriz<3>>(rows, i)); });
  }

 private:
  template <class F, class S>
  static auto filtered(const S* const* rows, ptrdiff_t i) {
    Vec<Component<S>> along[1][3], down[1];
    for (int j = 0; j < 3; ++j) {
      Vec<Component<S>> plane[1];
      F::rows([=](int k) { return pixels(rows[j] + i + k - 1); }, plane);
      along[0][j] = plane[0];
    }
    F::template columns<1>(along, down);
    return down[0];
  }
};

// Rows of components, whatever the kernel.
template <class S>
struct Derivatives {
  using C = Component<S>;
  const void* rows;
  void (*row)(const void* rows, int y, C* dx, C* dy);
};
template <class Kernel, class S>
Derivatives<S> derivativesBy(const GradientRows<Kernel, S>& rows) {
  using C = Component<S>;
  return {&rows, [](const void* of, int y, C* dx, C* dy) {
            static_cast<const GradientRows<Kernel, S>*>(of)->row(y, GradientOut<true, true, C>{dx, dy});
          }};
}

// ---- scratch

// Rows of whole blocks at every level.
ptrdiff_t paddedWidth(int width) { return roundUpTo(width, 2 * wideVectorBytes / int64_t{sizeof(Qor32f)}); }

constexpr int mostWindow = 5;

template <class C>
struct ThreadRows {
  C *dx, *dy;
  Qor32f *products[3], *sums[mostWindow];  // three rows of sums one behind the other
};
template <class C>
ThreadRows<C> layThread(ScratchParts& parts, int width, int window) {
  const ptrdiff_t n = paddedWidth(width);
  ThreadRows<C> rows{parts.take<C>(n, wideVectorBytes), parts.take<C>(n, wideVectorBytes), {}, {}};
  for (Qor32f*& product : rows.products) product = parts.take<Qor32f>(n, wideVectorBytes);
  for (int i = 0; i < window; ++i) rows.sums[i] = parts.take<Qor32f>(3 * n, wideVectorBytes);
  return rows;
}

// Pieces of threads begin in cache lines of their own.
constexpr int64_t line = 64;
template <class S>
int64_t teamBytes(int team, int width, int window) {
  const int64_t piece = bytesOf([=](ScratchParts& parts) { layThread<Component<S>>(parts, width, window); });
  return line - 1 + team * roundUpTo(piece, line);
}

template <class Query, class... Arguments>
int sizeBy(Query* query, Arguments... arguments) {
  int bytes = 0;
  query(arguments..., &bytes);
  return bytes;
}

template <class S>
int reported(QoriSize size, int aperture, int window) {
  const auto larger = [](int64_t a, int64_t b) { return a > b ? a : b; };
  const QoriMaskSize mask = 11 * aperture;
  const int64_t lowpass = sizeBy(QOR_VARIANT_BODY(qoriFilterLowpassGetBufferSize_32f_C1R), size, 11 * window);
  const int64_t pixels = roundUpTo(size.width, 16) * size.height;
  int64_t bytes;
  if constexpr (std::is_same_v<S, Qor8u>) {
    const int64_t sobel = larger(sizeBy(qoriFilterSobelVertGetBufferSize_8u16s_C1R, size, mask),
                                 sizeBy(qoriFilterSobelHorizGetBufferSize_8u16s_C1R, size, mask));
    const int64_t scharr = larger(sizeBy(QOR_VARIANT_BODY(qoriFilterScharrVertGetBufferSize_8u16s_C1R), size),
                                  sizeBy(QOR_VARIANT_BODY(qoriFilterScharrHorizGetBufferSize_8u16s_C1R), size));
    bytes = larger(owncvGetMaxNumThreads() * (sobel + 32), larger(scharr, lowpass)) + 16 * pixels + 224;
  } else {
    const int64_t sobel = larger(sizeBy(qoriFilterSobelVertGetBufferSize_32f_C1R, size, mask),
                                 sizeBy(qoriFilterSobelHorizGetBufferSize_32f_C1R, size, mask));
    const int64_t scharr = window != 3
                               ? 0
                               : larger(sizeBy(QOR_VARIANT_BODY(qoriFilterScharrVertGetBufferSize_32f_C1R), size),
                                        sizeBy(QOR_VARIANT_BODY(qoriFilterScharrHorizGetBufferSize_32f_C1R), size));
    bytes = larger(larger(sobel, scharr), lowpass) + 20 * pixels + 224;
  }
  const int wanted = teamFor(fixedTeam, size);
  return reportedSize(static_cast<uint64_t>(bytes), 1, teamBytes<S>(wanted > 0 ? wanted : 1, size.width, window));
}

// ---- rows

template <int window>
using Mean = Lowpass<window>;

template <class C>
void storeProducts(const C* dx, const C* dy, Qor32f* xx, Qor32f* xy, Qor32f* yy, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n; i += V32f::lanes) {
    const V32f x = loadAs<Qor32f>(dx + i), y = loadAs<Qor32f>(dy + i);
    store(xx + i, x * x), store(xy + i, x * y), store(yy + i, y * y);
  }
}

// The sums along a row, of the three products.
template <int window, class C>
void sumAlong(const Derivatives<std::conditional_t<std::is_same_v<C, Qor16s>, Qor8u, Qor32f>>& derivatives, int y,
              const ThreadRows<C>& rows, const BesideRow<Qor32f>& beside, int width) {
  derivatives.row(derivatives.rows, y, rows.dx, rows.dy);
  const ptrdiff_t n = paddedWidth(width);
  storeProducts(rows.dx, rows.dy, rows.products[0], rows.products[1], rows.products[2], n);
  for (int i = 0; i < 3; ++i) {
    Loops<Mean<window>, Qor32f, 1>::along(rows.products[i], beside, rows.sums[y % window] + i * n, n, width);
  }
}

// A row of the destination, from the sums of the rows around it. Those of a product are a plane apart.
template <int window, class Result>
void storeMeans(const Qor32f* const* sums, ptrdiff_t plane, Qor32f* dst, ptrdiff_t width, const EigenScale& given) {
  constexpr int block = V32f::lanes;
  const EigenScale scale = given;
  const Qor32f* row[window];
  for (int j = 0; j < window; ++j) row[j] = alone(sums[j]);
  const auto storeBlock = [=](Qor32f* to, ptrdiff_t x) {
    const auto mean = [=](ptrdiff_t i) {
      V32f rows[1][window], sum[1];
      for (int j = 0; j < window; ++j) rows[0][j] = load(row[j] + i);
      Mean<window>::template columns<1>(rows, sum);
      return sum[0] * splat(meanFactor<window>);
    };
    Result::store(to, mean(x), mean(x + 2 * plane), mean(x + plane), scale);
  };
  if (width < block) {
    Qor32f few[block * Result::samples];
    storeBlock(few, 0);
    __builtin_memcpy(dst, few, static_cast<size_t>(width) * Result::samples * sizeof(Qor32f));
    return;
  }
  forBlocks<block>(width, [=](ptrdiff_t x) { storeBlock(dst + x * Result::samples, x); });
}

template <class S>
struct EigenCall {
  Plane<const S> src;
  Plane<Qor32f> dst;
  QoriSize size;
  QoriKernelType kernel;
  int aperture, window;
  Qor8u* buffer;
};

template <int window, class Result, class S>
void measureBand(const EigenCall<S>& call, const Derivatives<S>& derivatives, const ThreadRows<Component<S>>& rows,
                 Band band) {
  constexpr int reach = window / 2;
  const int width = call.size.width, last = call.size.height - 1;
  const EigenScale scale(call.kernel, call.aperture);
  const BesideRow<Qor32f> beside({width, Edge::nearest, Edge::nearest, false}, 0);
  const auto inside = [=](int y) { return y < 0 ? 0 : y > last ? last : y; };
  for (int y = inside(band.first - reach); y < inside(band.first + reach); ++y) {
    sumAlong<window>(derivatives, y, rows, beside, width);
  }
  for (int y = band.first; y < band.first + band.rows; ++y) {
    if (y + reach <= last || y == band.first) sumAlong<window>(derivatives, inside(y + reach), rows, beside, width);
    const Qor32f* sums[window];
    for (int j = 0; j < window; ++j) sums[j] = rows.sums[inside(y + j - reach) % window];
    storeMeans<window, Result>(sums, paddedWidth(width), call.dst.row(y), width, scale);
  }
}

// ---- images

template <class Kernel, class Result, class S>
QorStatus measureBy(const EigenCall<S>& call) {
  using C = Component<S>;
  const int bytes = reported<S>(call.size, call.aperture, call.window), width = call.size.width;
  // Rows that lie over each other are written in their order.
  const bool rowsOverlap = call.dst.step < rowBytes<Qor32f>(int64_t{width} * Result::samples);
  const int wanted = rowsOverlap ? 0 : teamFor(fixedTeam, call.size);
  const int room =
      teamWithin(bytes, wanted > 0 ? wanted : 1, [&](int team) { return teamBytes<S>(team, width, call.window); });
  if (room == 0) return qorStsSizeErr;
  const int64_t piece = (bytes - (line - 1)) / room / line * line;
  Qor8u* const pieces = alignUp<Qor8u>(call.buffer, line);
  const Sides sides{{call.size.height, Edge::nearest, Edge::nearest, false},
                    {width, Edge::nearest, Edge::nearest, false}};
  S noConstant[1 + Kernel::radius] = {};
  const GradientRows<Kernel, S> gradients(call.src, call.size, sides, 0, noConstant);
  const Derivatives<S> derivatives = derivativesBy(gradients);
  const auto layRows = [&](ScratchParts& parts) { return layThread<C>(parts, width, call.window); };
  forTeam(wanted < room ? wanted : room, call.size.height, [&](Band band) {
    ScratchParts parts(pieces + band.thread * piece, piece, bytesOf(layRows));
    const ThreadRows<C> rows = layRows(parts);
    call.window == 3 ? measureBand<3, Result>(call, derivatives, rows, band)
                     : measureBand<5, Result>(call, derivatives, rows, band);
  });
  return qorStsNoErr;
}

constexpr bool isMaskSide(int n) { return n == 3 || n == 5; }

template <class Result, class S>
QorStatus measure(const EigenCall<S>& call) {
  const int width = call.size.width;
  const bool isKernel = call.kernel == qorKernelSobel || call.kernel == qorKernelScharr;
  const bool isAperture = call.aperture == 3 || (call.aperture == 5 && call.kernel == qorKernelSobel);
  const int samples = std::is_same_v<S, Qor8u> ? Result::samples : 1;
  const QorStatus status = firstFailure(
      nullCheck(call.src.first, call.dst.first, call.buffer), sizeCheck(call.size), stepCheck<S>(width, call.src.step),
      stepCheck<Qor32f>(int64_t{width} * samples, call.dst.step), evenCheck<S>(call.src.step),
      evenCheck<Qor32f>(call.dst.step), isKernel ? qorStsNoErr : qorStsBadArgErr,
      isAperture && isMaskSide(call.window) ? qorStsNoErr : qorStsSizeErr);
  if (status != qorStsNoErr) return status;
  if (call.kernel == qorKernelScharr) {
    return measureBy<std::conditional_t<std::is_same_v<S, Qor8u>, Scharr3, ScharrFilters>, Result>(call);
  }
  return call.aperture == 3 ? measureBy<Sobel3, Result>(call) : measureBy<Sobel5, Result>(call);
}

template <class S>
QorStatus eigenSize(QoriSize roiSize, int apertureSize, int avgWindow, int* pBufferSize) {
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize),
                   isMaskSide(apertureSize) && isMaskSide(avgWindow) ? qorStsNoErr : qorStsSizeErr);
  if (status == qorStsNoErr) *pBufferSize = reported<S>(roiSize, apertureSize, avgWindow);
  return status;
}

}  // namespace
}  // namespace qor

#define QOR_EIGEN(name, query, S, Result)                                                                              \
  QOR_BODY(name)                                                                                                       \
  (const S* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, QoriKernelType kernType, int apertureSize, \
   int avgWindow, Qor8u* pBuffer) {                                                                                    \
    return qor::measure<qor::Result, S>(                                                                               \
        {{pSrc, srcStep}, {pDst, dstStep}, roiSize, kernType, apertureSize, avgWindow, pBuffer});                      \
  }                                                                                                                    \
  QOR_BODY(query)(QoriSize roiSize, int apertureSize, int avgWindow, int* pBufferSize) {                               \
    return qor::eigenSize<S>(roiSize, apertureSize, avgWindow, pBufferSize);                                           \
  }
#include "feature/eigen.def"
