// Sobel derivatives of one direction, 3x3 or 5x5: one component of the Sobel gradient vector (gradient_vector.h), with
// the taps of the fixed filters SobelVert (x, left minus right) and SobelHoriz (y, below minus above).
//
// Borders: rules 0, 1, 3, 4 and 6 with flags as frame/outside.h has it; the 32f forms take 0.0 for the constant. From
// 8u the results are exact; from 32f they are those of the gradient vector bit for bit. Scratch: the reported size, at
// any byte. All runs on the calling thread. Source and destination may not overlap.
//
// Statuses in the order of the checks: null; size; qorStsNotEvenStepErr for a step that is not a multiple of its
// sample; qorStsMaskSizeErr; qorStsBadArgErr for the border; qorStsSizeErr for a reported size without room. Steps have
// no minimum. The size queries: null; size; mask; those that take types and channels accept 32f and one channel alone
// (qorStsDataTypeErr, qorStsChannelErr).
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

QorStatus qoriFilterSobelHorizBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                               QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                               Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelVertBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                              QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                              Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelHorizBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                             QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                             Qor8u* pBuffer);
QorStatus qoriFilterSobelVertBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                            Qor8u* pBuffer);

QorStatus qoriFilterSobelHorizGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelVertGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelHorizGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelVertGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelHorizBorderGetBufferSize(QoriSize roiSize, QoriMaskSize maskSize, QorDataType srcDataType,
                                                  QorDataType dstDataType, int numChannels, int* pBufferSize);
QorStatus qoriFilterSobelVertBorderGetBufferSize(QoriSize roiSize, QoriMaskSize maskSize, QorDataType srcDataType,
                                                 QorDataType dstDataType, int numChannels, int* pBufferSize);

}  // namespace qor
