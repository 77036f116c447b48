#!/usr/bin/env python3
"""A guard line on a camera or a clip: OpenCV reads the frames, vorn.Guard watches the line.

Prints one JSON line per crossing, the same lines as `vorn guard` prints, and draws the band, the lines, the
foreground and the feature traces (shown in a window with --show, written to a video with --annotate).

    python3 examples/python/guard_camera.py /usr/share/doc/opencv-doc/examples/data/vtest.avi \
        --line 80,330,700,330 --direction 390,290,390,370 --show
"""
import argparse
import json
import math
import sys

import cv2
import numpy as np

import vorn

VTEST = "/usr/share/doc/opencv-doc/examples/data/vtest.avi"


def numbers(text, count):
    values = [int(v) for v in text.split(",")]
    if len(values) != count:
        raise argparse.ArgumentTypeError(f"expected {count} comma-separated integers, got '{text}'")
    return tuple(values)


def event_line(stream_name, frame, time, kind, traces, counts):
    """One event as `vorn guard` writes it: the crossing features' indices and the boxes around their traces."""
    ids, boxes = [], []
    for i, t in enumerate(traces):
        if t.crossed:
            ids.append(i)
            boxes.append([min(t.start.x, t.end.x), min(t.start.y, t.end.y),
                          max(t.start.x, t.end.x) + 1, max(t.start.y, t.end.y) + 1])
    # times are rounded to milliseconds, halves away from zero, and written as the shortest decimal
    event = {"stream": 0, "stream_name": stream_name, "frame": frame, "time": math.floor(time * 1000 + 0.5) / 1000,
             "analytic": "guard", "kind": kind, "ids": ids, "boxes": boxes, "counts": counts}
    return json.dumps(event, separators=(",", ":"))


class GuardEvents:
    """Turns the guard's event word into crossings: one episode of followed features is one crossing; when its
    verdict changes within the episode, the crossing is counted again under its new kind and taken off the old."""

    def __init__(self):
        self.shown = vorn.GuardEvent.NONE
        self.triggers = self.crosses = 0

    def update(self, event):
        changed = event != self.shown and event != vorn.GuardEvent.NONE
        kind = None
        if changed:
            if self.shown == vorn.GuardEvent.TRIGGER:
                self.triggers -= 1
            elif self.shown == vorn.GuardEvent.CROSS:
                self.crosses -= 1
            if event == vorn.GuardEvent.TRIGGER:
                self.triggers += 1
                kind = "trigger"
            else:
                self.crosses += 1
                kind = "cross"
            if self.shown != vorn.GuardEvent.NONE:
                kind += "_revised"
        self.shown = event
        return kind


def draw(img, guard, band, traces, label):
    fg = guard.foreground()
    if fg is not None:
        red = img.copy()
        red[fg != 0] = (0, 0, 255)
        cv2.addWeighted(red, 0.4, img, 0.6, 0, dst=img)
    cv2.polylines(img, [np.array([tuple(p) for p in band], np.int32)], True, (255, 160, 0), 1)
    g, d = guard.guard_line, guard.direction_line
    cv2.line(img, (g.x0, g.y0), (g.x1, g.y1), (0, 255, 255), 2)
    cv2.arrowedLine(img, (d.x0, d.y0), (d.x1, d.y1), (255, 0, 255), 2, tipLength=0.25)
    for t in traces:
        colour = (0, 255, 0) if t.triggered else (0, 255, 255) if t.crossed else (255, 255, 255)
        cv2.line(img, tuple(t.start), tuple(t.end), colour, 1)
        cv2.circle(img, tuple(t.end), 2, colour, -1)
    cv2.putText(img, label, (10, 24), cv2.FONT_HERSHEY_SIMPLEX, 0.7, (0, 255, 0), 2)


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("input", nargs="?", default=VTEST, help="a video file, a camera number, or dir/%%04d.png")
    ap.add_argument("--line", type=lambda s: numbers(s, 4), default=(60, 300, 360, 300), help="x0,y0,x1,y1")
    ap.add_argument("--direction", type=lambda s: numbers(s, 4), default=(210, 260, 210, 340),
                    help="x0,y0,x1,y1: crossings this way are triggers")
    ap.add_argument("--half-width", type=int, default=40, help="half width of the watched band")
    ap.add_argument("--model", type=int, default=2, help="background-model type (2: mixture of Gaussians)")
    ap.add_argument("--fps", type=float, default=0, help="frame rate for event times (default: the input's, else 25)")
    ap.add_argument("--frames", type=int, default=0, help="stop after N frames")
    ap.add_argument("--stream-name", help="the events' stream_name (default: the input as given)")
    ap.add_argument("--show", action="store_true", help="show the annotated frames in a window")
    ap.add_argument("--annotate", metavar="OUT", help="write the annotated frames to a video file")
    args = ap.parse_args(argv)

    cap = cv2.VideoCapture(int(args.input) if args.input.isdigit() else args.input)
    if not cap.isOpened():
        print(f"guard_camera: cannot open '{args.input}'", file=sys.stderr)
        return 1
    fps = args.fps or cap.get(cv2.CAP_PROP_FPS) or 25.0
    ok, frame = cap.read()
    if not ok:
        print(f"guard_camera: '{args.input}' has no frames", file=sys.stderr)
        return 1
    height, width = frame.shape[:2]
    writer = None
    if args.annotate:
        writer = cv2.VideoWriter(args.annotate, cv2.VideoWriter_fourcc(*"mp4v"), fps, (width, height))

    events = GuardEvents()
    name = args.stream_name or args.input
    with vorn.Guard(width, height, bk_type=args.model) as guard:
        guard.set_lines(args.line, args.direction, args.half_width)
        band = vorn.line_region(args.line, args.half_width, (width, height))
        index = 0
        while ok and (not args.frames or index < args.frames):
            status = guard.process(frame, bgr=True)
            traces = guard.traces()
            time = index / fps
            if status == vorn.Status.SCENE_CHANGE:
                print(event_line(name, index, time, "scene_change", [], {}), flush=True)
            kind = events.update(guard.event)
            if kind:
                print(event_line(name, index, time, kind, traces,
                                 {"triggers": events.triggers, "crosses": events.crosses}), flush=True)
            if writer or args.show:
                draw(frame, guard, band, traces, f"guard TRIGGER {events.triggers}  CROSS {events.crosses}")
                if writer:
                    writer.write(frame)
                if args.show:
                    cv2.imshow("guard", frame)
                    if cv2.waitKey(1) & 0xFF in (27, ord("q")):
                        break
            index += 1
            ok, frame = cap.read()
    if writer:
        writer.release()
    print(f"guard_camera: {index} frames, {events.triggers} triggers, {events.crosses} crosses", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
