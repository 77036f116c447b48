#!/bin/sh
# Installs the Debian packages the build needs, only those missing.
# Usage: scripts/deps.sh [test|bench|tools|viewer|platforms|fuzz]...
set -eu
npm_dirs=""
pkgs="cmake g++ ninja-build pkg-config libgtest-dev imagemagick"
for what in "$@"; do
  case "$what" in
    test) ;;
    bench) pkgs="$pkgs libbenchmark-dev libopencv-dev" ;;
    tools) pkgs="$pkgs libavformat-dev libavcodec-dev libswscale-dev libavutil-dev nlohmann-json3-dev libcpp-httplib-dev" ;;
    # The viewer's browser test: chromium driven by playwright-core (installed from npm into tests/viewer). Node
    # from another source than Debian, with its own npm, is kept.
    viewer)
      pkgs="$pkgs chromium"
      command -v node >/dev/null 2>&1 || pkgs="$pkgs nodejs"
      command -v npm >/dev/null 2>&1 || pkgs="$pkgs npm"
      npm_dirs="tests/viewer" ;;
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
if [ -n "$missing" ]; then
  echo "deps.sh: installing$missing"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends $missing
fi
# npm packages, exactly as their package-lock.json says, when missing or older than the lock file.
root="$(cd "$(dirname "$0")/.." && pwd)"
for d in $npm_dirs; do
  lock="$root/$d/package-lock.json"
  stamp="$root/$d/node_modules/.package-lock.json"
  if [ ! -f "$stamp" ] || [ "$lock" -nt "$stamp" ]; then
    echo "deps.sh: npm ci in $d"
    (cd "$root/$d" && npm ci --no-audit --no-fund --loglevel=error)
  fi
done
