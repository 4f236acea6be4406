// Internal operations that put a border around an image.
//
// The source lands in the destination at (left, top); the right and bottom borders are what remains of the destination.
// Checks, in order: null pointers; steps below 1 (qorStsStepErr); a width or height below 1, a border below 0, a
// destination that does not hold source and border (qorStsSizeErr).
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Everything around the source takes value. A source that stands in its place already stays as it is.
QorStatus qoriCopyConstBorder_8u_C1R(const Qor8u* pSrc, int srcStep, QoriSize srcRoiSize, Qor8u* pDst, int dstStep,
                                     QoriSize dstRoiSize, int topBorderHeight, int leftBorderWidth, Qor8u value);
QorStatus qoriCopyConstBorder_16s_C1R(const Qor16s* pSrc, int srcStep, QoriSize srcRoiSize, Qor16s* pDst, int dstStep,
                                      QoriSize dstRoiSize, int topBorderHeight, int leftBorderWidth, Qor16s value);
QorStatus qoriCopyConstBorder_16u_C1R(const Qor16u* pSrc, int srcStep, QoriSize srcRoiSize, Qor16u* pDst, int dstStep,
                                      QoriSize dstRoiSize, int topBorderHeight, int leftBorderWidth, Qor16u value);
QorStatus qoriCopyConstBorder_32s_C1R(const Qor32s* pSrc, int srcStep, QoriSize srcRoiSize, Qor32s* pDst, int dstStep,
                                      QoriSize dstRoiSize, int topBorderHeight, int leftBorderWidth, Qor32s value);
QorStatus qoriCopyConstBorder_32f_C1R(const Qor32f* pSrc, int srcStep, QoriSize srcRoiSize, Qor32f* pDst, int dstStep,
                                      QoriSize dstRoiSize, int topBorderHeight, int leftBorderWidth, Qor32f value);

// The border repeats the nearest edge pixel. When source and destination are the same pointer the call is the in-place
// form with the source's step, ahead of all checks.
#define QOR_REPLICATE_BORDER(name, T)                                                                        \
  QorStatus name(const T* pSrc, int srcStep, QoriSize srcRoiSize, T* pDst, int dstStep, QoriSize dstRoiSize, \
                 int topBorderHeight, int leftBorderWidth);
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_8u_C1R, Qor8u)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_8u_C3R, Qor8u)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_8u_C4R, Qor8u)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_16s_C1R, Qor16s)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_16u_C1R, Qor16u)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32s_C1R, Qor32s)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32s_C3R, Qor32s)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32s_C4R, Qor32s)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32f_C1R, Qor32f)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32f_C3R, Qor32f)
QOR_REPLICATE_BORDER(qoriCopyReplicateBorder_32f_C4R, Qor32f)
#undef QOR_REPLICATE_BORDER

// In place: pSrc is the first pixel of the inner image, which stands in the larger buffer already; the writes lie
// around it, above and to the left of pSrc too.
QorStatus qoriCopyReplicateBorder_8u_C1IR(Qor8u* pSrc, int srcDstStep, QoriSize srcRoiSize, QoriSize dstRoiSize,
                                          int topBorderHeight, int leftBorderWidth);
QorStatus qoriCopyReplicateBorder_16s_C1IR(Qor16s* pSrc, int srcDstStep, QoriSize srcRoiSize, QoriSize dstRoiSize,
                                           int topBorderHeight, int leftBorderWidth);
QorStatus qoriCopyReplicateBorder_32s_C1IR(Qor32s* pSrc, int srcDstStep, QoriSize srcRoiSize, QoriSize dstRoiSize,
                                           int topBorderHeight, int leftBorderWidth);

}  // namespace qor
