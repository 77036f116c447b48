"""Views outlive their objects safely, objects close deterministically, and per-frame calls release the GIL."""
import gc
import sys
import threading

import numpy as np
import pytest

import vorn


def fed_guard(frames):
    g = vorn.Guard(64, 48, bk_type=vorn.ModelType.MEAN)
    g.set_model_param("learn_frames", 2)
    g.set_lines((4, 24, 60, 24), (32, 14, 32, 34), 10)
    for f in frames:
        g.process(f)
    return g


def frames_with_motion(n=8):
    out = []
    for t in range(n):
        f = np.full((48, 64, 3), 50, np.uint8)
        f[10 + 3 * t:20 + 3 * t, 20:34] = 220
        out.append(f)
    return out


def test_views_are_read_only_and_survive_close_and_collection():
    g = fed_guard(frames_with_motion())
    fg = g.foreground()
    want = fg.copy()
    assert want.any() and not fg.flags.writeable
    with pytest.raises(ValueError):
        fg[0, 0] = 1
    g.close()
    assert g.closed
    with pytest.raises(ValueError, match="closed"):
        g.process(frames_with_motion(1)[0])
    g.close()  # closing twice is harmless
    del g
    gc.collect()
    assert np.array_equal(fg, want)
    # the library reads the view after its owner is gone (the sanitizer run catches a freed buffer here)
    assert np.array_equal(vorn.dilate(fg, 0), vorn.dilate(want, 0))


def test_a_view_follows_the_next_frame_and_a_copy_does_not():
    m = vorn.BackgroundModel(vorn.ModelType.MEAN, 32, 32)
    m.set_param("learn_frames", 2)
    still = np.full((32, 32, 3), 80, np.uint8)
    for _ in range(4):
        m.process(still)
    view = m.foreground()
    kept = view.copy()
    moved = still.copy()
    moved[8:24, 8:24] = 250
    m.process(moved)
    assert not kept.any() and view[16, 16] == 255
    assert view.base is not None


def test_context_managers_free_on_exit():
    with vorn.BackgroundModel(2, 16, 16) as m:
        pass
    assert m.closed
    for cls, args in ((vorn.Kalman, (2, 1)), (vorn.Network, (2, 2, 1)), (vorn.Bitmap, (4, 4))):
        with cls(*args) as obj:
            assert not obj.closed
        assert obj.closed


def test_per_frame_calls_release_the_gil():
    g = vorn.BackgroundModel(vorn.ModelType.MIXTURE, 320, 240)
    frame = np.random.default_rng(1).integers(0, 256, (240, 320, 3), dtype=np.uint8)
    ticks = [0]
    stop = threading.Event()

    def spin():
        while not stop.is_set():
            ticks[0] += 1

    old = sys.getswitchinterval()
    sys.setswitchinterval(1.0)  # the main thread keeps the GIL for a second unless a call gives it up
    t = threading.Thread(target=spin)
    t.start()
    try:
        before = ticks[0]
        g.process(frame)
        during = ticks[0] - before
    finally:
        stop.set()
        sys.setswitchinterval(old)
        t.join()
    assert during > 0


def test_two_threads_give_the_results_of_one():
    frames = frames_with_motion(10)
    want = fed_guard(frames).foreground().copy()
    results = [None, None]

    def run(i):
        results[i] = fed_guard(frames).foreground().copy()

    threads = [threading.Thread(target=run, args=(i,)) for i in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert all(np.array_equal(r, want) for r in results)


def test_one_object_on_two_threads_is_refused_not_raced():
    m = vorn.BackgroundModel(vorn.ModelType.MIXTURE, 320, 240)
    frame = np.zeros((240, 320, 3), np.uint8)
    errors = []

    def run():
        for _ in range(6):
            try:
                m.process(frame)
            except RuntimeError as e:
                errors.append(str(e))

    threads = [threading.Thread(target=run) for _ in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert all("in use by another thread" in e for e in errors)
