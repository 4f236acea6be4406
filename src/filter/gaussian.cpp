// Smoothing by Gaussians: the row and the column pipelines with one array of taps.
#include "filter/gaussian.h"

#include <string.h>

#include "filter/column_pipeline.h"
#include "filter/gaussian_sweep.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The pipelines of a sample type, whose taps have the type of the rows between them.
template <class Sample, int channelCount, QorDataType type, auto rowPipeline, auto columnPipeline, auto rowSize,
          auto columnSize>
struct Pipelines {
  using T = Sample;
  using M = std::conditional_t<std::is_same_v<T, Qor8u>, Qor16s, T>;
  static constexpr int channels = channelCount;
  static constexpr QorDataType dataType = type;

  static void filterRows(const T* src, int step, M* const* rows, QoriSize size, const M* taps, int kernelSize,
                         QoriBorderType border, const T* value, int divisor, Qor8u* scratch) {
    const auto call = [&](auto borderValue) {
      if constexpr (type == qor32f) {
        rowPipeline(src, step, rows, size, taps, kernelSize, kernelSize / 2, border, borderValue, scratch);
      } else {
        rowPipeline(src, step, rows, size, taps, kernelSize, kernelSize / 2, border, borderValue, divisor, scratch);
      }
    };
    if constexpr (channels == 1) {
      call(*value);
    } else {
      call(value);
    }
  }

  static void filterColumns(const M* const* rows, T* dst, int step, QoriSize size, const M* taps, int kernelSize,
                            int divisor, Qor8u* scratch) {
    if constexpr (type == qor32f) {
      columnPipeline(rows, dst, step, size, taps, kernelSize, scratch);
    } else {
      columnPipeline(rows, dst, step, size, taps, kernelSize, divisor, scratch);
    }
  }

  // Scratch of both, which wraps in 32 bits.
  static Qor32u scratch(QoriSize size, int kernelSize) {
    int rows = 0, columns = 0;
    rowSize(size, kernelSize, &rows);
    columnSize(size, kernelSize, &columns);
    return static_cast<Qor32u>(rows) + static_cast<Qor32u>(columns);
  }
};

#define QOR_GAUSSIAN(name, T, channels, type, row, column, rowSize, columnSize)                   \
  using Of_##name = Pipelines<T, channels, type, QOR_VARIANT_BODY(row), QOR_VARIANT_BODY(column), \
                              QOR_VARIANT_BODY(rowSize), QOR_VARIANT_BODY(columnSize)>;
#include "filter/gaussian.def"
#undef QOR_GAUSSIAN

// ---- sizes

Qor32u pipelineScratch(QoriSize size, int kernelSize, QorDataType type, int channels) {
#define QOR_GAUSSIAN(name, ...) \
  if (type == Of_##name::dataType && channels == Of_##name::channels) return Of_##name::scratch(size, kernelSize);
#include "filter/gaussian.def"
#undef QOR_GAUSSIAN
  return 0;
}

// A size as it is reported: its low 32 bits, which survive every overflow of 64 unsigned ones.
constexpr int wrapped(uint64_t bytes) { return static_cast<int>(static_cast<Qor32u>(bytes)); }

QorStatus reportSizes(QoriSize roiSize, int kernelSize, QorDataType dataType, int numChannels, int* pSpecSize,
                      int* pBufferSize) {
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize, pSpecSize), sizeCheck(roiSize), gaussianLengthCheck(kernelSize),
                   gaussianTypeCheck(dataType), gaussianChannelsCheck(numChannels));
  if (status != qorStsNoErr) return status;
  const int bandRows = roiSize.height < kernelSize ? roiSize.height : kernelSize;
  const auto K = static_cast<uint64_t>(kernelSize), band = static_cast<uint64_t>(bandRows);
  const auto stride = static_cast<uint64_t>(ringStride(roiSize.width, kernelSize, numChannels));
  const uint64_t pipelines = pipelineScratch({roiSize.width, bandRows}, kernelSize, dataType, numChannels);
  if (dataType == qor32f) {
    *pSpecSize = wrapped(16 * K + 32);
    *pBufferSize = wrapped(4 * K * stride + 4 * (band + K) * stride + 8 * (band + K) + pipelines + 192);
  } else {
    const auto row = static_cast<uint64_t>(roundUpTo((int64_t{roiSize.width} + kernelSize - 1) * numChannels, 8));
    const auto height = static_cast<uint64_t>(roiSize.height);
    *pSpecSize = wrapped(8 * K + 36);
    *pBufferSize = wrapped(2 * (band + K) * stride + 2 * (row * (K - 1) + 16) + 8 * (height + K) + pipelines + 160);
  }
  return qorStsNoErr;
}

using OfFloats = Of_qoriFilterGaussianBorder_32f_C1R;

QorStatus reportFloatSize(QoriSize roiSize, int kernelSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), gaussianLengthCheck(kernelSize));
  if (status != qorStsNoErr) return status;
  const int64_t row = int64_t{roiSize.width} + kernelSize;
  const auto K = static_cast<uint64_t>(kernelSize), a = static_cast<uint64_t>(4 * roundUpTo(row, 4)),
             b = static_cast<uint64_t>(4 * roundUpTo(row, 8)), taps = static_cast<uint64_t>(roundUpTo(kernelSize, 4));
  *pBufferSize =
      wrapped(4 * taps + b * K + 2 * K * a + 16 * K + OfFloats::scratch({roiSize.width, kernelSize}, kernelSize) + 192);
  return qorStsNoErr;
}

// ---- images

// A filter on its way: the scratch holds ring, window and taps, and behind them what the pipelines need, one after the
// other.
template <class Of>
struct Filter {
  using T = typename Of::T;
  using M = typename Of::M;

  GaussianSweep<T, M> sweep;
  M* taps;
  Qor8u* rest;
  int divisor = 1;
  bool bytes = false;  // filtered rows of an 8-bit image hold bytes

  Filter(const T* src, int srcStep, T* dst, int dstStep, QoriSize size, int kernelSize, QoriBorderType border,
         Qor8u* scratch)
      : sweep{{src, srcStep},
              {dst, dstStep},
              size,
              Of::channels,
              kernelSize,
              verticalEdge(border, qorBorderInMemTop, size.height),
              verticalEdge(border, qorBorderInMemBottom, size.height),
              nullptr,
              ringStride(size.width, kernelSize, Of::channels),
              nullptr} {
    ScratchParts parts(scratch);
    const int64_t rows = int64_t{sweep.bandRows()} + kernelSize;
    sweep.ring = parts.take<M>(rows * sweep.stride, 64);
    sweep.window = parts.take<M*>(rows);
    taps = parts.take<M>(kernelSize);
    rest = parts.rest();
  }

  // Memory on a side stands over the rule, but with a single row only over the constant one.
  static Edge verticalEdge(QoriBorderType border, QoriBorderType flag, int height) {
    const QoriBorderType rule = border & ~allInMemFlags;
    if (height == 1 && rule != qorBorderConst) return Edge::nearest;
    return (border & flag) != 0 ? Edge::memory : edgeOf(rule, 0, height);
  }

  void run(QoriBorderType rule, const T* value) const {
    const int width = sweep.size.width, kernelSize = sweep.kernelSize;
    run(value, [&](const T* src, M* const* rows, int count) {
      Of::filterRows(src, sweep.src.step, rows, {width, count}, taps, kernelSize, rule, value, divisor, rest);
    });
  }

  template <class FilterRows>
  void run(const T* value, const FilterRows& filterRows) const {
    M rowValue[Of::channels];
    for (int c = 0; c < Of::channels; ++c) rowValue[c] = value[c];
    sweep.run(rowValue, filterRows,
              [this](const M* const* rows, T* dst, QoriSize size) { filterColumns(rows, dst, size); });
  }

  void filterColumns(const M* const* rows, T* dst, QoriSize size) const {
    if constexpr (Of::dataType == qor8u) {
      if (bytes) {
        filterByteColumns(rows, dst, sweep.dst.step, ptrdiff_t{size.width} * Of::channels, size.height, taps,
                          sweep.kernelSize, divisor, rest);
        return;
      }
    }
    Of::filterColumns(rows, dst, sweep.dst.step, size, taps, sweep.kernelSize, divisor, rest);
  }
};

// Whether taps make bytes of bytes: no quotient is rounded to 256.
bool keepBytes(const Qor16s* taps, int kernelSize, int divisor) {
  int64_t sum = 0;
  for (int i = 0; i < kernelSize; ++i) {
    if (taps[i] < 0) return false;
    sum += taps[i];
  }
  return 2 * 255 * sum < 511 * int64_t{divisor};
}

template <class Of, class T = typename Of::T>
QorStatus filterBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, const T* value,
                       const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {
  QorStatus status =
      firstFailure(nullCheck(pSrc, pDst), nullCheck(pBuffer), nullCheck(pSpec), nullCheck(value),
                   stepCheck<T>(int64_t{roiSize.width} * Of::channels, srcStep, dstStep), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  // The record may start at any byte.
  QoriFilterGaussianSpec spec;
  const char* const record = reinterpret_cast<const char*>(pSpec);
  memcpy(&spec, record, sizeof spec);
  constexpr bool integer = Of::dataType != qor32f;
  status =
      firstFailure(gaussianLengthCheck(spec.kernelSize), gaussianBorderCheck(spec.borderType),
                   integer && (spec.shift < 0 || spec.shift > 30) ? qorStsBadArgErr : qorStsNoErr,
                   evenCheck<T>(srcStep, dstStep), spec.dataType != Of::dataType ? qorStsDataTypeErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  Filter<Of> filter(pSrc, srcStep, pDst, dstStep, roiSize, spec.kernelSize, spec.borderType, pBuffer);
  using Tap = typename Of::M;
  const char* const taps = record + gaussianTapBytes;
  for (ptrdiff_t i = 0; i < spec.kernelSize; ++i) {
    memcpy(filter.taps + i, taps + i * ptrdiff_t{sizeof(Tap)} * (integer ? 1 : gaussianLanes), sizeof(Tap));
  }
  if (integer) filter.divisor = 1 << spec.shift;
  if constexpr (Of::dataType == qor8u) filter.bytes = keepBytes(filter.taps, spec.kernelSize, filter.divisor);
  filter.run(spec.borderType & ~allInMemFlags, value);
  return qorStsNoErr;
}

QorStatus filterFloats(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, int kernelSize,
                       Qor32f sigma, QoriBorderType borderType, Qor32f value, Qor8u* pBuffer) {
  constexpr QoriBorderType flags = qorBorderInMemTop | qorBorderInMemBottom;
  const QoriBorderType rule = borderType & ~flags;
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pDst), nullCheck(pBuffer), sizeCheck(roiSize), stepCheck<Qor32f>(roiSize.width, srcStep, dstStep),
      gaussianLengthCheck(kernelSize), rule < qorBorderConst || rule > qorBorderMirrorR ? qorStsBadArgErr : qorStsNoErr,
      evenCheck<Qor32f>(srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  Filter<OfFloats> filter(pSrc, srcStep, pDst, dstStep, roiSize, kernelSize, borderType, pBuffer);
  gaussianTaps(sigma, kernelSize, filter.taps);
  if (rule <= qorBorderRepl) {
    filter.run(rule, &value);
    return qorStsNoErr;
  }
  // The row pipeline knows no other rule, but reads rows that have their borders in memory.
  const int width = roiSize.width, reach = kernelSize / 2;
  const Edge edge = edgeOf(rule, 0, width);
  ScratchParts parts(filter.rest);
  auto* const extended = parts.take<Qor32f>(int64_t{width} + kernelSize - 1);
  filter.rest = parts.rest();
  filter.run(&value, [&](const Qor32f* src, Qor32f* const* rows, int count) {
    for (int y = 0; y < count; ++y) {
      const Qor32f* const row = rowAt(src, srcStep, y);
      Qor32f* const right =
          stagePixels<1>(stageOutside<1>(extended, row, width, -ptrdiff_t{reach}, 0, edge, &value), row, width);
      stageOutside<1>(right, row, width, width, ptrdiff_t{width} + reach, edge, &value);
      OfFloats::filterRows(extended + reach, srcStep, rows + y, {width, 1}, filter.taps, kernelSize, qorBorderInMem,
                           &value, 1, filter.rest);
    }
  });
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFilterGaussianGetBufferSize)
(QoriSize roiSize, int kernelSize, QorDataType dataType, int numChannels, int* pSpecSize, int* pBufferSize) {
  return qor::reportSizes(roiSize, kernelSize, dataType, numChannels, pSpecSize, pBufferSize);
}

#define QOR_GAUSSIAN_BODY_1(name, T)                                                                               \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T borderValue,                              \
   const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {                                                          \
    return qor::filterBorder<qor::Of_##name>(pSrc, srcStep, pDst, dstStep, roiSize, &borderValue, pSpec, pBuffer); \
  }
#define QOR_GAUSSIAN_BODY_3(name, T)                                                                               \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, const T* pBorderValue,                      \
   const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {                                                          \
    return qor::filterBorder<qor::Of_##name>(pSrc, srcStep, pDst, dstStep, roiSize, pBorderValue, pSpec, pBuffer); \
  }
#define QOR_GAUSSIAN(name, T, channels, ...) QOR_GAUSSIAN_BODY_##channels(name, T)
#include "filter/gaussian.def"

QOR_BODY(qoriFilterGaussGetBufferSize_32f_C1R)(QoriSize roiSize, int kernelSize, int* pBufferSize) {
  return qor::reportFloatSize(roiSize, kernelSize, pBufferSize);
}
QOR_BODY(qoriFilterGaussBorder_32f_C1R)
(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, int kernelSize, Qor32f sigma,
 QoriBorderType borderType, Qor32f borderValue, Qor8u* pBuffer) {
  return qor::filterFloats(pSrc, srcStep, pDst, dstStep, roiSize, kernelSize, sigma, borderType, borderValue, pBuffer);
}
