// Ascending sort: quicksort with an explicit stack, median of three, and selection for short ranges.
#include "frame/checks.h"
#include "frame/vector_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Ranges of at most this many elements are finished by selection.
constexpr ptrdiff_t selectionLength = 9;

inline void compareExchange(Qor64f& a, Qor64f& b) {
  if (a > b) {
    const Qor64f t = a;
    a = b;
    b = t;
  }
}

struct Range {
  Qor64f* first;
  Qor64f* last;
};

// Finds the largest and swaps it to the end, which then moves down.
void select(Range r) {
  for (; r.last > r.first; --r.last) {
    Qor64f* largest = r.first;
    for (Qor64f* p = r.first + 1; p <= r.last; ++p) largest = *p > *largest ? p : largest;
    const Qor64f t = *largest;
    *largest = *r.last;
    *r.last = t;
  }
}

// Splits a range around the median of three and returns the inner ends of the two parts. A scan stops at the latest at
// an element that the other scan has put there, and before the first exchange at the pivot itself, so that unordered
// elements cannot lead it outside.
Range partition(Range r) {
  Qor64f* const middle = r.first + (r.last - r.first) / 2;
  compareExchange(*r.first, *middle);
  compareExchange(*middle, *r.last);
  compareExchange(*r.first, *middle);
  const Qor64f pivot = *middle;
  Qor64f* i = r.first;
  Qor64f* j = r.last;
  while (i <= j) {
    while (pivot > *i) ++i;
    while (*j > pivot) --j;
    if (i <= j) {
      const Qor64f t = *i;
      *i++ = *j;
      *j-- = t;
    }
  }
  return {j, i};
}

}  // namespace

QorStatus qorsSortAscend_64f_I(Qor64f* pSrcDst, int len) {
  const QorStatus status = firstFailure(nullCheck(pSrcDst), lengthCheck(len));
  if (status != qorStsNoErr || len == 1) return status;
  // The larger part waits, so each entry is less than half of the one below it: 31 bits of length need 32 entries.
  Range waiting[32];
  int count = 0;
  Range r{pSrcDst, pSrcDst + (len - 1)};
  for (;;) {
    while (r.last - r.first >= selectionLength) {
      const Range inner = partition(r);
      const Range low{r.first, inner.first}, high{inner.last, r.last};
      const bool lowIsLarger = low.last - low.first > high.last - high.first;
      waiting[count++] = lowIsLarger ? low : high;
      r = lowIsLarger ? high : low;
    }
    select(r);
    if (count == 0) return qorStsNoErr;
    r = waiting[--count];
  }
}

}  // namespace qor
