#!/usr/bin/env bash
# Builds and installs the library in all the ways that a user may, uses each result as an application would, and
# compares what it exports with the header and with the stored list.
set -euo pipefail
cd "$(dirname "$0")/../.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "install: $*"; exit 1; }
quietly() { "$@" >"$scratch/log" 2>&1 || { tail -n 30 "$scratch/log"; fail "$*"; }; }
configure() { quietly cmake -G Ninja "$@"; }

# All programs print the same version and sums, however they were built.
expected=
runs() {
  local printed
  printed=$("$@") || fail "$* failed"
  [ "$printed" = "${expected:=$printed}" ] || fail "$* printed $printed, not $expected"
}
needs() { readelf -d "$1" | grep NEEDED; }

# --- installed, then moved, then used through CMake and through pkg-config ---
for preset in shared static; do
  quietly cmake --preset $preset -DCMAKE_INSTALL_PREFIX="$scratch/elsewhere"
  quietly cmake --build build/$preset
  quietly cmake --install build/$preset --prefix "$scratch/first"
  [ ! -e "$scratch/elsewhere" ] || fail "--prefix was not followed"
  prefix=$scratch/$preset
  mv "$scratch/first" "$prefix"
  ! grep -rq -e "$scratch" -e "$PWD" "$prefix"/lib*/cmake "$prefix"/lib*/*/cmake "$prefix"/lib*/*/pkgconfig 2>/dev/null ||
    fail "installed files name the folder that they were built or installed in"

  configure -S tests/install/consumer -B "$prefix/build" -DCMAKE_PREFIX_PATH="$prefix"
  quietly cmake --build "$prefix/build"
  for program in consumer core frames contours; do runs "$prefix/build/$program"; done

  libdir=$(dirname "$(find "$prefix" -name pkgconfig)")
  export PKG_CONFIG_PATH=$libdir/pkgconfig
  if [ $preset = static ]; then how=--static; else how=; fi
  # shellcheck disable=SC2046,SC2086  # flags are words
  quietly g++ -DUSE_FRAMES -DUSE_CONTOURS tests/install/consumer/main.cpp -o "$prefix/consumer" \
    $(pkg-config $how --cflags --libs kelvra_cv)
  runs env LD_LIBRARY_PATH="$libdir" "$prefix/consumer"
done

# Parts of the static library: what core links, and without the others' packages being there.
! needs "$scratch/static/build/core" | grep -E 'yuv|opencv' || fail "core links more than it needs"
! needs "$scratch/static/build/frames" | grep opencv || fail "frames link OpenCV"
! needs "$scratch/static/build/contours" | grep yuv || fail "contours link libyuv"
configure -S tests/install/consumer -B "$scratch/parts" -DCMAKE_PREFIX_PATH="$scratch/static" -DPARTS=core \
  -DCMAKE_DISABLE_FIND_PACKAGE_LibYuv=ON -DCMAKE_DISABLE_FIND_PACKAGE_OpenCVParts=ON
quietly cmake --build "$scratch/parts"
runs "$scratch/parts/core"

# --- by the plain recipe, staged and as a static library ---
DESTDIR=$scratch/stage quietly packaging/plain.sh /opt/kelvra -DBUILD_SHARED_LIBS=OFF -G Ninja
configure -S tests/install/consumer -B "$scratch/plain" -DCMAKE_PREFIX_PATH="$scratch/stage/opt/kelvra"
quietly cmake --build "$scratch/plain"
runs "$scratch/plain/consumer"

# --- the header as a module ---
quietly clang++ -std=c++17 -fmodules -xc++ -Xclang -emit-module -fmodule-name=KelvraCV -c include/module.modulemap \
  -o "$scratch/module.pcm"

# --- as a part of another project, which has its own flags and installs nothing of ours ---
subproject() {
  local name=$1
  shift
  configure -S tests/install/subproject -B "$scratch/$name" -DSOURCE="$PWD" "$@"
  quietly cmake --build "$scratch/$name"
  runs "$scratch/$name/consumer"
  runs "$scratch/$name/core"
  quietly cmake --install "$scratch/$name" --prefix "$scratch/$name/installed"
  [ ! -e "$scratch/$name/installed" ] || fail "$name: a part of another project was installed"
}
subproject added_static
[ -e "$scratch/added_static/kelvra_cv/src/libkelvra_cv.a" ] || fail "BUILD_SHARED_LIBS is not followed"
subproject fetched_shared -DFETCH=ON -DBUILD_SHARED_LIBS=ON -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_STANDARD=20 \
  -DCMAKE_CXX_FLAGS="-march=native -ffast-math -Wall -Wextra -Wconversion -Wundef -Wno-error -fno-plt"

grep -q -e 'FLAGS = .*-march=native -ffast-math .*-fno-fast-math .*-march=x86-64-v3\|FLAGS = .*-ffast-math .*-fno-fast-math .*-march=armv8-a' \
  "$scratch/fetched_shared/build.ninja" || fail "the other project's -ffast-math reaches the library"

# --- configurations: kernels are optimised in all but Debug, and Release is the default ---
for type in "" None RelWithDebInfo MinSizeRel; do
  configure -S . -B "$scratch/flags" -DCMAKE_BUILD_TYPE=$type -DCMAKE_CXX_FLAGS=-O2 -DKELVRA_CV_TESTS=OFF \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
  last=$(sed -n '/kelvra_cv.dir/s/.*"command".* -\(O[a-z0-9]*\) .*/\1/p' "$scratch/flags/compile_commands.json" | sort -u)
  [ "$last" = O3 ] || fail "kernels are compiled with ${last:-nothing} in configuration '$type'"
done

# --- what cannot be built is refused in words ---
refuses() {
  local words=$1
  shift
  ! cmake -G Ninja -S . -B "$scratch/refused" -DKELVRA_CV_TESTS=OFF "$@" >"$scratch/log" 2>&1 ||
    fail "not refused: $*"
  tr -s ' \n' ' ' <"$scratch/log" | grep -qF -e "$words" || { cat "$scratch/log"; fail "no such words: $words"; }
  rm -rf "$scratch/refused"
}
stub=$scratch/stub
mkdir -p "$stub/hwy" "$stub/libyuv" "$stub/opencv2/core"
printf '#define HWY_%s 0\n' MAJOR MINOR PATCH >"$stub/hwy/highway.h"
echo '#define LIBYUV_VERSION 1000' >"$stub/libyuv/version.h"
printf '#define CV_VERSION_%s 5\n' MAJOR MINOR REVISION >"$stub/opencv2/core/version.hpp"
refuses "Microsoft's compiler is not supported." -DMSVC=1
refuses 'Found unsuitable version "0.0.0"' -DHighway_INCLUDE_DIR="$stub"
refuses 'Found unsuitable version "1000"' -DLibYuv_INCLUDE_DIR="$stub"
refuses 'Found unsuitable version "5.5.5"' -DOpenCVParts_INCLUDE_DIR="$stub"
refuses 'install the Debian package libhwy-dev' -DCMAKE_IGNORE_PATH=/usr/include

# --- OpenCV's own package and libyuv's pkg-config file are preferred where they are ---
mkdir -p "$stub/own" "$stub/empty"
libraries=$(dirname "$(g++ -print-file-name=libyuv.so)")
cat >"$stub/own/OpenCVConfig.cmake" <<CMAKE
set(OpenCV_VERSION 4.9.0)
set(OpenCV_INCLUDE_DIRS /usr/include/opencv4 /usr/include/$(gcc -print-multiarch)/opencv4)
foreach(part core imgproc)
  add_library(opencv_\${part} SHARED IMPORTED)
  set_target_properties(opencv_\${part} PROPERTIES IMPORTED_LOCATION $libraries/libopencv_\${part}.so)
endforeach()
CMAKE
ln -s /usr/include "$stub/own/include"
ln -s "$libraries" "$stub/own/lib"
printf '%s\n' 'Name: libyuv' 'Description: -' 'Version: 0' "Libs: -L$stub/own/lib -lyuv" \
  "Cflags: -I$stub/own/include" >"$stub/own/libyuv.pc"
PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_PATH=$stub/own configure -S . -B "$scratch/own" -DOpenCV_DIR="$stub/own" -DKELVRA_CV_TESTS=OFF
grep -q "^LibYuv_LIBRARY:.*=$stub/own/lib/" "$scratch/own/CMakeCache.txt" || fail "libyuv.pc is not followed"
grep -qx "OpenCV_DIR:.*=$stub/own" "$scratch/own/CMakeCache.txt" || fail "OpenCV's own package is not used"
quietly cmake --build "$scratch/own" --target src/CMakeFiles/kelvra_cv.dir/shape/contours.cpp.o

# --- an old processor is refused by name ---
if [ "$(uname -m)" = x86_64 ]; then
  consumer=$scratch/shared/build/consumer
  runs qemu-x86_64 -cpu max "$consumer"
  ! qemu-x86_64 -cpu Nehalem "$consumer" >"$scratch/log" 2>&1 || fail "an old processor is not refused"
  grep -q 'libkelvra_cv.*CPU ISA level is lower than required' "$scratch/log" ||
    { cat "$scratch/log"; fail "an old processor is not refused by the loader"; }
fi

# --- a processor with 512-bit vectors gets the library that is made for it, with the same results ---
loader=/lib64/ld-linux-x86-64.so.2
if [ "$(uname -m)" = x86_64 ]; then
  consumer=$scratch/shared/build/consumer
  loads() { "$loader" "$@" --list "$consumer" | grep 'libkelvra_cv\.so\.1'; }
  runs "$loader" --glibc-hwcaps-mask x86-64-v3 "$consumer"
  ! loads --glibc-hwcaps-mask x86-64-v3 | grep glibc-hwcaps || fail "the wrong library is loaded"
  wide=$(find "$scratch/shared" -path '*/glibc-hwcaps/x86-64-v4/libkelvra_cv.so.1')
  tests/install/check_symbols.sh "${wide:?}"
  if "$loader" --help | grep 'x86-64-v4 (supported' >/dev/null; then
    loads | grep -qF "$wide" || fail "the library for 512-bit vectors is not loaded"
  else
    echo "install: NOT TRIED: this processor has no 512-bit vectors"
  fi
fi

tests/install/check_symbols.sh build/shared/src/libkelvra_cv.so
echo "the library builds, installs, moves and links in all ways"
