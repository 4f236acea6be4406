// What a pixel has learned of itself: features by frequency, each with the share of it that was background.
//
// Frequencies, shares and samples of all pixels stand in three blocks, so that what is multiplied stands together. A
// frequency of 0 is an entry not in use, whatever its share and its samples.
#pragma once

#include <string.h>

#include "frame/vec.h"

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
  // Where not 0, so many first entries, all that are in use, are those of FadingWeights, and their p and pb in memory
  // are of no meaning.
  Qor8u fading;
};

// The p, and pb, of entries of which one was made at every call at the fast rate and none has grown.
template <int count>
struct FadingWeights {
  Qor32f p[count];

  constexpr FadingWeights() : p{} {
    Qor32f weight = fastRate;
    for (Qor32f& each : p) {
      each = weight;
      weight *= 1 - fastRate;
    }
  }
  constexpr Qor32f sum(int n) const {
    Qor32f all = 0;
    for (int i = 0; i < n; ++i) all += p[i];
    return all;
  }
};

template <int channels, bool pairs>
struct FeatureTable {
  static constexpr int capacity = pairs ? 40 : 25, used = pairs ? 25 : 15, samples = pairs ? 2 * channels : channels;
  // Two steps of 128 levels, or 64 for pairs.
  static constexpr int tolerance = pairs ? 2 * 256 / 64 : 2 * 256 / 128;

  // In one channel no value matches an entry. So the entries of a pixel that stands still differ from those of another
  // by their samples alone, which are shifted in two registers.
  static constexpr bool fades = channels == 1 && !pairs;
  static constexpr int sampleBytes = fades ? 2 * Short<Qor8u>::bytes : capacity * samples;

  Qor32f *p, *pb;
  Qor8u* v;

  // Of one pixel among all.
  FeatureTable at(ptrdiff_t pixel) const {
    return {p + pixel * capacity, pb + pixel * capacity, v + pixel * sampleBytes};
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
    if constexpr (fades) {
      if (memory.fading != 0) {
        if (rate == fastRate && shiftFading(memory, *s)) return;
        stopFading(memory);
      }
    }
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
    if constexpr (fades) {
      if (!memory.settled) startFading(memory);
    }
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

  static constexpr FadingWeights<capacity> fadingWeights{};

  // All entries fade and a new one stands in front of them, if the sample fits them all. They cannot settle the table.
  bool shiftFading(FeatureMemory& memory, Qor8u s) const {
    static_assert(!fades || (capacity <= sampleBytes && FadingWeights<capacity>().sum(used) < settledMass));
    using V = Short<Qor8u>;
    alignas(V::bytes) static constexpr Qor8u numbers[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                          11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                                          22, 23, 24, 25, 26, 27, 28, 29, 30, 31};
    const V first = load<V>(v), last = load<V>(v + V::lanes), sample = splat<V>(s), entries = splat<V>(memory.fading);
    const auto misses = [&](V learned, V number) {
      // Beyond the tolerance, and of a number below that of the entries.
      const V beyond = subSat(absDiff(learned, sample), splat<V>(tolerance));
      return min(beyond, subSat(entries, number));
    };
    if (!allZero(misses(first, load<V>(numbers)) | misses(last, load<V>(numbers + V::lanes)))) return false;
    store(v, slide<V::lanes - 1>(sample, first));
    store(v + V::lanes, slide<V::lanes - 1>(first, last));
    if (memory.fading < capacity) ++memory.fading;
    return true;
  }
  void stopFading(FeatureMemory& memory) const {
    for (int i = 0; i < memory.fading; ++i) p[i] = pb[i] = fadingWeights.p[i];
    memory.fading = 0;
  }
  // Those behind the entries in use all have a p of 0, now and when fading stops.
  void startFading(FeatureMemory& memory) const {
    int n = 0;
    while (n < capacity && p[n] == fadingWeights.p[n] && pb[n] == fadingWeights.p[n]) ++n;
    for (int i = n; i < capacity; ++i)
      if (p[i] != 0) return;
    memory.fading = static_cast<Qor8u>(n);
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
