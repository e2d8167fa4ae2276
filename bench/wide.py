#!/usr/bin/env python3
"""wide.py PROGRAMS LIBRARIES ROUNDS: times the benchmark programs with the library of 256-bit vectors in LIBRARIES and
with that of 512-bit ones which the dynamic loader finds beside it, in turns, and prints the page's section on them."""

import datetime
import json
import os
import pathlib
import statistics
import subprocess
import sys

LOADER = "/lib64/ld-linux-x86-64.so.2"
AREAS = ["channels", "color", "detect", "edge", "filter", "lab", "resize", "shape", "smooth", "warp"]
CASES = "1920x1080|640x640|25200x85|512x512|per edge|memcpy"  # ours alone: a peer's name follows a slash
MASKS = ["x86-64-v3", "x86-64-v4"]

SECTION = """## Processors with 512-bit vectors

Commit {commit}, {date}; {processor}; {compiler}. The library of 256-bit vectors (AVX2) beside
the one of 512-bit vectors (AVX-512), which the dynamic loader takes where it can ([Install](install.md)), in microseconds of
processor time, by `./dev bench wide`: {rounds} turns of seven short repetitions each; the lower quartile counts, as the machine is shared.
*Gain* above 1 is in favour of 512 bits. *Memory* is as above, of the first column.

Geometric mean of the gain over the {computing} cases that compute, with less than a third of the memory limit: **{mean:.2f}**;
without those of the area Shape, which walk from pixel to pixel instead of computing with vectors: **{vectors:.2f}**; over
all {count} cases: {all:.2f}.

| Case | 256 bits | 512 bits | Gain | Memory |
| --- | ---: | ---: | ---: | ---: |
{rows}
"""


def run(program, libraries, mask):
    command = [LOADER, "--glibc-hwcaps-mask", mask, "--library-path", libraries, program, "--benchmark_format=json",
               "--benchmark_min_time=0.01", f"--benchmark_filter=^[^/]*({CASES})[^/]*$"]
    found = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout)
    return [b for b in found["benchmarks"] if b["run_type"] == "iteration"]


def lower_quartile(times):
    return sorted(times)[len(times) // 4]


def main():
    programs, libraries, rounds = pathlib.Path(sys.argv[1]), sys.argv[2], int(sys.argv[3])
    times, areas, size = {mask: {} for mask in MASKS}, {}, {}
    for _ in range(rounds):
        for area in AREAS:
            for mask in MASKS:
                for b in run(programs / f"{area}_bench", libraries, mask):
                    times[mask].setdefault(b["name"], []).append(b["cpu_time"])
                    areas.setdefault(b["name"], area)
                    size[b["name"]] = b["bytes"]
    narrow, wide = ({name: lower_quartile(t) for name, t in times[mask].items()} for mask in MASKS)
    per_byte = narrow.pop("memcpy") / size["memcpy"]
    gain = {name: narrow[name] / wide[name] for name in narrow}
    memory = {name: size[name] * per_byte / narrow[name] for name in narrow}
    computing = [name for name in gain if memory[name] < 1 / 3]
    rows = [f"| {name} | {narrow[name]:.1f} | {wide[name]:.1f} | **{gain[name]:.2f}** | {100 * memory[name]:.0f} % |"
            for name in gain]

    def mean(names):
        return statistics.geometric_mean(gain[name] for name in names)

    def output(*command):
        return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout

    processor = next(line for line in open("/proc/cpuinfo") if line.startswith("model name")).split(": ")[1].strip()
    print(SECTION.format(
        commit=output("git", "rev-parse", "--short=10", "HEAD").strip(), date=datetime.date.today(),
        processor=processor, compiler=output(os.environ.get("CXX", "g++"), "--version").splitlines()[0], rounds=rounds,
        computing=len(computing), mean=mean(computing),
        vectors=mean(name for name in computing if areas[name] != "shape"),
        count=len(gain), all=mean(gain), rows="\n".join(rows)), end="")


if __name__ == "__main__":
    main()
