"""vorn: the VORNBaseLib video-analytics library on numpy arrays.

Frames go in as numpy uint8 arrays: H x W x 3 (RGB, or BGR with ``bgr=True`` as OpenCV delivers them),
H x W x 4 (RGBX / BGRX), H x W x 2 (packed 4:2:2, Y0 U Y1 V), (H * 3 / 2) x W (planar 4:2:0), or a
:class:`Bitmap`. Masks come out as H x W uint8 arrays (0 / 255) and planar images as 3 x H x W arrays.

Outputs are copies unless their documentation says "view": a view is a read-only array over the object's own
storage, overwritten by the next frame and kept readable (never freed) while the array lives, even after the
object is closed. Copy a view (``mask.copy()``) to keep its contents.

Result codes that are errors raise :class:`Error` subclasses carrying ``.code``; "nothing to report", "still
learning" and "scene change" are returned as :class:`Status` values.
"""
from ._errors import (Error, FileError, InvalidArgumentError, LearningError, NoResultError, NullArgumentError,
                      OutOfMemoryError, SceneChangeError)
from ._types import (Blob, Contour, Format, FrameType, GuardEvent, Line, ModelType, Moments, Param, PlateReading,
                     Point, Rect, Size, Status, Trace, TrackedObject)
from ._vorn import *  # noqa: F401,F403
from ._vorn import library_version

__version__ = "0.1.0"
