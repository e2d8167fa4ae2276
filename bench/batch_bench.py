#!/usr/bin/python3
"""Photos a second of `kelvra batch`, beside ImageMagick and libvips: prints the table of docs/tool.md.

    bench/batch_bench.py KELVRA PHOTO…      (Debian: imagemagick, libvips-tools)
"""

import os
import shutil
import subprocess
import sys
import tempfile
import time

ROUNDS = 3
COPIES = 4
ONE_THREAD = {**os.environ, "MAGICK_THREAD_LIMIT": "1", "VIPS_CONCURRENCY": "1"}


def programs(kelvra, out):
    """Each as what it is called and a function from photos and a number of processes to a list of commands."""
    def parts(photos, count):
        return [photos[k::count] for k in range(count)]

    def kelvra_batch(chain):
        return lambda photos, count: [[kelvra, "batch", chain, *photos, "-o", out, "-j", str(count)]]

    def mogrify(*options):
        return lambda photos, count: [
            ["mogrify", "-path", out, "-resize", "1280x1280>", *options, "-quality", "90", *part]
            for part in parts(photos, count)]

    def vips(photos, count):
        return [["vipsthumbnail", "--size", "1280x1280>", "-o", f"{out}/%s.jpg[Q=90]", *part]
                for part in parts(photos, count)]

    return [("kelvra: shrink", kelvra_batch("shrink 1280")),
            ("kelvra: shrink, local contrast", kelvra_batch("shrink 1280 | clahe clip=2")),
            ("vipsthumbnail: shrink", vips),
            ("mogrify: shrink", mogrify()),
            ("mogrify: shrink, sharpen", mogrify("-unsharp", "0x1"))]


def seconds(commands, out):
    shutil.rmtree(out, ignore_errors=True)
    os.mkdir(out)
    start = time.perf_counter()
    running = [subprocess.Popen(c, env=ONE_THREAD, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
               for c in commands]
    if any(process.wait() for process in running):
        sys.exit(f"failed: {commands[0][:4]}")
    return time.perf_counter() - start


def print_shares(kelvra, photos, out):
    """What kelvra says of the time of its own batch."""
    told = subprocess.run([kelvra, "batch", "shrink 1280 | clahe clip=2", *photos, "-o", out, "-j", "1"], check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True).stdout
    print(told.splitlines()[-1])


def main():
    kelvra, *photos = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        out = f"{folder}/out"
        inputs = [f"{folder}/{copy}_{os.path.basename(photo)}" for copy in range(COPIES) for photo in photos]
        for number, path in enumerate(inputs):
            shutil.copy(photos[number % len(photos)], path)
        print(f"| {len(inputs)} photos, photos a second | one core | two cores |")
        print("|---|---:|---:|")
        for name, commands in programs(kelvra, out):
            rates = [len(inputs) / min(seconds(commands(inputs, count), out) for _ in range(ROUNDS)) for count in (1, 2)]
            print(f"| {name} | {rates[0]:.1f} | {rates[1]:.1f} |", flush=True)
        print_shares(kelvra, inputs, out)


if __name__ == "__main__":
    main()
