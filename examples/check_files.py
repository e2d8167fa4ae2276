#!/usr/bin/env python3
"""check_files.py PROGRAMS PHOTO.jpg: the examples on small, turned and damaged picture files.

PROGRAMS is the folder of the built examples. Needs djpeg and exiftool.
"""
import pathlib
import resource
import struct
import subprocess
import sys
import tempfile
import zlib

programs = pathlib.Path(sys.argv[1])
photo = pathlib.Path(sys.argv[2]).read_bytes()
folder = tempfile.TemporaryDirectory()
at = pathlib.Path(folder.name)


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png(width, height, rows):
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) +
            chunk(b"IEND", b""))


def whole_png(width, height):
    return png(width, height, (b"\0" + b"\x20\x80\xe0" * width) * height)


def run(program, *arguments):
    def limit():  # 2 GB of memory and 60 seconds
        resource.setrlimit(resource.RLIMIT_AS, (2 << 30, 2 << 30))
        resource.setrlimit(resource.RLIMIT_CPU, (60, 60))
    path = programs / program / ("export_photo" if program == "export" else program)
    return subprocess.run([path, *arguments], preexec_fn=limit, capture_output=True, text=True)


def accepted(program, source, target):
    result = run(program, source, target)
    assert result.returncode == 0, (program, source, result)
    assert pathlib.Path(target).stat().st_size > 0, target


def refused(program, source, target, words):
    result = run(program, source, target)
    assert result.returncode == 1 and words in result.stderr, (program, source, words, result)
    assert result.stderr.count("\n") == 1, result.stderr
    assert not pathlib.Path(target).exists(), f"{target} was left behind"


# Small pictures work.
for width, height in [(1, 1), (2, 1), (1, 2), (3, 1), (1, 3), (3, 3)]:
    source = at / f"{width}x{height}.png"
    source.write_bytes(whole_png(width, height))
    accepted("detector", source, at / "small.png")
    accepted("export", source, at / "small.png")

# Damaged files, and names that cannot be written: one line, and nothing left behind.
(at / "short.jpg").write_bytes(photo[:len(photo) // 2])
(at / "whole.png").write_bytes(whole_png(64, 48))
for program in "detector", "export":
    refused(program, at / "short.jpg", at / "result.jpg", "not a good JPEG")
    refused(program, at / "missing.png", at / "result.png", "cannot open")
    refused(program, at / "whole.png", at / "result.gif", "ends in .jpg or .png")
    refused(program, at / "whole.png", at / "no folder" / "result.png", "cannot write")
refused("export", at / "whole.png", at / "result.jpg", "of the same kind")

# As the camera was held: which corner of the stored picture comes first, second, third and last.
corners = {1: "abcd", 2: "badc", 3: "dcba", 4: "cdab", 5: "acbd", 6: "cadb", 7: "dbca", 8: "bdac"}
red_green = {"a": (0, 0), "b": (1, 0), "c": (0, 1), "d": (1, 1)}
turned = at / "turned.jpg"
for orientation, order in corners.items():
    turned.write_bytes(photo)
    subprocess.run(["exiftool", "-q", "-n", "-overwrite_original",
                    f"-Orientation={orientation}", turned], check=True)
    accepted("export", turned, at / "upright.jpg")
    ppm = subprocess.run(["djpeg", at / "upright.jpg"], check=True, capture_output=True).stdout
    kind, size, top, pixels = ppm.split(b"\n", 3)
    width, height = map(int, size.split())
    assert (width, height) == ((32, 24) if orientation < 5 else (24, 32)), (orientation, size)
    for corner, pixel in zip(order, (0, width - 1, width * (height - 1), width * height - 1)):
        found = tuple(int(value > 128) for value in pixels[3 * pixel:3 * pixel + 2])
        assert found == red_green[corner], (orientation, corner, found)

print("small pictures work, turned ones stand upright, damaged ones are refused")
