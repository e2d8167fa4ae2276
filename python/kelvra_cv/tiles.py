"""Images that do not fit into memory: filters of a neighbourhood over the tiles of a Dask array.

    >>> import dask.array as da
    >>> large = da.zeros((3000, 5000), dtype=np.uint8, chunks=1024)  # or da.from_array(np.memmap(...))
    >>> from kelvra_cv.tiles import map_tiles
    >>> edges = map_tiles(kelvra_cv.sobel_edge, large, threshold=40)
    >>> int(edges[:8, :8].compute().max())
    0

The result is that of the whole image, byte by byte, at tile borders and at the image's own: each tile
is given as much of its neighbours as the filter reaches, and starts where the filter's own rules (the
box filter's columns of eight, the windows' blocks) start anew.
"""

import math
from typing import Any, Callable, Dict, Tuple

import dask.array as da
import numpy as np

from . import color, edges, filters

__all__ = ["map_tiles", "SUPPORTED"]

Reach = Callable[..., Tuple[int, int]]


def _box_blur_reach(sigma: float) -> Tuple[int, int]:
    # Three box filters, of radii around sqrt(4 sigma^2 + 1).
    return 3 * (math.ceil(math.sqrt(4 * sigma * sigma + 1)) + 2), 8


def _window(radius: int) -> Tuple[int, int]:
    return radius, 2 * radius + 1


_NONE: Reach = lambda **options: (0, 1)
_ONE: Reach = lambda **options: (1, 1)

# For each function, from its options: how many pixels it looks at on each side, and the distance at
# which its rules repeat, at which tiles may start.
_REACH: Dict[Callable[..., Any], Reach] = {
    color.rgb2gray: _NONE,
    color.rgba2gray: _NONE,
    color.rgb_to_ycbcr: _NONE,
    color.ycbcr_to_rgb: _NONE,
    color.rgba2hsv: _NONE,
    color.hsv2rgb: _NONE,
    color.convert_c4_to_c3: _NONE,
    color.rgb_to_lab: _NONE,
    color.rgb_to_lab_fast: _NONE,
    color.lab_to_rgb_fast: _NONE,
    filters.threshold: _NONE,
    filters.gaussian_blur: lambda ksize, sigma=0.0: (max(ksize, 3) // 2, 1),
    filters.gaussian_blur_3x3: _ONE,
    filters.gaussian_blur_5x5: lambda: (4, 1),  # the last column looks three back
    filters.gaussian_blur_fast: _box_blur_reach,
    filters.filter_box: lambda radius: (radius, 8),
    filters.filter_max: _window,
    filters.filter_min: _window,
    filters.dilate_mask: _window,
    filters.erode_mask: _window,
    edges.sobel_edge: lambda threshold: (1, 1),
    edges.get_mask_edge: _ONE,
}

SUPPORTED = frozenset(each.__name__ for each in _REACH)
"""The names of the functions that `map_tiles` takes."""


def _sides(length: int, wanted: int, depth: int, step: int) -> Tuple[int, ...]:
    """Tiles of about the wanted side that start at multiples of `step`, none smaller than depth."""
    side = max(math.ceil(max(wanted, depth, 1) / step) * step, step)
    count = max((length - depth) // side, 1) if length > side else 1
    return (*(side for _ in range(count - 1)), length - side * (count - 1))


def map_tiles(function: Callable[..., Any], image: da.Array, **options: Any) -> da.Array:
    """`function(image, **options)` of a Dask array, computed tile by tile when it is asked for.

    function: one of `SUPPORTED`. image: a Dask array of the shape that the function takes; its chunks
    tell how large tiles should be about. options: the function's, by name, but for `out`.
    """
    if function not in _REACH:
        raise ValueError(f"function: got {function!r}, want one of {', '.join(sorted(SUPPORTED))}")
    if "out" in options or options.get("planar"):
        raise ValueError("options: got out or planar, which tiles do not have")
    reach, step = _REACH[function](**options)
    depth = math.ceil(reach / step) * step
    probe = function(np.zeros((2 * depth + 1,) * 2 + image.shape[2:], image.dtype), **options)
    height, width = (
        _sides(length, max(chunks), depth, step)
        for length, chunks in zip(image.shape[:2], image.chunks[:2])
    )
    rest = tuple((length,) for length in image.shape[2:])
    tiled = image.rechunk((height, width, *rest))
    depths = {0: depth if len(height) > 1 else 0, 1: depth if len(width) > 1 else 0}
    overlapped = da.overlap.overlap(
        tiled, depth={**depths, 2: 0} if image.ndim == 3 else depths, boundary="none"
    )
    dropped = [2] if probe.ndim < image.ndim else []
    chunks = overlapped.chunks[:2] + tuple((length,) for length in probe.shape[2:])
    mapped = da.map_blocks(
        function, overlapped, dtype=probe.dtype, drop_axis=dropped, chunks=chunks,
        meta=np.empty((0,) * probe.ndim, probe.dtype), **options
    )
    trims = {**depths, 2: 0} if probe.ndim == 3 else depths
    return da.overlap.trim_internal(mapped, trims, boundary="none")
