#include "filter/box_filter.h"

#include <string.h>

#include "filter/window_sums.h"
#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/outside.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr Borders borders = {.rules = ruleBits(qorBorderConst, qorBorderRepl, qorBorderInMem),
                             .refusal = qorStsBorderErr};
constexpr TeamRule boxTeam = {.pixels = 0x40000, .leastThreads = 2};

// Rows after which the sums of the columns start afresh.
int64_t restartRows(QoriSize mask) { return 4 * int64_t{mask.height} + 32; }

// Filters rows of the region with the columns that stand in memory beside it.
struct BoxRows {
  BorderedImage<Qor32f> source;
  int left;  // columns in memory that windows reach, there and in all with the region's
  ptrdiff_t span;
  QoriSize mask;
  Plane<Qor32f> dst;
  Qor32f constantSum;  // of a column

  int width() const { return static_cast<int>(source.sides.columns.n); }
  int reachLeft() const { return (mask.width - 1) / 2; }

  // Rows first to last - 1, which begin where the sums start afresh; columns holds the sums, one for every column of
  // the windows and one more.
  void run(int64_t first, int64_t last, Qor32f* columns) const {
    const Window window{mask.width, 1.0F / static_cast<Qor32f>(int64_t{mask.width} * mask.height)};
    columns[0] = 0;
    Qor32f* const sums = columns + 1;
    Qor32f* const inner = sums + reachLeft() - left;
    for (int64_t y = first; y < last; ++y) {
      const int top = static_cast<int>(y) - (mask.height - 1) / 2;
      if ((y - first) % restartRows(mask) == 0) {
        start(inner, top);
      } else {
        const auto slide = [](const Qor32f* s, const Qor32f* out, const Qor32f* in) {
          return Block<Qor32f, 1>{load(s) - load(out) + load(in)};
        };
        mapRow(inner, span, slide, const_cast<const Qor32f*>(inner), row(top - 1), row(top + mask.height - 1));
      }
      fillBeside(sums, inner);
      window.row(sums, dst.row(static_cast<int>(y)), width());
    }
  }

 private:
  const Qor32f* row(int y) const { return source.row(y) - left; }

  void start(Qor32f* inner, int top) const {
    memset(inner, 0, static_cast<size_t>(span) * sizeof(Qor32f));
    const auto add = [](const Qor32f* s, const Qor32f* in) { return Block<Qor32f, 1>{load(s) + load(in)}; };
    for (int j = 0; j < mask.height; ++j) mapRow(inner, span, add, const_cast<const Qor32f*>(inner), row(top + j));
  }

  // Columns outside have the sum of the edge's column, or that of the constant.
  void fillBeside(Qor32f* sums, const Qor32f* inner) const {
    Qor32f* const end = sums + width() + mask.width - 1;
    const Qor32f *const innerEnd = inner + span, ofLeft = inner[0], ofRight = innerEnd[-1];
    const bool constant = source.sides.needValue();
    for (Qor32f* p = sums; p < inner; ++p) *p = constant ? constantSum : ofLeft;
    for (Qor32f* p = sums + (innerEnd - sums); p < end; ++p) *p = constant ? constantSum : ofRight;
  }
};

Qor32f repeatedSum(Qor32f value, int count) {
  Qor32f total = 0;
  for (int i = 0; i < count; ++i) total += value;
  return total;
}

// Whether windows reach rows of the constant.
bool needConstants(const Sides& sides, QoriSize mask) {
  return (sides.rows.low == Edge::value && (mask.height - 1) / 2 > 0) ||
         (sides.rows.high == Edge::value && mask.height / 2 > 0);
}

// The region with the pixels in memory that windows reach.
struct Reach {
  int left, up;
  int64_t span, rows;

  Reach(const Sides& sides, QoriSize size, QoriSize mask) {
    const int leftOf = (mask.width - 1) / 2, above = (mask.height - 1) / 2;
    const auto in = [](Edge edge, int reach) { return edge == Edge::memory ? reach : 0; };
    left = in(sides.columns.low, leftOf);
    up = in(sides.rows.low, above);
    span = int64_t{left} + size.width + in(sides.columns.high, mask.width - 1 - leftOf);
    rows = int64_t{up} + size.height + in(sides.rows.high, mask.height - 1 - above);
  }
};

// The sums of the columns of a row's windows, and one more.
int64_t columnSums(QoriSize size, QoriSize mask) { return int64_t{size.width} + mask.width; }

struct Parts {
  Qor32f *constants, *copy, *columns;
};
// A row of the constant; the copied source, or nothing; the column sums of a team.
Parts lay(ScratchParts& parts, const Reach& reach, bool constants, bool staged, int64_t sums, int team) {
  Qor32f* const row = constants ? parts.take<Qor32f>(reach.span) : nullptr;
  Qor32f* const copy = staged ? parts.take<Qor32f>(reach.span * reach.rows) : nullptr;
  return {row, copy, parts.take<Qor32f>(team * sums)};
}

// Room for a copy of the image and all that its windows reach. Sizes beyond 31 bits wrap.
int reported(QoriSize size, QoriSize mask, int numChannels) {
  const auto w = static_cast<uint64_t>(size.width), h = static_cast<uint64_t>(size.height);
  const auto mw = static_cast<uint64_t>(mask.width), mh = static_cast<uint64_t>(mask.height);
  const auto n = static_cast<uint64_t>(numChannels);
  const uint64_t columns = (w + mw + 1) * 4 * (n > 1 ? 4 : 1), image = (w + mw - 1) * (h + mh - 1) * 4 * n;
  const uint64_t pointers = 8 * ((mh - 1) / 2) + 8;
  return static_cast<int>(64 + columns + image + pointers);
}

bool overlap(const Qor32f* a, int64_t aBytes, const Qor32f* b, int64_t bBytes) {
  const auto distance = static_cast<int64_t>(reinterpret_cast<uintptr_t>(b) - reinterpret_cast<uintptr_t>(a));
  return distance < aBytes && -distance < bBytes;
}

QorStatus filterBox(Plane<const Qor32f> src, Plane<Qor32f> dst, QoriSize size, QoriSize mask, const Sides& sides,
                    Qor32f value, Qor8u* pBuffer) {
  const Reach reach(sides, size, mask);
  const Qor32f* const first = rowAt(src.first, src.step, -reach.up) - reach.left;
  const bool staged = overlap(first, src.step * (reach.rows - 1) + rowBytes<Qor32f>(reach.span), dst.first,
                              rowOffset(dst.step, size.height - 1) + rowBytes<Qor32f>(size.width));
  const int stretches = static_cast<int>((int64_t{size.height} + restartRows(mask) - 1) / restartRows(mask));
  const int shared = staged ? 0 : teamFor(boxTeam, size), wanted = shared < stretches ? shared : stretches;
  const bool constants = needConstants(sides, mask);
  const int64_t sums = columnSums(size, mask);
  const auto layFor = [&](int team) {
    return [&, team](ScratchParts& parts) { return lay(parts, reach, constants, staged, sums, team); };
  };
  const int bytes = reported(size, mask, 1);
  const int team = teamWithin(bytes, wanted > 1 ? wanted : 1, [&](int t) { return bytesOf(layFor(t)); });
  if (team == 0) return qorStsSizeErr;
  ScratchParts parts(pBuffer, bytes, bytesOf(layFor(team)));
  const Parts scratch = layFor(team)(parts);

  if (constants) {
    for (int64_t i = 0; i < reach.span; ++i) scratch.constants[i] = value;
  }
  if (staged) {
    const auto row = static_cast<size_t>(rowBytes<Qor32f>(reach.span));
    for (int64_t y = 0; y < reach.rows; ++y) {
      memcpy(scratch.copy + y * reach.span, reinterpret_cast<const char*>(first) + src.step * y, row);
    }
    src = {scratch.copy + reach.up * reach.span + reach.left, static_cast<int>(row)};
  }
  const BoxRows box{{src, sides, constants ? scratch.constants + reach.left : nullptr},
                    reach.left,
                    reach.span,
                    mask,
                    dst,
                    repeatedSum(value, mask.height)};
  // Bands of whole stretches, so that sums start afresh where they do on one thread.
  forTeam(team > 1 ? team : 0, stretches, [&](Band band) {
    const int64_t begin = int64_t{band.first} * restartRows(mask), end = begin + int64_t{band.rows} * restartRows(mask);
    box.run(begin, end < size.height ? end : size.height, scratch.columns + band.thread * sums);
  });
  return qorStsNoErr;
}

}  // namespace

QorStatus qoriFilterBoxBorderGetBufferSize(QoriSize roiSize, QoriSize maskSize, QorDataType dataType, int numChannels,
                                           int* pBufferSize) {
  const bool isType = dataType == qor8u || dataType == qor16u || dataType == qor16s || dataType == qor32f;
  const bool isCount = numChannels == 1 || numChannels == 3 || numChannels == 4;
  const QorStatus status = firstFailure(
      nullCheck(pBufferSize), sizeCheck(roiSize), sizeCheck(maskSize) == qorStsNoErr ? qorStsNoErr : qorStsMaskSizeErr,
      isType ? qorStsNoErr : qorStsDataTypeErr, isCount ? qorStsNoErr : qorStsChannelErr);
  if (status != qorStsNoErr) return status;
  *pBufferSize = reported(roiSize, maskSize, numChannels);
  return qorStsNoErr;
}

QorStatus qoriFilterBoxBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriSize maskSize, QoriBorderType borderType, const Qor32f* pBorderValue,
                                      Qor8u* pBuffer) {
  const Sides sides = borders.sides(borderType, roiSize);
  const bool usesValue = sides.needValue();
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pDst, pBuffer), usesValue ? nullCheck(pBorderValue) : qorStsNoErr, sizeCheck(roiSize),
      stepCheck<Qor32f>(roiSize.width, srcStep, dstStep), evenCheck<Qor32f>(srcStep, dstStep),
      sizeCheck(maskSize) == qorStsNoErr ? qorStsNoErr : qorStsMaskSizeErr, borders.check(borderType));
  if (status != qorStsNoErr) return status;
  return filterBox({pSrc, srcStep}, {pDst, dstStep}, roiSize, maskSize, sides, usesValue ? *pBorderValue : 0, pBuffer);
}

}  // namespace qor
