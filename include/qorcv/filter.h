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
 *
 * The two halves of a separable filter. The row pipeline filters rows of an image along themselves, with K taps k and
 * the tap of index a (xAnchor) over the output pixel, into rows that the caller points at; the column pipeline filters
 * rows that the caller points at down their columns, into an image:
 *
 *     row[y][x]    = then(sum of k[i] * ext(y, x - a + i) over i = 0 .. K - 1)
 *     column[y][x] = then(sum of k[i] * ppSrc[y + i][x] over i = 0 .. K - 1)
 *
 * Both are correlations: tap 0 meets the leftmost or topmost sample. ext is the source row with its border. ppDst holds
 * height addresses of rows of width pixels, ppSrc height + K - 1. Addresses may repeat, so a ring of rows serves in
 * place of an intermediate image; in ppDst a repeated address holds the last of its rows as long as the call does not
 * go parallel. Nothing is kept between calls, and a caller may feed one row at a time. The column
 * pipeline has no border: what stands above and below the image is in the rows that the caller points at, by repeating
 * the address of the first and last row or otherwise. Of three channels each is filtered alone, by the same taps.
 *
 * @b Rounding: the result is divided by the divisor, that is multiplied by the 32f number inv = 1 / divisor, and turned
 * into an integer in one of two ways. Inside a row (columns a to W - K + a of a row pass; columns in full blocks of a
 * column pass) it is rounded to nearest, ties to even. In the first a and the last K - 1 - a columns of a row pass,
 * and in the remainder columns of a column pass, it is truncated towards zero. Both saturate. Full blocks of a column
 * pass are 4 samples for K = 3 and 5 (8 in the Low members) and 16 for any other K; what is left at the end of a row of
 * width * channels samples are remainder columns. The 32f members store the sum as it is. p is a sample, float sums are
 * 32f, added in the order of the taps:
 *
 * | Row member | Sum inside | Sum at the ends |
 * |---|---|---|
 * | 8u16s | exact sum of k * p in 32 bits (it wraps), times inv | the same |
 * | 16s_C1, K = 3, 5, absolute taps adding up to less than 65535 | exact sum, times inv | (1) |
 * | 16s_C1, K = 3, 5, otherwise; 16s_C3, K = 3, 5 | (2) | (1) |
 * | 16s, other K | float sum of pairs (3), times inv | (2) |
 * | 16s_C1, other K, with a tap of -32768 | (2) | (2) |
 * | 16s, other K, W - K of 15 or less | (2), truncated as at the ends | (2) |
 * | 16u (taps unsigned) | (1) | (1) |
 * | 32f | float sum of k * p | the same |
 *
 * (1) float sum of k * p, times inv. (2) float sum of p * (k * inv). (3) each the exact k[i] * p[i] + k[i+1] * p[i+1]
 * for even i.
 *
 * In 16s_C3 a pair of taps of -32768 over samples of -32768 wraps in 32 bits.
 *
 * | Column member | Sum |
 * |---|---|
 * | 16s, 16s8s, 16s8u | float sum of p * (k * inv) |
 * | 16u (taps unsigned) | float sum of k * p, times inv |
 * | 32f | float sum of k * p |
 *
 * The @b Low_16s members are for data known to stay small. scale = 16384 / divisor, in 32f, truncated. Inside a row
 * products and sums wrap in 16 bits, and the result is (sum * scale) >> 14, saturated. In the first and last columns
 * of a row pass, and in the remainder columns of a column pass, the sum has 32 bits, its product with scale wraps in 32
 * bits, and the low 16 bits of the product >> 14 are stored. One shape wraps in 16 bits in every column: K = 5,
 * k[0] = k[4], k[1] = k[3], divisor 16, and in a row pass a = 2, qorBorderRepl, width above 10, in a column pass a
 * height of at least 3.
 *
 * @b Border of the rows: qorBorderConst (the border value, one sample or three), qorBorderRepl, or qorBorderInMem: a
 * pixels left and K - 1 - a pixels right of every row are then read from memory. No flags are taken.
 *
 * @b Region: of the source the region is read, with qorBorderInMem the columns beside it, nothing else; the rows of the
 * destination are written, width pixels each. @b In @b place: no; no destination row may overlap a source row, or a
 * destination row at another address. Where Low_16s_C3R accepts a step below the bytes of a row, the rows overlap and
 * the later one stands.
 *
 * @b Scratch: pBuffer, any alignment, of the size that the query of the same ending reports for the region, K and the
 * thread count at the time; the count must not be raised between query and call. Sizes are computed in wrapping 32-bit
 * arithmetic; a call takes as many threads as have room in what is reported for it. With T threads, n(x, m) the
 * multiple of m from x on: the members that go parallel report T * (32 + 8 * (height + K) + P), where P in bytes is in
 * a row pass 36 * K + 112 (8u16s_C1), 60 * K + 112 (8u16s_C3), 48 * K + 80 (16s_C1), 40 * K + 64 (16s_C3), 64 * K + 80
 * (32f_C1), 192 * K + 64 (32f_C3), 24 * K + 64 (Low_16s_C1), 208 * K + 64 (Low_16s_C3), in a column pass
 * 12 * channels * n(width, 4) + 32, in the Low members 12 * channels * n(width, 8) + 32. The serial members report
 * 48 * K + 80 (row 16u_C1), 112 * K + 80 (row 16u_C3), 16 * K + 32 (column 16u_C1, 32f), 36 * n(3 * width, 4) + 32
 * (column 16u_C3).
 *
 * @b Threads: bands of rows, from width * height of 32768 times the thread count on. Row 32f_C1 and the column members
 * with 3 or 5 taps stay serial on one core. The 16u members and column 32f never go parallel. Results do not depend
 * on it.
 *
 * @b Statuses of the row pipeline, in the order of the checks: qorStsNullPtrErr for a null pSrc, ppDst, pKernel or
 * pBuffer; qorStsSizeErr for a width or height below 1; qorStsNullPtrErr for a null row in ppDst, then for a null
 * pBorderValue; qorStsSizeErr for kernelSize below 1; qorStsAnchorErr for xAnchor outside 0 .. K - 1; qorStsStepErr for
 * srcStep below the bytes of a row, counted in 64 bits; qorStsNotEvenStepErr for a step that is not a multiple of the
 * sample size; qorStsBadArgErr for a border other than 0, 1, 6; qorStsBadArgErr for a divisor of 0, in the 16u members
 * for any below 1; qorStsSizeErr where the report has wrapped and has no room for one thread.
 *
 * Of the column pipeline: qorStsNullPtrErr for a null ppSrc, pDst or pKernel; qorStsSizeErr for a width or height below
 * 1; qorStsNullPtrErr for a null row among the height + kernelSize - 1 of ppSrc; qorStsSizeErr for kernelSize below 1;
 * qorStsStepErr for dstStep below the bytes of a row (in Low_16s_C3R of a third of it); qorStsNotEvenStepErr as above;
 * qorStsNullPtrErr for a null pBuffer; qorStsBadArgErr for a divisor of 0; qorStsSizeErr as above.
 *
 * Of the queries: qorStsNullPtrErr for pBufferSize; qorStsSizeErr for a width, height or kernelSize below 1.
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
 * rule; a reflection whose other side is in memory goes on there instead of turning back, but an image of one row
 * repeats that row. Under qorBorderConst a whole row outside the image is constant, beyond the corners too and also
 * where left or right sides are in memory; along it, a kernel gives borderValue times the sum of its taps.
 * qorBorderInMem, and all four flags with any rule, reads memory on every side. borderValue is used under
 * qorBorderConst alone.
 *
 * @b Region: the region is read, and what the border takes from memory around it. @b In place:
 * qoriFilterLowpassBorder_32f_C1R may write onto its source with the same step under qorBorderRepl, as long as it does
 * not go parallel; otherwise source and destination must not overlap. @b Scratch: pBuffer holds a few rows, at any
 * address, of the size that the filter's own query reports for the same region and mask; the report grows with the
 * thread count, so the count must not be raised between query and call. A size beyond 31 bits is reported as what the
 * filter needs, if that fits them, else as its low 32 bits. No filter writes behind its report: it takes as many
 * threads as have room in it.
 *
 * @b Threads: a call is shared among the team when the count of threads T is 2 or more, width is 256 or more, height is
 * both 5 * T and 256 or more (64 for qoriFilterLaplacianBorder_8u8s_C1R), and the processor has more than one core. The
 * team takes at least 128 rows a thread (32 for that one), at most one thread a core. The result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for a step below width * sample size, the source's first; qorStsNotEvenStepErr for a
 * 32f step or a 16s step that is not a multiple of the sample size; qorStsBadArgErr for a border whose low four bits
 * are no rule or that exceeds 255; qorStsBadArgErr for a divisor of 0; qorStsMaskSizeErr; qorStsSizeErr where the
 * report has no room for one thread. Queries: qorStsNullPtrErr; qorStsSizeErr for a width, then a height below 1;
 * qorStsMaskSizeErr.
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

/**
 * @defgroup gaussian Gaussian filters
 *
 * Smoothing by a Gaussian of standard deviation sigma, cut to K taps a direction (K odd, at least 3), as two passes:
 * along the rows by qoriFilterRowBorderPipeline_*() with the anchor K / 2, then down the columns by
 * qoriFilterColumnPipeline_*(), both with the same taps. With d = (sigma + sigma) * sigma, all in 32-bit float,
 *
 *     g[i] = exp(-(i - K / 2)^2 / d),    s = sum of g[i], i ascending,    t[i] = g[i] / s
 *
 * A sigma so small that d is 0 gives the middle tap alone, one so large that d is infinite gives equal taps.
 *
 * @b Record: qoriFilterGaussianInit() fills memory of the caller's, of the size that qoriFilterGaussianGetBufferSize()
 * reports, at any address. It holds five 32-bit integers: K, 20, the data type, the border, the shift (12 for 8u, 15
 * for 16u and 16s, 0 for 32f); and from byte 32 on the taps: 8u and 16s as Qor16s, 16u as Qor16u, each
 *
 *     tap[i] = truncate(t[i] * 2^shift + 0.5)
 *
 * with the product in 32-bit float, 32f as t[i] four times in a row. Integer taps are not corrected: their sum may
 * differ from 2^shift a little. A tap of 32768 (16s, very small sigma) wraps to -32768. A record holds no pointer, so a
 * copy of its bytes is a record. Only the scratch depends on the region: a record serves regions of any size and, as
 * taps do not depend on channels, C1 and C3; scratch serves the region that it was reported for and smaller ones.
 *
 * @b Rounding: as the two pipelines round, the integer ones with the divisor 2^shift in each pass: to nearest, ties to
 * even, but towards zero in the first and last K / 2 columns (rows pass) and in the remainder columns of the second
 * pass. 8u passes through rows of 16s. So tiles that span the full width equal the whole image.
 *
 * @b Border: a rule, qorBorderConst, qorBorderRepl or qorBorderInMem, and flags. Along the rows the rule alone decides:
 * qorBorderInMemLeft and qorBorderInMemRight are accepted and ignored. K / 2 rows above (below) the region are read
 * with qorBorderInMem or the flag qorBorderInMemTop (qorBorderInMemBottom) and filtered along themselves; otherwise
 * qorBorderRepl repeats the filtered first (last) row, and under qorBorderConst these rows are the border value itself,
 * in all forms. A region of one row replicates vertically under every rule but qorBorderConst, whatever the flags.
 *
 * qoriFilterGaussBorder_32f_C1R() needs no record: it makes the taps on each call, from a sigma of any value (a NaN
 * makes all results NaN). Its rules are qorBorderConst, qorBorderRepl, qorBorderWrap, qorBorderMirror and
 * qorBorderMirrorR, in both directions, with the flags qorBorderInMemTop and qorBorderInMemBottom for the vertical one.
 * Reflections go on between the ends of a row or column shorter than K / 2; of a single pixel, the edge repeats.
 *
 * @b Region: only the region of the source is read, and what the border reads around it: K / 2 pixels left and right of
 * each row with qorBorderInMem, K / 2 rows above and below, columns as in the rows of the region. All pixels of the
 * region are written. @b In @b place: yes, with one step, but under qorBorderWrap. @b Scratch: any address;
 * qoriFilterGaussianInit() asks for it and leaves it alone. Sizes scale with the number of threads at the time of the
 * query and wrap in 32 bits; a call takes as many threads as have room in what is reported for it:
 *
 *     m = min(height, K),  w = (width + K) * channels rounded up to 8,  R and C as the pipelines' queries report for
 *     width by m (qoriFilterGaussGetBufferSize_32f_C1R: width by K)
 *     32f:       record 16 K + 32    scratch 4 K w + 4 (m + K) w + 8 (m + K) + R + C + 192
 *     integers:  record 8 K + 36     scratch 2 (m + K) w + 2 (v (K - 1) + 16) + 8 (height + K) + R + C + 160,
 *                                    v = (width + K - 1) * channels rounded up to 8
 *     qoriFilterGaussGetBufferSize_32f_C1R:  16 ceil(K / 4) + b K + 2 K a + 16 K + R + C + 192,
 *                                    a = 16 ceil((width + K) / 4), b = 32 ceil((width + K) / 8)
 *
 * @b Threads: inside the row pipeline, when a band of min(height, K) rows has 32768 pixels or more for each thread.
 * Results do not depend on it.
 *
 * @b Statuses, in the order of the checks. qoriFilterGaussianGetBufferSize(): qorStsNullPtrErr; qorStsSizeErr for a
 * height or width below 1; qorStsBadArgErr for K below 3 or even; qorStsDataTypeErr for a type other than qor8u,
 * qor16u, qor16s, qor32f; qorStsNumChannelsErr for channels other than 1 and 3. qoriFilterGaussianInit(): the same,
 * then qorStsBadArgErr for a sigma that is not above 0, qorStsBorderErr for a border other than the three rules and the
 * four flags. qoriFilterGaussianBorder_*(): qorStsNullPtrErr; qorStsStepErr for a step below the width in bytes;
 * qorStsSizeErr for a height or width below 1; qorStsBadArgErr for K, then qorStsBorderErr for the border in the
 * record; qorStsBadArgErr for a shift in the record of an integer type outside 0 to 30; qorStsNotEvenStepErr for a step
 * that is not a multiple of the sample; qorStsDataTypeErr for a record of another type; qorStsSizeErr where the report
 * has wrapped and has no room for one thread.
 * qoriFilterGaussGetBufferSize_32f_C1R(): qorStsNullPtrErr; qorStsSizeErr; qorStsBadArgErr for K.
 * qoriFilterGaussBorder_32f_C1R(): qorStsNullPtrErr; qorStsSizeErr; qorStsStepErr; qorStsBadArgErr for K or the border;
 * qorStsNotEvenStepErr; qorStsSizeErr as above.
 * @{
 */
typedef struct QoriFilterGaussianSpec QoriFilterGaussianSpec; /**< taps of one Gaussian and how they are applied */

QorStatus qoriFilterGaussianGetBufferSize(QoriSize roiSize, int kernelSize, QorDataType dataType, int numChannels,
                                          int* pSpecSize, int* pBufferSize);
QorStatus qoriFilterGaussianInit(QoriSize roiSize, int kernelSize, Qor32f sigma, QoriBorderType borderType,
                                 QorDataType dataType, int numChannels, QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_8u_C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                          Qor8u borderValue, const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_8u_C3R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                          const Qor8u* pBorderValue, const QoriFilterGaussianSpec* pSpec,
                                          Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_16s_C1R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                           Qor16s borderValue, const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_16s_C3R(const Qor16s* pSrc, int srcStep, Qor16s* pDst, int dstStep, QoriSize roiSize,
                                           const Qor16s* pBorderValue, const QoriFilterGaussianSpec* pSpec,
                                           Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_16u_C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                           Qor16u borderValue, const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_16u_C3R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep, QoriSize roiSize,
                                           const Qor16u* pBorderValue, const QoriFilterGaussianSpec* pSpec,
                                           Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           Qor32f borderValue, const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer);
QorStatus qoriFilterGaussianBorder_32f_C3R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                           const Qor32f* pBorderValue, const QoriFilterGaussianSpec* pSpec,
                                           Qor8u* pBuffer);
QorStatus qoriFilterGaussGetBufferSize_32f_C1R(QoriSize roiSize, int kernelSize, int* pBufferSize);
QorStatus qoriFilterGaussBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                        int kernelSize, Qor32f sigma, QoriBorderType borderType, Qor32f borderValue,
                                        Qor8u* pBuffer);
/** @} */

/**
 * @defgroup color_gradient Colour gradient to gray
 *
 * Gradient strength of a colour picture: every pixel of the source holds the derivatives a, b and c of its channels,
 * and the destination gets their norm.
 *
 *                  8u, 16u                              32f
 *     qoriNormInf  max(a, b, c)                         max(|a|, |b|, |c|)
 *     qoriNormL1   (a + b + c) / 3                      |a| + |b| + |c|
 *     qoriNormL2   sqrt((a * a + b * b + c * c) / 3)    sqrt(a * a + b * b + c * c)
 *
 * The integer forms are means over the channels, so that they fit the sample; the float forms are not divided. L1
 * divides in fixed point: ((a + b + c) * 1365 + 2048) >> 12 in 8u, ((a + b + c) * 5461 + 8192) >> 14 in 16u, so in 16u
 * the largest samples give 65531. L2 of integers is exact, rounded to nearest; ties do not occur. In 32f every step is
 * rounded to 32-bit float, from left to right, and the root is correctly rounded. There max is (x > y ? x : y) from
 * left to right, so of NaNs only one in the last channel is sure to be kept; L1 and L2 keep all.
 *
 * @b Region: only the pixels of the region are read and written. @b In @b place: no; overlap of source and destination
 * is undefined. @b Scratch: none. @b Threads: a call from inside a parallel region runs on a team of its own where
 * nested regions are allowed: as large as the caller's and the library's thread count allow, with 1024 pixels and 16
 * rows or more a thread. Any other call stays on the calling thread. The result does not depend on it.
 *
 * @b Statuses, in the order of the checks: qorStsNullPtrErr for a null pointer; qorStsSizeErr for a width, then a
 * height below 1; qorStsStepErr for srcStep below 3 * width * sample size, then dstStep below width * sample size;
 * qorStsNotEvenStepErr (16u, 32f) for a step that is not a multiple of the sample size; qorStsBadArgErr for another
 * norm.
 * @{
 */
QorStatus qoriGradientColorToGray_8u_C3C1R(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize,
                                           QoriNorm norm);
QorStatus qoriGradientColorToGray_16u_C3C1R(const Qor16u* pSrc, int srcStep, Qor16u* pDst, int dstStep,
                                            QoriSize roiSize, QoriNorm norm);
QorStatus qoriGradientColorToGray_32f_C3C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep,
                                            QoriSize roiSize, QoriNorm norm);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
