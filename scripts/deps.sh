#!/bin/sh
# Installs the Debian packages the build needs, only those missing.
# Usage: scripts/deps.sh [test|bench|tools|platforms|fuzz]...
set -eu
pkgs="cmake g++ ninja-build pkg-config libgtest-dev imagemagick"
for what in "$@"; do
  case "$what" in
    # The street clip the program's accuracy is measured on (tests/data/vtest_truth.json labels it).
    test) pkgs="$pkgs opencv-doc" ;;
    bench) pkgs="$pkgs libbenchmark-dev libopencv-dev" ;;
    tools) pkgs="$pkgs libavformat-dev libavcodec-dev libswscale-dev libavutil-dev nlohmann-json3-dev" ;;
    # Windows DLLs (32- and 64-bit MinGW-w64, tests under wine64) and 32-bit Linux (-m32, tests under
    # qemu-i386); GoogleTest is rebuilt for each from Debian's source package.
    platforms) pkgs="$pkgs g++-mingw-w64-i686 g++-mingw-w64-x86-64 wine64 gcc-multilib g++-multilib qemu-user googletest" ;;
    # clang with libFuzzer and the sanitizer runtimes.
    fuzz) pkgs="$pkgs clang libclang-rt-14-dev" ;;
    *) echo "deps.sh: unknown set '$what'" >&2; exit 2 ;;
  esac
done
missing=""
for p in $pkgs; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
echo "deps.sh: installing$missing"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends $missing
