# The levels at which the library is built. qorcv_level_<level>: everything that compiles its sources or includes its
# internal headers.
add_library(qorcv_level_t6 INTERFACE)
target_compile_options(qorcv_level_t6 INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-msse4.2>)
add_library(qorcv_level_v3 INTERFACE)
# GCC leaves the upper halves of registers in use behind a function with a wide vector among its arguments, which slows
# the caller's own vectors down: it must not make such arguments of what is passed by reference.
target_compile_options(qorcv_level_v3 INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-march=x86-64-v3 $<$<CXX_COMPILER_ID:GNU>:-fno-ipa-sra>>)
target_compile_definitions(qorcv_level_v3 INTERFACE QOR_LEVEL_V3=1)

# QORCV_LEVEL: that of the target qorcv. QORCV_WIDE: whether qorcv_v3 stands beside it, in the folder where the loader
# looks first on a processor with AVX2.
set(QORCV_LEVEL t6)
set(QORCV_WIDE_SUBDIR glibc-hwcaps/x86-64-v3)
if(NOT QORCV_PLAIN)
  # The wide level alone, to be run here: the tests under a sanitizer, once.
  file(STRINGS /proc/cpuinfo avx2 REGEX "^flags.* avx2( |$)" LIMIT_COUNT 1)
  if(avx2)
    set(QORCV_LEVEL v3)
  else()
    message(WARNING "no AVX2: the plain level is built instead of the wide one")
  endif()
  set(QORCV_WIDE OFF)
endif()
