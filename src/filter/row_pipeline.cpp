// Rows of an image filtered along themselves, with a border, into rows that the caller points at.
#include "filter/border_row.h"
#include "filter/exact_sums.h"
#include "filter/pipeline.h"
#include "filter/tap_sums.h"
#include "frame/bands.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- a row

// The least and the most groups of four results that a filter makes at a time.
template <class Filter>
constexpr int leastGroups = 2;
template <int K>
constexpr int leastGroups<SmallTaps<K>> = 4;
template <class Filter>
constexpr int mostGroups = 4;
template <class Quotient>
constexpr int mostGroups<NeighbourSum<NeighbourTaps<0>, Quotient>> = 8;
template <>
constexpr int mostGroups<NeighbourPairSum<NeighbourTaps<0>>> = 8;
template <class D, bool folds>
constexpr int mostGroups<ExactSum<D, 0, folds>> = 8;
template <class D>
constexpr int mostGroups<Plain<D, FloatSum<FloatTaps<0>>>> = 8;
template <class D>
constexpr int mostGroups<Scaled<D, FloatSum<FloatTaps<0>>>> = 8;
template <class D>
constexpr int mostGroups<Plain<D, FloatSum<FloatTaps<5>>>> = sizeof(D) < 4 ? 2 : 4;
template <class D>
constexpr int mostGroups<Scaled<D, FloatSum<FloatTaps<5>>>> = 2;

// Results of n neighbouring samples whose spans may be read for up to 15 results more.
template <Section section, int channels, class T, class D, class Filter>
void filterPadded(const T* spans, D* dst, ptrdiff_t n, const Filter& filter) {
  constexpr int groups = leastGroups<Filter>;
  constexpr ptrdiff_t lanes = 4 * groups;
  ptrdiff_t x = 0;
  for (; x <= n - lanes; x += lanes) filter.template run<section, groups>(dst + x, RowSpan<channels, T>{spans + x});
  if (x < n) {
    D last[lanes];
    filter.template run<section, groups>(last, RowSpan<channels, T>{spans + x});
    copyFirst<lanes>(dst + x, last, n - x);
  }
}

template <int channels, int groups, class T, class D, class Filter>
QOR_FORCE_INLINE ptrdiff_t filterBlocks(const T* spans, D* dst, ptrdiff_t x, ptrdiff_t n, const Filter& filter) {
  for (; x <= n - 4 * groups; x += 4 * groups) {
    filter.template run<Section::inside, groups>(dst + x, RowSpan<channels, T>{spans + x});
  }
  if constexpr (groups > leastGroups<Filter>) x = filterBlocks<channels, groups / 2>(spans, dst, x, n, filter);
  return x;
}

// Results of n neighbouring samples whose spans are read exactly. The first and the last block overlap their
// neighbours: a row is no destination of its own.
template <int channels, class T, class D, class Filter>
void filterInside(const T* spans, D* dst, ptrdiff_t n, int kernelSize, T* staged, const Filter& outer) {
  const Filter filter =
      outer;  // in registers: a store may change what a reference refers to, for all the compiler knows
  constexpr ptrdiff_t lanes = 4 * leastGroups<Filter>;
  if (n < lanes) {
    const ptrdiff_t reach = ptrdiff_t{kernelSize - 1} * channels;
    for (ptrdiff_t i = 0; i < n + reach; ++i) staged[i] = spans[i];
    filterPadded<Section::inside, channels>(staged, dst, n, filter);
    return;
  }
  const auto blockAt = [&](ptrdiff_t x) {
    filter.template run<Section::inside, leastGroups<Filter>>(dst + x, RowSpan<channels, T>{spans + x});
  };
  // The inside begins anchor pixels into a row: behind a first block the others are stored aligned.
  const auto misaligned = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(dst) & 15);
  const ptrdiff_t start = misaligned / static_cast<ptrdiff_t>(sizeof(D));
  if (start != 0) blockAt(0);
  if (filterBlocks<channels, mostGroups<Filter>>(spans, dst, start, n, filter) < n) blockAt(n - lanes);
}

// The image and how it is read.
template <int channels, class T>
struct RowSource {
  const T* first;
  int step;
  int width, kernelSize, anchor;
  QoriBorderType border;
  const T* value;
};

// One row in its three sections.
template <int channels, class T, class D, class Inside, class Edge>
void filterRow(const RowSource<channels, T>& source, const T* row, D* dst, T* staged, const Inside& inside,
               const Edge& edge) {
  const int kernelSize = Edge::kernelSize != 0 ? Edge::kernelSize : source.kernelSize;
  const ptrdiff_t width = source.width, anchor = source.anchor;
  const ptrdiff_t left = anchor < width ? anchor : width;
  const ptrdiff_t behind = kernelSize - 1 - anchor, right = behind < width - left ? behind : width - left;
  if (kernelSize > 1) {
    const ptrdiff_t spans =
        fillBorder<channels>(staged, row, source.width, kernelSize, source.anchor, source.border, source.value);
    filterPadded<Section::edge, channels>(staged, dst, left * channels, edge);
    filterPadded<Section::edge, channels>(staged + spans, dst + (width - right) * channels, right * channels, edge);
  }
  if (width >= kernelSize) {
    filterInside<channels>(row, dst + anchor * channels, (width - kernelSize + 1) * channels, kernelSize, staged,
                           inside);
  }
}

// All rows, in bands of the team or at once. Each thread stages in its own piece of the scratch behind the taps.
template <int channels, class T, class D, class Inside, class Edge>
void filterRows(bool parallel, const RowSource<channels, T>& source, D* const* rows, int height, void* pieces,
                size_t pieceBytes, const Inside& inside, const Edge& edge) {
  forBandsIf(parallel, height, [&](Band band) {
    T* const staged = reinterpret_cast<T*>(static_cast<Qor8u*>(pieces) + static_cast<size_t>(band.thread) * pieceBytes);
    for (int y = band.first; y < band.first + band.rows; ++y) {
      filterRow(source, rowAt(source.first, source.step, y), rows[y], staged, inside, edge);
    }
  });
}

// A filter whose inside is made as its edges are, without rounding.
template <class Filter>
struct AsEdge {
  Filter filter;

  template <Section, int groups, class Span>
  QOR_FORCE_INLINE void run(typename Filter::Result* dst, const Span& span) const {
    filter.template run<Section::edge, groups>(dst, span);
  }
};

// ---- arithmetic by member

template <int channels, class T, class Tap, class D>
struct RowCall {
  RowSource<channels, T> source;
  D* const* rows;
  int height;
  const Tap* taps;
  int divisor;
  Qor8u* scratch;

  int kernelSize() const { return source.kernelSize; }
  QoriSize size() const { return {source.width, height}; }
};

// Room for float taps at the front of the scratch.
inline Qor32f* tapRoom(Qor8u* scratch) { return static_cast<Qor32f*>(aligned16(scratch)); }
inline void* behindTaps(Qor32f* taps, ptrdiff_t count) { return taps + (count + 3) / 4 * 4; }

// 8u16s: exact sums times the reciprocal. With a divisor of 1 the product changes nothing: sums that a float rounds lie
// far outside 16 bits.
template <int channels>
struct RowOfBytes {
  static ScratchSize scratch(QoriSize, int kernelSize) {
    return {0, (channels == 1 ? 36U : 60U) * static_cast<Qor32u>(kernelSize) + 112};
  }
  using Call = RowCall<channels, Qor8u, Qor16s, Qor16s>;

  template <class Inside, class Edge>
  static void run(const Call& call, void* pieces, const Inside& inside, const Edge& edge) {
    filterRows(pipelineGoesParallel(call.size()), call.source, call.rows, call.height, pieces,
               scratch(call.size(), call.kernelSize()).perThread, inside, edge);
  }

  // Up to this many taps, 2^31 - 64 is beyond any sum.
  static constexpr int exactTaps = 257;

  template <int K, class Edge>
  static void runNeighbours(const Call& call, const Edge& edge) {
    const int kernelSize = call.kernelSize();
    Qor32f* const room = tapRoom(call.scratch);
    void* const pieces = behindTaps(room, K == 0 ? ptrdiff_t{4} * ((kernelSize + 1) / 2) : 0);
    using Taps = NeighbourTaps<K>;
    const Taps taps(call.taps, kernelSize, room);
    const SumRange range(call.taps, kernelSize, 0, topOf<Qor8u>);
    if (QuotientByAddition::serves(call.divisor, range) && range.quotientsFit(call.divisor)) {
      run(call, pieces, NeighbourSum<Taps, QuotientByAddition>{taps, {call.divisor, range}}, edge);
    } else if (kernelSize <= exactTaps) {
      run(call, pieces, NeighbourSum<Taps, QuotientByProduct<false>>{taps, {splat(inverseOf(call.divisor))}}, edge);
    } else {
      run(call, pieces, edge, edge);
    }
  }

  template <int K, class Edge>
  static void runChannels(const Call& call, const Edge& edge) {
    const int kernelSize = call.kernelSize();
    void* const pieces = aligned16(call.scratch);
    const SumRange range(call.taps, kernelSize, 0, topOf<Qor8u>);
    if (!QuotientByAddition::serves(call.divisor, range)) {
      run(call, pieces, edge, edge);
    } else if (isSymmetric(call.taps, kernelSize)) {
      run(call, pieces, ExactSum<Qor16s, K, true>(call.taps, kernelSize, call.divisor, range), edge);
    } else {
      run(call, pieces, ExactSum<Qor16s, K, false>(call.taps, kernelSize, call.divisor, range), edge);
    }
  }

  static void run(const Call& call) {
    withKernelSize(call.kernelSize(), [&](auto K) {
      using Sum = IntegerSum<PairTaps<K>>;
      const Scaled<Qor16s, Sum> plain{Sum{PairTaps<K>(call.taps, call.kernelSize())}, splat(inverseOf(call.divisor))};
      if constexpr (channels == 3) {
        runChannels<K>(call, plain);
      } else {
        if constexpr (K != 0) {
          if (SmallTaps<K>::serves(call.taps, call.divisor)) {
            run(call, aligned16(call.scratch), SmallTaps<K>(call.taps, call.divisor), plain);
            return;
          }
        }
        runNeighbours<K>(call, plain);
      }
    });
  }
};

template <int channels>
struct RowOfSigned {
  static ScratchSize scratch(QoriSize, int kernelSize) {
    const auto K = static_cast<Qor32u>(kernelSize);
    return {0, channels == 1 ? 48 * K + 80 : 40 * K + 64};
  }

  using Call = RowCall<channels, Qor16s, Qor16s, Qor16s>;

  template <class Inside, class Edge>
  static void run(const Call& call, void* pieces, const Inside& inside, const Edge& edge) {
    filterRows(pipelineGoesParallel(call.size()), call.source, call.rows, call.height, pieces,
               scratch(call.size(), call.kernelSize()).perThread, inside, edge);
  }

  // 3 or 5 taps: exact sums times the reciprocal if they fit, else taps times the reciprocal; at the edges a float sum
  // times the reciprocal.
  template <int K>
  static void runShort(const Call& call) {
    const Qor32f inverse = inverseOf(call.divisor);
    Qor32f plain[K], divided[K];
    floatTaps(plain, call.taps, K, 1.0F);
    floatTaps(divided, call.taps, K, inverse);
    using Floats = FloatSum<FloatTaps<K>>;
    const Scaled<Qor16s, Floats> edge{Floats{FloatTaps<K>(plain)}, splat(inverse)};
    void* const pieces = aligned16(call.scratch);
    if constexpr (channels == 1) {
      if (absoluteSum(call.taps, K) < exactTapLimit) {
        using Taps = NeighbourTaps<K>;
        const Taps taps(call.taps, K, nullptr);
        const SumRange range(call.taps, K, bottomOf<Qor16s>, topOf<Qor16s>);
        if (QuotientByAddition::serves(call.divisor, range) && range.quotientsFit(call.divisor)) {
          run(call, pieces, NeighbourSum<Taps, QuotientByAddition>{taps, {call.divisor, range}}, edge);
        } else {
          run(call, pieces, NeighbourSum<Taps, QuotientByProduct<false>>{taps, {splat(inverse)}}, edge);
        }
        return;
      }
    }
    run(call, pieces, Plain<Qor16s, Floats>{Floats{FloatTaps<K>(divided)}}, edge);
  }

  // Any other number: sums of pairs times the reciprocal, unless a tap of -32768 may overflow a pair; at the edges, and
  // in a short row everywhere, taps times the reciprocal.
  static void runLong(const Call& call) {
    constexpr int longestTruncated = 15;
    const Qor32f inverse = inverseOf(call.divisor);
    Qor32f* const divided = tapRoom(call.scratch);
    floatTaps(divided, call.taps, call.kernelSize(), inverse);
    void* const pieces = behindTaps(divided, call.kernelSize());
    using Floats = FloatSum<FloatTaps<0>>;
    using Divided = Plain<Qor16s, Floats>;
    const Divided edge{Floats{FloatTaps<0>(divided, call.kernelSize())}};
    bool lowest = false;
    for (int i = 0; i < call.kernelSize(); ++i) lowest = lowest || call.taps[i] == bottomOf<Qor16s>;
    if (call.source.width - call.kernelSize() <= longestTruncated) {
      run(call, pieces, AsEdge<Divided>{edge}, edge);
    } else if (channels == 1 && lowest) {
      run(call, pieces, edge, edge);
    } else if constexpr (channels == 1) {
      const NeighbourTaps<0> taps(call.taps, call.kernelSize(), pieces);
      run(call, behindTaps(static_cast<Qor32f*>(pieces), ptrdiff_t{4} * ((call.kernelSize() + 1) / 2)),
          NeighbourPairSum<NeighbourTaps<0>>{taps, splat(inverse)}, edge);
    } else {
      using Pairs = PairSum<PairTaps<0>>;
      run(call, pieces, Scaled<Qor16s, Pairs>{Pairs{PairTaps<0>(call.taps, call.kernelSize())}, splat(inverse)}, edge);
    }
  }

  static void run(const Call& call) {
    if (call.kernelSize() == 3) {
      runShort<3>(call);
    } else if (call.kernelSize() == 5) {
      runShort<5>(call);
    } else {
      runLong(call);
    }
  }
};

// 16u: a float sum times the reciprocal.
template <int channels>
struct RowOfUnsigned {
  static ScratchSize scratch(QoriSize, int kernelSize) {
    return {(channels == 1 ? 48U : 112U) * static_cast<Qor32u>(kernelSize) + 80, 0, false};
  }
  static void run(const RowCall<channels, Qor16u, Qor16u, Qor16u>& call) {
    Qor32f* const plain = tapRoom(call.scratch);
    floatTaps(plain, call.taps, call.kernelSize(), 1.0F);
    withKernelSize(call.kernelSize(), [&](auto K) {
      using Sum = FloatSum<FloatTaps<K>>;
      const Scaled<Qor16u, Sum> filter{Sum{FloatTaps<K>(plain, call.kernelSize())}, splat(inverseOf(call.divisor))};
      filterRows(false, call.source, call.rows, call.height, behindTaps(plain, call.kernelSize()), 0, filter, filter);
    });
  }
};

// 32f: the float sum.
template <int channels>
struct RowOfFloats {
  static ScratchSize scratch(QoriSize, int kernelSize) {
    const auto K = static_cast<Qor32u>(kernelSize);
    const Qor32u team = static_cast<Qor32u>(owncvGetMaxNumThreads());
    return {channels == 1 ? 16 * team : 0, channels == 1 ? 64 * K + 64 : 192 * K + 64};
  }
  static void run(const RowCall<channels, Qor32f, Qor32f, Qor32f>& call) {
    const bool parallel = pipelineGoesParallel(call.size()) && (channels == 3 || runsepomp(call.kernelSize()) != 0);
    withKernelSize(call.kernelSize(), [&](auto K) {
      using Sum = FloatSum<FloatTaps<K>>;
      const Plain<Qor32f, Sum> filter{Sum{FloatTaps<K>(call.taps, call.kernelSize())}};
      filterRows(parallel, call.source, call.rows, call.height, aligned16(call.scratch),
                 scratch(call.size(), call.kernelSize()).perThread, filter, filter);
    });
  }
};

// Low_16s. The binomial shape wraps in 16 bits in every column.
template <int channels>
struct RowOfLow {
  static ScratchSize scratch(QoriSize, int kernelSize) {
    const auto K = static_cast<Qor32u>(kernelSize);
    return {0, channels == 1 ? 24 * K + 64 : 208 * K + 64};
  }
  static void run(const RowCall<channels, Qor16s, Qor16s, Qor16s>& call) {
    const Qor16s* const k = call.taps;
    const RowSource<channels, Qor16s>& s = call.source;
    const bool binomial = s.kernelSize == 5 && s.border == qorBorderRepl && s.anchor == 2 && k[0] == k[4] &&
                          k[1] == k[3] && s.width - 2 > 8 && call.divisor == 16;
    withLowFilter(k, s.kernelSize, lowScale(call.divisor), binomial, [&](const auto& filter) {
      filterRows(pipelineGoesParallel(call.size()), s, call.rows, call.height, aligned16(call.scratch),
                 scratch(call.size(), s.kernelSize).perThread, filter, filter);
    });
  }
};

// ---- a call

constexpr QorStatus kernelCheck(int kernelSize, int anchor) {
  if (kernelSize < 1) return qorStsSizeErr;
  return anchor < 0 || anchor >= kernelSize ? qorStsAnchorErr : qorStsNoErr;
}

constexpr QorStatus pipelineBorderCheck(QoriBorderType border) {
  return border == qorBorderConst || border == qorBorderRepl || border == qorBorderInMem ? qorStsNoErr
                                                                                         : qorStsBadArgErr;
}

template <class T>
constexpr QorStatus rowDivisorCheck(int divisor) {
  return divisor == 0 || (std::is_same_v<T, Qor16u> && divisor < 0) ? qorStsBadArgErr : qorStsNoErr;
}

template <template <int> class Arithmetic, int channels, class T, class Tap, class D>
QorStatus filterRowBorder(const T* pSrc, int srcStep, D* const* ppDst, QoriSize roiSize, const Tap* pKernel,
                          int kernelSize, int xAnchor, QoriBorderType borderType, const T* value, int divisor,
                          Qor8u* pBuffer) {
  QorStatus status = firstFailure(nullCheck(pSrc, ppDst, pKernel, pBuffer), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  status = firstFailure(rowsCheck(ppDst, roiSize.height), nullCheck(value), kernelCheck(kernelSize, xAnchor),
                        stepCheck<T>(int64_t{roiSize.width} * channels, srcStep), evenCheck<T>(srcStep),
                        pipelineBorderCheck(borderType), rowDivisorCheck<T>(divisor));
  if (status != qorStsNoErr) return status;
  Arithmetic<channels>::run({{pSrc, srcStep, roiSize.width, kernelSize, xAnchor, borderType, value},
                             ppDst,
                             roiSize.height,
                             pKernel,
                             divisor,
                             pBuffer});
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_ROW_SIZE(name, Arithmetic, channels)                                                     \
  QOR_BODY(name)(QoriSize roiSize, int kernelSize, int* pBufferSize) {                               \
    return qor::reportScratch(roiSize, kernelSize, pBufferSize, qor::Arithmetic<channels>::scratch); \
  }
#define QOR_ROW_PIPELINE_C1(name, sizeName, T, Tap, D, Arithmetic)                                                 \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, D* const* ppDst, QoriSize roiSize, const Tap* pKernel, int kernelSize, int xAnchor, \
   QoriBorderType borderType, T borderValue, int divisor, Qor8u* pBuffer) {                                        \
    return qor::filterRowBorder<qor::Arithmetic, 1>(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor,   \
                                                    borderType, &borderValue, divisor, pBuffer);                   \
  }                                                                                                                \
  QOR_ROW_SIZE(sizeName, Arithmetic, 1)
#define QOR_ROW_PIPELINE_C3(name, sizeName, T, Tap, D, Arithmetic)                                                 \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, D* const* ppDst, QoriSize roiSize, const Tap* pKernel, int kernelSize, int xAnchor, \
   QoriBorderType borderType, const T* pBorderValue, int divisor, Qor8u* pBuffer) {                                \
    return qor::filterRowBorder<qor::Arithmetic, 3>(pSrc, srcStep, ppDst, roiSize, pKernel, kernelSize, xAnchor,   \
                                                    borderType, pBorderValue, divisor, pBuffer);                   \
  }                                                                                                                \
  QOR_ROW_SIZE(sizeName, Arithmetic, 3)
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
