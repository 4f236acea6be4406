// Motion history: the time of the last motion of every pixel, cleared where that was long ago.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class S>
V32f isStill(const S* silhouette) {
  if constexpr (std::is_same_v<S, Qor32f>) {
    return load(silhouette) == zero<Qor32f>();
  } else {
    return as<Qor32f>(loadAs<Qor32s>(silhouette) == zero<Qor32s>());
  }
}

QorStatus durationCheck(Qor32f duration) { return duration < 0 ? qorStsOutOfRangeErr : qorStsNoErr; }

template <class S>
QorStatus updateMotionHistory(const S* pSilhouette, int silhStep, Qor32f* pMHI, int mhiStep, QoriSize roiSize,
                              Qor32f timestamp, Qor32f mhiDuration) {
  const QorStatus status =
      firstFailure(nullCheck(pSilhouette, pMHI), sizeCheck(roiSize), stepCheck<S>(roiSize.width, silhStep),
                   stepCheck<Qor32f>(roiSize.width, mhiStep), evenCheck<S>(silhStep), evenCheck<Qor32f>(mhiStep),
                   durationCheck(mhiDuration));
  if (status != qorStsNoErr) return status;
  const V32f now = splat(timestamp), limit = splat(timestamp - mhiDuration);
  const auto kernel = [now, limit](const Qor32f* history, const S* silhouette) {
    const V32f before = load(history);
    return Block<Qor32f, 1>{select(isStill(silhouette), andNot(before < limit, before), now)};
  };
  const auto row = [&kernel](ptrdiff_t n, Qor32f* d, const Qor32f* h, const S* s) { mapRow(d, n, kernel, h, s); };
  forEachRow(roiSize.width, 0, roiSize.height, row, Plane{pMHI, mhiStep}, Plane<const Qor32f>{pMHI, mhiStep},
             Plane{pSilhouette, silhStep});
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_MOTION_HISTORY(name, S)                                                                         \
  QOR_BODY(name)                                                                                            \
  (const S* pSilhouette, int silhStep, Qor32f* pMHI, int mhiStep, QoriSize roiSize, Qor32f timestamp,       \
   Qor32f mhiDuration) {                                                                                    \
    return qor::updateMotionHistory(pSilhouette, silhStep, pMHI, mhiStep, roiSize, timestamp, mhiDuration); \
  }
#include "motion/motion_history.def"
