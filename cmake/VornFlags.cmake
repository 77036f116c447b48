# Compiler flags shared by the library, the tests and the tools.
#
# Floating-point results must not depend on the platform: no contraction into FMA, no fast-math, and SSE
# arithmetic (not x87) on 32-bit x86.
add_library(vorn_flags INTERFACE)
target_compile_options(vorn_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX,C>:-Wall -Wextra -ffp-contract=off>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86")
  target_compile_options(vorn_flags INTERFACE -msse2 -mfpmath=sse)
endif()

if(VORN_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

if(VORN_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

if(VORN_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# Per-file instruction-set flags: a kernel file named *_sse41.cpp, *_avx2.cpp or *_avx512.cpp is compiled for that ISA only;
# everything else stays at the x86-64 baseline and the run-time dispatcher picks the kernel.
function(vorn_set_isa_flags)
  foreach(src IN LISTS ARGN)
    if(src MATCHES "_avx512\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512dq;-mavx512vl")
    elseif(src MATCHES "_avx2\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx2")
    elseif(src MATCHES "_sse41\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-msse4.1")
    elseif(src MATCHES "_ssse3\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mssse3")
    endif()
  endforeach()
endfunction()
