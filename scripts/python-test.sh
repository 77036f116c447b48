#!/bin/sh
# Builds the Python package against the library of a CMake build folder, installs it into a throw-away virtual
# environment (Debian's numpy, pytest and OpenCV through --system-site-packages, no network) and runs its tests.
# Usage: scripts/python-test.sh BUILD_DIR [pytest arguments...]
# With VORN_PY_ASAN=1 the tests run with the sanitizer runtime preloaded (BUILD_DIR should be the ASan build).
set -eu
build=$(cd "$1" && pwd)
shift
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh" python
python=${PYTHON:-/usr/bin/python3}
venv="$build/python-venv"
rm -rf "$venv"
"$python" -m venv --system-site-packages "$venv"
VORNBASE_DIR="$build" "$venv/bin/pip" install --quiet --no-index --no-build-isolation --no-deps "$root/python"
cd "$build"  # not the source folder: the installed package is the one under test
if [ "${VORN_PY_ASAN:-0}" = 1 ]; then
  # Lifetimes and bounds under the sanitizer; the comparisons with the program run in the release pass.
  # libstdc++ is preloaded too: the runtime must see it at start to follow C++ exceptions out of the module.
  LD_PRELOAD="$(gcc -print-file-name=libasan.so) $(g++ -print-file-name=libstdc++.so.6)" \
    ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$venv/bin/python" -m pytest -q -p no:cacheprovider "$root/python/tests" "$@"
  exit
fi
# The scene's frames as lossless pictures, written once per build of the program.
frames=${VORN_PY_SCENE_FRAMES:-300}
scene="$build/python-scene"
if [ ! -f "$scene/done" ] || [ "$build/tools/vorn" -nt "$scene/done" ]; then
  rm -rf "$scene" && mkdir -p "$scene"
  "$build/tools/vorn" scene "$scene/%04d.png" --frames "$frames" --quiet >/dev/null
  touch "$scene/done"
fi
VORN_TOOL="$build/tools/vorn" VORN_SCENE_DIR="$scene" VORN_SCENE_FRAMES="$frames" \
  "$venv/bin/python" -m pytest -q -p no:cacheprovider "$root/python/tests" "$@"
