"""Network tensors, boxes, anchors and corners."""

from typing import List, NamedTuple, Optional, Sequence, Tuple

import numpy.typing as npt

from . import _core
from ._types import Floats, Image, Ints, Size

__all__ = [
    "BBox", "detect_preprocess", "detect_postprocess", "get_anchors", "fast_9_16",
]


class BBox(NamedTuple):
    """A detected object: its edges, score and class."""

    x1: float
    y1: float
    x2: float
    y2: float
    score: float
    label: int


def detect_preprocess(
    image: Image,
    size: Size,
    *,
    mean: Optional[npt.ArrayLike] = None,
    std: Optional[npt.ArrayLike] = None,
    planar: bool = True,
    keep_order: bool = True,
    order: str = "rgba",
    out: Optional[Floats] = None,
) -> Tuple[Floats, float]:
    """A detection network's input: the image, with its aspect ratio, in the top-left corner, zeros
    elsewhere; and the scale, by which tensor pixels become image pixels.

    image: (height, width, 3), or 4 channels in `order`, whose alpha is dropped. mean and std: three
    numbers each for (value - mean) / std, or None for 0 … 255. The tensor: float32,
    (3, height, width), or (height, width, 3) without `planar`; R, G, B, or with keep_order=False
    B, G, R.

    >>> tensor, scale = kelvra_cv.detect_preprocess(np.full((4, 8, 3), 255, np.uint8), (4, 4))
    >>> tensor.shape, scale, tensor[0, :, 0].tolist()
    ((3, 4, 4), 2.0, [255.0, 255.0, 0.0, 0.0])
    """
    return _core.detect_preprocess(image, size, mean, std, planar, keep_order, order, out)


def detect_postprocess(
    rows: npt.ArrayLike, score_threshold: float, nms_threshold: float
) -> List[BBox]:
    """Decodes a detection network's output and suppresses overlapping boxes of the same class.

    rows: (n, 5 + classes): centre x and y, width, height, objectness, a score for each class. Kept
    are those whose objectness times best score reaches score_threshold; of two of a class, the
    better one where their intersection over union is greater than nms_threshold.

    >>> kelvra_cv.detect_postprocess([[10, 10, 4, 4, 1, 0.25, 0.5]], 0.3, 0.5)
    [BBox(x1=8.0, y1=8.0, x2=12.0, y2=12.0, score=0.5, label=1)]
    """
    found = _core.detect_postprocess(rows, score_threshold, nms_threshold)
    return [BBox(*each) for each in found]


def get_anchors(
    size: Size, anchor_sizes: Sequence[Sequence[int]], strides: Sequence[int]
) -> Floats:
    """A detector's anchor boxes, (n, 4): centre x and y, width and height, in parts of the image.

    anchor_sizes[i]: the sizes of level i, in pixels; as many for each level. By level, row, column
    and size.

    >>> kelvra_cv.get_anchors((32, 16), [[8]], [16])
    array([[0.25, 0.5 , 0.25, 0.5 ],
           [0.75, 0.5 , 0.25, 0.5 ]], dtype=float32)
    """
    return _core.get_anchors(size, anchor_sizes, strides)


def fast_9_16(
    image: Image,
    threshold: int,
    *,
    nonmax_suppression: bool = True,
    mask: Optional[Image] = None,
    order: str = "rgba",
) -> Tuple[Ints, Floats]:
    """FAST 9/16 corners (Rosten, Drummond): nine of the sixteen pixels around differ by more than
    `threshold`.

    image: (height, width), or with 3 channels, or 4 in `order`. mask: (height, width); pixels with
    0 are not tested. The results: int32 (n, 2), x and y in raster order, and float32 (n,)
    responses, which are 0 without suppression.

    >>> image = np.zeros((16, 16), np.uint8)
    >>> image[8, 8] = 255
    >>> kelvra_cv.fast_9_16(image, 50)[0].tolist()
    [[8, 8]]
    """
    return _core.fast_9_16(image, threshold, nonmax_suppression, mask, order)
