// Gradients of an image in one sweep: components, magnitude and angle, each if its pointer is not null.
//
//     Gx, Gy    Sobel 3x3 or 5x5, or Scharr 3x3, with the taps of the fixed filters of these names: left minus right
//               for Sobel, right minus left for Scharr, below minus above for both
//     Mag       qorNormL1: |Gx| + |Gy|;  qorNormL2: sqrt(Gx * Gx + Gy * Gy)
//     Angle     atan2(Gy, Gx) in radians, -pi to pi
//
// From 8u the components are exact, the L2 magnitude is the exact root rounded to nearest (ties do not occur), and the
// angle has 21 correct bits. From 32f every step is rounded to 32-bit float in an order that is the same for all
// pixels, so tiles join without a seam; magnitude and angle are those of qorsMagnitude_32f and qorsAtan2_32f_A21.
//
// The border is a rule with flags as frame/outside.h has it: rules 0, 1 and 6. No output may share memory with the
// source. Scratch: the reported size, at any byte. All runs on the calling thread, but for magnitudes of long float
// rows.
//
// Statuses in the order of the checks: source null, its step below 1 (qorStsStepErr), not a multiple of the sample
// (qorStsNotEvenStepErr); scratch null; for Gx, Gy and Mag, if not null, the two tests of the step; with Mag the norm
// (qorStsBadArgErr); with Angle the two tests of its step, against 4 bytes; size; border (qorStsBadArgErr); mask
// (qorStsMaskSizeErr); no room in the reported size (qorStsSizeErr).
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Statuses: null, size, mask, then dataType (8u, 16u, 16s, 32f; qorStsDataTypeErr), numChannels (1, 3;
// qorStsChannelErr).
QorStatus qoriGradientVectorGetBufferSize(QoriSize roiSize, QoriMaskSize mask, QorDataType dataType, int numChannels,
                                          int* pBufferSize);

#define QOR_GRADIENT_VECTOR(name, S, D)                                                                    \
  QorStatus name(const S* pSrc, int srcStep, D* pGx, int gxStep, D* pGy, int gyStep, D* pMag, int magStep, \
                 Qor32f* pAngle, int angleStep, QoriSize roiSize, QoriMaskSize mask, QorNormType norm,     \
                 QoriBorderType borderType, S borderValue, Qor8u* pBuffer);
QOR_GRADIENT_VECTOR(qoriGradientVectorSobel_8u16s_C1R, Qor8u, Qor16s)
QOR_GRADIENT_VECTOR(qoriGradientVectorSobel_32f_C1R, Qor32f, Qor32f)
QOR_GRADIENT_VECTOR(qoriGradientVectorScharr_8u16s_C1R, Qor8u, Qor16s)
QOR_GRADIENT_VECTOR(qoriGradientVectorScharr_32f_C1R, Qor32f, Qor32f)
#undef QOR_GRADIENT_VECTOR

}  // namespace qor
