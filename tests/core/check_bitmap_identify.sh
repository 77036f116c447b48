#!/bin/sh
# Writes a bitmap with the library and asks a standard image tool what it sees: its size, and the colours of the
# top-right pixel (red 255, green 0) and the bottom-left one (red 0, green 255), which a flipped or BGR-swapped
# file would get wrong.
set -eu
writer=$1
identify=$2
out=$3
"$writer" "$out" > /dev/null
desc=$("$identify" -format '%w %h %[pixel:p{32,0}] %[pixel:p{0,16}]' "$out")
kind=$("$identify" -format '%m' "$out")
echo "identify: $kind $desc"
case "$kind" in BMP|BMP3) ;; *) echo "not read as a bitmap"; exit 1 ;; esac
[ "$desc" = "33 17 srgb(255,0,40) srgb(0,255,40)" ] || { echo "unexpected size or pixels"; exit 1; }
