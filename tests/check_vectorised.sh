#!/usr/bin/env bash
# Row loops that are written plainly and rely on the compiler end their `for` line with the comment
# `// vectorised`. This builds the library for arm64, asks GCC which loops it vectorised, and fails
# for every marked loop that it did not.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset arm64 -B build/arm64-report -DKELVRA_CV_TESTS=OFF \
  -DCMAKE_CXX_FLAGS=-fopt-info-vec-optimized >/dev/null
cmake --build build/arm64-report --target clean
report=build/arm64-report/vectorised.txt
cmake --build build/arm64-report --target kelvra_cv 2>&1 |
  grep -oE 'src/[a-z_/0-9]+\.(cpp|h):[0-9]+:[0-9]+: optimized: loop vectorized' |
  cut -d: -f1,2 | sort -u >"$report"

marked=$(grep -rnE 'for \(.*// vectorised$' src | cut -d: -f1,2 || true)
missing=$(comm -23 <(sort -u <<<"$marked" | sed '/^$/d') "$report")
if [ -n "$missing" ]; then
  echo "these loops are no longer vectorised on arm64:"
  echo "$missing"
  exit 1
fi
echo "all $(sed '/^$/d' <<<"$marked" | wc -l) marked loops are vectorised on arm64"

# The explicit vectors really are NEON instructions on whole registers.
while read -r object; do
  source=src/${object#*kelvra_cv.dir/}
  source=${source%.o}
  grep -q 'core/simd.h' "$source" || continue
  count=$(aarch64-linux-gnu-objdump -d "$object" | grep -cE '\bv[0-9]+\.(16b|8h|4s|2d)' || true)
  if [ "$count" -lt 8 ]; then
    echo "$source has only $count vector instructions on arm64"
    exit 1
  fi
done < <(find build/arm64-report -name '*.cpp.o')
