// Rows that the caller points at, filtered down their columns into an image.
#include "filter/column_pipeline.h"

#include "filter/integer_sums.h"
#include "filter/low_precision.h"
#include "filter/pipeline.h"
#include "frame/bands.h"
#include "frame/bodies.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

// Columns of a full block as the contract counts them: what the last one of a row leaves truncates.
constexpr ptrdiff_t shortBlock = 4;  // 3 and 5 taps
constexpr ptrdiff_t lowBlock = 8;    // 3 and 5 taps of low precision
constexpr ptrdiff_t longBlock = 16;  // any other number of taps

constexpr bool isShort(int kernelSize) { return kernelSize == 3 || kernelSize == 5; }

// ---- a row

// Columns first to last - 1 of a row of n: nothing else is stored, and nothing outside the rows is read.
template <class T, class D, class Filter>
[[gnu::noinline]] void filterSome(const T* const* rows, D* dst, ptrdiff_t n, ptrdiff_t first, ptrdiff_t last,
                                  const void* of) {
  constexpr int least = Filter::blocks.least, columns = least * group;
  const auto& filter = *static_cast<const Filter*>(of);
  for (ptrdiff_t x = first; x < last; x += columns) {
    D results[columns];
    ptrdiff_t at = x;
    if (n < columns) {
      at = 0;
      filter.template write<least>(results, FewColumns<T>{rows, static_cast<int>(n)});
    } else {
      if (at > n - columns) at = n - columns;
      filter.template write<least>(results, ColumnSpan<T>{rows, at});
    }
    copyFirst<columns>(dst + x, results + (x - at), last - x < columns ? last - x : columns);
  }
}

// The first `full` columns of a row of n. The filter is copied, and the addresses of a few rows, since the compiler has
// to take a store of bytes for one that may change what they refer to.
template <class T, class D, class Filter>
void filterFull(const T* const* rows, D* dst, ptrdiff_t n, ptrdiff_t full, const void* of) {
  constexpr int K = Filter::kernelSize, most = Filter::blocks.most;
  constexpr ptrdiff_t columns = most * group;
  const Filter filter = *static_cast<const Filter*>(of);
  ptrdiff_t x = 0;
  if constexpr (K == 0) {
    for (; x <= full - columns; x += columns) filter.template write<most>(dst + x, ColumnSpan<T>{rows, x});
  } else {
    const T* local[K];
    for (int i = 0; i < K; ++i) local[i] = rows[i];
    for (; x <= full - columns; x += columns) filter.template write<most>(dst + x, ColumnSpan<T>{local, x});
  }
  if (x < full) filterSome<T, D, Filter>(rows, dst, n, x, full, of);
}

// Full blocks of so many columns by one filter, what they leave by the other. Their types end here, so that the bands
// exist once.
template <class T, class D>
struct ColumnKernels {
  ptrdiff_t block;
  const void *insideFilter, *endFilter;
  void (*inside)(const T* const* rows, D* dst, ptrdiff_t n, ptrdiff_t full, const void* filter);
  void (*end)(const T* const* rows, D* dst, ptrdiff_t n, ptrdiff_t first, ptrdiff_t last, const void* filter);
};

template <class T, class D>
void filterBands(const ColumnCall<T, D>& call, int team, const ColumnKernels<T, D>& kernels) {
  const ptrdiff_t n = call.samples, full = n - n % kernels.block;
  forTeam(team, call.height, [&](Band band) {
    for (int y = band.first; y < band.first + band.rows; ++y) {
      const T* const* const rows = call.rows + y;
      D* const dst = call.dst.row(y);
      kernels.inside(rows, dst, n, full, kernels.insideFilter);
      if (full < n) kernels.end(rows, dst, n, full, n, kernels.endFilter);
    }
  });
}

template <class T, class D, class Inside, class AtEnd>
void filterWith(const ColumnCall<T, D>& call, int team, ptrdiff_t block, const Inside& inside, const AtEnd& end) {
  filterBands(call, team, {block, &inside, &end, filterFull<T, D, Inside>, filterSome<T, D, AtEnd>});
}

// ---- arithmetic

constexpr ptrdiff_t blockOf(int kernelSize, ptrdiff_t ofShort = shortBlock) {
  return isShort(kernelSize) ? ofShort : longBlock;
}

// Float taps of long kernels.
auto columnLayout(int kernelSize) {
  return [=](ScratchParts& parts) { return isShort(kernelSize) ? nullptr : parts.take<Qor32f>(kernelSize); };
}

// The float sum of taps times the reciprocal, of samples from low to high. Where quotients by addition serve, every
// partial sum of the floats is exact, so that they have the same bits; the remainder columns keep to the floats.
template <class D>
QorStatus filterSigned(const ColumnCall<Qor16s, D>& call, int team, Qor32s low, Qor32s high) {
  const int64_t needed = bytesOf(columnLayout(call.kernelSize));
  if (needed > call.scratchBytes) return qorStsSizeErr;
  ScratchParts parts(call.scratch, call.scratchBytes, needed);
  Qor32f* const room = columnLayout(call.kernelSize)(parts);
  const SumRange range(call.taps, call.kernelSize, low, high);
  const bool exact = QuotientByAddition::serves(call.divisor, range);
  const bool folds = exact && high <= topOf<Qor16s> / 2 && isSymmetric(call.taps, call.kernelSize);
  const ptrdiff_t block = blockOf(call.kernelSize);
  withKernelSize(call.kernelSize, [&](auto K) {
    using Sum = FloatSum<FloatTaps<K>>;
    const Sum sum{floatTaps<K>(call.taps, call.kernelSize, inverseOf(call.divisor), room)};
    const Plain<D, Sum, Rounding::truncated> end{sum};
    if (folds) {
      filterWith(call, team, block, ExactSum<D, K, true>(call.taps, call.kernelSize, call.divisor, range), end);
    } else if (exact) {
      filterWith(call, team, block, ExactSum<D, K, false>(call.taps, call.kernelSize, call.divisor, range), end);
    } else {
      filterWith(call, team, block, Plain<D, Sum>{sum}, end);
    }
  });
  return qorStsNoErr;
}

// 16u: a float sum times the reciprocal. The reported scratch of three channels does not hold the taps of a long
// kernel, so they are converted where they are used.
void filterUnsigned(const ColumnCall<Qor16u, Qor16u>& call) {
  const V32f inverse = splat(inverseOf(call.divisor));
  const auto of = [&](const auto& taps) {
    using Sum = FloatSum<std::remove_cvref_t<decltype(taps)>>;
    filterWith(call, 0, blockOf(call.kernelSize), Scaled<Qor16u, Sum>{{taps}, inverse},
               Scaled<Qor16u, Sum, Rounding::truncated>{{taps}, inverse});
  };
  withKernelSize(call.kernelSize, [&](auto K) {
    if constexpr (K == 0) {
      of(WordTaps{call.taps, call.kernelSize});
    } else {
      of(floatTaps<K>(call.taps, K, 1.0F, nullptr));
    }
  });
}

// 32f: the float sum. Nothing is rounded, so blocks do not matter.
void filterFloats(const ColumnCall<Qor32f, Qor32f>& call) {
  withKernelSize(call.kernelSize, [&](auto K) {
    using Sum = FloatSum<FloatTaps<K>>;
    const Plain<Qor32f, Sum> filter{{FloatTaps<K>(call.taps, call.kernelSize)}};
    filterWith(call, 0, 1, filter, filter);
  });
}

// Low_16s. The binomial shape wraps in 16 bits in every column.
void filterLow(const ColumnCall<Qor16s, Qor16s>& call, int team) {
  const bool binomial = call.kernelSize == 5 && isSymmetric(call.taps, 5) && call.divisor == 16 && call.height >= 3;
  // Rows longer than the step overlap, and the later one stands: they are made in order.
  const bool overlap = call.dst.step < rowBytes<Qor16s>(call.samples);
  withLowFilters(call.taps, call.kernelSize, call.divisor, binomial, [&](const auto& inside, const auto& end) {
    filterWith(call, overlap ? 0 : team, blockOf(call.kernelSize, lowBlock), inside, end);
  });
}

// ---- members

constexpr Qor32u roundUp(Qor32u n, Qor32u multiple) { return (n + multiple - 1) & ~(multiple - 1); }

int teamOnCores(QoriSize size, int kernelSize) { return runsepomp(kernelSize) != 0 ? teamFor(sharedPixels, size) : 0; }

// 16s, 16s8s, 16s8u.
template <int channels>
struct ColumnOfSigned {
  static ScratchSize scratch(QoriSize size, int) {
    return {0, 12 * channels * roundUp(static_cast<Qor32u>(size.width), 4) + 32};
  }
  static int team(QoriSize size, int kernelSize) { return teamOnCores(size, kernelSize); }
  template <class D>
  static QorStatus filter(const ColumnCall<Qor16s, D>& call, int team) {
    return filterSigned(call, team, bottomOf<Qor16s>, topOf<Qor16s>);
  }
};

template <int channels>
struct ColumnOfUnsigned {
  static ScratchSize scratch(QoriSize size, int kernelSize) {
    const Qor32u bytes =
        channels == 1 ? 16 * static_cast<Qor32u>(kernelSize) : 36 * roundUp(3 * static_cast<Qor32u>(size.width), 4);
    return {bytes + 32, 0, false};
  }
  static int team(QoriSize, int) { return 0; }
  static QorStatus filter(const ColumnCall<Qor16u, Qor16u>& call, int) {
    filterUnsigned(call);
    return qorStsNoErr;
  }
};

template <int channels>
struct ColumnOfFloats {
  static ScratchSize scratch(QoriSize, int kernelSize) { return {16 * static_cast<Qor32u>(kernelSize) + 32, 0, false}; }
  static int team(QoriSize, int) { return 0; }
  static QorStatus filter(const ColumnCall<Qor32f, Qor32f>& call, int) {
    filterFloats(call);
    return qorStsNoErr;
  }
};

template <int channels>
struct ColumnOfLow {
  static ScratchSize scratch(QoriSize size, int) {
    return {0, 12 * channels * roundUp(static_cast<Qor32u>(size.width), 8) + 32};
  }
  static int team(QoriSize size, int kernelSize) { return teamOnCores(size, kernelSize); }
  static QorStatus filter(const ColumnCall<Qor16s, Qor16s>& call, int team) {
    filterLow(call, team);
    return qorStsNoErr;
  }
};

// ---- a call

template <class Member>
int reported(QoriSize size, int kernelSize) {
  return Member::scratch(size, kernelSize).total(size.height, kernelSize);
}

template <template <int> class Member, int channels, class T, class D>
QorStatus filterColumnsOf(const T* const* ppSrc, D* pDst, int dstStep, QoriSize roiSize, const T* pKernel,
                          int kernelSize, int divisor, Qor8u* pBuffer) {
  QorStatus status = firstFailure(nullCheck(ppSrc, pDst, pKernel), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  using M = Member<channels>;
  // A row of three channels of low precision may be longer than the step: the contract asks for one channel's bytes.
  constexpr bool low = std::is_same_v<M, ColumnOfLow<channels>>;
  const int64_t samples = int64_t{roiSize.width} * channels;
  status = firstFailure(rowsCheck(ppSrc, int64_t{roiSize.height} + kernelSize - 1), lengthCheck(kernelSize),
                        stepCheck<D>(low ? roiSize.width : samples, dstStep), evenCheck<D>(dstStep), nullCheck(pBuffer),
                        divisor == 0 ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  return M::filter(ColumnCall<T, D>{ppSrc,
                                    {pDst, dstStep},
                                    static_cast<ptrdiff_t>(samples),
                                    roiSize.height,
                                    pKernel,
                                    kernelSize,
                                    divisor,
                                    pBuffer,
                                    reported<M>(roiSize, kernelSize)},
                   M::team(roiSize, kernelSize));
}

template <class T, int channels>
struct MemberOf;
template <int channels>
struct MemberOf<Qor16s, channels> : ColumnOfSigned<channels> {};
template <int channels>
struct MemberOf<Qor16u, channels> : ColumnOfUnsigned<channels> {};
template <int channels>
struct MemberOf<Qor32f, channels> : ColumnOfFloats<channels> {};

}  // namespace

template <class T, class D>
QorStatus filterColumns(const ColumnCall<T, D>& call) {
  return MemberOf<T, 1>::filter(call, 0);
}
template QorStatus filterColumns(const ColumnCall<Qor16s, Qor8u>&);
template QorStatus filterColumns(const ColumnCall<Qor16s, Qor16s>&);
template QorStatus filterColumns(const ColumnCall<Qor16u, Qor16u>&);
template QorStatus filterColumns(const ColumnCall<Qor32f, Qor32f>&);

QorStatus filterByteColumns(const ColumnCall<Qor16s, Qor8u>& call) { return filterSigned(call, 0, 0, topOf<Qor8u>); }

template <class T>
int64_t columnBytesNeeded(int kernelSize) {
  return std::is_same_v<T, Qor16s> ? bytesOf(columnLayout(kernelSize)) : 0;
}
template <class T, int channels>
int columnScratch(QoriSize size, int kernelSize) {
  return reported<MemberOf<T, channels>>(size, kernelSize);
}
#define QOR_COLUMN_SIZES(T)                        \
  template int64_t columnBytesNeeded<T>(int);      \
  template int columnScratch<T, 1>(QoriSize, int); \
  template int columnScratch<T, 3>(QoriSize, int);
QOR_COLUMN_SIZES(Qor16s)
QOR_COLUMN_SIZES(Qor16u)
QOR_COLUMN_SIZES(Qor32f)
#undef QOR_COLUMN_SIZES

}  // namespace qor

#define QOR_COLUMN_SIZE(name, Member, channels)                                                        \
  QOR_BODY(name)(QoriSize roiSize, int kernelSize, int* pBufferSize) {                                 \
    return qor::reportScratch(roiSize, kernelSize, pBufferSize, qor::reported<qor::Member<channels>>); \
  }
#define QOR_COLUMN_PIPELINE(name, sizeName, T, Tap, D, channels, Member)                                            \
  QOR_BODY(name)                                                                                                    \
  (const T* const* ppSrc, D* pDst, int dstStep, QoriSize roiSize, const Tap* pKernel, int kernelSize, int divisor,  \
   Qor8u* pBuffer) {                                                                                                \
    return qor::filterColumnsOf<qor::Member, channels>(ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, divisor, \
                                                       pBuffer);                                                    \
  }                                                                                                                 \
  QOR_COLUMN_SIZE(sizeName, Member, channels)
#define QOR_COLUMN_PIPELINE_32F(name, sizeName, channels)                                                             \
  QOR_BODY(name)                                                                                                      \
  (const Qor32f* const* ppSrc, Qor32f* pDst, int dstStep, QoriSize roiSize, const Qor32f* pKernel, int kernelSize,    \
   Qor8u* pBuffer) {                                                                                                  \
    return qor::filterColumnsOf<qor::ColumnOfFloats, channels>(ppSrc, pDst, dstStep, roiSize, pKernel, kernelSize, 1, \
                                                               pBuffer);                                              \
  }                                                                                                                   \
  QOR_COLUMN_SIZE(sizeName, ColumnOfFloats, channels)
#include "filter/column_pipeline.def"
