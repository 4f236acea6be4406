#include "filter/sobel.h"

#include "filter/gradient_rows.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr Borders borders = {
    .rules = ruleBits(qorBorderConst, qorBorderRepl, qorBorderMirror, qorBorderMirrorR, qorBorderInMem),
    .refusal = qorStsBadArgErr};

template <class S>
struct Call {
  Plane<const S> src;
  Plane<Component<S>> dst;
  QoriSize size;
  QoriBorderType border;
  S value;
  Qor8u* buffer;
};

// ---- sizes: what is stated for the border of the whole image; used is a row of the constant
template <class Kernel, class S>
S* lay(ScratchParts& parts, QoriSize size) {
  return GradientRows<Kernel, S>::layConstants(parts, size);
}

constexpr int64_t roundUp32(int64_t bytes) { return roundUpTo(bytes, 32); }

template <class S>
int64_t statedSize(QoriSize size, bool small) {
  const int64_t w = size.width, h = size.height, longer = w > h ? w : h;
  if (std::is_same_v<S, Qor8u>) return roundUp32(small ? 3 * longer + 6 : 7 * longer + 28) + 32;
  const int64_t more = small ? 2 : 4, rows = small ? 3 : 7, columns = small ? 1 : 2;
  const int64_t frame =
      roundUp32((longer + more) * rows * 4) + more * roundUp32(4 * w) + roundUp32((w + h) * 2 * columns * 4);
  return roundUp32(frame) + 32;
}

template <class S>
int reported(QoriSize size, QoriMaskSize mask) {
  return reportedSize(static_cast<uint64_t>(statedSize<S>(size, mask == qorMskSize3x3)), 1,
                      bytesOf([=](ScratchParts& parts) { lay<Sobel5, S>(parts, size); }));
}

template <class S>
QorStatus bufferSize(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(maskSize));
  if (status == qorStsNoErr) *pBufferSize = reported<S>(roiSize, maskSize);
  return status;
}

QorStatus bufferSizeOfTypes(QoriSize roiSize, QoriMaskSize maskSize, QorDataType srcDataType, QorDataType dstDataType,
                            int numChannels, int* pBufferSize) {
  const bool floats = srcDataType == qor32f && dstDataType == qor32f;
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(maskSize),
                   floats ? qorStsNoErr : qorStsDataTypeErr, numChannels == 1 ? qorStsNoErr : qorStsChannelErr);
  return status == qorStsNoErr ? bufferSize<Qor32f>(roiSize, maskSize, pBufferSize) : status;
}

// ---- images
template <class Kernel, bool x, class S>
QorStatus derive(const Call<S>& call, QoriMaskSize mask) {
  const auto layOf = [&](ScratchParts& parts) { return lay<Kernel, S>(parts, call.size); };
  const int bytes = reported<S>(call.size, mask);
  const int64_t needed = bytesOf(layOf);
  if (needed > bytes) return qorStsSizeErr;
  ScratchParts parts(call.buffer, bytes, needed);
  const GradientRows<Kernel, S> rows(call.src, call.size, borders.sides(call.border, call.size), call.value,
                                     layOf(parts));
  for (int y = 0; y < call.size.height; ++y) {
    Component<S>* const d = call.dst.row(y);
    rows.row(y, GradientOut<x, !x, Component<S>>{d, d});
  }
  return qorStsNoErr;
}

// The x component, or y.
template <bool x, class S>
QorStatus sobel(const Call<S>& call, QoriMaskSize maskSize) {
  const QorStatus status = firstFailure(nullCheck(call.src.first, call.dst.first, call.buffer), sizeCheck(call.size),
                                        evenCheck<S>(call.src.step), evenCheck<Component<S>>(call.dst.step),
                                        maskCheck(maskSize), borders.check(call.border));
  if (status != qorStsNoErr) return status;
  return maskSize == qorMskSize3x3 ? derive<Sobel3, x>(call, maskSize) : derive<Sobel5, x>(call, maskSize);
}

}  // namespace

QorStatus qoriFilterSobelHorizBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                               QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                               Qor8u borderValue, Qor8u* pBuffer) {
  return sobel<false, Qor8u>({{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, maskSize);
}
QorStatus qoriFilterSobelVertBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                              QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                              Qor8u borderValue, Qor8u* pBuffer) {
  return sobel<true, Qor8u>({{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, borderValue, pBuffer}, maskSize);
}
QorStatus qoriFilterSobelHorizBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                             QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                             Qor8u* pBuffer) {
  return sobel<false, Qor32f>({{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, 0.0F, pBuffer}, maskSize);
}
QorStatus qoriFilterSobelVertBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                            Qor8u* pBuffer) {
  return sobel<true, Qor32f>({{pSrc, srcStep}, {pDst, dstStep}, roiSize, borderType, 0.0F, pBuffer}, maskSize);
}

QorStatus qoriFilterSobelHorizGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSize<Qor8u>(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelVertGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSize<Qor8u>(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelHorizGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSize<Qor32f>(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelVertGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSize<Qor32f>(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelHorizBorderGetBufferSize(QoriSize roiSize, QoriMaskSize maskSize, QorDataType srcDataType,
                                                  QorDataType dstDataType, int numChannels, int* pBufferSize) {
  return bufferSizeOfTypes(roiSize, maskSize, srcDataType, dstDataType, numChannels, pBufferSize);
}
QorStatus qoriFilterSobelVertBorderGetBufferSize(QoriSize roiSize, QoriMaskSize maskSize, QorDataType srcDataType,
                                                 QorDataType dstDataType, int numChannels, int* pBufferSize) {
  return bufferSizeOfTypes(roiSize, maskSize, srcDataType, dstDataType, numChannels, pBufferSize);
}

}  // namespace qor
