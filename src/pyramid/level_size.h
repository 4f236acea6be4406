// Sizes of pyramid levels.
#pragma once

#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {

// A rate that levels can have. NaN is none.
constexpr QorStatus rateCheck(Qor32f rate) { return rate > 1.0F && rate <= 10.0F ? qorStsNoErr : qorStsBadArgErr; }

// Lengths of an axis that reduce to one.
struct LengthRange {
  int least, most;
};
LengthRange finerLengths(int length, Qor32f rate);

// The length that one reduces to.
int coarserLength(int length, Qor32f rate);

inline QoriSize coarserSize(QoriSize size, Qor32f rate) {
  return {coarserLength(size.width, rate), coarserLength(size.height, rate)};
}

}  // namespace qor
