"""Camera frames: I420, YV12, NV12, NV21, and images of 4 bytes a pixel (B, G, R, A for "argb").

A frame is given as a sequence of its planes, Y and then U, V (I420), V, U (YV12) or the pairs (NV12
and NV21, an array (rows, columns, 2) or (rows, 2 * columns)); chroma has half as many rows and
columns, rounded up. Or as one buffer without padding: bytes, or any array, together with size=(width,
height), or an array (height * 3 / 2, width) with even sides. flip=True turns it upside down. Sides
are at most 32768.
"""

from enum import IntEnum
from typing import Optional

from . import _core
from ._types import Frame, Image, Planes, Rect, Size

__all__ = [
    "ScaleMode", "RotationMode", "convert_i420_argb", "convert_yv12_argb", "convert_nv12_argb",
    "convert_nv21_argb", "convert_nv12_i420", "convert_nv21_i420", "copy_i420", "mirror_i420",
    "rotate_i420", "rotate_nv12", "rotate_nv21", "rotate_argb", "crop_argb", "scale_i420",
    "scale_argb",
]


class ScaleMode(IntEnum):
    """Filters of the scaling functions."""

    NONE = 0
    LINEAR = 1
    BILINEAR = 2
    BOX = 3


class RotationMode(IntEnum):
    """Clockwise, in degrees."""

    NONE = 0
    BY_90 = 90
    BY_180 = 180
    BY_270 = 270


def convert_i420_argb(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Image] = None,
) -> Image:
    """To (height, width, 4), B, G, R, 255, by BT.601 in studio range. **Crossed chroma, on
    purpose**: the second plane feeds V and the third U. Planes Y, U, V go to `convert_yv12_argb`.

    >>> y, v, u = (np.full((2, 2), 126, np.uint8), np.uint8([[200]]), np.uint8([[128]]))
    >>> kelvra_cv.convert_i420_argb((y, v, u))[0, 0]
    array([128,  70, 243, 255], dtype=uint8)
    """
    return _core.convert_i420_argb(frame, size, flip, out)


def convert_yv12_argb(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Image] = None,
) -> Image:
    """As `convert_i420_argb`, the other way round: the second plane feeds U and the third V.

    >>> kelvra_cv.convert_yv12_argb(bytes([126] * 4 + [128, 200]), size=(2, 2))[0, 0]
    array([128,  70, 243, 255], dtype=uint8)
    """
    return _core.convert_yv12_argb(frame, size, flip, out)


def convert_nv12_argb(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Image] = None,
) -> Image:
    """NV12 (U first) to (height, width, 4), B, G, R, 255, by BT.601 in studio range.

    >>> kelvra_cv.convert_nv12_argb(bytes([126] * 4 + [128, 200]), size=(2, 2))[0, 0]
    array([128,  70, 243, 255], dtype=uint8)
    """
    return _core.convert_nv12_argb(frame, size, flip, out)


def convert_nv21_argb(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Image] = None,
) -> Image:
    """NV21 (V first, Android's) to (height, width, 4), B, G, R, 255, by BT.601 in studio range.

    >>> kelvra_cv.convert_nv21_argb(np.uint8([[126, 126], [126, 126], [200, 128]]))[0, 0]
    array([128,  70, 243, 255], dtype=uint8)
    """
    return _core.convert_nv21_argb(frame, size, flip, out)


def convert_nv12_i420(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """NV12 to the planes Y, U and V.

    >>> y, u, v = kelvra_cv.convert_nv12_i420(bytes(range(6)), size=(2, 2))
    >>> u, v
    (array([[4]], dtype=uint8), array([[5]], dtype=uint8))
    """
    return _core.convert_nv12_i420(frame, size, flip, out)


def convert_nv21_i420(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """NV21 to the planes Y, U and V.

    >>> y, u, v = kelvra_cv.convert_nv21_i420(bytes(range(6)), size=(2, 2))
    >>> u, v
    (array([[5]], dtype=uint8), array([[4]], dtype=uint8))
    """
    return _core.convert_nv21_i420(frame, size, flip, out)


def copy_i420(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """Copies an I420 frame, upside down if wished.

    >>> kelvra_cv.copy_i420(bytes(range(6)), size=(2, 2), flip=True)[0]
    array([[2, 3],
           [0, 1]], dtype=uint8)
    """
    return _core.copy_i420(frame, size, flip, out)


def mirror_i420(
    frame: Frame,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """Mirrors an I420 frame left to right.

    >>> kelvra_cv.mirror_i420(bytes(range(6)), size=(2, 2))[0]
    array([[1, 0],
           [3, 2]], dtype=uint8)
    """
    return _core.mirror_i420(frame, size, flip, out)


def rotate_i420(
    frame: Frame,
    mode: RotationMode,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """Turns an I420 frame clockwise, after turning it upside down if `flip`.

    >>> kelvra_cv.rotate_i420(bytes(range(6)), 90, size=(2, 2))[0]
    array([[2, 0],
           [3, 1]], dtype=uint8)
    """
    return _core.rotate_i420(frame, mode, size, flip, out)


def rotate_nv12(
    frame: Frame,
    mode: RotationMode,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """Turns an NV12 frame clockwise, into the planes Y, U and V.

    >>> kelvra_cv.rotate_nv12(bytes(range(6)), 180, size=(2, 2))[1]
    array([[4]], dtype=uint8)
    """
    return _core.rotate_nv12(frame, mode, size, flip, out)


def rotate_nv21(
    frame: Frame,
    mode: RotationMode,
    *,
    size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """Turns an NV21 frame clockwise, into the planes Y, U and V.

    >>> kelvra_cv.rotate_nv21(bytes(range(6)), 180, size=(2, 2))[1]
    array([[5]], dtype=uint8)
    """
    return _core.rotate_nv21(frame, mode, size, flip, out)


def rotate_argb(
    image: Image, mode: RotationMode, *, flip: bool = False, out: Optional[Image] = None
) -> Image:
    """Turns (height, width, 4) pixels clockwise.

    >>> image = np.zeros((2, 3, 4), np.uint8)
    >>> kelvra_cv.rotate_argb(image, kelvra_cv.RotationMode.BY_90).shape
    (3, 2, 4)
    """
    return _core.rotate_argb(image, mode, flip, out)


def crop_argb(image: Image, rect: Rect, *, out: Optional[Image] = None) -> Image:
    """Copies a rectangle that reaches neither the right nor the bottom edge. (A slice of the array
    copies nothing and may reach them.)

    >>> kelvra_cv.crop_argb(np.zeros((9, 9, 4), np.uint8), (1, 1, 7, 7)).shape
    (7, 7, 4)
    """
    return _core.crop_argb(image, rect, out)


def scale_i420(
    frame: Frame,
    size: Size,
    mode: ScaleMode = ScaleMode.BOX,
    *,
    frame_size: Optional[Size] = None,
    flip: bool = False,
    out: Optional[Planes] = None,
) -> Planes:
    """Scales an I420 frame as libyuv does, which rounds differently on x86-64 and arm64.

    >>> [plane.shape for plane in kelvra_cv.scale_i420(bytes(24), (2, 2), frame_size=(4, 4))]
    [(2, 2), (1, 1), (1, 1)]
    """
    return _core.scale_i420(frame, size, mode, frame_size, flip, out)


def scale_argb(
    image: Image,
    size: Size,
    mode: ScaleMode = ScaleMode.BOX,
    *,
    clip: Optional[Rect] = None,
    out: Optional[Image] = None,
) -> Image:
    """Scales (height, width, 4) pixels as libyuv does. With `clip`, only the pixels of that
    rectangle of the result are written; the others are those of `out`, or 0.

    >>> kelvra_cv.scale_argb(np.full((4, 4, 4), 7, np.uint8), (2, 1))[0, 0]
    array([7, 7, 7, 7], dtype=uint8)
    """
    return _core.scale_argb(image, size, mode, clip, out)
