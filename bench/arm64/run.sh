#!/usr/bin/env bash
# What the arm64 build costs beside its peers, without an arm64 machine: the programs run under
# emulation, which counts instructions, and LLVM's models of processors estimate cycles.
#   run.sh                table of every comparison, the weakest first
#   run.sh --json FOLDER  the same, as a file for each program
#   run.sh --limits       instructions a pixel of our functions, compared with limits.txt
#   run.sh CASE           the comparisons whose names contain CASE; HOT=3 also lists their hottest
#                         blocks of code
# It expects the packages that `./dev bench arm64` installs. docs/benchmarks.md says what the figures
# can and cannot tell.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build/arm64-bench
traces=$build/traces
mkdir -p "$traces"

quietly() { "$@" >"$traces/log.txt" 2>&1 || { tail -n 20 "$traces/log.txt" >&2; exit 1; }; }
quietly cmake --preset arm64-bench
quietly cmake --build $build
quietly gcc -O2 -shared -fPIC -fvisibility=hidden bench/arm64/count.c -o $build/count.so

# Runs a program; its trace and what it printed come to lie in $traces.
count() {
  qemu-aarch64 -L / -cpu cortex-a76 -plugin "$build/count.so,out=$traces/$1" "${programs:-$build/bench}/$1" "${@:2}" \
    >"$traces/$1.txt"
}
cost() { python3 bench/arm64/cost.py "$traces/$1" "$traces/$1.txt" --jobs "$(nproc)" "${@:2}"; }

# Instructions a pixel of each of our functions.
count_ours() {
  count growth_bench ours " 1920x1080"
  cost growth_bench --counts | grep -vE 'padded|memcpy'
}

if [ "${1:-}" = --limits ]; then
  count_ours >"$traces/counts.txt"
  python3 - bench/arm64/limits.txt "$traces/counts.txt" <<'PYTHON'
import sys
limits, counts = ({line.split(None, 1)[1].strip(): float(line.split()[0]) for line in open(path)}
                  for path in sys.argv[1:])
# Where buffers lie moves counts by a few thousandths; code that grew does so by more.
bad = [f"{name}: {counts.get(name, 0):.3f} instructions a pixel, expected {limit:.3f}"
       for name, limit in limits.items() if not 0 < counts.get(name, 0) <= 1.02 * limit + 0.005]
bad += [f"{name}: {count:.3f} instructions a pixel, not in limits.txt" for name, count in counts.items()
        if name not in limits]
if bad:
    sys.exit("\n".join(["arm64 code has grown, or limits.txt is not up to date:", *bad,
                        f"If that is meant: cp {sys.argv[2]} {sys.argv[1]}"]))
better = sum(counts[name] < 0.95 * limit for name, limit in limits.items())
print(f"{len(limits)} functions within their arm64 instruction counts, {better} by 5 % or more")
PYTHON
  exit
fi

quietly count meter_selftest
quietly cost meter_selftest
if [ "${1:-}" = --json ]; then
  for program in channels color detect edge filter frame lab resize shape smooth warp; do
    count ${program}_bench
    cost ${program}_bench --json "$2/$program.json"
  done
  count_ours >"$2/gcc.txt"
  quietly cmake --preset arm64-bench-clang
  quietly cmake --build build/arm64-bench-clang --target growth_bench
  programs=build/arm64-bench-clang/bench count_ours >"$2/clang.txt"
  exit
fi
for program in channels color detect edge filter frame lab resize shape smooth warp; do
  count ${program}_bench all "${1:-}"
  [ ! -s "$traces/${program}_bench.txt" ] || cost ${program}_bench ${HOT:+--hot "$HOT"}
done
