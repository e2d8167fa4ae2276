#!/usr/bin/env bash
# Which checksums depend on the last bits of the C library's math functions? Runs the test programs
# with each of the moved libraries, and fails if the functions whose checksums change are others
# than those listed.   moved_math.sh MOVED_MATH_LIBRARY LIST PROGRAM...
set -euo pipefail
library=$1 list=$2
shift 2
changed=$(
  for mode in up down random; do
    for program in "$@"; do
      LD_PRELOAD=$library KELVRA_CV_MOVED_MATH=$mode "$program" 2>&1 || true
    done
  done | sed -nE 's|.*expected in tests/golden/checksums.txt: ([a-z_0-9]+) .*|\1|p' | sort -u
)
diff <(echo "$changed") <(grep -v '^#' "$list") || {
  echo "'<': depends on the C library, and is not listed; '>': is listed, and does not depend"
  exit 1
}
