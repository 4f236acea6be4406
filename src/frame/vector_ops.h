// Internal operations on vectors: fills, copies, element-wise minimum and maximum, roots, magnitudes, angles, sort.
// Each returns qorStsNullPtrErr for a null pointer, then qorStsSizeErr for an empty vector, unless it says otherwise.
// Destinations may be a source; partial overlap is undefined.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

QorStatus qorsSet_8u(Qor8u value, Qor8u* pDst, int len);
QorStatus qorsSet_16s(Qor16s value, Qor16s* pDst, int len);
QorStatus qorsSet_32s(Qor32s value, Qor32s* pDst, int len);
QorStatus qorsSet_32f(Qor32f value, Qor32f* pDst, int len);

QorStatus qorsZero_8u(Qor8u* pDst, int len);
QorStatus qorsZero_16s(Qor16s* pDst, int len);
QorStatus qorsZero_32s(Qor32s* pDst, int len);
QorStatus qorsZero_32f(Qor32f* pDst, int len);

QorStatus qorsCopy_8u(const Qor8u* pSrc, Qor8u* pDst, int len);
QorStatus qorsCopy_16s(const Qor16s* pSrc, Qor16s* pDst, int len);
QorStatus qorsCopy_32f(const Qor32f* pSrc, Qor32f* pDst, int len);

// dst[i] = src1[i] < src2[i] ? src1[i] : src2[i], and with > for the maximum: unordered floats give src2. The length is
// unsigned. In place srcDst stands for src2, so it is kept when unordered.
QorStatus qorsMinEvery_8u(const Qor8u* pSrc1, const Qor8u* pSrc2, Qor8u* pDst, Qor32u len);
QorStatus qorsMinEvery_16u(const Qor16u* pSrc1, const Qor16u* pSrc2, Qor16u* pDst, Qor32u len);
QorStatus qorsMinEvery_32f(const Qor32f* pSrc1, const Qor32f* pSrc2, Qor32f* pDst, Qor32u len);
QorStatus qorsMinEvery_64f(const Qor64f* pSrc1, const Qor64f* pSrc2, Qor64f* pDst, Qor32u len);
QorStatus qorsMaxEvery_8u(const Qor8u* pSrc1, const Qor8u* pSrc2, Qor8u* pDst, Qor32u len);
QorStatus qorsMaxEvery_16u(const Qor16u* pSrc1, const Qor16u* pSrc2, Qor16u* pDst, Qor32u len);
QorStatus qorsMaxEvery_32f(const Qor32f* pSrc1, const Qor32f* pSrc2, Qor32f* pDst, Qor32u len);
QorStatus qorsMaxEvery_64f(const Qor64f* pSrc1, const Qor64f* pSrc2, Qor64f* pDst, Qor32u len);
QorStatus qorsMinEvery_8u_I(const Qor8u* pSrc, Qor8u* pSrcDst, Qor32u len);
QorStatus qorsMinEvery_16u_I(const Qor16u* pSrc, Qor16u* pSrcDst, Qor32u len);
QorStatus qorsMinEvery_32f_I(const Qor32f* pSrc, Qor32f* pSrcDst, Qor32u len);
QorStatus qorsMinEvery_64f_I(const Qor64f* pSrc, Qor64f* pSrcDst, Qor32u len);
QorStatus qorsMaxEvery_8u_I(const Qor8u* pSrc, Qor8u* pSrcDst, Qor32u len);
QorStatus qorsMaxEvery_16u_I(const Qor16u* pSrc, Qor16u* pSrcDst, Qor32u len);
QorStatus qorsMaxEvery_32f_I(const Qor32f* pSrc, Qor32f* pSrcDst, Qor32u len);
QorStatus qorsMaxEvery_64f_I(const Qor64f* pSrc, Qor64f* pSrcDst, Qor32u len);

// Element-wise root, and sqrt(x * x + y * y), in 32-bit float. Parallel from 4096 elements with two threads or more.
QorStatus qorsSqrt_32f(const Qor32f* pSrc, Qor32f* pDst, int len);
QorStatus qorsMagnitude_32f(const Qor32f* pX, const Qor32f* pY, Qor32f* pDst, int len);

// sqrt(x * x + y * y) * 2^-scaleFactor: exact squares, root in 64-bit float, one rounding to nearest (ties to even),
// saturated. Parallel as above.
QorStatus qorsMagnitude_16s_Sfs(const Qor16s* pX, const Qor16s* pY, Qor16s* pDst, int len, int scaleFactor);

// Four-quadrant arctangent of y over x in radians, -pi to pi, with 21 correct mantissa bits; zeros, infinities and NaN
// as in the C library's atan2f. No checks but the length: below 1 does nothing.
QorStatus qorsAtan2_32f_A21(const Qor32f* pY, const Qor32f* pX, Qor32f* pDst, int len);

// In-place ascending sort; the order of NaN is undefined, but no byte outside is touched.
QorStatus qorsSortAscend_64f_I(Qor64f* pSrcDst, int len);

}  // namespace qor
