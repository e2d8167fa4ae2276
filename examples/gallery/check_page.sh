#!/usr/bin/env bash
# check_page.sh PAGE: loads the gallery's page in headless Chromium; every picture must decode.
set -euo pipefail
page=$(realpath "$1")
profile=$(mktemp -d)
trap 'rm -rf "$profile"' EXIT
decoded=$(timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
  --disable-background-networking --disable-component-update --disable-sync \
  --user-data-dir="$profile" --virtual-time-budget=30000 --dump-dom "file://$page" 2>/dev/null |
  grep -oE 'data-decoded="[0-9]+ of [0-9]+"' | grep -oE '[0-9]+ of [0-9]+')
echo "$decoded pictures decoded"
[ "${decoded%% *}" = "${decoded##* }" ] && [ "${decoded%% *}" -gt 0 ]
