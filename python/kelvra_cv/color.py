"""Gray, YCbCr, HSV, channel layout and Lab."""

from typing import Optional, Sequence, Tuple, Union

from . import _core
from ._types import Image, Ints, Words

__all__ = [
    "rgb2gray", "rgba2gray", "rgb_to_ycbcr", "ycbcr_to_rgb", "rgba2hsv", "hsv2rgb",
    "convert_c4_to_c3", "split_channels", "merge_channels", "rgb_to_lab",
    "init_rgb_to_lab_fast", "rgb_to_lab_fast", "init_lab_to_rgb_fast", "lab_to_rgb_fast",
    "lab_to_rgb_c3_c4",
]


def rgb2gray(image: Image, *, out: Optional[Image] = None) -> Image:
    """Luminance by BT.601: (19595 R + 38469 G + 7472 B) >> 16, truncated.

    image: (height, width, 3), R, G, B. The result: (height, width).

    >>> kelvra_cv.rgb2gray(np.array([[[255, 0, 0], [9, 9, 9]]], np.uint8))
    array([[76,  9]], dtype=uint8)
    """
    return _core.rgb2gray(image, out)


def rgba2gray(image: Image, *, order: str = "rgba", out: Optional[Image] = None) -> Image:
    """`rgb2gray` of four channels; the fourth has no influence.

    image: (height, width, 4), R, G, B, A, or B, G, R, A with order="bgra".

    >>> kelvra_cv.rgba2gray(np.array([[[255, 0, 0, 7]]], np.uint8), order="bgra")
    array([[29]], dtype=uint8)
    """
    return _core.rgba2gray(image, order, out)


def rgb_to_ycbcr(image: Image, *, planar: bool = False, out: Optional[Image] = None) -> Image:
    """RGB to YCbCr, BT.601 in studio range: Y 16 to 235, Cb and Cr 16 to 240 around 128.

    Fixed point with 10 fractional bits, truncated.

    image: (height, width, 3). The result: the same shape, or (3, height, width) with `planar`.

    >>> kelvra_cv.rgb_to_ycbcr(np.full((1, 1, 3), 255, np.uint8))
    array([[[235, 128, 128]]], dtype=uint8)
    """
    return _core.rgb_to_ycbcr(image, planar, out)


def ycbcr_to_rgb(image: Image, *, planar: bool = False, out: Optional[Image] = None) -> Image:
    """YCbCr, as `rgb_to_ycbcr` gives it, to RGB, clamped to 0 … 255.

    image: (height, width, 3), or (3, height, width) with `planar`. The result: (height, width, 3).

    >>> kelvra_cv.ycbcr_to_rgb(np.array([[[235, 128, 128]]], np.uint8))
    array([[[255, 255, 255]]], dtype=uint8)
    """
    return _core.ycbcr_to_rgb(image, planar, out)


def rgba2hsv(image: Image, *, out: Optional[Image] = None) -> Image:
    """RGB to hue (0 … 255 once around the circle, 0 red, 85 green, 171 blue), saturation, value.

    image: (height, width, 3) or (height, width, 4), whose alpha is dropped. The result has three
    channels. Gray has hue and saturation 0.

    >>> kelvra_cv.rgba2hsv(np.array([[[0, 255, 0]]], np.uint8))
    array([[[ 85, 255, 255]]], dtype=uint8)
    """
    return _core.rgba2hsv(image, out)


def hsv2rgb(image: Image, *, out: Optional[Image] = None) -> Image:
    """HSV, as `rgba2hsv` gives it, to RGB, truncated: there and back may lose 1.

    image and result: (height, width, 3).

    >>> kelvra_cv.hsv2rgb(np.array([[[85, 255, 255]]], np.uint8))
    array([[[  1, 255,   0]]], dtype=uint8)
    """
    return _core.hsv2rgb(image, out)


def convert_c4_to_c3(image: Image, *, order: str = "rgba", out: Optional[Image] = None) -> Image:
    """Drops alpha: R, G, B of (height, width, 4) pixels in either `order`.

    >>> kelvra_cv.convert_c4_to_c3(np.array([[[1, 2, 3, 4]]], np.uint8), order="bgra")
    array([[[3, 2, 1]]], dtype=uint8)
    """
    return _core.convert_c4_to_c3(image, order, out)


def split_channels(image: Image, *, out: Optional[Image] = None) -> Image:
    """The channels as planes.

    image: (height, width, n), n from 2 to 4. The result: (n, height, width).

    >>> red, green, blue = kelvra_cv.split_channels(np.array([[[1, 2, 3]]], np.uint8))
    >>> blue
    array([[3]], dtype=uint8)
    """
    return _core.split_channels(image, out)


def merge_channels(
    planes: Union[Image, Sequence[Image]], *, out: Optional[Image] = None
) -> Image:
    """Planes as the channels of one image; the inverse of `split_channels`.

    planes: 2 to 4 arrays (height, width), or one array (n, height, width).

    >>> kelvra_cv.merge_channels(np.array([[[1]], [[2]], [[3]]], np.uint8))
    array([[[1, 2, 3]]], dtype=uint8)
    """
    return _core.merge_channels(planes, out)


def rgb_to_lab(image: Image, *, out: Optional[Image] = None) -> Image:
    """sRGB to CIE L*a*b* (D65) in bytes: L* 2.55, and a* and b* with 128 for 0; truncated.

    image and result: (height, width, 3).

    >>> kelvra_cv.rgb_to_lab(np.array([[[255, 0, 0]]], np.uint8))
    array([[[135, 208, 195]]], dtype=uint8)
    """
    return _core.rgb_to_lab(image, out)


def init_rgb_to_lab_fast() -> Tuple[Ints, Ints]:
    """The tables of `rgb_to_lab_fast`: int32 arrays of 256 and of 1500 numbers.

    Made once and passed as `tables`, they save making them for every image.

    >>> [len(table) for table in kelvra_cv.init_rgb_to_lab_fast()]
    [256, 1500]
    """
    return _core.init_rgb_to_lab_fast()


def rgb_to_lab_fast(
    image: Image,
    *,
    order: str = "rgba",
    tables: Optional[Tuple[Ints, Ints]] = None,
    threads: int = 0,
    out: Optional[Image] = None,
) -> Image:
    """sRGB to Lab by tables. X and Z are not divided by the white point, so that a and b differ
    from `rgb_to_lab`'s, on purpose; `lab_to_rgb_fast` is the inverse.

    image: (height, width, 3), R, G, B, or (height, width, 4) in `order`. The result:
    (height, width, 3). The rows are shared out over `threads`; 0 is as many as there are
    processors, at most 4.

    >>> kelvra_cv.rgb_to_lab_fast(np.array([[[255, 0, 0]]], np.uint8))
    array([[[135, 201, 193]]], dtype=uint8)
    """
    return _core.rgb_to_lab_fast(image, order, tables, threads, out)


def init_lab_to_rgb_fast() -> Tuple[Ints, Ints, Ints, Words]:
    """The tables of `lab_to_rgb_fast`, to be passed as `tables`.

    >>> [len(table) for table in kelvra_cv.init_lab_to_rgb_fast()]
    [256, 65536, 65536, 4096]
    """
    return _core.init_lab_to_rgb_fast()


def lab_to_rgb_fast(
    image: Image,
    *,
    mask: Optional[Image] = None,
    tables: Optional[Tuple[Ints, Ints, Ints, Words]] = None,
    threads: int = 0,
    out: Optional[Image] = None,
) -> Image:
    """Lab, as `rgb_to_lab_fast` gives it, to sRGB.

    image and result: (height, width, 3). Where `mask` (height, width) is 0, `out` stays as it is;
    without `out` there are zeros.

    >>> kelvra_cv.lab_to_rgb_fast(np.array([[[135, 201, 193]]], np.uint8))
    array([[[251,  19,   0]]], dtype=uint8)
    """
    return _core.lab_to_rgb_fast(image, mask, tables, threads, out)


def lab_to_rgb_c3_c4(
    image: Image,
    *,
    order: str = "rgba",
    tables: Optional[Tuple[Ints, Ints, Ints, Words]] = None,
    threads: int = 0,
    out: Optional[Image] = None,
) -> Image:
    """`lab_to_rgb_fast` into the colours of (height, width, 4) pixels in `order`.

    The fourth channel of `out` stays as it is; without `out` it is 0.

    >>> kelvra_cv.lab_to_rgb_c3_c4(np.array([[[135, 201, 193]]], np.uint8), order="bgra")
    array([[[  0,  19, 251,   0]]], dtype=uint8)
    """
    return _core.lab_to_rgb_c3_c4(image, order, tables, threads, out)
