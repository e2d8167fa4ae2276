#!/usr/bin/env bash
# run.sh PROGRAMS SECONDS: runs every fuzz target in the folder PROGRAMS for so many seconds each, from
# small seeds of the right form.
set -euo pipefail
cd "$(dirname "$0")/.."
programs=$1 seconds=$2
seeds=$(mktemp -d)
trap 'rm -rf "$seeds"' EXIT
png='\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR0123456789abccrc.\0\0\0\x04iCCPdatacrc.\0\0\0\x02eXIfddcrc.\0\0\0\x01IDATxcrc.\0\0\0\0IENDcrc.'
jpeg='\xff\xd8\xff\xe0\0\x10JFIF0123456789\xff\xe2\0\x10ICC_PROFILE\0pp\xff\xda\0\x02xx\xff\xd9'
mkdir "$seeds/png" "$seeds/jpeg" "$seeds/numbers"
# shellcheck disable=SC2059  # the formats are the contents
{ printf "$png$png" >"$seeds/png/two"; printf "$jpeg$jpeg" >"$seeds/jpeg/two"; }
printf '1 2,3\n\n4.5e6;x\n' >"$seeds/numbers/lines"
for target in png jpeg numbers; do
  echo "fuzzing: $target, $seconds s"
  "$programs/${target}_fuzz" -max_total_time="$seconds" -max_len=4096 -timeout=5 -rss_limit_mb=1024 \
    -artifact_prefix=build/ "$seeds/$target" 2>"$seeds/log" || { tail -n 40 "$seeds/log"; exit 1; }
  grep -E '^Done ' "$seeds/log"
done
