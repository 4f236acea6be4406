#include "filter/fixed_filter.h"

#include "frame/bands.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- scratch

// Rows of whole blocks, two vectors of the wide level: reported sizes are the same at every level.
template <class M>
constexpr ptrdiff_t paddedWidth(int width) {
  return roundUpTo(width, 2 * wideVectorBytes / static_cast<int64_t>(sizeof(M)));
}

// What a thread works in: intermediate rows, one more than a state has, and a row of sums.
template <class M>
struct ThreadRows {
  M *row[mostTaps], *sums;
};
template <class M>
ThreadRows<M> layThread(ScratchParts& parts, int taps, int planes, ptrdiff_t plane) {
  ThreadRows<M> rows{};
  for (int i = 0; i < taps; ++i) rows.row[i] = parts.take<M>(planes * plane, wideVectorBytes);
  rows.sums = parts.take<M>(plane, wideVectorBytes);
  return rows;
}

// Pieces of threads begin in cache lines of their own.
constexpr int64_t line = 64;

template <class M>
int64_t threadBytes(int taps, int planes, int width) {
  return bytesOf([=](ScratchParts& parts) { layThread<M>(parts, taps, planes, paddedWidth<M>(width)); });
}
template <class M>
int64_t teamBytes(int team, int taps, int planes, int width) {
  return line - 1 + team * roundUpTo(threadBytes<M>(taps, planes, width), line);
}

// What the size queries of the pipelines state for rows of a mask and for its columns, the team being theirs.
uint64_t pipelineBytes(QoriSize roiSize, int taps, const FixedSize& size) {
  const auto K = static_cast<uint64_t>(taps), T = static_cast<uint64_t>(owncvGetMaxNumThreads());
  const auto W = static_cast<uint64_t>(roiSize.width), H = static_cast<uint64_t>(roiSize.height);
  const uint64_t lists = T * (32 + 8 * (H + K));
  if (size.sampleBytes == sizeof(Qor32f)) return lists + T * (64 * K + 64 + 16) + 16 * K + 32;
  return lists + T * (36 * K + 112) + lists + T * (12 * ((W + 3) / 4 * 4) + 32);
}

int reported(QoriSize roiSize, int taps, const FixedSize& size) {
  const bool small = taps == 3;
  const auto W = static_cast<uint64_t>(roundUpTo(roiSize.width, 16)), H = static_cast<uint64_t>(roiSize.height);
  const auto planes = static_cast<uint64_t>(size.planes), sample = static_cast<uint64_t>(size.sampleBytes);
  uint64_t bytes = sample * planes * W * (small ? 21 : 25) + planes * (small ? 72 : 120);
  if (size.imageOf5x5 && !small) bytes += 2 * W * H + 32;
  bytes += static_cast<uint64_t>(size.extra) + pipelineBytes(roiSize, taps, size) + 32;
  const int wanted = teamFor(size.rule, roiSize), team = wanted > 0 ? wanted : 1;
  const int64_t needed = size.sampleBytes == sizeof(Qor32f) ? teamBytes<Qor32f>(team, taps, size.planes, roiSize.width)
                                                            : teamBytes<Qor16s>(team, taps, size.planes, roiSize.width);
  return reportedSize(bytes, owncvGetMaxNumThreads(), needed);
}

// ---- a band of rows

template <class S>
[[gnu::noinline]] void filterBand(const FixedKernel<S>& kernel, const void* store, const FixedCall<S>& call,
                                  const Sides& sides, const ThreadRows<Intermediate<S>>& scratch, Band band) {
  using M = Intermediate<S>;
  const int reach = kernel.taps / 2, rows = kernel.taps - 1;
  const ptrdiff_t width = call.size.width, height = call.size.height;
  const BesideRow<S> beside(sides.columns, call.value);
  const BorderedImage<S> image{call.source, sides, nullptr};
  const auto resultRow = [&](ptrdiff_t y) {
    return static_cast<void*>(static_cast<char*>(call.result) + y * call.resultStep);
  };
  State<M> state{{}, paddedWidth<M>(call.size.width)};
  const auto fillConstant = [&](M* row) {
    for (int p = 0; p < kernel.planes; ++p) {
      const M value = static_cast<M>(static_cast<M>(call.value) * kernel.total[p]);
      for (ptrdiff_t x = 0; x < state.plane; ++x) row[p * state.plane + x] = value;
    }
  };
  const auto filterAlong = [&](ptrdiff_t y, M* row) {
    if (sides.rows.standIn(y) == constantPosition) {
      fillConstant(row);
    } else {
      kernel.along(image.row(y), beside, row, state.plane, width);
    }
  };

  ptrdiff_t y = band.first;
  for (int i = 0; i < rows; ++i) {
    state.row[i] = scratch.row[i];
    filterAlong(y - reach + i, state.row[i]);
  }

  // In place a row must be filtered along before it is overwritten, so rows go one by one. So do those that need the
  // constant below the image, and a rest of rows that is not worth a sweep, whose other results go astray.
  const ptrdiff_t end = y + band.rows;
  const bool inPlace = static_cast<const void*>(call.source.first) == call.result;
  const ptrdiff_t swept = sides.rows.high == Edge::value && end > height - reach ? height - reach : end;
  const int count = kernel.rowsAtOnce;
  while (!inPlace && (swept - y >= count || (swept == end && 2 * (swept - y) >= count))) {
    const S* source[mostRowsAtOnce];
    void* dst[mostRowsAtOnce];
    for (int j = 0; j < count; ++j) {
      const ptrdiff_t at = y + j < end ? y + j : end - 1;
      source[j] = image.row(at + reach);
      dst[j] = y + j < end ? resultRow(at) : static_cast<void*>(scratch.sums);
    }
    kernel.sweep(source, beside, state, dst, width, store);
    y += count;
  }
  M* spare = scratch.row[rows];
  for (; y < end; ++y) {
    const M* all[mostTaps];
    M* newest = spare;
    if (y + reach >= height && sides.rows.high == Edge::nearest) {
      // What was the last row is perhaps overwritten.
      newest = state.row[rows - 1];
    } else {
      filterAlong(y + reach, newest);
    }
    for (int i = 0; i < rows; ++i) all[i] = state.row[i];
    all[rows] = newest;
    kernel.down(all, state.plane, scratch.sums);
    kernel.storeRow(scratch.sums, resultRow(y), width, store);
    spare = state.row[0];
    for (int i = 0; i < rows - 1; ++i) state.row[i] = state.row[i + 1];
    state.row[rows - 1] = newest;
  }
}

}  // namespace

QorStatus fixedBufferSize(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, const FixedSize& size) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(maskSize));
  if (status == qorStsNoErr) *pBufferSize = reported(roiSize, maskSize == qorMskSize3x3 ? 3 : 5, size);
  return status;
}

template <class S>
QorStatus filterImage(const FixedKernel<S>& kernel, const void* store, const FixedCall<S>& call,
                      const FixedSize& size) {
  using M = Intermediate<S>;
  const int width = call.size.width, wanted = teamFor(size.rule, call.size);
  const int bytes = reported(call.size, kernel.taps, size);
  const int room = teamWithin(bytes, wanted > 0 ? wanted : 1,
                              [&](int team) { return teamBytes<M>(team, kernel.taps, kernel.planes, width); });
  if (room == 0) return qorStsSizeErr;
  const int64_t piece = (bytes - (line - 1)) / room / line * line;
  Qor8u* const pieces = alignUp<Qor8u>(call.scratch, line);
  const Sides sides = fixedBorders.sides(call.border, call.size);
  forTeam(wanted < room ? wanted : room, call.size.height, [&](Band band) {
    ScratchParts parts(pieces + band.thread * piece, piece, threadBytes<M>(kernel.taps, kernel.planes, width));
    const auto rows = layThread<M>(parts, kernel.taps, kernel.planes, paddedWidth<M>(width));
    filterBand(kernel, store, call, sides, rows, band);
  });
  return qorStsNoErr;
}
template QorStatus filterImage(const FixedKernel<Qor8u>&, const void*, const FixedCall<Qor8u>&, const FixedSize&);
template QorStatus filterImage(const FixedKernel<Qor32f>&, const void*, const FixedCall<Qor32f>&, const FixedSize&);

}  // namespace qor
