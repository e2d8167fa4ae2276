#!/usr/bin/env bash
# run.sh PROGRAMS SECONDS [TARGET...]: runs fuzz targets in the folder PROGRAMS, all unless some are named, for
# so many seconds each, from the stored inputs. An input that fails is kept in build/.
set -euo pipefail
cd "$(dirname "$0")/.."
programs=$1 seconds=$2
shift 2
targets=("$@")
[ ${#targets[@]} != 0 ] || targets=(png jpeg numbers color filter edge geometry shape detect frame)
found=$(mktemp -d)
trap 'rm -rf "$found"' EXIT
for target in "${targets[@]}"; do
  [ -x "$programs/${target}_fuzz" ] || { echo "there is no fuzz target $target"; exit 1; }
  echo "fuzzing: $target, $seconds s"
  mkdir "$found/$target"
  "$programs/${target}_fuzz" -max_total_time="$seconds" -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -artifact_prefix="build/$target-" "$found/$target" "fuzz/corpus/$target" 2>"$found/log" ||
    { tail -n 40 "$found/log"; exit 1; }
  grep -E '^Done ' "$found/log"
done
