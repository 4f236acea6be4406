// Memory of the core library. A count below 1, or a product beyond 31 bits, gives null without calling the allocator.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

Qor8u* qorsMalloc_8u(int len);
Qor16u* qorsMalloc_16u(int len);
Qor32s* qorsMalloc_32s(int len);
Qor32f* qorsMalloc_32f(int len);
Qor64f* qorsMalloc_64f(int len);
void qorsFree(void* p);

}  // namespace qor
