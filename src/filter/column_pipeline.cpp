// Rows that the caller points at, filtered down their columns into an image.
#include "filter/column_pipeline.h"

#include "filter/exact_sums.h"
#include "filter/pipeline.h"
#include "filter/tap_sums.h"
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Columns of a vector block as the contract counts them: what the last full block of a row leaves truncates.
constexpr ptrdiff_t shortBlock = 4;  // 3 and 5 taps
constexpr ptrdiff_t lowBlock = 8;    // 3 and 5 taps of low precision
constexpr ptrdiff_t longBlock = 16;  // any other number of taps
template <int K, ptrdiff_t block = shortBlock>
constexpr ptrdiff_t blockOf = K == 0 ? longBlock : block;

// ---- a row

// Groups of four columns, the most first.
template <Section section, int groups, int least, class T, class D, class Filter>
QOR_FORCE_INLINE ptrdiff_t filterBlocks(const T* const* rows, D* dst, ptrdiff_t x, ptrdiff_t end,
                                        const Filter& filter) {
  constexpr ptrdiff_t columns = 4 * groups;
  for (; x <= end - columns; x += columns) {
    filter.template run<section, groups>(dst + x, ColumnSpan<T>{rows, x});
  }
  if constexpr (groups > least) x = filterBlocks<section, groups / 2, least>(rows, dst, x, end, filter);
  return x;
}

// Exact sums take eight columns at least: the four that full blocks may leave have the same bits by the plain rule.
template <class Filter>
constexpr int leastGroups = 1;
template <class D, int K, bool folds>
constexpr int leastGroups<ExactSum<D, K, folds>> = 2;

// A filter of any number of taps looks up taps and rows for every block, so it takes twice the columns. 5 taps over
// converted samples would spill with four groups.
template <int K, class Filter>
constexpr int mostGroups = K == 0 ? 8 : 4;
template <class D, class Sum>
constexpr int mostGroups<5, Plain<D, Sum>> = sizeof(D) < 4 ? 2 : 4;
template <class D, class Sum>
constexpr int mostGroups<5, Scaled<D, Sum>> = 2;

// One row of n results: full blocks, then the remainder columns. The filters are copied, and the addresses of a few
// rows, since the compiler has to take a store of bytes for one that may change what they refer to.
template <int K, ptrdiff_t block, int least, class T, class D, class Inside, class Edge>
void filterColumnRow(const T* const* rows, D* dst, ptrdiff_t n, const Inside& insideFilter, const Edge& edge) {
  constexpr int exactGroups = leastGroups<Inside>;
  constexpr int leastInside = exactGroups > least ? exactGroups : least;
  const Inside inside = insideFilter;
  const ptrdiff_t full = n - n % block;
  ptrdiff_t x = 0;
  if constexpr (K == 0) {
    x = filterBlocks<Section::inside, mostGroups<K, Inside>, leastInside>(rows, dst, 0, full, inside);
  } else {
    const T* local[K];
    for (int i = 0; i < K; ++i) local[i] = rows[i];
    x = filterBlocks<Section::inside, mostGroups<K, Inside>, leastInside>(local, dst, 0, full, inside);
  }
  if (leastInside > least) x = filterBlocks<Section::inside, least, least>(rows, dst, x, full, edge);
  if (x == n) return;
  x = filterBlocks<Section::edge, least, least>(rows, dst, x, n, edge);
  if (x == n) return;
  D last[4 * least];
  edge.template run<Section::edge, least>(last, LastColumns<T>{rows, x, static_cast<int>(n - x)});
  copyFirst<4 * least>(dst + x, last, n - x);
}

template <class T, class Tap, class D>
struct ColumnCall {
  const T* const* rows;
  D* dst;
  int dstStep;
  QoriSize size;
  ptrdiff_t samples;  // in a row
  const Tap* taps;
  int kernelSize;
  int divisor;
  Qor8u* scratch;
};

template <int K, ptrdiff_t block, int least, class T, class Tap, class D, class Inside, class Edge>
void filterAllColumns(bool parallel, const ColumnCall<T, Tap, D>& call, const Inside& inside, const Edge& edge) {
  forBandsIf(parallel, call.size.height, [&](Band band) {
    for (int y = band.first; y < band.first + band.rows; ++y) {
      filterColumnRow<K, block, least>(call.rows + y, rowAt(call.dst, call.dstStep, y), call.samples, inside, edge);
    }
  });
}

// ---- arithmetic by member

constexpr Qor32u roundUp(Qor32u n, Qor32u multiple) { return (n + multiple - 1) & ~(multiple - 1); }

bool columnsGoParallel(QoriSize size, int kernelSize) {
  return pipelineGoesParallel(size) && runsepomp(kernelSize) != 0;
}

// The float sum of taps times the reciprocal, of samples from low to high. Where quotients by addition serve, every
// partial sum of the floats is exact, so that they have the same bits; the remainder columns keep to the floats.
template <class D>
void filterSigned(bool parallel, const ColumnCall<Qor16s, Qor16s, D>& call, Qor32s low, Qor32s high) {
  auto* const divided = static_cast<Qor32f*>(aligned16(call.scratch));
  floatTaps(divided, call.taps, call.kernelSize, inverseOf(call.divisor));
  const SumRange range(call.taps, call.kernelSize, low, high);
  const bool exact = QuotientByAddition::serves(call.divisor, range);
  const bool folds = exact && high <= topOf<Qor16s> / 2 && isSymmetric(call.taps, call.kernelSize);
  withKernelSize(call.kernelSize, [&](auto K) {
    using Sum = FloatSum<FloatTaps<K>>;
    const Plain<D, Sum> plain{Sum{FloatTaps<K>(divided, call.kernelSize)}};
    if (folds) {
      const ExactSum<D, K, true> filter(call.taps, call.kernelSize, call.divisor, range);
      filterAllColumns<K, blockOf<K>, 1>(parallel, call, filter, plain);
    } else if (exact) {
      const ExactSum<D, K, false> filter(call.taps, call.kernelSize, call.divisor, range);
      filterAllColumns<K, blockOf<K>, 1>(parallel, call, filter, plain);
    } else {
      filterAllColumns<K, blockOf<K>, 1>(parallel, call, plain, plain);
    }
  });
}

// 16s, 16s8s, 16s8u.
template <int channels>
struct ColumnOfSigned {
  static ScratchSize scratch(QoriSize size, int) {
    return {0, 12 * channels * roundUp(static_cast<Qor32u>(size.width), 4) + 32};
  }
  template <class D>
  static void run(const ColumnCall<Qor16s, Qor16s, D>& call) {
    filterSigned(columnsGoParallel(call.size, call.kernelSize), call, bottomOf<Qor16s>, topOf<Qor16s>);
  }
};

// 16u: a float sum times the reciprocal. The reported scratch of three channels does not hold the taps of a long
// kernel, so they are converted where they are used.
template <int channels>
struct ColumnOfUnsigned {
  static ScratchSize scratch(QoriSize size, int kernelSize) {
    const Qor32u bytes =
        channels == 1 ? 16 * static_cast<Qor32u>(kernelSize) : 36 * roundUp(3 * static_cast<Qor32u>(size.width), 4);
    return {bytes + 32, 0, false};
  }
  static void run(const ColumnCall<Qor16u, Qor16u, Qor16u>& call) {
    const V32f inverse = splat(inverseOf(call.divisor));
    const auto of = [&](auto K, const auto& taps) {
      using Sum = FloatSum<std::remove_cvref_t<decltype(taps)>>;
      const Scaled<Qor16u, Sum> filter{Sum{taps}, inverse};
      filterAllColumns<K, blockOf<K>, 1>(false, call, filter, filter);
    };
    withKernelSize(call.kernelSize, [&](auto K) {
      if constexpr (K == 0) {
        of(K, WordTaps{call.taps, call.kernelSize});
      } else {
        Qor32f plain[K];
        floatTaps(plain, call.taps, K, 1.0F);
        of(K, FloatTaps<K>(plain));
      }
    });
  }
};

// 32f: the float sum. Nothing is rounded, so blocks do not matter.
template <int channels>
struct ColumnOfFloats {
  static ScratchSize scratch(QoriSize, int kernelSize) { return {16 * static_cast<Qor32u>(kernelSize) + 32, 0, false}; }
  static void run(const ColumnCall<Qor32f, Qor32f, Qor32f>& call) {
    withKernelSize(call.kernelSize, [&](auto K) {
      using Sum = FloatSum<FloatTaps<K>>;
      const Plain<Qor32f, Sum> filter{Sum{FloatTaps<K>(call.taps, call.kernelSize)}};
      filterAllColumns<K, shortBlock, 1>(false, call, filter, filter);
    });
  }
};

// Low_16s. The binomial shape wraps in 16 bits in every column.
template <int channels>
struct ColumnOfLow {
  static ScratchSize scratch(QoriSize size, int) {
    return {0, 12 * channels * roundUp(static_cast<Qor32u>(size.width), 8) + 32};
  }
  static void run(const ColumnCall<Qor16s, Qor16s, Qor16s>& call) {
    const Qor16s* const k = call.taps;
    const bool binomial =
        call.kernelSize == 5 && k[0] == k[4] && k[1] == k[3] && call.divisor == 16 && call.size.height >= 3;
    withLowFilter(k, call.kernelSize, lowScale(call.divisor), binomial, [&](const auto& filter) {
      constexpr int K = std::remove_cvref_t<decltype(filter)>::kernelSize;
      // Rows longer than the step overlap, and the later one stands: they are made in order.
      const bool overlap = call.dstStep < rowBytes<Qor16s>(call.samples);
      const bool parallel = !overlap && columnsGoParallel(call.size, call.kernelSize);
      filterAllColumns<K, blockOf<K, lowBlock>, 2>(parallel, call, filter, filter);
    });
  }
};

// ---- a call

template <template <int> class Arithmetic, int channels, class T, class Tap, class D>
QorStatus filterColumns(const T* const* ppSrc, D* pDst, int dstStep, QoriSize roiSize, const Tap* pKernel,
                        int kernelSize, int divisor, Qor8u* pBuffer) {
  QorStatus status = firstFailure(nullCheck(ppSrc, pDst, pKernel), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  // A row of three channels of low precision may be longer than the step: the contract asks for one channel's bytes.
  constexpr bool low = std::is_same_v<Arithmetic<channels>, ColumnOfLow<channels>>;
  const int64_t samples = int64_t{roiSize.width} * channels;
  status = firstFailure(rowsCheck(ppSrc, int64_t{roiSize.height} + kernelSize - 1), lengthCheck(kernelSize),
                        stepCheck<D>(low ? roiSize.width : samples, dstStep), evenCheck<D>(dstStep), nullCheck(pBuffer),
                        divisor == 0 ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  Arithmetic<channels>::run(ColumnCall<T, Tap, D>{ppSrc, pDst, dstStep, roiSize, static_cast<ptrdiff_t>(samples),
                                                  pKernel, kernelSize, divisor, pBuffer});
  return qorStsNoErr;
}

}  // namespace

void filterByteColumns(const Qor16s* const* rows, Qor8u* dst, int dstStep, ptrdiff_t samples, int height,
                       const Qor16s* taps, int kernelSize, int divisor, Qor8u* scratch) {
  filterSigned(
      false,
      ColumnCall<Qor16s, Qor16s, Qor8u>{rows, dst, dstStep, {0, height}, samples, taps, kernelSize, divisor, scratch},
      0, topOf<Qor8u>);
}

}  // namespace qor

#define QOR_COLUMN_SIZE(name, Arithmetic, channels)                                                  \
  QOR_BODY(name)(QoriSize roiSize, int kernelSize, int* pBufferSize) {                               \
    return qor::reportScratch(roiSize, kernelSize, pBufferSize, qor::Arithmetic<channels>::scratch); \
  }
#define QOR_COLUMN_PIPELINE(name, sizeName, T, Tap, D, channels, Arithmetic)                                          \
  QOR_BODY(name)                                                                                                      \
  (const T* const* ppSrc, D* pDst, int dstStep, QoriSize roiSize, const Tap* pKernel, int kernelSize, int divisor,    \
   Qor8u* pBuffer) {                                                                                                  \
    return qor::filterColumns<qor::Arithmetic, channels>(ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, divisor, \
                                                         pBuffer);                                                    \
  }                                                                                                                   \
  QOR_COLUMN_SIZE(sizeName, Arithmetic, channels)
#define QOR_COLUMN_PIPELINE_32F(name, sizeName, channels)                                                           \
  QOR_BODY(name)                                                                                                    \
  (const Qor32f* const* ppSrc, Qor32f* pDst, int dstStep, QoriSize roiSize, const Qor32f* pKernel, int kernelSize,  \
   Qor8u* pBuffer) {                                                                                                \
    return qor::filterColumns<qor::ColumnOfFloats, channels>(ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, 1, \
                                                             pBuffer);                                              \
  }                                                                                                                 \
  QOR_COLUMN_SIZE(sizeName, ColumnOfFloats, channels)
#include "filter/column_pipeline.def"
