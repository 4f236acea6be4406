// Mean over a rectangle of any size:
//
//     dst(x, y) = (sum of src over columns x - (mw - 1) / 2 and the mw - 1 behind it, rows likewise) * (1 / (mw * mh))
//
// in 32-bit float. Sums slide: down the columns a row leaves and a row enters, along the row a column leaves and a
// column enters. What that leaves of rounding grows with the distance slid, and NaN and infinities stay in the sums as
// far. The sums of the columns start afresh every 4 * mh + 32 rows of the region, those along the row in every row. So
// the result is the same on every number of threads, and tiles differ by rounding alone; where all sums are exact, as
// those of integers below 2^24 are, nothing drifts.
//
// The border is a rule with flags as frame/outside.h has it: rules 0, with the value behind pBorderValue, 1 and 6. In
// place, and any other overlap of source and destination, is allowed: the source is then copied to the scratch first.
// Scratch: the reported size, at any byte. Threads: from 0x40000 pixels on, unless in place.
//
// Statuses in the order of the checks: null source, destination, scratch and, where the rule uses it, pBorderValue;
// size; steps below the width; steps not a multiple of 4; a side of the mask below 1 (qorStsMaskSizeErr); border
// (qorStsBorderErr); no room in the reported size, which wraps beyond 31 bits (qorStsSizeErr).
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Statuses: null, size, mask, dataType (8u, 16u, 16s, 32f; qorStsDataTypeErr), numChannels (1, 3, 4; qorStsChannelErr).
QorStatus qoriFilterBoxBorderGetBufferSize(QoriSize roiSize, QoriSize maskSize, QorDataType dataType, int numChannels,
                                           int* pBufferSize);

QorStatus qoriFilterBoxBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriSize maskSize, QoriBorderType borderType, const Qor32f* pBorderValue,
                                      Qor8u* pBuffer);

}  // namespace qor
