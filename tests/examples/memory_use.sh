#!/bin/bash
# Usage: memory_use.sh PROGRAM...
# What memory_use says of a picture: baseline memory as the documents have it, whatever the height is, and
# streams for every mode and quality; and that it refuses what is no picture.
set -euo pipefail
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
ppmpat -gingham2 -randomseed=1 320 160 >"$tmp/low.ppm"
ppmpat -gingham2 -randomseed=1 320 1600 >"$tmp/high.ppm"
"$@" "$tmp/low.ppm" | tee "$tmp/low"
"$@" "$tmp/high.ppm" | tee "$tmp/high"
[[ $(grep -c 'stream *[1-9]' "$tmp/low") == 6 ]]
baseline() { sed -nE 's/^baseline.* memory *([0-9]+) bytes.*/\1/p' "$1"; }
[[ $(baseline "$tmp/low" | sort -u | wc -l) == 1 && $(baseline "$tmp/low") == "$(baseline "$tmp/high")" ]]
! "$@" "$0" 2>/dev/null
