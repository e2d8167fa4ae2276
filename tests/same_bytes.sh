#!/usr/bin/env bash
# The checksums of tests/golden with every compiler and level of optimisation: builds the library
# and its tests with g++ and clang++ at -O0, -O2 and -O3, and runs them.
#   tests/same_bytes.sh [COMPILER...]     builds stay in build/same-bytes
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- g++ clang++
for compiler in "$@"; do
  for level in -O0 -O2 -O3; do
    build=build/same-bytes/$compiler$level
    echo "== $compiler $level"
    # Only a debug build leaves the level of optimisation to its flags.
    cmake --preset test -B "$build" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug \
      -DCMAKE_CXX_FLAGS_DEBUG="$level -DNDEBUG" >/dev/null
    cmake --build "$build"
    ctest --test-dir "$build" --output-on-failure --exclude-regex moved_math
  done
done
echo "same bytes with: $*"
