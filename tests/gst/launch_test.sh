#!/bin/sh
# The plugin as users run it, through gst-launch-1.0: what gst-inspect-1.0 lists, four cameras in one pipeline,
# bad settings refused with a message, the real street clip, and a camera served over RTSP on 127.0.0.1.
#   launch_test.sh PLUGIN_DIR RTSP_SERVE CLIP
set -u
plugin_dir=$1 rtsp_serve=$2 clip=$3
work=$(mktemp -d /tmp/vorn_gst_launch_XXXXXX)
server=""
cleanup() {
  [ -n "$server" ] && kill "$server" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
export GST_PLUGIN_PATH="$plugin_dir" GST_REGISTRY="$work/registry.bin"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# Lines of the messages of one kind from one stream in gst-launch-1.0 -m output.
events() { grep "vorn-event, stream=(int)$2," "$1" | grep -c "kind=(string)$3,"; }

# 1. Six elements, each with its settings documented under the program's option names.
gst-inspect-1.0 vorn >"$work/inspect" 2>&1 || fail "gst-inspect-1.0 vorn"
for e in vornguard vorncount vorntrack vornleft vornbgsub vornplate; do
  grep -q "$e:" "$work/inspect" || fail "$e not listed"
done
for row in "vornguard line direction half-width bk-type param draw events-location" \
            "vorncount area0 area1 sensitivity max-frame logic" \
            "vornleft region sensitivity frame-threshold bk-interval learn-frames scenecut" \
            "vornbgsub model param" "vornplate weights stable-frames min-char-height max-char-height"; do
  set -- $row
  element=$1
  shift
  gst-inspect-1.0 "$element" >"$work/$element" 2>&1
  for p in "$@"; do grep -q "^  $p  *: [^ ]" "$work/$element" || fail "$element: property $p undocumented"; done
done

# 2. Four cameras in one pipeline, each on its own source thread with its own element.
pipeline=""
for k in 0 1 2 3; do
  pipeline="$pipeline videotestsrc num-buffers=90 pattern=ball motion=$((k % 3)) background-color=$((0xff000000 + k * 0x202020)) ! video/x-raw,width=192,height=144,format=I420,framerate=25/1 ! vornbgsub stream=$k ! fakesink sync=false"
done
timeout 120 gst-launch-1.0 -m $pipeline >"$work/four" 2>&1 || fail "four cameras: pipeline failed"
for k in 0 1 2 3; do
  [ "$(events "$work/four" $k learned)" = 1 ] || fail "camera $k: no learned event"
  [ "$(events "$work/four" $k motion_start)" -ge 1 ] || fail "camera $k: no motion"
done

# 3. A bad value: a warning names it, the element refuses to start without its guard line, no crash.
timeout 60 gst-launch-1.0 videotestsrc num-buffers=5 ! vornguard line=1,2 ! fakesink >"$work/bad" 2>&1
status=$?
# gst-launch-1.0 ends with status 1 or 255 (-1) on errors; a signal would give 128 + its number.
[ $status = 1 ] || [ $status = 255 ] || fail "bad line: exit status $status"
grep -q "line: a line is four numbers" "$work/bad" && grep -q "guard line is missing (set the property line" "$work/bad" ||
  fail "bad line: no message: $(cat "$work/bad")"
timeout 60 gst-launch-1.0 videotestsrc num-buffers=5 ! vornguard line=1,2,3,4 direction=5,5,5,9 half-width=0 ! \
  fakesink >"$work/range" 2>&1
grep -q "half-width" "$work/range" || fail "half-width=0: no message"

# 4. The real street clip (the README's pipeline): the background is learned, motion and crossings reported, the
#    overlay drawn.
if [ -r "$clip" ]; then
  timeout 300 gst-launch-1.0 -m filesrc location="$clip" ! decodebin ! videoconvert ! identity eos-after=300 ! \
    vornbgsub ! vornguard line=60,300,360,300 direction=210,260,210,340 draw=true ! fakesink >"$work/clip" 2>&1 ||
    fail "street clip: pipeline failed"
  [ "$(events "$work/clip" 0 learned)" = 1 ] || fail "street clip: no learned event"
  [ "$(grep -c 'analytic=(string)guard' "$work/clip")" -ge 1 ] || fail "street clip: no crossing"
else
  echo "skipped: the street clip $clip is not installed"
fi

# 5. A camera over RTSP, served on a free port of 127.0.0.1 for at most a minute.
"$rtsp_serve" 60 "videotestsrc pattern=ball is-live=true ! video/x-raw,format=I420,width=320,height=240,framerate=25/1 ! jpegenc ! rtpjpegpay name=pay0 pt=96" \
  >"$work/url" 2>"$work/server.log" &
server=$!
url=""
for i in 1 2 3 4 5 6 7 8 9 10; do
  url=$(head -n 1 "$work/url")
  [ -n "$url" ] && break
  sleep 0.5
done
case "$url" in rtsp://127.0.0.1:*) ;; *) fail "RTSP server did not start: $(cat "$work/server.log")" ;; esac
timeout 60 gst-launch-1.0 -m rtspsrc location="$url" protocols=tcp ! rtpjpegdepay ! jpegdec ! identity eos-after=90 ! \
  vornbgsub ! vorntrack ! fakesink >"$work/rtsp" 2>&1 || fail "RTSP pipeline failed: $(grep ERROR "$work/rtsp")"
[ "$(events "$work/rtsp" 0 learned)" = 1 ] || fail "RTSP: no learned event"
[ "$(events "$work/rtsp" 0 track_start)" -ge 1 ] || fail "RTSP: no track"

[ $failures = 0 ] && echo "all gst-launch-1.0 checks passed"
[ $failures = 0 ]
