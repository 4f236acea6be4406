// Correction of lens distortion: an image resampled through a radial model, or the source positions of all pixels as
// two maps.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "geometry/undistort_model.h"
#include "geometry/undistort_samples.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorStatus focalCheck(Qor32f fx, Qor32f fy) { return fx == 0 || fy == 0 ? qorStsBadArgErr : qorStsNoErr; }

// Calls work(first column, count, columns) for stretches of columns, with room for their terms: all at once in the
// caller's buffer, or a strip at a time on the stack.
template <class Work>
void overColumns(int width, Qor8u* pBuffer, const Work& work) {
  const auto all = UndistortColumns::layout(width);
  const int reported = UndistortColumns::reported(width);
  if (pBuffer != nullptr && bytesOf(all) <= reported) {
    ScratchParts parts(pBuffer, reported, bytesOf(all));
    return work(0, width, all(parts));
  }
  constexpr int strip = UndistortColumns::strip;
  alignas(V32f::bytes) Qor32f x[strip], square[strip], product[strip];
  // In 64 bits, for widths near the top.
  for (int64_t first = 0; first < width; first += strip) {
    const int64_t rest = width - first;
    work(static_cast<int>(first), static_cast<int>(rest < strip ? rest : strip), UndistortColumns{x, square, product});
  }
}

// ---- resampling

// The processor rounds towards zero for as long as this lives.
class RoundTowardZero {
 public:
  RoundTowardZero() : found_(_mm_getcsr()) { _mm_setcsr(found_ | _MM_ROUND_TOWARD_ZERO); }
  RoundTowardZero(const RoundTowardZero&) = delete;
  RoundTowardZero& operator=(const RoundTowardZero&) = delete;
  ~RoundTowardZero() {
    constexpr unsigned mode = _MM_ROUND_MASK;
    _mm_setcsr((_mm_getcsr() & ~mode) | (found_ & mode));
  }

 private:
  unsigned found_;
};

template <class T, int channels>
struct Resampling {
  Plane<const T> src;
  Plane<T> dst;
  QoriSize size;
  RadialModel model;
  int first, count;
  UndistortColumns columns;
};

template <class T, int channels>
void resampleRow(const Resampling<T, channels>& r, int y) {
  const RadialModel::Row row(r.model, y);
  // Rounded towards zero like all else, so that what lies below is left of the last column and above the last row.
  const V32f right = splat(static_cast<Qor32f>(r.size.width - 1));
  const V32f bottom = splat(static_cast<Qor32f>(r.size.height - 1));
  T* const dst = r.dst.row(y) + static_cast<ptrdiff_t>(r.first) * channels;
  for (ptrdiff_t i = 0; i < r.count; i += V32f::lanes) {
    const UndistortPosition p = row.at(r.columns.vector(i));
    // A NaN is not below either end, so it does not matter what the minimum makes of it.
    const V32f inside = (min(p.u, p.v) >= zero<Qor32f>()) & (p.u < right) & (p.v < bottom);
    const Qor32u written = signBits(inside);
    if (written == 0) continue;
    const V32f u = p.u & inside, v = p.v & inside;
    const WholePositions whole{truncated(u), truncated(v)};
    const BilinearWeights weights(u - toFloat(whole.x), v - toFloat(whole.y));
    if (written == allSignBits<V32f>) {
      samplePixels<T, channels>(dst + i * channels, r.src, r.size.width, whole, weights);
    } else {
      T pixels[V32f::lanes * channels];
      samplePixels<T, channels>(pixels, r.src, r.size.width, whole, weights);
      for (int lane = 0; lane < V32f::lanes; ++lane) {
        if ((written >> lane & 1) == 0) continue;
        __builtin_memcpy(dst + (i + lane) * channels, pixels + lane * channels, channels * sizeof(T));
      }
    }
  }
}

// The compiler knows nothing of the rounding mode and would move arithmetic across its change. Nothing is computed
// between the two changes but in a function of its own, and what was computed before arrives as an argument.
template <class T, int channels>
[[gnu::noinline]] void resampleStretch(const Resampling<T, channels>& call) {
  const Resampling<T, channels> r = call;
  r.model.fill(r.columns, r.first, r.count);
  for (int y = 0; y < r.size.height; ++y) resampleRow(r, y);
}
template <class T, int channels>
[[gnu::noinline]] void resampleTruncating(const Resampling<T, channels>& r) {
  const RoundTowardZero mode;
  resampleStretch(r);
}

template <class T, int channels>
QorStatus undistort(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Qor32f fx, Qor32f fy, Qor32f cx,
                    Qor32f cy, Qor32f k1, Qor32f k2, Qor8u* pBuffer) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), sizeCheck(roiSize),
                                        stepCheck<T>(int64_t{roiSize.width} * channels, srcStep, dstStep),
                                        evenCheck<T>(srcStep, dstStep), focalCheck(fx, fy));
  if (status != qorStsNoErr) return status;
  const RadialModel model{1 / (fx * fx), 1 / (fy * fy), cx, cy, k1, k2};
  overColumns(roiSize.width, pBuffer, [&](int first, int count, const UndistortColumns& columns) {
    resampleTruncating(
        Resampling<T, channels>{Plane{pSrc, srcStep}, Plane{pDst, dstStep}, roiSize, model, first, count, columns});
  });
  return qorStsNoErr;
}

// ---- maps

// From this size on rows go past the caches.
constexpr int64_t streamedPixels = 0x20000;

// n positions into both rows. The rows need not be aligned alike: the second is streamed where it can.
template <Stores stores, class Row>
void mapRowPair(Qor32f* u, Qor32f* v, ptrdiff_t n, Row row, UndistortColumns columns) {
  constexpr int block = V32f::lanes;
  if (n < block) {
    const UndistortPosition p = row.at(columns.at(0));
    storeFirst(u, n, p.u);
    storeFirst(v, n, p.v);
    return;
  }
  const auto put = [&](ptrdiff_t i) {
    const UndistortPosition p = row.at(columns.at(i));
    store(u + i, p.u);
    store(v + i, p.v);
  };
  ptrdiff_t i = 0;
  if constexpr (stores == Stores::streamed) {
    constexpr uintptr_t alignment = V32f::bytes;
    const uintptr_t misaligned = reinterpret_cast<uintptr_t>(u) & (alignment - 1);
    put(0);
    if (misaligned != 0) i = static_cast<ptrdiff_t>((alignment - misaligned) / sizeof *u);
    const bool alike = (reinterpret_cast<uintptr_t>(v) & (alignment - 1)) == misaligned;
    for (; alike && i <= n - block; i += block) {
      const UndistortPosition p = row.at(columns.at(i));
      stream(u + i, p.u);
      stream(v + i, p.v);
    }
    for (; i <= n - block; i += block) {
      const UndistortPosition p = row.at(columns.at(i));
      stream(u + i, p.u);
      store(v + i, p.v);
    }
  } else {
    for (; i <= n - block; i += block) put(i);
  }
  if (i < n) put(n - block);
}

template <class Model>
void createMaps(const Model& model, Plane<Qor32f> u, Plane<Qor32f> v, QoriSize size, Qor8u* pBuffer) {
  const bool streamed = static_cast<int64_t>(size.width) * size.height >= streamedPixels;
  overColumns(size.width, pBuffer, [&](int first, int count, const UndistortColumns& columns) {
    model.fill(columns, first, count);
    for (int y = 0; y < size.height; ++y) {
      const typename Model::Row row(model, y);
      if (streamed) {
        mapRowPair<Stores::streamed>(u.row(y) + first, v.row(y) + first, count, row, columns);
      } else {
        mapRowPair<Stores::cached>(u.row(y) + first, v.row(y) + first, count, row, columns);
      }
    }
  });
  if (streamed) finishStreams();
}

QorStatus cameraMaps(Qor32f* pxMap, int xStep, Qor32f* pyMap, int yStep, QoriSize roiSize, Qor32f fx, Qor32f fy,
                     Qor32f cx, Qor32f cy, Qor32f k1, Qor32f k2, Qor32f p1, Qor32f p2, Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pxMap, pyMap), sizeCheck(roiSize), stepCheck<Qor32f>(roiSize.width, xStep, yStep),
                   evenCheck<Qor32f>(xStep, yStep), focalCheck(fx, fy));
  if (status != qorStsNoErr) return status;
  const Plane u{pxMap, xStep}, v{pyMap, yStep};
  if (p1 == 0 && p2 == 0) {
    createMaps(RadialModel{1 / (fx * fx), 1 / (fy * fy), cx, cy, k1, k2}, u, v, roiSize, pBuffer);
  } else {
    createMaps(TangentialModel{fx, fy, 1 / fx, 1 / fy, cx, cy, k1, k2, p1, p2}, u, v, roiSize, pBuffer);
  }
  return qorStsNoErr;
}

QorStatus undistortSize(QoriSize roiSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize));
  if (status == qorStsNoErr) *pBufferSize = UndistortColumns::reported(roiSize.width);
  return status;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriUndistortGetSize)(QoriSize roiSize, int* pBufferSize) { return qor::undistortSize(roiSize, pBufferSize); }

#define QOR_UNDISTORT(name, T, channels)                                                                           \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy, \
   Qor32f k1, Qor32f k2, Qor8u* pBuffer) {                                                                         \
    return qor::undistort<T, channels>(pSrc, srcStep, pDst, dstStep, roiSize, fx, fy, cx, cy, k1, k2, pBuffer);    \
  }
#include "geometry/undistort.def"

QOR_BODY(qoriCreateMapCameraUndistort_32f_C1R)
(Qor32f* pxMap, int xStep, Qor32f* pyMap, int yStep, QoriSize roiSize, Qor32f fx, Qor32f fy, Qor32f cx, Qor32f cy,
 Qor32f k1, Qor32f k2, Qor32f p1, Qor32f p2, Qor8u* pBuffer) {
  return qor::cameraMaps(pxMap, xStep, pyMap, yStep, roiSize, fx, fy, cx, cy, k1, k2, p1, p2, pBuffer);
}
