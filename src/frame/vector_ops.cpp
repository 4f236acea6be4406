#include "frame/vector_ops.h"

#include <string.h>

#include "frame/checks.h"
#include "frame/row.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
QorStatus fill(T value, T* pDst, int len) {
  const QorStatus status = firstFailure(nullCheck(pDst), lengthCheck(len));
  if (status != qorStsNoErr) return status;
  if constexpr (sizeof(T) == 1) {
    memset(pDst, value, static_cast<size_t>(len));
  } else {
    mapRow(pDst, len, [v = splat(value)]() { return Block<T, 1>{v}; });
  }
  return qorStsNoErr;
}

template <class T>
QorStatus clear(T* pDst, int len) {
  const QorStatus status = firstFailure(nullCheck(pDst), lengthCheck(len));
  if (status == qorStsNoErr) memset(pDst, 0, static_cast<size_t>(rowBytes<T>(len)));
  return status;
}

template <class T>
QorStatus copy(const T* pSrc, T* pDst, int len) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst), lengthCheck(len));
  if (status == qorStsNoErr) memmove(pDst, pSrc, static_cast<size_t>(rowBytes<T>(len)));
  return status;
}

struct Min {
  template <class T>
  auto operator()(const T* a, const T* b) const {
    return Block<T, 1>{min(load(a), load(b))};
  }
};
struct Max {
  template <class T>
  auto operator()(const T* a, const T* b) const {
    return Block<T, 1>{max(load(a), load(b))};
  }
};

template <class Extremum, class T>
QorStatus every(const T* pSrc1, const T* pSrc2, T* pDst, Qor32u len) {
  const QorStatus status = firstFailure(nullCheck(pSrc1, pSrc2, pDst), lengthCheck(len));
  if (status == qorStsNoErr) mapRow(pDst, len, Extremum(), pSrc1, pSrc2);
  return status;
}

}  // namespace

QorStatus qorsSet_8u(Qor8u value, Qor8u* pDst, int len) { return fill(value, pDst, len); }
QorStatus qorsSet_16s(Qor16s value, Qor16s* pDst, int len) { return fill(value, pDst, len); }
QorStatus qorsSet_32s(Qor32s value, Qor32s* pDst, int len) { return fill(value, pDst, len); }
QorStatus qorsSet_32f(Qor32f value, Qor32f* pDst, int len) { return fill(value, pDst, len); }

QorStatus qorsZero_8u(Qor8u* pDst, int len) { return clear(pDst, len); }
QorStatus qorsZero_16s(Qor16s* pDst, int len) { return clear(pDst, len); }
QorStatus qorsZero_32s(Qor32s* pDst, int len) { return clear(pDst, len); }
QorStatus qorsZero_32f(Qor32f* pDst, int len) { return clear(pDst, len); }

QorStatus qorsCopy_8u(const Qor8u* pSrc, Qor8u* pDst, int len) { return copy(pSrc, pDst, len); }
QorStatus qorsCopy_16s(const Qor16s* pSrc, Qor16s* pDst, int len) { return copy(pSrc, pDst, len); }
QorStatus qorsCopy_32f(const Qor32f* pSrc, Qor32f* pDst, int len) { return copy(pSrc, pDst, len); }

#define QOR_EVERY(name, Extremum, T)                                    \
  QorStatus name(const T* pSrc1, const T* pSrc2, T* pDst, Qor32u len) { \
    return every<Extremum>(pSrc1, pSrc2, pDst, len);                    \
  }
#define QOR_EVERY_I(name, Extremum, T) \
  QorStatus name(const T* pSrc, T* pSrcDst, Qor32u len) { return every<Extremum, T>(pSrc, pSrcDst, pSrcDst, len); }
QOR_EVERY(qorsMinEvery_8u, Min, Qor8u)
QOR_EVERY(qorsMinEvery_16u, Min, Qor16u)
QOR_EVERY(qorsMinEvery_32f, Min, Qor32f)
QOR_EVERY(qorsMinEvery_64f, Min, Qor64f)
QOR_EVERY(qorsMaxEvery_8u, Max, Qor8u)
QOR_EVERY(qorsMaxEvery_16u, Max, Qor16u)
QOR_EVERY(qorsMaxEvery_32f, Max, Qor32f)
QOR_EVERY(qorsMaxEvery_64f, Max, Qor64f)
QOR_EVERY_I(qorsMinEvery_8u_I, Min, Qor8u)
QOR_EVERY_I(qorsMinEvery_16u_I, Min, Qor16u)
QOR_EVERY_I(qorsMinEvery_32f_I, Min, Qor32f)
QOR_EVERY_I(qorsMinEvery_64f_I, Min, Qor64f)
QOR_EVERY_I(qorsMaxEvery_8u_I, Max, Qor8u)
QOR_EVERY_I(qorsMaxEvery_16u_I, Max, Qor16u)
QOR_EVERY_I(qorsMaxEvery_32f_I, Max, Qor32f)
QOR_EVERY_I(qorsMaxEvery_64f_I, Max, Qor64f)

}  // namespace qor
