"""report.py PROGRAMS DOCS: runs every benchmark program in the folder PROGRAMS, writes DOCS/benchmarks.md with
the measured tables and DOCS/benchmarks.svg with the ratios as a picture."""

import pathlib
import platform
import re
import subprocess
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

ROW = re.compile(
    r"^(?P<case>\S.*?) {2,}(?P<ours>[\d.]+) +(?P<peer>[\d.]+) +(?P<ratio>[\d.]+)x +(?P<memory>\d+)%  (?P<name>.+)$"
)

INTRODUCTION = """# Benchmarks

Each row times one function of ours and what a user would call instead, on the same data, interleaved in the same run,
on one thread; the best of seven repetitions counts. *Ratio* is the peer's time over ours: above 1 we are faster.
*Memory* is the time in which `memcpy` moves as many bytes as the job must read and write, over our time: 100 % is the
machine's limit, and cache-resident buffers can pass it. Made by `./dev bench`; compare rows of one run only.

Machine: {machine}. Compiler: {compiler}. Peers: OpenCV {opencv}, libyuv, both from Debian, on one thread.

![Ratios](benchmarks.svg)
"""


def first_match(pattern, text, otherwise):
    match = re.search(pattern, text)
    return match.group(1).strip() if match else otherwise


def run(program):
    """The rows that a benchmark program prints, and its line about memcpy."""
    print(f"measuring {program.name}", flush=True)
    output = subprocess.run([program], check=True, stdout=subprocess.PIPE, text=True).stdout
    rows = [match.groupdict() for match in map(ROW.match, output.splitlines()) if match]
    if not rows:
        sys.exit(f"{program.name} printed no table")
    return rows, first_match(r"memcpy: (.*)", output, "")


def table(rows):
    lines = ["| Case | ns/pixel | Peer | Peer's ns/pixel | Ratio | Memory |", "|---|---:|---|---:|---:|---:|"]
    for row in rows:
        lines.append(
            f"| {row['case'].strip()} | {row['ours']} | `{row['name']}` | {row['peer']} | "
            f"{row['ratio']} | {row['memory']} % |"
        )
    return "\n".join(lines)


def draw(all_rows, path):
    """Horizontal bars of the ratios, on a logarithmic axis with 1 marked."""
    labels = [row["case"].strip() for row in all_rows]
    ratios = [float(row["ratio"]) for row in all_rows]
    figure, axes = plt.subplots(figsize=(10, 0.22 * len(ratios) + 1))
    colors = ["#2a7f62" if ratio >= 1 else "#b3541e" for ratio in ratios]
    axes.barh(range(len(ratios)), ratios, color=colors)
    axes.set_yticks(range(len(ratios)), labels, fontsize=7)
    axes.invert_yaxis()
    axes.margins(y=0.01)
    axes.set_xscale("log")
    axes.axvline(1, color="black", linewidth=1)
    axes.set_xlabel("times as fast as the peer")
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def main():
    programs, docs = map(pathlib.Path, sys.argv[1:])
    machine = first_match(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(), platform.machine())
    compiler = subprocess.run(["g++", "--version"], check=True, stdout=subprocess.PIPE, text=True).stdout
    version = subprocess.run(
        ["dpkg-query", "-W", "-f", "${Version}", "libopencv-core-dev"], stdout=subprocess.PIPE, text=True
    ).stdout
    page = INTRODUCTION.format(
        machine=machine, compiler=compiler.splitlines()[0], opencv=version.split("+")[0] or "(version unknown)"
    )
    all_rows = []
    for program in sorted(programs.glob("*_bench")):
        rows, copying = run(program)
        title = program.name.removesuffix("_bench").capitalize()
        page += f"\n## {title}\n\n`memcpy`: {copying}.\n\n{table(rows)}\n"
        all_rows += rows
    docs.mkdir(exist_ok=True)
    (docs / "benchmarks.md").write_text(page)
    draw(all_rows, docs / "benchmarks.svg")


if __name__ == "__main__":
    main()
