"""Module functions: the arguments reach the library in the right order and the results come back whole."""
import numpy as np
import pytest

import vorn
from conftest import ROOT


def test_thresholds_and_differences_follow_their_rules(rng):
    a, b = (rng.integers(0, 256, (3, 9, 11), dtype=np.uint8) for _ in range(2))
    d = np.abs(a.astype(int) - b.astype(int))
    assert np.array_equal(vorn.diff(a, b), d)
    one = vorn.diff(a, b, plane=1)
    assert np.array_equal(one[1], d[1]) and not one[0].any() and not one[2].any()
    assert np.array_equal(vorn.diff_binary(a[0], b[0], 40), np.where(d[0] >= 40, 255, 0))
    assert np.array_equal(vorn.threshold(a, 128, plane=2)[2], np.where(a[2] >= 128, 255, 0))
    assert np.array_equal(vorn.xor(a[0], b[0]), a[0] ^ b[0])
    assert np.array_equal(vorn.diff_to_mask(a, b, 40), np.where(d.sum(axis=0) >= 60, 255, 0))
    assert 0 <= vorn.otsu_threshold(a[0]) <= 254


def test_histogram_back_projection_and_moments_agree(rng):
    img = rng.integers(0, 256, (20, 30), dtype=np.uint8)
    hist = vorn.histogram(img, bins=32)
    assert np.array_equal(hist, np.bincount(img.ravel() // 8, minlength=32))
    bp = vorn.back_project(img, hist)
    assert np.array_equal(bp, hist[img // 8])
    m = vorn.moments(bp)
    ys, xs = np.mgrid[0:20, 0:30]
    assert m.m00 == pytest.approx(bp.sum()) and m.m10 == pytest.approx((xs * bp).sum())
    assert m.m01 == pytest.approx((ys * bp).sum())


def test_edges_pyramids_and_colour_models():
    square = np.zeros((32, 32), np.uint8)
    square[8:24, 8:24] = 200
    edges = vorn.canny(square)
    assert edges[8:24, 7:9].any() and not edges[14:18, 14:18].any() and not edges[0:4, 0:4].any()
    levels = vorn.pyramid(square, 3)
    assert [lv.shape for lv in levels] == [(16, 16), (8, 8), (4, 4)]
    rgb = vorn.grey_to_rgb(square)
    assert np.abs(vorn.luma(rgb).astype(int) - square.astype(int) * 219 // 255).max() <= 1  # Y runs 0..219
    assert vorn.edges(rgb, 10, 0)[16, 8] == 255
    back = vorn.convert(vorn.convert(rgb, vorn.Format.RGB, vorn.Format.HSV), vorn.Format.HSV, vorn.Format.RGB)
    assert np.abs(back.astype(int) - rgb).max() <= 2


def test_morphology_respects_the_region():
    mask = np.zeros((16, 16), np.uint8)
    mask[4:12, 4:12] = 255
    region = np.full((16, 16), 255, np.uint8)
    region[:, 8:] = 0
    assert vorn.erode(mask, 1).sum() // 255 == 36
    grown = vorn.dilate(mask, 1, region)
    assert grown[3, 3] == 255 and not grown[:, 8:].any()


def test_corners_and_optical_flow_follow_a_shift():
    rng = np.random.default_rng(3)
    big = rng.integers(0, 256, (80, 90), dtype=np.uint8)
    big = vorn.pyramid(big, 1)[0].repeat(2, 0).repeat(2, 1)  # smooth texture
    prev, cur = big[10:70, 10:80].copy(), big[9:69, 8:78].copy()  # content moves by (+2, +1)
    pts = vorn.good_features(vorn.grey_to_rgb(prev), 20, 5)
    assert 0 < len(pts) <= 20
    moved, found = vorn.optical_flow(prev, cur, pts.astype(np.float32), levels=2)
    inner = found & (pts[:, 0] > 8) & (pts[:, 0] < 60) & (pts[:, 1] > 8) & (pts[:, 1] < 50)
    assert inner.sum() >= 3
    shift = np.median(moved[inner] - pts[inner], axis=0)
    assert shift == pytest.approx([2.0, 1.0], abs=0.25)


def test_plate_reader_loads_its_networks():
    with vorn.PlateReader(320, 240, weights_dir=str(ROOT / "data" / "plates")) as reader:
        assert reader.process(np.full((240, 320, 3), 128, np.uint8)) is None
    with pytest.raises(vorn.InvalidArgumentError):
        vorn.PlateReader(320, 240, weights_dir=str(ROOT / "no-such-folder"))
