/**
 * @file qorcore.h
 * The layer under the library: thread count, processor, aligned memory. Nothing of vision.
 *
 * The vision library calls ownGetNumThreads(), qorGetNumCoresOnDie(), qorGetMaxCacheSizeB(), qorGetCpuFeatures(),
 * qorGetEnabledCpuFeatures(), ownGetFeature(), qorMalloc() and qorFree(), and nothing else of this header.
 */
#ifndef QORCORE_H
#define QORCORE_H

#include <stdint.h>

#include "qorcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup core Core: threads, processor, memory
 * @{
 */

/**
 * Sets the number of threads that operations may use, for the whole process; more than 1024 count as 1024. It takes
 * effect with the next call of an operation. Scratch sizes depend on it: do not raise it between a size query and the
 * use of the block.
 *
 * The OpenMP runtime starts the team when a call needs it. For that it takes about 130 bytes a thread of the stack of
 * the thread that calls, and it ends the process where it gets no memory or no threads.
 *
 * @return qorStsSizeErr when numThreads is below 1, and then nothing changes; else qorStsNoErr.
 */
QorStatus qorSetNumThreads(int numThreads);

/**
 * Stores the number of threads that operations may use. At start it is the number of processors that the process may
 * run on, at most 1024.
 *
 * @return qorStsNullPtrErr when pNumThreads is null; else qorStsNoErr.
 */
QorStatus qorGetNumThreads(int* pNumThreads);

/** Returns the number of threads that operations may use, 1 to 1024. */
int ownGetNumThreads(void);

/** Returns the number of processor cores on one die, at least 1. */
int qorGetNumCoresOnDie(void);

/**
 * Stores the size in bytes of the largest data cache.
 *
 * @return qorStsNullPtrErr when pSizeByte is null; qorStsNotSupportedModeErr when the processor does not tell, and
 *         then nothing is stored; else qorStsNoErr.
 */
QorStatus qorGetMaxCacheSizeB(int* pSizeByte);

/** Processor features, one bit each, in the masks of qorGetCpuFeatures() and its companions. */
enum {
  qorFeatureMmx = 0x1,     /**< MMX */
  qorFeatureSse = 0x2,     /**< SSE */
  qorFeatureSse2 = 0x4,    /**< SSE2 */
  qorFeatureSse3 = 0x8,    /**< SSE3 */
  qorFeatureSsse3 = 0x10,  /**< SSSE3 */
  qorFeatureSse41 = 0x20,  /**< SSE4.1 */
  qorFeatureSse42 = 0x40,  /**< SSE4.2 and POPCNT */
  qorFeatureAvx = 0x80,    /**< AVX, and the system saves its registers */
  qorFeatureAvx2 = 0x100,  /**< AVX2, and the system saves its registers */
  qorFeatureFma = 0x200,   /**< fused multiply-add, and the system saves its registers */
  qorFeatureAvx512 = 0x400 /**< AVX-512 F, and the system saves its registers */
};

/**
 * Reads the processor's features.
 *
 * @param pFeatures receives the feature mask; may be null.
 * @param pWord     receives the processor's signature, as the processor packs family, model and stepping; may be null.
 * @return the feature mask.
 */
uint64_t qorGetCpuFeatures(uint64_t* pFeatures, uint32_t* pWord);

/** Returns the features enabled for this process: all that the processor has. */
uint64_t qorGetEnabledCpuFeatures(void);

/** Returns 1 when any of the features in mask is enabled for this process, else 0. */
int ownGetFeature(uint64_t mask);

/** Allocates size bytes aligned to 64; null when size is below 1 or memory is short. */
void* qorMalloc(int size);

/** Releases what qorMalloc() gave; null is harmless. */
void qorFree(void* p);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
