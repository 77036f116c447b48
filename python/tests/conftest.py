"""Shared fixtures: the scene's frames, the `vorn` program, and the C library through ctypes for comparisons."""
import ctypes
import glob
import os
from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]


def library_path():
    base = Path(os.environ.get("VORNBASE_DIR", ROOT / "build" / "release"))
    for p in (base / "libvornbase.so", base / "lib" / "libvornbase.so"):
        if p.exists():
            return p
    pytest.skip(f"libvornbase.so not found under {base}")


class MonoImage(ctypes.Structure):
    _fields_ = [("width", ctypes.c_uint32), ("height", ctypes.c_uint32), ("data", ctypes.POINTER(ctypes.c_uint8))]


class ModelParams(ctypes.Structure):
    _fields_ = [("history", ctypes.c_uint32), ("width", ctypes.c_uint32), ("height", ctypes.c_uint32),
                ("format", ctypes.c_uint32)]


_OP = ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32)


class ModelTable(ctypes.Structure):
    _fields_ = [("create", ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.POINTER(ModelParams),
                                            ctypes.POINTER(ctypes.c_void_p))),
                ("destroy", ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p)),
                ("get_image", ctypes.c_void_p),
                ("process", _OP),
                ("get_fg", ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p,
                                            ctypes.POINTER(ctypes.POINTER(MonoImage)))),
                ("set_bk", _OP), ("get_bk", ctypes.c_void_p), ("reset", ctypes.c_void_p),
                ("set_param", ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32))]


class CModel:
    """A background model driven straight through the C library's table (the reference for the bindings)."""

    def __init__(self, lib, model_type, width, height, history=4, fmt=0):
        self.table = ModelTable()
        lib.vorn_bk_model_init(model_type, ctypes.byref(self.table))
        self.handle = ctypes.c_void_p()
        params = ModelParams(history, width, height, fmt)
        assert self.table.create(ctypes.byref(params), ctypes.byref(self.handle)) == 0

    def process(self, frame_bytes, frame_type):
        return self.table.process(self.handle, frame_bytes.ctypes.data, frame_type)

    def foreground(self):
        fg = ctypes.POINTER(MonoImage)()
        assert self.table.get_fg(self.handle, ctypes.byref(fg)) == 0
        m = fg.contents
        return np.ctypeslib.as_array(m.data, shape=(m.height, m.width)).copy()

    def close(self):
        self.table.destroy(self.handle)


@pytest.fixture(scope="session")
def clib():
    lib = ctypes.CDLL(str(library_path()))
    lib.vorn_init()
    return lib


def bmp24_rows(rgb):
    """An H x W x 3 RGB frame as the library's bottom-up B,G,R rows padded to 4 bytes, built in numpy."""
    h, w, _ = rgb.shape
    stride = (w * 3 + 3) & ~3
    out = np.zeros((h, stride), np.uint8)
    out[:, :w * 3] = rgb[::-1, :, ::-1].reshape(h, w * 3)
    return out


def scene_dir():
    d = os.environ.get("VORN_SCENE_DIR")
    if not d or not glob.glob(os.path.join(d, "0000.png")):
        pytest.skip("VORN_SCENE_DIR (the scene's frames as pictures) is not set; `make test` sets it")
    return d


@pytest.fixture(scope="session")
def scene_frames():
    """The first 120 frames of the built-in scene (a walker comes in after frame 50), BGR as OpenCV reads them."""
    import cv2
    d = scene_dir()
    return [cv2.imread(os.path.join(d, f"{i:04d}.png")) for i in range(120)]


@pytest.fixture
def rng():
    return np.random.default_rng(19)
