// What the library requires of the core library: eight names, so that another core that has them can stand in its
// place.
#pragma once

#include "frame/base.h"

extern "C" {
int ownGetNumThreads(void);
int qorGetNumCoresOnDie(void);
QorStatus qorGetMaxCacheSizeB(int* pSizeByte);
uint64_t qorGetCpuFeatures(uint64_t* pFeatures, uint32_t* pWord);
uint64_t qorGetEnabledCpuFeatures(void);
int ownGetFeature(uint64_t mask);
void* qorMalloc(int size);
void qorFree(void* p);
}
