"""Frames in every layout reach the library as the same picture; bad arrays are refused with clear errors."""
import numpy as np
import pytest

import vorn


def test_every_layout_gives_the_same_picture(rng, tmp_path):
    rgb = rng.integers(0, 256, (18, 22, 3), dtype=np.uint8)  # 22 * 3 is not a multiple of 4: padded rows
    want = vorn.frame_to_image(rgb)
    assert np.array_equal(want.transpose(1, 2, 0), rgb)
    assert np.array_equal(vorn.frame_to_image(rgb[:, :, ::-1].copy(), bgr=True), want)
    rgbx = np.concatenate([rgb, np.full((18, 22, 1), 7, np.uint8)], axis=2)
    assert np.array_equal(vorn.frame_to_image(rgbx), want)
    assert np.array_equal(vorn.frame_to_image(rgbx[:, :, [2, 1, 0, 3]].copy(), bgr=True), want)
    bmp = vorn.Bitmap.from_array(rgb)
    assert np.array_equal(vorn.frame_to_image(bmp), want)
    bmp.save(str(tmp_path / "a.bmp"))
    again = vorn.Bitmap.load(str(tmp_path / "a.bmp"))
    assert (again.width, again.height, again.bitcount) == (22, 18, 24)
    assert np.array_equal(again.to_array(), rgb)
    assert np.array_equal(again.to_array(bgr=True), rgb[:, :, ::-1])


def test_yuv_frames_round_trip_through_the_library(rng):
    rgb = rng.integers(0, 256, (16, 20, 3), dtype=np.uint8)
    yuv = vorn.convert(vorn.frame_to_image(rgb), vorn.Format.RGB, vorn.Format.YUV)
    f420 = vorn.image_to_frame(yuv, vorn.Format.YUV, "yuv420")
    assert f420.shape == (24, 20)
    back = vorn.frame_to_image(f420, vorn.Format.YUV)
    assert np.array_equal(back[0], yuv[0])  # luma passes unchanged
    f422 = vorn.image_to_frame(yuv, vorn.Format.YUV, "yuv422")
    assert f422.shape == (16, 20, 2)
    assert np.array_equal(vorn.frame_to_image(f422, vorn.Format.YUV)[0], yuv[0])
    # interleaved output: the library's 24-bit rows read back the same picture
    assert np.array_equal(vorn.image_to_frame(vorn.frame_to_image(rgb), vorn.Format.RGB, "rgb"), rgb)
    assert np.array_equal(vorn.image_to_frame(vorn.frame_to_image(rgb), vorn.Format.RGB, "bgr"), rgb[:, :, ::-1])


@pytest.mark.parametrize("frame, error, words", [
    (np.zeros((8, 8, 3), np.float32), TypeError, "uint8"),
    ([[1, 2, 3]], TypeError, "numpy array"),
    (np.zeros((8, 8, 5), np.uint8), ValueError, "H x W x 3"),
    (np.zeros((8, 16, 3), np.uint8)[:, ::2], ValueError, "C-contiguous"),
    (np.zeros((7, 8), np.uint8), ValueError, "4:2:0"),
    (np.zeros((8, 7, 2), np.uint8), ValueError, "even width"),
    (np.zeros((8, 8, 3, 1), np.uint8), ValueError, "dimensions"),
])
def test_bad_frames_are_refused(frame, error, words):
    with pytest.raises(error, match=words):
        vorn.frame_to_image(frame)


def test_objects_check_the_frame_size():
    with vorn.Guard(32, 24) as g:
        with pytest.raises(ValueError, match="32x24"):
            g.process(np.zeros((24, 30, 3), np.uint8))


def test_images_and_masks_are_checked():
    with pytest.raises(ValueError, match=r"\(3, H, W\)"):
        vorn.convert(np.zeros((4, 8, 8), np.uint8), vorn.Format.RGB, vorn.Format.YUV)
    with pytest.raises(ValueError, match="sizes differ"):
        vorn.diff(np.zeros((4, 4), np.uint8), np.zeros((4, 5), np.uint8))
    with pytest.raises(TypeError, match="pair"):
        vorn.point_in_region(5, [(0, 0), (4, 0), (4, 4)])
