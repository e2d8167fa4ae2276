"""Boundaries, outlines, blobs, polygons, fills and positions in masks.

Masks are uint8 arrays (height, width) of 0 and 255. Outlines, blobs and polygons are int32 arrays of
shape (n, 2): x, y.
"""

from enum import IntEnum
from typing import List, NamedTuple, Optional, Sequence, Tuple

import numpy.typing as npt

from . import _core
from ._types import Image, Ints, Rect

__all__ = [
    "Retrieval", "Approximation", "Center", "find_contours", "find_blob_contours", "find_blobs",
    "find_blobs_contours", "filter_blobs", "approx_poly_dp", "is_inside_poly", "fill_poly",
    "expand_contours", "flood_fill", "get_mask_pos",
]


class Retrieval(IntEnum):
    """Which outlines `find_blob_contours` finds."""

    EXTERNAL = 0
    LIST = 1
    TWO_LEVELS = 2
    TREE = 3


class Approximation(IntEnum):
    """Which points of an outline `find_blob_contours` keeps."""

    NONE = 1
    SIMPLE = 2
    TEH_CHIN_L1 = 3
    TEH_CHIN_KCOS = 4


class Center(NamedTuple):
    """A blob that `filter_blobs` kept."""

    x: int
    y: int
    radius: float
    confidence: float


def find_contours(mask: Image, *, out: Optional[Image] = None) -> Image:
    """255 for foreground with a neighbour (of eight) that is not 255, else 0.

    On the frame, a neighbour inside must be 0; the bottom-right corner's mark is at the left.

    >>> kelvra_cv.find_contours(np.pad(np.full((3, 3), 255, np.uint8), 1))[2]
    array([  0, 255,   0, 255,   0], dtype=uint8)
    """
    return _core.find_contours(mask, out)


def find_blob_contours(
    mask: Image,
    mode: Retrieval = Retrieval.LIST,
    method: Approximation = Approximation.SIMPLE,
) -> List[Ints]:
    """Outlines of regions as ordered points, by OpenCV's finder; every non-zero byte counts.

    >>> kelvra_cv.find_blob_contours(np.full((2, 3), 255, np.uint8))[0].tolist()
    [[0, 0], [0, 1], [2, 1], [2, 0]]
    """
    return _core.find_blob_contours(mask, mode, method)


def find_blobs(mask: Image) -> List[Ints]:
    """Every 4-connected region of 255, with all of its pixels, in raster order.

    >>> [blob.tolist() for blob in kelvra_cv.find_blobs(np.array([[255, 255, 0, 255]], np.uint8))]
    [[[0, 0], [1, 0]], [[3, 0]]]
    """
    return _core.find_blobs(mask)


def find_blobs_contours(mask: Image) -> List[Ints]:
    """As `find_blobs`, with boundary pixels only, and all within two pixels of the image's sides.

    >>> len(kelvra_cv.find_blobs_contours(np.full((5, 5), 255, np.uint8))[0])
    24
    """
    return _core.find_blobs_contours(mask)


def filter_blobs(
    mask: Image,
    blobs: Sequence[npt.ArrayLike],
    *,
    color: Optional[int] = None,
    area: Optional[Tuple[int, int]] = None,
    circularity: Optional[Tuple[float, float]] = None,
    inertia: Optional[Tuple[float, float]] = None,
) -> List[Center]:
    """Measures outlines inside the mask and keeps those that pass all given filters.

    color: the mask's value at the centroid. The others: (least, end) intervals of the area in
    pixels, of 4 pi area / perimeter^2, and of the smaller over the larger moment.

    >>> square = [[1, 1], [5, 1], [5, 5], [1, 5]]
    >>> kelvra_cv.filter_blobs(np.zeros((8, 8), np.uint8), [square], area=(10, 20))[0][:2]
    (3, 3)
    """
    found = _core.filter_blobs(mask, blobs, color, area, circularity, inertia)
    return [Center(*each) for each in found]


def approx_poly_dp(curve: npt.ArrayLike, epsilon: float, closed: bool = True) -> Ints:
    """Simplifies a curve (Douglas, Peucker): none of its points is farther than `epsilon` pixels
    from the line through the kept points around it.

    >>> kelvra_cv.approx_poly_dp([[0, 0], [5, 1], [9, 0]], 2, closed=False).tolist()
    [[0, 0], [9, 0]]
    """
    return _core.approx_poly_dp(curve, epsilon, closed)


def is_inside_poly(polygon: npt.ArrayLike, x: int, y: int) -> bool:
    """Whether an odd number of edges cross row y at a column greater than x.

    >>> kelvra_cv.is_inside_poly([[0, 0], [4, 0], [4, 4], [0, 4]], 2, 2)
    True
    """
    return _core.is_inside_poly(polygon, x, y)


def fill_poly(mask: Image, polygon: npt.ArrayLike, *, out: Optional[Image] = None) -> Image:
    """The mask with 255 wherever `is_inside_poly` is true. The vertices must be inside the mask.

    >>> kelvra_cv.fill_poly(np.zeros((1, 3), np.uint8), [[0, 0], [2, 0], [2, 0]]).max()
    0
    """
    return _core.fill_poly(mask, polygon, out)


def expand_contours(
    mask: Image, contours: Sequence[npt.ArrayLike], radius: int, *, out: Optional[Image] = None
) -> Image:
    """The mask with a disc of 255 around every point: the pixels strictly nearer than `radius`.

    >>> kelvra_cv.expand_contours(np.zeros((1, 5), np.uint8), [[[2, 0]]], 2)
    array([[  0, 255, 255, 255,   0]], dtype=uint8)
    """
    return _core.expand_contours(mask, contours, radius, out)


def flood_fill(
    image: Image,
    seed: Tuple[int, int],
    threshold: int,
    *,
    max_distance: int = 0,
    out: Optional[Image] = None,
) -> Tuple[Image, Rect, int]:
    """The 4-connected region around a seed whose colours differ from the seed's by at most
    `threshold`, and which is not farther from it than `max_distance` (0: any distance).

    image: (height, width, 4); alpha is ignored. The results: the mask, the region's bounding box,
    the number of pixels.

    >>> kelvra_cv.flood_fill(np.zeros((3, 4, 4), np.uint8), (1, 1), 0)[1:]
    ((0, 0, 4, 3), 12)
    """
    return _core.flood_fill(image, seed, threshold, max_distance, out)


def get_mask_pos(mask: Image, *, foreground: int = 255) -> Optional[Tuple[int, int, int, int]]:
    """The bounding box of the pixels that equal `foreground` (255 or 0): left, top, right and
    bottom, all inclusive. None if there are none.

    >>> kelvra_cv.get_mask_pos(np.diag([0, 255, 255]).astype(np.uint8))
    (1, 1, 2, 2)
    """
    return _core.get_mask_pos(mask, foreground)
