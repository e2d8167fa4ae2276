"""ICC profiles and Exif of PNG and JPEG files, which are spliced and never decoded.

Files are given as paths, or as bytes of their contents. The result goes to the path `output`, which
may be one of the inputs; without it, the contents are returned.
"""

import os
import tempfile
from pathlib import Path
from typing import Callable, List, Optional, Union

from . import _core

__all__ = [
    "add_png_info", "remove_png_info", "add_jpeg_info",
]

Path_ = Union[str, "os.PathLike[str]"]
File = Union[Path_, bytes]


def _splice(
    splice: Callable[..., str], files: List[File], output: Optional[Path_]
) -> Optional[bytes]:
    with tempfile.TemporaryDirectory(prefix="kelvra_cv-") as folder:
        paths = []
        for i, file in enumerate(files):
            if isinstance(file, bytes):
                path = Path(folder, str(i))
                path.write_bytes(file)
                paths.append(os.fspath(path))
            else:
                paths.append(os.fspath(file))
                with open(paths[-1], "rb"):
                    pass  # so that a missing file is Python's own error
        target = os.fspath(output) if output is not None else os.path.join(folder, "out")
        message = splice(*paths, target)
        if "path error" in message:
            raise OSError(f"{message.splitlines()[-1]}: {output!r}")
        if message:
            raise ValueError(message.splitlines()[-1])
        return Path(target).read_bytes() if output is None else None


def add_png_info(origin: File, image: File, output: Optional[Path_] = None) -> Optional[bytes]:
    """Carries the colour profile (iCCP) and Exif (eXIf) of one PNG file into another, which keeps
    what it has.

    >>> kelvra_cv.add_png_info(b"no", b"png")
    Traceback (most recent call last):
    ValueError: origin png is not png format!
    """
    return _splice(_core.add_png_info, [origin, image], output)


def remove_png_info(image: File, output: Optional[Path_] = None) -> Optional[bytes]:
    """Strips every colour profile (iCCP) from a PNG file; all other chunks stay.

    >>> kelvra_cv.remove_png_info(b"no png")
    Traceback (most recent call last):
    ValueError: origin png is not png format!
    """
    return _splice(_core.remove_png_info, [image], output)


def add_jpeg_info(origin: File, image: File, output: Optional[Path_] = None) -> Optional[bytes]:
    """Carries the colour profile of one JPEG file into another, in place of the one it may have.

    >>> kelvra_cv.add_jpeg_info(b"no", b"jpeg")
    Traceback (most recent call last):
    ValueError: origin jpeg is not jpeg format!
    """
    return _splice(_core.add_jpeg_info, [origin, image], output)
