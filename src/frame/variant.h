// The one place that names the processor variant being built. Also read by the assembler.
#ifndef QORCV_FRAME_VARIANT_H
#define QORCV_FRAME_VARIANT_H

#define QOR_VARIANT_CODE \
  { 't', '6', 0, 0 }
#define QOR_VARIANT_NAME "qorCV SSE4.1/4.2 (t6 threaded)"
#define QOR_VARIANT_BODY(name) t6_##name

#endif
