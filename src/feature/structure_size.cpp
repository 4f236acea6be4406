// Scratch of the operations on the gradient's matrix: stated as what tiles and strips of the frame would need of their
// gradients, products and box filters.
#include "feature/structure_means.h"
#include "filter/box_filter.h"
#include "filter/gradient_vector.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr int64_t larger(int64_t a, int64_t b) { return a > b ? a : b; }
constexpr int64_t smaller(int64_t a, int64_t b) { return a < b ? a : b; }
constexpr int toInt(int64_t n) { return saturate<Qor32s>(n); }

// Sums and products of sizes end here, so that none is beyond 64 bits.
constexpr int64_t mostBytes = int64_t{1} << 60;
int64_t times(int64_t a, int64_t b) { return b != 0 && a > mostBytes / b ? mostBytes : a * b; }

struct Region {
  int64_t width, height;
};

// What every part of the image is stated from.
struct Structure {
  QoriMaskSize mask;
  int window;
  bool floats;
  QorStatus status = qorStsNoErr;

  // Of a window of 0 or less too, for which the filters' queries have their own opinion.
  int64_t after() const { return window / 2; }
  int64_t before() const { return window % 2 == 0 ? after() - 1 : after(); }

  // A part of w x h with all that its windows reach.
  int64_t part(Region r, bool ofFrame) {
    const int64_t width = r.width + before() + after(), height = r.height + before() + after();
    const QorDataType type = floats ? qor32f : qor8u;
    int gradient = 0, box = 0;
    const QorStatus ofGradient =
        qoriGradientVectorGetBufferSize({toInt(width), toInt(height)}, mask, type, 1, &gradient);
    const QorStatus ofBox =
        qoriFilterBoxBorderGetBufferSize({toInt(r.width), toInt(r.height)}, {window, window}, qor32f, 1, &box);
    status = firstFailure(status, ofGradient, ofBox);
    if (status != qorStsNoErr) return 0;
    const int64_t product = roundUpTo(4 * width, 32), component = floats ? product : roundUpTo(2 * width, 32);
    int64_t called = larger(gradient, box);
    if (ofFrame) {
      called = gradient;
      if (r.width == 1 || r.height == 1) {
        called = larger(called, times((r.width + 2) * (floats ? 4 : 1), r.height + 2));
      }
      called = larger(called, times(product, height) + box);
    }
    return times(3 * product + 2 * component, height) + called + 64;
  }

  int64_t whole(QoriSize size) {
    const int64_t w = size.width, h = size.height, d = mask == qorMskSize3x3 ? 1 : 2;
    const int64_t left = before() + d, right = after() + d;
    if (w <= left + right || h <= left + right) return part({w, h}, true);
    // Elements of a tile, and the root of that.
    const int64_t elements = floats ? 7111 : 8827, side = floats ? 84 : 93;
    const int64_t around = before() + after();
    const int64_t inner = roundUpTo(larger(side - around, 0), 16), reach = around + inner;
    const int64_t rows = reach != 0 ? elements / reach : 0;
    const int64_t tw = smaller(larger(8 * int64_t{window}, inner), w);
    const int64_t th = smaller(larger(8 * int64_t{window}, rows - around), h);
    int64_t most = part({tw, th}, false);
    const auto take = [&](Region r, bool ofFrame) {
      if (r.width > 0 && r.height > 0) most = larger(most, part(r, ofFrame));
    };
    if (status != qorStsNoErr) return 0;
    take({tw, h % th}, false), take({w % tw, th}, false), take({w % tw, h % th}, false);
    take({w, left}, true), take({left, h}, true), take({right, h}, true), take({w, right}, true);
    return most;
  }
};

}  // namespace

QorStatus structureSize(QoriSize size, QoriMaskSize mask, int window, QorDataType type, int& bytes) {
  Structure structure{mask, window, type == qor32f};
  const int64_t stated = structure.whole(size);
  if (structure.status != qorStsNoErr) return structure.status;
  const int radius = mask == qorMskSize3x3 ? 1 : 2;
  const int64_t used =
      type == qor32f ? structureBytes<Qor32f>(size, window, radius) : structureBytes<Qor8u>(size, window, radius);
  bytes = reportedSize(static_cast<uint64_t>(stated), 1, used);
  return qorStsNoErr;
}

QorStatus structureBufferSize(QoriSize roiSize, QoriMaskSize filterMask, int avgWindow, QorDataType dataType,
                              int numChannels, int* pBufferSize) {
  const bool isType = dataType == qor8u || dataType == qor32f;
  const QorStatus status = firstFailure(
      nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(filterMask), isType ? qorStsNoErr : qorStsDataTypeErr,
      numChannels == 1 ? qorStsNoErr : qorStsChannelErr, avgWindow == 0 ? qorStsSizeErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  int bytes = 0;
  const QorStatus nested = structureSize(roiSize, filterMask, avgWindow, dataType, bytes);
  if (nested == qorStsNoErr) *pBufferSize = bytes;
  return nested;
}

}  // namespace qor
