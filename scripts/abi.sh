#!/bin/bash
# Usage: scripts/abi.sh [--save]
# Compares the binary interface of both shared libraries, x86-64, with that of the last release, which lies in abi/:
# every exported function, its parameters and their types. What programs linked against that release rely on has
# to be as it was; what is new is no difference.
#   --save  writes the present interface to abi/ instead: for a release
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"
case $* in
    '' | --save) ;;
    *) die "usage: scripts/abi.sh [--save]" ;;
esac
require_packages "${build_packages[@]}" abigail-tools

build=$root/build/abi
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None "-DCMAKE_CXX_FLAGS=-g -ffile-prefix-map=$root/=" \
    -DBUILD_SHARED_LIBS=ON -DVELA_BUILD_TESTS=OFF -DVELA_BUILD_COMMAND=OFF -DVELA_BUILD_EXAMPLES=OFF \
    -DVELA_BUILD_PYTHON=OFF -DVELA_BUILD_GSTREAMER=OFF >&2
cmake --build "$build" >&2
differences=0
for library in libvelajpeg libvelajpeg-easy; do
    abidw --exported-interfaces-only --headers-dir include --drop-private-types --no-corpus-path \
        --no-comp-dir-path --no-show-locs --no-elf-needed --out-file "$build/$library.xml" "$build/$library.so"
    if [[ ${1-} ]]; then
        mkdir -p abi
        cp "$build/$library.xml" abi
    elif abidiff --no-added-syms "abi/$library.xml" "$build/$library.xml"; then
        say "$library: as at the last release"
    else
        say "$library: DIFFERENT"
        differences=1
    fi
done
exit $differences
