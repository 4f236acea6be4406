#include "frame/alloc.h"

#include "frame/core.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
T* allocate(int len) {
  if (len < 1 || len > topOf<Qor32s> / static_cast<int>(sizeof(T))) return nullptr;
  return static_cast<T*>(qorMalloc(len * static_cast<int>(sizeof(T))));
}

}  // namespace

Qor8u* qorsMalloc_8u(int len) { return allocate<Qor8u>(len); }
Qor16u* qorsMalloc_16u(int len) { return allocate<Qor16u>(len); }
Qor32s* qorsMalloc_32s(int len) { return allocate<Qor32s>(len); }
Qor32f* qorsMalloc_32f(int len) { return allocate<Qor32f>(len); }
Qor64f* qorsMalloc_64f(int len) { return allocate<Qor64f>(len); }
void qorsFree(void* p) { qorFree(p); }

}  // namespace qor
