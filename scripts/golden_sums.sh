#!/bin/bash
# Usage: scripts/golden_sums.sh
# Writes tests/golden/sums.txt anew: the streams and the calls of a few hundred encodings that every
# build is held to. A line that differs from before is a CHANGE OF THE ENCODER'S OUTPUT, or of what it
# asks of its host: bytes that users have stored and firmware that counts on its calls no longer agree
# with this version. Do it only where that is meant, and say so in the change log.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

sums=tests/golden/sums.txt
cmake --preset ci >&2
cmake --build --preset ci --target velajpeg_golden_sums >&2
build/ci/tests/velajpeg_golden_sums >"$sums.new"
changed=$(diff "$sums" "$sums.new" | grep -c '^>' || true)
mv "$sums.new" "$sums"
if ((changed)); then
    say "$changed of $(wc -l <"$sums") encodings differ: this is a change of the encoder's output"
else
    say "all $(wc -l <"$sums") encodings are as before"
fi
