// The column pipelines inside the library.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// As qoriFilterColumnPipeline_16s8u_C1R with samples = width * channels, to the last bit, on the calling thread, for
// rows whose samples lie between 0 and 255: sums are then exact, and integer kernels take half the time. Divisors that
// are no power of two, and sums that may leave 0 .. 2^23 - 1 and -2^22 .. 2^22 - 1, go the general way.
//
// Nothing is checked. scratch has 4 * kernelSize + 16 bytes.
void filterByteColumns(const Qor16s* const* rows, Qor8u* dst, int dstStep, ptrdiff_t samples, int height,
                       const Qor16s* taps, int kernelSize, int divisor, Qor8u* scratch);

}  // namespace qor
