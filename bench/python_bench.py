#!/usr/bin/python3
"""What a call from Python costs, and what threads gain over photos, beside Pillow and OpenCV's package:
prints the tables of docs/python.md.

    PYTHONPATH=build/python/python /usr/bin/python3 bench/python_bench.py PHOTO…
"""

import os
import platform
import sys
import tempfile
import time
import timeit
from concurrent.futures import ThreadPoolExecutor

import cv2
import kelvra_cv as k
import numpy as np
import PIL
from PIL import Image, ImageFilter

ROUNDS = 5


def microseconds(work):
    """The least of many runs, which other processes disturb least."""
    count = max(int(0.002 / max(timeit.timeit(work, number=3) / 3, 1e-7)), 1)
    return min(timeit.repeat(work, number=count, repeat=200)) / count * 1e6


def print_calls():
    rgb = np.random.default_rng(1).integers(0, 256, (32, 32, 3), np.uint8)
    gray = k.rgb2gray(rgb)
    out, small = np.empty_like(gray), np.empty((16, 16, 3), np.uint8)
    picture, gray_picture = Image.fromarray(rgb), Image.fromarray(gray)
    rows = [
        ("gray", lambda: k.rgb2gray(rgb), lambda: k.rgb2gray(rgb, out=out),
         lambda: cv2.cvtColor(rgb, cv2.COLOR_RGB2GRAY), lambda: picture.convert("L")),
        ("resize to 16x16, bilinear", lambda: k.resize_bilinear(rgb, (16, 16)),
         lambda: k.resize_bilinear(rgb, (16, 16), out=small),
         lambda: cv2.resize(rgb, (16, 16)), lambda: picture.resize((16, 16), Image.BILINEAR)),
        ("blur 3x3", lambda: k.gaussian_blur_3x3(gray), lambda: k.gaussian_blur_3x3(gray, out=out),
         lambda: cv2.GaussianBlur(gray, (3, 3), 0),
         lambda: gray_picture.filter(ImageFilter.GaussianBlur(1))),
        ("threshold", lambda: k.threshold(gray, 99), lambda: k.threshold(gray, 99, out=out),
         lambda: cv2.threshold(gray, 99, 255, 0), lambda: gray_picture.point(TABLE)),
        ("nothing: an argument is refused", lambda: refused(k.threshold), None, None, None),
    ]
    print("| 32x32, microseconds a call | kelvra_cv | with out= | OpenCV | Pillow |")
    print("|---|---|---|---|---|")
    for name, *works in rows:
        times = (f"{microseconds(work):.2f}" if work else "" for work in works)
        print(f"| {name} | {' | '.join(times)} |")


TABLE = [255 * (value > 99) for value in range(256)]


def refused(function):
    try:
        function(None, 99)
    except TypeError:
        pass


def by_kelvra(source, target):
    k.run_file("resize 1280 | gaussian 3", source, target)


def by_arrays(pixels, _):
    height, width = pixels.shape[:2]
    small = k.resize_bilinear(pixels, (1280, 1280 * height // width))
    k.merge_channels([k.gaussian_blur(plane, 7) for plane in k.split_channels(small)])


def by_opencv(source, target):
    image = cv2.imread(source)
    height, width = image.shape[:2]
    small = cv2.resize(image, (1280, 1280 * height // width))
    cv2.imwrite(target, cv2.GaussianBlur(small, (7, 7), 0), [cv2.IMWRITE_JPEG_QUALITY, 90])


def opencv_arrays(pixels, _):
    height, width = pixels.shape[:2]
    cv2.GaussianBlur(cv2.resize(pixels, (1280, 1280 * height // width)), (7, 7), 0)


def by_pillow(source, target):
    image = Image.open(source).convert("RGB")
    small = image.resize((1280, 1280 * image.height // image.width), Image.BILINEAR)
    small.filter(ImageFilter.GaussianBlur(1.2)).save(target, quality=90)


def pillow_arrays(pixels, _):
    image = Image.fromarray(pixels)
    small = image.resize((1280, 1280 * image.height // image.width), Image.BILINEAR)
    np.asarray(small.filter(ImageFilter.GaussianBlur(1.2)))


def seconds(work, sources, folder, threads):
    start = time.perf_counter()
    with ThreadPoolExecutor(threads) as pool:
        list(pool.map(lambda i: work(sources[i], f"{folder}/{i}.jpg"), range(len(sources))))
    return time.perf_counter() - start


def print_threads(photos):
    cv2.setNumThreads(1)
    arrays = 8 * [np.asarray(Image.open(photo).convert("RGB")) for photo in photos]
    cores = os.cpu_count() or 1
    print(f"\n| {len(photos)} photos of {sum(a.size for a in arrays) / 3e6 / len(arrays):.1f} "
          f"megapixels, photos a second | 1 thread | {cores} threads | gain |")
    print("|---|---|---|---|")
    jobs = [("files: kelvra_cv.run_file", by_kelvra, photos), ("files: OpenCV", by_opencv, photos),
            ("files: Pillow", by_pillow, photos), ("arrays: kelvra_cv", by_arrays, arrays),
            ("arrays: OpenCV", opencv_arrays, arrays), ("arrays: Pillow", pillow_arrays, arrays)]
    with tempfile.TemporaryDirectory() as folder:
        for name, work, sources in jobs:
            rounds = [(seconds(work, sources, folder, 1), seconds(work, sources, folder, cores))
                      for _ in range(ROUNDS)]
            one, many = (min(times) for times in zip(*rounds))
            print(f"| {name} | {len(sources) / one:.1f} | {len(sources) / many:.1f} "
                  f"| {one / many:.2f} |")


if __name__ == "__main__":
    processor = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo")
                      if line.startswith("model name")), platform.machine())
    print(f"{time.strftime('%Y-%m-%d')}, {processor}, {os.cpu_count()} processors; kelvra_cv "
          f"{k.__version__}, numpy {np.__version__}, OpenCV {cv2.__version__}, Pillow "
          f"{PIL.__version__}, Python {platform.python_version()}.\n")
    print_calls()
    if sys.argv[1:]:
        print_threads(sys.argv[1:])
