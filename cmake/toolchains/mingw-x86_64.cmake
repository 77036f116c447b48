# 64-bit Windows with Debian's MinGW-w64 cross compiler (g++-mingw-w64-x86-64); programs run under wine64.
# The posix-threads variant of the compiler has std::mutex, which GoogleTest needs; its thread library is linked
# in statically.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian installs the 64-bit loader outside PATH.
find_program(VORN_WINE64 NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(VORN_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VORN_WINE64})
endif()
