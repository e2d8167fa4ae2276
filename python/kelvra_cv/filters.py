"""Blurs, threshold, minimum and maximum, guided and bilateral filters.

Borders are replicated unless a function says otherwise.
"""

from typing import Optional

from . import _core
from ._types import Image

__all__ = [
    "gaussian_blur", "gaussian_blur_fast", "gaussian_blur_3x3", "gaussian_blur_5x5",
    "filter_box", "filter_max", "filter_min", "dilate_mask", "erode_mask", "threshold",
    "guided_filter", "bilateral_filter",
]


def gaussian_blur(
    image: Image, ksize: int, sigma: float = 0.0, *, out: Optional[Image] = None
) -> Image:
    """Gaussian blur in single precision, truncated to bytes after each of its two passes.

    image: (height, width). ksize: pixels along each side of the kernel, odd, not more than a side
    of the image; 1 counts as 3. sigma: in pixels; 0 stands for 0.15 (ksize - 1) + 0.5.

    >>> kelvra_cv.gaussian_blur(np.array([[0, 0, 0], [0, 255, 0], [0, 0, 0]], np.uint8), 3, 0.5)
    array([[  2,  21,   2],
           [ 21, 157,  21],
           [  2,  21,   2]], dtype=uint8)
    """
    return _core.gaussian_blur(image, ksize, sigma, out)


def gaussian_blur_fast(image: Image, sigma: float, *, out: Optional[Image] = None) -> Image:
    """About a Gaussian blur of twice `sigma`, at a cost that does not grow with it: three box
    filters.

    image: (height, width), or (height, width, 4), of which the fourth channel is copied.

    >>> kelvra_cv.gaussian_blur_fast(np.full((32, 32), 7, np.uint8), 2.0).max()
    7
    """
    return _core.gaussian_blur_fast(image, sigma, out)


def gaussian_blur_3x3(image: Image, *, out: Optional[Image] = None) -> Image:
    """The weights 1 2 1 along rows and then across them, truncated each time.

    image: (height, width).

    >>> kelvra_cv.gaussian_blur_3x3(np.array([[0, 100, 0]], np.uint8))
    array([[25, 50, 25]], dtype=uint8)
    """
    return _core.gaussian_blur_3x3(image, out)


def gaussian_blur_5x5(image: Image, *, out: Optional[Image] = None) -> Image:
    """The weights 1 4 6 4 1 along rows and then across them, truncated each time.

    In rows of 4 pixels and more, the last column is (s[w - 4] + 4 s[w - 3] + 11 s[w - 2]) >> 4,
    without its own pixel, on purpose.

    image: (height, width).

    >>> kelvra_cv.gaussian_blur_5x5(np.array([[0, 0, 160, 0, 0]], np.uint8))
    array([[10, 40, 60, 40, 40]], dtype=uint8)
    """
    return _core.gaussian_blur_5x5(image, out)


def filter_box(image: Image, radius: int, *, out: Optional[Image] = None) -> Image:
    """The mean over squares of 2 radius + 1 pixels, at a cost that does not grow with the radius.

    Columns before width // 8 * 8 are rounded half up, the rest truncated. A square that does not
    fit into the image copies it.

    image: (height, width).

    >>> kelvra_cv.filter_box(np.array([[0, 0, 0], [0, 90, 0], [0, 0, 0]], np.uint8), 1)[1]
    array([10, 10, 10], dtype=uint8)
    """
    return _core.filter_box(image, radius, out)


def filter_max(image: Image, radius: int, *, out: Optional[Image] = None) -> Image:
    """The maximum over squares of 2 radius + 1 pixels: bright areas grow.

    Near the borders the square is not just clipped; a square that does not fit copies the image.

    image: (height, width).

    >>> kelvra_cv.filter_max(np.diag(np.uint8([0, 0, 9, 0, 0])), 1)[2]
    array([0, 9, 9, 9, 0], dtype=uint8)
    """
    return _core.filter_max(image, radius, out)


def filter_min(image: Image, radius: int, *, out: Optional[Image] = None) -> Image:
    """As `filter_max`, with the minimum: bright areas shrink.

    >>> kelvra_cv.filter_min(np.pad(np.full((3, 3), 9, np.uint8), 2), 1)[3]
    array([0, 0, 0, 9, 0, 0, 0], dtype=uint8)
    """
    return _core.filter_min(image, radius, out)


def dilate_mask(image: Image, radius: int, *, out: Optional[Image] = None) -> Image:
    """`filter_max` under its name in mask work.

    >>> kelvra_cv.dilate_mask(np.diag(np.uint8([0, 0, 255, 0, 0])), 1)[2]
    array([  0, 255, 255, 255,   0], dtype=uint8)
    """
    return _core.dilate_mask(image, radius, out)


def erode_mask(image: Image, radius: int, *, out: Optional[Image] = None) -> Image:
    """`filter_min` under its name in mask work.

    >>> kelvra_cv.erode_mask(np.diag([0, 255, 0]).astype(np.uint8), 1).max()
    0
    """
    return _core.erode_mask(image, radius, out)


def threshold(
    image: Image, thresh: int, max_value: int = 255, *, out: Optional[Image] = None
) -> Image:
    """max_value where the image is greater than thresh, else 0.

    image: (height, width).

    >>> kelvra_cv.threshold(np.array([[9, 10, 11]], np.uint8), 10)
    array([[  0,   0, 255]], dtype=uint8)
    """
    return _core.threshold(image, thresh, max_value, out)


def guided_filter(
    image: Image,
    radius: int,
    eps: float,
    guide: Optional[Image] = None,
    scale: float = 1.0,
    *,
    out: Optional[Image] = None,
) -> Image:
    """Smooths the image where the guide is smooth and keeps the guide's edges (He, Sun, Tang).

    The guide's slope is applied to the image itself, on purpose; truncated to bytes.

    image: (height, width), or with 2 to 4 channels, of which a fourth is carried. radius: of the
    windows, in pixels. eps: added to the variance, in units of the squared [0, 1] range. guide: of
    the same size, any channels; None for every channel as its own guide. scale: the statistics
    are taken at this part of the size, up to 4.

    >>> kelvra_cv.guided_filter(np.full((8, 8, 3), 255, np.uint8), 2, 0.01).shape
    (8, 8, 3)
    """
    return _core.guided_filter(image, radius, eps, guide, scale, out)


def bilateral_filter(
    image: Image, sigma_spatial: float, sigma_range: float, *, out: Optional[Image] = None
) -> Image:
    """Recursive bilateral filter: smooths up to edges, along rows and then along columns (Yang).

    image: (height, width), or with 3 or 4 channels. sigma_spatial: the reach in units of 255
    pixels. sigma_range: in units of the [0, 1] range. Both above 0; truncated to bytes.

    >>> kelvra_cv.bilateral_filter(np.array([[10, 12, 200, 202]], np.uint8), 0.03, 0.05)
    array([[ 10,  10, 201, 201]], dtype=uint8)
    """
    return _core.bilateral_filter(image, sigma_spatial, sigma_range, out)
