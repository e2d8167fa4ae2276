"""Resizing, transforms, warps and aligned crops.

Sizes are (width, height). Matrices are float32 arrays of shape (2, 3) or (3, 3); points are x, y, and
a pixel's centre lies at its column and row plus 0.5.
"""

from enum import IntEnum
from typing import Optional, Sequence, Tuple, TypeVar, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._types import Floats, Image, Size

__all__ = [
    "Border", "resize_nn", "resize_bilinear", "resize_bilinear_c4_to_c3", "resize_bicubic",
    "get_rotation_matrix", "get_affine_transform", "invert_affine_transform",
    "get_perspective_transform", "invert_perspective_transform", "warp_affine",
    "warp_perspective", "align_crop_img", "align_back_img",
]

Pixels = TypeVar("Pixels", Image, Floats)


class Border(IntEnum):
    """What a warp finds outside of the image."""

    CONSTANT = 0
    """The fill value, also where it is blended with the image's edge."""
    REPLICATE = 1
    """The nearest pixel of the image."""
    KEEP = 2
    """Pixels that need something outside stay as they are in `out`, or 0."""


def resize_nn(image: Image, size: Size, *, out: Optional[Image] = None) -> Image:
    """Nearest neighbour: the pixel at the floor of (x + 0.5) * width / new_width - 0.5.

    image: (height, width), or with 3 channels.

    >>> kelvra_cv.resize_nn(np.array([[1, 2, 3, 4]], np.uint8), (2, 1))
    array([[1, 3]], dtype=uint8)
    """
    return _core.resize_nn(image, size, out)


def resize_bilinear(
    image: Pixels, size: Size, *, order: str = "rgba", out: Optional[Pixels] = None
) -> Pixels:
    """Bilinear, pixel centres onto pixel centres; bytes by 11-bit weights, truncated.

    image: uint8 (height, width), or with 3 or 4 channels, or float32 (height, width). Four
    channels in order="bgra" come out as R, G, B, A.

    >>> kelvra_cv.resize_bilinear(np.array([[0, 100]], np.uint8), (4, 1))
    array([[  0,  25,  75, 100]], dtype=uint8)
    """
    result: Pixels = _core.resize_bilinear(image, size, order, out)
    return result


def resize_bilinear_c4_to_c3(
    image: Image, size: Size, *, order: str = "rgba", out: Optional[Image] = None
) -> Image:
    """`resize_bilinear` of (height, width, 4) pixels into R, G, B; alpha is dropped.

    >>> kelvra_cv.resize_bilinear_c4_to_c3(np.full((2, 2, 4), 9, np.uint8), (1, 1))
    array([[[9, 9, 9]]], dtype=uint8)
    """
    return _core.resize_bilinear_c4_to_c3(image, size, order, out)


def resize_bicubic(image: Image, size: Size, *, out: Optional[Image] = None) -> Image:
    """Cubic convolution with a = +0.75, on purpose; sums are cut to bytes, not clamped.

    image: (height, width), or with 3 channels.

    >>> kelvra_cv.resize_bicubic(np.full((4, 4), 50, np.uint8), (2, 2))
    array([[50, 50],
           [50, 50]], dtype=uint8)
    """
    return _core.resize_bicubic(image, size, out)


def get_rotation_matrix(angle: float, scale: float, center: Tuple[float, float]) -> Floats:
    """Turns by `angle` degrees, counter-clockwise on the screen, and scales about the center.

    >>> kelvra_cv.get_rotation_matrix(0, 2, (1, 1))
    array([[ 2.,  0., -1.],
           [-0.,  2., -1.]], dtype=float32)
    """
    return _core.get_rotation_matrix(angle, scale, center)


def get_affine_transform(src: npt.ArrayLike, dst: npt.ArrayLike) -> Floats:
    """The matrix that maps `src` onto `dst`, both of shape (n, 2).

    Three points of **integers**: the affine map onto them exactly. **Floats**, any number: the
    similarity (scale, rotation, shift) with the least squares of distances.

    >>> kelvra_cv.get_affine_transform([[0, 0], [1, 0], [0, 1]], [[5, 6], [7, 6], [5, 9]])
    array([[2., 0., 5.],
           [0., 3., 6.]], dtype=float32)
    """
    return _core.get_affine_transform(src, dst)


def invert_affine_transform(M: npt.ArrayLike) -> Floats:
    """The inverse of a (2, 3) matrix; zeros if there is none.

    >>> kelvra_cv.invert_affine_transform([[2, 0, 1], [0, 2, 1]])[1]
    array([-0. ,  0.5, -0.5], dtype=float32)
    """
    return _core.invert_affine_transform(M)


def get_perspective_transform(src: npt.ArrayLike, dst: npt.ArrayLike) -> Floats:
    """The (3, 3) matrix that maps four points (4, 2) exactly onto four others.

    >>> square = [[0, 0], [1, 0], [1, 1], [0, 1]]
    >>> kelvra_cv.get_perspective_transform(square, np.multiply(square, 2)).diagonal()
    array([2., 2., 1.], dtype=float32)
    """
    return _core.get_perspective_transform(src, dst)


def invert_perspective_transform(H: npt.ArrayLike) -> Floats:
    """The inverse of a (3, 3) matrix, its last element 1.

    >>> kelvra_cv.invert_perspective_transform(np.diag([2, 4, 1])).diagonal()
    array([0.5 , 0.25, 1.  ], dtype=float32)
    """
    return _core.invert_perspective_transform(H)


def warp_affine(
    image: Image,
    M: npt.ArrayLike,
    size: Size,
    *,
    border: Border = Border.CONSTANT,
    fill: Union[int, Sequence[int]] = 0,
    out: Optional[Image] = None,
) -> Image:
    """Warps through an affine matrix, from source to destination, with bilinear interpolation in
    fixed point, rounded to nearest.

    image: (height, width), or with 4 channels. fill: a byte, or one for each channel.

    >>> kelvra_cv.warp_affine(np.array([[1, 2]], np.uint8), [[1, 0, 1], [0, 1, 0]], (3, 1), fill=9)
    array([[9, 1, 2]], dtype=uint8)
    """
    return _core.warp_affine(image, M, size, border, fill, out)


def warp_perspective(
    image: Image,
    H: npt.ArrayLike,
    size: Size,
    *,
    border: Border = Border.CONSTANT,
    fill: Union[int, Sequence[int]] = 0,
    out: Optional[Image] = None,
) -> Image:
    """As `warp_affine`, through a (3, 3) matrix, of (height, width, 4) images.

    >>> kelvra_cv.warp_perspective(np.full((1, 1, 4), 5, np.uint8), np.eye(3), (1, 1))
    array([[[5, 5, 5, 5]]], dtype=uint8)
    """
    return _core.warp_perspective(image, H, size, border, fill, out)


def align_crop_img(
    image: Image,
    crop_points: npt.ArrayLike,
    image_points: npt.ArrayLike,
    size: Size,
    *,
    out: Optional[Image] = None,
) -> Tuple[Image, Floats]:
    """Cuts out what landmarks enclose, turned and scaled so that they come to lie at
    `crop_points`; outside of the image all is 0.

    image: (height, width, 4). Points: (n, 2) each. The results: the crop, and the (2, 3) matrix
    from crop to image for `align_back_img`.

    >>> points = [[0.0, 0.0], [4.0, 0.0]]
    >>> crop, inverse = kelvra_cv.align_crop_img(
    ...     np.full((4, 4, 4), 8, np.uint8), points, points, (2, 2))
    >>> crop[0, 0]
    array([8, 8, 8, 8], dtype=uint8)
    """
    return _core.align_crop_img(image, crop_points, image_points, size, out)


def align_back_img(
    crop: Image,
    inverse: npt.ArrayLike,
    image: Image,
    *,
    erode_radius: int = 0,
    feather_sigma: float = 0.0,
    out: Optional[Image] = None,
) -> Image:
    """The image with a crop of `align_crop_img`, changed or not, pasted back with a soft edge.

    crop and image: (height, width, 4). The place is shrunk by `erode_radius` pixels and feathered;
    an edge without a visible step is shrunk by about 6 `feather_sigma`. With out=image, the image
    itself is changed.

    >>> patch = np.full((2, 2, 4), 8, np.uint8)
    >>> kelvra_cv.align_back_img(patch, np.eye(2, 3), np.zeros((4, 4, 4), np.uint8))[..., 0]
    array([[8, 8, 0, 0],
           [8, 8, 0, 0],
           [0, 0, 0, 0],
           [0, 0, 0, 0]], dtype=uint8)
    """
    return _core.align_back_img(crop, inverse, image, erode_radius, feather_sigma, out)
