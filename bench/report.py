"""Measures, and writes docs/benchmarks.md and its picture.

report.py x86-64 DOCS GCC CLANG   runs the benchmark programs of both compilers' builds, in the folders GCC and CLANG
report.py arm64 DOCS FOLDER       takes the instruction counter's rows from FOLDER
report.py page DOCS               writes the page of what was measured before

What was measured is kept in DOCS/benchmarks/, so that either half of the page can be made anew without the other.
DOCS/benchmarks/reasons.toml says what bounds the cases that fall short.
"""

import collections
import datetime
import json
import math
import pathlib
import platform
import statistics
import subprocess
import sys
import tempfile
import tomllib

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

HEADLINES = [  # case, and what it is called in the picture
    ("rgba2gray 1920x1080", "RGBA to gray"),
    ("rgb_to_ycbcr 1920x1080", "RGB to YCbCr"),
    ("rgba2hsv 1920x1080", "RGB to HSV"),
    ("rgb_to_lab 1920x1080", "RGB to Lab, exact"),
    ("convert_c4_to_c3 1920x1080", "drop alpha"),
    ("split_channels c3 1920x1080", "split channels"),
    ("bilinear c3 1920x1080 to 1280x720", "bilinear RGB, 1080p to 720p"),
    ("bilinear c4 1920x1080 to 960x540", "bilinear RGBA, to a half"),
    ("bicubic c3 1920x1080 to 1280x720", "bicubic RGB, 1080p to 720p"),
    ("warpaffine_bilinear_c4 1920x1080", "affine warp RGBA"),
    ("warpperspective_bilinear_c4 1920x1080", "perspective warp RGBA"),
    ("gaussian_blur_5x5 1920x1080", "Gaussian 5x5"),
    ("gaussian_blur, 9 taps 1920x1080", "Gaussian, 9 taps"),
    ("filter_box, radius 10 1920x1080", "box, radius 10"),
    ("filter_max, radius 3 1920x1080", "dilate, radius 3"),
    ("guided_filter_self, radius 8 1920x1080", "guided filter"),
    ("bilateral_filter c3 1920x1080", "bilateral (another algorithm)"),
    ("threshold 1920x1080", "threshold"),
    ("sobel_edge 1920x1080", "Sobel edges"),
    ("canny 50 150 1920x1080", "Canny"),
    ("clahe, gray 1920x1080", "CLAHE"),
    ("pyramid_gauss, channels 3 1920x1080", "Gaussian pyramid RGB"),
    ("integral_int 1920x1080", "summed-area table"),
    ("find_blobs, discs 1920x1080", "blobs"),
    ("flood_fill, part 1920x1080", "flood fill"),
    ("fast_9_16, threshold 40, suppressed 1920x1080", "FAST corners"),
    ("object_detetion_preprocess to 640x640", "network tensor"),
]

PAGE = """# Benchmarks

![How many times as fast as the best peer]({picture})

The bars say how many times as fast as the fastest of its peers each function is: what a user would call instead, OpenCV
on one thread or libyuv directly, on the same data. To the right of 1, ours is faster. Green is x86-64, **measured**;
blue is arm64, **estimated** without an arm64 processor (see [below](#arm64)).

{x86}

{arm64}
"""

X86 = """## x86-64

Commit {commit}, {date}; {machine}; {gcc} and {clang}, each with `-O3 -march=x86-64-v3 -ffp-contract=off`; peers from Debian:
OpenCV {opencv}, libyuv {libyuv}, which choose their code at run time. Made by `./dev bench`.

Each row times one of our functions and a peer, interleaved in one run, on one thread; the best of seven repetitions counts.
*Ratio* is the peer's time over ours. *Memory* is the time in which `memcpy` ({memcpy:.0f} GB/s in this run, bytes read and written
both counted) moves as many bytes as the job must read and write, over our time: 100 % is the machine's limit, which buffers
that fit a cache can pass. *clang* is the time of clang's build over that of GCC's. Compare rows of one run only. Where the peer
does less work, its name says so: libyuv weighs gray and YCbCr with 8 bits. A peer named after what it does ("double
loop", "scalar scan") is the code that an application would otherwise write.

Over all {count} cases, each beside its best peer: geometric mean **{mean:.2f}**, {slower} below 1.

### Below 1

{below}

{tables}

### More threads

Only the table-driven Lab conversions start threads.

{threads}

### Cost and size

Nanoseconds a pixel of every function that works through an image; *small* and *large* say what a pixel of 64x64 and of
4000x3000 costs over one of 1920x1080. *Padded* rows have 52 bytes between them. *Scratch* is the most memory, in KiB, that
a call at 1920x1080 takes and gives back (by `operator new`: what OpenCV takes inside of a call is not seen). Images of
4000x3000 do not fit this machine's last cache, those of 1920x1080 do: what only moves bytes costs up to three times as
much there, as `memcpy` does.

{growth}

Where a pixel of a small image costs more than 1.5 times, or one of a large image more than 1.15 times as much;
*memory* is the share of the large image's time that `memcpy` takes there for as many bytes:

{uneven}

### Compilers

Where one compiler's build takes more than 1.15 times as long as the other's:

{compilers}
"""

ARM64 = """## arm64

Commit {commit}, {date}; {gcc}, `-O3 -march=armv8-a`; peers from Debian's arm64 packages. Made by `./dev bench arm64`.

There was no arm64 processor to time on. The arm64 programs run under emulation, which **counts** their instructions
exactly, and LLVM's models of an out-of-order core ({models[0]}) and a small in-order one ({models[1]}) **estimate**
cycles from samples of them. Such estimates know the execution units and the dependencies between instructions. They do not
know caches and memory, mispredicted branches, or instruction fetch: differences below a tenth mean nothing, memory-bound
functions come out closer in reality, and code with unpredictable branches looks better than it is. Instruction counts are
exact; limits on them are checked with every change (`bench/arm64/limits.txt`).

Over all {count} rows, each beside its best peer: geometric mean **{means[0]:.2f}** ({models[0]}) and **{means[1]:.2f}**
({models[1]}), {slower[0]} and {slower[1]} below 1.

### Below 1 on arm64

{below}

{tables}

### Compilers on arm64

Of {functions} functions at 1920x1080, {clang} executes {mean:.2f} times as many instructions a pixel as GCC (geometric mean).
Where one of them takes more than 1.15 times as many as the other:

{compilers}
"""


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def version(package):
    return output("dpkg-query", "-W", "-f", "${Version}", package).split("+")[0].split("-")[0]


def about():
    return {"commit": output("git", "rev-parse", "--short=10", "HEAD"), "date": datetime.date.today().isoformat(),
            "opencv": version("libopencv-core-dev"), "libyuv": version("libyuv-dev")}


def timed(program):
    """The least time in ns, and the counters, of each entry of a benchmark program."""
    print(f"measuring {program}", flush=True)
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run([program, f"--benchmark_out={out.name}", "--benchmark_out_format=json"], check=True,
                       stdout=subprocess.DEVNULL)
        runs = json.load(out)["benchmarks"]
    best = {}
    for run in sorted(runs, key=lambda run: run.get("order", 0)):
        if run["run_type"] == "iteration":
            ns = run["real_time"] * {"ns": 1, "us": 1e3, "ms": 1e6}[run["time_unit"]]
            name = run["run_name"]
            if name not in best or ns < best[name][0]:
                best[name] = (ns, run["pixels"], run["bytes"], run["scratch"])
    return best


def measure(gcc, clang):
    found = about()
    model = [line for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines() if line.startswith("model name")]
    found["machine"] = model[0].split(":")[1].strip() if model else platform.machine()
    found["gcc"], found["clang"] = (output(c, "--version").splitlines()[0] for c in ("g++", "clang++"))
    found["memcpy"], found["rows"], found["growth"] = 0, [], []
    for program in sorted(gcc.glob("*_bench")):
        ours, other = timed(program), timed(clang / program.name)
        ns, _, copied, _ = ours.pop("memcpy")
        found["memcpy"] = max(found["memcpy"], copied / ns)
        peers = [name for name in ours if " / " in name]
        for name in peers:
            case, peer = name.split(" / ", 1)
            time, pixels, moved, _ = ours[case]
            found["rows"].append({
                "area": program.name.removesuffix("_bench"), "case": case, "peer": peer, "ours": time / pixels,
                "theirs": ours[name][0] / pixels, "bytes": moved / pixels, "clang": other[case][0] / pixels})
        if not peers:
            found["growth"] += [[name, time / pixels, scratch, moved / pixels]
                                for name, (time, pixels, moved, scratch) in ours.items()]
    return found


def collect(folder):
    found = about()
    found["gcc"] = output("aarch64-linux-gnu-g++", "--version").splitlines()[0]
    found["rows"] = []
    for path in sorted(folder.glob("*.json")):
        report = json.loads(path.read_text())
        found["models"] = report["models"]
        found["rows"] += [{"area": path.stem, **row} for row in report["rows"]]
    found["clang"] = output("clang++", "--version").splitlines()[0]
    gcc, clang = ({name: float(count) for count, name in (line.split(None, 1) for line in
                                                         (folder / f"{compiler}.txt").read_text().splitlines())}
                  for compiler in ("gcc", "clang"))
    found["compilers"] = {name: [gcc[name], clang[name]] for name in gcc}
    return found


def markdown(head, rows):
    columns = len(head)
    return "\n".join(["| " + " | ".join(row) + " |" for row in [head, ["---"] + ["---:"] * (columns - 1), *rows]])


def by_area(rows, table):
    areas = collections.defaultdict(list)
    for row in rows:
        areas[row["area"]].append(row)
    return "\n\n".join(f"### {area.capitalize()}\n\n{table(part)}" for area, part in areas.items())


def best(rows, ratio):
    """Of each case the row with its best peer."""
    cases = {}
    for row in rows:
        if row["case"] not in cases or ratio(row) < ratio(cases[row["case"]]):
            cases[row["case"]] = row
    return cases


def kilobytes(count):
    return f"{count / 1024:.{0 if count >= 10240 else 1}f}" if count else "0"


def x86_ratio(row):
    return row["theirs"] / row["ours"]


def arm64_ratio(row, model=0):
    return row["cycles"][model][1] / row["cycles"][model][0]


def short_of(cases, figures, limits, reasons):
    """A table of the cases with one of their figures below or above its limits, and what bounds them."""
    rows = []
    for name, values in cases:
        if any(not low <= value <= high for value, (low, high) in zip(values, limits)):
            reason = next((why for start, why in reasons.items() if name.startswith(start)), "not looked into")
            rows.append([name, *(f"{value:.2f}" for value in values), reason])
    head, rule = ["Case", *figures, "What bounds it"], ["---"] + ["---:"] * len(figures) + ["---"]
    return "\n".join("| " + " | ".join(row) + " |" for row in [head, rule, *rows]) if rows else "None."


def write_x86(found, reasons):
    def table(rows):
        return markdown(["Case", "ns/pixel", "peer's", "Ratio", "Memory", "clang", "Peer"], [
            [row["case"], f"{row['ours']:.3f}", f"{row['theirs']:.3f}", f"**{x86_ratio(row):.2f}**",
             f"{100 * row['bytes'] / found['memcpy'] / row['ours']:.0f} %", f"{row['clang'] / row['ours']:.2f}",
             row["peer"]] for row in rows])

    single = [row for row in found["rows"] if "threads" not in row["case"]]
    sizes = collections.defaultdict(dict)
    for name, ns, scratch, moved in found["growth"]:
        for size in ("64x64", "1920x1080 padded", "1920x1080", "4000x3000"):
            if name.endswith(" " + size):
                case = sizes[name.removesuffix(" " + size)]
                case[size] = ns
                case["bytes"] = moved
                if size == "1920x1080":
                    case["scratch"] = scratch
                break
    growth = markdown(["Function", "64x64", "1920x1080", "padded", "4000x3000", "small", "large", "scratch"], [
        [name, f"{t['64x64']:.3f}", f"{t['1920x1080']:.3f}",
         f"{t['1920x1080 padded']:.3f}" if "1920x1080 padded" in t else "packed", f"{t['4000x3000']:.3f}",
         f"{t['64x64'] / t['1920x1080']:.2f}", f"{t['4000x3000'] / t['1920x1080']:.2f}", kilobytes(t["scratch"])]
        for name, t in sizes.items()])
    copied = sizes["memcpy, 4 bytes a pixel"]
    cases = best(single, x86_ratio)
    ratios = [x86_ratio(row) for row in cases.values()]
    notes = {
        "below": short_of([(name, [x86_ratio(row)]) for name, row in cases.items()], ["Ratio"],
                          [(0.995, math.inf)], reasons["below"]),
        "uneven": short_of([(name, [t["64x64"] / t["1920x1080"], t["4000x3000"] / t["1920x1080"],
                                    t["bytes"] * copied["4000x3000"] / copied["bytes"] / t["4000x3000"]])
                            for name, t in sizes.items()], ["small", "large", "memory"],
                           [(0, 1.5), (0, 1.15), (0, math.inf)], reasons["uneven"]),
        "compilers": short_of([(name, [row["clang"] / row["ours"]]) for name, row in cases.items()], ["clang / GCC"],
                              [(1 / 1.15, 1.15)], reasons["compilers"])}
    return X86.format(**{**found, "growth": growth}, **notes, tables=by_area(single, table), count=len(ratios),
                      threads=table([row for row in found["rows"] if "threads" in row["case"]]),
                      mean=statistics.geometric_mean(ratios), slower=sum(ratio < 0.995 for ratio in ratios))


def write_arm64(found, reasons):
    def table(rows):
        return markdown(["Case", "Instructions/pixel", "peer's", "Ratio", *found["models"], "Peer"], [
            [row["case"], *(f"{n:.2f}" for n in row["instructions"]),
             f"{row['instructions'][1] / row['instructions'][0]:.2f}", f"**{arm64_ratio(row):.2f}**",
             f"{arm64_ratio(row, 1):.2f}", row["peer"]] for row in rows])

    ratios = [[arm64_ratio(row, k) for row in best(found["rows"], lambda row, k=k: arm64_ratio(row, k)).values()]
              for k in (0, 1)]
    cases = [(name, [arm64_ratio(row), row["instructions"][1] / row["instructions"][0]])
             for name, row in best(found["rows"], arm64_ratio).items()]
    below = short_of(cases, [found["models"][0], "instructions"], [(0.995, math.inf), (0, math.inf)], reasons["below"])
    counts = {name: clang / gcc for name, (gcc, clang) in found["compilers"].items()}
    compilers = short_of([(name, [ratio]) for name, ratio in counts.items()], ["clang / GCC"], [(1 / 1.15, 1.15)],
                         reasons["compilers"])
    return ARM64.format(**{**found, "compilers": compilers}, functions=len(counts),
                        mean=statistics.geometric_mean(counts.values()), below=below,
                        tables=by_area(found["rows"], table), count=len(ratios[0]),
                        means=[statistics.geometric_mean(r) for r in ratios],
                        slower=[sum(x < 0.995 for x in r) for r in ratios])


def draw(x86, arm64, path):
    """Bars from 1 outward on a logarithmic axis, with their values at their ends."""
    machines = [(best(x86["rows"], x86_ratio), x86_ratio, "#2a7f62", "x86-64, measured"),
                (best(arm64["rows"], arm64_ratio), arm64_ratio, "#3b6ea5", "arm64, estimated")]
    cases = [(case, label) for case, label in HEADLINES if case in machines[0][0]]
    figure, axes = plt.subplots(figsize=(10, 0.42 * len(cases) + 1.2))
    for k, (rows, ratio, color, name) in enumerate(machines):
        for y, (case, _) in enumerate(cases):
            if case not in rows:
                continue
            value = ratio(rows[case])
            axes.barh(y + 0.38 * (k - 0.5), value - 1, left=1, height=0.36, color=color, label=name if y == 0 else None)
            axes.annotate(f"{value:.1f}" if value >= 1.05 else f"{value:.2f}", (value, y + 0.38 * (k - 0.5)),
                          xytext=(3 if value >= 1 else -3, 0), textcoords="offset points", fontsize=7,
                          ha="left" if value >= 1 else "right", va="center", color="#444444")
    peers = [machines[0][0][case]["peer"].split(" (")[0] for case, _ in cases]
    axes.set_yticks(range(len(cases)), [f"{label}\n{peer if len(peer) < 34 else peer[:31] + '…'}"
                                        for (_, label), peer in zip(cases, peers)], fontsize=7)
    axes.invert_yaxis()
    axes.margins(y=0.01)
    axes.set_xscale("log")
    ticks = [0.5, 1, 2, 4, 8, 16]
    axes.set_xticks(ticks, [f"{tick:g}" for tick in ticks])
    axes.minorticks_off()
    axes.axvline(1, color="black", linewidth=1)
    axes.set_xlabel("times as fast as the best peer")
    axes.spines[["top", "right", "left"]].set_visible(False)
    axes.tick_params(axis="y", length=0)
    axes.legend(loc="lower right", frameon=False, fontsize=8)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def main():
    machine, docs, *folders = sys.argv[1], *map(pathlib.Path, sys.argv[2:])
    kept = docs / "benchmarks"
    kept.mkdir(parents=True, exist_ok=True)
    if machine != "page":
        found = measure(*folders) if machine == "x86-64" else collect(*folders)
        (kept / f"{machine}.json").write_text(json.dumps(found, indent=0, sort_keys=True) + "\n")
    halves = [kept / f"{name}.json" for name in ("x86-64", "arm64")]
    if not all(path.exists() for path in halves):
        sys.exit("the other half of the page has not been measured yet: run ./dev bench and ./dev bench arm64")
    x86, arm64 = (json.loads(path.read_text()) for path in halves)
    reasons = tomllib.loads((kept / "reasons.toml").read_text())
    page = PAGE.format(picture="benchmarks.svg", x86=write_x86(x86, reasons["x86-64"]),
                       arm64=write_arm64(arm64, reasons["arm64"]))
    wide = kept / "wide.txt"
    (docs / "benchmarks.md").write_text(page.rstrip() + "\n\n" + wide.read_text())
    draw(x86, arm64, docs / "benchmarks.svg")


if __name__ == "__main__":
    main()
