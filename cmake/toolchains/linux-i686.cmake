# 32-bit x86 Linux with the host compiler in -m32 mode (gcc-multilib, g++-multilib). Programs are linked
# statically so they run under qemu-i386 (qemu-user) without a 32-bit runtime on the machine. All code, tests
# included, does its floating point in SSE registers: x87 extended precision would make the tests' reference
# evaluations differ from the library in the last bits.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32 -static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

find_program(VORN_QEMU_I386 NAMES qemu-i386 qemu-i386-static)
if(VORN_QEMU_I386)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VORN_QEMU_I386})
endif()
