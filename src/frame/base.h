// Types that every file of the library uses.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <type_traits>

#include "frame/variant.h"
#include "qorcv/types.h"

// For heavy kernels, whose constants are loaded on every call unless they stand inside the loop.
#define QOR_FORCE_INLINE [[gnu::always_inline]] inline

namespace qor::inline QOR_LEVEL {

using Qor32u = uint32_t;
using Qor64s = int64_t;

// Distance of two rows in bytes, formed in 64 bits so that it is right for any step and row number.
constexpr ptrdiff_t rowOffset(int step, int row) { return static_cast<ptrdiff_t>(step) * row; }

// First sample of a row: the step counts bytes whatever the sample type.
template <class T>
T* rowAt(T* first, int step, int row) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(first) + rowOffset(step, row));
}

}  // namespace qor
