"""Operations by name, and chains of them: the table that the command line offers too."""

import os
from typing import Dict, List, NamedTuple, Optional, Tuple, Union

from . import _core
from ._types import Image, Ints

__all__ = [
    "Parameter", "Operation", "Findings", "operations", "run", "find", "normalized", "run_file",
]


class Parameter(NamedTuple):
    """A parameter of an operation, as it is typed in chains."""

    name: str
    type: str
    """"whole", "number", "switch", "choice" or "size"."""
    wanted: str
    """What a value must be, such as "a number from 0 to 1"."""
    default: str
    meaning: str


class Operation(NamedTuple):
    """An entry of the table."""

    name: str
    family: str
    sentence: str
    parameters: Tuple[Parameter, ...]
    takes: str
    gives: str
    finds: bool
    """Whether `find` has an answer."""
    functions: Tuple[str, ...]
    """The library's functions that do it."""


class Findings(NamedTuple):
    """What an operation found: a dictionary for each, and the points of outlines."""

    rows: List[Dict[str, float]]
    points: List[Ints]


def operations(family: Optional[str] = None) -> List[Operation]:
    """All operations, or those of one family.

    >>> [each.name for each in kelvra_cv.operations() if each.name == "clahe"]
    ['clahe']
    """
    return [
        Operation(name, kind, sentence, tuple(Parameter(*each) for each in parameters), *rest)
        for name, kind, sentence, parameters, *rest in _core.operations()
        if family in (None, kind)
    ]


def run(chain: str, image: Image) -> Image:
    """The image after a chain of operations, such as "resize 50% | clahe clip=3".

    image: (height, width), or with 3 channels, R, G, B, or 4, R, G, B, A. ValueError names what is
    wrong with a chain, or with the image for it.

    >>> kelvra_cv.run("resize 50% | gray", np.full((4, 4, 3), 90, np.uint8))
    array([[90, 90],
           [90, 90]], dtype=uint8)
    """
    return _core.run(chain, image)


def find(chain: str, image: Image) -> Findings:
    """What the last operation of a chain finds in the image after those before it.

    >>> kelvra_cv.find("bounds", np.pad(np.full((3, 3), 255, np.uint8), 4)).rows[0]["left"]
    4.0
    """
    return Findings(*_core.find(chain, image))


def normalized(chain: str) -> str:
    """The same chain with the values that are not defaults, by name.

    >>> kelvra_cv.normalized("resize 30% |  clahe")
    'resize size=30% | clahe'
    """
    return _core.normalized(chain)


def _path(path: "str | os.PathLike[str]") -> str:
    name = os.fspath(path)
    return "./-" if name == "-" else name  # a file of that name, not standard input


def run_file(
    chain: str,
    input: "str | os.PathLike[str]",
    output: "str | os.PathLike[str]",
    *,
    format: str = "",
    quality: int = 90,
    effort: int = 3,
) -> None:
    """Reads a JPEG or PNG file, runs a chain and writes the result, as the command line does and with
    the same bytes: turned upright, with its colour profile and Exif, beside its place and then
    renamed.

    format: "jpeg" or "png"; "" for what the output's name says. quality: of JPEG, 1 to 100. effort:
    of PNG compression, 0 to 9. OSError names a file that cannot be read or written.

    >>> kelvra_cv.run_file("gray", "no such file.png", "out.png")
    Traceback (most recent call last):
    OSError: no such file.png: cannot open: No such file or directory
    """
    if format not in ("", "jpeg", "png"):
        raise ValueError(f"format: got {format!r}, want 'jpeg', 'png' or ''")
    for name, value, least, most in (("quality", quality, 1, 100), ("effort", effort, 0, 9)):
        if not least <= value <= most:
            raise ValueError(f"{name}: got {value!r}, want an integer from {least} to {most}")
    _core.run_file(chain, _path(input), _path(output), format, quality, effort)
