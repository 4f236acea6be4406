// Rows that the caller points at, filtered down their columns into an image.
#include "filter/pipeline.h"
#include "filter/tap_sums.h"
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/row.h"

namespace qor {
namespace {

// Columns of a vector block as the contract counts them: what the last full block of a row leaves truncates.
constexpr ptrdiff_t shortBlock = 4;  // 3 and 5 taps
constexpr ptrdiff_t lowBlock = 8;    // low precision
constexpr ptrdiff_t longBlock = 16;  // any other number of taps
template <int K>
constexpr ptrdiff_t blockOf = K == 0 ? longBlock : shortBlock;

// ---- a row

// Groups of four columns, largest first.
template <Section section, int groups, int smallest, class T, class D, class Filter>
ptrdiff_t filterColumns(const T* const* rows, D* dst, ptrdiff_t x, ptrdiff_t end, const Filter& filter) {
  constexpr ptrdiff_t columns = 4 * groups;
  for (; x <= end - columns; x += columns) {
    filter.template run<section, groups>(dst + x, ColumnSpan<T>{rows, x});
  }
  if constexpr (groups > smallest) x = filterColumns<section, groups / 2, smallest>(rows, dst, x, end, filter);
  return x;
}

// One row of n results: full blocks, then the remainder columns.
template <ptrdiff_t block, int smallest, class T, class D, class Filter>
void filterColumnRow(const T* const* rows, D* dst, ptrdiff_t n, const Filter& filter) {
  const ptrdiff_t full = n - n % block;
  filterColumns<Section::inside, 4, smallest>(rows, dst, 0, full, filter);
  if (full == n) return;
  const ptrdiff_t x = filterColumns<Section::edge, smallest, smallest>(rows, dst, full, n, filter);
  if (x == n) return;
  D last[4 * smallest];
  filter.template run<Section::edge, smallest>(last, LastColumns<T>{rows, x, static_cast<int>(n - x)});
  __builtin_memcpy(dst + x, last, static_cast<size_t>(n - x) * sizeof(D));
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

template <ptrdiff_t block, int smallest, class T, class Tap, class D, class Filter>
void filterAllColumns(bool parallel, const ColumnCall<T, Tap, D>& call, const Filter& filter) {
  forBandsIf(parallel, call.size.height, [&](Band band) {
    for (int y = band.first; y < band.first + band.rows; ++y) {
      filterColumnRow<block, smallest>(call.rows + y, rowAt(call.dst, call.dstStep, y), call.samples, filter);
    }
  });
}

// Calls f(std::integral_constant): 3 and 5 taps have kernels of their own, 0 stands for any number.
template <class F>
void withKernelSize(int kernelSize, const F& f) {
  if (kernelSize == 3) return f(std::integral_constant<int, 3>());
  if (kernelSize == 5) return f(std::integral_constant<int, 5>());
  f(std::integral_constant<int, 0>());
}

// ---- arithmetic by member

constexpr Qor32u roundUp(Qor32u n, Qor32u multiple) { return (n + multiple - 1) & ~(multiple - 1); }

bool columnsGoParallel(QoriSize size, int kernelSize) {
  return pipelineGoesParallel(size) && runsepomp(kernelSize) != 0;
}

// 16s, 16s8s, 16s8u: the float sum of taps times the reciprocal.
template <int channels>
struct ColumnOfSigned {
  static constexpr bool divides = true;
  static ScratchSize scratch(QoriSize size, int) {
    return {0, 12 * channels * roundUp(static_cast<Qor32u>(size.width), 4) + 32};
  }
  template <class D>
  static void run(const ColumnCall<Qor16s, Qor16s, D>& call) {
    auto* const divided = static_cast<Qor32f*>(aligned16(call.scratch));
    floatTaps(divided, call.taps, call.kernelSize, inverseOf(call.divisor));
    const bool parallel = columnsGoParallel(call.size, call.kernelSize);
    withKernelSize(call.kernelSize, [&](auto K) {
      using Sum = FloatSum<FloatTaps<K>>;
      filterAllColumns<blockOf<K>, 1>(parallel, call, Plain<D, Sum>{Sum{FloatTaps<K>(divided, call.kernelSize)}});
    });
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
      filterAllColumns<blockOf<K>, 1>(false, call, Scaled<Qor16u, Sum>{Sum{taps}, inverse});
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
      filterAllColumns<shortBlock, 1>(false, call, Plain<Qor32f, Sum>{Sum{FloatTaps<K>(call.taps, call.kernelSize)}});
    });
  }
};

// Low_16s. The binomial shape wraps in 16 bits in every column.
template <int channels>
struct ColumnOfLow {
  static ScratchSize scratch(QoriSize size, int) {
    return {0, 12 * channels * roundUp(static_cast<Qor32u>(size.width), 8) + 32};
  }
  template <int K, bool wrapsEverywhere>
  static void run(const ColumnCall<Qor16s, Qor16s, Qor16s>& call) {
    filterAllColumns<lowBlock, 2>(
        columnsGoParallel(call.size, call.kernelSize), call,
        Low<K, wrapsEverywhere>{LowTaps<K>(call.taps, call.kernelSize), PairTaps<K>(call.taps, call.kernelSize),
                                splat(lowScale(call.divisor))});
  }
  static void run(const ColumnCall<Qor16s, Qor16s, Qor16s>& call) {
    const Qor16s* const k = call.taps;
    if (call.kernelSize == 5 && k[0] == k[4] && k[1] == k[3] && call.divisor == 16 && call.size.height >= 3) {
      run<5, true>(call);
    } else {
      withKernelSize(call.kernelSize, [&](auto K) { run<K, false>(call); });
    }
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
