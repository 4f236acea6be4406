// Exported stubs and their forwarding words. A stub touches no register and no argument: it jumps through its word,
// which the loader fills with the address of the body and which a dispatching library may retarget.
#include "frame/variant.h"

#define QOR_EXPORT(name)                  \
  .globl name;                            \
  .type name, @function;                  \
  .p2align 4;                             \
  name:                                   \
  .cfi_startproc;                         \
  jmp *name##_arraddr(%rip);              \
  .cfi_endproc;                           \
  .size name, .- name;

  .text
#include "frame/exports.def"
#undef QOR_EXPORT

#define QOR_EXPORT(name)                  \
  .globl name##_arraddr;                  \
  .hidden name##_arraddr;                 \
  .type name##_arraddr, @object;          \
  .size name##_arraddr, 8;                \
  name##_arraddr:                         \
  .hidden QOR_VARIANT_BODY(name);         \
  .quad QOR_VARIANT_BODY(name);

  .data
  .p2align 3
#include "frame/exports.def"

  .section .note.GNU-stack, "", @progbits
