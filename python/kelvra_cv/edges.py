"""Sobel, Canny, histograms, CLAHE, mask edges, sums and the pyramid."""

from typing import List, Optional, Sequence, Tuple, Union

from . import _core
from ._types import Image, Ints, Rect, Shorts

__all__ = [
    "sobel_edge", "sobel_grad", "canny", "cal_hist", "clahe", "get_mask_edge", "integral_int",
    "pyramid_gauss",
]


def sobel_edge(image: Image, threshold: int, *, out: Optional[Image] = None) -> Image:
    """255 where |dx| + |dy| > threshold, else 0, with the derivatives of `sobel_grad`.

    image: (height, width).

    >>> kelvra_cv.sobel_edge(np.array([[0, 0, 200, 200]], np.uint8), 100)
    array([[  0, 255, 255,   0]], dtype=uint8)
    """
    return _core.sobel_edge(image, threshold, out)


def sobel_grad(
    image: Image, *, out: Optional[Tuple[Shorts, Shorts]] = None
) -> Tuple[Shorts, Shorts]:
    """Both Sobel derivatives, -1020 … 1020, borders replicated: dx positive where the image is
    brighter on the right, dy where it is brighter above.

    image: (height, width). The results, and `out`: two int16 arrays of the same shape.

    >>> kelvra_cv.sobel_grad(np.array([[0, 0, 200, 200]], np.uint8))[0]
    array([[  0, 800, 800,   0]], dtype=int16)
    """
    return _core.sobel_grad(image, out)


def canny(
    image: Image,
    threshold1: int,
    threshold2: int,
    *,
    order: str = "rgba",
    out: Optional[Image] = None,
) -> Image:
    """Canny edges, 255, of the blurred gray image; else 0.

    The magnitude is |dx| + |dy|. From threshold2 on, pixels are edges; from threshold1 on, those
    that join an edge when their turn comes, row by row.

    image: (height, width), or with 3 channels, or 4 in `order`. The result: (height, width).
    threshold2 must be greater than threshold1.

    >>> step = np.repeat(np.uint8([[0] * 8 + [200] * 8]), 8, axis=0)
    >>> kelvra_cv.canny(step, 50, 100)[4].argmax()
    7
    """
    return _core.canny(image, threshold1, threshold2, order, out)


def cal_hist(
    image: Image, bins: Union[int, Sequence[int]] = 16, *, rect: Optional[Rect] = None
) -> List[Ints]:
    """Counts the samples of a rectangle, channel by channel.

    A value v is counted in counter v // bins, which is a bin of the usual kind for 16 bins only;
    there are max(bins, 255 // bins + 1) counters.

    image: (height, width), or with 2 to 4 channels. bins: one number, or one for each channel.
    rect: (x, y, width, height) inside the image; None for all. The result: an array for each
    channel.

    >>> kelvra_cv.cal_hist(np.array([[0, 15, 16]], np.uint8))[0][:2]
    array([2, 1], dtype=int32)
    """
    return _core.cal_hist(image, bins, rect)


def clahe(
    image: Image,
    tiles: int = 8,
    bins: int = 128,
    clip: float = 3.0,
    *,
    out: Optional[Image] = None,
) -> Image:
    """Contrast-limited adaptive histogram equalisation, of gray or of the value of colours.

    image: (height, width), or with 3 or 4 channels, R, G, B first. tiles: regions per side, 2 to
    16; an image with a shorter side is copied. bins: of the histograms. clip: how many times the
    mean a bin may count; 0 for no limit that matters.

    >>> kelvra_cv.clahe(np.tile(np.uint8([[99, 101]]), (32, 16)), clip=2.0).shape
    (32, 32)
    """
    return _core.clahe(image, tiles, bins, clip, out)


def get_mask_edge(mask: Image, *, foreground: int = 255, out: Optional[Image] = None) -> Image:
    """255 for each foreground pixel on the frame or with background beside, above or below it.

    mask: (height, width), 0 and 255, of which `foreground` is one.

    >>> kelvra_cv.get_mask_edge(np.full((3, 3), 255, np.uint8))[1]
    array([255,   0, 255], dtype=uint8)
    """
    return _core.get_mask_edge(mask, foreground, out)


def integral_int(image: Image, *, out: Optional[Ints] = None) -> Ints:
    """Summed-area table: the sum of all pixels above and to the left, modulo 2^32.

    image: (height, width). The result: int32, (height + 1, width + 1), zeros first.

    >>> kelvra_cv.integral_int(np.array([[1, 2], [3, 4]], np.uint8))[2]
    array([ 0,  4, 10], dtype=int32)
    """
    return _core.integral_int(image, out)


def pyramid_gauss(image: Image, levels: int) -> List[Image]:
    """The image itself and halvings of it, sides rounded up: the weights 1 4 6 4 1 both ways,
    borders replicated, (sum + 128) >> 8.

    image: (height, width), or with 3 or 4 channels. At most `levels` images, the last 1 x 1.

    >>> [level.shape for level in kelvra_cv.pyramid_gauss(np.zeros((5, 3), np.uint8), 9)]
    [(5, 3), (3, 2), (2, 1), (1, 1)]
    """
    return _core.pyramid_gauss(image, levels)
