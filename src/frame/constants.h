// Floating results that an operation stores as they are.
#pragma once

#include <limits>

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

inline constexpr Qor64f qorConstantOfNAN_64f = std::numeric_limits<Qor64f>::quiet_NaN();
inline constexpr Qor64f qorConstantOfINF_64f = std::numeric_limits<Qor64f>::infinity();
inline constexpr Qor64f qorConstantOfINF_NEG_64f = -std::numeric_limits<Qor64f>::infinity();
inline constexpr Qor32f qorConstantOfNAN_32f = std::numeric_limits<Qor32f>::quiet_NaN();
inline constexpr Qor32f qorConstantOfINF_32f = std::numeric_limits<Qor32f>::infinity();
inline constexpr Qor32f qorConstantOfINF_NEG_32f = -std::numeric_limits<Qor32f>::infinity();

}  // namespace qor
