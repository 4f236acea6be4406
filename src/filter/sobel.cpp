#include "filter/sobel.h"

#include "filter/gradient_rows.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class Kernel, bool x, class S>
void derive(Plane<const S> src, Plane<Component<S>> dst, QoriSize roiSize, QoriBorderType border, S value,
            Qor8u* pBuffer) {
  const GradientRows<Kernel, S> rows(src, roiSize, border, value, alignUp<S>(pBuffer, sizeof(S)));
  for (int y = 0; y < roiSize.height; ++y) {
    Component<S>* const d = dst.row(y);
    rows.row(y, GradientOut<x, !x, Component<S>>{d, d});
  }
}

// The x component, or y.
template <bool x, class S>
QorStatus sobel(const S* pSrc, int srcStep, Component<S>* pDst, int dstStep, QoriSize roiSize, QoriMaskSize maskSize,
                QoriBorderType border, S value, Qor8u* pBuffer) {
  const bool goodBorder = isBorder(border, ruleBit(qorBorderConst) | ruleBit(qorBorderRepl) | ruleBit(qorBorderMirror) |
                                               ruleBit(qorBorderMirrorR) | ruleBit(qorBorderInMem));
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pBuffer), sizeCheck(roiSize), evenCheck<S>(srcStep),
                   evenCheck<Component<S>>(dstStep), maskCheck(maskSize), goodBorder ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  const Plane<const S> src{pSrc, srcStep};
  const Plane<Component<S>> dst{pDst, dstStep};
  if (maskSize == qorMskSize3x3) {
    derive<Sobel3, x>(src, dst, roiSize, border, value, pBuffer);
  } else {
    derive<Sobel5, x>(src, dst, roiSize, border, value, pBuffer);
  }
  return qorStsNoErr;
}

constexpr int64_t roundUp32(int64_t bytes) { return (bytes + 31) & ~int64_t{31}; }

template <class Size>
QorStatus reportSize(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, const Size& size) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(maskSize));
  if (status != qorStsNoErr) return status;
  const int64_t longer = roiSize.width > roiSize.height ? roiSize.width : roiSize.height;
  *pBufferSize = static_cast<int>(roundUp32(size(longer, maskSize == qorMskSize3x3)) + 32);
  return qorStsNoErr;
}

QorStatus bufferSizeOfBytes(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return reportSize(roiSize, maskSize, pBufferSize,
                    [](int64_t longer, bool small) { return small ? 3 * longer + 6 : 7 * longer + 28; });
}

QorStatus bufferSizeOfFloats(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return reportSize(roiSize, maskSize, pBufferSize, [=](int64_t longer, bool small) {
    const int64_t more = small ? 2 : 4, rows = small ? 3 : 7, columns = small ? 1 : 2;
    const int64_t w = roiSize.width, h = roiSize.height;
    return roundUp32((longer + more) * rows * 4) + more * roundUp32(4 * w) + roundUp32((w + h) * 2 * columns * 4);
  });
}

QorStatus bufferSizeOfTypes(QoriSize roiSize, QoriMaskSize maskSize, QorDataType srcDataType, QorDataType dstDataType,
                            int numChannels, int* pBufferSize) {
  const bool floats = srcDataType == qor32f && dstDataType == qor32f;
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(maskSize),
                   floats ? qorStsNoErr : qorStsDataTypeErr, numChannels == 1 ? qorStsNoErr : qorStsChannelErr);
  return status == qorStsNoErr ? bufferSizeOfFloats(roiSize, maskSize, pBufferSize) : status;
}

}  // namespace

QorStatus qoriFilterSobelHorizBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                               QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                               Qor8u borderValue, Qor8u* pBuffer) {
  return sobel<false>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, pBuffer);
}
QorStatus qoriFilterSobelVertBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                              QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                              Qor8u borderValue, Qor8u* pBuffer) {
  return sobel<true>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, borderValue, pBuffer);
}
QorStatus qoriFilterSobelHorizBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                             QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                             Qor8u* pBuffer) {
  return sobel<false>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, 0.0F, pBuffer);
}
QorStatus qoriFilterSobelVertBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                            Qor8u* pBuffer) {
  return sobel<true>(pSrc, srcStep, pDst, dstStep, roiSize, maskSize, borderType, 0.0F, pBuffer);
}

QorStatus qoriFilterSobelHorizGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSizeOfBytes(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelVertGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSizeOfBytes(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelHorizGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSizeOfFloats(roiSize, maskSize, pBufferSize);
}
QorStatus qoriFilterSobelVertGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize) {
  return bufferSizeOfFloats(roiSize, maskSize, pBufferSize);
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
