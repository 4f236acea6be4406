// Minimum and maximum of one channel of a region, everywhere or where a mask is not 0, with their positions.
//
// The first pass finds only the values and the rows that hold them; the positions are then looked up in at most two
// rows.
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// When a call is shared among the team.
constexpr TeamRule shared = {.pixels = 0x4000};

// ---- pixels as vectors: one sample a pixel, as many pixels as the sample type has lanes

template <class T>
struct OneChannel {
  static constexpr int channels = 1;
  Vec<T> at(const T* p) const { return load(p); }
};

// One of three interleaved channels: every byte of the result comes from one of three vectors, the others give zero.
template <class T>
struct ChannelOfThree {
  static constexpr int channels = 3;
  int channel;
  V8u pick[3];

  explicit ChannelOfThree(int coi) : channel(coi - 1) {
    constexpr int bytes = sizeof(T), all = Short<T>::bytes;
    Qor8u from[3][all];
    __builtin_memset(from, 0x80, sizeof from);
    for (int b = 0; b < all; ++b) {
      const int source = (3 * (b / bytes) + channel) * bytes + b % bytes;
      from[source / all][b] = static_cast<Qor8u>(source % all);
    }
    for (int i = 0; i < 3; ++i) pick[i] = repeated(load<Short<Qor8u>>(from[i]));
  }
  Vec<T> at(const T* p) const {
    const Triple<T> samples(p);
    return as<T>(lookUp(as<Qor8u>(samples.a), pick[0]) | lookUp(as<Qor8u>(samples.b), pick[1]) |
                 lookUp(as<Qor8u>(samples.c), pick[2]));
  }
};

// Keeps the compiler from loading a vector once for the minimum and once more for the maximum.
template <class T>
QOR_FORCE_INLINE Vec<T> inRegister(Vec<T> v) {
  asm("" : "+x"(v.v));
  return v;
}

template <class T, class Pixels, bool masked>
struct Row {
  static constexpr int channels = Pixels::channels;
  const Pixels& pixels;
  const T* samples;
  const Qor8u* mask;

  Vec<T> at(ptrdiff_t x) const { return pixels.at(samples + channels * x); }
  // with a running extreme, which changes none, in place of what is masked out
  Vec<T> at(ptrdiff_t x, Vec<T> running) const {
    if constexpr (masked) return select(maskedOut<T>(mask + x), running, at(x));
    return inRegister(at(x));
  }
  // without the hits that are masked out
  Vec<T> counted(ptrdiff_t x, Vec<T> hits) const {
    if constexpr (masked) return andNot(maskedOut<T>(mask + x), hits);
    return hits;
  }
  T sample(ptrdiff_t x) const {
    if constexpr (channels == 1) {
      return samples[x];
    } else {
      return samples[channels * x + pixels.channel];
    }
  }
};

// A row of at least one whole vector: a narrower one is copied, its last pixel repeated, which changes no extreme and
// no first position.
template <class T, class Pixels, bool masked>
struct WholeRow {
  static constexpr ptrdiff_t lanes = Vec<T>::lanes, channels = Pixels::channels;
  T samplesCopy[channels * lanes];
  Qor8u maskCopy[lanes];
  const Row<T, Pixels, masked> row;
  const ptrdiff_t width;

  WholeRow(const Row<T, Pixels, masked>& given, ptrdiff_t n)
      : row{given.pixels, n < lanes ? samplesCopy : given.samples, n < lanes ? maskCopy : given.mask},
        width(n < lanes ? lanes : n) {
    if (n >= lanes) return;
    __builtin_memcpy(samplesCopy, given.samples, static_cast<size_t>(channels * n) * sizeof(T));
    for (ptrdiff_t i = channels * n; i < channels * lanes; ++i) samplesCopy[i] = samplesCopy[i - channels];
    for (ptrdiff_t i = 0; masked && i < lanes; ++i) maskCopy[i] = given.mask[i < n ? i : n - 1];
  }
};

// ---- first position

// First pixel that counts and whose sample satisfies hit, or -1.
template <class T, class Pixels, bool masked, class Hit>
ptrdiff_t findFirst(const Row<T, Pixels, masked>& given, ptrdiff_t width, const Hit& hit) {
  constexpr int lanes = Vec<T>::lanes;
  const WholeRow<T, Pixels, masked> whole(given, width);
  const Row<T, Pixels, masked> row = whole.row;
  const ptrdiff_t n = whole.width;
  for (ptrdiff_t x = 0;;) {
    const Qor32u hits = signBits(row.counted(x, hit(row.at(x))));
    if (hits != 0) return x + __builtin_ctz(hits) / bitsOfLane<Vec<T>>;
    if (x == n - lanes) return -1;
    x = x <= n - 2 * lanes ? x + lanes : n - lanes;
  }
}

// ---- values and rows

template <class T>
struct Extremes {
  T min;
  T max;
  int minRow;
  int maxRow;
  bool found;  // whether there is a pixel at all; values and rows mean nothing without one

  // Takes in an extreme found further down: the upper row keeps an equal value.
  void take(const Extremes& below) {
    if (!below.found) return;
    if (!found) {
      *this = below;
      return;
    }
    if (below.min < min) {
      min = below.min;
      minRow = below.minRow;
    }
    if (below.max > max) {
      max = below.max;
      maxRow = below.maxRow;
    }
  }
};

template <class T>
QOR_FORCE_INLINE bool sameLanes(Vec<T> a, Vec<T> b) {
  return signBits(a == b) == allSignBits<Vec<T>>;
}

// The running extremes of the lanes. As the second operand of a float minimum they keep out NaNs; integers do without,
// since a running first operand saves a copy.
template <class T>
QOR_FORCE_INLINE Vec<T> lower(Vec<T> running, Vec<T> v) {
  if constexpr (std::is_floating_point_v<T>) return min(v, running);
  return min(running, v);
}
template <class T>
QOR_FORCE_INLINE Vec<T> higher(Vec<T> running, Vec<T> v) {
  if constexpr (std::is_floating_point_v<T>) return max(v, running);
  return max(running, v);
}

// Takes in row y. The lanes start from the running extremes, so that any lane which has moved is an improvement.
template <class T, class Pixels, bool masked>
void takeRow(Extremes<T>& extremes, const Row<T, Pixels, masked>& given, ptrdiff_t width, int y) {
  constexpr int lanes = Vec<T>::lanes;
  // Independent lanes hide the latency of the extremes, which is longest in floats; under a mask more of the others
  // would not stay in registers.
  constexpr int chains = masked && !std::is_floating_point_v<T> ? 2 : 4;
  const WholeRow<T, Pixels, masked> whole(given, width);
  const Row<T, Pixels, masked> row = whole.row;
  const ptrdiff_t n = whole.width;
  const Vec<T> lowest = splat(extremes.min), highest = splat(extremes.max);
  Vec<T> lo[chains];
  Vec<T> hi[chains];
  for (int chain = 0; chain < chains; ++chain) lo[chain] = lowest, hi[chain] = highest;
  const auto takeVector = [&](ptrdiff_t x, int chain) {
    const Vec<T> v = row.at(x, lowest);
    lo[chain] = lower(lo[chain], v);
    hi[chain] = higher(hi[chain], v);
  };
  ptrdiff_t x = 0;
  for (; x <= n - chains * lanes; x += chains * lanes)
    for (int chain = 0; chain < chains; ++chain) takeVector(x + chain * lanes, chain);
  for (; x <= n - lanes; x += lanes) takeVector(x, 0);
  takeVector(n - lanes, 1);
  for (int chain = 1; chain < chains; ++chain) {
    lo[0] = lower(lo[0], lo[chain]);
    hi[0] = higher(hi[0], hi[chain]);
  }
  if (!sameLanes(lo[0], lowest)) {
    extremes.min = smallest(lo[0]);
    extremes.minRow = y;
  }
  if (!sameLanes(hi[0], highest)) {
    extremes.max = largest(hi[0]);
    extremes.maxRow = y;
  }
}

// ---- the region

template <class T, class Pixels, bool masked>
struct Region {
  Pixels pixels;
  Plane<const T> src;
  Plane<const Qor8u> mask;
  QoriSize size;

  Row<T, Pixels, masked> row(int y) const { return {pixels, src.row(y), masked ? mask.row(y) : nullptr}; }

  // Without a mask the search starts from the ends of the type's range, under one from the first pixel that counts, or
  // counts as a number.
  static Extremes<T> start() { return {topOf<T>, bottomOf<T>, 0, 0, !masked}; }

  [[gnu::flatten, gnu::noinline]] Extremes<T> extremesOf(Band band) const {
    Extremes<T> extremes = start();
    for (int y = band.first; y < band.first + band.rows; ++y) {
      const auto current = row(y);
      if (!extremes.found) {
        const ptrdiff_t x = findFirst(current, size.width, [](Vec<T> v) { return v == v; });
        if (x < 0) continue;
        extremes = {current.sample(x), current.sample(x), y, y, true};
      }
      takeRow(extremes, current, size.width, y);
    }
    return extremes;
  }

  // The first pixel of a row with that value. The value stored is the sample's own: a zero keeps its sign. A value that
  // is none of the row's is the start of a search that nothing improved.
  [[gnu::flatten, gnu::noinline]] void report(T value, int y, Qor32f* pValue, QoriPoint* pIndex) const {
    const auto current = row(y);
    const Vec<T> wanted = splat(value);
    const ptrdiff_t x = findFirst(current, size.width, [wanted](Vec<T> v) { return v == wanted; });
    if (pValue != nullptr) *pValue = static_cast<Qor32f>(x < 0 ? value : current.sample(x));
    if (pIndex != nullptr) *pIndex = {x < 0 ? 0 : static_cast<int>(x), y};
  }
};

struct Results {
  Qor32f* minVal;
  Qor32f* maxVal;
  QoriPoint* minIndex;
  QoriPoint* maxIndex;
};

template <class T, class Pixels, bool masked>
void findExtremes(const Region<T, Pixels, masked>& region, const Results& results) {
  const Extremes<T> extremes = reduceBands(
      teamFor(shared, region.size) > 0, region.size.height, region.start(),
      [&region](Band band) { return region.extremesOf(band); },
      [](Extremes<T>& into, const Extremes<T>& from) { into.take(from); });
  if (extremes.found) {
    region.report(extremes.min, extremes.minRow, results.minVal, results.minIndex);
    region.report(extremes.max, extremes.maxRow, results.maxVal, results.maxIndex);
    return;
  }
  if (results.minVal != nullptr) *results.minVal = 0;
  if (results.maxVal != nullptr) *results.maxVal = 0;
  if (results.minIndex != nullptr) *results.minIndex = {0, 0};
  if (results.maxIndex != nullptr) *results.maxIndex = {0, 0};
}

// The evenness of the source's step comes directly behind its minimum, ahead of the mask's step.
template <class T>
QorStatus sourceCheck(int64_t samples, int srcStep) {
  return firstFailure(stepCheck<T>(samples, srcStep), evenCheck<T>(srcStep));
}

template <class T>
QorStatus minMax(const T* pSrc, int srcStep, QoriSize roiSize, const Results& results) {
  const QorStatus status = firstFailure(nullCheck(pSrc), sizeCheck(roiSize), sourceCheck<T>(roiSize.width, srcStep));
  if (status != qorStsNoErr) return status;
  findExtremes(Region<T, OneChannel<T>, false>{{}, {pSrc, srcStep}, {}, roiSize}, results);
  return qorStsNoErr;
}

template <class T>
QorStatus minMaxOfChannel(const T* pSrc, int srcStep, QoriSize roiSize, int coi, const Results& results) {
  const QorStatus status = firstFailure(nullCheck(pSrc), sizeCheck(roiSize),
                                        sourceCheck<T>(int64_t{3} * roiSize.width, srcStep), coiCheck(coi));
  if (status != qorStsNoErr) return status;
  findExtremes(Region<T, ChannelOfThree<T>, false>{ChannelOfThree<T>(coi), {pSrc, srcStep}, {}, roiSize}, results);
  return qorStsNoErr;
}

template <class T>
QorStatus minMaxMasked(const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize,
                       const Results& results) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pMask), sizeCheck(roiSize), sourceCheck<T>(roiSize.width, srcStep),
                   stepCheck<Qor8u>(roiSize.width, maskStep));
  if (status != qorStsNoErr) return status;
  findExtremes(Region<T, OneChannel<T>, true>{{}, {pSrc, srcStep}, {pMask, maskStep}, roiSize}, results);
  return qorStsNoErr;
}

template <class T>
QorStatus minMaxOfChannelMasked(const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi,
                                const Results& results) {
  const QorStatus status =
      firstFailure(nullCheck(pSrc, pMask), sizeCheck(roiSize), sourceCheck<T>(int64_t{3} * roiSize.width, srcStep),
                   stepCheck<Qor8u>(roiSize.width, maskStep), coiCheck(coi));
  if (status != qorStsNoErr) return status;
  findExtremes(Region<T, ChannelOfThree<T>, true>{ChannelOfThree<T>(coi), {pSrc, srcStep}, {pMask, maskStep}, roiSize},
               results);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_MIN_MAX(name, T)                                                                             \
  QOR_BODY(name)                                                                                         \
  (const T* pSrc, int srcStep, QoriSize roiSize, Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex, \
   QoriPoint* pMaxIndex) {                                                                               \
    return qor::minMax(pSrc, srcStep, roiSize, {pMinVal, pMaxVal, pMinIndex, pMaxIndex});                \
  }
#define QOR_MIN_MAX_CHANNEL(name, T)                                                                              \
  QOR_BODY(name)                                                                                                  \
  (const T* pSrc, int srcStep, QoriSize roiSize, int coi, Qor32f* pMinVal, Qor32f* pMaxVal, QoriPoint* pMinIndex, \
   QoriPoint* pMaxIndex) {                                                                                        \
    return qor::minMaxOfChannel(pSrc, srcStep, roiSize, coi, {pMinVal, pMaxVal, pMinIndex, pMaxIndex});           \
  }
#define QOR_MIN_MAX_MASKED(name, T)                                                                                  \
  QOR_BODY(name)                                                                                                     \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, Qor32f* pMinVal, Qor32f* pMaxVal, \
   QoriPoint* pMinIndex, QoriPoint* pMaxIndex) {                                                                     \
    return qor::minMaxMasked(pSrc, srcStep, pMask, maskStep, roiSize, {pMinVal, pMaxVal, pMinIndex, pMaxIndex});     \
  }
#define QOR_MIN_MAX_CHANNEL_MASKED(name, T)                                                                  \
  QOR_BODY(name)                                                                                             \
  (const T* pSrc, int srcStep, const Qor8u* pMask, int maskStep, QoriSize roiSize, int coi, Qor32f* pMinVal, \
   Qor32f* pMaxVal, QoriPoint* pMinIndex, QoriPoint* pMaxIndex) {                                            \
    return qor::minMaxOfChannelMasked(pSrc, srcStep, pMask, maskStep, roiSize, coi,                          \
                                      {pMinVal, pMaxVal, pMinIndex, pMaxIndex});                             \
  }
#include "arith/min_max.def"
