"""Background models and the status values: the bindings give the C library's masks byte for byte."""
import numpy as np
import pytest

import vorn
from conftest import CModel, bmp24_rows


def test_mixture_masks_equal_the_c_library(clib, scene_frames):
    h, w = scene_frames[0].shape[:2]
    c = CModel(clib, 2, w, h)
    py = vorn.BackgroundModel("mixture", w, h)
    py.set_param("window", 0x101)
    assert c.table.set_param(c.handle, 0x101, 5) == 0
    seen_fg = 0
    try:
        for frame in scene_frames:
            want = c.process(bmp24_rows(frame[:, :, ::-1]), 1)
            got = py.process(frame, bgr=True)
            assert got == want
            mask = py.foreground()
            assert np.array_equal(mask, c.foreground())
            seen_fg += int(mask.any())
    finally:
        c.close()
        py.close()
    assert seen_fg > 0  # the comparison covered masks with foreground in them


@pytest.mark.parametrize("layout", ["rgb", "bitmap", "rgbx"])
def test_layouts_feed_identical_models(rng, layout):
    frames = [rng.integers(0, 256, (24, 34, 3), dtype=np.uint8) for _ in range(6)]
    frames[3][4:12, 5:20] = 255
    ref, other = vorn.BackgroundModel(2, 34, 24), vorn.BackgroundModel(2, 34, 24)
    for f in frames:
        conv = {"rgb": f, "bitmap": vorn.Bitmap.from_array(f),
                "rgbx": np.concatenate([f, np.zeros((24, 34, 1), np.uint8)], axis=2)}[layout]
        assert ref.process(f[:, :, ::-1].copy(), bgr=True) == other.process(conv)
        assert np.array_equal(ref.foreground(), other.foreground())


def test_every_type_and_parameter_by_name_and_number(rng):
    frame = rng.integers(0, 256, (16, 16, 3), dtype=np.uint8)
    for t in vorn.ModelType:
        by_name, by_number = vorn.BackgroundModel(t.name.lower(), 16, 16), vorn.BackgroundModel(int(t), 16, 16)
        assert by_name.type == by_number.type == t
        for p in vorn.Param:
            by_name.set_param(p.name.lower(), 0)
            by_number.set_param(int(p), 0)
        by_number.set_param(31, 1)  # stored and unused
        by_name.process(frame)
    with pytest.raises(vorn.InvalidArgumentError) as e:
        by_number.set_param(32, 0)
    assert e.value.code == 0x10000003
    with pytest.raises(ValueError, match="unknown model type"):
        vorn.BackgroundModel("nonsense", 16, 16)


def test_ordinary_outcomes_are_values_not_exceptions(rng):
    base = rng.integers(0, 60, (32, 32, 3), dtype=np.uint8)
    m = vorn.BackgroundModel(vorn.ModelType.STABLE_MEAN, 32, 32)
    results = [m.process(base) for _ in range(3)]
    assert vorn.Status.LEARNING in results
    assert m.background() is None  # still learning
    m.set_param(vorn.Param.SCENE_CUT, 1)
    m.process(base)
    assert m.process(255 - base) == vorn.Status.SCENE_CHANGE
    c = vorn.Counter(8, 8, [(0, 0), (3, 0), (3, 7)], [(4, 0), (7, 0), (7, 7)], start=False)
    assert c.process(np.zeros((8, 8), np.uint8)) == vorn.Status.NO_RESULT


def test_result_codes_map_to_the_error_classes(tmp_path):
    with pytest.raises(vorn.InvalidArgumentError):
        vorn.BackgroundModel(2, 8, 8, history=0)
    with pytest.raises(vorn.FileError) as e:
        vorn.Bitmap(4, 4).save(str(tmp_path / "missing" / "a.bmp"))
    assert isinstance(e.value, OSError) and e.value.code == 0x10000004
    with pytest.raises(vorn.FileError):
        vorn.TrajectoryRecorder(32, 32).load(str(tmp_path / "missing.vbct"))
    k = vorn.Kalman(2, 1)
    with pytest.raises(vorn.InvalidArgumentError):
        k.correct([1.0, 2.0])
    assert type(vorn._errors.error_for(0x10000001, "x")) is vorn.NullArgumentError
    unknown = vorn._errors.error_for(0x12345678, "x")
    assert type(unknown) is vorn.Error and unknown.code == 0x12345678
    for cls in (vorn.NoResultError, vorn.OutOfMemoryError, vorn.LearningError, vorn.SceneChangeError):
        assert vorn._errors.error_for(cls.default_code, "x").__class__ is cls


def test_background_ring_and_region_mask_copies(rng):
    still = rng.integers(0, 200, (24, 32, 3), dtype=np.uint8)
    m = vorn.BackgroundModel(vorn.ModelType.DEFAULT, 32, 24)
    assert m.background() is None  # nothing set yet
    m.set_background(still)
    assert np.array_equal(m.background(), vorn.frame_to_image(still))
    moved = still.copy()
    moved[4:20, 4:28] = 255
    m.process(moved)
    assert np.array_equal(m.image(0), vorn.frame_to_image(moved))
    assert m.foreground()[12, 16] == 255
    region = np.zeros((24, 32), np.uint8)
    region[:, 16:] = 255
    m.mask = region
    got = m.mask
    assert np.array_equal(got, region)
    region[:] = 0
    assert got.any() and m.mask.any()  # copies both ways
    with pytest.raises(ValueError, match="sizes differ"):
        m.mask = np.zeros((24, 31), np.uint8)
