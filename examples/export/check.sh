#!/usr/bin/env bash
# check.sh PROGRAMS: exports files of real encoders; the results must be valid, show the same profile and Exif,
# and lose the profile again where it is stripped.
set -euo pipefail
programs=$1
profile=$(dpkg -L icc-profiles-free | grep '/sRGB\.icc$')
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "export: $*"; exit 1; }

"$programs/make_originals" "$profile" "$folder"
for kind in png jpg; do
  "$programs/export_photo" "$folder/original.$kind" "$folder/edited.$kind"
  exiftool -q -b -ICC_Profile "$folder/edited.$kind" >"$folder/carried.icc"
  cmp -s "$profile" "$folder/carried.icc" || fail "the profile of edited.$kind is not the original's"
done

pngcheck -q "$folder/edited.png" || fail "pngcheck does not accept edited.png"
pngfix "$folder/edited.png" >/dev/null || fail "pngfix does not accept edited.png"
exiftool -s -s -s -n -Orientation "$folder/edited.png" | grep -qx 6 || fail "edited.png lost its Exif"
djpeg "$folder/edited.jpg" >"$folder/edited.ppm" || fail "djpeg does not accept edited.jpg"
[ "$(head -c 15 "$folder/edited.ppm" | tr '\n' ' ')" = "P6 32 24 255 " ] ||
  [ "$(head -c 12 "$folder/edited.ppm" | tr '\n' ' ')" = "P6 32 24 255" ] || fail "edited.jpg has another size"

# Replaced: a JPEG that has a profile takes the original's; zeros may follow the image.
"$programs/splice" jpeg "$folder/original.jpg" "$folder/original.jpg" "$folder/replaced.jpg"
djpeg "$folder/replaced.jpg" >/dev/null || fail "djpeg does not accept replaced.jpg"
exiftool -q -b -ICC_Profile "$folder/replaced.jpg" | cmp -s "$profile" - || fail "replaced.jpg lost its profile"

"$programs/splice" strip "$folder/original.png" "$folder/stripped.png"
pngcheck -q "$folder/stripped.png" || fail "pngcheck does not accept stripped.png"
[ -z "$(exiftool -q -b -ICC_Profile "$folder/stripped.png")" ] || fail "stripped.png still has a profile"
echo "exported files are valid and keep profile and Exif"
