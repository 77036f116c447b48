#!/bin/sh
# Builds and checks the other targets of the library on this Linux x86-64 machine:
#   win32    32-bit Windows DLL (MinGW-w64): vornbase.dll, vornbase.lib, vornbase.def; export table checked; the
#            whole test suite run under 32-bit wine (wine32 from the i386 architecture: when it cannot be
#            installed, what failed is printed and the run of the suite is skipped, not failed)
#   win64    64-bit Windows DLL, export table checked, and the whole test suite run under wine64
#   linux32  the whole test suite built with -m32 (static) and run under qemu-i386
# Usage: scripts/test-platforms.sh [win32] [win64] [linux32]   (no argument: all three)
# Everything goes under build/platforms/; GoogleTest is built from Debian's source package once per target.
set -eu
cd "$(dirname "$0")/.."
src=$PWD
out=$src/build/platforms
jobs=${JOBS:-$(nproc 2>/dev/null || echo 2)}
targets=${*:-win32 win64 linux32}

scripts/deps.sh test platforms
mkdir -p "$out"

now() { date +%s; }
elapsed() { echo "$(( $(now) - $1 ))s"; }

# gtest_prefix NAME TOOLCHAIN: GoogleTest built for a target, installed under build/platforms/gtest-NAME (again
# whenever the toolchain file changes).
gtest_prefix() {
  prefix=$out/gtest-$1
  stamp=$(cksum < "$src/cmake/toolchains/$2.cmake")
  if [ "$(cat "$prefix/.built" 2>/dev/null)" != "$stamp" ]; then
    rm -rf "$prefix" "$out/gtest-$1-build"
    cmake -S /usr/src/googletest -B "$out/gtest-$1-build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_TOOLCHAIN_FILE="$src/cmake/toolchains/$2.cmake" -DCMAKE_INSTALL_PREFIX="$prefix" \
      -DBUILD_GMOCK=OFF -DINSTALL_GTEST=ON -Dgtest_disable_pthreads=ON > "$out/gtest-$1.log"
    cmake --build "$out/gtest-$1-build" -j "$jobs" >> "$out/gtest-$1.log"
    cmake --install "$out/gtest-$1-build" >> "$out/gtest-$1.log"
    echo "$stamp" > "$prefix/.built"
  fi
  echo "$prefix"
}

# configure DIR TOOLCHAIN OPTIONS...: a cross build of the library (and, with tests on, of its test suite).
configure() {
  dir=$1 toolchain=$2
  shift 2
  cmake --no-warn-unused-cli -S "$src" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVORN_BUILD_TOOLS=OFF \
    -DCMAKE_TOOLCHAIN_FILE="$src/cmake/toolchains/$toolchain.cmake" \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST "$@" > "$dir.configure.log" \
    || { cat "$dir.configure.log"; exit 1; }
}

# run_suite DIR RUNNER...: runs every test program of a build through RUNNER; prints one line per program.
run_suite() {
  dir=$1
  shift
  failed=0
  for prog in "$dir"/tests/*; do
    [ -f "$prog" ] && [ -x "$prog" ] || continue
    name=$(basename "$prog")
    # The soak run is no test program: `make soak` runs it for its 100 000 frames on purpose.
    case "$name" in soak|soak.exe) continue ;; esac
    log=$dir/$name.log
    if (cd "$dir/tests" && "$@" "$prog") > "$log" 2>&1; then
      echo "  $name: $(grep -E '^\[  PASSED  \]' "$log" | tail -n 1 || true)" | sed 's/: $/: passed/'
    else
      echo "  $name: FAILED"; tail -n 40 "$log"; failed=1
    fi
  done
  return $failed
}

status=0
for t in $targets; do
  start=$(now)
  case $t in
    win32)
      echo "== win32: vornbase.dll and the test suite for i686-w64-mingw32, run under 32-bit wine"
      gtest=$(gtest_prefix mingw32 mingw-i686)
      configure "$out/win32" mingw-i686 -DGTest_DIR="$gtest/lib/cmake/GTest"
      cmake --build "$out/win32" -j "$jobs"
      for f in vornbase.dll vornbase.lib vornbase.def; do
        [ -f "$out/win32/$f" ] || { echo "  missing $f"; status=1; }
      done
      scripts/check-dll-exports.sh i686-w64-mingw32-objdump "$out/win32/vornbase.dll" \
        "$out/win32/vornbase.exports" || status=1
      if scripts/deps.sh wine32; then
        # A 32-bit prefix of its own, set up in a subshell so that the win64 leg keeps its settings.
        (
          export WINEPREFIX="$out/wineprefix32" WINEARCH=win32 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
          export WINEPATH="Z:$(echo "$out/win32" | tr / '\\')"
          [ -d "$WINEPREFIX" ] || /usr/lib/wine/wine wineboot --init > /dev/null 2>&1 || true
          run_suite "$out/win32" /usr/lib/wine/wine
        ) || status=1
      else
        echo "  SKIPPED: the test suite under 32-bit wine (wine32 could not be installed, see above)"
      fi
      ;;
    win64)
      echo "== win64: vornbase.dll and the test suite for x86_64-w64-mingw32, run under wine64"
      gtest=$(gtest_prefix mingw64 mingw-x86_64)
      configure "$out/win64" mingw-x86_64 -DGTest_DIR="$gtest/lib/cmake/GTest"
      cmake --build "$out/win64" -j "$jobs"
      scripts/check-dll-exports.sh x86_64-w64-mingw32-objdump "$out/win64/vornbase.dll" \
        "$out/win64/vornbase.exports" || status=1
      wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
      # A private wine prefix, without the .NET and HTML components nobody here needs; the DLL's folder is on
      # the search path of the programs that load it.
      export WINEPREFIX="$out/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
      export WINEPATH="Z:$(echo "$out/win64" | tr / '\\')"
      [ -d "$WINEPREFIX" ] || "$wine" wineboot --init > /dev/null 2>&1 || true
      run_suite "$out/win64" "$wine" || status=1
      ;;
    linux32)
      echo "== linux32: the test suite built with -m32 (static), run under qemu-i386"
      gtest=$(gtest_prefix linux32 linux-i686)
      configure "$out/linux32" linux-i686 -DVORN_BUILD_SHARED=OFF -DGTest_DIR="$gtest/lib/cmake/GTest"
      cmake --build "$out/linux32" -j "$jobs"
      run_suite "$out/linux32" qemu-i386 || status=1
      ;;
    *) echo "test-platforms: unknown target '$t'" >&2; exit 2 ;;
  esac
  echo "== $t: $(elapsed "$start")"
done
[ $status -eq 0 ] && echo "test-platforms: all passed" || echo "test-platforms: FAILED"
exit $status
