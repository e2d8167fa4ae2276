#!/usr/bin/env bash
# Installs the shared and the static library into a fresh folder and uses each as an application
# would, through CMake and through pkg-config; compares the exported names with the header's.
set -euo pipefail
cd "$(dirname "$0")/../.."
prefixes=$(mktemp -d)
trap 'rm -rf "$prefixes"' EXIT

for preset in release static; do
  prefix=$prefixes/$preset
  cmake --preset "$preset" -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null
  cmake --build build/$preset >/dev/null
  cmake --install build/$preset >/dev/null
  libdir=$(dirname "$(find "$prefix" -name pkgconfig)")

  cmake -S tests/install/consumer -B "$prefix/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$prefix/build" >/dev/null
  "$prefix/build/consumer" || { echo "the consumer through CMake ($preset) failed"; exit 1; }

  export PKG_CONFIG_PATH=$libdir/pkgconfig
  static=$([ $preset = static ] && echo --static || true)
  # shellcheck disable=SC2046,SC2086  # flags are words
  g++ tests/install/consumer/main.cpp -o "$prefix/consumer" \
    $(pkg-config $static --cflags --libs kelvra_cv)
  LD_LIBRARY_PATH=$libdir "$prefix/consumer" ||
    { echo "the consumer through pkg-config ($preset) failed"; exit 1; }
done

# The header's functions are the lines between the two visibility pragmas that open a declaration.
declared=$(sed -n '/visibility push/,/visibility pop/p' include/kelvra_cv.h |
  grep -vE '^ *(//|#)' | tr '\n' ' ' | grep -oE '[a-z][a-z0-9_]*\(' | tr -d '(' |
  grep -vxE 'attribute__|format' | sort -u)
library=$(find build/release/src -name 'libkelvra_cv.so.*.*.*')
exported=$(nm -D --defined-only --demangle "$library" | cut -d' ' -f3- | grep -v '^Base$' |
  sed 's/(.*//; s/\[abi:[a-z0-9]*\]//' | sort -u)
expected=$(sed 's/^/KelvraCV::/' <<<"$declared" | sort -u)
if ! diff <(echo "$expected") <(echo "$exported"); then
  echo "the exported names (>) differ from the header's functions (<)"
  exit 1
fi
if nm -D --undefined-only "$library" | grep -i hwy; then
  echo "the library needs Highway at run time"
  exit 1
fi
echo "installed packages work; $(wc -l <<<"$expected") functions are exported, nothing else"
