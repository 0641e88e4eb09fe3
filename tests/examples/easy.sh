#!/bin/bash
# Usage: easy.sh FOLDER [EMULATOR..]
# Runs the examples of the easy layer: a picture, a batch, a request, and the capture loop on a file of frames (a camera is
# not at hand) and on what is no camera.
set -euo pipefail
folder=$(realpath "$1")
shift
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
whole() { [[ $(head -c 2 "$1" | od -An -tx1) == " ff d8" && $(tail -c 2 "$1" | od -An -tx1) == " ff d9" ]]; }

"$@" "$folder/picture"
"$@" "$folder/batch" 9
"$@" "$folder/request" request.jpg 320 240
(($(stat -c %s request.jpg) <= 100000))
head -c $((640 * 480 * 2 * 2)) /dev/zero >frames.yuyv
"$@" "$folder/capture" frames.yuyv 2
for file in picture.jpg batch-{0..8}.jpg request.jpg capture-{0,1}.jpg; do
    whole "$file" || { echo "FAIL $file" && exit 1; }
done
! "$@" "$folder/request" none.jpg 0 240 2>error || exit 1
grep -q 'width is 0, not 1 to 65535 (status -5)' error
! "$@" "$folder/capture" /dev/zero 1 2>error || exit 1
grep -q 'capture: no capture' error
[[ ! -e none.jpg ]]
