#!/usr/bin/env bash
# run.sh PROGRAMS SECONDS [TARGET...]: runs fuzz targets in the folder PROGRAMS, all unless some are named, for
# so many seconds each, one on each processor, from the stored inputs. An input that fails is kept in build/.
set -euo pipefail
cd "$(dirname "$0")/.."
programs=$1 seconds=$2
shift 2
targets=("$@")
[ ${#targets[@]} != 0 ] || targets=(png jpeg numbers color filter edge geometry shape detect frame)
found=$(mktemp -d)
trap 'rm -rf "$found"' EXIT
fuzz() {
  mkdir "$found/$1"
  "$programs/$1_fuzz" -max_total_time="$seconds" -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -artifact_prefix="build/$1-" "$found/$1" "fuzz/corpus/$1" 2>"$found/$1.log" ||
    { echo "fuzzing: $1 failed"; tail -n 40 "$found/$1.log"; exit 255; }
  echo "fuzzing: $1: $(grep -E '^Done ' "$found/$1.log")"
}
export programs seconds found
export -f fuzz
for target in "${targets[@]}"; do
  [ -x "$programs/${target}_fuzz" ] || { echo "there is no fuzz target $target"; exit 1; }
done
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'set -euo pipefail; fuzz {}'
