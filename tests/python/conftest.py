"""What the tests of the Python package share: the pictures of the C++ tests, and their checksums."""

from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]


def random_numbers(seed, count):
    """The C++ tests' generator (xorshift)."""
    state = (seed * 2654435761 + 1) & 0xFFFFFFFF
    for _ in range(count):
        state ^= (state << 13) & 0xFFFFFFFF
        state ^= state >> 17
        state ^= (state << 5) & 0xFFFFFFFF
        yield state


def picture(width, height, channels):
    y, x, c = np.indices((height, width, channels))
    value = (x * (3 + c) + y * (5 - c)) // 4 + 60 * c
    value = np.where((x - 40) ** 2 + (y - 30) ** 2 < 400, 255 - 80 * c, value)
    value = np.where(x % 50 > 42, np.where(y % 7 == 0, 0, 230), value)
    noise = np.array(list(random_numbers(7, value.size))).reshape(value.shape) % 9
    pixels = np.clip(value % 256 + noise - 4, 0, 255).astype(np.uint8)
    return pixels[:, :, 0] if channels == 1 else pixels


def mask_picture(width, height):
    y, x = np.indices((height, width))
    disc = (x % 40 - 18) ** 2 + (y % 36 - 17) ** 2 < 190
    bar = (y % 23 > 19) & (x % 61 > 8)
    specks = np.array(list(random_numbers(3, x.size))).reshape(x.shape) % 50 == 0
    return np.where((disc | bar) != specks, 255, 0).astype(np.uint8)


def checksum(*arrays):
    """FNV-1a of the arrays' bytes, one after the other."""
    state = 14695981039346656037
    for byte in b"".join(np.ascontiguousarray(each).tobytes() for each in arrays):
        state = (state ^ byte) * 1099511628211 & 0xFFFFFFFFFFFFFFFF
    return f"{state:016x}"


@pytest.fixture(scope="session")
def golden():
    lines = (ROOT / "tests/golden/checksums.txt").read_text().split("\n")
    return dict(line.split() for line in lines if line)


@pytest.fixture(scope="session")
def gray():
    return picture(150, 101, 1)


@pytest.fixture(scope="session")
def rgb():
    return picture(150, 101, 3)


@pytest.fixture(scope="session")
def rgba():
    return picture(150, 101, 4)


@pytest.fixture(scope="session")
def mask():
    return mask_picture(150, 101)
