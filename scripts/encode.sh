#!/bin/bash
# Usage: scripts/encode.sh [INPUT [OUTPUT]]
# Builds the library and the velajpeg command, installing first what that needs and this machine
# lacks, and encodes INPUT (PNG, PNM, PAM or Y4M of one picture), or a demo picture where there is none.
set -euo pipefail
source "$(dirname "$0")/common.sh"

(($# <= 2)) || die "usage: scripts/encode.sh [INPUT [OUTPUT]]"
if (($#)); then
    [[ -r $1 && ! -d $1 ]] || die "cannot read $1"
    name=${1##*/}
    source=("$(realpath "$1")")
    output=${2:-${name%.*}.jpg}
    [[ -n ${2:-} || ! -e $output ]] ||
        die "$output exists; to replace it, name it as OUTPUT"
else
    source=(--demo)
    output=demo.jpg
fi

require_packages "${build_packages[@]}"
build=$root/build/release
say "building in $build"
(cd "$root" && cmake --preset release && cmake --build --preset release) >&2
"$build/cli/velajpeg" "${source[@]}" -o "$output"
say "the JPEG file is $(realpath "$output")"
