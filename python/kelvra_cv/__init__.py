"""Exact image processing for photo and video editing, over numpy arrays.

    >>> photo = np.full((480, 640, 3), 128, np.uint8)
    >>> small = kelvra_cv.resize_bilinear(photo, (320, 240))
    >>> kelvra_cv.run("clahe clip=3 | bilateral 0.03 0.1", small).shape
    (240, 320, 3)

Of every function, unless its text says otherwise:

- **Images** are uint8 arrays, (height, width) or (height, width, channels): R, G, B(, A). Views,
  crops and arrays with padded rows are used where they are, as far as the library can walk them;
  what it cannot is copied once, silently. Nothing is written but results.
- **Results** are new arrays, or `out`, an array of the result's type and shape, which saves the
  allocation and may overlap the inputs.
- **The same bytes** come out on x86-64 and arm64. Shifts and conversions to bytes truncate.
- **Mistakes** are a TypeError or a ValueError that names the argument, what came and what is
  wanted. Nothing is printed.
- **Threads**: the interpreter's lock is released while the library works, so that threads use all
  cores.
"""

from . import _core
from .chains import *
from .color import *
from .detection import *
from .edges import *
from .files import *
from .filters import *
from .frames import *
from .geometry import *
from .shapes import *

__version__: str = _core.get_version()[1:]


def get_version() -> str:
    """The library's version.

    >>> kelvra_cv.get_version()
    'v1.6.3'
    """
    return _core.get_version()


def get_cpu_core_num() -> int:
    """The number of processors that are online, or -1 if the system cannot tell.

    >>> kelvra_cv.get_cpu_core_num() >= 1
    True
    """
    return _core.get_cpu_core_num()
