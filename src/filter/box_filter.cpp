#include "filter/box_filter.h"

#include "filter/bordered_image.h"
#include "frame/bands.h"
#include "frame/checks.h"
#include "frame/image_ops.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr Qor32s parallelArea = 0x40000;
constexpr int64_t slack = 64;

// The first of four sums is the first sample; the last, of all.
inline V32f prefixSums(V32f a) {
  a = a + V32f{_mm_castsi128_ps(_mm_slli_si128(_mm_castps_si128(a.v), 4))};
  return a + V32f{_mm_castsi128_ps(_mm_slli_si128(_mm_castps_si128(a.v), 8))};
}
inline V32f lastInAll(V32f a) {
  return {_mm_castsi128_ps(_mm_shuffle_epi32(_mm_castps_si128(a.v), _MM_SHUFFLE(3, 3, 3, 3)))};
}

Qor32f sumOf(const Qor32f* p, int n) {
  V32f sums = zero<Qor32f>();
  int i = 0;
  for (; i <= n - 4; i += 4) sums = sums + load(p + i);
  Qor32f total = sum(sums);
  for (; i < n; ++i) total += p[i];
  return total;
}

// Window sums of a row from its column sums, and their multiples on the way to the destination. Eight at a time: one
// addition of eight columns' change is all that a block waits for.
struct Window {
  int columns;
  Qor32f scale;

  // sums[-1] is 0, sums[0] the first column of the first window.
  void row(const Qor32f* sums, Qor32f* dst, int width) const {
    V32f before = splat(sumOf(sums, columns - 1));
    const Qor32f *entering = sums + columns - 1, *leaving = sums - 1;
    int x = 0;
    for (; x <= width - 8; x += 8) store(dst + x, block(entering + x, leaving + x, before));
    if (x == width) return;
    const auto rest = static_cast<size_t>(width - x) * sizeof(Qor32f);
    Qor32f in[8] = {}, out[8] = {}, results[8];
    __builtin_memcpy(in, entering + x, rest);
    __builtin_memcpy(out, leaving + x, rest);
    store(results, block(in, out, before));
    __builtin_memcpy(dst + x, results, rest);
  }

 private:
  QOR_FORCE_INLINE Block<Qor32f, 2> block(const Qor32f* entering, const Qor32f* leaving, V32f& before) const {
    const V32f first = prefixSums(load(entering) - load(leaving));
    const V32f second = prefixSums(load(entering + 4) - load(leaving + 4)) + lastInAll(first);
    const Block<Qor32f, 2> results{(before + first) * splat(scale), (before + second) * splat(scale)};
    before = before + lastInAll(second);
    return results;
  }
};

// Filters rows of the region with the columns that stand in memory beside it.
struct BoxRows {
  BorderedImage<Qor32f> source;
  int left, right;  // columns in memory that windows reach
  QoriSize mask;
  Plane<Qor32f> dst;

  int width() const { return source.size.width; }
  int reachLeft() const { return (mask.width - 1) / 2; }
  int restart() const { return 4 * mask.height + 32; }

  // Rows first to last - 1, which begin where the sums start afresh; columns holds the sums, one for every column of
  // the windows and one more.
  void run(int64_t first, int64_t last, Qor32f* columns) const {
    const Window window{mask.width, 1.0F / static_cast<Qor32f>(int64_t{mask.width} * mask.height)};
    columns[0] = 0;
    Qor32f* const sums = columns + 1;
    Qor32f* const inner = sums + reachLeft() - left;
    const ptrdiff_t n = ptrdiff_t{left} + width() + right;
    for (int64_t y = first; y < last; ++y) {
      const int top = static_cast<int>(y) - (mask.height - 1) / 2;
      if ((y - first) % restart() == 0) {
        start(inner, n, top);
      } else {
        const auto slide = [](const Qor32f* s, const Qor32f* out, const Qor32f* in) {
          return Block<Qor32f, 1>{load(s) - load(out) + load(in)};
        };
        mapRow(inner, n, slide, const_cast<const Qor32f*>(inner), row(top - 1), row(top + mask.height - 1));
      }
      fillBeside(sums, inner, n);
      window.row(sums, dst.row(static_cast<int>(y)), width());
    }
  }

 private:
  const Qor32f* row(int y) const { return source.row(y) - left; }

  void start(Qor32f* inner, ptrdiff_t n, int top) const {
    __builtin_memset(inner, 0, static_cast<size_t>(n) * sizeof(Qor32f));
    const auto add = [](const Qor32f* s, const Qor32f* in) { return Block<Qor32f, 1>{load(s) + load(in)}; };
    for (int j = 0; j < mask.height; ++j) mapRow(inner, n, add, const_cast<const Qor32f*>(inner), row(top + j));
  }

  // Columns outside have the sum of the edge's column, or that of the constant.
  void fillBeside(Qor32f* sums, const Qor32f* inner, ptrdiff_t n) const {
    Qor32f* const end = sums + width() + mask.width - 1;
    const Qor32f *const innerEnd = inner + n, ofLeft = inner[0], ofRight = innerEnd[-1];
    const bool constant = source.rule == qorBorderConst;
    for (Qor32f* p = sums; p < inner; ++p) *p = constant ? constantSum : ofLeft;
    for (Qor32f* p = sums + (innerEnd - sums); p < end; ++p) *p = constant ? constantSum : ofRight;
  }

 public:
  Qor32f constantSum;  // of a column
};

Qor32f repeatedSum(Qor32f value, int count) {
  Qor32f total = 0;
  for (int i = 0; i < count; ++i) total += value;
  return total;
}

bool overlap(const Qor32f* a, int64_t aBytes, const Qor32f* b, int64_t bBytes) {
  const auto distance = static_cast<int64_t>(reinterpret_cast<uintptr_t>(b) - reinterpret_cast<uintptr_t>(a));
  return distance < aBytes && -distance < bBytes;
}

// Scratch behind its alignment: column sums of the calling thread; then, as large as the image with its windows' reach,
// a row of the constant, if rows of it are needed, and the copied source or the column sums of the team. Rows of the
// constant are needed only where a side's rows are missing, so the copy leaves at least one row free.
void filterBox(const Qor32f* pSrc, int srcStep, Plane<Qor32f> dst, QoriSize roiSize, QoriSize mask,
               QoriBorderType border, Qor32f value, Qor8u* pBuffer) {
  const BorderSides sides = BorderSides::of(border);
  const int reachLeft = (mask.width - 1) / 2, reachUp = (mask.height - 1) / 2;
  const int left = sides.left ? reachLeft : 0, right = sides.right ? mask.width - 1 - reachLeft : 0;
  const int up = sides.top ? reachUp : 0, down = sides.bottom ? mask.height - 1 - reachUp : 0;
  const int64_t span = int64_t{left} + roiSize.width + right, rows = int64_t{up} + roiSize.height + down;

  Qor32f* const columns = alignUp<Qor32f>(pBuffer, 16);
  const int64_t columnSums = int64_t{roiSize.width} + mask.width;
  Qor32f* const constants = columns + columnSums + 1;
  const bool needsConstants = (border & 15) == qorBorderConst && rows < int64_t{roiSize.height} + mask.height - 1;
  if (needsConstants) {
    for (int64_t i = 0; i < span; ++i) constants[i] = value;
  }
  Qor32f* const rest = constants + (needsConstants ? span : 0);

  const Qor32f* const first = rowAt(pSrc, srcStep, -up) - left;
  const bool staged = overlap(first, srcStep * (rows - 1) + rowBytes<Qor32f>(span), dst.first,
                              rowOffset(dst.step, roiSize.height - 1) + rowBytes<Qor32f>(roiSize.width));
  Plane<const Qor32f> image{pSrc, srcStep};
  if (staged) {
    for (int64_t y = 0; y < rows; ++y) {
      __builtin_memcpy(rest + y * span, reinterpret_cast<const char*>(first) + srcStep * y,
                       static_cast<size_t>(rowBytes<Qor32f>(span)));
    }
    image = {rest + up * span + left, static_cast<int>(rowBytes<Qor32f>(span))};
  }
  const BoxRows box{
      {image, roiSize, border & 15, sides, constants + left}, left, right, mask, dst, repeatedSum(value, mask.height)};
  const int stretches = static_cast<int>((int64_t{roiSize.height} + box.restart() - 1) / box.restart());
  const int team = owncvGetMaxNumThreads() < stretches ? owncvGetMaxNumThreads() : stretches;
  if (staged || team < 2 || area(roiSize.width, roiSize.height) < parallelArea) {
    box.run(0, roiSize.height, columns);
    return;
  }
  // A stretch has more than 32 rows, so the columns of one a thread fit where the image would stand.
  forBands(stretches, team, [&](Band band) {
    const int64_t begin = int64_t{band.first} * box.restart(), end = begin + int64_t{band.rows} * box.restart();
    box.run(begin, end < roiSize.height ? end : roiSize.height, rest + band.thread * columnSums);
  });
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
  // Sizes beyond 31 bits wrap.
  const auto w = static_cast<uint64_t>(roiSize.width), h = static_cast<uint64_t>(roiSize.height);
  const auto mw = static_cast<uint64_t>(maskSize.width), mh = static_cast<uint64_t>(maskSize.height);
  const auto n = static_cast<uint64_t>(numChannels);
  const uint64_t columns = (w + mw + 1) * 4 * (n > 1 ? 4 : 1), image = (w + mw - 1) * (h + mh - 1) * 4 * n;
  const uint64_t pointers = 8 * ((mh - 1) / 2) + 8;
  *pBufferSize = static_cast<int>(slack + columns + image + pointers);
  return qorStsNoErr;
}

QorStatus qoriFilterBoxBorder_32f_C1R(const Qor32f* pSrc, int srcStep, Qor32f* pDst, int dstStep, QoriSize roiSize,
                                      QoriSize maskSize, QoriBorderType borderType, const Qor32f* pBorderValue,
                                      Qor8u* pBuffer) {
  const bool usesValue = (borderType & 15) == qorBorderConst && !BorderSides::of(borderType).all();
  const bool goodBorder =
      isBorder(borderType, ruleBit(qorBorderConst) | ruleBit(qorBorderRepl) | ruleBit(qorBorderInMem));
  const QorStatus status = firstFailure(
      nullCheck(pSrc, pDst, pBuffer), usesValue ? nullCheck(pBorderValue) : qorStsNoErr, sizeCheck(roiSize),
      stepCheck<Qor32f>(roiSize.width, srcStep, dstStep), evenCheck<Qor32f>(srcStep, dstStep),
      sizeCheck(maskSize) == qorStsNoErr ? qorStsNoErr : qorStsMaskSizeErr, goodBorder ? qorStsNoErr : qorStsBorderErr);
  if (status != qorStsNoErr) return status;
  filterBox(pSrc, srcStep, {pDst, dstStep}, roiSize, maskSize, borderType, usesValue ? *pBorderValue : 0, pBuffer);
  return qorStsNoErr;
}

}  // namespace qor
