"""Small records the bindings hand out and accept: geometry as named tuples, outcomes as enumerations."""
import enum
from typing import NamedTuple, Tuple

import numpy as np


class Status(enum.IntEnum):
    """Ordinary outcomes of a per-frame call (result codes that are not errors)."""

    OK = 0
    NO_RESULT = 0x10000000     #: ran, but nothing to report
    LEARNING = 0x10000006      #: the background model is still learning
    SCENE_CHANGE = 0x10000007  #: a scene change was detected; the frame was not processed further


class Format(enum.IntEnum):
    """Colour model of a planar image."""

    RGB = 0
    YUV = 1  #: Y 0..219, U and V centred on 128
    HSV = 2  #: H 0..240, S and V 0..255


class FrameType(enum.IntEnum):
    """The library's frame types (what a numpy frame is handed in as)."""

    BITMAP = 0
    BMP24 = 1
    BMP32 = 2
    YUV422 = 3
    YUV420 = 4


class ModelType(enum.IntEnum):
    """Background-model types; any other number selects the default model."""

    DEFAULT = 0         #: compares against a background the host sets
    RING = 1            #: frame ring only, no foreground
    MIXTURE = 2         #: mixture of Gaussians
    MEAN = 3            #: cumulative mean
    RING_ALT = 4        #: frame ring only (same as RING)
    BLOCK = 5           #: 4 x 4 blocks; the mask marks unchanged blocks with 255
    MEAN_ALT = 6        #: cumulative mean (same as MEAN)
    STABLE_MEAN = 7     #: stable-pixel running mean
    HISTOGRAM_MEAN = 8  #: histogram mode, then a running mean


class Param(enum.IntEnum):
    """Background-model parameter ids (7..31 are stored and unused)."""

    SENSITIVITY = 0
    SCENE_CUT = 1
    SHADOW = 2
    ERODE = 3
    DILATE = 4
    WINDOW = 5
    LEARN_FRAMES = 6


class GuardEvent(enum.IntEnum):
    NONE = 0
    TRIGGER = 1  #: more features crossed in the guarded direction than against it
    CROSS = 2    #: more features merely crossed than triggered


class Point(NamedTuple):
    x: int
    y: int


class Size(NamedTuple):
    width: int
    height: int


class Rect(NamedTuple):
    """Right and bottom are exclusive."""

    left: int
    top: int
    right: int
    bottom: int


class Line(NamedTuple):
    x0: int
    y0: int
    x1: int
    y1: int


class Trace(NamedTuple):
    """A guard feature's trace: where it was first found, where it is now, and its sticky flags."""

    start: Point
    end: Point
    crossed: bool
    triggered: bool


class TrackedObject(NamedTuple):
    id: int
    rect: Rect
    center: Point


class Blob(NamedTuple):
    """An object of the object maker (in block mode right and bottom are inclusive)."""

    rect: Rect
    center: Point
    points: np.ndarray  #: N x 2 int32 (grid cells or border corners), a copy


class PlateReading(NamedTuple):
    text: str
    confidences: Tuple[float, ...]
    rect: Rect
    angle: float
    score: float


class Contour(NamedTuple):
    points: np.ndarray  #: N x 2 int32, closed (the first point repeated last)
    is_hole: bool


class Moments(NamedTuple):
    m00: float
    m10: float
    m01: float
    m20: float
    m11: float
    m02: float
    m30: float
    m21: float
    m12: float
    m03: float
    mu20: float
    mu11: float
    mu02: float
    mu30: float
    mu21: float
    mu12: float
    mu03: float
    inv_sqrt_m00: float
