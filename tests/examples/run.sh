#!/bin/bash
# Usage: run.sh FILE WIDTH HEIGHT PROGRAM...
# Runs an example in a scratch folder. It must leave FILE, a JPEG file of that size that decodes without a
# warning.
set -euo pipefail
file=$1 width=$2 height=$3
shift 3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
"$@"
djpeg -strict -pnm "$file" >decoded.ppm
grep -qax "$width $height" decoded.ppm
