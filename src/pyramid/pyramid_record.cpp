// The record of a pyramid and its arrays, in one block.
#include <new>

#include "frame/alloc.h"
#include "frame/bodies.h"
#include "frame/round.h"
#include "pyramid/level_size.h"

namespace qor::inline QOR_LEVEL {
namespace {

// The pointers first, then what needs less alignment. The stated block has more than enough room.
struct Entries {
  static constexpr int64_t each = sizeof(Qor8u*) + sizeof(QoriSize) + sizeof(Qor64f) + sizeof(int);
  static constexpr int64_t blockBytes(int level) { return 52 * int64_t{level} + 152; }
};
static_assert(sizeof(QoriPyramid) + Entries::each <= Entries::blockBytes(0) && Entries::each <= 52);

constexpr bool isPixel(QoriSize size) { return size.width == 1 && size.height == 1; }

// How often a size can be reduced, if not more than wanted.
int levelsOf(QoriSize size, Qor32f rate, int wanted) {
  int levels = 0;
  for (; levels < wanted && !isPixel(size); ++levels) size = coarserSize(size, rate);
  return levels;
}

QorStatus initAlloc(QoriPyramid** ppPyr, int level, QoriSize roiSize, Qor32f rate) {
  const QorStatus status =
      firstFailure(nullCheck(ppPyr), sizeCheck(roiSize), rateCheck(rate), level < 1 ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const int top = levelsOf(roiSize, rate, level);
  const int64_t bytes = Entries::blockBytes(top), entries = int64_t{top} + 1;
  Qor8u* const block = bytes <= topOf<Qor32s> ? qorsMalloc_8u(static_cast<int>(bytes)) : nullptr;
  if (block == nullptr) return qorStsMemAllocErr;
  auto* const images = reinterpret_cast<Qor8u**>(block + sizeof(QoriPyramid));
  auto* const rates = reinterpret_cast<Qor64f*>(images + entries);
  auto* const sizes = reinterpret_cast<QoriSize*>(rates + entries);
  auto* const steps = reinterpret_cast<int*>(sizes + entries);
  Qor64f factor = 1;
  QoriSize size = roiSize;
  for (int64_t i = 0; i < entries; ++i) {
    images[i] = nullptr, rates[i] = factor, sizes[i] = size, steps[i] = 0;
    factor *= 1.0 / static_cast<Qor64f>(rate);
    size = coarserSize(size, rate);
  }
  *ppPyr = new (block) QoriPyramid{images, sizes, rates, steps, nullptr, top};
  return qorStsNoErr;
}

QorStatus freeRecord(QoriPyramid* pPyr) {
  if (const QorStatus status = nullCheck(pPyr); status != qorStsNoErr) return status;
  qorsFree(pPyr);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriPyramidInitAlloc)(QoriPyramid** ppPyr, int level, QoriSize roiSize, Qor32f rate) {
  return qor::initAlloc(ppPyr, level, roiSize, rate);
}
QOR_BODY(qoriPyramidFree)(QoriPyramid* pPyr) { return qor::freeRecord(pPyr); }
