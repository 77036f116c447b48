"""The example against `vorn guard`, and the other analytic and tracking classes on small synthetic scenes."""
import os
import subprocess
import sys

import numpy as np
import pytest

import vorn
from conftest import ROOT, scene_dir


def test_example_reports_exactly_the_events_of_the_program():
    tool = os.environ.get("VORN_TOOL")
    if not tool:
        pytest.skip("VORN_TOOL (the vorn program) is not set; `make test` sets it")
    frames = os.environ.get("VORN_SCENE_FRAMES", "300")
    want = subprocess.run([tool, "guard", "--frames", frames, "--quiet"], check=True, capture_output=True,
                          text=True).stdout.splitlines()
    got = subprocess.run([sys.executable, str(ROOT / "examples" / "python" / "guard_camera.py"),
                          os.path.join(scene_dir(), "%04d.png"), "--fps", "25", "--frames", frames,
                          "--stream-name", "@scene"],
                         check=True, capture_output=True, text=True).stdout.splitlines()
    assert len(want) >= 3 and any('"cross"' in line for line in want)  # triggers and crosses both covered
    assert got == want


def moving_square(t, size=(64, 80), side=10, start=(10, 20), step=(2, 1)):
    frame = np.full(size + (3,), 40, np.uint8)
    x, y = start[0] + step[0] * t, start[1] + step[1] * t
    frame[y:y + side, x:x + side] = 230
    return frame


def test_tracker_follows_a_moving_square():
    with vorn.Tracker(80, 64, bk_type=vorn.ModelType.MEAN) as tr:
        tr.set_model_param("learn_frames", 4)
        statuses = [tr.process(moving_square(t)) for t in range(25)]
        assert vorn.Status.LEARNING in statuses and statuses[-1] == vorn.Status.OK
        objs = tr.objects()
        fg = tr.foreground()
    assert len(objs) == 1 and objs[0].id == 1
    assert objs[0].rect.right > 40  # the track has followed the square away from where it started
    assert fg[20 + 24 + 5, 10 + 48 + 5] == 255


def test_object_maker_and_contours_agree_on_a_blob():
    mask = np.zeros((40, 48), np.uint8)
    mask[8:24, 12:32] = 255
    contours = vorn.find_contours(mask)
    assert len(contours) == 1 and not contours[0].is_hole
    pts = contours[0].points
    assert (pts.min(axis=0) == (12, 8)).all() and (pts.max(axis=0) == (31, 23)).all()
    assert (pts[0] == pts[-1]).all()
    ring = mask.copy()
    ring[12:20, 18:26] = 0
    assert sorted(c.is_hole for c in vorn.find_contours(ring)) == [False, True]
    for mode in ("contour", "block"):
        with vorn.ObjectMaker(48, 40, mode=mode) as om:
            blobs = om.process(mask)
        assert len(blobs) == 1
        left, top, right, bottom = blobs[0].rect
        assert left <= 12 and top <= 8 and right >= 31 and bottom >= 23  # the blob lies inside its rectangle
        assert abs(blobs[0].center.x - 21.5) <= 4 and abs(blobs[0].center.y - 15.5) <= 4  # whole cells in block mode


def test_counter_counts_a_pass_from_area_0_to_1():
    area0, area1 = [(0, 0), (20, 0), (20, 9), (0, 9)], [(0, 20), (20, 20), (20, 29), (0, 29)]
    c = vorn.Counter(21, 30, area0, area1)
    for y in list(range(0, 30, 2)) + [40, 40, 40]:
        mask = np.zeros((30, 21), np.uint8)
        mask[max(y - 6, 0):min(y + 6, 30), :] = 255
        c.process(mask)
    assert c.counts == (1, 0)
    am = c.area_mask()
    assert am[5, 5] == 1 and am[25, 5] == 2 and am[15, 5] == 0


def test_left_object_detector_reports_a_bag_after_the_threshold():
    y, x = np.mgrid[0:120, 0:160]
    bg = np.repeat((70 + ((x // 8 + y // 8) & 1) * 10).astype(np.uint8)[:, :, None], 3, axis=2)
    scene = bg.copy()
    scene[40:60, 60:84] = 220
    region = [(4, 4), (155, 4), (155, 115), (4, 115)]
    with vorn.LeftObjectDetector(bg, region, frame_threshold=50) as d:
        for _ in range(51):
            assert d.process(scene) == vorn.Status.OK
        assert d.lost_objects() == []
        d.process(scene)
        lost = d.lost_objects()
        outline = d.outline()
    assert len(lost) == 1
    left, top, right, bottom = lost[0]
    assert abs(left - 60) <= 4 and abs(top - 40) <= 4 and abs(right - 80) <= 4 and abs(bottom - 56) <= 4
    assert outline[40:60, 60:84].any() and outline[50, 72] == 0  # an outline, hollow inside


def test_kalman_follows_constant_velocity():
    k = vorn.Kalman(2, 1)
    k.transition = [[1, 1], [0, 1]]
    k.measurement_matrix = [[1, 0]]
    k.process_noise = np.eye(2) * 1e-3
    for t in range(30):
        k.predict()
        k.correct([3.0 * t])
    assert k.state[1] == pytest.approx(3.0, abs=0.1)
    assert k.predict()[0] == pytest.approx(90.0, abs=1.0)
    with pytest.raises(ValueError):
        k.transition = np.eye(3)


def test_mean_shift_trackers_follow_a_bright_square():
    def grey(t):
        return moving_square(t, step=(2, 0))[:, :, 0].copy()
    cam = vorn.CamShift(grey(0), (10, 20, 20, 30))
    ms = vorn.MeanShift(grey(0), (9, 19, 22, 32))
    for t in range(1, 6):
        window = cam.update(grey(t))
        moved = ms.update(grey(t))
    assert abs((window.left + window.right) / 2 - (15 + 10)) <= 3
    assert moved is not None and abs((moved.left + moved.right) / 2 - (15 + 10)) <= 3


def test_network_learns_and_its_weights_round_trip(tmp_path):
    net = vorn.Network(2, 4, 1, eta=0.5, momentum=0.5)
    samples = [([0, 0], [0]), ([0, 1], [1]), ([1, 0], [1]), ([1, 1], [0])]
    for _ in range(3000):
        for x, t in samples:
            net.train(x, t)
    outs = [net.recognize(x)[0] for x, _ in samples]
    assert outs[0] < 0.3 and outs[3] < 0.3 and outs[1] > 0.7 and outs[2] > 0.7
    net.save(str(tmp_path / "xor.who"))
    fresh = vorn.Network(2, 4, 1)
    fresh.load(str(tmp_path / "xor.who"))
    assert [fresh.recognize(x)[0] for x, _ in samples] == outs
    with pytest.raises(vorn.InvalidArgumentError):
        vorn.Network(3, 4, 1).load(str(tmp_path / "xor.who"))


def test_trajectories_record_save_and_load(tmp_path):
    rng = np.random.default_rng(5)
    texture = rng.integers(0, 256, (120, 160), dtype=np.uint8)
    rec = vorn.TrajectoryRecorder(96, 64, min_length=3)
    for t in range(12):
        grey = texture[10:74, 10 + t:106 + t]
        rec.process(np.repeat(grey[:, :, None], 3, axis=2))
    rec.end()
    n, frames = rec.count
    assert frames == 12 and n > 0
    start, pts = rec.trajectory(0)
    rec.save(str(tmp_path / "t.vbct"))
    other = vorn.TrajectoryRecorder(96, 64)
    other.load(str(tmp_path / "t.vbct"))
    assert other.count == (n, frames)
    s2, p2 = other.trajectory(0)
    assert s2 == start and np.array_equal(p2, pts)
    assert other.down(start, *pts[0]) == 0
    assert other.move(*pts[-1])[0] == start + len(pts) - 1
    other.up()
    assert other.move(0, 0) is None
