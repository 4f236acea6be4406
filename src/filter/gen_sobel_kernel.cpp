// Taps of Sobel kernels of any length.
#include "frame/bodies.h"
#include "frame/checks.h"

namespace qor::inline QOR_LEVEL {
namespace {

template <class T>
QorStatus genSobelKernel(T* pDst, int kernelSize, int dx, int sign) {
  const bool sizesFit = kernelSize >= 1 && kernelSize % 2 == 1 && dx >= 0 && dx < kernelSize;
  const QorStatus status = firstFailure(nullCheck(pDst), sizesFit ? qorStsNoErr : qorStsSizeErr);
  if (status != qorStsNoErr) return status;
  // The kernel grows at the end of the array, from its last tap towards the first. 16s taps wrap: the conversion back
  // from 32 bits keeps the low 16.
  const int last = kernelSize - 1;
  for (int i = 0; i < last; ++i) pDst[i] = 0;
  pDst[last] = 1;
  int first = last;
  for (int j = 0; j < last - dx; ++j) {
    --first;
    for (int i = first; i < last; ++i) pDst[i] = static_cast<T>(pDst[i] + pDst[i + 1]);
  }
  for (int j = 0; j < dx; ++j) {
    --first;
    for (int i = first; i < last; ++i) pDst[i] = static_cast<T>(pDst[i] - pDst[i + 1]);
  }
  if (sign < 0) {
    for (int i = 0; i < kernelSize; ++i) pDst[i] = static_cast<T>(-pDst[i]);
  }
  return status;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriGenSobelKernel_16s)(Qor16s* pDst, int kernelSize, int dx, int sign) {
  return qor::genSobelKernel(pDst, kernelSize, dx, sign);
}
QOR_BODY(qoriGenSobelKernel_32f)(Qor32f* pDst, int kernelSize, int dx, int sign) {
  return qor::genSobelKernel(pDst, kernelSize, dx, sign);
}
