#!/bin/sh
# Measures what one camera costs with the plugin's elements in a real pipeline: the street clip decoded, scaled to
# a size, fed to one element, and the CPU time (user + system) of the whole process compared with the same
# pipeline without the element. Prints, per element and size, milliseconds of CPU per frame for the element and
# for the whole stream (decoding included) and how many 25 fps streams one core carries.
#   scripts/gst-streams-per-core.sh PLUGIN_DIR [FRAMES]
# Timings on a shared machine vary with the other load; CPU time varies less than wall time, and each figure is
# the lower of two runs.
set -eu
plugin_dir=$1
frames=${2:-400}
clip=/usr/share/doc/opencv-doc/examples/data/vtest.avi
export GST_PLUGIN_PATH="$plugin_dir" GST_REGISTRY="${TMPDIR:-/tmp}/vorn-streams-registry.bin"

cpu() {  # CPU seconds of one gst-launch-1.0 run, the lower of two
  best=""
  for i in 1 2; do
    t=$( { /usr/bin/time -f "%U %S" gst-launch-1.0 -q filesrc location="$clip" ! decodebin ! videoconvert ! \
           videoscale ! "video/x-raw,format=I420,width=$1,height=$2" ! identity eos-after="$frames" ! $3 ! \
           fakesink sync=false >/dev/null; } 2>&1 | tail -n 1 | awk '{print $1 + $2}')
    best=$(awk -v t="$t" -v b="$best" 'BEGIN { print (b == "" || t < b) ? t : b }')
  done
  echo "$best"
}

printf "%-10s %-9s %12s %12s %14s\n" size element "element ms" "stream ms" "streams/core"
for size in "768 576" "1920 1080"; do
  set -- $size
  w=$1 h=$2
  # The clip's street geometry, scaled to the frame size.
  sx() { awk -v v="$1" -v s="$w" 'BEGIN { printf "%d", v * s / 768 }'; }
  sy() { awk -v v="$1" -v s="$h" 'BEGIN { printf "%d", v * s / 576 }'; }
  line="$(sx 60),$(sy 300),$(sx 360),$(sy 300)"
  direction="$(sx 210),$(sy 260),$(sx 210),$(sy 340)"
  area0="$(sx 100),$(sy 200),$(sx 300),$(sy 200),$(sx 300),$(sy 300),$(sx 100),$(sy 300)"
  area1="$(sx 100),$(sy 350),$(sx 300),$(sy 350),$(sx 300),$(sy 450),$(sx 100),$(sy 450)"
  region="$(sx 400),$(sy 300),$(sx 700),$(sy 300),$(sx 700),$(sy 550),$(sx 400),$(sy 550)"
  base=$(cpu "$w" "$h" identity)
  for element in "vornbgsub" "vornguard line=$line direction=$direction" "vorncount area0=$area0 area1=$area1" \
                 "vorntrack" "vornleft region=$region" "vornplate"; do
    t=$(cpu "$w" "$h" "$element")
    echo "$w $h ${element%% *} $t $base $frames" |
      awk '{e = ($4 - $5) * 1000 / $6; s = $4 * 1000 / $6; printf "%-10s %-9s %12.2f %12.2f %14.1f\n", $1 "x" $2, $3, e, s, 1000 / (s * 25)}'
  done
done
