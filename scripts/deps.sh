#!/bin/sh
# Installs the Debian packages the build needs, only those missing.
# Usage: scripts/deps.sh [test|bench|tools|python|gst|platforms|fuzz|wine32]...
#
# Package lists are refreshed for the native architecture only, so a foreign architecture (i386, added by the
# wine32 set alone) whose indexes the mirror fails to serve never stops the other sets; a failed refresh is
# reported and the install goes on from the lists at hand. apt waits for other users of its lock.
set -eu
pkgs="cmake g++ ninja-build pkg-config libgtest-dev imagemagick"
wine32=""
for what in "$@"; do
  case "$what" in
    # The street clip the program's accuracy is measured on (tests/data/vtest_truth.json labels it).
    test) pkgs="$pkgs opencv-doc" ;;
    # OpenCV is the measuring stick; opencv-doc holds the street clip (examples/data/vtest.avi); matplotlib
    # draws the report's chart.
    bench) pkgs="$pkgs libbenchmark-dev libopencv-dev opencv-doc python3-matplotlib" ;;
    # The program: FFmpeg (with its capture devices), JSON, MQTT; the broker, its clients and a JSON Schema
    # validator for the program's tests.
    tools) pkgs="$pkgs libavformat-dev libavcodec-dev libswscale-dev libavutil-dev libavdevice-dev nlohmann-json3-dev \
           libmosquitto-dev mosquitto mosquitto-clients python3-jsonschema" ;;
    # The Python package: pybind11, the interpreter's headers, venv and pip, and what its tests and example use
    # (numpy, pytest, OpenCV's Python module, the sample clip of opencv-doc).
    python) pkgs="$pkgs python3-dev python3-venv python3-pip python3-setuptools python3-wheel pybind11-dev"
            pkgs="$pkgs python3-pybind11 python3-numpy python3-pytest python3-opencv opencv-doc" ;;
    # The GStreamer plugin: headers and gstcheck, the RTSP server library of its tests, gst-launch-1.0 and
    # gst-inspect-1.0, and the elements its tests and examples run (JPEG over RTP, decoders for the street clip).
    gst) pkgs="$pkgs libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev libgstrtspserver-1.0-dev gstreamer1.0-tools
               gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav opencv-doc" ;;
    # Windows DLLs (32- and 64-bit MinGW-w64, tests under wine64) and 32-bit Linux (-m32, tests under
    # qemu-i386); GoogleTest is rebuilt for each from Debian's source package.
    platforms) pkgs="$pkgs g++-mingw-w64-i686 g++-mingw-w64-x86-64 wine64 gcc-multilib g++-multilib qemu-user googletest" ;;
    # clang with libFuzzer and the sanitizer runtimes.
    fuzz) pkgs="$pkgs clang libclang-rt-14-dev" ;;
    # 32-bit wine for the 32-bit Windows DLL's tests: see install_wine32.
    wine32) wine32=1 ;;
    *) echo "deps.sh: unknown set '$what'" >&2; exit 2 ;;
  esac
done
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
APT="$SUDO apt-get -o DPkg::Lock::Timeout=600"

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

# wine32 lives in the i386 architecture, which only this function adds. When wine32 cannot be installed (typically
# an i386 index that failed to download, which leaves the i386 libraries behind their native security updates),
# it prints what failed, removes the architecture again if nothing of it got installed, and returns 3 so that
# the caller can skip the leg that needs it.
install_wine32() {
  installed wine32:i386 && return 0
  log=$(mktemp)
  added=""
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $SUDO dpkg --add-architecture i386
    added=1
  fi
  echo "deps.sh: installing wine32:i386"
  $APT update > "$log" 2>&1 || true
  if $APT install -y -qq --no-install-recommends wine32:i386 >> "$log" 2>&1; then
    rm -f "$log"
    return 0
  fi
  echo "deps.sh: wine32:i386 cannot be installed; apt said:" >&2
  grep -E "^(E|Err):|Depends:|Hashes|Filesize|unexpected size" "$log" | head -n 24 | sed 's/^/  /' >&2
  if [ -n "$added" ] && ! dpkg-query -W -f='${binary:Package}\n' 2>/dev/null | grep -q ':i386$'; then
    $SUDO dpkg --remove-architecture i386
    echo "deps.sh: the i386 architecture was removed again (nothing of it is installed)" >&2
  fi
  rm -f "$log"
  return 3
}

missing=""
for p in $pkgs; do
  installed "$p" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "deps.sh: installing$missing"
  $APT -o APT::Architectures="$(dpkg --print-architecture)" update -qq ||
    echo "deps.sh: the package lists could not all be refreshed; installing from the lists at hand" >&2
  $APT install -y -qq --no-install-recommends $missing
fi
[ -z "$wine32" ] || install_wine32
