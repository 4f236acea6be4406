// Walks over what little of a row is not 0.
#pragma once

#include "frame/row.h"

namespace qor::inline QOR_LEVEL {

// Calls work(i) for every bit i that is set, from the lowest on.
template <class Bits, class Work>
QOR_FORCE_INLINE void forBits(Bits bits, const Work& work) {
  for (; bits != 0; bits &= bits - 1) work(__builtin_ctzll(bits));
}

// Calls work(x, bits) for pixels x to x + 63 of a row, in their order, when some are not 0: those of the set bits, of
// which bit 0 is pixel x. Nothing behind the row is read.
template <class Work>
inline void forNonZero(const Qor8u* row, ptrdiff_t width, const Work& work) {
  constexpr int span = 64, count = span / V8u::lanes;
  const auto bitsAt = [](const Qor8u* p) {
    const auto pixels = loadBlock<count>(p);
    V8u any = pixels.v[0];
    for (int i = 1; i < count; ++i) any = any | pixels.v[i];
    if (allZero(any)) return uint64_t{0};
    uint64_t zeros = 0;
    for (int i = 0; i < count; ++i) {
      zeros |= static_cast<uint64_t>(signBits(pixels.v[i] == zero<Qor8u>())) << (i * V8u::lanes);
    }
    return ~zeros;
  };
  ptrdiff_t x = 0;
  for (; x <= width - span; x += span) {
    if (const uint64_t bits = bitsAt(row + x); bits != 0) work(x, bits);
  }
  if (x == width) return;
  // The block at the end of the row has been seen but for its last pixels; the copy of a short row ends in zeros.
  const detail::End<Qor8u, span> end(row, width);
  const uint64_t bits = bitsAt(end.samples) >> (width < span ? 0 : span - (width - x));
  if (bits != 0) work(x, bits);
}

}  // namespace qor
