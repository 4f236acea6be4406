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

// Pixels from which a call is shared among the team.
constexpr Qor32s parallelArea = 0x4000;

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
    constexpr int bytes = sizeof(T);
    alignas(16) Qor8u from[3][16];
    __builtin_memset(from, 0x80, sizeof from);
    for (int b = 0; b < 16; ++b) {
      const int source = (3 * (b / bytes) + channel) * bytes + b % bytes;
      from[source / 16][b] = static_cast<Qor8u>(source % 16);
    }
    for (int i = 0; i < 3; ++i) pick[i] = load(from[i]);
  }
  Vec<T> at(const T* p) const {
    constexpr int lanes = Vec<T>::lanes;
    return as<T>(lookUp(as<Qor8u>(load(p)), pick[0]) | lookUp(as<Qor8u>(load(p + lanes)), pick[1]) |
                 lookUp(as<Qor8u>(load(p + 2 * lanes)), pick[2]));
  }
};

// Lanes of ones where the mask is 0.
template <class T>
Vec<T> maskedOut(const Qor8u* mask) {
  if constexpr (sizeof(T) == 1) {
    return as<T>(load(mask) == zero<Qor8u>());
  } else if constexpr (sizeof(T) == 2) {
    return as<T>(widenLo(load8(mask)) == zero<Qor16u>());
  } else {
    return as<T>(widenFour(load4(mask)) == zero<Qor32s>());
  }
}

template <class T, class Pixels, bool masked>
struct Row {
  static constexpr int channels = Pixels::channels;
  Pixels pixels;
  const T* samples;
  const Qor8u* mask;

  Vec<T> at(ptrdiff_t x) const { return pixels.at(samples + channels * x); }
  // with something in place of what is masked out that changes no extreme: a running one or, in floats, a NaN
  Vec<T> at(ptrdiff_t x, Vec<T> running) const {
    if constexpr (!masked) {
      return at(x);
    } else if constexpr (std::is_same_v<T, Qor32f>) {
      return maskedOut<T>(mask + x) | at(x);
    } else {
      return select(maskedOut<T>(mask + x), running, at(x));
    }
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

// Calls work(row, n) for a row of at least one whole vector. A narrower row is copied, its last pixel repeated, which
// changes no extreme and no first position.
template <class T, class Pixels, bool masked, class Work>
auto onWholeVectors(const Row<T, Pixels, masked>& row, ptrdiff_t n, const Work& work) {
  constexpr int lanes = Vec<T>::lanes;
  if (n >= lanes) return work(row, n);
  constexpr int channels = Pixels::channels;
  T samples[channels * lanes];
  Qor8u mask[16];
  __builtin_memcpy(samples, row.samples, static_cast<size_t>(channels * n) * sizeof(T));
  for (ptrdiff_t i = channels * n; i < channels * lanes; ++i) samples[i] = samples[i - channels];
  for (ptrdiff_t i = 0; masked && i < lanes; ++i) mask[i] = row.mask[i < n ? i : n - 1];
  return work(Row<T, Pixels, masked>{row.pixels, samples, mask}, static_cast<ptrdiff_t>(lanes));
}

// ---- first position

// One bit a byte of the vector, in floats one bit a lane.
template <class T>
constexpr int bitsOfLane = std::is_same_v<T, Qor32f> ? 1 : static_cast<int>(sizeof(T));

// First pixel that counts and whose sample satisfies hit, or -1.
template <class T, class Pixels, bool masked, class Hit>
ptrdiff_t findFirst(const Row<T, Pixels, masked>& whole, ptrdiff_t width, const Hit& hit) {
  return onWholeVectors(whole, width, [&hit](const auto& row, ptrdiff_t n) -> ptrdiff_t {
    constexpr int lanes = Vec<T>::lanes;
    for (ptrdiff_t x = 0;;) {
      const int hits = signBits(row.counted(x, hit(row.at(x))));
      if (hits != 0) return x + __builtin_ctz(static_cast<unsigned>(hits)) / bitsOfLane<T>;
      if (x == n - lanes) return -1;
      x = x <= n - 2 * lanes ? x + lanes : n - lanes;
    }
  });
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
bool sameLanes(Vec<T> a, Vec<T> b) {
  return signBits(a == b) == (1 << (Vec<T>::lanes * bitsOfLane<T>)) - 1;
}

template <class T>
T lowestLane(Vec<T> a) {
  T lanes[Vec<T>::lanes];
  store(lanes, a);
  T lowest = lanes[0];
  for (T lane : lanes) lowest = lane < lowest ? lane : lowest;
  return lowest;
}
template <class T>
T highestLane(Vec<T> a) {
  T lanes[Vec<T>::lanes];
  store(lanes, a);
  T highest = lanes[0];
  for (T lane : lanes) highest = lane > highest ? lane : highest;
  return highest;
}

// Keeps the compiler from loading a vector once for the minimum and once more for the maximum.
template <class T>
Vec<T> inRegister(Vec<T> v) {
  asm("" : "+x"(v.v));
  return v;
}

// The running extremes of the lanes. As the second operand of a float minimum they keep out NaNs; integers do without,
// since a running first operand saves a copy.
template <class T>
Vec<T> lower(Vec<T> running, Vec<T> v) {
  return min(running, v);
}
inline V32f lower(V32f running, V32f v) { return min(v, running); }
template <class T>
Vec<T> higher(Vec<T> running, Vec<T> v) {
  return max(running, v);
}
inline V32f higher(V32f running, V32f v) { return max(v, running); }

// Takes in row y. The lanes start from the running extremes, so that any lane which has moved is an improvement.
template <class T, class Pixels, bool masked>
void takeRow(Extremes<T>& extremes, const Row<T, Pixels, masked>& whole, ptrdiff_t width, int y) {
  onWholeVectors(whole, width, [&extremes, y](const auto& row, ptrdiff_t n) {
    constexpr int lanes = Vec<T>::lanes;
    // Independent lanes hide the latency of the extremes; under a mask more of them would not stay in registers.
    constexpr int chains = masked ? 2 : 4;
    const Vec<T> lowest = splat(extremes.min);
    const Vec<T> highest = splat(extremes.max);
    Vec<T> lo[chains];
    Vec<T> hi[chains];
    for (int chain = 0; chain < chains; ++chain) lo[chain] = lowest, hi[chain] = highest;
    const auto takeVector = [&](ptrdiff_t x, int chain) {
      const Vec<T> v = inRegister(row.at(x, lowest));
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
      extremes.min = lowestLane(lo[0]);
      extremes.minRow = y;
    }
    if (!sameLanes(hi[0], highest)) {
      extremes.max = highestLane(hi[0]);
      extremes.maxRow = y;
    }
  });
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
  Extremes<T> start() const { return {topOf<T>, bottomOf<T>, 0, 0, !masked}; }

  Extremes<T> extremesOf(Band band) const {
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
  void report(T value, int y, Qor32f* pValue, QoriPoint* pIndex) const {
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
  const bool parallel = area(region.size.width, region.size.height) >= parallelArea;
  const Extremes<T> extremes = reduceBands(
      parallel, region.size.height, region.start(), [&region](Band band) { return region.extremesOf(band); },
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
