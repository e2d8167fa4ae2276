#!/usr/bin/env bash
# packages.sh FOLDER: installs the Debian packages in FOLDER in a clean system of this machine's release and uses
# them as their users would: the command line and Python without a compiler, then the library with one.
set -euo pipefail
cd "$(dirname "$0")/../.."
debs=$(realpath "$1")
# shellcheck source=/dev/null
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
fail() { echo "packages: $*"; exit 1; }

# What each package says of itself.
for package in libkelvra-cv1 libkelvra-cv-dev kelvra python3-kelvra-cv; do
  deb=$(echo "$debs/${package}"_*.deb)
  [ -f "$deb" ] || fail "there is no package $package"
  [ "$package" = libkelvra-cv1 ] || dpkg-deb -f "$deb" Depends | grep -q 'libkelvra-cv1 (= ' ||
    fail "$package does not depend on its library"
done
library=$(echo "$debs"/libkelvra-cv1_*.deb)
for needed in libc6 libstdc++6 libyuv0 libopencv-core libopencv-imgproc; do
  dpkg-deb -f "$library" Depends | grep -qF "$needed" || fail "libkelvra-cv1 does not depend on $needed"
done
dpkg-deb -I "$library" shlibs | grep -q '^libkelvra_cv 1 libkelvra-cv1' || fail "no shlibs"
dpkg-deb -I "$library" symbols | grep -q '^ _ZN8KelvraCV8rgb2grayE.*@KELVRA_CV_1 1\.' || fail "no symbols"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Each says which processors it is for.
if [ "$(uname -m)" = x86_64 ]; then
  for deb in "$debs"/*.deb; do dpkg-deb -x "$deb" "$scratch/files"; done
  for binary in "$scratch"/files/usr/{bin/kelvra,lib/*/libkelvra_cv.so.1,lib/python3/dist-packages/kelvra_cv/_core*.so}; do
    readelf -n "$binary" | grep -q 'x86 ISA needed:.*x86-64-v3' || fail "$binary runs on any processor"
  done
  wide=$(echo "$scratch"/files/usr/lib/*/glibc-hwcaps/x86-64-v4/libkelvra_cv.so.1)
  readelf -n "$wide" | grep -q 'x86 ISA needed:.*x86-64-v4' || fail "no library for 512-bit vectors"
fi

if ! unshare --mount true 2>/dev/null; then
  echo "packages: NOT TRIED in a clean system: nothing may be mounted here; what they say of themselves is right"
  exit
fi
mkdir "$scratch/test"
cp "$debs"/*.deb tests/install/consumer/* "$scratch/test"
cat >"$scratch/test/use.sh" <<'USE'
set -eux
cd /test
export DEBIAN_FRONTEND=noninteractive
apt-get install -y --no-install-recommends ./libkelvra-cv1_*.deb ./kelvra_*.deb ./python3-kelvra-cv_*.deb
! command -v c++
python3 - <<'PYTHON'
import struct, zlib, numpy, kelvra_cv
def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
open("in.png", "wb").write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 8, 8, 8, 0, 0, 0, 0)) +
                           chunk(b"IDAT", zlib.compress(bytes(72))) + chunk(b"IEND", b""))
image = numpy.zeros((4, 6, 3), numpy.uint8)
image[:] = 255, 0, 0
assert (kelvra_cv.rgb2gray(image) == 76).all()
PYTHON
kelvra run "resize 50% | clahe clip=3" in.png out.png
test -s out.png
apt-get install -y --no-install-recommends ./libkelvra-cv-dev_*.deb g++ cmake make pkg-config
cmake -S . -B build
cmake --build build
for program in consumer core frames contours; do build/$program; done
c++ main.cpp -o through_pkgconfig $(pkg-config --cflags --libs kelvra_cv)
./through_pkgconfig
apt-get purge -y libkelvra-cv-dev kelvra python3-kelvra-cv libkelvra-cv1
! find / -xdev \( -path /test -o -path /proc \) -prune -o -iname '*kelvra*' -print | grep -v /var/lib/apt/
USE
# Nothing of this machine's environment, such as a compiler's launcher, is there.
# shellcheck disable=SC2016  # the hook's own shell expands
mmdebstrap --quiet --variant=apt --skip=cleanup/apt --customize-hook="copy-in $scratch/test /" \
  --customize-hook='chroot "$1" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin sh /test/use.sh' \
  "$codename" /dev/null >"$scratch/log" 2>&1 || { tail -n 40 "$scratch/log"; fail "in the clean system"; }
echo "the packages install, work and leave nothing in a clean $codename"
