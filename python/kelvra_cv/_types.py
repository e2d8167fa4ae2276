"""Names for types that many functions share."""

from typing import Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

Image = npt.NDArray[np.uint8]
Floats = npt.NDArray[np.float32]
Ints = npt.NDArray[np.int32]
Shorts = npt.NDArray[np.int16]
Words = npt.NDArray[np.uint16]

Size = Tuple[int, int]
"""(width, height), in pixels."""
Rect = Tuple[int, int, int, int]
"""(x, y, width, height), in pixels."""
Planes = Tuple[Image, Image, Image]
"""The planes Y, U and V of an I420 frame."""
Frame = Union[Image, bytes, bytearray, memoryview, Sequence[Image]]
"""A camera frame: a sequence of its planes, or one buffer (see `kelvra_cv.frames`)."""
