#!/usr/bin/env bash
# check_symbols.sh LIBRARY [--write]: compares the shared library's exported symbols with the header's functions
# and with the stored list, which says what programs that are linked already rely on: lines may be added to it,
# and none removed before the version's first number changes. --write stores the list anew.
set -euo pipefail
cd "$(dirname "$0")/../.."
library=$1
stored=tests/install/symbols.txt

# A va_list is another type on each machine.
exported=$(nm -D --defined-only "$library" | awk '$2 != "A" { print $3 }' |
  sed 's/P13__va_list_tag/VA_LIST/; s/St9__va_list/VA_LIST/' | LC_ALL=C sort)
if [ "${2:-}" = --write ]; then echo "$exported" >"$stored"; fi
if ! diff "$stored" <(echo "$exported"); then
  echo "the exported symbols (>) differ from the stored ones (<), $stored"
  exit 1
fi

# The header's functions are the lines between the two visibility pragmas that open a declaration.
declared=$(sed -n '/visibility push/,/visibility pop/p' include/kelvra_cv.h |
  grep -vE '^ *(//|#)' | tr '\n' ' ' | grep -oE '[a-z][a-z0-9_]*\(' | tr -d '(' |
  grep -vxE 'attribute__|format' | sed 's/^/KelvraCV::/' | LC_ALL=C sort -u)
names=$(nm -D --defined-only --demangle "$library" | awk '$2 != "A"' | cut -d' ' -f3- |
  sed 's/(.*//; s/\[abi:[a-z0-9]*\]//; s/@@.*//' | LC_ALL=C sort -u)
if ! diff <(echo "$declared") <(echo "$names"); then
  echo "the exported names (>) differ from the header's functions (<)"
  exit 1
fi
if nm -D --undefined-only "$library" | grep -i hwy; then
  echo "the library needs Highway at run time"
  exit 1
fi
soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = libkelvra_cv.so.1 ] || { echo "the library's name is $soname"; exit 1; }
echo "$(wc -l <<<"$names") functions are exported, as the header and the stored list say, and nothing else"
