#!/bin/sh
# Installs the build into a scratch prefix and builds the consumer program against it twice, once through the
# CMake package and once through pkg-config, then runs both. On Linux the shared library must carry its SONAME.
# Usage: run.sh BUILD_DIR CONSUMER_SRC VERSION CMAKE GENERATOR CC SHARED(ON/OFF) "EXTRA_CFLAGS"
set -eu
build=$1 src=$2 version=$3 cmake=$4 generator=$5 cc=$6 shared=$7 flags=$8
work=$(mktemp -d "$build/consumer.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

"$cmake" --install "$build" --prefix "$prefix" > "$work/install.log" || { cat "$work/install.log"; exit 1; }

case "$shared" in
  ON|on|1|TRUE|true|YES|yes)
    shared=1
    lib=$(find "$prefix" -name 'libvornbase.so' | head -n 1)
    [ -n "$lib" ] || { echo "no libvornbase.so installed"; exit 1; }
    soname=$(objdump -p "$lib" | awk '$1 == "SONAME" {print $2}')
    [ "$soname" = "libvornbase.so.1" ] || { echo "SONAME is '$soname', want libvornbase.so.1"; exit 1; }
    [ -f "$(dirname "$lib")/libvornbase.so.$version" ] || { echo "libvornbase.so.$version not installed"; exit 1; }
    ;;
  *) shared=0 ;;
esac

echo "== through find_package(VornBase $version)"
"$cmake" -S "$src" -B "$work/cmake" -G "$generator" -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" \
  -DCMAKE_PREFIX_PATH="$prefix" -DVORN_EXPECTED_VERSION="$version" > "$work/configure.log" \
  || { cat "$work/configure.log"; exit 1; }
"$cmake" --build "$work/cmake"
"$work/cmake/vorn_consumer"

echo "== through pkg-config"
pcdir=$(dirname "$(find "$prefix" -name vornbase.pc | head -n 1)")
export PKG_CONFIG_PATH="$pcdir"
got=$(pkg-config --modversion vornbase)
[ "$got" = "$version" ] || { echo "pkg-config reports version '$got', want $version"; exit 1; }
if [ $shared -eq 1 ]; then
  pc_libs=$(pkg-config --libs vornbase)
else
  pc_libs=$(pkg-config --static --libs vornbase)
fi
# shellcheck disable=SC2046,SC2086
"$cc" -std=c99 -Wall -Wextra -Werror -pedantic $flags $(pkg-config --cflags vornbase) "$src/consumer.c" \
  -o "$work/pc_consumer" $pc_libs
LD_LIBRARY_PATH="$(pkg-config --variable=libdir vornbase)${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" "$work/pc_consumer"
