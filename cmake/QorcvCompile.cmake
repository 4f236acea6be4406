# Compile and link options. qorcv_warnings: everything of the project. qorcv_library_options: the two libraries.

add_library(qorcv_warnings INTERFACE)
target_compile_options(qorcv_warnings INTERFACE
  $<$<COMPILE_LANGUAGE:CXX,C>:-Wall -Wextra>
  $<$<AND:$<COMPILE_LANGUAGE:CXX,C>,$<BOOL:${QORCV_WERROR}>>:-Werror>)

add_library(qorcv_sanitizers INTERFACE)
if(QORCV_SANITIZE)
  # A sanitizer finding ends the run: one that only prints would pass unnoticed.
  set(flags -fsanitize=${QORCV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(qorcv_sanitizers INTERFACE $<$<COMPILE_LANGUAGE:CXX,C>:${flags}>)
  target_link_options(qorcv_sanitizers INTERFACE ${flags})
endif()

# Values are part of the contract: no contraction, no reassociation. The two float options that remain only drop errno
# and traps. The C++ runtime is not linked, so nothing may need it.
add_library(qorcv_library_options INTERFACE)
target_compile_options(qorcv_library_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:
    -mtune=generic -ffp-contract=off -fno-math-errno -fno-trapping-math
    -fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-asynchronous-unwind-tables
    -Wconversion -Wmissing-declarations -Wshadow -Wcast-align -Wundef>)
target_link_options(qorcv_library_options INTERFACE -Wl,--as-needed -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
if(NOT QORCV_SANITIZE)
  target_link_options(qorcv_library_options INTERFACE -Wl,-z,defs)
endif()
target_link_libraries(qorcv_library_options INTERFACE qorcv_warnings qorcv_sanitizers)

# Tests watch the library: their own code goes without the undefined-behaviour checks, which double its compile time, and
# without a warning that sees in instrumented code what is not there.
add_library(qorcv_test_sanitizers INTERFACE)
if(QORCV_SANITIZE)
  string(REPLACE "," ";" kinds "${QORCV_SANITIZE}")
  list(REMOVE_ITEM kinds undefined)
  list(JOIN kinds "," kinds)
  target_compile_options(qorcv_test_sanitizers INTERFACE
    -fsanitize=${kinds} -fno-omit-frame-pointer -Wno-maybe-uninitialized)
  target_link_options(qorcv_test_sanitizers INTERFACE -fsanitize=${QORCV_SANITIZE})
endif()
