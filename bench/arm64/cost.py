#!/usr/bin/env python3
"""Estimates the cycles of what count.c recorded, with llvm-mca's models of processors.

Instructions are counted. Cycles are estimated: llvm-mca runs samples of the instruction stream,
which say how many cycles an instruction of each block takes.
"""
import argparse
import collections
import concurrent.futures
import json
import math
import pathlib
import re
import shutil
import statistics
import subprocess
import sys

WARM, MEASURED = 200, 400  # instructions of a sample that fill the pipeline, then that count
BATCH = 60                 # samples for one run of llvm-mca
VECTOR = re.compile(r"\bv\d+\.\w|\bq\d+\b")
BRANCH = re.compile(r"(b\.\w+|cbn?z|tbn?z) ")
STORE = re.compile(r"(st\w+ .*), \[(\w+)(?:\], (\S+)|, (\S+)\]!)$")
LANE_LOAD = re.compile(r"ld[1-4] \{ (.*) \}\[(\d+)\], \[(\w+)\](?:, (\S+))?$")

Block = collections.namedtuple("Block", "address symbol words")
Region = collections.namedtuple("Region", "executed samples")  # instructions by block; lists of blocks


def read_trace(path):
    blocks, regions = {}, []
    with open(path) as lines:
        for kind, *rest in map(str.split, lines):
            if kind == "B":
                blocks[int(rest[0])] = Block(int(rest[1], 16), rest[2], [int(w, 16) for w in rest[3:]])
            elif kind == "R":
                regions.append(Region(collections.Counter(), []))
            elif kind == "C":
                regions[-1].executed[int(rest[0])] = int(rest[1]) * len(blocks[int(rest[0])].words)
            else:
                runs = [map(int, run.split("*")) for run in rest]
                regions[-1].samples.append([b for b, times in runs for _ in range(times)])
    return blocks, regions


def llvm(name, *options, source):
    """What the newest of LLVM's tools of this name prints."""
    tools = [f"{name}-{version}" for version in range(60, 18, -1)]
    tool = next(filter(shutil.which, tools), None) or sys.exit(f"cost.py: {name} 19 or newer is missing")
    return subprocess.run([tool, "-mattr=+all", *options], input=source, capture_output=True, text=True).stdout


def disassemble(words):
    """The assembly text of each word; what is unknown becomes a nop."""
    source = "\n".join(" ".join(f"0x{b:02x}" for b in w.to_bytes(4, "little")) for w in sorted(words))
    text = dict.fromkeys(words, "nop")
    for line in llvm("llvm-mc", "--disassemble", "-triple=aarch64", "-show-encoding", source=source).splitlines():
        code, found, encoding = line.partition("// encoding: [")
        if found:
            word = int.from_bytes((int(b, 16) for b in encoding.rstrip("]").split(",")), "little")
            text[word] = code.strip().replace("\t", " ")
    return text


def modelled(code, in_order):
    """An instruction as llvm-mca is to see it, where it would let a part wait for the whole.

    A branch is predicted: it waits for no flag. Out of order, the address that a store moves on
    does not wait for the data, nor does the loading of a lane for the other lanes. `%` stands for
    a vector register that is free.
    """
    if BRANCH.match(code):
        return "b #4"
    if in_order:
        return code
    if match := STORE.match(code):
        access, base, after, before = match.groups()
        store, add = f"{access}, [{base}]", f"add {base}, {base}, {after or before}"
        return f"{store}\n{add}" if after else f"{add}\n{store}"
    if match := LANE_LOAD.match(code):
        registers, lane, base, after = match.groups()
        size = registers[-1]
        moves = [f"mov {r}[{lane}], v%.{size}[0]" for r in registers.split(", ")]
        return "\n".join([f"ldr {size}%, [{base}]", *moves] + [f"add {base}, {base}, {after}"] * bool(after))
    return code


def cut(sample, blocks):
    """Where the warm-up of a sample ends, and where the sample ends, in blocks.

    Both ends follow the same block if one comes twice: then the pipeline is in the same state at
    both, and their difference is a whole number of rounds of a loop.
    """
    length, first, warm = 0, {}, 0
    for k, block in enumerate(sample, 1):
        length += len(blocks[block].words)
        if length < WARM:
            continue
        warm = warm or k
        at, before = first.setdefault(block, (k, length))
        if length - before >= MEASURED:
            return at, k
    return (warm if length >= WARM + MEASURED else 0), len(sample)


def mca(codes, model, *options):
    """llvm-mca's report on codes, each with registers of its own for `%`."""
    source = []
    for code in codes:
        used = set(re.findall(r"\b[bhsdqv](\d+)\b", code))
        free = next((r for r in map(str, range(31, 0, -1)) if r not in used), "31")
        source += ["// LLVM-MCA-BEGIN", code.replace("%", free), "// LLVM-MCA-END"]
    return llvm("llvm-mca", "-mtriple=aarch64", f"-mcpu={model}", "-iterations=1", "-call-latency=1",
                "-resource-pressure=0", "-skip-unsupported-instructions=any", *options,
                source="\n".join(source) + "\n")


def simulate(streams, blocks, text, model, jobs):
    """Cycles of each stream of blocks, run once from an empty pipeline."""
    streams = sorted(streams)
    batches = [streams[i:i + BATCH] for i in range(0, len(streams), BATCH)]

    def run(batch):
        codes = ["\n".join(text[w] for b in stream for w in blocks[b].words) for stream in batch]
        cycles = re.findall(r"^Total Cycles: +(\d+)", mca(codes, model, "-instruction-info=0"), re.M)
        return list(zip(batch, map(int, cycles), strict=True))

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        return dict([((), 0)] + [pair for pairs in pool.map(run, batches) for pair in pairs])


def estimate(region, blocks, cycles):
    """Cycles of a region, and the standard error of that as a share.

    An instruction of a block costs what one costs, on average, in the samples in which the block
    occurs: so a phase weighs what it weighs in the exact counts, not what it weighs in the samples.
    """
    seen = []  # cycles for an instruction of a sample; its instructions by block
    spent, present = collections.Counter(), collections.Counter()
    for sample in region.samples:
        warm, end = cut(sample, blocks)
        own = collections.Counter()
        for b in sample[warm:end]:
            own[b] += len(blocks[b].words)
        each = (cycles[tuple(sample[:end])] - cycles[tuple(sample[:warm])]) / sum(own.values())
        seen.append((each, own))
        for b, n in own.items():
            spent[b] += each * n
            present[b] += n
    mean = sum(spent.values()) / sum(present.values())
    cost = {b: spent[b] / present[b] if present[b] else mean for b in region.executed}
    total = sum(n * cost[b] for b, n in region.executed.items())
    left = [sum((each - cost[b]) * n for b, n in own.items()) for each, own in seen]
    return total, math.sqrt(sum(x * x for x in left)) / sum(spent.values())


class Job:
    """A measured job and its figures; `cycles` and `error` for each model."""

    def __init__(self, label, region, blocks, text, costs):
        self.name, self.side, units = *label[:2], float(label[2])
        self.executed, self.total = region.executed, sum(region.executed.values())
        self.instructions = self.total / units
        share = {b: statistics.fmean(bool(VECTOR.search(text[w])) for w in blocks[b].words) for b in self.executed}
        self.vector = sum(n * share[b] for b, n in self.executed.items()) / self.total
        totals, self.error = zip(*(estimate(region, blocks, cycles) for cycles in costs))
        self.cycles = [cycles / units for cycles in totals]


def print_hot(job, most, blocks, text, model):
    """The job's most executed blocks, each instruction with micro-operations, latency, cycles."""
    print(f"\n{job.name}, {job.side}: {job.instructions:.2f} instructions a unit")
    for b, executed in job.executed.most_common(most):
        address, symbol, words = blocks[b]
        print(f"  {executed / job.total:.1%}: {executed // len(words)} times at {address:x} {symbol}")
        costs = re.findall(r"^ (\d+) +(\d+) +([\d.]+) ", mca([text[w] for w in words], model), re.M)
        for w, cost in zip(words, costs):
            print(f"      {text[w]:48} {' '.join(cost)}")


def compared(jobs):
    """A row for each case and peer, with what both cost."""
    own = {job.name: job for job in jobs if job.side == "ours"}
    rows = []
    for peer in (job for job in jobs if job.side != "ours"):
        ours = own[peer.name]
        rows.append({
            "case": peer.name, "peer": peer.side,
            "instructions": [ours.instructions, peer.instructions],
            "cycles": [[mine, theirs] for mine, theirs in zip(ours.cycles, peer.cycles)],
            "error": math.hypot(ours.error[0], peer.error[0]), "vectors": ours.vector,
        })
    return rows


def print_table(rows, models):
    def three(pair, digits):
        return f"{pair[0]:8.{digits}f} {pair[1]:8.{digits}f} {pair[1] / pair[0]:6.2f}"

    def ratio(row):
        return row["cycles"][0][1] / row["cycles"][0][0]

    heads = f"{'ours':>8} {'peer':>8} {'ratio':>6}"
    print(f"{'':52} {'instructions / pixel':24} | {models[0] + ': cycles / pixel':29} | {models[1] + ': cycles / pixel':24}")
    print(f"{'case':52} {heads} | {heads}    ± | {heads} | peer")
    for row in sorted(rows, key=ratio):
        print(f"{row['case']:52} {three(row['instructions'], 2)} | {three(row['cycles'][0], 3)} {row['error']:4.0%} |"
              f" {three(row['cycles'][1], 3)} | {row['peer']}")
    for k, model in enumerate(models if rows else ()):
        ratios = [row["cycles"][k][1] / row["cycles"][k][0] for row in rows]
        print(f"{model}: geometric mean {statistics.geometric_mean(ratios):.3f} of {len(rows)} rows,"
              f" {sum(x < 0.995 for x in ratios)} under 1")


def unexpected(labels, jobs):
    """Where the jobs do not cost what the program expects of them."""
    measured = iter(jobs)
    for kind, *rest in labels:
        if kind == "cost":
            job = next(measured)
        elif kind == "expect":
            got, want = {"instructions": job.total, "cycles": job.cycles[0]}[rest[0]], float(rest[1])
            if abs(got - want) > 0.02 * want * (rest[0] == "cycles"):
                yield f"{job.name}: {got} {rest[0]}, expected {want}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("trace", help="what count.so wrote")
    parser.add_argument("labels", help="what the program printed")
    parser.add_argument("--models", default="cortex-a725,cortex-a55", help="out of order, in order")
    parser.add_argument("--jobs", type=int, default=1, help="simulations at a time")
    parser.add_argument("--hot", type=int, default=0, help="so many blocks of each job are listed")
    parser.add_argument("--counts", action="store_true", help="only instructions, in lines of case and count")
    parser.add_argument("--json", type=pathlib.Path, help="where the rows are written")
    options = parser.parse_args()
    models = options.models.split(",")

    blocks, regions = read_trace(options.trace)
    with open(options.labels) as lines:
        labels = [line.rstrip("\n").split("\t") for line in lines]
    marked = list(zip((l[1:] for l in labels if l[0] == "cost"), regions, strict=True))
    if options.counts:
        for label, region in marked:
            print(f"{sum(region.executed.values()) / float(label[2]):10.3f}  {label[0]}")
        return
    text = disassemble({w for b in blocks.values() for w in b.words})
    streams = {tuple(sample[:k]) for r in regions for sample in r.samples for k in cut(sample, blocks)} - {()}
    costs = [simulate(streams, blocks, {w: modelled(code, m > 0) for w, code in text.items()}, model, options.jobs)
             for m, model in enumerate(models)]
    jobs = [Job(label, region, blocks, text, costs) for label, region in marked]
    for job in jobs if options.hot else ():
        print_hot(job, options.hot, blocks, text, models[0])
    rows = compared(jobs)
    if options.json:
        options.json.write_text(json.dumps({"models": models, "rows": rows}))
    else:
        print_table(rows, models)
    sys.exit("\n".join(unexpected(labels, jobs)) or None)


if __name__ == "__main__":
    main()
