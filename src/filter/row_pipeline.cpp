// Rows of an image filtered along themselves, with a border, into rows that the caller points at.
#include "filter/row_pipeline.h"

#include "filter/integer_sums.h"
#include "filter/low_precision.h"
#include "filter/pipeline.h"
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/row_ends.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- a row

// What blocks may read behind the last span of staged samples.
constexpr int samplesBehind = 4 * group - 1;

// Results of n neighbouring samples, in whole blocks of which spans may be read to the end.
template <int channels, class T, class Filter>
[[gnu::noinline]] void filterStaged(const T* spans, RowSample<T>* dst, ptrdiff_t n, const void* of) {
  constexpr int least = Filter::blocks.least, results = least * group;
  static_assert(results <= samplesBehind + 1);
  const auto& filter = *static_cast<const Filter*>(of);
  for (ptrdiff_t x = 0; x < n; x += results) {
    RowSample<T> last[results];
    RowSample<T>* const to = x <= n - results ? dst + x : last;
    filter.template write<least>(to, RowSpan<channels, T>{spans + x});
    if (to == last) copyFirst<results / 2>(dst + x, last, n - x);
  }
}

// Results of n neighbouring samples whose spans are read exactly. The first and the last block overlap their
// neighbours: a row is no destination of its own.
template <int channels, class T, class Filter>
void filterInside(const T* spans, RowSample<T>* dst, ptrdiff_t n, int kernelSize, T* staged, const void* of) {
  using D = RowSample<T>;
  constexpr int most = Filter::blocks.most;
  constexpr ptrdiff_t least = Filter::blocks.least * group, step = most * group;
  // Out of line, once for every filter.
  const auto filterFew = [&](ptrdiff_t x, ptrdiff_t count) {
    filterStaged<channels, T, Filter>(spans + x, dst + x, count, of);
  };
  if (n < least) {
    const auto samples = static_cast<size_t>(n + ptrdiff_t{kernelSize - 1} * channels);
    __builtin_memcpy(staged, spans, samples * sizeof(T));
    spans = staged;
    return filterFew(0, n);
  }
  // In registers: a store may change what a reference refers to, for all the compiler knows.
  const Filter filter = *static_cast<const Filter*>(of);
  // The inside begins anchor pixels into a row: behind a first block the others are stored aligned.
  constexpr uintptr_t alignment = Vec<D>::bytes;
  const auto misaligned = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(dst) & (alignment - 1));
  ptrdiff_t x = misaligned / static_cast<ptrdiff_t>(sizeof(D));
  if (x != 0) filterFew(0, least);
  for (; x <= n - step; x += step) filter.template write<most>(dst + x, RowSpan<channels, T>{spans + x});
  if (least != step && x <= n - least) {
    const ptrdiff_t whole = (n - x) & -least;
    filterFew(x, whole);
    x += whole;
  }
  if (x < n) filterFew(n - least, least);
}

// The two filters of a row without their types, so that what calls them exists once.
template <class T>
struct RowKernels {
  using D = RowSample<T>;
  const void *insideFilter, *endsFilter;
  void (*inside)(const T* spans, D* dst, ptrdiff_t n, int kernelSize, T* staged, const void* filter);
  void (*ends)(const T* spans, D* dst, ptrdiff_t n, const void* filter);
};

// ---- scratch

constexpr bool isShort(int kernelSize) { return kernelSize == 3 || kernelSize == 5; }

// Taps as the kernels of a member take them, and a piece for every thread, in which the ends of its rows are staged.
struct RowScratch {
  Qor8u* pieces;
  int64_t pieceBytes;
  Qor16s* pairs;
  Qor32f* floats;
};

template <class Member, class T, int channels>
[[gnu::noinline]] RowScratch layRows(ScratchParts& parts, int kernelSize, int threads) {
  RowScratch s{};
  // No two threads write to one line.
  constexpr int64_t line = 64;
  s.pieceBytes = roundUpTo(rowBytes<T>(int64_t{kernelSize - 1} * 3 * channels + samplesBehind), line);
  s.pieces = parts.take<Qor8u>(s.pieceBytes * threads, threads > 1 ? line : alignof(T));
  if (Member::keepsPairs && !isShort(kernelSize)) {
    s.pairs = parts.take<Qor16s>(NeighbourTaps<0>::room(kernelSize), V16s::bytes);
  }
  if (Member::keepsFloats && !isShort(kernelSize)) s.floats = parts.take<Qor32f>(kernelSize);
  return s;
}

template <class Member, class T, int channels>
int64_t bytesForRows(int kernelSize, int threads) {
  return bytesOf([=](ScratchParts& parts) { layRows<Member, T, channels>(parts, kernelSize, threads); });
}

// ---- a call on its way

template <class T, int channels>
struct Rows {
  const RowCall<T, channels>& call;
  int team;
  RowScratch scratch;

  template <class Inside, class AtEnds>
  void make(const Inside& inside, const AtEnds& ends) const {
    makeWith({&inside, &ends, filterInside<channels, T, Inside>, filterStaged<channels, T, AtEnds>});
  }

 private:
  void makeWith(const RowKernels<T>& kernels) const {
    forTeam(team, call.size.height, [&](Band band) { makeBand(band, kernels); });
  }

  // The ends of a row are staged with what stands beside them.
  [[gnu::noinline]] void makeBand(Band band, const RowKernels<T>& kernels) const {
    const int kernelSize = call.kernelSize;
    const ptrdiff_t width = call.size.width, anchor = call.anchor;
    const ptrdiff_t left = anchor < width ? anchor : width;
    const ptrdiff_t behind = kernelSize - 1 - anchor, right = behind < width - left ? behind : width - left;
    const Edge edge = call.border == qorBorderConst  ? Edge::value
                      : call.border == qorBorderRepl ? Edge::nearest
                                                     : Edge::memory;
    const Axis columns{width, edge, edge, false};
    T* const staged = reinterpret_cast<T*>(scratch.pieces + band.thread * scratch.pieceBytes);
    for (int y = band.first; y < band.first + band.rows; ++y) {
      const T* const row = call.src.row(y);
      RowSample<T>* const dst = call.rows[y];
      if (kernelSize > 1) {
        const ptrdiff_t spans = copyEnds<channels>(staged, row, columns, kernelSize, call.anchor, call.value);
        kernels.ends(staged, dst, left * channels, kernels.endsFilter);
        kernels.ends(staged + spans, dst + (width - right) * channels, right * channels, kernels.endsFilter);
      }
      if (width >= kernelSize) {
        kernels.inside(row, dst + anchor * channels, (width - kernelSize + 1) * channels, kernelSize, staged,
                       kernels.insideFilter);
      }
    }
  }
};

// ---- arithmetic by member

// 8u16s: exact sums times the reciprocal. With a divisor of 1 the product changes nothing: sums that a float rounds lie
// far outside 16 bits.
template <int channels>
struct RowOfBytes {
  static constexpr bool keepsPairs = channels == 1, keepsFloats = false;
  static ScratchSize scratch(int kernelSize) {
    return {0, (channels == 1 ? 36U : 60U) * static_cast<Qor32u>(kernelSize) + 112};
  }
  static int team(QoriSize size, int) { return teamFor(sharedPixels, size); }

  // Up to this many taps, 2^31 - 64 is beyond any sum.
  static constexpr int exactTaps = 257;

  static void filter(const Rows<Qor8u, channels>& rows) {
    withKernelSize(rows.call.kernelSize, [&](auto K) {
      const Qor16s* const taps = rows.call.taps;
      const int kernelSize = rows.call.kernelSize, divisor = rows.call.divisor;
      const V32f inverse = splat(inverseOf(divisor));
      using Sum = IntegerSum<PairTaps<K>>;
      const Sum sum{PairTaps<K>(taps, kernelSize)};
      const Scaled<Qor16s, Sum> plain{sum, inverse};
      const Scaled<Qor16s, Sum, Rounding::truncated> ends{sum, inverse};
      const SumRange range(taps, kernelSize, 0, topOf<Qor8u>);
      const bool adds = QuotientByAddition::serves(divisor, range);
      if constexpr (channels == 1) {
        if constexpr (K != 0) {
          if (SmallTaps<K>::serves(taps, divisor)) return rows.make(SmallTaps<K>(taps, divisor), ends);
        }
        using Taps = NeighbourTaps<K>;
        if (adds && range.quotientsFit(divisor)) {
          const Taps pairs(taps, kernelSize, rows.scratch.pairs);
          rows.make(NeighbourSum<Taps, QuotientByAddition>{pairs, {divisor, range}}, ends);
        } else if (kernelSize <= exactTaps) {
          const Taps pairs(taps, kernelSize, rows.scratch.pairs);
          rows.make(NeighbourSum<Taps, QuotientByProduct>{pairs, {inverse}}, ends);
        } else {
          rows.make(plain, ends);
        }
      } else if (!adds) {
        rows.make(plain, ends);
      } else if (isSymmetric(taps, kernelSize)) {
        rows.make(ExactSum<Qor16s, K, true>(taps, kernelSize, divisor, range), ends);
      } else {
        rows.make(ExactSum<Qor16s, K, false>(taps, kernelSize, divisor, range), ends);
      }
    });
  }
};

// 32-bit sums of 16s samples hold as long as the absolute taps, added as floats, stay below this.
constexpr Qor32f exactTapLimit = 65535.0F;

Qor32f absoluteSum(const Qor16s* taps, int count) {
  Qor32f sum = 0;
  for (int i = 0; i < count; ++i) sum += static_cast<Qor32f>(taps[i] < 0 ? -taps[i] : int{taps[i]});
  return sum;
}

template <int channels>
struct RowOfSigned {
  static constexpr bool keepsPairs = channels == 1, keepsFloats = true;
  static ScratchSize scratch(int kernelSize) {
    const auto K = static_cast<Qor32u>(kernelSize);
    return {0, channels == 1 ? 48 * K + 80 : 40 * K + 64};
  }
  static int team(QoriSize size, int) { return teamFor(sharedPixels, size); }

  // 3 or 5 taps: exact sums times the reciprocal if they fit, else taps times the reciprocal; at the ends a float sum
  // times the reciprocal.
  template <int K>
  static void filterShort(const Rows<Qor16s, channels>& rows) {
    const Qor16s* const taps = rows.call.taps;
    const int divisor = rows.call.divisor;
    const Qor32f inverse = inverseOf(divisor);
    using Sum = FloatSum<FloatTaps<K>>;
    const Scaled<Qor16s, Sum, Rounding::truncated> ends{{floatTaps<K>(taps, K, 1.0F, nullptr)}, splat(inverse)};
    if constexpr (channels == 1) {
      if (absoluteSum(taps, K) < exactTapLimit) {
        using Taps = NeighbourTaps<K>;
        const Taps pairs(taps, K, nullptr);
        const SumRange range(taps, K, bottomOf<Qor16s>, topOf<Qor16s>);
        if (QuotientByAddition::serves(divisor, range) && range.quotientsFit(divisor)) {
          rows.make(NeighbourSum<Taps, QuotientByAddition>{pairs, {divisor, range}}, ends);
        } else {
          rows.make(NeighbourSum<Taps, QuotientByProduct>{pairs, {splat(inverse)}}, ends);
        }
        return;
      }
    }
    rows.make(Plain<Qor16s, Sum>{{floatTaps<K>(taps, K, inverse, nullptr)}}, ends);
  }

  // Any other number: sums of pairs times the reciprocal, unless a tap of -32768 may overflow a pair; at the ends, and
  // in a short row everywhere, taps times the reciprocal.
  static void filterLong(const Rows<Qor16s, channels>& rows) {
    constexpr int longestTruncated = 15;
    const Qor16s* const taps = rows.call.taps;
    const int kernelSize = rows.call.kernelSize;
    const Qor32f inverse = inverseOf(rows.call.divisor);
    using Sum = FloatSum<FloatTaps<0>>;
    const Sum sum{floatTaps<0>(taps, kernelSize, inverse, rows.scratch.floats)};
    const Plain<Qor16s, Sum, Rounding::truncated> ends{sum};
    if (rows.call.size.width - kernelSize <= longestTruncated) return rows.make(ends, ends);
    if constexpr (channels == 1) {
      bool lowest = false;
      for (int i = 0; i < kernelSize; ++i) lowest = lowest || taps[i] == bottomOf<Qor16s>;
      if (lowest) return rows.make(Plain<Qor16s, Sum>{sum}, ends);
      using Taps = NeighbourTaps<0>;
      rows.make(NeighbourPairSum<Taps>{Taps(taps, kernelSize, rows.scratch.pairs), splat(inverse)}, ends);
    } else {
      using Pairs = PairSum<PairTaps<0>>;
      rows.make(Scaled<Qor16s, Pairs>{{PairTaps<0>(taps, kernelSize)}, splat(inverse)}, ends);
    }
  }

  static void filter(const Rows<Qor16s, channels>& rows) {
    withKernelSize(rows.call.kernelSize, [&](auto K) {
      if constexpr (K == 0) {
        filterLong(rows);
      } else {
        filterShort<K>(rows);
      }
    });
  }
};

// 16u: a float sum times the reciprocal.
template <int channels>
struct RowOfUnsigned {
  static constexpr bool keepsPairs = false, keepsFloats = true;
  static ScratchSize scratch(int kernelSize) {
    return {(channels == 1 ? 48U : 112U) * static_cast<Qor32u>(kernelSize) + 80, 0, false};
  }
  static int team(QoriSize, int) { return 0; }

  static void filter(const Rows<Qor16u, channels>& rows) {
    withKernelSize(rows.call.kernelSize, [&](auto K) {
      using Sum = FloatSum<FloatTaps<K>>;
      const Sum sum{floatTaps<K>(rows.call.taps, rows.call.kernelSize, 1.0F, rows.scratch.floats)};
      const V32f inverse = splat(inverseOf(rows.call.divisor));
      rows.make(Scaled<Qor16u, Sum>{sum, inverse}, Scaled<Qor16u, Sum, Rounding::truncated>{sum, inverse});
    });
  }
};

// 32f: the float sum.
template <int channels>
struct RowOfFloats {
  static constexpr bool keepsPairs = false, keepsFloats = false;
  static ScratchSize scratch(int kernelSize) {
    const auto K = static_cast<Qor32u>(kernelSize);
    const Qor32u team = static_cast<Qor32u>(owncvGetMaxNumThreads());
    return {channels == 1 ? 16 * team : 0, channels == 1 ? 64 * K + 64 : 192 * K + 64};
  }
  static int team(QoriSize size, int kernelSize) {
    return channels == 3 || runsepomp(kernelSize) != 0 ? teamFor(sharedPixels, size) : 0;
  }

  static void filter(const Rows<Qor32f, channels>& rows) {
    withKernelSize(rows.call.kernelSize, [&](auto K) {
      using Sum = FloatSum<FloatTaps<K>>;
      const Plain<Qor32f, Sum> filter{{FloatTaps<K>(rows.call.taps, rows.call.kernelSize)}};
      rows.make(filter, filter);
    });
  }
};

// Low_16s. The binomial shape wraps in 16 bits in every column.
template <int channels>
struct RowOfLow {
  static constexpr bool keepsPairs = false, keepsFloats = false;
  static ScratchSize scratch(int kernelSize) {
    const auto K = static_cast<Qor32u>(kernelSize);
    return {0, channels == 1 ? 24 * K + 64 : 208 * K + 64};
  }
  static int team(QoriSize size, int) { return teamFor(sharedPixels, size); }

  static void filter(const Rows<Qor16s, channels>& rows) {
    const RowCall<Qor16s, channels>& c = rows.call;
    const bool binomial = c.kernelSize == 5 && c.border == qorBorderRepl && c.anchor == 2 && isSymmetric(c.taps, 5) &&
                          c.size.width - 2 > 8 && c.divisor == 16;
    withLowFilters(c.taps, c.kernelSize, c.divisor, binomial,
                   [&](const auto& inside, const auto& ends) { rows.make(inside, ends); });
  }
};

// ---- a call

template <class Member>
int reported(QoriSize size, int kernelSize) {
  return Member::scratch(kernelSize).total(size.height, kernelSize);
}

template <class Member, class T, int channels>
QorStatus filterRowsBy(const RowCall<T, channels>& call) {
  const int wanted = Member::team(call.size, call.kernelSize);
  int64_t needed = 0;
  const int threads = teamWithin(call.scratchBytes, wanted > 0 ? wanted : 1, [&](int count) {
    return needed = bytesForRows<Member, T, channels>(call.kernelSize, count);
  });
  if (threads == 0) return qorStsSizeErr;
  ScratchParts parts(call.scratch, call.scratchBytes, needed);
  const RowScratch scratch = layRows<Member, T, channels>(parts, call.kernelSize, threads);
  Member::filter(Rows<T, channels>{call, wanted > 0 ? threads : 0, scratch});
  return qorStsNoErr;
}

constexpr QorStatus kernelCheck(int kernelSize, int anchor) {
  if (kernelSize < 1) return qorStsSizeErr;
  return anchor < 0 || anchor >= kernelSize ? qorStsAnchorErr : qorStsNoErr;
}

constexpr QorStatus rowBorderCheck(QoriBorderType border) {
  return border == qorBorderConst || border == qorBorderRepl || border == qorBorderInMem ? qorStsNoErr
                                                                                         : qorStsBadArgErr;
}

template <class T>
constexpr QorStatus rowDivisorCheck(int divisor) {
  return divisor == 0 || (std::is_same_v<T, Qor16u> && divisor < 0) ? qorStsBadArgErr : qorStsNoErr;
}

template <template <int> class Member, int channels, class T>
QorStatus filterRowBorder(const T* pSrc, int srcStep, RowSample<T>* const* ppDst, QoriSize roiSize,
                          const RowSample<T>* pKernel, int kernelSize, int xAnchor, QoriBorderType borderType,
                          const T* value, int divisor, Qor8u* pBuffer) {
  QorStatus status = firstFailure(nullCheck(pSrc, ppDst, pKernel, pBuffer), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  status = firstFailure(rowsCheck(ppDst, roiSize.height), nullCheck(value), kernelCheck(kernelSize, xAnchor),
                        stepCheck<T>(int64_t{roiSize.width} * channels, srcStep), evenCheck<T>(srcStep),
                        rowBorderCheck(borderType), rowDivisorCheck<T>(divisor));
  if (status != qorStsNoErr) return status;
  using M = Member<channels>;
  return filterRowsBy<M>(RowCall<T, channels>{{pSrc, srcStep},
                                              ppDst,
                                              roiSize,
                                              pKernel,
                                              kernelSize,
                                              xAnchor,
                                              borderType,
                                              value,
                                              divisor,
                                              pBuffer,
                                              reported<M>(roiSize, kernelSize)});
}

template <class T>
struct MemberOf;
template <>
struct MemberOf<Qor8u> {
  template <int channels>
  using Of = RowOfBytes<channels>;
};
template <>
struct MemberOf<Qor16s> {
  template <int channels>
  using Of = RowOfSigned<channels>;
};
template <>
struct MemberOf<Qor16u> {
  template <int channels>
  using Of = RowOfUnsigned<channels>;
};
template <>
struct MemberOf<Qor32f> {
  template <int channels>
  using Of = RowOfFloats<channels>;
};
template <class T, int channels>
using Member = typename MemberOf<T>::template Of<channels>;

}  // namespace

template <class T, int channels>
QorStatus filterRows(const RowCall<T, channels>& call) {
  return filterRowsBy<Member<T, channels>>(call);
}
template <class T, int channels>
int64_t rowBytesNeeded(int kernelSize, int threads) {
  return bytesForRows<Member<T, channels>, T, channels>(kernelSize, threads);
}
template <class T, int channels>
int rowTeam(QoriSize size, int kernelSize) {
  return Member<T, channels>::team(size, kernelSize);
}
template <class T, int channels>
int rowScratch(QoriSize size, int kernelSize) {
  return reported<Member<T, channels>>(size, kernelSize);
}
#define QOR_GAUSSIAN(name, T, channels, type)                              \
  template QorStatus filterRows<T, channels>(const RowCall<T, channels>&); \
  template int64_t rowBytesNeeded<T, channels>(int, int);                  \
  template int rowTeam<T, channels>(QoriSize, int);                        \
  template int rowScratch<T, channels>(QoriSize, int);
#include "filter/gaussian.def"
#undef QOR_GAUSSIAN

}  // namespace qor

#define QOR_ROW_SIZE(name, Member, channels)                                                           \
  QOR_BODY(name)(QoriSize roiSize, int kernelSize, int* pBufferSize) {                                 \
    return qor::reportScratch(roiSize, kernelSize, pBufferSize, qor::reported<qor::Member<channels>>); \
  }
#define QOR_ROW_PIPELINE_C1(name, sizeName, T, Tap, D, Member)                                                     \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, D* const* ppDst, QoriSize roiSize, const Tap* pKernel, int kernelSize, int xAnchor, \
   QoriBorderType borderType, T borderValue, int divisor, Qor8u* pBuffer) {                                        \
    return qor::filterRowBorder<qor::Member, 1>(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor,       \
                                                borderType, &borderValue, divisor, pBuffer);                       \
  }                                                                                                                \
  QOR_ROW_SIZE(sizeName, Member, 1)
#define QOR_ROW_PIPELINE_C3(name, sizeName, T, Tap, D, Member)                                                     \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, D* const* ppDst, QoriSize roiSize, const Tap* pKernel, int kernelSize, int xAnchor, \
   QoriBorderType borderType, const T* pBorderValue, int divisor, Qor8u* pBuffer) {                                \
    return qor::filterRowBorder<qor::Member, 3>(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor,       \
                                                borderType, pBorderValue, divisor, pBuffer);                       \
  }                                                                                                                \
  QOR_ROW_SIZE(sizeName, Member, 3)
#define QOR_ROW_PIPELINE_32F_C1(name, sizeName)                                                                    \
  QOR_BODY(name)                                                                                                   \
  (const Qor32f* pSrc, int srcStep, Qor32f* const* ppDst, QoriSize roiSize, const Qor32f* pKernel, int kernelSize, \
   int xAnchor, QoriBorderType borderType, Qor32f borderValue, Qor8u* pBuffer) {                                   \
    return qor::filterRowBorder<qor::RowOfFloats, 1>(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor,  \
                                                     borderType, &borderValue, 1, pBuffer);                        \
  }                                                                                                                \
  QOR_ROW_SIZE(sizeName, RowOfFloats, 1)
#define QOR_ROW_PIPELINE_32F_C3(name, sizeName)                                                                    \
  QOR_BODY(name)                                                                                                   \
  (const Qor32f* pSrc, int srcStep, Qor32f* const* ppDst, QoriSize roiSize, const Qor32f* pKernel, int kernelSize, \
   int xAnchor, QoriBorderType borderType, const Qor32f* pBorderValue, Qor8u* pBuffer) {                           \
    return qor::filterRowBorder<qor::RowOfFloats, 3>(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor,  \
                                                     borderType, pBorderValue, 1, pBuffer);                        \
  }                                                                                                                \
  QOR_ROW_SIZE(sizeName, RowOfFloats, 3)
#include "filter/row_pipeline.def"
