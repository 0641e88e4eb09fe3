#!/bin/bash
# Usage: scripts/reproducible.sh
# Builds libraries, command and Python wheel twice, in folders of different names and at different times: they have
# to be the same bytes.
set -euo pipefail
source "$(dirname "$0")/common.sh"
require_packages "${build_packages[@]}" pybind11-dev python3-build python3-dev python3-setuptools python3-wheel
work=$root/build/reproducible
export SOURCE_DATE_EPOCH=1700000000 CCACHE_DISABLE=1
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
rm -rf "$work"

# FOLDER: builds there, and leaves what users get in FOLDER/out.
build_in() {
    copy_tree "$1"
    cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELA_BUILD_TESTS=OFF -DVELA_BUILD_EXAMPLES=OFF \
        -DVELA_BUILD_PYTHON=OFF -DVELA_BUILD_GSTREAMER=OFF >&2
    cmake --build "$1/build" >&2
    cmake --install "$1/build" --prefix "$1/out" >&2
    /usr/bin/python3 -m build --no-isolation --wheel --outdir "$1/out" "$1/python" >"$1/wheel.log" 2>&1 ||
        die "$(tail -20 "$1/wheel.log")"
}
build_in "$work/one"
build_in "$work/another/folder"
diff -r "$work/one/out" "$work/another/folder/out" || die "the two builds differ"
say "the same twice: $(cd "$work/one/out" && find . -type f | wc -l) files"
rm -rf "$work"
