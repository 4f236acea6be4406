// Sizes of scratch of the fixed filters.
#include "filter/fixed_driver.h"
#include "frame/bodies.h"

namespace qor::inline QOR_LEVEL {

QorStatus fixedBufferSize(QoriSize roiSize, QoriMaskSize maskSize, int* pBufferSize, const FixedSize& size) {
  const QorStatus status = firstFailure(nullCheck(pBufferSize), sizeCheck(roiSize), maskCheck(maskSize));
  if (status != qorStsNoErr) return status;
  const bool small = maskSize == qorMskSize3x3;
  const int taps = small ? 3 : 5;
  const Qor32u width = (static_cast<Qor32u>(roiSize.width) + 15) & ~Qor32u{15};
  const Qor32u height = static_cast<Qor32u>(roiSize.height);
  const auto planes = static_cast<Qor32u>(size.planes);
  Qor32u bytes = static_cast<Qor32u>(size.sampleBytes) * planes * width * (small ? 21 : 25);
  bytes += planes * (small ? 72 : 120) + static_cast<Qor32u>(size.extra);
  if (size.imageOf5x5 && !small) bytes += 2 * width * height + 32;
  int along = 0, down = 0;
  size.along(roiSize, taps, &along);
  size.down(roiSize, taps, &down);
  bytes += static_cast<Qor32u>(along) + static_cast<Qor32u>(down) + 32;
  *pBufferSize = static_cast<int>(static_cast<Qor32u>(owncvGetMaxNumThreads()) * bytes);
  return status;
}

}  // namespace qor
