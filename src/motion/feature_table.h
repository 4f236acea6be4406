// What a pixel has learned of itself: features by frequency, each with the share of it that was background.
//
// Frequencies, shares and samples of all pixels stand in three blocks, so that what is multiplied stands together. A
// frequency of 0 is an entry not in use, whatever its share and its samples.
#pragma once

#include <string.h>

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

// Rates, and the mass that settles a table.
constexpr Qor32f slowRate = 0.005F, fastRate = 0.1F, settledMass = 0.9F;
// A float is below this one exactly if it is below 1e-10: none lies between the two.
constexpr Qor32f deadBelow = 1e-10F;
static_assert(Qor64f{deadBelow} >= 1e-10);

// What a pixel knows beside its entries.
struct FeatureMemory {
  Qor32f prior;
  bool settled;
};

template <int channels, bool pairs>
struct FeatureTable {
  static constexpr int capacity = pairs ? 40 : 25, used = pairs ? 25 : 15, samples = pairs ? 2 * channels : channels;
  // Two steps of 128 levels, or 64 for pairs.
  static constexpr int tolerance = pairs ? 2 * 256 / 64 : 2 * 256 / 128;

  Qor32f *p, *pb;
  Qor8u* v;

  // Of one pixel among all.
  FeatureTable at(ptrdiff_t pixel) const {
    return {p + pixel * capacity, pb + pixel * capacity, v + pixel * capacity * samples};
  }

  // ---- telling

  // Whether the entries that three samples fit were rather foreground. An entry of fewer samples has zeros for them.
  bool isForeground(const Qor8u* s, Qor32f prior) const {
    Qor32f sum = 0, background = 0;
    for (int i = 0; i < used && p[i] > slowRate; ++i) {
      bool fits = true;
      for (int c = 0; c < 3; ++c) fits = fits && isNear(c < samples ? v[i * samples + c] : 0, s[c]);
      if (!fits) continue;
      sum += p[i];
      background += pb[i];
    }
    return 2 * background * prior <= sum;
  }

  // ---- learning

  void learn(FeatureMemory& memory, const Qor8u* s, bool isBackground, Qor32f rate) const {
    const Qor32f kept = 1 - rate;
    memory.prior = memory.prior * kept;
    if (isBackground) memory.prior += rate;
    int entry = -1;
    if (p[0] != 0) entry = channels == 1 ? decayWhileFitting(kept, s) : decayAndMatch(kept, s);
    if (entry >= 0) {
      p[entry] += rate;
      if (isBackground) pb[entry] += rate;
    } else {
      entry = capacity - 1;
      p[entry] = pb[entry] = rate;
      memcpy(v + entry * samples, s, samples);
    }
    moveUp(entry);
    settle(memory);
  }

 private:
  static bool isNear(int a, int b) { return a - b <= tolerance && b - a <= tolerance; }

  // Returns whether the entry lives on.
  bool decay(int i, Qor32f kept) const {
    p[i] *= kept;
    pb[i] *= kept;
    if (p[i] >= deadBelow) return true;
    p[i] = pb[i] = 0;
    return false;
  }

  // The entry next to the samples among those that they fit; -1 for none. Entries are in descending order, so that none
  // is in use behind the first that is not.
  int decayAndMatch(Qor32f kept, const Qor8u* s) const {
    int best = -1, least = samples * tolerance + 1;
    for (int i = 0; i < capacity && p[i] != 0; ++i) {
      if (!decay(i, kept)) continue;
      int sum = 0, furthest = 0;
      for (int c = 0; c < samples; ++c) {
        const int d = v[i * samples + c] - s[c], apart = d < 0 ? -d : d;
        sum += apart;
        furthest = apart > furthest ? apart : furthest;
      }
      if (furthest <= tolerance && sum < least) best = i, least = sum;
    }
    return best;
  }

  // Entries up to the first one in use that the samples do not fit. There may be gaps, at which pairs alone end.
  int decayWhileFitting(Qor32f kept, const Qor8u* s) const {
    for (int i = 0; i < capacity && !(pairs && p[i] == 0); ++i) {
      if (!decay(i, kept)) continue;
      for (int c = 0; c < samples; ++c)
        if (!isNear(v[i * samples + c], s[c])) return -1;
    }
    return -1;
  }

  // Ahead of the first entry that is not above it.
  void moveUp(int entry) const {
    const Qor32f itsP = p[entry], itsPb = pb[entry];
    int to = 0;
    while (to < entry && p[to] > itsP) ++to;
    if (to == entry) return;
    Qor8u itsV[samples];
    memcpy(itsV, v + entry * samples, samples);
    const size_t passed = static_cast<size_t>(entry - to);
    memmove(p + to + 1, p + to, passed * sizeof *p);
    memmove(pb + to + 1, pb + to, passed * sizeof *pb);
    memmove(v + (to + 1) * samples, v + to * samples, passed * samples);
    p[to] = itsP;
    pb[to] = itsPb;
    memcpy(v + to * samples, itsV, samples);
  }

  void settle(FeatureMemory& memory) const {
    Qor32f sum = 0, background = 0;
    for (int i = 0; i < used && p[i] != 0; ++i) {
      sum += p[i];
      background += pb[i];
    }
    if (sum > settledMass) memory.settled = true;
    // What was learned as foreground has become the background.
    if (!(sum - background * memory.prior > settledMass) || p[0] == 0) return;
    for (int i = 0; i < used && p[i] != 0; ++i) pb[i] = (p[i] - pb[i] * memory.prior) / (1 - memory.prior);
    if constexpr (!pairs) memory.prior = 1 - memory.prior;
  }
};

}  // namespace qor
