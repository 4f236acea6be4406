/**
 * @file filter.h
 * Linear filters: row and column pipelines, fixed kernels with borders, Gaussians, colour gradients.
 */
#ifndef QORCV_FILTER_H
#define QORCV_FILTER_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup pipelines Row and column pipelines
 * @{
 */
QorStatus qoriFilterRowBorderPipeline_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* const* ppDst, QoriSize roiSize,
                                                const Qor16s* pKernel, int kernelSize, int xAnchor,
                                                QoriBorderType borderType, Qor8u borderValue, int divisor,
                                                Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_8u16s_C3R(const Qor8u* pSrc, int srcStep, Qor16s* const* ppDst, QoriSize roiSize,
                                                const Qor16s* pKernel, int kernelSize, int xAnchor,
                                                QoriBorderType borderType, const Qor8u* pBorderValue, int divisor,
                                                Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* const* ppDst, QoriSize roiSize,
                                              const Qor16s* pKernel, int kernelSize, int xAnchor,
                                              QoriBorderType borderType, Qor16s borderValue, int divisor,
                                              Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_16s_C3R(const Qor16s* pSrc, int srcStep, Qor16s* const* ppDst, QoriSize roiSize,
                                              const Qor16s* pKernel, int kernelSize, int xAnchor,
                                              QoriBorderType borderType, const Qor16s* pBorderValue, int divisor,
                                              Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* const* ppDst, QoriSize roiSize,
                                              const Qor16u* pKernel, int kernelSize, int xAnchor,
                                              QoriBorderType borderType, Qor16u borderValue, int divisor,
                                              Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_16u_C3R(const Qor16u* pSrc, int srcStep, Qor16u* const* ppDst, QoriSize roiSize,
                                              const Qor16u* pKernel, int kernelSize, int xAnchor,
                                              QoriBorderType borderType, const Qor16u* pBorderValue, int divisor,
                                              Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* const* ppDst, QoriSize roiSize,
                                              const Qor32f* pKernel, int kernelSize, int xAnchor,
                                              QoriBorderType borderType, Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* const* ppDst, QoriSize roiSize,
                                              const Qor32f* pKernel, int kernelSize, int xAnchor,
                                              QoriBorderType borderType, const Qor32f* pBorderValue, Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_Low_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* const* ppDst,
                                                  QoriSize roiSize, const Qor16s* pKernel, int kernelSize, int xAnchor,
                                                  QoriBorderType borderType, Qor16s borderValue, int divisor,
                                                  Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipeline_Low_16s_C3R(const Qor16s* pSrc, int srcStep, Qor16s* const* ppDst,
                                                  QoriSize roiSize, const Qor16s* pKernel, int kernelSize, int xAnchor,
                                                  QoriBorderType borderType, const Qor16s* pBorderValue, int divisor,
                                                  Qor8u* pBuffer);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_8u16s_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_16s_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_16s_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_16u_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_16u_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_32f_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_32f_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_Low_16s_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterRowBorderPipelineGetBufferSize_Low_16s_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipeline_16s_C1R(const Qor16s* const* ppSrc, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                           const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16s_C3R(const Qor16s* const* ppSrc, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                           const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16s8s_C1R(const Qor16s* const* ppSrc, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                             const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16s8s_C3R(const Qor16s* const* ppSrc, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                             const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16s8u_C1R(const Qor16s* const* ppSrc, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                             const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16s8u_C3R(const Qor16s* const* ppSrc, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                             const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16u_C1R(const Qor16u* const* ppSrc, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                           const Qor16u* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_16u_C3R(const Qor16u* const* ppSrc, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                           const Qor16u* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_32f_C1R(const Qor32f* const* ppSrc, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           const Qor32f* pKernel, int kernelSize, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_32f_C3R(const Qor32f* const* ppSrc, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           const Qor32f* pKernel, int kernelSize, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_Low_16s_C1R(const Qor16s* const* ppSrc, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                               const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipeline_Low_16s_C3R(const Qor16s* const* ppSrc, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                               const Qor16s* pKernel, int kernelSize, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterColumnPipelineGetBufferSize_16s_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16s_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16s8s_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16s8s_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16s8u_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16s8u_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16u_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_16u_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_32f_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_32f_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_Low_16s_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterColumnPipelineGetBufferSize_Low_16s_C3R(QoriSize roiSize, int kernelSize, int* pBufferSize);
/** @} */

/**
 * @defgroup fixed_filters Fixed-kernel border filters
 *
 * Derivatives and means of one-channel images with fixed kernels of 3x3 or 5x5 taps. A filter is a correlation with the
 * outer product of a kernel r along the row and a kernel c down the columns, K taps each, with the image continued by
 * the border rule; tap 0 meets the leftmost or topmost pixel:
 *
 *     dst(x, y) = sum over j, i of c[j] * r[i] * src(x + i - K / 2, y + j - K / 2)
 *
 *     kernel      3 taps      5 taps                 filter             along r   down c
 *     Sobel       1  2  1     1  4  6  4  1          SobelHoriz         Sobel     Dx
 *     Dx         -1  0  1    -1 -2  0  2  1          SobelVert          -Dx       Sobel
 *     D2x         1 -2  1     1  0 -2  0  1          SobelNegVert       Dx        Sobel
 *     Avr         1  1  1     1  1  1  1  1          SobelHorizSecond   Sobel     D2x
 *     Scharr      3 10  3                            SobelVertSecond    D2x       Sobel
 *                                                    SobelCross         -Dx       Dx
 *                                                    ScharrHoriz        Scharr    Dx      3x3 only
 *                                                    ScharrVert         Dx        Scharr  3x3 only
 *                                                    Lowpass            Avr       Avr
 *
 *     Laplacian 3x3   [2 0 2; 0 -8 0; 2 0 2]
 *     Laplacian 5x5   Sobel along with D2x down, plus D2x along with Sobel down
 *
 * Results:
 * - 8u16s: the exact sum; every sum fits.
 * - 8u8s: the exact sum times the 32-bit float 1 / divisor, clamped to -128..127 and rounded to nearest with ties to
 *   even in the columns of full blocks of four, but truncated towards zero in the width % 4 columns behind the last of
 *   them, and by the 5x5 Laplacian in all columns. The divisor may be negative.
 * - 32f: sums in 32-bit float, first along the rows, then down the columns. Either sum starts with the outermost pair
 *   of samples, added or subtracted, then goes inwards, each pair formed before it is weighted, the middle sample last.
 *   The two parts of the 5x5 Laplacian are added at the end; the 3x3 one is 2 * (L above + L below) - 8 * src, L being
 *   the sum of the pixels to the left and right. Nothing is clamped, and the bits are the same on every path.
 * - Lowpass of 8u, S being the sum of the pixels: ((S + 5) * 7280) >> 16 for 3x3, (S * 2621) >> 16 for 5x5, which does
 *   not round: 5x5 pixels of 255 give 254. Lowpass of 32f: the sum times 0.11111111f or 0.04f.
 *
 * @b Border: one of the six rules for the pixels outside the region, with flags for sides that are in memory and are
 * read K / 2 pixels deep. qorBorderMirror and qorBorderMirrorR go back and forth in images smaller than their reach.
 * Left and right sides, row by row: qorBorderInMemLeft and qorBorderInMemRight are heeded with qorBorderConst and
 * qorBorderRepl and ignored with the other rules, but with either of them qorBorderMirror repeats the edge pixel, as it
 * does in a row of one pixel. Rows above and below: qorBorderInMemTop and qorBorderInMemBottom are heeded with every
 * rule; a reflection whose other side is in memory goes on there instead of turning back. Under qorBorderConst a whole
 * row outside the image is constant, beyond the corners too and also where left or right sides are in memory; along it,
 * a kernel gives borderValue times the sum of its taps.
 * qorBorderInMem, and all four flags with any rule, reads memory on every side. borderValue is used under
 * qorBorderConst alone.
 *
 * @b Region: the region is read, and what the border takes from memory around it. @b In place:
 * qoriFilterLowpassBorder_32f_C1R may write onto its source with the same step under qorBorderRepl, as long as it does
 * not go parallel; otherwise source and destination must not overlap. @b Scratch: pBuffer holds a few rows, at any
 * address, of the size that the filter's own query reports for the same region and mask; the report grows with the
 * thread count, so the count must not be raised between query and call. Sizes are counted in 32 bits that wrap.
 *
 * @b Threads: a call is shared among the team when the count of threads T is 2 or more, width is 256 or more, height is
 * both 5 * T and 256 or more (64 for qoriFilterLaplacianBorder_8u8s_C1R), and the processor has more than one core. The
 * team takes at least 128 rows a thread (32 for that one), at most one thread a core. The result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for a step below width * sample size, the source's first; qorStsNotEvenStepErr for a
 * 32f step or a 16s step that is not a multiple of the sample size; qorStsBadArgErr for a border whose low four bits
 * are no rule or that exceeds 255; qorStsBadArgErr for a divisor of 0; qorStsMaskSizeErr. Queries: qorStsNullPtrErr;
 * qorStsSizeErr for a width, then a height below 1; qorStsMaskSizeErr.
 * @{
 */
QorStatus qoriFilterSobelHorizBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                              QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                              Qor8u borderValue, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterSobelHorizGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelVertBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                             QoriMaskSize maskSize, QoriBorderType borderType, Qor8u borderValue,
                                             int divisor, Qor8u* pBuffer);
QorStatus qoriFilterSobelVertGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelNegVertBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                                QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                Qor8u borderValue, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterSobelNegVertBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                                 QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                 Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelNegVertBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                               QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                               Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelNegVertGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelNegVertGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelNegVertGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelHorizSecondBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                                    QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                    Qor8u borderValue, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterSobelHorizSecondBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                                     QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                     Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelHorizSecondBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                                   QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                   Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelHorizSecondGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelHorizSecondGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelHorizSecondGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelVertSecondBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                                   QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                   Qor8u borderValue, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterSobelVertSecondBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                                    QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                    Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelVertSecondBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                                  QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                                  Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelVertSecondGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelVertSecondGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelVertSecondGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelCrossBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                              QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                              Qor8u borderValue, int divisor, Qor8u* pBuffer);
QorStatus qoriFilterSobelCrossBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                               QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                               Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelCrossBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                             QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                             Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriFilterSobelCrossGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelCrossGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterSobelCrossGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterScharrHorizBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                               QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                               int divisor, Qor8u* pBuffer);
QorStatus qoriFilterScharrHorizBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                                QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                                Qor8u* pBuffer);
QorStatus qoriFilterScharrHorizBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                              QoriSize roiSize, QoriBorderType borderType, Qor32f borderValue,
                                              Qor8u* pBuffer);
QorStatus qoriFilterScharrHorizGetBufferSize_8u8s_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFilterScharrHorizGetBufferSize_8u16s_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFilterScharrHorizGetBufferSize_32f_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFilterScharrVertBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep,
                                              QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                              int divisor, Qor8u* pBuffer);
QorStatus qoriFilterScharrVertBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                               QoriSize roiSize, QoriBorderType borderType, Qor8u borderValue,
                                               Qor8u* pBuffer);
QorStatus qoriFilterScharrVertBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                             QoriSize roiSize, QoriBorderType borderType, Qor32f borderValue,
                                             Qor8u* pBuffer);
QorStatus qoriFilterScharrVertGetBufferSize_8u8s_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFilterScharrVertGetBufferSize_8u16s_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFilterScharrVertGetBufferSize_32f_C1R(QoriSize roiSize, int* pBufferSize);
QorStatus qoriFilterLaplacianBorder_8u8s_C1R(const Qor8u* pSrc, int srcStep, Qor8s* pDst, int dstStep, QoriSize roiSize,
                                             QoriMaskSize maskSize, QoriBorderType borderType, Qor8u borderValue,
                                             int divisor, Qor8u* pBuffer);
QorStatus qoriFilterLaplacianBorder_8u16s_C1R(const Qor8u* pSrc, int srcStep, Qor16s* pDst, int dstStep,
                                              QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                              Qor8u borderValue, Qor8u* pBuffer);
QorStatus qoriFilterLaplacianBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriMaskSize maskSize, QoriBorderType borderType,
                                            Qor32f borderValue, Qor8u* pBuffer);
QorStatus qoriFilterLaplacianGetBufferSize_8u8s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterLaplacianGetBufferSize_8u16s_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterLaplacianGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterLowpassBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                         QoriMaskSize maskSize, QoriBorderType borderType, Qor8u borderValue,
                                         Qor8u* pBuffer);
QorStatus qoriFilterLowpassBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                          QoriMaskSize maskSize, QoriBorderType borderType, Qor32f borderValue,
                                          Qor8u* pBuffer);
QorStatus qoriFilterLowpassGetBufferSize_8u_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
QorStatus qoriFilterLowpassGetBufferSize_32f_C1R(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize);
/** @} */

/**
 * @defgroup sobel_kernel Sobel kernels of any length
 *
 * Taps of a Sobel kernel along one axis: kernelSize - 1 - dx smoothing steps (1 1) and dx differences (-1 1), folded;
 * negated when sign is below 0. Length 5 gives 1 4 6 4 1 for dx 0, length 3 gives -1 0 1 for dx 1 and 1 -2 1 for dx 2.
 * 16s taps wrap in 16 bits, which begins at length 19; 32f taps are summed in 32-bit float.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr; qorStsSizeErr for a kernelSize that is below 1 or even, or
 * a dx below 0 or not below kernelSize.
 * @{
 */
QorStatus qoriGenSobelKernel_16s(Qor16s* pDst, int kernelSize, int dx, int sign);
QorStatus qoriGenSobelKernel_32f(Qor32f* pDst, int kernelSize, int dx, int sign);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
