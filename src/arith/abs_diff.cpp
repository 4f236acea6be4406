#include "frame/base.h"
#include "frame/bodies.h"
namespace qor { namespace {
template <class T, class V> QorStatus run(const T* a, int as, const T* b, int bs, bool con, V value, T* d, int ds, QoriSize roi, int ch = 1) {
  if (!a || (!b && !con) || !d) return qorStsNullPtrErr;
  if (roi.width < 1 || roi.height < 1) return qorStsSizeErr;
  int64_t w = (int64_t)roi.width * ch, m = w * (int64_t)sizeof(T);
  if (as < m || (!con && bs < m) || ds < m) return qorStsStepErr;
  if ((as | (con ? 0 : bs) | ds) & (int)(sizeof(T) - 1)) return qorStsNotEvenStepErr;
  for (int y = 0; y < roi.height; ++y) for (int64_t x = 0; x < w; ++x) {
    T p = rowAt(a, as, y)[x], q = con ? (T)value : rowAt(b, bs, y)[x];
    if constexpr (sizeof(T) == 4) rowAt(d, ds, y)[x] = __builtin_fabsf(p - q); else rowAt(d, ds, y)[x] = (T)(p > q ? p - q : q - p);
  }
  return 0;
}
int cl(int v, int top) { return v < 0 ? 0 : v > top ? top : v; }
}}
using namespace qor;
QOR_BODY(qoriAbsDiff_8u_C1R)(const Qor8u* a, int as, const Qor8u* b, int bs, Qor8u* d, int ds, QoriSize r) { return run<Qor8u>(a, as, b, bs, false, 0, d, ds, r); }
QOR_BODY(qoriAbsDiff_8u_C3R)(const Qor8u* a, int as, const Qor8u* b, int bs, Qor8u* d, int ds, QoriSize r) { return run<Qor8u>(a, as, b, bs, false, 0, d, ds, r, 3); }
QOR_BODY(qoriAbsDiff_16u_C1R)(const Qor16u* a, int as, const Qor16u* b, int bs, Qor16u* d, int ds, QoriSize r) { return run<Qor16u>(a, as, b, bs, false, 0, d, ds, r); }
QOR_BODY(qoriAbsDiff_32f_C1R)(const Qor32f* a, int as, const Qor32f* b, int bs, Qor32f* d, int ds, QoriSize r) { return run<Qor32f>(a, as, b, bs, false, 0.f, d, ds, r); }
QOR_BODY(qoriAbsDiffC_8u_C1R)(const Qor8u* a, int as, Qor8u* d, int ds, QoriSize r, int v) { return run<Qor8u>(a, as, (const Qor8u*)nullptr, 0, true, cl(v, 255), d, ds, r); }
QOR_BODY(qoriAbsDiffC_16u_C1R)(const Qor16u* a, int as, Qor16u* d, int ds, QoriSize r, int v) { return run<Qor16u>(a, as, (const Qor16u*)nullptr, 0, true, cl(v, 65535), d, ds, r); }
QOR_BODY(qoriAbsDiffC_32f_C1R)(const Qor32f* a, int as, Qor32f* d, int ds, QoriSize r, Qor32f v) { return run<Qor32f>(a, as, (const Qor32f*)nullptr, 0, true, v, d, ds, r); }
