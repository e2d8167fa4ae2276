#!/bin/sh
# plain.sh PREFIX [CMAKE OPTION...]: what a packager does, and nothing else: configures, builds and installs under
# PREFIX, staged below DESTDIR if that is set. Needs CMake, a C++ compiler, Highway, libyuv and OpenCV's core and
# imgproc, and no network.
set -eu
source=$(cd "$(dirname "$0")/.." && pwd)
prefix=$1
shift
build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT
cmake -S "$source" -B "$build" -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_BUILD_TYPE=Release -DKELVRA_CV_TESTS=OFF "$@"
cmake --build "$build" --parallel
cmake --install "$build" --strip
