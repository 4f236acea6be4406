// Bands of rows over a team, and reductions that merge one partial result a band in ascending order.
#pragma once

#include <omp.h>

#include "frame/alloc.h"
#include "frame/round.h"
#include "frame/threads.h"

namespace qor::inline QOR_LEVEL {

// Runs work(band) for the bands of height rows over a team; a thread without rows does nothing. A runtime that declines
// to fork gives a team of one, which takes the whole height.
template <Band split(int thread, int count, int height) = bandOf, class Work>
void forBands(int height, int team, const Work& work) {
  int count = 1;
#pragma omp parallel num_threads(team) default(none) shared(height, work, count)
  {
#pragma omp master
    count = owncvGetNumThreads();
#pragma omp barrier
    const Band band = split(owncvGetIdThreads(), count, height);
    if (band.rows > 0) work(band);
  }
}

// In parallel over the library's team when the family's rule says so, else at once on the calling thread.
template <class Work>
void forBandsIf(bool parallel, int height, const Work& work) {
  if (parallel) {
    forBands(height, owncvGetMaxNumThreads(), work);
  } else {
    work(Band{0, 0, height});
  }
}

// Over a team of teamFor(), which has none for what stays on the calling thread.
template <Band split(int thread, int count, int height) = bandOf, class Work>
void forTeam(int team, int height, const Work& work) {
  if (team > 0) {
    forBands<split>(height, team, work);
  } else {
    work(Band{0, 0, height});
  }
}

// Runs row(y) for every row by the runtime's static loop: one contiguous chunk a thread.
template <class Row>
void forRowsStatic(int height, int team, const Row& row) {
#pragma omp parallel for schedule(static) num_threads(team) default(none) shared(height, row)
  for (int y = 0; y < height; ++y) row(y);
}

// One task in two parts, 0 and 1, by a team of two, or by the one thread that the runtime grants: begin(part) for both;
// then, as long as meet() is true, resume(part) for both. meet() runs alone, on the calling thread.
template <class Begin, class Meet, class Resume>
void inTwoParts(const Begin& begin, const Meet& meet, const Resume& resume) {
  bool again = false;
#pragma omp parallel num_threads(2) default(none) shared(begin, meet, resume, again)
  {
    const int threads = owncvGetNumThreads(), first = owncvGetIdThreads();
    for (int part = first; part < 2; part += threads) begin(part);
    for (;;) {
#pragma omp barrier
#pragma omp master
      again = meet();
#pragma omp barrier
      if (!again) break;
      for (int part = first; part < 2; part += threads) resume(part);
    }
  }
}

// Partial result of the whole height: work(band) gives a band's partial, merge(into, from) takes in the next one. A
// thread without rows contributes neutral. Partial is plain data.
//
// A team beyond the stack's slots gets allocated ones; if there is no memory for them, only as many threads as there
// are slots on the stack take rows.
template <class Partial, class Work, class Merge>
Partial reduceBands(bool parallel, int height, const Partial& neutral, const Work& work, const Merge& merge) {
  static_assert(std::is_trivially_copyable_v<Partial> && alignof(Partial) <= 64);
  if (!parallel) return work(Band{0, 0, height});
  constexpr int doubles = static_cast<int>((sizeof(Partial) + sizeof(Qor64f) - 1) / sizeof(Qor64f));
  Partial onStack[stackSlots];
  Partial* slots = onStack;
  int count = 1;
  const int team = owncvGetMaxNumThreads();
#pragma omp parallel num_threads(team) default(none) shared(height, neutral, work, onStack, slots, count)
  {
#pragma omp master
    {
      count = owncvGetNumThreads();
      if (count > stackSlots) {
        void* const allocated = count < topOf<Qor32s> / doubles ? qorsMalloc_64f(count * doubles) : nullptr;
        if (allocated != nullptr) {
          slots = static_cast<Partial*>(allocated);
        } else {
          count = stackSlots;
        }
      }
    }
#pragma omp barrier
    const int thread = owncvGetIdThreads();
    if (thread < count) {
      const Band band = bandOf(thread, count, height);
      slots[thread] = band.rows > 0 ? work(band) : neutral;
    }
  }
  Partial total = slots[0];
  for (int t = 1; t < count; ++t) merge(total, slots[t]);
  if (slots != onStack) qorsFree(slots);
  return total;
}

}  // namespace qor
