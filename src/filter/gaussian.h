// The record of a Gaussian filter and the taps in it.
#pragma once

#include "frame/outside.h"
#include "qorcv/filter.h"

// What the public header leaves incomplete. The taps stand behind it, from gaussianTapBytes on.
struct QoriFilterGaussianSpec {
  Qor32s kernelSize;
  Qor32s tapOffset;  // gaussianTapOffset
  QorDataType dataType;
  QoriBorderType borderType;
  Qor32s shift;  // the taps of integers count 2^-shift
};

namespace qor::inline QOR_LEVEL {

constexpr Qor32s gaussianTapOffset = sizeof(QoriFilterGaussianSpec);
// The first multiple of 16 from there, counted from the record's own start, so that a record copied elsewhere is good.
constexpr ptrdiff_t gaussianTapBytes = (gaussianTapOffset + 15) / 16 * 16;
// A float tap stands in the record once for every lane of a vector.
constexpr ptrdiff_t gaussianLanes = 4;

// Of the filters with a record. Left and right the rule alone decides.
inline constexpr Borders gaussianBorders{ruleBits(qorBorderConst, qorBorderRepl, qorBorderInMem), qorStsBorderErr};

constexpr QorStatus gaussianLengthCheck(int kernelSize) {
  return kernelSize < 3 || kernelSize % 2 == 0 ? qorStsBadArgErr : qorStsNoErr;
}
constexpr QorStatus gaussianTypeCheck(QorDataType type) {
  return type == qor8u || type == qor16u || type == qor16s || type == qor32f ? qorStsNoErr : qorStsDataTypeErr;
}
constexpr QorStatus gaussianChannelsCheck(int channels) {
  return channels == 1 || channels == 3 ? qorStsNoErr : qorStsNumChannelsErr;
}
// The taps of an odd number kernelSize, their sum 1 up to rounding.
void gaussianTaps(Qor32f sigma, int kernelSize, Qor32f* taps);

}  // namespace qor
