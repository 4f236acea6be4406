// Smoothing by Gaussians: the row and the column pipelines with one array of taps.
#include "filter/gaussian.h"

#include <string.h>

#include "filter/column_pipeline.h"
#include "filter/gaussian_sweep.h"
#include "filter/row_pipeline.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row_ends.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- sizes

// What the queries of the pipelines report together, wrapped.
Qor32u pipelineScratch(QoriSize size, int kernelSize, QorDataType dataType, int numChannels) {
#define QOR_GAUSSIAN(name, T, channels, type)                                            \
  if (dataType == type && numChannels == channels) {                                     \
    return static_cast<Qor32u>(rowScratch<T, channels>(size, kernelSize)) +              \
           static_cast<Qor32u>(columnScratch<RowSample<T>, channels>(size, kernelSize)); \
  }
#include "filter/gaussian.def"
#undef QOR_GAUSSIAN
  return 0;
}

// The scratch of a filter with a record.
int reportedScratch(QoriSize size, int kernelSize, QorDataType type, int channels) {
  const int bandRows = size.height < kernelSize ? size.height : kernelSize;
  const auto K = static_cast<uint64_t>(kernelSize), band = static_cast<uint64_t>(bandRows);
  const auto stride = static_cast<uint64_t>(gaussianStride(size.width, kernelSize, channels));
  const uint64_t pipelines = pipelineScratch({size.width, bandRows}, kernelSize, type, channels);
  if (type == qor32f) return wrapped(4 * K * stride + 4 * (band + K) * stride + 8 * (band + K) + pipelines + 192);
  const auto row = static_cast<uint64_t>(roundUpTo((int64_t{size.width} + kernelSize - 1) * channels, 8));
  const auto height = static_cast<uint64_t>(size.height);
  return wrapped(2 * (band + K) * stride + 2 * (row * (K - 1) + 16) + 8 * (height + K) + pipelines + 160);
}

QorStatus reportSizes(QoriSize roiSize, int kernelSize, QorDataType dataType, int numChannels, int* pSpecSize,
                      int* pBufferSize) {
  const QorStatus status =
      firstFailure(nullCheck(pBufferSize, pSpecSize), sizeCheck(roiSize), gaussianLengthCheck(kernelSize),
                   gaussianTypeCheck(dataType), gaussianChannelsCheck(numChannels));
  if (status != qorStsNoErr) return status;
  const auto K = static_cast<uint64_t>(kernelSize);
  *pSpecSize = wrapped(dataType == qor32f ? 16 * K + 32 : 8 * K + 36);
  *pBufferSize = reportedScratch(roiSize, kernelSize, dataType, numChannels);
  return qorStsNoErr;
}

// The scratch of qoriFilterGaussBorder_32f_C1R.
int reportedFloatScratch(QoriSize size, int kernelSize) {
  const int64_t row = int64_t{size.width} + kernelSize;
  const auto K = static_cast<uint64_t>(kernelSize), a = static_cast<uint64_t>(4 * roundUpTo(row, 4)),
             b = static_cast<uint64_t>(4 * roundUpTo(row, 8)), taps = static_cast<uint64_t>(roundUpTo(kernelSize, 4));
  const uint64_t pipelines = pipelineScratch({size.width, kernelSize}, kernelSize, qor32f, 1);
  return wrapped(4 * taps + b * K + 2 * K * a + 16 * K + pipelines + 192);
}

QorStatus reportFloatSize(QoriSize roiSize, int kernelSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), gaussianLengthCheck(kernelSize));
  if (status == qorStsNoErr) *pBufferSize = reportedFloatScratch(roiSize, kernelSize);
  return status;
}

// ---- images

template <class T, int channels>
class GaussianFilter {
 public:
  using M = RowSample<T>;

  // rule: of the columns.
  GaussianFilter(Plane<const T> src, Plane<T> dst, QoriSize size, int kernelSize, const Axis& rows, QoriBorderType rule,
                 const T* value)
      : sweep_{src, dst, size, channels, kernelSize, rows, nullptr, nullptr}, rule_(rule), value_(value) {}

  // makeTaps(M*) writes the taps. `reported` are the bytes of the scratch; the team is as large as has room in them.
  template <class MakeTaps>
  QorStatus run(Qor8u* scratch, int reported, int divisor, const MakeTaps& makeTaps) {
    const int kernelSize = sweep_.kernelSize;
    const int wanted = rowTeam<T, channels>({sweep_.size.width, sweep_.bandRows()}, kernelSize);
    // A ring beyond any report, whose bytes 64 bits may not hold.
    if (sweep_.ringRows() > topOf<Qor32s> / sweep_.ringStride()) return qorStsSizeErr;
    int64_t needed = 0;
    const int team = teamWithin(reported, wanted > 0 ? wanted : 1, [&](int threads) {
      return needed = bytesOf([=, this](ScratchParts& parts) { lay(parts, threads); });
    });
    if (team == 0) return qorStsSizeErr;
    ScratchParts parts(scratch, reported, needed);
    parts_ = lay(parts, team);
    sweep_.ring = parts_.ring;
    sweep_.window = parts_.window;
    makeTaps(parts_.taps);
    divisor_ = divisor;
    if constexpr (std::is_same_v<T, Qor8u>) bytes_ = keepBytes(parts_.taps, kernelSize, divisor);
    M rowValue[channels];
    for (int c = 0; c < channels; ++c) rowValue[c] = value_[c];
    sweep_.run(
        rowValue, [this](const T* src, M* const* rows, int count) { filterRows(src, rows, count); },
        [this](const M* const* rows, T* dst, QoriSize size) { filterColumns(rows, dst, size); });
    return qorStsNoErr;
  }

 private:
  struct Parts {
    M* ring;
    M** window;
    M* taps;
    T* extended;      // a row with its border, where the row pipelines do not know the rule
    Qor8u* pipeline;  // what they need, one after the other
    int pipelineBytes;
  };

  [[gnu::noinline]] Parts lay(ScratchParts& parts, int team) const {
    const int kernelSize = sweep_.kernelSize, width = sweep_.size.width;
    const int64_t rows = rowBytesNeeded<T, channels>(kernelSize, team), columns = columnBytesNeeded<M>(kernelSize);
    const int64_t pipeline = rows > columns ? rows : columns;
    Parts p{};
    p.ring = parts.take<M>(sweep_.ringRows() * sweep_.ringStride(), 64);
    p.window = parts.take<M*>(sweep_.ringRows());
    p.taps = parts.take<M>(kernelSize);
    if (isExtended()) p.extended = parts.take<T>((int64_t{width} + kernelSize - 1) * channels);
    p.pipeline = parts.take<Qor8u>(pipeline);
    p.pipelineBytes = static_cast<int>(pipeline);
    return p;
  }
  bool isExtended() const { return rule_ != qorBorderConst && rule_ != qorBorderRepl && rule_ != qorBorderInMem; }

  void filterRows(const T* src, M* const* rows, int count) const {
    const int width = sweep_.size.width, kernelSize = sweep_.kernelSize;
    RowCall<T, channels> call{{src, sweep_.src.step}, rows,  {width, count}, parts_.taps, kernelSize,
                              kernelSize / 2,         rule_, value_,         divisor_,    parts_.pipeline,
                              parts_.pipelineBytes};
    if (!isExtended()) {
      qor::filterRows(call);
      return;
    }
    // Rows that have their borders in memory.
    const int reach = kernelSize / 2;
    const Axis columns = gaussianBorders.sides(rule_, {width, count}).columns;
    call.border = qorBorderInMem;
    call.size.height = 1;
    for (int y = 0; y < count; ++y) {
      const T* const row = rowAt(src, sweep_.src.step, y);
      T* const first = copyOutside<channels>(parts_.extended, row, columns, -ptrdiff_t{reach}, 0, value_);
      T* const behind = copyPixels<channels>(first, row, width);
      copyOutside<channels>(behind, row, columns, width, ptrdiff_t{width} + reach, value_);
      call.src.first = first;
      call.rows = rows + y;
      qor::filterRows(call);
    }
  }

  void filterColumns(const M* const* rows, T* dst, QoriSize size) const {
    const ColumnCall<M, T> call{rows,
                                {dst, sweep_.dst.step},
                                ptrdiff_t{size.width} * channels,
                                size.height,
                                parts_.taps,
                                sweep_.kernelSize,
                                divisor_,
                                parts_.pipeline,
                                parts_.pipelineBytes};
    if constexpr (std::is_same_v<T, Qor8u>) {
      if (bytes_) {
        filterByteColumns(call);
        return;
      }
    }
    qor::filterColumns(call);
  }

  // Whether taps make bytes of bytes: no quotient is rounded to 256.
  static bool keepBytes(const Qor16s* taps, int kernelSize, int divisor) {
    int64_t sum = 0;
    for (int i = 0; i < kernelSize; ++i) {
      if (taps[i] < 0) return false;
      sum += taps[i];
    }
    return 2 * 255 * sum < 511 * int64_t{divisor};
  }

  GaussianSweep<T, M> sweep_;
  QoriBorderType rule_;
  const T* value_;
  Parts parts_{};
  int divisor_ = 1;
  bool bytes_ = false;  // filtered rows of an 8-bit image hold bytes
};

// Memory on a side stands over the rule, but with a single row only over the constant one.
Axis rowsOf(const Borders& borders, QoriBorderType border, QoriSize size) {
  if (size.height == 1 && ruleOf(border) != qorBorderConst) return {1, Edge::nearest, Edge::nearest, false};
  return borders.sides(border, size).rows;
}

template <QorDataType type, int channels, class T>
QorStatus filterBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, const T* value,
                       const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {
  QorStatus status =
      firstFailure(nullCheck(pSrc, pDst), nullCheck(pBuffer), nullCheck(pSpec), nullCheck(value),
                   stepCheck<T>(int64_t{roiSize.width} * channels, srcStep, dstStep), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  // The record may start at any byte.
  QoriFilterGaussianSpec spec;
  const char* const record = reinterpret_cast<const char*>(pSpec);
  memcpy(&spec, record, sizeof spec);
  constexpr bool integer = type != qor32f;
  status = firstFailure(gaussianLengthCheck(spec.kernelSize), gaussianBorders.check(spec.borderType),
                        integer && (spec.shift < 0 || spec.shift > 30) ? qorStsBadArgErr : qorStsNoErr,
                        evenCheck<T>(srcStep, dstStep), spec.dataType != type ? qorStsDataTypeErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  GaussianFilter<T, channels> filter({pSrc, srcStep}, {pDst, dstStep}, roiSize, spec.kernelSize,
                                     rowsOf(gaussianBorders, spec.borderType, roiSize), ruleOf(spec.borderType), value);
  return filter.run(pBuffer, reportedScratch(roiSize, spec.kernelSize, type, channels), integer ? 1 << spec.shift : 1,
                    [&](auto* to) {
                      const char* const taps = record + gaussianTapBytes;
                      const ptrdiff_t stride = ptrdiff_t{sizeof *to} * (integer ? 1 : gaussianLanes);
                      for (ptrdiff_t i = 0; i < spec.kernelSize; ++i) memcpy(to + i, taps + i * stride, sizeof *to);
                    });
}

QorStatus filterFloats(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, int kernelSize,
                       Qor32f sigma, QoriBorderType borderType, Qor32f value, Qor8u* pBuffer) {
  constexpr Borders borders{ruleBits(qorBorderConst, qorBorderRepl, qorBorderWrap, qorBorderMirror, qorBorderMirrorR),
                            qorStsBadArgErr, qorBorderInMemTop | qorBorderInMemBottom, false, true};
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pDst), nullCheck(pBuffer), sizeCheck(roiSize), stepCheck<Qor32f>(roiSize.width, srcStep, dstStep),
      gaussianLengthCheck(kernelSize), borders.check(borderType), evenCheck<Qor32f>(srcStep, dstStep));
  if (status != qorStsNoErr) return status;
  GaussianFilter<Qor32f, 1> filter({pSrc, srcStep}, {pDst, dstStep}, roiSize, kernelSize,
                                   rowsOf(borders, borderType, roiSize), ruleOf(borderType), &value);
  return filter.run(pBuffer, reportedFloatScratch(roiSize, kernelSize), 1,
                    [&](Qor32f* to) { gaussianTaps(sigma, kernelSize, to); });
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFilterGaussianGetBufferSize)
(QoriSize roiSize, int kernelSize, QorDataType dataType, int numChannels, int* pSpecSize, int* pBufferSize) {
  return qor::reportSizes(roiSize, kernelSize, dataType, numChannels, pSpecSize, pBufferSize);
}

#define QOR_GAUSSIAN_BODY_1(name, T, type)                                                                  \
  QOR_BODY(name)                                                                                            \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, T borderValue,                       \
   const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {                                                   \
    return qor::filterBorder<type, 1>(pSrc, srcStep, pDst, dstStep, roiSize, &borderValue, pSpec, pBuffer); \
  }
#define QOR_GAUSSIAN_BODY_3(name, T, type)                                                                  \
  QOR_BODY(name)                                                                                            \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, const T* pBorderValue,               \
   const QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {                                                   \
    return qor::filterBorder<type, 3>(pSrc, srcStep, pDst, dstStep, roiSize, pBorderValue, pSpec, pBuffer); \
  }
#define QOR_GAUSSIAN(name, T, channels, type) QOR_GAUSSIAN_BODY_##channels(name, T, type)
#include "filter/gaussian.def"

QOR_BODY(qoriFilterGaussGetBufferSize_32f_C1R)(QoriSize roiSize, int kernelSize, int* pBufferSize) {
  return qor::reportFloatSize(roiSize, kernelSize, pBufferSize);
}
QOR_BODY(qoriFilterGaussBorder_32f_C1R)
(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize, int kernelSize, Qor32f sigma,
 QoriBorderType borderType, Qor32f borderValue, Qor8u* pBuffer) {
  return qor::filterFloats(pSrc, srcStep, pDst, dstStep, roiSize, kernelSize, sigma, borderType, borderValue, pBuffer);
}
