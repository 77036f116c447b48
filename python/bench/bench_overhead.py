#!/usr/bin/env python3
"""Per-frame cost of the Python calls against the C calls, and two guards on two threads against one.

The C side is called through ctypes on the same libvornbase.so (about a microsecond of ctypes per call, which
counts against the C side, so the overhead shown is if anything too small by that much); the two sides get the
same frames, one call each in turn, timed in the thread's CPU time, so a busy machine slows both alike. Frames are the built-in scene's when
VORN_SCENE_DIR holds its pictures (see scripts/python-test.sh), else moving boxes on noise.

    python3 python/bench/bench_overhead.py [--frames N] [--repeat R]
"""
import argparse
import ctypes
import os
import statistics
import sys
import threading
import time
from pathlib import Path

import numpy as np

import vorn

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests"))
from conftest import CModel, bmp24_rows, library_path  # noqa: E402

W, H = 768, 576
LINE, DIRECTION = (60, 300, 360, 300), (210, 260, 210, 340)


class VLine(ctypes.Structure):
    _fields_ = [("x0", ctypes.c_int32), ("y0", ctypes.c_int32), ("x1", ctypes.c_int32), ("y1", ctypes.c_int32)]


def load_frames(n):
    """n BGR frames of 768 x 576."""
    d = os.environ.get("VORN_SCENE_DIR")
    if d and os.path.exists(os.path.join(d, "0000.png")):
        import cv2
        return [cv2.imread(os.path.join(d, f"{i:04d}.png")) for i in range(n)]
    rng = np.random.default_rng(7)
    base = rng.integers(60, 120, (H, W, 3), dtype=np.uint8)
    frames = []
    for t in range(n):
        f = base.copy()
        f[200 + 2 * t % 200:260 + 2 * t % 200, 100:140] = 230
        frames.append(f)
    return frames


class CGuard:
    def __init__(self, lib):
        self.lib = lib
        self.h = ctypes.c_void_p()
        params = (ctypes.c_uint32 * 4)(W, H, 0, 2)
        assert lib.vorn_guard_create(params, ctypes.byref(self.h)) == 0
        lib.vorn_guard_set_lines.argtypes = [ctypes.c_void_p, VLine, VLine, ctypes.c_int32]
        assert lib.vorn_guard_set_lines(self.h, VLine(*LINE), VLine(*DIRECTION), 40) == 0
        lib.vorn_guard_put_image.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32]

    def process(self, rows):
        return self.lib.vorn_guard_put_image(self.h, rows.ctypes.data, 1)

    def close(self):
        self.lib.vorn_guard_destroy(self.h)


def py_guard():
    g = vorn.Guard(W, H, bk_type=2)
    g.set_lines(LINE, DIRECTION, 40)
    return g


def interleaved(c_call, py_call, inputs_c, inputs_py):
    """CPU seconds of each C call and of each Python call, one of each per frame in turn (the calling thread's
    CPU time: other processes on a shared machine then cost little beyond cache misses)."""
    tc, tp = [], []
    clock = time.thread_time
    for i, (a, b) in enumerate(zip(inputs_c, inputs_py)):
        if i % 2:  # which side goes first alternates, so neither gains from the other warming the caches
            t0 = clock()
            c_call(a)
            t1 = clock()
            py_call(b)
            t2 = clock()
            tc.append(t1 - t0)
            tp.append(t2 - t1)
        else:
            t0 = clock()
            py_call(b)
            t1 = clock()
            c_call(a)
            t2 = clock()
            tp.append(t1 - t0)
            tc.append(t2 - t1)
    return tc, tp


def overhead(name, make_c, make_py, inputs_c, inputs_py, repeat):
    ratios = []
    for _ in range(repeat):
        c, p = make_c(), make_py()
        tc, tp = interleaved(c.process, p.process, inputs_c, inputs_py)
        c.close()
        p.close()
        # The median of the per-frame differences: robust to a stall of either call on a shared machine.
        extra = statistics.median(b - a for a, b in zip(tc, tp))
        c_mean = sum(tc) / len(tc)
        ratios.append(extra / c_mean)
        print(f"  {name}: C {c_mean * 1e3:.3f} ms/frame, Python {sum(tp) / len(tp) * 1e3:.3f} ms/frame, "
              f"median extra {extra * 1e6:.1f} us = {100 * ratios[-1]:+.2f} %", flush=True)
    print(f"{name}: median overhead {100 * statistics.median(ratios):+.2f} % over {repeat} runs", flush=True)
    return statistics.median(ratios)


def threads(frames, repeat):
    def run(out, i):
        g = py_guard()
        t0 = time.perf_counter()
        for f in frames:
            g.process(f, bgr=True)
        out[i] = time.perf_counter() - t0
        g.close()

    speedups = []
    for _ in range(repeat):
        one = [0.0]
        t0 = time.perf_counter()
        run(one, 0)
        t_one = time.perf_counter() - t0
        two = [0.0, 0.0]
        ts = [threading.Thread(target=run, args=(two, i)) for i in range(2)]
        t0 = time.perf_counter()
        for t in ts:
            t.start()
        for t in ts:
            t.join()
        t_two = time.perf_counter() - t0
        speedups.append(2 * t_one / t_two)
        print(f"  threads: 1 guard {t_one:.2f} s, 2 guards on 2 threads {t_two:.2f} s, "
              f"throughput x{speedups[-1]:.2f}", flush=True)
    print(f"threads: median throughput x{statistics.median(speedups):.2f} over {repeat} runs", flush=True)


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--frames", type=int, default=150)
    ap.add_argument("--repeat", type=int, default=3)
    ap.add_argument("--skip-threads", action="store_true")
    args = ap.parse_args()
    lib = ctypes.CDLL(str(library_path()))
    lib.vorn_init()
    frames = load_frames(args.frames)
    rows = [bmp24_rows(f[:, :, ::-1]) for f in frames]
    yuv420 = [vorn.image_to_frame(vorn.frame_to_image(f, bgr=True), vorn.Format.RGB, "yuv420") for f in frames]
    print(f"{len(frames)} frames of {W}x{H}, cpus: {os.cpu_count()}, load average: {os.getloadavg()}")

    class PyFeed:
        def __init__(self, obj, **kw):
            self.obj, self.kw = obj, kw

        def process(self, f):
            return self.obj.process(f, **self.kw)

        def close(self):
            self.obj.close()

    overhead("guard, BGR frames (converted to bitmap rows)", lambda: CGuard(lib),
             lambda: PyFeed(py_guard(), bgr=True), rows, frames, args.repeat)

    class CYuvGuard(CGuard):
        def process(self, f):
            return self.lib.vorn_guard_put_image(self.h, f.ctypes.data, 4)

    overhead("guard, 4:2:0 frames (no copy)", lambda: CYuvGuard(lib), lambda: PyFeed(py_guard()), yuv420, yuv420,
             args.repeat)
    class CModelFeed:
        def __init__(self, frame_type):
            self.m, self.t = CModel(lib, 2, W, H), frame_type

        def process(self, f):
            return self.m.process(f, self.t)

        def close(self):
            self.m.close()

    overhead("mixture model, BGR frames (converted to bitmap rows)", lambda: CModelFeed(1),
             lambda: PyFeed(vorn.BackgroundModel(2, W, H), bgr=True), rows, frames, args.repeat)
    overhead("mixture model, 4:2:0 frames (no copy)", lambda: CModelFeed(4),
             lambda: PyFeed(vorn.BackgroundModel(2, W, H)), yuv420, yuv420, args.repeat)
    if not args.skip_threads:
        threads(frames, args.repeat)


if __name__ == "__main__":
    main()
