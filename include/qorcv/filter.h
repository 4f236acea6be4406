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

#ifdef __cplusplus
}
#endif

#endif
