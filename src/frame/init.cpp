// What runs when the library is loaded and unloaded.
#include "frame/core.h"

// Selector for a merged form of the library; nothing here reads it.
extern "C" {
[[gnu::visibility("hidden"), gnu::used]] int32_t qorJumpIndexForMergedDLL = 0;
}

namespace qor::inline QOR_LEVEL {
namespace {

[[gnu::constructor]] void libraryInit() {
  qorGetCpuFeatures(nullptr, nullptr);
  constexpr uint64_t required = 0x20 | 0x10;
  qorJumpIndexForMergedDLL = (qorGetEnabledCpuFeatures() & required) == required ? 1 : 0;
}

[[gnu::destructor]] void libraryFinish() {}

}  // namespace
}  // namespace qor
