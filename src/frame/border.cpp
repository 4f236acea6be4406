#include "frame/border.h"

#include <string.h>

#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The samples of one pixel, copied as one.
template <class T, int channels>
struct Pixel {
  T samples[channels];
};

// How source, destination and border lie to each other.
struct Frame {
  QoriSize src, dst;
  int top, left;

  int right() const { return dst.width - src.width - left; }
  int bottom() const { return dst.height - src.height - top; }

  QorStatus check() const {
    const bool fits = src.width >= 1 && src.height >= 1 && dst.width >= 1 && dst.height >= 1 && top >= 0 && left >= 0 &&
                      dst.width >= int64_t{src.width} + left && dst.height >= int64_t{src.height} + top;
    return fits ? qorStsNoErr : qorStsSizeErr;
  }
};

template <class P>
void fillPixels(P* dst, int count, P value) {
  if constexpr (sizeof(P) == 1) {
    memset(dst, __builtin_bit_cast(unsigned char, value), static_cast<size_t>(count));
  } else {
    for (int i = 0; i < count; ++i) dst[i] = value;
  }
}

template <class P>
void copyPixels(P* dst, const P* src, int count) {
  memcpy(dst, src, static_cast<size_t>(count) * sizeof(P));
}

template <class T>
QorStatus constBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, const Frame& f, T value) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), positiveStepCheck(srcStep, dstStep), f.check());
  if (status != qorStsNoErr) return status;
  const auto fillRows = [&](int first, int rows) {
    for (int y = first; y < first + rows; ++y) fillPixels(rowAt(pDst, dstStep, y), f.dst.width, value);
  };
  fillRows(0, f.top);
  for (int y = 0; y < f.src.height; ++y) {
    T* const row = rowAt(pDst, dstStep, f.top + y);
    const T* const src = rowAt(pSrc, srcStep, y);
    fillPixels(row, f.left, value);
    if (row + f.left != src) copyPixels(row + f.left, src, f.src.width);
    fillPixels(row + f.left + f.src.width, f.right(), value);
  }
  fillRows(f.top + f.src.height, f.bottom());
  return qorStsNoErr;
}

// Left and right of an inner row that stands in its place.
template <class P>
void replicateSides(P* row, const Frame& f) {
  fillPixels(row - f.left, f.left, row[0]);
  fillPixels(row + f.src.width, f.right(), row[f.src.width - 1]);
}

// Above and below inner rows whose sides are done.
template <class P>
void replicateRows(P* inner, int step, const Frame& f) {
  P* const first = inner - f.left;
  for (int y = 1; y <= f.top; ++y) copyPixels(rowAt(first, step, -y), first, f.dst.width);
  const P* const last = rowAt(first, step, f.src.height - 1);
  for (int y = 0; y < f.bottom(); ++y) copyPixels(rowAt(first, step, f.src.height + y), last, f.dst.width);
}

template <int channels, class T>
QorStatus replicateInPlace(T* pSrc, int step, const Frame& f) {
  const QorStatus status = firstFailure(nullCheck(pSrc), positiveStepCheck(step), f.check());
  if (status != qorStsNoErr) return status;
  auto* const inner = reinterpret_cast<Pixel<T, channels>*>(pSrc);
  for (int y = 0; y < f.src.height; ++y) replicateSides(rowAt(inner, step, y), f);
  replicateRows(inner, step, f);
  return qorStsNoErr;
}

template <int channels, class T>
QorStatus replicateBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, const Frame& f) {
  using P = Pixel<T, channels>;
  if (pSrc == pDst) return replicateInPlace<channels>(pDst, srcStep, f);
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), positiveStepCheck(srcStep, dstStep), f.check());
  if (status != qorStsNoErr) return status;
  P* const inner = rowAt(reinterpret_cast<P*>(pDst), dstStep, f.top) + f.left;
  for (int y = 0; y < f.src.height; ++y) {
    P* const row = rowAt(inner, dstStep, y);
    copyPixels(row, reinterpret_cast<const P*>(rowAt(pSrc, srcStep, y)), f.src.width);
    replicateSides(row, f);
  }
  replicateRows(inner, dstStep, f);
  return qorStsNoErr;
}

}  // namespace

#define QOR_CONST_BORDER(name, T)                                                                                \
  QorStatus name(const T* pSrc, int srcStep, QoriSize srcRoiSize, T* pDst, int dstStep, QoriSize dstRoiSize,     \
                 int topBorderHeight, int leftBorderWidth, T value) {                                            \
    return constBorder(pSrc, srcStep, pDst, dstStep, {srcRoiSize, dstRoiSize, topBorderHeight, leftBorderWidth}, \
                       value);                                                                                   \
  }
QOR_CONST_BORDER(qoriCopyConstBorder_8u_C1R, Qor8u)
QOR_CONST_BORDER(qoriCopyConstBorder_16s_C1R, Qor16s)
QOR_CONST_BORDER(qoriCopyConstBorder_16u_C1R, Qor16u)
QOR_CONST_BORDER(qoriCopyConstBorder_32s_C1R, Qor32s)
QOR_CONST_BORDER(qoriCopyConstBorder_32f_C1R, Qor32f)

#define QOR_REPLICATE_BORDER(name, T, channels)                                                              \
  QorStatus name(const T* pSrc, int srcStep, QoriSize srcRoiSize, T* pDst, int dstStep, QoriSize dstRoiSize, \
                 int topBorderHeight, int leftBorderWidth) {                                                 \
    return replicateBorder<channels>(pSrc, srcStep, pDst, dstStep,                                           \
                                     {srcRoiSize, dstRoiSize, topBorderHeight, leftBorderWidth});            \
  }
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_8u_C1R, Qor8u, 1)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_8u_C3R, Qor8u, 3)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_8u_C4R, Qor8u, 4)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_16s_C1R, Qor16s, 1)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_16u_C1R, Qor16u, 1)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32s_C1R, Qor32s, 1)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32s_C3R, Qor32s, 3)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32s_C4R, Qor32s, 4)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32f_C1R, Qor32f, 1)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32f_C3R, Qor32f, 3)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32f_C4R, Qor32f, 4)

#define QOR_REPLICATE_IN_PLACE(name, T)                                                                       \
  QorStatus name(T* pSrc, int srcDstStep, QoriSize srcRoiSize, QoriSize dstRoiSize, int topBorderHeight,      \
                 int leftBorderWidth) {                                                                       \
    return replicateInPlace<1>(pSrc, srcDstStep, {srcRoiSize, dstRoiSize, topBorderHeight, leftBorderWidth}); \
  }
QOR_REPLICATE_IN_PLACE(qoriCopyReplicateBorder_8u_C1IR, Qor8u)
QOR_REPLICATE_IN_PLACE(qoriCopyReplicateBorder_16s_C1IR, Qor16s)
QOR_REPLICATE_IN_PLACE(qoriCopyReplicateBorder_32s_C1IR, Qor32s)

}  // namespace qor
