#!/usr/bin/env bash
# check.sh PROGRAMS: the built examples on files of real encoders, and on odd and hostile ones. Exported files
# must be valid, show the original's profile and Exif, and lose the profile again where it is stripped.
set -euo pipefail
programs=$1
profile=$(dpkg -L icc-profiles-free | grep '/sRGB\.icc$')
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "examples: $*"; exit 1; }
has_profile() {
  exiftool -q -b -ICC_Profile "$1" | cmp -s "$profile" - || fail "the profile of $1 is not the original's"
}

"$programs/export/make_originals" "$profile" "$folder"
for kind in png jpg; do
  "$programs/export/export_photo" "$folder/original.$kind" "$folder/edited.$kind"
  has_profile "$folder/edited.$kind"
  # Over itself.
  cp "$folder/original.$kind" "$folder/itself.$kind"
  "$programs/export/export_photo" "$folder/itself.$kind" "$folder/itself.$kind"
  cmp "$folder/itself.$kind" "$folder/edited.$kind" || fail "over itself, $kind differs"
done

pngcheck -q "$folder/edited.png" || fail "pngcheck does not accept edited.png"
pngfix "$folder/edited.png" >/dev/null || fail "pngfix does not accept edited.png"
exiftool -s -s -s -n -Orientation "$folder/edited.png" | grep -qx 6 || fail "edited.png lost its Exif"
djpeg "$folder/edited.jpg" >/dev/null || fail "djpeg does not accept edited.jpg"

# Replaced: a JPEG that has a profile takes the original's; zeros may follow the image.
splice=$programs/export/splice
"$splice" jpeg "$folder/original.jpg" "$folder/original.jpg" "$folder/replaced.jpg"
djpeg "$folder/replaced.jpg" >/dev/null || fail "djpeg does not accept replaced.jpg"
has_profile "$folder/replaced.jpg"

"$splice" strip "$folder/original.png" "$folder/stripped.png"
pngcheck -q "$folder/stripped.png" || fail "pngcheck does not accept stripped.png"
[ -z "$(exiftool -q -b -ICC_Profile "$folder/stripped.png")" ] || fail "stripped.png still has a profile"
echo "exported files are valid and keep profile and Exif"

python3 "$(dirname "$0")/check_files.py" "$programs" "$folder/original.jpg"
