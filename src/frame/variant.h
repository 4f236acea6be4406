// The one place that names the processor variant being built. Also read by the assembler.
#ifndef QORCV_FRAME_VARIANT_H
#define QORCV_FRAME_VARIANT_H

// QOR_LEVEL is the inline namespace of everything that is not exported: what one level instantiates never stands in for
// its namesake of the other.
#ifdef QOR_LEVEL_V3
  #define QOR_LEVEL v3
  #define QOR_VARIANT_CODE \
    { 'v', '3', 0, 0 }
  #define QOR_VARIANT_NAME "qorCV AVX2 (v3 threaded)"
  #define QOR_VARIANT_BODY(name) v3_##name
#else
  #define QOR_LEVEL t6
  #define QOR_VARIANT_CODE \
    { 't', '6', 0, 0 }
  #define QOR_VARIANT_NAME "qorCV SSE4.1/4.2 (t6 threaded)"
  #define QOR_VARIANT_BODY(name) t6_##name
#endif

#endif
